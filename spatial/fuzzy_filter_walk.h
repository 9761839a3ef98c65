// The walks shared by the SSE2, AVX2 and NEON fuzzy filters
// (fuzzy_filter_*.cpp): the order in which they visit a plane, with the
// per-block arithmetic left to the caller. No intrinsics here; everything
// has internal linkage, so the -mavx2 object and the baseline object each
// keep their own copy.
#ifndef VD_SPATIAL_FUZZY_FILTER_WALK_H_
#define VD_SPATIAL_FUZZY_FILTER_WALK_H_

#include <stddef.h>
#include <stdint.h>

#include "spatial/fuzzy_filter_internal.h"

namespace {

// The table blend (FuzzyFilter_2): calls block(i) for kBlock pixels from i
// on while they fit into the first width x height rounded down to 4 pixels,
// then looks the remaining whole groups of four up one group at a time; the
// last width x height mod 4 pixels are left alone. Each step reads its
// inputs before it writes, so out may be cur.
template <int kBlock, typename Block>
static inline void FuzzyBlendWalk(const unsigned char* cur,
                                  const unsigned char* diff,
                                  const unsigned char* sign,
                                  unsigned char* out, int width, int height,
                                  int level, Block block) {
  const int64_t count = int64_t{width} * height;
  if (count < 4) return;
  const size_t end = static_cast<size_t>(count) & ~size_t{3};
  size_t i = 0;
  for (; i + kBlock <= end; i += kBlock) block(i);
  const uint8_t* table = nr_table + level * kNrBytesPerLevel;
  for (; i < end; i += 4) {
    uint8_t v[4];
    for (int k = 0; k < 4; ++k) {
      v[k] = table[cur[i + k] * kNrBytesPerValue + diff[i + k] * 2 + sign[i + k]];
    }
    for (int k = 0; k < 4; ++k) out[i + k] = v[k];
  }
}

// The range-weighted means: columns 1 .. width - 2 of every inner row
// (rows 1 .. height - 2) in blocks of kBlock columns, width >= kBlock + 2.
// Calls block(row, x, last) with row the offset of the row's column 0 and x
// the block's first column: whole blocks from column 1 with last false,
// then, when columns are left over or `seeded` asks for it, one block
// aligned to end at column width - 2 with last true, stored last. Its
// columns from width - 9 on are the ones FuzzyFilter_UV seeds with
// kFuzzyLastGroupSeed, so where an earlier block reached into it the seeded
// result wins, exactly the reference's column rule.
template <int kBlock, typename Block>
static inline void FuzzyInnerRowsWalk(int width, int height, bool seeded,
                                      Block block) {
  const size_t w = static_cast<size_t>(width);
  for (int y = 1; y < height - 1; ++y) {
    const size_t row = y * w;
    int x = 1;
    for (; x + kBlock <= width - 1; x += kBlock) block(row, x, false);
    if (x < width - 1 || seeded) block(row, width - 1 - kBlock, true);
  }
}

}  // namespace

#endif  // VD_SPATIAL_FUZZY_FILTER_WALK_H_
