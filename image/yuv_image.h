/* The YUV image record and its ten operations. Compiles as C99 and C++17. */
#ifndef VD_IMAGE_YUV_IMAGE_H_
#define VD_IMAGE_YUV_IMAGE_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

/* Chroma layout of an image: size of each of the U and V planes relative to
 * the n luma samples. */
typedef enum tagYUVFile_Type {
  YUV_420 = 1, /* n / 4 */
  YUV_422 = 2, /* n / 2 */
  YUV_444 = 3  /* n */
} tagYUVFile_Type;

/* Geometry, format tag and three plane pointers. Planes are tightly packed
 * (row step = width). For a 4:2:0 one-block image: pY = pBuffer,
 * pU = pBuffer + n, pV = pBuffer + n + n / 4. A record that describes an NV21
 * frame uses the same pointers, pU then being the interleaved V/U plane. */
typedef struct sYuvImage_t {
  int32_t iWidth;
  int32_t iHeight;
  int32_t iStride; /* = iWidth; sizes are always iWidth x iHeight */
  int32_t iFrameRate;
  int32_t iComponents;
  int32_t iBitDepth;
  tagYUVFile_Type eYuvType;
  unsigned char* pBuffer;
  unsigned char* pY;
  unsigned char* pU;
  unsigned char* pV;
} sYuvImage_t;

/* One-block 4:2:0 image of (3 * w * h) / 2 bytes, contents not initialised.
 * Null on failure (a record whose block failed is not released). */
VD_EXPORT sYuvImage_t* MallocYuv(int width, int height);
/* Three separate zero-filled planes of bitDepth / 8 bytes per sample. */
VD_EXPORT sYuvImage_t* CreateYuvImage(int width, int height, int components,
                                      int bitDepth, tagYUVFile_Type type,
                                      int frameRate);
/* Allocates width * height bytes (luma only) and points the record's planes
 * at it by the one-block rule. Returns the block. */
VD_EXPORT unsigned char* MallocByteToImage(int width, int height,
                                           sYuvImage_t* image);
VD_EXPORT void FreeByteFromImage(unsigned char** block, sYuvImage_t* image);
/* Releases a MallocYuv record; the caller's pointer is left as it was. */
VD_EXPORT void DeleteYuv(sYuvImage_t** image, int width, int height);
/* Releases the three planes of a CreateYuvImage record and clears the
 * caller's pointer; the record itself is not released. */
VD_EXPORT void DeleteYuvImage(sYuvImage_t** image);
VD_EXPORT void SetYUV(sYuvImage_t* image, int length, int offset,
                      int withChroma);
VD_EXPORT void CopyYuv(sYuvImage_t* src, sYuvImage_t* dst, int length,
                       int offset, int withChroma);
VD_EXPORT void CopyYuvImageData(sYuvImage_t* src, sYuvImage_t* dst,
                                int withChroma);
VD_EXPORT void CopyYuvImage(sYuvImage_t* src, sYuvImage_t* dst);

VD_EXTERN_C_END

#endif /* VD_IMAGE_YUV_IMAGE_H_ */
