// Allocation of the instance's frame images and chroma work buffers.
#ifndef VD_API_FRAME_BUFFERS_INTERNAL_H_
#define VD_API_FRAME_BUFFERS_INTERNAL_H_

#include <stddef.h>

#include "api/vd_instance.h"

// Slack after every frame image and chroma work buffer: the vector kernels
// step in whole blocks and some (the 9x9 dilation, the conversions) read or
// write a few rows or blocks past the end of the region they are given.
size_t VdFramePadding(int width);

// The three arrays of four chroma work buffers a pipeline uses.
struct VdChromaBuffers {
  unsigned char** uv1;
  unsigned char** uv2;
  unsigned char** uv3;
};

int VdAllocFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma);
void VdFreeFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma);

#endif  // VD_API_FRAME_BUFFERS_INTERNAL_H_
