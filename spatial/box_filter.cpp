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
int BoxFilterScalar(const unsigned char* src, unsigned char* dst, int width,
                    int rows, int iEdge) {
  VdBoxCopyEdges(src, dst, width, rows, radius, iEdge);
  const ptrdiff_t w = width;
  for (int y = radius; y < rows - radius; ++y) {
    for (int x = radius; x < width - radius; ++x) {
      const ptrdiff_t i = y * w + x;
      dst[i] = mean(VdBoxSum(src + i, w, radius));
    }
  }
  return 1;
}

}  // namespace

void VdBoxCopyEdges(const unsigned char* src, unsigned char* dst, int width,
                    int rows, int radius, int iEdge) {
  if (width <= 0 || rows <= 0) return;
  const size_t w = static_cast<size_t>(width);
  if (iEdge == 1 || iEdge == 3) {
    const int n = rows < radius ? rows : radius;
    std::memcpy(dst, src, n * w);
  }
  if (iEdge == 1 || iEdge == 2) {
    const int first = rows > radius ? rows - radius : 0;
    std::memcpy(dst + first * w, src + first * w, (rows - first) * w);
  }
  const int left = width < radius ? width : radius;
  const int right = width > radius ? width - radius : 0;
  for (int y = radius; y < rows - radius; ++y) {
    const size_t row = y * w;
    std::memcpy(dst + row, src + row, left);
    std::memcpy(dst + row + right, src + row + right, width - right);
  }
}

int BoxFilter3x3_C(const unsigned char* src, unsigned char* dst, int width,
                   int rows, int iEdge) {
  return BoxFilterScalar<1, VdBoxMean9>(src, dst, width, rows, iEdge);
}

int BoxFilter_C(const unsigned char* src, unsigned char* dst, int width,
                int rows, int iEdge) {
  return BoxFilterScalar<2, VdBoxMean25>(src, dst, width, rows, iEdge);
}

int BoxFilter7x7_C(const unsigned char* src, unsigned char* dst, int width,
                   int rows, int iEdge) {
  return BoxFilterScalar<3, VdBoxMean49>(src, dst, width, rows, iEdge);
}

int BoxFilter_nxn_C(const unsigned char* src, unsigned char* dst, int width,
                    int rows, int iEdge) {
  return BoxFilterScalar<5, VdBoxMean121>(src, dst, width, rows, iEdge);
}

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

// Each exported filter runs the variant of the process level. The kernel
// point is not read: each function has a fixed kernel size.
int BoxFilter3x3(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box3x3(src, dst, width, rows,
                                                  iEdge);
}

int BoxFilter(unsigned char* src, unsigned char* dst, int width, int rows,
              sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box5x5(src, dst, width, rows,
                                                  iEdge);
}

int BoxFilter7x7(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box7x7(src, dst, width, rows,
                                                  iEdge);
}

int BoxFilter_nxn(unsigned char* src, unsigned char* dst, int width, int rows,
                  sVNRPoint* /*kernel*/, int iEdge) {
  return VdBoxFilterKernels(VdSimdLevel()).box11x11(src, dst, width, rows,
                                                    iEdge);
}
