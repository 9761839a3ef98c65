// The library's clocks.
#include <sys/time.h>

#include <cstdint>

#include "api/vd_instance.h"

extern "C" int64_t VD_OS_Milliseconds(void) {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return static_cast<int64_t>(tv.tv_sec) * 1000 + tv.tv_usec / 1000;
}

extern "C" uint32_t VD_OS_Milliseconds32(void) {
  return static_cast<uint32_t>(VD_OS_Milliseconds());
}

extern "C" int64_t VD_OS_Microseconds(void) {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return static_cast<int64_t>(tv.tv_sec) * 1000000 + tv.tv_usec;
}
