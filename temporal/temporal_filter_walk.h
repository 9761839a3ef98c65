// The packed block walk shared by the vector twins of the temporal blends
// (temporal_filter_*.cpp): the stepping of the references, with the per-block arithmetic left to the
// caller. No intrinsics here; everything has internal linkage, so the -mavx2
// object and the baseline object each keep their own copy.
#ifndef VD_TEMPORAL_TEMPORAL_FILTER_WALK_H_
#define VD_TEMPORAL_TEMPORAL_FILTER_WALK_H_

#include <stddef.h>

namespace {

// Every row covers only its whole 16-pixel blocks, span = (width >> 4) * 16
// bytes, and the next row starts right after them, as if the planes were
// packed at that pitch. Calls block(offset) for each 16-pixel block, offset
// being its byte offset in every plane; nothing when width < 16.
template <typename Block>
static inline void ForEachPackedBlock16(int width, int height, Block block) {
  const ptrdiff_t span = static_cast<ptrdiff_t>(width >> 4) * 16;
  if (span <= 0) return;
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = y * span;
    for (ptrdiff_t x = 0; x < span; x += 16) block(row + x);
  }
}

}  // namespace

#endif  // VD_TEMPORAL_TEMPORAL_FILTER_WALK_H_
