// AVX2 twins of the chroma movers; compiled with -mavx2 and run only on
// processors that have it. Four blocks per step when no range overlaps
// another (convert_walk.h).
#include "image/convert_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include "image/convert_walk.h"
#include "image/convert_x86_common.h"

namespace {

inline __m256i Load32(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void Store32(uint8_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

}  // namespace

void MergeVUPlane_AVX2(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count) {
  MergeVUWalk<4>(
      u, v, vu, count,
      [&](size_t b) {
        const __m256i vs = Load32(v + 8 * b);
        const __m256i us = Load32(u + 8 * b);
        // In-lane interleaves hold pairs 0-7 | 16-23 and 8-15 | 24-31.
        const __m256i lo = _mm256_unpacklo_epi8(vs, us);
        const __m256i hi = _mm256_unpackhi_epi8(vs, us);
        Store32(vu + 16 * b, _mm256_permute2x128_si256(lo, hi, 0x20));
        Store32(vu + 16 * b + 32, _mm256_permute2x128_si256(lo, hi, 0x31));
      },
      [&](size_t b) { MergeVUBlock(u, v, vu, b); });
}

void SplitVUPlane_AVX2(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  const __m256i low = _mm256_set1_epi16(0x00ff);
  SplitVUWalk<4>(
      vu, u, v, bytes,
      [&](size_t b) {
        const __m256i x0 = Load32(vu + 16 * b);
        const __m256i x1 = Load32(vu + 16 * b + 32);
        // In-lane packs give samples 0-7, 16-23, 8-15, 24-31 in 64-bit
        // groups; the permute restores their order.
        const __m256i vs = _mm256_packus_epi16(_mm256_and_si256(x0, low),
                                               _mm256_and_si256(x1, low));
        const __m256i us = _mm256_packus_epi16(_mm256_srli_epi16(x0, 8),
                                               _mm256_srli_epi16(x1, 8));
        Store32(u + 8 * b, _mm256_permute4x64_epi64(us, 0xd8));
        Store32(v + 8 * b, _mm256_permute4x64_epi64(vs, 0xd8));
      },
      [&](size_t b) { SplitVUBlock(vu, u, v, b); });
}

#endif  // x86-64
