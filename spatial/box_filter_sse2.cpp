// SSE2 twin of the 3x3 box filter (x86-64 baseline, no extra flags).
#include "spatial/box_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include "spatial/box_filter_x86_common.h"

namespace {

inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Horizontal 3-sums of the 16 columns starting at p (reads p[-1] .. p[16]):
// lanes 0..7 in *lo, 8..15 in *hi.
inline void RowSum3x16(const uint8_t* p, __m128i* lo, __m128i* hi) {
  const __m128i z = _mm_setzero_si128();
  const __m128i a = Load16(p - 1);
  const __m128i b = Load16(p);
  const __m128i c = Load16(p + 1);
  *lo = _mm_add_epi16(_mm_add_epi16(_mm_unpacklo_epi8(a, z),
                                    _mm_unpacklo_epi8(b, z)),
                      _mm_unpacklo_epi8(c, z));
  *hi = _mm_add_epi16(_mm_add_epi16(_mm_unpackhi_epi8(a, z),
                                    _mm_unpackhi_epi8(b, z)),
                      _mm_unpackhi_epi8(c, z));
}

// VdBoxMean9Int on sixteen 9-sums (two vectors of eight), packed to bytes.
inline __m128i Mean9x16(__m128i lo, __m128i hi) {
  const __m128i four = _mm_set1_epi16(4);
  const __m128i k = _mm_set1_epi16(7282);
  lo = _mm_mulhi_epu16(_mm_add_epi16(lo, four), k);
  hi = _mm_mulhi_epu16(_mm_add_epi16(hi, four), k);
  return _mm_packus_epi16(lo, hi);
}

// Output rows y and y + 1, columns x .. x + 15. s is source row y - 1 (four
// source rows are read), d is destination row y. The two middle rows' sums
// serve both outputs.
inline void TwoRows16(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  __m128i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  RowSum3x16(s + x, &a_lo, &a_hi);
  RowSum3x16(s + w + x, &b_lo, &b_hi);
  RowSum3x16(s + 2 * w + x, &c_lo, &c_hi);
  RowSum3x16(s + 3 * w + x, &e_lo, &e_hi);
  const __m128i mid_lo = _mm_add_epi16(b_lo, c_lo);
  const __m128i mid_hi = _mm_add_epi16(b_hi, c_hi);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x),
                   Mean9x16(_mm_add_epi16(mid_lo, a_lo),
                            _mm_add_epi16(mid_hi, a_hi)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d + w + x),
                   Mean9x16(_mm_add_epi16(mid_lo, e_lo),
                            _mm_add_epi16(mid_hi, e_hi)));
}

// Output row y, columns x .. x + 15; s is source row y - 1.
inline void OneRow16(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  __m128i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi;
  RowSum3x16(s + x, &a_lo, &a_hi);
  RowSum3x16(s + w + x, &b_lo, &b_hi);
  RowSum3x16(s + 2 * w + x, &c_lo, &c_hi);
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(d + x),
      Mean9x16(_mm_add_epi16(_mm_add_epi16(a_lo, b_lo), c_lo),
               _mm_add_epi16(_mm_add_epi16(a_hi, b_hi), c_hi)));
}

// Columns 1 .. width - 2 of `count` (1 or 2) output rows in blocks of 16
// (see InnerColumnBlocks). Rows narrower than one block go pixel by pixel.
template <int count>
void Rows(const uint8_t* s, uint8_t* d, int width) {
  const ptrdiff_t w = width;
  if (InnerColumnBlocks<16>(width, [&](int x) {
        if (count == 2) TwoRows16(s, d, w, x);
        else OneRow16(s, d, w, x);
      })) {
    return;
  }
  const int end = width - 1;
  for (int r = 0; r < count; ++r) {
    for (int x = 1; x < end; ++x) {
      d[r * w + x] = VdBoxMean9(VdBoxSum(s + (r + 1) * w + x, w, 1));
    }
  }
}

}  // namespace

int BoxFilter3x3_SSE2(const unsigned char* src, unsigned char* dst, int width,
                      int rows, int iEdge) {
  return BoxFilterRowPairs(
      src, dst, width, rows, iEdge,
      [width](const uint8_t* s, uint8_t* d) { Rows<2>(s, d, width); },
      [width](const uint8_t* s, uint8_t* d) { Rows<1>(s, d, width); });
}

#endif  // x86-64
