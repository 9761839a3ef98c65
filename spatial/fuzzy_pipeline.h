/* The fuzzy denoising stripe pipeline (the frame path). */
#ifndef VD_SPATIAL_FUZZY_PIPELINE_H_
#define VD_SPATIAL_FUZZY_PIPELINE_H_

#include "parallel/stripe.h"

VD_EXTERN_C_BEGIN

VD_EXPORT int FuzzyDenoisingMul(VD_Multiple_Thread_Handle* stripe);
VD_EXPORT int SpatialDenoisingMul(VD_Multiple_Thread_Handle* stripe);

VD_EXTERN_C_END

#endif /* VD_SPATIAL_FUZZY_PIPELINE_H_ */
