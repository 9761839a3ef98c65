// SSE2 twins of the fuzzy filters on the frame path (x86-64 baseline, no
// extra flags), and the reciprocal table that the x86 twins share.
#include "spatial/fuzzy_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include "spatial/fuzzy_filter_walk.h"

namespace {

inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

struct RecipTable {
  float r[kFuzzyMaxWeightSum + 1];
};

RecipTable BuildRecipTable() {
  RecipTable t;
  for (int w = 0; w <= kFuzzyMaxWeightSum; ++w) {
    t.r[w] = VdRecipRefined(static_cast<float>(w));
  }
  return t;
}

// kFuzzyRangeWeights[d] for d < 8, else 0, on sixteen bytes. SSE2 has no
// byte shuffle, so each table entry is selected by an equality mask.
inline __m128i RangeWeights(__m128i d) {
  __m128i t = _mm_setzero_si128();
  for (int i = 0; i < 8; ++i) {
    const __m128i hit = _mm_cmpeq_epi8(d, _mm_set1_epi8(static_cast<char>(i)));
    t = _mm_or_si128(
        t, _mm_and_si128(hit, _mm_set1_epi8(static_cast<char>(kFuzzyRangeWeights[i]))));
  }
  return t;
}

// Adds the three taps of one source row (columns x - 1 .. x + 1 for the 16
// lanes starting at r) to the row's 16-bit sums and their weights to wsum.
// A row's sum stays below 65536: the seed term (at most 64 x 255) plus
// three products of at most 64 x 255.
inline void AccumulateRow(const uint8_t* r, __m128i c, __m128i* acc_lo,
                          __m128i* acc_hi, __m128i* w_lo, __m128i* w_hi) {
  const __m128i z = _mm_setzero_si128();
  for (int dx = -1; dx <= 1; ++dx) {
    const __m128i p = Load16(r + dx);
    const __m128i d = _mm_or_si128(_mm_subs_epu8(p, c), _mm_subs_epu8(c, p));
    const __m128i t = RangeWeights(d);
    const __m128i t_lo = _mm_unpacklo_epi8(t, z), t_hi = _mm_unpackhi_epi8(t, z);
    *acc_lo = _mm_add_epi16(*acc_lo, _mm_mullo_epi16(t_lo, _mm_unpacklo_epi8(p, z)));
    *acc_hi = _mm_add_epi16(*acc_hi, _mm_mullo_epi16(t_hi, _mm_unpackhi_epi8(p, z)));
    *w_lo = _mm_add_epi16(*w_lo, t_lo);
    *w_hi = _mm_add_epi16(*w_hi, t_hi);
  }
}

// VdNormaliseToByte on four lanes: S x R(W) + 0.5, truncated. S / W lies in
// 0 .. 255, so the value is in [0.5, 256) and no saturation step can bite.
inline __m128i Normalise4(__m128i s, const float* r) {
  const __m128 v = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(s), _mm_loadu_ps(r)),
                              _mm_set1_ps(0.5f));
  return _mm_cvttps_epi32(v);
}

