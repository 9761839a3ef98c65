// Clocks and the timing lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/vd_instance.h"
#include "tests/test_util.h"

namespace {

TEST(Timing, Clocks) {
  int64_t ms = VD_OS_Milliseconds();
  int64_t us = VD_OS_Microseconds();
  EXPECT_GT(ms, 1600000000000LL);
  EXPECT_NEAR(static_cast<double>(us / 1000), static_cast<double>(ms), 1000.0);
  EXPECT_EQ(static_cast<uint32_t>(VD_OS_Milliseconds()) >> 20,
            VD_OS_Milliseconds32() >> 20);
}

TEST(Timing, LineFormats) {
  Calc_Process_Time t;
  for (int i = 0; i < 17; ++i) t.llStamp[i] = 1000 + i * i;
  t.llStamp[10] = 0;
  vdtest::LogCapture log;
  Calc_ProcessTime2(t, nullptr);
  // T11-T0, T10+T1-T9-T0, T16-T12, T13-T12, T14-T13, T15-T12, T16-T15.
  EXPECT_EQ((std::vector<std::string>{
                "Fuzzy_Time:  121,-1080, 112,  25,  27,  81,  31"}),
            log.Messages());
  log.Clear();
  Calc_ProcessTime(t, nullptr);
  EXPECT_EQ((std::vector<std::string>{
                " 121,-1080,   3,  77,   1,   3,   5,   7,   9,  11,  13,  15,"
                "  17,-1081"}),
            log.Messages());
  EXPECT_EQ(6, log.Lines()[0].priority);
}

TEST(Timing, HeaderOnceThenOneLinePerFrameAndTheStream) {
  std::vector<uint8_t> src = vdtest::RandomBytes(96 * 96 * 3 / 2, 5);
  std::vector<uint8_t> dst(src.size());
  const std::string header =
      "total,color transform,spatial,temporal,NV21toYUV420,spatial,SAD,"
      "Threshold,deletPix,Morpholog_0,Morpholog_1,motion detect,tempFilter,"
      "YUV420toNV21\n";
  std::string path = ::testing::TempDir() + "vd_timing.txt";
  FILE* stream = std::fopen(path.c_str(), "w");
  ASSERT_NE(nullptr, stream);
  vdtest::LogCapture log;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  TARNO_VideoDenoiseSetTimingStream(stream);
  for (int frame = 0; frame < 3; ++frame) {
    ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  }
  std::vector<std::string> m = log.Messages();
  int headers = 0, lines = 0;
  for (size_t i = 0; i < m.size(); ++i) {
    if (m[i] == header) {
      ++headers;
      EXPECT_EQ(0, lines);
    }
    if (m[i].rfind("Fuzzy_Time: ", 0) == 0) ++lines;
  }
  // The header comes once per process: this is the first frame here.
  EXPECT_EQ(1, headers);
  EXPECT_EQ(3, lines);
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());  // closes the stream
  FILE* in = std::fopen(path.c_str(), "r");
  ASSERT_NE(nullptr, in);
  char buf[256];
  int written = 0;
  while (std::fgets(buf, sizeof(buf), in)) {
    EXPECT_EQ(0, std::strncmp(buf, "Fuzzy_Time: ", 12));
    ++written;
  }
  std::fclose(in);
  EXPECT_EQ(3, written);
}

}  // namespace
