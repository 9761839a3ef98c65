// The fused frame path: the stages of the full path of one stripe, reordered
// so that each piece of data is reused while it is still in cache.
//
// The step-by-step path (fuzzy_pipeline.cpp) makes one pass per stage over
// the whole stripe: box filter, barrier, chroma filter, barrier, chroma mask,
// clamped difference, table blend, chroma copy, NV21 output. Here:
//  - luma runs over blocks of rows, before the first barrier: box filter
//    into the spatial frame, clamped difference and sign into the work frames,
//    table blend into the ring slot, each block's rows straight after the
//    previous stage wrote them. None of these stages reads a row that another
//    stripe writes (the box filter's context rows come from the input), so
//    they need no barrier;
//  - after the second barrier, chroma goes to the ring slot and to the NV21
//    output block by block, each block converted (with the block's luma) as
//    soon as it is copied.
// Every kernel is the one the step-by-step path calls, on a sub-range of the
// same rows. That gives the same bytes because each kernel's outputs at a row
// depend only on inputs that no stage of this stripe changes in between: the
// box filter reads only the input, the difference and the blend are per pixel
// (the blend reads the difference of the same pixel, written just before),
// and the conversion only moves bytes.
//
// The blocks must cut the stripe where the kernels' own stepping does:
//  - the difference walks row pairs of whole 16-pixel blocks and, when the
//    width is not a multiple of 16, its later pairs start off the row grid;
//    the chroma merge moves whole blocks of 8 pairs. So: even block heights,
//    even stripe heights and widths that are multiples of 16 (every frame
//    the size check accepts);
//  - the box filter copies the frame's first and last rows instead of
//    filtering them: a block gets the top or bottom edge code only where it
//    holds that row, and otherwise reads one context row on that side.
// Other geometries take the step-by-step path. As there, the client's
// destination is written only after the second barrier, when no stripe reads
// the source any more: a client may pass one buffer as both.
#include <cstddef>
#include <cstring>

#include "api/timing_internal.h"
#include "image/convert.h"
#include "spatial/box_filter.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_pipeline_internal.h"
#include "temporal/motion_mask.h"

namespace {

// About this many bytes of each plane per block. A block's live data is six
// planes' worth (input, spatial result, previous output, difference, sign,
// result): 384 KB, which stays in the second-level cache of the cores this
// runs on (512 KB to 1 MB). Much smaller blocks cost more than they save in
// kernel calls and re-read context rows.
constexpr int kBlockBytes = 65536;

int BlockRows(int width) {
  const int rows = (kBlockBytes / width) & ~1;
  return rows < 2 ? 2 : rows;
}

bool CanFuse(const VD_Multiple_Thread_Handle* s) {
  return s->iWidth > 0 && s->iWidth % 16 == 0 && s->iHeight > 0 &&
         s->iHeight % 2 == 0;
}

// The edge code of a block: the frame's top (bottom) border belongs to the
// block when the stripe has it and the block starts (ends) the stripe.
int BlockEdge(bool top, bool bottom) {
  if (top) return bottom ? VD_EDGE_WHOLE : VD_EDGE_TOP;
  return bottom ? VD_EDGE_BOTTOM : VD_EDGE_INTERIOR;
}

// Box filter, clamped difference and sign, table blend, then the NV21 luma
// of the block, block after block down the stripe.
void FusedLuma(VdStripeContext* ctx, sYuvImage_t* cur, sYuvImage_t* prev,
               int level) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  const int width = s->iWidth;
  const ptrdiff_t w = width;
  const int rows = s->iHeight;
  const bool topEdge =
      s->iEdgeType == VD_EDGE_TOP || s->iEdgeType == VD_EDGE_WHOLE;
  const bool bottomEdge =
      s->iEdgeType == VD_EDGE_BOTTOM || s->iEdgeType == VD_EDGE_WHOLE;
  unsigned char* src = s->pSrcImage->pY;
  unsigned char* spatial = h->pSpaDenoiseFrame->pY;
  unsigned char* diff = h->pTempFrame1->pY;
  unsigned char* sign = h->pTempFrame2->pY;
  sVNRPoint kernel = {3, 3};
  const int block = BlockRows(width);
  for (int y = 0; y < rows; y += block) {
    const int n = rows - y < block ? rows - y : block;
    const bool top = topEdge && y == 0;
    const bool bottom = bottomEdge && y + n == rows;
    const int above = top ? 0 : 1;
    const int below = bottom ? 0 : 1;
    const ptrdiff_t first = s->iOffset + (y - above) * w;
    BoxFilter3x3(src + first, spatial + first, width, above + n + below,
                 &kernel, BlockEdge(top, bottom));
    const ptrdiff_t o = s->iOffset + y * w;
    CalDiffAbs_neon(spatial + o, prev->pY + o, diff + o, sign + o, width, n,
                    0);
    FuzzyFilter_2(spatial + o, diff + o, sign + o, cur->pY + o, prev->pY + o,
                  width, n, level);
  }
}

