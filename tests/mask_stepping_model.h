// Straight-line models of the mask morphology rules and of the exported
// kernels' documented stepping (morphology/mask_morphology.h), written from
// the header's formulas byte by byte and independent of the library's walk
// and table. Shared by mask_morphology_test.cpp and the kernel fuzzer.
#ifndef VD_TESTS_MASK_STEPPING_MODEL_H_
#define VD_TESTS_MASK_STEPPING_MODEL_H_

#include <stddef.h>
#include <stdint.h>

namespace vdtest {

// The rule of half-size k at s (row step w): the discrete-point rule for
// k = 1 (>= 128 is set; a set centre needs two set neighbours, a clear one
// seven), the AND of the 5 x 5 block for k = 2, the OR of the block
// otherwise.
inline uint8_t MaskRulePixel(const uint8_t* s, ptrdiff_t w, int k) {
  if (k == 1) {
    int n = 0;
    for (ptrdiff_t y = -1; y <= 1; ++y) {
      for (ptrdiff_t x = -1; x <= 1; ++x) n += s[y * w + x] >= 128;
    }
    return (n >= 7 || (s[0] >= 128 && n >= 3)) ? 255 : 0;
  }
  uint8_t m = k == 2 ? 255 : 0;
  for (ptrdiff_t y = -k; y <= k; ++y) {
    for (ptrdiff_t x = -k; x <= k; ++x) {
      m = k == 2 ? (m & s[y * w + x]) : (m | s[y * w + x]);
    }
  }
  return m;
}

// The border copies for the edge type: the first k rows for edge types 3
// and 1, the last k for 1 and 2, the first and last k bytes of rows
// k .. rows - k - 1.
inline void MaskBorderModel(const uint8_t* src, uint8_t* dst, int w, int rows, int edge, int k) {
  const bool top = edge == 3 || edge == 1, bottom = edge == 1 || edge == 2;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < w; ++c) {
      const bool side = r >= k && r < rows - k && w >= k && (c < k || c >= w - k);
      if ((top && r < k) || (bottom && r >= rows - k) || side) {
        dst[static_cast<size_t>(r) * w + c] = src[static_cast<size_t>(r) * w + c];
      }
    }
  }
}

// DeleteDiscretePoints (k = 1), Erose5x5 (k = 2) or Dilate9x9 (k = 4) as
// documented: borders, then P pairs of rows of S bytes from row k, column
// k, the next pair T = S + w + 2k bytes on; the discrete points do P =
// (rows - 2) / 2 and an odd last row alone at P x T, the others P =
// (rows - 4) / 2. src and dst hold the sizes the header gives.
inline void MaskSteppingModel(const uint8_t* src, uint8_t* dst, int w, int rows, int edge, int k) {
  MaskBorderModel(src, dst, w, rows, edge, k);
  const long interior = w - 2L * k;
  const long s = interior <= 0 ? 0 : (interior / 32) * 32 + (interior % 32 ? 32 - 2 * k : 0);
  const long t = s + w + 2 * k;
  const long pairs = k == 1 ? (rows - 2) / 2 : (rows - 4) / 2;
  const long start = static_cast<long>(k) * w + k;
  for (long p = 0; p < pairs; ++p) {
    for (long i = start + p * t; i < start + p * t + s; ++i) {
      dst[i] = MaskRulePixel(src + i, w, k);
      dst[i + w] = MaskRulePixel(src + i + w, w, k);
    }
  }
  if (k == 1 && rows - 2 > 0 && (rows - 2) % 2) {
    for (long i = start + pairs * t; i < start + pairs * t + s; ++i) {
      dst[i] = MaskRulePixel(src + i, w, k);
    }
  }
}

}  // namespace vdtest

#endif  // VD_TESTS_MASK_STEPPING_MODEL_H_
