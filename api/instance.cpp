// The three entry points and the one process-wide denoiser instance.
#include <pthread.h>

#include <atomic>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "api/frame_buffers_internal.h"
#include "api/timing_internal.h"
#include "base/vd_alloc.h"
#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "api/denoiser_internal.h"
#include "api/process_internal.h"
#include "frame/frame_job.h"
#include "parallel/pool.h"
#include "parallel/stripe.h"
#include "parallel/threads.h"
#include "spatial/fuzzy_filter.h"

Video_Denoise_Handle* g_hVideoDenoise = nullptr;

#if UINTPTR_MAX == 0xffffffffu
// On 32-bit targets the instance is 31 words in this order; the temporal
// pipeline reads a tuning word by its position.
static_assert(sizeof(Video_Denoise_Handle) == 31 * 4, "instance layout");
static_assert(offsetof(Video_Denoise_Handle, iNRLevel) == 8 * 4, "layout");
static_assert(offsetof(Video_Denoise_Handle, iLevelParams) == 9 * 4, "layout");
static_assert(offsetof(Video_Denoise_Handle, iPrevFrameNum) == 17 * 4,
              "layout");
static_assert(offsetof(Video_Denoise_Handle, iFilterParams) == 18 * 4,
              "layout");
static_assert(offsetof(Video_Denoise_Handle, sPrevFrames) == 23 * 4, "layout");
static_assert(offsetof(Video_Denoise_Handle, pCurFrame) == 26 * 4, "layout");
static_assert(offsetof(Video_Denoise_Handle, pTempFrame2) == 30 * 4, "layout");
static_assert(sizeof(sYuvImage_t) == 11 * 4, "image record layout");
static_assert(sizeof(VD_Multiple_Thread_Handle) == 8 * 4, "stripe layout");
#endif
static_assert(sizeof(Calc_Process_Time) == 17 * 8, "timing record layout");

namespace {

FILE* g_timing_stream = nullptr;

// The public calls must not overlap. A client that lets them overlap anyway
// (a frame while another frame runs, Deinit or Init during a frame) is
// refused instead of corrupting the instance.
std::atomic<int> g_busy{0};

class BusyGuard {
 public:
  BusyGuard() : owner_(g_busy.exchange(1, std::memory_order_acquire) == 0) {}
  ~BusyGuard() {
    if (owner_) g_busy.store(0, std::memory_order_release);
  }
  BusyGuard(const BusyGuard&) = delete;
  BusyGuard& operator=(const BusyGuard&) = delete;
  bool Refused(const char* call) const {
    if (!owner_) {
      VdLog(VD_LOG_ERROR, VD_LOG_TAG,
            "%s refused: another TARNO_VideoDenoise call is still running!\n",
            call);
    }
    return !owner_;
  }

 private:
  bool owner_;
};

const VdChromaBuffers kGlobalChroma = {p_uvSpaBuff_1, p_uvSpaBuff_2,
                                       p_uvSpaBuff_3};

// The process-wide denoiser: an engine denoiser whose records are the
// specified globals (the instance record in g_hVideoDenoise, the chroma work
// buffers p_uvSpaBuff_*, the stamps in g_VideoDenoise_ProcTime) and whose
// frames run on three stripe threads meeting at the global barriers.
vd_denoiser g_process;

// Pipeline of the following frames, and whether frames run on the
// persistent stripe pool (opt-in) instead of three threads started per
// frame. Read and written on the client's thread.
std::atomic<int> g_pipeline{VD_PIPELINE_FUZZY};
bool g_use_stripe_pool = false;
VdPool* g_stripe_pool = nullptr;

struct StripeFrame {
  const VdPhase* phases;
  int count;
};

void StripeBody(void* arg, int stripe) {
  const StripeFrame* frame = static_cast<const StripeFrame*>(arg);
  VdRunStripePhases(frame->phases, frame->count, stripe);
}

void ReleaseStripes(void*) { VdAbortGlobalBarriers(); }

void StopStripePool() {
  VdPoolDestroy(g_stripe_pool);
  g_stripe_pool = nullptr;
}

// Fills the three stripe records and runs the frame's phases on three
// threads, started for this frame or kept in the pool. -1 when a thread
// could not start (the others are released and joined).
int RunStripes(Video_Denoise_Handle* handle, sYuvImage_t* src,
               sYuvImage_t* dst, const VdFrameJob& job, const VdPhase* phases,
               int count) {
  static const int kEdges[3] = {VD_EDGE_TOP, VD_EDGE_INTERIOR, VD_EDGE_BOTTOM};
  for (int i = 0; i < 3; ++i) {
    VD_Multiple_Thread_Handle* stripe = &g_hVDMulThread[i];
    stripe->iIndex = i;
    stripe->iEdgeType = kEdges[i];
    stripe->iOffset = job.layout.firstRow[i] * job.width;
    stripe->iWidth = job.width;
    stripe->iHeight = job.layout.rows[i];
    stripe->hVideoDenoise = handle;
    stripe->pSrcImage = src;
    stripe->pDstImage = dst;
  }
  StripeFrame frame = {phases, count};
  // The pool starts with the first frame that uses it; when it cannot, this
  // frame runs on threads of its own.
  if (g_use_stripe_pool && !g_stripe_pool &&
      VdPoolCreate(3, &g_stripe_pool) != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Create stripe pool failed!\n");
  }
  if (g_use_stripe_pool && g_stripe_pool) {
    VdPoolRun(g_stripe_pool, StripeBody, &frame, 3, false);
    return 0;
  }
  VdResetGlobalBarriers();
  const int failed = VdRunOnNewThreads(3, StripeBody, &frame, ReleaseStripes);
  VdResetGlobalBarriers();
  if (failed >= 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Create stripe thread %d failed!\n",
          failed);
    return -1;
  }
  return 0;
}

}  // namespace

