// Threads started for one job and joined before it returns.
#ifndef VD_PARALLEL_THREADS_H_
#define VD_PARALLEL_THREADS_H_

#include "parallel/pool.h"

// Runs body(arg, i) for each i in [0, count) on a thread of its own (count at
// most 8) and joins them in order. When thread k cannot start, release(arg)
// is called so that the threads already running can leave (for instance by
// aborting the barrier they meet at), they are joined, and k is returned;
// -1 when every thread ran.
int VdRunOnNewThreads(int count, VdPoolFn body, void* arg,
                      void (*release)(void* arg));

#endif  // VD_PARALLEL_THREADS_H_
