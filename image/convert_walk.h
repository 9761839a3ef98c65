// The block walk shared by the SSE2, AVX2 and NEON chroma movers
// (convert_*.cpp): block counts, the overlap checks that allow the wide
// steps, and the order of the steps. No intrinsics here; everything has
// internal linkage, so the -mavx2 object and the baseline object each keep
// their own copy.
#ifndef VD_IMAGE_CONVERT_WALK_H_
#define VD_IMAGE_CONVERT_WALK_H_

#include <stddef.h>
#include <stdint.h>

namespace {

// True when the byte ranges [a, a + na) and [b, b + nb) share no byte.
static inline bool RangesDisjoint(const void* a, size_t na, const void* b,
                                  size_t nb) {
  const uintptr_t pa = reinterpret_cast<uintptr_t>(a);
  const uintptr_t pb = reinterpret_cast<uintptr_t>(b);
  return pa + na <= pb || pb + nb <= pa;
}

// Merge: ceil(count / 8) blocks of 8 samples (16 output bytes). When the
// output overlaps neither input, calls wide(b) for kWide blocks b ..
// b + kWide - 1 at a time while they last; the rest, or every block when
// the ranges overlap, goes one block at a time through block(b), in order,
// so overlapping ranges see exactly the reference's order.
template <int kWide, typename Wide, typename Block>
static inline void MergeVUWalk(const uint8_t* u, const uint8_t* v,
                               const uint8_t* vu, int count, Wide wide,
                               Block block) {
  if (count <= 0) return;
  const size_t blocks = (static_cast<size_t>(count) + 7) / 8;
  size_t b = 0;
  if (RangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
      RangesDisjoint(vu, 16 * blocks, v, 8 * blocks)) {
    for (; b + kWide <= blocks; b += kWide) wide(b);
  }
  for (; b < blocks; ++b) block(b);
}

// Split: ((bytes - 1) >> 4) + 1 blocks of 16 interleaved bytes (taken
// unsigned, as the reference does). The wide steps run only when no two of
// the planes overlap; otherwise block by block, U stored before V.
template <int kWide, typename Wide, typename Block>
static inline void SplitVUWalk(const uint8_t* vu, const uint8_t* u,
                               const uint8_t* v, int bytes, Wide wide,
                               Block block) {
  if (bytes <= 0) return;
  const size_t blocks = ((static_cast<unsigned>(bytes) - 1u) >> 4) + 1u;
  size_t b = 0;
  if (RangesDisjoint(vu, 16 * blocks, u, 8 * blocks) &&
      RangesDisjoint(vu, 16 * blocks, v, 8 * blocks) &&
      RangesDisjoint(u, 8 * blocks, v, 8 * blocks)) {
    for (; b + kWide <= blocks; b += kWide) wide(b);
  }
  for (; b < blocks; ++b) block(b);
}

}  // namespace

#endif  // VD_IMAGE_CONVERT_WALK_H_
