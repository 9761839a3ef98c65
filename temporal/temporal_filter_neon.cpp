// NEON twins of the temporal blends (armv7 and aarch64): 16 pixels per step
// with 8x8 -> 16-bit multiply-accumulate, walking the planes as the
// references in temporal_filter.cpp do (temporal_filter_walk.h).
#include "temporal/temporal_filter_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <stddef.h>

#include "temporal/temporal_filter_walk.h"

namespace {

// Per-lane weights: stillWeight where mask < 128, else 0.
inline uint8x16_t StillWeights(uint8x16_t mask, uint8x16_t stillWeight) {
  return vandq_u8(vcltq_u8(mask, vdupq_n_u8(128)), stillWeight);
}

// src * (128 - w) + ref * w for the low and high halves, in 16-bit lanes
// (at most 255 * 128, so nothing overflows).
inline void Blend(uint8x16_t src, uint8x16_t ref, uint8x16_t w,
                  uint16x8_t* lo, uint16x8_t* hi) {
  const uint8x16_t inv = vsubq_u8(vdupq_n_u8(128), w);
  *lo = vmlal_u8(vmull_u8(vget_low_u8(src), vget_low_u8(inv)),
                 vget_low_u8(ref), vget_low_u8(w));
  *hi = vmlal_u8(vmull_u8(vget_high_u8(src), vget_high_u8(inv)),
                 vget_high_u8(ref), vget_high_u8(w));
}

}  // namespace

void TemporalFilterS_NEON(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height) {
  const uint8x16_t still = vdupq_n_u8(38);
  ForEachPackedBlock16(width, height, [&](ptrdiff_t i) {
    const uint8x16_t w = StillWeights(vld1q_u8(mask + i), still);
    uint16x8_t lo, hi;
    Blend(vld1q_u8(src + i), vld1q_u8(ref + i), w, &lo, &hi);
    // Rounding narrow: (sum + 64) >> 7.
    vst1q_u8(out + i, vcombine_u8(vrshrn_n_u16(lo, 7), vrshrn_n_u16(hi, 7)));
  });
}

void TemporalFilterLuma_NEON(unsigned char* src, unsigned char* ref,
                             unsigned char* mask, unsigned char* out,
                             int width, int height) {
  const uint8x16_t still = vdupq_n_u8(64);
  ForEachPackedBlock16(width, height, [&](ptrdiff_t i) {
    const uint8x16_t w = StillWeights(vld1q_u8(mask + i), still);
    uint16x8_t lo, hi;
    Blend(vld1q_u8(src + i), vld1q_u8(ref + i), w, &lo, &hi);
    // Truncating narrow: sum >> 7.
    vst1q_u8(out + i, vcombine_u8(vshrn_n_u16(lo, 7), vshrn_n_u16(hi, 7)));
  });
}

#endif  // defined(__ARM_NEON)
