// Resampling: general resizers, the fixed-ratio down- and upscalers with
// their border rules, memory bounds at small sizes, and the agreement of the
// scalar references with their NEON twins.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "api/vd_cpu.h"
#include "image/resample.h"
#include "image/resample_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;
using vdtest::RandomBytes;

constexpr uint8_t kCanary = 0x5A;

using Plane = std::vector<uint8_t>;

Plane Flat(size_t n, uint8_t v) { return Plane(n, v); }

// Rows of a packed plane, for readable expectations.
std::vector<Plane> Rows(const uint8_t* p, int width, int height) {
  std::vector<Plane> rows;
  for (int y = 0; y < height; ++y) rows.emplace_back(p + y * width, p + (y + 1) * width);
  return rows;
}

// Random plane with some saturated runs so that the 16-bit sums reach their
// extremes.
Plane TestPlane(size_t n, uint32_t seed) {
  Plane p = RandomBytes(n, seed);
  for (size_t i = 0; i < n; ++i) {
    if (p[i] % 5 == 0) p[i] = 255;
    if (p[i] % 7 == 0) p[i] = 0;
  }
  return p;
}

// ---------------------------------------------------------------------------
// General resizers.

TEST(ResizeNearestNeighbor, SameSizeIsACopy) {
  const int w = 7, h = 5, srcStride = 9, dstStride = 11;
  Plane src = RandomBytes(srcStride * h, 1);
  Plane dst(dstStride * h, kCanary);
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), w, h, srcStride, dst.data(),
                                     w, h, dstStride));
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < dstStride; ++x) {
      EXPECT_EQ(x < w ? src[y * srcStride + x] : kCanary, dst[y * dstStride + x]);
    }
  }
}

TEST(ResizeNearestNeighbor, TruncatesWithoutHalfPixelOffset) {
  // 3 -> 2 columns: scale 1.5, columns 0 and trunc(1.5) = 1. 4 -> 2 rows:
  // rows 0 and 2.
  const uint8_t src[4][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
  uint8_t dst[2][2];
  EXPECT_EQ(1, ResizeNearestNeighbor(const_cast<uint8_t*>(&src[0][0]), 3, 4, 3,
                                     &dst[0][0], 2, 2, 2));
  EXPECT_EQ(1, dst[0][0]);
  EXPECT_EQ(2, dst[0][1]);
  EXPECT_EQ(7, dst[1][0]);
  EXPECT_EQ(8, dst[1][1]);
}

TEST(ResizeNearestNeighbor, ZeroHeightWritesNothing) {
  Plane src = RandomBytes(16, 2);
  Plane dst(16, kCanary);
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), 4, 4, 4, dst.data(), 4, 0, 4));
  EXPECT_EQ(1, ResizeNearestNeighbor(src.data(), 4, 4, 4, dst.data(), 4, -3, 4));
  EXPECT_EQ(Plane(16, kCanary), dst);
}

TEST(ResizeBilinear, TruncatesAndRepeatsTheEdge) {
  // Row 0, 99 and its doubled rows: column 1 sits halfway (49.5 -> 49),
  // columns 2 and 3 are at or past the last source column, which pairs with
  // itself. The source ends flush against a guard page.
  GuardedBuffer src(4);
  const uint8_t pixels[4] = {0, 99, 200, 100};
  std::memcpy(src.data(), pixels, 4);
  uint8_t dst[4][4];
  EXPECT_EQ(1, ResizeBilinear(src.data(), 2, 2, 2, &dst[0][0], 4, 4, 4));
  const uint8_t expected[4][4] = {{0, 49, 99, 99},
                                  {100, 99, 99, 99},   // halfway down
                                  {200, 150, 100, 100},
                                  {200, 150, 100, 100}};
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(expected[y][x], dst[y][x]) << y << "," << x;
  }
}

