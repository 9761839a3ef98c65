// A one-line progress display on stderr ("frame 120/300  40%  24.8 fps
// ETA 0:07"), redrawn in place at most a few times a second and only when
// stderr is a terminal.
#ifndef VD_TOOLS_PROGRESS_H_
#define VD_TOOLS_PROGRESS_H_

#include <cstdint>
#include <cstdio>
#include <string>

namespace vdtool {

// Monotonic seconds.
double NowSeconds();

// "1 frame", "0 frames", "2 frames": |count| and the noun, plural unless
// the count is one (nouns that take an "s").
std::string CountOf(int64_t count, const std::string& noun);

// "0:07", "12:34", "1:02:03".
std::string FormatDuration(double seconds);

// The text of one progress line. |total| < 0 means unknown (no percentage
// and no ETA); fps and ETA are left out until some time has passed.
std::string FormatProgressLine(int64_t done, int64_t total, double elapsed);

struct Progress {
  FILE* out = nullptr;  // null: disabled
  double start = 0;
  double last_draw = -1;
  int64_t total = -1;
  size_t drawn = 0;  // characters of the line on screen
};

// Enables the display when |enabled| and |out| is a terminal.
void StartProgress(Progress* p, FILE* out, bool enabled, int64_t total);
// Redraws when at least |interval| seconds passed since the last draw.
void UpdateProgress(Progress* p, int64_t done, double interval = 0.25);
// Erases the line (before other output, and at the end).
void ClearProgress(Progress* p);

}  // namespace vdtool

#endif  // VD_TOOLS_PROGRESS_H_
