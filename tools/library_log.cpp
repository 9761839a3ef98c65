#include "tools/library_log.h"

#include "api/vdenoise.h"

namespace vdtool {

namespace {

std::string WithoutNewline(const char* message) {
  std::string s = message ? message : "";
  while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
  return s;
}

char LevelLetter(int level) {
  if (level >= VD_LOG_ERROR) return 'E';
  if (level >= VD_LOG_WARNING) return 'W';
  return 'D';
}

}  // namespace

void ReceiveLibraryLine(void* user, int level, const char* message) {
  LibraryLog* log = static_cast<LibraryLog*>(user);
  if (!log) return;
  std::string text = WithoutNewline(message);
  std::lock_guard<std::mutex> lock(log->mutex);
  if (log->echo) {
    std::fprintf(log->echo, "%c/libVideoDenoise: %s\n", LevelLetter(level),
                 text.c_str());
  }
  if (level >= VD_LOG_WARNING &&
      log->messages.size() < kMaxKeptLibraryMessages) {
    log->messages.push_back(text);
  }
}

std::vector<std::string> TakeLibraryMessages(LibraryLog* log) {
  std::lock_guard<std::mutex> lock(log->mutex);
  std::vector<std::string> out;
  out.swap(log->messages);
  return out;
}

}  // namespace vdtool
