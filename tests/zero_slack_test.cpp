// Every level of both pipelines, with the chroma flag of the temporal
// pipeline (the configuration's iFilterParams[1]) off and on, at 96x96,
// 720x480 and 1920x1080, through the process-wide API and an engine
// denoiser. The frame images, work frames and chroma work buffers are
// exactly their planes, so under AddressSanitizer (the asan run) a read or
// write past any of them is caught here.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "api/vdenoise.h"
#include "api/video_denoise.h"
#include "tests/test_util.h"

namespace {

struct Size {
  int w, h;
};

#if defined(__arm__) || defined(__aarch64__)
const Size kSizes[] = {{96, 96}, {720, 480}};
#else
const Size kSizes[] = {{96, 96}, {720, 480}, {1920, 1080}};
#endif

// Type and ISO that move the level 0 -> 1 -> 2 -> 3; each type change
// restarts the history, so every level has its warm-up frame.
struct Step {
  int type, iso;
};
const Step kLevels[] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};
const int kFramesPerLevel = 3;

// The default configuration with the chroma flag set as asked.
std::string WriteConfig(int chroma) {
  const int values[16] = {0, 0, 3, 5, 2, 1, 3, 5, 2, 1, 1, 8, chroma, 1, 0, 4};
  const std::string path =
      ::testing::TempDir() + "vd_zero_slack_" + std::to_string(chroma) + ".cfg";
  FILE* f = std::fopen(path.c_str(), "w");
  EXPECT_NE(nullptr, f);
  for (int i = 0; i < 16; ++i) std::fprintf(f, "k%d=%d\n", i, values[i]);
  std::fclose(f);
  return path;
}

void Quiet(int, const char*, const char*) {}
void QuietEngine(void*, int, const char*) {}

TEST(ZeroSlack, ProcessWideApiEveryLevelBothPipelinesBothChromaFlags) {
  TARNO_VideoDenoiseSetLogSink(Quiet);
  for (int chroma = 0; chroma < 2; ++chroma) {
    const std::string cfg = WriteConfig(chroma);
    for (const Size& size : kSizes) {
      const size_t n = static_cast<size_t>(size.w) * size.h * 3 / 2;
      std::vector<uint8_t> src(n), dst(n);
      for (int pipeline = 0; pipeline < 2; ++pipeline) {
        SCOPED_TRACE(std::to_string(size.w) + "x" + std::to_string(size.h) +
                     " pipeline " + std::to_string(pipeline) + " chroma " +
                     std::to_string(chroma));
        ASSERT_EQ(0, TARNO_VideoDenoiseInit(size.w, size.h, cfg.c_str()));
        ASSERT_EQ(0, TARNO_VideoDenoiseSetPipeline(pipeline));
        for (const Step& step : kLevels) {
          for (int frame = 0; frame < kFramesPerLevel; ++frame) {
            vdtest::FillRandom(src.data(), n, 31 * frame + step.type);
            ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), size.w,
                                            size.h, step.type, step.iso));
          }
        }
        ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
      }
    }
  }
  TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
  TARNO_VideoDenoiseSetLogSink(nullptr);
}

TEST(ZeroSlack, EngineEveryLevelBothMethodsBothChromaFlags) {
  for (int chroma = 0; chroma < 2; ++chroma) {
    const std::string cfg = WriteConfig(chroma);
    for (const Size& size : kSizes) {
      const size_t n = static_cast<size_t>(size.w) * size.h * 3 / 2;
      std::vector<uint8_t> src(n), dst(n);
      for (int method = 0; method < 2; ++method) {
        vd_options o;
        vd_options_init(&o);
        o.max_width = size.w;
        o.max_height = size.h;
        o.method = method ? VD_METHOD_TEMPORAL : VD_METHOD_FUZZY;
        o.threads = 2;
        o.config_path = cfg.c_str();
        o.log = QuietEngine;
        vd_denoiser* d = nullptr;
        ASSERT_EQ(VD_OK, vd_create(&o, &d));
        vd_frame in = vd_frame_nv21(src.data(), size.w, size.h);
        vd_frame out = vd_frame_nv21(dst.data(), size.w, size.h);
        for (const Step& step : kLevels) {
          for (int frame = 0; frame < kFramesPerLevel; ++frame) {
            vdtest::FillRandom(src.data(), n, 17 * frame + step.iso);
            ASSERT_EQ(VD_OK, vd_denoise(d, &in, &out, step.type, step.iso));
          }
        }
        vd_destroy(d);
      }
    }
  }
}

}  // namespace
