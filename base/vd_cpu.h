// Which vector unit the kernels may use, and the variant tables that act on
// it.
//
// Every kernel family with vector twins keeps one table of function pointers
// per SIMD level (see VdSimdTable below): the family's init function fills a
// table with the scalar references, then puts in the twins that level has.
// The exported entry points call through the table of the process level,
// VdSimdLevel(); tests, benchmarks and fuzzers walk the tables of every
// level the machine runs (VdMachineSimdLevels). All variants write the same
// bytes, so the level changes speed only.
//
// The process level starts as the processor's best (SSE2 is part of
// x86-64, AVX2 is detected at run time; NEON is fixed by the ARM build), or
// scalar when the library is built with VD_FORCE_SCALAR, and can be chosen
// with VdSetSimdLevel (exported as vd_set_simd_level).
#ifndef VD_BASE_VD_CPU_H_
#define VD_BASE_VD_CPU_H_

// Builds whose x86-64 twins are compiled in (the build adds the *_sse2.cpp
// and *_avx2.cpp sources on x86-64 targets only).
#if defined(__x86_64__) || defined(_M_X64)
#define VD_X86_SIMD 1
#endif

enum {
  kVdSimdScalar = 0,
  kVdSimdSse2 = 1,
  kVdSimdAvx2 = 2,
  kVdSimdNeon = 3,
  kVdSimdLevelCount = 4,
};

// The level the exported kernels use. Safe to call from any thread.
int VdSimdLevel();

// What the processor offers: kVdSimdNeon on NEON builds, kVdSimdAvx2 or
// kVdSimdSse2 on x86-64, else kVdSimdScalar.
int VdCpuSimdLevel();

// Whether this build has the twins of `level` and the processor runs them
// (scalar always does).
bool VdSimdLevelRuns(int level);

// Every level that runs here, scalar first, into levels[]; returns how many.
int VdMachineSimdLevels(int levels[kVdSimdLevelCount]);

// Sets the process level; a negative level restores the automatic choice.
// Refuses (returns false, changes nothing) a level that does not run here,
// and any level but scalar in a VD_FORCE_SCALAR build. Not for use while
// frames are being processed on other threads.
bool VdSetSimdLevel(int level);

// "scalar", "sse2", "avx2", "neon"; null for anything else.
const char* VdSimdLevelName(int level);
// The level of a name above; -1 for "auto", -2 for an unknown name.
int VdSimdLevelFromName(const char* name);

// The variant table of a family for `level`, filled once by Init (one table
// per level, built on first use, thread-safe) and read-only after that.
// Init(table, level) must fill every slot: the reference first, then the
// twins of that level.
template <typename Table, void (*Init)(Table*, int)>
const Table& VdSimdTable(int level) {
  struct Tables {
    Table level[kVdSimdLevelCount];
  };
  static const Tables tables = [] {
    Tables t{};
    for (int l = 0; l < kVdSimdLevelCount; ++l) Init(&t.level[l], l);
    return t;
  }();
  return tables.level[level >= 0 && level < kVdSimdLevelCount ? level : 0];
}

#endif  // VD_BASE_VD_CPU_H_
