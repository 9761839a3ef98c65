// SSE2 twin of TemporalFilterS (x86-64 baseline, no extra flags).
#include "temporal/temporal_filter_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>
#include <stddef.h>

#include "temporal/temporal_filter_walk.h"

namespace {

// (src * (128 - w) + ref * w + 64) >> 7 on eight 16-bit lanes, written as
// src + (((ref - src) * w + 64) >> 7) with an arithmetic shift: the same
// value, since src * 128 is a whole multiple of 128.
inline __m128i Blend8(__m128i src, __m128i ref, __m128i w) {
  const __m128i t = _mm_add_epi16(_mm_mullo_epi16(_mm_sub_epi16(ref, src), w),
                                  _mm_set1_epi16(64));
  return _mm_add_epi16(src, _mm_srai_epi16(t, 7));
}

}  // namespace

// 16 pixels per step at the packed (width >> 4) * 16 pitch.
void TemporalFilterS_SSE2(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height) {
  const __m128i z = _mm_setzero_si128();
  const __m128i still = _mm_set1_epi8(38);
  ForEachPackedBlock16(width, height, [&](ptrdiff_t i) {
    const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i));
    const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    const __m128i r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ref + i));
    // Weight 38 where the mask byte is below 128 (non-negative as int8).
    const __m128i w = _mm_and_si128(_mm_cmpgt_epi8(m, _mm_set1_epi8(-1)), still);
    const __m128i lo = Blend8(_mm_unpacklo_epi8(s, z), _mm_unpacklo_epi8(r, z),
                              _mm_unpacklo_epi8(w, z));
    const __m128i hi = Blend8(_mm_unpackhi_epi8(s, z), _mm_unpackhi_epi8(r, z),
                              _mm_unpackhi_epi8(w, z));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
  });
}

#endif  // x86-64
