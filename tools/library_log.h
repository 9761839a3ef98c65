// The tool's end of a denoiser's log callback. The library filters by
// level itself: debug traces arrive only when asked for (verbose mode) and
// are written out as they come; warnings and errors are kept as well, to
// explain a failed call or to be shown once as a warning.
#ifndef VD_TOOLS_LIBRARY_LOG_H_
#define VD_TOOLS_LIBRARY_LOG_H_

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace vdtool {

struct LibraryLog {
  std::mutex mutex;  // the library may log from its worker threads
  FILE* echo = nullptr;  // every delivered line is also written here
  std::vector<std::string> messages;  // warnings and errors, not yet taken
};

// Messages kept between two takes; a flood of identical errors stays
// bounded.
constexpr size_t kMaxKeptLibraryMessages = 64;

// The callback for vd_options.log, with the LibraryLog as |user|.
void ReceiveLibraryLine(void* user, int level, const char* message);

// The kept warnings and errors, without their trailing newlines, since the
// last take.
std::vector<std::string> TakeLibraryMessages(LibraryLog* log);

}  // namespace vdtool

#endif  // VD_TOOLS_LIBRARY_LOG_H_
