// Box filters: rounding per kernel, border rules, window extent, and the
// vector twins against the scalar references.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/vd_cpu.h"
#include "spatial/box_filter.h"
#include "spatial/box_filter_internal.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
using ExportedFn = int (*)(unsigned char*, unsigned char*, int, int,
                           sVNRPoint*, int);

constexpr uint8_t kCanary = 0xA5;

struct BoxKind {
  const char* name;
  ExportedFn fn;
  int radius;
};

const BoxKind kBoxes[] = {{"3x3", BoxFilter3x3, 1},
                          {"5x5", BoxFilter, 2},
                          {"7x7", BoxFilter7x7, 3},
                          {"11x11", BoxFilter_nxn, 5}};

Plane Filter(ExportedFn fn, Plane src, int width, int rows, int iEdge,
             int* result = nullptr) {
  Plane dst(src.size(), kCanary);
  sVNRPoint kernel = {3, 3};
  const int r = fn(src.data(), dst.data(), width, rows, &kernel, iEdge);
  if (result) *result = r;
  return dst;
}

// The 3x3 mean rounds to nearest (its integer form used by the x86 twins
// agrees), the larger means truncate.
TEST(BoxFilterTest, MeansForEverySum) {
  for (uint32_t sum = 0; sum <= 121 * 255; ++sum) {
    if (sum <= 9 * 255) {
      ASSERT_EQ(VdBoxMean9(sum), (sum + 4) / 9) << sum;
      ASSERT_EQ(VdBoxMean9Int(sum), VdBoxMean9(sum)) << sum;
    }
    if (sum <= 25 * 255) { ASSERT_EQ(VdBoxMean25(sum), sum / 25) << sum; }
    if (sum <= 49 * 255) { ASSERT_EQ(VdBoxMean49(sum), sum / 49) << sum; }
    ASSERT_EQ(VdBoxMean121(sum), sum / 121) << sum;
  }
}

// An impulse of value v gives `inside` over its (2r + 1)-window and 0
// elsewhere: a neighbourhood summing to 5 gives 1 in the 3x3 filter
// (nearest), 13 gives 0 in the 5x5 filter (floor). Impulses sit in the first
// vector block, in the middle and in the realigned last block of a row.
TEST(BoxFilterTest, ImpulseRoundingPerKernel) {
  struct Case {
    int box, width, rows, y, x;
    uint8_t v, inside;
  };
  std::vector<Case> cases = {{3, 32, 24, 10, 15, 120, 0},
                             {3, 32, 24, 13, 10, 121, 1},
                             {3, 32, 24, 11, 21, 255, 2}};
  const int small[][3] = {{0, 4, 0}, {0, 5, 1},   {0, 13, 1}, {0, 14, 2},
                          {0, 255, 28}, {1, 13, 0}, {1, 24, 0}, {1, 25, 1},
                          {1, 49, 1}, {1, 50, 2},  {2, 48, 0}, {2, 49, 1},
                          {2, 255, 5}};
  for (int x : {6, 20, 40}) {
    int i = 0;
    for (const auto& s : small) {
      cases.push_back({s[0], 48, 16, 7 + (i++ & 1), x, uint8_t(s[1]),
                       uint8_t(s[2])});
    }
  }
  for (const Case& c : cases) {
    const BoxKind& box = kBoxes[c.box];
    SCOPED_TRACE(testing::Message() << box.name << " v=" << int(c.v) << " at ("
                                    << c.y << "," << c.x << ")");
    Plane src(static_cast<size_t>(c.width) * c.rows, 0);
    src[c.y * c.width + c.x] = c.v;
    const Plane dst = Filter(box.fn, src, c.width, c.rows, 1);
    for (int row = 0; row < c.rows; ++row) {
      for (int col = 0; col < c.width; ++col) {
        const bool near = std::abs(row - c.y) <= box.radius &&
                          std::abs(col - c.x) <= box.radius;
        ASSERT_EQ(dst[row * c.width + col], near ? c.inside : 0)
            << "row " << row << " col " << col;
      }
    }
  }
}

// Flat planes stay flat; planes narrower than the kernel have no inner
// column, so inner rows are copied whole.
TEST(BoxFilterTest, FlatAndNarrowPlanesAreUnchanged) {
  for (const BoxKind& box : kBoxes) {
    for (uint8_t v : {0, 1, 77, 254, 255}) {
      for (int width : {13, 32, 96}) {
        const Plane src(static_cast<size_t>(width) * 13, v);
        int result = 0;
        EXPECT_EQ(Filter(box.fn, src, width, 13, 1, &result), src)
            << box.name << " v=" << int(v) << " width " << width;
        EXPECT_EQ(result, 1);
      }
    }
    for (int width = 1; width <= 2 * box.radius; ++width) {
      const int rows = 2 * box.radius + 3;
      const Plane src = vdtest::RandomBytes(width * rows, width);
      EXPECT_EQ(Filter(box.fn, src, width, rows, 1), src)
          << box.name << " width " << width;
    }
  }
}

