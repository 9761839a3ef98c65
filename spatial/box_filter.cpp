// Box filters: scalar references, the 7x7 and 11x11 filters, and the
// exported entry points.
#include "spatial/box_filter.h"

#include <cstring>

#include "base/vd_cpu.h"
#include "spatial/box_filter_internal.h"

namespace {

// The mean of every inner pixel, one pixel at a time. The vector
// twins walk the inner rows in pairs (an odd last row on its own) and the
// columns in blocks; since each output reads only the source, the order is
// invisible in the result and this reference simply visits every pixel.
template <int radius, unsigned char (*mean)(uint32_t)>
int BoxFilterScalar(const unsigned char* src, ptrdiff_t ss, unsigned char* dst,
                    ptrdiff_t ds, int width, int rows, int iEdge) {
  VdBoxCopyEdges(src, ss, dst, ds, width, rows, radius, iEdge);
  for (ptrdiff_t y = radius; y < rows - radius; ++y) {
    for (ptrdiff_t x = radius; x < width - radius; ++x) {
      dst[y * ds + x] = mean(VdBoxSum(src + y * ss + x, ss, radius));
    }
  }
  return 1;
}

}  // namespace

void VdBoxCopyEdges(const unsigned char* src, ptrdiff_t ss, unsigned char* dst,
                    ptrdiff_t ds, int width, int rows, int radius, int iEdge) {
  if (width <= 0 || rows <= 0) return;
  const auto copyRows = [&](int first, int end) {
    for (ptrdiff_t y = first; y < end; ++y) {
      std::memcpy(dst + y * ds, src + y * ss, width);
    }
  };
  if (iEdge == 1 || iEdge == 3) copyRows(0, rows < radius ? rows : radius);
  if (iEdge == 1 || iEdge == 2) copyRows(rows > radius ? rows - radius : 0, rows);
  const int left = width < radius ? width : radius;
  const int right = width > radius ? width - radius : 0;
  for (ptrdiff_t y = radius; y < rows - radius; ++y) {
    std::memcpy(dst + y * ds, src + y * ss, left);
    std::memcpy(dst + y * ds + right, src + y * ss + right, width - right);
  }
}

#define VD_BOX_SCALAR(name, radius, mean)                                 \
  int name(const unsigned char* src, ptrdiff_t src_stride,                \
           unsigned char* dst, ptrdiff_t dst_stride, int width, int rows, \
           int iEdge) {                                                   \
    return BoxFilterScalar<radius, mean>(src, src_stride, dst, dst_stride, \
                                         width, rows, iEdge);             \
  }
VD_BOX_SCALAR(BoxFilter3x3_C, 1, VdBoxMean9)
VD_BOX_SCALAR(BoxFilter_C, 2, VdBoxMean25)
VD_BOX_SCALAR(BoxFilter7x7_C, 3, VdBoxMean49)
VD_BOX_SCALAR(BoxFilter_nxn_C, 5, VdBoxMean121)
#undef VD_BOX_SCALAR

void VdInitBoxFilterKernels(BoxFilterKernels* k, int level) {
  k->box3x3 = BoxFilter3x3_C;
  k->box5x5 = BoxFilter_C;
  k->box7x7 = BoxFilter7x7_C;
  k->box11x11 = BoxFilter_nxn_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->box3x3 = BoxFilter3x3_NEON;
    k->box5x5 = BoxFilter_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) k->box3x3 = BoxFilter3x3_SSE2;
  if (level == kVdSimdAvx2) k->box3x3 = BoxFilter3x3_AVX2;
#endif
  (void)level;
}

const BoxFilterKernels& VdBoxFilterKernels(int level) {
  return VdSimdTable<BoxFilterKernels, VdInitBoxFilterKernels>(level);
}

// Each exported filter runs the variant of the process level on a tightly
// packed plane. The kernel point is not read: each function has a fixed
// kernel size.
int BoxFilter3x3(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box3x3(src, width, dst, width,
      width, rows, iEdge);
}

int BoxFilter(unsigned char* src, unsigned char* dst, int width, int rows,
              sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box5x5(src, width, dst, width,
      width, rows, iEdge);
}

int BoxFilter7x7(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box7x7(src, width, dst, width,
      width, rows, iEdge);
}

int BoxFilter_nxn(unsigned char* src, unsigned char* dst, int width, int rows,
                  sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box11x11(src, width, dst, width,
      width, rows, iEdge);
}
