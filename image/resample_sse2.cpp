// SSE2 twins of the fixed-ratio scalers (x86-64 baseline, no extra flags).
// Same sample placement, border rules and stepping as resample_neon.cpp.
#include "image/resample_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

#include "image/resample_walk.h"
#include "image/resample_x86_common.h"

namespace {

inline void Store16(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void Store8(uint8_t* p, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}

// ---------------------------------------------------------------------------
// Upscaler building blocks. Each handles 16 source intervals (j .. j + 15,
// each blended with its right neighbour), so it reads 17 source bytes per
// row and writes 16 * scale output bytes.

// Vertical blend w0 * r0 + w1 * r1 of 16 columns, low and high eight.
inline void BlendRows(const uint8_t* r0, const uint8_t* r1, __m128i w0,
                      __m128i w1, __m128i* lo, __m128i* hi) {
  const __m128i z = _mm_setzero_si128();
  const __m128i a = Load16(r0), b = Load16(r1);
  *lo = _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(a, z), w0),
                      _mm_mullo_epi16(_mm_unpacklo_epi8(b, z), w1));
  *hi = _mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(a, z), w0),
                      _mm_mullo_epi16(_mm_unpackhi_epi8(b, z), w1));
}

// Writes four output vectors q0..q3 (one byte per interval each) as the
// interval-major sequence q0[j] q1[j] q2[j] q3[j] for j = 0..15.
inline void Interleave4(__m128i q0, __m128i q1, __m128i q2, __m128i q3,
                        uint8_t* out) {
  const __m128i t0 = _mm_unpacklo_epi8(q0, q1), t1 = _mm_unpackhi_epi8(q0, q1);
  const __m128i t2 = _mm_unpacklo_epi8(q2, q3), t3 = _mm_unpackhi_epi8(q2, q3);
  Store16(out, _mm_unpacklo_epi16(t0, t2));
  Store16(out + 16, _mm_unpackhi_epi16(t0, t2));
  Store16(out + 32, _mm_unpacklo_epi16(t1, t3));
  Store16(out + 48, _mm_unpackhi_epi16(t1, t3));
}

// 8x: columns 8j + 4 + k, k = 0..7, are (15 - 2k) * a + (2k + 1) * b over
// the vertical blends a (column j) and b (column j + 1), plus 128, >> 8.
// Successive k differ by 2 * (b - a); the running sum wraps in 16 bits but
// every true value lies in 0..65408, so the wrapped value is exact.
inline void Interval16x8(const uint8_t* r0, const uint8_t* r1, __m128i w0,
                         __m128i w1, uint8_t* out) {
  __m128i a_lo, a_hi, b_lo, b_hi;
  BlendRows(r0, r1, w0, w1, &a_lo, &a_hi);
  BlendRows(r0 + 1, r1 + 1, w0, w1, &b_lo, &b_hi);
  const __m128i step_lo = _mm_slli_epi16(_mm_sub_epi16(b_lo, a_lo), 1);
  const __m128i step_hi = _mm_slli_epi16(_mm_sub_epi16(b_hi, a_hi), 1);
  const __m128i round = _mm_set1_epi16(128);
  __m128i lo = _mm_add_epi16(
      _mm_add_epi16(_mm_sub_epi16(_mm_slli_epi16(a_lo, 4), a_lo), b_lo), round);
  __m128i hi = _mm_add_epi16(
      _mm_add_epi16(_mm_sub_epi16(_mm_slli_epi16(a_hi, 4), a_hi), b_hi), round);
  __m128i q[8];
  for (int k = 0; k < 8; ++k) {
    q[k] = _mm_packus_epi16(_mm_srli_epi16(lo, 8), _mm_srli_epi16(hi, 8));
    lo = _mm_add_epi16(lo, step_lo);
    hi = _mm_add_epi16(hi, step_hi);
  }
  // Byte 8j + k is output k of interval j: an 8 x 16 byte transpose.
  const __m128i t0 = _mm_unpacklo_epi8(q[0], q[1]), t1 = _mm_unpackhi_epi8(q[0], q[1]);
  const __m128i t2 = _mm_unpacklo_epi8(q[2], q[3]), t3 = _mm_unpackhi_epi8(q[2], q[3]);
  const __m128i t4 = _mm_unpacklo_epi8(q[4], q[5]), t5 = _mm_unpackhi_epi8(q[4], q[5]);
  const __m128i t6 = _mm_unpacklo_epi8(q[6], q[7]), t7 = _mm_unpackhi_epi8(q[6], q[7]);
  const __m128i u0 = _mm_unpacklo_epi16(t0, t2), u1 = _mm_unpackhi_epi16(t0, t2);
  const __m128i u2 = _mm_unpacklo_epi16(t1, t3), u3 = _mm_unpackhi_epi16(t1, t3);
  const __m128i u4 = _mm_unpacklo_epi16(t4, t6), u5 = _mm_unpackhi_epi16(t4, t6);
  const __m128i u6 = _mm_unpacklo_epi16(t5, t7), u7 = _mm_unpackhi_epi16(t5, t7);
  Store16(out, _mm_unpacklo_epi32(u0, u4));
  Store16(out + 16, _mm_unpackhi_epi32(u0, u4));
  Store16(out + 32, _mm_unpacklo_epi32(u1, u5));
  Store16(out + 48, _mm_unpackhi_epi32(u1, u5));
  Store16(out + 64, _mm_unpacklo_epi32(u2, u6));
  Store16(out + 80, _mm_unpackhi_epi32(u2, u6));
  Store16(out + 96, _mm_unpacklo_epi32(u3, u7));
  Store16(out + 112, _mm_unpackhi_epi32(u3, u7));
}

