#include "tools/progress.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace vdtool {
namespace {

TEST(ProgressTest, CountsReadAsEnglish) {
  EXPECT_EQ(CountOf(1, "frame"), "1 frame");
  EXPECT_EQ(CountOf(0, "frame"), "0 frames");
  EXPECT_EQ(CountOf(2, "whole frame"), "2 whole frames");
  EXPECT_EQ(CountOf(11, "frame"), "11 frames");
}

TEST(ProgressTest, DurationsReadAsClockTimes) {
  EXPECT_EQ(FormatDuration(0), "0:00");
  EXPECT_EQ(FormatDuration(7.4), "0:07");
  EXPECT_EQ(FormatDuration(7.6), "0:08");
  EXPECT_EQ(FormatDuration(59.5), "1:00");
  EXPECT_EQ(FormatDuration(754), "12:34");
  EXPECT_EQ(FormatDuration(3723), "1:02:03");
  EXPECT_EQ(FormatDuration(-3), "0:00");
}

TEST(ProgressTest, LineWithAKnownTotal) {
  // 120 of 300 frames in 4 s: 30 fps, 180 frames to go take 6 s.
  EXPECT_EQ(FormatProgressLine(120, 300, 4.0),
            "frame 120/300  40%  30.0 fps  ETA 0:06");
  EXPECT_EQ(FormatProgressLine(300, 300, 10.0),
            "frame 300/300 100%  30.0 fps  ETA 0:00");
  // A total estimated from the file size may be passed.
  EXPECT_EQ(FormatProgressLine(12, 10, 1.0), "frame 12/10 100%  12.0 fps");
  EXPECT_EQ(FormatProgressLine(0, 0, 0.0), "frame 0/0 100%");
}

TEST(ProgressTest, LineWithoutATotalOrBeforeTheFirstRate) {
  EXPECT_EQ(FormatProgressLine(50, -1, 2.0), "frame 50  25.0 fps");
  EXPECT_EQ(FormatProgressLine(3, 100, 0.1), "frame 3/100   3%");
  EXPECT_EQ(FormatProgressLine(0, 100, 5.0), "frame 0/100   0%");
}

TEST(ProgressTest, NothingIsDrawnWhenTheStreamIsNotATerminal) {
  FILE* f = std::tmpfile();
  ASSERT_NE(f, nullptr);
  Progress p;
  StartProgress(&p, f, true, 10);
  EXPECT_EQ(p.out, nullptr);
  UpdateProgress(&p, 5, 0.0);
  ClearProgress(&p);
  EXPECT_EQ(std::ftell(f), 0);
  std::fclose(f);
}

TEST(ProgressTest, DisabledProgressStaysSilentOnATerminalToo) {
  Progress p;
  StartProgress(&p, stderr, false, 10);
  EXPECT_EQ(p.out, nullptr);
}

TEST(ProgressTest, MonotonicClockAdvances) {
  double a = NowSeconds();
  double b = NowSeconds();
  EXPECT_GE(b, a);
  EXPECT_GT(a, 0);
}

}  // namespace
}  // namespace vdtool
