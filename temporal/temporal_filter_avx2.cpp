// AVX2 twin of TemporalFilterS; compiled with -mavx2 and run only on
// processors that have it.
#include "temporal/temporal_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>
#include <stddef.h>

#include "temporal/temporal_filter_walk.h"

namespace {

// src + (((ref - src) * w + 64) >> 7), equal to
// (src * (128 - w) + ref * w + 64) >> 7; sixteen 16-bit lanes.
inline __m256i Blend16(__m256i src, __m256i ref, __m256i w) {
  const __m256i t = _mm256_add_epi16(
      _mm256_mullo_epi16(_mm256_sub_epi16(ref, src), w), _mm256_set1_epi16(64));
  return _mm256_add_epi16(src, _mm256_srai_epi16(t, 7));
}

// Sixteen pixels at p, widened to 16-bit lanes.
inline __m256i Widen16(const unsigned char* p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

inline __m128i Block16(const unsigned char* src, const unsigned char* ref,
                       const unsigned char* mask) {
  const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask));
  // Weight 38 where the mask byte is below 128 (non-negative as int8).
  const __m128i w8 = _mm_and_si128(_mm_cmpgt_epi8(m, _mm_set1_epi8(-1)),
                                   _mm_set1_epi8(38));
  const __m256i v = Blend16(Widen16(src), Widen16(ref), _mm256_cvtepu8_epi16(w8));
  return _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

}  // namespace

// 16 pixels per step, in sixteen 16-bit lanes, at the packed
// (width >> 4) * 16 pitch.
void TemporalFilterS_AVX2(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height) {
  ForEachPackedBlock16(width, height, [&](ptrdiff_t i) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), Block16(src + i, ref + i, mask + i));
  });
}

#endif  // x86-64
