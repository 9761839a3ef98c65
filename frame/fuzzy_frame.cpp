// The fuzzy frame path: spatial smoothing (3x3 box filter on luma,
// multi-scale chroma filter), then the recursive table-driven blend of luma
// with the previous output, then the output in the client's layout.
//
// A frame is three phases:
//  1. per luma band: the client's chroma de-interleaved into pCurFrame; luma
//     box filter into the spatial frame and, on the full path, clamped
//     difference and sign, and the table blend into the ring slot, row block
//     after row block while the rows are still in cache;
//  2. per chroma region: the chroma spatial pass (it reads chroma rows that
//     other bands converted, so it follows phase 1);
//  3. per luma band: chroma of the result, and the output (written only
//     when no item reads the source any more, so src and dst may be the same
//     memory).
// Each luma stage's output at a row depends only on inputs that no stage
// changes in between (the box filter reads only the input; the difference
// and the blend are per pixel), so the bytes do not depend on how the rows
// are cut into bands or blocks. Band edges read one context row of the input
// on each side that is not the frame's border; the box filter leaves context
// rows unwritten, so neighbouring bands never write the same row.
#include <cstddef>
#include <cstring>

#include "api/timing_internal.h"
#include "frame/frame_job.h"
#include "image/convert.h"
#include "base/vd_cpu.h"
#include "parallel/stripe.h"
#include "spatial/box_blend.h"
#include "spatial/box_filter_internal.h"
#include "spatial/chroma_filter_internal.h"
#include "spatial/fuzzy_filter.h"
#include "temporal/motion_mask.h"

