#include "tools/schedule.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/text_file.h"

namespace vdtool {

namespace {

// A non-negative decimal that fits |max|.
bool ParseNumber(const std::string& text, long long max, long long* value) {
  if (text.empty() || text.size() > 18) return false;
  long long v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + (c - '0');
  }
  if (v > max) return false;
  *value = v;
  return true;
}

std::vector<std::string> SplitWords(const std::string& line) {
  std::vector<std::string> words;
  size_t pos = 0;
  while (pos < line.size()) {
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t' ||
                                 line[pos] == '\r')) {
      ++pos;
    }
    size_t end = pos;
    while (end < line.size() && line[end] != ' ' && line[end] != '\t' &&
           line[end] != '\r') {
      ++end;
    }
    if (end > pos) words.push_back(line.substr(pos, end - pos));
    pos = end;
  }
  return words;
}

}  // namespace

bool ParseSchedule(const std::string& text, const std::string& name,
                   std::vector<ScheduleEntry>* entries, std::string* error) {
  entries->clear();
  int line_number = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    pos = end + 1;
    ++line_number;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    std::vector<std::string> words = SplitWords(line);
    if (words.empty()) continue;

    const std::string where = name + ":" + std::to_string(line_number) + ": ";
    if (words.size() != 3) {
      *error = where + "expected three numbers \"frame type iso\", found " +
               std::to_string(words.size()) + " field" +
               (words.size() == 1 ? "" : "s");
      return false;
    }
    static const char* const kWhat[3] = {"frame", "type", "iso"};
    static const long long kMax[3] = {(1ll << 40), 0x7fffffff, 0x7fffffff};
    long long v[3];
    for (int i = 0; i < 3; ++i) {
      if (!ParseNumber(words[i], kMax[i], &v[i])) {
        *error = where + "the " + kWhat[i] + " \"" + words[i] +
                 "\" is not a non-negative whole number";
        return false;
      }
    }
    if (!entries->empty() && v[0] <= entries->back().frame) {
      *error = where + "frame " + std::to_string(v[0]) +
               " does not come after frame " +
               std::to_string(entries->back().frame) + " (line " +
               std::to_string(entries->back().line) + ")";
      return false;
    }
    ScheduleEntry e;
    e.frame = v[0];
    e.setting.type = static_cast<int>(v[1]);
    e.setting.iso = static_cast<int>(v[2]);
    e.line = line_number;
    entries->push_back(e);
  }
  if (entries->empty()) {
    *error = name + ": the schedule has no \"frame type iso\" lines";
    return false;
  }
  return true;
}

bool LoadSchedule(const std::string& path, std::vector<ScheduleEntry>* entries,
                  std::string* error) {
  std::string text;
  if (!ReadTextFile(path, 1 << 24, &text, error)) return false;
  return ParseSchedule(text, path, entries, error);
}

TypeIso ScheduleAt(const std::vector<ScheduleEntry>& entries, int64_t frame,
                   const TypeIso& before_first) {
  // Entries are sorted: binary search for the last one at or before frame.
  size_t lo = 0, hi = entries.size();
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    if (entries[mid].frame <= frame) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo == 0 ? before_first : entries[lo - 1].setting;
}

}  // namespace vdtool
