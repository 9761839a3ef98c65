// Temporal filters: blend weights and rounding with concrete numbers, the
// mask split at 128, the 16-pixel row stepping, chroma handling, the
// history-driven multi-frame blend, the strength table, and the NEON twins
// against the scalar references.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/vd_cpu.h"
#include "temporal/temporal_filter.h"
#include "temporal/temporal_filter_internal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A 4:2:0 image record over its own buffer.
struct Image {
  Bytes data;
  sYuvImage_t rec{};
  Image(int w, int h, uint8_t fill) : data(static_cast<size_t>(w) * h * 3 / 2, fill) {
    rec.iWidth = w;
    rec.iHeight = h;
    rec.iStride = w;
    rec.eYuvType = YUV_420;
    rec.pBuffer = data.data();
    rec.pY = data.data();
    rec.pU = data.data() + static_cast<size_t>(w) * h;
    rec.pV = rec.pU + static_cast<size_t>(w) * h / 4;
  }
  size_t LumaSize() const { return static_cast<size_t>(rec.iWidth) * rec.iHeight; }
  Bytes Y() const { return Bytes(rec.pY, rec.pY + LumaSize()); }
  Bytes U() const { return Bytes(rec.pU, rec.pU + LumaSize() / 4); }
  Bytes V() const { return Bytes(rec.pV, rec.pV + LumaSize() / 4); }
};

// Saves the strength table and puts it back, so tests may rewrite it.
class TableGuard {
 public:
  TableGuard() { std::memcpy(saved_, g_dLumaFilterStrength, sizeof(saved_)); }
  ~TableGuard() { std::memcpy(g_dLumaFilterStrength, saved_, sizeof(saved_)); }

 private:
  double saved_[8][9];
};

uint8_t FilterS(uint8_t src, uint8_t ref, uint8_t mask) {
  uint8_t out = 0;
  TemporalFilterS(&src, &ref, &mask, &out, 1, 1);  // width 1: no block
  Bytes s(16, src), r(16, ref), m(16, mask), o(16, 0);
  TemporalFilterS(s.data(), r.data(), m.data(), o.data(), 16, 1);
  EXPECT_EQ(out, 0) << "width 1 must not be visited";
  return o[7];
}

// ---------------------------------------------------------------------------
// TemporalFilterS.

TEST(TemporalFilterS, StillBlendRoundsAndMovingCopies) {
  EXPECT_EQ(FilterS(255, 0, 0), 179);    // (255 * 90 + 64) >> 7
  EXPECT_EQ(FilterS(0, 255, 0), 76);     // (255 * 38 + 64) >> 7 = 9754 >> 7
  EXPECT_EQ(FilterS(1, 0, 0), 1);        // (90 + 64) >> 7
  EXPECT_EQ(FilterS(0, 1, 0), 0);        // (38 + 64) >> 7
  EXPECT_EQ(FilterS(0, 2, 0), 1);        // (76 + 64) >> 7
  EXPECT_EQ(FilterS(0, 32, 0), 10);      // 1216 + 64 = 1280: exactly halfway up
  EXPECT_EQ(FilterS(255, 255, 0), 255);  // no overflow at the top
  EXPECT_EQ(FilterS(200, 0, 127), 141);  // 127 is still: 18064 >> 7
  EXPECT_EQ(FilterS(200, 0, 128), 200);  // 128 is moving
  EXPECT_EQ(FilterS(200, 0, 255), 200);
}

TEST(TemporalFilterS, MovingMaskCopiesSourceExactly) {
  const int w = 64, h = 4;
  Bytes src = vdtest::RandomBytes(w * h, 1), ref = vdtest::RandomBytes(w * h, 2);
  Bytes mask(w * h, 255), out(w * h, 0);
  TemporalFilterS(src.data(), ref.data(), mask.data(), out.data(), w, h);
  EXPECT_EQ(out, src);
}

