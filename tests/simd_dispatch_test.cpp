// The runtime choice of kernel variants: the level logic, and a 1080p frame
// sequence through the public API that must give the same bytes with the
// vector twins as with the scalar references.
#include <gtest/gtest.h>

#include <vector>

#include "api/vd_instance.h"
#include "api/vdenoise.h"
#include "base/vd_cpu.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Restores the automatic level choice however a test ends.
struct LevelGuard {
  ~LevelGuard() { VdSetSimdLevel(-1); }
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
  // The machine's levels: scalar first, the processor's own last.
  int levels[kVdSimdLevelCount];
  const int n = VdMachineSimdLevels(levels);
  ASSERT_GE(n, 1);
  EXPECT_EQ(kVdSimdScalar, levels[0]);
  EXPECT_EQ(VdCpuSimdLevel(), levels[n - 1]);
}

// The exported setter takes the four names and "auto", refuses anything
// else (and a unit the processor lacks), and a refused call changes nothing.
TEST(SimdLevel, ExportedSetterAndQuery) {
  LevelGuard guard;
#if defined(VD_FORCE_SCALAR) && VD_FORCE_SCALAR
  const bool forced = true;
#else
  const bool forced = false;
#endif
  const int automatic = forced ? kVdSimdScalar : VdCpuSimdLevel();
  EXPECT_STREQ(VdSimdLevelName(automatic), vd_simd_level());
  ASSERT_EQ(0, vd_set_simd_level("scalar"));
  EXPECT_STREQ("scalar", vd_simd_level());
  EXPECT_EQ(kVdSimdScalar, VdSimdLevel());
  for (const char* bad : {"", "SSE2", "fast", "avx", "scalar ", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(-1, vd_set_simd_level(bad)) << (bad ? bad : "null");
    EXPECT_STREQ("scalar", vd_simd_level());
  }
  for (int level = 0; level < kVdSimdLevelCount; ++level) {
    const char* name = VdSimdLevelName(level);
    const bool runs = level == kVdSimdScalar || (!forced && VdSimdLevelRuns(level));
    EXPECT_EQ(runs ? 0 : -1, vd_set_simd_level(name)) << name;
    EXPECT_STREQ(runs ? name : "scalar", vd_simd_level()) << name;
    vd_set_simd_level("scalar");
  }
  EXPECT_EQ(0, vd_set_simd_level("auto"));
  EXPECT_STREQ(VdSimdLevelName(automatic), vd_simd_level());
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
  EXPECT_TRUE(VdSetSimdLevel(level));
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
  const std::vector<Bytes> scalar = RunSequence(kVdSimdScalar);
  for (int level : vdtest::VectorLevels()) {
#if defined(VD_FORCE_SCALAR) && VD_FORCE_SCALAR
    break;  // the build runs the references only
#endif
    const std::vector<Bytes> vector = RunSequence(level);
    ASSERT_EQ(scalar.size(), vector.size());
    for (size_t f = 0; f < scalar.size(); ++f) {
      ASSERT_TRUE(scalar[f] == vector[f]) << "level " << level << " frame " << f;
    }
  }
}

}  // namespace
