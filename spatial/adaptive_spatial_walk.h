// The walks shared by the SSE2, AVX2 and NEON adaptive spatial kernels
// (adaptive_spatial_*.cpp, temporal/adaptive_x86_common.h): 16-pixel blocks
// where every tap lies inside the row, the rest through the references. No
// intrinsics here; everything has internal linkage, so the -mavx2 object
// and the baseline object each keep their own copy.
#ifndef VD_SPATIAL_ADAPTIVE_SPATIAL_WALK_H_
#define VD_SPATIAL_ADAPTIVE_SPATIAL_WALK_H_

#include <stdint.h>

#include "spatial/adaptive_spatial.h"

namespace {

// The filter row (VdSpatialRowFn): the first `step` columns by
// AdaptiveSpatialPixel, then block(x) for columns x .. x + 15 while their
// right taps stay inside the row, then the columns left by
// AdaptiveSpatialPixel again.
template <typename Block>
static inline void AdaptiveSpatialRowWalk(const uint8_t* r0, const uint8_t* r1,
                                          const uint8_t* r2, const uint8_t* threshold,
                                          uint8_t* out, int width, int step, Block block) {
  int x = 0;
  for (; x < step && x < width; ++x) {
    out[x] = AdaptiveSpatialPixel(r0, r1, r2, threshold, width, step, x);
  }
  for (; x + 16 <= width - step; x += 16) block(x);
  for (; x < width; ++x) {
    out[x] = AdaptiveSpatialPixel(r0, r1, r2, threshold, width, step, x);
  }
}

// A threshold row: block(x) for columns x .. x + 15 while they fit, then
// tail(x) once for the columns x .. width - 1 when any are left.
template <typename Block, typename Tail>
static inline void AdaptiveThresholdWalk(int width, Block block, Tail tail) {
  int x = 0;
  for (; x + 16 <= width; x += 16) block(x);
  if (x < width) tail(x);
}

}  // namespace

#endif  // VD_SPATIAL_ADAPTIVE_SPATIAL_WALK_H_
