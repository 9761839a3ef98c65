// NEON twins of the 3x3 range-weighted means (armv7 and aarch64).
#include "spatial/fuzzy_filter_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <stddef.h>

#include "spatial/fuzzy_filter_walk.h"

namespace {

// Adds the three taps of one source row (columns x - 1, x, x + 1 for the
// eight lanes starting at r) to acc and their weights to wsum. The weight is
// an 8-entry VTBL lookup: a difference of 8 or more indexes past the table
// and yields 0.
inline void AccumulateRow(const uint8_t* r, uint8x8_t centre, uint8x8_t lut,
                          uint16x8_t* acc, uint16x8_t* wsum) {
  for (int dx = -1; dx <= 1; ++dx) {
    const uint8x8_t p = vld1_u8(r + dx);
    const uint8x8_t t = vtbl1_u8(lut, vabd_u8(p, centre));
    *acc = vmlal_u8(*acc, t, p);
    *wsum = vaddw_u8(*wsum, t);
  }
}

// VdNormaliseToByte on four lanes, saturated to 16 bits.
inline uint16x4_t Normalise4(uint32x4_t s, uint32x4_t w) {
  const float32x4_t r = VdRecipRefinedNeon(vcvtq_f32_u32(w));
  const float32x4_t v =
      vaddq_f32(vmulq_f32(vcvtq_f32_u32(s), r), vdupq_n_f32(0.5f));
  return vqmovn_u32(vcvtq_u32_f32(v));
}

// Eight outputs, columns x .. x + 7, with the pointers already at column x;
// reads columns x - 1 .. x + 8. Each row's partial sum stays below 65536
// (four products of at most 64 x 255), the total goes to 32-bit lanes.
inline uint8x8_t FuzzyMean8(const uint8_t* above, const uint8_t* row,
                            const uint8_t* below, const uint8_t* centre,
                            uint8_t seed) {
  const uint8x8_t lut = vld1_u8(kFuzzyRangeWeights);
  const uint8x8_t c = vld1_u8(centre);
  const uint8x8_t seed8 = vdup_n_u8(seed);
  uint16x8_t mid = vmull_u8(c, seed8);
  uint16x8_t top = vdupq_n_u16(0);
  uint16x8_t bottom = vdupq_n_u16(0);
  uint16x8_t wsum = vmovl_u8(seed8);
  AccumulateRow(above, c, lut, &top, &wsum);
  AccumulateRow(row, c, lut, &mid, &wsum);
  AccumulateRow(below, c, lut, &bottom, &wsum);
  const uint32x4_t s_lo = vaddw_u16(
      vaddl_u16(vget_low_u16(top), vget_low_u16(mid)), vget_low_u16(bottom));
  const uint32x4_t s_hi =
      vaddw_u16(vaddl_u16(vget_high_u16(top), vget_high_u16(mid)),
                vget_high_u16(bottom));
  const uint16x4_t lo = Normalise4(s_lo, vmovl_u16(vget_low_u16(wsum)));
  const uint16x4_t hi = Normalise4(s_hi, vmovl_u16(vget_high_u16(wsum)));
  return vmovn_u16(vcombine_u16(lo, hi));
}

// The inner rows in blocks of kBlock = 16 (two groups of 8) or 8 columns
// (see FuzzyInnerRowsWalk), centre values from centre. The block that ends
// at column width - 2 seeds its columns from width - 9 on with last_seed;
// with a seed of 1 it is needed only for left-over columns.
template <int kBlock>
inline void FilterRows(const uint8_t* src, const uint8_t* centre, uint8_t* dst,
                       int width, int height, uint8_t last_seed) {
  const size_t w = static_cast<size_t>(width);
  FuzzyInnerRowsWalk<kBlock>(width, height, last_seed != 1, [&](size_t row, int x, bool last) {
    const uint8_t* r = src + row + x;
    const uint8_t* c = centre + row + x;
    uint8_t* o = dst + row + x;
    const uint8_t tail = last ? last_seed : 1;
    if (kBlock == 16) {
      vst1_u8(o, FuzzyMean8(r - w, r, r + w, c, 1));
      vst1_u8(o + 8, FuzzyMean8(r - w + 8, r + 8, r + w + 8, c + 8, tail));
    } else {
      vst1_u8(o, FuzzyMean8(r - w, r, r + w, c, tail));
    }
  });
}

// 16-column blocks when a row has at least 16 inner columns, else groups of
// 8 (width >= 10).
inline void FilterPlane(const uint8_t* src, const uint8_t* centre, uint8_t* dst,
                        int width, int height, uint8_t last_seed) {
  if (width >= 18) {
    FilterRows<16>(src, centre, dst, width, height, last_seed);
  } else {
    FilterRows<8>(src, centre, dst, width, height, last_seed);
  }
}

}  // namespace

void FuzzyFilter_UV_NEON(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge) {
  if (width < 10) {  // fewer than 8 inner columns: no vector group fits
    FuzzyFilter_UV_C(src, dst, width, height, iEdge);
    return;
  }
  VdFuzzyCopyBorders(src, dst, width, height, iEdge);
  FilterPlane(src, src, dst, width, height, static_cast<uint8_t>(kFuzzyLastGroupSeed));
}

void FuzzyFilter_NEON(const unsigned char* guide, const unsigned char* src,
                      unsigned char* dst, int width, int height, int iEdge,
                      int guideSel) {
  if (width < 10) {
    FuzzyFilter_C(guide, src, dst, width, height, iEdge, guideSel);
    return;
  }
  VdFuzzyCopyLumaBorders(src, dst, width, height, iEdge);
  FilterPlane(src, guideSel != 0 ? src : guide, dst, width, height, 1);
}

#endif  // defined(__ARM_NEON)
