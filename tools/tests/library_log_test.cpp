#include "tools/library_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "api/video_denoise.h"

namespace vdtool {
namespace {

bool Contains(const std::vector<std::string>& lines, const std::string& text) {
  return std::find(lines.begin(), lines.end(), text) != lines.end();
}

TEST(LibraryLineTest, SortsTracesTimingsAndErrors) {
  EXPECT_EQ(ClassifyLibraryLine("Fuzzy_Time:   12,   0,  10,   4,   3,   7,   3"),
            LibraryLine::kTiming);
  EXPECT_EQ(ClassifyLibraryLine(
                "Process VideoDenoise: width:96, height:96, iISO:100, eType:1!"),
            LibraryLine::kFrameTrace);
  EXPECT_EQ(ClassifyLibraryLine("total,color transform,spatial,temporal,"
                                "NV21toYUV420,spatial,SAD"),
            LibraryLine::kFrameTrace);
  EXPECT_EQ(ClassifyLibraryLine("iWidth=96 iHeight=96"), LibraryLine::kFrameTrace);
  EXPECT_EQ(ClassifyLibraryLine("iWidth:src_y:0x1 dst_y:0x2 96 iHeight:32 "
                                "iEdgeUp:0 iEdgeDown:1 iEdge:3"),
            LibraryLine::kFrameTrace);
  EXPECT_EQ(ClassifyLibraryLine("VideoSizeCheck failed!"), LibraryLine::kOther);
  EXPECT_EQ(ClassifyLibraryLine("Input width:100 is multiple of 16!"),
            LibraryLine::kOther);
  EXPECT_EQ(ClassifyLibraryLine(""), LibraryLine::kOther);
}

TEST(LibraryLineTest, TheFirstTimingValueIsTheFrameTotal) {
  long long ms = -1;
  EXPECT_TRUE(ParseFuzzyTimeTotal("Fuzzy_Time:   12,   0,  10,   4,   3,   7,   3", &ms));
  EXPECT_EQ(ms, 12);
  EXPECT_TRUE(ParseFuzzyTimeTotal("Fuzzy_Time: 1234,-56,7", &ms));
  EXPECT_EQ(ms, 1234);
  EXPECT_TRUE(ParseFuzzyTimeTotal("Fuzzy_Time:   -1,   0", &ms));
  EXPECT_EQ(ms, -1);
  EXPECT_TRUE(ParseFuzzyTimeTotal("Fuzzy_Time:    7", &ms));
  EXPECT_EQ(ms, 7);
  EXPECT_FALSE(ParseFuzzyTimeTotal("Fuzzy_Time: ", &ms));
  EXPECT_FALSE(ParseFuzzyTimeTotal("Fuzzy_Time: x,1", &ms));
  EXPECT_FALSE(ParseFuzzyTimeTotal("Fuzzy_Time: 12x,1", &ms));
  EXPECT_FALSE(ParseFuzzyTimeTotal("Fuzzy_Time:12", &ms));
  EXPECT_FALSE(ParseFuzzyTimeTotal("12,3", &ms));
}

TEST(LibraryLogTest, CollectsRefusalsAndCountsTimingLines) {
  InstallLibraryLog(nullptr);
  TakeLibraryMessages();
  EXPECT_EQ(TARNO_VideoDenoiseInit(100, 96, nullptr), -1);
  std::vector<std::string> lines = TakeLibraryMessages();
  EXPECT_TRUE(Contains(lines, "Input width:100 is multiple of 16!")) << lines.size();
  EXPECT_TRUE(Contains(lines, "VideoSizeCheck failed!"));
  EXPECT_TRUE(TakeLibraryMessages().empty()) << "taken once";

  const int w = 96, h = 96;
  std::vector<uint8_t> src(w * h * 3 / 2, 90), dst(src.size());
  ASSERT_EQ(TARNO_VideoDenoiseInit(w, h, nullptr), 0);
  ResetLibraryTiming();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(TARNO_VideoDenoise(src.data(), dst.data(), w, h, 0, 100), 0);
  }
  LibraryTiming t = GetLibraryTiming();
  EXPECT_EQ(t.lines, 3);
  EXPECT_GE(t.total_ms, 0);
  // Per-frame traces are not kept as messages.
  for (const std::string& m : TakeLibraryMessages()) {
    EXPECT_EQ(ClassifyLibraryLine(m), LibraryLine::kOther) << m;
    EXPECT_EQ(m.find("Process VideoDenoise"), std::string::npos);
  }
  EXPECT_EQ(TARNO_VideoDenoiseDeinit(), 0);
  ResetLibraryTiming();
  EXPECT_EQ(GetLibraryTiming().lines, 0);
  RemoveLibraryLog();
}

TEST(LibraryLogTest, EchoesEveryLineWhenVerbose) {
  FILE* echo = std::tmpfile();
  ASSERT_NE(echo, nullptr);
  InstallLibraryLog(echo);
  EXPECT_EQ(TARNO_VideoDenoiseDeinit(), -1);  // no instance: one error line
  RemoveLibraryLog();
  std::rewind(echo);
  char line[256] = {0};
  ASSERT_NE(std::fgets(line, sizeof(line), echo), nullptr);
  EXPECT_STREQ(line, "E/TARNO_VideoDenoise: g_hVideoDenoise has not inited!\n");
  std::fclose(echo);
}

}  // namespace
}  // namespace vdtool
