// The two things vdenoise does: denoise a clip, and run the demo.
#ifndef VD_TOOLS_RUN_H_
#define VD_TOOLS_RUN_H_

#include "tools/options.h"

namespace vdtool {

enum ExitCode {
  kExitOk = 0,
  kExitUsage = 1,      // bad command line
  kExitInput = 2,      // missing, unreadable, malformed or unusable input
  kExitLibrary = 3,    // the library refused the clip or a frame
  kExitOutput = 4,     // the output could not be written
  kExitTruncated = 5,  // the input ended inside a frame
};

// Denoises options.input into options.output; returns an ExitCode.
int RunDenoise(const Options& options);

// Makes, denoises and scores the demo clip; returns an ExitCode.
int RunDemo(const Options& options);

// "vdenoise: error: <message>" on stderr.
void PrintError(const std::string& message);
void PrintWarning(const std::string& message);

}  // namespace vdtool

#endif  // VD_TOOLS_RUN_H_
