// Motion-mask kernels: per-pixel rules with concrete numbers, the row-pair and
// packed-pitch stepping at awkward widths, the image wrappers, the adaptive
// threshold and motion history. The vector twins are compared in
// kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "base/vd_alloc.h"
#include "temporal/motion_mask.h"
#include "base/vd_cpu.h"
#include "temporal/motion_mask_internal.h"
#include "tests/motion_stepping_model.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

uint8_t Abs(uint8_t a, uint8_t b) { return a > b ? a - b : b - a; }

// Runs run(out) on planes prefilled with 0x00 and with 0xff: a byte is
// written when both runs agree on it; value holds the first run's bytes.
struct Written {
  std::vector<bool> map;
  Bytes value;
};
Written WhatIsWritten(size_t size, const std::function<void(uint8_t*)>& run) {
  Bytes zero(size, 0x00), ones(size, 0xff);
  run(zero.data());
  run(ones.data());
  Written w{std::vector<bool>(size), zero};
  for (size_t i = 0; i < size; ++i) w.map[i] = zero[i] == ones[i];
  return w;
}

std::vector<bool> Positions(size_t n, std::initializer_list<std::pair<int, int>> ranges) {
  std::vector<bool> out(n, false);
  for (const auto& r : ranges) {
    for (int i = r.first; i < r.second; ++i) out[static_cast<size_t>(i)] = true;
  }
  return out;
}

// A 4:2:0 image record over its own buffer.
struct Image {
  Bytes data;
  sYuvImage_t rec{};
  Image(int w, int h, uint8_t fill) : data(static_cast<size_t>(w) * h * 3 / 2, fill) {
    rec.iWidth = w;
    rec.iHeight = h;
    rec.iStride = w;
    rec.eYuvType = YUV_420;
    rec.pBuffer = rec.pY = data.data();
    rec.pU = data.data() + static_cast<size_t>(w) * h;
    rec.pV = rec.pU + static_cast<size_t>(w) * h / 4;
  }
  size_t LumaSize() const { return static_cast<size_t>(rec.iWidth) * rec.iHeight; }
  Bytes Y() const { return Bytes(rec.pY, rec.pY + LumaSize()); }
  Bytes U() const { return Bytes(rec.pU, rec.pU + LumaSize() / 4); }
  Bytes V() const { return Bytes(rec.pV, rec.pV + LumaSize() / 4); }
};

// ---------------------------------------------------------------------------
// Per-pixel rules.

