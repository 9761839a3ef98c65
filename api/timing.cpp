// Clocks, stage stamps and the per-frame timing lines.
#include <atomic>
#include <cstdarg>
#include <cinttypes>
#include <cstdio>

#include "api/timing_internal.h"
#include "base/vd_log.h"

Calc_Process_Time g_VideoDenoise_ProcTime;

namespace {

std::atomic<int> g_header_logged{0};

int64_t Stamp(const Calc_Process_Time& t, int i) {
  return __atomic_load_n(&t.llStamp[i], __ATOMIC_RELAXED);
}

// Logs one timing line and, when a stream is set, writes it there too.
void EmitLine(const VdLogger* log, FILE* stream, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void EmitLine(const VdLogger* log, FILE* stream, const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  VdTrace(log, "%s", line);
  if (stream) {
    std::fprintf(stream, "%s\n", line);
    std::fflush(stream);
  }
}

}  // namespace

void VdLogTimingHeaderOnce(const VdLogger* log) {
  if (g_header_logged.exchange(1) == 0) {
    VdTrace(log,
          "total,color transform,spatial,temporal,NV21toYUV420,spatial,SAD,"
          "Threshold,deletPix,Morpholog_0,Morpholog_1,motion detect,"
          "tempFilter,YUV420toNV21\n");
  }
}

void VdLogFuzzyTimes(const VdLogger* log, const Calc_Process_Time* times,
                     FILE* stream) {
  const Calc_Process_Time& t = *times;
  EmitLine(log, stream,
           "Fuzzy_Time: %4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld",
           (long long)(Stamp(t, 11) - Stamp(t, 0)),
           (long long)(Stamp(t, 10) + Stamp(t, 1) - Stamp(t, 9) - Stamp(t, 0)),
           (long long)(Stamp(t, 16) - Stamp(t, 12)),
           (long long)(Stamp(t, 13) - Stamp(t, 12)),
           (long long)(Stamp(t, 14) - Stamp(t, 13)),
           (long long)(Stamp(t, 15) - Stamp(t, 12)),
           (long long)(Stamp(t, 16) - Stamp(t, 15)));
}

extern "C" void Calc_ProcessTime2(Calc_Process_Time record, FILE* stream) {
  VdLogFuzzyTimes(&kVdProcessLogger, &record, stream);
}

extern "C" void Calc_ProcessTime(Calc_Process_Time record, FILE* stream) {
  const Calc_Process_Time& t = record;
  auto d = [&t](int a, int b) { return (long long)(Stamp(t, a) - Stamp(t, b)); };
  EmitLine(&kVdProcessLogger, stream,
           "%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,%4lld,"
           "%4lld,%4lld,%4lld",
           d(11, 0), d(1, 0) + d(10, 9), d(2, 1), d(9, 2), d(1, 0), d(2, 1),
           d(3, 2), d(4, 3), d(5, 4), d(6, 5), d(7, 6), d(8, 7), d(9, 8),
           d(10, 9));
}