// Chroma of the result (passed through from the spatial frame) into the ring
// slot, and the NV21 output of the stripe, block after block.
void FusedOutput(VdStripeContext* ctx, sYuvImage_t* cur) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  const sYuvImage_t* spatial = s->hVideoDenoise->pSpaDenoiseFrame;
  const int width = s->iWidth;
  const int cw = width / 2;
  const int rows = s->iHeight;
  const int block = BlockRows(width);
  for (int y = 0; y < rows; y += block) {
    const int n = rows - y < block ? rows - y : block;
    const int luma = s->iOffset + y * width;
    const int chroma = luma >> 2;
    const size_t bytes = static_cast<size_t>(cw) * (n / 2);
    std::memcpy(cur->pU + chroma, spatial->pU + chroma, bytes);
    std::memcpy(cur->pV + chroma, spatial->pV + chroma, bytes);
    ConvertI420ToNV21_YUV(cur, s->pDstImage, width, n, luma, 1);
  }
}

}  // namespace

int VdFuzzyDenoiseFused(VdStripeContext* ctx) {
  VD_Multiple_Thread_Handle* s = ctx->stripe;
  Video_Denoise_Handle* h = s->hVideoDenoise;
  const int n = h->iPrevFrameNum;
  const int count = h->sPrevFrames.iFrameCount;
  // The warm-up frame (one per reset) keeps the step-by-step order.
  if (count < n - 1 || !CanFuse(s)) return VdFuzzyDenoiseStepwise(ctx);

  const int level = h->iNRLevel;
  sYuvImage_t** ring = h->sPrevFrames.pPreFrames;
  sYuvImage_t* cur = ring[count % n];
  sYuvImage_t* prev = ring[(count - 1) % n];
  int filterChroma = 0;
  GetChromaFilterFlag(level, &filterChroma);
  const int threshold = VdFuzzyMotionThreshold(level);

  VdStamp(ctx->times, VD_T_FUZZY_START);
  FusedLuma(ctx, cur, prev, level);
  // After this barrier every stripe's chroma is in pCurFrame.
  VdBarrierWait(&ctx->canFilter);

  VdFuzzyChromaSpatial(ctx, level, filterChroma);
  // The chroma regions cross stripe boundaries: wait until every stripe has
  // written its share before any stripe reads the spatial chroma.
  VdBarrierWait(&ctx->canFilter);
  VdStamp(ctx->times, VD_T_FUZZY_SPATIAL);

  // The mask is computed as the frame path always has, and not used.
  CalSAD_threshholdProc(h->pSpaDenoiseFrame, prev, h->pTempFrame2, s->iWidth,
                        s->iHeight, filterChroma,
                        static_cast<unsigned char>(threshold), s->iOffset);
  VdStamp(ctx->times, VD_T_FUZZY_SAD);
  VdStamp(ctx->times, VD_T_FUZZY_SAD2);

  FusedOutput(ctx, cur);
  VdStamp(ctx->times, VD_T_FUZZY_DONE);
  return 0;
}
