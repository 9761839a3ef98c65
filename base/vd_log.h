// Internal logging: every diagnostic of the library goes through VdLog.
// On Android it is __android_log_print; elsewhere the formatted message goes
// to the sink installed with TARNO_VideoDenoiseSetLogSink (stderr by default).
#ifndef VD_LOG_H_
#define VD_LOG_H_

#include <stdint.h>

#define VD_LOG_TAG "TARNO_VideoDenoise"
#include "api/vdenoise.h"

// Priorities: the engine API's levels (error 6, warning 5, debug 3), which
// are logcat's.
#define VD_LOG_WARN VD_LOG_WARNING

#ifdef __cplusplus
extern "C" {
#endif

void VdLog(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
// Where one denoiser's lines go. emit null: the process-wide route (VdLog:
// logcat on Android, the replaceable sink elsewhere). Lines below minLevel
// are dropped. Per-frame traces go out at traceLevel: error priority for the
// process-wide API, as it always has, debug for engine denoisers.
struct VdLogger {
  void (*emit)(void* user, int level, const char* message);
  void* user;
  int minLevel;
  int traceLevel;
};

// The process-wide route with every line delivered, traces at error.
extern const VdLogger kVdProcessLogger;

void VdLogTo(const VdLogger* log, int level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void VdTrace(const VdLogger* log, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
#endif

// A pointer printed with "%x" shows its low 32 bits on every target, so the
// message text is the same on 32-bit and 64-bit builds.
#define VD_PTR32(p) ((unsigned int)(uintptr_t)(p))

#endif  // VD_LOG_H_
