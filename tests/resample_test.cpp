// Resampling: general resizers, the fixed-ratio down- and upscalers with
// their border rules and memory bounds at small sizes. The vector twins are
// compared in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "image/resample.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;
using vdtest::RandomBytes;
using Plane = std::vector<uint8_t>;

constexpr uint8_t kCanary = 0x5A;

// Rows of a packed plane, for readable expectations.
std::vector<Plane> Rows(const uint8_t* p, int width, int height) {
  std::vector<Plane> rows;
  for (int y = 0; y < height; ++y) rows.emplace_back(p + y * width, p + (y + 1) * width);
  return rows;
}

Plane Bytes(const GuardedBuffer& b, size_t n) { return Plane(b.data(), b.data() + n); }

// Random plane with some saturated runs so that the 16-bit sums reach their
// extremes.
Plane TestPlane(size_t n, uint32_t seed) {
  Plane p = RandomBytes(n, seed);
  for (uint8_t& v : p) {
    if (v % 5 == 0) v = 255;
    if (v % 7 == 0) v = 0;
  }
  return p;
}

// A guarded copy of pixels: reads past the end fault.
struct GuardedCopy : GuardedBuffer {
  explicit GuardedCopy(const Plane& p) : GuardedBuffer(p.size()) {
    if (!p.empty()) std::memcpy(data(), p.data(), p.size());
  }
};

// ---------------------------------------------------------------------------
// General resizers.

TEST(ResizeNearestNeighbor, CopyTruncationAndZeroHeight) {
  // Same size: a copy, strides honoured, padding untouched.
  const int w = 7, h = 5, srcStride = 9, dstStride = 11;
  Plane src = RandomBytes(srcStride * h, 1);
  Plane dst(dstStride * h, kCanary);
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), w, h, srcStride, dst.data(), w, h, dstStride));
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < dstStride; ++x) {
      EXPECT_EQ(x < w ? src[y * srcStride + x] : kCanary, dst[y * dstStride + x]);
    }
  }
  // 3 -> 2 columns: scale 1.5, columns 0 and trunc(1.5) = 1 (no half-pixel
  // offset). 4 -> 2 rows: rows 0 and 2.
  uint8_t grid[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, out[4];
  EXPECT_EQ(1, ResizeNearestNeighbor(grid, 3, 4, 3, out, 2, 2, 2));
  EXPECT_EQ((Plane{1, 2, 7, 8}), Plane(out, out + 4));
  // Zero or negative height writes nothing.
  Plane none(16, kCanary);
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), 4, 4, 4, none.data(), 4, 0, 4));
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), 4, 4, 4, none.data(), 4, -3, 4));
  EXPECT_EQ(Plane(16, kCanary), none);
}

TEST(ResizeBilinear, TruncatesRepeatsTheEdgeAndKeepsFlatPlanes) {
  // Row 0, 99 and its doubled rows: column 1 sits halfway (49.5 -> 49),
  // columns 2 and 3 are at or past the last source column, which pairs with
  // itself. The source ends flush against a guard page.
  GuardedCopy src(Plane{0, 99, 200, 100});
  uint8_t dst[16];
  EXPECT_EQ(1, ResizeBilinear(src.data(), 2, 2, 2, dst, 4, 4, 4));
  const std::vector<Plane> expected = {{0, 49, 99, 99},
                                       {100, 99, 99, 99},  // halfway down
                                       {200, 150, 100, 100},
                                       {200, 150, 100, 100}};
  EXPECT_EQ(expected, Rows(dst, 4, 4));
  // Scales 2 and 1.5 are exact in binary, so the weights sum to exactly 1;
  // the same size is a copy.
  const int w = 8, h = 6;
  Plane flat(w * h, 77), small(16, 0);
  EXPECT_EQ(1, ResizeBilinear(flat.data(), w, h, w, small.data(), 4, 4, 4));
  EXPECT_EQ(Plane(16, 77), small);
  Plane random = RandomBytes(w * h, 3), same(w * h, 0);
  EXPECT_EQ(1, ResizeBilinear(random.data(), w, h, w, same.data(), w, h, w));
  EXPECT_EQ(random, same);
}

