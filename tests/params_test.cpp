// Defaults, the configuration file and the noise-level rule.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "api/vd_instance.h"
#include "parallel/stripe.h"
#include "tests/test_util.h"

namespace {

std::string WriteFile(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
  return path;
}

Video_Denoise_Handle Defaults() {
  Video_Denoise_Handle h;
  std::memset(&h, 0x5A, sizeof(h));
  InitVideoDenoiseParams(&h);
  return h;
}

int Parse(Video_Denoise_Handle* h, const std::string& text) {
  std::string path = WriteFile("vd_cfg.txt", text);
  return ParseCfgFile(h, const_cast<char*>(path.c_str()));
}

TEST(Params, Defaults) {
  g_canFilter = g_canDeleteDP = g_canErose = 5;
  Video_Denoise_Handle h = Defaults();
  EXPECT_EQ(100, h.iReserved);
  EXPECT_EQ(0, h.eType);
  EXPECT_EQ(0, h.iCfgSwitch1);
  EXPECT_EQ(0, h.iCfgSwitch2);
  EXPECT_EQ(0, h.iNRLevel);
  const int level[8] = {3, 5, 2, 1, 3, 5, 2, 1};
  const int filter[5] = {8, 0, 1, 0, 4};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(level[i], h.iLevelParams[i]);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(filter[i], h.iFilterParams[i]);
  EXPECT_EQ(2, h.iPrevFrameNum);
  EXPECT_EQ(-1, h.sPrevFrames.iFrameCount);
  EXPECT_EQ(0, g_canFilter);
  EXPECT_EQ(0, g_canDeleteDP);
  EXPECT_EQ(0, g_canErose);
  g_canFilter = g_canDeleteDP = g_canErose = 0;
}

TEST(Params, ConfigFilePositionsAndQuirks) {
  // Values by position; the text before '=' is ignored.
  Video_Denoise_Handle h = Defaults();
  ASSERT_EQ(0, Parse(&h,
                     "sw1=0\nsw2=0\na=11\nb=12\nc=13\nd=14\ne=15\nf=16\ng=17\n"
                     "h=18\nframes=0\nf0=21\nf1=22\nf2=23\nf3=24\nf4=25\n"
                     "ignored=99\n"));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(11 + i, h.iLevelParams[i]);
  EXPECT_EQ(1, h.iPrevFrameNum);  // the stored value is the number plus 1
  for (int i = 0; i < 5; ++i) EXPECT_EQ(21 + i, h.iFilterParams[i]);

  // A single line repeats its value into every later position.
  h = Defaults();
  ASSERT_EQ(0, Parse(&h, "x=1\n"));
  EXPECT_EQ(1, h.iCfgSwitch1);
  EXPECT_EQ(1, h.iCfgSwitch2);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(1, h.iLevelParams[i]);
  EXPECT_EQ(2, h.iPrevFrameNum);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(1, h.iFilterParams[i]);

  // Empty values keep defaults; CR LF endings and atoi leniency.
  h = Defaults();
  ASSERT_EQ(0, Parse(&h, "a=\nb=7\r\nno equals sign\nd= 42xyz\ne=abc\n"
                         "f=\r\n"));
  EXPECT_EQ(0, h.iCfgSwitch1);
  EXPECT_EQ(7, h.iCfgSwitch2);
  EXPECT_EQ(3, h.iLevelParams[0]);   // no '=': default
  EXPECT_EQ(42, h.iLevelParams[1]);  // leading blank, trailing junk
  EXPECT_EQ(0, h.iLevelParams[2]);   // not a number
  EXPECT_EQ(1, h.iLevelParams[3]);   // "f=\r": empty after the cuts
  // The last line read ("f=\r\n") repeats: nothing more is stored.
  EXPECT_EQ(3, h.iLevelParams[4]);
  EXPECT_EQ(2, h.iPrevFrameNum);

  // An empty file changes nothing but counts as opened.
  h = Defaults();
  ASSERT_EQ(0, Parse(&h, ""));
  EXPECT_EQ(2, h.iPrevFrameNum);
  EXPECT_EQ(8, h.iFilterParams[0]);

  h = Defaults();
  EXPECT_EQ(-1, ParseCfgFile(&h, const_cast<char*>("/nonexistent/vd.cfg")));
  EXPECT_EQ(0, ParseCfgParams(&h));
}

TEST(Params, FrameCountIsClampedToTheRing) {
  vdtest::LogCapture log;
  Video_Denoise_Handle h = Defaults();
  std::string lines = "a=0\nb=0\n";
  for (int i = 0; i < 8; ++i) lines += "l=1\n";
  ASSERT_EQ(0, Parse(&h, lines + "n=5\nf=8\n"));
  EXPECT_EQ(2, h.iPrevFrameNum);
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(6, log.Lines()[0].priority);
  log.Clear();
  h = Defaults();
  ASSERT_EQ(0, Parse(&h, lines + "n=-3\nf=8\n"));
  EXPECT_EQ(1, h.iPrevFrameNum);
  EXPECT_EQ(1u, log.Lines().size());
}

TEST(Params, GetCfgContentReturnsTheValueText) {
  std::string path = WriteFile("vd_line.txt", "key=value\r\n");
  FILE* f = std::fopen(path.c_str(), "r");
  char line[512] = {0};
  const char* v = GetCfgContent(f, line);
  ASSERT_NE(nullptr, v);
  EXPECT_STREQ("value", v);
  std::fclose(f);
}

TEST(Params, InitReportsAnUnreadableConfigAndCarriesOn) {
  vdtest::LogCapture log;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, "/nonexistent/vd.cfg"));
  EXPECT_EQ(1, log.Count("can not open config :/nonexistent/vd.cfg!\n"));
  EXPECT_EQ(2, g_hVideoDenoise->iPrevFrameNum);
  TARNO_VideoDenoiseDeinit();

  std::string path = WriteFile("vd_init.cfg", "s=0\ns=0\nl=9\n");
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, path.c_str()));
  EXPECT_EQ(9, g_hVideoDenoise->iLevelParams[0]);
  EXPECT_EQ(9, g_hVideoDenoise->iFilterParams[4]);
  EXPECT_EQ(2, g_hVideoDenoise->iPrevFrameNum);  // 9 + 1, clamped
  TARNO_VideoDenoiseDeinit();
}

