// A view of one 4:2:0 frame in a client's memory: any row strides, chroma
// planar (pixel stride 1) or interleaved (pixel stride 2, either order).
#ifndef VD_IMAGE_FRAME_VIEW_H_
#define VD_IMAGE_FRAME_VIEW_H_

struct VdFrameView {
  int width, height;
  unsigned char* y;
  unsigned char* u;
  unsigned char* v;
  int y_stride, uv_stride;
  int uv_pixel_stride;
};

// A tightly packed NV21 buffer (V first), as the process-wide API takes it.
inline VdFrameView VdNv21View(unsigned char* buffer, int width, int height) {
  unsigned char* vu = buffer + static_cast<long>(width) * height;
  return VdFrameView{width, height, buffer, vu + 1, vu, width, width, 2};
}

// True when the view is a tightly packed NV21 buffer of its size.
inline bool VdIsPackedNv21(const VdFrameView& f) {
  return f.uv_pixel_stride == 2 && f.y_stride == f.width &&
         f.uv_stride == f.width && f.v == f.y + static_cast<long>(f.width) * f.height &&
         f.u == f.v + 1;
}

#endif  // VD_IMAGE_FRAME_VIEW_H_
