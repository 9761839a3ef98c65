// Library-internal image helpers.
#ifndef VD_IMAGE_YUV_IMAGE_INTERNAL_H_
#define VD_IMAGE_YUV_IMAGE_INTERNAL_H_

#include <stddef.h>

#include "image/yuv_image.h"

// MallocYuv with padBytes of slack after the block and, when zeroFill is set,
// the whole allocation cleared. The instance's frame buffers use it so that
// the vector kernels' defined overruns stay inside the allocation. The record
// is released with DeleteYuv like any other. On failure nothing is leaked.
sYuvImage_t* VdMallocYuvEx(int width, int height, size_t padBytes,
                           int zeroFill);

#endif  // VD_IMAGE_YUV_IMAGE_INTERNAL_H_