// Rows 0 .. r-1 are copied only for iEdge 1 and 3, the last r rows only for
// iEdge 1 and 2; otherwise they are left as they were. Inner rows get their
// first and last r columns copied. With fewer rows than the kernel (7x7 on
// 6 rows among them) only the edge row copies happen, and the result is 1.
TEST(BoxFilterTest, EdgeRowsAndColumns) {
  for (const BoxKind& box : kBoxes) {
    const int r = box.radius;
    for (int rows : {15, 2 * r}) {
      const int width = rows == 15 ? 40 : 24;
      const Plane src = vdtest::RandomBytes(width * rows, rows);
      for (int iEdge = 0; iEdge < 4; ++iEdge) {
        SCOPED_TRACE(testing::Message() << box.name << " rows " << rows
                                        << " iEdge " << iEdge);
        int result = 0;
        const Plane dst = Filter(box.fn, src, width, rows, iEdge, &result);
        EXPECT_EQ(result, 1);
        const bool top = iEdge == 1 || iEdge == 3;
        const bool bottom = iEdge == 1 || iEdge == 2;
        for (int y = 0; y < rows; ++y) {
          for (int x = 0; x < width; ++x) {
            const size_t i = static_cast<size_t>(y) * width + x;
            if (y < r) {
              ASSERT_EQ(dst[i], top ? src[i] : kCanary) << y << "," << x;
            } else if (y >= rows - r) {
              ASSERT_EQ(dst[i], bottom ? src[i] : kCanary) << y << "," << x;
            } else if (x < r || x >= width - r) {
              ASSERT_EQ(dst[i], src[i]) << y << "," << x;
            }
          }
        }
      }
    }
  }
  // A single row with iEdge 1 or 3 is both first and last row.
  const Plane one = vdtest::RandomBytes(24, 4);
  EXPECT_EQ(Filter(BoxFilter3x3, one, 24, 1, 1), one);
  EXPECT_EQ(Filter(BoxFilter_nxn, one, 24, 1, 3), one);
}

// A padded plane read where it lies and written into a padded destination
// gives, row for row, the packed plane's bytes; the padding is not touched.
TEST(BoxFilterTest, StridesOnlyMoveTheRows) {
  const int width = 37, rows = 11, ss = 53, ds = 41;
  const Plane packed = vdtest::RandomBytes(width * rows, 23);
  Plane padded(ss * rows, 7);
  for (int y = 0; y < rows; ++y) {
    std::memcpy(&padded[y * ss], &packed[y * width], width);
  }
  const BoxFilterKernels& k = VdBoxFilterKernels(VdSimdLevel());
  const BoxFilterFn slots[] = {k.box3x3, k.box5x5, k.box7x7, k.box11x11};
  for (int i = 0; i < 4; ++i) {
    for (int edge = 0; edge < 4; ++edge) {
      const Plane want = Filter(kBoxes[i].fn, packed, width, rows, edge);
      Plane out(ds * rows, kCanary);
      EXPECT_EQ(1, slots[i](padded.data(), ss, out.data(), ds, width, rows,
                            edge));
      for (int y = 0; y < rows; ++y) {
        EXPECT_EQ(0, std::memcmp(&out[y * ds], &want[y * width], width))
            << kBoxes[i].name << " edge " << edge << " row " << y;
        for (int x = width; x < ds; ++x) ASSERT_EQ(out[y * ds + x], kCanary);
      }
    }
  }
}

// The exported filters give the reference's bytes at every level this
// processor can be set to.
TEST(BoxFilterTwinTest, ExportedFunctionsMatchTheReference) {
  const int width = 1920, rows = 9;
  const Plane src = vdtest::RandomBytes(width * rows, 19);
  Plane expect3(src.size(), kCanary), expect5(src.size(), kCanary);
  BoxFilter3x3_C(src.data(), width, expect3.data(), width, width, rows, 1);
  BoxFilter_C(src.data(), width, expect5.data(), width, width, rows, 1);
  for (int level = 0; level < kVdSimdLevelCount; ++level) {
    vdtest::SimdLevelScope scope(level);
    if (!scope.ok()) continue;
    EXPECT_EQ(Filter(BoxFilter3x3, src, width, rows, 1), expect3) << level;
    EXPECT_EQ(Filter(BoxFilter, src, width, rows, 1), expect5) << level;
  }
}

}  // namespace
