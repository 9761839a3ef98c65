#include "tools/options.h"

#include <algorithm>
#include <cstring>

#include "tools/metrics.h"

#ifndef VD_TOOL_VERSION
#define VD_TOOL_VERSION "unknown"
#endif

namespace vdtool {

namespace {

bool ParseWhole(const std::string& text, long long min, long long max,
                long long* value) {
  if (text.empty() || text.size() > 18) return false;
  long long v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + (c - '0');
  }
  if (v < min || v > max) return false;
  *value = v;
  return true;
}

bool ParseFrameList(const std::string& text, Options* o) {
  o->png_frames.clear();
  o->png_last = false;
  size_t pos = 0;
  while (pos <= text.size()) {
    size_t comma = text.find(',', pos);
    if (comma == std::string::npos) comma = text.size();
    std::string item = text.substr(pos, comma - pos);
    long long v = 0;
    if (item == "last") {
      o->png_last = true;
    } else if (ParseWhole(item, 0, 1ll << 40, &v)) {
      o->png_frames.push_back(v);
    } else {
      return false;
    }
    pos = comma + 1;
  }
  return true;
}

bool ParsePoint(const std::string& text, int* x, int* y) {
  size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  long long a = 0, b = 0;
  if (!ParseWhole(text.substr(0, comma), 0, 1 << 20, &a) ||
      !ParseWhole(text.substr(comma + 1), 0, 1 << 20, &b)) {
    return false;
  }
  *x = static_cast<int>(a);
  *y = static_cast<int>(b);
  return true;
}

// Restricted Damerau-Levenshtein distance: insertions, deletions,
// substitutions and swaps of neighbours each cost one.
size_t EditDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> d(a.size() + 1,
                                     std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
  for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      size_t best = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                              d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        best = std::min(best, d[i - 2][j - 2] + 1);
      }
      d[i][j] = best;
    }
  }
  return d[a.size()][b.size()];
}

std::string WithoutDashes(const std::string& name) {
  size_t k = name.find_first_not_of('-');
  return k == std::string::npos ? std::string() : name.substr(k);
}

// ffmpeg's pipe protocol: "pipe:" is standard input for reading and
// standard output for writing; "pipe:0" and "pipe:1" name them outright.
// Returns false for other descriptors.
bool ResolvePipeName(std::string* path, bool output) {
  if (path->compare(0, 5, "pipe:") != 0) return true;
  const std::string fd = path->substr(5);
  if (fd.empty() || fd == (output ? "1" : "0")) {
    *path = "-";
    return true;
  }
  return false;
}

}  // namespace

const std::vector<std::string>& OptionNames() {
  static const std::vector<std::string> kNames = {
      "-h", "--help", "-V", "--version", "--demo", "-q", "--quiet",
      "--verbose", "-y", "-n", "-i", "-s", "-video_size", "--pix-fmt",
      "-pix_fmt", "--method", "--threads", "--type", "--iso", "--schedule",
      "--config", "--frames", "--skip", "--reference", "--per-frame", "--png",
      "--png-frames", "--png-zoom", "--png-crop", "--out", "--keep-clips"};
  return kNames;
}

std::string NearestOption(const std::string& name) {
  const std::string core = WithoutDashes(name);
  std::string best;
  size_t best_distance = 0;
  for (const std::string& candidate : OptionNames()) {
    const std::string candidate_core = WithoutDashes(candidate);
    // The right word with the wrong number of dashes is always a match.
    if (!core.empty() && core == candidate_core) return candidate;
    // Otherwise only longer names: "-x" is not a typo of "-s".
    if (candidate_core.size() < 3) continue;
    const size_t allowed = std::max<size_t>(1, candidate_core.size() / 3);
    const size_t d = EditDistance(name, candidate);
    if (d <= allowed && (best.empty() || d < best_distance)) {
      best = candidate;
      best_distance = d;
    }
  }
  return best;
}

