// Morphology with a caller-sized rectangular structuring element: binary
// erosion and dilation of masks, the timed Morphology, and grey-level
// minimum / maximum filters limited to a rectangle. All scalar.
#include "morphology/se_morphology.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "api/vd_instance.h"
#include "base/vd_log.h"

namespace {

// Binary erosion (foreground = any non-zero byte) when erode, else binary
// dilation. Only pixels that can change scan their window, and the scan
// stops at the first witness. The window of (r, c) starts at row r - R and
// column c - R with R = element.x >> 1 in both directions.
void BinaryMorphology(const uint8_t* src, uint8_t* dst, int width, int height,
                      const sVNRPoint* element, bool erode) {
  const ptrdiff_t w = width;
  const int radius = element->x >> 1;
  memcpy(dst, src, w * height);
  for (int r = radius; r < height - radius; ++r) {
    for (int c = radius; c < width - radius; ++c) {
      const bool set = src[r * w + c] != 0;
      if (set != erode || element->y <= 0) continue;
      const uint8_t* window = src + (r - radius) * w + (c - radius);
      bool witness = false;
      for (int j = 0; j < element->y && !witness; ++j) {
        for (int i = 0; i < element->x; ++i) {
          if ((window[j * w + i] != 0) != erode) {
            witness = true;
            break;
          }
        }
      }
      if (witness) dst[r * w + c] = erode ? 0 : 255;
    }
  }
}

typedef int (*PlaneOp)(unsigned char*, unsigned char*, int, int, sVNRPoint*);

// The plane operation on the stripe's luma and, on request, on the U and V
// planes at a quarter of the offset and half the size.
int ApplyToImage(PlaneOp op, sYuvImage_t* src, sYuvImage_t* dst, int width,
                 int height, sVNRPoint* element, int withChroma, int offset) {
  int result = op(src->pY + offset, dst->pY + offset, width, height, element);
  if (withChroma) {
    const int chroma = offset >> 2;
    result = op(src->pU + chroma, dst->pU + chroma, width >> 1, height >> 1,
                element);
    result = op(src->pV + chroma, dst->pV + chroma, width >> 1, height >> 1,
                element);
  }
  return result;
}

// Minimum (erode) or maximum filter over the rows of rect. Taps are read at
// columns counted from the row start (k - Rx + i) and counted only when
// left - Rx + k + i falls inside the rectangle; tap rows above the
// rectangle are skipped and the first one below it ends the scan.
int RectMorphology(const uint8_t* src, uint8_t* dst, int srcStride,
                   int dstStride, const sVNRRectangle* rect,
                   const sVNRPoint* element, bool erode) {
  if (!src || !dst || !rect || !element) return 1;
  const int top = rect->iTop;
  const int bottom = top + rect->iHeight;
  const int left = rect->iLeft;
  const int right = left + rect->iWidth;
  const int rx = element->x >> 1;
  const int ry = element->y >> 1;
  if (top >= bottom) return 1;
  for (int r = top; r < bottom; ++r) {
    for (int k = 0; k < rect->iWidth; ++k) {
      uint8_t m = erode ? 255 : 0;
      for (int j = 0; j < element->y; ++j) {
        const int t = r - ry + j;
        if (t < top) continue;
        if (t >= bottom) break;
        const uint8_t* row = src + static_cast<ptrdiff_t>(t) * srcStride;
        for (int i = 0; i < element->x; ++i) {
          const int column = left - rx + k + i;
          if (column < left || column >= right) continue;
          const uint8_t v = row[k - rx + i];
          if (erode ? v < m : v > m) m = v;
        }
      }
      dst[static_cast<ptrdiff_t>(r) * dstStride + k] = m;
    }
  }
  return 1;
}

}  // namespace

extern "C" int EroseImage(unsigned char* src, unsigned char* dst, int width,
                          int height, sVNRPoint* element) {
  BinaryMorphology(src, dst, width, height, element, true);
  return 1;
}

extern "C" int DilateImage(unsigned char* src, unsigned char* dst, int width,
                           int height, sVNRPoint* element) {
  BinaryMorphology(src, dst, width, height, element, false);
  return 1;
}

extern "C" int EroseProc(sYuvImage_t* src, sYuvImage_t* dst, int width,
                         int height, sVNRPoint* element, int withChroma,
                         int offset, int /*unused*/) {
  return ApplyToImage(EroseImage, src, dst, width, height, element,
                      withChroma, offset);
}

extern "C" int DilateProc(sYuvImage_t* src, sYuvImage_t* dst, int width,
                          int height, sVNRPoint* element, int withChroma,
                          int offset, int /*unused*/) {
  return ApplyToImage(DilateImage, src, dst, width, height, element,
                      withChroma, offset);
}

