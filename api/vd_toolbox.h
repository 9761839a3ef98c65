/* Everything the library exports: the entry points, the instance record and
 * the image-kernel toolbox. Compiles as C99 and as C++17. */
#ifndef VD_API_VD_TOOLBOX_H_
#define VD_API_VD_TOOLBOX_H_

#include "api/video_denoise.h"
#include "api/vd_instance.h"
#include "image/convert.h"
#include "image/resample.h"
#include "image/yuv_image.h"
#include "morphology/mask_morphology.h"
#include "morphology/se_morphology.h"
#include "parallel/stripe.h"
#include "parallel/worker_pool.h"
#include "spatial/bilateral.h"
#include "spatial/box_filter.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_pipeline.h"
#include "spatial/sharpness.h"
#include "temporal/motion_mask.h"
#include "temporal/temporal_filter.h"
#include "temporal/temporal_pipeline.h"

#endif /* VD_API_VD_TOOLBOX_H_ */
