#include "base/vd_alloc.h"

#include <atomic>
#include <cstdlib>

namespace {
std::atomic<int> g_fail_at{-1};
std::atomic<int> g_count{0};

bool ShouldFail() {
  int index = g_count.fetch_add(1, std::memory_order_relaxed);
  int fail = g_fail_at.load(std::memory_order_relaxed);
  return fail >= 0 && index == fail;
}
}  // namespace

extern "C" void* VdMalloc(size_t size) {
  if (ShouldFail()) return nullptr;
  return std::malloc(size);
}

extern "C" void* VdCalloc(size_t count, size_t size) {
  if (ShouldFail()) return nullptr;
  return std::calloc(count, size);
}

extern "C" void VdFree(void* ptr) { std::free(ptr); }

extern "C" int VdAllocFailAt(int n) {
  int made = g_count.exchange(0, std::memory_order_relaxed);
  g_fail_at.store(n, std::memory_order_relaxed);
  return made;
}
