// Bilateral filters: the cross filter's passes, cut-offs and borders, the
// 7 x 7 / 9 x 9 kernels' mirror borders, strip tails and table limits, the
// wrappers' dispatch, and the scalar references against the NEON twins.
#include "spatial/bilateral.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/vd_alloc.h"
#include "spatial/bilateral_internal.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
using Kernel = void (*)(unsigned char*, unsigned char*, int, int, int, int);

// A gently varying plane with small noise, so that most neighbour
// differences fall inside the 16-entry range table.
Plane SmoothPlane(int width, int height, uint32_t seed, int noise = 12) {
  Plane noiseBytes = vdtest::RandomBytes((size_t)width * height, seed);
  Plane p((size_t)width * height);
  for (int r = 0; r < height; ++r) {
    for (int c = 0; c < width; ++c) {
      const int base = 60 + (r * 7 + c * 5 + (int)(seed % 50)) % 120;
      const int v = base + noiseBytes[(size_t)r * width + c] % (noise + 1);
      p[(size_t)r * width + c] = (uint8_t)std::min(v, 255);
    }
  }
  return p;
}

Plane Transpose(const Plane& p, int width, int height) {
  Plane t(p.size());
  for (int r = 0; r < height; ++r) {
    for (int c = 0; c < width; ++c)
      t[(size_t)c * height + r] = p[(size_t)r * width + c];
  }
  return t;
}

Plane RunKernel(Kernel kernel, Plane src, int width, int height, int ss,
                int sr) {
  Plane dst(src.size(), 0xA5);
  kernel(src.data(), dst.data(), width, height, ss, sr);
  return dst;
}

// --- Weights ---------------------------------------------------------------

TEST(BilateralWeight, ConcreteValues) {
  EXPECT_EQ(64, BilateralWeight(0, 1));
  // sigma 1: 64 e^-0.5 = 38.8, 64 e^-2 = 8.66, 64 e^-4.5 = 0.71, + 0.5.
  EXPECT_EQ(39, BilateralWeight(1, 1));
  EXPECT_EQ(9, BilateralWeight(2, 1));
  EXPECT_EQ(1, BilateralWeight(3, 1));
  EXPECT_EQ(0, BilateralWeight(4, 1));
  // Symmetric in the sign of the difference.
  EXPECT_EQ(BilateralWeight(5, 10), BilateralWeight(-5, 10));
  EXPECT_EQ(56, BilateralWeight(5, 10));
  EXPECT_EQ(39, BilateralWeight(10, 10));
  EXPECT_EQ(9, BilateralWeight(20, 10));
}

TEST(BilateralMirror, ReflectsWithoutRepeatingTheEdge) {
  EXPECT_EQ(1, BilateralMirror(-1, 10));
  EXPECT_EQ(4, BilateralMirror(-4, 10));
  EXPECT_EQ(9, BilateralMirror(9, 10));
  EXPECT_EQ(8, BilateralMirror(10, 10));
  EXPECT_EQ(5, BilateralMirror(13, 10));
  // Planes smaller than the window clamp what the reflection cannot reach.
  EXPECT_EQ(0, BilateralMirror(-3, 1));
  EXPECT_EQ(0, BilateralMirror(4, 1));
  EXPECT_EQ(1, BilateralMirror(-4, 2));
  EXPECT_EQ(0, BilateralMirror(5, 2));
}

// --- Wrappers with a sigma of 0 or below -------------------------------------

TEST(Bilateral, NonPositiveSigmaWritesNothing) {
  const int w = 16, h = 12;
  const Plane input = SmoothPlane(w, h, 1);
  const int sigmas[][2] = {{0, 5}, {2, 0}, {-1, 5}, {3, -7}, {0, 0}};
  for (const auto& s : sigmas) {
    SCOPED_TRACE(::testing::Message() << s[0] << "," << s[1]);
    Plane image = input, work(input.size(), 7), guide = SmoothPlane(w, h, 2);
    CrossBilateralFilter(image.data(), h, w, s[0], s[1], work.data(),
                         guide.data());
    EXPECT_EQ(input, image);
    EXPECT_EQ(Plane(input.size(), 7), work);

    BilateralFilter(image.data(), h, w, s[0], s[1], work.data());
    EXPECT_EQ(input, image);
    EXPECT_EQ(Plane(input.size(), 7), work);

    Plane src = input, dst(input.size(), 9);
    for (int mode = 0; mode < 3; ++mode) {
      BilateralFilter_new(src.data(), dst.data(), h, w, s[0], s[1], mode);
    }
    bilateral_7x7_neon(src.data(), dst.data(), w, h, s[0], s[1]);
    bilateral_9x9_neon(src.data(), dst.data(), w, h, s[0], s[1]);
    EXPECT_EQ(Plane(input.size(), 9), dst);
  }
}

