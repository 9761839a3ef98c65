#include "tools/denoiser.h"

#include <gtest/gtest.h>

#include <vector>

#include "tools/frame_reader.h"
#include "tools/library_log.h"

namespace vdtool {
namespace {

TEST(SizeAdviceTest, AcceptedSizes) {
  EXPECT_TRUE(SizeAccepted(96, 96));
  EXPECT_TRUE(SizeAccepted(1920, 1080));
  EXPECT_TRUE(SizeAccepted(176, 144));
  EXPECT_FALSE(SizeAccepted(95, 96));
  EXPECT_FALSE(SizeAccepted(1936, 1080));
  EXPECT_FALSE(SizeAccepted(100, 96));
  EXPECT_FALSE(SizeAccepted(96, 100));
  EXPECT_FALSE(SizeAccepted(96, 1928));
}

TEST(SizeAdviceTest, CropsPadsOrScalesToAnAcceptedSize) {
  // Off the steps: crop to the steps below.
  EXPECT_NE(SizeAdvice(1000, 750).find("-vf crop=992:744 "), std::string::npos);
  EXPECT_NE(SizeAdvice(1000, 750).find("1000x750 is not one of them"),
            std::string::npos);
  // Too small: pad up.
  EXPECT_NE(SizeAdvice(64, 48).find("-vf pad=96:96 "), std::string::npos);
  EXPECT_NE(SizeAdvice(100, 90).find("-vf pad=112:96 "), std::string::npos);
  // On the steps, in range, but cropping would drop below the minimum.
  EXPECT_NE(SizeAdvice(100, 99).find("-vf crop=96:96 "), std::string::npos);
  // Too large: scale down keeping the aspect ratio.
  EXPECT_NE(SizeAdvice(3840, 2160).find("-vf scale=1920:1080 "), std::string::npos);
  EXPECT_NE(SizeAdvice(2160, 3840).find("-vf scale=1072:1920 "), std::string::npos);
  for (int w : {64, 100, 1000, 3840}) {
    for (int h : {48, 99, 750, 2160}) {
      std::string a = SizeAdvice(w, h);
      EXPECT_NE(a.find("96 to 1920 pixels wide in steps of 16"), std::string::npos);
      EXPECT_NE(a.find("ffmpeg -i in.y4m -vf "), std::string::npos);
    }
  }
}

TEST(DenoiserTest, ARefusedSizeCarriesTheLibrarysWordsAndAdvice) {
  InstallLibraryLog(nullptr);
  std::string error;
  EXPECT_FALSE(StartDenoiser(100, 96, "", &error));
  EXPECT_NE(error.find("Input width:100 is multiple of 16!"), std::string::npos)
      << error;
  EXPECT_NE(error.find("crop=96:96"), std::string::npos) << error;
  EXPECT_FALSE(StartDenoiser(96, 2000, "", &error));
  EXPECT_NE(error.find("Input height:2000 is invalid!range[96,1920]"),
            std::string::npos)
      << error;
  RemoveLibraryLog();
}

TEST(DenoiserTest, DenoisesFramesOfTheCreatedSize) {
  InstallLibraryLog(nullptr);
  const int w = 96, h = 96;
  std::string error;
  ASSERT_TRUE(StartDenoiser(w, h, "", &error)) << error;
  std::vector<uint8_t> src(FrameBytes420(w, h) + kConversionSlack, 120),
      dst(src.size(), 0);
  EXPECT_TRUE(DenoiseFrame(src.data(), dst.data(), w, h, 0, 100, &error)) << error;
  // A frame larger than the created size is refused with the library's
  // message.
  std::vector<uint8_t> big(FrameBytes420(112, 96) + kConversionSlack, 120),
      big_out(big.size());
  EXPECT_FALSE(DenoiseFrame(big.data(), big_out.data(), 112, 96, 0, 100, &error));
  EXPECT_NE(error.find("width:112 > MaxWidth:96"), std::string::npos) << error;
  StopDenoiser();
  RemoveLibraryLog();
}

TEST(DenoiserTest, ConversionsRoundTrip) {
  const int w = 96, h = 96;
  const size_t n = static_cast<size_t>(w) * h;
  std::vector<uint8_t> i420(FrameBytes420(w, h) + kConversionSlack);
  for (size_t i = 0; i < i420.size(); ++i) i420[i] = static_cast<uint8_t>(i * 31 + 7);
  std::vector<uint8_t> nv21(i420.size()), back(i420.size());
  I420ToNV21(i420.data(), nv21.data(), w, h);
  // NV21 interleaves V then U.
  EXPECT_EQ(nv21[n], i420[n + n / 4]);
  EXPECT_EQ(nv21[n + 1], i420[n]);
  NV21ToI420(nv21.data(), back.data(), w, h);
  EXPECT_TRUE(std::equal(i420.begin(), i420.begin() + FrameBytes420(w, h),
                         back.begin()));
}

}  // namespace
}  // namespace vdtool
