// Output that never looks complete before it is.
//
// A regular-file output is written under a temporary name in the same
// directory and renamed over the final name only by CommitOutput; any
// failure, or an interrupt signal, removes the temporary file. Standard
// output ("-") and existing non-regular files (devices, FIFOs) are written
// in place. A symbolic link is written through: its target is replaced
// the same way and the link stays. A replaced file keeps its permission
// bits. Write errors are reported in plain words (disk full, broken pipe).
#ifndef VD_TOOLS_OUTPUT_FILE_H_
#define VD_TOOLS_OUTPUT_FILE_H_

#include <cstddef>
#include <cstdio>
#include <string>

namespace vdtool {

struct OutputFile {
  int fd = -1;
  bool owns_fd = false;
  std::string path;       // the final name, symbolic links followed ("-"
                          // for standard output)
  std::string temp_path;  // empty when written in place
  std::string name;       // for messages: the path or "standard output"
  size_t bytes_written = 0;
  int cleanup_slot = -1;  // registration with the signal handler
};

// Follows symbolic links from |path| to the file that writing replaces
// (which need not exist yet: a dangling link names the file to create).
bool ResolveOutputLinks(const std::string& path, std::string* target,
                        std::string* error);

// Whether writing |path| would replace an existing regular file (through
// symbolic links); devices, FIFOs and standard output are never replaced.
bool OutputWouldReplace(const std::string& path);

// Whether |path| ("-": standard output) is a terminal.
bool OutputIsTerminal(const std::string& path);

// Writes "|question| [y/N] " to |out| and reads one line from |in|: true
// only for "y" or "yes" in any case.
bool AskYesNo(FILE* in, FILE* out, const std::string& question);

// Opens |path| for writing.
bool OpenOutput(const std::string& path, OutputFile* out, std::string* error);

// Writes all of |data|. Fails with a plain message on a full disk, a closed
// pipe or any other write error.
bool WriteOutput(OutputFile* out, const void* data, size_t size,
                 std::string* error);

// Flushes the data to disk and gives the file its final name.
bool CommitOutput(OutputFile* out, std::string* error);

// Closes the output and removes the temporary file, if any.
void AbortOutput(OutputFile* out);

// Ignores SIGPIPE (writes then fail with EPIPE and are reported) and makes
// SIGINT, SIGTERM and SIGHUP remove open temporary files before the process
// ends.
void InstallOutputSignalHandlers();

// Turns an errno value from a write into a sentence about |name|.
std::string WriteErrorText(int error_number, const std::string& name);

// Creates |dir| and any missing parents; succeeds when it already exists.
bool MakeDirectories(const std::string& dir, std::string* error);

}  // namespace vdtool

#endif  // VD_TOOLS_OUTPUT_FILE_H_