int VdGlobalPipeline(void) { return g_pipeline.load(); }

int VdStripePoolRunning(void) { return g_stripe_pool != nullptr; }

extern "C" int VideoSizeCheck(int width, int height) {
  if (width < 96 || width > 1920) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Input width:%d is invalid!range[%d,%d]\n",
          width, 96, 1920);
    return -1;
  }
  if (width % 16 != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Input width:%d is multiple of 16!\n",
          width);
    return -1;
  }
  if (height < 96 || height > 1920) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "Input height:%d is invalid!range[%d,%d]\n", height, 96, 1920);
    return -1;
  }
  if (height % 8 != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Input height:%d is multiple of 8!\n",
          height);
    return -1;
  }
  return 0;
}

namespace {
int DenoiseInit(int width, int height, const char* cfgPath);
int DenoiseFrame(unsigned char* src, unsigned char* dst, int width, int height,
                 int eType, int iISO);
int DenoiseDeinit();
}  // namespace

extern "C" int TARNO_VideoDenoiseInit(int width, int height,
                                      const char* cfgPath) {
  BusyGuard busy;
  if (busy.Refused("TARNO_VideoDenoiseInit")) return -1;
  return DenoiseInit(width, height, cfgPath);
}

extern "C" int TARNO_VideoDenoise(unsigned char* src, unsigned char* dst,
                                  int width, int height, int eType,
                                  int iISO) {
  BusyGuard busy;
  if (busy.Refused("TARNO_VideoDenoise")) return -1;
  return DenoiseFrame(src, dst, width, height, eType, iISO);
}

extern "C" int TARNO_VideoDenoiseDeinit(void) {
  BusyGuard busy;
  if (busy.Refused("TARNO_VideoDenoiseDeinit")) return -1;
  return DenoiseDeinit();
}

namespace {

int DenoiseInit(int width, int height, const char* cfgPath) {
  if (g_hVideoDenoise) {
    VdLog(VD_LOG_WARN, VD_LOG_TAG, "Video_Denoise has inited!\n");
    return 0;
  }
  if (VideoSizeCheck(width, height) != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "VideoSizeCheck failed!\n");
    return -1;
  }
  Video_Denoise_Handle* handle = static_cast<Video_Denoise_Handle*>(
      VdMalloc(sizeof(Video_Denoise_Handle)));
  if (!handle) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "Malloc memory for g_hVideoDenoise failed!\n");
    return -1;
  }
  std::memset(handle, 0, sizeof(*handle));
  g_hVideoDenoise = handle;
  InitVideoDenoiseParams(handle);
  handle->iMaxWidth = handle->iWidth = width;
  handle->iMaxHeight = handle->iHeight = height;
  if (cfgPath && ParseCfgFile(handle, const_cast<char*>(cfgPath)) != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "can not open config :%s!\n", cfgPath);
  }
  if (VdAllocFrameBuffers(handle, &kGlobalChroma, &kVdProcessLogger,
                          static_cast<size_t>(width) * height, true) != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "Malloc memory for frame buffers failed!\n");
    // The timing stream goes back to the client unclosed.
    g_timing_stream = nullptr;
    DenoiseDeinit();
    return -1;
  }
  VdEnsureNRPixelTable(17);
  g_process.h = handle;
  g_process.st = VdDenoiseState{handle, kGlobalChroma, &g_VideoDenoise_ProcTime,
                                &kVdProcessLogger, true};
  return 0;
}

