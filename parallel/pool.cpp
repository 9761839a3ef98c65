// Persistent workers. A run publishes the job under the mutex and advances
// the generation; each worker that wakes takes items from a shared counter
// until none is left. The caller returns once every item is done and no
// worker is still inside the job, so the next run can reuse the records.
#include "parallel/pool.h"

#include <pthread.h>

#include <atomic>
#include <new>

#include "base/vd_alloc.h"
#include "base/vd_thread.h"

struct VdPool {
  pthread_mutex_t mutex;
  pthread_cond_t wake;
  pthread_cond_t finished;
  pthread_t* threads;
  int workers;
  int started;
  bool stop;
  unsigned generation;
  int inside;  // workers between taking the job and leaving it
  // Mirrors of generation and inside that can be read without the mutex,
  // for the short spin before sleeping.
  std::atomic<unsigned> published;
  std::atomic<int> busyWorkers;
  VdPoolFn fn;
  void* arg;
  int count;
  std::atomic<int> next;
  std::atomic<int> done;
};

namespace {

// A frame's phases follow each other within microseconds: a thread that has
// just finished spins this many rounds for the next one before it sleeps,
// which costs less than a wake-up through the kernel.
constexpr int kSpinRounds = 4000;

inline void Relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
  __asm__ __volatile__("yield");
#endif
}

void TakeItems(VdPool* pool, VdPoolFn fn, void* arg, int count) {
  for (;;) {
    const int item = pool->next.fetch_add(1, std::memory_order_relaxed);
    if (item >= count) return;
    fn(arg, item);
    pool->done.fetch_add(1, std::memory_order_acq_rel);
  }
}

void* Worker(void* p) {
  VdPool* pool = static_cast<VdPool*>(p);
  pthread_mutex_lock(&pool->mutex);
  // Runs published since creation, even before this thread got here, are
  // this thread's to join.
  unsigned seen = 0;
  for (;;) {
    if (pool->generation == seen && !pool->stop) {
      pthread_mutex_unlock(&pool->mutex);
      for (int i = 0; i < kSpinRounds &&
                      pool->published.load(std::memory_order_acquire) == seen;
           ++i) {
        Relax();
      }
      pthread_mutex_lock(&pool->mutex);
    }
    while (pool->generation == seen && !pool->stop) {
      pthread_cond_wait(&pool->wake, &pool->mutex);
    }
    if (pool->stop) break;
    seen = pool->generation;
    ++pool->inside;
    pool->busyWorkers.fetch_add(1, std::memory_order_relaxed);
    VdPoolFn fn = pool->fn;
    void* arg = pool->arg;
    const int count = pool->count;
    pthread_mutex_unlock(&pool->mutex);
    TakeItems(pool, fn, arg, count);
    pthread_mutex_lock(&pool->mutex);
    pool->busyWorkers.fetch_sub(1, std::memory_order_release);
    if (--pool->inside == 0 &&
        pool->done.load(std::memory_order_acquire) >= count) {
      pthread_cond_signal(&pool->finished);
    }
  }
  pthread_mutex_unlock(&pool->mutex);
  return nullptr;
}

void StopAndJoin(VdPool* pool) {
  pthread_mutex_lock(&pool->mutex);
  pool->stop = true;
  pthread_cond_broadcast(&pool->wake);
  pthread_mutex_unlock(&pool->mutex);
  for (int i = 0; i < pool->started; ++i) pthread_join(pool->threads[i], nullptr);
  pool->started = 0;
}

void Release(VdPool* pool) {
  pthread_cond_destroy(&pool->finished);
  pthread_cond_destroy(&pool->wake);
  pthread_mutex_destroy(&pool->mutex);
  if (pool->threads) VdFree(pool->threads);
  pool->~VdPool();
  VdFree(pool);
}

}  // namespace

int VdPoolCreate(int workers, VdPool** out) {
  *out = nullptr;
  if (workers < 0) workers = 0;
  void* memory = VdMalloc(sizeof(VdPool));
  if (!memory) return -1;
  VdPool* pool = new (memory) VdPool();
  pthread_mutex_init(&pool->mutex, nullptr);
  pthread_cond_init(&pool->wake, nullptr);
  pthread_cond_init(&pool->finished, nullptr);
  pool->workers = workers;
  if (workers > 0) {
    pool->threads =
        static_cast<pthread_t*>(VdMalloc(sizeof(pthread_t) * workers));
    if (!pool->threads) {
      Release(pool);
      return -1;
    }
  }
  for (int i = 0; i < workers; ++i) {
    if (VdThreadStart(&pool->threads[i], Worker, pool) != 0) {
      StopAndJoin(pool);
      Release(pool);
      return -2;
    }
    pool->started = i + 1;
  }
  *out = pool;
  return 0;
}

void VdPoolDestroy(VdPool* pool) {
  if (!pool) return;
  StopAndJoin(pool);
  Release(pool);
}

int VdPoolWorkers(const VdPool* pool) { return pool ? pool->workers : 0; }

void VdPoolRun(VdPool* pool, VdPoolFn fn, void* arg, int count,
               bool callerHelps) {
  if (count <= 0) return;
  if (!pool || pool->workers == 0) {
    for (int i = 0; i < count; ++i) fn(arg, i);
    return;
  }
  pthread_mutex_lock(&pool->mutex);
  // A worker that woke late for the last run may still be inside it (finding
  // no item left); the counters are reset only once it has left.
  while (pool->inside > 0) pthread_cond_wait(&pool->finished, &pool->mutex);
  pool->fn = fn;
  pool->arg = arg;
  pool->count = count;
  pool->next.store(0, std::memory_order_relaxed);
  pool->done.store(0, std::memory_order_relaxed);
  ++pool->generation;
  pool->published.store(pool->generation, std::memory_order_release);
  pthread_cond_broadcast(&pool->wake);
  pthread_mutex_unlock(&pool->mutex);
  if (callerHelps) TakeItems(pool, fn, arg, count);
  for (int i = 0; i < kSpinRounds &&
                  (pool->done.load(std::memory_order_acquire) < count ||
                   pool->busyWorkers.load(std::memory_order_acquire) > 0);
       ++i) {
    Relax();
  }
  pthread_mutex_lock(&pool->mutex);
  while (pool->inside > 0 ||
         pool->done.load(std::memory_order_acquire) < count) {
    pthread_cond_wait(&pool->finished, &pool->mutex);
  }
  pthread_mutex_unlock(&pool->mutex);
}
