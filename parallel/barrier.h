// A reusable phase barrier for a fixed number of parties: a counter under a
// mutex, a condition variable, and a generation number that tells a woken
// waiter whether its phase is over (a spurious wake-up cannot let a thread
// pass early). The last arrival resets the counter, so one counter serves
// phase after phase. A barrier can be aborted: every waiter leaves and every
// later wait returns at once, so threads can be released when a frame has to
// be abandoned.
#ifndef VD_PARALLEL_BARRIER_H_
#define VD_PARALLEL_BARRIER_H_

#include <pthread.h>

struct VdPhaseBarrier {
  pthread_mutex_t* mutex;
  pthread_cond_t* cond;
  int* counter;
  unsigned* generation;
  int* aborted;  // may be null: never aborted
  int parties;
};

// 1 when every party has arrived, 0 when the barrier was aborted.
int VdBarrierWait(const VdPhaseBarrier* barrier);
void VdBarrierAbort(const VdPhaseBarrier* barrier);

#endif  // VD_PARALLEL_BARRIER_H_
