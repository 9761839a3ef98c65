// Bilateral filters: the cross filter's passes, cut-offs and borders, the
// 7 x 7 / 9 x 9 kernels' mirror borders, strip tails and table limits, the
// wrappers' dispatch. The NEON twins are compared in
// kernel_variants_test.cpp.
#include "spatial/bilateral.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/vd_alloc.h"
#include "spatial/bilateral_internal.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
using Kernel = void (*)(unsigned char*, unsigned char*, int, int, int, int);
const Kernel kKernels[] = {bilateral_7x7_neon, bilateral_9x9_neon};

// A gently varying plane with small noise, so that most neighbour
// differences fall inside the 16-entry range table.
Plane SmoothPlane(int width, int height, uint32_t seed, int noise = 12) {
  Plane p = vdtest::RandomBytes((size_t)width * height, seed);
  for (size_t i = 0; i < p.size(); ++i) {
    const int base = 60 + ((i / width) * 7 + (i % width) * 5 + seed % 50) % 120;
    p[i] = (uint8_t)std::min<int>(base + p[i] % (noise + 1), 255);
  }
  return p;
}

Plane RunKernel(Kernel kernel, Plane src, int width, int height, int ss, int sr) {
  Plane dst(src.size(), 0xA5);
  kernel(src.data(), dst.data(), width, height, ss, sr);
  return dst;
}

TEST(BilateralTables, WeightsAndMirror) {
  // sigma 1: 64 e^-0.5 = 38.8, 64 e^-2 = 8.66, 64 e^-4.5 = 0.71, + 0.5;
  // symmetric in the sign of the difference.
  const int weights[][3] = {{0, 1, 64}, {1, 1, 39}, {2, 1, 9},   {3, 1, 1},  {4, 1, 0},
                            {5, 10, 56}, {-5, 10, 56}, {10, 10, 39}, {20, 10, 9}};
  for (const auto& w : weights) EXPECT_EQ(w[2], BilateralWeight(w[0], w[1])) << w[0] << "," << w[1];
  // Reflects without repeating the edge; planes smaller than the window
  // clamp what the reflection cannot reach.
  const int mirror[][3] = {{-1, 10, 1}, {-4, 10, 4}, {9, 10, 9}, {10, 10, 8}, {13, 10, 5},
                           {-3, 1, 0},  {4, 1, 0},   {-4, 2, 1}, {5, 2, 0}};
  for (const auto& m : mirror) EXPECT_EQ(m[2], BilateralMirror(m[0], m[1])) << m[0] << "," << m[1];
}

TEST(Bilateral, NonPositiveSigmaWritesNothing) {
  const int w = 16, h = 12;
  const Plane input = SmoothPlane(w, h, 1);
  const int sigmas[][2] = {{0, 5}, {2, 0}, {-1, 5}, {3, -7}, {0, 0}};
  for (const auto& s : sigmas) {
    SCOPED_TRACE(::testing::Message() << s[0] << "," << s[1]);
    Plane image = input, work(input.size(), 7), guide = SmoothPlane(w, h, 2);
    CrossBilateralFilter(image.data(), h, w, s[0], s[1], work.data(), guide.data());
    BilateralFilter(image.data(), h, w, s[0], s[1], work.data());
    EXPECT_EQ(input, image);
    EXPECT_EQ(Plane(input.size(), 7), work);
    Plane src = input, dst(input.size(), 9);
    for (int mode = 0; mode < 3; ++mode) {
      BilateralFilter_new(src.data(), dst.data(), h, w, s[0], s[1], mode);
    }
    for (Kernel k : kKernels) k(src.data(), dst.data(), w, h, s[0], s[1]);
    EXPECT_EQ(Plane(input.size(), 9), dst);
  }
}

