// SSE2 twins of the motion-mask span kernels (x86-64 baseline, no extra
// flags): 16 pixels per step, the rest of a row per pixel
// (motion_mask_walk.h).
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>
#include <stddef.h>

#include "temporal/motion_mask_walk.h"
#include "temporal/motion_mask_x86_common.h"

void CalSADImageSpans_SSE2(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows) {
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) { Store16(out + i, AbsDiff(Load16(first + i), Load16(second + i))); },
      SadPixel{first, second, out});
}

void CalSAD_threshholdSpans_SSE2(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold) {
  const __m128i thr = _mm_set1_epi8(static_cast<char>(threshold));
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) { Store16(out + i, Exceeds(Load16(first + i), Load16(second + i), thr)); },
      ExceedsPixel{first, second, out, threshold});
}

void CalDiffAbsSpans_SSE2(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows) {
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) { DiffAndSign16(first + i, second + i, diff + i, sign + i); },
      DiffSignPixel{first, second, diff, sign});
}

void ThresholdImage255Spans_SSE2(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold) {
  const __m128i thr = _mm_set1_epi8(static_cast<char>(threshold));
  ForEachSpanStep<16>(
      width, span, rows, [&](ptrdiff_t i) { Store16(out + i, Above(Load16(in + i), thr)); },
      Above255Pixel{in, out, threshold});
}

#endif  // x86-64
