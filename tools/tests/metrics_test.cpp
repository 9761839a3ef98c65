#include "tools/metrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace vdtool {
namespace {

Plane View(const std::vector<uint8_t>& data, int width, int height) {
  return Plane{data.data(), width, height, width};
}

std::vector<uint8_t> Random(int n, uint32_t seed, int lo = 0, int hi = 255) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> d(lo, hi);
  std::vector<uint8_t> v(static_cast<size_t>(n));
  for (uint8_t& x : v) x = static_cast<uint8_t>(d(rng));
  return v;
}

// SSIM straight from its definition, in double, with the 2-D Gaussian
// window built and normalised on its own (not from SsimWindowWeights).
double ReferenceSsim(const Plane& a, const Plane& b, int cx0, int cy0, int cx1,
                     int cy1) {
  double w[11][11], sum = 0;
  for (int y = 0; y < 11; ++y) {
    for (int x = 0; x < 11; ++x) {
      w[y][x] = std::exp(-((x - 5) * (x - 5) + (y - 5) * (y - 5)) / (2 * 1.5 * 1.5));
      sum += w[y][x];
    }
  }
  const double c1 = 6.5025, c2 = 58.5225;
  double total = 0;
  int count = 0;
  for (int cy = cy0; cy < cy1; ++cy) {
    for (int cx = cx0; cx < cx1; ++cx) {
      double ma = 0, mb = 0;
      for (int y = 0; y < 11; ++y) {
        for (int x = 0; x < 11; ++x) {
          double k = w[y][x] / sum;
          ma += k * a.data[(cy - 5 + y) * a.stride + cx - 5 + x];
          mb += k * b.data[(cy - 5 + y) * b.stride + cx - 5 + x];
        }
      }
      double va = 0, vb = 0, cov = 0;
      for (int y = 0; y < 11; ++y) {
        for (int x = 0; x < 11; ++x) {
          double k = w[y][x] / sum;
          double da = a.data[(cy - 5 + y) * a.stride + cx - 5 + x] - ma;
          double db = b.data[(cy - 5 + y) * b.stride + cx - 5 + x] - mb;
          va += k * da * da;
          vb += k * db * db;
          cov += k * da * db;
        }
      }
      total += ((2 * ma * mb + c1) * (2 * cov + c2)) /
               ((ma * ma + mb * mb + c1) * (va + vb + c2));
      ++count;
    }
  }
  return total / count;
}

TEST(PsnrTest, HandComputedValues) {
  EXPECT_NEAR(PsnrFromMse(1.0), 48.1308036, 1e-6);
  EXPECT_NEAR(PsnrFromMse(9.0), 38.5883785, 1e-6);
  EXPECT_NEAR(PsnrFromMse(255.0 * 255.0), 0.0, 1e-12);
  EXPECT_TRUE(std::isinf(PsnrFromMse(0.0)));
  EXPECT_GT(PsnrFromMse(0.0), 0);

  // Differences 1, 2, 3, 0: MSE 14 / 4 = 3.5.
  std::vector<uint8_t> a = {0, 10, 20, 30}, b = {1, 12, 17, 30};
  EXPECT_DOUBLE_EQ(MeanSquaredError(View(a, 2, 2), View(b, 2, 2)), 3.5);
  EXPECT_NEAR(PsnrFromMse(3.5), 42.6901232, 1e-6);
  // The largest difference everywhere: 0 dB.
  std::vector<uint8_t> black(64, 0), white(64, 255);
  EXPECT_NEAR(PsnrFromMse(MeanSquaredError(View(black, 8, 8), View(white, 8, 8))),
              0.0, 1e-12);
}

TEST(PsnrTest, RegionsAndStridesSelectTheirPixels) {
  // 4x4 planes inside rows of 6 bytes; the padding differs and must not
  // count.
  std::vector<uint8_t> a(24, 50), b(24, 50);
  for (int y = 0; y < 4; ++y) b[y * 6 + 4] = b[y * 6 + 5] = 0;  // padding
  b[1 * 6 + 2] = 54;  // one difference of 4, inside the region below
  Plane pa{a.data(), 4, 4, 6}, pb{b.data(), 4, 4, 6};
  EXPECT_DOUBLE_EQ(MeanSquaredError(pa, pb), 16.0 / 16);
  Region r{1, 1, 2, 2};
  EXPECT_DOUBLE_EQ(MeanSquaredError(pa, pb, &r), 16.0 / 4);
  Region outside{0, 2, 4, 2};
  EXPECT_DOUBLE_EQ(MeanSquaredError(pa, pb, &outside), 0.0);
  // Regions are clipped to the plane.
  Region big{-5, -5, 100, 100};
  EXPECT_DOUBLE_EQ(MeanSquaredError(pa, pb, &big), 1.0);
  Region empty{10, 10, 3, 3};
  EXPECT_DOUBLE_EQ(MeanSquaredError(pa, pb, &empty), 0.0);
}

