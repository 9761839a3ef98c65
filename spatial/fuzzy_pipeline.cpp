// The frame path of one stripe: spatial smoothing (3x3 box filter on luma,
// multi-scale chroma filter), then the recursive table-driven blend of luma
// with the previous output, then NV21 output.
#include "spatial/fuzzy_pipeline.h"

#include <cstring>

#include "api/timing_internal.h"
#include "api/vd_log.h"
#include "image/convert.h"
#include "spatial/box_filter.h"
#include "spatial/chroma_filter_internal.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_pipeline_internal.h"
#include "temporal/motion_mask.h"

namespace {

// Chroma rows of context that the full path gives each filtered region:
// two rows of the small scale.
int ChromaOverlap(int level) {
  return static_cast<unsigned>(level) <= 1 ? 2 * 4 : 2 * 8;
}

int ChromaScale(int level) { return static_cast<unsigned>(level) <= 1 ? 4 : 8; }

int FilterUVWith(VdStripeContext* ctx, int buffer, unsigned char* src,
                 unsigned char* dst, int width, int rows, int up, int down,
                 int level) {
  return VdFilterUV(src, dst, width, rows, up, down, level,
                    ctx->chroma.uv1[buffer], ctx->chroma.uv2[buffer],
                    ctx->chroma.uv3[buffer]);
}

void CopyChromaRows(const sYuvImage_t* from, sYuvImage_t* to, int offset,
                    int bytes) {
  std::memcpy(to->pU + offset, from->pU + offset, bytes);
  std::memcpy(to->pV + offset, from->pV + offset, bytes);
}

// Luma spatial pass: the stripe plus one context row on each side that
// borders another stripe; the context rows are read, never written.
void BoxFilterStripe(VD_Multiple_Thread_Handle* s, sYuvImage_t* spatial) {
  int up = 0, down = 0;
  GetEdgeUpAndDown(s->iEdgeType, up, down, 1);
  sVNRPoint kernel = {3, 3};
  const int start = s->iOffset - s->iWidth * up;
  BoxFilter3x3(s->pSrcImage->pY + start, spatial->pY + start, s->iWidth,
               up + s->iHeight + down, &kernel, s->iEdgeType);
}

// Full-path chroma: the work is split by plane, not by stripe, so that every
// filtered region has a height the scale divides: U rows [0, A) by stripe 0,
// U rows [A, F) by stripe 1, V rows [0, F) by stripe 2, the rows from F on
// copied. Each region reads o rows of context across its inner boundary.
void FilterChromaByPlane(VdStripeContext* ctx, const sYuvImage_t* current,
                         sYuvImage_t* spatial, int level) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  const Video_Denoise_Handle* h = s->hVideoDenoise;
  VdFrameLayout layout;
  VdComputeFrameLayout(h->iHeight, &layout);
  const int cw = s->iWidth / 2;
  const int chromaRows = h->iHeight / 2;
  const int a = layout.chromaSplit;
  const int f = layout.chromaFiltered;
  const int o = ChromaOverlap(level);
  const int leftover = (chromaRows - f) * cw;
  switch (s->iIndex) {
    case 0:
      FilterUVWith(ctx, 0, current->pU, spatial->pU, cw, a + o, 0, o, level);
      break;
    case 1: {
      const int start = cw * (a - o);
      FilterUVWith(ctx, 1, current->pU + start, spatial->pU + start, cw,
                   f - a + o, o, 0, level);
      std::memcpy(spatial->pU + cw * f, current->pU + cw * f, leftover);
      break;
    }
    case 2:
      FilterUVWith(ctx, 2, current->pV, spatial->pV, cw, f, 0, 0, level);
      std::memcpy(spatial->pV + cw * f, current->pV + cw * f, leftover);
      break;
    default:
      CopyChromaRows(current, spatial, s->iOffset >> 2,
                     (s->iWidth * s->iHeight) / 4);
      break;
  }
}

}  // namespace

int VdFuzzyMotionThreshold(int level) {
  if (level == 0) return 20;
  if (level == 1) return 4;
  return 5;
}

void VdFuzzyChromaSpatial(VdStripeContext* ctx, int level, int filterChroma) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  if (filterChroma == 0) {
    CopyChromaRows(h->pCurFrame, h->pSpaDenoiseFrame, s->iOffset >> 2,
                   (s->iWidth * s->iHeight) / 4);
  } else {
    FilterChromaByPlane(ctx, h->pCurFrame, h->pSpaDenoiseFrame, level);
  }
}

