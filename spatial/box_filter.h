/* Box filters, the multi-scale chroma filter and the chroma-filter switch.
 * iEdge: 0 interior stripe, 1 whole frame, 2 bottom stripe, 3 top stripe.
 * The sVNRPoint argument is accepted and never read. */
#ifndef VD_SPATIAL_BOX_FILTER_H_
#define VD_SPATIAL_BOX_FILTER_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

/* 3x3 mean rounded to nearest. */
VD_EXPORT int BoxFilter3x3(unsigned char* src, unsigned char* dst, int width,
                           int rows, sVNRPoint* kernel, int iEdge);
/* 5x5 mean, truncating. */
VD_EXPORT int BoxFilter(unsigned char* src, unsigned char* dst, int width,
                        int rows, sVNRPoint* kernel, int iEdge);
/* 7x7 mean, truncating. */
VD_EXPORT int BoxFilter7x7(unsigned char* src, unsigned char* dst, int width,
                           int rows, sVNRPoint* kernel, int iEdge);
/* 11x11 mean, truncating. */
VD_EXPORT int BoxFilter_nxn(unsigned char* src, unsigned char* dst, int width,
                            int rows, sVNRPoint* kernel, int iEdge);
/* Multi-scale chroma filter using the global chroma work buffers of the
 * given stripe index. */
VD_EXPORT int filterUV(unsigned char* src, unsigned char* dst, int width,
                       int rows, sVNRPoint* kernel, int edge, int up,
                       int down, int level, int stripe);
VD_EXPORT void GetChromaFilterFlag(int level, int* flag);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_BOX_FILTER_H_ */
