// SSE2 twins of the chroma movers (x86-64 baseline, no extra flags): two
// blocks per step when no range overlaps another (convert_walk.h).
#include "image/convert_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

#include "image/convert_walk.h"
#include "image/convert_x86_common.h"

void MergeVUPlane_SSE2(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count) {
  MergeVUWalk<2>(
      u, v, vu, count,
      [&](size_t b) {
        const __m128i vs = Load16(v + 8 * b);
        const __m128i us = Load16(u + 8 * b);
        Store16(vu + 16 * b, _mm_unpacklo_epi8(vs, us));
        Store16(vu + 16 * b + 16, _mm_unpackhi_epi8(vs, us));
      },
      [&](size_t b) { MergeVUBlock(u, v, vu, b); });
}

void SplitVUPlane_SSE2(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  SplitVUWalk<2>(
      vu, u, v, bytes,
      [&](size_t b) {
        __m128i v0, u0, v1, u1;
        Deinterleave(Load16(vu + 16 * b), &v0, &u0);
        Deinterleave(Load16(vu + 16 * b + 16), &v1, &u1);
        Store16(u + 8 * b, _mm_packus_epi16(u0, u1));
        Store16(v + 8 * b, _mm_packus_epi16(v0, v1));
      },
      [&](size_t b) { SplitVUBlock(vu, u, v, b); });
}

#endif  // x86-64
