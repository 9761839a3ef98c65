// The whole frame path through the public API: properties that catch real
// faults, and one digest over a sequence that every build must reproduce.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "api/vd_instance.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

int Triangle(int v, int period) {
  int p = v % period;
  return p < period / 2 ? p : period - 1 - p;
}

// A smoothly shaded scene with a bright bar whose left edge is at column
// edgeX.
Bytes Scene(int w, int h, int edgeX) {
  Bytes f(static_cast<size_t>(w) * h * 3 / 2);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int v = 70 + Triangle(x, 64) + Triangle(y, 48);
      if (x >= edgeX && x < edgeX + w / 6) v = 220;
      f[y * w + x] = static_cast<uint8_t>(v);
    }
  }
  const int n = w * h;
  for (int i = 0; i < n / 4; ++i) {
    int cx = i % (w / 2), cy = i / (w / 2);
    f[n + 2 * i] = static_cast<uint8_t>(128 + (cx - cy) % 40);      // V
    f[n + 2 * i + 1] = static_cast<uint8_t>(100 + (cx + cy) % 50);  // U
  }
  return f;
}

// Adds deterministic noise of roughly the given amplitude to every byte.
Bytes Noisy(const Bytes& clean, int amplitude, uint32_t seed) {
  Bytes noise = vdtest::RandomBytes(clean.size(), seed);
  Bytes out(clean.size());
  for (size_t i = 0; i < clean.size(); ++i) {
    int n = (noise[i] % (2 * amplitude + 1)) - amplitude;
    int v = clean[i] + n;
    out[i] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
  }
  return out;
}

double LumaMse(const Bytes& a, const Bytes& b, int w, int h, int skipCols) {
  double sum = 0;
  int count = 0;
  for (int y = 2; y < h - 2; ++y) {
    for (int x = 2; x < skipCols; ++x) {
      double d = static_cast<double>(a[y * w + x]) - b[y * w + x];
      sum += d * d;
      ++count;
    }
  }
  return sum / count;
}

class FramePath : public ::testing::Test {
 protected:
  void TearDown() override {
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
  }
  vdtest::LogCapture quiet_;  // keeps the per-frame lines off stderr
};

TEST_F(FramePath, FlatFramesStayFlatAtEveryLevel) {
  const int w = 320, h = 240;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Bytes flat(w * h * 3 / 2, 90);
  std::fill(flat.begin() + w * h, flat.end(), 140);
  Bytes out(flat.size());
  const int steps[][2] = {{0, 100}, {0, 100}, {6, 100}, {6, 100},
                          {4, 400}, {4, 400}, {6, 400}, {6, 400}};
  for (const auto& s : steps) {
    ASSERT_EQ(0, TARNO_VideoDenoise(flat.data(), out.data(), w, h, s[0], s[1]));
    ASSERT_EQ(flat, out) << "type " << s[0] << " iso " << s[1] << " level "
                         << g_hVideoDenoise->iNRLevel;
  }
  EXPECT_EQ(3, g_hVideoDenoise->iNRLevel);
}

TEST_F(FramePath, LevelZeroPassesChromaThrough) {
  const int w = 1920, h = 1080;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Bytes clean = Scene(w, h, 400);
  Bytes out(clean.size());
  for (int frame = 0; frame < 3; ++frame) {
    Bytes in = Noisy(clean, 10, 100 + frame);
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 0, 100));
    ASSERT_EQ(0, g_hVideoDenoise->iNRLevel);
    ASSERT_EQ(0, std::memcmp(in.data() + w * h, out.data() + w * h, w * h / 2))
        << frame;
  }
}

