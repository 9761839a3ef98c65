// The walk shared by the SSE2, AVX2 and NEON chroma movers
// (convert_*.cpp): block counts, the overlap checks that allow the wide
// steps, the order of the steps and the tail of fewer than one block. No
// intrinsics here; everything has internal linkage, so the -mavx2 object
// and the baseline object each keep their own copy.
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

// Merge: count / 8 whole blocks of 8 samples (16 output bytes), then the
// last count % 8 samples as one short block. When the output overlaps
// neither input, calls wide(b) for kWide blocks b .. b + kWide - 1 at a
// time while they last; the rest, or every block when the ranges overlap,
// goes one block at a time through block(b), in order, so overlapping
// ranges see exactly the reference's order. The short block is read
// completely before any of it is written, as a whole one is.
template <int kWide, typename Wide, typename Block>
static inline void MergeVUWalk(const uint8_t* u, const uint8_t* v,
                               uint8_t* vu, int count, Wide wide,
                               Block block) {
  if (count <= 0) return;
  const size_t n = static_cast<size_t>(count), blocks = n / 8;
  size_t b = 0;
  if (RangesDisjoint(vu, 2 * n, u, n) && RangesDisjoint(vu, 2 * n, v, n)) {
    for (; b + kWide <= blocks; b += kWide) wide(b);
  }
  for (; b < blocks; ++b) block(b);
  const size_t first = 8 * blocks, rest = n - first;
  uint8_t us[8], vs[8];
  for (size_t k = 0; k < rest; ++k) {
    us[k] = u[first + k];
    vs[k] = v[first + k];
  }
  for (size_t k = 0; k < rest; ++k) {
    vu[2 * (first + k)] = vs[k];
    vu[2 * (first + k) + 1] = us[k];
  }
}

// Split: bytes / 16 whole blocks of 16 interleaved bytes, then the last
// bytes % 16 as one short block: read completely, then its U samples
// stored, then its V samples (an odd count ends on a V byte, which goes to
// V alone). The wide steps run only when no two of the planes overlap;
// otherwise block by block, U stored before V.
template <int kWide, typename Wide, typename Block>
static inline void SplitVUWalk(const uint8_t* vu, uint8_t* u, uint8_t* v,
                               int bytes, Wide wide, Block block) {
  if (bytes <= 0) return;
  const size_t n = static_cast<size_t>(bytes), blocks = n / 16;
  size_t b = 0;
  if (RangesDisjoint(vu, n, u, n / 2) &&
      RangesDisjoint(vu, n, v, (n + 1) / 2) &&
      RangesDisjoint(u, n / 2, v, (n + 1) / 2)) {
    for (; b + kWide <= blocks; b += kWide) wide(b);
  }
  for (; b < blocks; ++b) block(b);
  const size_t first = 16 * blocks, rest = n - first;
  uint8_t tail[16];
  for (size_t k = 0; k < rest; ++k) tail[k] = vu[first + k];
  for (size_t k = 0; k < rest / 2; ++k) u[first / 2 + k] = tail[2 * k + 1];
  for (size_t k = 0; k < (rest + 1) / 2; ++k) v[first / 2 + k] = tail[2 * k];
}

}  // namespace

#endif  // VD_IMAGE_CONVERT_WALK_H_
