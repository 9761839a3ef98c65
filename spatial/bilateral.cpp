// Bilateral filters: the cross (guided) filter in plain integer code, the
// scalar references of the 7 x 7 and 9 x 9 kernels and the exported entry
// points. The NEON twins of the kernels live in bilateral_neon.cpp.
#include "spatial/bilateral.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "base/vd_alloc.h"
#include "base/vd_cpu.h"
#include "spatial/bilateral_internal.h"
#include "spatial/recip_estimate.h"

int BilateralWeight(int x, int s) {
  const float xf = (float)x;
  const float sf = (float)s;
  const float t = xf * (xf * -0.5f) / sf / sf;
  return (int)(0.5 + 64.0 * exp((double)t));
}

int BilateralMirror(int i, int n) {
  if (i < 0) {
    i = -i;
  } else if (i > n - 1) {
    i = 2 * (n - 1) - i;
  }
  // A plane narrower than the window has no mirror image for the outer
  // taps; they read the nearest pixel of the plane.
  if (i < 0) i = 0;
  if (i > n - 1) i = n - 1;
  return i;
}

namespace {

uint8_t ClampToByte(int v) { return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v); }

}  // namespace

void BilateralBuildTables(int radius, int sigmaSpatial, int sigmaRange,
                          BilateralTables* tables) {
  memset(tables, 0, sizeof(*tables));
  const int rangeLast = sigmaRange > 7 ? 15 : 2 * sigmaRange;
  for (int d = 0; d <= rangeLast; ++d) {
    tables->range[d] = ClampToByte(BilateralWeight(d, sigmaRange));
  }
  const int spatialLast =
      std::max(radius, sigmaSpatial > 7 ? 15 : 2 * sigmaSpatial);
  for (int k = 0; k <= spatialLast; ++k) {
    tables->spatial[k] = ClampToByte(BilateralWeight(k, sigmaSpatial));
  }
}

namespace {

// One output of either pass of the kernels. taps[0 .. 2R] are the values at
// distances -R .. R with the centre at taps[R]. A neighbour at distance k
// weighs range[|tap - centre|] x spatial[k] (a difference of 16 or more
// weighs 0), the centre 4096. The weighted mean is the weighted sum times
// the refined reciprocal of the weight sum, rounded half up.
uint8_t CombineTaps(const uint8_t* taps, int radius,
                    const BilateralTables& tables) {
  const int centre = taps[radius];
  // At most 9 x 4096 = 36864, so the 16-bit lanes of the vector code never
  // wrap; the weighted sum stays below 2^24 and converts to float exactly.
  uint32_t weightSum = kBilateralCentreWeight;
  uint32_t valueSum = kBilateralCentreWeight * (uint32_t)centre;
  for (int j = 0; j <= 2 * radius; ++j) {
    if (j == radius) continue;
    const int d = abs(taps[j] - centre);
    const uint32_t rangeWeight = d < 16 ? tables.range[d] : 0;
    const uint32_t weight = rangeWeight * tables.spatial[abs(j - radius)];
    weightSum += weight;
    valueSum += weight * taps[j];
  }
  // The mean never exceeds 255, so keeping the low byte of the 16-bit value
  // equals the saturating narrowing of the vector code.
  return VdNormaliseToByte((float)valueSum, (float)weightSum);
}

// Horizontal pass over the columns x0 .. x0+n-1 of one row.
void HorizontalRow(const uint8_t* row, int width, int x0, int n, int radius,
                   const BilateralTables& tables, uint8_t* out) {
  uint8_t taps[9];
  for (int c = 0; c < n; ++c) {
    for (int j = 0; j <= 2 * radius; ++j) {
      taps[j] = row[BilateralMirror(x0 + c - radius + j, width)];
    }
    out[c] = CombineTaps(taps, radius, tables);
  }
}

// Both passes in one downward sweep over strips 8 columns wide: the
// horizontal results of the rows r-R .. r+R sit in a ring (row i in slot
// (i + R) mod (2R + 1)), and the vertical pass combines them, taking range
// differences between horizontal results. Rows and columns outside the
// plane are read from their mirror images.
void BilateralKernel_C(const uint8_t* src, uint8_t* dst, int width, int height,
                       int radius, int sigmaSpatial, int sigmaRange) {
  BilateralTables tables;
  BilateralBuildTables(radius, sigmaSpatial, sigmaRange, &tables);
  const int taps = 2 * radius + 1;
  for (int x0 = 0; x0 < width; x0 += 8) {
    const int n = std::min(8, width - x0);
    uint8_t ring[9][8];
    auto slot = [&](int i) { return ring[(i + radius) % taps]; };
    auto fill = [&](int i) {
      const uint8_t* row = src + (size_t)BilateralMirror(i, height) * width;
      HorizontalRow(row, width, x0, n, radius, tables, slot(i));
    };
    for (int i = -radius; i < radius; ++i) fill(i);
    for (int r = 0; r < height; ++r) {
      fill(r + radius);
      uint8_t* out = dst + (size_t)r * width + x0;
      uint8_t column[9];
      for (int c = 0; c < n; ++c) {
        for (int j = 0; j < taps; ++j) column[j] = slot(r - radius + j)[c];
        out[c] = CombineTaps(column, radius, tables);
      }
    }
  }
}

}  // namespace

void Bilateral7x7_C(const uint8_t* src, uint8_t* dst, int width, int height,
                    int sigmaSpatial, int sigmaRange) {
  BilateralKernel_C(src, dst, width, height, 3, sigmaSpatial, sigmaRange);
}

