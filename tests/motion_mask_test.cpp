// Motion-mask kernels: per-pixel rules, the row-pair and block stepping at
// awkward widths, the image wrappers, thresholds, adaptive threshold, motion
// history, and the NEON twins against the scalar references.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "api/vd_alloc.h"
#include "api/vd_cpu.h"
#include "temporal/motion_mask.h"
#include "temporal/motion_mask_internal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

uint8_t Abs(uint8_t a, uint8_t b) { return a > b ? a - b : b - a; }

// Which bytes a row-pair kernel with the given block size writes: pair k
// starts at k * (span + width) and covers span bytes there and span bytes one
// row further on, span being the whole blocks of a row.
std::vector<bool> PairStepMap(int width, int height, int block, size_t size) {
  std::vector<bool> map(size, false);
  const int span = width / block * block;
  for (int k = 0; k < height / 2; ++k) {
    const size_t base = static_cast<size_t>(k) * (span + width);
    for (int x = 0; x < span; ++x) {
      map.at(base + x) = true;
      map.at(base + width + x) = true;
    }
  }
  return map;
}

// Bytes a kernel walking rows at the packed (width / 16) * 16 pitch writes.
std::vector<bool> PackedStepMap(int width, int height, size_t size) {
  std::vector<bool> map(size, false);
  const size_t n = static_cast<size_t>(height) * (width / 16 * 16);
  for (size_t i = 0; i < n; ++i) map.at(i) = true;
  return map;
}

// Runs fill(out) twice, on a plane prefilled with 0x00 and with 0xff, and
// reports which bytes it wrote (those that come out equal) and their values.
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

// A 4:2:0 image record over a caller-owned buffer.
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

// ---------------------------------------------------------------------------
// Absolute differences.

TEST(CalSADImage, UsesStrideForEveryPlaneAndLeavesPaddingAlone) {
  const int w = 5, h = 3, stride = 8;
  Bytes a(stride * h, 3), b(stride * h, 250), out(stride * h, 0x11);
  a[stride + 2] = 250;  // equal pixel
  b[2 * stride + 4] = 0;
  EXPECT_EQ(CalSADImage(a.data(), b.data(), out.data(), w, h, stride), 1);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < stride; ++x) {
      const uint8_t got = out[y * stride + x];
      if (x >= w) {
        EXPECT_EQ(got, 0x11) << y << "," << x;
      } else if (y == 1 && x == 2) {
        EXPECT_EQ(got, 0);
      } else if (y == 2 && x == 4) {
        EXPECT_EQ(got, 3);
      } else {
        EXPECT_EQ(got, 247) << y << "," << x;
      }
    }
  }
}

TEST(CalSADImageNeon, Width40ShiftsLaterPairsAndSkipsOddRow) {
  const int w = 40, h = 5;
  const size_t n = w * h;
  Bytes a = vdtest::RandomBytes(n, 3), b = vdtest::RandomBytes(n, 4);
  Written got = WhatIsWritten(n, [&](uint8_t* out) {
    CalSADImage_neon(a.data(), b.data(), out, w, h);
  });
  // Pair 0: [0,32) and [40,72); pair 1 starts at 32 + 40 = 72: [72,104) and
  // [112,144). Row 4 (odd last row) is never touched.
  std::vector<bool> expect(n, false);
  for (int x = 0; x < 32; ++x) {
    expect[x] = expect[40 + x] = expect[72 + x] = expect[112 + x] = true;
  }
  EXPECT_EQ(got.map, expect);
  for (size_t i = 0; i < n; ++i) {
    if (expect[i]) {
      EXPECT_EQ(got.value[i], Abs(a[i], b[i])) << i;
    }
  }
}

TEST(CalYuvImageSAD, AppliesPairKernelToLumaStripeAndQuarterChroma) {
  const int w = 64, h = 16;
  Image a(w, h, 0), b(w, h, 0), out(w, h, 0xee);
  vdtest::FillRandom(a.data.data(), a.data.size(), 5);
  vdtest::FillRandom(b.data.data(), b.data.size(), 6);
  const int offset = 4 * w;  // stripe starting at luma row 4
  CalYuvImageSAD(&a.rec, &b.rec, &out.rec, w, 8, 1, offset, 12345);
  for (size_t i = 0; i < out.LumaSize(); ++i) {
    const bool inStripe = i >= 4u * w && i < 12u * w;
    EXPECT_EQ(out.rec.pY[i], inStripe ? Abs(a.rec.pY[i], b.rec.pY[i]) : 0xee) << i;
  }
  // Chroma: 32 x 4 starting at offset >> 2 = chroma row 2.
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    const bool inStripe = i >= 64 && i < 192;
    EXPECT_EQ(out.rec.pU[i], inStripe ? Abs(a.rec.pU[i], b.rec.pU[i]) : 0xee) << i;
    EXPECT_EQ(out.rec.pV[i], inStripe ? Abs(a.rec.pV[i], b.rec.pV[i]) : 0xee) << i;
  }

  Image quiet(w, h, 0x33);
  CalYuvImageSAD(&a.rec, &b.rec, &quiet.rec, w, h, 0, 0, 0);
  EXPECT_EQ(quiet.U(), Bytes(w * h / 4, 0x33));
  EXPECT_EQ(quiet.V(), Bytes(w * h / 4, 0x33));
}

