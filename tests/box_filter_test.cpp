// Box filters: rounding per kernel, border rules, window extent, and the
// vector twins against the scalar references.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "api/vd_cpu.h"
#include "spatial/box_filter.h"
#include "spatial/box_filter_internal.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
using ExportedFn = int (*)(unsigned char*, unsigned char*, int, int,
                           sVNRPoint*, int);
using KernelFn = int (*)(const unsigned char*, unsigned char*, int, int, int);

constexpr uint8_t kCanary = 0xA5;

struct BoxKind {
  const char* name;
  ExportedFn fn;
  int radius;
};

const BoxKind kBoxes[] = {
    {"3x3", BoxFilter3x3, 1},
    {"5x5", BoxFilter, 2},
    {"7x7", BoxFilter7x7, 3},
    {"11x11", BoxFilter_nxn, 5},
};

Plane Filter(ExportedFn fn, Plane src, int width, int rows, int iEdge,
          int* result = nullptr) {
  Plane dst(src.size(), kCanary);
  sVNRPoint kernel = {3, 3};
  const int r = fn(src.data(), dst.data(), width, rows, &kernel, iEdge);
  if (result) *result = r;
  return dst;
}

// A zero plane with one pixel set to v at (row y, column x).
Plane Impulse(int width, int rows, int y, int x, uint8_t v) {
  Plane p(static_cast<size_t>(width) * rows, 0);
  p[static_cast<size_t>(y) * width + x] = v;
  return p;
}

// Every pixel within the (2r + 1)-window of the impulse must equal `inside`,
// every other pixel 0 (the plane is large enough that the window is inner).
void ExpectImpulseResponse(const BoxKind& box, int width, int rows, int y,
                           int x, uint8_t v, uint8_t inside) {
  SCOPED_TRACE(testing::Message() << box.name << " v=" << int(v) << " at ("
                                  << y << "," << x << ") width " << width);
  const Plane dst = Filter(box.fn, Impulse(width, rows, y, x, v), width, rows, 1);
  for (int row = 0; row < rows; ++row) {
    for (int col = 0; col < width; ++col) {
      const bool near = std::abs(row - y) <= box.radius &&
                        std::abs(col - x) <= box.radius;
      ASSERT_EQ(dst[row * width + col], near ? inside : 0)
          << "row " << row << " col " << col;
    }
  }
}

TEST(BoxFilter3x3Test, MeanIsNearestIntegerForEverySum) {
  for (uint32_t sum = 0; sum <= 9 * 255; ++sum) {
    ASSERT_EQ(VdBoxMean9(sum), (sum + 4) / 9) << "sum " << sum;
  }
}

TEST(BoxFilterTest, LargerMeansTruncateForEverySum) {
  for (uint32_t sum = 0; sum <= 121 * 255; ++sum) {
    if (sum <= 25 * 255) {
      ASSERT_EQ(VdBoxMean25(sum), sum / 25) << sum;
    }
    if (sum <= 49 * 255) {
      ASSERT_EQ(VdBoxMean49(sum), sum / 49) << sum;
    }
    ASSERT_EQ(VdBoxMean121(sum), sum / 121) << sum;
  }
}