// Sixteen outputs, columns x .. x + 15 of one inner row (pointers at column
// x), with a seed per 16-bit lane for the low and high eight.
inline __m128i FuzzyMean16(const uint8_t* above, const uint8_t* row,
                           const uint8_t* below, __m128i seed_lo,
                           __m128i seed_hi, const float* recip) {
  const __m128i z = _mm_setzero_si128();
  const __m128i c = Load16(row);
  __m128i top_lo = z, top_hi = z, bot_lo = z, bot_hi = z;
  __m128i mid_lo = _mm_mullo_epi16(_mm_unpacklo_epi8(c, z), seed_lo);
  __m128i mid_hi = _mm_mullo_epi16(_mm_unpackhi_epi8(c, z), seed_hi);
  __m128i w_lo = seed_lo, w_hi = seed_hi;
  AccumulateRow(above, c, &top_lo, &top_hi, &w_lo, &w_hi);
  AccumulateRow(row, c, &mid_lo, &mid_hi, &w_lo, &w_hi);
  AccumulateRow(below, c, &bot_lo, &bot_hi, &w_lo, &w_hi);
  // Totals in 32-bit lanes: columns 0-3, 4-7, 8-11, 12-15.
  const __m128i s0 = _mm_add_epi32(
      _mm_add_epi32(_mm_unpacklo_epi16(top_lo, z), _mm_unpacklo_epi16(mid_lo, z)),
      _mm_unpacklo_epi16(bot_lo, z));
  const __m128i s1 = _mm_add_epi32(
      _mm_add_epi32(_mm_unpackhi_epi16(top_lo, z), _mm_unpackhi_epi16(mid_lo, z)),
      _mm_unpackhi_epi16(bot_lo, z));
  const __m128i s2 = _mm_add_epi32(
      _mm_add_epi32(_mm_unpacklo_epi16(top_hi, z), _mm_unpacklo_epi16(mid_hi, z)),
      _mm_unpacklo_epi16(bot_hi, z));
  const __m128i s3 = _mm_add_epi32(
      _mm_add_epi32(_mm_unpackhi_epi16(top_hi, z), _mm_unpackhi_epi16(mid_hi, z)),
      _mm_unpackhi_epi16(bot_hi, z));
  // The reciprocal of each lane's weight sum from the table.
  alignas(16) uint16_t w[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(w), w_lo);
  _mm_store_si128(reinterpret_cast<__m128i*>(w + 8), w_hi);
  alignas(16) float r[16];
  for (int i = 0; i < 16; ++i) r[i] = recip[w[i]];
  const __m128i lo = _mm_packs_epi32(Normalise4(s0, r), Normalise4(s1, r + 4));
  const __m128i hi = _mm_packs_epi32(Normalise4(s2, r + 8), Normalise4(s3, r + 12));
  return _mm_packus_epi16(lo, hi);
}

}  // namespace

const float* VdFuzzyRecipTable() {
  static const RecipTable table = BuildRecipTable();
  return table.r;
}

// Rows of at least 18 columns: 16-pixel blocks with seed 1 from column 1,
// then one block aligned to end at column width - 2 whose low eight lanes
// (columns width - 17 .. width - 10) are seeded with 1 and high eight
// (columns width - 9 .. width - 2) with 64, stored last (see
// FuzzyInnerRowsWalk). Narrower planes take the reference.
void FuzzyFilter_UV_SSE2(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge) {
  if (width < 18) {
    FuzzyFilter_UV_C(src, dst, width, height, iEdge);
    return;
  }
  VdFuzzyCopyBorders(src, dst, width, height, iEdge);
  const float* recip = VdFuzzyRecipTable();
  const __m128i one = _mm_set1_epi16(1);
  const __m128i seeded = _mm_set1_epi16(static_cast<short>(kFuzzyLastGroupSeed));
  const size_t w = static_cast<size_t>(width);
  FuzzyInnerRowsWalk<16>(width, height, true, [&](size_t row, int x, bool last) {
    const uint8_t* r = src + row + x;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + row + x),
                     FuzzyMean16(r - w, r, r + w, one, last ? seeded : one, recip));
  });
}

// Sixteen pixels per step: the flat table indices cur x 66 + diff x 2 + sign
// (at most 17595) are formed in 16-bit lanes, then looked up one by one.
int FuzzyFilter_2_SSE2(const unsigned char* cur, const unsigned char* diff,
                       const unsigned char* sign, unsigned char* out,
                       int width, int height, int level) {
  const uint8_t* table = nr_table + level * kNrBytesPerLevel;
  const __m128i z = _mm_setzero_si128();
  const __m128i k66 = _mm_set1_epi16(kNrBytesPerValue);
  FuzzyBlendWalk<16>(cur, diff, sign, out, width, height, level, [&](size_t i) {
    const __m128i c = Load16(cur + i), d = Load16(diff + i), s = Load16(sign + i);
    const __m128i lo = _mm_add_epi16(
        _mm_mullo_epi16(_mm_unpacklo_epi8(c, z), k66),
        _mm_add_epi16(_mm_slli_epi16(_mm_unpacklo_epi8(d, z), 1), _mm_unpacklo_epi8(s, z)));
    const __m128i hi = _mm_add_epi16(
        _mm_mullo_epi16(_mm_unpackhi_epi8(c, z), k66),
        _mm_add_epi16(_mm_slli_epi16(_mm_unpackhi_epi8(d, z), 1), _mm_unpackhi_epi8(s, z)));
    alignas(16) uint16_t idx[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(idx), lo);
    _mm_store_si128(reinterpret_cast<__m128i*>(idx + 8), hi);
    for (int k = 0; k < 16; ++k) out[i + k] = table[idx[k]];
  });
  return 0;
}

#endif  // x86-64
