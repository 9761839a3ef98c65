// Glue shared by the SSE2 (convert_sse2.cpp) and AVX2 (convert_avx2.cpp)
// chroma movers: block counts, the overlap checks that allow the wide steps,
// and the one-block SSE2 tails both finish with. Everything here has
// internal linkage, so the -mavx2 object and the baseline object each keep
// their own copy.
#ifndef VD_IMAGE_CONVERT_X86_COMMON_H_
#define VD_IMAGE_CONVERT_X86_COMMON_H_

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>

#include "image/convert_internal.h"

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

// Merge: 8-sample blocks, count rounded up.
static inline size_t MergeVUBlockCount(int count) {
  return (static_cast<size_t>(count) + 7) / 8;
}
// Split: 16-byte blocks, bytes rounded up.
static inline size_t SplitVUBlockCount(int bytes) {
  return ((static_cast<unsigned>(bytes) - 1u) >> 4) + 1u;
}

// The wide merge steps may run only when the output overlaps neither input.
static inline bool MergeVUDisjoint(const uint8_t* u, const uint8_t* v,
                                   const uint8_t* vu, size_t blocks) {
  return VdRangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
         VdRangesDisjoint(vu, 16 * blocks, v, 8 * blocks);
}
// The wide split steps may run only when no two of the planes overlap.
static inline bool SplitVUDisjoint(const uint8_t* vu, const uint8_t* u,
                                   const uint8_t* v, size_t blocks) {
  return VdRangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
         VdRangesDisjoint(vu, 16 * blocks, v, 8 * blocks) &&
         VdRangesDisjoint(u, 8 * blocks, v, 8 * blocks);
}

// Merges blocks b .. blocks - 1 one at a time.
static inline void MergeVUTail(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                               size_t b, size_t blocks) {
  for (; b < blocks; ++b) {
    Store16(vu + 16 * b, _mm_unpacklo_epi8(Load8(v + 8 * b), Load8(u + 8 * b)));
  }
}

// Splits blocks b .. blocks - 1 block by block, U stored before V.
static inline void SplitVUTail(const uint8_t* vu, uint8_t* u, uint8_t* v,
                               size_t b, size_t blocks) {
  for (; b < blocks; ++b) {
    __m128i ve, uo;
    Deinterleave(Load16(vu + 16 * b), &ve, &uo);
    Store8(u + 8 * b, _mm_packus_epi16(uo, uo));
    Store8(v + 8 * b, _mm_packus_epi16(ve, ve));
  }
}

}  // namespace

#endif  // VD_IMAGE_CONVERT_X86_COMMON_H_