TEST(MotionMaskRules, ConcreteValues) {
  {
    SCOPED_TRACE("CalSADImage uses the stride and leaves the padding alone");
    const int w = 5, h = 3, stride = 8;
    Bytes a(stride * h, 3), b(stride * h, 250), out(stride * h, 0x11);
    a[stride + 2] = 250;
    b[2 * stride + 4] = 0;
    EXPECT_EQ(CalSADImage(a.data(), b.data(), out.data(), w, h, stride), 1);
    for (int i = 0; i < stride * h; ++i) {
      const int x = i % stride;
      const uint8_t expect = x >= w ? 0x11 : i == stride + 2 ? 0 : i == 2 * stride + 4 ? 3 : 247;
      EXPECT_EQ(out[i], expect) << i;
    }
  }
  {
    SCOPED_TRACE("CalSAD_threshhold: strictly greater; 255 is never above 255");
    const int w = 32, h = 2;
    Bytes a(w * h, 100), b(w * h), out(w * h, 0x77);
    for (int i = 0; i < w * h; ++i) b[i] = static_cast<uint8_t>(100 + (i % 12) - 6);
    CalSAD_threshhold_neon(a.data(), b.data(), out.data(), w, h, 4);
    for (int i = 0; i < w * h; ++i) EXPECT_EQ(out[i], Abs(a[i], b[i]) > 4 ? 255 : 0) << i;
    Bytes lo(w * h, 0), hi(w * h, 255);
    CalSAD_threshhold_neon(lo.data(), hi.data(), out.data(), w, h, 255);
    EXPECT_EQ(out, Bytes(w * h, 0));
    CalSAD_threshhold_neon(lo.data(), hi.data(), out.data(), w, h, 254);
    EXPECT_EQ(out, Bytes(w * h, 255));
  }
  {
    SCOPED_TRACE("CalDiffAbs clamps at 16 and marks second >= first");
    const uint8_t av[] = {10, 40, 7, 20, 0, 255, 255, 0, 100, 100, 16, 33, 1, 2, 200, 17};
    const uint8_t bv[] = {40, 10, 7, 27, 16, 239, 238, 17, 116, 84, 0, 17, 255, 1, 184, 17};
    const Bytes expectDiff = {16, 16, 0, 7, 16, 16, 16, 16, 16, 16, 16, 16, 16, 1, 16, 0};
    const Bytes expectSign = {1, 0, 1, 1, 1, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 1};
    Bytes a(32), b(32), diff(32, 0xaa), sign(32, 0xaa);  // two rows: one pair
    for (int i = 0; i < 32; ++i) a[i] = av[i % 16], b[i] = bv[i % 16];
    CalDiffAbs_neon(a.data(), b.data(), diff.data(), sign.data(), 16, 2, 0);
    EXPECT_EQ(Bytes(diff.begin() + 16, diff.end()), expectDiff);
    EXPECT_EQ(Bytes(sign.begin(), sign.begin() + 16), expectSign);
  }
  {
    SCOPED_TRACE("ThresholdImage2 writes the value above the threshold");
    const int w = 7, h = 3;
    Bytes in(w * h), out(w * h, 0x99);
    for (int i = 0; i < w * h; ++i) in[i] = static_cast<uint8_t>(i * 12);
    EXPECT_EQ(ThresholdImage2(nullptr, in.data(), out.data(), w, h, 120, 77), 3);
    for (int i = 0; i < w * h; ++i) EXPECT_EQ(out[i], in[i] > 120 ? 77 : 0) << i;
    EXPECT_EQ(ThresholdImage2(nullptr, in.data(), out.data(), w, -2, 0, 1), -2);
  }
  {
    SCOPED_TRACE("Threshold: two levels, complement below, byte value, int compare");
    Bytes in = {0, 9, 10, 11, 200, 255, 10, 1}, out(8, 0x5a);
    EXPECT_EQ(Threshold(in.data(), out.data(), 4, 2, 10, 255), 1);
    EXPECT_EQ(out, (Bytes{0, 0, 255, 255, 255, 255, 255, 0}));
    EXPECT_EQ(Threshold(in.data(), out.data(), 4, 2, 10, 0), 1);
    EXPECT_EQ(out, (Bytes{255, 255, 0, 0, 0, 0, 0, 255}));
    EXPECT_EQ(Threshold(in.data(), out.data(), 4, 2, -5, 0x1c3), 1);
    EXPECT_EQ(out, Bytes(8, 0xc3));
    EXPECT_EQ(Threshold(in.data(), out.data(), 4, 2, 256, 0xc3), 1);
    EXPECT_EQ(out, Bytes(8, 0x3c));
    Bytes keep(8, 0x5a);
    EXPECT_EQ(Threshold(nullptr, keep.data(), 4, 2, 0, 1), 0);
    EXPECT_EQ(Threshold(in.data(), nullptr, 4, 2, 0, 1), 0);
    EXPECT_EQ(Threshold(in.data(), keep.data(), 4, 0, 0, 1), 1);
    EXPECT_EQ(Threshold(in.data(), keep.data(), 4, -3, 0, 1), 1);
    EXPECT_EQ(keep, Bytes(8, 0x5a));
  }
}

// ---------------------------------------------------------------------------
// Stepping: the block kernels walk row pairs (span = whole blocks of a row;
// the next pair starts span + width bytes on) or packed 16-byte rows.