// 4x: columns 4j + 2 + k, k = 0..3, are (7 - 2k) * a + (2k + 1) * b over
// the vertical blends (at most 8 * 255), narrowed by (sum + 32) >> 6.
inline void Interval16x4(const uint8_t* r0, const uint8_t* r1, __m128i w0,
                         __m128i w1, uint8_t* out) {
  __m128i a_lo, a_hi, b_lo, b_hi;
  BlendRows(r0, r1, w0, w1, &a_lo, &a_hi);
  BlendRows(r0 + 1, r1 + 1, w0, w1, &b_lo, &b_hi);
  const __m128i step_lo = _mm_slli_epi16(_mm_sub_epi16(b_lo, a_lo), 1);
  const __m128i step_hi = _mm_slli_epi16(_mm_sub_epi16(b_hi, a_hi), 1);
  const __m128i round = _mm_set1_epi16(32);
  __m128i lo = _mm_add_epi16(
      _mm_add_epi16(_mm_sub_epi16(_mm_slli_epi16(a_lo, 3), a_lo), b_lo), round);
  __m128i hi = _mm_add_epi16(
      _mm_add_epi16(_mm_sub_epi16(_mm_slli_epi16(a_hi, 3), a_hi), b_hi), round);
  __m128i q[4];
  for (int k = 0; k < 4; ++k) {
    q[k] = _mm_packus_epi16(_mm_srli_epi16(lo, 6), _mm_srli_epi16(hi, 6));
    lo = _mm_add_epi16(lo, step_lo);
    hi = _mm_add_epi16(hi, step_hi);
  }
  Interleave4(q[0], q[1], q[2], q[3], out);
}

// 4x border row: horizontal blend only, (3a + b + 2) >> 2 for k = 0, 1 and
// (a + 3b + 2) >> 2 for k = 2, 3. The second row and the weights are not
// read.
inline void Interval16x4Edge(const uint8_t* r, const uint8_t* /*unused*/,
                             __m128i /*w0*/, __m128i /*w1*/, uint8_t* out) {
  const __m128i z = _mm_setzero_si128();
  const __m128i a = Load16(r), b = Load16(r + 1);
  const __m128i two = _mm_set1_epi16(2);
  const auto blend = [&](__m128i x, __m128i y) {  // (3x + y + 2) >> 2
    return _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(x, _mm_add_epi16(x, x)), y), two), 2);
  };
  const __m128i a_lo = _mm_unpacklo_epi8(a, z), a_hi = _mm_unpackhi_epi8(a, z);
  const __m128i b_lo = _mm_unpacklo_epi8(b, z), b_hi = _mm_unpackhi_epi8(b, z);
  const __m128i left = _mm_packus_epi16(blend(a_lo, b_lo), blend(a_hi, b_hi));
  const __m128i right = _mm_packus_epi16(blend(b_lo, a_lo), blend(b_hi, a_hi));
  Interleave4(left, left, right, right, out);
}

// Repeats each of the width bytes of in 8 times.
inline void Replicate8(const uint8_t* in, int width, uint8_t* out) {
  int j = 0;
  for (; j + 16 <= width; j += 16) {
    const __m128i v = Load16(in + j);
    const __m128i p0 = _mm_unpacklo_epi8(v, v), p1 = _mm_unpackhi_epi8(v, v);
    const __m128i q0 = _mm_unpacklo_epi16(p0, p0), q1 = _mm_unpackhi_epi16(p0, p0);
    const __m128i q2 = _mm_unpacklo_epi16(p1, p1), q3 = _mm_unpackhi_epi16(p1, p1);
    uint8_t* o = out + 8 * j;
    Store16(o, _mm_unpacklo_epi32(q0, q0));
    Store16(o + 16, _mm_unpackhi_epi32(q0, q0));
    Store16(o + 32, _mm_unpacklo_epi32(q1, q1));
    Store16(o + 48, _mm_unpackhi_epi32(q1, q1));
    Store16(o + 64, _mm_unpacklo_epi32(q2, q2));
    Store16(o + 80, _mm_unpackhi_epi32(q2, q2));
    Store16(o + 96, _mm_unpacklo_epi32(q3, q3));
    Store16(o + 112, _mm_unpackhi_epi32(q3, q3));
  }
  for (; j < width; ++j) std::memset(out + 8 * j, in[j], 8);
}

}  // namespace

