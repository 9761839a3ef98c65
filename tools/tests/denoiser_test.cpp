#include "tools/denoiser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tools/frame_reader.h"

namespace vdtool {
namespace {

TEST(DenoiserTest, MethodsAndSizesByTheirNames) {
  for (Method m : {Method::kFuzzy, Method::kTemporal, Method::kAdaptive}) {
    Method back = Method::kFuzzy;
    ASSERT_TRUE(ParseMethod(MethodName(m), &back)) << MethodName(m);
    EXPECT_EQ(back, m);
  }
  Method m;
  EXPECT_FALSE(ParseMethod("Fuzzy", &m));
  EXPECT_FALSE(ParseMethod("", &m));
  EXPECT_TRUE(MethodAvailable(Method::kFuzzy));
  EXPECT_TRUE(MethodAvailable(Method::kTemporal));

  EXPECT_EQ(OddSizeAdvice(854, 480), "");
  EXPECT_EQ(OddSizeAdvice(1080, 1920), "");
  const std::string odd = OddSizeAdvice(175, 144);
  EXPECT_NE(odd.find("175x144 has an odd width,"), std::string::npos) << odd;
  EXPECT_NE(odd.find("ffmpeg -i in.y4m -vf crop=174:144:0:0 "), std::string::npos);
  EXPECT_NE(OddSizeAdvice(176, 99).find("odd height"), std::string::npos);
  EXPECT_NE(OddSizeAdvice(1, 1).find("odd width and height"), std::string::npos);

  EXPECT_EQ(ResolvedThreads(3), 3);
  EXPECT_GE(ResolvedThreads(0), 1);
}

TEST(DenoiserTest, FrameViewsDescribeEachLayout) {
  std::vector<uint8_t> b(FrameBytes420(8, 4));
  uint8_t* p = b.data();
  const vd_frame i420 = FrameView(PixelFormat::kI420, p, 8, 4);
  EXPECT_EQ(i420.y, p);
  EXPECT_EQ(i420.u, p + 32);
  EXPECT_EQ(i420.v, p + 40);
  EXPECT_EQ(i420.uv_pixel_stride, 1);
  EXPECT_EQ(i420.uv_stride, 4);
  const vd_frame nv21 = FrameView(PixelFormat::kNV21, p, 8, 4);
  EXPECT_EQ(nv21.v, p + 32);
  EXPECT_EQ(nv21.u, p + 33);
  EXPECT_EQ(nv21.uv_pixel_stride, 2);
  EXPECT_EQ(nv21.uv_stride, 8);
  const vd_frame nv12 = FrameView(PixelFormat::kNV12, p, 8, 4);
  EXPECT_EQ(nv12.u, p + 32);
  EXPECT_EQ(nv12.v, p + 33);
}

// A smooth picture with a little deterministic noise.
std::vector<uint8_t> Picture(int w, int h, int seed) {
  std::vector<uint8_t> f(FrameBytes420(w, h));
  uint32_t state = 12345u + seed;
  for (size_t i = 0; i < f.size(); ++i) {
    state = state * 1664525u + 1013904223u;
    const int base = i < static_cast<size_t>(w) * h ? 60 + (i % w) / 4 : 128;
    f[i] = static_cast<uint8_t>(base + ((state >> 24) & 7));
  }
  return f;
}

// The same clip given as I420 and as NV21 (and written back in either)
// comes out as the same pictures: the layout is only a description.
TEST(DenoiserTest, EveryLayoutGivesTheSamePictures) {
  const int w = 854, h = 480;  // any even size
  for (Method method : {Method::kFuzzy, Method::kTemporal}) {
    DenoiserSetup setup;
    setup.width = w;
    setup.height = h;
    setup.threads = 2;
    setup.method = method;
    Denoiser planar, interleaved;
    std::string error;
    ASSERT_TRUE(StartDenoiser(setup, &planar, &error)) << error;
    ASSERT_TRUE(StartDenoiser(setup, &interleaved, &error)) << error;
    for (int k = 0; k < 3; ++k) {
      std::vector<uint8_t> in = Picture(w, h, k), out_planar(in.size());
      // The NV21 form of the same picture.
      std::vector<uint8_t> in_nv21(in.size()), out_nv21(in.size());
      const size_t n = static_cast<size_t>(w) * h, q = n / 4;
      std::copy(in.begin(), in.begin() + n, in_nv21.begin());
      for (size_t i = 0; i < q; ++i) {
        in_nv21[n + 2 * i] = in[n + q + i];
        in_nv21[n + 2 * i + 1] = in[n + i];
      }
      ASSERT_TRUE(DenoiseFrame(&planar, PixelFormat::kI420, in.data(),
                               PixelFormat::kI420, out_planar.data(), w, h, 0,
                               400, &error))
          << error;
      ASSERT_TRUE(DenoiseFrame(&interleaved, PixelFormat::kNV21,
                               in_nv21.data(), PixelFormat::kNV21,
                               out_nv21.data(), w, h, 0, 400, &error))
          << error;
      std::vector<uint8_t> back(in.size());
      CopyToI420(PixelFormat::kNV21, out_nv21.data(), back.data(), w, h);
      EXPECT_EQ(back, out_planar) << MethodName(method) << " frame " << k;
    }
    StopDenoiser(&planar);
    StopDenoiser(&interleaved);
    StopDenoiser(&planar);  // twice is fine
  }
}

TEST(DenoiserTest, RefusalsCarryTheReason) {
  DenoiserSetup setup;
  setup.width = 175;
  setup.height = 144;
  Denoiser d;
  std::string error;
  EXPECT_FALSE(StartDenoiser(setup, &d, &error));
  EXPECT_NE(error.find("odd width"), std::string::npos) << error;
  EXPECT_EQ(d.handle, nullptr);
  // Sizes the library does not take, and a configuration file that is not
  // there: the library's status and its own words.
  setup.width = 8;
  setup.height = 8;
  EXPECT_FALSE(StartDenoiser(setup, &d, &error));
  EXPECT_NE(error.find("the denoiser refused 8x8 frames ("), std::string::npos)
      << error;
  EXPECT_NE(error.find("the library says:\n  vd_create: "), std::string::npos)
      << error;
  setup.width = 176;
  setup.height = 144;
  setup.config = "/nonexistent/vdenoise.cfg";
  EXPECT_FALSE(StartDenoiser(setup, &d, &error));
  EXPECT_NE(error.find("the denoiser could not be created ("),
            std::string::npos)
      << error;
  EXPECT_NE(error.find("/nonexistent/vdenoise.cfg"), std::string::npos)
      << error;
  // A frame larger than the denoiser was made for.
  setup.config.clear();
  ASSERT_TRUE(StartDenoiser(setup, &d, &error)) << error;
  std::vector<uint8_t> big(FrameBytes420(192, 144));
  EXPECT_FALSE(DenoiseFrame(&d, PixelFormat::kI420, big.data(),
                            PixelFormat::kI420, big.data(), 192, 144, 0, 100,
                            &error));
  EXPECT_NE(error.find("the denoiser failed on a frame ("), std::string::npos)
      << error;
  StopDenoiser(&d);
}

}  // namespace
}  // namespace vdtool