TEST(MotionMaskStepping, ConcreteFiguresAtAwkwardWidths) {
  Bytes a = vdtest::RandomBytes(400, 3), b = vdtest::RandomBytes(400, 4);
  for (size_t i = 0; i < a.size(); i += 2) b[i] = static_cast<uint8_t>(a[i] + b[i] % 21 - 10);
  struct Case {
    const char* name;
    int w, h;
    std::vector<bool> map;
    std::function<void(uint8_t*, int, int)> run;
    std::function<uint8_t(size_t)> rule;
  };
  auto sad = [&](size_t i) { return Abs(a[i], b[i]); };
  auto thr = [&](size_t i) -> uint8_t { return Abs(a[i], b[i]) > 10 ? 255 : 0; };
  // Width 40: pair 0 at [0,32) and [40,72), pair 1 at 72; odd row 4 never.
  const std::vector<bool> w40 = Positions(200, {{0, 32}, {40, 72}, {72, 104}, {112, 144}});
  // Width 20: pair 0 at [0,16) and [20,36), pair 1 at 36.
  const std::vector<bool> w20 = Positions(100, {{0, 16}, {20, 36}, {36, 52}, {56, 72}});
  Bytes spare(400);
  uint8_t* scratch = spare.data();
  const Case cases[] = {
      {"CalSADImage_neon", 40, 5, w40,
       [&](uint8_t* o, int w, int h) { CalSADImage_neon(a.data(), b.data(), o, w, h); }, sad},
      {"CalSAD_threshhold_neon", 40, 5, w40,
       [&](uint8_t* o, int w, int h) { CalSAD_threshhold_neon(a.data(), b.data(), o, w, h, 10); },
       thr},
      {"CalSAD_threshhold_neon narrow", 31, 4, std::vector<bool>(124, false),
       [&](uint8_t* o, int w, int h) { CalSAD_threshhold_neon(a.data(), b.data(), o, w, h, 3); },
       thr},
      {"CalSAD_threshhold_neon one row", 64, 1, std::vector<bool>(64, false),
       [&](uint8_t* o, int w, int h) { CalSAD_threshhold_neon(a.data(), b.data(), o, w, h, 3); },
       thr},
      {"CalDiffAbs_neon diff", 20, 5, w20,
       [&](uint8_t* o, int w, int h) { CalDiffAbs_neon(a.data(), b.data(), o, scratch, w, h, -1); },
       [&](size_t i) { return std::min<uint8_t>(Abs(a[i], b[i]), 16); }},
      {"CalDiffAbs_neon sign", 20, 5, w20,
       [&](uint8_t* o, int w, int h) { CalDiffAbs_neon(a.data(), b.data(), scratch, o, w, h, 99); },
       [&](size_t i) { return b[i] >= a[i] ? 1 : 0; }},
      // Three rows of 16 at a 16-byte pitch, 255 whatever the value.
      {"ThresholdImage2_neon", 20, 3, Positions(60, {{0, 48}}),
       [&](uint8_t* o, int w, int h) { ThresholdImage2_neon(nullptr, a.data(), o, w, h, 128, 7); },
       [&](size_t i) { return a[i] > 128 ? 255 : 0; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Written got = WhatIsWritten(c.map.size(), [&](uint8_t* o) { c.run(o, c.w, c.h); });
    EXPECT_EQ(got.map, c.map);
    for (size_t i = 0; i < c.map.size(); ++i) {
      if (c.map[i]) {
        EXPECT_EQ(got.value[i], c.rule(i)) << i;
      }
    }
  }
}

// The exported row-pair kernels at every width 1 .. 140 and height 1 .. 12
// and every level this machine runs, each buffer exactly the width x height
// plane against a guard page: run(a, b, out, out2, w, h) must write the
// bytes vdtest::MotionPairSteppingModel gives for the block with rule(i)
// (and rule2(i) into out2), leave every other byte and the inputs alone.
using PairKernel = std::function<void(uint8_t*, uint8_t*, uint8_t*, uint8_t*, int, int)>;
void ExpectDocumentedPairStepping(int block, const PairKernel& run,
                                  const std::function<uint8_t(uint8_t, uint8_t)>& rule,
                                  const std::function<uint8_t(uint8_t, uint8_t)>& rule2) {
  const uint8_t kSentinel = 0x5c;
  std::vector<int> levels = vdtest::VectorLevels();
  levels.insert(levels.begin(), kVdSimdScalar);
  uint32_t seed = 1;
  for (int w = 1; w <= 140; ++w) {
    for (int h = 1; h <= 12; ++h, ++seed) {
      const size_t n = static_cast<size_t>(w) * h;
      const Bytes a = vdtest::RandomBytes(n, seed);
      Bytes b = vdtest::RandomBytes(n, seed + 7777);
      for (size_t i = 0; i < n; i += 2) b[i] = static_cast<uint8_t>(a[i] + b[i] % 41 - 20);
      Bytes want(n, kSentinel), want2(n, kSentinel);
      vdtest::MotionPairSteppingModel(w, h, block, [&](size_t i) {
        want[i] = rule(a[i], b[i]);
        want2[i] = rule2(a[i], b[i]);
      });
      vdtest::GuardedBuffer ga(n), gb(n), out(n), out2(n);
      for (int level : levels) {
        vdtest::SimdLevelScope scope(level);
        std::memcpy(ga.data(), a.data(), n);
        std::memcpy(gb.data(), b.data(), n);
        std::memset(out.data(), kSentinel, n);
        std::memset(out2.data(), kSentinel, n);
        run(ga.data(), gb.data(), out.data(), out2.data(), w, h);
        ASSERT_EQ(Bytes(out.data(), out.data() + n), want)
            << vdtest::LevelName(level) << " " << w << " x " << h;
        ASSERT_EQ(Bytes(out2.data(), out2.data() + n), want2)
            << vdtest::LevelName(level) << " " << w << " x " << h;
        ASSERT_EQ(Bytes(ga.data(), ga.data() + n), a) << "first modified";
        ASSERT_EQ(Bytes(gb.data(), gb.data() + n), b) << "second modified";
      }
    }
  }
}

const auto kUntouched = [](uint8_t, uint8_t) -> uint8_t { return 0x5c; };

TEST(MotionMaskStepping, CalSADImageNeonWalksAsDocumented) {
  ExpectDocumentedPairStepping(
      16, [](uint8_t* a, uint8_t* b, uint8_t* o, uint8_t*, int w, int h) {
        CalSADImage_neon(a, b, o, w, h);
      },
      Abs, kUntouched);
}

TEST(MotionMaskStepping, CalSADThreshholdNeonWalksAsDocumented) {
  for (uint8_t t : {0, 4, 13, 254, 255}) {
    SCOPED_TRACE(testing::Message() << "threshold " << int{t});
    ExpectDocumentedPairStepping(
        32, [t](uint8_t* a, uint8_t* b, uint8_t* o, uint8_t*, int w, int h) {
          CalSAD_threshhold_neon(a, b, o, w, h, t);
        },
        [t](uint8_t a, uint8_t b) -> uint8_t { return Abs(a, b) > t ? 255 : 0; }, kUntouched);
  }
}

TEST(MotionMaskStepping, CalDiffAbsNeonWalksAsDocumented) {
  ExpectDocumentedPairStepping(
      16, [](uint8_t* a, uint8_t* b, uint8_t* d, uint8_t* s, int w, int h) {
        CalDiffAbs_neon(a, b, d, s, w, h, 0);
      },
      [](uint8_t a, uint8_t b) { return std::min<uint8_t>(Abs(a, b), 16); },
      [](uint8_t a, uint8_t b) -> uint8_t { return b >= a ? 1 : 0; });
}

TEST(MotionMaskStepping, ThresholdImage2NeonWalksAsDocumented) {
  const uint8_t kSentinel = 0x5c;
  std::vector<int> levels = vdtest::VectorLevels();
  levels.insert(levels.begin(), kVdSimdScalar);
  uint32_t seed = 1;
  for (int w = 1; w <= 140; ++w) {
    for (int h = 1; h <= 12; ++h, ++seed) {
      const size_t n = static_cast<size_t>(w) * h;
      const Bytes in = vdtest::RandomBytes(n, seed);
      const uint8_t t = in[0];
      Bytes want(n, kSentinel);
      vdtest::MotionPackedSteppingModel(w, h, [&](size_t i) { want[i] = in[i] > t ? 255 : 0; });
      vdtest::GuardedBuffer gin(n), out(n);
      for (int level : levels) {
        vdtest::SimdLevelScope scope(level);
        std::memcpy(gin.data(), in.data(), n);
        std::memset(out.data(), kSentinel, n);
        ThresholdImage2_neon(nullptr, gin.data(), out.data(), w, h, t, 7);
        ASSERT_EQ(Bytes(out.data(), out.data() + n), want)
            << vdtest::LevelName(level) << " " << w << " x " << h;
        ASSERT_EQ(Bytes(gin.data(), gin.data() + n), in) << "input modified";
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Image wrappers: the luma stripe at the offset, chroma at (w/2) x (h/2) from
// offset >> 2, and the chroma flag.

TEST(MotionMaskWrappers, StripeOffsetsAndChromaFlag) {
  const int w = 64, h = 16;
  Image a(w, h, 0), b(w, h, 0);
  vdtest::FillRandom(a.data.data(), a.data.size(), 5);
  vdtest::FillRandom(b.data.data(), b.data.size(), 6);
  // Luma rows 4 .. 11 (offset 4w, 8 rows) and, with chroma, chroma rows
  // 2 .. 5 of each 32-wide plane hold rule(a, b); every other byte is fill.
  auto expectStripe = [&](const Image& out, uint8_t fill, bool chroma,
                          const std::function<uint8_t(uint8_t, uint8_t)>& rule) {
    const uint8_t* planes[3][3] = {{a.rec.pY, b.rec.pY, out.rec.pY},
                                   {a.rec.pU, b.rec.pU, out.rec.pU},
                                   {a.rec.pV, b.rec.pV, out.rec.pV}};
    for (int p = 0; p < 3; ++p) {
      const int n = p ? w * h / 4 : w * h, first = p ? w : 4 * w, end = p ? 3 * w : 12 * w;
      for (int i = 0; i < n; ++i) {
        const bool in = i >= first && i < end && (p == 0 || chroma);
        ASSERT_EQ(planes[p][2][i], in ? rule(planes[p][0][i], planes[p][1][i]) : fill)
            << "plane " << p << " byte " << i;
      }
    }
  };
  for (bool chroma : {true, false}) {
    SCOPED_TRACE(chroma ? "with chroma" : "luma only");
    Image sad(w, h, 0xee), thr(w, h, 0x10);
    CalYuvImageSAD(&a.rec, &b.rec, &sad.rec, w, 8, chroma, 4 * w, 12345);
    expectStripe(sad, 0xee, chroma, Abs);
    // ThresholdImage reads its second image (a here), not the first.
    ThresholdImage(&b.rec, &a.rec, &thr.rec, w, 8, 100, 1, chroma, 4 * w);
    expectStripe(thr, 0x10, chroma, [](uint8_t x, uint8_t) { return x > 100 ? 255 : 0; });
  }
  // CalSAD_threshholdProc: chroma only, with threshold 4 whatever it is given.
  Image c(w, h, 50), d(w, h, 50), out(w, h, 0x42), untouched(w, h, 0x42);
  std::memset(d.rec.pY, 0, out.LumaSize());
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    d.rec.pU[i] = (i % 2) ? 55 : 54;  // differences 5 and 4
    d.rec.pV[i] = (i % 2) ? 45 : 46;
  }
  CalSAD_threshholdProc(&c.rec, &d.rec, &out.rec, w, 8, 1, 200, 8 * w);
  EXPECT_EQ(out.Y(), Bytes(w * h, 0x42));
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    const uint8_t expect = i < 128 ? 0x42 : (i % 2) ? 255 : 0;
    EXPECT_EQ(out.rec.pU[i], expect) << i;
    EXPECT_EQ(out.rec.pV[i], expect) << i;
  }
  CalSAD_threshholdProc(&c.rec, &d.rec, &untouched.rec, w, h, 0, 0, 0);
  EXPECT_EQ(untouched.data, Bytes(untouched.data.size(), 0x42));
}

// ---------------------------------------------------------------------------
// Adaptive threshold.

// Brute-force model: box sums over rows y1+1..y2 and columns x1+1..x2.
Bytes AdaptiveModel(const Bytes& in, int w, int h, int level) {
  Bytes out(in.size());
  const int s = (w >> 3) / 2;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int x1 = std::max(x - s, 0), x2 = std::min(x + s, w - 1);
      const int y1 = std::max(y - s, 0), y2 = std::min(y + s, h - 1);
      int64_t sum = 0;
      for (int yy = y1 + 1; yy <= y2; ++yy) {
        for (int xx = x1 + 1; xx <= x2; ++xx) sum += in[yy * w + xx];
      }
      const int64_t count = static_cast<int64_t>(y2 - y1) * (x2 - x1);
      const int p = in[y * w + x];
      const int64_t limit = sum * 85 / 100;  // small images: no overflow
      const int64_t lhs = count * p;
      out[y * w + x] = (lhs > limit || (lhs == limit && p >= level)) ? 255 : 0;
    }
  }
  return out;
}

TEST(AdaptiveThreshold, LevelsFlatPlanesAndBruteForceBoxes) {
  {
    // Width below 16: every box is empty, the pixel meets the minimum level
    // alone, and a level outside 1 .. 254 means 10.
    const int w = 15, h = 2;
    Bytes in(w * h);
    for (int i = 0; i < w * h; ++i) in[i] = static_cast<uint8_t>(i * 9);
    for (auto [given, used] : {std::pair<int, int>{0, 10}, {255, 10}, {-7, 10}, {1, 1},
                               {254, 254}, {100, 100}}) {
      Bytes out(w * h, 0x5a), expect(w * h);
      for (int i = 0; i < w * h; ++i) expect[i] = in[i] >= used ? 255 : 0;
      EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), w, h, given), 1);
      EXPECT_EQ(out, expect) << given;
    }
  }
  for (uint8_t p : {0, 1, 7, 128, 255}) {
    Bytes in(64 * 32, p), out(64 * 32, 0x5a);
    EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 64, 32, 10), 1);
    EXPECT_EQ(out, Bytes(64 * 32, p ? 255 : 0)) << int(p);
  }
  for (int t = 0; t < 40; ++t) {
    const int w = 1 + (t * 37) % 90, h = 1 + (t * 13) % 40;
    Bytes in = vdtest::RandomBytes(w * h, 100 + t);
    if (t % 2) {  // many pixels near their local mean
      for (uint8_t& v : in) v = static_cast<uint8_t>(100 + v % 8);
    }
    Bytes out(w * h, 0x5a);
    ASSERT_EQ(AdaptiveThreshold(in.data(), out.data(), w, h, 10 + t), 1);
    EXPECT_EQ(out, AdaptiveModel(in, w, h, 10 + t)) << w << "x" << h;
  }
}