// ---------------------------------------------------------------------------
// Thresholded difference.

TEST(CalSADThreshhold, StrictlyGreaterThanThreshold) {
  const int w = 32, h = 2;
  Bytes a(w * h, 100), b(w * h), out(w * h, 0x77);
  for (int i = 0; i < w * h; ++i) b[i] = static_cast<uint8_t>(100 + (i % 12) - 6);
  CalSAD_threshhold_neon(a.data(), b.data(), out.data(), w, h, 4);
  for (int i = 0; i < w * h; ++i) {
    EXPECT_EQ(out[i], Abs(a[i], b[i]) > 4 ? 255 : 0) << i;
  }
  // |0 - 255| = 255 is never above 255.
  Bytes lo(w * h, 0), hi(w * h, 255);
  CalSAD_threshhold_neon(lo.data(), hi.data(), out.data(), w, h, 255);
  EXPECT_EQ(out, Bytes(w * h, 0));
  CalSAD_threshhold_neon(lo.data(), hi.data(), out.data(), w, h, 254);
  EXPECT_EQ(out, Bytes(w * h, 255));
}

TEST(CalSADThreshhold, Width40WritesFirst32ColumnsAndShiftsNextPair) {
  const int w = 40, h = 4;
  const size_t n = w * h;
  Bytes a(n, 0), b(n, 200);
  Written got = WhatIsWritten(n, [&](uint8_t* out) {
    CalSAD_threshhold_neon(a.data(), b.data(), out, w, h, 10);
  });
  std::vector<bool> expect(n, false);
  for (int x = 0; x < 32; ++x) {
    expect[x] = expect[40 + x] = true;          // pair 0
    expect[72 + x] = expect[72 + 40 + x] = true;  // pair 1 at 32 + 40
  }
  EXPECT_EQ(got.map, expect);
  for (size_t i = 0; i < n; ++i) {
    if (expect[i]) {
      EXPECT_EQ(got.value[i], 255) << i;
    }
  }
}

TEST(CalSADThreshhold, NarrowOrSingleRowWritesNothing) {
  Bytes a(64 * 4, 0), b(64 * 4, 200);
  const std::vector<std::pair<int, int>> sizes = {{31, 4}, {64, 1}, {64, 0}, {0, 4}};
  for (auto [w, h] : sizes) {
    Written got = WhatIsWritten(a.size(), [&](uint8_t* out) {
      CalSAD_threshhold_neon(a.data(), b.data(), out, w, h, 3);
    });
    EXPECT_EQ(got.map, std::vector<bool>(a.size(), false)) << w << "x" << h;
  }
}

TEST(CalSADThreshholdProc, ChromaOnlyWithFixedThreshold4) {
  const int w = 64, h = 16;
  Image a(w, h, 50), b(w, h, 50), out(w, h, 0x42);
  // Chroma differences of 5 and 4; luma differs everywhere.
  std::memset(b.rec.pY, 0, out.LumaSize());
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    b.rec.pU[i] = (i % 2) ? 55 : 54;
    b.rec.pV[i] = (i % 2) ? 45 : 46;
  }
  const int offset = 8 * w;  // second half of the frame
  CalSAD_threshholdProc(&a.rec, &b.rec, &out.rec, w, 8, 1, 200, offset);
  EXPECT_EQ(out.Y(), Bytes(w * h, 0x42));
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    const bool inStripe = i >= 128;  // chroma rows 4..7 of width 32
    const uint8_t expect = !inStripe ? 0x42 : (i % 2) ? 255 : 0;
    EXPECT_EQ(out.rec.pU[i], expect) << i;
    EXPECT_EQ(out.rec.pV[i], expect) << i;
  }

  Image untouched(w, h, 0x42);
  CalSAD_threshholdProc(&a.rec, &b.rec, &untouched.rec, w, h, 0, 0, 0);
  EXPECT_EQ(untouched.data, Bytes(untouched.data.size(), 0x42));
}

// ---------------------------------------------------------------------------
// Clamped difference with sign.

