// The engine API: any number of denoisers, frames in any 4:2:0 layout, a
// pool of workers started at creation.
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include "api/denoiser_internal.h"
#include "api/frame_buffers_internal.h"
#include "api/timing_internal.h"
#include "base/vd_alloc.h"
#include "frame/adaptive_frame.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"

#ifndef VD_VERSION_STRING
#define VD_VERSION_STRING "0.2.0"
#endif

namespace {

constexpr int kMaxSide = 8192;
constexpr int kMinSide = 16;
constexpr int kMaxThreads = 64;

void StderrLog(void*, int level, const char* message) {
  const char* tag = level >= VD_LOG_ERROR ? "error" : level >= VD_LOG_WARNING
                                                          ? "warning"
                                                          : "debug";
  std::fprintf(stderr, "videodenoise %s: %s\n", tag, message);
}

void Deliver(void* user, int level, const char* message) {
  const vd_denoiser* d = static_cast<const vd_denoiser*>(user);
  d->userLog(d->userLogArg, level, message);
}

// One log line before a denoiser exists, through the options' callback.
void CreateLog(const vd_options* o, const char* format, const char* what) {
  char message[256];
  std::snprintf(message, sizeof(message), format, what);
  void (*log)(void*, int, const char*) = o && o->log ? o->log : StderrLog;
  const int floor = o && o->log_level > 0 ? o->log_level : VD_LOG_WARNING;
  if (VD_LOG_ERROR >= floor) log(o ? o->log_user : nullptr, VD_LOG_ERROR, message);
}

int OnlineCores() {
  const long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n < 1 ? 1 : (n > kMaxThreads ? kMaxThreads : static_cast<int>(n));
}

// Chroma work buffer bytes for frames up to gw x gh: the reduced planes of
// the largest filtered region (at most the chroma height plus two rows of
// context at the small scale) and a row to spare.
size_t ChromaWorkBytes(int gw, int gh) {
  return static_cast<size_t>(gw) * (gh + 32) / 64 + gw;
}

void FreeDenoiser(vd_denoiser* d) {
  if (!d) return;
  VdPoolDestroy(d->pool);
  if (d->h) {
    VdChromaBuffers chroma = {d->chromaOwn[0], d->chromaOwn[1],
                              d->chromaOwn[2]};
    VdFreeFrameBuffers(d->h, &chroma);
    VdFree(d->h);
  }
  VdFree(d->staging);
  VdFree(d->adaptiveMemory);
  d->~vd_denoiser();
  VdFree(d);
}

// Busy flag of one denoiser: an overlapping call is refused.
class Busy {
 public:
  explicit Busy(vd_denoiser* d)
      : d_(d), owner_(d->busy.exchange(1, std::memory_order_acquire) == 0) {}
  ~Busy() {
    if (owner_) d_->busy.store(0, std::memory_order_release);
  }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;
  bool refused() const { return !owner_; }

 private:
  vd_denoiser* d_;
  bool owner_;
};

// Checks one client frame; logs the first thing wrong and says what.
vd_status CheckFrame(vd_denoiser* d, const vd_frame* f, const char* name) {
  if (!f) {
    VdLogTo(&d->log, VD_LOG_ERROR, "vd_denoise: %s is null", name);
    return VD_ERR_INVALID_ARGUMENT;
  }
  if (f->width < kMinSide || f->height < kMinSide || (f->width & 1) ||
      (f->height & 1)) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: %s size %dx%d is not supported (even sizes from "
            "%dx%d)",
            name, f->width, f->height, kMinSide, kMinSide);
    return VD_ERR_UNSUPPORTED_SIZE;
  }
  if (f->width > d->maxWidth || f->height > d->maxHeight) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: %s size %dx%d is larger than the maximum %dx%d", name,
            f->width, f->height, d->maxWidth, d->maxHeight);
    return VD_ERR_UNSUPPORTED_SIZE;
  }
  if (!f->y || !f->u || !f->v) {
    VdLogTo(&d->log, VD_LOG_ERROR, "vd_denoise: %s plane %s is null", name,
            !f->y ? "y" : !f->u ? "u" : "v");
    return VD_ERR_INVALID_ARGUMENT;
  }
  if (f->uv_pixel_stride != 1 && f->uv_pixel_stride != 2) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: %s uv_pixel_stride %d is not 1 or 2", name,
            f->uv_pixel_stride);
    return VD_ERR_INVALID_ARGUMENT;
  }
  const int uvRow = (f->width / 2 - 1) * f->uv_pixel_stride + 1;
  if (f->y_stride < f->width) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: %s y_stride %d is below the row length %d", name,
            f->y_stride, f->width);
    return VD_ERR_INVALID_ARGUMENT;
  }
  if (f->uv_stride < uvRow) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: %s uv_stride %d is below the row length %d", name,
            f->uv_stride, uvRow);
    return VD_ERR_INVALID_ARGUMENT;
  }
  return VD_OK;
}

