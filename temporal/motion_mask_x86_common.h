// The 16-pixel SSE2 steps shared by the SSE2 (motion_mask_sse2.cpp) and
// AVX2 (motion_mask_avx2.cpp) motion span kernels; their walk is in
// motion_mask_walk.h. Everything here has internal linkage, so the -mavx2
// object and the baseline object each keep their own copy.
#ifndef VD_TEMPORAL_MOTION_MASK_X86_COMMON_H_
#define VD_TEMPORAL_MOTION_MASK_X86_COMMON_H_

#include <emmintrin.h>

namespace {

static inline __m128i Load16(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
static inline void Store16(unsigned char* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
static inline __m128i AbsDiff(__m128i a, __m128i b) {
  return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}

// 0xff where v > threshold.
static inline __m128i Above(__m128i v, __m128i thr) {
  const __m128i notAbove = _mm_cmpeq_epi8(_mm_subs_epu8(v, thr), _mm_setzero_si128());
  return _mm_xor_si128(notAbove, _mm_set1_epi8(-1));
}

// 0xff where |a - b| > threshold.
static inline __m128i Exceeds(__m128i a, __m128i b, __m128i thr) {
  return Above(AbsDiff(a, b), thr);
}

// min(|a - b|, 16) and (b >= a) for 16 pixels.
static inline void DiffAndSign16(const unsigned char* a, const unsigned char* b,
                                 unsigned char* diff, unsigned char* sign) {
  const __m128i av = Load16(a), bv = Load16(b);
  Store16(diff, _mm_min_epu8(AbsDiff(av, bv), _mm_set1_epi8(16)));
  // b >= a exactly where a - b saturates to 0.
  Store16(sign, _mm_and_si128(_mm_cmpeq_epi8(_mm_subs_epu8(av, bv), _mm_setzero_si128()),
                              _mm_set1_epi8(1)));
}

}  // namespace

#endif  // VD_TEMPORAL_MOTION_MASK_X86_COMMON_H_
