// 3x3 Laplacian sharpening: scalar reference and the exported entry point.
#include "spatial/sharpness.h"

#include <stddef.h>

#include "base/vd_cpu.h"
#include "spatial/box_filter_internal.h"
#include "spatial/sharpness_internal.h"

void VideoDenoiseSharpness_C(const unsigned char* src, unsigned char* dst,
                             int width, int height, int iEdge) {
  VdBoxCopyEdges(src, width, dst, width, width, height, 1, iEdge);
  // Rows go in pairs; an odd last inner row is left alone.
  const int pairs = (height - 2) >> 1;
  const ptrdiff_t w = width;
  for (int y = 1; y <= 2 * pairs; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      const ptrdiff_t i = y * w + x;
      dst[i] = VdSharpenPixel(src[i], static_cast<int>(VdBoxSum(src + i, w, 1)));
    }
  }
}

void VdInitSharpnessKernels(SharpnessKernels* k, int level) {
  k->sharpen = VideoDenoiseSharpness_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) k->sharpen = VideoDenoiseSharpness_NEON;
#endif
  (void)level;
}

const SharpnessKernels& VdSharpnessKernels(int level) {
  return VdSimdTable<SharpnessKernels, VdInitSharpnessKernels>(level);
}

void VideoDenoiseSharpness(unsigned char* src, unsigned char* dst, int width,
                           int height, int iEdge) {
  VdSharpnessKernels(VdSimdLevel()).sharpen(src, dst, width, height, iEdge);
}
