// Generic worker threads. Synchronisation in these tests goes only through
// the pool's own semaphores and through joins, never through timeouts.
#include "parallel/worker_pool.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <mutex>
#include <set>

namespace {

// Every thread the library starts goes through this wrapper, so the tests
// count starts exactly instead of sampling the process's thread list.
std::atomic<int> g_started{0};

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attr,
                              void* (*start)(void*), void* arg) noexcept {
  using Create =
      int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const Create real =
      reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  g_started.fetch_add(1);
  return real(thread, attr, start, arg);
}

namespace {

void CountJob(void* arg) { static_cast<std::atomic<int>*>(arg)->fetch_add(1); }

// Records the thread a job ran on and arranges for the thread's exit to be
// counted.
struct ThreadLog {
  std::mutex mutex;
  std::set<pthread_t> threads;
  int runs = 0;
};
std::atomic<int> g_exited{0};
pthread_key_t g_exitKey;

void OnThreadExit(void*) { g_exited.fetch_add(1); }

void LogThreadJob(void* arg) {
  ThreadLog* log = static_cast<ThreadLog*>(arg);
  pthread_setspecific(g_exitKey, log);
  std::lock_guard<std::mutex> lock(log->mutex);
  log->threads.insert(pthread_self());
  ++log->runs;
}

class WorkerPoolTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { pthread_key_create(&g_exitKey, OnThreadExit); }
  void SetUp() override { g_started = 0; }
};

TEST_F(WorkerPoolTest, CountAboveEightOrNegativeFailsAndStartsNothing) {
  EXPECT_EQ(-1, MultiThread_Init(9));
  EXPECT_EQ(0, g_started.load());
  EXPECT_EQ(-1, MultiThread_Init(-1));
  EXPECT_EQ(0, g_started.load());
  EXPECT_EQ(-1, MultiThread_Init(1 << 30));
  EXPECT_EQ(0, g_started.load());
  MultiThread_destory();  // nothing was started: returns at once
}

TEST_F(WorkerPoolTest, ZeroWorkersSucceeds) {
  EXPECT_EQ(0, MultiThread_Init(0));
  EXPECT_EQ(0, g_started.load());
  MultiThread_destory();
}

TEST_F(WorkerPoolTest, PostingTwiceBeforeWaitingRunsTheJobTwice) {
  ASSERT_EQ(0, MultiThread_Init(1));
  std::atomic<int> runs{0};
  ASSERT_EQ(0, MultiThread_trySet(0, CountJob, &runs));
  MultiThread_post(0);
  MultiThread_post(0);
  EXPECT_EQ(0, MultiThread_wait(0));
  EXPECT_EQ(0, MultiThread_wait(0));
  EXPECT_EQ(2, runs.load());
  // The job stays installed: one more run returns the idle token.
  MultiThread_post(0);
  MultiThread_destory();  // waits for that run
  EXPECT_EQ(3, runs.load());
}

TEST_F(WorkerPoolTest, TrySetOnTakenTokenFailsAndKeepsTheJob) {
  ASSERT_EQ(0, MultiThread_Init(2));
  std::atomic<int> first{0}, second{0};
  ASSERT_EQ(0, MultiThread_trySet(1, CountJob, &first));
  EXPECT_EQ(-1, MultiThread_trySet(1, CountJob, &second));
  // The other slot has its own token.
  std::atomic<int> other{0};
  EXPECT_EQ(0, MultiThread_trySet(0, CountJob, &other));
  MultiThread_post(1);
  MultiThread_wait(1);
  MultiThread_post(0);
  MultiThread_wait(0);
  EXPECT_EQ(1, first.load());
  EXPECT_EQ(0, second.load());
  EXPECT_EQ(1, other.load());
  // Hand both tokens back with one more run each.
  MultiThread_post(0);
  MultiThread_post(1);
  MultiThread_destory();
  EXPECT_EQ(2, first.load());
  EXPECT_EQ(2, other.load());
}

TEST_F(WorkerPoolTest, PostLockAfterTrySetRunsOnceAndLeavesSlotIdle) {
  // post_lock waits on the token, so it waits for the run when trySet has
  // taken the token first; it hands the token back afterwards.
  ASSERT_EQ(0, MultiThread_Init(1));
  ThreadLog log;
  ASSERT_EQ(0, MultiThread_trySet(0, LogThreadJob, &log));
  MultiThread_post_lock(0);
  {
    std::lock_guard<std::mutex> lock(log.mutex);
    EXPECT_EQ(1, log.runs);  // finished before post_lock returned
    ASSERT_EQ(1u, log.threads.size());
    EXPECT_FALSE(pthread_equal(*log.threads.begin(), pthread_self()));
  }
  // Idle again: the token can be taken, and the next run uses the same
  // thread.
  ASSERT_EQ(0, MultiThread_trySet(0, LogThreadJob, &log));
  MultiThread_post_lock(0);
  EXPECT_EQ(2, log.runs);
  EXPECT_EQ(1u, log.threads.size());
  MultiThread_destory();
  EXPECT_EQ(2, log.runs);
}

TEST_F(WorkerPoolTest, CleanEmptiesTheJob) {
  ASSERT_EQ(0, MultiThread_Init(1));
  std::atomic<int> runs{0};
  ASSERT_EQ(0, MultiThread_trySet(0, CountJob, &runs));
  MultiThread_post_lock(0);
  EXPECT_EQ(1, runs.load());
  MultiThread_clean(0);
  // Posts without a job are consumed without a run (and without a post of
  // the token, which clean has handed back already).
  MultiThread_post(0);
  MultiThread_post(0);
  MultiThread_destory();  // joins, so every post has been handled
  EXPECT_EQ(1, runs.load());
  // A fresh pool starts with empty slots too.
  ASSERT_EQ(0, MultiThread_Init(1));
  MultiThread_post(0);
  MultiThread_destory();
  EXPECT_EQ(1, runs.load());
}

TEST_F(WorkerPoolTest, DestroyJoinsEveryWorker) {
  g_exited = 0;
  ASSERT_EQ(0, MultiThread_Init(3));
  EXPECT_EQ(3, g_started.load());
  ThreadLog log;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, MultiThread_trySet(i, LogThreadJob, &log));
    MultiThread_post_lock(i);
  }
  EXPECT_EQ(3, log.runs);
  EXPECT_EQ(3u, log.threads.size());  // one thread per slot
  EXPECT_EQ(0, g_exited.load());
  MultiThread_destory();
  // Each worker's exit has run its thread-specific destructor before the
  // join returned.
  EXPECT_EQ(3, g_exited.load());
}

TEST_F(WorkerPoolTest, DestroyTwiceIsHarmless) {
  ASSERT_EQ(0, MultiThread_Init(2));
  std::atomic<int> runs{0};
  ASSERT_EQ(0, MultiThread_trySet(1, CountJob, &runs));
  MultiThread_post_lock(1);
  MultiThread_destory();
  MultiThread_destory();  // nothing left to stop
  EXPECT_EQ(1, runs.load());
  // And the pool can be started again.
  ASSERT_EQ(0, MultiThread_Init(1));
  ASSERT_EQ(0, MultiThread_trySet(0, CountJob, &runs));
  MultiThread_post_lock(0);
  EXPECT_EQ(2, runs.load());
  MultiThread_destory();
}

}  // namespace
