// A scratch directory for one test, removed with everything in it.
#ifndef VD_TOOLS_TESTS_TEMP_DIR_H_
#define VD_TOOLS_TESTS_TEMP_DIR_H_

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace vdtooltest {

class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") +
                          "/vdenoise-test-XXXXXX";
    path_ = pattern;
    if (!mkdtemp(&path_[0])) path_.clear();
  }
  ~TempDir() {
    if (!path_.empty()) RemoveTree(path_);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

  // Names in the directory, without "." and "..".
  std::vector<std::string> List() const {
    std::vector<std::string> names;
    if (DIR* d = opendir(path_.c_str())) {
      while (dirent* e = readdir(d)) {
        std::string n = e->d_name;
        if (n != "." && n != "..") names.push_back(n);
      }
      closedir(d);
    }
    return names;
  }

 private:
  static void RemoveTree(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return;
    if (S_ISDIR(st.st_mode)) {
      if (DIR* d = opendir(path.c_str())) {
        while (dirent* e = readdir(d)) {
          std::string n = e->d_name;
          if (n != "." && n != "..") RemoveTree(path + "/" + n);
        }
        closedir(d);
      }
      rmdir(path.c_str());
    } else {
      unlink(path.c_str());
    }
  }

  std::string path_;
};

inline bool WriteFile(const std::string& path, const std::string& bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

inline std::string ReadFile(const std::string& path) {
  std::string out;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return out;
  char buf[65536];
  size_t k;
  while ((k = std::fread(buf, 1, sizeof(buf), f)) > 0) out.append(buf, k);
  std::fclose(f);
  return out;
}

}  // namespace vdtooltest

#endif  // VD_TOOLS_TESTS_TEMP_DIR_H_
