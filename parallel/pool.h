// A pool of persistent worker threads that runs the items of one job at a
// time: VdPoolRun hands out items 0 .. count - 1 to the workers (and to the
// calling thread when it helps) and returns when every item has finished.
// Starting and joining threads happens only in create and destroy; a run
// allocates nothing.
#ifndef VD_PARALLEL_POOL_H_
#define VD_PARALLEL_POOL_H_

typedef void (*VdPoolFn)(void* arg, int item);

struct VdPool;

// Starts `workers` threads (0 is fine: every run is then the caller's).
// 0 on success; -1 when memory, -2 when a thread could not be had (nothing
// is left running or allocated then).
int VdPoolCreate(int workers, VdPool** out);
// Lets the workers end and joins them; null is fine.
void VdPoolDestroy(VdPool* pool);
int VdPoolWorkers(const VdPool* pool);

// Runs fn(arg, i) for every i in [0, count). With callerHelps the calling
// thread takes items too; without it the caller only waits (each item then
// runs on a worker, so items that wait for one another at a barrier need
// at least as many workers as items). Not reentrant: one run at a time.
void VdPoolRun(VdPool* pool, VdPoolFn fn, void* arg, int count,
               bool callerHelps);

#endif  // VD_PARALLEL_POOL_H_
