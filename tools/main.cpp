// vdenoise: denoises YUV4MPEG2 or raw NV21/I420 clips with libVideoDenoise.
#include <cstdio>
#include <string>

#include "tools/options.h"
#include "tools/output_file.h"
#include "tools/picture.h"
#include "tools/run.h"

int main(int argc, char** argv) {
  vdtool::Options options;
  std::string error;
  if (!vdtool::ParseOptions(argc, argv, &options, &error)) {
    vdtool::PrintError(error);
    std::fprintf(stderr, "Try 'vdenoise --help' for the options.\n");
    return vdtool::kExitUsage;
  }
  if (options.help) {
    std::fputs(vdtool::HelpText(vdtool::PngSupported()).c_str(), stdout);
    return vdtool::kExitOk;
  }
  if (options.version) {
    std::fputs(vdtool::VersionText().c_str(), stdout);
    return vdtool::kExitOk;
  }
  vdtool::InstallOutputSignalHandlers();
  return options.demo ? vdtool::RunDemo(options) : vdtool::RunDenoise(options);
}
