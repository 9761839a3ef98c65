/* Morphology with a caller-sized rectangular structuring element. src and
 * dst must be different buffers.
 *
 * Buffer sizes for a direct call on a width x height plane. dst is written
 * only inside its plane (width x height bytes). src, where the window
 * reaches past the plane, must extend as follows (its plane otherwise):
 * - EroseImage, DilateImage, R = element->x >> 1 (arithmetic shift):
 *   x >= 1, y >= 1, 2R < width and 2R < height: the window of a pixel is y
 *   rows by x columns from R rows and R columns up-left, so src needs
 *   (height + y - 2R - 1) x width + x - 2R - 1 bytes when that is more than
 *   the plane (y > 2R + 1 reads y - 2R - 1 rows past the last).
 *   x < 0: the centre rows and columns run from R to the far edge - R, so
 *   src needs -R x (width + 1) bytes before the plane and as many after it.
 * - Morphology (and MorphologyProc per plane), Rx = x / 2 and Ry = y / 2
 *   truncating toward zero: Rx >= 1, Ry >= 1, 2Rx < width and
 *   2Rx < height: the window rows run from Ry above to Ry - 1 below centre
 *   rows Rx .. height - Rx - 1, so src needs (height + Ry - Rx - 1) x width
 *   - 1 bytes when that is more than the plane (Ry > Rx + 1), and, for an
 *   element taller than wide (Ry > Rx), (Ry - Rx) x width bytes before the
 *   plane. Rx < 0: -Rx x (width + 1) bytes before and after the plane.
 * - Erose, Dilate: rows iTop .. iTop + iHeight - 1 at their strides, bytes
 *   0 .. iWidth - 1 of each (iLeft only selects which taps count):
 *   (iTop + iHeight - 1) x srcStride + iWidth bytes of src and
 *   (iTop + iHeight - 1) x dstStride + iWidth of dst, for iTop >= 0.
 * - EroseOrDilate: the plane, and with chroma the I420 block
 *   n + n / 4 + (width / 2) x (height / 2) bytes, n = width x height. */
#ifndef VD_MORPHOLOGY_SE_MORPHOLOGY_H_
#define VD_MORPHOLOGY_SE_MORPHOLOGY_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int EroseImage(unsigned char* src, unsigned char* dst, int width,
                         int height, sVNRPoint* element);
VD_EXPORT int DilateImage(unsigned char* src, unsigned char* dst, int width,
                          int height, sVNRPoint* element);
VD_EXPORT int EroseProc(sYuvImage_t* src, sYuvImage_t* dst, int width,
                        int height, sVNRPoint* element, int withChroma,
                        int offset, int unused);
VD_EXPORT int DilateProc(sYuvImage_t* src, sYuvImage_t* dst, int width,
                         int height, sVNRPoint* element, int withChroma,
                         int offset, int unused);
VD_EXPORT int Morphology(eVNRMorphologyType type, unsigned char* src,
                         unsigned char* dst, int width, int height,
                         sVNRPoint* element, unsigned char unused1,
                         int unused2);
VD_EXPORT int MorphologyProc(eVNRMorphologyType type, sYuvImage_t* src,
                             sYuvImage_t* dst, int width, int height,
                             sVNRPoint* element, unsigned char u,
                             int withChroma, int offset, int v);
VD_EXPORT int Erose(unsigned char* src, unsigned char* dst, int srcStride,
                    int dstStride, sVNRRectangle* rect, sVNRPoint* element,
                    int* unused);
VD_EXPORT int Dilate(unsigned char* src, unsigned char* dst, int srcStride,
                     int dstStride, sVNRRectangle* rect, sVNRPoint* element,
                     int* unused);
/* Type 0 erosion, 1 dilation; any other type logs an error and does
 * nothing. */
VD_EXPORT int EroseOrDilate(eVNRMorphologyType type, unsigned char* src,
                            unsigned char* dst, int width, int height,
                            int withChroma, int* p, sVNRPoint* element,
                            sVNRRectangle* rect);

VD_EXTERN_C_END

#endif /* VD_MORPHOLOGY_SE_MORPHOLOGY_H_ */
