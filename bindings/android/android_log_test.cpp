// The library's Android logging branch (vd_log.cpp built with
// VD_ANDROID_LOG) on Linux, against Debian's liblog: process-wide lines and
// the lines of a denoiser without a callback go to __android_log_print with
// their priority, the tag and the formatted text; the off-Android sink is
// not used; a denoiser's own callback still gets its lines.
#include <android/log.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/vd_log.h"
#include "api/video_denoise.h"

namespace {

struct Line {
  int priority;
  std::string tag, message;
};
std::vector<Line> g_lines;
int g_sink_calls = 0;

void Capture(const struct __android_logger_data* data, const char* message) {
  g_lines.push_back({data->priority, data->tag ? data->tag : "", message});
}

void Sink(int, const char*, const char*) { ++g_sink_calls; }

std::vector<std::string> g_callback_lines;
void Callback(void*, int, const char* message) {
  g_callback_lines.push_back(message);
}

int Expect(bool ok, const char* what) {
  if (!ok) std::fprintf(stderr, "android_log_test: %s\n", what);
  return ok ? 0 : 1;
}

}  // namespace

int main() {
  __android_log_set_logger(Capture);
  TARNO_VideoDenoiseSetLogSink(Sink);
  VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Alocate %s failed: %d\n", "buffer", 42);
  VdLog(VD_LOG_WARN, VD_LOG_TAG, "Video_Denoise has inited!\n");
  const VdLogger own = {Callback, nullptr, VD_LOG_WARNING, VD_LOG_DEBUG};
  const VdLogger route = {nullptr, nullptr, VD_LOG_WARNING, VD_LOG_DEBUG};
  VdLogTo(&own, VD_LOG_ERROR, "to the callback %d", 1);
  VdLogTo(&route, VD_LOG_DEBUG, "below the level");
  VdLogTo(&route, VD_LOG_ERROR, "vd_denoise: %s", "frame is null");
  int failures = 0;
  failures += Expect(g_lines.size() == 3, "three lines reach liblog");
  failures += Expect(g_callback_lines.size() == 1 &&
                         g_callback_lines[0] == "to the callback 1",
                     "a denoiser's callback gets its line");
  if (g_lines.size() == 3) {
    failures += Expect(g_lines[2].priority == ANDROID_LOG_ERROR &&
                           g_lines[2].tag == "TARNO_VideoDenoise" &&
                           g_lines[2].message == "vd_denoise: frame is null",
                       "a denoiser without a callback logs to liblog");
    failures += Expect(g_lines[0].priority == ANDROID_LOG_ERROR &&
                           g_lines[1].priority == ANDROID_LOG_WARN,
                       "priorities 6 and 5");
    failures += Expect(g_lines[0].tag == "TARNO_VideoDenoise" &&
                           g_lines[1].tag == "TARNO_VideoDenoise",
                       "the tag");
    failures += Expect(g_lines[0].message == "Alocate buffer failed: 42\n",
                       "the formatted message");
    failures += Expect(g_lines[1].message == "Video_Denoise has inited!\n",
                       "the warning text");
  }
  failures += Expect(g_sink_calls == 0, "the off-Android sink stays unused");
  if (failures == 0) std::printf("android_log_test: passed\n");
  return failures ? 1 : 0;
}
