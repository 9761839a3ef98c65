// AVX2 twins of the fixed-ratio scalers; compiled with -mavx2 and run only
// on processors that have it. Same sample placement, border rules and
// results as resample.cpp; the vector steps are twice as wide as SSE2's.
#include "image/resample_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "image/resample_walk.h"
#include "image/resample_x86_common.h"

namespace {

inline __m256i Load32(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void Store32(uint8_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

// Sums of horizontally adjacent byte pairs, in 16-bit lanes.
inline __m256i PairSums(__m256i x) {
  return _mm256_add_epi16(_mm256_and_si256(x, _mm256_set1_epi16(0x00ff)),
                          _mm256_srli_epi16(x, 8));
}

// ---------------------------------------------------------------------------
// Upscaler building blocks over 32 source intervals (reads 33 source bytes
// per row, writes 32 * scale output bytes). Widening with in-lane unpacks
// puts intervals 0-7 | 16-23 in the low and 8-15 | 24-31 in the high
// vector; the in-lane narrowing pack restores 0-15 | 16-31, so each 128-bit
// lane transposes its own 16 intervals and the stores put lane 0's bytes
// first and lane 1's after them.

inline void BlendRows(const uint8_t* r0, const uint8_t* r1, __m256i w0,
                      __m256i w1, __m256i* lo, __m256i* hi) {
  const __m256i z = _mm256_setzero_si256();
  const __m256i a = Load32(r0), b = Load32(r1);
  *lo = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi8(a, z), w0),
                         _mm256_mullo_epi16(_mm256_unpacklo_epi8(b, z), w1));
  *hi = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpackhi_epi8(a, z), w0),
                         _mm256_mullo_epi16(_mm256_unpackhi_epi8(b, z), w1));
}

// Stores v0..v3 whose low lanes hold output bytes 0..63 (16 each) and high
// lanes bytes 64..127.
inline void StoreLanes4(__m256i v0, __m256i v1, __m256i v2, __m256i v3,
                        uint8_t* out) {
  Store32(out, _mm256_permute2x128_si256(v0, v1, 0x20));
  Store32(out + 32, _mm256_permute2x128_si256(v2, v3, 0x20));
  Store32(out + 64, _mm256_permute2x128_si256(v0, v1, 0x31));
  Store32(out + 96, _mm256_permute2x128_si256(v2, v3, 0x31));
}

// Interval-major interleave of four outputs per interval (see Interleave4
// of the SSE2 twin), per lane.
inline void Interleave4(__m256i q0, __m256i q1, __m256i q2, __m256i q3,
                        uint8_t* out) {
  const __m256i t0 = _mm256_unpacklo_epi8(q0, q1), t1 = _mm256_unpackhi_epi8(q0, q1);
  const __m256i t2 = _mm256_unpacklo_epi8(q2, q3), t3 = _mm256_unpackhi_epi8(q2, q3);
  StoreLanes4(_mm256_unpacklo_epi16(t0, t2), _mm256_unpackhi_epi16(t0, t2),
              _mm256_unpacklo_epi16(t1, t3), _mm256_unpackhi_epi16(t1, t3), out);
}

// 8x: outputs (15 - 2k) * a + (2k + 1) * b + 128 >> 8, built by adding
// 2 * (b - a) per k; exact in wrapping 16-bit lanes (true values 0..65408).
inline void Interval32x8(const uint8_t* r0, const uint8_t* r1, __m256i w0,
                         __m256i w1, uint8_t* out) {
  __m256i a_lo, a_hi, b_lo, b_hi;
  BlendRows(r0, r1, w0, w1, &a_lo, &a_hi);
  BlendRows(r0 + 1, r1 + 1, w0, w1, &b_lo, &b_hi);
  const __m256i step_lo = _mm256_slli_epi16(_mm256_sub_epi16(b_lo, a_lo), 1);
  const __m256i step_hi = _mm256_slli_epi16(_mm256_sub_epi16(b_hi, a_hi), 1);
  const __m256i round = _mm256_set1_epi16(128);
  __m256i lo = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_sub_epi16(_mm256_slli_epi16(a_lo, 4), a_lo), b_lo), round);
  __m256i hi = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_sub_epi16(_mm256_slli_epi16(a_hi, 4), a_hi), b_hi), round);
  __m256i q[8];
  for (int k = 0; k < 8; ++k) {
    q[k] = _mm256_packus_epi16(_mm256_srli_epi16(lo, 8), _mm256_srli_epi16(hi, 8));
    lo = _mm256_add_epi16(lo, step_lo);
    hi = _mm256_add_epi16(hi, step_hi);
  }
  const __m256i t0 = _mm256_unpacklo_epi8(q[0], q[1]), t1 = _mm256_unpackhi_epi8(q[0], q[1]);
  const __m256i t2 = _mm256_unpacklo_epi8(q[2], q[3]), t3 = _mm256_unpackhi_epi8(q[2], q[3]);
  const __m256i t4 = _mm256_unpacklo_epi8(q[4], q[5]), t5 = _mm256_unpackhi_epi8(q[4], q[5]);
  const __m256i t6 = _mm256_unpacklo_epi8(q[6], q[7]), t7 = _mm256_unpackhi_epi8(q[6], q[7]);
  const __m256i u0 = _mm256_unpacklo_epi16(t0, t2), u1 = _mm256_unpackhi_epi16(t0, t2);
  const __m256i u2 = _mm256_unpacklo_epi16(t1, t3), u3 = _mm256_unpackhi_epi16(t1, t3);
  const __m256i u4 = _mm256_unpacklo_epi16(t4, t6), u5 = _mm256_unpackhi_epi16(t4, t6);
  const __m256i u6 = _mm256_unpacklo_epi16(t5, t7), u7 = _mm256_unpackhi_epi16(t5, t7);
  // Low lanes hold output bytes 0..127 (16 per vector), high lanes
  // 128..255.
  const __m256i v[8] = {_mm256_unpacklo_epi32(u0, u4), _mm256_unpackhi_epi32(u0, u4),
                        _mm256_unpacklo_epi32(u1, u5), _mm256_unpackhi_epi32(u1, u5),
                        _mm256_unpacklo_epi32(u2, u6), _mm256_unpackhi_epi32(u2, u6),
                        _mm256_unpacklo_epi32(u3, u7), _mm256_unpackhi_epi32(u3, u7)};
  for (int m = 0; m < 8; m += 2) {
    Store32(out + 16 * m, _mm256_permute2x128_si256(v[m], v[m + 1], 0x20));
    Store32(out + 128 + 16 * m, _mm256_permute2x128_si256(v[m], v[m + 1], 0x31));
  }
}

