// Stripe records, the edge-row rule, the phase barrier and the stripe
// thread body.
#include "parallel/stripe.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "api/vd_log.h"
#include "image/convert.h"
#include "parallel/stripe_internal.h"
#include "spatial/fuzzy_pipeline_internal.h"
#include "temporal/temporal_pipeline_internal.h"

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
std::atomic<int> g_pipeline{VD_PIPELINE_FUZZY};
// -1 until set or first read.
std::atomic<int> g_frame_path{-1};

unsigned* GenerationOf(const int* counter) {
  if (counter == &g_canFilter) return &g_generations[0];
  if (counter == &g_canDeleteDP) return &g_generations[1];
  if (counter == &g_canDilate) return &g_generations[2];
  if (counter == &g_canErose) return &g_generations[3];
  return &g_generations[4];
}

VdPhaseBarrier GlobalBarrier(int* counter) {
  return VdPhaseBarrier{&g_lock, &g_canMoveOn, counter, GenerationOf(counter)};
}

}  // namespace

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

extern "C" void GetEdgeUpAndDown(int edgeType, int& up, int& down,
                                 int margin) {
  switch (edgeType) {
    case VD_EDGE_INTERIOR: up = margin; down = margin; break;
    case VD_EDGE_BOTTOM: up = margin; down = 0; break;
    case VD_EDGE_TOP: up = 0; down = margin; break;
    default: up = 0; down = 0; break;
  }
}

// The third arrival resets the counter (so the same counter serves the next
// phase) and wakes the others after unlocking.
void VdBarrierWait(const VdPhaseBarrier* barrier) {
  pthread_mutex_lock(barrier->mutex);
  const unsigned generation = *barrier->generation;
  ++*barrier->counter;
  if (*barrier->counter > 2) {
    *barrier->counter = 0;
    ++*barrier->generation;
    pthread_mutex_unlock(barrier->mutex);
    pthread_cond_broadcast(barrier->cond);
    return;
  }
  while (*barrier->generation == generation) {
    pthread_cond_wait(barrier->cond, barrier->mutex);
  }
  pthread_mutex_unlock(barrier->mutex);
}

extern "C" void barrier(int* counter) {
  VdPhaseBarrier b = GlobalBarrier(counter);
  VdBarrierWait(&b);
}

void VdComputeFrameLayout(int height, VdFrameLayout* layout) {
  const int s = (height / 3) & ~1;
  for (int i = 0; i < 3; ++i) layout->firstRow[i] = i * s;
  layout->rows[0] = s;
  layout->rows[1] = s;
  layout->rows[2] = height - 2 * s;
  const int filtered = (height / 2) & ~7;
  layout->chromaFiltered = filtered;
  layout->chromaSplit = (filtered / 2 + 7) & ~7;
}

int VdGlobalPipeline(void) { return g_pipeline.load(); }
void VdSetGlobalPipeline(int pipeline) { g_pipeline.store(pipeline); }

int VdGlobalFramePath(void) {
  int path = g_frame_path.load();
  if (path >= 0) return path;
  const char* env = std::getenv("VD_FRAME_PATH");
  const int initial = env && std::strcmp(env, "stepwise") == 0
                          ? VD_FRAME_PATH_STEPWISE
                          : VD_FRAME_PATH_FUSED;
  // A setter that ran meanwhile wins.
  g_frame_path.compare_exchange_strong(path, initial);
  return g_frame_path.load();
}

void VdSetGlobalFramePath(int path) { g_frame_path.store(path); }

void VdBindGlobalStripeContext(VD_Multiple_Thread_Handle* stripe,
                               VdStripeContext* ctx) {
  ctx->stripe = stripe;
  ctx->chroma = VdChromaBuffers{p_uvSpaBuff_1, p_uvSpaBuff_2, p_uvSpaBuff_3};
  ctx->times = &g_VideoDenoise_ProcTime;
  ctx->canFilter = GlobalBarrier(&g_canFilter);
  ctx->canDeleteDP = GlobalBarrier(&g_canDeleteDP);
  ctx->canDilate = GlobalBarrier(&g_canDilate);
  ctx->canErose = GlobalBarrier(&g_canErose);
  ctx->pipeline = VdGlobalPipeline();
  ctx->framePath = VdGlobalFramePath();
}

void VdRunStripe(VdStripeContext* ctx) {
  VD_Multiple_Thread_Handle* stripe = ctx->stripe;
  Video_Denoise_Handle* handle = stripe->hVideoDenoise;
  ConvertNV21ToI420_UV(stripe->pSrcImage, handle->pCurFrame, stripe->iWidth,
                       stripe->iHeight, stripe->iOffset);
  // Either switch makes every stripe skip denoising: the output is not
  // written.
  if (handle->iCfgSwitch1 || handle->iCfgSwitch2) return;
  int result;
  if (ctx->pipeline == VD_PIPELINE_TEMPORAL) {
    result = VdSpatialDenoise(ctx);
    if (result == 0) result = VdTemporalDenoise(ctx);
  } else {
    result = VdFuzzyDenoise(ctx);
  }
  if (result != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "SpatialDenoising(eType:%d, width:%d,height:%d)\n", handle->eType,
          handle->iWidth, handle->iHeight);
  }
}

extern "C" void* VideoDenoiseMulThread(void* arg) {
  VdStripeContext ctx;
  VdBindGlobalStripeContext(static_cast<VD_Multiple_Thread_Handle*>(arg),
                            &ctx);
  VdRunStripe(&ctx);
  return nullptr;
}
