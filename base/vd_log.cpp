#include "base/vd_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "api/video_denoise.h"

// VD_ANDROID_LOG builds the Android branch elsewhere too (against Debian's
// android-liblog-dev), so that it is compiled and tested off the phone.
#if defined(__ANDROID__) && !defined(VD_ANDROID_LOG)
#define VD_ANDROID_LOG 1
#endif
#if defined(VD_ANDROID_LOG)
#include <android/log.h>
#endif

namespace {

// Logcat's letter for a priority (2 verbose .. 7 fatal).
char PriorityLetter(int priority) {
  static const char kLetters[] = "??VDIWEF";
  return (priority >= 2 && priority <= 7) ? kLetters[priority] : '?';
}

void StderrSink(int priority, const char* tag, const char* message) {
  size_t len = std::strlen(message);
  bool newline = len > 0 && message[len - 1] == '\n';
  std::fprintf(stderr, "%c/%s: %s%s", PriorityLetter(priority), tag, message,
               newline ? "" : "\n");
}

std::atomic<TARNO_VideoDenoiseLogSink> g_sink{StderrSink};

}  // namespace

extern "C" void TARNO_VideoDenoiseSetLogSink(TARNO_VideoDenoiseLogSink sink) {
  g_sink.store(sink ? sink : StderrSink);
}

extern "C" void VdLog(int priority, const char* tag, const char* format, ...) {
  va_list args;
  va_start(args, format);
#if defined(VD_ANDROID_LOG)
  __android_log_vprint(priority, tag, format, args);
#else
  char message[1024];
  std::vsnprintf(message, sizeof(message), format, args);
  g_sink.load()(priority, tag, message);
#endif
  va_end(args);
}

const VdLogger kVdProcessLogger = {nullptr, nullptr, 0, VD_LOG_ERROR};

namespace {

void EmitV(const VdLogger* log, int level, const char* format, va_list args) {
  if (!log) log = &kVdProcessLogger;
  if (level < log->minLevel) return;
  if (!log->emit) {
#if defined(VD_ANDROID_LOG)
    __android_log_vprint(level, VD_LOG_TAG, format, args);
#else
    char message[1024];
    std::vsnprintf(message, sizeof(message), format, args);
    g_sink.load()(level, VD_LOG_TAG, message);
#endif
    return;
  }
  char message[1024];
  std::vsnprintf(message, sizeof(message), format, args);
  size_t len = std::strlen(message);
  // One line per call: a trailing line feed is the caller's, not ours.
  if (len > 0 && message[len - 1] == '\n') message[len - 1] = '\0';
  log->emit(log->user, level, message);
}

}  // namespace

void VdLogTo(const VdLogger* log, int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  EmitV(log, level, format, args);
  va_end(args);
}

void VdTrace(const VdLogger* log, const char* format, ...) {
  va_list args;
  va_start(args, format);
  EmitV(log, log ? log->traceLevel : VD_LOG_ERROR, format, args);
  va_end(args);
}
