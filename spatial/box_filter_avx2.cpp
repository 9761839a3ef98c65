// AVX2 twin of the 3x3 box filter; compiled with -mavx2 and run only on
// processors that have it.
#include "spatial/box_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include "spatial/box_filter_walk.h"

namespace {

inline __m256i Load32(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// Horizontal 3-sums of the 32 columns starting at p (reads p[-1] .. p[32]).
// Widening with in-lane unpacks puts columns 0..7 and 16..23 in *lo and
// 8..15 and 24..31 in *hi; the in-lane pack of Mean9x32 undoes it.
inline void RowSum3x32(const uint8_t* p, __m256i* lo, __m256i* hi) {
  const __m256i z = _mm256_setzero_si256();
  const __m256i a = Load32(p - 1);
  const __m256i b = Load32(p);
  const __m256i c = Load32(p + 1);
  *lo = _mm256_add_epi16(_mm256_add_epi16(_mm256_unpacklo_epi8(a, z),
                                          _mm256_unpacklo_epi8(b, z)),
                         _mm256_unpacklo_epi8(c, z));
  *hi = _mm256_add_epi16(_mm256_add_epi16(_mm256_unpackhi_epi8(a, z),
                                          _mm256_unpackhi_epi8(b, z)),
                         _mm256_unpackhi_epi8(c, z));
}

// VdBoxMean9Int on 32 9-sums, packed back to column order.
inline __m256i Mean9x32(__m256i lo, __m256i hi) {
  const __m256i four = _mm256_set1_epi16(4);
  const __m256i k = _mm256_set1_epi16(7282);
  lo = _mm256_mulhi_epu16(_mm256_add_epi16(lo, four), k);
  hi = _mm256_mulhi_epu16(_mm256_add_epi16(hi, four), k);
  return _mm256_packus_epi16(lo, hi);
}

inline void Store32(uint8_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

// Output rows y and y + 1, columns x .. x + 31 (r.s is source row y - 1).
inline void TwoRows32(const VdBoxRows& r, int x) {
  __m256i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  RowSum3x32(r.s + x, &a_lo, &a_hi);
  RowSum3x32(r.s + r.ss + x, &b_lo, &b_hi);
  RowSum3x32(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  RowSum3x32(r.s + 3 * r.ss + x, &e_lo, &e_hi);
  const __m256i mid_lo = _mm256_add_epi16(b_lo, c_lo);
  const __m256i mid_hi = _mm256_add_epi16(b_hi, c_hi);
  Store32(r.d + x, Mean9x32(_mm256_add_epi16(mid_lo, a_lo),
                          _mm256_add_epi16(mid_hi, a_hi)));
  Store32(r.d + r.ds + x, Mean9x32(_mm256_add_epi16(mid_lo, e_lo),
                              _mm256_add_epi16(mid_hi, e_hi)));
}

// Output row y, columns x .. x + 31.
inline void OneRow32(const VdBoxRows& r, int x) {
  __m256i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi;
  RowSum3x32(r.s + x, &a_lo, &a_hi);
  RowSum3x32(r.s + r.ss + x, &b_lo, &b_hi);
  RowSum3x32(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  Store32(r.d + x,
          Mean9x32(_mm256_add_epi16(_mm256_add_epi16(a_lo, b_lo), c_lo),
                   _mm256_add_epi16(_mm256_add_epi16(a_hi, b_hi), c_hi)));
}

// 16-column forms for rows with 16 to 31 inner columns.
inline void RowSum3x16(const uint8_t* p, __m256i* sum) {
  const auto load = [](const uint8_t* q) {
    return _mm256_cvtepu8_epi16(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(q)));
  };
  *sum = _mm256_add_epi16(_mm256_add_epi16(load(p - 1), load(p)),
                          load(p + 1));
}

inline void Store16(uint8_t* p, __m256i sum) {
  const __m256i q = _mm256_mulhi_epu16(
      _mm256_add_epi16(sum, _mm256_set1_epi16(4)), _mm256_set1_epi16(7282));
  const __m128i packed = _mm_packus_epi16(_mm256_castsi256_si128(q),
                                          _mm256_extracti128_si256(q, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), packed);
}

template <int count>
inline void Rows16(const VdBoxRows& r, int x) {
  __m256i a, b, c;
  RowSum3x16(r.s + x, &a);
  RowSum3x16(r.s + r.ss + x, &b);
  RowSum3x16(r.s + 2 * r.ss + x, &c);
  const __m256i mid = _mm256_add_epi16(b, c);
  Store16(r.d + x, _mm256_add_epi16(mid, a));
  if (count == 2) {
    __m256i e;
    RowSum3x16(r.s + 3 * r.ss + x, &e);
    Store16(r.d + r.ds + x, _mm256_add_epi16(mid, e));
  }
}

// Columns 1 .. width - 2 of `count` (1 or 2) output rows in blocks of 32.
// Rows of 16 to 31 inner columns use blocks of 16 the same way, narrower
// rows go pixel by pixel.
template <int count>
void Rows(const VdBoxRows& r, int width) {
  if (VdInnerColumnBlocks<32>(1, width, [&](int x) {
        if (count == 2) TwoRows32(r, x);
        else OneRow32(r, x);
      })) {
    return;
  }
  if (VdInnerColumnBlocks<16>(1, width, [&](int x) { Rows16<count>(r, x); })) {
    return;
  }
  VdBoxNarrowRows<1, VdBoxMean9Int>(r, width, count);
}

}  // namespace

int BoxFilter3x3_AVX2(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge) {
  return VdBoxRowPairs<1>(
      src, src_stride, dst, dst_stride, width, rows, iEdge,
      [width](const VdBoxRows& r) { Rows<2>(r, width); },
      [width](const VdBoxRows& r) { Rows<1>(r, width); });
}

#endif  // x86-64
