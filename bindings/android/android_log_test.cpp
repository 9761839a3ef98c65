// The library's Android logging branch (vd_log.cpp built with
// VD_ANDROID_LOG) on Linux, against Debian's liblog: every line goes to
// __android_log_print with its priority, the tag and the formatted text, and
// the off-Android sink is not used.
#include <android/log.h>

#include <cstdio>
#include <string>
#include <vector>

#include "api/vd_log.h"
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
  int failures = 0;
  failures += Expect(g_lines.size() == 2, "two lines reach liblog");
  if (g_lines.size() == 2) {
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