TEST(Bilateral, FlatPlaneUnchangedByEveryFilter) {
  for (int value : {0, 1, 128, 254, 255}) {
    for (int ss : {1, 2, 3, 6}) {
      const int w = 21, h = 13;
      const Plane flat((size_t)w * h, (uint8_t)value);
      Plane image = flat, work(flat.size()), dst(flat.size());
      // Any guide: a weighted mean of equal values is that value.
      Plane guide = vdtest::RandomBytes(flat.size(), value + ss);
      CrossBilateralFilter(image.data(), h, w, ss, 9, work.data(), guide.data());
      EXPECT_EQ(flat, work);
      BilateralFilter(image.data(), h, w, ss, 4, work.data());
      EXPECT_EQ(flat, image);
      for (int mode = 0; mode < 3; ++mode) {
        BilateralFilter_new(image.data(), dst.data(), h, w, ss, 30, mode);
        EXPECT_EQ(flat, dst);
      }
    }
  }
}

// --- CrossBilateralFilter ----------------------------------------------------

// One row of seven: only column 3 is filtered (radius 3), with spatial
// weights 1 9 39 64 39 9 1 (sigma 1) and range weights for sigma 10
// (w(5) = 56, w(10) = 39, cut beyond 20):
//   guide  100 121 105 100  90 100 100
//   weight  64   0 2184 4096 1521 576 64   W = 8505
//   image  250  10  20  30  40  50  60     A = 276040
// (276040 + 4252) / 8505 = 32. Down a single column the vertical pass gives
// the same (a row narrower than R is copied to work whole); with height 1
// the vertical pass has no rows and the image stays as it was.
// The guide difference is cut off at twice the range sigma: with guide 100
// everywhere except columns 1 and 4 (100 +- d):
//   d = 21: weights 64 0 2496 4096 0 576 64, W = 7296, A = 221440 -> 30
//   d = 20: columns 1 and 4 add 9*9 = 81 and 9*39 = 351,
//           W = 7728, A = 221440 + 810 + 14040 = 236290 -> 31
TEST(CrossBilateralFilter, HandComputedPixels) {
  const Plane handImage = {250, 10, 20, 30, 40, 50, 60};
  const Plane filtered = {250, 10, 20, 32, 40, 50, 60};
  for (int height : {1, 7}) {
    Plane image = handImage, guide = {100, 121, 105, 100, 90, 100, 100}, work(7, 0);
    CrossBilateralFilter(image.data(), height, 8 - height, 1, 10, work.data(), guide.data());
    EXPECT_EQ(height == 1 ? handImage : filtered, image) << height;
    EXPECT_EQ(height == 1 ? filtered : handImage, work) << height;
  }
  for (int diff : {20, 21}) {
    Plane image = handImage, guide(7, 100), work(7, 0);
    guide[1] = (uint8_t)(100 + diff);
    guide[4] = (uint8_t)(100 - diff);
    CrossBilateralFilter(image.data(), 1, 7, 1, 10, work.data(), guide.data());
    EXPECT_EQ(diff == 20 ? 31 : 30, work[3]) << diff;
  }
}

// Planes of at most 2R rows keep their image and work holds each row's
// horizontal pass alone; taller planes keep their first and last R rows.
TEST(CrossBilateralFilter, ShortPlanesAndBorderRows) {
  for (int ss : {1, 2, 3, 5}) {
    const int radius = ss <= 2 ? 3 : 4, w = 19;
    for (int h = 1; h <= 2 * radius; ++h) {
      SCOPED_TRACE(::testing::Message() << "ss " << ss << " h " << h);
      const Plane input = SmoothPlane(w, h, 40 + h);
      Plane guide = SmoothPlane(w, h, 80 + h);
      Plane image = input, work(input.size(), 0);
      CrossBilateralFilter(image.data(), h, w, ss, 8, work.data(), guide.data());
      EXPECT_EQ(input, image);
      EXPECT_NE(input, work) << "the horizontal pass should smooth";
      for (int r = 0; r < h; ++r) {
        Plane row(input.begin() + r * w, input.begin() + (r + 1) * w), rowWork(w, 0);
        Plane rowGuide(guide.begin() + r * w, guide.begin() + (r + 1) * w);
        CrossBilateralFilter(row.data(), 1, w, ss, 8, rowWork.data(), rowGuide.data());
        EXPECT_TRUE(std::equal(rowWork.begin(), rowWork.end(), work.begin() + r * w)) << r;
        for (int c = 0; c < radius; ++c) {
          EXPECT_EQ(input[r * w + c], work[r * w + c]);
          EXPECT_EQ(input[r * w + w - 1 - c], work[r * w + w - 1 - c]);
        }
      }
    }
    const int tallW = 23, tallH = 17;
    const Plane input = SmoothPlane(tallW, tallH, 5);
    Plane image = input, work(input.size()), guide = input;
    CrossBilateralFilter(image.data(), tallH, tallW, ss, 6, work.data(), guide.data());
    for (int r = 0; r < tallH; ++r) {
      const bool border = r < radius || r >= tallH - radius;
      EXPECT_EQ(border, std::equal(input.begin() + r * tallW, input.begin() + (r + 1) * tallW,
                                   image.begin() + r * tallW)) << "ss " << ss << " row " << r;
    }
  }
}