// At every level: where the spatial result differs from the previous output
// by 16 or more, the output is the spatial result; chroma is the spatial
// chroma; a static noisy scene gets cleaner frame after frame.
TEST_F(FramePath, TemporalBlendRulesAndConvergence) {
  const int w = 640, h = 480;
  const int levels[4][2] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};
  Bytes clean = Scene(w, h, 200);
  for (int level = 0; level < 4; ++level) {
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
    Video_Denoise_Handle* hd = g_hVideoDenoise;
    // Start at the wanted level; each pair below holds its level.
    hd->iNRLevel = level;
    Bytes out(clean.size()), prev(w * h);
    std::vector<double> mse;
    for (int frame = 0; frame < 8; ++frame) {
      Bytes in = Noisy(clean, 14, 1000 * level + frame);
      int type = levels[level][0], iso = levels[level][1];
      ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, type, iso));
      ASSERT_EQ(level, hd->iNRLevel);
      const int count = hd->sPrevFrames.iFrameCount;
      if (count >= 1) {
        const uint8_t* spatial = hd->pSpaDenoiseFrame->pY;
        for (int i = 0; i < w * h; ++i) {
          if (std::abs(spatial[i] - prev[i]) >= 16) {
            ASSERT_EQ(spatial[i], out[i]) << "level " << level << " i " << i;
          }
        }
        for (int i = 0; i < w * h / 4; ++i) {
          ASSERT_EQ(hd->pSpaDenoiseFrame->pU[i], out[w * h + 2 * i + 1]);
          ASSERT_EQ(hd->pSpaDenoiseFrame->pV[i], out[w * h + 2 * i]);
        }
      }
      std::memcpy(prev.data(), out.data(), w * h);
      mse.push_back(LumaMse(out, clean, w, h, 190));
    }
    double noisy = LumaMse(Noisy(clean, 14, 77), clean, w, h, 190);
    EXPECT_LT(mse[7], mse[1]) << "level " << level;
    EXPECT_LT(mse[7], noisy * 0.6) << "level " << level;
    TARNO_VideoDenoiseDeinit();
  }
}

TEST_F(FramePath, MovingEdgeDoesNotSmear) {
  const int w = 640, h = 480;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Bytes out(w * h * 3 / 2);
  for (int frame = 0; frame < 10; ++frame) {
    const int edge = 100 + 24 * frame;
    Bytes clean = Scene(w, h, edge);
    Bytes in = Noisy(clean, 6, 50 + frame);
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 6, 100));
    if (frame < 2) continue;
    // Columns that the bar left or entered this frame follow the current
    // frame, not the previous output.
    for (int y = 8; y < h - 8; y += 7) {
      for (int x = edge - 24; x < edge + 24; ++x) {
        if (std::abs(x - edge) < 3) continue;
        int diff = std::abs(out[y * w + x] - clean[y * w + x]);
        ASSERT_LT(diff, 20) << "frame " << frame << " x " << x << " y " << y;
      }
    }
  }
}

// Frames smaller than the creation size, odd sizes and the extremes, at every
// level: nothing outside the client's frames is touched, and the whole
// output is written.
TEST_F(FramePath, SizeSweepWritesTheWholeFrameOnly) {
  const int sizes[][2] = {{96, 96},   {1920, 96}, {96, 1920}, {720, 480},
                          {1296, 968}, {160, 120}, {1920, 1920}};
  for (const auto& s : sizes) {
    const int w = s[0], h = s[1];
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(1920, 1920, nullptr));
    const size_t size = static_cast<size_t>(w) * h * 3 / 2;
    vdtest::GuardedBuffer src(size), dst(size);
    Bytes clean = Scene(w, h, w / 3);
    Bytes in = Noisy(clean, 8, w + h);
    std::memcpy(src.data(), in.data(), size);
    const int steps[][2] = {{0, 100}, {0, 100}, {6, 100}, {6, 100},
                            {4, 400}, {4, 400}, {6, 400}, {6, 400}};
    for (const auto& st : steps) {
      std::memset(dst.data(), 0, size);
      ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), w, h, st[0], st[1]));
      // The scene has no zero byte, and denoising keeps it that way: a zero
      // is a byte that was not written.
      for (size_t i = 0; i < size; ++i) {
        ASSERT_NE(0, dst.data()[i]) << w << "x" << h << " byte " << i
                                    << " level " << g_hVideoDenoise->iNRLevel;
      }
    }
    TARNO_VideoDenoiseDeinit();
  }
}

// The same sequence gives the same bytes on every build: the scalar build,
// the armv7 NEON build and the aarch64 NEON build.
TEST_F(FramePath, SequenceDigestIsTheSameOnEveryBuild) {
  const int w = 1920, h = 1080;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Bytes out(w * h * 3 / 2);
  const int steps[][2] = {{0, 100}, {0, 100}, {6, 100}, {6, 100}, {4, 400},
                          {4, 400}, {6, 400}, {6, 400}, {6, 100}, {4, 100}};
  uint64_t digest = 1469598103934665603ull;
  for (int frame = 0; frame < 10; ++frame) {
    Bytes clean = Scene(w, h, 300 + 16 * frame);
    Bytes in = Noisy(clean, 12, 9000 + frame);
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h,
                                    steps[frame][0], steps[frame][1]));
    digest = vdtest::Digest(out.data(), out.size(), digest);
  }
  std::printf("sequence digest: %016llx\n",
              static_cast<unsigned long long>(digest));
  EXPECT_EQ(0x83c8589f5bb2f2e3ull, digest);
}

}  // namespace
