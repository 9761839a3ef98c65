// The fuzzy filters: table blend, the 3x3 range-weighted means (borders, the
// seed-64 columns, concrete values, vector == scalar) and the small tables.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "api/vd_cpu.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::FillRandom;
using vdtest::GuardedBuffer;
using vdtest::RandomBytes;

constexpr uint8_t kUntouched = 0xEE;

struct Plane {
  int width;
  int height;
  std::vector<uint8_t> px;
  uint8_t at(int x, int y) const { return px[y * width + x]; }
};

Plane Flat(int width, int height, uint8_t value) {
  return {width, height, std::vector<uint8_t>(width * height, value)};
}

// a where x + y is even, b elsewhere.
Plane Checkerboard(int width, int height, uint8_t a, uint8_t b) {
  Plane p = Flat(width, height, a);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if ((x + y) & 1) p.px[y * width + x] = b;
    }
  }
  return p;
}

// Random planes of a few kinds: full range (mostly only the centre weighs),
// low contrast around a random level (all weights in play), and values near
// 0 and 255.
void FillTestPlane(uint8_t* p, size_t n, uint32_t seed) {
  FillRandom(p, n, seed);
  const uint8_t base = static_cast<uint8_t>(seed * 37u);
  switch (seed % 4) {
    case 0:
      break;
    case 1:
      for (size_t i = 0; i < n; ++i) {
        const int v = base + (p[i] % 15) - 7;
        p[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
      }
      break;
    case 2:
      for (size_t i = 0; i < n; ++i) {
        p[i] = (p[i] & 0x80) ? 255 - (p[i] & 7) : (p[i] & 7);
      }
      break;
    default:
      for (size_t i = 0; i < n; ++i) p[i] = base + (p[i] & 3) * 3;
      break;
  }
}

// FuzzyFilter_UV into a dst prefilled with `fill`.
Plane RunUV(const Plane& src, int iEdge, uint8_t fill = kUntouched) {
  Plane dst = Flat(src.width, src.height, fill);
  std::vector<uint8_t> in = src.px;
  FuzzyFilter_UV(in.data(), dst.px.data(), src.width, src.height, iEdge);
  return dst;
}

Plane RunLuma(const Plane& src, const uint8_t* guide, int guideSel,
              int iEdge) {
  Plane dst = Flat(src.width, src.height, kUntouched);
  std::vector<uint8_t> in = src.px;
  FuzzyFilter(const_cast<uint8_t*>(guide), in.data(), nullptr, nullptr,
              dst.px.data(), src.width, src.height, iEdge, guideSel, 12345);
  return dst;
}

// ---- FuzzyFilter_2 ---------------------------------------------------------

uint8_t NrEntry(int level, int a, int d, int s) {
  return nr_table[level * kNrBytesPerLevel + a * kNrBytesPerValue + d * 2 + s];
}

TEST(FuzzyFilter2Test, LooksUpWholeGroupsOfFour) {
  const int width = 37, height = 5, n = width * height;  // 185 = 46 x 4 + 1
  const std::vector<uint8_t> cur = RandomBytes(n, 1);
  std::vector<uint8_t> diff = RandomBytes(n, 2);
  std::vector<uint8_t> sign = RandomBytes(n, 3);
  for (int i = 0; i < n; ++i) {
    diff[i] %= 17;
    sign[i] &= 1;
  }
  for (int level = 0; level < 4; ++level) {
    std::vector<uint8_t> out(n, kUntouched);
    EXPECT_EQ(0, FuzzyFilter_2(const_cast<uint8_t*>(cur.data()), diff.data(),
                               sign.data(), out.data(), nullptr, width,
                               height, level));
    for (int i = 0; i < 184; ++i) {
      ASSERT_EQ(NrEntry(level, cur[i], diff[i], sign[i]), out[i]) << i;
    }
    EXPECT_EQ(kUntouched, out[184]);
  }
}

TEST(FuzzyFilter2Test, SixPixelsProcessFour) {
  GuardedBuffer cur(6), diff(6), sign(6), out(6);
  const uint8_t c[6] = {0, 10, 100, 255, 7, 7};
  const uint8_t d[6] = {1, 3, 15, 10, 0, 0};
  const uint8_t s[6] = {1, 0, 1, 0, 0, 0};
  memcpy(cur.data(), c, 6);
  memcpy(diff.data(), d, 6);
  memcpy(sign.data(), s, 6);
  memset(out.data(), kUntouched, 6);
  // ref is not read.
  FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.data(), nullptr, 3,
                2, 0);
  // Static table (identity at column 15): (0, +1) -> 1, (10, -3) -> 9,
  // (100, +15) -> 100, (255, -10) -> 251.
  const uint8_t want[6] = {1, 9, 100, 251, kUntouched, kUntouched};
  EXPECT_EQ(0, memcmp(want, out.data(), 6));
  // Fewer than four pixels: nothing at all.
  FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.data() + 3, nullptr,
                1, 3, 0);
  EXPECT_EQ(251, out.data()[3]);
  EXPECT_EQ(kUntouched, out.data()[4]);
}