TEST(TemporalFilterS, Width20WalksRowsAtA16BytePitch) {
  const int w = 20, h = 3;
  Bytes src = vdtest::RandomBytes(w * h, 3), ref = vdtest::RandomBytes(w * h, 4);
  Bytes mask = vdtest::RandomBytes(w * h, 5), out(w * h, 0xee);
  TemporalFilterS(src.data(), ref.data(), mask.data(), out.data(), w, h);
  // The first 48 bytes are three packed 16-pixel rows; the rest is untouched.
  for (int i = 0; i < w * h; ++i) {
    if (i >= 48) {
      EXPECT_EQ(out[i], 0xee) << i;
      continue;
    }
    const int wt = mask[i] < 128 ? 38 : 0;
    EXPECT_EQ(out[i], (src[i] * (128 - wt) + ref[i] * wt + 64) >> 7) << i;
  }
}

// ---------------------------------------------------------------------------
// TemporalFilter.

TEST(TemporalFilter, HalfBlendTruncatesAndMovingCopies) {
  const int w = 16, h = 2;
  Image src(w, h, 1), ref(w, h, 2), mask(w, h, 0), out(w, h, 0);
  mask.rec.pY[3] = 128;
  mask.rec.pY[4] = 127;
  src.rec.pY[5] = 255;
  ref.rec.pY[5] = 254;
  src.rec.pY[3] = 9;
  EXPECT_EQ(TemporalFilter(&src.rec, &ref.rec, &mask.rec, &out.rec, w, h, 1, 0), 1);
  for (int i = 0; i < w * h; ++i) {
    const uint8_t expect = i == 3 ? 9 : i == 5 ? 254 : 1;  // (1 + 2) / 2 = 1
    EXPECT_EQ(out.rec.pY[i], expect) << i;
  }
}

TEST(TemporalFilter, Width20WritesFirst16ColumnsAtPackedPitch) {
  const int w = 20, h = 4;
  Image src(w, h, 0), ref(w, h, 0), mask(w, h, 0), out(w, h, 0xee);
  vdtest::FillRandom(src.data.data(), src.data.size(), 6);
  vdtest::FillRandom(ref.data.data(), ref.data.size(), 7);
  vdtest::FillRandom(mask.data.data(), mask.data.size(), 8);
  TemporalFilter(&src.rec, &ref.rec, &mask.rec, &out.rec, w, h, 1, 0);
  for (int i = 0; i < w * h; ++i) {
    if (i >= 64) {
      EXPECT_EQ(out.rec.pY[i], 0xee) << i;
      continue;
    }
    const int wt = mask.rec.pY[i] < 128 ? 64 : 0;
    EXPECT_EQ(out.rec.pY[i], (ref.rec.pY[i] * wt + src.rec.pY[i] * (128 - wt)) >> 7) << i;
  }
}

TEST(TemporalFilter, ChromaCopiedOnlyWithFlagZeroAtQuarterOffset) {
  const int w = 32, h = 16;
  Image src(w, h, 0), ref(w, h, 9), mask(w, h, 255), out(w, h, 0xee);
  vdtest::FillRandom(src.data.data(), src.data.size(), 9);
  const int offset = 8 * w;  // lower half
  EXPECT_EQ(TemporalFilter(&src.rec, &ref.rec, &mask.rec, &out.rec, w, 8, 0, offset), 1);
  // Luma: moving everywhere, so the stripe is the source.
  EXPECT_EQ(Bytes(out.rec.pY + offset, out.rec.pY + w * h),
            Bytes(src.rec.pY + offset, src.rec.pY + w * h));
  EXPECT_EQ(Bytes(out.rec.pY, out.rec.pY + offset), Bytes(offset, 0xee));
  // Chroma: (32 * 8) >> 2 = 64 bytes from offset >> 2 = 64, each plane.
  const Bytes u = out.U(), v = out.V(), su = src.U(), sv = src.V();
  for (int i = 0; i < w * h / 4; ++i) {
    const bool copied = i >= 64;
    EXPECT_EQ(u[i], copied ? su[i] : 0xee) << i;
    EXPECT_EQ(v[i], copied ? sv[i] : 0xee) << i;
  }

  Image keep(w, h, 0xee);
  TemporalFilter(&src.rec, &ref.rec, &mask.rec, &keep.rec, w, h, 1, 0);
  EXPECT_EQ(keep.U(), Bytes(w * h / 4, 0xee));
  EXPECT_EQ(keep.V(), Bytes(w * h / 4, 0xee));
}

