#include "parallel/barrier.h"

int VdBarrierWait(const VdPhaseBarrier* barrier) {
  pthread_mutex_lock(barrier->mutex);
  if (barrier->aborted && *barrier->aborted) {
    pthread_mutex_unlock(barrier->mutex);
    return 0;
  }
  const unsigned generation = *barrier->generation;
  ++*barrier->counter;
  if (*barrier->counter >= barrier->parties) {
    *barrier->counter = 0;
    ++*barrier->generation;
    pthread_mutex_unlock(barrier->mutex);
    pthread_cond_broadcast(barrier->cond);
    return 1;
  }
  while (*barrier->generation == generation &&
         !(barrier->aborted && *barrier->aborted)) {
    pthread_cond_wait(barrier->cond, barrier->mutex);
  }
  const int passed = *barrier->generation != generation;
  pthread_mutex_unlock(barrier->mutex);
  return passed;
}

void VdBarrierAbort(const VdPhaseBarrier* barrier) {
  pthread_mutex_lock(barrier->mutex);
  if (barrier->aborted) *barrier->aborted = 1;
  // Those who arrived leave; the counter is at rest again.
  *barrier->counter = 0;
  pthread_mutex_unlock(barrier->mutex);
  pthread_cond_broadcast(barrier->cond);
}
