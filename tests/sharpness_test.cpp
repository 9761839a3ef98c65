// Sharpness filter: concrete values, floor rounding, clamping, the row-pair
// rule and borders. The vector twin is compared in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "spatial/sharpness.h"
#include "spatial/sharpness_internal.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
constexpr uint8_t kCanary = 0xA5;

Plane Sharpen(Plane src, int width, int height, int iEdge) {
  Plane dst(src.size(), kCanary);
  VideoDenoiseSharpness(src.data(), dst.data(), width, height, iEdge);
  return dst;
}

// A single 100 on 50 becomes 100 + floor((900 - 500) / 4) = 200; its eight
// neighbours become 50 + floor((450 - 500) / 4) = 37. Tried in the first
// vector block and in the realigned last block of a row.
TEST(SharpnessTest, SinglePeak) {
  const int width = 48, height = 10;
  for (int x : {3, 17, 44}) {
    Plane src(width * height, 50);
    src[4 * width + x] = 100;
    const Plane dst = Sharpen(src, width, height, 1);
    for (int y = 0; y < height; ++y) {
      for (int c = 0; c < width; ++c) {
        uint8_t expect = 50;
        if (y == 4 && c == x) expect = 200;
        else if (std::abs(y - 4) <= 1 && std::abs(c - x) <= 1) expect = 37;
        ASSERT_EQ(dst[y * width + c], expect) << "x " << x << " at " << y
                                              << "," << c;
      }
    }
  }
}

TEST(SharpnessTest, FlatPlaneIsUnchanged) {
  for (uint8_t v : {0, 1, 128, 255}) {
    for (int width : {5, 18, 32, 50}) {
      const Plane src(width * 8, v);
      EXPECT_EQ(Sharpen(src, width, 8, 1), src) << int(v) << " " << width;
    }
  }
}

// d = (9c - S) >> 2 rounds toward minus infinity, and c + d is clamped.
TEST(SharpnessTest, FloorAndClamping) {
  EXPECT_EQ(VdSharpenPixel(50, 9 * 50 + 1), 49);  // d = -1 >> 2 = -1
  EXPECT_EQ(VdSharpenPixel(50, 9 * 50 - 1), 50);  // d = 1 >> 2 = 0
  EXPECT_EQ(VdSharpenPixel(50, 9 * 50 - 4), 51);
  EXPECT_EQ(VdSharpenPixel(50, 9 * 50 + 5), 48);  // -5 >> 2 = -2

  const int width = 34, height = 6;
  // A bright point on black: the centre overflows to 255 and its neighbours,
  // 0 + floor(-255 / 4) = -64, are stored as 0.
  Plane bright(width * height, 0);
  bright[2 * width + 20] = 255;
  Plane dst = Sharpen(bright, width, height, 1);
  EXPECT_EQ(dst[2 * width + 20], 255);
  EXPECT_EQ(dst[2 * width + 19], 0);
  EXPECT_EQ(dst[3 * width + 21], 0);
  // A dark point on white: the centre goes below 0 and is stored as 0; its
  // neighbours, 255 + floor(255 / 4) = 318, are stored as 255.
  Plane dark(width * height, 255);
  dark[2 * width + 20] = 0;
  dst = Sharpen(dark, width, height, 1);
  EXPECT_EQ(dst[2 * width + 20], 0);
  EXPECT_EQ(dst[1 * width + 19], 255);
  // A step: 40 beside 200. The dark side next to the edge drops to
  // 40 + floor((360 - 3 * 40 - 3 * 200 - 3 * 40) / 4) = 40 - 120 = -80 -> 0.
  Plane step(width * height, 40);
  for (int y = 0; y < height; ++y)
    for (int x = 17; x < width; ++x) step[y * width + x] = 200;
  dst = Sharpen(step, width, height, 1);
  EXPECT_EQ(dst[2 * width + 16], 0);
  EXPECT_EQ(dst[2 * width + 17], 255);  // 200 + (1800 - 1320) / 4 = 320
  EXPECT_EQ(dst[2 * width + 15], 40);
}

// (height - 2) >> 1 row pairs: with height 5 rows 1 and 2 are filtered and
// row 3 keeps what it held apart from its first and last column.
TEST(SharpnessTest, OddInnerRowIsLeftAlone) {
  for (int width : {10, 34, 50}) {
    const int height = 5;
    const Plane src = vdtest::RandomBytes(width * height, width);
    const Plane dst = Sharpen(src, width, height, 1);
    for (int x = 0; x < width; ++x) {
      const uint8_t expect =
          (x == 0 || x == width - 1) ? src[3 * width + x] : kCanary;
      ASSERT_EQ(dst[3 * width + x], expect) << "width " << width << " x " << x;
    }
    for (int y : {1, 2}) {
      for (int x = 1; x < width - 1; ++x) {
        ASSERT_NE(dst[y * width + x], kCanary) << y << "," << x;
      }
    }
    // Height 4 has two inner rows, one pair: nothing stays unwritten.
    const Plane dst4 = Sharpen(Plane(src.begin(), src.begin() + 4 * width),
                               width, 4, 1);
    for (uint8_t b : dst4) ASSERT_NE(b, kCanary);
  }
}

TEST(SharpnessTest, EdgeRows) {
  const int width = 20, height = 6;
  const Plane src = vdtest::RandomBytes(width * height, 5);
  for (int iEdge = 0; iEdge < 4; ++iEdge) {
    const Plane dst = Sharpen(src, width, height, iEdge);
    const bool top = iEdge == 1 || iEdge == 3;
    const bool bottom = iEdge == 1 || iEdge == 2;
    for (int x = 0; x < width; ++x) {
      EXPECT_EQ(dst[x], top ? src[x] : kCanary) << iEdge;
      const int last = (height - 1) * width + x;
      EXPECT_EQ(dst[last], bottom ? src[last] : kCanary) << iEdge;
    }
    for (int y = 1; y < height - 1; ++y) {
      EXPECT_EQ(dst[y * width], src[y * width]);
      EXPECT_EQ(dst[y * width + width - 1], src[y * width + width - 1]);
    }
  }
  // Tiny planes: only copies.
  const Plane one = vdtest::RandomBytes(width, 6);
  EXPECT_EQ(Sharpen(one, width, 1, 1), one);
  const Plane two = vdtest::RandomBytes(2 * width, 7);
  EXPECT_EQ(Sharpen(two, width, 2, 1), two);
}

}  // namespace