TEST(FuzzyFilter2Test, OutputMayBeTheCurrentPlane) {
  std::vector<uint8_t> cur = RandomBytes(64, 9);
  std::vector<uint8_t> diff = RandomBytes(64, 10);
  std::vector<uint8_t> sign = RandomBytes(64, 11);
  for (int i = 0; i < 64; ++i) {
    diff[i] %= 17;
    sign[i] &= 1;
  }
  std::vector<uint8_t> out(64);
  FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.data(), nullptr, 8,
                8, 1);
  FuzzyFilter_2(cur.data(), diff.data(), sign.data(), cur.data(), nullptr, 8,
                8, 1);
  EXPECT_EQ(out, cur);
}

// ---- FuzzyFilter_UV --------------------------------------------------------

// Widths the frame path uses (6 is the narrowest chroma work width) and the
// awkward ones around the 16-pixel blocks and the 8-pixel groups.
std::vector<int> Widths() {
  std::vector<int> w;
  for (int i = 3; i <= 40; ++i) w.push_back(i);
  for (int i : {47, 48, 49, 56, 120, 240}) w.push_back(i);
  return w;
}

TEST(FuzzyFilterUVTest, FlatPlaneIsUnchanged) {
  for (int width : Widths()) {
    for (uint8_t v : {0, 1, 77, 128, 254, 255}) {
      const Plane src = Flat(width, 4, v);
      ASSERT_EQ(src.px, RunUV(src, 1).px) << width << " " << int{v};
    }
  }
}

TEST(FuzzyFilterUVTest, IsolatedPixelKeepsItsValue) {
  for (int width : {6, 9, 10, 16, 24, 40, 120}) {
    for (int x = 1; x < width - 1; ++x) {
      // 8 away from every neighbour: only its own weight counts, and its
      // neighbours ignore it as well.
      Plane src = Flat(width, 3, 100);
      src.px[width + x] = 108;
      ASSERT_EQ(src.px, RunUV(src, 1).px) << width << " " << x;
      src.px[width + x] = 0;
      ASSERT_EQ(src.px, RunUV(src, 1).px) << width << " " << x;
    }
  }
  // 7 away its neighbours weigh 24 each: seed 1 gives 26155 / 257 = 101.8,
  // seed 64 (last eight columns) 32896 / 320 = 102.8. The neighbours see
  // it with weight 24 against their own 512 and stay at 100 (53868 / 537).
  Plane src = Flat(40, 3, 100);
  src.px[40 + 10] = 107;
  src.px[40 + 35] = 107;
  Plane want = src;
  want.px[40 + 10] = 102;
  want.px[40 + 35] = 103;
  EXPECT_EQ(want.px, RunUV(src, 1).px);
}