TEST(CalDiffAbs, ClampsAt16AndMarksSecondNotBelowFirst) {
  const int w = 16, h = 2;
  const uint8_t av[] = {10, 40, 7, 20, 0, 255, 255, 0, 100, 100, 16, 33, 1, 2, 200, 17};
  const uint8_t bv[] = {40, 10, 7, 27, 16, 239, 238, 17, 116, 84, 0, 17, 255, 1, 184, 17};
  Bytes a(w * h), b(w * h);
  for (int i = 0; i < w * h; ++i) {
    a[i] = av[i % 16];
    b[i] = bv[i % 16];
  }
  Bytes diff(w * h, 0xaa), sign(w * h, 0xaa);
  CalDiffAbs_neon(a.data(), b.data(), diff.data(), sign.data(), w, h, 0);
  const uint8_t expectDiff[] = {16, 16, 0, 7, 16, 16, 16, 16, 16, 16, 16, 16, 16, 1, 16, 0};
  const uint8_t expectSign[] = {1, 0, 1, 1, 1, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 1};
  for (int i = 0; i < w * h; ++i) {
    EXPECT_EQ(diff[i], expectDiff[i % 16]) << i;
    EXPECT_EQ(sign[i], expectSign[i % 16]) << i;
  }
}

TEST(CalDiffAbs, Width20StepsLikeThePairKernelOnBothOutputs) {
  const int w = 20, h = 5;
  const size_t n = w * h;
  Bytes a = vdtest::RandomBytes(n, 7), b = vdtest::RandomBytes(n, 8);
  Bytes sign0(n, 0x00);
  Written diff = WhatIsWritten(n, [&](uint8_t* out) {
    CalDiffAbs_neon(a.data(), b.data(), out, sign0.data(), w, h, -1);
  });
  Bytes diff0(n, 0x00);
  Written sign = WhatIsWritten(n, [&](uint8_t* out) {
    CalDiffAbs_neon(a.data(), b.data(), diff0.data(), out, w, h, 99);
  });
  // Pair 0: [0,16) and [20,36); pair 1 at 36: [36,52) and [56,72).
  const std::vector<bool> expect = PairStepMap(w, h, 16, n);
  EXPECT_TRUE(expect[36] && expect[56] && !expect[16] && !expect[52] && !expect[72]);
  EXPECT_EQ(diff.map, expect);
  EXPECT_EQ(sign.map, expect);
  for (size_t i = 0; i < n; ++i) {
    if (!expect[i]) continue;
    EXPECT_EQ(diff.value[i], std::min<int>(Abs(a[i], b[i]), 16)) << i;
    EXPECT_EQ(sign.value[i], b[i] >= a[i] ? 1 : 0) << i;
  }
}

// ---------------------------------------------------------------------------
// Fixed thresholds.

TEST(ThresholdImage2, WritesValueAboveThresholdAndReturnsHeight) {
  const int w = 7, h = 3;
  Bytes in(w * h), out(w * h, 0x99);
  for (int i = 0; i < w * h; ++i) in[i] = static_cast<uint8_t>(i * 12);
  EXPECT_EQ(ThresholdImage2(nullptr, in.data(), out.data(), w, h, 120, 77), 3);
  for (int i = 0; i < w * h; ++i) EXPECT_EQ(out[i], in[i] > 120 ? 77 : 0) << i;
  EXPECT_EQ(ThresholdImage2(nullptr, in.data(), out.data(), w, -2, 0, 1), -2);
}

TEST(ThresholdImage2Neon, Writes255AtPackedPitchWhateverTheValue) {
  const int w = 20, h = 3;
  const size_t n = w * h;
  Bytes in = vdtest::RandomBytes(n, 9);
  Written got = WhatIsWritten(n, [&](uint8_t* out) {
    ThresholdImage2_neon(nullptr, in.data(), out, w, h, 128, 7);
  });
  // Three rows of 16 at a 16-byte pitch: bytes 0..47.
  EXPECT_EQ(got.map, PackedStepMap(w, h, n));
  for (size_t i = 0; i < 48; ++i) EXPECT_EQ(got.value[i], in[i] > 128 ? 255 : 0) << i;
}