TEST(SsimTest, WindowIsTheNormalisedGaussianOfSigmaOnePointFive) {
  double w[kSsimWindow];
  SsimWindowWeights(w);
  double sum = 0;
  for (double x : w) sum += x;
  EXPECT_NEAR(sum, 1.0, 1e-15);
  EXPECT_NEAR(w[5], 0.2660117249, 1e-9);
  EXPECT_NEAR(w[0], 0.0010283801, 1e-9);
  for (int i = 0; i < 5; ++i) EXPECT_DOUBLE_EQ(w[i], w[10 - i]);
}

TEST(SsimTest, IdenticalPlanesScoreOne) {
  std::vector<uint8_t> a = Random(40 * 23, 1);
  EXPECT_NEAR(Ssim(View(a, 40, 23), View(a, 40, 23)), 1.0, 1e-6);
  std::vector<uint8_t> flat(16 * 16, 77);
  EXPECT_NEAR(Ssim(View(flat, 16, 16), View(flat, 16, 16)), 1.0, 1e-12);
}

TEST(SsimTest, FlatPlanesScoreTheirLuminanceTerm) {
  // No structure: SSIM = (2*100*120 + C1) / (100^2 + 120^2 + C1).
  std::vector<uint8_t> a(16 * 16, 100), b(16 * 16, 120);
  EXPECT_NEAR(Ssim(View(a, 16, 16), View(b, 16, 16)), 0.9836109250, 1e-6);
}

TEST(SsimTest, OneBrightPixelAgainstBlackInASingleWindow) {
  // 11x11 planes hold exactly one window. a has 255 at the centre, whose
  // 2-D weight is 0.0707622378: mean 255 * that, variance
  // 255^2 * w * (1 - w); b is black. SSIM = C1 * C2 / ((mu^2 + C1) *
  // (var + C2)).
  std::vector<uint8_t> a(121, 0), b(121, 0);
  a[60] = 255;
  EXPECT_NEAR(Ssim(View(a, 11, 11), View(b, 11, 11)), 0.000264374316, 2e-9);
}

TEST(SsimTest, MatchesTheDefinitionOnRandomPlanesOfAwkwardSizes) {
  const int sizes[][2] = {{11, 11}, {12, 17}, {40, 23}, {33, 11}, {97, 49}};
  uint32_t seed = 10;
  for (const auto& s : sizes) {
    const int w = s[0], h = s[1];
    std::vector<uint8_t> a = Random(w * h, seed++);
    // b: a with noise, so the score is well inside (0, 1).
    std::vector<uint8_t> b = a;
    std::vector<uint8_t> n = Random(w * h, seed++, 0, 60);
    for (size_t i = 0; i < b.size(); ++i) {
      b[i] = static_cast<uint8_t>(std::min(255, b[i] / 2 + n[i]));
    }
    Plane pa = View(a, w, h), pb = View(b, w, h);
    double expected = ReferenceSsim(pa, pb, 5, 5, w - 5, h - 5);
    EXPECT_NEAR(Ssim(pa, pb), expected, 2e-6) << w << "x" << h;
    EXPECT_NEAR(Ssim(pb, pa), expected, 2e-6) << "symmetric, " << w << "x" << h;
  }
}

TEST(SsimTest, RegionsAverageTheWindowsCentredInThem) {
  const int w = 60, h = 40;
  std::vector<uint8_t> a = Random(w * h, 77), b = Random(w * h, 78);
  for (size_t i = 0; i < a.size(); ++i) b[i] = static_cast<uint8_t>((a[i] + b[i]) / 2);
  Plane pa = View(a, w, h), pb = View(b, w, h);

  Region r{10, 3, 20, 15};  // rows 3 and 4 are too near the top for a window
  double expected = ReferenceSsim(pa, pb, 10, 5, 30, 18);
  EXPECT_NEAR(Ssim(pa, pb, &r), expected, 2e-6);

  double overall = 0, inside = 0;
  SsimOverallAndRegion(pa, pb, r, &overall, &inside);
  EXPECT_NEAR(overall, Ssim(pa, pb), 1e-12);
  EXPECT_NEAR(inside, expected, 2e-6);

  Region all{0, 0, w, h};
  EXPECT_NEAR(Ssim(pa, pb, &all), Ssim(pa, pb), 1e-12);
  // Windows that do not fit, or regions without a centre, give NaN.
  Region edge{0, 0, 5, 5};
  EXPECT_TRUE(std::isnan(Ssim(pa, pb, &edge)));
  SsimOverallAndRegion(pa, pb, edge, &overall, &inside);
  EXPECT_TRUE(std::isnan(inside));
  EXPECT_FALSE(std::isnan(overall));
  std::vector<uint8_t> tiny(10 * 30, 1);
  EXPECT_TRUE(std::isnan(Ssim(View(tiny, 10, 30), View(tiny, 10, 30))));
}

