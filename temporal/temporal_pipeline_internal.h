// The temporal stripe pipeline on an explicit stripe context.
#ifndef VD_TEMPORAL_TEMPORAL_PIPELINE_INTERNAL_H_
#define VD_TEMPORAL_TEMPORAL_PIPELINE_INTERNAL_H_

#include "parallel/stripe_internal.h"

int VdTemporalDenoise(VdStripeContext* ctx);
int VdFrameDifference(VdStripeContext* ctx, sYuvImage_t* previous,
                      sYuvImage_t* current, sYuvImage_t* mask,
                      sYuvImage_t* work, int width, int height, int threshold,
                      int withChroma, int morphology, int offset,
                      int edgeType);

// The chroma flag of the final conversion: the tuning word found four words
// per noise level after the fourth word of iLevelParams, as on the 32-bit
// layout (level 2 reaches iFilterParams[2], level 3 the second ring slot).
int VdLevelIndexedWord(const Video_Denoise_Handle* handle);

#endif  // VD_TEMPORAL_TEMPORAL_PIPELINE_INTERNAL_H_
