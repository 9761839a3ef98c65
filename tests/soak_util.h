// Helpers of the soak programs (soak_main.cpp, engine_soak_main.cpp).
#ifndef VD_TESTS_SOAK_UTIL_H_
#define VD_TESTS_SOAK_UTIL_H_

#include <unistd.h>

#include <cstdint>
#include <cstdio>

namespace vdsoak {

// xorshift32: the soak runs' own deterministic choices.
inline uint32_t Next(uint32_t* state) {
  uint32_t x = *state;
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  *state = x;
  return x;
}

// The process's resident set in kB (/proc/self/statm), -1 if unreadable.
inline long ResidentKb() {
  FILE* f = std::fopen("/proc/self/statm", "r");
  if (!f) return -1;
  long size = 0, resident = 0;
  const int got = std::fscanf(f, "%ld %ld", &size, &resident);
  std::fclose(f);
  if (got != 2) return -1;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace vdsoak

#endif  // VD_TESTS_SOAK_UTIL_H_
