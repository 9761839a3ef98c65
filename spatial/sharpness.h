/* 3x3 Laplacian sharpening with a gain of one quarter. src and dst are
 * width x height planes; nothing outside them is touched. */
#ifndef VD_SPATIAL_SHARPNESS_H_
#define VD_SPATIAL_SHARPNESS_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

VD_EXPORT void VideoDenoiseSharpness(unsigned char* src, unsigned char* dst,
                                     int width, int height, int iEdge);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_SHARPNESS_H_ */
