#include "tools/y4m.h"

#include <gtest/gtest.h>

namespace vdtool {
namespace {

Y4mHeader Parse(const std::string& line) {
  Y4mHeader h;
  std::string error;
  EXPECT_TRUE(ParseY4mHeader(line, &h, &error)) << line << ": " << error;
  return h;
}

std::string Refusal(const std::string& line) {
  Y4mHeader h;
  std::string error;
  EXPECT_FALSE(ParseY4mHeader(line, &h, &error)) << line;
  return error;
}

std::string Unusable(const std::string& line) {
  Y4mHeader h = Parse(line);
  std::string error;
  EXPECT_FALSE(CheckY4mUsable(h, &error)) << line;
  return error;
}

TEST(Y4mHeaderTest, ReadsEveryFieldOfAnFfmpegHeader) {
  Y4mHeader h = Parse(
      "YUV4MPEG2 W1920 H1080 F30000:1001 Ip A1:1 C420jpeg XYSCSS=420JPEG "
      "XCOLORRANGE=FULL");
  EXPECT_EQ(h.width, 1920);
  EXPECT_EQ(h.height, 1080);
  EXPECT_EQ(h.fps_num, 30000);
  EXPECT_EQ(h.fps_den, 1001);
  EXPECT_EQ(h.interlace, 'p');
  EXPECT_EQ(h.aspect_num, 1);
  EXPECT_EQ(h.aspect_den, 1);
  EXPECT_EQ(h.chroma, Y4mChroma::k420);
  EXPECT_EQ(h.colorspace, "420jpeg");
  EXPECT_EQ(h.bit_depth, 8);
  EXPECT_TRUE(h.full_range);
  EXPECT_EQ(h.fields.size(), 8u);
  std::string error;
  EXPECT_TRUE(CheckY4mUsable(h, &error)) << error;
}

TEST(Y4mHeaderTest, MissingOptionalFieldsTakeTheirDefaults) {
  Y4mHeader h = Parse("YUV4MPEG2 W176 H144");
  EXPECT_EQ(h.fps_num, 0);
  // F0:0 is the writers' "unknown rate": taken, and written back as it was.
  const std::string unknown = "YUV4MPEG2 W176 H144 F0:0 Ip A0:0 C420jpeg";
  h = Parse(unknown);
  EXPECT_EQ(h.fps_num, 0);
  EXPECT_EQ(h.fps_den, 0);
  EXPECT_EQ(FormatY4mHeader(h), unknown + "\n");
  EXPECT_EQ(h.interlace, 'p');
  EXPECT_EQ(h.chroma, Y4mChroma::k420);
  EXPECT_EQ(h.colorspace, "420jpeg");
  EXPECT_FALSE(h.full_range);
}

TEST(Y4mHeaderTest, FieldOrderSpacingAndUnknownFieldsAreTolerated) {
  Y4mHeader h = Parse("YUV4MPEG2  H144   W176 F25:1 Zfuture C420mpeg2 I?");
  EXPECT_EQ(h.width, 176);
  EXPECT_EQ(h.height, 144);
  EXPECT_EQ(h.interlace, '?');
  EXPECT_EQ(h.colorspace, "420mpeg2");
  // The unknown field is kept for writing back.
  EXPECT_EQ(FormatY4mHeader(h), "YUV4MPEG2 H144 W176 F25:1 Zfuture C420mpeg2 I?\n");
  std::string error;
  EXPECT_TRUE(CheckY4mUsable(h, &error)) << "I? is taken as progressive";
}

TEST(Y4mHeaderTest, AllFourTwoZeroSitingsAreAccepted) {
  for (const char* c : {"C420", "C420jpeg", "C420paldv", "C420mpeg2"}) {
    Y4mHeader h = Parse(std::string("YUV4MPEG2 W96 H96 ") + c);
    std::string error;
    EXPECT_TRUE(CheckY4mUsable(h, &error)) << c << ": " << error;
  }
}

TEST(Y4mHeaderTest, MalformedHeadersAreRefusedNamingTheField) {
  EXPECT_NE(Refusal("").find("not a YUV4MPEG2"), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG W96 H96").find("not a YUV4MPEG2"),
            std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2X W96 H96").find("not a YUV4MPEG2"),
            std::string::npos);
  EXPECT_NE(Refusal("RIFF\x01\x02").find("not a YUV4MPEG2"), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 H96").find("width"), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96").find("height"), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W0 H96").find("\"W0\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W-96 H96").find("\"W-96\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 Wabc H96").find("\"Wabc\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H").find("\"H\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W99999999 H96").find("width"), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 F30").find("\"F30\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 F0:1").find("\"F0:1\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 F25:0").find("\"F25:0\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 Ix").find("\"Ix\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 Ipp").find("\"Ipp\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 A1").find("\"A1\""), std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 C420xyz").find("\"C420xyz\""),
            std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 C411p10").find("colour space"),
            std::string::npos);
  EXPECT_NE(Refusal("YUV4MPEG2 W96 H96 C420p7").find("colour space"),
            std::string::npos);
}