TEST(ResizeNearestNeighbor2, RampsAndModifiesTheSampledBytes) {
  // dstHeight 5: rows 0, 1 from source rows 3 and 19, rows 2, 3 from 18 and
  // 34, the odd last row from 33; all at column 3. The source stride is
  // used, the destination is packed at dstWidth whatever dstStride says.
  const int stride = 6, srcRows = 40, dstWidth = 5, dstHeight = 5;
  Plane src = RandomBytes(stride * srcRows, 4);
  src[3 * stride + 3] = 250;  // wraps modulo 256
  const Plane before = src;
  Plane dst(dstWidth * dstHeight + 8, kCanary);
  ResizeNearestNeighbor2(src.data(), 1, 1, stride, dst.data(), dstWidth, dstHeight, 1000);
  const int sampledRows[5] = {3, 19, 18, 34, 33};
  for (int r = 0; r < dstHeight; ++r) {
    const uint8_t start = before[sampledRows[r] * stride + 3];
    for (int j = 0; j < dstWidth; ++j) {
      EXPECT_EQ(static_cast<uint8_t>(start + 8 * j), dst[r * dstWidth + j]) << r << "," << j;
    }
  }
  EXPECT_EQ((Plane{250, 2, 10, 18, 26}), Plane(dst.begin(), dst.begin() + 5));
  for (size_t i = dstWidth * dstHeight; i < dst.size(); ++i) EXPECT_EQ(kCanary, dst[i]);
  // Each sampled byte moved on by 8 * dstWidth; every other byte is as it was.
  for (int i = 0; i < stride * srcRows; ++i) {
    bool sampled = false;
    for (int r : sampledRows) sampled |= i == r * stride + 3;
    EXPECT_EQ(sampled ? static_cast<uint8_t>(before[i] + 8 * dstWidth) : before[i], src[i]) << i;
  }
}

// ---------------------------------------------------------------------------
// Downscalers.

TEST(DownScaleNewX16, BlockMeanRoundingAndStepping) {
  for (uint8_t v : {0, 1, 128, 254, 255}) {
    Plane src(8 * 40, v), dst(2 * 10, 0);
    EXPECT_EQ(0, DownScaleNewX16(src.data(), 8, 40, dst.data()));
    EXPECT_EQ(Plane(20, v), dst) << int(v);
  }
  // A 4x4 block summing to 24 gives (24 + 8) >> 4 = 2; 23 gives 1. The
  // blocks sit in the vector part (columns 0-31) and the 4-column tail.
  Plane src(4 * 36, 0);
  for (int b : {1, 8}) {  // output columns; eight 3s in rows 0-1
    for (int k = 0; k < 8; ++k) src[(k / 4) * 36 + 4 * b + k % 4] = 3;
  }
  src[4 * 8] = 2;  // block 8 now sums to 23
  Plane dst(9, kCanary);
  DownScaleNewX16(src.data(), 4, 36, dst.data());
  EXPECT_EQ((Plane{0, 2, 0, 0, 0, 0, 0, 0, 1}), dst);
  // Width 38: blocks of 32 columns, then one 4-column step; the last 2
  // columns are not read. Height 6: one group of four rows; the last two
  // rows are neither read (only four exist) nor give an output row.
  const int w = 38;
  const Plane pixels = TestPlane(4 * w, 5);
  GuardedCopy guarded(pixels);
  GuardedBuffer out(w / 4);
  EXPECT_EQ(0, DownScaleNewX16(guarded.data(), 6, w, out.data()));
  Plane expected(w / 4);
  for (int x = 0; x < w / 4; ++x) {
    int sum = 0;
    for (int k = 0; k < 16; ++k) sum += pixels[(k / 4) * w + 4 * x + k % 4];
    expected[x] = static_cast<uint8_t>((sum + 8) >> 4);
  }
  EXPECT_EQ(expected, Bytes(out, w / 4));
}

