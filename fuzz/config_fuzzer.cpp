// Any bytes as the content of a configuration file: the line reader over
// every line of the content, then the file parser on the same bytes.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "api/vd_instance.h"
#include "api/video_denoise.h"

namespace {

void QuietSink(int, const char*, const char*) {}

void ReadEveryLine(const uint8_t* data, size_t size) {
  std::vector<char> copy(data, data + size);
  FILE* file = fmemopen(copy.data(), copy.size(), "r");
  if (!file) return;
  char line[512];
  std::memset(line, 0, sizeof(line));
  // More reads than lines: the end of the content is read again and again.
  for (int i = 0; i < 64; ++i) {
    const char* value = GetCfgContent(file, line);
    if (!value) continue;
    // The value lies inside the line buffer and is terminated there.
    if (value <= line || value >= line + sizeof(line)) std::abort();
    if (std::memchr(value, 0, line + sizeof(line) - value) == nullptr) {
      std::abort();
    }
    (void)std::atoi(value);
  }
  std::fclose(file);
}

void ParseAsFile(const uint8_t* data, size_t size) {
  const int fd = memfd_create("vd_cfg", 0);
  if (fd < 0) std::abort();
  size_t done = 0;
  while (done < size) {
    const ssize_t n = write(fd, data + done, size - done);
    if (n <= 0) std::abort();
    done += static_cast<size_t>(n);
  }
  char path[64];
  std::snprintf(path, sizeof(path), "/proc/self/fd/%d", fd);
  Video_Denoise_Handle handle;
  std::memset(&handle, 0, sizeof(handle));
  InitVideoDenoiseParams(&handle);
  if (ParseCfgFile(&handle, path) != 0) std::abort();
  // Whatever the file says, the ring count stays within the two slots.
  if (handle.iPrevFrameNum < 1 || handle.iPrevFrameNum > 2) std::abort();
  close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64 * 1024) return -1;
  if (size > 0) ReadEveryLine(data, size);
  ParseAsFile(data, size);
  return 0;
}