VdFrameView ViewOf(const vd_frame* f) {
  return VdFrameView{f->width, f->height, f->y,        f->u,
                     f->v,     f->y_stride, f->uv_stride, f->uv_pixel_stride};
}

void RunPhases(vd_denoiser* d, const VdPhase* phases, int count) {
  for (int p = 0; p < count; ++p) {
    VdPoolRun(d->pool, phases[p].run, phases[p].arg, phases[p].items, true);
  }
}

struct PadJob {
  VdFrameView client;
  unsigned char* staging;
  int gw, gh, bands;
};

void PadItem(void* arg, int band) {
  const PadJob* p = static_cast<const PadJob*>(arg);
  int first, rows;
  VdEvenBand(p->gh, p->bands, band, &first, &rows);
  VdPadRows(p->client, p->staging, p->gw, p->gh, first, rows);
}

void CropItem(void* arg, int band) {
  const PadJob* p = static_cast<const PadJob*>(arg);
  int first, rows;
  VdEvenBand(p->gh, p->bands, band, &first, &rows);
  VdCropRows(p->staging, p->gw, p->gh, p->client, first, rows);
}

// The last step of creation: the pool. Frees the denoiser when it fails.
vd_status StartWorkers(vd_denoiser* d, vd_denoiser** out) {
  const int made = VdPoolCreate(d->threads - 1, &d->pool);
  if (made != 0) {
    VdLogTo(&d->log, VD_LOG_ERROR, "vd_create: %s",
            made == -1 ? "out of memory for the workers"
                       : "a worker thread could not start");
    FreeDenoiser(d);
    return made == -1 ? VD_ERR_OUT_OF_MEMORY : VD_ERR_THREAD;
  }
  *out = d;
  return VD_OK;
}

}  // namespace

void VdGridSize(int width, int height, int* gridWidth, int* gridHeight) {
  int w = (width + 15) & ~15;
  int h = (height + 7) & ~7;
  *gridWidth = w < 96 ? 96 : w;
  *gridHeight = h < 96 ? 96 : h;
}

int VdBandsFor(int height) {
  int bands = height / 64;
  if (bands < 3) bands = 3;
  if (bands > VD_MAX_BANDS) bands = VD_MAX_BANDS;
  return bands;
}

void VdReconfigure(Video_Denoise_Handle* h, int width, int height, int eType) {
  if (width == h->iWidth && height == h->iHeight && eType == h->eType) return;
  h->iWidth = width;
  h->iHeight = height;
  h->eType = eType;
  h->sPrevFrames.iFrameCount = -1;
  if (h->pMotionInfo) SetYUV(h->pMotionInfo, width * height, 0, 3);
}

int VdNextFrameCount(int count, int ringSize) {
  // The frame path also forms count - 1 + n; stay clear of the top.
  const int kLast = INT_MAX - 2;
  if (count < kLast) return count + 1;
  const int64_t n = ringSize > 0 ? ringSize : 1;
  const int64_t next = int64_t{count} + 1;
  return static_cast<int>((n - 1) + (next - (n - 1)) % n);
}

void VdEnsureNRPixelTable(int n) {
  // The scratch copy starts from the table itself: the rebuild leaves some
  // bytes as they were.
  static std::mutex lock;
  static uint8_t scratch[VD_NR_TABLE_SIZE];
  std::lock_guard<std::mutex> hold(lock);
  std::memcpy(scratch, nr_table, sizeof(scratch));
  VdBuildNRPixelTable(scratch, n);
  if (std::memcmp(scratch, nr_table, sizeof(scratch)) != 0) {
    std::memcpy(nr_table, scratch, sizeof(scratch));
  }
}

