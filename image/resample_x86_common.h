// Glue shared by the SSE2 (resample_sse2.cpp) and AVX2 (resample_avx2.cpp)
// scalers: row addressing, scalar tails and the border/row walking of the
// upscalers. Everything here has internal linkage, so the -mavx2 object and
// the baseline object each keep their own copy.
#ifndef VD_IMAGE_RESAMPLE_X86_COMMON_H_
#define VD_IMAGE_RESAMPLE_X86_COMMON_H_

#include <emmintrin.h>
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
static inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Sums of horizontally adjacent byte pairs: 8 16-bit lanes from 16 bytes.
static inline __m128i PairSums(__m128i x) {
  return _mm_add_epi16(_mm_and_si128(x, _mm_set1_epi16(0x00ff)),
                       _mm_srli_epi16(x, 8));
}

static inline void Fill4(uint8_t* out, uint8_t v) {
  out[0] = out[1] = out[2] = out[3] = v;
}

// Scalar tail of the 4x4 downscaler: columns x .. width - 1, 4 at a time.
static inline void DownScale4x4Tail(const uint8_t* r0, const uint8_t* r1,
                                    const uint8_t* r2, const uint8_t* r3,
                                    int x, int width, uint8_t* out) {
  for (; x + 4 <= width; x += 4) {
    int sum = 0;
    for (int c = 0; c < 4; ++c) sum += r0[x + c] + r1[x + c] + r2[x + c] + r3[x + c];
    out[x / 4] = static_cast<uint8_t>((sum + 8) >> 4);
  }
}

// Scalar tail of the 2x2 downscaler: columns x .. width - 1, 2 at a time.
static inline void DownScale2x2Tail(const uint8_t* r0, const uint8_t* r1,
                                    int x, int width, uint8_t* out) {
  for (; x + 2 <= width; x += 2) {
    const int sum = r0[x] + r0[x + 1] + r1[x] + r1[x + 1];
    out[x / 2] = static_cast<uint8_t>((sum + 2) >> 2);
  }
}

// Interval blocks of kBlock intervals over the width - 1 gaps of a row pair,
// kScale outputs per interval from out on. A row of kBlock or more intervals
// whose count is not a multiple of kBlock ends with a block that overlaps
// the previous one (it rewrites the same values); a shorter row goes through
// zero-padded copies, so nothing outside the intervals + 1 source bytes and
// kScale * intervals output bytes is touched.
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

#endif  // VD_IMAGE_RESAMPLE_X86_COMMON_H_
