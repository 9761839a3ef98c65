// NEON twins of the adaptive temporal kernels (armv7 and aarch64): 16
// pixels a step in 16-bit halves, walking the row as the x86 twins do
// (adaptive_temporal_walk.h).
#include "temporal/adaptive_temporal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "temporal/adaptive_temporal_walk.h"

namespace {

// table[index] for 16 indices below 16.
inline uint8x16_t Lookup16(const uint8_t* table, uint8x16_t index) {
#if defined(__aarch64__)
  return vqtbl1q_u8(vld1q_u8(table), index);
#else
  const uint8x8x2_t t = {{vld1_u8(table), vld1_u8(table + 8)}};
  return vcombine_u8(vtbl2_u8(t, vget_low_u8(index)), vtbl2_u8(t, vget_high_u8(index)));
#endif
}

inline uint16x8_t Sigma4(const VdNoiseLine& l, uint16x8_t y) {
  const uint16x8_t s1 = vaddq_u16(vdupq_n_u16(static_cast<uint16_t>(l.a1)),
                                  vshrq_n_u16(vmulq_n_u16(y, static_cast<uint16_t>(l.b1)), 6));
  const uint16x8_t s2 = vaddq_u16(vdupq_n_u16(static_cast<uint16_t>(l.a2)),
                                  vshrq_n_u16(vmulq_n_u16(y, static_cast<uint16_t>(l.b2)), 6));
  return vminq_u16(s1, s2);
}

// Byte masks where 4 * sad > k * sigma4.
inline uint8x16_t Exceeds(uint16x8_t sad_lo, uint16x8_t sad_hi, uint16x8_t s_lo, uint16x8_t s_hi,
                          int k) {
  const uint16_t kk = static_cast<uint16_t>(k);
  return vcombine_u8(vmovn_u16(vcgtq_u16(vshlq_n_u16(sad_lo, 2), vmulq_n_u16(s_lo, kk))),
                     vmovn_u16(vcgtq_u16(vshlq_n_u16(sad_hi, 2), vmulq_n_u16(s_hi, kk))));
}

// p + (((c - p) * gain + 64) >> 7), eight lanes.
inline int16x8_t BlendHalf(uint8x8_t c, uint8x8_t p, uint8x8_t gain) {
  const int16x8_t pv = vreinterpretq_s16_u16(vmovl_u8(p));
  const int16x8_t d = vsubq_s16(vreinterpretq_s16_u16(vmovl_u8(c)), pv);
  const int16x8_t t = vmlaq_s16(vdupq_n_s16(64), d, vreinterpretq_s16_u16(vmovl_u8(gain)));
  return vaddq_s16(pv, vshrq_n_s16(t, 7));
}

// Sum over rows of |c - p| at columns x - 1, x, x + 1, as 16-bit halves.
inline void PatchSad16(const uint8_t* const* c, const uint8_t* const* p, int x, uint16x8_t* lo,
                       uint16x8_t* hi) {
  uint16x8_t sl = vdupq_n_u16(0), sh = vdupq_n_u16(0);
  for (int r = 0; r < 3; ++r) {
    for (int k = -1; k <= 1; ++k) {
      const uint8x16_t d = vabdq_u8(vld1q_u8(c[r] + x + k), vld1q_u8(p[r] + x + k));
      sl = vaddw_u8(sl, vget_low_u8(d));
      sh = vaddw_u8(sh, vget_high_u8(d));
    }
  }
  *lo = sl;
  *hi = sh;
}

// p + (((c - p) * gain + 64) >> 7) for 16 pixels.
inline uint8x16_t Blend16(uint8x16_t c, uint8x16_t p, uint8x16_t gain) {
  return vcombine_u8(vqmovun_s16(BlendHalf(vget_low_u8(c), vget_low_u8(p), vget_low_u8(gain))),
                     vqmovun_s16(BlendHalf(vget_high_u8(c), vget_high_u8(p), vget_high_u8(gain))));
}

}  // namespace

int AdaptiveSad16_NEON(const uint8_t* a, int a_stride, const uint8_t* b, int b_stride, int rows) {
  uint16x8_t s = vdupq_n_u16(0);
  for (int y = 0; y < rows; ++y) {
    const uint8x16_t d = vabdq_u8(vld1q_u8(a), vld1q_u8(b));
    s = vpadalq_u8(s, d);
    a += a_stride;
    b += b_stride;
  }
  const uint32x4_t s4 = vpaddlq_u16(s);
  const uint64x2_t s2 = vpaddlq_u32(s4);
  return static_cast<int>(vgetq_lane_u64(s2, 0) + vgetq_lane_u64(s2, 1));
}