extern "C" void vd_options_init(vd_options* options) {
  if (!options) return;
  std::memset(options, 0, sizeof(*options));
  options->threads = 0;
  options->method = VD_METHOD_FUZZY;
  options->log_level = VD_LOG_WARNING;
}

extern "C" vd_status vd_create(const vd_options* o, vd_denoiser** out) {
  if (!out) {
    CreateLog(o, "vd_create: %s is null", "out");
    return VD_ERR_INVALID_ARGUMENT;
  }
  *out = nullptr;
  if (!o) {
    CreateLog(o, "vd_create: %s is null", "options");
    return VD_ERR_INVALID_ARGUMENT;
  }
  if (o->max_width < kMinSide || o->max_height < kMinSide ||
      o->max_width > kMaxSide || o->max_height > kMaxSide ||
      (o->max_width & 1) || (o->max_height & 1)) {
    CreateLog(o, "vd_create: %s is not an even size from 16x16 to 8192x8192",
              "max_width x max_height");
    return VD_ERR_UNSUPPORTED_SIZE;
  }
  if (o->threads < 0) {
    CreateLog(o, "vd_create: %s is negative", "threads");
    return VD_ERR_INVALID_ARGUMENT;
  }
  // A C client may store any int in the enumeration; C++ must not load a
  // value outside it as the enumeration type, so its bytes are read as int.
  static_assert(sizeof(o->method) == sizeof(int), "enumeration size");
  int method;
  std::memcpy(&method, &o->method, sizeof(method));
  if (method != VD_METHOD_FUZZY && method != VD_METHOD_TEMPORAL &&
      method != VD_METHOD_ADAPTIVE) {
    CreateLog(o, "vd_create: %s is unknown", "method");
    return VD_ERR_INVALID_ARGUMENT;
  }
  if (o->config_path) {
    FILE* probe = std::fopen(o->config_path, "r");
    if (!probe) {
      CreateLog(o, "vd_create: config_path %s cannot be read", o->config_path);
      return VD_ERR_CONFIG;
    }
    std::fclose(probe);
  }

  void* memory = VdMalloc(sizeof(vd_denoiser));
  if (!memory) {
    CreateLog(o, "vd_create: out of memory for the %s", "denoiser");
    return VD_ERR_OUT_OF_MEMORY;
  }
  vd_denoiser* d = new (memory) vd_denoiser();
  d->userLog = o->log ? o->log : StderrLog;
  d->userLogArg = o->log_user;
  d->log = VdLogger{Deliver, d, o->log_level > 0 ? o->log_level : VD_LOG_WARNING,
                    VD_LOG_DEBUG};
  d->maxWidth = o->max_width;
  d->maxHeight = o->max_height;
  VdGridSize(o->max_width, o->max_height, &d->gridMaxWidth, &d->gridMaxHeight);
  d->pipeline = method == VD_METHOD_TEMPORAL ? VD_PIPELINE_TEMPORAL
                                              : VD_PIPELINE_FUZZY;
  d->threads = o->threads == 0 ? OnlineCores()
                               : (o->threads > kMaxThreads ? kMaxThreads
                                                           : o->threads);

  if (method == VD_METHOD_ADAPTIVE) {
    d->adaptiveMemory =
        VdMalloc(VdAdaptiveStateSize(d->maxWidth, d->maxHeight));
    if (!d->adaptiveMemory) {
      VdLogTo(&d->log, VD_LOG_ERROR,
              "vd_create: out of memory for the adaptive method's state");
      FreeDenoiser(d);
      return VD_ERR_OUT_OF_MEMORY;
    }
    d->adaptive = VdAdaptiveInit(d->adaptiveMemory, d->maxWidth, d->maxHeight);
    return StartWorkers(d, out);
  }
  Video_Denoise_Handle* h = static_cast<Video_Denoise_Handle*>(
      VdMalloc(sizeof(Video_Denoise_Handle)));
  if (!h) {
    VdLogTo(&d->log, VD_LOG_ERROR, "vd_create: out of memory for the record");
    FreeDenoiser(d);
    return VD_ERR_OUT_OF_MEMORY;
  }
  std::memset(h, 0, sizeof(*h));
  d->h = h;
  VdDefaultParams(h);
  h->iMaxWidth = h->iWidth = d->gridMaxWidth;
  h->iMaxHeight = h->iHeight = d->gridMaxHeight;
  if (o->config_path &&
      ParseCfgFile(h, const_cast<char*>(o->config_path)) != 0) {
    VdLogTo(&d->log, VD_LOG_ERROR, "vd_create: config_path %s cannot be read",
            o->config_path);
    FreeDenoiser(d);
    return VD_ERR_CONFIG;
  }
  VdChromaBuffers chroma = {d->chromaOwn[0], d->chromaOwn[1], d->chromaOwn[2]};
  if (VdAllocFrameBuffers(h, &chroma, &d->log,
                          ChromaWorkBytes(d->gridMaxWidth, d->gridMaxHeight),
                          d->pipeline == VD_PIPELINE_TEMPORAL) != 0) {
    FreeDenoiser(d);
    return VD_ERR_OUT_OF_MEMORY;
  }
  {
    // Any frame up to the maximum may be off the grid.
    d->staging = static_cast<unsigned char*>(VdMalloc(
        static_cast<size_t>(d->gridMaxWidth) * d->gridMaxHeight * 3 / 2));
    if (!d->staging) {
      VdLogTo(&d->log, VD_LOG_ERROR,
              "vd_create: out of memory for the padded frame");
      FreeDenoiser(d);
      return VD_ERR_OUT_OF_MEMORY;
    }
  }
  d->st = VdDenoiseState{h, chroma, &d->ownTimes, &d->log, false};
  VdEnsureNRPixelTable(17);
  return StartWorkers(d, out);
}