namespace {

// About this many bytes of each plane per block. A block's live data is six
// planes' worth (input, spatial result, previous output, difference, sign,
// result): 384 KB, which stays in the second-level cache of the cores this
// runs on. Much smaller blocks cost more than they save in kernel calls and
// re-read context rows.
constexpr int kBlockBytes = 65536;

int BlockRows(int width) {
  const int rows = (kBlockBytes / width) & ~1;
  return rows < 2 ? 2 : rows;
}

int ChromaFilterFlag(int level) {
  int flag = 0;
  GetChromaFilterFlag(level, &flag);
  return flag;
}

// Threshold handed to the (unused) chroma change mask at a noise level.
int MotionThreshold(int level) {
  if (level == 0) return 20;
  if (level == 1) return 4;
  return 5;
}

// Chroma rows of context that the full path gives each filtered region:
// two rows of the small scale.
int ChromaOverlap(int level) {
  return static_cast<unsigned>(level) <= 1 ? 2 * 4 : 2 * 8;
}

int ChromaScale(int level) { return static_cast<unsigned>(level) <= 1 ? 4 : 8; }

int FilterUVWith(const VdFrameJob* job, int buffer, unsigned char* src,
                 unsigned char* dst, int width, int rows, int up, int down) {
  const VdChromaBuffers& c = job->st->chroma;
  return VdFilterUV(src, dst, width, rows, up, down, job->level,
                    c.uv1[buffer], c.uv2[buffer], c.uv3[buffer]);
}

void CopyChromaRows(const sYuvImage_t* from, sYuvImage_t* to, int offset,
                    int bytes) {
  std::memcpy(to->pU + offset, from->pU + offset, bytes);
  std::memcpy(to->pV + offset, from->pV + offset, bytes);
}

void Input(VdFrameJob* job, int first, int rows) {
  if (job->convertsInput) VdChromaIn(job, first, rows);
}

// Full-path luma of band rows [first, first + rows) in one pass per row, for
// a denoiser whose work frames nobody looks at: the spatial value, the
// difference and the direction never leave the registers (box_blend.h gives
// the same bytes as the three stages).
void LumaOnePass(VdFrameJob* job, int first, int rows) {
  const ptrdiff_t w = job->width;
  const ptrdiff_t ss = job->lumaStride;
  const unsigned char* prev = job->prev->pY;
  unsigned char* out = job->cur->pY;
  const VdBoxBlendRowFn blend = VdBoxBlendKernels(VdSimdLevel()).row;
  for (int y = first; y < first + rows; ++y) {
    const ptrdiff_t o = y * w;
    const unsigned char* src = job->lumaIn + y * ss;
    if (y == 0 || y == job->height - 1) {
      VdBlendRow_C(src, prev + o, out + o, job->width, job->level);
    } else {
      blend(src - ss, src, src + ss, prev + o, out + o, job->width,
            job->level);
    }
    // The row goes out while it is in cache.
    if (job->lumaOutEarly) VdLumaOut(job, out, y, 1);
  }
}

// Luma of band rows [first, first + rows), block by block: box filter into
// the spatial frame and, on the full path, difference, sign and blend.
void Luma(VdFrameJob* job, int first, int rows, bool full) {
  if (full && !job->st->visibleWorkFrames) {
    LumaOnePass(job, first, rows);
    return;
  }
  Video_Denoise_Handle* h = job->st->h;
  const ptrdiff_t w = job->width;
  const ptrdiff_t ss = job->lumaStride;
  unsigned char* spatial = h->pSpaDenoiseFrame->pY;
  unsigned char* diff = h->pTempFrame1->pY;
  unsigned char* sign = h->pTempFrame2->pY;
  const BoxFilterFn box = VdBoxFilterKernels(VdSimdLevel()).box3x3;
  const int block = BlockRows(job->width);
  for (int y = first; y < first + rows; y += block) {
    const int n = first + rows - y < block ? first + rows - y : block;
    const bool top = y == 0;
    const bool bottom = y + n == job->height;
    const int above = top ? 0 : 1;
    const int below = bottom ? 0 : 1;
    box(job->lumaIn + (y - above) * ss, ss, spatial + (y - above) * w, w,
        job->width, above + n + below, VdEdgeOf(top, bottom));
    if (!full) continue;
    const ptrdiff_t o = y * w;
    unsigned char* prev = job->prev->pY;
    CalDiffAbs_neon(spatial + o, prev + o, diff + o, sign + o, job->width, n,
                    0);
    FuzzyFilter_2(spatial + o, diff + o, sign + o, job->cur->pY + o, prev + o,
                  job->width, n, job->level);
  }
}

// Full-path chroma: the work is split by plane, not by stripe, so that every
// filtered region has a height the scale divides: U rows [0, A) by region 0,
// U rows [A, F) by region 1, V rows [0, F) by region 2, the rows from F on
// copied. Each region reads o rows of context across its inner boundary.
void ChromaByPlane(VdFrameJob* job, int region) {
  Video_Denoise_Handle* h = job->st->h;
  const sYuvImage_t* current = h->pCurFrame;
  sYuvImage_t* spatial = h->pSpaDenoiseFrame;
  const int cw = job->width / 2;
  const int a = job->layout.chromaSplit;
  const int f = job->layout.chromaFiltered;
  const int o = ChromaOverlap(job->level);
  const int leftover = (job->height / 2 - f) * cw;
  switch (region) {
    case 0:
      FilterUVWith(job, 0, current->pU, spatial->pU, cw, a + o, 0, o);
      break;
    case 1: {
      const int start = cw * (a - o);
      FilterUVWith(job, 1, current->pU + start, spatial->pU + start, cw,
                   f - a + o, o, 0);
      std::memcpy(spatial->pU + cw * f, current->pU + cw * f, leftover);
      break;
    }
    default:
      FilterUVWith(job, 2, current->pV, spatial->pV, cw, f, 0, 0);
      std::memcpy(spatial->pV + cw * f, current->pV + cw * f, leftover);
      break;
  }
}

// Warm-up chroma of one stripe: each stripe filters exactly its own chroma
// rows; the rows the scale leaves over at the bottom of the stripe are
// copied unfiltered.
void ChromaOwnRows(VdFrameJob* job, int stripe) {
  Video_Denoise_Handle* h = job->st->h;
  sYuvImage_t* spatial = h->pSpaDenoiseFrame;
  sYuvImage_t* current = h->pCurFrame;
  const int width = job->width;
  const int first = job->layout.firstRow[stripe];
  const int stripeRows = job->layout.rows[stripe];
  const int edge = VdEdgeOf(stripe == 0, stripe == 2);
  int up = 0, down = 0;
  GetEdgeUpAndDown(edge, up, down, 1);
  const int start = (first - up) * width;
  VdTrace(job->st->log,
          "iWidth:src_y:%p dst_y:%p %d iHeight:%d iEdgeUp:%d iEdgeDown:%d "
          "iEdge:%d",
          static_cast<const void*>(job->lumaIn + (first - up) * job->lumaStride),
          static_cast<void*>(spatial->pY + start), width, stripeRows, up, down,
          edge);
  const int chromaOffset = (first * width) >> 2;
  if (ChromaFilterFlag(job->level) == 0) {
    CopyChromaRows(current, spatial, chromaOffset, (width * stripeRows) >> 2);
    return;
  }
  const int cw = width / 2;
  const int rows = stripeRows / 2;
  const int scale = ChromaScale(job->level);
  const int filtered = rows / scale * scale;
  FilterUVWith(job, stripe, current->pU + chromaOffset,
               spatial->pU + chromaOffset, cw, filtered, 0, 0);
  FilterUVWith(job, stripe, current->pV + chromaOffset,
               spatial->pV + chromaOffset, cw, filtered, 0, 0);
  CopyChromaRows(current, spatial, chromaOffset + cw * filtered,
                 cw * (rows - filtered));
}

VdFrameJob* JobOf(void* arg) { return static_cast<VdFrameJob*>(arg); }

}  // namespace

// ---- phase items ----

void VdInputItem(void* arg, int band) {
  VdFrameJob* job = JobOf(arg);
  int first, rows;
  VdBandRows(job, band, &first, &rows);
  Input(job, first, rows);
}

void VdSpatialLumaItem(void* arg, int band) {
  VdFrameJob* job = JobOf(arg);
  int first, rows;
  VdBandRows(job, band, &first, &rows);
  Input(job, first, rows);
  Luma(job, first, rows, false);
}

void VdSpatialChromaItem(void* arg, int stripe) {
  ChromaOwnRows(JobOf(arg), stripe);
}

