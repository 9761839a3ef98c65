// The temporal stripe pipeline: a cleaned motion mask between the spatial
// result and the previous output, then a masked blend of the two.
#include "temporal/temporal_pipeline.h"

#include "api/timing_internal.h"
#include "api/vd_log.h"
#include "image/convert.h"
#include "morphology/mask_morphology_internal.h"
#include "temporal/motion_mask.h"
#include "temporal/temporal_filter.h"
#include "temporal/temporal_pipeline_internal.h"

int VdLevelIndexedWord(const Video_Denoise_Handle* handle) {
  switch (handle->iNRLevel) {
    case 0: return handle->iLevelParams[3];
    case 1: return handle->iLevelParams[7];
    case 2: return handle->iFilterParams[2];
    case 3: return handle->sPrevFrames.pPreFrames[1] != nullptr;
    default: return 0;
  }
}

int VdFrameDifference(VdStripeContext* ctx, sYuvImage_t* previous,
                      sYuvImage_t* current, sYuvImage_t* mask,
                      sYuvImage_t* work, int width, int height, int threshold,
                      int withChroma, int morphology, int offset,
                      int edgeType) {
  VdStamp(ctx->times, VD_T_DIFF_START);
  CalSAD_threshholdProc(current, previous, work, width, height, withChroma,
                        static_cast<unsigned char>(threshold), offset);
  VdStamp(ctx->times, VD_T_DIFF_SAD);
  // Every stripe's difference must exist before neighbours' rows are read.
  VdBarrierWait(&ctx->canDeleteDP);
  // The three stripes run each stage side by side on the same planes, so
  // every stage writes only its own stripe's rows: the stripe forms of the
  // morphology wrappers (mask_morphology_internal.h) step row-exactly where
  // a kernel's block stepping would drift into the next stripe, and the
  // dilation leaves out its overrun into the next stripe's first rows.
  VdDeleteDiscretePointsStripe(work, mask, width, height, withChroma, offset,
                               edgeType);
  VdStamp(ctx->times, VD_T_DIFF_DELETE);
  if (morphology == 0) return 0;
  // A closing with a larger dilation (9x9) than erosion (5x5).
  VdBarrierWait(&ctx->canDilate);
  VdDilateStripeOwnRows(mask, work, width, height, withChroma, offset,
                        edgeType);
  VdStamp(ctx->times, VD_T_DIFF_DILATE);
  VdBarrierWait(&ctx->canErose);
  VdEroseStripe(work, mask, width, height, withChroma, offset, edgeType);
  VdStamp(ctx->times, VD_T_DIFF_EROSE);
  return 0;
}

int VdTemporalDenoise(VdStripeContext* ctx) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  const int width = s->iWidth;
  const int height = s->iHeight;
  const int size = width * height;
  const int offset = s->iOffset;
  const int n = h->iPrevFrameNum;
  const int count = h->sPrevFrames.iFrameCount;
  const int* params = h->iFilterParams;
  const int outputChroma = VdLevelIndexedWord(h);
  sYuvImage_t** ring = h->sPrevFrames.pPreFrames;
  sYuvImage_t* output = h->pSpaDenoiseFrame;

  if (count < n - 1) {
    CopyYuv(h->pSpaDenoiseFrame, ring[count], size, offset, 3);
  } else {
    sYuvImage_t* previous = ring[(count - 1) % n];
    sYuvImage_t* target = ring[count % n];
    SetYUV(h->pMotionInfo, size, offset, 3);
    VdFrameDifference(ctx, previous, h->pSpaDenoiseFrame, h->pTempFrame1,
                      h->pTempFrame2, width, height, params[4] & 0xff,
                      params[1], params[2], offset, s->iEdgeType);
    VdStamp(ctx->times, VD_T_TEMPORAL_DIFF);
    int result = TemporalFilter(h->pSpaDenoiseFrame, previous, h->pTempFrame1,
                                target, width, height, params[1], offset);
    VdStamp(ctx->times, VD_T_TEMPORAL_FILTER);
    if (result != 1) {
      VdLog(VD_LOG_ERROR, VD_LOG_TAG, "TemporalFilter(width:%d,height:%d)\n",
            width, height);
      return -1;
    }
    output = target;
  }
  ConvertI420ToNV21_YUV(output, s->pDstImage, width, height, offset,
                        outputChroma);
  return 0;
}

extern "C" int TemporalDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  VdStripeContext ctx;
  VdBindGlobalStripeContext(stripe, &ctx);
  return VdTemporalDenoise(&ctx);
}

extern "C" int FrameDifference(sYuvImage_t* previous, sYuvImage_t* current,
                               sYuvImage_t* mask, sYuvImage_t* work, int width,
                               int height, int threshold, int withChroma, int,
                               int morphology, int offset, int edgeType) {
  VdStripeContext ctx;
  VdBindGlobalStripeContext(&g_hVDMulThread[0], &ctx);
  return VdFrameDifference(&ctx, previous, current, mask, work, width, height,
                           threshold, withChroma, morphology, offset,
                           edgeType);
}
