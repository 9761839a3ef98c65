// Glue shared by the SSE2 (box_filter_sse2.cpp) and AVX2 (box_filter_avx2.cpp)
// 3x3 box filters: the column-block and row-pair walks. Everything here has
// internal linkage, so the -mavx2 object and the baseline object each keep
// their own copy.
#ifndef VD_SPATIAL_BOX_FILTER_X86_COMMON_H_
#define VD_SPATIAL_BOX_FILTER_X86_COMMON_H_

#include <stddef.h>

#include "spatial/box_filter_internal.h"

namespace {

// Runs block(x) over the inner columns 1 .. width - 2 in blocks of kBlock; a
// leftover is finished by one block aligned to end at column width - 2 (it
// redoes finished columns with the same bytes, each output reading only the
// source). Returns false, touching nothing, when the row is narrower than
// one block.
template <int kBlock, typename Block>
static inline bool InnerColumnBlocks(int width, Block block) {
  const int end = width - 1;
  int x = 1;
  if (end - x < kBlock) return false;
  for (; x + kBlock <= end; x += kBlock) block(x);
  if (x < end) block(end - kBlock);
  return true;
}

// Edges copied, then inner rows 1 .. rows - 2 two at a time; an odd last row
// gets a single-row pass with the same arithmetic. rows2 / rows1 (s, d)
// filter the inner columns of destination rows d and d + width (rows2) or
// row d alone (rows1); s is the source row above d.
template <typename Rows2, typename Rows1>
static inline int BoxFilterRowPairs(const unsigned char* src, unsigned char* dst,
                                    int width, int rows, int iEdge, Rows2 rows2,
                                    Rows1 rows1) {
  VdBoxCopyEdges(src, dst, width, rows, 1, iEdge);
  const ptrdiff_t w = width;
  int y = 1;
  for (; y + 1 < rows - 1; y += 2) {
    rows2(src + (y - 1) * w, dst + y * w);
  }
  if (y < rows - 1) rows1(src + (y - 1) * w, dst + y * w);
  return 1;
}

}  // namespace

#endif  // VD_SPATIAL_BOX_FILTER_X86_COMMON_H_
