/* Motion masks: absolute differences, thresholded masks (255 = moved,
 * 0 = still), clamped differences with sign, thresholds and motion history.
 * Image-level routines take the luma region (width x height, luma byte
 * offset) and apply the plane kernel to U and V at (width >> 1) x
 * (height >> 1) and offset >> 2 when the chroma flag is set.
 *
 * Buffer sizes for a direct call: every plane is width x height bytes and
 * nothing outside it is touched. The vector kernels (the _neon names) walk
 * row pairs of whole 16- or 32-pixel blocks and stay inside the plane at
 * any width; a row's tail is left alone. CalSADImage_neon, CalDiffAbs_neon
 * (16) and CalSAD_threshhold_neon (32): with S = width rounded down to whole
 * blocks, pair p = 0 .. height / 2 - 1 covers the bytes p x (S + width) +
 * [0, S) and p x (S + width) + width + [0, S), so at a width that is not a
 * multiple of the block later pairs start width mod block bytes earlier
 * per pair than a row pair would. CalSADImage takes height rows
 * stride bytes apart: (height - 1) x stride + width bytes. MotionDetection
 * with the chroma flag and height >= 2 takes mask and history as I420
 * blocks: n + n / 4 + (width / 2) x (height / 2) bytes, n = width x height.
 * AdaptiveThreshold allocates width x height 32-bit sums of its own. */
#ifndef VD_TEMPORAL_MOTION_MASK_H_
#define VD_TEMPORAL_MOTION_MASK_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int CalSADImage(unsigned char* first, unsigned char* second,
                          unsigned char* out, int width, int height,
                          int stride);
VD_EXPORT void CalSADImage_neon(unsigned char* first, unsigned char* second,
                                unsigned char* out, int width, int height);
VD_EXPORT void CalYuvImageSAD(sYuvImage_t* first, sYuvImage_t* second,
                              sYuvImage_t* out, int width, int height,
                              int withChroma, int offset, int unused);
VD_EXPORT void CalSAD_threshhold_neon(unsigned char* first,
                                      unsigned char* second,
                                      unsigned char* out, int width,
                                      int height, unsigned char threshold);
VD_EXPORT void CalSAD_threshholdProc(sYuvImage_t* first, sYuvImage_t* second,
                                     sYuvImage_t* out, int width, int height,
                                     int withChroma, unsigned char threshold,
                                     int offset);
VD_EXPORT void CalDiffAbs_neon(unsigned char* first, unsigned char* second,
                               unsigned char* diff, unsigned char* sign,
                               int width, int height, int unused);
VD_EXPORT int ThresholdImage2(unsigned char* unused, unsigned char* in,
                              unsigned char* out, int width, int height,
                              unsigned char threshold, unsigned char value);
VD_EXPORT void ThresholdImage2_neon(unsigned char* unused, unsigned char* in,
                                    unsigned char* out, int width, int height,
                                    unsigned char threshold,
                                    unsigned char value);
VD_EXPORT void ThresholdImage(sYuvImage_t* first, sYuvImage_t* in,
                              sYuvImage_t* out, int width, int height,
                              unsigned char threshold, unsigned char value,
                              int withChroma, int offset);
VD_EXPORT int Threshold(unsigned char* in, unsigned char* out, int width,
                        int height, int threshold, int value);
VD_EXPORT int AdaptiveThreshold(unsigned char* in, unsigned char* out,
                                int width, int height, int minLevel);
VD_EXPORT int AdaptiveThresholdProc(sYuvImage_t* in, sYuvImage_t* out,
                                    int width, int height, int minLevel,
                                    int withChroma, int offset);
VD_EXPORT int AdaptiveThresholdImage(sYuvImage_t* in, sYuvImage_t* out,
                                     int unused);
VD_EXPORT int MotionDetection(unsigned char* mask, unsigned char* history,
                              int width, int height, int bitNumber,
                              int withChroma, int unused);
VD_EXPORT int MotionCounter(unsigned char* mask, unsigned char* counter,
                            int width, int height, int shift);

VD_EXTERN_C_END

#endif /* VD_TEMPORAL_MOTION_MASK_H_ */