bool ParseOptions(int argc, const char* const* argv, Options* options,
                  std::string* error) {
  Options o;
  std::vector<std::string> positional;
  bool frames_given = false;
  bool png_detail_given = false;  // --png-frames, --png-zoom, --png-crop
  bool only_positional = false;
  bool input_option = false;  // -i INPUT
  std::vector<std::string> file_options;  // given, for the --demo check
  std::vector<std::string> demo_options;  // --out, --keep-clips

  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (only_positional || arg == "-" || arg.empty() || arg[0] != '-') {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      only_positional = true;
      continue;
    }
    // "--name=value" or "--name value".
    std::string name = arg, value;
    bool inline_value = false;
    size_t eq = arg.find('=');
    if (arg.compare(0, 2, "--") == 0 && eq != std::string::npos) {
      name = arg.substr(0, eq);
      value = arg.substr(eq + 1);
      inline_value = true;
    }
    auto take = [&](std::string* out) {
      if (inline_value) {
        *out = value;
        return true;
      }
      if (i + 1 >= argc) {
        *error = "option " + name + " needs a value";
        return false;
      }
      *out = argv[++i];
      return true;
    };
    auto whole = [&](long long min, long long max, long long* out) {
      std::string v;
      if (!take(&v)) return false;
      if (!ParseWhole(v, min, max, out)) {
        *error = "option " + name + " needs a whole number from " +
                 std::to_string(min) + " to " + std::to_string(max) +
                 ", not \"" + v + "\"";
        return false;
      }
      return true;
    };
    long long n = 0;
    std::string v;
    if (name == "-h" || name == "--help") {
      o.help = true;
    } else if (name == "-V" || name == "--version") {
      o.version = true;
    } else if (name == "--demo") {
      o.demo = true;
    } else if (name == "-q" || name == "--quiet") {
      o.quiet = true;
    } else if (name == "--verbose") {
      o.verbose = true;
    } else if (name == "--per-frame") {
      o.per_frame = true;
      file_options.push_back(name);
    } else if (name == "-y" || name == "-n") {
      const Overwrite wanted = name == "-y" ? Overwrite::kYes : Overwrite::kNo;
      if (o.overwrite != Overwrite::kAsk && o.overwrite != wanted) {
        *error = "-y (always overwrite) and -n (never overwrite) contradict "
                 "each other";
        return false;
      }
      o.overwrite = wanted;
      file_options.push_back(name);
    } else if (name == "-i") {
      // ffmpeg's way of naming the input; the output stays positional.
      if (!take(&v)) return false;
      if (input_option) {
        *error = "-i names the input, and it was given twice";
        return false;
      }
      o.input = v;
      input_option = true;
      file_options.push_back(name);
    } else if (name == "-s" || name == "-video_size") {
      if (!take(&v)) return false;
      if (!ParseFrameSize(v, &o.raw.width, &o.raw.height)) {
        *error = "option " + name + " needs a size WxH such as 1920x1080 or "
                 "a name such as hd1080, not \"" + v + "\"";
        return false;
      }
      const std::string odd = OddSizeAdvice(o.raw.width, o.raw.height);
      if (!odd.empty()) {
        *error = "option " + name + " " + v + ": " + odd;
        return false;
      }
      file_options.push_back(name);
    } else if (name == "--pix-fmt" || name == "-pix_fmt") {
      if (!take(&v)) return false;
      if (!ParsePixelFormat(v, &o.raw.format)) {
        *error = "option " + name + " takes nv21, nv12 or i420 (also called "
                 "yuv420p), not \"" + v + "\"";
        return false;
      }
      file_options.push_back(name);
    } else if (name == "--method") {
      if (!take(&v)) return false;
      if (!ParseMethod(v, &o.method)) {
        *error = "option --method takes fuzzy, temporal or adaptive, not \"" +
                 v + "\"";
        return false;
      }
      if (!MethodAvailable(o.method)) {
        *error = std::string("--method ") + MethodName(o.method) +
                 ": this libVideoDenoise does not have that method yet";
        return false;
      }
      file_options.push_back(name);
    } else if (name == "--threads") {
      if (!whole(0, 256, &n)) return false;
      o.threads = static_cast<int>(n);
    } else if (name == "--type") {
      if (!whole(0, 0x7fffffff, &n)) return false;
      o.type = static_cast<int>(n);
      file_options.push_back(name);
    } else if (name == "--iso") {
      if (!whole(0, 0x7fffffff, &n)) return false;
      o.iso = static_cast<int>(n);
      file_options.push_back(name);
    } else if (name == "--schedule") {
      if (!take(&o.schedule)) return false;
      file_options.push_back(name);
    } else if (name == "--config") {
      if (!take(&o.config)) return false;
      file_options.push_back(name);
    } else if (name == "--frames") {
      if (!whole(1, 1ll << 40, &n)) return false;
      o.max_frames = n;
      frames_given = true;
    } else if (name == "--skip") {
      if (!whole(0, 1ll << 40, &n)) return false;
      o.skip = n;
      file_options.push_back(name);
    } else if (name == "--reference") {
      if (!take(&o.reference)) return false;
      file_options.push_back(name);
    } else if (name == "--png") {
      if (!take(&o.png_dir)) return false;
      if (o.png_dir.empty()) {
        *error = "option --png needs a directory";
        return false;
      }
      file_options.push_back(name);
    } else if (name == "--png-frames") {
      if (!take(&v)) return false;
      if (!ParseFrameList(v, &o)) {
        *error = "option --png-frames takes frame numbers and \"last\" "
                 "separated by commas (e.g. 0,30,last), not \"" + v + "\"";
        return false;
      }
      o.png_frames_given = true;
      png_detail_given = true;
      file_options.push_back(name);
    } else if (name == "--png-zoom") {
      if (!whole(1, 8, &n)) return false;
      o.png_zoom = static_cast<int>(n);
      png_detail_given = true;
      file_options.push_back(name);
    } else if (name == "--png-crop") {
      if (!take(&v)) return false;
      if (!ParsePoint(v, &o.png_crop_x, &o.png_crop_y)) {
        *error = "option --png-crop needs X,Y (the crop's top-left pixel), "
                 "not \"" + v + "\"";
        return false;
      }
      png_detail_given = true;
      file_options.push_back(name);
    } else if (name == "--out") {
      if (!take(&o.demo_dir)) return false;
      if (o.demo_dir.empty()) {
        *error = "option --out needs a directory";
        return false;
      }
      demo_options.push_back(name);
    } else if (name == "--keep-clips") {
      o.keep_clips = true;
      demo_options.push_back(name);
    } else {
      *error = "unknown option " + name;
      const std::string near = NearestOption(name);
      if (!near.empty()) *error += " (did you mean " + near + "?)";
      return false;
    }
    if (inline_value && (name == "--help" || name == "--version" ||
                         name == "--demo" || name == "--quiet" ||
                         name == "--verbose" || name == "--per-frame" ||
                         name == "--keep-clips")) {
      *error = "option " + name + " takes no value";
      return false;
    }
  }

  if (o.help || o.version) {
    *options = o;
    return true;
  }
  if (o.demo) {
    if (!positional.empty()) {
      *error = "--demo makes its own clip and takes no input or output files "
               "(use --out DIR for where it writes)";
      return false;
    }
    if (!file_options.empty()) {
      *error = "option " + file_options.front() +
               " does not apply to --demo (it takes --out, --keep-clips, "
               "--frames, --quiet and --verbose)";
      return false;
    }
    if (!frames_given) o.max_frames = kDefaultDemoFrames;
    if (o.max_frames > 300) {
      *error = "--demo runs at most 300 frames per level";
      return false;
    }
    *options = o;
    return true;
  }
  if (!demo_options.empty()) {
    *error = "option " + demo_options.front() +
             " belongs to --demo; give the output file as the last argument";
    return false;
  }
  // With -i the input is named already and only the output is positional.
  const size_t wanted = input_option ? 1 : 2;
  if (positional.size() != wanted) {
    if (positional.size() > wanted) {
      *error = "too many arguments: \"" + positional[wanted] + "\"";
    } else if (positional.empty() && wanted == 2) {
      *error = "missing input and output (vdenoise IN OUT; \"-\" is "
               "standard input or output)";
    } else {
      *error = "missing the output file (use \"-\" for standard output)";
    }
    return false;
  }
  if (wanted == 2) o.input = positional[0];
  o.output = positional.back();
  if (!ResolvePipeName(&o.input, false) ||
      !ResolvePipeName(&o.reference, false)) {
    *error = "vdenoise reads pipe: or pipe:0 (standard input); for another "
             "descriptor N name /dev/fd/N";
    return false;
  }
  if (!ResolvePipeName(&o.output, true)) {
    *error = "vdenoise writes pipe: or pipe:1 (standard output); for another "
             "descriptor N name /dev/fd/N";
    return false;
  }
  if (o.input.empty() || o.output.empty()) {
    *error = "an empty file name (use \"-\" for standard input or output)";
    return false;
  }
  if ((o.raw.width > 0) != (o.raw.format != PixelFormat::kNone)) {
    *error = o.raw.width > 0
                 ? "-s needs --pix-fmt nv21, nv12 or i420 as well"
                 : "--pix-fmt needs the frame size -s WxH as well";
    return false;
  }
  if (o.per_frame && o.reference.empty()) {
    *error = "--per-frame prints metrics against a reference: give "
             "--reference FILE";
    return false;
  }
  if (png_detail_given && o.png_dir.empty()) {
    *error = "--png-frames, --png-zoom and --png-crop need --png DIR";
    return false;
  }
  if (!o.png_dir.empty() && !o.png_frames_given) {
    o.png_frames = {o.skip};  // the first frame denoised
    o.png_last = true;
  }
  *options = o;
  return true;
}

