// NEON twins of the 7 x 7 and 9 x 9 bilateral kernels (armv7 and aarch64).
#include "spatial/bilateral_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>
#include <string.h>

#include <utility>

#include "spatial/recip_estimate.h"

namespace {

// Weight tables held in registers: the 16-byte range table as a pair for
// the two-register table lookup, and the spatial weight of each distance
// 1 .. R in every lane.
template <int R>
struct KernelWeights {
  uint8x8x2_t range;
  uint8x8_t spatial[R + 1];
};

// Tap J of a row window loaded from column x0 - R: the 8 pixels from column
// x0 - R + J, taken by a byte shift across the two halves (tap R is the
// centre).
template <int J>
inline uint8x8_t WindowTap(uint8x8_t lo, uint8x8_t hi) {
  if constexpr (J == 0) {
    return lo;
  } else if constexpr (J == 8) {
    return hi;
  } else {
    return vext_u8(lo, hi, J);
  }
}

template <size_t... J>
inline void SplitWindow(uint8x16_t window, uint8x8_t* taps,
                        std::index_sequence<J...>) {
  const uint8x8_t lo = vget_low_u8(window);
  const uint8x8_t hi = vget_high_u8(window);
  ((taps[J] = WindowTap<(int)J>(lo, hi)), ...);
}

// Eight outputs of either pass: taps[0 .. 2R] hold the values at distances
// -R .. R, the centre in taps[R]. Range weight (from |tap - centre|, 0 from
// 16 on) times spatial weight is an unsigned 16-bit product; the centre
// weighs 4096. Weight sums in 16-bit lanes (at most 36864), weighted sums in
// 32-bit lanes; the mean is the weighted sum times the refined reciprocal of
// the weight sum plus 0.5, truncated and narrowed with saturation.
template <int R>
inline uint8x8_t CombineTaps(const uint8x8_t* taps,
                             const KernelWeights<R>& weights) {
  const uint8x8_t centre = taps[R];
  const uint16x8_t centre16 = vmovl_u8(centre);
  const uint16x4_t centreWeight = vdup_n_u16(kBilateralCentreWeight);
  uint16x8_t weightSum = vdupq_n_u16(kBilateralCentreWeight);
  uint32x4_t sumLo = vmull_u16(vget_low_u16(centre16), centreWeight);
  uint32x4_t sumHi = vmull_u16(vget_high_u16(centre16), centreWeight);
  for (int j = 0; j <= 2 * R; ++j) {
    if (j == R) continue;
    const int k = j < R ? R - j : j - R;
    const uint8x8_t diff = vabd_u8(taps[j], centre);
    const uint8x8_t rangeWeight = vtbl2_u8(weights.range, diff);
    const uint16x8_t weight = vmull_u8(rangeWeight, weights.spatial[k]);
    weightSum = vaddq_u16(weightSum, weight);
    const uint16x8_t value = vmovl_u8(taps[j]);
    sumLo = vmlal_u16(sumLo, vget_low_u16(value), vget_low_u16(weight));
    sumHi = vmlal_u16(sumHi, vget_high_u16(value), vget_high_u16(weight));
  }
  const float32x4_t half = vdupq_n_f32(0.5f);
  const float32x4_t wLo = vcvtq_f32_u32(vmovl_u16(vget_low_u16(weightSum)));
  const float32x4_t wHi = vcvtq_f32_u32(vmovl_u16(vget_high_u16(weightSum)));
  const float32x4_t meanLo =
      vaddq_f32(vmulq_f32(vcvtq_f32_u32(sumLo), VdRecipRefinedNeon(wLo)), half);
  const float32x4_t meanHi =
      vaddq_f32(vmulq_f32(vcvtq_f32_u32(sumHi), VdRecipRefinedNeon(wHi)), half);
  const uint16x8_t mean16 = vcombine_u16(vqmovn_u32(vcvtq_u32_f32(meanLo)),
                                         vqmovn_u32(vcvtq_u32_f32(meanHi)));
  return vqmovn_u16(mean16);
}

// The 16 pixels x0 - R .. x0 - R + 15 of a row. Inside the plane it is one
// load; near the left or right edge (or in a plane narrower than the load)
// the pixels are gathered through their mirror images.
template <int R>
inline uint8x16_t LoadWindow(const uint8_t* row, int width, int x0) {
  const int left = x0 - R;
  if (left >= 0 && left + 16 <= width) return vld1q_u8(row + left);
  uint8_t gathered[16];
  for (int j = 0; j < 16; ++j)
    gathered[j] = row[BilateralMirror(left + j, width)];
  return vld1q_u8(gathered);
}

// Horizontal pass of 8 pixels of one row.
template <int R>
inline uint8x8_t HorizontalStrip(const uint8_t* row, int width, int x0,
                                 const KernelWeights<R>& weights) {
  uint8x8_t taps[2 * R + 1];
  SplitWindow(LoadWindow<R>(row, width, x0), taps,
              std::make_index_sequence<2 * R + 1>());
  return CombineTaps<R>(taps, weights);
}

// One strip of 8 columns starting at x0, swept downwards. rows[0 .. 2R]
// hold the horizontal results of the rows r-R .. r+R (rows outside the
// plane are their mirror images); each step shifts in the next row.
template <int R>
void FilterStrip(const uint8_t* src, uint8_t* dst, int width, int height,
                 int x0, const KernelWeights<R>& weights) {
  auto horizontal = [&](int i) {
    const uint8_t* row = src + (size_t)BilateralMirror(i, height) * width;
    return HorizontalStrip<R>(row, width, x0, weights);
  };
  uint8x8_t rows[2 * R + 1];
  rows[0] = vdup_n_u8(0);
  for (int j = 1; j <= 2 * R; ++j) rows[j] = horizontal(j - R - 1);
  for (int r = 0; r < height; ++r) {
    for (int j = 0; j < 2 * R; ++j) rows[j] = rows[j + 1];
    rows[2 * R] = horizontal(r + R);
    const uint8x8_t out = CombineTaps<R>(rows, weights);
    uint8_t* at = dst + (size_t)r * width + x0;
    if (width >= 8) {
      vst1_u8(at, out);
    } else {
      // A plane narrower than a strip: the lanes past the last column are
      // computed from clamped mirror indices and dropped.
      uint8_t lanes[8];
      vst1_u8(lanes, out);
      memcpy(at, lanes, (size_t)width);
    }
  }
}

// Strips start every 8 columns; when the width is not a multiple of 8 the
// last strip is moved left to end at the last column, recomputing a few
// columns of its neighbour with identical results.
template <int R>
void BilateralKernel_NEON(const uint8_t* src, uint8_t* dst, int width,
                          int height, int sigmaSpatial, int sigmaRange) {
  if (width <= 0 || height <= 0) return;
  BilateralTables tables;
  BilateralBuildTables(R, sigmaSpatial, sigmaRange, &tables);
  KernelWeights<R> weights;
  weights.range.val[0] = vld1_u8(tables.range);
  weights.range.val[1] = vld1_u8(tables.range + 8);
  for (int k = 0; k <= R; ++k)
    weights.spatial[k] = vdup_n_u8(tables.spatial[k]);
  for (int x0 = 0; x0 < width; x0 += 8) {
    const int start = (x0 + 8 > width && width >= 8) ? width - 8 : x0;
    FilterStrip<R>(src, dst, width, height, start, weights);
  }
}

}  // namespace

void Bilateral7x7_NEON(const uint8_t* src, uint8_t* dst, int width, int height,
                       int sigmaSpatial, int sigmaRange) {
  BilateralKernel_NEON<3>(src, dst, width, height, sigmaSpatial, sigmaRange);
}

void Bilateral9x9_NEON(const uint8_t* src, uint8_t* dst, int width, int height,
                       int sigmaSpatial, int sigmaRange) {
  BilateralKernel_NEON<4>(src, dst, width, height, sigmaSpatial, sigmaRange);
}

#endif  // defined(__ARM_NEON)