int VdSpatialDenoise(VdStripeContext* ctx) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  sYuvImage_t* spatial = h->pSpaDenoiseFrame;
  sYuvImage_t* current = h->pCurFrame;
  const int level = h->iNRLevel;
  int up = 0, down = 0;
  GetEdgeUpAndDown(s->iEdgeType, up, down, 1);
  int filterChroma = 0;
  GetChromaFilterFlag(level, &filterChroma);
  const int start = s->iOffset - s->iWidth * up;
  VdLog(VD_LOG_ERROR, VD_LOG_TAG,
        "iWidth:src_y:%p dst_y:%p %d iHeight:%d iEdgeUp:%d iEdgeDown:%d "
        "iEdge:%d",
        static_cast<void*>(s->pSrcImage->pY + start),
        static_cast<void*>(spatial->pY + start), s->iWidth, s->iHeight, up,
        down, s->iEdgeType);
  BoxFilterStripe(s, spatial);
  VdBarrierWait(&ctx->canFilter);

  const int chromaOffset = s->iOffset >> 2;
  if (filterChroma == 0) {
    CopyChromaRows(current, spatial, chromaOffset,
                   (s->iWidth * s->iHeight) >> 2);
    return 0;
  }
  // Each stripe filters exactly its own chroma rows; the rows the scale
  // leaves over at the bottom of the stripe are copied unfiltered.
  const int cw = s->iWidth / 2;
  const int rows = s->iHeight / 2;
  const int scale = ChromaScale(level);
  const int filtered = rows / scale * scale;
  const int buffer = s->iIndex;
  FilterUVWith(ctx, buffer, current->pU + chromaOffset,
               spatial->pU + chromaOffset, cw, filtered, 0, 0, level);
  FilterUVWith(ctx, buffer, current->pV + chromaOffset,
               spatial->pV + chromaOffset, cw, filtered, 0, 0, level);
  CopyChromaRows(current, spatial, chromaOffset + cw * filtered,
                 cw * (rows - filtered));
  return 0;
}

int VdFuzzyDenoiseStepwise(VdStripeContext* ctx) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  const int level = h->iNRLevel;
  const int n = h->iPrevFrameNum;
  const int count = h->sPrevFrames.iFrameCount;
  const int width = s->iWidth;
  const int rows = s->iHeight;
  const int offset = s->iOffset;
  sYuvImage_t* spatial = h->pSpaDenoiseFrame;
  sYuvImage_t** ring = h->sPrevFrames.pPreFrames;

  if (count < n - 1) {
    // Warm-up: spatial denoising only, stored in the ring. Chroma is always
    // converted so that the client's output chroma is always written.
    VdSpatialDenoise(ctx);
    ConvertI420ToNV21_YUV(spatial, s->pDstImage, width, rows, offset, 1);
    CopyYuv(spatial, ring[count % n], width * rows, offset, 3);
    return 0;
  }

  sYuvImage_t* cur = ring[count % n];
  sYuvImage_t* prev = ring[(count - 1) % n];
  int filterChroma = 0;
  GetChromaFilterFlag(level, &filterChroma);
  const int threshold = VdFuzzyMotionThreshold(level);

  VdStamp(ctx->times, VD_T_FUZZY_START);
  BoxFilterStripe(s, spatial);
  VdBarrierWait(&ctx->canFilter);

  VdFuzzyChromaSpatial(ctx, level, filterChroma);
  // The chroma regions cross stripe boundaries: wait until every stripe has
  // written its share before any stripe reads the spatial chroma.
  VdBarrierWait(&ctx->canFilter);
  VdStamp(ctx->times, VD_T_FUZZY_SPATIAL);

  // The mask is computed as the frame path always has, and not used.
  CalSAD_threshholdProc(spatial, prev, h->pTempFrame2, width, rows,
                        filterChroma, static_cast<unsigned char>(threshold),
                        offset);
  VdStamp(ctx->times, VD_T_FUZZY_SAD);
  VdStamp(ctx->times, VD_T_FUZZY_SAD2);

  CalDiffAbs_neon(spatial->pY + offset, prev->pY + offset,
                  h->pTempFrame1->pY + offset, h->pTempFrame2->pY + offset,
                  width, rows, 0);
  FuzzyFilter_2(spatial->pY + offset, h->pTempFrame1->pY + offset,
                h->pTempFrame2->pY + offset, cur->pY + offset,
                prev->pY + offset, width, rows, level);
  // Chroma gets no temporal filtering: it passes through from the spatial
  // result.
  CopyChromaRows(spatial, cur, offset >> 2, (width * rows) >> 2);
  VdStamp(ctx->times, VD_T_FUZZY_DONE);

  ConvertI420ToNV21_YUV(cur, s->pDstImage, width, rows, offset, 1);
  return 0;
}

int VdFuzzyDenoise(VdStripeContext* ctx) {
  return ctx->framePath == VD_FRAME_PATH_STEPWISE ? VdFuzzyDenoiseStepwise(ctx)
                                                  : VdFuzzyDenoiseFused(ctx);
}

extern "C" int FuzzyDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  VdStripeContext ctx;
  VdBindGlobalStripeContext(stripe, &ctx);
  return VdFuzzyDenoise(&ctx);
}

extern "C" int SpatialDenoisingMul(VD_Multiple_Thread_Handle* stripe) {
  VdStripeContext ctx;
  VdBindGlobalStripeContext(stripe, &ctx);
  return VdSpatialDenoise(&ctx);
}
