// The one-block SSE2 steps shared by the SSE2 (convert_sse2.cpp) and AVX2
// (convert_avx2.cpp) chroma movers; their walk is in convert_walk.h.
// Everything here has internal linkage, so the -mavx2 object and the
// baseline object each keep their own copy.
#ifndef VD_IMAGE_CONVERT_X86_COMMON_H_
#define VD_IMAGE_CONVERT_X86_COMMON_H_

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>

namespace {

static inline __m128i Load8(const uint8_t* p) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}
static inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
static inline void Store8(uint8_t* p, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}
static inline void Store16(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// Even bytes (V) and odd bytes (U) of 16 interleaved bytes, each widened to
// 16-bit lanes ready for a pack.
static inline void Deinterleave(__m128i x, __m128i* even, __m128i* odd) {
  *even = _mm_and_si128(x, _mm_set1_epi16(0x00ff));
  *odd = _mm_srli_epi16(x, 8);
}

// Merges block b: 8 samples of each plane into 16 interleaved bytes.
static inline void MergeVUBlock(const uint8_t* u, const uint8_t* v, uint8_t* vu, size_t b) {
  Store16(vu + 16 * b, _mm_unpacklo_epi8(Load8(v + 8 * b), Load8(u + 8 * b)));
}

// Splits block b, U stored before V.
static inline void SplitVUBlock(const uint8_t* vu, uint8_t* u, uint8_t* v, size_t b) {
  __m128i ve, uo;
  Deinterleave(Load16(vu + 16 * b), &ve, &uo);
  Store8(u + 8 * b, _mm_packus_epi16(uo, uo));
  Store8(v + 8 * b, _mm_packus_epi16(ve, ve));
}

}  // namespace

#endif  // VD_IMAGE_CONVERT_X86_COMMON_H_
