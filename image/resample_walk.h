// The walks shared by the SSE2, AVX2 and NEON fixed-ratio scalers
// (resample_*.cpp): row addressing, the column steps and scalar tails of
// the downscalers, the interval blocks and the border/row walks of the
// upscalers. No intrinsics here; everything has internal linkage, so the
// -mavx2 object and the baseline object each keep their own copy.
#ifndef VD_IMAGE_RESAMPLE_WALK_H_
#define VD_IMAGE_RESAMPLE_WALK_H_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace {

static inline const uint8_t* Row(const uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}
static inline uint8_t* Row(uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}

static inline void Fill4(uint8_t* out, uint8_t v) {
  out[0] = out[1] = out[2] = out[3] = v;
}

// 4x4 downscaler (DownScaleNewX16): for each group of four rows r[0..3]
// (width bytes apart) and its output row out, calls wide(r, x, out) for
// kWide source columns from x on while they fit into the width & ~31
// vector columns, then narrow(r, x, out) for 32 at a time; the remaining
// width mod 32 columns are done 4 at a time with the reference's formula.
template <int kWide, typename Wide, typename Narrow>
static inline int DownScale4x4Walk(const uint8_t* src, int height, int width,
                                   uint8_t* dst, Wide wide, Narrow narrow) {
  if (height <= 0 || width < 4) return 0;
  const int outWidth = width / 4;
  const int vectorColumns = width & ~31;
  for (int y = 0; y + 4 <= height; y += 4) {
    const uint8_t* r[4];
    r[0] = Row(src, width, y);
    for (int k = 1; k < 4; ++k) r[k] = r[k - 1] + width;
    uint8_t* out = Row(dst, outWidth, y / 4);
    int x = 0;
    for (; x + kWide <= vectorColumns; x += kWide) wide(r, x, out);
    for (; x < vectorColumns; x += 32) narrow(r, x, out);
    for (; x + 4 <= width; x += 4) {
      int sum = 0;
      for (int c = 0; c < 4; ++c) sum += r[0][x + c] + r[1][x + c] + r[2][x + c] + r[3][x + c];
      out[x / 4] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
  return 0;
}

// 2x2 downscaler (DownScale): for each row pair r[0..1] (srcStride bytes
// apart) and its output row (srcStride / 2 bytes per pair), calls
// wide(r, x, out) for kWide source columns while they fit into the
// width & ~15 vector columns, then narrow(r, x, out) for 16 at a time; the
// remaining width mod 16 columns are done 2 at a time with the reference's
// formula, on the same output row.
template <int kWide, typename Wide, typename Narrow>
static inline void DownScale2x2Walk(const uint8_t* src, int height, int width,
                                    int srcStride, uint8_t* dst, Wide wide,
                                    Narrow narrow) {
  if (width < 2) return;
  const int dstStride = srcStride / 2;
  const int vectorColumns = width & ~15;
  for (int y = 0; y + 2 <= height; y += 2) {
    const uint8_t* r[2] = {Row(src, srcStride, y), Row(src, srcStride, y + 1)};
    uint8_t* out = Row(dst, dstStride, y / 2);
    int x = 0;
    for (; x + kWide <= vectorColumns; x += kWide) wide(r, x, out);
    for (; x < vectorColumns; x += 16) narrow(r, x, out);
    for (; x + 2 <= width; x += 2) {
      const int sum = r[0][x] + r[0][x + 1] + r[1][x] + r[1][x + 1];
      out[x / 2] = static_cast<uint8_t>((sum + 2) >> 2);
    }
  }
}

// Interval blocks of kBlock intervals over the width - 1 gaps of a row pair:
// block(r0, r1, w0, w1, out) blends intervals j .. j + kBlock - 1 (reading
// kBlock + 1 bytes of each row) into kScale * kBlock output bytes. A row of
// kBlock or more intervals whose count is not a multiple of kBlock ends with
// a block that overlaps the previous one (it rewrites the same values); a
// shorter row goes through zero-padded copies, so nothing outside the
// intervals + 1 source bytes and kScale * intervals output bytes is touched.
template <int kBlock, int kScale, typename Weight, typename Block>
static inline void IntervalRowBlocks(const uint8_t* r0, const uint8_t* r1,
                                     int intervals, Weight w0, Weight w1,
                                     uint8_t* out, Block block) {
  if (intervals <= 0) return;
  if (intervals < kBlock) {
    uint8_t p0[2 * kBlock] = {0}, p1[2 * kBlock] = {0}, o[kBlock * kScale];
    memcpy(p0, r0, static_cast<size_t>(intervals) + 1);
    memcpy(p1, r1, static_cast<size_t>(intervals) + 1);
    block(p0, p1, w0, w1, o);
    memcpy(out, o, static_cast<size_t>(kScale * intervals));
    return;
  }
  int j = 0;
  for (; j + kBlock <= intervals; j += kBlock) {
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
  if (j < intervals) {
    j = intervals - kBlock;
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
}

// 8x upscaler walk. replicate(in, width, out) repeats each of the width
// bytes of a source row 8 times (the first and last 4 output rows);
// interior(r0, r1, k, out) fills the 8 * (width - 1) blended columns of
// output row 8i + 4 + k between source rows r0 and r1. The 4 border columns
// on each side take the nearer source row's edge pixel.
template <typename Replicate, typename Interior>
static inline void UpScaleX64Walk(const uint8_t* src, int height, int width,
                                  uint8_t* dst, Replicate replicate,
                                  Interior interior) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 8 * width;
  const int outHeight = 8 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  // Border rows: each source pixel of the first and last row 8 times.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 4;
    uint8_t* out = Row(dst, outWidth, y0);
    replicate(Row(src, width, y0 >> 3), width, out);
    for (int r = 1; r < 4; ++r) memcpy(out + r * rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 8; ++k) {
      uint8_t* out = Row(dst, outWidth, 8 * i + 4 + k);
      const uint8_t* nearest = k < 4 ? r0 : r1;
      Fill4(out, nearest[0]);
      Fill4(out + outWidth - 4, nearest[width - 1]);
      interior(r0, r1, k, out + 4);
    }
  }
}

// 4x upscaler walk. edge(in, out) fills the 4 * (width - 1) horizontally
// blended columns of a border row; interior(r0, r1, k, out) those of output
// row 4i + 2 + k. Corners are copied, the border columns blended down the
// column only.
template <typename Edge, typename Interior>
static inline void UpScaleNewX16Walk(const uint8_t* src, int height, int width,
                                     uint8_t* dst, Edge edge,
                                     Interior interior) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 4 * width;
  const int outHeight = 4 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  // Border rows: corners copied, the rest blended along the row.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 2;
    const uint8_t* in = Row(src, width, y0 >> 2);
    uint8_t* out = Row(dst, outWidth, y0);
    out[0] = out[1] = in[0];
    out[outWidth - 2] = out[outWidth - 1] = in[width - 1];
    edge(in, out + 2);
    memcpy(out + rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 4; ++k) {
      uint8_t* out = Row(dst, outWidth, 4 * i + 2 + k);
      // Border columns: blended down the column only.
      const int e0 = k < 2 ? 3 : 1, e1 = 4 - e0;
      const uint8_t left = static_cast<uint8_t>((e0 * r0[0] + e1 * r1[0] + 2) >> 2);
      const uint8_t right =
          static_cast<uint8_t>((e0 * r0[width - 1] + e1 * r1[width - 1] + 2) >> 2);
      out[0] = out[1] = left;
      out[outWidth - 2] = out[outWidth - 1] = right;
      interior(r0, r1, k, out + 2);
    }
  }
}

}  // namespace

#endif  // VD_IMAGE_RESAMPLE_WALK_H_
