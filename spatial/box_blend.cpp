#include "spatial/box_blend.h"

#include "base/vd_cpu.h"
#include "spatial/box_filter_internal.h"
#include "spatial/fuzzy_filter_internal.h"

namespace {

inline uint8_t Blend(const uint8_t* slice, int s, int p) {
  int d = p > s ? p - s : s - p;
  if (d > 16) d = 16;
  return slice[s * kNrBytesPerValue + d * 2 + (p >= s ? 1 : 0)];
}

}  // namespace

void VdBoxBlendRow_C(const uint8_t* above, const uint8_t* row,
                     const uint8_t* below, const uint8_t* prev, uint8_t* out,
                     int width, int level) {
  const uint8_t* slice = nr_table + level * kNrBytesPerLevel;
  out[0] = Blend(slice, row[0], prev[0]);
  for (int x = 1; x < width - 1; ++x) {
    const uint32_t sum = above[x - 1] + above[x] + above[x + 1] + row[x - 1] +
                         row[x] + row[x + 1] + below[x - 1] + below[x] +
                         below[x + 1];
    out[x] = Blend(slice, VdBoxMean9Int(sum), prev[x]);
  }
  if (width > 1) out[width - 1] = Blend(slice, row[width - 1], prev[width - 1]);
}

void VdBlendRow_C(const uint8_t* spatial, const uint8_t* prev, uint8_t* out,
                  int width, int level) {
  const uint8_t* slice = nr_table + level * kNrBytesPerLevel;
  for (int x = 0; x < width; ++x) out[x] = Blend(slice, spatial[x], prev[x]);
}

void VdInitBoxBlendKernels(BoxBlendKernels* k, int level) {
  k->row = VdBoxBlendRow_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) k->row = VdBoxBlendRow_NEON;
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdAvx2) k->row = VdBoxBlendRow_AVX2;
#endif
  (void)level;
}

const BoxBlendKernels& VdBoxBlendKernels(int level) {
  return VdSimdTable<BoxBlendKernels, VdInitBoxBlendKernels>(level);
}
