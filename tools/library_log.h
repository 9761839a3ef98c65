// The tool's end of the library's log: a sink that sorts the library's
// lines into per-frame traces (kept quiet unless verbose), timing lines
// (parsed for the summary) and everything else (kept to explain a failed
// call, or shown once as a warning).
#ifndef VD_TOOLS_LIBRARY_LOG_H_
#define VD_TOOLS_LIBRARY_LOG_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vdtool {

enum class LibraryLine {
  kTiming,      // "Fuzzy_Time: total,..." after every frame
  kFrameTrace,  // per-frame and per-stripe traces, the timing header
  kOther        // errors and warnings
};

LibraryLine ClassifyLibraryLine(const std::string& message);

// The first value of a "Fuzzy_Time: " line, the frame's total time in ms.
bool ParseFuzzyTimeTotal(const std::string& message, long long* total_ms);

// Installs the sink. With |echo| every line is also written to |echo|
// as it arrives (verbose mode).
void InstallLibraryLog(FILE* echo);
// Restores the library's default sink.
void RemoveLibraryLog();

// Lines of the kOther kind received since the last call, without their
// trailing newlines.
std::vector<std::string> TakeLibraryMessages();

struct LibraryTiming {
  int64_t lines = 0;
  long long total_ms = 0;
};
// Timing lines received since the last reset.
LibraryTiming GetLibraryTiming();
void ResetLibraryTiming();

}  // namespace vdtool

#endif  // VD_TOOLS_LIBRARY_LOG_H_