// A neighbourhood summing to 5 gives 1 in the 3x3 filter (nearest), 13 gives
// 0 in the 5x5 filter (floor). Impulses sit in the first vector block, in the
// middle and in the realigned last block of a row.
TEST(BoxFilterTest, ImpulseRoundingPerKernel) {
  const int width = 48, rows = 16;
  for (int x : {6, 20, 40}) {
    ExpectImpulseResponse(kBoxes[0], width, rows, 7, x, 4, 0);
    ExpectImpulseResponse(kBoxes[0], width, rows, 7, x, 5, 1);
    ExpectImpulseResponse(kBoxes[0], width, rows, 8, x, 13, 1);
    ExpectImpulseResponse(kBoxes[0], width, rows, 8, x, 14, 2);
    ExpectImpulseResponse(kBoxes[0], width, rows, 7, x, 255, 28);
    ExpectImpulseResponse(kBoxes[1], width, rows, 7, x, 13, 0);
    ExpectImpulseResponse(kBoxes[1], width, rows, 8, x, 24, 0);
    ExpectImpulseResponse(kBoxes[1], width, rows, 7, x, 25, 1);
    ExpectImpulseResponse(kBoxes[1], width, rows, 8, x, 49, 1);
    ExpectImpulseResponse(kBoxes[1], width, rows, 7, x, 50, 2);
    ExpectImpulseResponse(kBoxes[2], width, rows, 7, x, 48, 0);
    ExpectImpulseResponse(kBoxes[2], width, rows, 8, x, 49, 1);
    ExpectImpulseResponse(kBoxes[2], width, rows, 7, x, 255, 5);
  }
  ExpectImpulseResponse(kBoxes[3], 32, 24, 10, 15, 120, 0);
  ExpectImpulseResponse(kBoxes[3], 32, 24, 13, 10, 121, 1);
  ExpectImpulseResponse(kBoxes[3], 32, 24, 11, 21, 255, 2);
}

TEST(BoxFilterTest, FlatPlaneIsUnchanged) {
  for (const BoxKind& box : kBoxes) {
    for (uint8_t v : {0, 1, 77, 254, 255}) {
      for (int width : {13, 32, 96}) {
        const int rows = 13;
        const Plane src(static_cast<size_t>(width) * rows, v);
        int result = 0;
        EXPECT_EQ(Filter(box.fn, src, width, rows, 1, &result), src)
            << box.name << " v=" << int(v) << " width " << width;
        EXPECT_EQ(result, 1);
      }
    }
  }
}

// Rows 0 .. r-1 are copied only for iEdge 1 and 3, the last r rows only for
// iEdge 1 and 2; otherwise they are left as they were. Inner rows get their
// first and last r columns copied.
TEST(BoxFilterTest, EdgeRowsAndColumns) {
  const int width = 40, rows = 15;
  const Plane src = vdtest::RandomBytes(width * rows, 11);
  for (const BoxKind& box : kBoxes) {
    for (int iEdge = 0; iEdge < 4; ++iEdge) {
      SCOPED_TRACE(testing::Message() << box.name << " iEdge " << iEdge);
      const Plane dst = Filter(box.fn, src, width, rows, iEdge);
      const bool top = iEdge == 1 || iEdge == 3;
      const bool bottom = iEdge == 1 || iEdge == 2;
      const int r = box.radius;
      for (int y = 0; y < rows; ++y) {
        const bool inner = y >= r && y < rows - r;
        for (int x = 0; x < width; ++x) {
          const size_t i = static_cast<size_t>(y) * width + x;
          if (y < r) {
            ASSERT_EQ(dst[i], top ? src[i] : kCanary) << y << "," << x;
          } else if (!inner) {
            ASSERT_EQ(dst[i], bottom ? src[i] : kCanary) << y << "," << x;
          } else if (x < r || x >= width - r) {
            ASSERT_EQ(dst[i], src[i]) << y << "," << x;
          }
        }
      }
    }
  }
}

// With fewer rows than the kernel there is no inner row: only the iEdge row
// copies happen (BoxFilter7x7 on 6 rows among them), and the result is 1.
TEST(BoxFilterTest, TooFewRowsOnlyCopies) {
  const int width = 24;
  for (const BoxKind& box : kBoxes) {
    const int rows = 2 * box.radius;
    const Plane src = vdtest::RandomBytes(width * rows, 3);
    for (int iEdge = 0; iEdge < 4; ++iEdge) {
      SCOPED_TRACE(testing::Message() << box.name << " iEdge " << iEdge);
      int result = 0;
      const Plane dst = Filter(box.fn, src, width, rows, iEdge, &result);
      EXPECT_EQ(result, 1);
      const size_t half = static_cast<size_t>(box.radius) * width;
      const bool top = iEdge == 1 || iEdge == 3;
      const bool bottom = iEdge == 1 || iEdge == 2;
      for (size_t i = 0; i < src.size(); ++i) {
        const bool copied = i < half ? top : bottom;
        ASSERT_EQ(dst[i], copied ? src[i] : kCanary) << "byte " << i;
      }
    }
  }
  // A single row with iEdge 1 is both first and last row.
  const Plane one = vdtest::RandomBytes(width, 4);
  EXPECT_EQ(Filter(BoxFilter3x3, one, width, 1, 1), one);
  EXPECT_EQ(Filter(BoxFilter_nxn, one, width, 1, 3), one);
}

