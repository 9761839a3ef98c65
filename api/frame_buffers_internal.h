// Allocation of the instance's frame images and chroma work buffers.
#ifndef VD_API_FRAME_BUFFERS_INTERNAL_H_
#define VD_API_FRAME_BUFFERS_INTERNAL_H_

#include <stddef.h>

#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "frame/frame_job.h"

// Every buffer is exact: frame images width x height x 3 / 2 in one block
// (Y, U, V), chroma work buffers the size their caller gives.

// Allocates the frame images of the handle's current size and the twelve
// chroma work buffers of exactly chromaBytes each, in the order and
// with the messages of AlocateFrameBuf; 0 or -1. The motion mask is left out
// when motionMask is false (only the temporal pipeline reads it).
int VdAllocFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma, const VdLogger* log,
                        size_t chromaBytes, bool motionMask);
void VdFreeFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma);

#endif  // VD_API_FRAME_BUFFERS_INTERNAL_H_