TEST(AdaptiveThreshold, LimitWrapsLikeSigned32BitArithmetic) {
  // 2560 wide: half box 160. Inside a bright 320 x 320 box, sum * 85 exceeds
  // 2^31 and wraps negative, so a dark pixel there counts as set, while a dark
  // corner pixel (smaller box, no wrap) stays clear.
  const int w = 2560, h = 330;
  Bytes in(static_cast<size_t>(w) * h, 255);
  const size_t centre = static_cast<size_t>(165) * w + 1000;
  in[centre] = 0;
  in[0] = 0;
  Bytes out(in.size(), 0x5a);
  ASSERT_EQ(AdaptiveThreshold(in.data(), out.data(), w, h, 10), 1);
  EXPECT_EQ(out[centre], 255);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[1], 255);
}

TEST(AdaptiveThreshold, BadArgumentsFailedAllocationAndWrappers) {
  Bytes in(64, 50), out(64, 0x5a);
  EXPECT_EQ(AdaptiveThreshold(nullptr, out.data(), 8, 8, 10), 0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), nullptr, 8, 8, 10), 0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 0, 8, 10), 1);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 0, 10), 1);
  VdAllocFailAt(0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 8, 10), 0);
  VdAllocFailAt(-1);
  EXPECT_EQ(out, Bytes(64, 0x5a));
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 8, 10), 1);
  EXPECT_EQ(out, Bytes(64, 255));

  // The stripe form: luma and chroma at their offsets, level 0 meaning 10.
  const int w = 32, h = 16, offset = 8 * w;
  Image img(w, h, 0), res(w, h, 0x5a);
  vdtest::FillRandom(img.data.data(), img.data.size(), 21);
  EXPECT_EQ(AdaptiveThresholdProc(&img.rec, &res.rec, w, 8, 0, 1, offset), 1);
  const Bytes y = img.Y(), u = img.U();
  EXPECT_EQ(Bytes(res.rec.pY + offset, res.rec.pY + w * h),
            AdaptiveModel(Bytes(y.begin() + offset, y.end()), w, 8, 10));
  EXPECT_EQ(Bytes(res.rec.pY, res.rec.pY + offset), Bytes(offset, 0x5a));
  EXPECT_EQ(Bytes(res.rec.pU + offset / 4, res.rec.pU + w * h / 4),
            AdaptiveModel(Bytes(u.begin() + offset / 4, u.end()), w / 2, 4, 10));
  EXPECT_EQ(Bytes(res.rec.pU, res.rec.pU + offset / 4), Bytes(offset / 4, 0x5a));
  // Null chroma planes: the result is that of the last (V) call.
  Image nochroma(w, h, 0);
  nochroma.rec.pV = nullptr;
  EXPECT_EQ(AdaptiveThresholdProc(&img.rec, &nochroma.rec, w, h, 10, 1, 0), 0);
  EXPECT_EQ(AdaptiveThresholdProc(&img.rec, &nochroma.rec, w, h, 10, 0, 0), 1);

  // The whole-image form uses level 10 whatever it is given.
  const int iw = 48;
  Image whole(iw, h, 0), wout(iw, h, 0x5a);
  vdtest::FillRandom(whole.data.data(), whole.data.size(), 22);
  EXPECT_EQ(AdaptiveThresholdImage(&whole.rec, &wout.rec, 3), 1);
  EXPECT_EQ(wout.Y(), AdaptiveModel(whole.Y(), iw, h, 10));
  EXPECT_EQ(wout.U(), AdaptiveModel(whole.U(), iw / 2, h / 2, 10));
  EXPECT_EQ(wout.V(), AdaptiveModel(whole.V(), iw / 2, h / 2, 10));
  EXPECT_EQ(AdaptiveThresholdImage(nullptr, &wout.rec, 0), 0);
  EXPECT_EQ(AdaptiveThresholdImage(&whole.rec, nullptr, 0), 0);
  wout.rec.pU = nullptr;  // one failing plane does not clear the others' OR
  EXPECT_EQ(AdaptiveThresholdImage(&whole.rec, &wout.rec, 0), 1);
}

