// The fuzzy filters: table blend, the 3x3 range-weighted means (borders, the
// seed-64 columns, concrete values) and the small tables. The vector twins
// are compared in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::FillRandom;
using vdtest::GuardedBuffer;
using vdtest::RandomBytes;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0xEE;

struct Plane {
  int width, height;
  Bytes px;
  uint8_t at(int x, int y) const { return px[y * width + x]; }
};

// a where x + y is even, b elsewhere.
Plane Checkerboard(int width, int height, uint8_t a, uint8_t b) {
  Plane p = {width, height, Bytes(width * height, a)};
  for (size_t i = 0; i < p.px.size(); ++i) {
    if ((i % width + i / width) & 1) p.px[i] = b;
  }
  return p;
}

// Random planes of a few kinds: full range (mostly only the centre weighs),
// low contrast around a random level (all weights in play), and values near
// 0 and 255.
void FillTestPlane(uint8_t* p, size_t n, uint32_t seed) {
  FillRandom(p, n, seed);
  const uint8_t base = static_cast<uint8_t>(seed * 37u);
  for (size_t i = 0; i < n; ++i) {
    const int v = base + (p[i] % 15) - 7;
    if (seed % 4 == 1) p[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    if (seed % 4 == 2) p[i] = (p[i] & 0x80) ? 255 - (p[i] & 7) : (p[i] & 7);
    if (seed % 4 == 3) p[i] = base + (p[i] & 3) * 3;
  }
}

// The exported chroma filter, or with `luma` the luma filter (its centre
// from guide when one is given), into a dst prefilled with `fill`.
Plane Filter(const Plane& src, int iEdge, bool luma = false, const uint8_t* guide = nullptr,
          uint8_t fill = kUntouched) {
  Plane dst = {src.width, src.height, Bytes(src.px.size(), fill)};
  Bytes in = src.px;
  if (luma) {
    FuzzyFilter(const_cast<uint8_t*>(guide), in.data(), nullptr, nullptr, dst.px.data(),
                src.width, src.height, iEdge, guide ? 0 : 1, 12345);
  } else {
    FuzzyFilter_UV(in.data(), dst.px.data(), src.width, src.height, iEdge);
  }
  return dst;
}

// Widths the frame path uses (6 is the narrowest chroma work width, 120 and
// 240 the small-scale work planes) and the awkward ones around the 16-pixel
// blocks and the 8-pixel groups.
std::vector<int> Widths() {
  std::vector<int> w;
  for (int i = 3; i <= 40; ++i) w.push_back(i);
  for (int i : {47, 48, 49, 56, 120, 240}) w.push_back(i);
  return w;
}

// On a 100/107 checkerboard every inner pixel has four neighbours at
// difference 0 (weight 64, plus its own) and four at difference 7 (weight 24):
//   seed 1:  100 -> 42372 / 417 = 101.6 -> 102, 107 -> 43947 / 417 = 105.4
//   seed 64: 100 -> 48672 / 480 = 101.4 -> 101, 107 -> 50688 / 480 = 105.6
uint8_t CheckerboardResult(uint8_t centre, bool seed64) {
  return centre == 100 ? (seed64 ? 101 : 102) : (seed64 ? 106 : 105);
}

// ---- FuzzyFilter_2 ---------------------------------------------------------

TEST(FuzzyFilter2Test, LooksUpWholeGroupsOfFour) {
  const int width = 37, height = 5, n = width * height;  // 185 = 46 x 4 + 1
  Bytes cur = RandomBytes(n, 1), diff = RandomBytes(n, 2), sign = RandomBytes(n, 3);
  for (int i = 0; i < n; ++i) {
    diff[i] %= 17;
    sign[i] &= 1;
  }
  for (int level = 0; level < 4; ++level) {
    Bytes out(n, kUntouched);
    EXPECT_EQ(0, FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.data(), nullptr,
                               width, height, level));
    for (int i = 0; i < 184; ++i) {
      ASSERT_EQ(nr_table[level * kNrBytesPerLevel + cur[i] * kNrBytesPerValue +
                         diff[i] * 2 + sign[i]], out[i]) << i;
    }
    EXPECT_EQ(kUntouched, out[184]);
    // The output may be the current plane.
    Bytes inPlace = cur;
    FuzzyFilter_2(inPlace.data(), diff.data(), sign.data(), inPlace.data(), nullptr, width,
                  height, level);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 184), Bytes(inPlace.begin(), inPlace.begin() + 184));
  }
  // Six pixels process four (ref is not read). Static table (identity at
  // column 15): (0, +1) -> 1, (10, -3) -> 9, (100, +15) -> 100,
  // (255, -10) -> 251.
  GuardedBuffer c(6), d(6), s(6), out(6);
  const uint8_t pixels[3][6] = {{0, 10, 100, 255, 7, 7}, {1, 3, 15, 10, 0, 0}, {1, 0, 1, 0, 0, 0}};
  memcpy(c.data(), pixels[0], 6);
  memcpy(d.data(), pixels[1], 6);
  memcpy(s.data(), pixels[2], 6);
  memset(out.data(), kUntouched, 6);
  FuzzyFilter_2(c.data(), d.data(), s.data(), out.data(), nullptr, 3, 2, 0);
  EXPECT_EQ((Bytes{1, 9, 100, 251, kUntouched, kUntouched}), Bytes(out.data(), out.data() + 6));
  // Fewer than four pixels: nothing at all.
  FuzzyFilter_2(c.data(), d.data(), s.data(), out.data() + 3, nullptr, 1, 3, 0);
  EXPECT_EQ(251, out.data()[3]);
  EXPECT_EQ(kUntouched, out.data()[4]);
}

