// AVX2 twin of the one-pass box filter and blend: 32 pixels per step, the
// spatial value, difference and direction in vector registers, the table
// read by gathers (as in FuzzyFilter_2_AVX2), and an overlapped last block
// ending at the last inner column.
#include "spatial/box_blend.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include "spatial/fuzzy_filter_internal.h"

namespace {

inline __m256i Load(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// 32 box means of the inner pixels x .. x + 31.
inline __m256i BoxMeans(const uint8_t* a, const uint8_t* r, const uint8_t* b,
                        int x) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i lo = zero, hi = zero;
  const uint8_t* rows[3] = {a, r, b};
  for (const uint8_t* p : rows) {
    for (int dx = -1; dx <= 1; ++dx) {
      const __m256i v = Load(p + x + dx);
      lo = _mm256_add_epi16(lo, _mm256_unpacklo_epi8(v, zero));
      hi = _mm256_add_epi16(hi, _mm256_unpackhi_epi8(v, zero));
    }
  }
  // (sum + 4) x 7282 >> 16: the rounded mean, exact for every 3x3 sum.
  const __m256i four = _mm256_set1_epi16(4);
  const __m256i k = _mm256_set1_epi16(7282);
  lo = _mm256_mulhi_epu16(_mm256_add_epi16(lo, four), k);
  hi = _mm256_mulhi_epu16(_mm256_add_epi16(hi, four), k);
  return _mm256_packus_epi16(lo, hi);
}

// Looks up 32 pixels with spatial value s and previous output p.
inline __m256i Lookup(const int* base, __m128i shift, __m256i s, __m256i p) {
  const __m256i sixteen = _mm256_set1_epi8(16);
  const __m256i d = _mm256_min_epu8(
      _mm256_or_si256(_mm256_subs_epu8(p, s), _mm256_subs_epu8(s, p)),
      sixteen);
  const __m256i dir = _mm256_and_si256(
      _mm256_cmpeq_epi8(_mm256_max_epu8(p, s), p), _mm256_set1_epi8(1));
  const __m256i byte = _mm256_set1_epi32(0xff);
  __m256i g[4];
  for (int k = 0; k < 4; ++k) {
    const int lane = k / 2, half = k % 2;
    auto take = [&](__m256i v) {
      __m128i q = lane ? _mm256_extracti128_si256(v, 1) : _mm256_castsi256_si128(v);
      if (half) q = _mm_srli_si128(q, 8);
      return _mm256_cvtepu8_epi32(q);
    };
    const __m256i sv = take(s);
    // s x 66 + d x 2 + dir = s x 64 + (s + d) x 2 + dir.
    const __m256i idx = _mm256_add_epi32(
        _mm256_add_epi32(_mm256_slli_epi32(sv, 6),
                         _mm256_slli_epi32(_mm256_add_epi32(sv, take(d)), 1)),
        take(dir));
    g[k] = _mm256_and_si256(
        _mm256_srl_epi32(_mm256_i32gather_epi32(base, idx, 1), shift), byte);
  }
  // g[k] holds pixels 8k .. 8k + 7 in order; the in-lane packs leave
  // four-byte groups in the order 0 2 4 6 1 3 5 7, the permute restores it.
  const __m256i packed = _mm256_packus_epi16(_mm256_packus_epi32(g[0], g[1]),
                                             _mm256_packus_epi32(g[2], g[3]));
  return _mm256_permutevar8x32_epi32(packed,
                                     _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

}  // namespace

void VdBoxBlendRow_AVX2(const uint8_t* above, const uint8_t* row,
                        const uint8_t* below, const uint8_t* prev,
                        uint8_t* out, int width, int level) {
  // Inner columns 1 .. width - 2 in blocks of 32; each block reads one
  // column either side.
  if (width < 34) {
    VdBoxBlendRow_C(above, row, below, prev, out, width, level);
    return;
  }
  const uint8_t* table = nr_table + level * kNrBytesPerLevel;
  // At level 0 a gathered word starts at its entry; at levels 1 to 3 it ends
  // there, so every byte a gather touches lies inside nr_table.
  const int* base =
      reinterpret_cast<const int*>(level == 0 ? table : table - 3);
  const __m128i shift = _mm_cvtsi32_si128(level == 0 ? 0 : 24);
  // The last block ends at the last inner column and may overlap the one
  // before it. It is worked out first, so that every block reads prev before
  // any store (out may be prev).
  const int last = width - 33;
  const __m256i tail =
      Lookup(base, shift, BoxMeans(above, row, below, last), Load(prev + last));
  for (int x = 1; x < last; x += 32) {
    const __m256i s = BoxMeans(above, row, below, x);
    const __m256i v = Lookup(base, shift, s, Load(prev + x));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), v);
  }
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + last), tail);
  // The border columns take the source value.
  VdBlendRow_C(row, prev, out, 1, level);
  VdBlendRow_C(row + width - 1, prev + width - 1, out + width - 1, 1, level);
}

#endif  // x86-64
