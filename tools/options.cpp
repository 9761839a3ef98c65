#include "tools/options.h"

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

}  // namespace

bool ParseOptions(int argc, const char* const* argv, Options* options,
                  std::string* error) {
  Options o;
  std::vector<std::string> positional;
  bool frames_given = false;
  bool png_detail_given = false;  // --png-frames, --png-zoom, --png-crop
  bool only_positional = false;
  std::vector<std::string> file_options;  // given, for the --demo check

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
    } else if (name == "--version") {
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
    } else if (name == "-s") {
      if (!take(&v)) return false;
      if (!ParseFrameSize(v, &o.raw.width, &o.raw.height)) {
        *error = "option -s needs a size WxH such as 1920x1080, not \"" + v +
                 "\"";
        return false;
      }
      file_options.push_back(name);
    } else if (name == "--pix-fmt") {
      if (!take(&v)) return false;
      if (!ParsePixelFormat(v, &o.raw.format)) {
        *error = "option --pix-fmt takes nv21 or i420 (also called yuv420p), "
                 "not \"" + v + "\"";
        return false;
      }
      file_options.push_back(name);
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
      o.demo_dir_given = true;
    } else {
      *error = "unknown option " + name;
      return false;
    }
    if (inline_value && (name == "-h" || name == "--help" ||
                         name == "--version" || name == "--demo" ||
                         name == "--quiet" || name == "--verbose" ||
                         name == "--per-frame")) {
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
               " does not apply to --demo (it takes --out, --frames, --quiet "
               "and --verbose)";
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
  if (o.demo_dir_given) {
    *error = "option --out belongs to --demo; give the output file as the "
             "second argument";
    return false;
  }
  if (positional.size() != 2) {
    *error = positional.empty()
                 ? "missing input and output (vdenoise IN OUT; \"-\" is "
                   "standard input or output)"
                 : positional.size() == 1
                       ? "missing the output file (use \"-\" for standard "
                         "output)"
                       : "too many arguments: \"" + positional[2] + "\"";
    return false;
  }
  o.input = positional[0];
  o.output = positional[1];
  if ((o.raw.width > 0) != (o.raw.format != PixelFormat::kNone)) {
    *error = o.raw.width > 0
                 ? "-s needs --pix-fmt nv21 or i420 as well"
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
    o.png_frames = {0};
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
      "  vdenoise [options] INPUT OUTPUT\n"
      "  vdenoise --demo [--out DIR] [--frames N]\n"
      "  vdenoise --help | --version\n"
      "\n"
      "Removes noise from a video clip with libVideoDenoise, frame by frame.\n"
      "INPUT and OUTPUT are YUV4MPEG2 streams (8-bit 4:2:0, progressive), or\n"
      "raw back-to-back NV21 or I420 frames when -s and --pix-fmt are given.\n"
      "\"-\" reads standard input or writes standard output. The output has\n"
      "the input's format. A file output is written under a temporary name\n"
      "and renamed when complete.\n"
      "\n"
      "Input:\n"
      "  -s WxH               size of raw input frames, e.g. -s 1920x1080\n"
      "  --pix-fmt FMT        layout of raw frames: nv21 or i420 (ffmpeg's\n"
      "                       yuv420p)\n"
      "  --frames N           process at most N frames\n"
      "  --skip N             leave out the first N frames (not written)\n"
      "\n"
      "Denoising:\n"
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
      "Messages:\n"
      "  -q, --quiet          no progress line and no summary line\n"
      "  --verbose            show the library's own log lines (per-frame\n"
      "                       traces and timings); no progress line\n"
      "\n"
      "Demo:\n"
      "  --demo               make a noisy 1080p clip, denoise it at each noise\n"
      "                       level 0-3 and print a quality table\n"
      "  --out DIR            where the demo writes its clips and pictures\n"
      "                       (default ./vdenoise-demo)\n"
      "  --frames N           frames per level in the demo (default 24)\n"
      "\n"
      "Examples:\n"
      "  vdenoise noisy.y4m clean.y4m\n"
      "  vdenoise -s 1920x1080 --pix-fmt nv21 --iso 800 cam.nv21 out.nv21\n"
      "  vdenoise --schedule exposure.txt --frames 300 in.y4m out.y4m\n"
      "  vdenoise --reference truth.y4m --per-frame --png shots \\\n"
      "           --png-frames 0,30,59 noisy.y4m out.y4m\n"
      "  ffmpeg -i clip.mp4 -f yuv4mpegpipe - | vdenoise - - |\n"
      "      ffmpeg -f yuv4mpegpipe -i - out.mp4\n"
      "  vdenoise --demo --out /tmp/demo\n"
      "\n"
      "Exit status: 0 success, 1 bad command line, 2 unusable input (missing,\n"
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
