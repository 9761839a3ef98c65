// NEON twins of the motion-mask kernels (armv7 and aarch64). They walk the
// planes as the references in motion_mask.cpp do (motion_mask_walk.h).
#include "temporal/motion_mask_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <stddef.h>

#include "temporal/motion_mask_walk.h"

// Two rows of 16 pixels per step.
void CalSADImagePairs_NEON(unsigned char* first, unsigned char* second,
                           unsigned char* out, int width, int height) {
  ForEachRowPairStep<16>(width, height, Span16(width), [&](ptrdiff_t i, ptrdiff_t j) {
    vst1q_u8(out + i, vabdq_u8(vld1q_u8(first + i), vld1q_u8(second + i)));
    vst1q_u8(out + j, vabdq_u8(vld1q_u8(first + j), vld1q_u8(second + j)));
  });
}

// Two rows of 32 pixels per step, prefetching the next 32 bytes of each
// input row.
void CalSAD_threshhold_NEON(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const uint8x16_t thr = vdupq_n_u8(threshold);
  ForEachRowPairStep<32>(width, height, Span32(width), [&](ptrdiff_t i, ptrdiff_t j) {
    __builtin_prefetch(first + i + 32);
    __builtin_prefetch(second + i + 32);
    __builtin_prefetch(first + j + 32);
    __builtin_prefetch(second + j + 32);
    const uint8x16_t a0l = vld1q_u8(first + i), a0h = vld1q_u8(first + i + 16);
    const uint8x16_t b0l = vld1q_u8(second + i), b0h = vld1q_u8(second + i + 16);
    const uint8x16_t a1l = vld1q_u8(first + j), a1h = vld1q_u8(first + j + 16);
    const uint8x16_t b1l = vld1q_u8(second + j), b1h = vld1q_u8(second + j + 16);
    vst1q_u8(out + i, vcgtq_u8(vabdq_u8(a0l, b0l), thr));
    vst1q_u8(out + i + 16, vcgtq_u8(vabdq_u8(a0h, b0h), thr));
    vst1q_u8(out + j, vcgtq_u8(vabdq_u8(a1l, b1l), thr));
    vst1q_u8(out + j + 16, vcgtq_u8(vabdq_u8(a1h, b1h), thr));
  });
}

// Two rows of 16 pixels per step.
void CalDiffAbs_NEON(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  const uint8x16_t cap = vdupq_n_u8(16);
  ForEachRowPairStep<16>(width, height, Span16(width), [&](ptrdiff_t i, ptrdiff_t j) {
    const uint8x16_t a0 = vld1q_u8(first + i), b0 = vld1q_u8(second + i);
    const uint8x16_t a1 = vld1q_u8(first + j), b1 = vld1q_u8(second + j);
    vst1q_u8(diff + i, vminq_u8(vabdq_u8(a0, b0), cap));
    vst1q_u8(diff + j, vminq_u8(vabdq_u8(a1, b1), cap));
    // 0xff where b >= a, shifted down to 1.
    vst1q_u8(sign + i, vshrq_n_u8(vcgeq_u8(b0, a0), 7));
    vst1q_u8(sign + j, vshrq_n_u8(vcgeq_u8(b1, a1), 7));
  });
}

// 16 pixels per step at the packed (width >> 4) * 16 pitch.
void ThresholdImage255_NEON(unsigned char* /*unused*/, unsigned char* in,
                            unsigned char* out, int width, int height,
                            unsigned char threshold, unsigned char /*value*/) {
  const uint8x16_t thr = vdupq_n_u8(threshold);
  ForEachPackedBlock16(width, height, [&](ptrdiff_t i) {
    vst1q_u8(out + i, vcgtq_u8(vld1q_u8(in + i), thr));
  });
}

#endif  // defined(__ARM_NEON)
