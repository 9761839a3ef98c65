// Motion masks: absolute differences, thresholded masks, clamped differences
// with sign, fixed and adaptive thresholds and motion-history bit planes.
// The span kernels and ThresholdImage255 have their plain references here and
// their twins in motion_mask_{sse2,avx2,neon}.cpp; the exported kernels run
// the variant of the process level from the family's table.
#include "temporal/motion_mask.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "base/vd_alloc.h"
#include "base/vd_cpu.h"
#include "temporal/motion_mask_internal.h"

// ---------------------------------------------------------------------------
// Scalar references of the span kernels (motion_mask_internal.h): the rule
// at every flat position r x width + [0, span) of rows 0 .. rows - 1.

namespace {

template <typename Pixel>
void ForEachSpanPosition(int width, int span, int rows, Pixel pixel) {
  for (ptrdiff_t r = 0; r < rows; ++r) {
    for (ptrdiff_t i = r * width; i < r * width + span; ++i) pixel(i);
  }
}

}  // namespace

void CalSADImageSpans_C(const unsigned char* first,
                        const unsigned char* second, unsigned char* out,
                        int width, int span, int rows) {
  ForEachSpanPosition(width, span, rows, [&](ptrdiff_t i) {
    out[i] = VdMotionAbsDiff(first[i], second[i]);
  });
}

void CalSAD_threshholdSpans_C(const unsigned char* first,
                              const unsigned char* second, unsigned char* out,
                              int width, int span, int rows,
                              unsigned char threshold) {
  ForEachSpanPosition(width, span, rows, [&](ptrdiff_t i) {
    out[i] = VdMotionExceeds(first[i], second[i], threshold);
  });
}

void CalDiffAbsSpans_C(const unsigned char* first,
                       const unsigned char* second, unsigned char* diff,
                       unsigned char* sign, int width, int span, int rows) {
  ForEachSpanPosition(width, span, rows, [&](ptrdiff_t i) {
    VdMotionDiffSign(first[i], second[i], diff + i, sign + i);
  });
}

void ThresholdImage255Spans_C(const unsigned char* in, unsigned char* out,
                              int width, int span, int rows,
                              unsigned char threshold) {
  ForEachSpanPosition(width, span, rows, [&](ptrdiff_t i) {
    out[i] = in[i] > threshold ? 255 : 0;
  });
}

// ---------------------------------------------------------------------------
// Exported kernels.

extern "C" int CalSADImage(unsigned char* first, unsigned char* second,
                           unsigned char* out, int width, int height,
                           int stride) {
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * stride;
    for (int x = 0; x < width; ++x) {
      out[row + x] = VdMotionAbsDiff(first[row + x], second[row + x]);
    }
  }
  return 1;
}

void VdInitMotionMaskKernels(MotionMaskKernels* k, int level) {
  k->sad_pairs = CalSADImageSpans_C;
  k->sad_threshold = CalSAD_threshholdSpans_C;
  k->diff_abs = CalDiffAbsSpans_C;
  k->threshold255 = ThresholdImage255Spans_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->sad_pairs = CalSADImageSpans_NEON;
    k->sad_threshold = CalSAD_threshholdSpans_NEON;
    k->diff_abs = CalDiffAbsSpans_NEON;
    k->threshold255 = ThresholdImage255Spans_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) {
    k->sad_pairs = CalSADImageSpans_SSE2;
    k->sad_threshold = CalSAD_threshholdSpans_SSE2;
    k->diff_abs = CalDiffAbsSpans_SSE2;
    k->threshold255 = ThresholdImage255Spans_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->sad_pairs = CalSADImageSpans_AVX2;
    k->sad_threshold = CalSAD_threshholdSpans_AVX2;
    k->diff_abs = CalDiffAbsSpans_AVX2;
    k->threshold255 = ThresholdImage255Spans_AVX2;
  }
#endif
  (void)level;
}

const MotionMaskKernels& VdMotionMaskKernels(int level) {
  return VdSimdTable<MotionMaskKernels, VdInitMotionMaskKernels>(level);
}

