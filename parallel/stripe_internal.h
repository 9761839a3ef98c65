// What a stripe worker works on, and the phase barrier it meets others at.
#ifndef VD_PARALLEL_STRIPE_INTERNAL_H_
#define VD_PARALLEL_STRIPE_INTERNAL_H_

#include <pthread.h>

#include "api/frame_buffers_internal.h"
#include "api/vd_instance.h"
#include "parallel/stripe.h"

// A three-party barrier: a counter under a mutex, a condition variable, and
// a generation number that tells a woken waiter whether its phase is over
// (so a spurious wake-up cannot let a thread pass early).
struct VdPhaseBarrier {
  pthread_mutex_t* mutex;
  pthread_cond_t* cond;
  int* counter;
  unsigned* generation;
};

void VdBarrierWait(const VdPhaseBarrier* barrier);

// How a frame of a given height is cut. Luma: three stripes of even row
// counts, s = (height / 3) rounded down to even, rows [0, s), [s, 2s) and
// [2s, height). Chroma work of the full path (chroma height hc = height / 2):
// the first multiple of 8 rows F = hc rounded down to a multiple of 8 is
// filtered, split by plane: U rows [0, A) by stripe 0 and [A, F) by stripe 1
// with A = (F / 2) rounded up to a multiple of 8, V rows [0, F) by stripe 2;
// chroma rows F .. hc - 1 are copied. At 1080 rows this is 360/360/360 and
// A = 272, F = 536.
struct VdFrameLayout {
  int firstRow[3];
  int rows[3];
  int chromaSplit;     // A
  int chromaFiltered;  // F
};

void VdComputeFrameLayout(int height, VdFrameLayout* layout);

enum { VD_PIPELINE_FUZZY = 0, VD_PIPELINE_TEMPORAL = 1 };

// How the fuzzy pipeline walks a stripe: fused (row blocks that stay in
// cache, the default) or step by step (one pass per stage over the whole
// stripe, the readable definition). Both leave the same bytes everywhere.
enum { VD_FRAME_PATH_FUSED = 0, VD_FRAME_PATH_STEPWISE = 1 };

struct VdStripeContext {
  VD_Multiple_Thread_Handle* stripe;
  VdChromaBuffers chroma;
  Calc_Process_Time* times;
  VdPhaseBarrier canFilter;
  VdPhaseBarrier canDeleteDP;
  VdPhaseBarrier canDilate;
  VdPhaseBarrier canErose;
  int pipeline;
  int framePath;
};

// Binds a stripe record to the process-wide instance's buffers, barriers and
// timing record.
void VdBindGlobalStripeContext(VD_Multiple_Thread_Handle* stripe,
                               VdStripeContext* ctx);

// The stripe thread body: chroma conversion, then the selected pipeline.
void VdRunStripe(VdStripeContext* ctx);

// Pipeline selected for the process-wide instance.
int VdGlobalPipeline(void);
void VdSetGlobalPipeline(int pipeline);

// Frame path of the fuzzy pipeline. Until it is set, it is step by step when
// the environment variable VD_FRAME_PATH is "stepwise", else fused.
int VdGlobalFramePath(void);
void VdSetGlobalFramePath(int path);

// The persistent stripe pool: three threads that live from the first frame
// after VdStripePoolStart until VdStripePoolStop, each running one stripe of
// every frame handed to VdStripePoolRun. The stripes meet at the same phase
// barriers as threads started per frame.
// Starts the threads (no-op when running); 0 on success, -1 when a thread
// could not be created (none is left running then).
int VdStripePoolStart(void);
// Runs VdRunStripe on contexts[0..2], one per pool thread, and returns when
// all three have finished. The pool must be running.
void VdStripePoolRun(VdStripeContext* contexts);
// Wakes the threads, lets them end and joins them (no-op when not running).
void VdStripePoolStop(void);
int VdStripePoolRunning(void);

#endif  // VD_PARALLEL_STRIPE_INTERNAL_H_
