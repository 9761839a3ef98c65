// The process-wide API's runtime: its barriers on the global counters, the
// stripe threads of a frame and the optional persistent stripe pool.
#ifndef VD_API_PROCESS_INTERNAL_H_
#define VD_API_PROCESS_INTERNAL_H_

#include "frame/frame_job.h"
#include "parallel/barrier.h"

// The global barrier that ends a phase of the given VdPhase::sync.
VdPhaseBarrier VdGlobalBarrier(int sync);
// Releases every thread waiting at a global barrier, and every later wait,
// until VdResetGlobalBarriers.
void VdAbortGlobalBarriers(void);
void VdResetGlobalBarriers(void);

// Runs the phases of one stripe (item `stripe` of every phase), meeting the
// other two stripes at the global barrier after every phase but the last.
// Returns 0, or -1 when a barrier was aborted.
int VdRunStripePhases(const VdPhase* phases, int count, int stripe);

// Pipeline of the process-wide instance's next frames.
int VdGlobalPipeline(void);

// The persistent stripe pool (TARNO_VideoDenoiseSetStripePool).
int VdStripePoolRunning(void);

#endif  // VD_API_PROCESS_INTERNAL_H_
