// The process-wide stripe records, barrier counters and the exported stripe
// functions, which run a stripe of the process-wide instance's frame and meet
// the other two stripes at the global barriers.
#include <cstring>

#include "api/process_internal.h"
#include "api/timing_internal.h"
#include "frame/frame_job.h"
#include "morphology/mask_morphology_internal.h"
#include "parallel/stripe.h"
#include "spatial/box_filter.h"
#include "spatial/chroma_filter_internal.h"
#include "spatial/fuzzy_pipeline.h"
#include "temporal/motion_mask.h"
#include "temporal/temporal_pipeline.h"

VD_Multiple_Thread_Handle g_hVDMulThread[3];
int g_canFilter = 0;
int g_canDeleteDP = 0;
int g_canDilate = 0;
int g_canErose = 0;
pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t g_lock_2 = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_canMoveOn = PTHREAD_COND_INITIALIZER;

namespace {

// One generation number per counter; a counter the library does not know
// (a client's own) shares the last one.
unsigned g_generations[5];
int g_aborted = 0;

unsigned* GenerationOf(const int* counter) {
  if (counter == &g_canFilter) return &g_generations[0];
  if (counter == &g_canDeleteDP) return &g_generations[1];
  if (counter == &g_canDilate) return &g_generations[2];
  if (counter == &g_canErose) return &g_generations[3];
  return &g_generations[4];
}

VdPhaseBarrier BarrierOn(int* counter) {
  return VdPhaseBarrier{&g_lock,     &g_canMoveOn, counter,
                        GenerationOf(counter), &g_aborted, 3};
}

int* CounterOf(int sync) {
  switch (sync) {
    case VD_SYNC_DELETE_DP: return &g_canDeleteDP;
    case VD_SYNC_DILATE: return &g_canDilate;
    case VD_SYNC_EROSE: return &g_canErose;
    default: return &g_canFilter;
  }
}

// A job over the process-wide instance for the frame a stripe record
// describes.
bool JobForStripe(VD_Multiple_Thread_Handle* stripe, VdDenoiseState* st,
                  VdFrameJob* job) {
  Video_Denoise_Handle* h = stripe->hVideoDenoise;
  if (!h) return false;
  static const VdChromaBuffers kChroma = {p_uvSpaBuff_1, p_uvSpaBuff_2,
                                          p_uvSpaBuff_3};
  *st = VdDenoiseState{h, kChroma, &g_VideoDenoise_ProcTime, &kVdProcessLogger,
                       true};
  const VdFrameView src = VdNv21View(stripe->pSrcImage->pY, h->iWidth,
                                     h->iHeight);
  const VdFrameView dst = VdNv21View(stripe->pDstImage->pY, h->iWidth,
                                     h->iHeight);
  VdPrepareJob(job, st, src, dst, 3, VdGlobalPipeline());
  return true;
}

int RunStripePart(VD_Multiple_Thread_Handle* stripe, int pipeline, int part,
                  bool convertsInput) {
  VdDenoiseState st;
  VdFrameJob job;
  if (!JobForStripe(stripe, &st, &job)) return -1;
  job.pipeline = pipeline;
  job.part = part;
  job.convertsInput = convertsInput;
  VdPhase phases[VD_MAX_PHASES];
  const int count = VdPlanFrame(&job, phases);
  return VdRunStripePhases(phases, count, stripe->iIndex);
}

}  // namespace

VdPhaseBarrier VdGlobalBarrier(int sync) { return BarrierOn(CounterOf(sync)); }

void VdAbortGlobalBarriers(void) {
  VdPhaseBarrier b = BarrierOn(&g_canFilter);
  VdBarrierAbort(&b);
  g_canDeleteDP = 0;
  g_canDilate = 0;
  g_canErose = 0;
}

void VdResetGlobalBarriers(void) {
  pthread_mutex_lock(&g_lock);
  g_aborted = 0;
  pthread_mutex_unlock(&g_lock);
}

