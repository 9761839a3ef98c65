// Temporal blending filters and the strength table. The integer blends have
// their plain references here and their NEON twins in
// temporal_filter_neon.cpp; the exported filters pick one at build time.
#include "temporal/temporal_filter.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "base/vd_cpu.h"
#include "temporal/temporal_filter_internal.h"

// Row r: weights of a pixel whose history holds r + 1 still frames, built
// from base weight 0.33 as 0.33 * 0.67^j for j = 0..r and 0.67^(r + 1) for
// the oldest frame, rounded to the digits below.
double g_dLumaFilterStrength[8][9] = {
    {0.33, 0.67, 0, 0, 0, 0, 0, 0, 0},
    {0.33, 0.2211, 0.4489, 0, 0, 0, 0, 0, 0},
    {0.33, 0.2211, 0.148137, 0.300763, 0, 0, 0, 0, 0},
    {0.33, 0.2211, 0.148137, 0.09925179, 0.20151121, 0, 0, 0, 0},
    {0.33, 0.2211, 0.148137, 0.09925179, 0.066498699, 0.135012511, 0, 0, 0},
    {0.33, 0.2211, 0.148137, 0.09925179, 0.066498699, 0.044554129,
     0.090458382, 0, 0},
    {0.33, 0.2211, 0.148137, 0.09925179, 0.066498699, 0.044554129,
     0.029851266, 0.060607116, 0},
    {0.33, 0.2211, 0.148137, 0.09925179, 0.066498699, 0.044554129,
     0.029851266, 0.020000348, 0.040606768},
};

namespace {

// Weights in units of 1/128 for a still pixel; a moving one keeps the source.
const int kStillWeightS = 38;
const int kStillWeightHalf = 64;

// value + 0.5 truncated toward zero and clamped to a byte; a NaN gives 0.
unsigned char RoundToByte(double value) {
  const double t = value + 0.5;
  if (!(t >= 1.0)) return 0;
  if (t >= 255.0) return 255;
  return static_cast<unsigned char>(static_cast<int>(t));
}

void CopyChroma(sYuvImage_t* src, sYuvImage_t* out, int width, int height,
                int offset) {
  const int64_t length =
      (static_cast<int64_t>(width) * static_cast<int64_t>(height)) >> 2;
  if (length <= 0) return;
  const int c = offset >> 2;
  memmove(out->pU + c, src->pU + c, static_cast<size_t>(length));
  memmove(out->pV + c, src->pV + c, static_cast<size_t>(length));
}

}  // namespace

// Every row covers only its whole 16-pixel blocks and the next row starts
// right after them: the planes are walked as if packed at (width >> 4) * 16
// and the last width mod 16 columns are never visited.
void TemporalFilterS_C(unsigned char* src, unsigned char* ref,
                       unsigned char* mask, unsigned char* out, int width,
                       int height) {
  const int span = (width >> 4) * 16;
  if (span <= 0) return;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < span; ++x) {
      const int w = mask[x] < 128 ? kStillWeightS : 0;
      out[x] = static_cast<unsigned char>(
          (src[x] * (128 - w) + ref[x] * w + 64) >> 7);
    }
    src += span;
    ref += span;
    mask += span;
    out += span;
  }
}

// Same stepping as TemporalFilterS_C; the half-and-half blend truncates.
void TemporalFilterLuma_C(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height) {
  const int span = (width >> 4) * 16;
  if (span <= 0) return;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < span; ++x) {
      const int w = mask[x] < 128 ? kStillWeightHalf : 0;
      out[x] = static_cast<unsigned char>(
          (ref[x] * w + src[x] * (128 - w)) >> 7);
    }
    src += span;
    ref += span;
    mask += span;
    out += span;
  }
}

void VdInitTemporalFilterKernels(TemporalFilterKernels* k, int level) {
  k->still = TemporalFilterS_C;
  k->luma = TemporalFilterLuma_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->still = TemporalFilterS_NEON;
    k->luma = TemporalFilterLuma_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) k->still = TemporalFilterS_SSE2;
  if (level == kVdSimdAvx2) k->still = TemporalFilterS_AVX2;
#endif
  (void)level;
}

const TemporalFilterKernels& VdTemporalFilterKernels(int level) {
  return VdSimdTable<TemporalFilterKernels, VdInitTemporalFilterKernels>(
      level);
}

extern "C" void TemporalFilterS(unsigned char* src, unsigned char* ref,
                                unsigned char* mask, unsigned char* out,
                                int width, int height) {
  VdTemporalFilterKernels(VdSimdLevel()).still(src, ref, mask, out, width,
                                               height);
}

// Blends luma only; the output's chroma is copied from the source when
// withChroma is 0 and left untouched otherwise.
extern "C" int TemporalFilter(sYuvImage_t* src, sYuvImage_t* ref,
                              sYuvImage_t* mask, sYuvImage_t* out, int width,
                              int height, int withChroma, int offset) {
  VdTemporalFilterKernels(VdSimdLevel()).luma(src->pY + offset, ref->pY + offset, mask->pY + offset,
       out->pY + offset, width, height);
  if (withChroma == 0) CopyChroma(src, out, width, height, offset);
  return 1;
}

// Weighted blend driven by a motion-history byte: the number of set bits k
// picks row k - 1 of the strength table; the source takes column 0 and, when
// the newest history bit (bit 0) is set, the first previous frame takes
// column 1. The previous frame is addressed from its plane start, without
// the stripe offset. Chroma is copied from the source.
extern "C" int TemporalFilterMultiFrame(sYuvImage_t* /*unused*/,
                                        sYuvImage_t* src, sYuvImage_t* out,
                                        sYuvImage_t* history,
                                        sYuvImage_t** prevFrames, int width,
                                        int height, int offset) {
  const unsigned char* s = src->pY + offset;
  const unsigned char* h = history->pY + offset;
  unsigned char* o = out->pY + offset;
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      const unsigned int bits = h[row + x];
      const double source = s[row + x];
      double value = source;
      if (bits != 0) {
        const double* weights = g_dLumaFilterStrength[__builtin_popcount(bits) - 1];
        value = source * weights[0];
        if (bits & 1u) {
          const double previous = prevFrames[0]->pY[row + x];
          value += previous * weights[1];
        }
      }
      o[row + x] = RoundToByte(value);
    }
  }
  CopyChroma(src, out, width, height, offset);
  return 1;
}

// Row 0 is (a, 1 - a); each further row keeps the weights of the row above
// except its last one, whose share is split again as a and 1 - a.
extern "C" void InitFilterStrength(double (*table)[9], double a) {
  table[0][0] = a;
  table[0][1] = 1.0 - a;
  for (int j = 2; j < 9; ++j) table[0][j] = 0.0;
  for (int r = 1; r < 8; ++r) {
    double used = 0.0;
    for (int j = 0; j < r; ++j) {
      table[r][j] = table[r - 1][j];
      used += table[r][j];
    }
    const double rest = 1.0 - used;
    table[r][r] = a * rest;
    table[r][r + 1] = (1.0 - a) * rest;
    for (int j = r + 2; j < 9; ++j) table[r][j] = 0.0;
  }
}

extern "C" void InitVideoNR(void) {
  InitFilterStrength(g_dLumaFilterStrength, 0.6);
}
