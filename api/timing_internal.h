// Stage time stamps.
#ifndef VD_API_TIMING_INTERNAL_H_
#define VD_API_TIMING_INTERNAL_H_

#include <stdio.h>

#include "api/vd_instance.h"

// Indices of the stamps, T0 .. T16.
enum {
  VD_T_START = 0,
  VD_T_LEVEL = 1,
  VD_T_DIFF_START = 3,
  VD_T_DIFF_SAD = 4,
  VD_T_DIFF_DELETE = 5,
  VD_T_DIFF_DILATE = 6,
  VD_T_DIFF_EROSE = 7,
  VD_T_TEMPORAL_DIFF = 8,
  VD_T_TEMPORAL_FILTER = 9,
  VD_T_JOINED = 11,
  VD_T_FUZZY_START = 12,
  VD_T_FUZZY_SPATIAL = 13,
  VD_T_FUZZY_SAD = 14,
  VD_T_FUZZY_SAD2 = 15,
  VD_T_FUZZY_DONE = 16
};

// Writes the millisecond clock into one stamp. The stripes write the same
// stamps without a lock (last writer wins); the store is a relaxed atomic so
// that this is well defined.
inline void VdStamp(Calc_Process_Time* times, int index) {
  __atomic_store_n(&times->llStamp[index], VD_OS_Milliseconds(),
                   __ATOMIC_RELAXED);
}

struct VdLogger;

// Logs the stage header once per process (at the logger's trace level).
void VdLogTimingHeaderOnce(const VdLogger* log);

// The fuzzy-path timing line, at the logger's trace level; also written to
// stream when it is set.
void VdLogFuzzyTimes(const VdLogger* log, const Calc_Process_Time* times,
                     FILE* stream);

#endif  // VD_API_TIMING_INTERNAL_H_
