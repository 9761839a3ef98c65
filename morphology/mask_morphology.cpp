// Fixed-size morphology on motion masks (255 moving, 0 still): scalar
// references, the build-time dispatch and the stripe wrappers.
#include "morphology/mask_morphology.h"

#include <stddef.h>
#include <string.h>

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

int Erose5x5_C(const uint8_t* src, uint8_t* dst, int width, int rows,
               int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 2);
  // (rows - 4) / 2 row pairs from row 2, each row covering
  // VdMaskRowSpan(width, 2) bytes from column 2; the next pair starts
  // span + width + 4 bytes further on. An odd last interior row is left.
  const ptrdiff_t w = width;
  const int span = VdMaskRowSpan(width, 2);
  ptrdiff_t pos = 2 * w + 2;
  for (int pair = 0; pair < ((rows - 4) >> 1); ++pair) {
    for (int i = 0; i < span; ++i) {
      dst[pos + i] = VdAndWindow(src + pos + i, w, 2);
      dst[pos + w + i] = VdAndWindow(src + pos + w + i, w, 2);
    }
    pos += span + w + 4;
  }
  return 1;
}

int Dilate9x9_C(const uint8_t* src, uint8_t* dst, int width, int rows,
                int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 4);
  // The pair count is (rows - 4) / 2 although the footprint reaches four
  // rows each way: starting at row 4 the pairs run to the last given row,
  // overwriting the copied bottom border and reading four source rows past
  // the end. Each row covers VdMaskRowSpan(width, 4) bytes from column 4;
  // the next pair starts span + width + 8 bytes further on.
  const ptrdiff_t w = width;
  const int span = VdMaskRowSpan(width, 4);
  ptrdiff_t pos = 4 * w + 4;
  for (int pair = 0; pair < ((rows - 4) >> 1); ++pair) {
    for (int i = 0; i < span; ++i) {
      dst[pos + i] = VdOrWindow(src + pos + i, w, 4);
      dst[pos + w + i] = VdOrWindow(src + pos + w + i, w, 4);
    }
    pos += span + w + 8;
  }
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

extern "C" int DeleteDiscretePoints(unsigned char* src, unsigned char* dst,
                                    int width, int rows, int edgeType,
                                    int /*unused1*/, int /*unused2*/) {
#if defined(__ARM_NEON)
  return DeleteDiscretePoints_NEON(src, dst, width, rows, edgeType);
#else
  return DeleteDiscretePoints_C(src, dst, width, rows, edgeType);
#endif
}

extern "C" int Erose5x5(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType) {
#if defined(__ARM_NEON)
  return Erose5x5_NEON(src, dst, width, rows, edgeType);
#else
  return Erose5x5_C(src, dst, width, rows, edgeType);
#endif
}

extern "C" int Dilate9x9(unsigned char* src, unsigned char* dst, int width,
                         int rows, int edgeType) {
#if defined(__ARM_NEON)
  return Dilate9x9_NEON(src, dst, width, rows, edgeType);
#else
  return Dilate9x9_C(src, dst, width, rows, edgeType);
#endif
}

extern "C" int Dilate15x15(unsigned char* src, unsigned char* dst, int width,
                           int rows, int edgeType) {
#if defined(__ARM_NEON)
  return Dilate15x15_NEON(src, dst, width, rows, edgeType);
#else
  return Dilate15x15_C(src, dst, width, rows, edgeType);
#endif
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

extern "C" int DeleteDiscretePointsProc(sYuvImage_t* src, sYuvImage_t* dst,
                                        int width, int height, int withChroma,
                                        int offset, int edgeType) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, 1);
  const ptrdiff_t luma = offset - up * width;
  int result = DeleteDiscretePoints(src->pY + luma, dst->pY + luma, width,
                                    up + down + height, edgeType, 0, 4);
  if (withChroma) {
    // The chroma planes start at the margin row above the stripe like the
    // other wrappers, but get height >> (up + down + 1) rows: a middle
    // stripe a quarter of its chroma rows, a top or bottom stripe half.
    const ptrdiff_t chroma = (offset >> 2) - ((up * width) >> 1);
    const int chromaRows = height >> (up + down + 1);
    result = DeleteDiscretePoints(src->pU + chroma, dst->pU + chroma,
                                  width >> 1, chromaRows, edgeType, 0, 4);
    result = DeleteDiscretePoints(src->pV + chroma, dst->pV + chroma,
                                  width >> 1, chromaRows, edgeType, 0, 4);
  }
  return result;
}

namespace {

typedef int (*MaskKernel)(unsigned char*, unsigned char*, int, int, int);

// Runs kernel on the stripe's luma rows plus margin borrowed rows on each
// side that has a neighbour, and likewise on both chroma planes. With
// withoutRowsBelow the borrowed rows below are left out of the row count.
void RunOnStripe(MaskKernel kernel, int margin, sYuvImage_t* src,
                 sYuvImage_t* dst, int width, int height, int withChroma,
                 int offset, int edgeType, bool withoutRowsBelow = false) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, margin);
  if (withoutRowsBelow) down = 0;
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

}  // namespace

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

// Dilate9x9 computes rows 4 .. rows - 1 of what it is given. Given the
// borrowed rows below as well, it computes the next stripe's first four rows
// too; without them it computes exactly the stripe's own rows (the pair
// count drops by two, so the pairs it keeps are at the same places) and its
// four-row read overrun lands on the borrowed rows.
int VdDilateStripeOwnRows(sYuvImage_t* src, sYuvImage_t* dst, int width,
                          int height, int withChroma, int offset,
                          int edgeType) {
  int up = 0;
  int down = 0;
  GetEdgeUpAndDown(edgeType, up, down, 4);
  if (down > 0) {
    // With the borrowed rows the border rule also copied the side columns of
    // the stripe's last four rows; copy them first, as the kernel does its
    // borders, so that computed writes landing there still win.
    auto copySides = [](const unsigned char* s, unsigned char* d, int w) {
      for (int r = 0; r < 4; ++r) {
        memcpy(d + r * w, s + r * w, 4);
        memcpy(d + r * w + w - 4, s + r * w + w - 4, 4);
      }
    };
    const ptrdiff_t luma = offset + static_cast<ptrdiff_t>(height - 4) * width;
    copySides(src->pY + luma, dst->pY + luma, width);
    if (withChroma) {
      const ptrdiff_t chroma =
          (offset >> 2) + static_cast<ptrdiff_t>((height >> 1) - 4) * (width >> 1);
      copySides(src->pU + chroma, dst->pU + chroma, width >> 1);
      copySides(src->pV + chroma, dst->pV + chroma, width >> 1);
    }
  }
  RunOnStripe(Dilate9x9, 4, src, dst, width, height, withChroma, offset,
              edgeType, true);
  return 1;
}