// ---------------------------------------------------------------------------
// Downscalers.

// 32 source columns (8 outputs) per step.
int DownScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                         uint8_t* dst) {
  const __m128i ones = _mm_set1_epi16(1);
  const __m128i eight = _mm_set1_epi16(8);
  const auto step = [&](const uint8_t* const* r, int x, uint8_t* out) {
    // Pair sums down the four rows, then adjacent pairs summed into 32-bit
    // lanes: four 4 x 4 sums per 16 columns.
    __m128i lo = _mm_add_epi16(PairSums(Load16(r[0] + x)), PairSums(Load16(r[1] + x)));
    __m128i hi = _mm_add_epi16(PairSums(Load16(r[0] + x + 16)), PairSums(Load16(r[1] + x + 16)));
    lo = _mm_add_epi16(lo, _mm_add_epi16(PairSums(Load16(r[2] + x)), PairSums(Load16(r[3] + x))));
    hi = _mm_add_epi16(hi, _mm_add_epi16(PairSums(Load16(r[2] + x + 16)),
                                         PairSums(Load16(r[3] + x + 16))));
    const __m128i sums = _mm_packs_epi32(_mm_madd_epi16(lo, ones), _mm_madd_epi16(hi, ones));
    const __m128i q = _mm_srli_epi16(_mm_add_epi16(sums, eight), 4);
    Store8(out + x / 4, _mm_packus_epi16(q, q));
  };
  return DownScale4x4Walk<32>(src, height, width, dst, step, step);
}

// 16 source columns (8 outputs) per step, 32 while they last.
void DownScale_SSE2(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst) {
  const __m128i two = _mm_set1_epi16(2);
  DownScale2x2Walk<32>(
      src, height, width, srcStride, dst,
      [&](const uint8_t* const* r, int x, uint8_t* out) {
        const __m128i lo = _mm_add_epi16(PairSums(Load16(r[0] + x)), PairSums(Load16(r[1] + x)));
        const __m128i hi =
            _mm_add_epi16(PairSums(Load16(r[0] + x + 16)), PairSums(Load16(r[1] + x + 16)));
        Store16(out + x / 2, _mm_packus_epi16(_mm_srli_epi16(_mm_add_epi16(lo, two), 2),
                                              _mm_srli_epi16(_mm_add_epi16(hi, two), 2)));
      },
      [&](const uint8_t* const* r, int x, uint8_t* out) {
        const __m128i s = _mm_add_epi16(PairSums(Load16(r[0] + x)), PairSums(Load16(r[1] + x)));
        const __m128i q = _mm_srli_epi16(_mm_add_epi16(s, two), 2);
        Store8(out + x / 2, _mm_packus_epi16(q, q));
      });
}

// ---------------------------------------------------------------------------
// Upscalers: 16-interval blocks (IntervalRowBlocks).

void UpScaleX64_SSE2(const uint8_t* src, int height, int width,
                     int /*unused*/, uint8_t* dst) {
  UpScaleX64Walk(src, height, width, dst, Replicate8,
                 [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
                   IntervalRowBlocks<16, 8>(
                       r0, r1, width - 1, _mm_set1_epi16(static_cast<short>(15 - 2 * k)),
                       _mm_set1_epi16(static_cast<short>(2 * k + 1)), out, Interval16x8);
                 });
}

void UpScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                        uint8_t* dst) {
  const __m128i none = _mm_setzero_si128();
  UpScaleNewX16Walk(
      src, height, width, dst,
      [width, none](const uint8_t* in, uint8_t* out) {
        IntervalRowBlocks<16, 4>(in, in, width - 1, none, none, out, Interval16x4Edge);
      },
      [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
        IntervalRowBlocks<16, 4>(r0, r1, width - 1,
                                 _mm_set1_epi16(static_cast<short>(7 - 2 * k)),
                                 _mm_set1_epi16(static_cast<short>(2 * k + 1)), out,
                                 Interval16x4);
      });
}

#endif  // x86-64
