// Kernels of the adaptive method's temporal step: block SADs for motion
// search, and the per-row recursive blend of a frame with its motion-
// compensated prediction. Plain references (suffix _C) with x86 and NEON
// twins that write the same bytes, in the family's variant table
// (base/vd_cpu.h).
//
// Noise is described per brightness by NoiseLine: four times the noise
// standard deviation at brightness Y is
//   sigma4(Y) = min(a1 + ((b1 * Y) >> 6), a2 + ((b2 * Y) >> 6)),
// two chords of a concave curve, every term within 16 bits
// (0 <= a <= 255, 0 <= b <= 128).
#ifndef VD_TEMPORAL_ADAPTIVE_TEMPORAL_H_
#define VD_TEMPORAL_ADAPTIVE_TEMPORAL_H_

#include <stdint.h>

struct VdNoiseLine {
  int16_t a1, b1, a2, b2;
};

// Longest history a pixel accumulates (frames), and the gain of a pixel
// whose history holds n frames: round(128 / (n + 1)).
enum { kVdAdaptiveMaxHistory = 15 };
extern const uint8_t kVdAdaptiveGain[16];

inline int VdSigma4(const VdNoiseLine& l, int y) {
  const int s1 = l.a1 + ((l.b1 * y) >> 6);
  const int s2 = l.a2 + ((l.b2 * y) >> 6);
  return s1 < s2 ? s1 : s2;
}

// Chroma: the luma curve at the pixel's brightness scaled by ratio / 64
// (ratio <= 128), at most 255.
inline int VdChromaSigma4(const VdNoiseLine& l, int ratio, int y) {
  const int s = (VdSigma4(l, y) * ratio) >> 6;
  return s < 255 ? s : 255;
}

// Motion thresholds on the 3x3 sum of absolute differences between a frame
// and its prediction, in units of the noise sigma: at most `still` keeps
// accumulating, at most `move` keeps a quarter of the history, above it the
// pixel starts afresh. Chroma has one threshold.
struct VdTemporalParams {
  VdNoiseLine luma;
  int16_t still, move;   // luma thresholds (sigma units)
  int16_t chroma_move;   // chroma threshold (sigma units)
  int16_t chroma_ratio;  // chroma sigma / luma sigma, in 1/64
};

// Sum of absolute differences over `rows` (at most 64) rows of 16 bytes.
typedef int (*VdSad16Fn)(const uint8_t* a, int a_stride, const uint8_t* b,
                         int b_stride, int rows);

// SAD over `rows` rows of 16 bytes between a and b at a half-pixel offset:
// each b pixel is (b[k] + b[k + fx] + b[k + s] + b[k + s + fx] + 2) >> 2 with
// s = fy * b_stride (fx, fy 0 or 1), so whole offsets read b itself.
typedef int (*VdHalfSad16Fn)(const uint8_t* a, int a_stride, const uint8_t* b,
                             int b_stride, int fx, int fy, int rows);

// n pixels of a half-pixel prediction: out[k] = (r0[k] + r0[k + fx] + r1[k] +
// r1[k + fx] + 2) >> 2 (fx 0 or 1; r1 is r0 for no vertical half).
typedef void (*VdInterpolateFn)(const uint8_t* r0, const uint8_t* r1, int fx,
                                uint8_t* out, int n);

// One luma row y: c0/c1/c2 and p0/p1/p2 are rows y-1, y, y+1 of the frame and
// of its prediction (border rows repeated by the caller), cap the longest
// history each pixel may keep, hist the row's
// history lengths (read, then replaced by the new ones), out the blended row.
// Columns beyond the row repeat its border pixel.
typedef void (*VdTemporalLumaFn)(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* cap, uint8_t* hist,
                                 uint8_t* out, int width,
                                 const VdTemporalParams* params);

// One chroma row: as the luma row, plus the luma prediction row 2y (its
// even pixels give the brightness) and the new luma history rows 2y and
// 2y + 1 (the minimum of each 2x2 caps the chroma history; zero restarts it).
// width is the chroma width; the luma rows hold 2 * width pixels.
typedef void (*VdTemporalChromaFn)(const uint8_t* c0, const uint8_t* c1,
                                   const uint8_t* c2, const uint8_t* p0,
                                   const uint8_t* p1, const uint8_t* p2,
                                   const uint8_t* luma_pred,
                                   const uint8_t* luma_hist0,
                                   const uint8_t* luma_hist1, uint8_t* hist,
                                   uint8_t* out, int width,
                                   const VdTemporalParams* params);

