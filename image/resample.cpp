#include "image/resample.h"

#include <cstddef>

#include "base/vd_cpu.h"
#include "image/resample_internal.h"

namespace {

inline const uint8_t* Row(const uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}

inline uint8_t* Row(uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}

// Fills one output row of ResizeNearestNeighbor2: each column takes the
// current value of the sampled source byte, which then steps up by 8.
void RampRow(uint8_t* sample, uint8_t* out, int width) {
  for (int j = 0; j < width; ++j) {
    out[j] = *sample;
    *sample = static_cast<uint8_t>(*sample + 8);
  }
}

// Source taps of output sample o of UpScale along a line of n samples:
// pixel-centred, the sample sits at o / 2 - 1 / 4 in source units, so
// inner outputs blend neighbours i and i + 1 with weights 12 : 4 or 4 : 12
// (sixteenths) and the first and last output repeat the edge sample.
struct Taps {
  int i0, i1, w0, w1;
};

Taps UpScaleTaps(int o, int n) {
  if (o == 0) return {0, 0, 16, 0};
  if (o == 2 * n - 1) return {n - 1, n - 1, 16, 0};
  const int i = (o - 1) >> 1;
  const int w0 = ((o - 1) & 1) ? 4 : 12;
  return {i, i + 1, w0, 16 - w0};
}

}  // namespace

// ---------------------------------------------------------------------------
// General resizers: plain double precision, truncating, no half-pixel offset.

extern "C" int ResizeNearestNeighbor(unsigned char* src, int srcWidth,
                                     int srcHeight, int srcStride,
                                     unsigned char* dst, int dstWidth,
                                     int dstHeight, int dstStride) {
  if (dstHeight < 1) return 1;
  const double scaleX = static_cast<double>(srcWidth) / dstWidth;
  const double scaleY = static_cast<double>(srcHeight) / dstHeight;
  for (int i = 0; i < dstHeight; ++i) {
    const uint8_t* in = Row(src, srcStride, static_cast<int>(i * scaleY));
    uint8_t* out = Row(dst, dstStride, i);
    for (int j = 0; j < dstWidth; ++j) {
      out[j] = in[static_cast<int>(j * scaleX)];
    }
  }
  return 1;
}

// Samples one source byte per output row, at column 3 of rows 3 + 15k and
// 19 + 15k for output rows 2k and 2k + 1 (an odd last row uses row
// 3 + 15 * (dstHeight / 2)). Every sample written bumps the source byte by
// 8, so output rows are ramps and the source plane is modified. Output rows
// are packed at dstWidth; srcWidth, srcHeight and dstStride are not used.
extern "C" void ResizeNearestNeighbor2(unsigned char* src, int /*srcWidth*/,
                                       int /*srcHeight*/, int srcStride,
                                       unsigned char* dst, int dstWidth,
                                       int dstHeight, int /*dstStride*/) {
  const int pairs = dstHeight / 2;
  for (int k = 0; k < pairs; ++k) {
    RampRow(Row(src, srcStride, 3 + 15 * k) + 3, Row(dst, dstWidth, 2 * k),
            dstWidth);
    RampRow(Row(src, srcStride, 19 + 15 * k) + 3,
            Row(dst, dstWidth, 2 * k + 1), dstWidth);
  }
  if (dstHeight > 0 && (dstHeight & 1)) {
    RampRow(Row(src, srcStride, 3 + 15 * pairs) + 3,
            Row(dst, dstWidth, dstHeight - 1), dstWidth);
  }
}

extern "C" int ResizeBilinear(unsigned char* src, int srcWidth, int srcHeight,
                              int srcStride, unsigned char* dst, int dstWidth,
                              int dstHeight, int dstStride) {
  const double scaleX = static_cast<double>(srcWidth) / dstWidth;
  const double scaleY = static_cast<double>(srcHeight) / dstHeight;
  for (int i = 0; i < dstHeight; ++i) {
    const double fy = i * scaleY;
    const int y0 = static_cast<int>(fy);
    const double dy = fy - y0;
    // The last source row (and below, the last column) pairs with itself.
    const int y1 = (y0 == srcHeight - 1) ? y0 : y0 + 1;
    const uint8_t* r0 = Row(src, srcStride, y0);
    const uint8_t* r1 = Row(src, srcStride, y1);
    uint8_t* out = Row(dst, dstStride, i);
    for (int j = 0; j < dstWidth; ++j) {
      const double fx = j * scaleX;
      const int x0 = static_cast<int>(fx);
      const double dx = fx - x0;
      const int x1 = (x0 == srcWidth - 1) ? x0 : x0 + 1;
      const double top = r0[x1] * dx + r0[x0] * (1.0 - dx);
      const double bottom = r1[x1] * dx + r1[x0] * (1.0 - dx);
      out[j] = static_cast<uint8_t>(
          static_cast<unsigned>(bottom * dy + top * (1.0 - dy)));
    }
  }
  return 1;
}

