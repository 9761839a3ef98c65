#include "tools/progress.h"

#include <time.h>
#include <unistd.h>

#include <cmath>

namespace vdtool {

namespace {

// fps and ETA are noise before this much time has passed.
constexpr double kMinElapsedForRate = 0.2;

}  // namespace

double NowSeconds() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

std::string CountOf(int64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string FormatDuration(double seconds) {
  if (!(seconds >= 0)) seconds = 0;
  long long s = static_cast<long long>(std::llround(seconds));
  char text[48];
  if (s >= 3600) {
    std::snprintf(text, sizeof(text), "%lld:%02lld:%02lld", s / 3600,
                  (s / 60) % 60, s % 60);
  } else {
    std::snprintf(text, sizeof(text), "%lld:%02lld", s / 60, s % 60);
  }
  return text;
}

std::string FormatProgressLine(int64_t done, int64_t total, double elapsed) {
  char text[160];
  int n;
  if (total >= 0) {
    int pct = total > 0 ? static_cast<int>(100 * done / total) : 100;
    if (pct > 100) pct = 100;
    n = std::snprintf(text, sizeof(text), "frame %lld/%lld %3d%%",
                      static_cast<long long>(done),
                      static_cast<long long>(total), pct);
  } else {
    n = std::snprintf(text, sizeof(text), "frame %lld",
                      static_cast<long long>(done));
  }
  std::string line(text, static_cast<size_t>(n));
  if (elapsed >= kMinElapsedForRate && done > 0) {
    double fps = static_cast<double>(done) / elapsed;
    std::snprintf(text, sizeof(text), "  %.1f fps", fps);
    line += text;
    if (total >= 0 && done <= total) {
      line += "  ETA " + FormatDuration(static_cast<double>(total - done) / fps);
    }
  }
  return line;
}

void StartProgress(Progress* p, FILE* out, bool enabled, int64_t total) {
  *p = Progress();
  p->start = NowSeconds();
  p->total = total;
  if (enabled && out && isatty(fileno(out))) p->out = out;
}

void UpdateProgress(Progress* p, int64_t done, double interval) {
  if (!p->out) return;
  double now = NowSeconds();
  if (p->last_draw >= 0 && now - p->last_draw < interval) return;
  p->last_draw = now;
  std::string line = FormatProgressLine(done, p->total, now - p->start);
  // Return to column 0, draw, and erase what is left of a longer line.
  std::fprintf(p->out, "\r%s\033[K", line.c_str());
  std::fflush(p->out);
  p->drawn = line.size();
}

void ClearProgress(Progress* p) {
  if (!p->out || p->drawn == 0) return;
  std::fprintf(p->out, "\r\033[K");
  std::fflush(p->out);
  p->drawn = 0;
}

}  // namespace vdtool
