// A synthetic camera clip for the demo: a clean moving scene and
// sensor-like noise whose strength follows the ISO.
//
// The scene is a textured wall with test-chart elements (grey steps,
// colour patches, a zone plate, stripes of several periods, a
// checkerboard, small print) in its upper half, which never moves, and a
// textured, rotating disc that travels across a brick floor in the lower
// half. Everything is computed from fixed seeds, so every run makes the
// same pictures.
//
// Noise: luma noise has variance gain * (0.12 * Y + 4) with gain =
// ISO / 100 (shot noise that grows with brightness plus read noise);
// chroma noise is spatially correlated (white noise through a 3x3 box)
// with standard deviation 2 * sqrt(gain).
#ifndef VD_TOOLS_DEMO_SCENE_H_
#define VD_TOOLS_DEMO_SCENE_H_

#include <cstdint>
#include <vector>

#include "tools/metrics.h"

namespace vdtool {

struct DemoScene {
  int width = 0;
  int height = 0;
  // The still background at full resolution in all three planes.
  std::vector<uint8_t> y, u, v;
  // Rows that the moving disc never reaches (luma coordinates).
  Region still;
};

// Builds the scene; width and height must be even and at least 96.
void BuildDemoScene(int width, int height, DemoScene* scene);

// Renders frame |index| of the clean clip as I420 into |i420|.
void RenderDemoFrame(const DemoScene& scene, int index, uint8_t* i420);

// The disc's centre and radius in frame |index| (luma pixels).
void DemoDiscPosition(const DemoScene& scene, int index, double* cx,
                      double* cy, double* radius);

// Standard deviations of the noise model.
double LumaNoiseSigma(int iso, int luma);
double ChromaNoiseSigma(int iso);

// Adds noise for |iso| to a clean I420 frame; the same |seed| gives the
// same noise.
void AddSensorNoise(const uint8_t* clean, uint8_t* noisy, int width,
                    int height, int iso, uint64_t seed);

}  // namespace vdtool

#endif  // VD_TOOLS_DEMO_SCENE_H_
