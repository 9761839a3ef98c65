// Library-internal sharpness kernels.
//
// Borders: row 0 is copied when iEdge is 1 or 3, row height - 1 when iEdge is
// 1 or 2, and columns 0 and width - 1 of rows 1 .. height - 2. Inner pixels:
// centre c, 3x3 sum S (centre included), d = (9c - S) >> 2 (arithmetic, so
// rounded toward minus infinity), result c + d clamped to 0..255. Inner rows
// are filtered in pairs, (height - 2) >> 1 of them: with an odd number of
// inner rows the last one (row height - 2) is neither filtered nor copied
// apart from its two edge columns. src and dst must not overlap. Any width
// works (the vector twin realigns its last block of a row to the row's end).
#ifndef VD_SPATIAL_SHARPNESS_INTERNAL_H_
#define VD_SPATIAL_SHARPNESS_INTERNAL_H_

#include <stdint.h>

#include "spatial/sharpness.h"

// One sharpened pixel from its centre value and 3x3 sum (16-bit arithmetic).
static inline unsigned char VdSharpenPixel(int centre, int sum) {
  const int16_t diff = static_cast<int16_t>(9 * centre - sum);
  const int16_t boost = static_cast<int16_t>(diff >> 2);
  const int v = centre + boost;
  return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

void VideoDenoiseSharpness_C(const unsigned char* src, unsigned char* dst,
                             int width, int height, int iEdge);
#if defined(__ARM_NEON)
void VideoDenoiseSharpness_NEON(const unsigned char* src, unsigned char* dst,
                                int width, int height, int iEdge);
#endif

// The family's variant table (base/vd_cpu.h).
struct SharpnessKernels {
  void (*sharpen)(const unsigned char* src, unsigned char* dst, int width,
                  int height, int iEdge);
};
void VdInitSharpnessKernels(SharpnessKernels* k, int level);
const SharpnessKernels& VdSharpnessKernels(int level);

#endif  // VD_SPATIAL_SHARPNESS_INTERNAL_H_
