#include "tools/output_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>

#include "tools/tests/temp_dir.h"

namespace vdtool {
namespace {

using vdtooltest::ReadFile;
using vdtooltest::TempDir;
using vdtooltest::WriteFile;

bool Exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

TEST(OutputFileTest, TheFinalNameAppearsOnlyWhenCommitted) {
  TempDir dir;
  const std::string path = dir.File("out.y4m");
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput(path, &out, &error)) << error;
  ASSERT_TRUE(WriteOutput(&out, "abc", 3, &error));
  EXPECT_FALSE(Exists(path));
  // The data goes to one hidden temporary file beside it.
  std::vector<std::string> names = dir.List();
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0].find(".out.y4m.vdenoise-"), 0u) << names[0];
  EXPECT_EQ(out.bytes_written, 3u);
  ASSERT_TRUE(CommitOutput(&out, &error)) << error;
  EXPECT_EQ(ReadFile(path), "abc");
  EXPECT_EQ(dir.List(), std::vector<std::string>{"out.y4m"});
}

TEST(OutputFileTest, AnExistingFileKeepsItsContentUntilCommit) {
  TempDir dir;
  const std::string path = dir.File("out.y4m");
  ASSERT_TRUE(WriteFile(path, "old"));
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput(path, &out, &error));
  ASSERT_TRUE(WriteOutput(&out, "new data", 8, &error));
  EXPECT_EQ(ReadFile(path), "old");
  ASSERT_TRUE(CommitOutput(&out, &error));
  EXPECT_EQ(ReadFile(path), "new data");
}

TEST(OutputFileTest, AbortLeavesNothingBehind) {
  TempDir dir;
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput(dir.File("x.nv21"), &out, &error));
  ASSERT_TRUE(WriteOutput(&out, "partial", 7, &error));
  AbortOutput(&out);
  EXPECT_TRUE(dir.List().empty());
  AbortOutput(&out);  // twice is harmless
}

TEST(OutputFileTest, NewFilesGetTheUsualPermissions) {
  TempDir dir;
  const mode_t old_mask = umask(022);
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput(dir.File("p"), &out, &error));
  ASSERT_TRUE(CommitOutput(&out, &error));
  umask(old_mask);
  struct stat st;
  ASSERT_EQ(stat(dir.File("p").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST(OutputFileTest, AFullDiskIsReportedInPlainWords) {
  if (!Exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput("/dev/full", &out, &error)) << error;
  EXPECT_TRUE(out.temp_path.empty()) << "devices are written in place";
  EXPECT_FALSE(WriteOutput(&out, "x", 1, &error));
  EXPECT_EQ(error, "no space left on the device while writing /dev/full");
  AbortOutput(&out);
}

TEST(OutputFileTest, AClosedPipeIsReportedAsABrokenPipe) {
  InstallOutputSignalHandlers();  // SIGPIPE ignored, writes fail with EPIPE
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  close(fds[0]);
  OutputFile out;
  out.fd = fds[1];
  out.owns_fd = true;
  out.name = "standard output";
  std::string error;
  EXPECT_FALSE(WriteOutput(&out, "x", 1, &error));
  EXPECT_EQ(error, "standard output was closed by the reader (broken pipe)");
  AbortOutput(&out);
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  signal(SIGHUP, SIG_DFL);
}

TEST(OutputFileTest, UnwritablePlacesAreRefusedAtOpen) {
  TempDir dir;
  OutputFile out;
  std::string error;
  EXPECT_FALSE(OpenOutput(dir.File("no/such/dir/out.y4m"), &out, &error));
  EXPECT_NE(error.find("cannot create " + dir.File("no/such/dir/out.y4m")),
            std::string::npos);
  EXPECT_NE(error.find("No such file or directory"), std::string::npos) << error;
  EXPECT_FALSE(OpenOutput(dir.path(), &out, &error));
  EXPECT_NE(error.find("is a directory"), std::string::npos) << error;
  EXPECT_FALSE(OpenOutput(dir.path() + "/", &out, &error));
}

TEST(OutputFileTest, StandardOutputIsWrittenInPlace) {
  OutputFile out;
  std::string error;
  ASSERT_TRUE(OpenOutput("-", &out, &error));
  EXPECT_EQ(out.fd, STDOUT_FILENO);
  EXPECT_EQ(out.name, "standard output");
  EXPECT_TRUE(out.temp_path.empty());
  EXPECT_FALSE(out.owns_fd);
}

TEST(OutputFileTest, WriteErrorsReadAsSentences) {
  EXPECT_EQ(WriteErrorText(ENOSPC, "a.y4m"),
            "no space left on the device while writing a.y4m");
  EXPECT_EQ(WriteErrorText(EDQUOT, "a.y4m"),
            "disk quota exceeded while writing a.y4m");
  EXPECT_EQ(WriteErrorText(EPIPE, "standard output"),
            "standard output was closed by the reader (broken pipe)");
  EXPECT_EQ(WriteErrorText(EIO, "a.y4m").find("cannot write a.y4m: "), 0u);
}

TEST(OutputFileTest, MakeDirectoriesCreatesParents) {
  TempDir dir;
  std::string error;
  const std::string deep = dir.File("a/b/c");
  ASSERT_TRUE(MakeDirectories(deep, &error)) << error;
  struct stat st;
  ASSERT_EQ(stat(deep.c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_TRUE(MakeDirectories(deep, &error)) << "existing is fine";
  EXPECT_TRUE(MakeDirectories(deep + "/", &error));
  ASSERT_TRUE(WriteFile(dir.File("file"), "x"));
  EXPECT_FALSE(MakeDirectories(dir.File("file"), &error));
  EXPECT_FALSE(MakeDirectories(dir.File("file/sub"), &error));
  EXPECT_FALSE(MakeDirectories("", &error));
}

}  // namespace
}  // namespace vdtool
