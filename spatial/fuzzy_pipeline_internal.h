// The fuzzy and spatial stripe pipelines on an explicit stripe context.
#ifndef VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_
#define VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_

#include "parallel/stripe_internal.h"

int VdFuzzyDenoise(VdStripeContext* ctx);
int VdSpatialDenoise(VdStripeContext* ctx);

#endif  // VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_