// ---------------------------------------------------------------------------
// Fixed-ratio scalers: scalar references.

int DownScaleNewX16_C(const uint8_t* src, int height, int width,
                      uint8_t* dst) {
  const int outWidth = width / 4;
  // Whole groups of four rows; a remainder of 1 to 3 rows is not read.
  for (int y = 0; y + 4 <= height; y += 4) {
    uint8_t* out = Row(dst, outWidth, y / 4);
    for (int x = 0; x < outWidth; ++x) {
      int sum = 0;
      for (int r = 0; r < 4; ++r) {
        const uint8_t* in = Row(src, width, y + r) + 4 * x;
        sum += in[0] + in[1] + in[2] + in[3];
      }
      out[x] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
  return 0;
}

void DownScale_C(const uint8_t* src, int height, int width, int srcStride,
                 uint8_t* dst) {
  // Each row pair advances the destination by half a source row step.
  const int dstStride = srcStride / 2;
  const int outWidth = width / 2;
  for (int y = 0; y + 2 <= height; y += 2) {
    const uint8_t* r0 = Row(src, srcStride, y);
    const uint8_t* r1 = Row(src, srcStride, y + 1);
    uint8_t* out = Row(dst, dstStride, y / 2);
    for (int x = 0; x < outWidth; ++x) {
      const int sum = r0[2 * x] + r0[2 * x + 1] + r1[2 * x] + r1[2 * x + 1];
      out[x] = static_cast<uint8_t>((sum + 2) >> 2);
    }
  }
}

// Pixel-centred bilinear 8x: along each direction, output o = 8i + 4 + k
// (k = 0..7) lies between source samples i and i + 1 with weights
// (15 - 2k, 2k + 1) / 16. Outputs in the four-pixel band around the edge
// (rows and columns 0-3 and the last four) take the nearest source pixel
// [Y >> 3][X >> 3] instead.
void UpScaleX64_C(const uint8_t* src, int height, int width, int /*unused*/,
                  uint8_t* dst) {
  const int outWidth = 8 * width;
  const int outHeight = 8 * height;
  for (int y = 0; y < outHeight; ++y) {
    uint8_t* out = Row(dst, outWidth, y);
    const bool rowBorder = y < 4 || y >= outHeight - 4;
    for (int x = 0; x < outWidth; ++x) {
      if (rowBorder || x < 4 || x >= outWidth - 4) {
        out[x] = Row(src, width, y >> 3)[x >> 3];
        continue;
      }
      const int i = (y - 4) >> 3, ky = (y - 4) & 7;
      const int j = (x - 4) >> 3, kx = (x - 4) & 7;
      const int wy0 = 15 - 2 * ky, wy1 = 2 * ky + 1;
      const int wx0 = 15 - 2 * kx, wx1 = 2 * kx + 1;
      const uint8_t* r0 = Row(src, width, i) + j;
      const uint8_t* r1 = Row(src, width, i + 1) + j;
      const int sum = wy0 * (wx0 * r0[0] + wx1 * r0[1]) +
                      wy1 * (wx0 * r1[0] + wx1 * r1[1]);
      out[x] = static_cast<uint8_t>((sum + 128) >> 8);
    }
  }
}

// Pixel-centred bilinear 4x: along each direction, output o = 4i + 2 + k
// (k = 0..3) lies between source samples i and i + 1 with weights
// (7 - 2k, 2k + 1) / 8, and inner outputs are (sum + 32) >> 6. The two
// outer rows on each side (from source row 0 or the last row) blend only
// along the row, and the two outer columns (source column 0 or the last)
// only down the column, using the same pair i, i + 1 with the coarser
// weights 3 : 1 for k = 0, 1 and 1 : 3 for k = 2, 3, (sum + 2) >> 2. The
// 2x2 corner blocks copy the corner pixel.
void UpScaleNewX16_C(const uint8_t* src, int height, int width,
                     uint8_t* dst) {
  const int outWidth = 4 * width;
  const int outHeight = 4 * height;
  for (int y = 0; y < outHeight; ++y) {
    uint8_t* out = Row(dst, outWidth, y);
    const bool rowBorder = y < 2 || y >= outHeight - 2;
    const int i = (y - 2) >> 2, ky = (y - 2) & 3;
    for (int x = 0; x < outWidth; ++x) {
      const bool colBorder = x < 2 || x >= outWidth - 2;
      const int j = (x - 2) >> 2, kx = (x - 2) & 3;
      if (rowBorder && colBorder) {
        out[x] = Row(src, width, y >> 2)[x >> 2];
      } else if (rowBorder) {
        const uint8_t* in = Row(src, width, y >> 2) + j;
        const int w0 = kx < 2 ? 3 : 1;
        out[x] = static_cast<uint8_t>((w0 * in[0] + (4 - w0) * in[1] + 2) >> 2);
      } else if (colBorder) {
        const int c = x >> 2;
        const int w0 = ky < 2 ? 3 : 1;
        const int sum = w0 * Row(src, width, i)[c] +
                        (4 - w0) * Row(src, width, i + 1)[c];
        out[x] = static_cast<uint8_t>((sum + 2) >> 2);
      } else {
        const int wy0 = 7 - 2 * ky, wy1 = 2 * ky + 1;
        const int wx0 = 7 - 2 * kx, wx1 = 2 * kx + 1;
        const uint8_t* r0 = Row(src, width, i) + j;
        const uint8_t* r1 = Row(src, width, i + 1) + j;
        const int sum = wy0 * (wx0 * r0[0] + wx1 * r0[1]) +
                        wy1 * (wx0 * r1[0] + wx1 * r1[1]);
        out[x] = static_cast<uint8_t>((sum + 32) >> 6);
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Exported scalers: the variant of the process level.

void VdInitResampleKernels(ResampleKernels* k, int level) {
  k->down4 = DownScaleNewX16_C;
  k->down2 = DownScale_C;
  k->up8 = UpScaleX64_C;
  k->up4 = UpScaleNewX16_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->down4 = DownScaleNewX16_NEON;
    k->down2 = DownScale_NEON;
    k->up8 = UpScaleX64_NEON;
    k->up4 = UpScaleNewX16_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) {
    k->down4 = DownScaleNewX16_SSE2;
    k->down2 = DownScale_SSE2;
    k->up8 = UpScaleX64_SSE2;
    k->up4 = UpScaleNewX16_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->down4 = DownScaleNewX16_AVX2;
    k->down2 = DownScale_AVX2;
    k->up8 = UpScaleX64_AVX2;
    k->up4 = UpScaleNewX16_AVX2;
  }
#endif
  (void)level;
}

const ResampleKernels& VdResampleKernels(int level) {
  return VdSimdTable<ResampleKernels, VdInitResampleKernels>(level);
}

extern "C" int DownScaleNewX16(unsigned char* src, int height, int width,
                               unsigned char* dst) {
  return VdResampleKernels(VdSimdLevel()).down4(src, height, width, dst);
}

extern "C" void DownScale(unsigned char* src, int height, int width,
                          int srcStride, unsigned char* dst) {
  VdResampleKernels(VdSimdLevel()).down2(src, height, width, srcStride, dst);
}

extern "C" void UpScaleX64(unsigned char* src, int height, int width,
                           int unused, unsigned char* dst) {
  VdResampleKernels(VdSimdLevel()).up8(src, height, width, unused, dst);
}

extern "C" void UpScaleNewX16(unsigned char* src, int height, int width,
                              unsigned char* dst) {
  VdResampleKernels(VdSimdLevel()).up4(src, height, width, dst);
}

// Pixel-centred 2x bilinear (see UpScaleTaps), (sum + 128) >> 8 with the
// product of the two directions' weights.
extern "C" void UpScale(unsigned char* src, int height, int width,
                        int dstStride, unsigned char* dst) {
  for (int y = 0; y < 2 * height; ++y) {
    const Taps ty = UpScaleTaps(y, height);
    const uint8_t* r0 = Row(src, width, ty.i0);
    const uint8_t* r1 = Row(src, width, ty.i1);
    uint8_t* out = Row(dst, dstStride, y);
    for (int x = 0; x < 2 * width; ++x) {
      const Taps tx = UpScaleTaps(x, width);
      const int sum = ty.w0 * (tx.w0 * r0[tx.i0] + tx.w1 * r0[tx.i1]) +
                      ty.w1 * (tx.w0 * r1[tx.i0] + tx.w1 * r1[tx.i1]);
      out[x] = static_cast<uint8_t>((sum + 128) >> 8);
    }
  }
}