namespace {

// Warm-up output: the spatial result goes to the client and into the ring.
void WarmOutputItem(void* arg, int band) {
  VdFrameJob* job = JobOf(arg);
  Video_Denoise_Handle* h = job->st->h;
  int first, rows;
  VdBandRows(job, band, &first, &rows);
  VdFrameOut(job, h->pSpaDenoiseFrame, first, rows, 1);
  CopyYuv(h->pSpaDenoiseFrame, job->cur, job->width * rows, first * job->width,
          3);
}

void FullLumaItem(void* arg, int band) {
  VdFrameJob* job = JobOf(arg);
  int first, rows;
  VdBandRows(job, band, &first, &rows);
  VdStamp(job->st->times, VD_T_FUZZY_START);
  Input(job, first, rows);
  Luma(job, first, rows, true);
}

void FullChromaItem(void* arg, int region) {
  VdFrameJob* job = JobOf(arg);
  Video_Denoise_Handle* h = job->st->h;
  if (ChromaFilterFlag(job->level) == 0) {
    const int first = job->layout.firstRow[region];
    CopyChromaRows(h->pCurFrame, h->pSpaDenoiseFrame, (first * job->width) >> 2,
                   (job->width * job->layout.rows[region]) / 4);
  } else {
    ChromaByPlane(job, region);
  }
  VdStamp(job->st->times, VD_T_FUZZY_SPATIAL);
}

// Chroma of the result (no temporal filtering: it passes through from the
// spatial frame) into the ring slot, and the output, block by block.
void FullOutputItem(void* arg, int band) {
  VdFrameJob* job = JobOf(arg);
  VdDenoiseState* st = job->st;
  Video_Denoise_Handle* h = st->h;
  int first, rows;
  VdBandRows(job, band, &first, &rows);
  if (st->visibleWorkFrames) {
    // The mask is computed as the frame path always has, and not used. Its
    // stepping belongs to whole stripes: the process-wide API runs three
    // bands, the stripes.
    CalSAD_threshholdProc(h->pSpaDenoiseFrame, job->prev, h->pTempFrame2,
                          job->width, rows, ChromaFilterFlag(job->level),
                          static_cast<unsigned char>(MotionThreshold(job->level)),
                          first * job->width);
  }
  VdStamp(st->times, VD_T_FUZZY_SAD);
  VdStamp(st->times, VD_T_FUZZY_SAD2);
  const sYuvImage_t* spatial = h->pSpaDenoiseFrame;
  if (!st->visibleWorkFrames) {
    // Nothing reads the ring's chroma: it goes out straight from the
    // spatial frame, and the luma unless it went out already.
    if (!job->lumaOutEarly) VdLumaOut(job, job->cur->pY, first, rows);
    VdChromaOut(job, spatial, first, rows);
    VdStamp(st->times, VD_T_FUZZY_DONE);
    return;
  }
  const int cw = job->width / 2;
  const int block = BlockRows(job->width);
  for (int y = first; y < first + rows; y += block) {
    const int n = first + rows - y < block ? first + rows - y : block;
    const int chroma = (y * job->width) >> 2;
    const size_t bytes = static_cast<size_t>(cw) * (n / 2);
    std::memcpy(job->cur->pU + chroma, spatial->pU + chroma, bytes);
    std::memcpy(job->cur->pV + chroma, spatial->pV + chroma, bytes);
    VdFrameOut(job, job->cur, y, n, 1);
  }
  VdStamp(st->times, VD_T_FUZZY_DONE);
}

}  // namespace

int VdPlanFuzzy(VdFrameJob* job, VdPhase* phases) {
  const Video_Denoise_Handle* h = job->st->h;
  const int bands = job->bands;
  int count = 0;
  // Either switch skips denoising: the chroma is converted and the
  // destination is not written.
  if (h->iCfgSwitch1 || h->iCfgSwitch2) {
    phases[count++] = VdPhase{VdInputItem, job, bands, VD_SYNC_FILTER};
    return count;
  }
  if (job->part == VD_PART_SPATIAL) {
    phases[count++] = VdPhase{VdSpatialLumaItem, job, bands, VD_SYNC_FILTER};
    phases[count++] = VdPhase{VdSpatialChromaItem, job, 3, VD_SYNC_FILTER};
    return count;
  }
  if (job->count < job->n - 1) {
    // Warm-up: spatial denoising only, stored in the ring.
    phases[count++] = VdPhase{VdSpatialLumaItem, job, bands, VD_SYNC_FILTER};
    phases[count++] = VdPhase{VdSpatialChromaItem, job, 3, VD_SYNC_FILTER};
    phases[count++] = VdPhase{WarmOutputItem, job, bands, VD_SYNC_FILTER};
    return count;
  }
  phases[count++] = VdPhase{FullLumaItem, job, bands, VD_SYNC_FILTER};
  phases[count++] = VdPhase{FullChromaItem, job, 3, VD_SYNC_FILTER};
  phases[count++] = VdPhase{FullOutputItem, job, bands, VD_SYNC_FILTER};
  return count;
}