TEST(Bilateral, OnlyTheCrossFilterAllocatesItsSpatialTable) {
  const int w = 12, h = 10;
  const Plane input = SmoothPlane(w, h, 3);
  Plane image = input, work(input.size(), 0), guide = input;
  VdAllocFailAt(-1);
  bilateral_7x7_neon(image.data(), work.data(), w, h, 2, 5);
  bilateral_9x9_neon(image.data(), work.data(), w, h, 3, 5);
  EXPECT_EQ(0, VdAllocFailAt(-1));
  image = input;
  CrossBilateralFilter(image.data(), h, w, 2, 5, work.data(), guide.data());
  EXPECT_EQ(1, VdAllocFailAt(-1));
  // Without its table it writes nothing.
  image = input;
  std::fill(work.begin(), work.end(), 0);
  VdAllocFailAt(0);
  CrossBilateralFilter(image.data(), h, w, 2, 5, work.data(), guide.data());
  VdAllocFailAt(-1);
  EXPECT_EQ(input, image);
  EXPECT_EQ(Plane(input.size(), 0), work);
}

// The 7 x 7 and 9 x 9 kernels' footprints are checked in
// kernel_variants_test.cpp.
TEST(Bilateral, CrossFilterStaysInsideThePlanesAtAnySize) {
  for (int h = 1; h <= 11; ++h) {
    for (int w = 1; w <= 13; ++w) {
      const size_t n = (size_t)w * h;
      vdtest::GuardedBuffer image(n), work(n), guide(n);
      vdtest::FillRandom(image.data(), n, w * 31 + h);
      vdtest::FillRandom(guide.data(), n, w * 17 + h);
      CrossBilateralFilter(image.data(), h, w, 1 + (w + h) % 4, 20, work.data(), guide.data());
    }
  }
}

// --- 7 x 7 and 9 x 9 kernels ------------------------------------------------

TEST(BilateralKernels, MirroredBorderDoesNotRepeatTheEdge) {
  // One row: the vertical pass sees seven copies of the horizontal result.
  // Column 0 with sigma 1 and range sigma 100 (every range weight 64):
  // taps -3..3 read columns 3 2 1 0 1 2 3 = 20 20 30 20 30 20 20, so
  // A = 4096*20 + 2*2496*30 + 2*576*20 + 2*64*20 = 257280, W = 10368 and
  // 24.8 rounds to 25. Repeating the edge (20 30 20 ...) would give 23.
  // The same down one column.
  const Plane src = {20, 30, 20, 20, 20, 20, 30, 20};
  for (int width : {8, 1}) {
    const Plane out = RunKernel(bilateral_7x7_neon, src, width, 9 - width, 1, 100);
    EXPECT_EQ(25, out[0]) << width;
    EXPECT_EQ(25, out[7]) << width;
  }
}

