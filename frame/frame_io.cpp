// Moving a frame between the client's layout and the instance's planar
// frames. Packed NV21 goes through the conversions the process-wide API has
// always used; any other layout moves row by row with the same row movers,
// so the bytes are the same.
#include <cstring>

#include "frame/frame_job.h"
#include "image/convert.h"
#include "image/convert_internal.h"

namespace {

// The first byte of a chroma row in an interleaved layout and whether V
// comes first in it.
const unsigned char* PairRow(const VdFrameView& f, int row, bool* vFirst) {
  *vFirst = f.v < f.u;
  const unsigned char* first = *vFirst ? f.v : f.u;
  return first + static_cast<ptrdiff_t>(row) * f.uv_stride;
}

// U and V share one interleaved plane (pixel stride 2, one byte apart), the
// layout the row movers take.
bool Interleaved(const VdFrameView& f) {
  return f.uv_pixel_stride == 2 && (f.u - f.v == 1 || f.v - f.u == 1);
}

void GatherRow(unsigned char* out, const unsigned char* in, int count,
               int step) {
  for (int i = 0; i < count; ++i) out[i] = in[static_cast<ptrdiff_t>(i) * step];
}

void ScatterRow(unsigned char* out, const unsigned char* in, int count,
                int step) {
  for (int i = 0; i < count; ++i) out[static_cast<ptrdiff_t>(i) * step] = in[i];
}

}  // namespace

void VdChromaIn(VdFrameJob* job, int first, int rows) {
  sYuvImage_t* cur = job->st->h->pCurFrame;
  const int width = job->width;
  if (job->srcPacked) {
    ConvertNV21ToI420_UV(&job->srcImage, cur, width, rows, first * width);
    return;
  }
  const VdFrameView& s = job->src;
  const int cw = width / 2;
  for (int r = first / 2; r < (first + rows) / 2; ++r) {
    unsigned char* u = cur->pU + static_cast<ptrdiff_t>(r) * cw;
    unsigned char* v = cur->pV + static_cast<ptrdiff_t>(r) * cw;
    if (!Interleaved(s)) {
      const ptrdiff_t row = static_cast<ptrdiff_t>(r) * s.uv_stride;
      GatherRow(u, s.u + row, cw, s.uv_pixel_stride);
      GatherRow(v, s.v + row, cw, s.uv_pixel_stride);
      continue;
    }
    bool vFirst;
    const unsigned char* pairs = PairRow(s, r, &vFirst);
    // The splitter puts even bytes in its third argument, odd in its second.
    if (vFirst) {
      SplitVUPlane(pairs, u, v, width);
    } else {
      SplitVUPlane(pairs, v, u, width);
    }
  }
}

void VdLumaOut(VdFrameJob* job, const unsigned char* plane, int first,
               int rows) {
  const VdFrameView& d = job->dst;
  const int width = job->width;
  if (d.y_stride == width) {
    std::memcpy(d.y + static_cast<ptrdiff_t>(first) * width,
                plane + static_cast<ptrdiff_t>(first) * width,
                static_cast<size_t>(width) * rows);
    return;
  }
  for (int r = first; r < first + rows; ++r) {
    std::memcpy(d.y + static_cast<ptrdiff_t>(r) * d.y_stride,
                plane + static_cast<ptrdiff_t>(r) * width, width);
  }
}

void VdChromaOut(VdFrameJob* job, const sYuvImage_t* from, int first,
                 int rows) {
  const int width = job->width;
  const int cw = width / 2;
  if (job->dstPacked) {
    const int c = (first * width) >> 2;
    MergeVUPlane(from->pU + c, from->pV + c, job->dstImage.pU + 2 * c,
                 (width * rows) >> 2);
    return;
  }
  const VdFrameView& d = job->dst;
  for (int r = first / 2; r < (first + rows) / 2; ++r) {
    const unsigned char* u = from->pU + static_cast<ptrdiff_t>(r) * cw;
    const unsigned char* v = from->pV + static_cast<ptrdiff_t>(r) * cw;
    if (!Interleaved(d)) {
      const ptrdiff_t row = static_cast<ptrdiff_t>(r) * d.uv_stride;
      ScatterRow(d.u + row, u, cw, d.uv_pixel_stride);
      ScatterRow(d.v + row, v, cw, d.uv_pixel_stride);
      continue;
    }
    bool vFirst;
    unsigned char* pairs = const_cast<unsigned char*>(PairRow(d, r, &vFirst));
    // The merger puts its second argument in the even bytes.
    if (vFirst) {
      MergeVUPlane(u, v, pairs, cw);
    } else {
      MergeVUPlane(v, u, pairs, cw);
    }
  }
}

void VdFrameOut(VdFrameJob* job, sYuvImage_t* from, int first, int rows,
                int withChroma) {
  if (job->dstPacked) {
    // The conversion the process-wide API has always used.
    ConvertI420ToNV21_YUV(from, &job->dstImage, job->width, rows,
                          first * job->width, withChroma);
    return;
  }
  VdLumaOut(job, from->pY, first, rows);
  if (withChroma) VdChromaOut(job, from, first, rows);
}

void VdPadRows(const VdFrameView& client, unsigned char* nv21, int gw, int gh,
               int first, int rows) {
  const int w = client.width;
  const int h = client.height;
  for (int y = first; y < first + rows; ++y) {
    const int from = y < h ? y : h - 1;
    unsigned char* out = nv21 + static_cast<ptrdiff_t>(y) * gw;
    std::memcpy(out, client.y + static_cast<ptrdiff_t>(from) * client.y_stride,
                w);
    std::memset(out + w, out[w - 1], gw - w);
  }
  const int cw = w / 2;
  const int ch = h / 2;
  const int ps = client.uv_pixel_stride;
  unsigned char* vu = nv21 + static_cast<ptrdiff_t>(gw) * gh;
  for (int y = first / 2; y < (first + rows) / 2; ++y) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y < ch ? y : ch - 1) *
                          client.uv_stride;
    unsigned char* out = vu + static_cast<ptrdiff_t>(y) * gw;
    for (int x = 0; x < gw / 2; ++x) {
      const ptrdiff_t at = static_cast<ptrdiff_t>(x < cw ? x : cw - 1) * ps;
      out[2 * x] = client.v[row + at];
      out[2 * x + 1] = client.u[row + at];
    }
  }
}

void VdCropRows(const unsigned char* nv21, int gw, int gh,
                const VdFrameView& client, int first, int rows) {
  const int w = client.width;
  const int h = client.height;
  const int end = first + rows < h ? first + rows : h;
  for (int y = first; y < end; ++y) {
    std::memcpy(client.y + static_cast<ptrdiff_t>(y) * client.y_stride,
                nv21 + static_cast<ptrdiff_t>(y) * gw, w);
  }
  const int cw = w / 2;
  const int ps = client.uv_pixel_stride;
  const unsigned char* vu = nv21 + static_cast<ptrdiff_t>(gw) * gh;
  for (int y = first / 2; y < end / 2; ++y) {
    const unsigned char* in = vu + static_cast<ptrdiff_t>(y) * gw;
    const ptrdiff_t row = static_cast<ptrdiff_t>(y) * client.uv_stride;
    for (int x = 0; x < cw; ++x) {
      client.v[row + static_cast<ptrdiff_t>(x) * ps] = in[2 * x];
      client.u[row + static_cast<ptrdiff_t>(x) * ps] = in[2 * x + 1];
    }
  }
}