std::string VersionText() {
  return std::string("vdenoise ") + VD_TOOL_VERSION +
         " (libVideoDenoise command-line tool)\n";
}

std::string HelpText(bool png) {
  std::string text =
      "Usage:\n"
      "  vdenoise [options] INPUT OUTPUT     (or: -i INPUT OUTPUT)\n"
      "  vdenoise --demo [--out DIR] [--keep-clips] [--frames N]\n"
      "  vdenoise --help | --version | -V\n"
      "\n"
      "Removes noise from a video clip with libVideoDenoise, frame by frame.\n"
      "INPUT and OUTPUT are YUV4MPEG2 streams (8-bit 4:2:0, progressive), or\n"
      "raw back-to-back NV21, NV12 or I420 frames when -s and --pix-fmt are\n"
      "given. Any even frame size; frames reach the library in their own\n"
      "layout.\n"
      "\"-\" (or ffmpeg's pipe:, pipe:0, pipe:1) reads standard input or\n"
      "writes standard output. The output has the input's format. A file\n"
      "output is written under a temporary name and renamed when complete;\n"
      "through a symbolic link its target is replaced, and a replaced file\n"
      "keeps its permissions.\n"
      "\n"
      "Input:\n"
      "  -s WxH               size of raw input frames, e.g. -s 1920x1080, or\n"
      "                       ffmpeg's names: vga, hd720, hd1080, 4k (4096x2160),\n"
      "                       uhd2160 (3840x2160), cif, pal, ... (-video_size)\n"
      "  --pix-fmt FMT        layout of raw frames: nv21, nv12 or i420\n"
      "                       (ffmpeg's yuv420p); -pix_fmt is the same\n"
      "  --frames N           process at most N frames\n"
      "  --skip N             leave out the first N frames (not written)\n"
      "\n"
      "Denoising:\n"
      "  --method NAME        fuzzy (default: the frame path), temporal (the\n"
      "                       motion-masked temporal pipeline) or adaptive\n"
      "                       (when the library has it)\n"
      "  --threads N          workers per frame (default 0: one per core)\n"
      "  --type N             denoise mode for the whole clip (default 0)\n"
      "  --iso N              sensor ISO for the whole clip (default 100)\n"
      "  --schedule FILE      mode and ISO that change during the clip: one\n"
      "                       \"frame type iso\" line per change, '#' starts a\n"
      "                       comment; frames count from the first frame of\n"
      "                       the input, --skip included; --type and --iso\n"
      "                       cover the frames before the first line\n"
      "  --config FILE        configuration file handed to the library\n"
      "\n"
      "Quality report:\n"
      "  --reference FILE     the clean clip (same size and format as INPUT):\n"
      "                       prints PSNR and SSIM per plane, input vs\n"
      "                       reference and output vs reference, and the gain\n"
      "  --per-frame          print them for every frame as well as the mean\n"
      "  --png DIR            write comparison pictures into DIR:\n"
      "                       noisy | denoised | reference, with a zoomed crop\n"
      "  --png-frames LIST    frames to picture, e.g. 0,30,last (default 0,last)\n"
      "  --png-zoom N         enlargement of the crop, 1 to 8 (default 2)\n"
      "  --png-crop X,Y       top-left pixel of the crop (default: centred)\n"
      "\n"
      "  PSNR = 10*log10(255^2/MSE) per plane, \"inf\" for identical planes;\n"
      "  the mean is the PSNR of the mean MSE over the frames. SSIM uses the\n"
      "  Gaussian 11x11 window (sigma 1.5, K1 0.01, K2 0.03) over every window\n"
      "  position inside the plane, as in the common tools; the mean is over\n"
      "  the frames.\n"
      "\n"
      "Output:\n"
      "  -y                   overwrite an existing output file without asking\n"
      "  -n                   never overwrite an existing output file\n"
      "                       (without either: ask when standard input is a\n"
      "                       terminal, refuse otherwise)\n"
      "\n"
      "Messages:\n"
      "  -q, --quiet          no progress line and no summary line\n"
      "  --verbose            show the library's own log lines (per-frame\n"
      "                       traces and timings); no progress line\n"
      "\n"
      "Demo:\n"
      "  --demo               make a noisy 1080p clip, denoise it at each noise\n"
      "                       level 0-3 and print a quality table\n"
      "  --out DIR            where the demo writes its pictures (default: the\n"
      "                       build directory's vdenoise-demo when run from\n"
      "                       there, else a new temporary folder it names)\n"
      "  --keep-clips         also write the denoised clips (YUV4MPEG2, at\n"
      "                       most 400 MB together)\n"
      "  --frames N           frames per level in the demo (default 24)\n"
      "\n"
      "Examples:\n"
      "  vdenoise noisy.y4m clean.y4m\n"
      "  vdenoise -s 1920x1080 --pix-fmt nv21 --iso 800 cam.nv21 out.nv21\n"
      "  vdenoise --schedule exposure.txt --frames 300 in.y4m out.y4m\n"
      "  vdenoise --method temporal --reference truth.y4m noisy.y4m out.y4m\n"
      "  vdenoise --reference truth.y4m --per-frame --png shots \\\n"
      "           --png-frames 0,30,59 noisy.y4m out.y4m\n"
      "  ffmpeg -i clip.mp4 -f yuv4mpegpipe - | vdenoise - - |\n"
      "      ffmpeg -f yuv4mpegpipe -i - out.mp4\n"
      "  vdenoise --demo --out vdenoise-demo\n"
      "\n"
      "Exit status: 0 success, 1 bad command line (also: an existing output\n"
      "without -y, binary output to a terminal), 2 unusable input (missing,\n"
      "unreadable, malformed or unsupported), 3 the library refused the clip,\n"
      "4 output failed (disk full, broken pipe), 5 the input ended inside a\n"
      "frame (the whole frames before it were written).\n";
  if (!png) {
    text +=
        "\nThis build has no PNG support (libpng was not found when it was\n"
        "built): --png and the demo's pictures are not available.\n";
  }
  return text;
}

}  // namespace vdtool
