/* NV21 <-> planar I420 conversion, whole frames and horizontal stripes.
 *
 * Chroma moves in whole blocks of 8 pairs with no scalar tail: when a
 * frame's or stripe's chroma sample count is not a multiple of 8, the last
 * block reads up to 7 planar samples (14 interleaved bytes) past the end of
 * the source range and writes as far past the end of the destination range.
 * Callers provide chroma sizes that are multiples of 8, or buffers with that
 * much slack. Stripe forms take the luma byte offset of the stripe's first
 * row; their chroma starts at offset >> 2 in each planar plane and at
 * 2 * (offset >> 2) in the interleaved plane.
 *
 * Buffer sizes of the whole-frame forms, n = width x height:
 * - ConvertI420ToNV21, q = n / 4, B = (q + 7) / 8 blocks: src
 *   n + q + 8B bytes, dst n + 16B (n each when q is 0);
 * - ConvertNV21ToI420, B = (n / 2 + 15) / 16 blocks: src n + 16B bytes,
 *   dst n + n / 4 + 8B (n each when n / 2 is 0).
 * The stripe forms need the same from their offsets with n = width x rows:
 * luma n bytes; planar chroma (n >> 2) rounded up to whole blocks of 8 from
 * pU + (offset >> 2) and pV + (offset >> 2); interleaved chroma twice that
 * from pU + 2 * (offset >> 2) (NV21 to I420 splits (n >> 1) bytes in blocks
 * of 16). */
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
