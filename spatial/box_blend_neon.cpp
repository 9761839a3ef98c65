// NEON twin of the one-pass box filter and blend: 16 spatial values,
// differences and directions per step in vector registers, the table read
// one byte at a time (NEON has no lookup that reaches 16 KB), and an
// overlapped last block ending at the last inner column.
#include "spatial/box_blend.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "spatial/fuzzy_filter_internal.h"

namespace {

// 16 results for the inner pixels x .. x + 15 into dst.
void BlendBlock(const uint8_t* above, const uint8_t* row, const uint8_t* below,
                const uint8_t* prev, const uint8_t* slice, int x,
                uint8_t* dst) {
  const uint16x8_t four = vdupq_n_u16(4);
  uint16x8_t lo = vdupq_n_u16(0), hi = vdupq_n_u16(0);
  const uint8_t* rows[3] = {above, row, below};
  for (const uint8_t* p : rows) {
    for (int dx = -1; dx <= 1; ++dx) {
      const uint8x16_t v = vld1q_u8(p + x + dx);
      lo = vaddw_u8(lo, vget_low_u8(v));
      hi = vaddw_u8(hi, vget_high_u8(v));
    }
  }
  // (sum + 4) x 7282 >> 16: the rounded mean, exact for every 3x3 sum.
  lo = vaddq_u16(lo, four);
  hi = vaddq_u16(hi, four);
  const uint16x4_t k = vdup_n_u16(7282);
  const uint16x8_t mlo =
      vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(lo), k), 16),
                   vshrn_n_u32(vmull_u16(vget_high_u16(lo), k), 16));
  const uint16x8_t mhi =
      vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(hi), k), 16),
                   vshrn_n_u32(vmull_u16(vget_high_u16(hi), k), 16));
  const uint8x16_t s = vcombine_u8(vmovn_u16(mlo), vmovn_u16(mhi));
  const uint8x16_t p = vld1q_u8(prev + x);
  const uint8x16_t d = vminq_u8(vabdq_u8(p, s), vdupq_n_u8(16));
  const uint8x16_t dir = vandq_u8(vcgeq_u8(p, s), vdupq_n_u8(1));
  // s x 66 + d x 2 + dir, in 16 bits.
  uint16_t idx[16];
  vst1q_u16(idx, vaddw_u8(vmlal_u8(vmull_u8(vget_low_u8(s), vdup_n_u8(66)),
                                   vget_low_u8(d), vdup_n_u8(2)),
                          vget_low_u8(dir)));
  vst1q_u16(idx + 8,
            vaddw_u8(vmlal_u8(vmull_u8(vget_high_u8(s), vdup_n_u8(66)),
                              vget_high_u8(d), vdup_n_u8(2)),
                     vget_high_u8(dir)));
  for (int i = 0; i < 16; ++i) dst[i] = slice[idx[i]];
}

}  // namespace

void VdBoxBlendRow_NEON(const uint8_t* above, const uint8_t* row,
                        const uint8_t* below, const uint8_t* prev,
                        uint8_t* out, int width, int level) {
  if (width < 18) {
    VdBoxBlendRow_C(above, row, below, prev, out, width, level);
    return;
  }
  const uint8_t* slice = nr_table + level * kNrBytesPerLevel;
  // The last block ends at the last inner column and may overlap the one
  // before it. It is worked out first, so that every block reads prev before
  // any store (out may be prev).
  const int last = width - 17;
  uint8_t tail[16];
  BlendBlock(above, row, below, prev, slice, last, tail);
  for (int x = 1; x < last; x += 16) {
    BlendBlock(above, row, below, prev, slice, x, out + x);
  }
  for (int i = 0; i < 16; ++i) out[last + i] = tail[i];
  VdBlendRow_C(row, prev, out, 1, level);
  VdBlendRow_C(row + width - 1, prev + width - 1, out + width - 1, 1, level);
}

#endif  // __ARM_NEON
