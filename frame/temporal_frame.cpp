// The temporal frame path: the spatial pass, then a cleaned motion mask
// between the spatial result and the previous output, then a masked blend of
// the two. Every phase works on the three stripes; each stage writes only
// its own stripe's rows and reads its neighbours' rows only after the phase
// that produced them (the stripe forms of the morphology kernels step
// row-exactly where a block stepping would drift into the next stripe, and
// the dilation leaves out its overrun into the next stripe's first rows).
#include "api/timing_internal.h"
#include "frame/frame_job.h"
#include "image/convert.h"
#include "morphology/mask_morphology_internal.h"
#include "temporal/motion_mask.h"
#include "temporal/temporal_filter.h"
#include "temporal/temporal_pipeline.h"

namespace {

struct Stripe {
  int first, rows, size, offset, edge;
};

Stripe StripeOf(const VdFrameJob* job, int i) {
  Stripe s;
  s.first = job->layout.firstRow[i];
  s.rows = job->layout.rows[i];
  s.size = job->width * s.rows;
  s.offset = s.first * job->width;
  s.edge = VdEdgeOf(i == 0, i == 2);
  return s;
}

VdFrameJob* JobOf(void* arg) { return static_cast<VdFrameJob*>(arg); }

bool WarmingUp(const VdFrameJob* job) { return job->count < job->n - 1; }

// Own chroma rows of the spatial pass, then either the warm-up (the spatial
// result stored and sent out) or the start of the mask: the chroma change
// mask of this stripe into the work frame.
void ChromaAndDifferenceItem(void* arg, int i) {
  VdFrameJob* job = JobOf(arg);
  Video_Denoise_Handle* h = job->st->h;
  if (job->part != VD_PART_AFTER_SPATIAL) VdSpatialChromaItem(arg, i);
  const Stripe s = StripeOf(job, i);
  if (WarmingUp(job)) {
    CopyYuv(h->pSpaDenoiseFrame, h->sPrevFrames.pPreFrames[job->count], s.size,
            s.offset, 3);
    VdFrameOut(job, h->pSpaDenoiseFrame, s.first, s.rows,
               VdLevelIndexedWord(h));
    return;
  }
  SetYUV(h->pMotionInfo, s.size, s.offset, 3);
  VdStamp(job->st->times, VD_T_DIFF_START);
  const int* params = h->iFilterParams;
  CalSAD_threshholdProc(h->pSpaDenoiseFrame, job->prev, h->pTempFrame2,
                        job->width, s.rows, params[1],
                        static_cast<unsigned char>(params[4] & 0xff), s.offset);
  VdStamp(job->st->times, VD_T_DIFF_SAD);
}

void DeleteItem(void* arg, int i) {
  VdFrameJob* job = JobOf(arg);
  Video_Denoise_Handle* h = job->st->h;
  const Stripe s = StripeOf(job, i);
  VdDeleteDiscretePointsStripe(h->pTempFrame2, h->pTempFrame1, job->width,
                               s.rows, h->iFilterParams[1], s.offset, s.edge);
  VdStamp(job->st->times, VD_T_DIFF_DELETE);
}

// A closing with a larger dilation (9x9) than erosion (5x5).
void DilateItem(void* arg, int i) {
  VdFrameJob* job = JobOf(arg);
  Video_Denoise_Handle* h = job->st->h;
  const Stripe s = StripeOf(job, i);
  VdDilateStripeOwnRows(h->pTempFrame1, h->pTempFrame2, job->width, s.rows,
                        h->iFilterParams[1], s.offset, s.edge);
  VdStamp(job->st->times, VD_T_DIFF_DILATE);
}

void BlendItem(void* arg, int i) {
  VdFrameJob* job = JobOf(arg);
  VdDenoiseState* st = job->st;
  Video_Denoise_Handle* h = st->h;
  const Stripe s = StripeOf(job, i);
  const int* params = h->iFilterParams;
  if (params[2] != 0) {
    VdEroseStripe(h->pTempFrame2, h->pTempFrame1, job->width, s.rows,
                  params[1], s.offset, s.edge);
    VdStamp(st->times, VD_T_DIFF_EROSE);
  }
  VdStamp(st->times, VD_T_TEMPORAL_DIFF);
  const int result =
      TemporalFilter(h->pSpaDenoiseFrame, job->prev, h->pTempFrame1, job->cur,
                     job->width, s.rows, params[1], s.offset);
  VdStamp(st->times, VD_T_TEMPORAL_FILTER);
  if (result != 1) {
    VdLogTo(st->log, VD_LOG_ERROR, "TemporalFilter(width:%d,height:%d)\n",
            job->width, s.rows);
    VdLogTo(st->log, VD_LOG_ERROR,
            "SpatialDenoising(eType:%d, width:%d,height:%d)\n", h->eType,
            h->iWidth, h->iHeight);
    return;
  }
  VdFrameOut(job, job->cur, s.first, s.rows, VdLevelIndexedWord(h));
}

}  // namespace

int VdLevelIndexedWord(const Video_Denoise_Handle* handle) {
  switch (handle->iNRLevel) {
    case 0: return handle->iLevelParams[3];
    case 1: return handle->iLevelParams[7];
    case 2: return handle->iFilterParams[2];
    case 3: return handle->sPrevFrames.pPreFrames[1] != nullptr;
    default: return 0;
  }
}

int VdPlanTemporal(VdFrameJob* job, VdPhase* phases) {
  const Video_Denoise_Handle* h = job->st->h;
  int count = 0;
  if (h->iCfgSwitch1 || h->iCfgSwitch2) {
    phases[count++] = VdPhase{VdInputItem, job, 3, VD_SYNC_FILTER};
    return count;
  }
  if (job->part != VD_PART_AFTER_SPATIAL) {
    phases[count++] = VdPhase{VdSpatialLumaItem, job, 3, VD_SYNC_FILTER};
  }
  phases[count++] =
      VdPhase{ChromaAndDifferenceItem, job, 3, VD_SYNC_DELETE_DP};
  if (WarmingUp(job)) return count;
  phases[count++] = VdPhase{DeleteItem, job, 3, VD_SYNC_DILATE};
  if (h->iFilterParams[2] != 0) {
    phases[count++] = VdPhase{DilateItem, job, 3, VD_SYNC_EROSE};
  }
  phases[count++] = VdPhase{BlendItem, job, 3, VD_SYNC_FILTER};
  return count;
}

int VdPlanFrame(VdFrameJob* job, VdPhase* phases) {
  return job->pipeline == VD_PIPELINE_TEMPORAL ? VdPlanTemporal(job, phases)
                                               : VdPlanFuzzy(job, phases);
}
