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

namespace {

// The rule of a span kernel at each byte of its spans.
template <typename Pixel>
void ComputeSpans(const uint8_t* src, uint8_t* dst, int width, int span,
                  int rows, Pixel pixel) {
  const ptrdiff_t w = width;
  for (ptrdiff_t r = 0; r < rows; ++r) {
    for (ptrdiff_t i = r * w; i < r * w + span; ++i) dst[i] = pixel(src + i);
  }
}

}  // namespace

void DiscretePointSpans_C(const uint8_t* src, uint8_t* dst, int width,
                          int span, int rows) {
  const ptrdiff_t w = width;
  ComputeSpans(src, dst, width, span, rows,
               [w](const uint8_t* s) { return VdDiscretePointPixel(s, w); });
}

void AndWindow5x5Spans_C(const uint8_t* src, uint8_t* dst, int width,
                         int span, int rows) {
  const ptrdiff_t w = width;
  ComputeSpans(src, dst, width, span, rows,
               [w](const uint8_t* s) { return VdAndWindow(s, w, 2); });
}

void OrWindow9x9Spans_C(const uint8_t* src, uint8_t* dst, int width, int span,
                        int rows) {
  const ptrdiff_t w = width;
  ComputeSpans(src, dst, width, span, rows,
               [w](const uint8_t* s) { return VdOrWindow(s, w, 4); });
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
  k->discrete_points = DiscretePointSpans_C;
  k->and5x5 = AndWindow5x5Spans_C;
  k->or9x9 = OrWindow9x9Spans_C;
  k->dilate15x15 = Dilate15x15_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->discrete_points = DiscretePointSpans_NEON;
    k->and5x5 = AndWindow5x5Spans_NEON;
    k->or9x9 = OrWindow9x9Spans_NEON;
    k->dilate15x15 = Dilate15x15_NEON;
  }
#endif
  (void)level;
}

const MaskMorphologyKernels& VdMaskMorphologyKernels(int level) {
  return VdSimdTable<MaskMorphologyKernels, VdInitMaskMorphologyKernels>(
      level);
}

namespace {

// The row-pair walk of DeleteDiscretePoints (k = 1), Erose5x5 (k = 2) and
// Dilate9x9 (k = 4), with the rows of each pair `span` bytes long from
// column k: borders copied for the edge type, then `pairs` pairs from row k,
// the next pair starting span + width + 2k bytes after the current one,
// then, when oddRow, one row alone where the next pair would start. With a
// span of width - 2k that is two rows down per pair and every row exact.
void MaskRowPairWalk(MaskSpanFn kernel, const uint8_t* src, uint8_t* dst,
                     int width, int rows, int edgeType, int k, int span,
                     int pairs, bool oddRow) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, k);
  if (span <= 0) return;
  ptrdiff_t pos = static_cast<ptrdiff_t>(k) * width + k;
  for (int pair = 0; pair < pairs; ++pair) {
    kernel(src + pos, dst + pos, width, span, 2);
    pos += span + width + 2 * k;
  }
  if (oddRow) kernel(src + pos, dst + pos, width, span, 1);
}

// The walks of the three rules. The discrete-point rule does every interior
// row, an odd last one alone; the windows do (rows - 4) / 2 pairs and leave
// an odd last row, and for Dilate9x9 (whose footprint reaches four rows each
// way) that runs from row 4 to the last given row, past its bottom border,
// reading four source rows past the end.
void DiscretePointsWalk(const uint8_t* src, uint8_t* dst, int width, int rows,
                        int edgeType, int span) {
  const int interior = rows - 2;
  MaskRowPairWalk(VdMaskMorphologyKernels(VdSimdLevel()).discrete_points, src,
                  dst, width, rows, edgeType, 1, span, interior >> 1,
                  interior > 0 && (interior & 1));
}

void Erose5x5Walk(const uint8_t* src, uint8_t* dst, int width, int rows,
                  int edgeType, int span) {
  MaskRowPairWalk(VdMaskMorphologyKernels(VdSimdLevel()).and5x5, src, dst,
                  width, rows, edgeType, 2, span, (rows - 4) >> 1, false);
}

void Dilate9x9Walk(const uint8_t* src, uint8_t* dst, int width, int rows,
                   int edgeType, int span) {
  MaskRowPairWalk(VdMaskMorphologyKernels(VdSimdLevel()).or9x9, src, dst,
                  width, rows, edgeType, 4, span, (rows - 4) >> 1, false);
}

int ExactSpan(int width, int k) {
  return width > 2 * k ? width - 2 * k : 0;
}

