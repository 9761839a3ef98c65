// The span walk shared by the SSE2, AVX2 and NEON motion kernels
// (motion_mask_*.cpp), with the per-step arithmetic left to the caller. No
// intrinsics here; everything has internal linkage, so the -mavx2 object and
// the baseline object each keep their own copy.
#ifndef VD_TEMPORAL_MOTION_MASK_WALK_H_
#define VD_TEMPORAL_MOTION_MASK_WALK_H_

#include <stddef.h>

#include "temporal/motion_mask_internal.h"

namespace {

// The flat positions of a span kernel: rows 0 .. rows - 1 of `span` bytes,
// `width` bytes apart. Within a row, calls wide(o) for the byte offset o of
// each kWide-pixel step while one fits, then narrow(o) in kNarrow-pixel
// steps while one fits, then pixel(o) for each byte left (all of them in a
// span narrower than kNarrow). Every position is visited exactly once, so a
// step may write an output over an input of the same position.
template <int kWide, int kNarrow, typename Wide, typename Narrow,
          typename Pixel>
static inline void ForEachSpanStep(int width, int span, int rows, Wide wide,
                                   Narrow narrow, Pixel pixel) {
  if (span <= 0) return;
  for (int r = 0; r < rows; ++r) {
    const ptrdiff_t o = static_cast<ptrdiff_t>(r) * width;
    int x = 0;
    for (; x + kWide <= span; x += kWide) wide(o + x);
    for (; x + kNarrow <= span; x += kNarrow) narrow(o + x);
    for (; x < span; ++x) pixel(o + x);
  }
}

// The same with one step size.
template <int kStep, typename Step, typename Pixel>
static inline void ForEachSpanStep(int width, int span, int rows, Step step,
                                   Pixel pixel) {
  ForEachSpanStep<kStep, kStep>(width, span, rows, step, step, pixel);
}

// The per-pixel steps of the three span kernels, with the references' rules.
struct SadPixel {
  const unsigned char* first;
  const unsigned char* second;
  unsigned char* out;
  void operator()(ptrdiff_t i) const {
    out[i] = VdMotionAbsDiff(first[i], second[i]);
  }
};

struct ExceedsPixel {
  const unsigned char* first;
  const unsigned char* second;
  unsigned char* out;
  unsigned char threshold;
  void operator()(ptrdiff_t i) const {
    out[i] = VdMotionExceeds(first[i], second[i], threshold);
  }
};

struct DiffSignPixel {
  const unsigned char* first;
  const unsigned char* second;
  unsigned char* diff;
  unsigned char* sign;
  void operator()(ptrdiff_t i) const {
    VdMotionDiffSign(first[i], second[i], diff + i, sign + i);
  }
};

struct Above255Pixel {
  const unsigned char* in;
  unsigned char* out;
  unsigned char threshold;
  void operator()(ptrdiff_t i) const { out[i] = in[i] > threshold ? 255 : 0; }
};

}  // namespace

#endif  // VD_TEMPORAL_MOTION_MASK_WALK_H_
