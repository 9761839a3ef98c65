// The row-pair walk shared by the SSE2, AVX2 and NEON motion kernels
// (motion_mask_*.cpp): the stepping of the references in motion_mask.cpp,
// with the per-step arithmetic left to the caller. No intrinsics here;
// everything has internal linkage, so the -mavx2 object and the baseline
// object each keep their own copy. ThresholdImage255 walks packed rows
// (temporal_filter_walk.h).
#ifndef VD_TEMPORAL_MOTION_MASK_WALK_H_
#define VD_TEMPORAL_MOTION_MASK_WALK_H_

#include <stddef.h>

#include "temporal/temporal_filter_walk.h"

namespace {

// The height / 2 row pairs: a pair covers the first span bytes of its two
// rows, and the next pair starts span + width bytes later, i.e. right after
// the span of the pair's second row. Within a pair, calls wide(r0, r1) for
// the byte offsets r0 (first row) and r1 = r0 + width (second row) of each
// kWide-pixel step while one fits, then narrow(r0, r1) in kNarrow-pixel
// steps; span must be a multiple of kNarrow. Both rows of a step are handed
// over at once, so a step may read all its inputs before it writes.
template <int kWide, int kNarrow, typename Wide, typename Narrow>
static inline void ForEachRowPairStep(int width, int height, int span,
                                      Wide wide, Narrow narrow) {
  if (span <= 0) return;
  const int pairs = height >> 1;
  const ptrdiff_t step = static_cast<ptrdiff_t>(span) + width;
  for (int p = 0; p < pairs; ++p) {
    const ptrdiff_t o = p * step;
    int x = 0;
    for (; x + kWide <= span; x += kWide) wide(o + x, o + width + x);
    for (; x < span; x += kNarrow) narrow(o + x, o + width + x);
  }
}

// The same with one step size.
template <int kStep, typename Step>
static inline void ForEachRowPairStep(int width, int height, int span,
                                      Step step) {
  ForEachRowPairStep<kStep, kStep>(width, height, span, step, step);
}

// The spans of the references: whole 16-pixel blocks (CalSADImagePairs,
// CalDiffAbs) or whole 32-pixel blocks (CalSAD_threshhold) of a row.
static inline int Span16(int width) { return (width >> 4) * 16; }
static inline int Span32(int width) { return (width >> 5) * 32; }

}  // namespace

#endif  // VD_TEMPORAL_MOTION_MASK_WALK_H_
