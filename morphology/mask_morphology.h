/* Fixed-size binary morphology on motion masks and its stripe wrappers.
 * Kernels read src and write a different dst; edge type as for stripes. */
#ifndef VD_MORPHOLOGY_MASK_MORPHOLOGY_H_
#define VD_MORPHOLOGY_MASK_MORPHOLOGY_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int DeleteDiscretePoints(unsigned char* src, unsigned char* dst,
                                   int width, int rows, int edgeType,
                                   int unused1, int unused2);
VD_EXPORT int Erose5x5(unsigned char* src, unsigned char* dst, int width,
                       int rows, int edgeType);
VD_EXPORT int Dilate5x5(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType);
/* Computes rows 4 .. rows - 1 and reads four source rows past the last. */
VD_EXPORT int Dilate9x9(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType);
VD_EXPORT int Dilate15x15(unsigned char* src, unsigned char* dst, int width,
                          int rows, int edgeType);
VD_EXPORT int DeleteDiscretePointsProc(sYuvImage_t* src, sYuvImage_t* dst,
                                       int width, int height, int withChroma,
                                       int offset, int edgeType);
VD_EXPORT int EroseProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                           int height, int withChroma, int offset,
                           int edgeType);
VD_EXPORT int DilateProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                            int height, int withChroma, int offset,
                            int edgeType);

VD_EXTERN_C_END

#endif /* VD_MORPHOLOGY_MASK_MORPHOLOGY_H_ */