namespace {

// The exported row-pair kernels' defined stepping, kept for every caller
// (the temporal pipeline included, whose results are these bytes): the
// height / 2 row pairs cover span = whole `block`-pixel blocks of a row, the
// first pair from byte 0, the next span + width bytes after the current one
// (right after the span of its second row). At a width that is not a
// multiple of the block a row's tail is left alone and later pairs drift
// back by width mod block bytes per pair; the walk stays inside the width x
// height plane. Calls pair(pos, span) for each pair, whose span kernel does
// rows pos + [0, span) and pos + width + [0, span).
template <typename Pair>
void MotionMaskPairStepping(int width, int height, int block, Pair pair) {
  const int span = width / block * block;
  if (span <= 0) return;
  const int pairs = height >> 1;
  ptrdiff_t pos = 0;
  for (int p = 0; p < pairs; ++p) {
    pair(pos, span);
    pos += static_cast<ptrdiff_t>(span) + width;
  }
}

// The three kernels in that stepping: 16-, 32- and 16-pixel blocks.
void CalSADImagePairsStepping(const unsigned char* first,
                              const unsigned char* second, unsigned char* out,
                              int width, int height) {
  const MotionSadSpanFn spans = VdMotionMaskKernels(VdSimdLevel()).sad_pairs;
  MotionMaskPairStepping(width, height, 16, [&](ptrdiff_t pos, int span) {
    spans(first + pos, second + pos, out + pos, width, span, 2);
  });
}

void CalSAD_threshholdStepping(const unsigned char* first,
                               const unsigned char* second,
                               unsigned char* out, int width, int height,
                               unsigned char threshold) {
  const MotionThresholdSpanFn spans =
      VdMotionMaskKernels(VdSimdLevel()).sad_threshold;
  MotionMaskPairStepping(width, height, 32, [&](ptrdiff_t pos, int span) {
    spans(first + pos, second + pos, out + pos, width, span, 2, threshold);
  });
}

void CalDiffAbsStepping(const unsigned char* first,
                        const unsigned char* second, unsigned char* diff,
                        unsigned char* sign, int width, int height) {
  const MotionDiffSpanFn spans = VdMotionMaskKernels(VdSimdLevel()).diff_abs;
  MotionMaskPairStepping(width, height, 16, [&](ptrdiff_t pos, int span) {
    spans(first + pos, second + pos, diff + pos, sign + pos, width, span, 2);
  });
}

// ThresholdImage2_neon's defined stepping: every row covers only its whole
// 16-pixel blocks, span = (width >> 4) * 16 bytes, and the next row starts
// right after them, as if the planes were packed at that pitch (the bytes
// [0, span x height)); 255 for a hit whatever the value.
void ThresholdImage255Stepping(const unsigned char* in, unsigned char* out,
                               int width, int height,
                               unsigned char threshold) {
  const int span = width / 16 * 16;
  if (span <= 0) return;
  VdMotionMaskKernels(VdSimdLevel())
      .threshold255(in, out, span, span, height, threshold);
}

}  // namespace

extern "C" void CalSADImage_neon(unsigned char* first, unsigned char* second,
                                 unsigned char* out, int width, int height) {
  CalSADImagePairsStepping(first, second, out, width, height);
}

extern "C" void CalYuvImageSAD(sYuvImage_t* first, sYuvImage_t* second,
                               sYuvImage_t* out, int width, int height,
                               int withChroma, int offset, int /*unused*/) {
  CalSADImage_neon(first->pY + offset, second->pY + offset, out->pY + offset,
                   width, height);
  if (withChroma) {
    const int c = offset >> 2;
    CalSADImage_neon(first->pU + c, second->pU + c, out->pU + c, width >> 1,
                     height >> 1);
    CalSADImage_neon(first->pV + c, second->pV + c, out->pV + c, width >> 1,
                     height >> 1);
  }
}

extern "C" void CalSAD_threshhold_neon(unsigned char* first,
                                       unsigned char* second,
                                       unsigned char* out, int width,
                                       int height, unsigned char threshold) {
  CalSAD_threshholdStepping(first, second, out, width, height, threshold);
}

// Chroma-only change mask: luma is left alone and both chroma planes use the
// fixed threshold 4, whatever the caller passes.
extern "C" void CalSAD_threshholdProc(sYuvImage_t* first, sYuvImage_t* second,
                                      sYuvImage_t* out, int width, int height,
                                      int withChroma,
                                      unsigned char /*threshold*/,
                                      int offset) {
  if (!withChroma) return;
  const unsigned char kChromaThreshold = 4;
  const int c = offset >> 2;
  CalSAD_threshhold_neon(first->pU + c, second->pU + c, out->pU + c,
                         width >> 1, height >> 1, kChromaThreshold);
  CalSAD_threshhold_neon(first->pV + c, second->pV + c, out->pV + c,
                         width >> 1, height >> 1, kChromaThreshold);
}