// The exported kernels' defined block stepping, kept for direct callers:
// each row of a pair covers VdMaskRowSpan(width, k) bytes, so at widths
// where that is not width - 2k the rows drift sideways and the walk runs
// past the plane (mask_morphology.h gives the buffer sizes). The library's
// own paths use the row-exact forms below.
int DeleteDiscretePointsStepping(const uint8_t* src, uint8_t* dst, int width,
                                 int rows, int edgeType) {
  DiscretePointsWalk(src, dst, width, rows, edgeType, VdMaskRowSpan(width, 1));
  return 1;
}

int Erose5x5Stepping(const uint8_t* src, uint8_t* dst, int width, int rows,
                     int edgeType) {
  Erose5x5Walk(src, dst, width, rows, edgeType, VdMaskRowSpan(width, 2));
  return 1;
}

int Dilate9x9Stepping(const uint8_t* src, uint8_t* dst, int width, int rows,
                      int edgeType) {
  Dilate9x9Walk(src, dst, width, rows, edgeType, VdMaskRowSpan(width, 4));
  return 1;
}

}  // namespace

int VdDeleteDiscretePointsRows(const uint8_t* src, uint8_t* dst, int width,
                               int rows, int edgeType) {
  DiscretePointsWalk(src, dst, width, rows, edgeType, ExactSpan(width, 1));
  return 1;
}

int VdErose5x5Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                   int edgeType) {
  Erose5x5Walk(src, dst, width, rows, edgeType, ExactSpan(width, 2));
  return 1;
}

int VdDilate9x9Rows(const uint8_t* src, uint8_t* dst, int width, int rows,
                    int edgeType) {
  Dilate9x9Walk(src, dst, width, rows, edgeType, ExactSpan(width, 4));
  return 1;
}

extern "C" int DeleteDiscretePoints(unsigned char* src, unsigned char* dst,
                                    int width, int rows, int edgeType,
                                    int /*unused1*/, int /*unused2*/) {
  return DeleteDiscretePointsStepping(src, dst, width, rows, edgeType);
}

extern "C" int Erose5x5(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType) {
  return Erose5x5Stepping(src, dst, width, rows, edgeType);
}

extern "C" int Dilate9x9(unsigned char* src, unsigned char* dst, int width,
                         int rows, int edgeType) {
  return Dilate9x9Stepping(src, dst, width, rows, edgeType);
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

// The kernels of the stripe wrappers, all with a read-only source.
typedef int (*MaskKernel)(const uint8_t*, uint8_t*, int, int, int);

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
void DilateLastPlane(const uint8_t* src, uint8_t* dst, int width,
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
  VdDilate9x9Rows(src, dst, width, rows - 4, edgeType);
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
void DilatePlaneOwnRows(const uint8_t* src, uint8_t* dst, int width,
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
  VdDilate9x9Rows(src, dst, width, rows, edgeType);
  if (rows > 4 && ((rows - 4) & 1) && width > 8) {
    // An odd own row count leaves the last own row out of the pairs; with
    // the borrowed rows it was the first row of a pair that reached into
    // the next stripe.
    const ptrdiff_t last = (rows - 1) * w + 4;
    VdMaskMorphologyKernels(VdSimdLevel())
        .or9x9(src + last, dst + last, width, width - 8, 1);
  }
}

}  // namespace

extern "C" int DeleteDiscretePointsProc(sYuvImage_t* src, sYuvImage_t* dst,
                                        int width, int height, int withChroma,
                                        int offset, int edgeType) {
  return RunDiscretePointsOnStripe(DeleteDiscretePointsStepping, src, dst,
                                   width, height, withChroma, offset,
                                   edgeType);
}

extern "C" int EroseProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                            int height, int withChroma, int offset,
                            int edgeType) {
  RunOnStripe(Erose5x5Stepping, 2, src, dst, width, height, withChroma, offset,
              edgeType);
  return 1;
}

extern "C" int DilateProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                             int height, int withChroma, int offset,
                             int edgeType) {
  RunOnStripe(Dilate9x9Stepping, 4, src, dst, width, height, withChroma, offset,
              edgeType);
  return 1;
}

int VdDeleteDiscretePointsStripe(sYuvImage_t* src, sYuvImage_t* dst,
                                 int width, int height, int withChroma,
                                 int offset, int edgeType) {
  return RunDiscretePointsOnStripe(VdDeleteDiscretePointsRows, src, dst,
                                   width, height, withChroma, offset,
                                   edgeType);
}

int VdEroseStripe(sYuvImage_t* src, sYuvImage_t* dst, int width, int height,
                  int withChroma, int offset, int edgeType) {
  RunOnStripe(VdErose5x5Rows, 2, src, dst, width, height, withChroma, offset,
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