TEST(FuzzyFilterUVTest, EdgeCodeSelectsCopiedRows) {
  for (int width : {3, 9, 10, 26, 40}) {
    for (int height : {1, 2, 3, 5}) {
      Plane src = Flat(width, height, 0);
      FillTestPlane(src.px.data(), src.px.size(), width * 7 + height);
      for (int iEdge = 0; iEdge < 4; ++iEdge) {
        const Plane dst = RunUV(src, iEdge);
        const Plane dst2 = RunUV(src, iEdge, 0x11);
        const bool top = iEdge == 1 || iEdge == 3;
        const bool bottom = iEdge == 1 || iEdge == 2;
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            uint8_t want;
            if (y == 0 && top) {
              want = src.at(x, y);
            } else if (y == height - 1 && bottom) {
              want = src.at(x, y);
            } else if (y == 0 || y == height - 1) {
              want = kUntouched;
            } else if (x == 0 || x == width - 1) {
              want = src.at(x, y);
            } else {
              continue;  // filtered
            }
            ASSERT_EQ(want, dst.at(x, y))
                << width << "x" << height << " edge " << iEdge << " (" << x
                << "," << y << ")";
          }
        }
        for (int y = 1; y < height - 1; ++y) {
          for (int x = 1; x < width - 1; ++x) {
            ASSERT_EQ(dst.at(x, y), dst2.at(x, y));  // written
          }
        }
      }
    }
  }
}

// On a 100/107 checkerboard every inner pixel has four neighbours at
// difference 0 (weight 64, plus its own) and four at difference 7 (weight 24):
//   seed 1:  100 -> 42372 / 417 = 101.6 -> 102, 107 -> 43947 / 417 = 105.4
//   seed 64: 100 -> 48672 / 480 = 101.4 -> 101, 107 -> 50688 / 480 = 105.6
uint8_t CheckerboardResult(uint8_t centre, bool seed64) {
  if (centre == 100) return seed64 ? 101 : 102;
  return seed64 ? 106 : 105;
}

TEST(FuzzyFilterUVTest, LastEightColumnsUseSeed64) {
  for (int width : Widths()) {
    const Plane src = Checkerboard(width, 5, 100, 107);
    const Plane dst = RunUV(src, 1);
    for (int y = 1; y < 4; ++y) {
      for (int x = 1; x < width - 1; ++x) {
        // Below width 10 there are fewer than eight inner columns and all of
        // them are in the last group.
        const bool seed64 = x >= width - 9;
        ASSERT_EQ(CheckerboardResult(src.at(x, y), seed64), dst.at(x, y))
            << "width " << width << " (" << x << "," << y << ")";
      }
    }
  }
}

TEST(FuzzyFilterUVTest, ChromaWorkWidths) {
  // The frame path's widths: columns 231..238 of 240 and 111..118 of 120.
  for (int width : {240, 120}) {
    const Plane src = Checkerboard(width, 3, 107, 100);
    const Plane dst = RunUV(src, 0);
    const int first = width == 240 ? 231 : 111;
    for (int x = 1; x < width - 1; ++x) {
      ASSERT_EQ(CheckerboardResult(src.at(x, 1), x >= first), dst.at(x, 1))
          << width << " " << x;
    }
  }
}

// Runs the dispatching function on guarded buffers (any access outside the
// plane faults) and compares with the scalar reference.
void ExpectUVMatchesReference(int width, int height, int iEdge,
                              uint32_t seed) {
  const size_t n = static_cast<size_t>(width) * height;
  GuardedBuffer src(n), dst(n);
  FillTestPlane(src.data(), n, seed);
  FillRandom(dst.data(), n, seed + 1);
  std::vector<uint8_t> want(dst.data(), dst.data() + n);
  FuzzyFilter_UV_C(src.data(), want.data(), width, height, iEdge);
  FuzzyFilter_UV(src.data(), dst.data(), width, height, iEdge);
  ASSERT_EQ(0, memcmp(want.data(), dst.data(), n))
      << width << "x" << height << " edge " << iEdge << " seed " << seed;
}

