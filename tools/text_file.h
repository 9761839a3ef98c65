// Whole small text files (schedules), with plain error messages.
#ifndef VD_TOOLS_TEXT_FILE_H_
#define VD_TOOLS_TEXT_FILE_H_

#include <cstddef>
#include <string>

namespace vdtool {

// Reads all of |path| into |text|; refuses directories and files larger
// than |max_bytes|.
bool ReadTextFile(const std::string& path, size_t max_bytes, std::string* text,
                  std::string* error);

// Checks that |path| names a regular file this process can read.
bool CheckReadableFile(const std::string& path, std::string* error);

}  // namespace vdtool

#endif  // VD_TOOLS_TEXT_FILE_H_