// ---- FuzzyFilter_UV and FuzzyFilter ---------------------------------------

// At every width: flat planes stay flat; on the checkerboard the chroma
// filter's last eight inner columns use seed 64 and all others seed 1 (below
// width 10 there are fewer than eight inner columns and all of them are in
// the last group), while the luma filter uses seed 1 in every column. With
// guide 100 everywhere the luma centre counts as 100 even at a 107 source
// pixel: five taps at difference 7 and four at 0 give 38540 / 377 = 102.2,
// at a 100 pixel 42372 / 417 = 101.6. At the chroma work widths the seed-64
// columns are 231..238 of 240 and 111..118 of 120 (iEdge 0 there).
TEST(FuzzyFilterTest, SeedsPerColumnAtEveryWidth) {
  for (int width : Widths()) {
    for (uint8_t v : {0, 1, 77, 128, 254, 255}) {
      const Plane flat = {width, 4, Bytes(width * 4, v)};
      ASSERT_EQ(flat.px, Filter(flat, 1).px) << width << " " << int{v};
      ASSERT_EQ(flat.px, Filter(flat, 1, true).px) << width << " " << int{v};
    }
    const Plane src = Checkerboard(width, 5, 100, 107);
    const Bytes guide(width * 5, 100);
    const Plane uv = Filter(src, 1), luma = Filter(src, 1, true);
    const Plane guided = Filter(src, 1, true, guide.data());
    for (int y = 1; y < 4; ++y) {
      for (int x = 1; x < width - 1; ++x) {
        SCOPED_TRACE(testing::Message() << "width " << width << " (" << x << "," << y << ")");
        ASSERT_EQ(CheckerboardResult(src.at(x, y), x >= width - 9), uv.at(x, y));
        ASSERT_EQ(CheckerboardResult(src.at(x, y), false), luma.at(x, y));
        ASSERT_EQ(102, guided.at(x, y));
      }
    }
  }
  for (int width : {240, 120}) {
    const Plane src = Checkerboard(width, 3, 107, 100);
    const Plane dst = Filter(src, 0);
    const int first = width == 240 ? 231 : 111;
    for (int x = 1; x < width - 1; ++x) {
      ASSERT_EQ(CheckerboardResult(src.at(x, 1), x >= first), dst.at(x, 1)) << width << " " << x;
    }
  }
}