// ---------------------------------------------------------------------------
// TemporalFilterMultiFrame.

struct MultiFrameCase {
  Image src, out, history, prev, unused;
  sYuvImage_t* prevs[2];
  MultiFrameCase(int w, int h)
      : src(w, h, 100), out(w, h, 0xee), history(w, h, 0), prev(w, h, 200),
        unused(w, h, 0), prevs{&prev.rec, nullptr} {}
  int Run(int w, int h, int offset) {
    return TemporalFilterMultiFrame(&unused.rec, &src.rec, &out.rec, &history.rec, prevs, w, h,
                                    offset);
  }
};

TEST(TemporalFilterMultiFrame, StoredTableFigures) {
  const int w = 8, h = 2;
  MultiFrameCase c(w, h);
  const uint8_t hist[] = {1, 2, 0, 3, 0xff, 0xfe, 0x80, 5};
  for (int i = 0; i < w * h; ++i) c.history.rec.pY[i] = hist[i % 8];
  EXPECT_EQ(c.Run(w, h, 0), 1);
  // 1: 100 * 0.33 + 200 * 0.67 = 167.  2: 100 * 0.33 -> 33.  0: source.
  // 3 and 0xff (bit 0 set): 100 * 0.33 + 200 * 0.2211 = 77.22 -> 77.
  // 0xfe: 100 * 0.33 alone.  5: two bits, 77.
  const uint8_t expect[] = {167, 33, 100, 77, 77, 33, 33, 77};
  for (int i = 0; i < w * h; ++i) EXPECT_EQ(c.out.rec.pY[i], expect[i % 8]) << i;
}

TEST(TemporalFilterMultiFrame, RoundsHalfUpAndClamps) {
  TableGuard guard;
  const int w = 4, h = 1;
  MultiFrameCase c(w, h);
  const uint8_t hist[] = {1, 6, 1, 1};
  const uint8_t src[] = {100, 100, 10, 3};
  for (int i = 0; i < w; ++i) {
    c.history.rec.pY[i] = hist[i];
    c.src.rec.pY[i] = src[i];
  }
  g_dLumaFilterStrength[0][0] = 3.0;    // 300 + 200 * 0.5 -> 255; 30 + 100 = 130
  g_dLumaFilterStrength[0][1] = 0.5;
  g_dLumaFilterStrength[1][0] = -1.0;   // history 6 (two bits): -100 -> 0
  c.Run(w, h, 0);
  EXPECT_EQ(c.out.rec.pY[0], 255);
  EXPECT_EQ(c.out.rec.pY[1], 0);
  EXPECT_EQ(c.out.rec.pY[2], 130);
  // 3 * 3 + 200 * (-0.0475) is -0.5 give or take an ulp: + 0.5 truncates to 0.
  g_dLumaFilterStrength[0][1] = -0.0475;
  c.Run(w, h, 0);
  EXPECT_EQ(c.out.rec.pY[3], 0);
  g_dLumaFilterStrength[0][0] = 0.5;  // 3 * 0.5 + 0 = 1.5 -> 2
  g_dLumaFilterStrength[0][1] = 0.0;
  c.Run(w, h, 0);
  EXPECT_EQ(c.out.rec.pY[3], 2);
}

