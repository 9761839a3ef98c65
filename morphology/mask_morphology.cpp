// Fixed-size morphology on motion masks (255 moving, 0 still): scalar
// references, the build-time dispatch and the stripe wrappers.
#include "morphology/mask_morphology.h"

#include <stddef.h>
#include <string.h>

#include "base/vd_cpu.h"
#include "morphology/mask_morphology_internal.h"
#include "parallel/stripe.h"

void VdCopyMaskBorders(const uint8_t* src, uint8_t* dst, int width, int rows,
                       int edgeType, int k) {
  if (width <= 0 || rows <= 0) return;
  const ptrdiff_t w = width;
  const int edgeRows = rows < k ? rows : k;
  if (edgeType == VD_EDGE_TOP || edgeType == VD_EDGE_WHOLE) {
    memcpy(dst, src, edgeRows * w);
  }
  if (edgeType == VD_EDGE_WHOLE || edgeType == VD_EDGE_BOTTOM) {
    const ptrdiff_t first = rows - edgeRows;
    memcpy(dst + first * w, src + first * w, edgeRows * w);
  }
  if (width < k) return;
  for (ptrdiff_t r = k; r < rows - k; ++r) {
    memcpy(dst + r * w, src + r * w, k);
    memcpy(dst + r * w + w - k, src + r * w + w - k, k);
  }
}

int DeleteDiscretePoints_C(const uint8_t* src, uint8_t* dst, int width,
                           int rows, int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 1);
  // Interior rows go in pairs. Each row covers VdMaskRowSpan(width, 1) bytes
  // from column 1, and the next pair starts span + width + 2 bytes after the
  // current one: two rows down when the span ends at column width - 2,
  // drifting sideways otherwise. An odd last interior row is done alone.
  const ptrdiff_t w = width;
  const int span = VdMaskRowSpan(width, 1);
  const int interior = rows - 2;
  ptrdiff_t pos = w + 1;
  for (int pair = 0; pair < (interior >> 1); ++pair) {
    for (int i = 0; i < span; ++i) {
      dst[pos + i] = VdDiscretePointPixel(src + pos + i, w);
      dst[pos + w + i] = VdDiscretePointPixel(src + pos + w + i, w);
    }
    pos += span + w + 2;
  }
  if (interior > 0 && (interior & 1)) {
    for (int i = 0; i < span; ++i) {
      dst[pos + i] = VdDiscretePointPixel(src + pos + i, w);
    }
  }
  return 1;
}

namespace {

// The row-pair walk of the 5x5 erosion and the 9x9 dilation: (rows - 4) / 2
// pairs starting at row k, each row covering VdMaskRowSpan(width, k) bytes
// from column k; the next pair starts span + width + 2k bytes further on.
template <uint8_t (*Window)(const uint8_t*, ptrdiff_t, int)>
void MaskRowPairs(const uint8_t* src, uint8_t* dst, int width, int rows,
                  int k) {
  const ptrdiff_t w = width;
  const int span = VdMaskRowSpan(width, k);
  ptrdiff_t pos = k * w + k;
  for (int pair = 0; pair < ((rows - 4) >> 1); ++pair) {
    for (int i = 0; i < span; ++i) {
      dst[pos + i] = Window(src + pos + i, w, k);
      dst[pos + w + i] = Window(src + pos + w + i, w, k);
    }
    pos += span + w + 2 * k;
  }
}

}  // namespace

// An odd last interior row is left unwritten.
int Erose5x5_C(const uint8_t* src, uint8_t* dst, int width, int rows,
               int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 2);
  MaskRowPairs<VdAndWindow>(src, dst, width, rows, 2);
  return 1;
}

// The pair count is (rows - 4) / 2 although the footprint reaches four rows
// each way: starting at row 4 the pairs run to the last given row,
// overwriting the copied bottom border and reading four source rows past the
// end.
int Dilate9x9_C(const uint8_t* src, uint8_t* dst, int width, int rows,
                int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 4);
  MaskRowPairs<VdOrWindow>(src, dst, width, rows, 4);
  return 1;
}

int Dilate15x15_C(const uint8_t* src, uint8_t* dst, int width, int rows,
                  int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 7);
  // Rows go in groups of four and columns in pairs: up to three last
  // interior rows, and the last interior column of an odd interior width,
  // are not written.
  const ptrdiff_t w = width;
  const int groups = (rows - 14) >> 2;
  const int pairs = (width - 14) >> 1;
  for (ptrdiff_t r = 7; r < 7 + 4 * groups; ++r) {
    for (ptrdiff_t c = 7; c < 7 + 2 * pairs; ++c) {
      dst[r * w + c] = VdOrWindow(src + r * w + c, w, 7);
    }
  }
  return 1;
}

