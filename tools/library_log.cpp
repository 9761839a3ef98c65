#include "tools/library_log.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

#include "api/video_denoise.h"

namespace vdtool {

namespace {

constexpr char kTimingPrefix[] = "Fuzzy_Time: ";
// Traces the library logs on every frame or every creation, at the same
// priority as its errors.
const char* const kTracePrefixes[] = {
    "Process VideoDenoise:",   // every frame
    "total,color transform,",  // the timing column header, once
    "iWidth:src_y:",           // every stripe of every frame
    "iWidth=",                 // frame buffers allocated at creation
    "morphology total:",       // per frame on the temporal pipeline
};
// Messages kept for one call; a flood of identical errors stays bounded.
constexpr size_t kMaxKeptMessages = 64;

// The sink runs on the library's stripe threads as well as on the caller's.
std::mutex g_mutex;
FILE* g_echo = nullptr;
std::vector<std::string> g_messages;
LibraryTiming g_timing;

bool StartsWith(const std::string& s, const char* prefix) {
  return s.compare(0, std::strlen(prefix), prefix) == 0;
}

std::string WithoutNewline(const char* message) {
  std::string s = message ? message : "";
  while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
  return s;
}

void Sink(int priority, const char* tag, const char* message) {
  std::string text = WithoutNewline(message);
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_echo) {
    std::fprintf(g_echo, "%c/%s: %s\n", priority == 5 ? 'W' : 'E',
                 tag ? tag : "", text.c_str());
  }
  switch (ClassifyLibraryLine(text)) {
    case LibraryLine::kTiming: {
      long long ms = 0;
      if (ParseFuzzyTimeTotal(text, &ms)) {
        ++g_timing.lines;
        g_timing.total_ms += ms;
      }
      break;
    }
    case LibraryLine::kFrameTrace:
      break;
    case LibraryLine::kOther:
      if (g_messages.size() < kMaxKeptMessages) g_messages.push_back(text);
      break;
  }
}

}  // namespace

LibraryLine ClassifyLibraryLine(const std::string& message) {
  if (StartsWith(message, kTimingPrefix)) return LibraryLine::kTiming;
  for (const char* prefix : kTracePrefixes) {
    if (StartsWith(message, prefix)) return LibraryLine::kFrameTrace;
  }
  return LibraryLine::kOther;
}

bool ParseFuzzyTimeTotal(const std::string& message, long long* total_ms) {
  if (!StartsWith(message, kTimingPrefix)) return false;
  const char* p = message.c_str() + std::strlen(kTimingPrefix);
  while (*p == ' ') ++p;  // values are printed right-aligned in 4 columns
  char* end = nullptr;
  long long v = std::strtoll(p, &end, 10);
  if (end == p || (*end != ',' && *end != '\0')) return false;
  *total_ms = v;
  return true;
}

void InstallLibraryLog(FILE* echo) {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_echo = echo;
    g_messages.clear();
    g_timing = LibraryTiming();
  }
  TARNO_VideoDenoiseSetLogSink(Sink);
}

void RemoveLibraryLog() {
  TARNO_VideoDenoiseSetLogSink(nullptr);
  std::lock_guard<std::mutex> lock(g_mutex);
  g_echo = nullptr;
}

std::vector<std::string> TakeLibraryMessages() {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::vector<std::string> out;
  out.swap(g_messages);
  return out;
}

LibraryTiming GetLibraryTiming() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_timing;
}

void ResetLibraryTiming() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_timing = LibraryTiming();
}

}  // namespace vdtool
