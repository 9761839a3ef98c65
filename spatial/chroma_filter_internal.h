// The multi-scale chroma filter on explicit work buffers.
#ifndef VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_
#define VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_

int VdFilterUV(unsigned char* src, unsigned char* dst, int width, int rows,
               int up, int down, int level, unsigned char* b1,
               unsigned char* b2, unsigned char* b3);

#endif  // VD_SPATIAL_CHROMA_FILTER_INTERNAL_H_
