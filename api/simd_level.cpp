// The exported choice of vector unit (base/vd_cpu.h does the work).
#include "api/vdenoise.h"
#include "base/vd_cpu.h"

extern "C" int vd_set_simd_level(const char* name) {
  const int level = VdSimdLevelFromName(name);
  if (level < -1) return -1;
  return VdSetSimdLevel(level) ? 0 : -1;
}

extern "C" const char* vd_simd_level(void) {
  return VdSimdLevelName(VdSimdLevel());
}