// Planes narrower than the kernel have no inner column: inner rows are
// copied whole.
TEST(BoxFilterTest, NarrowPlanesCopyInnerRows) {
  for (const BoxKind& box : kBoxes) {
    for (int width = 1; width <= 2 * box.radius; ++width) {
      const int rows = 2 * box.radius + 3;
      const Plane src = vdtest::RandomBytes(width * rows, width);
      EXPECT_EQ(Filter(box.fn, src, width, rows, 1), src)
          << box.name << " width " << width;
    }
  }
}

// The integer form of the 3x3 mean that the x86 twins use.
TEST(BoxFilter3x3Test, IntegerMeanEqualsFloatMeanForEverySum) {
  for (uint32_t sum = 0; sum <= 9 * 255; ++sum) {
    ASSERT_EQ(VdBoxMean9Int(sum), VdBoxMean9(sum)) << sum;
  }
}

#if defined(__ARM_NEON) || defined(VD_X86_SIMD)

// Runs the scalar reference and the vector twin on the same source (ending
// flush against a guard page, so an over-read faults) and compares whole
// destination planes, canary bytes included.
void ExpectTwinsEqual(KernelFn ref, KernelFn simd, int width, int rows,
                      int iEdge, uint32_t seed) {
  const size_t n = static_cast<size_t>(width) * rows;
  vdtest::GuardedBuffer src(n);
  vdtest::FillRandom(src.data(), n, seed);
  // Low-contrast content now and then, so sums sit near rounding edges.
  if (seed % 3 == 0) {
    for (size_t i = 0; i < n; ++i) src.data()[i] = 100 + (src.data()[i] & 3);
  }
  Plane a(n, kCanary), b(n, kCanary);
  EXPECT_EQ(ref(src.data(), a.data(), width, rows, iEdge), 1);
  EXPECT_EQ(simd(src.data(), b.data(), width, rows, iEdge), 1);
  ASSERT_EQ(a, b) << "width " << width << " rows " << rows << " iEdge "
                  << iEdge << " seed " << seed;
}

#endif

#if defined(__ARM_NEON)

TEST(BoxFilterNeonTest, MatchesScalarAtRandomSizes) {
  uint32_t seed = 1;
  for (int width = 1; width <= 72; ++width) {
    for (int rows = 1; rows <= 9; ++rows) {
      const int iEdge = (width + rows) & 3;
      ExpectTwinsEqual(BoxFilter3x3_C, BoxFilter3x3_NEON, width, rows, iEdge,
                       seed++);
      ExpectTwinsEqual(BoxFilter_C, BoxFilter_NEON, width, rows, iEdge,
                       seed++);
    }
  }
}

TEST(BoxFilterNeonTest, MatchesScalarAtWiderRandomSizes) {
  uint32_t x = 12345;
  for (int i = 0; i < 300; ++i) {
    x = x * 1103515245u + 12345u;
    const int width = 1 + static_cast<int>((x >> 8) % 260);
    const int rows = 1 + static_cast<int>((x >> 20) % 14);
    const int iEdge = static_cast<int>(x >> 30);
    ExpectTwinsEqual(BoxFilter3x3_C, BoxFilter3x3_NEON, width, rows, iEdge, x);
    ExpectTwinsEqual(BoxFilter_C, BoxFilter_NEON, width, rows, iEdge, x + 1);
  }
}

