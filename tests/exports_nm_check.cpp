// Lists the shared library's dynamic symbol table with nm and compares it
// with the exported names: every one of them is defined there, and nothing
// else is (no C++ symbol, no internal helper, no runtime routine).
#include <cstdio>
#include <set>
#include <string>

#include "tests/exported_names.h"

#ifndef VD_SHARED_LIBRARY
#error "VD_SHARED_LIBRARY must name the shared library to check"
#endif
#ifndef VD_NM
#error "VD_NM must name the nm of the toolchain that built the library"
#endif

int main() {
  const std::string command =
      std::string("'") + VD_NM + "' -D --defined-only '" + VD_SHARED_LIBRARY +
      "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) {
    std::printf("cannot run %s\n", command.c_str());
    return 1;
  }
  // Each line is "address type name"; the name is the last field.
  std::set<std::string> listed;
  char line[1024];
  while (std::fgets(line, sizeof(line), pipe)) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
      text.pop_back();
    }
    const size_t blank = text.rfind(' ');
    if (blank == std::string::npos) continue;
    listed.insert(text.substr(blank + 1));
  }
  if (pclose(pipe) != 0) {
    std::printf("%s failed\n", command.c_str());
    return 1;
  }
  std::set<std::string> expected(std::begin(vdtest::kExported),
                                 std::end(vdtest::kExported));
  int missing = 0, extra = 0;
  for (const std::string& name : expected) {
    if (!listed.count(name)) {
      std::printf("not exported: %s\n", name.c_str());
      ++missing;
    }
  }
  // AddressSanitizer adds a one-definition marker "__odr_asan.<name>" for
  // each exported global; it is the sanitizer's, not the library's, and
  // only a marker of an exported name is let through.
  const std::string kOdrMarker = "__odr_asan.";
  for (const std::string& name : listed) {
    if (name.compare(0, kOdrMarker.size(), kOdrMarker) == 0 &&
        expected.count(name.substr(kOdrMarker.size()))) {
      continue;
    }
    if (!expected.count(name)) {
      std::printf("exported but not public: %s\n", name.c_str());
      ++extra;
    }
  }
  std::printf("nm: %zu defined symbols, %zu expected, %d missing, %d extra\n",
              listed.size(), expected.size(), missing, extra);
  return missing || extra ? 1 : 0;
}
