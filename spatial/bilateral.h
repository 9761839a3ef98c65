/* Bilateral filters of one 8-bit plane; weights on a scale of 64. */
#ifndef VD_SPATIAL_BILATERAL_H_
#define VD_SPATIAL_BILATERAL_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

VD_EXPORT void CrossBilateralFilter(unsigned char* image, int height,
                                    int width, int sigmaSpatial,
                                    int sigmaRange, unsigned char* work,
                                    unsigned char* guide);
VD_EXPORT void BilateralFilter(unsigned char* image, int height, int width,
                               int sigmaSpatial, int sigmaRange,
                               unsigned char* work);
VD_EXPORT void BilateralFilter_new(unsigned char* src, unsigned char* dst,
                                   int height, int width, int sigmaSpatial,
                                   int sigmaRange, int mode);
VD_EXPORT void bilateral_7x7_neon(unsigned char* src, unsigned char* dst,
                                  int width, int height, int sigmaSpatial,
                                  int sigmaRange);
VD_EXPORT void bilateral_9x9_neon(unsigned char* src, unsigned char* dst,
                                  int width, int height, int sigmaSpatial,
                                  int sigmaRange);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_BILATERAL_H_ */