extern "C" void CalDiffAbs_neon(unsigned char* first, unsigned char* second,
                                unsigned char* diff, unsigned char* sign,
                                int width, int height, int /*unused*/) {
  CalDiffAbsStepping(first, second, diff, sign, width, height);
}

extern "C" int ThresholdImage2(unsigned char* /*unused*/, unsigned char* in,
                               unsigned char* out, int width, int height,
                               unsigned char threshold, unsigned char value) {
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      out[row + x] = in[row + x] > threshold ? value : 0;
    }
  }
  return height;
}

extern "C" void ThresholdImage2_neon(unsigned char* /*unused*/,
                                     unsigned char* in, unsigned char* out,
                                     int width, int height,
                                     unsigned char threshold,
                                     unsigned char /*value*/) {
  ThresholdImage255Stepping(in, out, width, height, threshold);
}

extern "C" void ThresholdImage(sYuvImage_t* first, sYuvImage_t* in,
                               sYuvImage_t* out, int width, int height,
                               unsigned char threshold, unsigned char value,
                               int withChroma, int offset) {
  ThresholdImage2_neon(first->pY + offset, in->pY + offset, out->pY + offset,
                       width, height, threshold, value);
  if (withChroma) {
    const int c = offset >> 2;
    ThresholdImage2_neon(first->pU + c, in->pU + c, out->pU + c, width >> 1,
                         height >> 1, threshold, value);
    ThresholdImage2_neon(first->pV + c, in->pV + c, out->pV + c, width >> 1,
                         height >> 1, threshold, value);
  }
}

extern "C" int Threshold(unsigned char* in, unsigned char* out, int width,
                         int height, int threshold, int value) {
  if (in == nullptr || out == nullptr) return 0;
  if (height < 1) return 1;
  const unsigned char hit = static_cast<unsigned char>(value);
  const unsigned char miss = static_cast<unsigned char>(~value);
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      out[row + x] = static_cast<int>(in[row + x]) >= threshold ? hit : miss;
    }
  }
  return 1;
}

// Local-mean threshold: a pixel is set when it exceeds 85 % of the mean of
// the box around it, the box reaching (width >> 3) / 2 pixels each way. Box
// sums come from an integral image; the box runs from just after (y1, x1) to
// (y2, x2) inclusive, so it is one row and one column short of symmetric and
// a border pixel's box is short on that side too. The pixel is compared as
// count * pixel against sum * 85 / 100 so that no division by count occurs;
// both sides are 32-bit two's-complement quantities.
extern "C" int AdaptiveThreshold(unsigned char* in, unsigned char* out,
                                 int width, int height, int minLevel) {
  if (in == nullptr || out == nullptr) return 0;
  if (width < 1 || height < 1) return 1;

  const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
  uint32_t* integral = static_cast<uint32_t*>(VdMalloc(n * sizeof(uint32_t)));
  if (integral == nullptr) return 0;

  // integral[y][x] = sum of in over rows 0..y and columns 0..x.
  for (int y = 0; y < height; ++y) {
    const size_t row = static_cast<size_t>(y) * width;
    uint32_t rowSum = 0;
    for (int x = 0; x < width; ++x) {
      rowSum += in[row + x];
      integral[row + x] = rowSum + (y > 0 ? integral[row - width + x] : 0u);
    }
  }

  const int s = (width >> 3) / 2;
  const int level = (minLevel < 1 || minLevel > 254) ? 10 : minLevel;
  auto at = [&](int y, int x) {
    return integral[static_cast<size_t>(y) * width + x];
  };
  for (int x = 0; x < width; ++x) {
    const int x1 = x - s > 0 ? x - s : 0;
    const int x2 = x + s < width ? x + s : width - 1;
    for (int y = 0; y < height; ++y) {
      const int y1 = y - s > 0 ? y - s : 0;
      const int y2 = y + s < height ? y + s : height - 1;
      const uint32_t sum = at(y2, x2) - at(y1, x2) - at(y2, x1) + at(y1, x1);
      const uint32_t count =
          static_cast<uint32_t>(y2 - y1) * static_cast<uint32_t>(x2 - x1);
      const unsigned char pixel = in[static_cast<size_t>(y) * width + x];
      const int32_t limit = vd_motion::WrapToInt32(sum * 85u) / 100;
      const int32_t lhs = vd_motion::WrapToInt32(count * pixel);
      const bool set = lhs > limit || (lhs == limit && pixel >= level);
      out[static_cast<size_t>(y) * width + x] = set ? 255 : 0;
    }
  }
  VdFree(integral);
  return 1;
}

