#include "parallel/threads.h"

#include <pthread.h>

#include "base/vd_thread.h"

namespace {

struct Start {
  VdPoolFn body;
  void* arg;
  int index;
};

void* Run(void* p) {
  const Start* start = static_cast<const Start*>(p);
  start->body(start->arg, start->index);
  return nullptr;
}

}  // namespace

int VdRunOnNewThreads(int count, VdPoolFn body, void* arg,
                      void (*release)(void* arg)) {
  enum { kMax = 8 };
  if (count > kMax) count = kMax;
  pthread_t threads[kMax];
  Start starts[kMax];
  int failed = -1;
  int started = 0;
  for (int i = 0; i < count; ++i) {
    starts[i] = Start{body, arg, i};
    if (VdThreadStart(&threads[i], Run, &starts[i]) != 0) {
      failed = i;
      break;
    }
    started = i + 1;
  }
  if (failed >= 0 && release) release(arg);
  for (int i = 0; i < started; ++i) pthread_join(threads[i], nullptr);
  return failed;
}
