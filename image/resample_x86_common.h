// The SSE2 steps shared by the SSE2 (resample_sse2.cpp) and AVX2
// (resample_avx2.cpp) scalers; their walks are in resample_walk.h.
// Everything here has internal linkage, so the -mavx2 object and the
// baseline object each keep their own copy.
#ifndef VD_IMAGE_RESAMPLE_X86_COMMON_H_
#define VD_IMAGE_RESAMPLE_X86_COMMON_H_

#include <emmintrin.h>
#include <stdint.h>

namespace {

static inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Sums of horizontally adjacent byte pairs: 8 16-bit lanes from 16 bytes.
static inline __m128i PairSums(__m128i x) {
  return _mm_add_epi16(_mm_and_si128(x, _mm_set1_epi16(0x00ff)),
                       _mm_srli_epi16(x, 8));
}

}  // namespace

#endif  // VD_IMAGE_RESAMPLE_X86_COMMON_H_
