// The vdenoise command line.
#ifndef VD_TOOLS_OPTIONS_H_
#define VD_TOOLS_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/denoiser.h"
#include "tools/frame_reader.h"

namespace vdtool {

constexpr int kDefaultType = 0;
constexpr int kDefaultIso = 100;
constexpr int kDefaultDemoFrames = 24;

// What to do when the output file exists: ask (only when standard input is
// a terminal; otherwise refuse), always overwrite (-y), never (-n).
enum class Overwrite { kAsk, kYes, kNo };

struct Options {
  bool help = false;
  bool version = false;
  bool demo = false;

  std::string input;
  std::string output;
  RawLayout raw;  // -s and --pix-fmt

  int type = kDefaultType;
  int iso = kDefaultIso;
  Method method = Method::kFuzzy;
  int threads = 0;  // 0: one per online core
  std::string schedule;
  std::string config;
  int64_t max_frames = -1;  // -1: all
  int64_t skip = 0;

  std::string reference;
  bool per_frame = false;

  std::string png_dir;
  std::vector<int64_t> png_frames;  // frame numbers of the input
  bool png_last = false;            // also the last frame
  bool png_frames_given = false;
  int png_zoom = 2;
  int png_crop_x = -1;
  int png_crop_y = -1;

  bool quiet = false;
  bool verbose = false;
  Overwrite overwrite = Overwrite::kAsk;

  std::string demo_dir;  // --out; empty: the build directory or a new
                         // temporary folder
  bool keep_clips = false;
};

// Parses argv. False with a message for anything malformed or
// contradictory (the caller adds a pointer to --help).
bool ParseOptions(int argc, const char* const* argv, Options* options,
                  std::string* error);

// Every option name the parser knows, for "did you mean".
const std::vector<std::string>& OptionNames();

// The known option nearest to the unknown |name| (edit distance, small
// enough to be a likely typo), or "" when none is near.
std::string NearestOption(const std::string& name);

// The --help text; |png| says whether this build writes PNG files.
std::string HelpText(bool png);

// The --version text.
std::string VersionText();

}  // namespace vdtool

#endif  // VD_TOOLS_OPTIONS_H_