void VdInitMaskMorphologyKernels(MaskMorphologyKernels* k, int level) {
  k->delete_points = DeleteDiscretePoints_C;
  k->erode5x5 = Erose5x5_C;
  k->dilate9x9 = Dilate9x9_C;
  k->dilate15x15 = Dilate15x15_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->delete_points = DeleteDiscretePoints_NEON;
    k->erode5x5 = Erose5x5_NEON;
    k->dilate9x9 = Dilate9x9_NEON;
    k->dilate15x15 = Dilate15x15_NEON;
  }
#endif
  (void)level;
}

const MaskMorphologyKernels& VdMaskMorphologyKernels(int level) {
  return VdSimdTable<MaskMorphologyKernels, VdInitMaskMorphologyKernels>(
      level);
}

extern "C" int DeleteDiscretePoints(unsigned char* src, unsigned char* dst,
                                    int width, int rows, int edgeType,
                                    int /*unused1*/, int /*unused2*/) {
  return VdMaskMorphologyKernels(VdSimdLevel())
      .delete_points(src, dst, width, rows, edgeType);
}

extern "C" int Erose5x5(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType) {
  return VdMaskMorphologyKernels(VdSimdLevel())
      .erode5x5(src, dst, width, rows, edgeType);
}

extern "C" int Dilate9x9(unsigned char* src, unsigned char* dst, int width,
                         int rows, int edgeType) {
  return VdMaskMorphologyKernels(VdSimdLevel())
      .dilate9x9(src, dst, width, rows, edgeType);
}

extern "C" int Dilate15x15(unsigned char* src, unsigned char* dst, int width,
                           int rows, int edgeType) {
  return VdMaskMorphologyKernels(VdSimdLevel())
      .dilate15x15(src, dst, width, rows, edgeType);
}

extern "C" int Dilate5x5(unsigned char* src, unsigned char* dst, int width,
                         int rows, int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 2);
  // One output row of width - 4 bytes at a time, after which the position
  // moves on by 14 bytes rather than 4: every row after the first starts
  // 10 bytes further right than the one before it, relative to the row
  // start, and the last rows run past the plane.
  const ptrdiff_t w = width;
  ptrdiff_t pos = 2 * w + 2;
  for (int r = 0; r < rows - 4; ++r) {
    for (int i = 0; i < width - 4; ++i) {
      dst[pos + i] = VdOrWindow(src + pos + i, w, 2);
    }
    pos += (width - 4) + 14;
  }
  return 1;
}

namespace {

// The row-exact rule at every column k .. width - k - 1 of rows
// [firstRow, endRow).
template <typename Pixel>
void ComputeRows(const uint8_t* src, uint8_t* dst, int width, int firstRow,
                 int endRow, int k, Pixel pixel) {
  const ptrdiff_t w = width;
  for (ptrdiff_t r = firstRow; r < endRow; ++r) {
    const ptrdiff_t row = r * w;
    for (ptrdiff_t c = k; c < w - k; ++c) dst[row + c] = pixel(src + row + c);
  }
}

}  // namespace

int VdDeleteDiscretePointsRows(const uint8_t* src, uint8_t* dst, int width,
                               int rows, int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 1);
  const ptrdiff_t w = width;
  ComputeRows(src, dst, width, 1, rows - 1, 1,
              [w](const uint8_t* s) { return VdDiscretePointPixel(s, w); });
  return 1;
}

int VdErose5x5Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                   int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 2);
  const ptrdiff_t w = width;
  const int pairs = (rows - 4) >> 1;
  ComputeRows(src, dst, width, 2, 2 + 2 * pairs, 2,
              [w](const uint8_t* s) { return VdAndWindow(s, w, 2); });
  return 1;
}

int VdDilate9x9Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                    int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 4);
  const ptrdiff_t w = width;
  const int pairs = (rows - 4) >> 1;
  ComputeRows(src, dst, width, 4, 4 + 2 * pairs, 4,
              [w](const uint8_t* s) { return VdOrWindow(s, w, 4); });
  return 1;
}

