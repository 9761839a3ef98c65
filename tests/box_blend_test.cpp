// The one-pass box filter and blend against the three stages it replaces
// (its vector twins: kernel_variants_test).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/vd_cpu.h"
#include "spatial/box_blend.h"
#include "spatial/box_filter.h"
#include "spatial/fuzzy_filter.h"
#include "temporal/motion_mask.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The plane through the one-pass rows, frame border rows included.
Bytes OnePass(VdBoxBlendRowFn blend, const Bytes& src, const Bytes& prev,
              int w, int h, int level) {
  Bytes out(src.size());
  for (int y = 0; y < h; ++y) {
    const size_t o = static_cast<size_t>(y) * w;
    if (y == 0 || y == h - 1) {
      VdBlendRow_C(&src[o], &prev[o], &out[o], w, level);
    } else {
      blend(&src[o - w], &src[o], &src[o + w], &prev[o], &out[o], w, level);
    }
  }
  return out;
}

TEST(BoxBlend, EqualsBoxFilterDifferenceAndTableBlend) {
  InitNRPixelTable(17);
  for (int level = 0; level < 4; ++level) {
    const int w = 64, h = 12;
    Bytes src = vdtest::RandomBytes(w * h, 5 + level);
    Bytes prev = vdtest::RandomBytes(w * h, 9 + level);
    // Small differences too, where the blend does most.
    for (int i = 0; i < w * h; i += 2) prev[i] = static_cast<uint8_t>(src[i] + i % 7);
    Bytes spatial(w * h), diff(w * h), sign(w * h), want(w * h);
    sVNRPoint kernel = {3, 3};
    BoxFilter3x3(src.data(), spatial.data(), w, h, &kernel, 1);
    CalDiffAbs_neon(spatial.data(), prev.data(), diff.data(), sign.data(), w, h, 0);
    FuzzyFilter_2(spatial.data(), diff.data(), sign.data(), want.data(),
                  prev.data(), w, h, level);
    EXPECT_TRUE(want == OnePass(VdBoxBlendRow_C, src, prev, w, h, level))
        << "level " << level;
  }
}

}  // namespace