TEST(TemporalFilterMultiFrame, PreviousFrameReadWithoutOffsetAndChromaAlwaysCopied) {
  const int w = 4, h = 4;
  MultiFrameCase c(w, h);
  // Previous frame: rows 0-1 hold 200, rows 2-3 hold 0.
  std::memset(c.prev.rec.pY + 2 * w, 0, 2 * w);
  std::memset(c.history.rec.pY, 1, w * h);
  vdtest::FillRandom(c.src.rec.pU, w * h / 2, 11);  // U and V
  const int offset = 2 * w;
  c.Run(w, 2, offset);
  // Rows 2-3 blend with rows 0-1 of the previous frame: 167, not 33.
  EXPECT_EQ(Bytes(c.out.rec.pY + offset, c.out.rec.pY + w * h), Bytes(2 * w, 167));
  EXPECT_EQ(Bytes(c.out.rec.pY, c.out.rec.pY + offset), Bytes(offset, 0xee));
  // (4 * 2) >> 2 = 2 chroma bytes from offset >> 2 = 2.
  EXPECT_EQ(c.out.U(), (Bytes{0xee, 0xee, c.src.U()[2], c.src.U()[3]}));
  EXPECT_EQ(c.out.V(), (Bytes{0xee, 0xee, c.src.V()[2], c.src.V()[3]}));

  // No luma rows (negative height) but chroma still copied: with a negative
  // width too, (-4 * -4) >> 2 = 4 bytes, the whole of each plane here.
  MultiFrameCase e(w, h);
  vdtest::FillRandom(e.src.rec.pU, w * h / 2, 12);
  e.Run(-4, -4, 0);
  EXPECT_EQ(e.out.Y(), Bytes(w * h, 0xee));
  EXPECT_EQ(e.out.U(), e.src.U());
  EXPECT_EQ(e.out.V(), e.src.V());
}

// ---------------------------------------------------------------------------
// Strength table.

TEST(FilterStrength, StoredTableHoldsTheRoundedConstants) {
  EXPECT_EQ(g_dLumaFilterStrength[0][0], 0.33);
  EXPECT_EQ(g_dLumaFilterStrength[0][1], 0.67);
  EXPECT_EQ(g_dLumaFilterStrength[3][4], 0.20151121);
  EXPECT_EQ(g_dLumaFilterStrength[6][7], 0.060607116);
  EXPECT_EQ(g_dLumaFilterStrength[7][7], 0.020000348);
  EXPECT_EQ(g_dLumaFilterStrength[7][8], 0.040606768);
  EXPECT_EQ(g_dLumaFilterStrength[2][4], 0.0);
  // They are the rule for a = 0.33 to the digits shown.
  double rule[8][9];
  InitFilterStrength(rule, 0.33);
  for (int r = 0; r < 8; ++r) {
    double sum = 0;
    for (int j = 0; j < 9; ++j) {
      EXPECT_NEAR(g_dLumaFilterStrength[r][j], rule[r][j], 1e-8) << r << "," << j;
      if (j > r + 1) {
        EXPECT_EQ(g_dLumaFilterStrength[r][j], 0.0);
      }
      sum += g_dLumaFilterStrength[r][j];
    }
    EXPECT_NEAR(sum, 1.0, 1e-8) << r;
  }
}

TEST(FilterStrength, InitVideoNRRebuildsWithBaseWeight06) {
  TableGuard guard;
  InitVideoNR();
  const double(*t)[9] = g_dLumaFilterStrength;
  EXPECT_DOUBLE_EQ(t[0][0], 0.6);
  EXPECT_DOUBLE_EQ(t[0][1], 0.4);
  EXPECT_DOUBLE_EQ(t[1][0], 0.6);
  EXPECT_DOUBLE_EQ(t[1][1], 0.24);
  EXPECT_DOUBLE_EQ(t[1][2], 0.16);
  EXPECT_NEAR(t[7][7], 0.6 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4, 1e-12);
  EXPECT_NEAR(t[7][8], 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4, 1e-12);
  for (int r = 0; r < 8; ++r) {
    double sum = 0;
    for (int j = 0; j < 9; ++j) {
      if (j < r) {  // kept from the row above
        EXPECT_EQ(t[r][j], t[r - 1][j]) << r << "," << j;
      }
      if (j > r + 1) {
        EXPECT_EQ(t[r][j], 0.0) << r << "," << j;
      }
      sum += t[r][j];
    }
    EXPECT_NEAR(sum, 1.0, 1e-12) << r;
  }
  // The multi-frame blend reads the table as it now stands: 100 * 0.6 + 200 * 0.4.
  MultiFrameCase c(16, 1);
  std::memset(c.history.rec.pY, 1, 16);
  c.Run(16, 1, 0);
  EXPECT_EQ(c.out.rec.pY[0], 140);
}

