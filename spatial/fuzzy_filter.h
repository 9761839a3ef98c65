/* The noise-reduction table and the fuzzy filters.
 *
 * Buffer sizes for a direct call: every plane argument that is read or
 * written is width x height bytes (FuzzyFilter_2 touches the first
 * width x height rounded down to a multiple of 4); InitBoxFilterSum writes
 * 2296 bytes. */
#ifndef VD_SPATIAL_FUZZY_FILTER_H_
#define VD_SPATIAL_FUZZY_FILTER_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

#define VD_NR_TABLE_SIZE 67584

/* [level 0..3][pixel 0..255][difference 0..32][direction 0..1]; flat index
 * ((level * 256 + a) * 33 + d) * 2 + s. Starts as InitNRPixelTable(16)
 * builds it; creating a denoiser rebuilds it with InitNRPixelTable(17). */
VD_EXPORT extern unsigned char nr_table[VD_NR_TABLE_SIZE];
VD_EXPORT extern int g_FuzzyHeight;
VD_EXPORT extern int g_FuzzyHeight_2;

/* Fills n difference columns (identity column n - 1 included). */
VD_EXPORT void InitNRPixelTable(int n);
/* out[i] = nr_table[level][cur[i]][diff[i]][sign[i]], four pixels per step;
 * ref is not read. Returns 0. */
VD_EXPORT int FuzzyFilter_2(unsigned char* cur, unsigned char* diff,
                            unsigned char* sign, unsigned char* out,
                            unsigned char* ref, int width, int height,
                            int level);
/* 3x3 range-weighted mean of one plane. */
VD_EXPORT void FuzzyFilter_UV(unsigned char* src, unsigned char* dst,
                              int width, int height, int iEdge);
/* Luma variant: neighbourhood from src, centre from src when guideSel is
 * non-zero, else from guide. unused1, unused2 and unused3 are not read. */
VD_EXPORT void FuzzyFilter(unsigned char* guide, unsigned char* src,
                           unsigned char* unused1, unsigned char* unused2,
                           unsigned char* dst, int width, int height,
                           int iEdge, int guideSel, int unused3);
/* table[i] = i / 9 for i = 0..2295. */
VD_EXPORT void InitBoxFilterSum(unsigned char* table);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_FUZZY_FILTER_H_ */
