#include "base/vd_cpu.h"

#include <atomic>
#include <cstring>

namespace {

#if defined(VD_FORCE_SCALAR) && VD_FORCE_SCALAR
constexpr bool kForcedScalar = true;
#else
constexpr bool kForcedScalar = false;
#endif

// -1 until the first call works the level out (or after a reset to auto).
std::atomic<int> g_level{-1};

int AutoLevel() { return kForcedScalar ? kVdSimdScalar : VdCpuSimdLevel(); }

}  // namespace

int VdCpuSimdLevel() {
#if defined(__ARM_NEON)
  return kVdSimdNeon;
#elif defined(VD_X86_SIMD)
  // __builtin_cpu_supports also checks that the OS saves the AVX state.
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") ? kVdSimdAvx2 : kVdSimdSse2;
#else
  return kVdSimdScalar;
#endif
}

bool VdSimdLevelRuns(int level) {
  const int cpu = VdCpuSimdLevel();
  if (level == kVdSimdScalar) return true;
  if (level == kVdSimdNeon) return cpu == kVdSimdNeon;
  // The x86 levels are ordered: AVX2 machines run SSE2 too.
  return (level == kVdSimdSse2 || level == kVdSimdAvx2) &&
         cpu != kVdSimdNeon && level <= cpu;
}

int VdMachineSimdLevels(int levels[kVdSimdLevelCount]) {
  int n = 0;
  for (int level = 0; level < kVdSimdLevelCount; ++level) {
    if (VdSimdLevelRuns(level)) levels[n++] = level;
  }
  return n;
}

int VdSimdLevel() {
  int level = g_level.load(std::memory_order_relaxed);
  if (level < 0) {
    level = AutoLevel();
    g_level.store(level, std::memory_order_relaxed);
  }
  return level;
}

bool VdSetSimdLevel(int level) {
  if (level < 0) {
    g_level.store(-1, std::memory_order_relaxed);
    return true;
  }
  if (!VdSimdLevelRuns(level)) return false;
  if (kForcedScalar && level != kVdSimdScalar) return false;
  g_level.store(level, std::memory_order_relaxed);
  return true;
}

const char* VdSimdLevelName(int level) {
  static const char* const kNames[kVdSimdLevelCount] = {"scalar", "sse2",
                                                        "avx2", "neon"};
  return level >= 0 && level < kVdSimdLevelCount ? kNames[level] : nullptr;
}

int VdSimdLevelFromName(const char* name) {
  if (name == nullptr) return -2;
  if (std::strcmp(name, "auto") == 0) return -1;
  for (int level = 0; level < kVdSimdLevelCount; ++level) {
    if (std::strcmp(name, VdSimdLevelName(level)) == 0) return level;
  }
  return -2;
}
