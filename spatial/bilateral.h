/* Bilateral filters of one 8-bit plane; weights on a scale of 64 (a full
 * weight is 64, a product of two 4096). Planes are tightly packed (row step =
 * width). Every function returns at once, writing nothing, when sigmaSpatial
 * or sigmaRange is 0 or negative. The weight of a distance or difference x
 * for a sigma s is (int)(0.5 + 64 * exp(x * (x * -0.5f) / s / s)).
 *
 * CrossBilateralFilter: separable cross filter with radius 3 (sigmaSpatial
 * <= 2) or 4. Range weights come from differences of the guide plane and are
 * 0 beyond 2 * sigmaRange (meant for sigmaRange below 128; from 128 on no
 * difference is cut off). The horizontal pass writes work (the first and
 * last R columns copied, the whole row when it is narrower than R), the
 * vertical pass writes image back from work (the first and last R rows keep
 * their input). Each output is (A + (W >> 1)) / W in integers. Allocates the
 * small spatial table and writes nothing if that fails.
 *
 * BilateralFilter copies image to work and filters work back into image;
 * BilateralFilter_new filters src into dst. Both pick a kernel as follows:
 * BilateralFilter and mode 2 use the 7 x 7 kernel for sigmaSpatial <= 2 and
 * the 9 x 9 kernel otherwise, mode 0 always the 9 x 9 kernel, any other mode
 * the 7 x 7 kernel.
 *
 * bilateral_7x7_neon (radius R = 3) and bilateral_9x9_neon (R = 4) filter src
 * into dst (no overlap) for any width, height >= 1. Both are plain bilateral
 * filters done as a horizontal pass followed by a vertical pass over the
 * horizontal results, each pass giving a byte:
 *  - range table of 16 bytes: entry d holds w(d) for sigmaRange when
 *    d <= min(2 * sigmaRange, 15), else 0; a difference of 16 or more
 *    weighs 0;
 *  - a tap at distance k = 1 .. R has the spatial weight w(k) for
 *    sigmaSpatial; a neighbour weighs range[|neighbour - centre|] times its
 *    spatial weight, the centre 4096. In the vertical pass the differences
 *    are taken between horizontal results;
 *  - each pass output is the weighted sum times the reciprocal of the
 *    weight sum (NEON estimate refined by two Newton-Raphson steps, computed
 *    in single precision) plus 0.5, truncated;
 *  - neighbours outside the plane are mirror images without repeating the
 *    edge: row -k reads row k and row height-1+k reads row height-1-k,
 *    columns likewise. In a plane smaller than the window, a mirrored index
 *    that still falls outside is clamped to the nearest row or column.
 * The NEON build and the portable build give identical bytes.
 *
 * Buffer sizes for a direct call: image, work, guide, src and dst are each
 * width x height bytes; nothing outside them is touched. */
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
