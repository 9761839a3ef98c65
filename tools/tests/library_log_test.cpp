#include "tools/library_log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "api/vdenoise.h"

namespace vdtool {
namespace {

TEST(LibraryLogTest, KeepsWarningsAndErrorsUntilTaken) {
  LibraryLog log;
  ReceiveLibraryLine(&log, VD_LOG_DEBUG, "frame 3: 2 stripes\n");
  ReceiveLibraryLine(&log, VD_LOG_WARNING, "config: line 4 ignored\n");
  ReceiveLibraryLine(&log, VD_LOG_ERROR, "width 0 is invalid");
  EXPECT_EQ(TakeLibraryMessages(&log),
            (std::vector<std::string>{"config: line 4 ignored",
                                      "width 0 is invalid"}));
  EXPECT_TRUE(TakeLibraryMessages(&log).empty()) << "taken once";
  // A flood stays bounded.
  for (int i = 0; i < 1000; ++i) ReceiveLibraryLine(&log, VD_LOG_ERROR, "again");
  EXPECT_EQ(TakeLibraryMessages(&log).size(), kMaxKeptLibraryMessages);
  ReceiveLibraryLine(nullptr, VD_LOG_ERROR, "no log: ignored");
}

TEST(LibraryLogTest, EchoesEveryDeliveredLineWithItsLevel) {
  LibraryLog log;
  log.echo = std::tmpfile();
  ASSERT_NE(log.echo, nullptr);
  ReceiveLibraryLine(&log, VD_LOG_DEBUG, "trace\n");
  ReceiveLibraryLine(&log, VD_LOG_WARNING, "careful");
  ReceiveLibraryLine(&log, VD_LOG_ERROR, "broken\r\n");
  std::rewind(log.echo);
  char text[256] = {0};
  const size_t n = std::fread(text, 1, sizeof(text) - 1, log.echo);
  EXPECT_EQ(std::string(text, n),
            "D/libVideoDenoise: trace\n"
            "W/libVideoDenoise: careful\n"
            "E/libVideoDenoise: broken\n");
  std::fclose(log.echo);
}

}  // namespace
}  // namespace vdtool
