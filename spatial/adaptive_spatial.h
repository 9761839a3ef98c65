// Kernels of the adaptive method's spatial step: an edge-preserving 3x3
// filter whose strength follows a per-pixel threshold, and the rows of
// thresholds it takes. Plain references (suffix _C) with x86 and NEON twins
// that write the same bytes, in the family's variant table (base/vd_cpu.h).
//
// The filter moves each pixel c by a binomial 3x3 average (weights 1 2 1,
// 2 4 2, 1 2 1) of phi(neighbour - c), where phi(d) = d for |d| <= T, falls
// linearly to zero at |d| = 2T and is zero beyond: differences the noise can
// explain are smoothed, edges are left alone.
#ifndef VD_SPATIAL_ADAPTIVE_SPATIAL_H_
#define VD_SPATIAL_ADAPTIVE_SPATIAL_H_

#include <stdint.h>

#include "temporal/adaptive_temporal.h"

// Threshold T per history length n, in 1/256 of sigma4: the noise left by
// an average of n + 1 frames times the filter's reach.
struct VdSpatialParams {
  VdNoiseLine luma;
  int16_t chroma_ratio;  // chroma sigma / luma sigma, in 1/64
  uint8_t reach[16];     // T = (sigma4 * reach[n]) >> 8, reach <= 128
};

// Rows y-s, y, y+s (border rows repeated by the caller) and the row's
// thresholds; the taps lie `step` (1 or 2) pixels apart, border columns
// repeat. out must not overlap the inputs.
typedef void (*VdSpatialRowFn)(const uint8_t* r0, const uint8_t* r1,
                               const uint8_t* r2, const uint8_t* threshold,
                               uint8_t* out, int width, int step);
// Luma thresholds from the row itself and its history lengths.
typedef void (*VdLumaThresholdFn)(const uint8_t* row, const uint8_t* hist,
                                  uint8_t* threshold, int width,
                                  const VdSpatialParams* params);
// Chroma thresholds from the luma row 2y (even pixels: brightness) and the
// chroma history lengths; width is the chroma width.
typedef void (*VdChromaThresholdFn)(const uint8_t* luma_row,
                                    const uint8_t* hist, uint8_t* threshold,
                                    int width, const VdSpatialParams* params);

// The family's variant table (base/vd_cpu.h).
struct AdaptiveSpatialKernels {
  VdSpatialRowFn row;
  VdLumaThresholdFn luma_threshold;
  VdChromaThresholdFn chroma_threshold;
};
void VdInitAdaptiveSpatialKernels(AdaptiveSpatialKernels* k, int level);
const AdaptiveSpatialKernels& VdAdaptiveSpatialKernels(int level);

void AdaptiveSpatialRow_C(const uint8_t* r0, const uint8_t* r1,
                          const uint8_t* r2, const uint8_t* threshold,
                          uint8_t* out, int width, int step);
void AdaptiveLumaThreshold_C(const uint8_t* row, const uint8_t* hist,
                             uint8_t* threshold, int width,
                             const VdSpatialParams* params);
void AdaptiveChromaThreshold_C(const uint8_t* luma_row, const uint8_t* hist,
                               uint8_t* threshold, int width,
                               const VdSpatialParams* params);
// One output pixel (references and the twins' borders).
uint8_t AdaptiveSpatialPixel(const uint8_t* r0, const uint8_t* r1,
                             const uint8_t* r2, const uint8_t* threshold,
                             int width, int step, int x);

#if defined(__x86_64__) || defined(_M_X64)
void AdaptiveSpatialRow_SSE2(const uint8_t* r0, const uint8_t* r1,
                             const uint8_t* r2, const uint8_t* threshold,
                             uint8_t* out, int width, int step);
void AdaptiveLumaThreshold_SSE2(const uint8_t* row, const uint8_t* hist,
                                uint8_t* threshold, int width,
                                const VdSpatialParams* params);
void AdaptiveChromaThreshold_SSE2(const uint8_t* luma_row,
                                  const uint8_t* hist, uint8_t* threshold,
                                  int width, const VdSpatialParams* params);
void AdaptiveSpatialRow_AVX2(const uint8_t* r0, const uint8_t* r1,
                             const uint8_t* r2, const uint8_t* threshold,
                             uint8_t* out, int width, int step);
void AdaptiveLumaThreshold_AVX2(const uint8_t* row, const uint8_t* hist,
                                uint8_t* threshold, int width,
                                const VdSpatialParams* params);
void AdaptiveChromaThreshold_AVX2(const uint8_t* luma_row,
                                  const uint8_t* hist, uint8_t* threshold,
                                  int width, const VdSpatialParams* params);
#endif


#if defined(__ARM_NEON)
void AdaptiveSpatialRow_NEON(const uint8_t* r0, const uint8_t* r1,
                             const uint8_t* r2, const uint8_t* threshold,
                             uint8_t* out, int width, int step);
#endif

#endif  // VD_SPATIAL_ADAPTIVE_SPATIAL_H_
