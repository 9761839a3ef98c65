// NEON twins of the 3x3 and 5x5 box filters (armv7 and aarch64).
#include "spatial/box_filter_internal.h"

#if defined(__ARM_NEON)

#include <cstring>

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
inline void Box3x3TwoRows16(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  uint16x8_t a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  VdRowSum3x16(s + x, &a_lo, &a_hi);
  VdRowSum3x16(s + w + x, &b_lo, &b_hi);
  VdRowSum3x16(s + 2 * w + x, &c_lo, &c_hi);
  VdRowSum3x16(s + 3 * w + x, &e_lo, &e_hi);
  const uint16x8_t mid_lo = vaddq_u16(b_lo, c_lo);
  const uint16x8_t mid_hi = vaddq_u16(b_hi, c_hi);
  vst1q_u8(d + x, vcombine_u8(Mean9(vaddq_u16(mid_lo, a_lo)),
                              Mean9(vaddq_u16(mid_hi, a_hi))));
  vst1q_u8(d + w + x, vcombine_u8(Mean9(vaddq_u16(mid_lo, e_lo)),
                                  Mean9(vaddq_u16(mid_hi, e_hi))));
}

// Output row y, columns x .. x + 15; s is source row y - 1.
inline void Box3x3OneRow16(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  uint16x8_t a_lo, a_hi, b_lo, b_hi, c_lo, c_hi;
  VdRowSum3x16(s + x, &a_lo, &a_hi);
  VdRowSum3x16(s + w + x, &b_lo, &b_hi);
  VdRowSum3x16(s + 2 * w + x, &c_lo, &c_hi);
  vst1q_u8(d + x, vcombine_u8(Mean9(vaddq_u16(vaddq_u16(a_lo, b_lo), c_lo)),
                              Mean9(vaddq_u16(vaddq_u16(a_hi, b_hi), c_hi))));
}

// Columns 1 .. width - 2 of `count` (1 or 2) output rows. Blocks of 16; when
// (width - 2) mod 16 is not 0 one more block, aligned to end at column
// width - 2, finishes the row. At the frame widths (multiples of 16) that
// leftover is 14 columns: the last block redoes two finished columns with
// the same bytes, because every output reads only the source. Rows narrower
// than one block (width < 18) are done pixel by pixel with the same
// arithmetic.
template <int count>
void Box3x3Rows(const uint8_t* s, uint8_t* d, int width) {
  const ptrdiff_t w = width;
  const int end = width - 1;
  int x = 1;
  if (end - x >= 16) {
    for (; x + 16 <= end; x += 16) {
      if (count == 2) Box3x3TwoRows16(s, d, w, x);
      else Box3x3OneRow16(s, d, w, x);
    }
    if (x < end) {
      if (count == 2) Box3x3TwoRows16(s, d, w, end - 16);
      else Box3x3OneRow16(s, d, w, end - 16);
    }
    return;
  }
  for (int r = 0; r < count; ++r) {
    for (x = 1; x < end; ++x) {
      d[r * w + x] = VdBoxMean9(VdBoxSum(s + (r + 1) * w + x, w, 1));
    }
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
inline void Box5x5TwoRows4(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  const uint8_t* p = s + x - 2;
  const uint16x8_t mid = vaddq_u16(vaddl_u8(vld1_u8(p + w), vld1_u8(p + 2 * w)),
                                   vaddl_u8(vld1_u8(p + 3 * w), vld1_u8(p + 4 * w)));
  const uint16x8_t top = vaddw_u8(mid, vld1_u8(p));
  const uint16x8_t bottom = vaddw_u8(mid, vld1_u8(p + 5 * w));
  const uint8x8_t q = Mean25(vcombine_u16(HSum5(top), HSum5(bottom)));
  Store4(d + x, q, 0);
  Store4(d + w + x, q, 1);
}

// Output row y, columns x .. x + 3; s is source row y - 2.
inline void Box5x5OneRow4(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  const uint8_t* p = s + x - 2;
  uint16x8_t col = vaddq_u16(vaddl_u8(vld1_u8(p), vld1_u8(p + w)),
                             vaddl_u8(vld1_u8(p + 2 * w), vld1_u8(p + 3 * w)));
  col = vaddw_u8(col, vld1_u8(p + 4 * w));
  const uint16x4_t h = HSum5(col);
  Store4(d + x, Mean25(vcombine_u16(h, h)), 0);
}

// Columns 2 .. width - 3 of `count` (1 or 2) output rows, four per step; a
// leftover of (width - 4) mod 4 columns is finished by one more block aligned
// to end at column width - 3 (it redoes finished columns with the same
// bytes). Rows narrower than one block are done pixel by pixel.
template <int count>
void Box5x5Rows(const uint8_t* s, uint8_t* d, int width) {
  const ptrdiff_t w = width;
  const int end = width - 2;
  int x = 2;
  if (end - x >= 4) {
    for (; x + 4 <= end; x += 4) {
      if (count == 2) Box5x5TwoRows4(s, d, w, x);
      else Box5x5OneRow4(s, d, w, x);
    }
    if (x < end) {
      if (count == 2) Box5x5TwoRows4(s, d, w, end - 4);
      else Box5x5OneRow4(s, d, w, end - 4);
    }
    return;
  }
  for (int r = 0; r < count; ++r) {
    for (x = 2; x < end; ++x) {
      d[r * w + x] = VdBoxMean25(VdBoxSum(s + (r + 2) * w + x, w, 2));
    }
  }
}

}  // namespace

// Inner rows 1 .. rows - 2 two at a time; an odd last row gets a single-row
// pass with the same arithmetic.
int BoxFilter3x3_NEON(const unsigned char* src, unsigned char* dst, int width,
                      int rows, int iEdge) {
  VdBoxCopyEdges(src, dst, width, rows, 1, iEdge);
  const ptrdiff_t w = width;
  int y = 1;
  for (; y + 1 < rows - 1; y += 2) {
    Box3x3Rows<2>(src + (y - 1) * w, dst + y * w, width);
  }
  if (y < rows - 1) Box3x3Rows<1>(src + (y - 1) * w, dst + y * w, width);
  return 1;
}

// Inner rows 2 .. rows - 3 two at a time, an odd last row on its own.
int BoxFilter_NEON(const unsigned char* src, unsigned char* dst, int width,
                   int rows, int iEdge) {
  VdBoxCopyEdges(src, dst, width, rows, 2, iEdge);
  const ptrdiff_t w = width;
  int y = 2;
  for (; y + 1 < rows - 2; y += 2) {
    Box5x5Rows<2>(src + (y - 2) * w, dst + y * w, width);
  }
  if (y < rows - 2) Box5x5Rows<1>(src + (y - 2) * w, dst + y * w, width);
  return 1;
}

#endif  // defined(__ARM_NEON)
