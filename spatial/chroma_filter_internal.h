// Library-internal multi-scale chroma filter.
#ifndef VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_
#define VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_

#include "spatial/box_filter.h"

// Filters one chroma plane of `rows` x `width` at a reduced scale s: s = 4
// when level is 0 or 1 (compared unsigned), s = 8 for every other level.
//   s = 4: 4x4 means into b1, 3x3 fuzzy filter b1 -> b2 (both borders
//          present), 4x enlargement of b2's inner rows into dst;
//   s = 8: 4x4 means into b1, 2x2 means b1 -> b3, fuzzy filter b3 -> b2,
//          8x enlargement of b2's inner rows into dst.
// The first up / s and last down / s reduced rows are context only: exactly
// (rows / s - up / s - down / s) x s rows of dst are written, starting at row
// up; nothing above or below. Divisions truncate toward zero.
// b1 and b2 need (width / 4) x (rows / 4) bytes, b3 (width / 8) x (rows / 8).
// The reduced width must suit the fuzzy filter ((w - 2) mod 16 of 6 or 14),
// rows must be a multiple of s. Returns 1.
int VdFilterUV(unsigned char* src, unsigned char* dst, int width, int rows,
               int up, int down, int level, unsigned char* b1,
               unsigned char* b2, unsigned char* b3);

#endif  // VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_
