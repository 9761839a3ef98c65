// NEON twin of the sharpness filter (armv7 and aarch64).
#include "spatial/sharpness_internal.h"

#if defined(__ARM_NEON)

#include <stddef.h>

#include "spatial/box_filter_internal.h"

namespace {

// c + ((9c - S) >> 2) in signed 16-bit lanes, clamped to 0..255.
inline uint8x8_t Sharpen8(uint8x8_t centre, uint16x8_t sum) {
  const int16x8_t nine_c = vreinterpretq_s16_u16(vmull_u8(centre, vdup_n_u8(9)));
  const int16x8_t diff = vsubq_s16(nine_c, vreinterpretq_s16_u16(sum));
  const int16x8_t boost = vshrq_n_s16(diff, 2);
  const int16x8_t c = vreinterpretq_s16_u16(vmovl_u8(centre));
  return vqmovun_s16(vaddq_s16(c, boost));
}

// Output rows y and y + 1, columns x .. x + 15. s is source row y - 1 (four
// source rows are read), d is destination row y; the sum of the two middle
// rows serves both outputs.
inline void SharpenTwoRows16(const uint8_t* s, uint8_t* d, ptrdiff_t w, int x) {
  uint16x8_t a_lo, a_hi, b_lo, b_hi, c_lo, c_hi, e_lo, e_hi;
  VdRowSum3x16(s + x, &a_lo, &a_hi);
  VdRowSum3x16(s + w + x, &b_lo, &b_hi);
  VdRowSum3x16(s + 2 * w + x, &c_lo, &c_hi);
  VdRowSum3x16(s + 3 * w + x, &e_lo, &e_hi);
  const uint16x8_t mid_lo = vaddq_u16(b_lo, c_lo);
  const uint16x8_t mid_hi = vaddq_u16(b_hi, c_hi);
  const uint8x16_t top = vld1q_u8(s + w + x);
  const uint8x16_t bottom = vld1q_u8(s + 2 * w + x);
  vst1q_u8(d + x,
           vcombine_u8(Sharpen8(vget_low_u8(top), vaddq_u16(mid_lo, a_lo)),
                       Sharpen8(vget_high_u8(top), vaddq_u16(mid_hi, a_hi))));
  vst1q_u8(d + w + x,
           vcombine_u8(Sharpen8(vget_low_u8(bottom), vaddq_u16(mid_lo, e_lo)),
                       Sharpen8(vget_high_u8(bottom), vaddq_u16(mid_hi, e_hi))));
}

}  // namespace

// Row pairs as in the reference. Columns 1 .. width - 2 go 16 at a time; when
// (width - 2) mod 16 is not 0 one more block aligned to end at column
// width - 2 finishes the pair (at frame widths, multiples of 16, that is the
// 14-column leftover, and the block redoes two finished columns with the
// same bytes since only the source is read). Rows narrower than one block
// (width < 18) are done pixel by pixel with the same arithmetic.
void VideoDenoiseSharpness_NEON(const unsigned char* src, unsigned char* dst,
                                int width, int height, int iEdge) {
  VdBoxCopyEdges(src, width, dst, width, width, height, 1, iEdge);
  const int pairs = (height - 2) >> 1;
  const ptrdiff_t w = width;
  const int end = width - 1;
  for (int p = 0; p < pairs; ++p) {
    const int y = 1 + 2 * p;
    const uint8_t* s = src + (y - 1) * w;
    uint8_t* d = dst + y * w;
    if (end - 1 >= 16) {
      int x = 1;
      for (; x + 16 <= end; x += 16) SharpenTwoRows16(s, d, w, x);
      if (x < end) SharpenTwoRows16(s, d, w, end - 16);
      continue;
    }
    for (int r = 0; r < 2; ++r) {
      for (int x = 1; x < end; ++x) {
        const ptrdiff_t i = (r + 1) * w + x;
        d[r * w + x] =
            VdSharpenPixel(s[i], static_cast<int>(VdBoxSum(s + i, w, 1)));
      }
    }
  }
}

#endif  // defined(__ARM_NEON)
