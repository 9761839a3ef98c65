// Fixed-ratio scalers of the chroma path: scalar references and vector twins.
// Each pair takes the same arguments as the exported function it serves and
// writes the same bytes.
#ifndef VD_IMAGE_RESAMPLE_INTERNAL_H_
#define VD_IMAGE_RESAMPLE_INTERNAL_H_

#include <stdint.h>

// 4x4 block mean, (sum + 8) >> 4, over height / 4 groups of four rows and
// width / 4 blocks per group. Source rows are width bytes apart, output
// rows width / 4. Returns 0.
int DownScaleNewX16_C(const uint8_t* src, int height, int width,
                      uint8_t* dst);
// 2x2 block mean, (sum + 2) >> 2, over height / 2 row pairs and width / 2
// blocks per pair. Source rows are srcStride bytes apart, output rows
// srcStride / 2.
void DownScale_C(const uint8_t* src, int height, int width, int srcStride,
                 uint8_t* dst);
// 8x enlargement of a width x height plane to 8 * width x 8 * height (row
// step 8 * width). The fourth argument is not read.
void UpScaleX64_C(const uint8_t* src, int height, int width, int unused,
                  uint8_t* dst);
// 4x enlargement of a width x height plane to 4 * width x 4 * height (row
// step 4 * width).
void UpScaleNewX16_C(const uint8_t* src, int height, int width, uint8_t* dst);

#if defined(__ARM_NEON)
int DownScaleNewX16_NEON(const uint8_t* src, int height, int width,
                         uint8_t* dst);
void DownScale_NEON(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst);
void UpScaleX64_NEON(const uint8_t* src, int height, int width, int unused,
                     uint8_t* dst);
void UpScaleNewX16_NEON(const uint8_t* src, int height, int width,
                        uint8_t* dst);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins (AVX2 only where the processor has it), with the sample
// placement, border rules and stepping of the NEON twins.
int DownScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                         uint8_t* dst);
void DownScale_SSE2(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst);
void UpScaleX64_SSE2(const uint8_t* src, int height, int width, int unused,
                     uint8_t* dst);
void UpScaleNewX16_SSE2(const uint8_t* src, int height, int width,
                        uint8_t* dst);
int DownScaleNewX16_AVX2(const uint8_t* src, int height, int width,
                         uint8_t* dst);
void DownScale_AVX2(const uint8_t* src, int height, int width, int srcStride,
                    uint8_t* dst);
void UpScaleX64_AVX2(const uint8_t* src, int height, int width, int unused,
                     uint8_t* dst);
void UpScaleNewX16_AVX2(const uint8_t* src, int height, int width,
                        uint8_t* dst);
#endif

// The family's variant table (base/vd_cpu.h).
struct ResampleKernels {
  int (*down4)(const uint8_t* src, int height, int width, uint8_t* dst);
  void (*down2)(const uint8_t* src, int height, int width, int srcStride,
                uint8_t* dst);
  void (*up8)(const uint8_t* src, int height, int width, int unused,
              uint8_t* dst);
  void (*up4)(const uint8_t* src, int height, int width, uint8_t* dst);
};
void VdInitResampleKernels(ResampleKernels* k, int level);
const ResampleKernels& VdResampleKernels(int level);

#endif  // VD_IMAGE_RESAMPLE_INTERNAL_H_
