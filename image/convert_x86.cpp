// SSE2 twins of the chroma movers (x86-64 baseline, no extra flags).
#include "image/convert_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>

namespace {

inline __m128i Load8(const uint8_t* p) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}
inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store8(uint8_t* p, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}
inline void Store16(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// Even bytes (V) and odd bytes (U) of 16 interleaved bytes, each widened to
// 16-bit lanes ready for a pack.
inline void Deinterleave(__m128i x, __m128i* even, __m128i* odd) {
  *even = _mm_and_si128(x, _mm_set1_epi16(0x00ff));
  *odd = _mm_srli_epi16(x, 8);
}

}  // namespace

void MergeVUPlane_SSE2(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count) {
  if (count <= 0) return;
  const size_t blocks = (static_cast<size_t>(count) + 7) / 8;
  size_t b = 0;
  // Two blocks per step when the output overlaps neither input.
  if (VdRangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
      VdRangesDisjoint(vu, 16 * blocks, v, 8 * blocks)) {
    for (; b + 2 <= blocks; b += 2) {
      const __m128i vs = Load16(v + 8 * b);
      const __m128i us = Load16(u + 8 * b);
      Store16(vu + 16 * b, _mm_unpacklo_epi8(vs, us));
      Store16(vu + 16 * b + 16, _mm_unpackhi_epi8(vs, us));
    }
  }
  for (; b < blocks; ++b) {
    Store16(vu + 16 * b, _mm_unpacklo_epi8(Load8(v + 8 * b), Load8(u + 8 * b)));
  }
}

void SplitVUPlane_SSE2(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  if (bytes <= 0) return;
  const size_t blocks = ((static_cast<unsigned>(bytes) - 1u) >> 4) + 1u;
  size_t b = 0;
  if (VdRangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
      VdRangesDisjoint(vu, 16 * blocks, v, 8 * blocks) &&
      VdRangesDisjoint(u, 8 * blocks, v, 8 * blocks)) {
    for (; b + 2 <= blocks; b += 2) {
      __m128i v0, u0, v1, u1;
      Deinterleave(Load16(vu + 16 * b), &v0, &u0);
      Deinterleave(Load16(vu + 16 * b + 16), &v1, &u1);
      Store16(u + 8 * b, _mm_packus_epi16(u0, u1));
      Store16(v + 8 * b, _mm_packus_epi16(v0, v1));
    }
  }
  // Block by block, U stored before V.
  for (; b < blocks; ++b) {
    __m128i ve, uo;
    Deinterleave(Load16(vu + 16 * b), &ve, &uo);
    Store8(u + 8 * b, _mm_packus_epi16(uo, uo));
    Store8(v + 8 * b, _mm_packus_epi16(ve, ve));
  }
}

#endif  // x86-64
