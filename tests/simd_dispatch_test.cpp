// The runtime choice of kernel variants: the level logic, and a 1080p frame
// sequence through the public API that must give the same bytes with the
// vector twins as with the scalar references.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "base/vd_cpu.h"
#include "api/vd_instance.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Restores the normal level choice however a test ends.
struct LevelGuard {
  ~LevelGuard() {
    unsetenv("VD_FORCE_SCALAR");
    VdSetSimdLevelForTesting(-1);
  }
};

TEST(SimdLevel, ProcessorLevelMatchesTheBuild) {
  LevelGuard guard;
#if defined(__ARM_NEON)
  EXPECT_EQ(kVdSimdNeon, VdCpuSimdLevel());
#elif defined(VD_X86_SIMD)
  EXPECT_GE(VdCpuSimdLevel(), kVdSimdSse2);
  EXPECT_LE(VdCpuSimdLevel(), kVdSimdAvx2);
#else
  EXPECT_EQ(kVdSimdScalar, VdCpuSimdLevel());
#endif
}

TEST(SimdLevel, EnvironmentForcesScalar) {
  LevelGuard guard;
  setenv("VD_FORCE_SCALAR", "1", 1);
  VdSetSimdLevelForTesting(-1);  // read the environment again
  EXPECT_EQ(kVdSimdScalar, VdSimdLevel());
  setenv("VD_FORCE_SCALAR", "0", 1);
  VdSetSimdLevelForTesting(-1);
#if defined(VD_FORCE_SCALAR) && VD_FORCE_SCALAR
  EXPECT_EQ(kVdSimdScalar, VdSimdLevel());
#else
  EXPECT_EQ(VdCpuSimdLevel(), VdSimdLevel());
#endif
}

TEST(SimdLevel, TestHookOnlyLowersTheLevel) {
  LevelGuard guard;
  unsetenv("VD_FORCE_SCALAR");
  VdSetSimdLevelForTesting(-1);
  const int cpu = VdSimdLevel();
  VdSetSimdLevelForTesting(kVdSimdScalar);
  EXPECT_EQ(kVdSimdScalar, VdSimdLevel());
  VdSetSimdLevelForTesting(kVdSimdNeon + 5);
  EXPECT_EQ(cpu, VdSimdLevel());
  VdSetSimdLevelForTesting(-1);
  EXPECT_EQ(cpu, VdSimdLevel());
}

// A noisy moving scene: smooth shading, a bright bar that moves 16 columns
// per frame, and chroma ramps.
Bytes NoisyFrame(int w, int h, int frame) {
  Bytes f(static_cast<size_t>(w) * h * 3 / 2);
  const Bytes noise = vdtest::RandomBytes(f.size(), 4000 + frame);
  const int bar = 300 + 16 * frame;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int v = 60 + (x % 64) + (y % 48);
      if (x >= bar && x < bar + w / 6) v = 220;
      f[y * w + x] = static_cast<uint8_t>(v);
    }
  }
  const int n = w * h;
  for (int i = 0; i < n / 4; ++i) {
    const int cx = i % (w / 2), cy = i / (w / 2);
    f[n + 2 * i] = static_cast<uint8_t>(128 + (cx - cy) % 40);
    f[n + 2 * i + 1] = static_cast<uint8_t>(100 + (cx + cy) % 50);
  }
  for (size_t i = 0; i < f.size(); ++i) {
    const int v = f[i] + noise[i] % 25 - 12;
    f[i] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
  }
  return f;
}

// Every output frame of a sequence that warms up, then visits each noise
// level on the full path, run at the given level cap.
std::vector<Bytes> RunSequence(int level) {
  const int w = 1920, h = 1080;
  VdSetSimdLevelForTesting(level);
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  // (eType, iISO): a change of type restarts the warm-up, so each type
  // stays for four frames. Full-path frames run levels 0, 2, 2, 3, 1, 1.
  const int steps[][2] = {{0, 100}, {0, 100}, {0, 400}, {0, 400},
                          {6, 400}, {6, 400}, {6, 100}, {6, 100}};
  const int levels[8] = {0, 0, 2, 2, 3, 3, 1, 1};
  std::vector<Bytes> outputs;
  for (int frame = 0; frame < 8; ++frame) {
    const Bytes in = NoisyFrame(w, h, frame);
    Bytes out(in.size(), 0);
    EXPECT_EQ(0, TARNO_VideoDenoise(const_cast<uint8_t*>(in.data()), out.data(), w, h,
                                    steps[frame][0], steps[frame][1]));
    EXPECT_EQ(levels[frame], g_hVideoDenoise->iNRLevel) << frame;
    outputs.push_back(out);
  }
  TARNO_VideoDenoiseDeinit();
  return outputs;
}

TEST(SimdDispatch, VectorAndScalarPathsGiveTheSameFrames) {
  LevelGuard guard;
  vdtest::LogCapture quiet;
  unsetenv("VD_FORCE_SCALAR");
  VdSetSimdLevelForTesting(-1);
  const std::vector<Bytes> scalar = RunSequence(kVdSimdScalar);
  std::vector<int> levels = {VdCpuSimdLevel()};
#if defined(VD_X86_SIMD)
  if (VdCpuSimdLevel() > kVdSimdSse2) levels.push_back(kVdSimdSse2);
#endif
  for (int level : levels) {
    if (level == kVdSimdScalar) continue;
    const std::vector<Bytes> vector = RunSequence(level);
    ASSERT_EQ(scalar.size(), vector.size());
    for (size_t f = 0; f < scalar.size(); ++f) {
      ASSERT_TRUE(scalar[f] == vector[f]) << "level " << level << " frame " << f;
    }
  }
}

}  // namespace
