// References of the adaptive temporal kernels and the choice of twins.
#include "temporal/adaptive_temporal.h"

#include <stdlib.h>

#include "base/vd_cpu.h"

const uint8_t kVdAdaptiveGain[16] = {128, 64, 43, 32, 26, 21, 18, 16,
                                     14,  13, 12, 11, 10, 9,  9,  8};

namespace {

inline int AbsDiff(int a, int b) { return a > b ? a - b : b - a; }

// 3x3 sum of |c - p| around column x, border columns repeated.
inline int PatchSad(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                    const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                    int width, int x) {
  const int xl = x > 0 ? x - 1 : 0;
  const int xr = x < width - 1 ? x + 1 : width - 1;
  const int cols[3] = {xl, x, xr};
  int s = 0;
  for (int i = 0; i < 3; ++i) {
    const int k = cols[i];
    s += AbsDiff(c0[k], p0[k]) + AbsDiff(c1[k], p1[k]) + AbsDiff(c2[k], p2[k]);
  }
  return s;
}

// The prediction moved toward the frame by the gain of a history of n.
inline uint8_t Blend(int c, int p, int n) {
  return static_cast<uint8_t>(p + (((c - p) * kVdAdaptiveGain[n] + 64) >> 7));
}

}  // namespace

int AdaptiveSad16_C(const uint8_t* a, int a_stride, const uint8_t* b,
                    int b_stride, int rows) {
  int s = 0;
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < 16; ++x) s += AbsDiff(a[x], b[x]);
    a += a_stride;
    b += b_stride;
  }
  return s;
}

int AdaptiveHalfSad16_C(const uint8_t* a, int a_stride, const uint8_t* b,
                        int b_stride, int fx, int fy, int rows) {
  const int down = fy ? b_stride : 0;
  int s = 0;
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < 16; ++x) {
      const int p = (b[x] + b[x + fx] + b[x + down] + b[x + down + fx] + 2) >> 2;
      s += AbsDiff(a[x], p);
    }
    a += a_stride;
    b += b_stride;
  }
  return s;
}

void AdaptiveInterpolate_C(const uint8_t* r0, const uint8_t* r1, int fx,
                           uint8_t* out, int n) {
  for (int k = 0; k < n; ++k) {
    out[k] = static_cast<uint8_t>((r0[k] + r0[k + fx] + r1[k] + r1[k + fx] + 2) >> 2);
  }
}

void AdaptiveTemporalLumaPixel(const uint8_t* c0, const uint8_t* c1,
                               const uint8_t* c2, const uint8_t* p0,
                               const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width, int x,
                               const VdTemporalParams* params) {
  const int sad4 = 4 * PatchSad(c0, c1, c2, p0, p1, p2, width, x);
  const int sigma4 = VdSigma4(params->luma, p1[x]);
  int grown = hist[x] + 1;
  if (grown > kVdAdaptiveMaxHistory) grown = kVdAdaptiveMaxHistory;
  int n = 0;
  if (sad4 <= params->still * sigma4) {
    n = grown;
  } else if (sad4 <= params->move * sigma4) {
    n = grown >> 2;
  }
  if (n > cap[x]) n = cap[x];
  hist[x] = static_cast<uint8_t>(n);
  out[x] = Blend(c1[x], p1[x], n);
}

void AdaptiveTemporalLuma_C(const uint8_t* c0, const uint8_t* c1,
                            const uint8_t* c2, const uint8_t* p0,
                            const uint8_t* p1, const uint8_t* p2,
                            const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                            const VdTemporalParams* params) {
  for (int x = 0; x < width; ++x) {
    AdaptiveTemporalLumaPixel(c0, c1, c2, p0, p1, p2, cap, hist, out, width, x,
                              params);
  }
}

void AdaptiveTemporalChromaPixel(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred,
                                 const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist,
                                 uint8_t* out, int width, int x,
                                 const VdTemporalParams* params) {
  const int sad4 = 4 * PatchSad(c0, c1, c2, p0, p1, p2, width, x);
  const int sigma4 =
      VdChromaSigma4(params->luma, params->chroma_ratio, luma_pred[2 * x]);
  int cap = luma_hist0[2 * x];
  if (luma_hist0[2 * x + 1] < cap) cap = luma_hist0[2 * x + 1];
  if (luma_hist1[2 * x] < cap) cap = luma_hist1[2 * x];
  if (luma_hist1[2 * x + 1] < cap) cap = luma_hist1[2 * x + 1];
  int n = hist[x] + 1;
  if (n > cap) n = cap;
  if (sad4 > params->chroma_move * sigma4) n = 0;
  hist[x] = static_cast<uint8_t>(n);
  out[x] = Blend(c1[x], p1[x], n);
}

void AdaptiveTemporalChroma_C(const uint8_t* c0, const uint8_t* c1,
                              const uint8_t* c2, const uint8_t* p0,
                              const uint8_t* p1, const uint8_t* p2,
                              const uint8_t* luma_pred,
                              const uint8_t* luma_hist0,
                              const uint8_t* luma_hist1, uint8_t* hist,
                              uint8_t* out, int width,
                              const VdTemporalParams* params) {
  for (int x = 0; x < width; ++x) {
    AdaptiveTemporalChromaPixel(c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0,
                                luma_hist1, hist, out, width, x, params);
  }
}

void VdInitAdaptiveTemporalKernels(AdaptiveTemporalKernels* k, int level) {
  k->sad16 = AdaptiveSad16_C;
  k->half_sad16 = AdaptiveHalfSad16_C;
  k->interpolate = AdaptiveInterpolate_C;
  k->luma = AdaptiveTemporalLuma_C;
  k->chroma = AdaptiveTemporalChroma_C;
#if defined(__ARM_NEON)
  // The half-pixel rows keep the reference on ARM.
  if (level == kVdSimdNeon) {
    k->sad16 = AdaptiveSad16_NEON;
    k->half_sad16 = AdaptiveHalfSad16_NEON;
    k->luma = AdaptiveTemporalLuma_NEON;
    k->chroma = AdaptiveTemporalChroma_NEON;
  }
#elif defined(VD_X86_SIMD)
  // The 16-byte SADs and the half-pixel rows have no wider AVX2 form: both
  // levels take the SSE2 ones.
  if (level == kVdSimdSse2 || level == kVdSimdAvx2) {
    k->sad16 = AdaptiveSad16_SSE2;
    k->half_sad16 = AdaptiveHalfSad16_SSE2;
    k->interpolate = AdaptiveInterpolate_SSE2;
  }
  if (level == kVdSimdSse2) {
    k->luma = AdaptiveTemporalLuma_SSE2;
    k->chroma = AdaptiveTemporalChroma_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->luma = AdaptiveTemporalLuma_AVX2;
    k->chroma = AdaptiveTemporalChroma_AVX2;
  }
#endif
  (void)level;
}

const AdaptiveTemporalKernels& VdAdaptiveTemporalKernels(int level) {
  return VdSimdTable<AdaptiveTemporalKernels, VdInitAdaptiveTemporalKernels>(level);
}
