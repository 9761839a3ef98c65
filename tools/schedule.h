// Denoise mode and ISO over a clip: a schedule of changes.
//
// A schedule file has one "frame type iso" line per change, for example an
// auto-exposure run of a camera:
//
//   # frame  type  iso
//   0        1     100
//   120      1     400
//   300      6     800
//
// Each line takes effect at its frame (counted from the first frame of the
// input, skipped frames included) and holds until the next. Frames must
// strictly increase. Blank lines and text after '#' are ignored. Frames
// before the first line use the --type and --iso values.
#ifndef VD_TOOLS_SCHEDULE_H_
#define VD_TOOLS_SCHEDULE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace vdtool {

struct TypeIso {
  int type = 0;
  int iso = 100;
};

struct ScheduleEntry {
  int64_t frame = 0;
  TypeIso setting;
  int line = 0;  // line number in the file, for messages
};

// Parses schedule text. |name| prefixes error messages ("name:line: ...").
bool ParseSchedule(const std::string& text, const std::string& name,
                   std::vector<ScheduleEntry>* entries, std::string* error);

// Reads and parses a schedule file.
bool LoadSchedule(const std::string& path, std::vector<ScheduleEntry>* entries,
                  std::string* error);

// The setting in force at |frame|: the last entry at or before it, or
// |before_first| when there is none.
TypeIso ScheduleAt(const std::vector<ScheduleEntry>& entries, int64_t frame,
                   const TypeIso& before_first);

}  // namespace vdtool

#endif  // VD_TOOLS_SCHEDULE_H_