TEST(ResizeBilinear, FlatPlaneAndSameSize) {
  // Scales 2 and 1.5 are exact in binary, so the weights sum to exactly 1.
  const int w = 8, h = 6;
  Plane flat = Flat(w * h, 77);
  Plane dst(4 * 4, 0);
  EXPECT_EQ(1, ResizeBilinear(flat.data(), w, h, w, dst.data(), 4, 4, 4));
  EXPECT_EQ(Flat(16, 77), dst);

  Plane src = RandomBytes(w * h, 3);
  Plane same(w * h, 0);
  EXPECT_EQ(1, ResizeBilinear(src.data(), w, h, w, same.data(), w, h, w));
  EXPECT_EQ(src, same);
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
  ResizeNearestNeighbor2(src.data(), 1, 1, stride, dst.data(), dstWidth,
                         dstHeight, 1000);
  const int sampledRows[5] = {3, 19, 18, 34, 33};
  for (int r = 0; r < dstHeight; ++r) {
    const uint8_t start = before[sampledRows[r] * stride + 3];
    for (int j = 0; j < dstWidth; ++j) {
      EXPECT_EQ(static_cast<uint8_t>(start + 8 * j), dst[r * dstWidth + j])
          << "row " << r << " col " << j;
    }
  }
  EXPECT_EQ((Plane{250, 2, 10, 18, 26}), Plane(dst.begin(), dst.begin() + 5));
  for (size_t i = dstWidth * dstHeight; i < dst.size(); ++i) EXPECT_EQ(kCanary, dst[i]);
  // Each sampled byte moved on by 8 * dstWidth; every other byte is as it was.
  for (int i = 0; i < stride * srcRows; ++i) {
    bool sampled = false;
    for (int r : sampledRows) sampled |= i == r * stride + 3;
    const uint8_t expected =
        sampled ? static_cast<uint8_t>(before[i] + 8 * dstWidth) : before[i];
    EXPECT_EQ(expected, src[i]) << i;
  }
}

// ---------------------------------------------------------------------------
// Downscalers.

