// Helpers of the soak programs (soak_main.cpp, engine_soak_main.cpp).
#ifndef VD_TESTS_SOAK_UTIL_H_
#define VD_TESTS_SOAK_UTIL_H_

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

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

// A command-line option: "--name N" into *number, or the flag "--name" into
// *flag when number is null.
struct Option {
  const char* name;
  long* number;
  bool* flag;
};

// Reads argv into the options. An unknown option, a missing value, or
// valid() false afterwards prints the usage line (every option, in order)
// and returns false.
template <typename Valid>
bool ParseOptions(int argc, char** argv, std::initializer_list<Option> options,
                  Valid valid) {
  bool ok = true;
  for (int i = 1; i < argc && ok; ++i) {
    ok = false;
    for (const Option& o : options) {
      if (std::strcmp(argv[i], o.name) != 0) continue;
      if (!o.number) {
        *o.flag = ok = true;
      } else if (i + 1 < argc) {
        *o.number = std::atol(argv[++i]);
        ok = true;
      }
      break;
    }
  }
  if (ok && valid()) return true;
  std::fprintf(stderr, "usage: %s", argv[0]);
  for (const Option& o : options) {
    std::fprintf(stderr, o.number ? " [%s N]" : " [%s]", o.name);
  }
  std::fprintf(stderr, "\n");
  return false;
}

}  // namespace vdsoak

#endif  // VD_TESTS_SOAK_UTIL_H_
