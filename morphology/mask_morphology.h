/* Fixed-size binary morphology on motion masks and its stripe wrappers.
 * Kernels read src and write a different dst; edge type as for stripes.
 *
 * Buffer sizes for a direct call. Each kernel takes planes of width x rows
 * bytes (row step = width) and touches nothing before them, but the row
 * walks below are its defined behaviour and some run past the planes: src
 * and dst must each hold the larger of width x rows and the size given.
 *
 * DeleteDiscretePoints (k = 1), Erose5x5 (k = 2) and Dilate9x9 (k = 4)
 * compute interior rows in pairs; each row of a pair covers S bytes from
 * column k, and the next pair starts T = S + width + 2k bytes further on:
 *   S = 32 * ((width - 2k) / 32) + ((width - 2k) % 32 ? 32 - 2k : 0)
 * (0 when width <= 2k, and then nothing past the planes). When S equals
 * width - 2k the walk moves down exactly two rows per pair; at other widths
 * the rows drift sideways and the walk runs past the planes.
 *   DeleteDiscretePoints, Q = rows - 2 interior rows, P = Q / 2 pairs (Q
 *   odd: the last row alone, at P x T):
 *     Q even, > 0: src P x T + 2 x width,       dst P x T + width - 1;
 *     Q odd:       src P x T + S + 2 x width + 2, dst P x T + S + width + 1.
 *   Erose5x5 and Dilate9x9, P = (rows - 4) / 2 pairs, when P >= 1:
 *     src P x T + 2k x width, dst P x T + k x width - k.
 *   For Dilate9x9 at a width with S = width - 8 and an even row count that
 *   is the plane plus its four-row overrun: src (rows + 4) x width.
 * Dilate5x5, width >= 5 and rows >= 5: every row after the first starts 10
 *   bytes further right; src width x rows + 10 x (rows - 5), dst
 *   width x rows + 10 x (rows - 5) - 2 x width - 2.
 * Dilate15x15: the planes.
 *
 * The stripe wrappers run the kernel on each plane from up rows above the
 * stripe (offset - up x width in luma, (offset >> 2) - ((up x width) >> 1)
 * in chroma) with the row counts described in the library's documentation;
 * each plane must hold the kernel's sizes from there. */
#ifndef VD_MORPHOLOGY_MASK_MORPHOLOGY_H_
#define VD_MORPHOLOGY_MASK_MORPHOLOGY_H_

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int DeleteDiscretePoints(unsigned char* src, unsigned char* dst,
                                   int width, int rows, int edgeType,
                                   int unused1, int unused2);
VD_EXPORT int Erose5x5(unsigned char* src, unsigned char* dst, int width,
                       int rows, int edgeType);
VD_EXPORT int Dilate5x5(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType);
/* Computes rows 4 .. rows - 1 and reads four source rows past the last. */
VD_EXPORT int Dilate9x9(unsigned char* src, unsigned char* dst, int width,
                        int rows, int edgeType);
VD_EXPORT int Dilate15x15(unsigned char* src, unsigned char* dst, int width,
                          int rows, int edgeType);
VD_EXPORT int DeleteDiscretePointsProc(sYuvImage_t* src, sYuvImage_t* dst,
                                       int width, int height, int withChroma,
                                       int offset, int edgeType);
VD_EXPORT int EroseProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                           int height, int withChroma, int offset,
                           int edgeType);
VD_EXPORT int DilateProcess(sYuvImage_t* src, sYuvImage_t* dst, int width,
                            int height, int withChroma, int offset,
                            int edgeType);

VD_EXTERN_C_END

#endif /* VD_MORPHOLOGY_MASK_MORPHOLOGY_H_ */
