// The fuzzy and spatial stripe pipelines on an explicit stripe context.
#ifndef VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_
#define VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_

#include "parallel/stripe_internal.h"

// The fuzzy pipeline on the frame path the context selects.
int VdFuzzyDenoise(VdStripeContext* ctx);
// Step by step: one pass per stage over the whole stripe. This is the
// definition of the frame path.
int VdFuzzyDenoiseStepwise(VdStripeContext* ctx);
// Fused: the luma stages run over row blocks that stay in cache, and the
// chroma output is written block by block as it is finished. Leaves the same
// bytes in the output and in every buffer of the instance as the step-by-step
// path (fused_pipeline.cpp).
int VdFuzzyDenoiseFused(VdStripeContext* ctx);
int VdSpatialDenoise(VdStripeContext* ctx);

// Pieces both fuzzy paths share.
// Threshold handed to the (unused) chroma change mask at a noise level.
int VdFuzzyMotionThreshold(int level);
// The chroma spatial pass of the full path: chroma copied from pCurFrame
// (filterChroma 0) or filtered with the work split by plane across stripes.
// Reads chroma rows that other stripes converted: runs after a barrier.
void VdFuzzyChromaSpatial(VdStripeContext* ctx, int level, int filterChroma);

#endif  // VD_SPATIAL_FUZZY_PIPELINE_INTERNAL_H_
