// AVX2 twins of the fuzzy filters on the frame path; compiled with -mavx2
// and run only on processors that have it.
#include "spatial/fuzzy_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include "spatial/fuzzy_filter_walk.h"

namespace {

inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Adds the three taps of one source row (columns x - 1 .. x + 1 for the 16
// lanes starting at r) to the row's 16-bit sum and their weights to wsum.
// The weight is a byte shuffle of the eight-entry table; differences of 8
// or more are clamped to index 8, which holds 0.
inline void AccumulateRow(const uint8_t* r, __m128i c, __m128i lut,
                          __m256i* acc, __m256i* wsum) {
  for (int dx = -1; dx <= 1; ++dx) {
    const __m128i p = Load16(r + dx);
    const __m128i d = _mm_or_si128(_mm_subs_epu8(p, c), _mm_subs_epu8(c, p));
    const __m256i t = _mm256_cvtepu8_epi16(
        _mm_shuffle_epi8(lut, _mm_min_epu8(d, _mm_set1_epi8(8))));
    *acc = _mm256_add_epi16(*acc, _mm256_mullo_epi16(t, _mm256_cvtepu8_epi16(p)));
    *wsum = _mm256_add_epi16(*wsum, t);
  }
}

// VdNormaliseToByte on eight lanes: S x R(W) + 0.5, truncated, with R(W)
// gathered from the reciprocal table. S / W lies in 0 .. 255, so the value
// is in [0.5, 256) and no saturation step can bite.
inline __m256i Normalise8(__m256i s, __m256i w, const float* recip) {
  const __m256 r = _mm256_i32gather_ps(recip, w, 4);
  const __m256 v = _mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(s), r),
                                 _mm256_set1_ps(0.5f));
  return _mm256_cvttps_epi32(v);
}

// Sixteen outputs, columns x .. x + 15 of one inner row (pointers at column
// x), with a seed per 16-bit lane. Each row's sum stays below 65536 (the
// seed term and three products of at most 64 x 255); totals go to 32 bits.
inline __m128i FuzzyMean16(const uint8_t* above, const uint8_t* row,
                           const uint8_t* below, __m256i seed,
                           const float* recip) {
  const __m128i lut = _mm_setr_epi8(64, 63, 59, 53, 46, 39, 31, 24, 0, 0, 0,
                                    0, 0, 0, 0, 0);
  const __m128i c = Load16(row);
  __m256i top = _mm256_setzero_si256(), bottom = _mm256_setzero_si256();
  __m256i mid = _mm256_mullo_epi16(_mm256_cvtepu8_epi16(c), seed);
  __m256i wsum = seed;
  AccumulateRow(above, c, lut, &top, &wsum);
  AccumulateRow(row, c, lut, &mid, &wsum);
  AccumulateRow(below, c, lut, &bottom, &wsum);
  const auto low = [](__m256i v) {
    return _mm256_cvtepu16_epi32(_mm256_castsi256_si128(v));
  };
  const auto high = [](__m256i v) {
    return _mm256_cvtepu16_epi32(_mm256_extracti128_si256(v, 1));
  };
  const __m256i s_lo = _mm256_add_epi32(_mm256_add_epi32(low(top), low(mid)), low(bottom));
  const __m256i s_hi = _mm256_add_epi32(_mm256_add_epi32(high(top), high(mid)), high(bottom));
  const __m256i q_lo = Normalise8(s_lo, low(wsum), recip);
  const __m256i q_hi = Normalise8(s_hi, high(wsum), recip);
  // In-lane pack gives columns 0-3, 8-11, 4-7, 12-15; restore the order.
  const __m256i q = _mm256_permute4x64_epi64(_mm256_packs_epi32(q_lo, q_hi), 0xd8);
  return _mm_packus_epi16(_mm256_castsi256_si128(q), _mm256_extracti128_si256(q, 1));
}

}  // namespace

// Same walk and seeds as FuzzyFilter_UV_SSE2. Narrower planes than 18
// columns take the reference.
void FuzzyFilter_UV_AVX2(const unsigned char* src, unsigned char* dst,
                         int width, int height, int iEdge) {
  if (width < 18) {
    FuzzyFilter_UV_C(src, dst, width, height, iEdge);
    return;
  }
  VdFuzzyCopyBorders(src, dst, width, height, iEdge);
  const float* recip = VdFuzzyRecipTable();
  const __m256i one = _mm256_set1_epi16(1);
  const __m256i seeded = _mm256_setr_epi16(
      1, 1, 1, 1, 1, 1, 1, 1, kFuzzyLastGroupSeed, kFuzzyLastGroupSeed,
      kFuzzyLastGroupSeed, kFuzzyLastGroupSeed, kFuzzyLastGroupSeed,
      kFuzzyLastGroupSeed, kFuzzyLastGroupSeed, kFuzzyLastGroupSeed);
  const size_t w = static_cast<size_t>(width);
  FuzzyInnerRowsWalk<16>(width, height, true, [&](size_t row, int x, bool last) {
    const uint8_t* r = src + row + x;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + row + x),
                     FuzzyMean16(r - w, r, r + w, last ? seeded : one, recip));
  });
}

// 32 pixels per step: flat indices cur x 66 + diff x 2 + sign in 32-bit
// lanes, four 8-lane gathers of 32-bit words, one byte kept from each. At
// level 0 a word starts at its entry; at levels 1 to 3 it ends there (base
// moved back by 3 bytes, top byte kept), so every byte a gather touches lies
// inside nr_table for any difference column 0..32.
int FuzzyFilter_2_AVX2(const unsigned char* cur, const unsigned char* diff,
                       const unsigned char* sign, unsigned char* out,
                       int width, int height, int level) {
  const uint8_t* table = nr_table + level * kNrBytesPerLevel;
  const int* base = reinterpret_cast<const int*>(level == 0 ? table : table - 3);
  const __m128i shift = _mm_cvtsi32_si128(level == 0 ? 0 : 24);
  static_assert(kNrBytesPerValue == 66, "index arithmetic below");
  const __m256i byte = _mm256_set1_epi32(0xff);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  FuzzyBlendWalk<32>(cur, diff, sign, out, width, height, level, [&](size_t i) {
    __m256i g[4];
    for (int k = 0; k < 4; ++k) {
      const size_t j = i + 8 * k;
      const auto widen = [](const unsigned char* p) {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
      };
      // cur x 66 + diff x 2 = cur x 64 + (cur + diff) x 2.
      const __m256i c = widen(cur + j);
      const __m256i idx = _mm256_add_epi32(
          _mm256_add_epi32(_mm256_slli_epi32(c, 6),
                           _mm256_slli_epi32(_mm256_add_epi32(c, widen(diff + j)), 1)),
          widen(sign + j));
      g[k] = _mm256_and_si256(_mm256_srl_epi32(_mm256_i32gather_epi32(base, idx, 1), shift),
                              byte);
    }
    // In-lane packs leave four-byte groups in the order 0 2 4 6 1 3 5 7 of
    // the eight groups; the permute restores it.
    const __m256i packed = _mm256_packus_epi16(_mm256_packus_epi32(g[0], g[1]),
                                               _mm256_packus_epi32(g[2], g[3]));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                        _mm256_permutevar8x32_epi32(packed, order));
  });
  return 0;
}

#endif  // x86-64