namespace {

// The type as the int a C caller passed. A C client may pass any int (a type
// above 1 behaves as dilation), but in C++ a value outside 0..1 is not a
// valid value of the enumeration, so it is never loaded as one: its bytes
// are read as an int instead.
static_assert(sizeof(eVNRMorphologyType) == sizeof(int), "enum size");
int TypeValue(const eVNRMorphologyType* type) {
  int value;
  memcpy(&value, type, sizeof(value));
  return value;
}

int MorphologyPlane(int type, unsigned char* src, unsigned char* dst,
                    int width, int height, sVNRPoint* element) {
  // The byte that may change: 255 for erosion, 0 for dilation and for any
  // other type.
  static const uint8_t kTarget[2] = {255, 0};
  const uint8_t target =
      static_cast<unsigned>(type) <= 1u ? kTarget[type] : 0;
  const uint8_t witness = 255 - target;
  const ptrdiff_t w = width;
  const int rx = element->x / 2;
  const int ry = element->y / 2;
  memcpy(dst, src, w * height);
  const int64_t start = VD_OS_Milliseconds();
  // Rows as well as columns are bounded by the horizontal half-size; the
  // window of (r, c) is rows r - Ry .. r + Ry - 1 and columns
  // c - Rx .. c + Rx - 1, one short of the centre's far side.
  for (int r = rx; r < height - rx; ++r) {
    for (int c = rx; c < width - rx; ++c) {
      if (src[r * w + c] != target) continue;
      bool found = false;
      for (int y = r - ry; y < r + ry && !found; ++y) {
        for (int x = c - rx; x < c + rx; ++x) {
          if (src[y * w + x] == witness) {
            found = true;
            break;
          }
        }
      }
      if (found) dst[r * w + c] = witness;
    }
  }
  const int64_t elapsed = VD_OS_Milliseconds() - start;
  VdLog(VD_LOG_ERROR, VD_LOG_TAG, "morphology total:%lld\n",
        static_cast<long long>(elapsed));
  return 1;
}

}  // namespace

extern "C" int Morphology(eVNRMorphologyType type, unsigned char* src,
                          unsigned char* dst, int width, int height,
                          sVNRPoint* element, unsigned char /*unused1*/,
                          int /*unused2*/) {
  return MorphologyPlane(TypeValue(&type), src, dst, width, height, element);
}

extern "C" int MorphologyProc(eVNRMorphologyType type, sYuvImage_t* src,
                              sYuvImage_t* dst, int width, int height,
                              sVNRPoint* element, unsigned char /*u*/,
                              int withChroma, int offset, int /*v*/) {
  const int t = TypeValue(&type);
  MorphologyPlane(t, src->pY + offset, dst->pY + offset, width, height,
                  element);
  if (withChroma) {
    const int chroma = offset >> 2;
    MorphologyPlane(t, src->pU + chroma, dst->pU + chroma, width >> 1,
                    height >> 1, element);
    MorphologyPlane(t, src->pV + chroma, dst->pV + chroma, width >> 1,
                    height >> 1, element);
  }
  return 1;
}

extern "C" int Erose(unsigned char* src, unsigned char* dst, int srcStride,
                     int dstStride, sVNRRectangle* rect, sVNRPoint* element,
                     int* /*unused*/) {
  return RectMorphology(src, dst, srcStride, dstStride, rect, element, true);
}

extern "C" int Dilate(unsigned char* src, unsigned char* dst, int srcStride,
                      int dstStride, sVNRRectangle* rect, sVNRPoint* element,
                      int* /*unused*/) {
  return RectMorphology(src, dst, srcStride, dstStride, rect, element, false);
}

extern "C" int EroseOrDilate(eVNRMorphologyType type, unsigned char* src,
                             unsigned char* dst, int width, int height,
                             int withChroma, int* p, sVNRPoint* element,
                             sVNRRectangle* /*rect*/) {
  int (*op)(unsigned char*, unsigned char*, int, int, sVNRRectangle*,
            sVNRPoint*, int*);
  const int t = TypeValue(&type);
  if (t == MORPH_EROSE) {
    op = Erose;
  } else if (t == MORPH_DILATE) {
    op = Dilate;
  } else {
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "EroseOrDilate: unknown morphology type %d, nothing done\n", t);
    return 1;
  }
  // The whole plane as the rectangle; with chroma, src and dst are one-block
  // I420 images and the U and V planes follow the luma.
  sVNRRectangle whole = {0, 0, width, height};
  op(src, dst, width, width, &whole, element, p);
  if (withChroma) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(width) * height;
    whole.iWidth = width >> 1;
    whole.iHeight = height >> 1;
    op(src + n, dst + n, width >> 1, width >> 1, &whole, element, p);
    op(src + n + (n >> 2), dst + n + (n >> 2), width >> 1, width >> 1, &whole,
       element, p);
  }
  return 1;
}