TEST(FuzzyFilterUVTest, FarPixelsAreKept) {
  // 8 away from every neighbour: only its own weight counts, and its
  // neighbours ignore it as well.
  for (int width : {6, 9, 10, 16, 24, 40, 120}) {
    for (int x = 1; x < width - 1; ++x) {
      for (uint8_t v : {108, 0}) {
        Plane src = {width, 3, Bytes(width * 3, 100)};
        src.px[width + x] = v;
        ASSERT_EQ(src.px, Filter(src, 1).px) << width << " " << x;
      }
    }
  }
  // 7 away its neighbours weigh 24 each: seed 1 gives 26155 / 257 = 101.8,
  // seed 64 (last eight columns) 32896 / 320 = 102.8. The neighbours see
  // it with weight 24 against their own 512 and stay at 100 (53868 / 537).
  Plane src = {40, 3, Bytes(120, 100)};
  src.px[40 + 10] = src.px[40 + 35] = 107;
  Plane want = src;
  want.px[40 + 10] = 102;
  want.px[40 + 35] = 103;
  EXPECT_EQ(want.px, Filter(src, 1).px);
}

TEST(FuzzyFilterUVTest, EdgeCodeSelectsCopiedRows) {
  for (int width : {3, 9, 10, 26, 40}) {
    for (int height : {1, 2, 3, 5}) {
      Plane src = {width, height, Bytes(width * height)};
      FillTestPlane(src.px.data(), src.px.size(), width * 7 + height);
      for (int iEdge = 0; iEdge < 4; ++iEdge) {
        SCOPED_TRACE(testing::Message() << width << "x" << height << " edge " << iEdge);
        const Plane dst = Filter(src, iEdge), dst2 = Filter(src, iEdge, false, nullptr, 0x11);
        const bool top = iEdge == 1 || iEdge == 3, bottom = iEdge == 1 || iEdge == 2;
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            const bool inner = y > 0 && y < height - 1;
            if (inner && x > 0 && x < width - 1) {
              ASSERT_EQ(dst.at(x, y), dst2.at(x, y));  // filtered, written
            } else if (inner || (y == 0 && top) || (y == height - 1 && bottom)) {
              ASSERT_EQ(src.at(x, y), dst.at(x, y)) << x << "," << y;
            } else {
              ASSERT_EQ(kUntouched, dst.at(x, y)) << x << "," << y;
            }
          }
        }
      }
    }
  }
}

TEST(FuzzyFilterTest, BorderCopiesTwoBytesAtEachEnd) {
  for (int width : {1, 2, 3, 9, 10, 24, 40}) {
    const int height = 4;
    Plane src = {width, height, Bytes(width * height)};
    FillTestPlane(src.px.data(), src.px.size(), 5 + width);
    const Plane dst = Filter(src, 0, true);
    // iEdge 0: row 0 is untouched; of row height - 1 only column 0 is
    // written, as the byte after the last inner row.
    for (int x = 0; x < width; ++x) {
      EXPECT_EQ(kUntouched, dst.at(x, 0)) << width;
      EXPECT_EQ(x == 0 ? src.at(0, height - 1) : kUntouched, dst.at(x, height - 1)) << width;
    }
    for (int y = 1; y < height - 1; ++y) {
      EXPECT_EQ(src.at(0, y), dst.at(0, y));
      EXPECT_EQ(src.at(width - 1, y), dst.at(width - 1, y));
      // Column 1 (the next row's column 0 when width is 1) is a plain copy
      // when the row has no inner pixels.
      if (width < 3) { EXPECT_EQ(src.px[y * width + 1], dst.px[y * width + 1]); }
    }
  }
  // Otherwise column 1 ends up filtered: 107 -> 105.
  EXPECT_EQ(105, Filter(Checkerboard(12, 3, 107, 100), 0, true).at(1, 1));
}

// ---- small tables ----------------------------------------------------------

TEST(FuzzyTablesTest, DivisionByNineAndExportedHeights) {
  GuardedBuffer table(2296);
  InitBoxFilterSum(table.data());
  for (int i = 0; i < 2296; ++i) ASSERT_EQ(i / 9, table.data()[i]) << i;
  EXPECT_EQ(1, g_FuzzyHeight);
  EXPECT_EQ(1, g_FuzzyHeight_2);
}

}  // namespace