// ---------------------------------------------------------------------------
// Motion history.

TEST(MotionHistory, DetectionBitsAndCounter) {
  {
    const int w = 4, h = 2;
    const size_t n = w * h * 3 / 2;  // Y 8, U 2, V 2
    Bytes mask(n, 0), history(n, 0x80);
    mask[1] = mask[5] = 255;  // moving luma
    mask[8] = mask[11] = 255;  // moving U[0], V[1]
    EXPECT_EQ(MotionDetection(mask.data(), history.data(), w, h, 1, 1, 0), 1);
    // Luma: the bit or 0; chroma: bit | old >> 1.
    EXPECT_EQ(history, (Bytes{1, 0, 1, 1, 1, 0, 1, 1, 0x40, 0x41, 0x41, 0x40}));
    EXPECT_EQ(MotionDetection(mask.data(), history.data(), w, h, 3, 1, 0), 1);
    EXPECT_EQ(history, (Bytes{4, 0, 4, 4, 4, 0, 4, 4, 0x20, 0x24, 0x24, 0x20}));
    // Without chroma (flag 0, or a single row) the chroma history stays.
    Bytes keep(n, 0x80);
    MotionDetection(mask.data(), keep.data(), w, h, 8, 0, 0);
    EXPECT_EQ(keep, (Bytes{128, 0, 128, 128, 128, 0, 128, 128, 0x80, 0x80, 0x80, 0x80}));
    Bytes one(w + 2, 0x80);
    MotionDetection(mask.data(), one.data(), w, 1, 2, 1, 0);
    EXPECT_EQ(one, (Bytes{2, 0, 2, 2, 0x80, 0x80}));
    for (int bit : {9, 32, 33, 40, 0}) {  // a bit beyond a byte is zero
      Bytes m(6, 0), hist(6, 0x80);
      MotionDetection(m.data(), hist.data(), 2, 2, bit, 1, 0);
      EXPECT_EQ(hist, (Bytes{0, 0, 0, 0, 0x40, 0x40})) << bit;
    }
  }
  auto counter = [](Bytes& mask, Bytes& count, int w, int h, int shift) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(MotionCounter(mask.data(), count.data(), w, h, shift), 1);
    return testing::internal::GetCapturedStdout();
  };
  const int w = 6, h = 4;
  Bytes mask(w * h, 0), count(w * h, 10);
  for (int i : {0, 5, 6, 17, 23}) mask[i] = 255;
  mask[3] = 254;  // anything below 255 is still
  count[2] = 255;
  EXPECT_EQ(counter(mask, count, w, h, 0),
            "\tMotionCounter: iCurMotionSum = 5,iMotionThreshold = 16\n");
  for (int i = 0; i < w * h; ++i) {
    EXPECT_EQ(count[i], mask[i] == 255 ? 10 : i == 2 ? 0 : 11) << i;
  }
  counter(mask, count, w, h, 3);
  EXPECT_EQ(count[1], 19);
  EXPECT_EQ(count[0], 10);
  for (int shift : {8, 31, 32, 100}) {  // 1 << 8 is 0 as a byte; >= 32 adds nothing
    const Bytes before = count;
    counter(mask, count, w, h, shift);
    EXPECT_EQ(count, before) << shift;
  }
  Bytes small(8, 0), keep(8, 1);
  EXPECT_EQ(counter(small, keep, 10, -1, 0),
            "\tMotionCounter: iCurMotionSum = -10,iMotionThreshold = -6\n");
  EXPECT_EQ(counter(small, keep, 10, 0, 0),
            "\tMotionCounter: iCurMotionSum = 0,iMotionThreshold = 0\n");
  EXPECT_EQ(keep, Bytes(8, 1));
}

}  // namespace
