// The temporal stripe pipeline through the public API.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "api/vd_instance.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

class TemporalPipeline : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_TEMPORAL));
  }
  void TearDown() override {
    TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
  }
  vdtest::LogCapture quiet_;
};

TEST_F(TemporalPipeline, UnknownPipelineIsRefused) {
  EXPECT_EQ(-1, TARNO_VideoDenoiseSetPipeline(2));
  EXPECT_EQ(1, quiet_.Count("Unknown pipeline:2!\n"));
}

// First frame: the spatial result is output and stored in slot 0. Later
// frames: with the default tuning the luma mask stays empty, so every pixel
// is still and becomes the floor of the mean of the spatial result and the
// previous output; chroma passes through from the spatial result.
TEST_F(TemporalPipeline, WarmUpThenMeanWithThePreviousOutput) {
  const int w = 320, h = 240, n = w * h;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Video_Denoise_Handle* hd = g_hVideoDenoise;
  Bytes out(n * 3 / 2), prev(n);
  for (int frame = 0; frame < 5; ++frame) {
    Bytes in = vdtest::RandomBytes(n * 3 / 2, 40 + frame);
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 6, 100));
    const uint8_t* spatial = hd->pSpaDenoiseFrame->pY;
    if (frame == 0) {
      ASSERT_EQ(0, std::memcmp(spatial, out.data(), n));
      ASSERT_EQ(0, std::memcmp(spatial, hd->sPrevFrames.pPreFrames[0]->pY, n));
    } else {
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ((spatial[i] + prev[i]) >> 1, out[i]) << frame << " " << i;
      }
    }
    for (int i = 0; i < n / 4; ++i) {
      ASSERT_EQ(hd->pSpaDenoiseFrame->pU[i], out[n + 2 * i + 1]);
      ASSERT_EQ(hd->pSpaDenoiseFrame->pV[i], out[n + 2 * i]);
    }
    std::memcpy(prev.data(), out.data(), n);
  }
}

// The morphology stages (and their stamps) run only when the third filter
// word is set; the pipelines can be switched between frames.
TEST_F(TemporalPipeline, MorphologyStagesFollowTheFilterWord) {
  const int w = 1920, h = 1080;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
  Bytes in = vdtest::RandomBytes(w * h * 3 / 2, 7), out(in.size());
  for (int frame = 0; frame < 3; ++frame) {
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 0, 100));
  }
  EXPECT_NE(0, g_VideoDenoise_ProcTime.llStamp[6]);
  EXPECT_NE(0, g_VideoDenoise_ProcTime.llStamp[7]);
  EXPECT_NE(0, g_VideoDenoise_ProcTime.llStamp[8]);
  g_hVideoDenoise->iFilterParams[2] = 0;
  ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 0, 100));
  EXPECT_NE(0, g_VideoDenoise_ProcTime.llStamp[5]);
  EXPECT_EQ(0, g_VideoDenoise_ProcTime.llStamp[6]);
  EXPECT_EQ(0, g_VideoDenoise_ProcTime.llStamp[7]);
  // Alternate pipelines frame by frame: no hang, history continues.
  for (int frame = 0; frame < 4; ++frame) {
    TARNO_VideoDenoiseSetPipeline(frame % 2 ? TARNO_PIPELINE_TEMPORAL
                                            : TARNO_PIPELINE_FUZZY);
    ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), w, h, 0, 100));
  }
  EXPECT_EQ(7, g_hVideoDenoise->sPrevFrames.iFrameCount);
}

// With the chroma flag set the chroma planes of the masks are computed too,
// and a size sweep stays inside every buffer (the sanitizer build checks).
TEST_F(TemporalPipeline, ChromaMasksAndSmallFrames) {
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(720, 480, nullptr));
  g_hVideoDenoise->iFilterParams[1] = 1;
  const int sizes[][2] = {{720, 480}, {96, 96}, {320, 96}, {96, 480}};
  for (const auto& s : sizes) {
    const size_t size = static_cast<size_t>(s[0]) * s[1] * 3 / 2;
    vdtest::GuardedBuffer src(size), dst(size);
    vdtest::FillRandom(src.data(), size, s[0]);
    for (int frame = 0; frame < 3; ++frame) {
      ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), s[0], s[1], 6,
                                      400 * (frame % 2)));
    }
  }
}

}  // namespace