TEST(Y4mHeaderTest, InterlacedInputIsRefusedWithADeinterlaceCommand) {
  for (const char* i : {"It", "Ib", "Im"}) {
    std::string why = Unusable(std::string("YUV4MPEG2 W96 H96 ") + i);
    EXPECT_NE(why.find("interlaced (" + std::string(i) + ")"), std::string::npos)
        << why;
    EXPECT_NE(why.find("ffmpeg -i in.y4m -pix_fmt yuv420p -vf yadif out.y4m"),
              std::string::npos)
        << why;
  }
}

TEST(Y4mHeaderTest, OtherSubsamplingsAreRefusedWithAConversionCommand) {
  struct Case {
    const char* c;
    const char* named;
  } cases[] = {{"C422", "4:2:2"},
               {"C444", "4:4:4"},
               {"C411", "4:1:1"},
               {"Cmono", "monochrome"},
               {"C444alpha", "4:4:4 with alpha"}};
  for (const Case& k : cases) {
    std::string why = Unusable(std::string("YUV4MPEG2 W96 H96 ") + k.c);
    EXPECT_NE(why.find(k.named), std::string::npos) << why;
    EXPECT_NE(why.find("needs 4:2:0"), std::string::npos) << why;
    EXPECT_NE(why.find("ffmpeg -i in.y4m -pix_fmt yuv420p out.y4m"),
              std::string::npos)
        << why;
  }
}

TEST(Y4mHeaderTest, DeepSamplesAreRefusedWithTheirBitDepth) {
  Y4mHeader h = Parse("YUV4MPEG2 W96 H96 C420p10");
  EXPECT_EQ(h.bit_depth, 10);
  EXPECT_EQ(h.chroma, Y4mChroma::k420);
  std::string why = Unusable("YUV4MPEG2 W96 H96 C420p10");
  EXPECT_NE(why.find("10-bit"), std::string::npos) << why;
  EXPECT_NE(why.find("-pix_fmt yuv420p"), std::string::npos) << why;
  EXPECT_EQ(Parse("YUV4MPEG2 W96 H96 Cmono16").bit_depth, 16);
  EXPECT_EQ(Parse("YUV4MPEG2 W96 H96 C444p12").bit_depth, 12);
  // Interlacing is reported before the sample format.
  EXPECT_NE(Unusable("YUV4MPEG2 W96 H96 It C422p10").find("interlaced"),
            std::string::npos);
}

TEST(Y4mHeaderTest, FrameLinesKeepTheirFieldsForTheOutput) {
  std::string error, params = "stale";
  EXPECT_TRUE(ParseY4mFrameLine("FRAME", &params, &error));
  EXPECT_EQ(params, "");
  EXPECT_EQ(FormatY4mFrameLine(params), "FRAME\n");
  EXPECT_TRUE(ParseY4mFrameLine("FRAME Ip XFOO=1", &params, &error));
  EXPECT_EQ(params, " Ip XFOO=1");
  EXPECT_EQ(FormatY4mFrameLine(params), "FRAME Ip XFOO=1\n");
  EXPECT_TRUE(ParseY4mFrameLine("FRAME Ip", nullptr, &error));
  EXPECT_FALSE(ParseY4mFrameLine("FRAMES", &params, &error));
  EXPECT_FALSE(ParseY4mFrameLine("frame", &params, &error));
  EXPECT_FALSE(ParseY4mFrameLine("FRAM", &params, &error));
  EXPECT_FALSE(ParseY4mFrameLine(std::string("\x00\x01garbage", 9), &params, &error));
  // Unprintable bytes are not copied into the message.
  EXPECT_EQ(error.find('\x01'), std::string::npos);
  EXPECT_NE(error.find("..garbage"), std::string::npos) << error;
}

TEST(Y4mHeaderTest, WritesWhatItReadsAndMakesPlainHeaders) {
  const std::string line =
      "YUV4MPEG2 W176 H144 F25:1 Ip A1:1 C420jpeg XYSCSS=420JPEG";
  EXPECT_EQ(FormatY4mHeader(Parse(line)), line + "\n");
  Y4mHeader made = MakeY4mHeader(1920, 1080, 30, 1);
  EXPECT_EQ(FormatY4mHeader(made), "YUV4MPEG2 W1920 H1080 F30:1 Ip A1:1 C420jpeg\n");
  Y4mHeader again = Parse("YUV4MPEG2 W1920 H1080 F30:1 Ip A1:1 C420jpeg");
  EXPECT_EQ(again.width, made.width);
  EXPECT_EQ(again.fps_num, made.fps_num);
}

TEST(Y4mHeaderTest, FramePlaneBytesRoundOddChromaUp) {
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W176 H144")), 176u * 144 * 3 / 2);
  // 5x3 luma, 3x2 chroma per plane.
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W5 H3")), 15u + 2 * 6);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W4 H2 C422")), 8u + 2 * 4);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W4 H2 C444")), 24u);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W5 H2 C411")), 10u + 2 * 4);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W4 H2 Cmono")), 8u);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W4 H2 C444alpha")), 32u);
  EXPECT_EQ(Y4mFramePlaneBytes(Parse("YUV4MPEG2 W4 H2 C420p10")), 2u * 12);
}

}  // namespace
}  // namespace vdtool
