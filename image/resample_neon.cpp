// NEON twins of the fixed-ratio scalers (armv7 and aarch64); the walks are
// those of the x86 twins (resample_walk.h) with 8-interval upscaler blocks.
#include "image/resample_internal.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>

#include <cstddef>
#include <cstring>

#include "image/resample_walk.h"

namespace {

// ---------------------------------------------------------------------------
// Upscaler building blocks. Each handles 8 source intervals (j .. j + 7, each
// blended with its right neighbour), so it reads 9 source bytes per row and
// writes 8 * scale output bytes.

// Vertical blend of 8 columns: w0 * r0 + w1 * r1 (at most 16 * 255).
inline uint16x8_t BlendRows(const uint8_t* r0, const uint8_t* r1,
                            uint8x8_t w0, uint8x8_t w1) {
  return vmlal_u8(vmull_u8(vld1_u8(r0), w0), vld1_u8(r1), w1);
}

// 8x: columns 8j + 4 + k, k = 0..7, are (15 - 2k) * a + (2k + 1) * b over
// the vertical blends a (column j) and b (column j + 1). Successive k differ
// by 2 * (b - a); the running sum wraps in 16 bits but every true value lies
// in 0..65280, so the wrapped value is exact.
inline void Interval8x8(const uint8_t* r0, const uint8_t* r1, uint8x8_t w0,
                        uint8x8_t w1, uint8_t* out) {
  const uint16x8_t a = BlendRows(r0, r1, w0, w1);
  const uint16x8_t b = BlendRows(r0 + 1, r1 + 1, w0, w1);
  const uint16x8_t step = vshlq_n_u16(vsubq_u16(b, a), 1);
  const uint16x8_t o0 = vaddq_u16(vsubq_u16(vshlq_n_u16(a, 4), a), b);
  const uint16x8_t o1 = vaddq_u16(o0, step);
  const uint16x8_t o2 = vaddq_u16(o1, step);
  const uint16x8_t o3 = vaddq_u16(o2, step);
  const uint16x8_t o4 = vaddq_u16(o3, step);
  const uint16x8_t o5 = vaddq_u16(o4, step);
  const uint16x8_t o6 = vaddq_u16(o5, step);
  const uint16x8_t o7 = vaddq_u16(o6, step);
  // Byte 8j + k is output k of interval j: a 4-way interleaving store of the
  // vectors that pair output c with output c + 4 lane by lane.
  const uint8x8x2_t z0 = vzip_u8(vrshrn_n_u16(o0, 8), vrshrn_n_u16(o4, 8));
  const uint8x8x2_t z1 = vzip_u8(vrshrn_n_u16(o1, 8), vrshrn_n_u16(o5, 8));
  const uint8x8x2_t z2 = vzip_u8(vrshrn_n_u16(o2, 8), vrshrn_n_u16(o6, 8));
  const uint8x8x2_t z3 = vzip_u8(vrshrn_n_u16(o3, 8), vrshrn_n_u16(o7, 8));
  uint8x16x4_t q;
  q.val[0] = vcombine_u8(z0.val[0], z0.val[1]);
  q.val[1] = vcombine_u8(z1.val[0], z1.val[1]);
  q.val[2] = vcombine_u8(z2.val[0], z2.val[1]);
  q.val[3] = vcombine_u8(z3.val[0], z3.val[1]);
  vst4q_u8(out, q);
}

// 4x: columns 4j + 2 + k, k = 0..3, are (7 - 2k) * a + (2k + 1) * b over
// the vertical blends (at most 8 * 255), narrowed by (sum + 32) >> 6.
inline void Interval8x4(const uint8_t* r0, const uint8_t* r1, uint8x8_t w0,
                        uint8x8_t w1, uint8_t* out) {
  const uint16x8_t a = BlendRows(r0, r1, w0, w1);
  const uint16x8_t b = BlendRows(r0 + 1, r1 + 1, w0, w1);
  const uint16x8_t step = vshlq_n_u16(vsubq_u16(b, a), 1);
  uint16x8_t acc = vaddq_u16(vsubq_u16(vshlq_n_u16(a, 3), a), b);
  uint8x8x4_t q;
  q.val[0] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[1] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[2] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[3] = vrshrn_n_u16(acc, 6);
  vst4_u8(out, q);
}

// 4x border row: horizontal blend only, (3a + b + 2) >> 2 for k = 0, 1 and
// (a + 3b + 2) >> 2 for k = 2, 3. The second row argument is not read.
inline void Interval8x4Edge(const uint8_t* r, const uint8_t* /*unused*/,
                            uint8x8_t /*w0*/, uint8x8_t /*w1*/,
                            uint8_t* out) {
  const uint8x8_t a = vld1_u8(r);
  const uint8x8_t b = vld1_u8(r + 1);
  const uint8x8_t three = vdup_n_u8(3);
  const uint8x8_t left = vrshrn_n_u16(vaddw_u8(vmull_u8(a, three), b), 2);
  const uint8x8_t right = vrshrn_n_u16(vaddw_u8(vmull_u8(b, three), a), 2);
  uint8x8x4_t q;
  q.val[0] = left;
  q.val[1] = left;
  q.val[2] = right;
  q.val[3] = right;
  vst4_u8(out, q);
}

// Repeats each of the width bytes of in 8 times.
inline void Replicate8(const uint8_t* in, int width, uint8_t* out) {
  int j = 0;
  for (; j + 8 <= width; j += 8) {
    const uint8x8_t v = vld1_u8(in + j);
    const uint8x8x2_t z = vzip_u8(v, v);
    const uint8x16_t pairs = vcombine_u8(z.val[0], z.val[1]);
    uint8x16x4_t q;
    q.val[0] = pairs;
    q.val[1] = pairs;
    q.val[2] = pairs;
    q.val[3] = pairs;
    vst4q_u8(out + 8 * j, q);
  }
  for (; j < width; ++j) std::memset(out + 8 * j, in[j], 8);
}

}  // namespace