TEST(FuzzyFilterUVTest, VectorMatchesScalar) {
  uint32_t seed = 100;
  for (int width : Widths()) {
    for (int height : {1, 2, 3, 4, 7}) {
      ExpectUVMatchesReference(width, height, seed % 4, seed);
      ++seed;
    }
  }
  std::vector<uint8_t> dims = RandomBytes(120, 77);
  for (size_t i = 0; i < dims.size(); i += 2) {
    const int width = 3 + dims[i] % 250;
    const int height = 1 + dims[i + 1] % 9;
    ExpectUVMatchesReference(width, height, seed % 4, seed);
    ++seed;
  }
}

#if defined(VD_X86_SIMD)
// ---- x86 twins -------------------------------------------------------------

using UVFn = void (*)(const unsigned char*, unsigned char*, int, int, int);
using BlendFn = int (*)(const unsigned char*, const unsigned char*,
                        const unsigned char*, unsigned char*, int, int, int);

struct X86Twins {
  const char* name;
  UVFn uv;
  BlendFn blend;
};

std::vector<X86Twins> AllX86Twins() {
  std::vector<X86Twins> twins = {
      {"SSE2", FuzzyFilter_UV_SSE2, FuzzyFilter_2_SSE2}};
  if (VdCpuSimdLevel() >= kVdSimdAvx2) {
    twins.push_back({"AVX2", FuzzyFilter_UV_AVX2, FuzzyFilter_2_AVX2});
  }
  return twins;
}

TEST(FuzzyX86Test, ReciprocalTableIsTheRefinedEstimate) {
  const float* table = VdFuzzyRecipTable();
  for (int w = 0; w <= kFuzzyMaxWeightSum; ++w) {
    const float want = VdRecipRefined(static_cast<float>(w));
    ASSERT_EQ(0, memcmp(&want, &table[w], sizeof(float))) << w;
  }
}

// The range-weighted filter at every width up to 300 and at random sizes;
// low-contrast planes now and then so that many taps carry weight and the
// weight sums spread over their whole range.
TEST(FuzzyX86Test, UVTwinsMatchScalar) {
  for (const X86Twins& twin : AllX86Twins()) {
    SCOPED_TRACE(twin.name);
    uint32_t seed = 500;
    auto check = [&](int width, int height, int iEdge) {
      const size_t n = static_cast<size_t>(width) * height;
      GuardedBuffer src(n);
      vdtest::FillRandom(src.data(), n, seed);
      const int spread = seed % 3 == 0 ? 255 : (seed % 3 == 1 ? 9 : 3);
      for (size_t i = 0; i < n; ++i) {
        src.data()[i] = static_cast<uint8_t>(seed % 3 == 0 ? src.data()[i]
                                              : 120 + src.data()[i] % spread);
      }
      std::vector<uint8_t> a = RandomBytes(n, seed + 1), b = a;
      FuzzyFilter_UV_C(src.data(), a.data(), width, height, iEdge);
      twin.uv(src.data(), b.data(), width, height, iEdge);
      ASSERT_EQ(a, b) << width << "x" << height << " edge " << iEdge
                      << " seed " << seed;
      ++seed;
    };
    for (int width = 3; width <= 300; ++width) {
      check(width, 1 + width % 6, width & 3);
    }
    std::vector<uint8_t> dims = RandomBytes(400, 78);
    for (size_t i = 0; i < dims.size(); i += 2) {
      check(3 + dims[i] * 3, 1 + dims[i + 1] % 40, dims[i + 1] & 3);
    }
    // The frame path's chroma work planes.
    check(240, 94, 1);
    check(120, 47, 1);
    check(240, 92, 1);
  }
}