TEST(DownScaleNewX16, BlockMeanRounding) {
  // Flat planes keep their value.
  for (uint8_t v : {0, 1, 128, 254, 255}) {
    Plane src = Flat(8 * 40, v);
    Plane dst(2 * 10, 0);
    EXPECT_EQ(0, DownScaleNewX16(src.data(), 8, 40, dst.data()));
    EXPECT_EQ(Flat(20, v), dst) << int(v);
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
}

TEST(DownScaleNewX16, WidthAndHeightStepping) {
  // Width 38: 32 columns in blocks of 32, then one 4-column step; the last
  // 2 columns are not read. Height 6: one group of four rows, the last two
  // rows are not read. Height 0: nothing at all.
  const int w = 38, h = 6;
  GuardedBuffer src(4 * w);  // only four rows exist
  Plane pixels = TestPlane(4 * w, 5);
  std::memcpy(src.data(), pixels.data(), pixels.size());
  GuardedBuffer dst(w / 4);
  EXPECT_EQ(0, DownScaleNewX16(src.data(), 4, w, dst.data()));
  Plane expected(w / 4);
  for (int x = 0; x < w / 4; ++x) {
    int sum = 0;
    for (int y = 0; y < 4; ++y) {
      for (int c = 0; c < 4; ++c) sum += pixels[y * w + 4 * x + c];
    }
    expected[x] = static_cast<uint8_t>((sum + 8) >> 4);
  }
  EXPECT_EQ(expected, Plane(dst.data(), dst.data() + w / 4));

  Plane tall = TestPlane(h * w, 6);
  Plane out(2 * (w / 4), kCanary);
  EXPECT_EQ(0, DownScaleNewX16(tall.data(), h, w, out.data()));
  for (size_t i = w / 4; i < out.size(); ++i) EXPECT_EQ(kCanary, out[i]);

  Plane none(16, kCanary);
  EXPECT_EQ(0, DownScaleNewX16(tall.data(), 0, w, none.data()));
  EXPECT_EQ(Plane(16, kCanary), none);
}

TEST(DownScale, BlockMeanAndDestinationStride) {
  // Width 20 with srcStride 25: outputs 0-7 come from the vector step, 8-9
  // from the scalar tail, and destination rows are 25 / 2 = 12 bytes apart.
  const int w = 20, stride = 25, h = 4;
  Plane src(stride * h, 0);
  // Sets the 2x2 block of output (row, col) to a, b / c, d.
  auto block = [&](int row, int col, uint8_t a, uint8_t b, uint8_t c,
                   uint8_t d) {
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
  const Plane row0 = {1, 0, 1, 0, 0, 0, 0, 0, 0, 1};
  const Plane row1 = {255, 0, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(row0, Plane(dst.begin(), dst.begin() + 10));
  EXPECT_EQ(kCanary, dst[10]);
  EXPECT_EQ(kCanary, dst[11]);
  EXPECT_EQ(row1, Plane(dst.begin() + 12, dst.begin() + 22));
  EXPECT_EQ(kCanary, dst[22]);
}

TEST(DownScale, OddWidthAndHeight) {
  // Width 17, height 5: 8 outputs per row pair and two row pairs; the odd
  // column and the fifth row are never read, so a source that stops at
  // column 15 of row 3 and a 16-byte destination (rows 17 / 2 = 8 apart)
  // both suffice.
  const int w = 17, stride = 17;
  GuardedBuffer src(3 * stride + 16);
  Plane pixels = TestPlane(src.size(), 7);
  std::memcpy(src.data(), pixels.data(), pixels.size());
  GuardedBuffer dst(16);
  DownScale(src.data(), 5, w, stride, dst.data());
  for (int row = 0; row < 2; ++row) {
    for (int x = 0; x < 8; ++x) {
      const uint8_t* p = pixels.data() + 2 * row * stride + 2 * x;
      const int sum = p[0] + p[1] + p[stride] + p[stride + 1];
      EXPECT_EQ((sum + 2) >> 2, dst.data()[8 * row + x]) << row << "," << x;
    }
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

TEST(UpScaleNewX16, TwoByTwoBlendsBordersAndCorners) {
  uint8_t src[4] = {10, 200, 60, 255};
  Plane dst(8 * 8, kCanary);
  UpScaleNewX16(src, 2, 2, dst.data());
  // Rows 0-1 and 6-7 blend along the row only: (3 * 10 + 200 + 2) >> 2 = 58,
  // (10 + 3 * 200 + 2) >> 2 = 153; corners copy the corner pixel. Columns
  // 0-1 and 6-7 blend down the column only: (3 * 10 + 60 + 2) >> 2 = 23.
  // Inner (3, 2): 5 * (7 * 10 + 200) + 3 * (7 * 60 + 255) = 3375, and
  // (3375 + 32) >> 6 = 53 where a plain shift would give 52.
  const std::vector<Plane> expected = {
      {10, 10, 58, 58, 153, 153, 200, 200},
      {10, 10, 58, 58, 153, 153, 200, 200},
      {23, 23, 40, 88, 135, 183, 214, 214},
      {23, 23, 53, 101, 149, 197, 214, 214},
      {48, 48, 65, 114, 162, 210, 241, 241},
      {48, 48, 78, 127, 175, 224, 241, 241},
      {60, 60, 109, 109, 206, 206, 255, 255},
      {60, 60, 109, 109, 206, 206, 255, 255}};
  EXPECT_EQ(expected, Rows(dst.data(), 8, 8));
}

TEST(UpScaleNewX16, SingleRowAndColumnAreAllBorder) {
  // One source row: all four output rows are border rows. One source
  // column: all four output columns are border columns.
  uint8_t row[3] = {0, 100, 40};
  Plane dst(12 * 4, kCanary);
  UpScaleNewX16(row, 1, 3, dst.data());
  const Plane line = {0, 0, 25, 25, 75, 75, 85, 85, 55, 55, 40, 40};
  for (const Plane& r : Rows(dst.data(), 12, 4)) EXPECT_EQ(line, r);

  uint8_t column[2] = {100, 0};
  Plane out(4 * 8, kCanary);
  UpScaleNewX16(column, 2, 1, out.data());
  const uint8_t down[8] = {100, 100, 75, 75, 25, 25, 0, 0};
  for (int y = 0; y < 8; ++y) {
    EXPECT_EQ(Plane(4, down[y]), Plane(out.begin() + 4 * y, out.begin() + 4 * y + 4)) << y;
  }
}

TEST(UpScale, TwoByTwoPixelCentred) {
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

TEST(UpScale, FlatPlaneAndBounds) {
  for (int h = 1; h <= 5; ++h) {
    for (int w = 1; w <= 9; ++w) {
      GuardedBuffer src(w * h);
      std::memset(src.data(), 93, w * h);
      GuardedBuffer dst(4 * w * h);
      UpScale(src.data(), h, w, 2 * w, dst.data());
      EXPECT_EQ(Flat(4 * w * h, 93), Plane(dst.data(), dst.data() + 4 * w * h));
    }
  }
}

// ---------------------------------------------------------------------------
// Upscalers at every small size: the exported function stays inside the
// w x h source and the scaled destination, matches the scalar reference,
// and keeps a flat plane flat.

using UpFn = void (*)(uint8_t* src, int h, int w, uint8_t* dst);

void CheckUpscalerBounds(int scale, UpFn exported,
                         void (*reference)(const uint8_t*, int, int, uint8_t*)) {
  for (int h = 1; h <= 7; ++h) {
    for (int w = 1; w <= 19; ++w) {
      SCOPED_TRACE(testing::Message() << "scale " << scale << " " << w << "x" << h);
      const size_t in = static_cast<size_t>(w) * h;
      const size_t out = in * scale * scale;
      GuardedBuffer src(in);
      Plane pixels = TestPlane(in, static_cast<uint32_t>(w * 31 + h));
      std::memcpy(src.data(), pixels.data(), in);
      // Canaries in front of the destination catch writes before it.
      Plane dst(out + 64, kCanary);
      exported(src.data(), h, w, dst.data() + 64);
      ASSERT_EQ(Plane(64, kCanary), Plane(dst.begin(), dst.begin() + 64));
      GuardedBuffer guarded(out);
      exported(src.data(), h, w, guarded.data());
      Plane expected(out);
      reference(pixels.data(), h, w, expected.data());
      ASSERT_EQ(expected, Plane(guarded.data(), guarded.data() + out));
      ASSERT_EQ(expected, Plane(dst.begin() + 64, dst.end()));

      std::memset(src.data(), 201, in);
      exported(src.data(), h, w, guarded.data());
      ASSERT_EQ(Flat(out, 201), Plane(guarded.data(), guarded.data() + out));
    }
  }
}

TEST(UpScaleX64, SmallSizesStayInBounds) {
  CheckUpscalerBounds(
      8, [](uint8_t* s, int h, int w, uint8_t* d) { UpScaleX64(s, h, w, 0, d); },
      [](const uint8_t* s, int h, int w, uint8_t* d) { UpScaleX64_C(s, h, w, 0, d); });
}

TEST(UpScaleNewX16, SmallSizesStayInBounds) {
  CheckUpscalerBounds(4, UpScaleNewX16, UpScaleNewX16_C);
}

TEST(DownScalers, ExportedStayInBoundsAndMatchReference) {
  for (int h = 0; h <= 9; ++h) {
    for (int w = 1; w <= 70; w += (w < 36 ? 1 : 5)) {
      SCOPED_TRACE(testing::Message() << w << "x" << h);
      // 4x4 mean: source h x w, destination (h / 4) x (w / 4).
      {
        const size_t in = static_cast<size_t>(w) * h;
        const size_t out = static_cast<size_t>(h / 4) * (w / 4);
        GuardedBuffer src(in), dst(out);
        Plane pixels = TestPlane(in, w * 7 + h);
        if (in) std::memcpy(src.data(), pixels.data(), in);
        EXPECT_EQ(0, DownScaleNewX16(src.data(), h, w, dst.data()));
        Plane expected(out);
        DownScaleNewX16_C(pixels.data(), h, w, expected.data());
        ASSERT_EQ(expected, Plane(dst.data(), dst.data() + out));
      }
      // 2x2 mean: rows srcStride = w + 3 apart; the last row read ends at w.
      if (h >= 2) {
        const int stride = w + 3, pairs = h / 2;
        const size_t in = static_cast<size_t>(2 * pairs - 1) * stride + w;
        const size_t out = static_cast<size_t>(pairs - 1) * (stride / 2) + w / 2;
        GuardedBuffer src(in), dst(out);
        Plane pixels = TestPlane(in, w * 11 + h);
        std::memcpy(src.data(), pixels.data(), in);
        DownScale(src.data(), h, w, stride, dst.data());
        Plane expected(out);
        DownScale_C(pixels.data(), h, w, stride, expected.data());
        ASSERT_EQ(expected, Plane(dst.data(), dst.data() + out));
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Scalar references against their NEON twins over random sizes and inputs.

#if defined(__ARM_NEON) || defined(VD_X86_SIMD)
uint32_t NextRandom(uint32_t* state) {
  *state ^= *state << 13;
  *state ^= *state >> 17;
  *state ^= *state << 5;
  return *state;
}
#endif

TEST(ResampleTwins, ScalarAndNeonAgree) {
#if !defined(__ARM_NEON)
  GTEST_SKIP() << "no NEON in this build";
#else
  uint32_t state = 0x1234567u;
  for (int trial = 0; trial < 120; ++trial) {
    SCOPED_TRACE(trial);
    const uint32_t seed = NextRandom(&state);
    {
      const int w = 1 + NextRandom(&state) % 140, h = NextRandom(&state) % 18;
      Plane src = TestPlane(static_cast<size_t>(w) * h, seed);
      const size_t out = static_cast<size_t>(h / 4) * (w / 4);
      Plane a(out + 16, kCanary), b(out + 16, kCanary);
      ASSERT_EQ(DownScaleNewX16_C(src.data(), h, w, a.data()),
                DownScaleNewX16_NEON(src.data(), h, w, b.data()));
      ASSERT_EQ(a, b) << "DownScaleNewX16 " << w << "x" << h;
    }
    {
      const int w = 1 + NextRandom(&state) % 90, h = NextRandom(&state) % 9;
      const int stride = w + NextRandom(&state) % 9;
      Plane src = TestPlane(static_cast<size_t>(stride) * (h + 1), seed + 1);
      const size_t out = static_cast<size_t>(stride / 2) * (h / 2 + 1) + 16;
      Plane a(out, kCanary), b(out, kCanary);
      DownScale_C(src.data(), h, w, stride, a.data());
      DownScale_NEON(src.data(), h, w, stride, b.data());
      ASSERT_EQ(a, b) << "DownScale " << w << "x" << h << " stride " << stride;
    }
    {
      const int w = 1 + NextRandom(&state) % 40, h = 1 + NextRandom(&state) % 5;
      Plane src = TestPlane(static_cast<size_t>(w) * h, seed + 2);
      const size_t out = static_cast<size_t>(64) * w * h;
      Plane a(out + 16, kCanary), b(out + 16, kCanary);
      UpScaleX64_C(src.data(), h, w, 0, a.data());
      UpScaleX64_NEON(src.data(), h, w, 0, b.data());
      ASSERT_EQ(a, b) << "UpScaleX64 " << w << "x" << h;
    }
    {
      const int w = 1 + NextRandom(&state) % 60, h = 1 + NextRandom(&state) % 8;
      Plane src = TestPlane(static_cast<size_t>(w) * h, seed + 3);
      const size_t out = static_cast<size_t>(16) * w * h;
      Plane a(out + 16, kCanary), b(out + 16, kCanary);
      UpScaleNewX16_C(src.data(), h, w, a.data());
      UpScaleNewX16_NEON(src.data(), h, w, b.data());
      ASSERT_EQ(a, b) << "UpScaleNewX16 " << w << "x" << h;
    }
  }
#endif
}

TEST(ResampleTwins, ExtremeInputsAgree) {
#if !defined(__ARM_NEON)
  GTEST_SKIP() << "no NEON in this build";
#else
  // Alternating 0 / 255 columns and rows give the largest differences
  // between neighbours, the worst case for the 16-bit running sums.
  for (int w : {2, 8, 9, 17, 33}) {
    for (int h : {2, 4}) {
      Plane src(static_cast<size_t>(w) * h);
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) src[y * w + x] = ((x + y) & 1) ? 255 : 0;
      }
      Plane a(64 * w * h), b(64 * w * h);
      UpScaleX64_C(src.data(), h, w, 0, a.data());
      UpScaleX64_NEON(src.data(), h, w, 0, b.data());
      ASSERT_EQ(a, b) << w << "x" << h;
      UpScaleNewX16_C(src.data(), h, w, a.data());
      UpScaleNewX16_NEON(src.data(), h, w, b.data());
      ASSERT_EQ(a, b) << w << "x" << h;
    }
  }
#endif
}

#if defined(VD_X86_SIMD)
// The x86 twins against the scalar references: every small size, random
// sizes up to and past the chroma work planes, alternating extremes, and
// outputs that end flush against a guard page.
struct X86Scalers {
  const char* name;
  int (*down4)(const uint8_t*, int, int, uint8_t*);
  void (*down2)(const uint8_t*, int, int, int, uint8_t*);
  void (*up8)(const uint8_t*, int, int, int, uint8_t*);
  void (*up4)(const uint8_t*, int, int, uint8_t*);
};

std::vector<X86Scalers> AllX86Scalers() {
  std::vector<X86Scalers> twins = {{"SSE2", DownScaleNewX16_SSE2, DownScale_SSE2,
                                    UpScaleX64_SSE2, UpScaleNewX16_SSE2}};
  if (VdCpuSimdLevel() >= kVdSimdAvx2) {
    twins.push_back({"AVX2", DownScaleNewX16_AVX2, DownScale_AVX2, UpScaleX64_AVX2,
                     UpScaleNewX16_AVX2});
  }
  return twins;
}

void ExpectX86ScalersAgree(const X86Scalers& t, int w, int h, int stride,
                           const Plane& src) {
  {
    const size_t out = static_cast<size_t>(h / 4) * (w / 4);
    vdtest::GuardedBuffer b(out + 1);
    Plane a(out + 1, kCanary);
    std::memset(b.data(), kCanary, out + 1);
    ASSERT_EQ(DownScaleNewX16_C(src.data(), h, w, a.data()),
              t.down4(src.data(), h, w, b.data()));
    ASSERT_EQ(a, Plane(b.data(), b.data() + out + 1)) << "DownScaleNewX16 " << w << "x" << h;
  }
  {
    const size_t out = static_cast<size_t>(stride / 2) * (h / 2 + 1) + 16;
    Plane a(out, kCanary), b(out, kCanary);
    DownScale_C(src.data(), h, w, stride, a.data());
    t.down2(src.data(), h, w, stride, b.data());
    ASSERT_EQ(a, b) << "DownScale " << w << "x" << h << " stride " << stride;
  }
  if (h >= 1 && h <= 40) {
    const size_t out = static_cast<size_t>(64) * w * h;
    vdtest::GuardedBuffer b(out);
    Plane a(out, kCanary);
    std::memset(b.data(), kCanary, out);
    UpScaleX64_C(src.data(), h, w, 0, a.data());
    t.up8(src.data(), h, w, 0, b.data());
    ASSERT_EQ(a, Plane(b.data(), b.data() + out)) << "UpScaleX64 " << w << "x" << h;
  }
  if (h >= 1) {
    const size_t out = static_cast<size_t>(16) * w * h;
    vdtest::GuardedBuffer b(out);
    Plane a(out, kCanary);
    std::memset(b.data(), kCanary, out);
    UpScaleNewX16_C(src.data(), h, w, a.data());
    t.up4(src.data(), h, w, b.data());
    ASSERT_EQ(a, Plane(b.data(), b.data() + out)) << "UpScaleNewX16 " << w << "x" << h;
  }
}

TEST(ResampleTwins, X86TwinsAgreeWithScalar) {
  for (const X86Scalers& t : AllX86Scalers()) {
    SCOPED_TRACE(t.name);
    uint32_t state = 0x2468ace1u;
    for (int w = 1; w <= 150; ++w) {
      const int h = 1 + w % 9;
      ExpectX86ScalersAgree(t, w, h, w + w % 3, TestPlane(static_cast<size_t>(w + 2) * (h + 1), w));
    }
    for (int trial = 0; trial < 150; ++trial) {
      const int w = 1 + NextRandom(&state) % 1000, h = NextRandom(&state) % 30;
      const int stride = w + NextRandom(&state) % 9;
      ExpectX86ScalersAgree(t, w, h, stride,
                            TestPlane(static_cast<size_t>(stride) * (h + 1), NextRandom(&state)));
    }
    // Chroma work planes of a 1080p stripe: 960 wide at full scale, 240 and
    // 120 at the small scales.
    ExpectX86ScalersAgree(t, 960, 96, 960, TestPlane(960 * 97, 5));
    ExpectX86ScalersAgree(t, 240, 24, 240, TestPlane(240 * 25, 6));
    ExpectX86ScalersAgree(t, 120, 23, 120, TestPlane(120 * 24, 7));
    for (int w : {2, 8, 9, 17, 33, 48, 65, 120, 240}) {
      for (int h : {2, 4, 7}) {
        Plane src(static_cast<size_t>(w) * h);
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) src[y * w + x] = ((x + y) & 1) ? 255 : 0;
        }
        ExpectX86ScalersAgree(t, w, h, w, src);
      }
    }
  }
}
#endif

}  // namespace
