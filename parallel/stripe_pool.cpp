// The persistent stripe pool: three threads that stay alive between frames
// instead of three threads started and joined for every frame.
//
// The caller's thread hands a frame over by publishing the three stripe
// contexts and advancing a frame number under the pool's mutex; each pool
// thread runs its stripe (the same VdRunStripe body, meeting the others at the
// same phase barriers as per-frame threads do) and reports back. Everything
// the threads share with the caller passes through that mutex, so a frame's
// records are complete before any thread reads them and every write of a
// frame is visible to the caller when VdStripePoolRun returns.
#include <pthread.h>

#include "api/vd_log.h"
#include "parallel/stripe_internal.h"

namespace {

constexpr int kStripes = 3;

struct StripePool {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t start = PTHREAD_COND_INITIALIZER;  // a frame or stop
  pthread_cond_t done = PTHREAD_COND_INITIALIZER;   // a stripe finished
  pthread_t threads[kStripes];
  int started = 0;            // threads created and not yet joined
  unsigned frame = 0;         // frames handed over so far
  unsigned firstFrame = 0;    // frame number when the threads were started
  int pending = 0;            // stripes of the current frame still running
  bool stop = false;
  VdStripeContext* contexts = nullptr;
  int index[kStripes] = {0, 1, 2};
};

StripePool g_pool;

void* PoolThread(void* arg) {
  const int stripe = *static_cast<const int*>(arg);
  StripePool& pool = g_pool;
  pthread_mutex_lock(&pool.mutex);
  // Frames handed over after the start, even before this thread got here,
  // are this thread's to run.
  unsigned seen = pool.firstFrame;
  for (;;) {
    while (pool.frame == seen && !pool.stop) {
      pthread_cond_wait(&pool.start, &pool.mutex);
    }
    if (pool.stop) break;
    seen = pool.frame;
    VdStripeContext* ctx = &pool.contexts[stripe];
    pthread_mutex_unlock(&pool.mutex);

    VdRunStripe(ctx);

    pthread_mutex_lock(&pool.mutex);
    if (--pool.pending == 0) pthread_cond_signal(&pool.done);
  }
  pthread_mutex_unlock(&pool.mutex);
  return nullptr;
}

}  // namespace

int VdStripePoolStart(void) {
  StripePool& pool = g_pool;
  if (pool.started == kStripes) return 0;
  pthread_mutex_lock(&pool.mutex);
  pool.stop = false;
  pool.firstFrame = pool.frame;
  pthread_mutex_unlock(&pool.mutex);
  for (int i = 0; i < kStripes; ++i) {
    if (pthread_create(&pool.threads[i], nullptr, PoolThread,
                       &pool.index[i]) != 0) {
      VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Create stripe pool thread %d failed!\n",
            i);
      VdStripePoolStop();
      return -1;
    }
    pool.started = i + 1;
  }
  return 0;
}

void VdStripePoolRun(VdStripeContext* contexts) {
  StripePool& pool = g_pool;
  pthread_mutex_lock(&pool.mutex);
  pool.contexts = contexts;
  pool.pending = kStripes;
  ++pool.frame;
  pthread_cond_broadcast(&pool.start);
  while (pool.pending > 0) pthread_cond_wait(&pool.done, &pool.mutex);
  pool.contexts = nullptr;
  pthread_mutex_unlock(&pool.mutex);
}

void VdStripePoolStop(void) {
  StripePool& pool = g_pool;
  if (pool.started == 0) return;
  pthread_mutex_lock(&pool.mutex);
  pool.stop = true;
  pthread_cond_broadcast(&pool.start);
  pthread_mutex_unlock(&pool.mutex);
  for (int i = 0; i < pool.started; ++i) pthread_join(pool.threads[i], nullptr);
  pool.started = 0;
  pool.stop = false;
}

int VdStripePoolRunning(void) { return g_pool.started == kStripes; }