TEST(SsimTest, LargeFramesKeepPrecision) {
  // Float sums over a full-HD plane with strong contrast agree with the
  // definition (spot-checked on a band of rows).
  const int w = 1920, h = 40;
  std::vector<uint8_t> a(static_cast<size_t>(w) * h), b(a.size());
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      a[y * w + x] = static_cast<uint8_t>(((x / 3 + y / 5) % 2) ? 250 : 5);
      b[y * w + x] = static_cast<uint8_t>(a[y * w + x] ^ ((x * 7 + y * 13) % 17));
    }
  }
  Plane pa = View(a, w, h), pb = View(b, w, h);
  EXPECT_NEAR(Ssim(pa, pb), ReferenceSsim(pa, pb, 5, 5, w - 5, h - 5), 1e-5);
}

TEST(MetricTextTest, FormatsInfinityAndGains) {
  const double inf = PsnrFromMse(0);
  EXPECT_EQ(FormatMetric(inf, 2), "inf");
  EXPECT_EQ(FormatMetric(38.588378, 2), "38.59");
  EXPECT_EQ(FormatMetric(0.98361, 4), "0.9836");
  EXPECT_EQ(FormatMetric(std::nan(""), 2), "n/a");
  EXPECT_EQ(FormatGain(30.0, 33.25), "+3.25");
  EXPECT_EQ(FormatGain(33.25, 30.0), "-3.25");
  EXPECT_EQ(FormatGain(30.0, inf), "+inf");
  EXPECT_EQ(FormatGain(inf, 30.0), "-inf");
  EXPECT_EQ(FormatGain(inf, inf), "0.00");
}

TEST(ScoreTotalsTest, MeanPsnrIsThePsnrOfTheMeanMse) {
  ScoreTotals t;
  FrameScores identical, noisy;
  identical.ssim[0] = 1.0;
  noisy.mse[0] = 4.0;
  noisy.ssim[0] = 0.5;
  AddScores(&t, identical);
  AddScores(&t, noisy);
  // Mean MSE 2: finite although one frame is identical.
  EXPECT_NEAR(MeanPsnr(t, 0), 45.1205037, 1e-6);
  EXPECT_DOUBLE_EQ(MeanSsim(t, 0), 0.75);
  EXPECT_TRUE(std::isnan(MeanPsnr(ScoreTotals(), 0)));
}

TEST(ScoreFrameTest, ScoresEachPlaneOfAnI420Frame) {
  const int w = 32, h = 24;
  std::vector<uint8_t> a = Random(w * h * 3 / 2, 5), b = a;
  const size_t luma = static_cast<size_t>(w) * h, chroma = luma / 4;
  b[luma + 3] ^= 2;           // one U sample off by 2
  b[luma + chroma + 7] ^= 4;  // one V sample off by 4
  FrameScores s = ScoreFrame(ViewI420(a.data(), w, h), ViewI420(b.data(), w, h));
  EXPECT_DOUBLE_EQ(s.mse[0], 0.0);
  EXPECT_DOUBLE_EQ(s.mse[1], 4.0 / chroma);
  EXPECT_DOUBLE_EQ(s.mse[2], 16.0 / chroma);
  EXPECT_NEAR(s.ssim[0], 1.0, 1e-6);
  EXPECT_LT(s.ssim[2], 1.0);

  // Odd sizes round the chroma planes up.
  I420Frame odd = ViewI420(a.data(), 5, 3);
  EXPECT_EQ(odd.u.width, 3);
  EXPECT_EQ(odd.u.height, 2);
  EXPECT_EQ(odd.u.data, a.data() + 15);
  EXPECT_EQ(odd.v.data, a.data() + 21);
}

}  // namespace
}  // namespace vdtool
