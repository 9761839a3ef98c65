// The luma full path of the fuzzy frame path in one pass: 3x3 box mean
// (rounded to nearest), clamped difference and direction to the previous
// output, and the nr_table blend, with no intermediate plane. Gives, pixel
// for pixel, what BoxFilter3x3, CalDiffAbs_neon and FuzzyFilter_2 give in
// turn (the border columns, and the frame's border rows, take the source
// value as the spatial value, as the box filter copies them).
#ifndef VD_SPATIAL_BOX_BLEND_H_
#define VD_SPATIAL_BOX_BLEND_H_

#include <stdint.h>

// One inner row: above, row and below are the source rows around it; prev
// and out the previous output and the result. Touches exactly width bytes of
// each (width >= 1).
typedef void (*VdBoxBlendRowFn)(const uint8_t* above, const uint8_t* row,
                                const uint8_t* below, const uint8_t* prev,
                                uint8_t* out, int width, int level);
// A frame border row: the source row is the spatial value.
typedef void (*VdBlendRowFn)(const uint8_t* spatial, const uint8_t* prev,
                             uint8_t* out, int width, int level);

void VdBoxBlendRow_C(const uint8_t* above, const uint8_t* row,
                     const uint8_t* below, const uint8_t* prev, uint8_t* out,
                     int width, int level);
void VdBlendRow_C(const uint8_t* spatial, const uint8_t* prev, uint8_t* out,
                  int width, int level);
#if defined(__x86_64__) || defined(_M_X64)
void VdBoxBlendRow_AVX2(const uint8_t* above, const uint8_t* row,
                        const uint8_t* below, const uint8_t* prev,
                        uint8_t* out, int width, int level);
#endif
#if defined(__ARM_NEON)
void VdBoxBlendRow_NEON(const uint8_t* above, const uint8_t* row,
                        const uint8_t* below, const uint8_t* prev,
                        uint8_t* out, int width, int level);
#endif

// The family's variant table (base/vd_cpu.h).
struct BoxBlendKernels {
  VdBoxBlendRowFn row;
};
void VdInitBoxBlendKernels(BoxBlendKernels* k, int level);
const BoxBlendKernels& VdBoxBlendKernels(int level);

#endif  // VD_SPATIAL_BOX_BLEND_H_