TEST(ThresholdImage, ReadsSecondImageWritesThird) {
  const int w = 32, h = 8;
  Image first(w, h, 255), in(w, h, 0), out(w, h, 0x10);
  vdtest::FillRandom(in.data.data(), in.data.size(), 10);
  const int offset = 2 * w;
  ThresholdImage(&first.rec, &in.rec, &out.rec, w, 4, 100, 1, 1, offset);
  for (size_t i = 0; i < out.LumaSize(); ++i) {
    const bool inStripe = i >= 2u * w && i < 6u * w;
    EXPECT_EQ(out.rec.pY[i], inStripe ? (in.rec.pY[i] > 100 ? 255 : 0) : 0x10) << i;
  }
  for (size_t i = 0; i < out.LumaSize() / 4; ++i) {
    const bool inStripe = i >= 16 && i < 48;  // 16 x 2 from chroma row 1
    EXPECT_EQ(out.rec.pU[i], inStripe ? (in.rec.pU[i] > 100 ? 255 : 0) : 0x10) << i;
    EXPECT_EQ(out.rec.pV[i], inStripe ? (in.rec.pV[i] > 100 ? 255 : 0) : 0x10) << i;
  }
  Image quiet(w, h, 0x10);
  ThresholdImage(&first.rec, &in.rec, &quiet.rec, w, h, 100, 1, 0, 0);
  EXPECT_EQ(quiet.U(), Bytes(w * h / 4, 0x10));
}

TEST(Threshold, TwoLevelsWithComplementBelow) {
  const int w = 4, h = 2;
  Bytes in = {0, 9, 10, 11, 200, 255, 10, 1};
  Bytes out(w * h, 0x5a);
  EXPECT_EQ(Threshold(in.data(), out.data(), w, h, 10, 255), 1);
  EXPECT_EQ(out, (Bytes{0, 0, 255, 255, 255, 255, 255, 0}));
  EXPECT_EQ(Threshold(in.data(), out.data(), w, h, 10, 0), 1);
  EXPECT_EQ(out, (Bytes{255, 255, 0, 0, 0, 0, 0, 255}));
  // Value is stored as a byte; the comparison is a signed int one.
  EXPECT_EQ(Threshold(in.data(), out.data(), w, h, -5, 0x1c3), 1);
  EXPECT_EQ(out, Bytes(w * h, 0xc3));
  EXPECT_EQ(Threshold(in.data(), out.data(), w, h, 256, 0xc3), 1);
  EXPECT_EQ(out, Bytes(w * h, 0x3c));
}

TEST(Threshold, NullPlanesAndEmptyHeight) {
  Bytes in(16, 50), out(16, 0x5a);
  EXPECT_EQ(Threshold(nullptr, out.data(), 4, 4, 0, 1), 0);
  EXPECT_EQ(Threshold(in.data(), nullptr, 4, 4, 0, 1), 0);
  EXPECT_EQ(Threshold(in.data(), out.data(), 4, 0, 0, 1), 1);
  EXPECT_EQ(Threshold(in.data(), out.data(), 4, -3, 0, 1), 1);
  EXPECT_EQ(out, Bytes(16, 0x5a));
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

TEST(AdaptiveThreshold, OutOfRangeMinimumLevelMeans10) {
  // Width below 16: the half box is 0, every box is empty (count 0, sum 0),
  // so the pixel is compared with the minimum level alone.
  const int w = 15, h = 2;
  Bytes in(w * h);
  for (int i = 0; i < w * h; ++i) in[i] = static_cast<uint8_t>(i * 9);
  auto Run = [&](int minLevel) {
    Bytes out(w * h, 0x5a);
    EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), w, h, minLevel), 1);
    return out;
  };
  auto Expect = [&](int level) {
    Bytes out(w * h);
    for (int i = 0; i < w * h; ++i) out[i] = in[i] >= level ? 255 : 0;
    return out;
  };
  EXPECT_EQ(Run(0), Expect(10));
  EXPECT_EQ(Run(255), Expect(10));
  EXPECT_EQ(Run(-7), Expect(10));
  EXPECT_EQ(Run(1), Expect(1));
  EXPECT_EQ(Run(254), Expect(254));
  EXPECT_EQ(Run(100), Expect(100));
}

TEST(AdaptiveThreshold, FlatImagesAllSetZeroImageAllClear) {
  const int w = 64, h = 32;
  for (uint8_t p : {1, 7, 128, 255}) {
    Bytes in(w * h, p), out(w * h, 0x5a);
    EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), w, h, 10), 1);
    EXPECT_EQ(out, Bytes(w * h, 255)) << int(p);
  }
  Bytes zero(w * h, 0), out(w * h, 0x5a);
  EXPECT_EQ(AdaptiveThreshold(zero.data(), out.data(), w, h, 10), 1);
  EXPECT_EQ(out, Bytes(w * h, 0));
}