// The family's variant table (base/vd_cpu.h).
struct AdaptiveTemporalKernels {
  VdSad16Fn sad16;
  VdHalfSad16Fn half_sad16;
  VdInterpolateFn interpolate;
  VdTemporalLumaFn luma;
  VdTemporalChromaFn chroma;
};
void VdInitAdaptiveTemporalKernels(AdaptiveTemporalKernels* k, int level);
const AdaptiveTemporalKernels& VdAdaptiveTemporalKernels(int level);

// References.
int AdaptiveSad16_C(const uint8_t* a, int a_stride, const uint8_t* b,
                    int b_stride, int rows);
int AdaptiveHalfSad16_C(const uint8_t* a, int a_stride, const uint8_t* b,
                        int b_stride, int fx, int fy, int rows);
void AdaptiveInterpolate_C(const uint8_t* r0, const uint8_t* r1, int fx,
                           uint8_t* out, int n);
void AdaptiveTemporalLuma_C(const uint8_t* c0, const uint8_t* c1,
                            const uint8_t* c2, const uint8_t* p0,
                            const uint8_t* p1, const uint8_t* p2,
                            const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                            const VdTemporalParams* params);
void AdaptiveTemporalChroma_C(const uint8_t* c0, const uint8_t* c1,
                              const uint8_t* c2, const uint8_t* p0,
                              const uint8_t* p1, const uint8_t* p2,
                              const uint8_t* luma_pred,
                              const uint8_t* luma_hist0,
                              const uint8_t* luma_hist1, uint8_t* hist,
                              uint8_t* out, int width,
                              const VdTemporalParams* params);

// Single pixels, shared by the references and by the twins' borders.
void AdaptiveTemporalLumaPixel(const uint8_t* c0, const uint8_t* c1,
                               const uint8_t* c2, const uint8_t* p0,
                               const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width, int x,
                               const VdTemporalParams* params);
void AdaptiveTemporalChromaPixel(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred,
                                 const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist,
                                 uint8_t* out, int width, int x,
                                 const VdTemporalParams* params);

#if defined(__x86_64__) || defined(_M_X64)
int AdaptiveSad16_SSE2(const uint8_t* a, int a_stride, const uint8_t* b,
                       int b_stride, int rows);
int AdaptiveHalfSad16_SSE2(const uint8_t* a, int a_stride, const uint8_t* b,
                           int b_stride, int fx, int fy, int rows);
void AdaptiveInterpolate_SSE2(const uint8_t* r0, const uint8_t* r1, int fx,
                              uint8_t* out, int n);
void AdaptiveTemporalLuma_SSE2(const uint8_t* c0, const uint8_t* c1,
                               const uint8_t* c2, const uint8_t* p0,
                               const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params);
void AdaptiveTemporalChroma_SSE2(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred,
                                 const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist,
                                 uint8_t* out, int width,
                                 const VdTemporalParams* params);
void AdaptiveTemporalChroma_AVX2(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred,
                                 const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist,
                                 uint8_t* out, int width,
                                 const VdTemporalParams* params);
void AdaptiveTemporalLuma_AVX2(const uint8_t* c0, const uint8_t* c1,
                               const uint8_t* c2, const uint8_t* p0,
                               const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params);
#endif


#if defined(__ARM_NEON)
int AdaptiveSad16_NEON(const uint8_t* a, int a_stride, const uint8_t* b,
                       int b_stride, int rows);
int AdaptiveHalfSad16_NEON(const uint8_t* a, int a_stride, const uint8_t* b,
                           int b_stride, int fx, int fy, int rows);
void AdaptiveTemporalLuma_NEON(const uint8_t* c0, const uint8_t* c1,
                               const uint8_t* c2, const uint8_t* p0,
                               const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist,
                               uint8_t* out, int width,
                               const VdTemporalParams* params);
void AdaptiveTemporalChroma_NEON(const uint8_t* c0, const uint8_t* c1,
                                 const uint8_t* c2, const uint8_t* p0,
                                 const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred,
                                 const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist,
                                 uint8_t* out, int width,
                                 const VdTemporalParams* params);
#endif

#endif  // VD_TEMPORAL_ADAPTIVE_TEMPORAL_H_