TEST(FilterStrength, InitFilterStrengthClearsStaleColumns) {
  double t[8][9];
  for (auto& row : t) {
    for (double& v : row) v = 7.0;
  }
  InitFilterStrength(t, 0.5);
  EXPECT_EQ(t[0][0], 0.5);
  EXPECT_EQ(t[0][1], 0.5);
  EXPECT_EQ(t[2][2], 0.125);
  EXPECT_EQ(t[2][3], 0.125);
  for (int r = 0; r < 8; ++r) {
    for (int j = r + 2; j < 9; ++j) EXPECT_EQ(t[r][j], 0.0) << r << "," << j;
  }
}

// ---------------------------------------------------------------------------
// Vector twins over random sizes.

struct Size {
  int w, h;
};

std::vector<Size> RandomSizes() {
  std::vector<Size> sizes = {{1, 1}, {15, 3}, {16, 1}, {17, 2}, {20, 3}, {31, 4},
                             {32, 2}, {33, 5}, {48, 3}, {1920, 2}};
  uint32_t x = 777;
  for (int i = 0; i < 60; ++i) {
    x = x * 1664525u + 1013904223u;
    sizes.push_back({1 + static_cast<int>((x >> 8) % 150), 1 + static_cast<int>((x >> 20) % 9)});
  }
  return sizes;
}

// Planes of exactly w * h bytes flush against a guard page, masks biased to
// straddle 128.
struct Planes {
  size_t n;
  vdtest::GuardedBuffer src, ref, mask, out;
  Planes(int w, int h, uint32_t seed)
      : n(static_cast<size_t>(w) * h), src(n), ref(n), mask(n), out(n) {
    vdtest::FillRandom(src.data(), n, seed);
    vdtest::FillRandom(ref.data(), n, seed + 1);
    vdtest::FillRandom(mask.data(), n, seed + 2);
    uint8_t* m = mask.data();
    for (size_t i = 0; i < n; i += 3) m[i] = static_cast<uint8_t>(126 + m[i] % 4);
    vdtest::FillRandom(out.data(), n, seed + 3);
  }
};

TEST(TemporalVectorKernels, FollowFormulaAtPackedPitch) {
  uint32_t seed = 40;
  for (const Size& s : RandomSizes()) {
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
    for (int variant = 0; variant < 2; ++variant) {
      Planes p(s.w, s.h, seed += 4);
      const Bytes before(p.out.data(), p.out.data() + p.n);
      const int still = variant == 0 ? 38 : 64;
      const int round = variant == 0 ? 64 : 0;
      if (variant == 0) {
        TemporalFilterS(p.src.data(), p.ref.data(), p.mask.data(), p.out.data(), s.w, s.h);
      } else {
        sYuvImage_t src{}, ref{}, mask{}, out{};
        src.pY = p.src.data();
        ref.pY = p.ref.data();
        mask.pY = p.mask.data();
        out.pY = p.out.data();
        TemporalFilter(&src, &ref, &mask, &out, s.w, s.h, 1, 0);
      }
      const size_t visited = static_cast<size_t>(s.h) * (s.w / 16 * 16);
      for (size_t i = 0; i < p.n; ++i) {
        const int wt = p.mask.data()[i] < 128 ? still : 0;
        const int expect = i < visited
                               ? (p.src.data()[i] * (128 - wt) + p.ref.data()[i] * wt + round) >> 7
                               : before[i];
        ASSERT_EQ(p.out.data()[i], expect) << "variant " << variant << " at " << i;
      }
    }
  }
}

