#include "image/yuv_image.h"

#include <cstring>

#include "base/vd_alloc.h"
#include "image/yuv_image_internal.h"

namespace {

void SetOneBlockPlanes(sYuvImage_t* image, unsigned char* block, int width,
                       int height) {
  int n = width * height;
  image->pY = block;
  image->pU = block + n;
  image->pV = block + n + n / 4;
}

int ChromaSize(int n, int type) {
  switch (type) {
    case YUV_420: return n >> 2;
    case YUV_422: return n >> 1;
    case YUV_444: return n;
    default: return -1;
  }
}

sYuvImage_t* AllocRecord(int width, int height, bool releaseOnFailure,
                         size_t padBytes, bool zeroFill) {
  sYuvImage_t* image =
      static_cast<sYuvImage_t*>(VdMalloc(sizeof(sYuvImage_t)));
  if (!image) return nullptr;
  std::memset(image, 0, sizeof(*image));
  image->iComponents = 3;
  image->iBitDepth = 8;
  image->iFrameRate = 30;
  image->iWidth = width;
  image->iHeight = height;
  image->eYuvType = YUV_420;
  image->iStride = width;
  size_t size = static_cast<size_t>((3 * width * height) / 2) + padBytes;
  unsigned char* block = static_cast<unsigned char*>(
      zeroFill ? VdCalloc(size, 1) : VdMalloc(size));
  if (!block) {
    if (releaseOnFailure) VdFree(image);
    return nullptr;
  }
  image->pBuffer = block;
  SetOneBlockPlanes(image, block, width, height);
  return image;
}

}  // namespace

sYuvImage_t* VdMallocYuvEx(int width, int height, size_t padBytes,
                           int zeroFill) {
  return AllocRecord(width, height, true, padBytes, zeroFill != 0);
}

// The record of a failed MallocYuv/CreateYuvImage is released as well: the
// caller never sees it, so keeping it would only leak.
extern "C" sYuvImage_t* MallocYuv(int width, int height) {
  return AllocRecord(width, height, true, 0, false);
}

extern "C" sYuvImage_t* CreateYuvImage(int width, int height, int components,
                                       int bitDepth, tagYUVFile_Type type,
                                       int frameRate) {
  sYuvImage_t* image =
      static_cast<sYuvImage_t*>(VdMalloc(sizeof(sYuvImage_t)));
  if (!image) return nullptr;
  std::memset(image, 0, sizeof(*image));
  int n = (bitDepth / 8) * (width * height);
  int c = ChromaSize(n, type);
  if (c < 0) {
    VdFree(image);
    return nullptr;
  }
  // Zero-size planes (bitDepth below 8) still get a distinct allocation.
  image->pY = static_cast<unsigned char*>(VdMalloc(n > 0 ? n : 1));
  image->pU = static_cast<unsigned char*>(VdMalloc(c > 0 ? c : 1));
  image->pV = static_cast<unsigned char*>(VdMalloc(c > 0 ? c : 1));
  if (!image->pY || !image->pU || !image->pV) {
    VdFree(image->pY);
    VdFree(image->pU);
    VdFree(image->pV);
    VdFree(image);
    return nullptr;
  }
  if (n > 0) std::memset(image->pY, 0, n);
  if (c > 0) {
    std::memset(image->pU, 0, c);
    std::memset(image->pV, 0, c);
  }
  image->iBitDepth = bitDepth;
  image->iComponents = components;
  image->iHeight = height;
  image->iStride = width;
  image->eYuvType = type;
  image->iWidth = width;
  image->iFrameRate = frameRate;
  return image;
}

extern "C" unsigned char* MallocByteToImage(int width, int height,
                                            sYuvImage_t* image) {
  size_t n = static_cast<size_t>(width) * height;
  unsigned char* block = static_cast<unsigned char*>(VdMalloc(n ? n : 1));
  if (!block) return nullptr;
  SetOneBlockPlanes(image, block, width, height);
  return block;
}

extern "C" void FreeByteFromImage(unsigned char** block, sYuvImage_t* image) {
  if (!*block) return;
  VdFree(*block);
  image->pY = nullptr;
  image->pU = nullptr;
  image->pV = nullptr;
}

extern "C" void DeleteYuv(sYuvImage_t** image, int, int) {
  sYuvImage_t* record = *image;
  if (!record) return;
  if (record->pBuffer) VdFree(record->pBuffer);
  record->pBuffer = nullptr;
  record->pY = nullptr;
  record->pU = nullptr;
  record->pV = nullptr;
  VdFree(record);
}

extern "C" void DeleteYuvImage(sYuvImage_t** image) {
  if (!image || !*image) return;
  sYuvImage_t* record = *image;
  unsigned char** planes[3] = {&record->pY, &record->pU, &record->pV};
  for (unsigned char** plane : planes) {
    if (*plane) {
      VdFree(*plane);
      *plane = nullptr;
    }
  }
  *image = nullptr;
}

extern "C" void SetYUV(sYuvImage_t* image, int length, int offset,
                       int withChroma) {
  std::memset(image->pY + offset, 0, length);
  if (!withChroma) return;
  std::memset(image->pU + (offset >> 2), 0, length >> 2);
  std::memset(image->pV + (offset >> 2), 0, length >> 2);
}

extern "C" void CopyYuv(sYuvImage_t* src, sYuvImage_t* dst, int length,
                        int offset, int withChroma) {
  std::memcpy(dst->pY + offset, src->pY + offset, length);
  if (!withChroma) return;
  std::memcpy(dst->pU + (offset >> 2), src->pU + (offset >> 2), length >> 2);
  std::memcpy(dst->pV + (offset >> 2), src->pV + (offset >> 2), length >> 2);
}

extern "C" void CopyYuvImageData(sYuvImage_t* src, sYuvImage_t* dst,
                                 int withChroma) {
  if (!src || !dst) return;
  int n = src->iWidth * src->iHeight;
  std::memcpy(dst->pY, src->pY, n);
  if (!withChroma) return;
  int c = ChromaSize(n, src->eYuvType);
  if (c < 0) return;
  std::memcpy(dst->pU, src->pU, c);
  std::memcpy(dst->pV, src->pV, c);
}

extern "C" void CopyYuvImage(sYuvImage_t* src, sYuvImage_t* dst) {
  if (!src || !dst) return;
  dst->iWidth = src->iWidth;
  dst->iHeight = src->iHeight;
  dst->iStride = src->iStride;
  dst->iFrameRate = src->iFrameRate;
  dst->iComponents = src->iComponents;
  dst->iBitDepth = src->iBitDepth;
  dst->eYuvType = src->eYuvType;
  CopyYuvImageData(src, dst, 3);
}
