#include "base/vd_thread.h"

#include <atomic>
#include <cerrno>

namespace {
std::atomic<int> g_fail_at{-1};
std::atomic<int> g_starts{0};
}  // namespace

int VdThreadStart(pthread_t* thread, void* (*body)(void*), void* arg) {
  const int index = g_starts.fetch_add(1);
  if (index == g_fail_at.load()) return EAGAIN;
  return pthread_create(thread, nullptr, body, arg);
}

int VdThreadFailAt(int n) {
  g_fail_at.store(n);
  return g_starts.exchange(0);
}
