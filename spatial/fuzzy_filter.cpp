// The fuzzy filters: the temporal table blend, the 3x3 range-weighted means
// (scalar references and dispatch), and the division-by-nine table.
#include <string.h>

#include "base/vd_cpu.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"

int g_FuzzyHeight = 1;
int g_FuzzyHeight_2 = 1;

// ---- FuzzyFilter_2 ---------------------------------------------------------

// Four pixels per step; the last width x height mod 4 pixels are left alone.
// All four lookups are loaded before anything is stored, so out may be cur.
int FuzzyFilter_2_C(const unsigned char* cur, const unsigned char* diff,
                    const unsigned char* sign, unsigned char* out, int width,
                    int height, int level) {
  const int64_t count = int64_t{width} * height;
  if (count < 4) return 0;
  const size_t end = static_cast<size_t>(count) & ~size_t{3};
  const uint8_t* table = nr_table + level * kNrBytesPerLevel;
  for (size_t i = 0; i < end; i += 4) {
    const uint8_t v0 =
        table[cur[i] * kNrBytesPerValue + diff[i] * 2 + sign[i]];
    const uint8_t v1 =
        table[cur[i + 1] * kNrBytesPerValue + diff[i + 1] * 2 + sign[i + 1]];
    const uint8_t v2 =
        table[cur[i + 2] * kNrBytesPerValue + diff[i + 2] * 2 + sign[i + 2]];
    const uint8_t v3 =
        table[cur[i + 3] * kNrBytesPerValue + diff[i + 3] * 2 + sign[i + 3]];
    out[i] = v0;
    out[i + 1] = v1;
    out[i + 2] = v2;
    out[i + 3] = v3;
  }
  return 0;
}

// ---- 3x3 range-weighted means ----------------------------------------------

void VdFuzzyCopyBorders(const uint8_t* src, uint8_t* dst, int width,
                        int height, int iEdge) {
  if (width <= 0 || height <= 0) return;
  const size_t w = static_cast<size_t>(width);
  if (iEdge == 1 || iEdge == 3) memcpy(dst, src, w);
  if (iEdge == 1 || iEdge == 2) {
    memcpy(dst + (height - 1) * w, src + (height - 1) * w, w);
  }
  for (int y = 1; y < height - 1; ++y) {
    const size_t row = y * w;
    dst[row] = src[row];
    dst[row + w - 1] = src[row + w - 1];
  }
}

// FuzzyFilter_UV works row by row; the vector forms cover columns
// 1 .. width - 2 in blocks of 16 (of 8 on NEON when fewer than 16 inner
// columns) and finish each row with a block that ends exactly at column
// width - 2 (fuzzy_filter_walk.h). That last block seeds both sums with 64
// instead of 1 in its columns from width - 9 on and is stored last, so
// columns width - 9 .. width - 2 always carry the seed-64 result. A plane
// narrower than 10 has fewer than 8 inner columns; the same rule
// (column >= width - 9) gives all of them the seed-64 result.
void FuzzyFilter_UV_C(const unsigned char* src, unsigned char* dst, int width,
                      int height, int iEdge) {
  VdFuzzyCopyBorders(src, dst, width, height, iEdge);
  const size_t w = static_cast<size_t>(width);
  for (int y = 1; y < height - 1; ++y) {
    const uint8_t* row = src + y * w;
    uint8_t* out = dst + y * w;
    for (int x = 1; x < width - 1; ++x) {
      const uint32_t seed = x >= width - 9 ? kFuzzyLastGroupSeed : 1u;
      out[x] = VdFuzzyMean(row - w, row, row + w, x, row[x], seed);
    }
  }
}

// The luma variant seeds every column with 1. Its border copy per inner row
// takes two bytes at each end: columns 0 and 1, and the last column plus the
// byte after it, which is column 0 of the next row (for the last inner row
// that is column 0 of row height - 1, still inside the plane, written even
// when iEdge leaves that row alone). The copies come first; column 1 then
// gets its filtered value whenever the row has inner pixels.
void VdFuzzyCopyLumaBorders(const uint8_t* src, uint8_t* dst, int width,
                            int height, int iEdge) {
  if (width <= 0 || height <= 0) return;
  const size_t w = static_cast<size_t>(width);
  if (iEdge == 1 || iEdge == 3) memcpy(dst, src, w);
  if (iEdge == 1 || iEdge == 2) {
    memcpy(dst + (height - 1) * w, src + (height - 1) * w, w);
  }
  for (int y = 1; y < height - 1; ++y) {
    const size_t row = y * w;
    memcpy(dst + row, src + row, 2);
    memcpy(dst + row + w - 1, src + row + w - 1, 2);
  }
}

void FuzzyFilter_C(const unsigned char* guide, const unsigned char* src,
                   unsigned char* dst, int width, int height, int iEdge,
                   int guideSel) {
  VdFuzzyCopyLumaBorders(src, dst, width, height, iEdge);
  const unsigned char* centre = guideSel != 0 ? src : guide;
  const size_t w = static_cast<size_t>(width);
  for (int y = 1; y < height - 1; ++y) {
    const uint8_t* row = src + y * w;
    const uint8_t* c = centre + y * w;
    uint8_t* out = dst + y * w;
    for (int x = 1; x < width - 1; ++x) {
      out[x] = VdFuzzyMean(row - w, row, row + w, x, c[x], 1u);
    }
  }
}

// ---- exported entry points -------------------------------------------------

void VdInitFuzzyFilterKernels(FuzzyFilterKernels* k, int level) {
  k->blend = FuzzyFilter_2_C;
  k->chroma = FuzzyFilter_UV_C;
  k->guided = FuzzyFilter_C;
#if defined(__ARM_NEON)
  // NEON has no form of the 66 KB table lookup of the blend.
  if (level == kVdSimdNeon) {
    k->chroma = FuzzyFilter_UV_NEON;
    k->guided = FuzzyFilter_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) {
    k->blend = FuzzyFilter_2_SSE2;
    k->chroma = FuzzyFilter_UV_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->blend = FuzzyFilter_2_AVX2;
    k->chroma = FuzzyFilter_UV_AVX2;
  }
#endif
  (void)level;
}

const FuzzyFilterKernels& VdFuzzyFilterKernels(int level) {
  return VdSimdTable<FuzzyFilterKernels, VdInitFuzzyFilterKernels>(level);
}

int FuzzyFilter_2(unsigned char* cur, unsigned char* diff, unsigned char* sign,
                  unsigned char* out, unsigned char* ref, int width,
                  int height, int level) {
  (void)ref;  // diff and sign already say where the reference lies
  return VdFuzzyFilterKernels(VdSimdLevel())
      .blend(cur, diff, sign, out, width, height, level);
}

void FuzzyFilter_UV(unsigned char* src, unsigned char* dst, int width,
                    int height, int iEdge) {
  VdFuzzyFilterKernels(VdSimdLevel()).chroma(src, dst, width, height, iEdge);
}

void FuzzyFilter(unsigned char* guide, unsigned char* src,
                 unsigned char* unused1, unsigned char* unused2,
                 unsigned char* dst, int width, int height, int iEdge,
                 int guideSel, int unused3) {
  (void)unused1;
  (void)unused2;
  (void)unused3;
  VdFuzzyFilterKernels(VdSimdLevel())
      .guided(guide, src, dst, width, height, iEdge, guideSel);
}

void InitBoxFilterSum(unsigned char* table) {
  for (int i = 0; i <= 9 * 255; ++i) table[i] = static_cast<uint8_t>(i / 9);
}