TEST(DownScale, BlockMeanAndDestinationStride) {
  // Width 20 with srcStride 25: outputs 0-7 come from the vector step, 8-9
  // from the scalar tail, and destination rows are 25 / 2 = 12 bytes apart.
  const int w = 20, stride = 25, h = 4;
  Plane src(stride * h, 0);
  // Sets the 2x2 block of output (row, col) to a, b / c, d.
  auto block = [&](int row, int col, uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    uint8_t* p = src.data() + 2 * row * stride + 2 * col;
    p[0] = a; p[1] = b; p[stride] = c; p[stride + 1] = d;
  };
  block(0, 0, 0, 1, 1, 1);          // (3 + 2) >> 2 = 1
  block(0, 2, 1, 0, 0, 1);          // (2 + 2) >> 2 = 1: the half rounds up
  block(0, 8, 0, 0, 0, 1);          // (1 + 2) >> 2 = 0, in the tail
  block(0, 9, 0, 1, 1, 1);          // 1, in the tail
  block(1, 0, 255, 255, 255, 254);  // (1019 + 2) >> 2 = 255
  block(1, 5, 0, 0, 0, 3);          // 1
  block(1, 9, 0, 0, 2, 0);          // 1, in the tail
  Plane dst(12 + 10 + 4, kCanary);
  DownScale(src.data(), h, w, stride, dst.data());
  const Plane expected = {1, 0, 1, 0, 0, 0, 0, 0, 0, 1, kCanary, kCanary,
                          255, 0, 0, 0, 0, 1, 0, 0, 0, 1, kCanary};
  EXPECT_EQ(expected, Plane(dst.begin(), dst.begin() + 23));
  // Width 17, height 5: 8 outputs per row pair and two row pairs; the odd
  // column and the fifth row are never read, so a source that stops at
  // column 15 of row 3 and a 16-byte destination (rows 17 / 2 = 8 apart)
  // both suffice.
  const Plane pixels = TestPlane(3 * 17 + 16, 7);
  GuardedCopy odd(pixels);
  GuardedBuffer out(16);
  DownScale(odd.data(), 5, 17, 17, out.data());
  for (int i = 0; i < 16; ++i) {
    const uint8_t* p = pixels.data() + 2 * (i / 8) * 17 + 2 * (i % 8);
    EXPECT_EQ((p[0] + p[1] + p[17] + p[18] + 2) >> 2, out.data()[i]) << i;
  }
}

// ---------------------------------------------------------------------------
// Upscalers: hand-computed figures.

TEST(UpScaleX64, TwoByTwoInnerBlendsAndNearestBorder) {
  uint8_t src[4] = {10, 200, 60, 255};
  Plane dst(16 * 16, kCanary);
  UpScaleX64(src, 2, 2, 12345, dst.data());
  const auto rows = Rows(dst.data(), 16, 16);
  // Band rows: each source pixel 8 times; rows 1-3 copy row 0 and the last
  // four rows repeat the last source row.
  const Plane top = {10, 10, 10, 10, 10, 10, 10, 10, 200, 200, 200, 200, 200, 200, 200, 200};
  const Plane bottom = {60, 60, 60, 60, 60, 60, 60, 60, 255, 255, 255, 255, 255, 255, 255, 255};
  for (int y = 0; y < 4; ++y) EXPECT_EQ(top, rows[y]) << y;
  for (int y = 12; y < 16; ++y) EXPECT_EQ(bottom, rows[y]) << y;
  // Row 4 (k = 0, weights 15 : 1 down): (4, 4) is
  // 15 * (15 * 10 + 200) + (15 * 60 + 255) = 6405, (6405 + 128) >> 8 = 25.
  // Row 11 (k = 7): (11, 11) is 10 + 15 * 200 + 15 * (60 + 15 * 255)
  // = 61285 -> 239. (7, 8): weights 9 : 7 down, 7 : 9 across -> 140.
  EXPECT_EQ((Plane{10, 10, 10, 10, 25, 49, 73, 96, 120, 144, 168, 192, 200, 200, 200, 200}), rows[4]);
  EXPECT_EQ((Plane{10, 10, 10, 10, 44, 68, 92, 116, 140, 164, 188, 212, 200, 200, 200, 200}), rows[7]);
  EXPECT_EQ((Plane{60, 60, 60, 60, 50, 74, 98, 122, 147, 171, 195, 219, 255, 255, 255, 255}), rows[8]);
  EXPECT_EQ((Plane{60, 60, 60, 60, 69, 93, 118, 142, 166, 191, 215, 239, 255, 255, 255, 255}), rows[11]);
}

