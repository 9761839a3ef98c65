// References of the adaptive spatial kernels and the choice of twins.
#include "spatial/adaptive_spatial.h"

#include "base/vd_cpu.h"

namespace {

// d where the noise can explain it, fading to 0 between T and 2T.
inline int Phi(int d, int t) {
  const int a = d < 0 ? -d : d;
  int m = 2 * t - a;
  if (a < m) m = a;
  if (m < 0) m = 0;
  return d < 0 ? -m : m;
}

}  // namespace

uint8_t AdaptiveSpatialPixel(const uint8_t* r0, const uint8_t* r1,
                             const uint8_t* r2, const uint8_t* threshold,
                             int width, int step, int x) {
  const int xl = x >= step ? x - step : 0;
  const int xr = x < width - step ? x + step : width - 1;
  const int c = r1[x];
  const int t = threshold[x];
  const int sum = Phi(r0[xl] - c, t) + 2 * Phi(r0[x] - c, t) + Phi(r0[xr] - c, t) +
                  2 * Phi(r1[xl] - c, t) + 2 * Phi(r1[xr] - c, t) +
                  Phi(r2[xl] - c, t) + 2 * Phi(r2[x] - c, t) + Phi(r2[xr] - c, t);
  int v = c + ((sum + 8) >> 4);
  if (v < 0) v = 0;
  if (v > 255) v = 255;
  return static_cast<uint8_t>(v);
}

void AdaptiveSpatialRow_C(const uint8_t* r0, const uint8_t* r1,
                          const uint8_t* r2, const uint8_t* threshold,
                          uint8_t* out, int width, int step) {
  for (int x = 0; x < width; ++x) {
    out[x] = AdaptiveSpatialPixel(r0, r1, r2, threshold, width, step, x);
  }
}

void AdaptiveLumaThreshold_C(const uint8_t* row, const uint8_t* hist,
                             uint8_t* threshold, int width,
                             const VdSpatialParams* params) {
  for (int x = 0; x < width; ++x) {
    const int s = VdSigma4(params->luma, row[x]);
    threshold[x] = static_cast<uint8_t>((s * params->reach[hist[x]]) >> 8);
  }
}

void AdaptiveChromaThreshold_C(const uint8_t* luma_row, const uint8_t* hist,
                               uint8_t* threshold, int width,
                               const VdSpatialParams* params) {
  for (int x = 0; x < width; ++x) {
    const int s =
        VdChromaSigma4(params->luma, params->chroma_ratio, luma_row[2 * x]);
    threshold[x] = static_cast<uint8_t>((s * params->reach[hist[x]]) >> 8);
  }
}

void VdInitAdaptiveSpatialKernels(AdaptiveSpatialKernels* k, int level) {
  k->row = AdaptiveSpatialRow_C;
  k->luma_threshold = AdaptiveLumaThreshold_C;
  k->chroma_threshold = AdaptiveChromaThreshold_C;
#if defined(__ARM_NEON)
  // The thresholds keep the references on ARM.
  if (level == kVdSimdNeon) k->row = AdaptiveSpatialRow_NEON;
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) {
    k->row = AdaptiveSpatialRow_SSE2;
    k->luma_threshold = AdaptiveLumaThreshold_SSE2;
    k->chroma_threshold = AdaptiveChromaThreshold_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->row = AdaptiveSpatialRow_AVX2;
    k->luma_threshold = AdaptiveLumaThreshold_AVX2;
    k->chroma_threshold = AdaptiveChromaThreshold_AVX2;
  }
#endif
  (void)level;
}

const AdaptiveSpatialKernels& VdAdaptiveSpatialKernels(int level) {
  return VdSimdTable<AdaptiveSpatialKernels, VdInitAdaptiveSpatialKernels>(level);
}
