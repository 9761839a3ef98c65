// Helpers shared by the unit tests.
#ifndef VD_TESTS_TEST_UTIL_H_
#define VD_TESTS_TEST_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vdtest {

// Deterministic pseudo-random bytes.
std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed);
void FillRandom(uint8_t* data, size_t n, uint32_t seed);

// Captures every log line of the library while alive.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  struct Line {
    int priority;
    std::string tag;
    std::string message;
  };
  std::vector<Line> Lines() const;
  std::vector<std::string> Messages() const;
  // Number of captured messages equal to text.
  int Count(const std::string& text) const;
  void Clear();
};

// A buffer of n bytes that ends exactly at an inaccessible guard page and
// starts right after another one, so any over- or under-run faults.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t n);
  // Which end of the data lies flush against its guard page. The default
  // constructor puts the end there; unless n is a whole number of pages the
  // start then has slack before its guard, so a test that must catch
  // under-runs as well uses a second buffer with kFlushStart.
  enum Flush { kFlushEnd, kFlushStart };
  GuardedBuffer(size_t n, Flush flush);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  uint8_t* base_ = nullptr;
  size_t mapped_ = 0;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

// "scalar", "sse2", "avx2", "neon".
const char* LevelName(int level);

// The vector levels this machine runs (base/vd_cpu.h), scalar left out.
std::vector<int> VectorLevels();

// Calls check(levelName, reference, twin) for the `slot` of a family's
// variant table (table(level) as VdBoxFilterKernels gives it) at every vector
// level this machine runs whose table holds a twin there; a slot that still
// holds the scalar reference at a level is skipped.
template <typename Table, typename Fn, typename Check>
void ForEachTwin(const Table& (*table)(int), Fn Table::*slot, Check check) {
  const Fn reference = table(0).*slot;
  for (int level : VectorLevels()) {
    const Fn twin = table(level).*slot;
    if (twin != reference) check(LevelName(level), reference, twin);
  }
}

// The sizes a variant test runs a kernel at: every width 1 .. 140 with every
// row count 1 .. 9, then 300 pseudo-random sizes up to maxWidth x maxRows.
// Calls check(width, rows, edge, seed) with an edge code 0 .. 3 and a seed
// that differs per call.
template <typename Check>
void ForEachAwkwardSize(int maxWidth, int maxRows, Check check) {
  uint32_t seed = 1;
  for (int width = 1; width <= 140; ++width) {
    for (int rows = 1; rows <= 9; ++rows) {
      check(width, rows, (width + rows) & 3, seed++);
    }
  }
  uint32_t x = 777;
  for (int i = 0; i < 300; ++i) {
    x = x * 1103515245u + 12345u;
    check(1 + static_cast<int>((x >> 8) % static_cast<uint32_t>(maxWidth)),
          1 + static_cast<int>((x >> 20) % static_cast<uint32_t>(maxRows)),
          static_cast<int>(x >> 30), x);
  }
}

// Sets the process SIMD level while alive, then restores the automatic
// choice. ok() says whether the level runs here.
class SimdLevelScope {
 public:
  explicit SimdLevelScope(int level);
  ~SimdLevelScope();
  SimdLevelScope(const SimdLevelScope&) = delete;
  SimdLevelScope& operator=(const SimdLevelScope&) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

// FNV-1a digest, for comparing outputs across builds.
uint64_t Digest(const uint8_t* data, size_t n, uint64_t seed = 1469598103934665603ull);

}  // namespace vdtest

#endif  // VD_TESTS_TEST_UTIL_H_
