// Reference and vector variants of the motion-mask kernels.
//
// Each output byte depends only on the input bytes at the same flat
// position, so the row-pair span kernels are defined on flat positions: for
// r in 0 .. rows - 1, the bytes r x width .. r x width + span - 1 from every
// plane pointer (span may be longer than a row and run on into the next).
// They read and write exactly those bytes. The vector twins go through each
// row of a span in whole blocks and finish it per pixel with the same rule
// (motion_mask_walk.h), so they equal the references byte for byte, an
// output over an input of the same position included. The exported kernels'
// drifting row-pair walk is one named shim per kernel in motion_mask.cpp
// (MotionMaskPairStepping), which calls these span kernels, and
// ThresholdImage2_neon's packed-pitch walk is ThresholdImage255Stepping.
#ifndef VD_TEMPORAL_MOTION_MASK_INTERNAL_H_
#define VD_TEMPORAL_MOTION_MASK_INTERNAL_H_

#include <stddef.h>
#include <stdint.h>

// The rules at one position.
static inline unsigned char VdMotionAbsDiff(unsigned char a, unsigned char b) {
  return static_cast<unsigned char>(a > b ? a - b : b - a);
}
// 255 where |a - b| > threshold, else 0.
static inline unsigned char VdMotionExceeds(unsigned char a, unsigned char b,
                                            unsigned char threshold) {
  return VdMotionAbsDiff(a, b) > threshold ? 255 : 0;
}
// min(|a - b|, 16) into *diff and 1 into *sign where b >= a, else 0.
static inline void VdMotionDiffSign(unsigned char a, unsigned char b,
                                    unsigned char* diff, unsigned char* sign) {
  const unsigned char d = VdMotionAbsDiff(a, b);
  *diff = d < 16 ? d : 16;
  *sign = b >= a ? 1 : 0;
}

// Span kernels (rows of `span` bytes, `width` bytes apart; see above).
// sad_pairs: |first - second|.
using MotionSadSpanFn = void (*)(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows);
// sad_threshold: 255 where |first - second| > threshold, else 0.
using MotionThresholdSpanFn = void (*)(const unsigned char* first,
                                       const unsigned char* second,
                                       unsigned char* out, int width,
                                       int span, int rows,
                                       unsigned char threshold);
// diff_abs: min(|first - second|, 16) and the sign (1 where second >= first).
using MotionDiffSpanFn = void (*)(const unsigned char* first,
                                  const unsigned char* second,
                                  unsigned char* diff, unsigned char* sign,
                                  int width, int span, int rows);

// threshold255: 255 where in > threshold, else 0 (one plane).
using MotionThreshold255SpanFn = void (*)(const unsigned char* in,
                                          unsigned char* out, int width,
                                          int span, int rows,
                                          unsigned char threshold);

void CalSADImageSpans_C(const unsigned char* first,
                        const unsigned char* second, unsigned char* out,
                        int width, int span, int rows);
void CalSAD_threshholdSpans_C(const unsigned char* first,
                              const unsigned char* second, unsigned char* out,
                              int width, int span, int rows,
                              unsigned char threshold);
void CalDiffAbsSpans_C(const unsigned char* first,
                       const unsigned char* second, unsigned char* diff,
                       unsigned char* sign, int width, int span, int rows);
void ThresholdImage255Spans_C(const unsigned char* in, unsigned char* out,
                              int width, int span, int rows,
                              unsigned char threshold);

#if defined(__ARM_NEON)
// NEON twins (motion_mask_neon.cpp), byte for byte equal to the above.
void CalSADImageSpans_NEON(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows);
void CalSAD_threshholdSpans_NEON(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold);
void CalDiffAbsSpans_NEON(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows);
void ThresholdImage255Spans_NEON(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins (motion_mask_sse2.cpp; motion_mask_avx2.cpp, used only where
// the processor has AVX2).
void CalSADImageSpans_SSE2(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows);
void CalSAD_threshholdSpans_SSE2(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold);
void CalDiffAbsSpans_SSE2(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows);
void ThresholdImage255Spans_SSE2(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold);
void CalSADImageSpans_AVX2(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows);
void CalSAD_threshholdSpans_AVX2(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold);
void CalDiffAbsSpans_AVX2(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows);
void ThresholdImage255Spans_AVX2(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold);
#endif

// The family's variant table (base/vd_cpu.h).
struct MotionMaskKernels {
  MotionSadSpanFn sad_pairs;            // CalSADImage_neon
  MotionThresholdSpanFn sad_threshold;  // CalSAD_threshhold_neon
  MotionDiffSpanFn diff_abs;            // CalDiffAbs_neon
  MotionThreshold255SpanFn threshold255;  // ThresholdImage2_neon
};
void VdInitMotionMaskKernels(MotionMaskKernels* k, int level);
const MotionMaskKernels& VdMotionMaskKernels(int level);

namespace vd_motion {

// Two's-complement reinterpretation of a 32-bit pattern, without relying on
// implementation-defined narrowing.
inline int32_t WrapToInt32(uint32_t v) {
  return v <= 0x7fffffffu ? static_cast<int32_t>(v)
                          : static_cast<int32_t>(v - 0x80000000u) - 0x7fffffff - 1;
}

// 1 << shift truncated to a byte; shifts of 32 or more (and negative ones,
// read as unsigned) give 0.
inline uint8_t ShiftedBit(int shift) {
  const uint32_t s = static_cast<uint32_t>(shift);
  return s < 32u ? static_cast<uint8_t>(1u << s) : 0u;
}

}  // namespace vd_motion

#endif  // VD_TEMPORAL_MOTION_MASK_INTERNAL_H_
