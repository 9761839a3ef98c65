#include "tools/schedule.h"

#include <gtest/gtest.h>

#include "tools/tests/temp_dir.h"

namespace vdtool {
namespace {

std::string ParseError(const std::string& text) {
  std::vector<ScheduleEntry> entries;
  std::string error;
  EXPECT_FALSE(ParseSchedule(text, "s.txt", &entries, &error)) << text;
  return error;
}

TEST(ScheduleTest, ReadsLinesCommentsBlanksAndWindowsLineEnds) {
  const std::string text =
      "# frame type iso\r\n"
      "0 1 100\r\n"
      "\r\n"
      "   120\t1   400   # brighter scene\r\n"
      "300 6 800";  // no final newline
  std::vector<ScheduleEntry> e;
  std::string error;
  ASSERT_TRUE(ParseSchedule(text, "s.txt", &e, &error)) << error;
  ASSERT_EQ(e.size(), 3u);
  EXPECT_EQ(e[0].frame, 0);
  EXPECT_EQ(e[0].setting.type, 1);
  EXPECT_EQ(e[0].setting.iso, 100);
  EXPECT_EQ(e[0].line, 2);
  EXPECT_EQ(e[1].frame, 120);
  EXPECT_EQ(e[1].setting.iso, 400);
  EXPECT_EQ(e[1].line, 4);
  EXPECT_EQ(e[2].frame, 300);
  EXPECT_EQ(e[2].setting.type, 6);
  EXPECT_EQ(e[2].line, 5);
}

TEST(ScheduleTest, LooksUpTheSettingInForce) {
  std::vector<ScheduleEntry> e;
  std::string error;
  ASSERT_TRUE(ParseSchedule("10 1 200\n20 6 800\n21 0 100\n", "s", &e, &error));
  const TypeIso before{3, 50};
  EXPECT_EQ(ScheduleAt(e, 0, before).type, 3);
  EXPECT_EQ(ScheduleAt(e, 9, before).iso, 50);
  EXPECT_EQ(ScheduleAt(e, 10, before).iso, 200);
  EXPECT_EQ(ScheduleAt(e, 19, before).iso, 200);
  EXPECT_EQ(ScheduleAt(e, 20, before).iso, 800);
  EXPECT_EQ(ScheduleAt(e, 20, before).type, 6);
  EXPECT_EQ(ScheduleAt(e, 21, before).iso, 100);
  EXPECT_EQ(ScheduleAt(e, 1000000, before).iso, 100);
  EXPECT_EQ(ScheduleAt({}, 5, before).iso, 50);
}

TEST(ScheduleTest, MalformedLinesAreRefusedWithFileAndLine) {
  EXPECT_EQ(ParseError("0 1 100\n5 1\n"),
            "s.txt:2: expected three numbers \"frame type iso\", found 2 fields");
  EXPECT_EQ(ParseError("0 1 100 7\n"),
            "s.txt:1: expected three numbers \"frame type iso\", found 4 fields");
  EXPECT_EQ(ParseError("# only\n\n7\n"),
            "s.txt:3: expected three numbers \"frame type iso\", found 1 field");
  EXPECT_EQ(ParseError("0 one 100\n"),
            "s.txt:1: the type \"one\" is not a non-negative whole number");
  EXPECT_EQ(ParseError("-1 1 100\n"),
            "s.txt:1: the frame \"-1\" is not a non-negative whole number");
  EXPECT_EQ(ParseError("0 1 1e3\n"),
            "s.txt:1: the iso \"1e3\" is not a non-negative whole number");
  EXPECT_EQ(ParseError("0 1 99999999999\n"),
            "s.txt:1: the iso \"99999999999\" is not a non-negative whole number");
  EXPECT_EQ(ParseError("0 1 100\n10 1 200\n10 1 300\n"),
            "s.txt:3: frame 10 does not come after frame 10 (line 2)");
  EXPECT_EQ(ParseError("50 1 100\n10 1 200\n"),
            "s.txt:2: frame 10 does not come after frame 50 (line 1)");
  EXPECT_EQ(ParseError(""), "s.txt: the schedule has no \"frame type iso\" lines");
  EXPECT_EQ(ParseError("# nothing\n\n"),
            "s.txt: the schedule has no \"frame type iso\" lines");
}

TEST(ScheduleTest, LoadsFilesAndReportsMissingOnes) {
  vdtooltest::TempDir dir;
  std::vector<ScheduleEntry> e;
  std::string error;
  const std::string path = dir.File("run.txt");
  ASSERT_TRUE(vdtooltest::WriteFile(path, "0 0 100\n30 6 800\n"));
  ASSERT_TRUE(LoadSchedule(path, &e, &error)) << error;
  EXPECT_EQ(e.size(), 2u);

  EXPECT_FALSE(LoadSchedule(dir.File("none.txt"), &e, &error));
  EXPECT_NE(error.find("cannot open " + dir.File("none.txt")), std::string::npos);
  EXPECT_FALSE(LoadSchedule(dir.path(), &e, &error));
  EXPECT_NE(error.find("is a directory"), std::string::npos) << error;

  ASSERT_TRUE(vdtooltest::WriteFile(path, "0 0 100\nx\n"));
  EXPECT_FALSE(LoadSchedule(path, &e, &error));
  EXPECT_EQ(error.find(path + ":2: "), 0u) << error;
}

}  // namespace
}  // namespace vdtool
