// Library-internal parts of the fixed-size mask morphology: the scalar
// references, their NEON twins and the helpers both share.
//
// Every kernel works on flat, tightly packed planes and addresses its output
// pixels by byte position. The value written at a position depends only on
// the source bytes around that position, so the vector kernels may split a
// span into 16-byte blocks (even overlapping ones) and still write exactly
// what the scalar reference writes, and the exported kernels' drifting walk
// is only a different choice of positions for the same span kernels.
#ifndef VD_MORPHOLOGY_MASK_MORPHOLOGY_INTERNAL_H_
#define VD_MORPHOLOGY_MASK_MORPHOLOGY_INTERNAL_H_

#include <stddef.h>
#include <stdint.h>

// Border rule shared by the kernels, for a footprint of half-size k: the
// first k rows are copied for edge types 3 and 1, the last k rows for 1 and
// 2, and the first and last k bytes of every row k .. rows - k - 1 always.
// The kernels copy the borders before they compute anything, so a computed
// write that lands on a border byte wins.
void VdCopyMaskBorders(const uint8_t* src, uint8_t* dst, int width, int rows,
                       int edgeType, int k);

// Bytes the exported kernels' walk of half-size k covers in one row: whole
// 32-column steps over the width - 2k interior columns, then, when columns
// remain, one last step of 32 - 2k columns (a 32-byte source load minus the
// window margins). The last step can stop short of the row end or run past
// it; it is exact when (width - 2k) mod 32 is 0 or 32 - 2k.
static inline int VdMaskRowSpan(int width, int k) {
  const int interior = width - 2 * k;
  if (interior <= 0) return 0;
  return (interior & ~31) + ((interior & 31) ? 32 - 2 * k : 0);
}

// 3 x 3 discrete-point rule at the byte s (row step width): with n the
// number of bytes >= 128 in the block, centre included, 255 when n >= 7 or
// when the centre is set and n >= 3, else 0.
static inline uint8_t VdDiscretePointPixel(const uint8_t* s, ptrdiff_t width) {
  int n = 0;
  for (ptrdiff_t dy = -1; dy <= 1; ++dy) {
    for (ptrdiff_t dx = -1; dx <= 1; ++dx) n += s[dy * width + dx] >= 128;
  }
  return (n >= 7 || (s[0] >= 128 && n >= 3)) ? 255 : 0;
}

// Bitwise AND / OR of the (2k + 1) x (2k + 1) block centred on s.
static inline uint8_t VdAndWindow(const uint8_t* s, ptrdiff_t width, int k) {
  uint8_t m = 255;
  for (ptrdiff_t dy = -k; dy <= k; ++dy) {
    for (ptrdiff_t dx = -k; dx <= k; ++dx) m &= s[dy * width + dx];
  }
  return m;
}

static inline uint8_t VdOrWindow(const uint8_t* s, ptrdiff_t width, int k) {
  uint8_t m = 0;
  for (ptrdiff_t dy = -k; dy <= k; ++dy) {
    for (ptrdiff_t dx = -k; dx <= k; ++dx) m |= s[dy * width + dx];
  }
  return m;
}

// The table's kernels. The span kernels compute one rule at flat positions:
// for r in 0 .. rows - 1, bytes r x width .. r x width + span - 1 from src
// and dst (which point at the first output position), each from the window
// around its position with rows width bytes apart. They read only those
// windows and write only those bytes; a span may be longer than a row and
// run on into the next (the exported walks use such spans), nothing beyond
// that. The vector twins go through a span in 16-byte blocks, two rows at a
// time (an odd last row alone), finish a span that is not a whole number of
// blocks with one block realigned to its end, and do spans narrower than a
// block per pixel with the same rule. Dilate15x15's slot is the whole
// kernel (groups of four rows, column pairs, the planes only).
using MaskSpanFn = void (*)(const uint8_t* src, uint8_t* dst, int width,
                            int span, int rows);
using MaskMorphologyFn = int (*)(const uint8_t* src, uint8_t* dst, int width,
                                 int rows, int edgeType);

// Scalar references (mask_morphology.cpp).
void DiscretePointSpans_C(const uint8_t* src, uint8_t* dst, int width,
                          int span, int rows);
