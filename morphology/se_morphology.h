/* Morphology with a caller-sized rectangular structuring element. src and
 * dst must be different buffers. */
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