// The table blend over every level, all difference columns and both
// directions, at counts around the 16- and 32-pixel steps; in place too.
TEST(FuzzyX86Test, BlendTwinsMatchScalar) {
  for (const X86Twins& twin : AllX86Twins()) {
    SCOPED_TRACE(twin.name);
    uint32_t seed = 900;
    for (int count = 1; count <= 400; count += (count < 100 ? 1 : 13)) {
      for (int level = 0; level < 4; ++level) {
        GuardedBuffer cur(count), diff(count), sign(count);
        vdtest::FillRandom(cur.data(), count, seed++);
        vdtest::FillRandom(diff.data(), count, seed++);
        vdtest::FillRandom(sign.data(), count, seed++);
        for (int i = 0; i < count; ++i) {
          diff.data()[i] %= 33;
          sign.data()[i] &= 1;
        }
        // The corners of the table: values 0 and 255, columns 0 and 32.
        if (count > 4) {
          cur.data()[0] = 255;
          diff.data()[0] = 32;
          sign.data()[0] = 1;
          cur.data()[1] = 0;
          diff.data()[1] = 0;
          sign.data()[1] = 0;
        }
        std::vector<uint8_t> a = RandomBytes(count, seed++), b = a;
        EXPECT_EQ(0, FuzzyFilter_2_C(cur.data(), diff.data(), sign.data(),
                                     a.data(), count, 1, level));
        EXPECT_EQ(0, twin.blend(cur.data(), diff.data(), sign.data(),
                                b.data(), 1, count, level));
        ASSERT_EQ(a, b) << count << " level " << level;
        std::vector<uint8_t> inPlace(cur.data(), cur.data() + count);
        twin.blend(inPlace.data(), diff.data(), sign.data(), inPlace.data(),
                   count, 1, level);
        for (int i = 0; i < count - count % 4; ++i) ASSERT_EQ(a[i], inPlace[i]);
      }
    }
    // A whole 1080p stripe.
    const int w = 1920, h = 360, n = w * h;
    std::vector<uint8_t> cur = RandomBytes(n, 1), diff = RandomBytes(n, 2),
                         sign = RandomBytes(n, 3);
    for (int i = 0; i < n; ++i) {
      diff[i] %= 17;
      sign[i] &= 1;
    }
    std::vector<uint8_t> a(n), b(n);
    FuzzyFilter_2_C(cur.data(), diff.data(), sign.data(), a.data(), w, h, 2);
    twin.blend(cur.data(), diff.data(), sign.data(), b.data(), w, h, 2);
    EXPECT_EQ(a, b);
  }
}
#endif

// ---- FuzzyFilter -----------------------------------------------------------

TEST(FuzzyFilterTest, SeedOneInEveryColumn) {
  for (int width : Widths()) {
    const Plane src = Checkerboard(width, 4, 100, 107);
    const Plane dst = RunLuma(src, nullptr, 1, 1);
    for (int y = 1; y < 3; ++y) {
      for (int x = 1; x < width - 1; ++x) {
        ASSERT_EQ(CheckerboardResult(src.at(x, y), false), dst.at(x, y))
            << width << " (" << x << "," << y << ")";
      }
    }
    ASSERT_EQ(Flat(width, 4, 50).px, RunLuma(Flat(width, 4, 50), nullptr, 1,
                                             1).px);
  }
}

TEST(FuzzyFilterTest, CentreFromGuide) {
  // Guide 100 everywhere, source a 100/107 checkerboard. At a 107 source
  // pixel the centre still counts as 100: five taps at difference 7 and four
  // at 0 give 38540 / 377 = 102.2; at a 100 pixel 42372 / 417 = 101.6.
  for (int width : {5, 10, 17, 33, 120}) {
    const Plane src = Checkerboard(width, 4, 100, 107);
    const Plane guide = Flat(width, 4, 100);
    const Plane dst = RunLuma(src, guide.px.data(), 0, 1);
    for (int y = 1; y < 3; ++y) {
      for (int x = 1; x < width - 1; ++x) {
        ASSERT_EQ(102, dst.at(x, y)) << width << " (" << x << "," << y << ")";
      }
    }
  }
}

