// The one-pass box filter and blend against the three stages it replaces,
// and its vector twins against the scalar reference.
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

void CheckTwin(const char* name, VdBoxBlendRowFn reference,
               VdBoxBlendRowFn twin);

TEST(BoxBlend, VectorTwinsEqualTheReference) {
  InitNRPixelTable(17);
  vdtest::ForEachTwin(VdBoxBlendKernels, &BoxBlendKernels::row,
                      [](const char* level, VdBoxBlendRowFn reference,
                         VdBoxBlendRowFn twin) {
                        CheckTwin(level, reference, twin);
                      });
}

void CheckTwin(const char* name, VdBoxBlendRowFn reference,
               VdBoxBlendRowFn twin) {
  std::vector<int> widths;
  for (int w = 1; w <= 140; ++w) widths.push_back(w);
  for (int w : {1920, 1921, 3840}) widths.push_back(w);
  for (int w : widths) {
    for (int level = 0; level < 4; ++level) {
      // Three rows of source, one of prev; buffers exactly the row, ending
      // on a guard page, pointers at odd offsets.
      vdtest::GuardedBuffer a(w), r(w), b(w), p(w), out(w), ref(w);
      vdtest::FillRandom(a.data(), w, w * 7 + level);
      vdtest::FillRandom(r.data(), w, w * 11 + level);
      vdtest::FillRandom(b.data(), w, w * 13 + level);
      vdtest::FillRandom(p.data(), w, w * 17 + level);
      reference(a.data(), r.data(), b.data(), p.data(), ref.data(), w, level);
      twin(a.data(), r.data(), b.data(), p.data(), out.data(), w, level);
      ASSERT_EQ(0, memcmp(ref.data(), out.data(), w))
          << name << ", width " << w << " level " << level;
      // The result may replace the previous output in place.
      twin(a.data(), r.data(), b.data(), p.data(), p.data(), w, level);
      ASSERT_EQ(0, memcmp(ref.data(), p.data(), w))
          << name << ", in place, width " << w;
    }
  }
}

}  // namespace
