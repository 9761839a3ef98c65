// Library-internal pieces of the noise-reduction table and the fuzzy filters.
//
// The 3x3 range-weighted mean (FuzzyFilter_UV, FuzzyFilter): for a centre
// value c and the nine pixels p of the 3x3 neighbourhood (centre included),
// t = kFuzzyRangeWeights[|p - c|] (0 for a difference of 8 or more),
//   S = seed x c + sum of t x p,   W = seed + sum of t,
// and the output is VdNormaliseToByte(S, W): S times the reciprocal of W from
// the reciprocal estimate and two refinement steps, plus 0.5, truncated,
// saturated to 16 bits, low byte kept. The seed is 1, except in the last
// eight inner columns of FuzzyFilter_UV (see fuzzy_filter.cpp).
//
// Planes are tightly packed (row step = width); src and dst must not overlap.
#ifndef VD_SPATIAL_FUZZY_FILTER_INTERNAL_H_
#define VD_SPATIAL_FUZZY_FILTER_INTERNAL_H_

#include <stddef.h>
#include <stdint.h>

#include "spatial/fuzzy_filter.h"
#include "spatial/recip_estimate.h"

// nr_table geometry: 33 difference columns of two directions per value of a.
constexpr int kNrColumns = 33;
constexpr int kNrBytesPerValue = kNrColumns * 2;      // 66
constexpr int kNrBytesPerLevel = 256 * kNrBytesPerValue;  // 16896
// InitNRPixelTable clears only this many bytes (all but the last four values
// of a in level 3).
constexpr int kNrClearedBytes = VD_NR_TABLE_SIZE - 4 * kNrBytesPerValue;

// Range weights by absolute difference 0..7; 8 or more weighs 0.
inline constexpr uint8_t kFuzzyRangeWeights[8] = {64, 63, 59, 53,
                                                  46, 39, 31, 24};

// In FuzzyFilter_UV the inner columns from width - 9 on use this seed in both
// sums (the centre then weighs 128 instead of 65); all others use 1.
constexpr uint32_t kFuzzyLastGroupSeed = 64;

// Fills table (VD_NR_TABLE_SIZE bytes) as InitNRPixelTable(n) fills nr_table.
void VdBuildNRPixelTable(uint8_t* table, int n);

static inline uint32_t VdFuzzyRangeWeight(int p, int c) {
  const int d = p > c ? p - c : c - p;
  return d < 8 ? kFuzzyRangeWeights[d] : 0u;
}

// The range-weighted mean at column x: neighbourhood from the source rows
// above, row and below, centre value c.
static inline uint8_t VdFuzzyMean(const uint8_t* above, const uint8_t* row,
                                  const uint8_t* below, int x, int c,
                                  uint32_t seed) {
  uint32_t s = seed * static_cast<uint32_t>(c);
  uint32_t w = seed;
  const uint8_t* rows[3] = {above, row, below};
  for (const uint8_t* r : rows) {
    for (int dx = -1; dx <= 1; ++dx) {
      const int p = r[x + dx];
      const uint32_t t = VdFuzzyRangeWeight(p, c);
      s += t * static_cast<uint32_t>(p);
      w += t;
    }
  }
  return VdNormaliseToByte(static_cast<float>(s), static_cast<float>(w));
}

// The border copies of FuzzyFilter_UV: row 0 when iEdge is 1 or 3, row
// height - 1 when iEdge is 1 or 2, and columns 0 and width - 1 of rows
// 1 .. height - 2.
void VdFuzzyCopyBorders(const uint8_t* src, uint8_t* dst, int width,
                        int height, int iEdge);
// The border copies of FuzzyFilter: the same rows, and per inner row columns
// 0 and 1, the last column and the byte after it (column 0 of the next row).
void VdFuzzyCopyLumaBorders(const uint8_t* src, uint8_t* dst, int width,
                            int height, int iEdge);

// Scalar references.
int FuzzyFilter_2_C(const unsigned char* cur, const unsigned char* diff,
                    const unsigned char* sign, unsigned char* out, int width,
                    int height, int level);
void FuzzyFilter_UV_C(const unsigned char* src, unsigned char* dst, int width,
                      int height, int iEdge);
void FuzzyFilter_C(const unsigned char* guide, const unsigned char* src,
                   unsigned char* dst, int width, int height, int iEdge,
                   int guideSel);

#if defined(__ARM_NEON)
// Vector twins; same bytes as the references for every size. (The table
// lookup of FuzzyFilter_2 has no vector form: 66 KB do not fit a VTBL.)
void FuzzyFilter_UV_NEON(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge);
void FuzzyFilter_NEON(const unsigned char* guide, const unsigned char* src,
                      unsigned char* dst, int width, int height, int iEdge,
                      int guideSel);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins (AVX2 only where the processor has it); same bytes as the
// references. FuzzyFilter_UV keeps the column rule of the reference: the
// last eight inner columns carry the seed-64 result.
void FuzzyFilter_UV_SSE2(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge);
void FuzzyFilter_UV_AVX2(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge);
// The table blend with the indices formed in vector registers (SSE2) or
// with the lookups done by vector gathers (AVX2).
int FuzzyFilter_2_SSE2(const unsigned char* cur, const unsigned char* diff,
                       const unsigned char* sign, unsigned char* out,
                       int width, int height, int level);
int FuzzyFilter_2_AVX2(const unsigned char* cur, const unsigned char* diff,
                       const unsigned char* sign, unsigned char* out,
                       int width, int height, int level);

// The largest weight sum W of the range-weighted mean: seed 64 plus nine
// taps of weight 64.
constexpr int kFuzzyMaxWeightSum = 64 + 9 * 64;
// VdRecipRefined(W) for every W = 0 .. kFuzzyMaxWeightSum, built once on
// first use (thread-safe). W is a small integer, so a lookup replaces the
// emulated estimate and both refinement steps with the very same floats.
const float* VdFuzzyRecipTable();
#endif

// The family's variant table (base/vd_cpu.h).
struct FuzzyFilterKernels {
  // FuzzyFilter_2: the table blend.
  int (*blend)(const unsigned char* cur, const unsigned char* diff,
               const unsigned char* sign, unsigned char* out, int width,
               int height, int level);
  // FuzzyFilter_UV: the range-weighted mean of a chroma plane.
  void (*chroma)(const unsigned char* src, unsigned char* dst, int width,
                 int height, int iEdge);
  // FuzzyFilter: the guided range-weighted mean of luma.
  void (*guided)(const unsigned char* guide, const unsigned char* src,
                 unsigned char* dst, int width, int height, int iEdge,
                 int guideSel);
};
void VdInitFuzzyFilterKernels(FuzzyFilterKernels* k, int level);
const FuzzyFilterKernels& VdFuzzyFilterKernels(int level);

#endif  // VD_SPATIAL_FUZZY_FILTER_INTERNAL_H_
