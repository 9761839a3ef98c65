/* Temporal blending filters and the strength table. Mask bytes below 128
 * are still, 128 and above moving. TemporalFilterS reads and writes
 * width x height planes and nothing outside them. */
#ifndef VD_TEMPORAL_TEMPORAL_FILTER_H_
#define VD_TEMPORAL_TEMPORAL_FILTER_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

/* 8 rows of 9 weights; row r serves a history of r + 1 still frames. */
VD_EXPORT extern double g_dLumaFilterStrength[8][9];

VD_EXPORT void TemporalFilterS(unsigned char* src, unsigned char* ref,
                               unsigned char* mask, unsigned char* out,
                               int width, int height);
VD_EXPORT int TemporalFilter(sYuvImage_t* src, sYuvImage_t* ref,
                             sYuvImage_t* mask, sYuvImage_t* out, int width,
                             int height, int withChroma, int offset);
VD_EXPORT int TemporalFilterMultiFrame(sYuvImage_t* unused, sYuvImage_t* src,
                                       sYuvImage_t* out, sYuvImage_t* history,
                                       sYuvImage_t** prevFrames, int width,
                                       int height, int offset);
VD_EXPORT void InitFilterStrength(double (*table)[9], double a);
VD_EXPORT void InitVideoNR(void);

VD_EXTERN_C_END

#endif /* VD_TEMPORAL_TEMPORAL_FILTER_H_ */
