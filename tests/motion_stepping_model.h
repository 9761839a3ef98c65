// Straight-line model of the row-pair stepping of the exported motion-mask
// kernels (temporal/motion_mask.h), written from the header's formulas and
// independent of the library's walk and table. Shared by
// motion_mask_test.cpp and the kernel fuzzer.
#ifndef VD_TESTS_MOTION_STEPPING_MODEL_H_
#define VD_TESTS_MOTION_STEPPING_MODEL_H_

#include <stddef.h>

namespace vdtest {

// Calls at(i) for every byte offset i the walk of `block`-pixel blocks
// covers in a w x h plane: S = w rounded down to whole blocks, h / 2 pairs,
// pair p the bytes p (S + w) + [0, S) and p (S + w) + w + [0, S).
template <typename At>
inline void MotionPairSteppingModel(int w, int h, int block, At at) {
  const long s = w >= block ? w / block * block : 0;
  for (long p = 0; s > 0 && p < h / 2; ++p) {
    const long first = p * (s + w);
    for (long x = 0; x < s; ++x) {
      at(static_cast<size_t>(first + x));
      at(static_cast<size_t>(first + w + x));
    }
  }
}

// The same for ThresholdImage2_neon's packed walk: S = w rounded down to
// whole 16-pixel blocks, h rows of S bytes at a pitch of S, i.e. the bytes
// [0, S h).
template <typename At>
inline void MotionPackedSteppingModel(int w, int h, At at) {
  const long s = w >= 16 ? w / 16 * 16 : 0;
  for (long i = 0; i < s * (h > 0 ? h : 0); ++i) at(static_cast<size_t>(i));
}

}  // namespace vdtest

#endif  // VD_TESTS_MOTION_STEPPING_MODEL_H_