TEST(AdaptiveThreshold, MatchesBruteForceBoxSumsIncludingShortBorderBoxes) {
  for (int t = 0; t < 40; ++t) {
    const int w = 1 + (t * 37) % 90;
    const int h = 1 + (t * 13) % 40;
    Bytes in = vdtest::RandomBytes(w * h, 100 + t);
    // Smooth half the cases so that many pixels sit near their local mean.
    if (t % 2) {
      for (int i = 0; i < w * h; ++i) in[i] = static_cast<uint8_t>(100 + in[i] % 8);
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

TEST(AdaptiveThreshold, NullPlanesEmptySizesAndFailedAllocation) {
  Bytes in(64, 50), out(64, 0x5a);
  EXPECT_EQ(AdaptiveThreshold(nullptr, out.data(), 8, 8, 10), 0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), nullptr, 8, 8, 10), 0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 0, 8, 10), 1);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 0, 10), 1);
  EXPECT_EQ(out, Bytes(64, 0x5a));
  VdAllocFailAt(0);
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 8, 10), 0);
  VdAllocFailAt(-1);
  EXPECT_EQ(out, Bytes(64, 0x5a));
  EXPECT_EQ(AdaptiveThreshold(in.data(), out.data(), 8, 8, 10), 1);
  EXPECT_EQ(out, Bytes(64, 255));
}

TEST(AdaptiveThresholdProc, StripeAndChromaResultOfLastCall) {
  const int w = 32, h = 16;
  Image in(w, h, 0), out(w, h, 0x5a);
  vdtest::FillRandom(in.data.data(), in.data.size(), 21);
  const int offset = 8 * w;
  EXPECT_EQ(AdaptiveThresholdProc(&in.rec, &out.rec, w, 8, 0, 1, offset), 1);
  const Bytes y = in.Y();
  const Bytes stripe(y.begin() + offset, y.end());
  const Bytes expectY = AdaptiveModel(stripe, w, 8, 10);
  EXPECT_EQ(Bytes(out.rec.pY + offset, out.rec.pY + w * h), expectY);
  EXPECT_EQ(Bytes(out.rec.pY, out.rec.pY + offset), Bytes(offset, 0x5a));
  const Bytes u = in.U();
  EXPECT_EQ(Bytes(out.rec.pU + offset / 4, out.rec.pU + w * h / 4),
            AdaptiveModel(Bytes(u.begin() + offset / 4, u.end()), w / 2, 4, 10));
  EXPECT_EQ(Bytes(out.rec.pU, out.rec.pU + offset / 4), Bytes(offset / 4, 0x5a));

  // Null chroma planes: the result is that of the last (V) call.
  Image nochroma(w, h, 0);
  nochroma.rec.pV = nullptr;
  EXPECT_EQ(AdaptiveThresholdProc(&in.rec, &nochroma.rec, w, h, 10, 1, 0), 0);
  EXPECT_EQ(AdaptiveThresholdProc(&in.rec, &nochroma.rec, w, h, 10, 0, 0), 1);
}

TEST(AdaptiveThresholdImage, WholeImageWithLevel10) {
  const int w = 48, h = 16;
  Image in(w, h, 0), out(w, h, 0x5a);
  vdtest::FillRandom(in.data.data(), in.data.size(), 22);
  EXPECT_EQ(AdaptiveThresholdImage(&in.rec, &out.rec, 3), 1);
  EXPECT_EQ(out.Y(), AdaptiveModel(in.Y(), w, h, 10));
  EXPECT_EQ(out.U(), AdaptiveModel(in.U(), w / 2, h / 2, 10));
  EXPECT_EQ(out.V(), AdaptiveModel(in.V(), w / 2, h / 2, 10));

  EXPECT_EQ(AdaptiveThresholdImage(nullptr, &out.rec, 0), 0);
  EXPECT_EQ(AdaptiveThresholdImage(&in.rec, nullptr, 0), 0);
  // One failing plane does not clear the OR of the others.
  out.rec.pU = nullptr;
  EXPECT_EQ(AdaptiveThresholdImage(&in.rec, &out.rec, 0), 1);
}

// ---------------------------------------------------------------------------
// Motion history.

TEST(MotionDetection, LumaOverwrittenChromaShifted) {
  const int w = 4, h = 2;
  const size_t n = w * h * 3 / 2;  // Y 8, U 2, V 2
  Bytes mask(n, 0), history(n, 0x80);
  mask[1] = mask[5] = 255;                     // moving luma
  mask[8] = 255;                                // moving U[0]
  mask[11] = 255;                               // moving V[1]
  EXPECT_EQ(MotionDetection(mask.data(), history.data(), w, h, 1, 1, 0), 1);
  EXPECT_EQ(history, (Bytes{1, 0, 1, 1, 1, 0, 1, 1,  // luma: bit 1 or 0
                            0x40, 0x41, 0x41, 0x40}));  // chroma: bit | old >> 1

  EXPECT_EQ(MotionDetection(mask.data(), history.data(), w, h, 3, 1, 0), 1);
  EXPECT_EQ(history, (Bytes{4, 0, 4, 4, 4, 0, 4, 4, 0x20, 0x24, 0x24, 0x20}));

  // Without chroma (flag 0, or a single row) the chroma history stays.
  Bytes keep(n, 0x80);
  MotionDetection(mask.data(), keep.data(), w, h, 8, 0, 0);
  EXPECT_EQ(keep, (Bytes{128, 0, 128, 128, 128, 0, 128, 128, 0x80, 0x80, 0x80, 0x80}));
  Bytes one(w + 2, 0x80);
  MotionDetection(mask.data(), one.data(), w, 1, 2, 1, 0);
  EXPECT_EQ(one, (Bytes{2, 0, 2, 2, 0x80, 0x80}));
}

