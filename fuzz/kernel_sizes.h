// The buffer sizes the exported kernel headers give a direct caller, as
// formulas: bytes from a buffer's start (and, for the few kernels that read
// in front of their plane, bytes before it). The kernel fuzzer allocates
// exactly these sizes against guard pages. Each formula is written as the
// header states it; where a kernel stays inside its plane the size is the
// plane's.
#ifndef VD_FUZZ_KERNEL_SIZES_H_
#define VD_FUZZ_KERNEL_SIZES_H_

#include <cstddef>

namespace vdfuzz {

inline size_t Plane(int width, int rows) {
  return width > 0 && rows > 0 ? static_cast<size_t>(width) * rows : 0;
}

inline size_t AtLeast(size_t plane, long bytes) {
  return bytes > static_cast<long>(plane) ? static_cast<size_t>(bytes) : plane;
}

// A plane of `rows` rows `stride` apart whose rows are `width` bytes long.
inline size_t Strided(int width, int rows, int stride) {
  if (width <= 0 || rows <= 0) return 0;
  return static_cast<size_t>(rows - 1) * stride + width;
}

struct Sizes {
  size_t src, dst;
};

// --- morphology/mask_morphology.h ----------------------------------------

// Bytes one row of the row-pair walk covers: whole 32-column steps over the
// width - 2k interior columns, then 32 - 2k when columns remain.
inline long MaskSpan(int width, int k) {
  const long interior = width - 2L * k;
  if (interior <= 0) return 0;
  return (interior / 32) * 32 + (interior % 32 ? 32 - 2 * k : 0);
}

// DeleteDiscretePoints: k = 1, Q = rows - 2 interior rows in P = Q / 2
// pairs, T = S + width + 2 the pair step; an odd Q adds one row at P * T.
inline Sizes DeleteDiscretePointsSizes(int width, int rows) {
  const size_t plane = Plane(width, rows);
  const long s = MaskSpan(width, 1);
  const long q = rows - 2;
  if (s <= 0 || q <= 0) return {plane, plane};
  const long w = width, p = q / 2, t = s + w + 2;
  if (q % 2 == 0) return {AtLeast(plane, p * t + 2 * w), AtLeast(plane, p * t + w - 1)};
  return {AtLeast(plane, p * t + s + 2 * w + 2), AtLeast(plane, p * t + s + w + 1)};
}

// Erose5x5 (k = 2) and Dilate9x9 (k = 4): P = (rows - 4) / 2 pairs, pair
// step T = S + width + 2k; src P * T + 2k * width, dst P * T + k * width - k.
inline Sizes MaskPairSizes(int width, int rows, int k) {
  const size_t plane = Plane(width, rows);
  const long s = MaskSpan(width, k);
  const long p = (rows - 4L) / 2;
  if (s <= 0 || rows - 4 < 2) return {plane, plane};
  const long w = width, t = s + w + 2 * k;
  return {AtLeast(plane, p * t + 2 * k * w), AtLeast(plane, p * t + k * w - k)};
}

// Dilate5x5: rows after the first start 10 bytes further right each;
// src width * rows + 10 * (rows - 5), dst that minus 2 * width + 2.
inline Sizes Dilate5x5Sizes(int width, int rows) {
  const size_t plane = Plane(width, rows);
  if (width < 5 || rows < 5) return {plane, plane};
  const long drift = static_cast<long>(plane) + 10L * (rows - 5);
  return {AtLeast(plane, drift), AtLeast(plane, drift - 2L * width - 2)};
}

// --- morphology/se_morphology.h ------------------------------------------

struct Reach {
  size_t before, after;  // bytes before the plane's start, bytes from it
};

// EroseImage / DilateImage on a width x height plane, R = x >> 1. x < 0:
// -R * (width + 1) bytes before and after the plane. x >= 1: the window of
// a pixel starts R rows and R columns up-left and is y rows by x columns,
// so with y > 2R + 1 it reads past the last row.
inline Reach BinaryMorphologySrc(int width, int height, int x, int y) {
  const size_t plane = Plane(width, height);
  const long w = width, h = height;
  const long r = x >> 1;
  if (r < 0) {
    const long margin = -r * (w + 1);
    if (h - 2 * r <= 0 || w - 2 * r <= 0) return {0, plane};
    return {static_cast<size_t>(margin), plane + static_cast<size_t>(margin)};
  }
  if (x < 1 || y < 1 || h <= 2 * r || w <= 2 * r) return {0, plane};
  return {0, AtLeast(plane, (h + y - 2 * r - 1) * w + x - 2 * r - 1)};
}

// Morphology on a width x height plane, Rx = x / 2 and Ry = y / 2 (both
// truncating toward zero). Rx < 0: -Rx * (width + 1) bytes before and after.
// Rx >= 1 and Ry >= 1: the window rows run from Ry above to Ry - 1 below a
// centre row, and the centre rows from Rx to height - Rx - 1, so
// (Ry - Rx) * width bytes before the plane when Ry > Rx, and
// (height + Ry - Rx - 1) * width - 1 bytes from its start.
inline Reach MorphologySrc(int width, int height, int x, int y) {
  const size_t plane = Plane(width, height);
  const long w = width, h = height;
  const long rx = x / 2, ry = y / 2;
  if (rx < 0) {
    if (h - 2 * rx <= 0 || w - 2 * rx <= 0) return {0, plane};
    const long margin = -rx * (w + 1);
    return {static_cast<size_t>(margin), plane + static_cast<size_t>(margin)};
  }
  if (rx < 1 || ry < 1 || h <= 2 * rx || w <= 2 * rx) return {0, plane};
  const size_t before = ry > rx ? static_cast<size_t>((ry - rx) * w) : 0;
  return {before, AtLeast(plane, (h + ry - rx - 1) * w - 1)};
}

// Erose / Dilate: rows iTop .. iTop + iHeight - 1 at their stride, bytes
// 0 .. iWidth - 1 of each (iLeft moves nothing).
inline size_t RectBytes(int top, int width, int height, int stride) {
  if (width <= 0 || height <= 0) return 0;
  return static_cast<size_t>(top + height - 1) * stride + width;
}

// EroseOrDilate with chroma: the I420 block's luma, then U and V of
// (width >> 1) x (height >> 1) at width * height and a quarter more.
inline size_t I420BlockBytes(int width, int height) {
  const size_t n = Plane(width, height);
  return n + (n >> 2) + Plane(width >> 1, height >> 1);
}

// --- image/convert.h -----------------------------------------------------

// ConvertI420ToNV21: chroma moves in blocks of 8 pairs, B = ceil(q / 8)
// with q = n / 4; src n + q + 8B, dst n + 16B.
inline Sizes I420ToNV21Sizes(int width, int height) {
  const size_t n = Plane(width, height), q = n >> 2;
  const size_t blocks = (q + 7) / 8;
  if (q == 0) return {n, n};
  return {n + q + 8 * blocks, n + 16 * blocks};
}

// ConvertNV21ToI420: the n / 2 interleaved bytes in blocks of 16,
// B = ceil(n / 2 / 16); src n + 16B, dst n + n / 4 + 8B.
inline Sizes NV21ToI420Sizes(int width, int height) {
  const size_t n = Plane(width, height), bytes = n >> 1;
  if (bytes == 0) return {n, n};
  const size_t blocks = (bytes + 15) / 16;
  return {n + 16 * blocks, n + (n >> 2) + 8 * blocks};
}

// --- image/resample.h ----------------------------------------------------

// ResizeNearestNeighbor2 reads byte 3 of source rows up to
// 15 * (dstHeight / 2) + 4 (3 for a single output row).
inline size_t NearestNeighbor2Src(int dstHeight, int srcStride) {
  if (dstHeight <= 0) return 0;
  const long pairs = dstHeight / 2;
  const long last = pairs > 0 ? 15 * pairs + 4 : 3;
  return static_cast<size_t>(last) * srcStride + 4;
}

// --- spatial/box_filter.h: filterUV --------------------------------------

// filterUV on a width x rows chroma plane at scale S (4 for level 0 or 1,
// else 8), with up, down >= 0 context rows. src: the whole 4 x 4 blocks;
// the stripe's work buffers: uv1 and uv2 (width / 4) x (rows / 4) bytes,
// uv3 (width / 8) x (rows / 8); dst: up rows of width bytes, then
// S * (rows / S - up / S - down / S) rows of S * (width / S) bytes.
struct ChromaFilterSizes {
  size_t src, dst, uv1, uv2, uv3;
};

inline ChromaFilterSizes FilterUVSizes(int width, int rows, int up, int down,
                                       int level) {
  const int s = static_cast<unsigned>(level) <= 1u ? 4 : 8;
  ChromaFilterSizes z;
  z.src = Strided(4 * (width / 4), 4 * (rows / 4), width);
  z.uv1 = Plane(width / 4, rows / 4);
  z.uv2 = Plane(width / s, rows / s);
  z.uv3 = s == 8 ? Plane(width / 8, rows / 8) : 0;
  const long inner = rows / s - up / s - down / s;
  const size_t written =
      inner > 0 && width / s > 0
          ? static_cast<size_t>(up) * width + Plane(s * (width / s), s * inner)
          : 0;
  z.dst = written;
  return z;
}

}  // namespace vdfuzz

#endif  // VD_FUZZ_KERNEL_SIZES_H_