int DenoiseFrame(unsigned char* src, unsigned char* dst, int width, int height,
                 int eType, int iISO) {
  Video_Denoise_Handle* handle = g_hVideoDenoise;
  if (!handle) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "g_hVideoDenoise has not inited!\n");
    return -1;
  }
  if (!src || !dst) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "image_src:0x%x or image_dest:0x%x is NULL!\n", VD_PTR32(src),
          VD_PTR32(dst));
    return -1;
  }
  if (VideoSizeCheck(width, height) != 0) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "VideoSizeCheck failed!\n");
    return -1;
  }
  if (width > handle->iMaxWidth || height > handle->iMaxHeight) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "width:%d > MaxWidth:%d or height:%d > MaxHeight:%d!\n", width,
          handle->iMaxWidth, height, handle->iMaxHeight);
    return -1;
  }
  VdReconfigure(handle, width, height, eType);
  VdLog(VD_LOG_ERROR, VD_LOG_TAG,
        "Process VideoDenoise: width:%d, height:%d, iISO:%d, eType:%d!\n",
        width, height, iISO, eType);

  Calc_Process_Time* times = &g_VideoDenoise_ProcTime;
  VdLogTimingHeaderOnce(&kVdProcessLogger);
  std::memset(times, 0, sizeof(*times));
  VdStamp(times, VD_T_START);
  SetVideoDenoiseParams(handle, eType, iISO);
  VdStamp(times, VD_T_LEVEL);

  const int counter = handle->sPrevFrames.iFrameCount;
  if (handle->iCfgSwitch2 == 0) {
    handle->sPrevFrames.iFrameCount =
        VdNextFrameCount(counter, handle->iPrevFrameNum);
  }
  const VdFrameView srcView = VdNv21View(src, width, height);
  const VdFrameView dstView = VdNv21View(dst, width, height);
  VdFrameJob job;
  VdPrepareJob(&job, &g_process.st, srcView, dstView, 3, g_pipeline.load());
  VdPhase phases[VD_MAX_PHASES];
  const int count = VdPlanFrame(&job, phases);
  if (RunStripes(handle, &job.srcImage, &job.dstImage, job, phases, count) !=
      0) {
    // As if the frame had never been offered.
    handle->sPrevFrames.iFrameCount = counter;
    return -1;
  }

  VdStamp(times, VD_T_TEMPORAL_FILTER);
  VdStamp(times, VD_T_JOINED);
  Calc_ProcessTime2(*times, g_timing_stream);
  return 0;
}

int DenoiseDeinit() {
  Video_Denoise_Handle* handle = g_hVideoDenoise;
  if (!handle) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "g_hVideoDenoise has not inited!\n");
    return -1;
  }
  if (g_timing_stream) {
    std::fclose(g_timing_stream);
    g_timing_stream = nullptr;
  }
  // The pool's threads end with the instance (the setting stays).
  StopStripePool();
  g_process.h = nullptr;
  VdFreeFrameBuffers(handle, &kGlobalChroma);
  VdFree(handle);
  g_hVideoDenoise = nullptr;
  return 0;
}

}  // namespace

extern "C" int TARNO_VideoDenoiseSetTimingStream(FILE* stream) {
  BusyGuard busy;
  if (busy.Refused("TARNO_VideoDenoiseSetTimingStream")) return -1;
  if (g_timing_stream && stream && g_timing_stream != stream) {
    std::fclose(g_timing_stream);
  }
  g_timing_stream = stream;
  return 0;
}

extern "C" int TARNO_VideoDenoiseSetPipeline(int pipeline) {
  if (pipeline != TARNO_PIPELINE_FUZZY && pipeline != TARNO_PIPELINE_TEMPORAL) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Unknown pipeline:%d!\n", pipeline);
    return -1;
  }
  g_pipeline.store(pipeline);
  return 0;
}

extern "C" int TARNO_VideoDenoiseSetStripePool(int enable) {
  BusyGuard busy;
  if (busy.Refused("TARNO_VideoDenoiseSetStripePool")) return -1;
  if (enable != 0 && enable != 1) {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG, "Unknown stripe pool mode:%d!\n", enable);
    return -1;
  }
  g_use_stripe_pool = enable == 1;
  if (!g_use_stripe_pool) StopStripePool();
  return 0;
}