namespace {

typedef int (*MaskKernel)(unsigned char*, unsigned char*, int, int, int);

int DiscretePointsKernel(unsigned char* src, unsigned char* dst, int width,
                         int rows, int edgeType) {
  return DeleteDiscretePoints(src, dst, width, rows, edgeType, 0, 4);
}

// Kernels for stripes that run side by side. At a width where a kernel's
// block stepping is not exact (VdMaskStepsExact), a row's span does not end
// at its last interior column: the rows of a pair are written shifted and
// the walk drifts sideways, past the rows it was given. For a direct call
// that is the kernel's defined behaviour; for a stripe the drift lands in
// the next stripe's rows while that stripe's worker writes them. So each
// plane takes the kernel where its width is walked exactly (the same bytes
// as ever) and the row-exact form elsewhere.
int DiscretePointsPlane(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType) {
  if (VdMaskStepsExact(width, 1)) {
    return DiscretePointsKernel(src, dst, width, rows, edgeType);
  }
  return VdDeleteDiscretePointsRows(src, dst, width, rows, edgeType);
}

int Erose5x5Plane(unsigned char* src, unsigned char* dst, int width, int rows,
                  int edgeType) {
  if (VdMaskStepsExact(width, 2)) {
    return Erose5x5(src, dst, width, rows, edgeType);
  }
  return VdErose5x5Rows(src, dst, width, rows, edgeType);
}

int Dilate9x9Plane(unsigned char* src, unsigned char* dst, int width, int rows,
                   int edgeType) {
  if (VdMaskStepsExact(width, 4)) {
    return Dilate9x9(src, dst, width, rows, edgeType);
  }
  return VdDilate9x9Rows(src, dst, width, rows, edgeType);
}

// DeleteDiscretePointsProc with a given kernel.
int RunDiscretePointsOnStripe(MaskKernel kernel, sYuvImage_t* src,
                              sYuvImage_t* dst, int width, int height,
                              int withChroma, int offset, int edgeType) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, 1);
  const ptrdiff_t luma = offset - up * width;
  int result = kernel(src->pY + luma, dst->pY + luma, width,
                      up + down + height, edgeType);
  if (withChroma) {
    // The chroma planes start at the margin row above the stripe like the
    // other wrappers, but get height >> (up + down + 1) rows: a middle
    // stripe a quarter of its chroma rows, a top or bottom stripe half.
    const ptrdiff_t chroma = (offset >> 2) - ((up * width) >> 1);
    const int chromaRows = height >> (up + down + 1);
    result = kernel(src->pU + chroma, dst->pU + chroma, width >> 1,
                    chromaRows, edgeType);
    result = kernel(src->pV + chroma, dst->pV + chroma, width >> 1,
                    chromaRows, edgeType);
  }
  return result;
}

// Runs kernel on the stripe's luma rows plus margin borrowed rows on each
// side that has a neighbour, and likewise on both chroma planes.
void RunOnStripe(MaskKernel kernel, int margin, sYuvImage_t* src,
                 sYuvImage_t* dst, int width, int height, int withChroma,
                 int offset, int edgeType) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, margin);
  const ptrdiff_t luma = offset - up * width;
  kernel(src->pY + luma, dst->pY + luma, width, up + down + height, edgeType);
  if (withChroma) {
    const ptrdiff_t chroma = (offset >> 2) - ((up * width) >> 1);
    const int chromaRows = up + down + (height >> 1);
    kernel(src->pU + chroma, dst->pU + chroma, width >> 1, chromaRows,
           edgeType);
    kernel(src->pV + chroma, dst->pV + chroma, width >> 1, chromaRows,
           edgeType);
  }
}

// Rows [firstRow, endRow) of the 9x9 OR rule, columns 4 .. width - 5, for a
// plane of `rows` rows whose window rows past the plane's last row are
// taken from `after` (the rows that follow the plane in its frame image),
// or, where after is null, contribute nothing (an OR with zero).
void DilateRowsBeforeAfter(const uint8_t* src, uint8_t* dst, int width,
                           int rows, int firstRow, int endRow,
                           const uint8_t* after) {
  const ptrdiff_t w = width;
  for (ptrdiff_t r = firstRow; r < endRow; ++r) {
    for (ptrdiff_t c = 4; c < w - 4; ++c) {
      uint8_t m = 0;
      for (ptrdiff_t y = r - 4; y <= r + 4; ++y) {
        const uint8_t* row = y < rows ? src + y * w
                             : after ? after + (y - rows) * w
                                     : nullptr;
        if (!row) continue;
        for (ptrdiff_t x = c - 4; x <= c + 4; ++x) m |= row[x];
      }
      dst[r * w + c] = m;
    }
  }
}

// The last plane of a frame (the bottom or only stripe): Dilate9x9 computes
// its last rows from four rows past the plane. Those are read from `after`
// instead (null: none), so nothing past the frame image is touched: the
// kernel runs on all but the last four rows, which its own reads then never
// pass, and the rows whose window reaches past the plane are finished here
// with the same borders and the same rule.
void DilateLastPlane(unsigned char* src, unsigned char* dst, int width,
                     int rows, int edgeType, const uint8_t* after) {
  const int pairs = (rows - 4) >> 1;
  const int end = pairs > 0 ? 4 + 2 * pairs : 4;  // past the last computed row
  if (rows < 16 || width < 9) {
    VdCopyMaskBorders(src, dst, width, rows, edgeType, 4);
    DilateRowsBeforeAfter(src, dst, width, rows, 4, end, after);
    return;
  }
  // Same row parity, so the kernel's pairs sit where they sit for rows;
  // its bottom border copy covers rows - 8 .. rows - 5, which the kernel or
  // the finish below then computes as it would have.
  Dilate9x9Plane(src, dst, width, rows - 4, edgeType);
  const ptrdiff_t w = width;
  memcpy(dst + (rows - 4) * w, src + (rows - 4) * w, 4 * w);
  DilateRowsBeforeAfter(src, dst, width, rows, end - 4, end, after);
}

