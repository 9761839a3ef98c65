// Reciprocal as the ARMv7 NEON unit computes it: VRECPE.F32 (an estimate
// with 8 significant bits) refined by VRECPS steps (2 - a * b, the product
// rounded before the subtraction). The normalisation of the range-weighted
// filters is defined by this arithmetic, so the portable path emulates the
// instructions bit for bit and the aarch64 path avoids its fused FRECPS.
#ifndef VD_SPATIAL_RECIP_ESTIMATE_H_
#define VD_SPATIAL_RECIP_ESTIMATE_H_

#include <stdint.h>
#include <string.h>

#if defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// VRECPE.F32 for one lane (ARMv7 standard FPSCR: denormals flush to zero).
static inline float VdRecipEstimate(float x) {
  uint32_t bits;
  memcpy(&bits, &x, 4);
  const uint32_t sign = bits & 0x80000000u;
  const uint32_t exponent = (bits >> 23) & 0xffu;
  const uint32_t fraction = bits & 0x7fffffu;
  uint32_t out;
  if (exponent == 0xffu) {
    out = fraction ? 0x7fc00000u : sign;  // NaN -> default NaN, inf -> 0
  } else if (exponent == 0) {
    out = sign | 0x7f800000u;  // zero or flushed denormal -> infinity
  } else if (exponent >= 253) {
    out = sign;  // too large: the reciprocal underflows to zero
  } else {
    // The operand scaled into [0.5, 1) is q / 512 with q = 256..511; the
    // estimate is 1 / ((q + 0.5) / 512) rounded to 1/256.
    const uint32_t q = 256 + (fraction >> 15);
    const uint32_t d = 2 * q + 1;
    const uint32_t s = (524288u + d) / (2 * d);  // 256..511
    out = sign | ((253 - exponent) << 23) | ((s - 256) << 15);
  }
  float r;
  memcpy(&r, &out, 4);
  return r;
}

// VRECPS.F32: 2 - a * b with the product rounded first (not fused).
static inline float VdRecipStep(float a, float b) {
  // The library is built with -ffp-contract=off, so this stays a rounded
  // multiply followed by a subtraction.
  return 2.0f - a * b;
}

// The reciprocal of w after two refinement steps.
static inline float VdRecipRefined(float w) {
  float r = VdRecipEstimate(w);
  r = r * VdRecipStep(w, r);
  r = r * VdRecipStep(w, r);
  return r;
}

// s / w as the filters define it: s times the refined reciprocal of w, plus
// 0.5, converted to unsigned 32-bit (truncating, saturating), saturated to
// 16 bits, and the low 8 bits kept.
static inline uint8_t VdNormaliseToByte(float s, float w) {
  const float v = s * VdRecipRefined(w) + 0.5f;
  uint32_t u;
  if (!(v > 0.0f)) {
    u = 0;
  } else if (v >= 4294967296.0f) {
    u = 0xffffffffu;
  } else {
    u = (uint32_t)v;
  }
  const uint32_t u16 = u > 0xffffu ? 0xffffu : u;
  return (uint8_t)(u16 & 0xffu);
}

#if defined(__ARM_NEON)
// Four-lane twin of VdRecipRefined. vrecpeq_f32 gives the same estimate on
// armv7 and aarch64; the refinement is spelled as multiply then subtract
// because aarch64's vrecpsq_f32 is fused.
static inline float32x4_t VdRecipRefinedNeon(float32x4_t w) {
  const float32x4_t two = vdupq_n_f32(2.0f);
  float32x4_t r = vrecpeq_f32(w);
  r = vmulq_f32(r, vsubq_f32(two, vmulq_f32(w, r)));
  r = vmulq_f32(r, vsubq_f32(two, vmulq_f32(w, r)));
  return r;
}
#endif

#endif  // VD_SPATIAL_RECIP_ESTIMATE_H_
