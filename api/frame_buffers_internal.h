// Allocation of the instance's frame images and chroma work buffers.
#ifndef VD_API_FRAME_BUFFERS_INTERNAL_H_
#define VD_API_FRAME_BUFFERS_INTERNAL_H_

#include <stddef.h>

#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "frame/frame_job.h"

// Slack after every frame image and chroma work buffer: the vector kernels
// step in whole blocks and some (the 9x9 dilation, the conversions) read or
// write a few rows or blocks past the end of the region they are given.
size_t VdFramePadding(int width);

// Allocates the frame images of the handle's current size and the twelve
// chroma work buffers of chromaBytes each (plus padding), in the order and
// with the messages of AlocateFrameBuf; 0 or -1.
int VdAllocFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma, const VdLogger* log,
                        size_t chromaBytes);
void VdFreeFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma);

#endif  // VD_API_FRAME_BUFFERS_INTERNAL_H_
