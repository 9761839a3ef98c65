// Generic worker threads: a process-wide table of eight slots, each a
// persistent thread driven by two counting semaphores. semStart is posted
// once per run; semDone is posted after each run and doubles as the slot's
// idle token (idle: semDone at 1, semStart at 0).
#include "parallel/worker_pool.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <stddef.h>

namespace {

enum { kMaxWorkers = 8 };

struct WorkerSlot {
  pthread_t thread;
  int32_t iQuit;
  sem_t semStart;
  sem_t semDone;
  int32_t iIndex;
  MultiThread_Job pfnJob;
  void* pJobArg;
};

WorkerSlot g_workers[kMaxWorkers];
int32_t g_workerCount = 0;

// A wait that a signal handler interrupts is resumed.
int WaitUninterrupted(sem_t* sem) {
  int result;
  do {
    result = sem_wait(sem);
  } while (result != 0 && errno == EINTR);
  return result;
}

// Runs the slot's job once per post of semStart and posts semDone after
// each run. A post that finds no job installed is consumed without a run
// and without a post of semDone. A post with iQuit set ends the thread.
void* WorkerMain(void* arg) {
  WorkerSlot* slot = &g_workers[*(int32_t*)arg];
  for (;;) {
    WaitUninterrupted(&slot->semStart);
    if (__atomic_load_n(&slot->iQuit, __ATOMIC_RELAXED)) pthread_exit(NULL);
    if (slot->pfnJob == NULL) continue;
    slot->pfnJob(slot->pJobArg);
    sem_post(&slot->semDone);
  }
  return NULL;
}

}  // namespace

extern "C" int MultiThread_Init(int n) {
  g_workerCount = 0;
  // Compared unsigned, so a negative count fails too.
  if ((unsigned int)n > kMaxWorkers) return -1;
  pthread_attr_t attr;
  if (pthread_attr_init(&attr) != 0) return -1;
  if (n == 0) return pthread_attr_destroy(&attr) == 0 ? 0 : -1;
  for (int i = 0; i < n; ++i) {
    WorkerSlot* slot = &g_workers[i];
    sem_init(&slot->semStart, 0, 1);
    sem_init(&slot->semDone, 0, 1);
    // semStart starts at 0, semDone at 1: the slot is idle.
    WaitUninterrupted(&slot->semStart);
    slot->iIndex = i;
    slot->iQuit = 0;
    slot->pfnJob = NULL;
    slot->pJobArg = NULL;
    // A failed start returns at once: the workers already started keep
    // running and the count stays 0.
    if (pthread_create(&slot->thread, &attr, WorkerMain, &slot->iIndex) != 0) {
      return -1;
    }
  }
  g_workerCount = n;
  return pthread_attr_destroy(&attr) == 0 ? 0 : -1;
}

extern "C" void MultiThread_set(int i, MultiThread_Job job, void* arg) {
  g_workers[i].pfnJob = job;
  g_workers[i].pJobArg = arg;
}

extern "C" int MultiThread_trySet(int i, MultiThread_Job job, void* arg) {
  if (sem_trywait(&g_workers[i].semDone) != 0) return -1;
  // The idle token stays taken until the caller waits for a run.
  g_workers[i].pfnJob = job;
  g_workers[i].pJobArg = arg;
  return 0;
}

extern "C" void MultiThread_post(int i) { sem_post(&g_workers[i].semStart); }

extern "C" int MultiThread_wait(int i) {
  return sem_wait(&g_workers[i].semDone);
}

extern "C" void MultiThread_post_lock(int i) {
  sem_post(&g_workers[i].semStart);
  WaitUninterrupted(&g_workers[i].semDone);
  sem_post(&g_workers[i].semDone);
}

extern "C" void MultiThread_clean(int i) {
  WaitUninterrupted(&g_workers[i].semDone);
  g_workers[i].pfnJob = NULL;
  g_workers[i].pJobArg = NULL;
  sem_post(&g_workers[i].semDone);
}

extern "C" void MultiThread_destory(void) {
  for (int i = 0; i < g_workerCount; ++i) {
    WorkerSlot* slot = &g_workers[i];
    WaitUninterrupted(&slot->semDone);  // the current run finishes
    // The worker may be reading the flag after a post that found no job.
    __atomic_store_n(&slot->iQuit, 1, __ATOMIC_RELAXED);
    sem_post(&slot->semStart);
    pthread_join(slot->thread, NULL);
    sem_destroy(&slot->semStart);
    sem_destroy(&slot->semDone);
  }
  // Every started worker is gone and its semaphores destroyed; a second
  // call finds nothing to stop.
  g_workerCount = 0;
}
