// SSE2 twins of the frame-path motion kernels (x86-64 baseline, no extra
// flags). They keep the block and row-pair stepping of the references in
// motion_mask.cpp.
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>
#include <stddef.h>

#include "temporal/motion_mask_x86_common.h"

namespace {

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
  if (span <= 0) return;
  const __m128i thr = _mm_set1_epi8(static_cast<char>(threshold));
  const ptrdiff_t w = width;
  ForEachRowPair(width, height, span, [&](ptrdiff_t o) {
    const unsigned char* a = first + o;
    const unsigned char* b = second + o;
    unsigned char* m = out + o;
    for (int x = 0; x < span; x += 32) {
      const __m128i a0l = Load16(a + x), a0h = Load16(a + x + 16);
      const __m128i b0l = Load16(b + x), b0h = Load16(b + x + 16);
      const __m128i a1l = Load16(a + w + x);
      const __m128i a1h = Load16(a + w + x + 16);
      const __m128i b1l = Load16(b + w + x);
      const __m128i b1h = Load16(b + w + x + 16);
      Store16(m + x, Exceeds(a0l, b0l, thr));
      Store16(m + x + 16, Exceeds(a0h, b0h, thr));
      Store16(m + w + x, Exceeds(a1l, b1l, thr));
      Store16(m + w + x + 16, Exceeds(a1h, b1h, thr));
    }
  });
}

// Two rows of 16 pixels per step; see CalDiffAbs_C for the stepping.
void CalDiffAbs_SSE2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  const int span = (width >> 4) * 16;
  if (span <= 0) return;
  const ptrdiff_t w = width;
  ForEachRowPair(width, height, span, [&](ptrdiff_t o) {
    for (int x = 0; x < span; x += 16) {
      DiffAndSign16(first + o + x, second + o + x, diff + o + x, sign + o + x);
      DiffAndSign16(first + o + w + x, second + o + w + x, diff + o + w + x,
                    sign + o + w + x);
    }
  });
}

#endif  // x86-64
