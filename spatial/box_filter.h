/* Box filters, the multi-scale chroma filter and the chroma-filter switch.
 * iEdge: 0 interior stripe, 1 whole frame, 2 bottom stripe, 3 top stripe.
 * The sVNRPoint argument is accepted and never read.
 *
 * Buffer sizes for a direct call: the box filters read src and write dst
 * inside their width x rows planes only. filterUV (S = 4 for level 0 or 1,
 * else 8; up, down >= 0) reads the whole 4 x 4 blocks of the width x rows
 * src plane, uses the stripe's work buffers p_uvSpaBuff_1, p_uvSpaBuff_2
 * ((width / 4) x (rows / 4) bytes, (width / S) x (rows / S) suffice for the
 * second) and p_uvSpaBuff_3 ((width / 8) x (rows / 8), S = 8 only), and
 * writes dst from row up: up x width bytes plus, with
 * m = rows / S - up / S - down / S > 0, S x m rows of S x (width / S)
 * bytes, packed. */
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
