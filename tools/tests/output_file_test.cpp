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

mode_t ModeOf(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

bool WriteWhole(const std::string& path, const std::string& bytes) {
  OutputFile out;
  std::string error;
  return OpenOutput(path, &out, &error) &&
         WriteOutput(&out, bytes.data(), bytes.size(), &error) &&
         CommitOutput(&out, &error);
}

TEST(OutputFileTest, PermissionsAreTheUsualOnesOrTheReplacedFilesOwn) {
  TempDir dir;
  const mode_t old_mask = umask(022);
  ASSERT_TRUE(WriteWhole(dir.File("p"), "new"));
  EXPECT_EQ(ModeOf(dir.File("p")), 0644u);
  // A replaced file keeps its bits, whatever the umask says.
  ASSERT_TRUE(WriteFile(dir.File("q"), "old"));
  ASSERT_EQ(chmod(dir.File("q").c_str(), 0640), 0);
  ASSERT_TRUE(WriteWhole(dir.File("q"), "new"));
  umask(old_mask);
  EXPECT_EQ(ModeOf(dir.File("q")), 0640u);
  EXPECT_EQ(ReadFile(dir.File("q")), "new");
}

TEST(OutputFileTest, SymbolicLinksAreWrittenThroughAndStay) {
  TempDir dir;
  ASSERT_EQ(mkdir(dir.File("sub").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir.File("sub/target.y4m"), "old"));
  ASSERT_EQ(chmod(dir.File("sub/target.y4m").c_str(), 0600), 0);
  // A relative link, and a link to that link.
  ASSERT_EQ(symlink("sub/target.y4m", dir.File("link.y4m").c_str()), 0);
  ASSERT_EQ(symlink(dir.File("link.y4m").c_str(), dir.File("link2.y4m").c_str()), 0);
  std::string target, error;
  ASSERT_TRUE(ResolveOutputLinks(dir.File("link2.y4m"), &target, &error)) << error;
  EXPECT_EQ(target, dir.path() + "/sub/target.y4m");
  ASSERT_TRUE(WriteWhole(dir.File("link2.y4m"), "new"));
  struct stat st;
  ASSERT_EQ(lstat(dir.File("link.y4m").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(lstat(dir.File("link2.y4m").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(ReadFile(dir.File("sub/target.y4m")), "new");
  EXPECT_EQ(ModeOf(dir.File("sub/target.y4m")), 0600u);
  // The temporary file lived beside the target, and is gone.
  EXPECT_EQ(dir.List().size(), 3u);
  // A dangling link names the file to create.
  ASSERT_EQ(symlink("sub/fresh.y4m", dir.File("dangling.y4m").c_str()), 0);
  ASSERT_TRUE(WriteWhole(dir.File("dangling.y4m"), "fresh"));
  EXPECT_EQ(ReadFile(dir.File("sub/fresh.y4m")), "fresh");
  // A loop is refused, not followed forever.
  ASSERT_EQ(symlink("loop_b", dir.File("loop_a").c_str()), 0);
  ASSERT_EQ(symlink("loop_a", dir.File("loop_b").c_str()), 0);
  OutputFile out;
  EXPECT_FALSE(OpenOutput(dir.File("loop_a"), &out, &error));
  EXPECT_NE(error.find("too many levels of symbolic links"), std::string::npos)
      << error;
}

TEST(OutputFileTest, OnlyExistingRegularFilesCountAsReplaced) {
  TempDir dir;
  ASSERT_TRUE(WriteFile(dir.File("f"), "x"));
  ASSERT_EQ(symlink("f", dir.File("to_f").c_str()), 0);
  ASSERT_EQ(symlink("none", dir.File("to_none").c_str()), 0);
  EXPECT_TRUE(OutputWouldReplace(dir.File("f")));
  EXPECT_TRUE(OutputWouldReplace(dir.File("to_f")));
  EXPECT_FALSE(OutputWouldReplace(dir.File("to_none")));
  EXPECT_FALSE(OutputWouldReplace(dir.File("missing")));
  EXPECT_FALSE(OutputWouldReplace("-"));
  if (Exists("/dev/null")) {
    EXPECT_FALSE(OutputWouldReplace("/dev/null"));
    EXPECT_FALSE(OutputIsTerminal("/dev/null"));
  }
  EXPECT_FALSE(OutputIsTerminal(dir.File("f")));
}

TEST(OutputFileTest, OnlyYesOrYAnswersYes) {
  struct Case {
    const char* typed;
    bool yes;
  };
  for (const Case& c : {Case{"y\n", true}, Case{"Y\n", true},
                        Case{"yes\n", true}, Case{" YES \r\n", true},
                        Case{"n\n", false}, Case{"\n", false},
                        Case{"", false}, Case{"yep\n", false},
                        Case{"no\n", false}}) {
    std::string typed = c.typed;
    FILE* in = fmemopen(&typed[0], typed.size() + 1, "r");
    char shown[256] = {0};
    FILE* out = fmemopen(shown, sizeof(shown), "w");
    ASSERT_TRUE(in && out);
    EXPECT_EQ(AskYesNo(in, out, "out.y4m already exists. Overwrite?"), c.yes)
        << c.typed;
    std::fclose(in);
    std::fclose(out);
    EXPECT_EQ(std::string(shown).find("out.y4m already exists. Overwrite? [y/N] "),
              0u);
  }
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
