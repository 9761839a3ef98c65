// The walk shared by the vector box filters (SSE2, AVX2, NEON): inner rows
// in pairs with an odd last row alone, inner columns in blocks with a
// leftover finished by one block realigned to the row's end, rows narrower
// than one block pixel by pixel. Each twin supplies only the arithmetic of
// one block. No intrinsics here; everything has internal linkage, so the
// -mavx2 object keeps its own copy.
#ifndef VD_SPATIAL_BOX_FILTER_WALK_H_
#define VD_SPATIAL_BOX_FILTER_WALK_H_

#include <stddef.h>
#include <stdint.h>

#include "spatial/box_filter_internal.h"

namespace {

// Rows of a strided source and destination: s is the source row `radius`
// above the first output row d.
struct VdBoxRows {
  const uint8_t* s;
  ptrdiff_t ss;
  uint8_t* d;
  ptrdiff_t ds;
};

// Runs block(x) over the inner columns radius .. width - radius - 1 in
// blocks of kBlock; a leftover is finished by one block aligned to end at
// column width - radius - 1 (it redoes finished columns with the same bytes,
// each output reading only the source). Returns false, touching nothing,
// when the row is narrower than one block.
template <int kBlock, typename Block>
static inline bool VdInnerColumnBlocks(int radius, int width, Block block) {
  const int end = width - radius;
  int x = radius;
  if (end - x < kBlock) return false;
  for (; x + kBlock <= end; x += kBlock) block(x);
  if (x < end) block(end - kBlock);
  return true;
}

// The inner columns of `count` output rows pixel by pixel, for rows
// narrower than one block.
template <int radius, unsigned char (*mean)(uint32_t)>
static inline void VdBoxNarrowRows(const VdBoxRows& r, int width, int count) {
  for (int y = 0; y < count; ++y) {
    for (int x = radius; x < width - radius; ++x) {
      r.d[y * r.ds + x] = mean(VdBoxSum(r.s + (y + radius) * r.ss + x, r.ss,
                                        radius));
    }
  }
}

// Edges copied, then inner rows radius .. rows - radius - 1 two at a time;
// an odd last row gets a single-row pass. rows2(r) / rows1(r) filter the
// inner columns of output rows d and d + ds (rows2) or of row d alone.
template <int radius, typename Rows2, typename Rows1>
static inline int VdBoxRowPairs(const uint8_t* src, ptrdiff_t ss, uint8_t* dst,
                                ptrdiff_t ds, int width, int rows, int iEdge,
                                Rows2 rows2, Rows1 rows1) {
  VdBoxCopyEdges(src, ss, dst, ds, width, rows, radius, iEdge);
  int y = radius;
  for (; y + 1 < rows - radius; y += 2) {
    rows2(VdBoxRows{src + (y - radius) * ss, ss, dst + y * ds, ds});
  }
  if (y < rows - radius) {
    rows1(VdBoxRows{src + (y - radius) * ss, ss, dst + y * ds, ds});
  }
  return 1;
}

}  // namespace

#endif  // VD_SPATIAL_BOX_FILTER_WALK_H_
