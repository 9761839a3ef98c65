#include "tools/text_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vdtool {

bool CheckReadableFile(const std::string& path, std::string* error) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    *error = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    *error = "cannot read " + path + ": it is a directory";
    return false;
  }
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    *error = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  std::fclose(f);
  return true;
}

bool ReadTextFile(const std::string& path, size_t max_bytes, std::string* text,
                  std::string* error) {
  if (!CheckReadableFile(path, error)) return false;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    *error = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  text->clear();
  char buffer[4096];
  size_t k;
  while ((k = std::fread(buffer, 1, sizeof(buffer), f)) > 0) {
    text->append(buffer, k);
    if (text->size() > max_bytes) {
      std::fclose(f);
      *error = path + " is too large (more than " + std::to_string(max_bytes) +
               " bytes)";
      return false;
    }
  }
  bool failed = std::ferror(f) != 0;
  int saved = errno;
  std::fclose(f);
  if (failed) {
    *error = "cannot read " + path + ": " + std::strerror(saved);
    return false;
  }
  return true;
}

}  // namespace vdtool