int Move(int level, int type, int iso) {
  Video_Denoise_Handle h = Defaults();
  h.iNRLevel = level;
  SetVideoDenoiseParams(&h, type, iso);
  return h.iNRLevel;
}

TEST(Params, NoiseLevelTransitions) {
  struct Case {
    int from, type, iso, to;
  } cases[] = {
      {0, 6, 379, 1}, {0, 6, 380, 3}, {0, 5, 380, 2}, {0, 5, 379, 0},
      {0, -100, -5, 0},
      {1, 5, 380, 3}, {1, 4, 380, 2}, {1, 4, 379, 0}, {1, 5, 379, 1},
      {2, 6, 320, 1}, {2, 6, 321, 3}, {2, 5, 319, 0}, {2, 5, 320, 2},
      {3, 4, 321, 2}, {3, 4, 319, 0}, {3, 5, 319, 1}, {3, 5, 320, 3},
      {3, 4, 320, 3}, {4, 9, 9999, 4}, {-1, 9, 9999, -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.to, Move(c.from, c.type, c.iso))
        << c.from << " " << c.type << " " << c.iso;
  }
  // Hysteresis: type rises at 6 and falls only at 4.
  Video_Denoise_Handle h = Defaults();
  SetVideoDenoiseParams(&h, 6, 100);
  EXPECT_EQ(1, h.iNRLevel);
  SetVideoDenoiseParams(&h, 5, 100);
  EXPECT_EQ(1, h.iNRLevel);
  SetVideoDenoiseParams(&h, 4, 100);
  EXPECT_EQ(0, h.iNRLevel);
}

}  // namespace