int VdRunStripePhases(const VdPhase* phases, int count, int stripe) {
  for (int p = 0; p < count; ++p) {
    if (stripe < phases[p].items) phases[p].run(phases[p].arg, stripe);
    if (p + 1 == count) break;
    VdPhaseBarrier b = VdGlobalBarrier(phases[p].sync);
    if (!VdBarrierWait(&b)) return -1;
  }
  return 0;
}

extern "C" void barrier(int* counter) {
  VdPhaseBarrier b = BarrierOn(counter);
  VdBarrierWait(&b);
}

extern "C" void SetVDMulThreadParam(sYuvImage_t* src, sYuvImage_t* dst,
                                    int width, int height, int offset,
                                    int index, int edgeType) {
  VD_Multiple_Thread_Handle* record = &g_hVDMulThread[index];
  record->iIndex = index;
  record->iEdgeType = edgeType;
  record->iOffset = offset;
  record->iWidth = width;
  record->iHeight = height;
  record->pSrcImage = src;
  record->pDstImage = dst;
}

// The kernel point and the edge argument are not read; each stripe works in
// its own entry of the global chroma work buffers.
extern "C" int filterUV(unsigned char* src, unsigned char* dst, int width,
                        int rows, sVNRPoint* /*kernel*/, int /*edge*/, int up,
                        int down, int level, int stripe) {
  return VdFilterUV(src, dst, width, rows, up, down, level,
                    p_uvSpaBuff_1[stripe], p_uvSpaBuff_2[stripe],
                    p_uvSpaBuff_3[stripe]);
}

// The stripe thread body: the stripe's chroma converted, then the selected
// pipeline (either configuration switch skips it).
extern "C" void* VideoDenoiseMulThread(void* arg) {
  VD_Multiple_Thread_Handle* stripe = static_cast<VD_Multiple_Thread_Handle*>(arg);
  RunStripePart(stripe, VdGlobalPipeline(), VD_PART_ALL, true);
  return nullptr;
}

extern "C" int FuzzyDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  RunStripePart(stripe, VD_PIPELINE_FUZZY, VD_PART_ALL, false);
  return 0;
}

extern "C" int SpatialDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  RunStripePart(stripe, VD_PIPELINE_FUZZY, VD_PART_SPATIAL, false);
  return 0;
}

extern "C" int TemporalDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  return RunStripePart(stripe, VD_PIPELINE_TEMPORAL, VD_PART_AFTER_SPATIAL,
                       false) == 0
             ? 0
             : -1;
}

// The mask stages of the temporal pipeline on explicit frames, meeting the
// other stripes at the global barriers.
extern "C" int FrameDifference(sYuvImage_t* previous, sYuvImage_t* current,
                               sYuvImage_t* mask, sYuvImage_t* work, int width,
                               int height, int threshold, int withChroma, int,
                               int morphology, int offset, int edgeType) {
  Calc_Process_Time* times = &g_VideoDenoise_ProcTime;
  VdStamp(times, VD_T_DIFF_START);
  CalSAD_threshholdProc(current, previous, work, width, height, withChroma,
                        static_cast<unsigned char>(threshold), offset);
  VdStamp(times, VD_T_DIFF_SAD);
  // Every stripe's difference must exist before neighbours' rows are read.
  barrier(&g_canDeleteDP);
  VdDeleteDiscretePointsStripe(work, mask, width, height, withChroma, offset,
                               edgeType);
  VdStamp(times, VD_T_DIFF_DELETE);
  if (morphology == 0) return 0;
  barrier(&g_canDilate);
  VdDilateStripeOwnRows(mask, work, width, height, withChroma, offset,
                        edgeType);
  VdStamp(times, VD_T_DIFF_DILATE);
  barrier(&g_canErose);
  VdEroseStripe(work, mask, width, height, withChroma, offset, edgeType);
  VdStamp(times, VD_T_DIFF_EROSE);
  return 0;
}