extern "C" vd_status vd_denoise(vd_denoiser* d, const vd_frame* src,
                                const vd_frame* dst, int type, int iso) {
  if (!d) {
    CreateLog(nullptr, "vd_denoise: %s is null", "denoiser");
    return VD_ERR_INVALID_ARGUMENT;
  }
  Busy busy(d);
  if (busy.refused()) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: refused, another call on this denoiser is running");
    return VD_ERR_BUSY;
  }
  vd_status s = CheckFrame(d, src, "src");
  if (s == VD_OK) s = CheckFrame(d, dst, "dst");
  if (s != VD_OK) return s;
  if (src->width != dst->width || src->height != dst->height) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_denoise: dst size %dx%d differs from src size %dx%d",
            dst->width, dst->height, src->width, src->height);
    return VD_ERR_INVALID_ARGUMENT;
  }

  if (d->adaptive) {
    const VdFrameView in = ViewOf(src);
    const VdFrameView to = ViewOf(dst);
    VdPhase phases[VD_MAX_PHASES];
    const int count = VdAdaptivePlan(d->adaptive, &in, &to, type, iso, phases);
    RunPhases(d, phases, count);
    return VD_OK;
  }
  Video_Denoise_Handle* h = d->h;
  const VdFrameView client = ViewOf(src);
  const VdFrameView out = ViewOf(dst);
  int gw, gh;
  VdGridSize(src->width, src->height, &gw, &gh);
  const bool padded = gw != src->width || gh != src->height;
  VdReconfigure(h, gw, gh, type);
  // A padded frame of a new client size starts afresh even when its grid
  // size is the last frame's.
  if (src->width != d->lastWidth || src->height != d->lastHeight) {
    d->lastWidth = src->width;
    d->lastHeight = src->height;
    h->sPrevFrames.iFrameCount = -1;
    if (h->pMotionInfo) SetYUV(h->pMotionInfo, gw * gh, 0, 3);
  }
  VdTrace(&d->log,
          "Process VideoDenoise: width:%d, height:%d, iISO:%d, eType:%d!\n",
          src->width, src->height, iso, type);
  Calc_Process_Time* times = &d->ownTimes;
  std::memset(times, 0, sizeof(*times));
  VdStamp(times, VD_T_START);
  SetVideoDenoiseParams(h, type, iso);
  VdStamp(times, VD_T_LEVEL);
  if (h->iCfgSwitch2 == 0) {
    h->sPrevFrames.iFrameCount =
        VdNextFrameCount(h->sPrevFrames.iFrameCount, h->iPrevFrameNum);
  }

  PadJob pad = {client, d->staging, gw, gh, VdBandsFor(gh)};
  VdFrameView work = client, result = out;
  if (padded) {
    work = VdNv21View(d->staging, gw, gh);
    result = work;
    VdPoolRun(d->pool, PadItem, &pad, pad.bands, true);
  }
  VdFrameJob job;
  VdPrepareJob(&job, &d->st, work, result,
               d->pipeline == VD_PIPELINE_TEMPORAL ? 3 : VdBandsFor(gh),
               d->pipeline);
  VdPhase phases[VD_MAX_PHASES];
  const int count = VdPlanFrame(&job, phases);
  RunPhases(d, phases, count);
  if (padded && !(h->iCfgSwitch1 || h->iCfgSwitch2)) {
    pad.client = out;
    VdPoolRun(d->pool, CropItem, &pad, pad.bands, true);
  }
  VdStamp(times, VD_T_TEMPORAL_FILTER);
  VdStamp(times, VD_T_JOINED);
  // Formatted only when someone listens at the trace level.
  if (d->log.minLevel <= d->log.traceLevel) {
    VdLogFuzzyTimes(&d->log, times, nullptr);
  }
  return VD_OK;
}

