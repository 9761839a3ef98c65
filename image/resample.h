/* Resampling of one 8-bit plane: general resizers (double precision) and the
 * fixed-ratio scalers of the chroma path.
 *
 * Buffer sizes for a direct call (a plane of r rows s bytes apart, rows w
 * bytes long, is (r - 1) x s + w bytes). No function touches a byte outside
 * these:
 * - ResizeNearestNeighbor, ResizeBilinear: src srcHeight rows of srcWidth
 *   at srcStride, dst dstHeight rows of dstWidth at dstStride.
 * - ResizeNearestNeighbor2: src (15 x (dstHeight / 2) + 4) x srcStride + 4
 *   bytes (3 x srcStride + 4 for one output row), dst dstWidth x dstHeight.
 * - DownScaleNewX16: src width x height, dst (width / 4) x (height / 4).
 * - DownScale: src 2 x (height / 2) rows of 2 x (width / 2) at srcStride,
 *   dst height / 2 rows of width / 2 at srcStride / 2.
 * - UpScaleX64: src width x height, dst 64 x width x height.
 * - UpScaleNewX16: src width x height, dst 16 x width x height.
 * - UpScale: src width x height, dst 2 x height rows of 2 x width at
 *   dstStride. */
#ifndef VD_IMAGE_RESAMPLE_H_
#define VD_IMAGE_RESAMPLE_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

/* Nearest neighbour without half-pixel offset; returns 1. */
VD_EXPORT int ResizeNearestNeighbor(unsigned char* src, int srcWidth,
                                    int srcHeight, int srcStride,
                                    unsigned char* dst, int dstWidth,
                                    int dstHeight, int dstStride);
/* Fixed-grid sampler that ramps (and modifies) the sampled source bytes. */
VD_EXPORT void ResizeNearestNeighbor2(unsigned char* src, int srcWidth,
                                      int srcHeight, int srcStride,
                                      unsigned char* dst, int dstWidth,
                                      int dstHeight, int dstStride);
/* Bilinear, truncating; returns 1. */
VD_EXPORT int ResizeBilinear(unsigned char* src, int srcWidth, int srcHeight,
                             int srcStride, unsigned char* dst, int dstWidth,
                             int dstHeight, int dstStride);
/* 4x4 block mean (sum + 8) >> 4; output rows packed at width / 4. */
VD_EXPORT int DownScaleNewX16(unsigned char* src, int height, int width,
                              unsigned char* dst);
/* 2x2 block mean (sum + 2) >> 2; destination rows srcStride / 2 apart. */
VD_EXPORT void DownScale(unsigned char* src, int height, int width,
                         int srcStride, unsigned char* dst);
/* 8x bilinear enlargement to 8w x 8h; the fourth argument is not read. */
VD_EXPORT void UpScaleX64(unsigned char* src, int height, int width,
                          int unused, unsigned char* dst);
/* 4x bilinear enlargement to 4w x 4h. */
VD_EXPORT void UpScaleNewX16(unsigned char* src, int height, int width,
                             unsigned char* dst);
/* 2x pixel-centred bilinear enlargement (weights 12 : 4 in sixteenths, edge
 * samples repeated) of a packed height x width plane src into 2 * height
 * rows of 2 * width bytes, dstStride bytes apart, at dst. */
VD_EXPORT void UpScale(unsigned char* src, int height, int width,
                       int dstStride, unsigned char* dst);

VD_EXTERN_C_END

#endif /* VD_IMAGE_RESAMPLE_H_ */
