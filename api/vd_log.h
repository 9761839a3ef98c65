// Internal logging: every diagnostic of the library goes through VdLog.
// On Android it is __android_log_print; elsewhere the formatted message goes
// to the sink installed with TARNO_VideoDenoiseSetLogSink (stderr by default).
#ifndef VD_LOG_H_
#define VD_LOG_H_

#include <stdint.h>

#define VD_LOG_TAG "TARNO_VideoDenoise"
#define VD_LOG_WARN 5
#define VD_LOG_ERROR 6

#ifdef __cplusplus
extern "C" {
#endif

void VdLog(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

// A pointer printed with "%x" shows its low 32 bits on every target, so the
// message text is the same on 32-bit and 64-bit builds.
#define VD_PTR32(p) ((unsigned int)(uintptr_t)(p))

#endif  // VD_LOG_H_
