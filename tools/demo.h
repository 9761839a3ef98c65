// The --demo run: the demo scene denoised at each noise level.
#ifndef VD_TOOLS_DEMO_H_
#define VD_TOOLS_DEMO_H_

#include <string>

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

// Most bytes the clips of --keep-clips take together; longer runs keep the
// first frames of each clip.
constexpr long long kDemoClipBudgetBytes = 400ll << 20;

// Frames each kept clip holds: |frames|, or fewer so that |clips| clips of
// |frame_bytes|-byte frames stay within kDemoClipBudgetBytes.
int DemoClipFrames(int frames, int clips, long long frame_bytes);

// Where the demo writes when --out is not given: "vdenoise-demo" in the
// build directory when |exe| (the running program) lies inside
// |build_dir|, else "" (the caller makes a temporary folder).
std::string DemoDirInBuild(const std::string& exe,
                           const std::string& build_dir);

}  // namespace vdtool

#endif  // VD_TOOLS_DEMO_H_
