/* 3x3 Laplacian sharpening with a gain of one quarter. */
#ifndef VD_SPATIAL_SHARPNESS_H_
#define VD_SPATIAL_SHARPNESS_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

VD_EXPORT void VideoDenoiseSharpness(unsigned char* src, unsigned char* dst,
                                     int width, int height, int iEdge);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_SHARPNESS_H_ */
