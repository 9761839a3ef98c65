// Internals of the bilateral filters: the weight formula, the byte tables of
// the 7 x 7 and 9 x 9 kernels and their scalar and NEON implementations.
#ifndef VD_SPATIAL_BILATERAL_INTERNAL_H_
#define VD_SPATIAL_BILATERAL_INTERNAL_H_

#include <stdint.h>

// Weight of a distance or difference x for a sigma s > 0 on a scale of 64:
// (int)(0.5 + 64 * exp(x * (x * -0.5f) / s / s)), the exponent in single
// precision, the exponential and the scaling in double. w(0) = 64.
int BilateralWeight(int x, int s);

// Reflects an index into 0 .. n-1 without repeating the edge (-k -> k,
// n-1+k -> n-1-k); when the plane is narrower than the window the reflected
// index is clamped into the plane as well.
int BilateralMirror(int i, int n);

// Weight tables of the 7 x 7 and 9 x 9 kernels, one byte per entry.
struct BilateralTables {
  // range[d] for an absolute difference d; entries above
  // min(2 * sigmaRange, 15) are 0, and differences >= 16 weigh 0 as well.
  uint8_t range[16];
  // spatial[k] for a tap at distance k; the kernels use entries 1 .. radius.
  uint8_t spatial[16];
};

// Fills the tables for a kernel of the given radius (3 or 4). Both sigmas
// must be positive.
void BilateralBuildTables(int radius, int sigmaSpatial, int sigmaRange,
                          BilateralTables* tables);

// Weight of the centre tap of the kernels (64 x 64).
enum { kBilateralCentreWeight = 4096 };

// Separable bilateral kernels (radius 3 and 4): src and dst are width x
// height planes that must not overlap; both sigmas must be positive. The _C
// functions are the scalar references, the _NEON functions their twins; both
// give identical bytes.
void Bilateral7x7_C(const uint8_t* src, uint8_t* dst, int width, int height,
                    int sigmaSpatial, int sigmaRange);
void Bilateral9x9_C(const uint8_t* src, uint8_t* dst, int width, int height,
                    int sigmaSpatial, int sigmaRange);
#if defined(__ARM_NEON)
void Bilateral7x7_NEON(const uint8_t* src, uint8_t* dst, int width, int height,
                       int sigmaSpatial, int sigmaRange);
void Bilateral9x9_NEON(const uint8_t* src, uint8_t* dst, int width, int height,
                       int sigmaSpatial, int sigmaRange);
#endif

// The family's variant table (base/vd_cpu.h).
using BilateralFn = void (*)(const uint8_t* src, uint8_t* dst, int width,
                             int height, int sigmaSpatial, int sigmaRange);
struct BilateralKernels {
  BilateralFn radius3;  // 7 x 7
  BilateralFn radius4;  // 9 x 9
};
void VdInitBilateralKernels(BilateralKernels* k, int level);
const BilateralKernels& VdBilateralKernels(int level);

#endif  // VD_SPATIAL_BILATERAL_INTERNAL_H_
