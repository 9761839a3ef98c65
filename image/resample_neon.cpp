#include "image/resample_internal.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>

#include <cstddef>
#include <cstring>

namespace {

inline const uint8_t* Row(const uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}

inline uint8_t* Row(uint8_t* plane, int stride, int y) {
  return plane + static_cast<ptrdiff_t>(stride) * y;
}

// ---------------------------------------------------------------------------
// Upscaler building blocks. Each handles 8 source intervals (j .. j + 7, each
// blended with its right neighbour), so it reads 9 source bytes per row and
// writes 8 * scale output bytes.

// Vertical blend of 8 columns: w0 * r0 + w1 * r1 (at most 16 * 255).
inline uint16x8_t BlendRows(const uint8_t* r0, const uint8_t* r1,
                            uint8x8_t w0, uint8x8_t w1) {
  return vmlal_u8(vmull_u8(vld1_u8(r0), w0), vld1_u8(r1), w1);
}

// 8x: columns 8j + 4 + k, k = 0..7, are (15 - 2k) * a + (2k + 1) * b over
// the vertical blends a (column j) and b (column j + 1). Successive k differ
// by 2 * (b - a); the running sum wraps in 16 bits but every true value lies
// in 0..65280, so the wrapped value is exact.
inline void Interval8x8(const uint8_t* r0, const uint8_t* r1, uint8x8_t w0,
                        uint8x8_t w1, uint8_t* out) {
  const uint16x8_t a = BlendRows(r0, r1, w0, w1);
  const uint16x8_t b = BlendRows(r0 + 1, r1 + 1, w0, w1);
  const uint16x8_t step = vshlq_n_u16(vsubq_u16(b, a), 1);
  const uint16x8_t o0 = vaddq_u16(vsubq_u16(vshlq_n_u16(a, 4), a), b);
  const uint16x8_t o1 = vaddq_u16(o0, step);
  const uint16x8_t o2 = vaddq_u16(o1, step);
  const uint16x8_t o3 = vaddq_u16(o2, step);
  const uint16x8_t o4 = vaddq_u16(o3, step);
  const uint16x8_t o5 = vaddq_u16(o4, step);
  const uint16x8_t o6 = vaddq_u16(o5, step);
  const uint16x8_t o7 = vaddq_u16(o6, step);
  // Byte 8j + k is output k of interval j: a 4-way interleaving store of the
  // vectors that pair output c with output c + 4 lane by lane.
  const uint8x8x2_t z0 = vzip_u8(vrshrn_n_u16(o0, 8), vrshrn_n_u16(o4, 8));
  const uint8x8x2_t z1 = vzip_u8(vrshrn_n_u16(o1, 8), vrshrn_n_u16(o5, 8));
  const uint8x8x2_t z2 = vzip_u8(vrshrn_n_u16(o2, 8), vrshrn_n_u16(o6, 8));
  const uint8x8x2_t z3 = vzip_u8(vrshrn_n_u16(o3, 8), vrshrn_n_u16(o7, 8));
  uint8x16x4_t q;
  q.val[0] = vcombine_u8(z0.val[0], z0.val[1]);
  q.val[1] = vcombine_u8(z1.val[0], z1.val[1]);
  q.val[2] = vcombine_u8(z2.val[0], z2.val[1]);
  q.val[3] = vcombine_u8(z3.val[0], z3.val[1]);
  vst4q_u8(out, q);
}

// 4x: columns 4j + 2 + k, k = 0..3, are (7 - 2k) * a + (2k + 1) * b over
// the vertical blends (at most 8 * 255), narrowed by (sum + 32) >> 6.
inline void Interval8x4(const uint8_t* r0, const uint8_t* r1, uint8x8_t w0,
                        uint8x8_t w1, uint8_t* out) {
  const uint16x8_t a = BlendRows(r0, r1, w0, w1);
  const uint16x8_t b = BlendRows(r0 + 1, r1 + 1, w0, w1);
  const uint16x8_t step = vshlq_n_u16(vsubq_u16(b, a), 1);
  uint16x8_t acc = vaddq_u16(vsubq_u16(vshlq_n_u16(a, 3), a), b);
  uint8x8x4_t q;
  q.val[0] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[1] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[2] = vrshrn_n_u16(acc, 6);
  acc = vaddq_u16(acc, step);
  q.val[3] = vrshrn_n_u16(acc, 6);
  vst4_u8(out, q);
}

// 4x border row: horizontal blend only, (3a + b + 2) >> 2 for k = 0, 1 and
// (a + 3b + 2) >> 2 for k = 2, 3. The second row argument is not read.
inline void Interval8x4Edge(const uint8_t* r, const uint8_t* /*unused*/,
                            uint8x8_t /*w0*/, uint8x8_t /*w1*/,
                            uint8_t* out) {
  const uint8x8_t a = vld1_u8(r);
  const uint8x8_t b = vld1_u8(r + 1);
  const uint8x8_t three = vdup_n_u8(3);
  const uint8x8_t left = vrshrn_n_u16(vaddw_u8(vmull_u8(a, three), b), 2);
  const uint8x8_t right = vrshrn_n_u16(vaddw_u8(vmull_u8(b, three), a), 2);
  uint8x8x4_t q;
  q.val[0] = left;
  q.val[1] = left;
  q.val[2] = right;
  q.val[3] = right;
  vst4_u8(out, q);
}

using IntervalBlock = void (*)(const uint8_t*, const uint8_t*, uint8x8_t,
                               uint8x8_t, uint8_t*);

// Runs an 8-interval block over the width - 1 gaps (intervals) of a row pair
// and writes kScale outputs per interval from out on. A row of 8 or
// more intervals whose count is not a multiple of 8 ends with a block that
// overlaps the previous one (it rewrites the same values); a shorter row
// goes through zero-padded copies, so nothing outside the intervals + 1
// source bytes and kScale * intervals output bytes is touched.
template <int kScale, IntervalBlock block>
inline void IntervalRow(const uint8_t* r0, const uint8_t* r1, int intervals,
                        uint8x8_t w0, uint8x8_t w1, uint8_t* out) {
  if (intervals <= 0) return;
  if (intervals < 8) {
    uint8_t p0[16] = {0}, p1[16] = {0}, o[8 * kScale];
    std::memcpy(p0, r0, static_cast<size_t>(intervals) + 1);
    std::memcpy(p1, r1, static_cast<size_t>(intervals) + 1);
    block(p0, p1, w0, w1, o);
    std::memcpy(out, o, static_cast<size_t>(kScale * intervals));
    return;
  }
  int j = 0;
  for (; j + 8 <= intervals; j += 8) {
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
  if (j < intervals) {
    j = intervals - 8;
    block(r0 + j, r1 + j, w0, w1, out + kScale * j);
  }
}

inline void Fill4(uint8_t* out, uint8_t v) {
  out[0] = out[1] = out[2] = out[3] = v;
}

// Repeats each of the width bytes of in 8 times.
inline void Replicate8(const uint8_t* in, int width, uint8_t* out) {
  int j = 0;
  for (; j + 8 <= width; j += 8) {
    const uint8x8_t v = vld1_u8(in + j);
    const uint8x8x2_t z = vzip_u8(v, v);
    const uint8x16_t pairs = vcombine_u8(z.val[0], z.val[1]);
    uint8x16x4_t q;
    q.val[0] = pairs;
    q.val[1] = pairs;
    q.val[2] = pairs;
    q.val[3] = pairs;
    vst4q_u8(out + 8 * j, q);
  }
  for (; j < width; ++j) std::memset(out + 8 * j, in[j], 8);
}

}  // namespace

// ---------------------------------------------------------------------------
// Downscalers.

// 32 source columns (8 outputs) per step; the remaining width mod 32
// columns are done 4 at a time with the same formula.
int DownScaleNewX16_NEON(const uint8_t* src, int height, int width,
                         uint8_t* dst) {
  if (height <= 0 || width < 4) return 0;
  const int outWidth = width / 4;
  const int vectorColumns = width & ~31;
  for (int y = 0; y + 4 <= height; y += 4) {
    const uint8_t* r0 = Row(src, width, y);
    const uint8_t* r1 = r0 + width;
    const uint8_t* r2 = r1 + width;
    const uint8_t* r3 = r2 + width;
    uint8_t* out = Row(dst, outWidth, y / 4);
    int x = 0;
    for (; x < vectorColumns; x += 32) {
      __builtin_prefetch(r0 + x + 64);
      __builtin_prefetch(r1 + x + 64);
      __builtin_prefetch(r2 + x + 64);
      __builtin_prefetch(r3 + x + 64);
      // Pairwise column sums down the four rows: 16 lanes of 2 x 4 pixels.
      uint16x8_t lo = vpaddlq_u8(vld1q_u8(r0 + x));
      uint16x8_t hi = vpaddlq_u8(vld1q_u8(r0 + x + 16));
      lo = vpadalq_u8(lo, vld1q_u8(r1 + x));
      hi = vpadalq_u8(hi, vld1q_u8(r1 + x + 16));
      lo = vpadalq_u8(lo, vld1q_u8(r2 + x));
      hi = vpadalq_u8(hi, vld1q_u8(r2 + x + 16));
      lo = vpadalq_u8(lo, vld1q_u8(r3 + x));
      hi = vpadalq_u8(hi, vld1q_u8(r3 + x + 16));
      const uint16x8_t sums =
          vcombine_u16(vpadd_u16(vget_low_u16(lo), vget_high_u16(lo)),
                       vpadd_u16(vget_low_u16(hi), vget_high_u16(hi)));
      vst1_u8(out + x / 4, vrshrn_n_u16(sums, 4));
    }
    for (; x + 4 <= width; x += 4) {
      int sum = 0;
      for (int c = 0; c < 4; ++c) sum += r0[x + c] + r1[x + c] + r2[x + c] + r3[x + c];
      out[x / 4] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
  return 0;
}

// 16 source columns (8 outputs) per step, 32 while they last; the remaining
// width mod 16 columns are done 2 at a time with the same formula, on the
// same destination row as the vector part.
void DownScale_NEON(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst) {
  if (width < 2) return;
  const int dstStride = srcStride / 2;
  const int vectorColumns = width & ~15;
  for (int y = 0; y + 2 <= height; y += 2) {
    const uint8_t* r0 = Row(src, srcStride, y);
    const uint8_t* r1 = Row(src, srcStride, y + 1);
    uint8_t* out = Row(dst, dstStride, y / 2);
    int x = 0;
    for (; x + 32 <= vectorColumns; x += 32) {
      uint16x8_t lo = vpaddlq_u8(vld1q_u8(r0 + x));
      uint16x8_t hi = vpaddlq_u8(vld1q_u8(r0 + x + 16));
      lo = vpadalq_u8(lo, vld1q_u8(r1 + x));
      hi = vpadalq_u8(hi, vld1q_u8(r1 + x + 16));
      vst1q_u8(out + x / 2,
               vcombine_u8(vrshrn_n_u16(lo, 2), vrshrn_n_u16(hi, 2)));
    }
    for (; x < vectorColumns; x += 16) {
      uint16x8_t s = vpaddlq_u8(vld1q_u8(r0 + x));
      s = vpadalq_u8(s, vld1q_u8(r1 + x));
      vst1_u8(out + x / 2, vrshrn_n_u16(s, 2));
    }
    for (; x + 2 <= width; x += 2) {
      const int sum = r0[x] + r0[x + 1] + r1[x] + r1[x + 1];
      out[x / 2] = static_cast<uint8_t>((sum + 2) >> 2);
    }
  }
}

// ---------------------------------------------------------------------------
// Upscalers: same sample placement and border rules as the references.

void UpScaleX64_NEON(const uint8_t* src, int height, int width,
                     int /*unused*/, uint8_t* dst) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 8 * width;
  const int outHeight = 8 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  // Border rows: each source pixel of the first and last row 8 times.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 4;
    uint8_t* out = Row(dst, outWidth, y0);
    Replicate8(Row(src, width, y0 >> 3), width, out);
    for (int r = 1; r < 4; ++r) std::memcpy(out + r * rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 8; ++k) {
      const int y = 8 * i + 4 + k;
      uint8_t* out = Row(dst, outWidth, y);
      const uint8_t* nearest = k < 4 ? r0 : r1;
      Fill4(out, nearest[0]);
      Fill4(out + outWidth - 4, nearest[width - 1]);
      IntervalRow<8, Interval8x8>(r0, r1, width - 1, vdup_n_u8(15 - 2 * k),
                                  vdup_n_u8(2 * k + 1), out + 4);
    }
  }
}

void UpScaleNewX16_NEON(const uint8_t* src, int height, int width,
                        uint8_t* dst) {
  if (height <= 0 || width <= 0) return;
  const int outWidth = 4 * width;
  const int outHeight = 4 * height;
  const size_t rowBytes = static_cast<size_t>(outWidth);
  const uint8x8_t none = vdup_n_u8(0);
  // Border rows: corners copied, the rest blended along the row.
  for (int band = 0; band < 2; ++band) {
    const int y0 = band == 0 ? 0 : outHeight - 2;
    const uint8_t* in = Row(src, width, y0 >> 2);
    uint8_t* out = Row(dst, outWidth, y0);
    out[0] = out[1] = in[0];
    out[outWidth - 2] = out[outWidth - 1] = in[width - 1];
    IntervalRow<4, Interval8x4Edge>(in, in, width - 1, none, none, out + 2);
    std::memcpy(out + rowBytes, out, rowBytes);
  }
  for (int i = 0; i + 1 < height; ++i) {
    const uint8_t* r0 = Row(src, width, i);
    const uint8_t* r1 = r0 + width;
    for (int k = 0; k < 4; ++k) {
      uint8_t* out = Row(dst, outWidth, 4 * i + 2 + k);
      // Border columns: blended down the column only.
      const int e0 = k < 2 ? 3 : 1, e1 = 4 - e0;
      const uint8_t left =
          static_cast<uint8_t>((e0 * r0[0] + e1 * r1[0] + 2) >> 2);
      const uint8_t right = static_cast<uint8_t>(
          (e0 * r0[width - 1] + e1 * r1[width - 1] + 2) >> 2);
      out[0] = out[1] = left;
      out[outWidth - 2] = out[outWidth - 1] = right;
      IntervalRow<4, Interval8x4>(r0, r1, width - 1, vdup_n_u8(7 - 2 * k),
                                  vdup_n_u8(2 * k + 1), out + 2);
    }
  }
}

#endif  // __ARM_NEON
