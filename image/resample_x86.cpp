// SSE2 twins of the fixed-ratio scalers (x86-64 baseline, no extra flags).
// Same sample placement, border rules and stepping as resample_neon.cpp.
#include "image/resample_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

namespace {

inline const uint8_t* Row(const uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}
inline uint8_t* Row(uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}
inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store16(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void Store8(uint8_t* p, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}

// Sums of horizontally adjacent byte pairs: 8 16-bit lanes from 16 bytes.
inline __m128i PairSums(__m128i x) {
  return _mm_add_epi16(_mm_and_si128(x, _mm_set1_epi16(0x00ff)),
                       _mm_srli_epi16(x, 8));
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

using IntervalBlock = void (*)(const uint8_t*, const uint8_t*, __m128i,
                               __m128i, uint8_t*);

// Runs a 16-interval block over the width - 1 gaps (intervals) of a row pair
// and writes kScale outputs per interval from out on. A row of 16 or more
// intervals whose count is not a multiple of 16 ends with a block that
// overlaps the previous one (it rewrites the same values); a shorter row
// goes through zero-padded copies, so nothing outside the intervals + 1
// source bytes and kScale * intervals output bytes is touched.
template <int kScale, IntervalBlock block>
inline void IntervalRow(const uint8_t* r0, const uint8_t* r1, int intervals,
                        __m128i w0, __m128i w1, uint8_t* out) {
  if (intervals <= 0) return;
  if (intervals < 16) {
    uint8_t p0[32] = {0}, p1[32] = {0}, o[16 * kScale];
    std::memcpy(p0, r0, static_cast<size_t>(intervals) + 1);
    std::memcpy(p1, r1, static_cast<size_t>(intervals) + 1);
    block(p0, p1, w0, w1, o);
    std::memcpy(out, o, static_cast<size_t>(kScale * intervals));
    return;
  }
  int j = 0;
  for (; j + 16 <= intervals; j += 16) {
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
  if (j < intervals) {
    j = intervals - 16;
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
}

inline void Fill4(uint8_t* out, uint8_t v) {
  out[0] = out[1] = out[2] = out[3] = v;
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

// 32 source columns (8 outputs) per step; the remaining width mod 32
// columns are done 4 at a time with the same formula.
int DownScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                         uint8_t* dst) {
  if (height <= 0 || width < 4) return 0;
  const int outWidth = width / 4;
  const int vectorColumns = width & ~31;
  const __m128i ones = _mm_set1_epi16(1);
  const __m128i eight = _mm_set1_epi16(8);
  for (int y = 0; y + 4 <= height; y += 4) {
    const uint8_t* r0 = Row(src, width, y);
    const uint8_t* r1 = r0 + width;
    const uint8_t* r2 = r1 + width;
    const uint8_t* r3 = r2 + width;
    uint8_t* out = Row(dst, outWidth, y / 4);
    int x = 0;
    for (; x < vectorColumns; x += 32) {
      // Pair sums down the four rows, then adjacent pairs summed into 32-bit
      // lanes: four 4 x 4 sums per 16 columns.
      __m128i lo = _mm_add_epi16(PairSums(Load16(r0 + x)), PairSums(Load16(r1 + x)));
      __m128i hi = _mm_add_epi16(PairSums(Load16(r0 + x + 16)), PairSums(Load16(r1 + x + 16)));
      lo = _mm_add_epi16(lo, _mm_add_epi16(PairSums(Load16(r2 + x)), PairSums(Load16(r3 + x))));
      hi = _mm_add_epi16(hi, _mm_add_epi16(PairSums(Load16(r2 + x + 16)),
                                           PairSums(Load16(r3 + x + 16))));
      const __m128i sums = _mm_packs_epi32(_mm_madd_epi16(lo, ones), _mm_madd_epi16(hi, ones));
      const __m128i q = _mm_srli_epi16(_mm_add_epi16(sums, eight), 4);
      Store8(out + x / 4, _mm_packus_epi16(q, q));
    }
    for (; x + 4 <= width; x += 4) {
      int sum = 0;
      for (int c = 0; c < 4; ++c) sum += r0[x + c] + r1[x + c] + r2[x + c] + r3[x + c];
      out[x / 4] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
  return 0;
}

// 16 source columns (8 outputs) per step, 32 while they last; the remaining
// width mod 16 columns are done 2 at a time with the same formula, on the
// same destination row as the vector part.
void DownScale_SSE2(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst) {
  if (width < 2) return;
  const int dstStride = srcStride / 2;
  const int vectorColumns = width & ~15;
  const __m128i two = _mm_set1_epi16(2);
  for (int y = 0; y + 2 <= height; y += 2) {
    const uint8_t* r0 = Row(src, srcStride, y);
    const uint8_t* r1 = Row(src, srcStride, y + 1);
    uint8_t* out = Row(dst, dstStride, y / 2);
    int x = 0;
    for (; x + 32 <= vectorColumns; x += 32) {
      const __m128i lo = _mm_add_epi16(PairSums(Load16(r0 + x)), PairSums(Load16(r1 + x)));
      const __m128i hi =
          _mm_add_epi16(PairSums(Load16(r0 + x + 16)), PairSums(Load16(r1 + x + 16)));
      Store16(out + x / 2, _mm_packus_epi16(_mm_srli_epi16(_mm_add_epi16(lo, two), 2),
                                            _mm_srli_epi16(_mm_add_epi16(hi, two), 2)));
    }
    for (; x < vectorColumns; x += 16) {
      const __m128i s = _mm_add_epi16(PairSums(Load16(r0 + x)), PairSums(Load16(r1 + x)));
      const __m128i q = _mm_srli_epi16(_mm_add_epi16(s, two), 2);
      Store8(out + x / 2, _mm_packus_epi16(q, q));
    }
    for (; x + 2 <= width; x += 2) {
      const int sum = r0[x] + r0[x + 1] + r1[x] + r1[x + 1];
      out[x / 2] = static_cast<uint8_t>((sum + 2) >> 2);
    }
  }
}

// ---------------------------------------------------------------------------
// Upscalers.

void UpScaleX64_SSE2(const uint8_t* src, int height, int width,
                     int /*unused*/, uint8_t* dst) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 8 * width;
  const int outHeight = 8 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  // Border rows: each source pixel of the first and last row 8 times.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 4;
    uint8_t* out = Row(dst, outWidth, y0);
    Replicate8(Row(src, width, y0 >> 3), width, out);
    for (int r = 1; r < 4; ++r) std::memcpy(out + r * rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 8; ++k) {
      const int y = 8 * i + 4 + k;
      uint8_t* out = Row(dst, outWidth, y);
      const uint8_t* nearest = k < 4 ? r0 : r1;
      Fill4(out, nearest[0]);
      Fill4(out + outWidth - 4, nearest[width - 1]);
      IntervalRow<8, Interval16x8>(r0, r1, width - 1,
                                   _mm_set1_epi16(static_cast<short>(15 - 2 * k)),
                                   _mm_set1_epi16(static_cast<short>(2 * k + 1)), out + 4);
    }
  }
}

void UpScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                        uint8_t* dst) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 4 * width;
  const int outHeight = 4 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  const __m128i none = _mm_setzero_si128();
  // Border rows: corners copied, the rest blended along the row.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 2;
    const uint8_t* in = Row(src, width, y0 >> 2);
    uint8_t* out = Row(dst, outWidth, y0);
    out[0] = out[1] = in[0];
    out[outWidth - 2] = out[outWidth - 1] = in[width - 1];
    IntervalRow<4, Interval16x4Edge>(in, in, width - 1, none, none, out + 2);
    std::memcpy(out + rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 4; ++k) {
      uint8_t* out = Row(dst, outWidth, 4 * i + 2 + k);
      // Border columns: blended down the column only.
      const int e0 = k < 2 ? 3 : 1, e1 = 4 - e0;
      const uint8_t left = static_cast<uint8_t>((e0 * r0[0] + e1 * r1[0] + 2) >> 2);
      const uint8_t right =
          static_cast<uint8_t>((e0 * r0[width - 1] + e1 * r1[width - 1] + 2) >> 2);
      out[0] = out[1] = left;
      out[outWidth - 2] = out[outWidth - 1] = right;
      IntervalRow<4, Interval16x4>(r0, r1, width - 1,
                                   _mm_set1_epi16(static_cast<short>(7 - 2 * k)),
                                   _mm_set1_epi16(static_cast<short>(2 * k + 1)), out + 2);
    }
  }
}

#endif  // x86-64
