// Frame layout, bands and the job record.
#include "frame/frame_job.h"

#include <cstddef>

#include "parallel/stripe.h"

namespace {

// A record over a packed NV21 buffer, with the planar pointers of the
// one-block layout (pU is where the interleaved chroma starts), as the
// process-wide API has always described its frames.
sYuvImage_t DescribeNv21(unsigned char* buffer, int width, int height) {
  sYuvImage_t image = {};
  const int n = width * height;
  image.iWidth = width;
  image.iHeight = height;
  image.iStride = width;
  image.iFrameRate = 30;
  image.iComponents = 3;
  image.iBitDepth = 8;
  image.eYuvType = YUV_420;
  image.pBuffer = buffer;
  image.pY = buffer;
  image.pU = buffer + n;
  image.pV = buffer + n + n / 4;
  return image;
}

// First and one-past-last byte a view can touch.
void Extent(const VdFrameView& f, const unsigned char** lo,
            const unsigned char** hi) {
  const ptrdiff_t ch = f.height / 2;
  const ptrdiff_t uvRow = static_cast<ptrdiff_t>(f.width / 2 - 1) *
                              f.uv_pixel_stride + 1;
  const unsigned char* starts[3] = {f.y, f.u, f.v};
  const unsigned char* ends[3] = {
      f.y + static_cast<ptrdiff_t>(f.height - 1) * f.y_stride + f.width,
      f.u + (ch - 1) * f.uv_stride + uvRow,
      f.v + (ch - 1) * f.uv_stride + uvRow};
  *lo = starts[0];
  *hi = ends[0];
  for (int i = 1; i < 3; ++i) {
    if (starts[i] < *lo) *lo = starts[i];
    if (ends[i] > *hi) *hi = ends[i];
  }
}

bool LumaApart(const VdFrameView& src, const VdFrameView& dst) {
  const unsigned char *lo, *hi;
  Extent(src, &lo, &hi);
  const unsigned char* y0 = dst.y;
  const unsigned char* y1 =
      dst.y + static_cast<ptrdiff_t>(dst.height - 1) * dst.y_stride + dst.width;
  return y1 <= lo || hi <= y0;
}

}  // namespace

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

int VdEdgeOf(bool hasTop, bool hasBottom) {
  if (hasTop) return hasBottom ? VD_EDGE_WHOLE : VD_EDGE_TOP;
  return hasBottom ? VD_EDGE_BOTTOM : VD_EDGE_INTERIOR;
}

void VdBandRows(const VdFrameJob* job, int band, int* first, int* rows) {
  if (job->bands == 3) {
    *first = job->layout.firstRow[band];
    *rows = job->layout.rows[band];
    return;
  }
  VdEvenBand(job->height, job->bands, band, first, rows);
}

void VdEvenBand(int height, int bands, int band, int* first, int* rows) {
  const int start = (height * band / bands) & ~1;
  const int end = band + 1 == bands ? height : (height * (band + 1) / bands) & ~1;
  *first = start;
  *rows = end - start;
}

void VdPrepareJob(VdFrameJob* job, VdDenoiseState* st, const VdFrameView& src,
                  const VdFrameView& dst, int bands, int pipeline) {
  Video_Denoise_Handle* h = st->h;
  job->st = st;
  job->src = src;
  job->dst = dst;
  job->width = h->iWidth;
  job->height = h->iHeight;
  job->srcPacked = VdIsPackedNv21(src);
  job->dstPacked = VdIsPackedNv21(dst);
  job->srcImage = job->srcPacked ? DescribeNv21(src.y, src.width, src.height)
                                 : sYuvImage_t{};
  job->dstImage = job->dstPacked ? DescribeNv21(dst.y, dst.width, dst.height)
                                 : sYuvImage_t{};
  job->lumaIn = src.y;
  job->lumaStride = src.y_stride;
  job->lumaOutEarly = !st->visibleWorkFrames && LumaApart(src, dst);
  VdComputeFrameLayout(job->height, &job->layout);
  job->bands = bands;
  job->pipeline = pipeline;
  job->part = VD_PART_ALL;
  job->convertsInput = true;
  job->level = h->iNRLevel;
  job->count = h->sPrevFrames.iFrameCount;
  job->n = h->iPrevFrameNum;
  job->cur = nullptr;
  job->prev = nullptr;
  if (job->n > 0 && job->count >= 0) {
    sYuvImage_t** ring = h->sPrevFrames.pPreFrames;
    job->cur = ring[job->count % job->n];
    job->prev = ring[(job->count % job->n + job->n - 1) % job->n];
  }
}