// ---------------------------------------------------------------------------
// Downscalers.

// 32 source columns (8 outputs) per step.
int DownScaleNewX16_NEON(const uint8_t* src, int height, int width,
                         uint8_t* dst) {
  const auto step = [](const uint8_t* const* r, int x, uint8_t* out) {
    for (int k = 0; k < 4; ++k) __builtin_prefetch(r[k] + x + 64);
    // Pairwise column sums down the four rows: 16 lanes of 2 x 4 pixels.
    uint16x8_t lo = vpaddlq_u8(vld1q_u8(r[0] + x));
    uint16x8_t hi = vpaddlq_u8(vld1q_u8(r[0] + x + 16));
    for (int k = 1; k < 4; ++k) {
      lo = vpadalq_u8(lo, vld1q_u8(r[k] + x));
      hi = vpadalq_u8(hi, vld1q_u8(r[k] + x + 16));
    }
    const uint16x8_t sums = vcombine_u16(vpadd_u16(vget_low_u16(lo), vget_high_u16(lo)),
                                         vpadd_u16(vget_low_u16(hi), vget_high_u16(hi)));
    vst1_u8(out + x / 4, vrshrn_n_u16(sums, 4));
  };
  return DownScale4x4Walk<32>(src, height, width, dst, step, step);
}

// 16 source columns (8 outputs) per step, 32 while they last.
void DownScale_NEON(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst) {
  DownScale2x2Walk<32>(
      src, height, width, srcStride, dst,
      [](const uint8_t* const* r, int x, uint8_t* out) {
        uint16x8_t lo = vpaddlq_u8(vld1q_u8(r[0] + x));
        uint16x8_t hi = vpaddlq_u8(vld1q_u8(r[0] + x + 16));
        lo = vpadalq_u8(lo, vld1q_u8(r[1] + x));
        hi = vpadalq_u8(hi, vld1q_u8(r[1] + x + 16));
        vst1q_u8(out + x / 2, vcombine_u8(vrshrn_n_u16(lo, 2), vrshrn_n_u16(hi, 2)));
      },
      [](const uint8_t* const* r, int x, uint8_t* out) {
        uint16x8_t s = vpaddlq_u8(vld1q_u8(r[0] + x));
        s = vpadalq_u8(s, vld1q_u8(r[1] + x));
        vst1_u8(out + x / 2, vrshrn_n_u16(s, 2));
      });
}

// ---------------------------------------------------------------------------
// Upscalers: 8-interval blocks (IntervalRowBlocks).

void UpScaleX64_NEON(const uint8_t* src, int height, int width,
                     int /*unused*/, uint8_t* dst) {
  UpScaleX64Walk(src, height, width, dst, Replicate8,
                 [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
                   IntervalRowBlocks<8, 8>(r0, r1, width - 1, vdup_n_u8(15 - 2 * k),
                                           vdup_n_u8(2 * k + 1), out, Interval8x8);
                 });
}

void UpScaleNewX16_NEON(const uint8_t* src, int height, int width,
                        uint8_t* dst) {
  const uint8x8_t none = vdup_n_u8(0);
  UpScaleNewX16Walk(
      src, height, width, dst,
      [width, none](const uint8_t* in, uint8_t* out) {
        IntervalRowBlocks<8, 4>(in, in, width - 1, none, none, out, Interval8x4Edge);
      },
      [width](const uint8_t* r0, const uint8_t* r1, int k, uint8_t* out) {
        IntervalRowBlocks<8, 4>(r0, r1, width - 1, vdup_n_u8(7 - 2 * k),
                                vdup_n_u8(2 * k + 1), out, Interval8x4);
      });
}

#endif  // __ARM_NEON
