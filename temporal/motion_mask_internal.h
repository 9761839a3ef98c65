// Reference and vector variants of the motion-mask kernels. Each shares the
// signature of the exported kernel it implements; the exported function
// runs the variant of the process level from the family's table. All
// variants walk the planes with the same block and row-pair stepping, so
// they write exactly the same bytes.
#ifndef VD_TEMPORAL_MOTION_MASK_INTERNAL_H_
#define VD_TEMPORAL_MOTION_MASK_INTERNAL_H_

#include <stdint.h>

// CalSADImage_neon: |first - second| over row pairs of 16-pixel blocks.
void CalSADImagePairs_C(unsigned char* first, unsigned char* second,
                        unsigned char* out, int width, int height);
// CalSAD_threshhold_neon: 255 where |first - second| > threshold, else 0,
// over row pairs of 32-pixel blocks.
void CalSAD_threshhold_C(unsigned char* first, unsigned char* second,
                         unsigned char* out, int width, int height,
                         unsigned char threshold);
// CalDiffAbs_neon: min(|a - b|, 16) and the sign (1 where b >= a) over row
// pairs of 16-pixel blocks.
void CalDiffAbs_C(unsigned char* first, unsigned char* second,
                  unsigned char* diff, unsigned char* sign, int width,
                  int height, int unused);
// ThresholdImage2_neon: 255 where in > threshold, else 0, over whole 16-pixel
// blocks of each row; value is not used.
void ThresholdImage255_C(unsigned char* unused, unsigned char* in,
                         unsigned char* out, int width, int height,
                         unsigned char threshold, unsigned char value);

#if defined(__ARM_NEON)
void CalSADImagePairs_NEON(unsigned char* first, unsigned char* second,
                           unsigned char* out, int width, int height);
void CalSAD_threshhold_NEON(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold);
void CalDiffAbs_NEON(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int unused);
void ThresholdImage255_NEON(unsigned char* unused, unsigned char* in,
                            unsigned char* out, int width, int height,
                            unsigned char threshold, unsigned char value);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins of the frame-path kernels, with the same row-pair stepping
// (AVX2 only where the processor has it).
void CalSAD_threshhold_SSE2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold);
void CalDiffAbs_SSE2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int unused);
void CalSAD_threshhold_AVX2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold);
void CalDiffAbs_AVX2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int unused);
#endif

// The family's variant table (base/vd_cpu.h).
struct MotionMaskKernels {
  void (*sad_pairs)(unsigned char* first, unsigned char* second,
                    unsigned char* out, int width, int height);
  void (*sad_threshold)(unsigned char* first, unsigned char* second,
                        unsigned char* out, int width, int height,
                        unsigned char threshold);
  void (*diff_abs)(unsigned char* first, unsigned char* second,
                   unsigned char* diff, unsigned char* sign, int width,
                   int height, int unused);
  void (*threshold255)(unsigned char* unused, unsigned char* in,
                       unsigned char* out, int width, int height,
                       unsigned char threshold, unsigned char value);
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