extern "C" int AdaptiveThresholdProc(sYuvImage_t* in, sYuvImage_t* out,
                                     int width, int height, int minLevel,
                                     int withChroma, int offset) {
  int result = AdaptiveThreshold(in->pY + offset, out->pY + offset, width,
                                 height, minLevel);
  if (withChroma) {
    const int c = offset >> 2;
    AdaptiveThreshold(in->pU + c, out->pU + c, width >> 1, height >> 1,
                      minLevel);
    result = AdaptiveThreshold(in->pV + c, out->pV + c, width >> 1,
                               height >> 1, minLevel);
  }
  return result;
}

extern "C" int AdaptiveThresholdImage(sYuvImage_t* in, sYuvImage_t* out,
                                      int /*unused*/) {
  if (in == nullptr || out == nullptr) return 0;
  const int w = in->iWidth;
  const int h = in->iHeight;
  const int kMinLevel = 10;
  int result = AdaptiveThreshold(in->pY, out->pY, w, h, kMinLevel);
  result |= AdaptiveThreshold(in->pU, out->pU, w / 2, h / 2, kMinLevel);
  result |= AdaptiveThreshold(in->pV, out->pV, w / 2, h / 2, kMinLevel);
  return result;
}

// History bit planes. Luma takes this frame's bit only (the old value is
// overwritten); chroma shifts its history right by one and ORs the new bit in
// at the given position, so it keeps a record of recent frames.
extern "C" int MotionDetection(unsigned char* mask, unsigned char* history,
                               int width, int height, int bitNumber,
                               int withChroma, int /*unused*/) {
  const unsigned char bit = vd_motion::ShiftedBit(bitNumber - 1);
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      history[row + x] = mask[row + x] == 255 ? 0 : bit;
    }
  }
  if (withChroma && height >= 2) {
    const ptrdiff_t lumaSize = static_cast<ptrdiff_t>(width) * height;
    const ptrdiff_t planeOffsets[2] = {lumaSize, lumaSize + (lumaSize >> 2)};
    const int cw = width >> 1;
    const int ch = height >> 1;
    for (ptrdiff_t planeOffset : planeOffsets) {
      const unsigned char* m = mask + planeOffset;
      unsigned char* h = history + planeOffset;
      for (int y = 0; y < ch; ++y) {
        const ptrdiff_t row = static_cast<ptrdiff_t>(y) * cw;
        for (int x = 0; x < cw; ++x) {
          const unsigned char now = m[row + x] == 255 ? 0 : bit;
          h[row + x] = static_cast<unsigned char>(now | (h[row + x] >> 1));
        }
      }
    }
  }
  return 1;
}

// Counts the still pixels, reports them against a two-thirds threshold and
// adds each still pixel's (1 << shift) into its 8-bit counter.
extern "C" int MotionCounter(unsigned char* mask, unsigned char* counter,
                             int width, int height, int shift) {
  const uint32_t total32 =
      static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
  const int32_t motionThreshold = vd_motion::WrapToInt32(total32 * 2u) / 3;
  uint32_t still = 0;
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) still += mask[row + x] != 255;
  }
  printf("\tMotionCounter: iCurMotionSum = %d,iMotionThreshold = %d\n",
         static_cast<int>(vd_motion::WrapToInt32(total32 - still)),
         static_cast<int>(motionThreshold));
  const unsigned char increment = vd_motion::ShiftedBit(shift);
  for (int y = 0; y < height; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      if (mask[row + x] != 255) {
        counter[row + x] =
            static_cast<unsigned char>(counter[row + x] + increment);
      }
    }
  }
  return 1;
}