int AdaptiveHalfSad16_NEON(const uint8_t* a, int a_stride, const uint8_t* b, int b_stride, int fx,
                           int fy, int rows) {
  const int down = fy ? b_stride : 0;
  uint16x8_t s = vdupq_n_u16(0);
  for (int y = 0; y < rows; ++y) {
    const uint8x16_t p00 = vld1q_u8(b), p01 = vld1q_u8(b + fx);
    const uint8x16_t p10 = vld1q_u8(b + down), p11 = vld1q_u8(b + down + fx);
    const uint16x8_t lo = vaddq_u16(vaddl_u8(vget_low_u8(p00), vget_low_u8(p01)),
                                    vaddl_u8(vget_low_u8(p10), vget_low_u8(p11)));
    const uint16x8_t hi = vaddq_u16(vaddl_u8(vget_high_u8(p00), vget_high_u8(p01)),
                                    vaddl_u8(vget_high_u8(p10), vget_high_u8(p11)));
    const uint8x16_t p = vcombine_u8(vmovn_u16(vshrq_n_u16(vaddq_u16(lo, vdupq_n_u16(2)), 2)),
                                     vmovn_u16(vshrq_n_u16(vaddq_u16(hi, vdupq_n_u16(2)), 2)));
    s = vpadalq_u8(s, vabdq_u8(vld1q_u8(a), p));
    a += a_stride;
    b += b_stride;
  }
  const uint64x2_t s2 = vpaddlq_u32(vpaddlq_u16(s));
  return static_cast<int>(vgetq_lane_u64(s2, 0) + vgetq_lane_u64(s2, 1));
}

void AdaptiveTemporalLuma_NEON(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                               const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params) {
  const uint8_t* c[3] = {c0, c1, c2};
  const uint8_t* p[3] = {p0, p1, p2};
  AdaptiveTemporalLumaWalk(c0, c1, c2, p0, p1, p2, cap, hist, out, width, params, [&](int x) {
    uint16x8_t sl, sh;
    PatchSad16(c, p, x, &sl, &sh);
    const uint8x16_t pv = vld1q_u8(p1 + x);
    const uint16x8_t sig_l = Sigma4(params->luma, vmovl_u8(vget_low_u8(pv)));
    const uint16x8_t sig_h = Sigma4(params->luma, vmovl_u8(vget_high_u8(pv)));
    const uint8x16_t not_still = Exceeds(sl, sh, sig_l, sig_h, params->still);
    const uint8x16_t moved = Exceeds(sl, sh, sig_l, sig_h, params->move);
    const uint8x16_t grown =
        vminq_u8(vqaddq_u8(vld1q_u8(hist + x), vdupq_n_u8(1)), vdupq_n_u8(kVdAdaptiveMaxHistory));
    const uint8x16_t partial = vbslq_u8(moved, vdupq_n_u8(0), vshrq_n_u8(grown, 2));
    uint8x16_t n = vbslq_u8(not_still, partial, grown);
    n = vminq_u8(n, vld1q_u8(cap + x));
    vst1q_u8(hist + x, n);
    vst1q_u8(out + x, Blend16(vld1q_u8(c1 + x), pv, Lookup16(kVdAdaptiveGain, n)));
  });
}

// Eight 16-bit lanes from the even bytes of 16 bytes.
static inline uint16x8_t Even(uint8x16_t v) {
  return vandq_u16(vreinterpretq_u16_u8(v), vdupq_n_u16(0xff));
}

static inline uint16x8_t ChromaSigma4(const VdTemporalParams* params, uint8x16_t luma) {
  const uint16x8_t s = Sigma4(params->luma, Even(luma));
  return vminq_u16(vshrq_n_u16(vmulq_n_u16(s, static_cast<uint16_t>(params->chroma_ratio)), 6),
                   vdupq_n_u16(255));
}

// Minimum of each horizontal pair of bytes, eight lanes.
static inline uint8x8_t PairMin(uint8x16_t v) {
  const uint16x8_t w = vreinterpretq_u16_u8(v);
  return vmovn_u16(vminq_u16(vandq_u16(w, vdupq_n_u16(0xff)), vshrq_n_u16(w, 8)));
}

void AdaptiveTemporalChroma_NEON(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                                 const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred, const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist, uint8_t* out,
                                 int width, const VdTemporalParams* params) {
  const uint8_t* c[3] = {c0, c1, c2};
  const uint8_t* p[3] = {p0, p1, p2};
  AdaptiveTemporalChromaWalk(
      c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0, luma_hist1, hist, out, width, params,
      [&](int x) {
        uint16x8_t sl, sh;
        PatchSad16(c, p, x, &sl, &sh);
        const uint8_t* lp = luma_pred + 2 * x;
        const uint8x16_t moved = Exceeds(sl, sh, ChromaSigma4(params, vld1q_u8(lp)),
                                         ChromaSigma4(params, vld1q_u8(lp + 16)),
                                         params->chroma_move);
        const uint8x16_t ma =
            vminq_u8(vld1q_u8(luma_hist0 + 2 * x), vld1q_u8(luma_hist1 + 2 * x));
        const uint8x16_t mb =
            vminq_u8(vld1q_u8(luma_hist0 + 2 * x + 16), vld1q_u8(luma_hist1 + 2 * x + 16));
        const uint8x16_t cap = vcombine_u8(PairMin(ma), PairMin(mb));
        uint8x16_t n = vminq_u8(vaddq_u8(vld1q_u8(hist + x), vdupq_n_u8(1)), cap);
        n = vbicq_u8(n, moved);
        vst1q_u8(hist + x, n);
        vst1q_u8(out + x, Blend16(vld1q_u8(c1 + x), vld1q_u8(p1 + x), Lookup16(kVdAdaptiveGain, n)));
      });
}

#endif  // __ARM_NEON