// One plane of VdDilateStripeOwnRows: up borrowed rows, the stripe's own
// rows, and below them down borrowed rows that are read but not written
// (none for the frame's last stripe, whose plane is followed by `after`).
// Dilate9x9 computes rows 4 .. rows - 1 of what it is given. Given the
// borrowed rows below as well, it computes the next stripe's first rows too;
// without them it computes the stripe's own rows (the pairs it keeps are at
// the same places) and its four-row read overrun lands on the borrowed rows.
void DilatePlaneOwnRows(unsigned char* src, unsigned char* dst, int width,
                        int up, int own, int down, int edgeType,
                        const uint8_t* after) {
  const int rows = up + own;
  const ptrdiff_t w = width;
  if (down == 0) {
    DilateLastPlane(src, dst, width, rows, edgeType, after);
    return;
  }
  if (width >= 4) {
    // With the borrowed rows the border rule also copied the side columns of
    // the stripe's last four rows; copy them first, as the kernel does its
    // borders, so that computed writes landing there still win.
    for (ptrdiff_t r = rows - 4 > 4 ? rows - 4 : 4; r < rows; ++r) {
      memcpy(dst + r * w, src + r * w, 4);
      memcpy(dst + r * w + w - 4, src + r * w + w - 4, 4);
    }
  }
  Dilate9x9Plane(src, dst, width, rows, edgeType);
  if (rows > 4 && ((rows - 4) & 1)) {
    // An odd own row count leaves the last own row out of the pairs; with
    // the borrowed rows it was the first row of a pair that reached into
    // the next stripe.
    ComputeRows(src, dst, width, rows - 1, rows, 4,
                [w](const uint8_t* s) { return VdOrWindow(s, w, 4); });
  }
}

}  // namespace

extern "C" int DeleteDiscretePointsProc(sYuvImage_t* src, sYuvImage_t* dst,
                                        int width, int height, int withChroma,
                                        int offset, int edgeType) {
  return RunDiscretePointsOnStripe(DiscretePointsKernel, src, dst, width,
                                   height, withChroma, offset, edgeType);
}

extern "C" int EroseProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                            int height, int withChroma, int offset,
                            int edgeType) {
  RunOnStripe(Erose5x5, 2, src, dst, width, height, withChroma, offset,
              edgeType);
  return 1;
}

extern "C" int DilateProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                             int height, int withChroma, int offset,
                             int edgeType) {
  RunOnStripe(Dilate9x9, 4, src, dst, width, height, withChroma, offset,
              edgeType);
  return 1;
}

int VdDeleteDiscretePointsStripe(sYuvImage_t* src, sYuvImage_t* dst,
                                 int width, int height, int withChroma,
                                 int offset, int edgeType) {
  return RunDiscretePointsOnStripe(DiscretePointsPlane, src, dst, width,
                                   height, withChroma, offset, edgeType);
}

int VdEroseStripe(sYuvImage_t* src, sYuvImage_t* dst, int width, int height,
                  int withChroma, int offset, int edgeType) {
  RunOnStripe(Erose5x5Plane, 2, src, dst, width, height, withChroma, offset,
              edgeType);
  return 1;
}

int VdDilateStripeOwnRows(sYuvImage_t* src, sYuvImage_t* dst, int width,
                          int height, int withChroma, int offset,
                          int edgeType) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, 4);
  const ptrdiff_t luma = offset - up * width;
  // A frame image is one block, Y then U then V: the rows after the last
  // luma row are U's, after U's come V's, after V's nothing.
  DilatePlaneOwnRows(src->pY + luma, dst->pY + luma, width, up, height, down,
                     edgeType, src->pU);
  if (withChroma) {
    const ptrdiff_t chroma = (offset >> 2) - ((up * width) >> 1);
    DilatePlaneOwnRows(src->pU + chroma, dst->pU + chroma, width >> 1, up,
                       height >> 1, down, edgeType, src->pV);
    DilatePlaneOwnRows(src->pV + chroma, dst->pV + chroma, width >> 1, up,
                       height >> 1, down, edgeType, nullptr);
  }
  return 1;
}
