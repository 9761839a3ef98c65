// SSE2 twin of the 3x3 box filter (x86-64 baseline, no extra flags).
#include "spatial/box_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include "spatial/box_filter_walk.h"

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

// Output rows y and y + 1, columns x .. x + 15 (r.s is source row y - 1,
// four source rows are read; r.d is destination row y). The two middle
// rows' sums serve both outputs.
inline void TwoRows16(const VdBoxRows& r, int x) {
  __m128i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  RowSum3x16(r.s + x, &a_lo, &a_hi);
  RowSum3x16(r.s + r.ss + x, &b_lo, &b_hi);
  RowSum3x16(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  RowSum3x16(r.s + 3 * r.ss + x, &e_lo, &e_hi);
  const __m128i mid_lo = _mm_add_epi16(b_lo, c_lo);
  const __m128i mid_hi = _mm_add_epi16(b_hi, c_hi);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(r.d + x),
                   Mean9x16(_mm_add_epi16(mid_lo, a_lo),
                            _mm_add_epi16(mid_hi, a_hi)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(r.d + r.ds + x),
                   Mean9x16(_mm_add_epi16(mid_lo, e_lo),
                            _mm_add_epi16(mid_hi, e_hi)));
}

// Output row y, columns x .. x + 15.
inline void OneRow16(const VdBoxRows& r, int x) {
  __m128i a_lo, a_hi, b_lo, b_hi, c_lo, c_hi;
  RowSum3x16(r.s + x, &a_lo, &a_hi);
  RowSum3x16(r.s + r.ss + x, &b_lo, &b_hi);
  RowSum3x16(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(r.d + x),
      Mean9x16(_mm_add_epi16(_mm_add_epi16(a_lo, b_lo), c_lo),
               _mm_add_epi16(_mm_add_epi16(a_hi, b_hi), c_hi)));
}

template <int count>
void Rows(const VdBoxRows& r, int width) {
  if (!VdInnerColumnBlocks<16>(1, width, [&](int x) {
        if (count == 2) TwoRows16(r, x);
        else OneRow16(r, x);
      })) {
    VdBoxNarrowRows<1, VdBoxMean9>(r, width, count);
  }
}

}  // namespace

int BoxFilter3x3_SSE2(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge) {
  return VdBoxRowPairs<1>(
      src, src_stride, dst, dst_stride, width, rows, iEdge,
      [width](const VdBoxRows& r) { Rows<2>(r, width); },
      [width](const VdBoxRows& r) { Rows<1>(r, width); });
}

#endif  // x86-64