// 4x: (7 - 2k) * a + (2k + 1) * b, (sum + 32) >> 6.
inline void Interval32x4(const uint8_t* r0, const uint8_t* r1, __m256i w0,
                         __m256i w1, uint8_t* out) {
  __m256i a_lo, a_hi, b_lo, b_hi;
  BlendRows(r0, r1, w0, w1, &a_lo, &a_hi);
  BlendRows(r0 + 1, r1 + 1, w0, w1, &b_lo, &b_hi);
  const __m256i step_lo = _mm256_slli_epi16(_mm256_sub_epi16(b_lo, a_lo), 1);
  const __m256i step_hi = _mm256_slli_epi16(_mm256_sub_epi16(b_hi, a_hi), 1);
  const __m256i round = _mm256_set1_epi16(32);
  __m256i lo = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_sub_epi16(_mm256_slli_epi16(a_lo, 3), a_lo), b_lo), round);
  __m256i hi = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_sub_epi16(_mm256_slli_epi16(a_hi, 3), a_hi), b_hi), round);
  __m256i q[4];
  for (int k = 0; k < 4; ++k) {
    q[k] = _mm256_packus_epi16(_mm256_srli_epi16(lo, 6), _mm256_srli_epi16(hi, 6));
    lo = _mm256_add_epi16(lo, step_lo);
    hi = _mm256_add_epi16(hi, step_hi);
  }
  Interleave4(q[0], q[1], q[2], q[3], out);
}

// 4x border row: (3a + b + 2) >> 2 for k = 0, 1 and (a + 3b + 2) >> 2 for
// k = 2, 3. The second row and the weights are not read.
inline void Interval32x4Edge(const uint8_t* r, const uint8_t* /*unused*/,
                             __m256i /*w0*/, __m256i /*w1*/, uint8_t* out) {
  const __m256i z = _mm256_setzero_si256();
  const __m256i a = Load32(r), b = Load32(r + 1);
  const __m256i two = _mm256_set1_epi16(2);
  const auto blend = [&](__m256i x, __m256i y) {  // (3x + y + 2) >> 2
    return _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_add_epi16(_mm256_add_epi16(x, _mm256_add_epi16(x, x)), y), two),
        2);
  };
  const __m256i a_lo = _mm256_unpacklo_epi8(a, z), a_hi = _mm256_unpackhi_epi8(a, z);
  const __m256i b_lo = _mm256_unpacklo_epi8(b, z), b_hi = _mm256_unpackhi_epi8(b, z);
  const __m256i left = _mm256_packus_epi16(blend(a_lo, b_lo), blend(a_hi, b_hi));
  const __m256i right = _mm256_packus_epi16(blend(b_lo, a_lo), blend(b_hi, a_hi));
  Interleave4(left, left, right, right, out);
}

// Repeats each of the width bytes of in 8 times.
inline void Replicate8(const uint8_t* in, int width, uint8_t* out) {
  int j = 0;
  for (; j + 8 <= width; j += 8) {
    // Byte c of the 8 goes to 64-bit lane c: spread with a shuffle of the
    // broadcast bytes.
    const __m256i v = _mm256_broadcastq_epi64(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in + j)));
    const __m256i lo = _mm256_shuffle_epi8(
        v, _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2,
                            2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3));
    const __m256i hi = _mm256_shuffle_epi8(
        v, _mm256_setr_epi8(4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 6, 6, 6, 6, 6,
                            6, 6, 6, 7, 7, 7, 7, 7, 7, 7, 7));
    Store32(out + 8 * j, lo);
    Store32(out + 8 * j + 32, hi);
  }
  for (; j < width; ++j) std::memset(out + 8 * j, in[j], 8);
}

}  // namespace

