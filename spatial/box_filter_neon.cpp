// NEON twins of the 3x3 and 5x5 box filters (armv7 and aarch64).
#include "spatial/box_filter_internal.h"

#if defined(__ARM_NEON)

#include <cstring>

#include "spatial/box_filter_walk.h"

namespace {

// ---- 3x3 -------------------------------------------------------------------

// VdBoxMean9 on eight lanes: u16 sum -> f32, times 1/9, plus 0.5, truncate,
// saturate to 16 bits, keep the low byte.
inline uint8x8_t Mean9(uint16x8_t sum) {
  const float32x4_t k = vdupq_n_f32(1.0f / 9.0f);
  const float32x4_t half = vdupq_n_f32(0.5f);
  float32x4_t lo = vcvtq_f32_u32(vmovl_u16(vget_low_u16(sum)));
  float32x4_t hi = vcvtq_f32_u32(vmovl_u16(vget_high_u16(sum)));
  lo = vaddq_f32(vmulq_f32(lo, k), half);
  hi = vaddq_f32(vmulq_f32(hi, k), half);
  const int16x8_t n = vcombine_s16(vqmovn_s32(vcvtq_s32_f32(lo)),
                                   vqmovn_s32(vcvtq_s32_f32(hi)));
  return vmovn_u16(vreinterpretq_u16_s16(n));
}

// Output rows y and y + 1, columns x .. x + 15. s is source row y - 1 (four
// source rows are read), d is destination row y. The two middle rows' sums
// serve both outputs.
inline void Box3x3TwoRows16(const VdBoxRows& r, int x) {
  uint16x8_t a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  VdRowSum3x16(r.s + x, &a_lo, &a_hi);
  VdRowSum3x16(r.s + r.ss + x, &b_lo, &b_hi);
  VdRowSum3x16(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  VdRowSum3x16(r.s + 3 * r.ss + x, &e_lo, &e_hi);
  const uint16x8_t mid_lo = vaddq_u16(b_lo, c_lo);
  const uint16x8_t mid_hi = vaddq_u16(b_hi, c_hi);
  vst1q_u8(r.d + x, vcombine_u8(Mean9(vaddq_u16(mid_lo, a_lo)),
                              Mean9(vaddq_u16(mid_hi, a_hi))));
  vst1q_u8(r.d + r.ds + x, vcombine_u8(Mean9(vaddq_u16(mid_lo, e_lo)),
                                  Mean9(vaddq_u16(mid_hi, e_hi))));
}

// Output row y, columns x .. x + 15; s is source row y - 1.
inline void Box3x3OneRow16(const VdBoxRows& r, int x) {
  uint16x8_t a_lo, a_hi, b_lo, b_hi, c_lo, c_hi;
  VdRowSum3x16(r.s + x, &a_lo, &a_hi);
  VdRowSum3x16(r.s + r.ss + x, &b_lo, &b_hi);
  VdRowSum3x16(r.s + 2 * r.ss + x, &c_lo, &c_hi);
  vst1q_u8(r.d + x, vcombine_u8(Mean9(vaddq_u16(vaddq_u16(a_lo, b_lo), c_lo)),
                              Mean9(vaddq_u16(vaddq_u16(a_hi, b_hi), c_hi))));
}

// Columns 1 .. width - 2 of `count` (1 or 2) output rows in blocks of 16
// (at the frame widths, multiples of 16, the realigned last block redoes
// two finished columns with the same bytes); rows narrower than one block
// (width < 18) pixel by pixel.
template <int count>
void Box3x3Rows(const VdBoxRows& r, int width) {
  if (!VdInnerColumnBlocks<16>(1, width, [&](int x) {
        if (count == 2) Box3x3TwoRows16(r, x);
        else Box3x3OneRow16(r, x);
      })) {
    VdBoxNarrowRows<1, VdBoxMean9>(r, width, count);
  }
}

// ---- 5x5 -------------------------------------------------------------------

// floor(sum / 25) as (sum * 1374389535) >> 35 on eight lanes.
inline uint8x8_t Mean25(uint16x8_t sum) {
  const uint32x2_t m = vdup_n_u32(1374389535u);
  const uint32x4_t lo = vmovl_u16(vget_low_u16(sum));
  const uint32x4_t hi = vmovl_u16(vget_high_u16(sum));
  uint32x4_t qlo = vcombine_u32(vshrn_n_u64(vmull_u32(vget_low_u32(lo), m), 32),
                                vshrn_n_u64(vmull_u32(vget_high_u32(lo), m), 32));
  uint32x4_t qhi = vcombine_u32(vshrn_n_u64(vmull_u32(vget_low_u32(hi), m), 32),
                                vshrn_n_u64(vmull_u32(vget_high_u32(hi), m), 32));
  qlo = vshrq_n_u32(qlo, 3);
  qhi = vshrq_n_u32(qhi, 3);
  return vmovn_u16(vcombine_u16(vmovn_u32(qlo), vmovn_u32(qhi)));
}

// Horizontal 5-sums of eight column sums; lanes 0..3 are valid.
inline uint16x4_t HSum5(uint16x8_t v) {
  uint16x8_t s = vaddq_u16(v, vextq_u16(v, v, 1));
  s = vaddq_u16(s, vextq_u16(v, v, 2));
  s = vaddq_u16(s, vextq_u16(v, v, 3));
  s = vaddq_u16(s, vextq_u16(v, v, 4));
  return vget_low_u16(s);
}

inline void Store4(uint8_t* d, uint8x8_t v, int lane_group) {
  uint32_t bytes = lane_group == 0
                       ? vget_lane_u32(vreinterpret_u32_u8(v), 0)
                       : vget_lane_u32(vreinterpret_u32_u8(v), 1);
  std::memcpy(d, &bytes, 4);
}

// Output rows y and y + 1, columns x .. x + 3. s is source row y - 2 (six
// source rows, columns x - 2 .. x + 5 are read), d is destination row y.
inline void Box5x5TwoRows4(const VdBoxRows& r, int x) {
  const uint8_t* p = r.s + x - 2;
  const ptrdiff_t w = r.ss;
  const uint16x8_t mid = vaddq_u16(vaddl_u8(vld1_u8(p + w), vld1_u8(p + 2 * w)),
                                   vaddl_u8(vld1_u8(p + 3 * w), vld1_u8(p + 4 * w)));
  const uint16x8_t top = vaddw_u8(mid, vld1_u8(p));
  const uint16x8_t bottom = vaddw_u8(mid, vld1_u8(p + 5 * w));
  const uint8x8_t q = Mean25(vcombine_u16(HSum5(top), HSum5(bottom)));
  Store4(r.d + x, q, 0);
  Store4(r.d + r.ds + x, q, 1);
}

// Output row y, columns x .. x + 3; s is source row y - 2.
inline void Box5x5OneRow4(const VdBoxRows& r, int x) {
  const uint8_t* p = r.s + x - 2;
  const ptrdiff_t w = r.ss;
  uint16x8_t col = vaddq_u16(vaddl_u8(vld1_u8(p), vld1_u8(p + w)),
                             vaddl_u8(vld1_u8(p + 2 * w), vld1_u8(p + 3 * w)));
  col = vaddw_u8(col, vld1_u8(p + 4 * w));
  const uint16x4_t h = HSum5(col);
  Store4(r.d + x, Mean25(vcombine_u16(h, h)), 0);
}

// Columns 2 .. width - 3 of `count` (1 or 2) output rows, four per step.
template <int count>
void Box5x5Rows(const VdBoxRows& r, int width) {
  if (!VdInnerColumnBlocks<4>(2, width, [&](int x) {
        if (count == 2) Box5x5TwoRows4(r, x);
        else Box5x5OneRow4(r, x);
      })) {
    VdBoxNarrowRows<2, VdBoxMean25>(r, width, count);
  }
}

}  // namespace

int BoxFilter3x3_NEON(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge) {
  return VdBoxRowPairs<1>(
      src, src_stride, dst, dst_stride, width, rows, iEdge,
      [width](const VdBoxRows& r) { Box3x3Rows<2>(r, width); },
      [width](const VdBoxRows& r) { Box3x3Rows<1>(r, width); });
}

int BoxFilter_NEON(const unsigned char* src, ptrdiff_t src_stride,
                   unsigned char* dst, ptrdiff_t dst_stride, int width,
                   int rows, int iEdge) {
  return VdBoxRowPairs<2>(
      src, src_stride, dst, dst_stride, width, rows, iEdge,
      [width](const VdBoxRows& r) { Box5x5Rows<2>(r, width); },
      [width](const VdBoxRows& r) { Box5x5Rows<1>(r, width); });
}

#endif  // defined(__ARM_NEON)