// Every frame width, multiples of 16 from 96 to 1920: (width - 2) mod 16 is
// 14, so each row pair ends with the realigned block. Five rows give one row
// pair and one single row for the 3x3 filter.
TEST(BoxFilterNeonTest, MatchesScalarAtFrameWidths) {
  for (int width = 96; width <= 1920; width += 16) {
    ExpectTwinsEqual(BoxFilter3x3_C, BoxFilter3x3_NEON, width, 5, width & 3,
                     width);
    ExpectTwinsEqual(BoxFilter_C, BoxFilter_NEON, width, 7, 1, width + 1);
  }
}

TEST(BoxFilterNeonTest, ExportedFunctionsUseTheVectorPath) {
  const int width = 50, rows = 7;
  const Plane src = vdtest::RandomBytes(width * rows, 9);
  Plane expect3(src.size(), kCanary), expect5(src.size(), kCanary);
  BoxFilter3x3_NEON(src.data(), expect3.data(), width, rows, 1);
  BoxFilter_NEON(src.data(), expect5.data(), width, rows, 1);
  EXPECT_EQ(Filter(BoxFilter3x3, src, width, rows, 1), expect3);
  EXPECT_EQ(Filter(BoxFilter, src, width, rows, 1), expect5);
}

#else

TEST(BoxFilterNeonTest, MatchesScalarAtRandomSizes) {
  GTEST_SKIP() << "no NEON in this build";
}

#endif

#if defined(VD_X86_SIMD)

struct X86Twin {
  const char* name;
  KernelFn fn;
};

// SSE2 always; AVX2 when this processor has it.
std::vector<X86Twin> X86Twins() {
  std::vector<X86Twin> twins = {{"SSE2", BoxFilter3x3_SSE2}};
  if (VdCpuSimdLevel() >= kVdSimdAvx2) {
    twins.push_back({"AVX2", BoxFilter3x3_AVX2});
  }
  return twins;
}

// Natively there is time for every small size, many random ones and every
// frame width: blocks of 16 and 32 with every leftover, row pairs and the
// odd last row.
TEST(BoxFilterX86Test, MatchesScalarAtManySizes) {
  for (const X86Twin& twin : X86Twins()) {
    SCOPED_TRACE(twin.name);
    uint32_t seed = 1;
    for (int width = 1; width <= 140; ++width) {
      for (int rows = 1; rows <= 11; ++rows) {
        ExpectTwinsEqual(BoxFilter3x3_C, twin.fn, width, rows,
                         (width + rows) & 3, seed++);
      }
    }
    uint32_t x = 777;
    for (int i = 0; i < 400; ++i) {
      x = x * 1103515245u + 12345u;
      const int width = 1 + static_cast<int>((x >> 8) % 2000);
      const int rows = 1 + static_cast<int>((x >> 20) % 20);
      ExpectTwinsEqual(BoxFilter3x3_C, twin.fn, width, rows,
                       static_cast<int>(x >> 30), x);
    }
    for (int width = 96; width <= 1920; width += 16) {
      ExpectTwinsEqual(BoxFilter3x3_C, twin.fn, width, 6, width & 3, width);
      ExpectTwinsEqual(BoxFilter3x3_C, twin.fn, width, 7, 1, width + 1);
    }
    // A middle stripe of a 1080p frame with its two context rows.
    ExpectTwinsEqual(BoxFilter3x3_C, twin.fn, 1920, 362, 0, 5);
  }
}

TEST(BoxFilterX86Test, ExportedFunctionFollowsTheLevel) {
  const int width = 1920, rows = 9;
  const Plane src = vdtest::RandomBytes(width * rows, 19);
  Plane expect(src.size(), kCanary);
  BoxFilter3x3_C(src.data(), expect.data(), width, rows, 1);
  for (int level : {kVdSimdScalar, kVdSimdSse2, kVdSimdAvx2}) {
    VdSetSimdLevelForTesting(level);
    EXPECT_EQ(Filter(BoxFilter3x3, src, width, rows, 1), expect) << level;
  }
  VdSetSimdLevelForTesting(-1);
}

#endif

}  // namespace