TEST(FuzzyFilterTest, BorderCopiesTwoBytesAtEachEnd) {
  for (int width : {1, 2, 3, 9, 10, 24, 40}) {
    const int height = 4;
    Plane src = Flat(width, height, 0);
    FillTestPlane(src.px.data(), src.px.size(), 5 + width);
    const Plane dst = RunLuma(src, nullptr, 1, 0);
    // iEdge 0: row 0 is untouched; of row height - 1 only column 0 is
    // written, as the byte after the last inner row.
    for (int x = 0; x < width; ++x) {
      EXPECT_EQ(kUntouched, dst.at(x, 0)) << width;
      EXPECT_EQ(x == 0 ? src.at(0, height - 1) : kUntouched,
                dst.at(x, height - 1))
          << width << " " << x;
    }
    for (int y = 1; y < height - 1; ++y) {
      EXPECT_EQ(src.at(0, y), dst.at(0, y));
      EXPECT_EQ(src.at(width - 1, y), dst.at(width - 1, y));
      // Column 1 (the next row's column 0 when width is 1) is a plain copy
      // when the row has no inner pixels.
      if (width < 3) {
        EXPECT_EQ(src.px[y * width + 1], dst.px[y * width + 1]);
      }
    }
  }
  // Otherwise column 1 ends up filtered.
  const Plane src = Checkerboard(12, 3, 107, 100);
  EXPECT_EQ(105, RunLuma(src, nullptr, 1, 0).at(1, 1));  // 107 -> 105
}

void ExpectLumaMatchesReference(int width, int height, int iEdge,
                                int guideSel, uint32_t seed) {
  const size_t n = static_cast<size_t>(width) * height;
  GuardedBuffer src(n), guide(n), dst(n);
  FillTestPlane(src.data(), n, seed);
  // The guide stays close to the source so that its centre matters.
  for (size_t i = 0; i < n; ++i) {
    guide.data()[i] = static_cast<uint8_t>(src.data()[i] + (i % 5) - 2);
  }
  FillRandom(dst.data(), n, seed + 1);
  std::vector<uint8_t> want(dst.data(), dst.data() + n);
  uint8_t* g = guideSel ? nullptr : guide.data();
  FuzzyFilter_C(g, src.data(), want.data(), width, height, iEdge, guideSel);
  FuzzyFilter(g, src.data(), nullptr, nullptr, dst.data(), width, height,
              iEdge, guideSel, 0);
  ASSERT_EQ(0, memcmp(want.data(), dst.data(), n))
      << width << "x" << height << " edge " << iEdge << " guideSel "
      << guideSel << " seed " << seed;
}

TEST(FuzzyFilterTest, VectorMatchesScalar) {
  uint32_t seed = 500;
  for (int width : Widths()) {
    for (int height : {1, 2, 3, 6}) {
      ExpectLumaMatchesReference(width, height, seed % 4, seed & 1, seed);
      ++seed;
    }
  }
  std::vector<uint8_t> dims = RandomBytes(80, 78);
  for (size_t i = 0; i < dims.size(); i += 2) {
    const int width = 1 + dims[i] % 250;
    const int height = 1 + dims[i + 1] % 9;
    ExpectLumaMatchesReference(width, height, seed % 4, seed & 1, seed);
    ++seed;
  }
}

// ---- small tables ----------------------------------------------------------

TEST(FuzzyTablesTest, DivisionByNineAndExportedHeights) {
  GuardedBuffer table(2296);
  InitBoxFilterSum(table.data());
  for (int i = 0; i < 2296; ++i) ASSERT_EQ(i / 9, table.data()[i]) << i;
  EXPECT_EQ(255, table.data()[2295]);
  EXPECT_EQ(1, g_FuzzyHeight);
  EXPECT_EQ(1, g_FuzzyHeight_2);
}

}  // namespace