void Bilateral9x9_C(const uint8_t* src, uint8_t* dst, int width, int height,
                    int sigmaSpatial, int sigmaRange) {
  BilateralKernel_C(src, dst, width, height, 4, sigmaSpatial, sigmaRange);
}

void VdInitBilateralKernels(BilateralKernels* k, int level) {
  k->radius3 = Bilateral7x7_C;
  k->radius4 = Bilateral9x9_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->radius3 = Bilateral7x7_NEON;
    k->radius4 = Bilateral9x9_NEON;
  }
#endif
  (void)level;
}

const BilateralKernels& VdBilateralKernels(int level) {
  return VdSimdTable<BilateralKernels, VdInitBilateralKernels>(level);
}

extern "C" void bilateral_7x7_neon(unsigned char* src, unsigned char* dst,
                                   int width, int height, int sigmaSpatial,
                                   int sigmaRange) {
  if (sigmaSpatial <= 0 || sigmaRange <= 0) return;
  VdBilateralKernels(VdSimdLevel()).radius3(src, dst, width, height, sigmaSpatial, sigmaRange);
}

extern "C" void bilateral_9x9_neon(unsigned char* src, unsigned char* dst,
                                   int width, int height, int sigmaSpatial,
                                   int sigmaRange) {
  if (sigmaSpatial <= 0 || sigmaRange <= 0) return;
  VdBilateralKernels(VdSimdLevel()).radius4(src, dst, width, height, sigmaSpatial, sigmaRange);
}

extern "C" void CrossBilateralFilter(unsigned char* image, int height,
                                     int width, int sigmaSpatial,
                                     int sigmaRange, unsigned char* work,
                                     unsigned char* guide) {
  if (sigmaSpatial <= 0 || sigmaRange <= 0) return;

  // Range weights of the guide differences -255 .. 255 (entry 255 + diff);
  // differences beyond twice the range sigma weigh 0.
  int range[511];
  memset(range, 0, sizeof(range));
  const int cut = sigmaRange > 127 ? 255 : 2 * sigmaRange;
  for (int d = -cut; d <= cut; ++d) {
    range[255 + d] = BilateralWeight(d, sigmaRange);
  }

  const int radius = sigmaSpatial <= 2 ? 3 : 4;
  int* spatial = (int*)VdMalloc((size_t)(2 * radius + 1) * sizeof(int));
  if (spatial == NULL) return;
  for (int k = -radius; k <= radius; ++k) {
    spatial[radius + k] = BilateralWeight(k, sigmaSpatial);
  }

  // Horizontal pass into work. The first and last R columns of each row are
  // copied unchanged (in a row narrower than R, the whole row).
  const int edge = std::min(radius, width);
  for (int row = 0; row < height; ++row) {
    const unsigned char* in = image + (size_t)row * width;
    const unsigned char* g = guide + (size_t)row * width;
    unsigned char* out = work + (size_t)row * width;
    if (edge > 0) {
      memcpy(out, in, (size_t)edge);
      memcpy(out + width - edge, in + width - edge, (size_t)edge);
    }
    for (int c = radius; c < width - radius; ++c) {
      int weightSum = 0;
      int valueSum = 0;
      for (int k = -radius; k <= radius; ++k) {
        const int weight = range[255 + g[c] - g[c + k]] * spatial[radius + k];
        weightSum += weight;
        valueSum += weight * in[c + k];
      }
      out[c] = (unsigned char)((valueSum + (weightSum >> 1)) / weightSum);
    }
  }

  // Vertical pass from work back into image; the first and last R rows keep
  // their input values. The guide is read as the pass goes, so a guide that
  // is the image itself sees the rows already written above.
  for (int row = radius; row < height - radius; ++row) {
    for (int c = 0; c < width; ++c) {
      const int g = guide[(size_t)row * width + c];
      int weightSum = 0;
      int valueSum = 0;
      for (int k = -radius; k <= radius; ++k) {
        const size_t at = (size_t)(row + k) * width + c;
        const int weight = range[255 + g - guide[at]] * spatial[radius + k];
        weightSum += weight;
        valueSum += weight * work[at];
      }
      image[(size_t)row * width + c] =
          (unsigned char)((valueSum + (weightSum >> 1)) / weightSum);
    }
  }

  VdFree(spatial);
}

extern "C" void BilateralFilter(unsigned char* image, int height, int width,
                                int sigmaSpatial, int sigmaRange,
                                unsigned char* work) {
  if (sigmaSpatial <= 0 || sigmaRange <= 0) return;
  if (width > 0 && height > 0) {
    memcpy(work, image, (size_t)width * height);
  }
  if (sigmaSpatial <= 2) {
    bilateral_7x7_neon(work, image, width, height, sigmaSpatial, sigmaRange);
  } else {
    bilateral_9x9_neon(work, image, width, height, sigmaSpatial, sigmaRange);
  }
}

extern "C" void BilateralFilter_new(unsigned char* src, unsigned char* dst,
                                    int height, int width, int sigmaSpatial,
                                    int sigmaRange, int mode) {
  if (sigmaSpatial <= 0 || sigmaRange <= 0) return;
  bool wide;
  if (mode == 0) {
    wide = true;
  } else if (mode == 2) {
    wide = sigmaSpatial > 2;
  } else {
    wide = false;
  }
  if (wide) {
    bilateral_9x9_neon(src, dst, width, height, sigmaSpatial, sigmaRange);
  } else {
    bilateral_7x7_neon(src, dst, width, height, sigmaSpatial, sigmaRange);
  }
}
