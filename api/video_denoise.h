/* libVideoDenoise: real-time noise removal for NV21 camera frames.
 *
 *   TARNO_VideoDenoiseInit(width, height, cfgPath)   create the one denoiser
 *   TARNO_VideoDenoise(src, dst, width, height, eType, iISO)   one frame
 *   TARNO_VideoDenoiseDeinit()                        destroy it
 *
 * Frames are NV21 (width x height luma bytes, then width x height / 2 bytes
 * of interleaved V/U), width 96..1920 and a multiple of 16, height 96..1920
 * and a multiple of 8, never larger than the size given at creation. All
 * functions return 0 on success and -1 on failure (with one log line). The
 * public functions are not safe to call concurrently with one another.
 * Compiles as C99 and as C++17. */
#ifndef VD_API_VIDEO_DENOISE_H_
#define VD_API_VIDEO_DENOISE_H_

#include <stdio.h>

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int TARNO_VideoDenoiseInit(int width, int height,
                                     const char* cfgPath);
VD_EXPORT int TARNO_VideoDenoise(unsigned char* src, unsigned char* dst,
                                 int width, int height, int eType, int iISO);
VD_EXPORT int TARNO_VideoDenoiseDeinit(void);

/* Receives every log line: priority (5 warning, 6 error), the tag
 * "TARNO_VideoDenoise" and the formatted message. */
typedef void (*TARNO_VideoDenoiseLogSink)(int priority, const char* tag,
                                          const char* message);
/* Replaces where log lines go off Android. Null restores the default sink,
 * which writes "<L>/TARNO_VideoDenoise: <message>" to stderr (L = W or E).
 * On Android lines always go to logcat. */
VD_EXPORT void TARNO_VideoDenoiseSetLogSink(TARNO_VideoDenoiseLogSink sink);

/* Sets the timing log stream: every per-frame timing line is then also
 * written to it. The library takes ownership: Deinit closes the stream, and
 * setting another stream closes the one it replaces. Null clears it without
 * closing (the caller has it back). An Init that fails gives the stream back
 * to the caller unclosed and forgets it. A call while a frame (or any other
 * call) is running is refused with -1 and changes nothing; otherwise 0. */
VD_EXPORT int TARNO_VideoDenoiseSetTimingStream(FILE* stream);

/* Stripe pipeline of the following frames. */
enum {
  TARNO_PIPELINE_FUZZY = 0,   /* the default */
  TARNO_PIPELINE_TEMPORAL = 1 /* spatial pass, then motion-masked blend */
};
/* Selects the pipeline; returns 0, or -1 for an unknown value. */
VD_EXPORT int TARNO_VideoDenoiseSetPipeline(int pipeline);

/* Where the three stripe threads of a frame come from: 0 (the default)
 * starts and joins three threads in every frame call; 1 keeps three threads
 * alive between frames (started by the next frame call, ended by
 * TARNO_VideoDenoiseDeinit or by setting 0 again). The output is the same
 * either way. Returns 0, or -1 for another value or when called while
 * another TARNO_VideoDenoise call runs. */
VD_EXPORT int TARNO_VideoDenoiseSetStripePool(int enable);

VD_EXTERN_C_END

#endif /* VD_API_VIDEO_DENOISE_H_ */
