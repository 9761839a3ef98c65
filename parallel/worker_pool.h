/* Generic worker threads: up to eight persistent workers, each driven by a
 * pair of counting semaphores. */
#ifndef VD_PARALLEL_WORKER_POOL_H_
#define VD_PARALLEL_WORKER_POOL_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

/* A job takes one pointer-sized argument; its result is ignored. */
typedef void (*MultiThread_Job)(void* arg);

VD_EXPORT int MultiThread_Init(int n);
VD_EXPORT void MultiThread_set(int i, MultiThread_Job job, void* arg);
VD_EXPORT int MultiThread_trySet(int i, MultiThread_Job job, void* arg);
VD_EXPORT void MultiThread_post(int i);
VD_EXPORT int MultiThread_wait(int i);
VD_EXPORT void MultiThread_post_lock(int i);
VD_EXPORT void MultiThread_clean(int i);
VD_EXPORT void MultiThread_destory(void);

VD_EXTERN_C_END

#endif /* VD_PARALLEL_WORKER_POOL_H_ */
