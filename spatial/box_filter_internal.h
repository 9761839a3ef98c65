// Library-internal box filter kernels and the small pieces of arithmetic they
// share with the sharpness filter.
//
// Every box filter of radius r (3x3: r = 1, 5x5: r = 2, 7x7: r = 3,
// 11x11: r = 5) reads rows src_stride bytes apart and writes rows
// dst_stride bytes apart, touching exactly `width` bytes of each of its
// `rows` rows (the exported filters are these with both strides = width):
//  - the first r rows are copied when iEdge is 1 or 3 (the frame's top border
//    lies in the region), the last r rows when iEdge is 1 or 2 (bottom border);
//    rows neither copied nor filtered are left untouched, they are context
//    rows of a neighbouring stripe;
//  - in rows r .. rows - r - 1 the first r and last r columns are copied;
//  - every other pixel is the mean of its (2r + 1) x (2r + 1) neighbourhood,
//    read from the source only. src and dst must not overlap.
// The 3x3 mean rounds to nearest; the larger ones truncate. All of them
// return 1. Any width works: the vector twins (box_filter_walk.h) finish a
// row whose inner width is not a whole number of blocks with one block
// realigned to the row's end (the 14-column leftover at the frame widths),
// and rows narrower than one block pixel by pixel with the same arithmetic.
#ifndef VD_SPATIAL_BOX_FILTER_INTERNAL_H_
#define VD_SPATIAL_BOX_FILTER_INTERNAL_H_

#include <stddef.h>
#include <stdint.h>

#include "spatial/box_filter.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// The iEdge row copies and the per-row column copies of a filter of the given
// radius (see above). Also used by the sharpness filter (radius 1).
void VdBoxCopyEdges(const unsigned char* src, ptrdiff_t src_stride,
                    unsigned char* dst, ptrdiff_t dst_stride, int width,
                    int rows, int radius, int iEdge);

// Sum of the (2r + 1) x (2r + 1) pixels centred on p, rows `stride` apart.
static inline uint32_t VdBoxSum(const unsigned char* p, ptrdiff_t stride,
                                int radius) {
  uint32_t sum = 0;
  for (int dy = -radius; dy <= radius; ++dy) {
    const unsigned char* row = p + dy * stride;
    for (int dx = -radius; dx <= radius; ++dx) sum += row[dx];
  }
  return sum;
}

// 3x3 mean: the sum in single precision times the single-precision 1/9
// (0.111111112), plus 0.5, truncated toward zero, saturated to 16 bits, low
// 8 bits kept. For sums 0..2295 this is the nearest integer to sum / 9.
static inline unsigned char VdBoxMean9(uint32_t sum) {
  const float scaled = static_cast<float>(sum) * (1.0f / 9.0f);
  const float rounded = scaled + 0.5f;
  int32_t t = static_cast<int32_t>(rounded);
  if (t > 32767) t = 32767;
  if (t < -32768) t = -32768;
  return static_cast<unsigned char>(t);
}

// The same 3x3 mean in integers, for vector units without a cheap float
// path: round(sum / 9) = floor((sum + 4) / 9) (a ninth is never exactly
// half way), and floor(x / 9) = (x * 7282) >> 16 for every x below 32768.
// Equal to VdBoxMean9 for every sum 0..2295 (the tests check each one).
static inline unsigned char VdBoxMean9Int(uint32_t sum) {
  return static_cast<unsigned char>(((sum + 4) * 7282u) >> 16);
}

// Truncating means by multiply and shift: floor(sum / 25), floor(sum / 49),
// floor(sum / 121), exact over the sums of 8-bit pixels.
static inline unsigned char VdBoxMean25(uint32_t sum) {
  return static_cast<unsigned char>((uint64_t{sum} * 1374389535u) >> 35);
}
static inline unsigned char VdBoxMean49(uint32_t sum) {
  return static_cast<unsigned char>((uint64_t{sum} * 1402438301u) >> 36);
}
static inline unsigned char VdBoxMean121(uint32_t sum) {
  return static_cast<unsigned char>((uint64_t{sum} * 70991195u) >> 33);
}

// Scalar references.
int BoxFilter3x3_C(const unsigned char* src, ptrdiff_t src_stride,
                   unsigned char* dst, ptrdiff_t dst_stride, int width,
                   int rows, int iEdge);
int BoxFilter_C(const unsigned char* src, ptrdiff_t src_stride,
                unsigned char* dst, ptrdiff_t dst_stride, int width,
                int rows, int iEdge);  // 5x5
int BoxFilter7x7_C(const unsigned char* src, ptrdiff_t src_stride,
                   unsigned char* dst, ptrdiff_t dst_stride, int width,
                   int rows, int iEdge);
int BoxFilter_nxn_C(const unsigned char* src, ptrdiff_t src_stride,
                    unsigned char* dst, ptrdiff_t dst_stride, int width,
                    int rows, int iEdge);  // 11x11

#if defined(__ARM_NEON)
// Vector twins; same bytes as the references for every size.
int BoxFilter3x3_NEON(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge);
int BoxFilter_NEON(const unsigned char* src, ptrdiff_t src_stride,
                   unsigned char* dst, ptrdiff_t dst_stride, int width,
                   int rows, int iEdge);  // 5x5

// Horizontal 3-sums of the 16 columns starting at p (reads p[-1] .. p[16]):
// lanes 0..7 in *lo, 8..15 in *hi.
static inline void VdRowSum3x16(const uint8_t* p, uint16x8_t* lo,
                                uint16x8_t* hi) {
  const uint8x16_t a = vld1q_u8(p - 1);
  const uint8x16_t b = vld1q_u8(p);
  const uint8x16_t c = vld1q_u8(p + 1);
  *lo = vaddw_u8(vaddl_u8(vget_low_u8(a), vget_low_u8(b)), vget_low_u8(c));
  *hi = vaddw_u8(vaddl_u8(vget_high_u8(a), vget_high_u8(b)), vget_high_u8(c));
}
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins of the 3x3 filter (SSE2: 16 columns per step; AVX2: 32, run
// only where the processor has it); same bytes as the reference.
int BoxFilter3x3_SSE2(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge);
int BoxFilter3x3_AVX2(const unsigned char* src, ptrdiff_t src_stride,
                      unsigned char* dst, ptrdiff_t dst_stride, int width,
                      int rows, int iEdge);
#endif

// The family's variant table (base/vd_cpu.h): one slot per filter size.
using BoxFilterFn = int (*)(const unsigned char* src, ptrdiff_t src_stride,
                            unsigned char* dst, ptrdiff_t dst_stride,
                            int width, int rows, int iEdge);
struct BoxFilterKernels {
  BoxFilterFn box3x3;
  BoxFilterFn box5x5;
  BoxFilterFn box7x7;
  BoxFilterFn box11x11;
};
void VdInitBoxFilterKernels(BoxFilterKernels* k, int level);
const BoxFilterKernels& VdBoxFilterKernels(int level);

#endif  // VD_SPATIAL_BOX_FILTER_INTERNAL_H_
