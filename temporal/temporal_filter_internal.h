// Reference and vector variants of the temporal blending kernels. Each
// shares one signature; the exported filters run the variant of the process
// level from the family's table.
#ifndef VD_TEMPORAL_TEMPORAL_FILTER_INTERNAL_H_
#define VD_TEMPORAL_TEMPORAL_FILTER_INTERNAL_H_

// TemporalFilterS: still pixels (mask < 128) become
// (90 * src + 38 * ref + 64) >> 7, moving ones are copied; whole 16-pixel
// blocks of each row at the packed (width >> 4) * 16 pitch.
void TemporalFilterS_C(unsigned char* src, unsigned char* ref,
                       unsigned char* mask, unsigned char* out, int width,
                       int height);
// Luma blend of TemporalFilter: still pixels become (64 * src + 64 * ref) >> 7
// without rounding, moving ones are copied; same stepping as TemporalFilterS.
void TemporalFilterLuma_C(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height);

#if defined(__ARM_NEON)
void TemporalFilterS_NEON(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height);
void TemporalFilterLuma_NEON(unsigned char* src, unsigned char* ref,
                             unsigned char* mask, unsigned char* out,
                             int width, int height);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins of TemporalFilterS, same stepping (AVX2 only where the
// processor has it).
void TemporalFilterS_SSE2(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height);
void TemporalFilterS_AVX2(unsigned char* src, unsigned char* ref,
                          unsigned char* mask, unsigned char* out, int width,
                          int height);
#endif

// The family's variant table (base/vd_cpu.h).
using TemporalBlendFn = void (*)(unsigned char* src, unsigned char* ref,
                                 unsigned char* mask, unsigned char* out,
                                 int width, int height);
struct TemporalFilterKernels {
  TemporalBlendFn still;  // TemporalFilterS
  TemporalBlendFn luma;   // the luma blend of TemporalFilter
};
void VdInitTemporalFilterKernels(TemporalFilterKernels* k, int level);
const TemporalFilterKernels& VdTemporalFilterKernels(int level);

#endif  // VD_TEMPORAL_TEMPORAL_FILTER_INTERNAL_H_
