// Loads the shared library and looks up every exported function and global
// by its C name; internal helpers must stay hidden.
#include <dlfcn.h>

#include <cstdio>

#include "tests/exported_names.h"

#ifndef VD_SHARED_LIBRARY
#error "VD_SHARED_LIBRARY must name the shared library to check"
#endif

namespace {

const char* const kHidden[] = {"VdLog", "VdMalloc", "VdAllocFailAt",
                               "VdRunStripe", "VdFuzzyDenoise"};

}  // namespace

int main() {
  void* lib = dlopen(VD_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    std::printf("cannot load %s: %s\n", VD_SHARED_LIBRARY, dlerror());
    return 1;
  }
  int missing = 0, leaked = 0, found = 0;
  for (const char* name : vdtest::kExported) {
    if (dlsym(lib, name)) {
      ++found;
    } else {
      std::printf("missing export: %s\n", name);
      ++missing;
    }
  }
  for (const char* name : kHidden) {
    if (dlsym(lib, name)) {
      std::printf("internal symbol exported: %s\n", name);
      ++leaked;
    }
  }
  std::printf("exports: %d found, %d missing, %d internal leaked\n", found,
              missing, leaked);
  dlclose(lib);
  return missing || leaked ? 1 : 0;
}
