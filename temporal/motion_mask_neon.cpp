// NEON twins of the motion-mask span kernels (armv7 and aarch64): 16 pixels
// per step, the rest of a row per pixel (motion_mask_walk.h).
#include "temporal/motion_mask_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <stddef.h>

#include "temporal/motion_mask_walk.h"

void CalSADImageSpans_NEON(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows) {
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) { vst1q_u8(out + i, vabdq_u8(vld1q_u8(first + i), vld1q_u8(second + i))); },
      SadPixel{first, second, out});
}

void CalSAD_threshholdSpans_NEON(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold) {
  const uint8x16_t thr = vdupq_n_u8(threshold);
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) {
        vst1q_u8(out + i, vcgtq_u8(vabdq_u8(vld1q_u8(first + i), vld1q_u8(second + i)), thr));
      },
      ExceedsPixel{first, second, out, threshold});
}

void CalDiffAbsSpans_NEON(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows) {
  const uint8x16_t cap = vdupq_n_u8(16);
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) {
        const uint8x16_t a = vld1q_u8(first + i), b = vld1q_u8(second + i);
        vst1q_u8(diff + i, vminq_u8(vabdq_u8(a, b), cap));
        // 0xff where b >= a, shifted down to 1.
        vst1q_u8(sign + i, vshrq_n_u8(vcgeq_u8(b, a), 7));
      },
      DiffSignPixel{first, second, diff, sign});
}

void ThresholdImage255Spans_NEON(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold) {
  const uint8x16_t thr = vdupq_n_u8(threshold);
  ForEachSpanStep<16>(
      width, span, rows,
      [&](ptrdiff_t i) { vst1q_u8(out + i, vcgtq_u8(vld1q_u8(in + i), thr)); },
      Above255Pixel{in, out, threshold});
}

#endif  // defined(__ARM_NEON)
