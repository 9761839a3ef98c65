#include "tests/test_util.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "api/video_denoise.h"
#include "base/vd_cpu.h"

namespace vdtest {

void FillRandom(uint8_t* data, size_t n, uint32_t seed) {
  uint32_t x = seed * 2654435761u + 12345u;
  for (size_t i = 0; i < n; ++i) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    data[i] = static_cast<uint8_t>(x >> 11);
  }
}

const char* LevelName(int level) { return VdSimdLevelName(level); }

std::vector<int> VectorLevels() {
  int levels[kVdSimdLevelCount];
  const int n = VdMachineSimdLevels(levels);
  std::vector<int> out;
  for (int i = 0; i < n; ++i) {
    if (levels[i] != kVdSimdScalar) out.push_back(levels[i]);
  }
  return out;
}

SimdLevelScope::SimdLevelScope(int level) : ok_(VdSetSimdLevel(level)) {}
SimdLevelScope::~SimdLevelScope() { VdSetSimdLevel(-1); }

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
  std::vector<uint8_t> v(n);
  FillRandom(v.data(), n, seed);
  return v;
}

namespace {
std::mutex g_log_mutex;
std::vector<LogCapture::Line>* g_lines = nullptr;

void CaptureSink(int priority, const char* tag, const char* message) {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  if (g_lines) g_lines->push_back({priority, tag, message});
}
}  // namespace

LogCapture::LogCapture() {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  g_lines = new std::vector<Line>();
  TARNO_VideoDenoiseSetLogSink(CaptureSink);
}

LogCapture::~LogCapture() {
  TARNO_VideoDenoiseSetLogSink(nullptr);
  std::lock_guard<std::mutex> lock(g_log_mutex);
  delete g_lines;
  g_lines = nullptr;
}

std::vector<LogCapture::Line> LogCapture::Lines() const {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  return *g_lines;
}

std::vector<std::string> LogCapture::Messages() const {
  std::vector<std::string> out;
  for (const Line& line : Lines()) out.push_back(line.message);
  return out;
}

int LogCapture::Count(const std::string& text) const {
  int n = 0;
  for (const Line& line : Lines()) n += line.message == text;
  return n;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  g_lines->clear();
}

GuardedBuffer::GuardedBuffer(size_t n) : size_(n) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t body = (n + page - 1) / page * page;
  mapped_ = body + 2 * page;
  void* p = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) std::abort();
  base_ = static_cast<uint8_t*>(p);
  if (body && mprotect(base_ + page, body, PROT_READ | PROT_WRITE) != 0) std::abort();
  // The data ends flush against the trailing guard page.
  data_ = base_ + page + (body - n);
}

GuardedBuffer::GuardedBuffer(size_t n, Flush flush) : GuardedBuffer(n) {
  // The data starts right after the leading guard page.
  if (flush == kFlushStart) {
    data_ = base_ + static_cast<size_t>(sysconf(_SC_PAGESIZE));
  }
}

GuardedBuffer::~GuardedBuffer() { munmap(base_, mapped_); }

uint64_t Digest(const uint8_t* data, size_t n, uint64_t seed) {
  uint64_t h = seed;
  for (size_t i = 0; i < n; ++i) {
    h ^= data[i];
    h *= 1099511628211ull;
  }
  return h;
}

}  // namespace vdtest
