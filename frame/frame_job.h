// One denoiser's records as the frame pipelines see them, and one frame in
// flight. The pipelines receive everything here as arguments: they reach no
// global and start no thread. A frame is planned as phases (frame/phase.h);
// whoever runs the phases (the engine's pool, or the three stripe threads of
// the process-wide API) supplies the threads and the barriers between them.
#ifndef VD_FRAME_FRAME_JOB_H_
#define VD_FRAME_FRAME_JOB_H_

#include <stddef.h>

#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "frame/phase.h"
#include "image/frame_view.h"

// The three arrays of four chroma work buffers; filtered chroma region i
// works in entry i of each.
struct VdChromaBuffers {
  unsigned char** uv1;
  unsigned char** uv2;
  unsigned char** uv3;
};

// How a frame of a given height is cut. Luma: three stripes of even row
// counts, s = (height / 3) rounded down to even, rows [0, s), [s, 2s) and
// [2s, height). Chroma work of the full path (chroma height hc = height / 2):
// the first multiple of 8 rows F = hc rounded down to a multiple of 8 is
// filtered, split by plane: U rows [0, A) by region 0 and [A, F) by region 1
// with A = (F / 2) rounded up to a multiple of 8, V rows [0, F) by region 2;
// chroma rows F .. hc - 1 are copied. At 1080 rows this is 360/360/360 and
// A = 272, F = 536.
struct VdFrameLayout {
  int firstRow[3];
  int rows[3];
  int chromaSplit;     // A
  int chromaFiltered;  // F
};

void VdComputeFrameLayout(int height, VdFrameLayout* layout);

// Edge code of a stripe or band (the iEdge argument of the filters).
int VdEdgeOf(bool hasTop, bool hasBottom);

enum { VD_PIPELINE_FUZZY = 0, VD_PIPELINE_TEMPORAL = 1 };
enum { VD_PART_ALL = 0, VD_PART_SPATIAL = 1, VD_PART_AFTER_SPATIAL = 2 };

// One denoiser's records: the instance record (geometry, level, tuning
// words, the ring of previous outputs and the work frames: spatial result
// pSpaDenoiseFrame, difference pTempFrame1, sign pTempFrame2, motion mask
// pMotionInfo, planar current frame pCurFrame), its chroma work buffers, its
// stage stamps and its log.
struct VdDenoiseState {
  Video_Denoise_Handle* h;
  VdChromaBuffers chroma;
  Calc_Process_Time* times;
  const VdLogger* log;
  // The process-wide instance's work frames are visible through the exported
  // record, so every stage writes them as it always has (the chroma change
  // mask that nothing reads included). An engine denoiser skips what nobody
  // reads: the mask, and the spatial, difference and sign planes of the
  // full path's luma.
  bool visibleWorkFrames;
};

// Luma row bands of the band phases: 3 means the three stripes; more cut
// the frame into even-height bands (the same bytes either way).
enum { VD_MAX_BANDS = 64 };

struct VdFrameJob {
  VdDenoiseState* st;
  VdFrameView src, dst;
  // Records over src and dst when they are packed NV21, as the process-wide
  // API describes its frames.
  sYuvImage_t srcImage, dstImage;
  bool srcPacked, dstPacked;
  // The client's luma plane and its row stride: the spatial pass reads it
  // where it lies, padded rows or not.
  const unsigned char* lumaIn;
  ptrdiff_t lumaStride;
  // The destination's luma shares no byte with the source: the full path
  // may write it while other bands still read the source.
  bool lumaOutEarly;
  int width, height;
  VdFrameLayout layout;
  int bands;
  int pipeline;
  // Which part of the frame path runs: all of it, the spatial pass only, or
  // everything after it; and whether the first phase converts the client's
  // chroma (the exported stripe functions leave that to their caller).
  int part;
  bool convertsInput;
  // Of this frame: noise level, frame counter, ring size, ring slots.
  int level, count, n;
  sYuvImage_t* cur;
  sYuvImage_t* prev;
};

// Fills a job for a frame whose geometry, level and counter the caller has
// already moved (src and dst have the instance's current size, a grid size:
// width a multiple of 16, height of 8).
void VdPrepareJob(VdFrameJob* job, VdDenoiseState* st, const VdFrameView& src,
                  const VdFrameView& dst, int bands, int pipeline);

// Plans the frame of the job's pipeline; returns the number of phases written to phases
// (at most VD_MAX_PHASES). Every phase has `bands` items or 3.
int VdPlanFrame(VdFrameJob* job, VdPhase* phases);

int VdPlanFuzzy(VdFrameJob* job, VdPhase* phases);
int VdPlanTemporal(VdFrameJob* job, VdPhase* phases);

// Items both pipelines use: the client's frame in (per band); the spatial
// pass of luma (per band, with the input unless the luma is staged) and of
// each stripe's own chroma rows (per stripe).
void VdInputItem(void* arg, int band);
void VdSpatialLumaItem(void* arg, int band);
void VdSpatialChromaItem(void* arg, int stripe);

// Band `band` of `bands` even-height bands cutting `height` rows.
void VdEvenBand(int height, int bands, int band, int* first, int* rows);

// Rows [first, first + rows) of band `band`.
void VdBandRows(const VdFrameJob* job, int band, int* first, int* rows);

// Barrier counters of the process-wide API, named by the phase that ends
// at them (VdPhase::sync).
enum {
  VD_SYNC_FILTER = 0,
  VD_SYNC_DELETE_DP = 1,
  VD_SYNC_DILATE = 2,
  VD_SYNC_EROSE = 3
};

// Pieces the pipelines share (frame_io.cpp).
// Client chroma rows of band rows [first, first + rows) into pCurFrame.
void VdChromaIn(VdFrameJob* job, int first, int rows);
// Rows [first, first + rows) of a planar frame of the instance to the
// client's destination; chroma only when withChroma.
void VdFrameOut(VdFrameJob* job, sYuvImage_t* from, int first, int rows,
                int withChroma);
// The same, one plane kind at a time: luma rows of a packed plane of the
// frame's width, and chroma rows of a planar frame.
void VdLumaOut(VdFrameJob* job, const unsigned char* plane, int first,
               int rows);
void VdChromaOut(VdFrameJob* job, const sYuvImage_t* from, int first,
                 int rows);

#endif  // VD_FRAME_FRAME_JOB_H_

// Frames off the kernels' grid are processed in a packed NV21 frame of the
// grid size gw x gh: rows [first, first + rows) of it filled from the client
// frame with its last row and column repeated, and afterwards the client's
// part of those rows written back to the client's destination.
void VdPadRows(const VdFrameView& client, unsigned char* nv21, int gw, int gh,
               int first, int rows);
void VdCropRows(const unsigned char* nv21, int gw, int gh,
                const VdFrameView& client, int first, int rows);

// The chroma flag of the temporal path's output: the tuning word found four
// words per noise level after the fourth word of iLevelParams, as on the
// 32-bit layout (level 2 reaches iFilterParams[2], level 3 the second ring
// slot).
int VdLevelIndexedWord(const Video_Denoise_Handle* handle);
