// NEON twins of the motion-mask kernels (armv7 and aarch64). They keep the
// exact block and row-pair stepping of the references in motion_mask.cpp.
#include "temporal/motion_mask_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <stddef.h>

// Two rows of 16 pixels per step; see CalSADImagePairs_C for the stepping.
void CalSADImagePairs_NEON(unsigned char* first, unsigned char* second,
                           unsigned char* out, int width, int height) {
  const int span = (width >> 4) * 16;
  const int pairs = height >> 1;
  if (span <= 0) return;
  for (int p = 0; p < pairs; ++p) {
    const unsigned char* a1 = first + width;
    const unsigned char* b1 = second + width;
    unsigned char* o1 = out + width;
    for (int x = 0; x < span; x += 16) {
      vst1q_u8(out + x, vabdq_u8(vld1q_u8(first + x), vld1q_u8(second + x)));
      vst1q_u8(o1 + x, vabdq_u8(vld1q_u8(a1 + x), vld1q_u8(b1 + x)));
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

// Two rows of 32 pixels per step, prefetching the next 32 bytes of each input
// row; see CalSAD_threshhold_C for the stepping.
void CalSAD_threshhold_NEON(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const int span = (width >> 5) * 32;
  const int pairs = height >> 1;
  if (span <= 0) return;
  const uint8x16_t thr = vdupq_n_u8(threshold);
  for (int p = 0; p < pairs; ++p) {
    const unsigned char* a0 = first;
    const unsigned char* b0 = second;
    const unsigned char* a1 = first + width;
    const unsigned char* b1 = second + width;
    unsigned char* o0 = out;
    unsigned char* o1 = out + width;
    for (int x = 0; x < span; x += 32) {
      __builtin_prefetch(a0 + x + 32);
      __builtin_prefetch(b0 + x + 32);
      __builtin_prefetch(a1 + x + 32);
      __builtin_prefetch(b1 + x + 32);
      const uint8x16_t a0l = vld1q_u8(a0 + x);
      const uint8x16_t a0h = vld1q_u8(a0 + x + 16);
      const uint8x16_t b0l = vld1q_u8(b0 + x);
      const uint8x16_t b0h = vld1q_u8(b0 + x + 16);
      const uint8x16_t a1l = vld1q_u8(a1 + x);
      const uint8x16_t a1h = vld1q_u8(a1 + x + 16);
      const uint8x16_t b1l = vld1q_u8(b1 + x);
      const uint8x16_t b1h = vld1q_u8(b1 + x + 16);
      vst1q_u8(o0 + x, vcgtq_u8(vabdq_u8(a0l, b0l), thr));
      vst1q_u8(o0 + x + 16, vcgtq_u8(vabdq_u8(a0h, b0h), thr));
      vst1q_u8(o1 + x, vcgtq_u8(vabdq_u8(a1l, b1l), thr));
      vst1q_u8(o1 + x + 16, vcgtq_u8(vabdq_u8(a1h, b1h), thr));
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
void CalDiffAbs_NEON(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  const int span = (width >> 4) * 16;
  const int pairs = height >> 1;
  if (span <= 0) return;
  const uint8x16_t cap = vdupq_n_u8(16);
  for (int p = 0; p < pairs; ++p) {
    const unsigned char* a1 = first + width;
    const unsigned char* b1 = second + width;
    unsigned char* d1 = diff + width;
    unsigned char* s1 = sign + width;
    for (int x = 0; x < span; x += 16) {
      const uint8x16_t a0v = vld1q_u8(first + x);
      const uint8x16_t b0v = vld1q_u8(second + x);
      const uint8x16_t a1v = vld1q_u8(a1 + x);
      const uint8x16_t b1v = vld1q_u8(b1 + x);
      vst1q_u8(diff + x, vminq_u8(vabdq_u8(a0v, b0v), cap));
      vst1q_u8(d1 + x, vminq_u8(vabdq_u8(a1v, b1v), cap));
      // 0xff where b >= a, shifted down to 1.
      vst1q_u8(sign + x, vshrq_n_u8(vcgeq_u8(b0v, a0v), 7));
      vst1q_u8(s1 + x, vshrq_n_u8(vcgeq_u8(b1v, a1v), 7));
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

// 16 pixels per step at the packed (width >> 4) * 16 pitch; see
// ThresholdImage255_C.
void ThresholdImage255_NEON(unsigned char* /*unused*/, unsigned char* in,
                            unsigned char* out, int width, int height,
                            unsigned char threshold, unsigned char /*value*/) {
  const int span = (width >> 4) * 16;
  if (span <= 0) return;
  const uint8x16_t thr = vdupq_n_u8(threshold);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < span; x += 16) {
      vst1q_u8(out + x, vcgtq_u8(vld1q_u8(in + x), thr));
    }
    in += span;
    out += span;
  }
}

#endif  // defined(__ARM_NEON)
