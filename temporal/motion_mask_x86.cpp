// SSE2 twins of the frame-path motion kernels (x86-64 baseline, no extra
// flags). They keep the block and row-pair stepping of the references in
// motion_mask.cpp.
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>
#include <stddef.h>

namespace {

inline __m128i Load16(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store16(unsigned char* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline __m128i AbsDiff(__m128i a, __m128i b) {
  return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}
// 0xff where |a - b| > threshold.
inline __m128i Exceeds(__m128i a, __m128i b, __m128i thr) {
  const __m128i within =
      _mm_cmpeq_epi8(_mm_subs_epu8(AbsDiff(a, b), thr), _mm_setzero_si128());
  return _mm_xor_si128(within, _mm_set1_epi8(-1));
}

}  // namespace

// Two rows of 32 pixels per step; see CalSAD_threshhold_C for the stepping.
void CalSAD_threshhold_SSE2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const int span = (width >> 5) * 32;
  const int pairs = height >> 1;
  if (span <= 0) return;
  const __m128i thr = _mm_set1_epi8(static_cast<char>(threshold));
  const ptrdiff_t w = width;
  for (int p = 0; p < pairs; ++p) {
    for (int x = 0; x < span; x += 32) {
      const __m128i a0l = Load16(first + x), a0h = Load16(first + x + 16);
      const __m128i b0l = Load16(second + x), b0h = Load16(second + x + 16);
      const __m128i a1l = Load16(first + w + x);
      const __m128i a1h = Load16(first + w + x + 16);
      const __m128i b1l = Load16(second + w + x);
      const __m128i b1h = Load16(second + w + x + 16);
      Store16(out + x, Exceeds(a0l, b0l, thr));
      Store16(out + x + 16, Exceeds(a0h, b0h, thr));
      Store16(out + w + x, Exceeds(a1l, b1l, thr));
      Store16(out + w + x + 16, Exceeds(a1h, b1h, thr));
    }
    first += span;
    second += span;
    out += span;
    if (p + 1 < pairs) {
      first += width;
      second += width;
      out += width;
    }
  }
}

// Two rows of 16 pixels per step; see CalDiffAbs_C for the stepping.
void CalDiffAbs_SSE2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  const int span = (width >> 4) * 16;
  const int pairs = height >> 1;
  if (span <= 0) return;
  const __m128i cap = _mm_set1_epi8(16);
  const __m128i one = _mm_set1_epi8(1);
  const __m128i zero = _mm_setzero_si128();
  const ptrdiff_t w = width;
  for (int p = 0; p < pairs; ++p) {
    for (int x = 0; x < span; x += 16) {
      const __m128i a0 = Load16(first + x), b0 = Load16(second + x);
      const __m128i a1 = Load16(first + w + x), b1 = Load16(second + w + x);
      Store16(diff + x, _mm_min_epu8(AbsDiff(a0, b0), cap));
      Store16(diff + w + x, _mm_min_epu8(AbsDiff(a1, b1), cap));
      // b >= a exactly where a - b saturates to 0.
      Store16(sign + x,
              _mm_and_si128(_mm_cmpeq_epi8(_mm_subs_epu8(a0, b0), zero), one));
      Store16(sign + w + x,
              _mm_and_si128(_mm_cmpeq_epi8(_mm_subs_epu8(a1, b1), zero), one));
    }
    first += span;
    second += span;
    diff += span;
    sign += span;
    if (p + 1 < pairs) {
      first += width;
      second += width;
      diff += width;
      sign += width;
    }
  }
}

#endif  // x86-64