TEST(UpScaleNewX16, BlendsBordersAndCorners) {
  uint8_t src[4] = {10, 200, 60, 255};
  Plane dst(8 * 8, kCanary);
  UpScaleNewX16(src, 2, 2, dst.data());
  // Rows 0-1 and 6-7 blend along the row only: (3 * 10 + 200 + 2) >> 2 = 58,
  // (10 + 3 * 200 + 2) >> 2 = 153; corners copy the corner pixel. Columns
  // 0-1 and 6-7 blend down the column only: (3 * 10 + 60 + 2) >> 2 = 23.
  // Inner (3, 2): 5 * (7 * 10 + 200) + 3 * (7 * 60 + 255) = 3375, and
  // (3375 + 32) >> 6 = 53 where a plain shift would give 52.
  const std::vector<Plane> expected = {
      {10, 10, 58, 58, 153, 153, 200, 200},  {10, 10, 58, 58, 153, 153, 200, 200},
      {23, 23, 40, 88, 135, 183, 214, 214},  {23, 23, 53, 101, 149, 197, 214, 214},
      {48, 48, 65, 114, 162, 210, 241, 241}, {48, 48, 78, 127, 175, 224, 241, 241},
      {60, 60, 109, 109, 206, 206, 255, 255}, {60, 60, 109, 109, 206, 206, 255, 255}};
  EXPECT_EQ(expected, Rows(dst.data(), 8, 8));
  // One source row: all four output rows are border rows. One source
  // column: all four output columns are border columns.
  uint8_t row[3] = {0, 100, 40};
  Plane line(12 * 4, kCanary);
  UpScaleNewX16(row, 1, 3, line.data());
  for (const Plane& r : Rows(line.data(), 12, 4)) {
    EXPECT_EQ((Plane{0, 0, 25, 25, 75, 75, 85, 85, 55, 55, 40, 40}), r);
  }
  uint8_t column[2] = {100, 0};
  Plane out(4 * 8, kCanary);
  UpScaleNewX16(column, 2, 1, out.data());
  const uint8_t down[8] = {100, 100, 75, 75, 25, 25, 0, 0};
  for (int y = 0; y < 8; ++y) EXPECT_EQ(Plane(4, down[y]), Rows(out.data(), 4, 8)[y]) << y;
}

TEST(UpScale, PixelCentredWithEdgeRepeat) {
  // Weights 12 : 4 between neighbours, edge outputs repeat the edge sample:
  // (1, 1) = (12 * (4 * 64) + 4 * (12 * 128 + 4 * 255) + 128) >> 8 = 52.
  // Output rows sit dstStride = 6 bytes apart; bytes 4-5 of a row are not
  // written.
  uint8_t src[4] = {0, 64, 128, 255};
  Plane dst(6 * 4, kCanary);
  UpScale(src, 2, 2, 6, dst.data());
  const std::vector<Plane> expected = {{0, 16, 48, 64, kCanary, kCanary},
                                       {32, 52, 92, 112, kCanary, kCanary},
                                       {96, 124, 179, 207, kCanary, kCanary},
                                       {128, 160, 223, 255, kCanary, kCanary}};
  EXPECT_EQ(expected, Rows(dst.data(), 6, 4));
}

// ---------------------------------------------------------------------------
// The upscalers at every small size write nothing before the destination
// and keep a flat plane flat (UpScale at dstStride 2 * w).

TEST(ResampleBounds, UpscalersAtSmallSizes) {
  for (int scale : {8, 4, 2}) {
    for (int h = 1; h <= 7; ++h) {
      for (int w = 1; w <= 19; ++w) {
        const size_t in = static_cast<size_t>(w) * h, out = in * scale * scale;
        GuardedCopy src(Plane(in, 201));
        GuardedBuffer guarded(out + 64);  // canaries before, a guard page after
        std::memset(guarded.data(), kCanary, out + 64);
        uint8_t* dst = guarded.data() + 64;
        if (scale == 8) UpScaleX64(src.data(), h, w, 0, dst);
        if (scale == 4) UpScaleNewX16(src.data(), h, w, dst);
        if (scale == 2) UpScale(src.data(), h, w, 2 * w, dst);
        ASSERT_EQ(Plane(64, kCanary), Bytes(guarded, 64)) << w << "x" << h;
        ASSERT_EQ(Plane(out, 201), Plane(dst, dst + out)) << w << "x" << h;
      }
    }
  }
}

}  // namespace