TEST(BilateralKernels, RowAndColumnPlanesAreTransposesOfEachOther) {
  // A 1-pixel-wide plane is filtered by the vertical pass only, a
  // 1-pixel-high plane by the horizontal pass only: strips, tails and
  // mirrored rows must agree. Likewise a plane whose rows are all equal and
  // its transpose.
  const int w = 27, h = 11;
  Plane ramp((size_t)w * h), rampT(ramp.size());
  for (int i = 0; i < w * h; ++i) {
    ramp[i] = rampT[(i % w) * h + i / w] = (uint8_t)(90 + ((i % w) * (i % w)) % 13);
  }
  for (Kernel k : kKernels) {
    for (int n = 1; n <= 40; n += 3) {
      const Plane line = SmoothPlane(n, 1, n, 20);
      EXPECT_EQ(RunKernel(k, line, n, 1, 2, 9), RunKernel(k, line, 1, n, 2, 9)) << n;
    }
    const Plane a = RunKernel(k, ramp, w, h, 3, 6), b = RunKernel(k, rampT, h, w, 3, 6);
    for (int i = 0; i < w * h; ++i) ASSERT_EQ(a[i], b[(i % w) * h + i / w]) << i;
  }
}

TEST(BilateralKernels, RangeCutOffIsTwiceSigmaCappedAt15) {
  // A spike of height d on a flat plane is left alone exactly when d lies
  // beyond the last non-zero range entry: min(2 * sigmaRange, 15).
  const int cases[][2] = {{1, 2}, {3, 6}, {7, 14}, {8, 15}, {10, 15}, {60, 15}};
  for (const auto& c : cases) {
    for (Kernel k : kKernels) {
      for (int d : {c[1], c[1] + 1}) {
        SCOPED_TRACE(::testing::Message() << "range sigma " << c[0] << " d " << d);
        const int w = 19, h = 11;
        Plane flat((size_t)w * h, 100);
        flat[(size_t)5 * w + 9] = (uint8_t)(100 + d);
        flat[(size_t)2 * w + 17] = (uint8_t)(100 - d);
        const Plane out = RunKernel(k, flat, w, h, 2, c[0]);
        EXPECT_EQ(d > c[1], flat == out);
        if (d <= c[1]) { EXPECT_LT(out[(size_t)5 * w + 9], 100 + d); }
      }
    }
  }
}

// Fixed outputs of the portable path; every build (scalar or NEON, armv7 or
// aarch64) must reproduce them.
TEST(BilateralKernels, SameDigestOnEveryBuild) {
  const int w = 45, h = 23;
  uint64_t digest = vdtest::Digest(nullptr, 0);
  for (int ss = 1; ss <= 4; ++ss) {
    for (int sr : {1, 4, 9, 40}) {
      const Plane src = SmoothPlane(w, h, ss * 100 + sr, 6 + sr);
      for (Kernel k : kKernels) {
        const Plane out = RunKernel(k, src, w, h, ss, sr);
        digest = vdtest::Digest(out.data(), out.size(), digest);
      }
    }
  }
  EXPECT_EQ(5192932720423031945ull, digest);
}

// BilateralFilter leaves a copy of its input in work and picks the kernel by
// spatial sigma; BilateralFilter_new picks it by mode (2: by sigma).
TEST(BilateralWrappers, PickTheKernel) {
  const int w = 17, h = 12;
  const Plane input = SmoothPlane(w, h, 33);
  for (int ss : {2, 3}) {
    const Plane seven = RunKernel(bilateral_7x7_neon, input, w, h, ss, 7);
    const Plane nine = RunKernel(bilateral_9x9_neon, input, w, h, ss, 7);
    ASSERT_NE(seven, nine);
    const Plane& bySigma = ss <= 2 ? seven : nine;
    Plane image = input, work(input.size(), 0);
    BilateralFilter(image.data(), h, w, ss, 7, work.data());
    EXPECT_EQ(input, work);
    EXPECT_EQ(bySigma, image) << ss;
    const std::pair<int, const Plane*> modes[] = {{0, &nine}, {1, &seven}, {2, &bySigma},
                                                  {3, &seven}, {-1, &seven}};
    for (const auto& m : modes) {
      Plane src = input, dst(input.size(), 0);
      BilateralFilter_new(src.data(), dst.data(), h, w, ss, 7, m.first);
      EXPECT_EQ(*m.second, dst) << "mode " << m.first << " ss " << ss;
      EXPECT_EQ(input, src);
    }
  }
}

}  // namespace
