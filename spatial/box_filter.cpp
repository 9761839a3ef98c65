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

// The kernel point is not read: each function has a fixed kernel size.

// Each exported filter starts from the scalar reference and takes the best
// twin the processor level allows (base/vd_cpu.h).
using BoxFilterFn = int (*)(const unsigned char*, unsigned char*, int, int,
                            int);

int BoxFilter3x3(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  BoxFilterFn filter = BoxFilter3x3_C;
#if defined(__ARM_NEON)
  if (VdSimdLevel() == kVdSimdNeon) filter = BoxFilter3x3_NEON;
#elif defined(VD_X86_SIMD)
  const int level = VdSimdLevel();
  if (level >= kVdSimdSse2) filter = BoxFilter3x3_SSE2;
  if (level >= kVdSimdAvx2) filter = BoxFilter3x3_AVX2;
#endif
  return filter(src, dst, width, rows, iEdge);
}

int BoxFilter(unsigned char* src, unsigned char* dst, int width, int rows,
              sVNRPoint* /*kernel*/, int iEdge) {
  BoxFilterFn filter = BoxFilter_C;
#if defined(__ARM_NEON)
  if (VdSimdLevel() == kVdSimdNeon) filter = BoxFilter_NEON;
#endif
  return filter(src, dst, width, rows, iEdge);
}

int BoxFilter7x7(unsigned char* src, unsigned char* dst, int width, int rows,
                 sVNRPoint* /*kernel*/, int iEdge) {
  return BoxFilter7x7_C(src, dst, width, rows, iEdge);
}

int BoxFilter_nxn(unsigned char* src, unsigned char* dst, int width, int rows,
                  sVNRPoint* /*kernel*/, int iEdge) {
  return BoxFilter_nxn_C(src, dst, width, rows, iEdge);
}
