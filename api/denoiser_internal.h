// One denoiser: the engine's record, shared by the engine API (vd_*) and the
// process-wide API, which binds the specified globals to one of these.
#ifndef VD_API_DENOISER_INTERNAL_H_
#define VD_API_DENOISER_INTERNAL_H_

#include <atomic>

#include "api/vdenoise.h"
#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "frame/frame_job.h"
#include "parallel/pool.h"

struct vd_denoiser {
  // Geometry, level, tuning words, ring and work frames.
  Video_Denoise_Handle* h;
  // The engine's own chroma work buffers (the process-wide instance uses the
  // global arrays instead).
  unsigned char* chromaOwn[3][4];
  VdDenoiseState st;
  Calc_Process_Time ownTimes;
  VdLogger log;
  void (*userLog)(void* user, int level, const char* message);
  void* userLogArg;
  VdPool* pool;
  int threads;
  int pipeline;
  // Largest client frame, and the largest frame actually processed (sizes
  // off the kernels' grid are processed padded).
  int maxWidth, maxHeight;
  int gridMaxWidth, gridMaxHeight;
  // A packed NV21 frame of the largest grid size: where frames off the grid
  // are padded, denoised in place and cropped from.
  unsigned char* staging;
  std::atomic<int> busy;
  // The adaptive method's state (one block), instead of the record above.
  struct VdAdaptive* adaptive;
  void* adaptiveMemory;
  // The size of the last frame, to tell a change of size.
  int lastWidth, lastHeight;
};

// The grid size a client frame is processed at: width a multiple of 16,
// height of 8, both at least 96.
void VdGridSize(int width, int height, int* gridWidth, int* gridHeight);

// Luma bands of an engine frame of this height (not of the thread count).
int VdBandsFor(int height);

// The default parameters of InitVideoDenoiseParams, without touching the
// process-wide barrier counters (engine denoisers have none).
void VdDefaultParams(Video_Denoise_Handle* h);

// Moves the record to a frame of this size and type: a change of either
// resets the history (counter -1, motion mask cleared).
void VdReconfigure(Video_Denoise_Handle* h, int width, int height, int eType);

// The frame counter's next value: one more, except that a counter about to
// overflow (a camera running for years) goes back to the smallest value
// past the warm-up with the same ring slot, n - 1 plus the same remainder
// modulo the ring size n, so the frames go on on the same path and slots.
int VdNextFrameCount(int count, int ringSize);

// nr_table as InitNRPixelTable(n) leaves it, written only where it differs.
// Rebuilding in place clears the table first, so a denoiser running on
// another thread would read zeros for a moment: creating a denoiser while
// others run leaves the table they read untouched when it already holds
// these values (as it does after the first creation).
void VdEnsureNRPixelTable(int n);

#endif  // VD_API_DENOISER_INTERNAL_H_