TEST(MotionDetection, BitBeyondAByteIsZero) {
  const int w = 2, h = 2;
  for (int bitNumber : {9, 32, 33, 40, 0}) {
    Bytes mask(6, 0), history(6, 0x80);
    MotionDetection(mask.data(), history.data(), w, h, bitNumber, 1, 0);
    EXPECT_EQ(history, (Bytes{0, 0, 0, 0, 0x40, 0x40})) << bitNumber;
  }
}

TEST(MotionCounter, PrintsMovingSumAndThresholdAndCountsStillPixels) {
  const int w = 6, h = 4;
  Bytes mask(w * h, 0), counter(w * h, 10);
  for (int i : {0, 5, 6, 17, 23}) mask[i] = 255;
  mask[3] = 254;  // anything below 255 is still
  counter[2] = 255;
  testing::internal::CaptureStdout();
  EXPECT_EQ(MotionCounter(mask.data(), counter.data(), w, h, 0), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\tMotionCounter: iCurMotionSum = 5,iMotionThreshold = 16\n");
  for (int i = 0; i < w * h; ++i) {
    const uint8_t expect = mask[i] == 255 ? 10 : i == 2 ? 0 : 11;
    EXPECT_EQ(counter[i], expect) << i;
  }

  testing::internal::CaptureStdout();
  MotionCounter(mask.data(), counter.data(), w, h, 3);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(counter[1], 19);
  EXPECT_EQ(counter[0], 10);
  // 1 << 8 is 0 as a byte; shifts of 32 or more add nothing.
  for (int shift : {8, 31, 32, 100}) {
    Bytes before = counter;
    testing::internal::CaptureStdout();
    MotionCounter(mask.data(), counter.data(), w, h, shift);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(counter, before) << shift;
  }
}

TEST(MotionCounter, EmptyHeightPrintsTotalOnly) {
  Bytes mask(8, 0), counter(8, 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(MotionCounter(mask.data(), counter.data(), 10, -1, 0), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\tMotionCounter: iCurMotionSum = -10,iMotionThreshold = -6\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(MotionCounter(mask.data(), counter.data(), 10, 0, 0), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\tMotionCounter: iCurMotionSum = 0,iMotionThreshold = 0\n");
  EXPECT_EQ(counter, Bytes(8, 1));
}

// ---------------------------------------------------------------------------
// Vector kernels over random sizes: the exported kernel follows the per-pixel
// rule at exactly the bytes its stepping visits, inside buffers that end at a
// guard page; on NEON builds the twin equals the scalar reference byte for
// byte.

struct Size {
  int w, h;
};

std::vector<Size> RandomSizes() {
  std::vector<Size> sizes = {{1, 1}, {15, 2}, {16, 1}, {16, 2}, {17, 3}, {31, 2}, {32, 2},
                             {33, 3}, {40, 4}, {47, 5}, {63, 6}, {64, 7}, {96, 2}, {1920, 4}};
  uint32_t x = 12345;
  for (int i = 0; i < 60; ++i) {
    x = x * 1664525u + 1013904223u;
    sizes.push_back({1 + static_cast<int>((x >> 8) % 130), 1 + static_cast<int>((x >> 20) % 11)});
  }
  return sizes;
}

// Planes of exactly w * h bytes flush against a guard page.
struct Guarded {
  std::unique_ptr<vdtest::GuardedBuffer> a, b, c, d;
  explicit Guarded(size_t n)
      : a(new vdtest::GuardedBuffer(n)), b(new vdtest::GuardedBuffer(n)),
        c(new vdtest::GuardedBuffer(n)), d(new vdtest::GuardedBuffer(n)) {}
};

TEST(VectorKernels, FollowRuleAndSteppingAtRandomSizes) {
  uint32_t seed = 1;
  for (const Size& s : RandomSizes()) {
    const size_t n = static_cast<size_t>(s.w) * s.h;
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
    Guarded g(n);
    vdtest::FillRandom(g.a->data(), n, seed++);
    vdtest::FillRandom(g.b->data(), n, seed++);
    // Make small differences common so that thresholds and clamps are hit.
    for (size_t i = 0; i < n; i += 2) {
      g.b->data()[i] = static_cast<uint8_t>(g.a->data()[i] + (g.b->data()[i] % 41) - 20);
    }
    const uint8_t* a = g.a->data();
    const uint8_t* b = g.b->data();
    const uint8_t thr = static_cast<uint8_t>(seed * 7);

    auto Check = [&](const char* name, const std::vector<bool>& map,
                     const std::function<void(uint8_t*)>& run,
                     const std::function<uint8_t(size_t)>& rule) {
      SCOPED_TRACE(name);
      Written got = WhatIsWritten(n, [&](uint8_t* out) {
        std::memcpy(g.c->data(), out, n);
        run(g.c->data());
        std::memcpy(out, g.c->data(), n);
      });
      ASSERT_EQ(got.map, map);
      for (size_t i = 0; i < n; ++i) {
        if (map[i]) {
          ASSERT_EQ(got.value[i], rule(i)) << i;
        }
      }
    };

    Check("CalSADImage_neon", PairStepMap(s.w, s.h, 16, n),
          [&](uint8_t* o) { CalSADImage_neon(g.a->data(), g.b->data(), o, s.w, s.h); },
          [&](size_t i) { return Abs(a[i], b[i]); });
    Check("CalSAD_threshhold_neon", PairStepMap(s.w, s.h, 32, n),
          [&](uint8_t* o) {
            CalSAD_threshhold_neon(g.a->data(), g.b->data(), o, s.w, s.h, thr % 24);
          },
          [&](size_t i) { return Abs(a[i], b[i]) > thr % 24 ? 255 : 0; });
    Check("CalDiffAbs_neon diff", PairStepMap(s.w, s.h, 16, n),
          [&](uint8_t* o) {
            CalDiffAbs_neon(g.a->data(), g.b->data(), o, g.d->data(), s.w, s.h, 0);
          },
          [&](size_t i) { return std::min<uint8_t>(Abs(a[i], b[i]), 16); });
    Check("CalDiffAbs_neon sign", PairStepMap(s.w, s.h, 16, n),
          [&](uint8_t* o) {
            CalDiffAbs_neon(g.a->data(), g.b->data(), g.d->data(), o, s.w, s.h, 0);
          },
          [&](size_t i) { return b[i] >= a[i] ? 1 : 0; });
    Check("ThresholdImage2_neon", PackedStepMap(s.w, s.h, n),
          [&](uint8_t* o) { ThresholdImage2_neon(nullptr, g.a->data(), o, s.w, s.h, thr, 3); },
          [&](size_t i) { return a[i] > thr ? 255 : 0; });
  }
}

#if defined(__ARM_NEON)
TEST(VectorKernels, NeonEqualsScalarReference) {
  uint32_t seed = 500;
  for (const Size& s : RandomSizes()) {
    const size_t n = static_cast<size_t>(s.w) * s.h;
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
    Bytes a = vdtest::RandomBytes(n, seed++), b = vdtest::RandomBytes(n, seed++);
    for (size_t i = 1; i < n; i += 3) b[i] = static_cast<uint8_t>(a[i] + (b[i] % 33) - 16);
    const Bytes init = vdtest::RandomBytes(n, seed++);
    const uint8_t thr = static_cast<uint8_t>(seed);
    Bytes c1 = init, c2 = init, s1 = init, s2 = init;

    CalSADImagePairs_C(a.data(), b.data(), c1.data(), s.w, s.h);
    CalSADImagePairs_NEON(a.data(), b.data(), c2.data(), s.w, s.h);
    EXPECT_EQ(c1, c2) << "CalSADImage_neon";

    for (uint8_t t : {uint8_t(0), uint8_t(4), uint8_t(thr % 20), uint8_t(254), uint8_t(255)}) {
      c1 = c2 = init;
      CalSAD_threshhold_C(a.data(), b.data(), c1.data(), s.w, s.h, t);
      CalSAD_threshhold_NEON(a.data(), b.data(), c2.data(), s.w, s.h, t);
      EXPECT_EQ(c1, c2) << "CalSAD_threshhold_neon " << int(t);

      c1 = c2 = init;
      ThresholdImage255_C(nullptr, a.data(), c1.data(), s.w, s.h, t, 9);
      ThresholdImage255_NEON(nullptr, a.data(), c2.data(), s.w, s.h, t, 9);
      EXPECT_EQ(c1, c2) << "ThresholdImage2_neon " << int(t);
    }

    c1 = c2 = init;
    CalDiffAbs_C(a.data(), b.data(), c1.data(), s1.data(), s.w, s.h, 0);
    CalDiffAbs_NEON(a.data(), b.data(), c2.data(), s2.data(), s.w, s.h, 0);
    EXPECT_EQ(c1, c2) << "CalDiffAbs_neon diff";
    EXPECT_EQ(s1, s2) << "CalDiffAbs_neon sign";
  }
}

TEST(VectorKernels, NeonHandlesUnalignedPlanesAndInPlaceOutput) {
  const int w = 72, h = 6;
  Bytes a = vdtest::RandomBytes(w * h + 3, 77), b = vdtest::RandomBytes(w * h + 3, 78);
  Bytes in1(a.begin() + 3, a.end()), in2 = in1;
  CalSAD_threshhold_C(in1.data(), b.data() + 1, in1.data(), w, h, 9);
  CalSAD_threshhold_NEON(in2.data(), b.data() + 1, in2.data(), w, h, 9);
  EXPECT_EQ(in1, in2);
  Bytes d1(w * h), d2(w * h), s1(w * h), s2(w * h);
  CalDiffAbs_C(a.data() + 1, b.data() + 2, d1.data(), s1.data(), w, h, 0);
  CalDiffAbs_NEON(a.data() + 1, b.data() + 2, d2.data(), s2.data(), w, h, 0);
  EXPECT_EQ(d1, d2);
  EXPECT_EQ(s1, s2);
}
#endif

#if defined(VD_X86_SIMD)
// The x86 twins of the frame-path kernels against the scalar references:
// many sizes (widths around the 16- and 32-pixel blocks, odd heights),
// thresholds at both ends, unaligned planes and in-place output.
TEST(VectorKernels, X86TwinsEqualScalarReference) {
  using SadFn = void (*)(unsigned char*, unsigned char*, unsigned char*, int,
                         int, unsigned char);
  using DiffFn = void (*)(unsigned char*, unsigned char*, unsigned char*,
                          unsigned char*, int, int, int);
  struct Twin {
    const char* name;
    SadFn sad;
    DiffFn diff;
  };
  std::vector<Twin> twins = {{"SSE2", CalSAD_threshhold_SSE2, CalDiffAbs_SSE2}};
  if (VdCpuSimdLevel() >= kVdSimdAvx2) {
    twins.push_back({"AVX2", CalSAD_threshhold_AVX2, CalDiffAbs_AVX2});
  }
  std::vector<Size> sizes = RandomSizes();
  for (int w = 1; w <= 200; ++w) sizes.push_back({w, 1 + w % 7});
  uint32_t x = 99;
  for (int i = 0; i < 100; ++i) {
    x = x * 1664525u + 1013904223u;
    sizes.push_back({1 + static_cast<int>((x >> 8) % 2000), 1 + static_cast<int>((x >> 24) % 9)});
  }
  sizes.push_back({1920, 362});
  sizes.push_back({960, 180});
  for (const Twin& twin : twins) {
    SCOPED_TRACE(twin.name);
    uint32_t seed = 800;
    for (const Size& s : sizes) {
      const size_t n = static_cast<size_t>(s.w) * s.h;
      SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
      Bytes a = vdtest::RandomBytes(n + 1, seed++), b = vdtest::RandomBytes(n + 2, seed++);
      for (size_t i = 1; i < n; i += 3) b[i + 1] = static_cast<uint8_t>(a[i] + (b[i] % 41) - 20);
      const Bytes init = vdtest::RandomBytes(n, seed++);
      for (uint8_t t : {uint8_t(0), uint8_t(4), uint8_t(seed % 20), uint8_t(254), uint8_t(255)}) {
        Bytes c1 = init, c2 = init;
        CalSAD_threshhold_C(a.data() + 1, b.data() + 2, c1.data(), s.w, s.h, t);
        twin.sad(a.data() + 1, b.data() + 2, c2.data(), s.w, s.h, t);
        ASSERT_EQ(c1, c2) << "CalSAD_threshhold_neon " << int(t);
      }
      Bytes c1 = init, c2 = init, s1 = init, s2 = init;
      CalDiffAbs_C(a.data() + 1, b.data() + 2, c1.data(), s1.data(), s.w, s.h, 0);
      twin.diff(a.data() + 1, b.data() + 2, c2.data(), s2.data(), s.w, s.h, 0);
      ASSERT_EQ(c1, c2) << "CalDiffAbs_neon diff";
      ASSERT_EQ(s1, s2) << "CalDiffAbs_neon sign";
      // In place: the output replaces the first plane.
      Bytes in1(a.begin(), a.begin() + n), in2 = in1;
      CalSAD_threshhold_C(in1.data(), b.data(), in1.data(), s.w, s.h, 9);
      twin.sad(in2.data(), b.data(), in2.data(), s.w, s.h, 9);
      ASSERT_EQ(in1, in2) << "in place";
    }
  }
}
#endif

}  // namespace