extern "C" vd_status vd_reset(vd_denoiser* d) {
  if (!d) {
    CreateLog(nullptr, "vd_reset: %s is null", "denoiser");
    return VD_ERR_INVALID_ARGUMENT;
  }
  Busy busy(d);
  if (busy.refused()) {
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_reset: refused, another call on this denoiser is running");
    return VD_ERR_BUSY;
  }
  if (d->adaptive) {
    VdAdaptiveReset(d->adaptive);
    return VD_OK;
  }
  d->h->sPrevFrames.iFrameCount = -1;
  if (d->h->pMotionInfo) {
    SetYUV(d->h->pMotionInfo, d->h->iWidth * d->h->iHeight, 0, 3);
  }
  return VD_OK;
}

extern "C" void vd_destroy(vd_denoiser* d) {
  if (!d) return;
  if (d->busy.exchange(1, std::memory_order_acquire) != 0) {
    // Freeing a denoiser while one of its calls runs would pull the memory
    // from under that call: refuse, and leave it to the caller.
    VdLogTo(&d->log, VD_LOG_ERROR,
            "vd_destroy: refused, another call on this denoiser is running");
    return;
  }
  FreeDenoiser(d);
}

extern "C" const char* vd_status_string(vd_status s) {
  switch (s) {
    case VD_OK: return "ok";
    case VD_ERR_INVALID_ARGUMENT: return "invalid argument";
    case VD_ERR_UNSUPPORTED_SIZE: return "unsupported frame size";
    case VD_ERR_OUT_OF_MEMORY: return "out of memory";
    case VD_ERR_THREAD: return "a worker thread could not start";
    case VD_ERR_CONFIG: return "configuration file cannot be read";
    case VD_ERR_BUSY: return "denoiser busy with another call";
  }
  return "unknown status";
}

extern "C" vd_frame vd_frame_nv21(unsigned char* buffer, int width,
                                  int height) {
  unsigned char* vu = buffer ? buffer + static_cast<size_t>(width) * height
                             : nullptr;
  vd_frame f = {width, height, buffer, vu ? vu + 1 : nullptr, vu,
                width, width,  2};
  return f;
}

extern "C" vd_frame vd_frame_nv12(unsigned char* buffer, int width,
                                  int height) {
  unsigned char* uv = buffer ? buffer + static_cast<size_t>(width) * height
                             : nullptr;
  vd_frame f = {width, height, buffer, uv, uv ? uv + 1 : nullptr,
                width, width,  2};
  return f;
}

extern "C" vd_frame vd_frame_i420(unsigned char* buffer, int width,
                                  int height) {
  const size_t n = static_cast<size_t>(width) * height;
  unsigned char* u = buffer ? buffer + n : nullptr;
  vd_frame f = {width, height, buffer, u, u ? u + n / 4 : nullptr,
                width, width / 2, 1};
  return f;
}

extern "C" const char* vd_version(void) { return VD_VERSION_STRING; }
