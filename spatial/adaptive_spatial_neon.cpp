// NEON twin of the adaptive spatial filter (armv7 and aarch64): 16 pixels a
// step in signed 16-bit halves, walking the row as the x86 twins do
// (adaptive_spatial_walk.h).
#include "spatial/adaptive_spatial.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "spatial/adaptive_spatial_walk.h"

namespace {

inline int16x8_t Lanes(uint8x8_t v) { return vreinterpretq_s16_u16(vmovl_u8(v)); }

// phi(nb - c) weighted by 1 << shift, added to sum.
inline int16x8_t AddPhi(int16x8_t sum, int16x8_t nb, int16x8_t c, int16x8_t t2, int shift) {
  const int16x8_t d = vsubq_s16(nb, c);
  const int16x8_t a = vabsq_s16(d);
  int16x8_t m = vmaxq_s16(vminq_s16(a, vsubq_s16(t2, a)), vdupq_n_s16(0));
  m = vbslq_s16(vcltq_s16(d, vdupq_n_s16(0)), vnegq_s16(m), m);
  return vaddq_s16(sum, shift ? vshlq_n_s16(m, 1) : m);
}

inline uint8x8_t Half(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2, int step,
                      uint8x8_t threshold) {
  const int16x8_t t2 = vshlq_n_s16(Lanes(threshold), 1);
  const int16x8_t c = Lanes(vld1_u8(r1));
  int16x8_t s = vdupq_n_s16(0);
  s = AddPhi(s, Lanes(vld1_u8(r0 - step)), c, t2, 0);
  s = AddPhi(s, Lanes(vld1_u8(r0)), c, t2, 1);
  s = AddPhi(s, Lanes(vld1_u8(r0 + step)), c, t2, 0);
  s = AddPhi(s, Lanes(vld1_u8(r1 - step)), c, t2, 1);
  s = AddPhi(s, Lanes(vld1_u8(r1 + step)), c, t2, 1);
  s = AddPhi(s, Lanes(vld1_u8(r2 - step)), c, t2, 0);
  s = AddPhi(s, Lanes(vld1_u8(r2)), c, t2, 1);
  s = AddPhi(s, Lanes(vld1_u8(r2 + step)), c, t2, 0);
  return vqmovun_s16(vaddq_s16(c, vshrq_n_s16(vaddq_s16(s, vdupq_n_s16(8)), 4)));
}

}  // namespace

void AdaptiveSpatialRow_NEON(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                             const uint8_t* threshold, uint8_t* out, int width, int step) {
  AdaptiveSpatialRowWalk(r0, r1, r2, threshold, out, width, step, [&](int x) {
    const uint8x16_t t = vld1q_u8(threshold + x);
    vst1q_u8(out + x, vcombine_u8(Half(r0 + x, r1 + x, r2 + x, step, vget_low_u8(t)),
                                  Half(r0 + x + 8, r1 + x + 8, r2 + x + 8, step, vget_high_u8(t))));
  });
}

#endif  // __ARM_NEON
