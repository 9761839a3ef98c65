// The row walk shared by the SSE2, AVX2 and NEON adaptive temporal blends
// (adaptive_temporal_*.cpp, adaptive_x86_common.h): 16-pixel blocks over
// the inner columns, the border and left-over columns through the
// references' per-pixel functions. No intrinsics here; everything has
// internal linkage, so the -mavx2 object and the baseline object each keep
// their own copy.
#ifndef VD_TEMPORAL_ADAPTIVE_TEMPORAL_WALK_H_
#define VD_TEMPORAL_ADAPTIVE_TEMPORAL_WALK_H_

#include <stdint.h>

#include "temporal/adaptive_temporal.h"

namespace {

// Calls block(x) for columns x .. x + 15 from column 1 while the block ends
// before the last column (every tap of a block lies inside the row), then
// pixel(0), then pixel(x) for the columns left.
template <typename Block, typename Pixel>
static inline void AdaptiveRowWalk(int width, Block block, Pixel pixel) {
  int x = 1;
  for (; x + 16 <= width - 1; x += 16) block(x);
  pixel(0);
  for (; x < width; ++x) pixel(x);
}

// The walk of a luma row (VdTemporalLumaFn), single pixels by
// AdaptiveTemporalLumaPixel.
template <typename Block>
static inline void AdaptiveTemporalLumaWalk(const uint8_t* c0, const uint8_t* c1,
                                            const uint8_t* c2, const uint8_t* p0,
                                            const uint8_t* p1, const uint8_t* p2,
                                            const uint8_t* cap, uint8_t* hist, uint8_t* out,
                                            int width, const VdTemporalParams* params,
                                            Block block) {
  AdaptiveRowWalk(width, block, [&](int x) {
    AdaptiveTemporalLumaPixel(c0, c1, c2, p0, p1, p2, cap, hist, out, width, x, params);
  });
}

// The walk of a chroma row (VdTemporalChromaFn), single pixels by
// AdaptiveTemporalChromaPixel.
template <typename Block>
static inline void AdaptiveTemporalChromaWalk(
    const uint8_t* c0, const uint8_t* c1, const uint8_t* c2, const uint8_t* p0,
    const uint8_t* p1, const uint8_t* p2, const uint8_t* luma_pred, const uint8_t* luma_hist0,
    const uint8_t* luma_hist1, uint8_t* hist, uint8_t* out, int width,
    const VdTemporalParams* params, Block block) {
  AdaptiveRowWalk(width, block, [&](int x) {
    AdaptiveTemporalChromaPixel(c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0, luma_hist1,
                                hist, out, width, x, params);
  });
}

}  // namespace

#endif  // VD_TEMPORAL_ADAPTIVE_TEMPORAL_WALK_H_
