/* NV21 <-> planar I420 conversion, whole frames and horizontal stripes.
 *
 * Chroma moves in whole blocks of 8 pairs with no scalar tail: when a
 * frame's or stripe's chroma sample count is not a multiple of 8, the last
 * block reads up to 7 planar samples (14 interleaved bytes) past the end of
 * the source range and writes as far past the end of the destination range.
 * Callers provide chroma sizes that are multiples of 8, or buffers with that
 * much slack. Stripe forms take the luma byte offset of the stripe's first
 * row; their chroma starts at offset >> 2 in each planar plane and at
 * 2 * (offset >> 2) in the interleaved plane. */
#ifndef VD_IMAGE_CONVERT_H_
#define VD_IMAGE_CONVERT_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

VD_EXPORT void ConvertI420ToNV21(unsigned char* src, unsigned char* dst,
                                 int width, int height);
VD_EXPORT void ConvertNV21ToI420(unsigned char* src, unsigned char* dst,
                                 int width, int height);
/* Luma is copied between the two records' pBuffer. */
VD_EXPORT void ConvertI420ToNV21_YUV(sYuvImage_t* src, sYuvImage_t* dst,
                                     int width, int rows, int offset,
                                     int withChroma);
/* Luma is copied between the two records' pY. */
VD_EXPORT void ConvertNV21ToI420_YUV(sYuvImage_t* src, sYuvImage_t* dst,
                                     int width, int rows, int offset,
                                     int withChroma);
/* Chroma only; the destination's luma is not touched. */
VD_EXPORT void ConvertNV21ToI420_UV(sYuvImage_t* src, sYuvImage_t* dst,
                                    int width, int rows, int offset);

VD_EXTERN_C_END

#endif /* VD_IMAGE_CONVERT_H_ */
