// Shared pieces of the benchmarks: frame geometry, deterministic content and
// buffers that the benchmarks of one process share.
#ifndef VD_BENCH_BENCH_UTIL_H_
#define VD_BENCH_BENCH_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vdbench {

constexpr int kW = 1920;
constexpr int kH = 1080;
constexpr size_t kLuma = static_cast<size_t>(kW) * kH;
constexpr size_t kFrame = kLuma * 3 / 2;
// Slack after every buffer: some kernels move whole blocks past the end of
// the region they are given.
constexpr size_t kSlack = 64 * 1024;
// Frames that the whole-frame and memory-floor benchmarks rotate over, so
// that each frame's input and output come from and go to memory, not a
// cache: eight 1080p source and destination pairs take 50 MB, more than
// the last-level cache of the machines this runs on.
constexpr int kRotation = 8;

// Camera-like bytes: a shaded scene with a bar and noise of about +-12.
inline std::vector<uint8_t> Scene(size_t n, uint32_t seed) {
  std::vector<uint8_t> v(n + kSlack);
  uint32_t x = seed * 2654435761u + 1;
  for (size_t i = 0; i < v.size(); ++i) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    const int base = 60 + static_cast<int>((i % kW) * 3 + (i / kW) * 2) % 90;
    int value = base + static_cast<int>(x >> 27) - 12;
    v[i] = static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value));
  }
  return v;
}

inline std::vector<uint8_t> Zeros(size_t n) {
  return std::vector<uint8_t>(n + kSlack, 0);
}

}  // namespace vdbench

#endif  // VD_BENCH_BENCH_UTIL_H_
