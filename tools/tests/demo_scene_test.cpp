#include "tools/demo_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "api/vd_instance.h"
#include "tools/demo.h"
#include "tools/frame_reader.h"

namespace vdtool {
namespace {

constexpr int kW = 320, kH = 192;

struct Stats {
  double mean = 0, sd = 0;
};

Stats Measure(const std::vector<double>& v) {
  Stats s;
  for (double x : v) s.mean += x;
  s.mean /= v.size();
  for (double x : v) s.sd += (x - s.mean) * (x - s.mean);
  s.sd = std::sqrt(s.sd / v.size());
  return s;
}

std::vector<uint8_t> Frame(const DemoScene& scene, int index) {
  std::vector<uint8_t> f(FrameBytes420(scene.width, scene.height));
  RenderDemoFrame(scene, index, f.data());
  return f;
}

TEST(DemoSceneTest, TheSameSceneEveryTime) {
  DemoScene a, b;
  BuildDemoScene(kW, kH, &a);
  BuildDemoScene(kW, kH, &b);
  EXPECT_EQ(a.y, b.y);
  EXPECT_EQ(a.u, b.u);
  EXPECT_EQ(Frame(a, 7), Frame(b, 7));
}

TEST(DemoSceneTest, OnlyTheLowerHalfMoves) {
  DemoScene s;
  BuildDemoScene(kW, kH, &s);
  EXPECT_EQ(s.still.y, 0);
  EXPECT_EQ(s.still.width, kW);
  EXPECT_EQ(s.still.height, kH / 2);
  std::vector<uint8_t> f0 = Frame(s, 0), f5 = Frame(s, 5);
  const size_t still_luma = static_cast<size_t>(kW) * s.still.height;
  EXPECT_TRUE(std::equal(f0.begin(), f0.begin() + still_luma, f5.begin()));
  const size_t luma = static_cast<size_t>(kW) * kH;
  const size_t still_chroma = static_cast<size_t>(kW / 2) * (s.still.height / 2);
  EXPECT_TRUE(std::equal(f0.begin() + luma, f0.begin() + luma + still_chroma,
                         f5.begin() + luma));
  // The disc does move: the lower half differs.
  EXPECT_FALSE(std::equal(f0.begin() + still_luma, f0.begin() + luma,
                          f5.begin() + still_luma));
  for (int i = 0; i < 200; i += 7) {
    double cx, cy, r;
    DemoDiscPosition(s, i, &cx, &cy, &r);
    EXPECT_GE(cy - r, s.still.height) << "frame " << i;
    EXPECT_LE(cy + r, kH) << "frame " << i;
    EXPECT_GE(cx - r, 0) << "frame " << i;
    EXPECT_LE(cx + r, kW) << "frame " << i;
  }
}

TEST(DemoSceneTest, TheStillHalfHasDetailAndTheSceneHasColour) {
  DemoScene s;
  BuildDemoScene(kW, kH, &s);
  // Horizontal luma gradients in the still half: plenty of strong edges.
  int edges = 0;
  for (int y = 0; y < s.still.height; ++y) {
    for (int x = 1; x < kW; ++x) {
      if (std::abs(s.y[y * kW + x] - s.y[y * kW + x - 1]) > 40) ++edges;
    }
  }
  EXPECT_GT(edges, 500);
  std::vector<uint8_t> f = Frame(s, 0);
  const size_t luma = static_cast<size_t>(kW) * kH;
  int coloured = 0;
  for (size_t i = 0; i < luma / 4; ++i) {
    if (std::abs(f[luma + i] - 128) > 30 || std::abs(f[luma + luma / 4 + i] - 128) > 30) {
      ++coloured;
    }
  }
  EXPECT_GT(coloured, 100);
}

TEST(SensorNoiseTest, LumaNoiseFollowsTheModel) {
  const int w = 256, h = 256;
  for (int level : {40, 128, 200}) {
    for (int iso : {100, 800}) {
      std::vector<uint8_t> clean(FrameBytes420(w, h), 128), noisy(clean.size());
      std::fill(clean.begin(), clean.begin() + w * h, static_cast<uint8_t>(level));
      AddSensorNoise(clean.data(), noisy.data(), w, h, iso, 1);
      std::vector<double> d;
      for (int i = 0; i < w * h; ++i) d.push_back(noisy[i] - level);
      Stats st = Measure(d);
      const double model = LumaNoiseSigma(iso, level);
      // Rounding to whole levels adds 1/12 to the variance.
      EXPECT_NEAR(st.sd, std::sqrt(model * model + 1.0 / 12), 0.05 * model)
          << "Y " << level << " ISO " << iso;
      // About five standard errors of the mean of 65536 samples.
      EXPECT_NEAR(st.mean, 0.0, 0.02 * model) << "Y " << level << " ISO " << iso;
    }
  }
  // Brighter pixels are noisier; higher ISO is noisier.
  EXPECT_GT(LumaNoiseSigma(100, 200), LumaNoiseSigma(100, 40));
  EXPECT_NEAR(LumaNoiseSigma(800, 128), std::sqrt(8.0) * LumaNoiseSigma(100, 128), 1e-12);
  EXPECT_NEAR(LumaNoiseSigma(100, 128), std::sqrt(0.12 * 128 + 4.0), 1e-12);
}

TEST(SensorNoiseTest, ChromaNoiseIsBlotchy) {
  const int w = 256, h = 256;
  std::vector<uint8_t> clean(FrameBytes420(w, h), 128), noisy(clean.size());
  AddSensorNoise(clean.data(), noisy.data(), w, h, 800, 3);
  const int cw = w / 2, ch = h / 2;
  for (int plane = 0; plane < 2; ++plane) {
    const uint8_t* p = noisy.data() + w * h + plane * cw * ch;
    std::vector<double> d;
    double lag1 = 0;
    for (int y = 0; y < ch; ++y) {
      for (int x = 0; x < cw; ++x) {
        d.push_back(p[y * cw + x] - 128.0);
        if (x > 0) lag1 += (p[y * cw + x] - 128.0) * (p[y * cw + x - 1] - 128.0);
      }
    }
    Stats st = Measure(d);
    EXPECT_NEAR(st.sd, std::sqrt(std::pow(ChromaNoiseSigma(800), 2) + 1.0 / 12),
                0.1 * ChromaNoiseSigma(800));
    // Neighbours of 3x3 box-filtered noise share 6 of 9 samples.
    double corr = lag1 / (ch * (cw - 1)) / (st.sd * st.sd);
    EXPECT_NEAR(corr, 6.0 / 9, 0.08) << "plane " << plane;
  }
}

TEST(SensorNoiseTest, TheSeedDecidesTheNoise) {
  const int w = 96, h = 96;
  std::vector<uint8_t> clean(FrameBytes420(w, h), 100), a(clean.size()),
      b(clean.size()), c(clean.size());
  AddSensorNoise(clean.data(), a.data(), w, h, 400, 42);
  AddSensorNoise(clean.data(), b.data(), w, h, 400, 42);
  AddSensorNoise(clean.data(), c.data(), w, h, 400, 43);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  // Clipping keeps values in range at the extremes.
  std::vector<uint8_t> black(clean.size(), 0), out(clean.size());
  AddSensorNoise(black.data(), out.data(), w, h, 800, 1);
  int raised = 0;
  for (int i = 0; i < w * h; ++i) raised += out[i] > 0;
  EXPECT_GT(raised, w * h / 4);
}

TEST(DemoLevelsTest, EachPairReachesItsLevelFromAFreshDenoiser) {
  // A new instance starts at level 0; one frame's type and ISO move it.
  for (const DemoLevel& l : kDemoLevels) {
    Video_Denoise_Handle handle;
    std::memset(&handle, 0, sizeof(handle));
    SetVideoDenoiseParams(&handle, l.type, l.iso);
    EXPECT_EQ(handle.iNRLevel, l.level) << "type " << l.type << " iso " << l.iso;
    // And the level holds on the following frames.
    SetVideoDenoiseParams(&handle, l.type, l.iso);
    EXPECT_EQ(handle.iNRLevel, l.level);
  }
  // Noise grows from level to level.
  for (int i = 1; i < 4; ++i) EXPECT_GT(kDemoLevels[i].iso, kDemoLevels[i - 1].iso);
}

TEST(DemoOutputTest, StaysSmallAndOutOfTheWay) {
  // 1080p frames with their markers: 400 MB hold 134 of them, so four
  // clips of 24 fit whole and eight clips keep 16 frames each.
  const long long frame = 1920ll * 1080 * 3 / 2 + 6;
  EXPECT_EQ(DemoClipFrames(24, 4, frame), 24);
  EXPECT_EQ(DemoClipFrames(24, 8, frame), 16);
  EXPECT_EQ(DemoClipFrames(300, 4, frame), 33);
  EXPECT_LE(4 * DemoClipFrames(300, 4, frame) * frame, kDemoClipBudgetBytes);
  EXPECT_EQ(DemoClipFrames(5, 1000, frame), 1);  // never empty
  // Into the build directory only when running from it.
  EXPECT_EQ(DemoDirInBuild("/src/build/tools/vdenoise", "/src/build"),
            "/src/build/vdenoise-demo");
  EXPECT_EQ(DemoDirInBuild("/src/build/tools/vdenoise", "/src/build/"),
            "/src/build/vdenoise-demo");
  EXPECT_EQ(DemoDirInBuild("/usr/bin/vdenoise", "/src/build"), "");
  EXPECT_EQ(DemoDirInBuild("/src/build2/vdenoise", "/src/build"), "");
  EXPECT_EQ(DemoDirInBuild("", "/src/build"), "");
}

}  // namespace
}  // namespace vdtool
