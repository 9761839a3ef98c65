// The --demo run: the demo scene denoised at each noise level.
#ifndef VD_TOOLS_DEMO_H_
#define VD_TOOLS_DEMO_H_

namespace vdtool {

// A mode and ISO that bring a freshly created denoiser (level 0) to
// |level| on the first frame: the type counts as high above 5, the ISO as
// high from 380. The ISO also sets the strength of the generated noise.
struct DemoLevel {
  int level;
  int type;
  int iso;
};
constexpr DemoLevel kDemoLevels[4] = {
    {0, 0, 100}, {1, 6, 200}, {2, 0, 400}, {3, 6, 800}};

constexpr int kDemoWidth = 1920;
constexpr int kDemoHeight = 1080;
constexpr int kDemoFps = 30;

}  // namespace vdtool

#endif  // VD_TOOLS_DEMO_H_
