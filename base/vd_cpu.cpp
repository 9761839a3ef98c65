#include "base/vd_cpu.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// -1 until the first call works the level out.
std::atomic<int> g_level{-1};

bool ForcedScalar() {
#if defined(VD_FORCE_SCALAR) && VD_FORCE_SCALAR
  return true;
#else
  const char* env = std::getenv("VD_FORCE_SCALAR");
  return env != nullptr && std::strcmp(env, "1") == 0;
#endif
}

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

int VdSimdLevel() {
  int level = g_level.load(std::memory_order_relaxed);
  if (level < 0) {
    level = ForcedScalar() ? kVdSimdScalar : VdCpuSimdLevel();
    g_level.store(level, std::memory_order_relaxed);
  }
  return level;
}

void VdSetSimdLevelForTesting(int level) {
  if (level < 0) {
    g_level.store(-1, std::memory_order_relaxed);
    return;
  }
  const int cpu = ForcedScalar() ? kVdSimdScalar : VdCpuSimdLevel();
  // NEON and the x86 levels are not ordered against each other: any request
  // other than scalar keeps the processor's level on ARM.
  int capped = level < cpu ? level : cpu;
  if (cpu == kVdSimdNeon && level != kVdSimdScalar) capped = kVdSimdNeon;
  g_level.store(capped, std::memory_order_relaxed);
}