// ---------------------------------------------------------------------------
// Downscalers.

// 64 source columns (16 outputs) per step, then 32 (8 outputs) while they
// last.
int DownScaleNewX16_AVX2(const uint8_t* src, int height, int width,
                         uint8_t* dst) {
  return DownScale4x4Walk<64>(
      src, height, width, dst,
      [](const uint8_t* const* r, int x, uint8_t* out) {
        const auto quads = [&](int c) {  // four 4 x 4 sums per 16 columns
          const __m256i s = _mm256_add_epi16(
              _mm256_add_epi16(PairSums(Load32(r[0] + c)), PairSums(Load32(r[1] + c))),
              _mm256_add_epi16(PairSums(Load32(r[2] + c)), PairSums(Load32(r[3] + c))));
          return _mm256_madd_epi16(s, _mm256_set1_epi16(1));
        };
        // In-lane pack: sums 0-3, 8-11 | 4-7, 12-15; the permute sorts them.
        __m256i sums =
            _mm256_permute4x64_epi64(_mm256_packs_epi32(quads(x), quads(x + 32)), 0xd8);
        sums = _mm256_srli_epi16(_mm256_add_epi16(sums, _mm256_set1_epi16(8)), 4);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x / 4),
                         _mm_packus_epi16(_mm256_castsi256_si128(sums),
                                          _mm256_extracti128_si256(sums, 1)));
      },
      [](const uint8_t* const* r, int x, uint8_t* out) {
        const auto quads = [&](int c) {
          const __m128i s = _mm_add_epi16(
              _mm_add_epi16(PairSums(Load16(r[0] + c)), PairSums(Load16(r[1] + c))),
              _mm_add_epi16(PairSums(Load16(r[2] + c)), PairSums(Load16(r[3] + c))));
          return _mm_madd_epi16(s, _mm_set1_epi16(1));
        };
        const __m128i sums = _mm_srli_epi16(
            _mm_add_epi16(_mm_packs_epi32(quads(x), quads(x + 16)), _mm_set1_epi16(8)), 4);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + x / 4), _mm_packus_epi16(sums, sums));
      });
}

// 64 source columns (32 outputs) per step, then 16 (8 outputs) while they
// last.
void DownScale_AVX2(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst) {
  DownScale2x2Walk<64>(
      src, height, width, srcStride, dst,
      [](const uint8_t* const* r, int x, uint8_t* out) {
        const __m256i two = _mm256_set1_epi16(2);
        const __m256i lo =
            _mm256_add_epi16(PairSums(Load32(r[0] + x)), PairSums(Load32(r[1] + x)));
        const __m256i hi =
            _mm256_add_epi16(PairSums(Load32(r[0] + x + 32)), PairSums(Load32(r[1] + x + 32)));
        const __m256i q = _mm256_packus_epi16(_mm256_srli_epi16(_mm256_add_epi16(lo, two), 2),
                                              _mm256_srli_epi16(_mm256_add_epi16(hi, two), 2));
        Store32(out + x / 2, _mm256_permute4x64_epi64(q, 0xd8));
      },
      [](const uint8_t* const* r, int x, uint8_t* out) {
        const __m128i s = _mm_add_epi16(PairSums(Load16(r[0] + x)), PairSums(Load16(r[1] + x)));
        const __m128i q = _mm_srli_epi16(_mm_add_epi16(s, _mm_set1_epi16(2)), 2);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + x / 2), _mm_packus_epi16(q, q));
      });
}

// ---------------------------------------------------------------------------
// Upscalers: 32-interval blocks (IntervalRowBlocks).

void UpScaleX64_AVX2(const uint8_t* src, int height, int width,
                     int /*unused*/, uint8_t* dst) {
  UpScaleX64Walk(src, height, width, dst, Replicate8,
                 [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
                   IntervalRowBlocks<32, 8>(
                       r0, r1, width - 1, _mm256_set1_epi16(static_cast<short>(15 - 2 * k)),
                       _mm256_set1_epi16(static_cast<short>(2 * k + 1)), out, Interval32x8);
                 });
}

void UpScaleNewX16_AVX2(const uint8_t* src, int height, int width,
                        uint8_t* dst) {
  const __m256i none = _mm256_setzero_si256();
  UpScaleNewX16Walk(
      src, height, width, dst,
      [width, none](const uint8_t* in, uint8_t* out) {
        IntervalRowBlocks<32, 4>(in, in, width - 1, none, none, out, Interval32x4Edge);
      },
      [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
        IntervalRowBlocks<32, 4>(r0, r1, width - 1,
                                 _mm256_set1_epi16(static_cast<short>(7 - 2 * k)),
                                 _mm256_set1_epi16(static_cast<short>(2 * k + 1)), out,
                                 Interval32x4);
      });
}

#endif  // x86-64