void AndWindow5x5Spans_C(const uint8_t* src, uint8_t* dst, int width,
                         int span, int rows);
void OrWindow9x9Spans_C(const uint8_t* src, uint8_t* dst, int width, int span,
                        int rows);
int Dilate15x15_C(const uint8_t* src, uint8_t* dst, int width, int rows,
                  int edgeType);

#if defined(__ARM_NEON)
// NEON twins (mask_morphology_neon.cpp), byte for byte equal to the above.
void DiscretePointSpans_NEON(const uint8_t* src, uint8_t* dst, int width,
                             int span, int rows);
void AndWindow5x5Spans_NEON(const uint8_t* src, uint8_t* dst, int width,
                            int span, int rows);
void OrWindow9x9Spans_NEON(const uint8_t* src, uint8_t* dst, int width,
                           int span, int rows);
int Dilate15x15_NEON(const uint8_t* src, uint8_t* dst, int width, int rows,
                     int edgeType);
#endif

// The family's variant table (base/vd_cpu.h).
struct MaskMorphologyKernels {
  MaskSpanFn discrete_points;  // 3 x 3 discrete-point rule
  MaskSpanFn and5x5;           // 5 x 5 AND (Erose5x5)
  MaskSpanFn or9x9;            // 9 x 9 OR (Dilate9x9)
  MaskMorphologyFn dilate15x15;  // Dilate15x15
};
void VdInitMaskMorphologyKernels(MaskMorphologyKernels* k, int level);
const MaskMorphologyKernels& VdMaskMorphologyKernels(int level);

// Whether the exported walk of half-size k covers whole rows at this width:
// each row's span then ends exactly at column width - k - 1 and a row pair
// moves on by exactly two rows.
static inline bool VdMaskStepsExact(int width, int k) {
  const int interior = width - 2 * k;
  return interior <= 0 || VdMaskRowSpan(width, k) == interior;
}

// Row-exact forms of the three walked kernels (mask_morphology.cpp). Each
// applies the kernel's rule to every column k .. width - k - 1 of the rows
// the kernel computes, copies the same borders for the edge type, and keeps
// the kernel's row structure (the odd last row of the discrete-point rule
// done alone, the one left by Erose5x5, the four rows Dilate9x9 computes
// past its bottom border), but never drifts sideways: every byte it writes
// lies in its own row and column. They are the exported kernels' walk with
// a span of width - 2k, through the same table kernels; where
// VdMaskStepsExact holds they write exactly what the kernels write.
int VdDeleteDiscretePointsRows(const uint8_t* src, uint8_t* dst, int width,
                               int rows, int edgeType);
int VdErose5x5Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                   int edgeType);
int VdDilate9x9Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                    int edgeType);

struct sYuvImage_t;

// Stripe wrappers for the temporal pipeline, where three stripes run side by
// side on the same planes. They take the arguments of the exported wrappers
// and cover the same rows (the discrete-point chroma row count included),
// but run the row-exact forms, so that no stripe's writes drift into its
// neighbour's rows at a width the kernels do not walk exactly; at exact
// widths that is the kernels' bytes. These two are DeleteDiscretePointsProc
// and EroseProcess in that form, with the same results.
int VdDeleteDiscretePointsStripe(sYuvImage_t* src, sYuvImage_t* dst,
                                 int width, int height, int withChroma,
                                 int offset, int edgeType);
int VdEroseStripe(sYuvImage_t* src, sYuvImage_t* dst, int width, int height,
                  int withChroma, int offset, int edgeType);

// DilateProcess for the stripe pipeline: each plane of the stripe's own rows
// gets the bytes DilateProcess gives it, but Dilate9x9 (or its row-exact
// form) is given the rows up to the stripe's end only (it still reads the
// four borrowed rows below as its overrun), so it does not also write the
// next stripe's first four rows while that stripe's worker writes them.
// Returns 1.
int VdDilateStripeOwnRows(sYuvImage_t* src, sYuvImage_t* dst, int width,
                          int height, int withChroma, int offset,
                          int edgeType);

#endif  // VD_MORPHOLOGY_MASK_MORPHOLOGY_INTERNAL_H_
