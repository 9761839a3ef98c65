// Which vector unit the kernels may use, decided once per process.
//
// Every kernel with vector twins picks its variant per call from
// VdSimdLevel(): the scalar reference first, then upgraded to the best twin
// the level allows. The level comes from the processor (SSE2 is part of
// x86-64, AVX2 is detected at run time; NEON is fixed by the ARM build) and
// drops to scalar when the library is built with VD_FORCE_SCALAR or the
// environment variable VD_FORCE_SCALAR is set to 1 when it is first read.
// All variants write the same bytes, so the level changes speed only.
#ifndef VD_API_VD_CPU_H_
#define VD_API_VD_CPU_H_

// Builds whose x86-64 twins are compiled in (the build adds the *_x86.cpp
// and *_avx2.cpp sources on x86-64 targets only).
#if defined(__x86_64__) || defined(_M_X64)
#define VD_X86_SIMD 1
#endif

enum {
  kVdSimdScalar = 0,
  kVdSimdSse2 = 1,
  kVdSimdAvx2 = 2,
  kVdSimdNeon = 3,
};

// The level the kernels use: the processor's level unless forced to scalar
// (or lowered by VdSetSimdLevelForTesting). Cached after the first call;
// safe to call from any thread.
int VdSimdLevel();

// What the processor offers, ignoring every override: kVdSimdNeon on NEON
// builds, kVdSimdAvx2 or kVdSimdSse2 on x86-64, else kVdSimdScalar. Tests
// use it to decide which twins they can run.
int VdCpuSimdLevel();

// Test hook: caps the level the kernels use at `level` (never above the
// processor's level). A negative level restores the normal choice. Not for
// use while frames are being processed on other threads.
void VdSetSimdLevelForTesting(int level);

#endif  // VD_API_VD_CPU_H_