#if defined(__ARM_NEON)
TEST(TemporalVectorKernels, NeonEqualsScalarReference) {
  uint32_t seed = 900;
  for (const Size& s : RandomSizes()) {
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
    const size_t n = static_cast<size_t>(s.w) * s.h;
    Bytes src = vdtest::RandomBytes(n + 1, seed++), ref = vdtest::RandomBytes(n + 2, seed++);
    Bytes mask = vdtest::RandomBytes(n, seed++);
    for (size_t i = 0; i < n; i += 2) mask[i] = static_cast<uint8_t>(127 + (mask[i] & 1));
    const Bytes init = vdtest::RandomBytes(n, seed++);
    Bytes a = init, b = init;
    // Unaligned planes on purpose.
    TemporalFilterS_C(src.data() + 1, ref.data() + 2, mask.data(), a.data(), s.w, s.h);
    TemporalFilterS_NEON(src.data() + 1, ref.data() + 2, mask.data(), b.data(), s.w, s.h);
    EXPECT_EQ(a, b) << "TemporalFilterS";
    a = b = init;
    TemporalFilterLuma_C(src.data() + 1, ref.data() + 2, mask.data(), a.data(), s.w, s.h);
    TemporalFilterLuma_NEON(src.data() + 1, ref.data() + 2, mask.data(), b.data(), s.w, s.h);
    EXPECT_EQ(a, b) << "TemporalFilter luma";
  }
  // Extremes: every source/reference pair, still and moving.
  Bytes src(65536 * 2), ref(65536 * 2), mask(65536 * 2), a(65536 * 2), b(65536 * 2);
  for (int i = 0; i < 65536 * 2; ++i) {
    src[i] = static_cast<uint8_t>(i);
    ref[i] = static_cast<uint8_t>(i >> 8);
    mask[i] = i < 65536 ? 0 : 200;
  }
  TemporalFilterS_C(src.data(), ref.data(), mask.data(), a.data(), 256, 512);
  TemporalFilterS_NEON(src.data(), ref.data(), mask.data(), b.data(), 256, 512);
  EXPECT_EQ(a, b);
  TemporalFilterLuma_C(src.data(), ref.data(), mask.data(), a.data(), 256, 512);
  TemporalFilterLuma_NEON(src.data(), ref.data(), mask.data(), b.data(), 256, 512);
  EXPECT_EQ(a, b);
}
#endif

#if defined(VD_X86_SIMD)
// The x86 twins of TemporalFilterS against the scalar reference, over many
// sizes, unaligned planes and every source/reference pair.
TEST(TemporalVectorKernels, X86TwinsEqualScalarReference) {
  using Fn = void (*)(unsigned char*, unsigned char*, unsigned char*, unsigned char*, int, int);
  std::vector<std::pair<const char*, Fn>> twins = {{"SSE2", TemporalFilterS_SSE2}};
  if (VdCpuSimdLevel() >= kVdSimdAvx2) twins.push_back({"AVX2", TemporalFilterS_AVX2});
  std::vector<Size> sizes = RandomSizes();
  for (int w = 1; w <= 100; ++w) sizes.push_back({w, 1 + w % 5});
  sizes.push_back({1920, 361});
  sizes.push_back({960, 181});
  for (const auto& twin : twins) {
    SCOPED_TRACE(twin.first);
    uint32_t seed = 1900;
    for (const Size& s : sizes) {
      SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
      const size_t n = static_cast<size_t>(s.w) * s.h;
      Bytes src = vdtest::RandomBytes(n + 1, seed++), ref = vdtest::RandomBytes(n + 2, seed++);
      Bytes mask = vdtest::RandomBytes(n, seed++);
      for (size_t i = 0; i < n; i += 2) mask[i] = static_cast<uint8_t>(127 + (mask[i] & 1));
      const Bytes init = vdtest::RandomBytes(n, seed++);
      Bytes a = init, b = init;
      TemporalFilterS_C(src.data() + 1, ref.data() + 2, mask.data(), a.data(), s.w, s.h);
      twin.second(src.data() + 1, ref.data() + 2, mask.data(), b.data(), s.w, s.h);
      ASSERT_EQ(a, b);
    }
    Bytes src(65536 * 2), ref(65536 * 2), mask(65536 * 2), a(65536 * 2), b(65536 * 2);
    for (int i = 0; i < 65536 * 2; ++i) {
      src[i] = static_cast<uint8_t>(i);
      ref[i] = static_cast<uint8_t>(i >> 8);
      mask[i] = i < 65536 ? static_cast<uint8_t>(i % 128) : static_cast<uint8_t>(128 + i % 128);
    }
    TemporalFilterS_C(src.data(), ref.data(), mask.data(), a.data(), 256, 512);
    twin.second(src.data(), ref.data(), mask.data(), b.data(), 256, 512);
    EXPECT_EQ(a, b);
  }
}
#endif

}  // namespace
