// Multi-scale chroma filter: which rows it writes at each level, flat planes,
// the order of its stages, the per-stripe work buffers, and the switch.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "api/vd_instance.h"
#include "image/resample.h"
#include "spatial/box_filter.h"
#include "spatial/chroma_filter_internal.h"
#include "spatial/fuzzy_filter.h"
#include "tests/test_util.h"

namespace {

using Plane = std::vector<uint8_t>;
constexpr uint8_t kCanary = 0xA5;

// Work buffers sized as the instance sizes them (a whole plane each), with
// their own canaries so that a stray write shows.
struct WorkBuffers {
  explicit WorkBuffers(size_t n) : b1(n, 1), b2(n, 2), b3(n, 3) {}
  Plane b1, b2, b3;
};

struct Case {
  int level, width, rows, up, down;
};

int ScaleOf(int level) { return (level == 0 || level == 1) ? 4 : 8; }

Plane RunFilterUV(const Plane& src_in, const Case& c) {
  Plane src = src_in;
  Plane dst(src.size(), kCanary);
  WorkBuffers work(src.size());
  EXPECT_EQ(VdFilterUV(src.data(), dst.data(), c.width, c.rows, c.up, c.down,
                       c.level, work.b1.data(), work.b2.data(),
                       work.b3.data()),
            1);
  EXPECT_EQ(src, src_in) << "the source is read only";
  return dst;
}

// (rows / s - up / s - down / s) x s rows from row `up` are written (s = 4 at
// levels 0 and 1, 8 otherwise; the level is compared unsigned, so negative
// levels take the scale of 8), nothing above or below; a flat plane stays
// flat.
TEST(FilterUVTest, WritesTheInnerRowsOnlyAndKeepsFlatPlanesFlat) {
  const Case cases[] = {
      {0, 64, 64, 8, 8},    {1, 128, 48, 0, 8},  {1, 64, 32, 8, 0},
      {0, 96, 40, 0, 0},    {2, 64, 64, 16, 16}, {3, 128, 48, 0, 16},
      {2, 64, 64, 16, 0},   {3, 192, 32, 0, 0},  {5, 64, 48, 16, 16},
      {-1, 64, 48, 0, 16},
  };
  for (const Case& c : cases) {
    const int s = ScaleOf(c.level);
    const int first = c.up;
    const int count = (c.rows / s - c.up / s - c.down / s) * s;
    for (uint8_t v : {0, 77, 255}) {
      SCOPED_TRACE(testing::Message()
                   << "level " << c.level << " width " << c.width << " rows "
                   << c.rows << " up " << c.up << " down " << c.down
                   << " value " << int(v));
      const Plane dst = RunFilterUV(Plane(c.width * c.rows, v), c);
      for (int y = 0; y < c.rows; ++y) {
        const bool written = y >= first && y < first + count;
        for (int x = 0; x < c.width; ++x) {
          ASSERT_EQ(dst[y * c.width + x], written ? v : kCanary)
              << "row " << y << " col " << x;
        }
      }
    }
  }
}

// The overlap shapes of the 1080-row frame path, on a 960-wide chroma plane:
// 8 context rows at levels 0 and 1 and 16 at levels 2 and 3.
TEST(FilterUVTest, FramePathShapes) {
  const int cw = 960;
  for (int level = 0; level < 4; ++level) {
    const int o = level < 2 ? 8 : 16;
    const Case top = {level, cw, 272 + o, 0, o};
    const Case mid = {level, cw, 264 + o, o, 0};
    for (const Case& c : {top, mid}) {
      const Plane src = vdtest::RandomBytes(c.width * c.rows, level + 1);
      const Plane dst = RunFilterUV(src, c);
      const int produced = c.up == 0 ? 272 : 264;
      for (int y = 0; y < c.rows; ++y) {
        const bool written = y >= c.up && y < c.up + produced;
        bool all_canary = true;
        for (int x = 0; x < c.width; ++x) {
          all_canary &= dst[y * c.width + x] == kCanary;
        }
        if (!written) {
          ASSERT_TRUE(all_canary) << "level " << level << " row " << y;
        } else {
          ASSERT_FALSE(all_canary) << "level " << level << " row " << y;
        }
      }
    }
  }
}

// Pins the stages, their argument order (rows before width for the 4x4
// reduction) and the reduced row the enlargement starts from, on a plane that
// is wider than tall and not flat.
TEST(FilterUVTest, IsDownscaleFuzzyUpscale) {
  const int width = 128, rows = 64;
  const Plane src = vdtest::RandomBytes(width * rows, 21);
  for (int level : {0, 2}) {
    const int s = ScaleOf(level);
    const int up = 2 * s, down = 2 * s;
    const Plane dst = RunFilterUV(src, {level, width, rows, up, down});

    Plane in = src, b1(width * rows), b2(width * rows), b3(width * rows);
    Plane expect(width * rows, kCanary);
    DownScaleNewX16(in.data(), rows, width, b1.data());
    if (s == 4) {
      FuzzyFilter_UV(b1.data(), b2.data(), width / 4, rows / 4, 1);
      UpScaleNewX16(b2.data() + (width / 4) * 2, rows / 4 - 4, width / 4,
                    expect.data() + width * up);
    } else {
      DownScale(b1.data(), rows / 4, width / 4, width / 4, b3.data());
      FuzzyFilter_UV(b3.data(), b2.data(), width / 8, rows / 8, 1);
      UpScaleX64(b2.data() + (width / 8) * 2, rows / 8 - 4, width / 8, width,
                 expect.data() + width * up);
    }
    EXPECT_EQ(dst, expect) << "level " << level;
  }
}

// The exported filter works in entry [stripe] of each global work-buffer
// array; the other entries are left null so that using one would fault.
TEST(FilterUVTest, ExportedFunctionUsesTheStripesBuffers) {
  unsigned char* saved[3][4];
  for (int i = 0; i < 4; ++i) {
    saved[0][i] = p_uvSpaBuff_1[i];
    saved[1][i] = p_uvSpaBuff_2[i];
    saved[2][i] = p_uvSpaBuff_3[i];
  }
  const int width = 64, rows = 48;
  Plane src = vdtest::RandomBytes(width * rows, 8);
  for (int stripe = 0; stripe < 3; ++stripe) {
    for (int level : {1, 3}) {
      WorkBuffers work(src.size());
      for (int i = 0; i < 4; ++i) {
        p_uvSpaBuff_1[i] = p_uvSpaBuff_2[i] = p_uvSpaBuff_3[i] = nullptr;
      }
      p_uvSpaBuff_1[stripe] = work.b1.data();
      p_uvSpaBuff_2[stripe] = work.b2.data();
      p_uvSpaBuff_3[stripe] = work.b3.data();
      Plane dst(src.size(), kCanary);
      sVNRPoint kernel = {3, 3};
      EXPECT_EQ(filterUV(src.data(), dst.data(), width, rows, &kernel, 7, 0,
                         16, level, stripe),
                1);
      EXPECT_EQ(dst, RunFilterUV(src, {level, width, rows, 0, 16}))
          << "stripe " << stripe << " level " << level;
    }
  }
  for (int i = 0; i < 4; ++i) {
    p_uvSpaBuff_1[i] = saved[0][i];
    p_uvSpaBuff_2[i] = saved[1][i];
    p_uvSpaBuff_3[i] = saved[2][i];
  }
}

TEST(GetChromaFilterFlagTest, SetsOnlyForKnownLevels) {
  int flag = 1;
  GetChromaFilterFlag(0, &flag);
  EXPECT_EQ(flag, 0);
  for (int level : {1, 2, 3}) {
    flag = 0;
    GetChromaFilterFlag(level, &flag);
    EXPECT_EQ(flag, 1) << level;
  }
  for (int level : {-1, 4, 100}) {
    for (int before : {0, 1, 7}) {
      flag = before;
      GetChromaFilterFlag(level, &flag);
      EXPECT_EQ(flag, before) << level;
    }
  }
}

}  // namespace