TEST(Bilateral, FlatPlaneUnchangedByEveryFilter) {
  for (int value : {0, 1, 128, 254, 255}) {
    for (int ss : {1, 2, 3, 6}) {
      const int w = 21, h = 13;
      const Plane flat((size_t)w * h, (uint8_t)value);
      Plane image = flat, work(flat.size());
      // Any guide: a weighted mean of equal values is that value.
      Plane guide = vdtest::RandomBytes(flat.size(), value + ss);
      CrossBilateralFilter(image.data(), h, w, ss, 9, work.data(),
                           guide.data());
      EXPECT_EQ(flat, image);
      EXPECT_EQ(flat, work);
      BilateralFilter(image.data(), h, w, ss, 4, work.data());
      EXPECT_EQ(flat, image);
      Plane dst(flat.size());
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
// (276040 + 4252) / 8505 = 32.
const uint8_t kHandGuide[7] = {100, 121, 105, 100, 90, 100, 100};
const uint8_t kHandImage[7] = {250, 10, 20, 30, 40, 50, 60};

TEST(CrossBilateralFilter, HandComputedHorizontalPixel) {
  Plane image(kHandImage, kHandImage + 7), guide(kHandGuide, kHandGuide + 7);
  Plane work(7, 0);
  // Height 1 <= 2R: the vertical pass has no rows, image stays as it was.
  CrossBilateralFilter(image.data(), 1, 7, 1, 10, work.data(), guide.data());
  EXPECT_EQ(Plane(kHandImage, kHandImage + 7), image);
  EXPECT_EQ((Plane{250, 10, 20, 32, 40, 50, 60}), work);
}

TEST(CrossBilateralFilter, HandComputedVerticalPixel) {
  // The same numbers down a single column; a row narrower than R is copied
  // to work whole.
  Plane image(kHandImage, kHandImage + 7), guide(kHandGuide, kHandGuide + 7);
  Plane work(7, 0);
  CrossBilateralFilter(image.data(), 7, 1, 1, 10, work.data(), guide.data());
  EXPECT_EQ(Plane(kHandImage, kHandImage + 7), work);
  EXPECT_EQ((Plane{250, 10, 20, 32, 40, 50, 60}), image);
}

TEST(CrossBilateralFilter, GuideDifferenceCutOffAtTwiceRangeSigma) {
  // Range sigma 10: a guide difference of 20 still weighs w(20) = 9, one of
  // 21 weighs 0. Guide 100 everywhere except columns 1 and 4 (100 +- d):
  //   d = 21: weights 64 0 2496 4096 0 576 64, W = 7296, A = 221440 -> 30
  //   d = 20: columns 1 and 4 add 9*9 = 81 and 9*39 = 351,
  //           W = 7728, A = 221440 + 810 + 14040 = 236290 -> 31
  const int expected[2] = {31, 30};
  for (int diff : {20, 21}) {
    Plane image(kHandImage, kHandImage + 7), guide(7, 100), work(7, 0);
    guide[1] = (uint8_t)(100 + diff);
    guide[4] = (uint8_t)(100 - diff);
    CrossBilateralFilter(image.data(), 1, 7, 1, 10, work.data(), guide.data());
    EXPECT_EQ(expected[diff - 20], work[3]) << diff;
  }
}

TEST(CrossBilateralFilter, ShortPlaneKeepsImageAndWorkHoldsHorizontalPass) {
  for (int ss : {1, 2, 3, 5}) {
    const int radius = ss <= 2 ? 3 : 4;
    for (int h = 1; h <= 2 * radius; ++h) {
      const int w = 19;
      const Plane input = SmoothPlane(w, h, 40 + h);
      Plane image = input, work(input.size(), 0);
      Plane guide = SmoothPlane(w, h, 80 + h);
      CrossBilateralFilter(image.data(), h, w, ss, 8, work.data(),
                           guide.data());
      EXPECT_EQ(input, image) << "ss " << ss << " h " << h;
      // Each row of work is the horizontal pass of that row alone.
      for (int r = 0; r < h; ++r) {
        Plane row(input.begin() + r * w, input.begin() + (r + 1) * w);
        Plane rowGuide(guide.begin() + r * w, guide.begin() + (r + 1) * w);
        Plane rowWork(w, 0);
        CrossBilateralFilter(row.data(), 1, w, ss, 8, rowWork.data(),
                             rowGuide.data());
        EXPECT_TRUE(
            std::equal(rowWork.begin(), rowWork.end(), work.begin() + r * w))
            << "ss " << ss << " h " << h << " row " << r;
        for (int c = 0; c < radius; ++c) {
          EXPECT_EQ(input[r * w + c], work[r * w + c]);
          EXPECT_EQ(input[r * w + w - 1 - c], work[r * w + w - 1 - c]);
        }
      }
      EXPECT_NE(input, work) << "the horizontal pass should smooth";
    }
  }
}

TEST(CrossBilateralFilter, BorderRowsKeepTheirInput) {
  const int w = 23, h = 17;
  for (int ss : {2, 3}) {
    const int radius = ss <= 2 ? 3 : 4;
    const Plane input = SmoothPlane(w, h, 5);
    Plane image = input, work(input.size()), guide = input;
    CrossBilateralFilter(image.data(), h, w, ss, 6, work.data(), guide.data());
    for (int r = 0; r < h; ++r) {
      const bool border = r < radius || r >= h - radius;
      const bool same =
          std::equal(input.begin() + r * w, input.begin() + (r + 1) * w,
                     image.begin() + r * w);
      if (border) {
        EXPECT_TRUE(same) << "row " << r;
      } else {
        EXPECT_FALSE(same) << "row " << r;
      }
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

TEST(CrossBilateralFilter, StaysInsideThePlanesAtAnySize) {
  for (int h = 1; h <= 11; ++h) {
    for (int w = 1; w <= 13; ++w) {
      const size_t n = (size_t)w * h;
      vdtest::GuardedBuffer image(n), work(n), guide(n);
      vdtest::FillRandom(image.data(), n, w * 31 + h);
      vdtest::FillRandom(guide.data(), n, w * 17 + h);
      CrossBilateralFilter(image.data(), h, w, 1 + (w + h) % 4, 20, work.data(),
                           guide.data());
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
  Plane src = {20, 30, 20, 20, 20, 20, 30, 20};
  const Plane out = RunKernel(bilateral_7x7_neon, src, 8, 1, 1, 100);
  EXPECT_EQ(25, out[0]);
  EXPECT_EQ(25, out[7]);
  // The same down one column.
  const Plane column = RunKernel(bilateral_7x7_neon, src, 1, 8, 1, 100);
  EXPECT_EQ(25, column[0]);
  EXPECT_EQ(25, column[7]);
}

TEST(BilateralKernels, RowAndColumnPlanesAreTransposesOfEachOther) {
  // A 1-pixel-wide plane is filtered by the vertical pass only, a
  // 1-pixel-high plane by the horizontal pass only: strips, tails and
  // mirrored rows must agree.
  for (Kernel k : {bilateral_7x7_neon, bilateral_9x9_neon}) {
    for (int n = 1; n <= 40; n += 3) {
      const Plane line = SmoothPlane(n, 1, n, 20);
      EXPECT_EQ(RunKernel(k, line, n, 1, 2, 9), RunKernel(k, line, 1, n, 2, 9))
          << n;
    }
  }
  // A plane whose rows are all equal is smoothed by the horizontal pass
  // alone, its transpose by the vertical pass alone: the results must be
  // transposes of each other.
  const int w = 27, h = 11;
  Plane ramp((size_t)w * h);
  for (int r = 0; r < h; ++r) {
    for (int c = 0; c < w; ++c)
      ramp[(size_t)r * w + c] = (uint8_t)(90 + (c * c) % 13);
  }
  for (Kernel k : {bilateral_7x7_neon, bilateral_9x9_neon}) {
    const Plane a = RunKernel(k, ramp, w, h, 3, 6);
    const Plane b = RunKernel(k, Transpose(ramp, w, h), h, w, 3, 6);
    EXPECT_EQ(a, Transpose(b, h, w));
  }
}

TEST(BilateralKernels, RangeCutOffIsTwiceSigmaCappedAt15) {
  // A spike of height d on a flat plane is left alone exactly when d lies
  // beyond the last non-zero range entry: min(2 * sigmaRange, 15).
  struct Case {
    int sigmaRange, cut;
  };
  for (const Case& c : {Case{1, 2}, Case{3, 6}, Case{7, 14}, Case{8, 15},
                        Case{10, 15}, Case{60, 15}}) {
    for (Kernel k : {bilateral_7x7_neon, bilateral_9x9_neon}) {
      for (int d : {c.cut, c.cut + 1}) {
        const int w = 19, h = 11;
        Plane flat((size_t)w * h, 100);
        flat[(size_t)5 * w + 9] = (uint8_t)(100 + d);
        flat[(size_t)2 * w + 17] = (uint8_t)(100 - d);
        const Plane out = RunKernel(k, flat, w, h, 2, c.sigmaRange);
        if (d > c.cut) {
          EXPECT_EQ(flat, out) << "range sigma " << c.sigmaRange << " d " << d;
        } else {
          EXPECT_NE(flat, out) << "range sigma " << c.sigmaRange << " d " << d;
          EXPECT_LT(out[(size_t)5 * w + 9], 100 + d);
        }
      }
    }
  }
}

TEST(BilateralKernels, StayInsideThePlanesAtAnySize) {
  for (Kernel k : {bilateral_7x7_neon, bilateral_9x9_neon}) {
    for (int h = 1; h <= 10; ++h) {
      for (int w = 1; w <= 26; ++w) {
        const size_t n = (size_t)w * h;
        vdtest::GuardedBuffer src(n), dst(n);
        vdtest::FillRandom(src.data(), n, w * 7 + h);
        k(src.data(), dst.data(), w, h, 2, 7);
      }
    }
    // A page-sized plane also starts right after a guard page.
    vdtest::GuardedBuffer src(4096), dst(4096);
    vdtest::FillRandom(src.data(), 4096, 5);
    k(src.data(), dst.data(), 64, 64, 3, 7);
    k(src.data(), dst.data(), 4096, 1, 3, 7);
    k(src.data(), dst.data(), 1, 4096, 3, 7);
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
      for (Kernel k : {bilateral_7x7_neon, bilateral_9x9_neon}) {
        const Plane out = RunKernel(k, src, w, h, ss, sr);
        digest = vdtest::Digest(out.data(), out.size(), digest);
      }
    }
  }
  EXPECT_EQ(5192932720423031945ull, digest);
}

// --- Wrappers
// ------------------------------------------------------------------

TEST(BilateralFilter, LeavesCopyOfInputInWorkAndPicksKernelBySigma) {
  const int w = 22, h = 15;
  const Plane input = SmoothPlane(w, h, 21);
  for (int ss : {1, 2, 3, 4}) {
    Plane image = input, work(input.size(), 0);
    BilateralFilter(image.data(), h, w, ss, 6, work.data());
    EXPECT_EQ(input, work);
    const Kernel k = ss <= 2 ? bilateral_7x7_neon : bilateral_9x9_neon;
    EXPECT_EQ(RunKernel(k, input, w, h, ss, 6), image) << ss;
  }
}

TEST(BilateralFilterNew, ModeSelectsKernel) {
  const int w = 17, h = 12;
  const Plane input = SmoothPlane(w, h, 33);
  for (int ss : {2, 3}) {
    const Plane seven = RunKernel(bilateral_7x7_neon, input, w, h, ss, 7);
    const Plane nine = RunKernel(bilateral_9x9_neon, input, w, h, ss, 7);
    ASSERT_NE(seven, nine);
    struct Case {
      int mode;
      const Plane* expected;
    };
    for (const Case& c :
         {Case{0, &nine}, Case{1, &seven}, Case{2, ss <= 2 ? &seven : &nine},
          Case{3, &seven}, Case{-1, &seven}}) {
      Plane src = input, dst(input.size(), 0);
      BilateralFilter_new(src.data(), dst.data(), h, w, ss, 7, c.mode);
      EXPECT_EQ(*c.expected, dst) << "mode " << c.mode << " ss " << ss;
      EXPECT_EQ(input, src);
    }
  }
}

// --- Scalar reference against the NEON twin
// -----------------------------------

#if defined(__ARM_NEON)
TEST(BilateralKernels, NeonTwinsMatchScalarOverRandomSizes) {
  using Impl = void (*)(const uint8_t*, uint8_t*, int, int, int, int);
  struct Pair {
    Impl scalar, neon;
  };
  const Pair pairs[] = {{Bilateral7x7_C, Bilateral7x7_NEON},
                        {Bilateral9x9_C, Bilateral9x9_NEON}};
  uint32_t seed = 1;
  for (int iter = 0; iter < 160; ++iter) {
    const Plane dims = vdtest::RandomBytes(5, 9000 + iter);
    const int w = 1 + dims[0] % 40;
    const int h = 1 + dims[1] % 14;
    const int ss = 1 + dims[2] % 6;
    const int sr = 1 + dims[3] % 14;
    // Alternate smooth planes (many weights in play) and raw noise.
    const Plane src = (dims[4] & 1)
                          ? SmoothPlane(w, h, ++seed, dims[4] % 24)
                          : vdtest::RandomBytes((size_t)w * h, ++seed);
    for (const Pair& p : pairs) {
      Plane a(src.size(), 1), b(src.size(), 2);
      p.scalar(src.data(), a.data(), w, h, ss, sr);
      p.neon(src.data(), b.data(), w, h, ss, sr);
      ASSERT_EQ(a, b) << "w " << w << " h " << h << " ss " << ss << " sr "
                      << sr;
    }
  }
}
#endif

}  // namespace
