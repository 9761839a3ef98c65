// Thread start with a test seam, like the allocation seam of vd_alloc.h.
#ifndef VD_BASE_VD_THREAD_H_
#define VD_BASE_VD_THREAD_H_

#include <pthread.h>

// pthread_create with default attributes; 0 on success.
int VdThreadStart(pthread_t* thread, void* (*body)(void*), void* arg);

// Test hook: the thread start with index n (0 = the next one) and only that
// one fails; -1 disarms. Returns the number of starts since the last call.
int VdThreadFailAt(int n);

#endif  // VD_BASE_VD_THREAD_H_
