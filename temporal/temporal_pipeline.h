/* The temporal denoising stripe pipeline. */
#ifndef VD_TEMPORAL_TEMPORAL_PIPELINE_H_
#define VD_TEMPORAL_TEMPORAL_PIPELINE_H_

#include "parallel/stripe.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int TemporalDenoisingMul(VD_Multiple_Thread_Handle* stripe);
VD_EXPORT int FrameDifference(sYuvImage_t* previous, sYuvImage_t* current,
                              sYuvImage_t* mask, sYuvImage_t* work, int width,
                              int height, int threshold, int withChroma,
                              int unused, int morphology, int offset,
                              int edgeType);

VD_EXTERN_C_END

#endif /* VD_TEMPORAL_TEMPORAL_PIPELINE_H_ */
