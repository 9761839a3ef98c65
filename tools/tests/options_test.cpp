#include "tools/options.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace vdtool {
namespace {

bool Parse(std::initializer_list<const char*> args, Options* o,
           std::string* error) {
  std::vector<const char*> argv = {"vdenoise"};
  argv.insert(argv.end(), args.begin(), args.end());
  return ParseOptions(static_cast<int>(argv.size()), argv.data(), o, error);
}

Options Ok(std::initializer_list<const char*> args) {
  Options o;
  std::string error;
  EXPECT_TRUE(Parse(args, &o, &error)) << error;
  return o;
}

std::string Refused(std::initializer_list<const char*> args) {
  Options o;
  std::string error;
  EXPECT_FALSE(Parse(args, &o, &error));
  return error;
}

TEST(OptionsTest, PlainRunTakesDefaults) {
  Options o = Ok({"in.y4m", "out.y4m"});
  EXPECT_EQ(o.input, "in.y4m");
  EXPECT_EQ(o.output, "out.y4m");
  EXPECT_EQ(o.type, 0);
  EXPECT_EQ(o.iso, 100);
  EXPECT_EQ(o.method, Method::kFuzzy);
  EXPECT_EQ(o.threads, 0);
  EXPECT_EQ(o.max_frames, -1);
  EXPECT_EQ(o.skip, 0);
  EXPECT_EQ(o.raw.width, 0);
  EXPECT_FALSE(o.demo);
  EXPECT_FALSE(o.quiet);
  EXPECT_TRUE(o.png_dir.empty());
}

TEST(OptionsTest, EveryOptionInBothSpellings) {
  Options o = Ok({"-s", "1920x1080", "--pix-fmt=nv12", "--method", "temporal",
                  "--threads=3", "--type", "6",
                  "--iso=800", "--schedule", "s.txt", "--config=c.cfg",
                  "--frames", "30", "--skip=2", "--reference", "ref.nv21",
                  "--per-frame", "--png=shots", "--png-frames", "0,30,last",
                  "--png-zoom", "4", "--png-crop=100,200", "-q", "--verbose",
                  "-", "-"});
  EXPECT_EQ(o.raw.width, 1920);
  EXPECT_EQ(o.raw.height, 1080);
  EXPECT_EQ(o.raw.format, PixelFormat::kNV12);
  EXPECT_EQ(o.method, Method::kTemporal);
  EXPECT_EQ(o.threads, 3);
  EXPECT_EQ(o.type, 6);
  EXPECT_EQ(o.iso, 800);
  EXPECT_EQ(o.schedule, "s.txt");
  EXPECT_EQ(o.config, "c.cfg");
  EXPECT_EQ(o.max_frames, 30);
  EXPECT_EQ(o.skip, 2);
  EXPECT_EQ(o.reference, "ref.nv21");
  EXPECT_TRUE(o.per_frame);
  EXPECT_EQ(o.png_dir, "shots");
  EXPECT_EQ(o.png_frames, (std::vector<int64_t>{0, 30}));
  EXPECT_TRUE(o.png_last);
  EXPECT_EQ(o.png_zoom, 4);
  EXPECT_EQ(o.png_crop_x, 100);
  EXPECT_EQ(o.png_crop_y, 200);
  EXPECT_TRUE(o.quiet);
  EXPECT_TRUE(o.verbose);
  EXPECT_EQ(o.input, "-");
  EXPECT_EQ(o.output, "-");
}

TEST(OptionsTest, PicturesDefaultToTheFirstAndLastFrame) {
  Options o = Ok({"--png", "d", "a", "b"});
  EXPECT_EQ(o.png_frames, (std::vector<int64_t>{0}));
  // The first frame denoised, that is after the skipped ones.
  o = Ok({"--png", "d", "--skip", "5", "a", "b"});
  EXPECT_EQ(o.png_frames, (std::vector<int64_t>{5}));
  EXPECT_TRUE(o.png_last);
  EXPECT_TRUE(o.png_last);
  o = Ok({"--png", "d", "--png-frames", "5", "a", "b"});
  EXPECT_EQ(o.png_frames, (std::vector<int64_t>{5}));
  EXPECT_FALSE(o.png_last);
}

TEST(OptionsTest, DashDashEndsOptions) {
  Options o = Ok({"--", "-odd-name", "--other"});
  EXPECT_EQ(o.input, "-odd-name");
  EXPECT_EQ(o.output, "--other");
}

TEST(OptionsTest, DemoTakesItsOwnOptionsOnly) {
  Options o = Ok({"--demo"});
  EXPECT_TRUE(o.demo);
  EXPECT_EQ(o.demo_dir, "");  // chosen when it runs
  EXPECT_FALSE(o.keep_clips);
  EXPECT_EQ(o.max_frames, 24);
  o = Ok({"--demo", "--out", "/tmp/x", "--frames", "5", "-q", "--keep-clips"});
  EXPECT_EQ(o.demo_dir, "/tmp/x");
  EXPECT_EQ(o.max_frames, 5);
  EXPECT_TRUE(o.keep_clips);
  EXPECT_NE(Refused({"--demo", "in.y4m"}).find("takes no input"), std::string::npos);
  EXPECT_NE(Refused({"--demo", "--iso", "400"}).find("--iso does not apply"),
            std::string::npos);
  EXPECT_NE(Refused({"--demo", "--frames", "301"}).find("at most 300"),
            std::string::npos);
  EXPECT_NE(Refused({"--out", "d", "a", "b"}).find("--out belongs to --demo"),
            std::string::npos);
  EXPECT_NE(Refused({"--keep-clips", "a", "b"}).find("belongs to --demo"),
            std::string::npos);
  EXPECT_NE(Refused({"--demo", "-y"}).find("-y does not apply"),
            std::string::npos);
}

TEST(OptionsTest, HelpAndVersionNeedNothingElse) {
  EXPECT_TRUE(Ok({"--help"}).help);
  EXPECT_TRUE(Ok({"-h"}).help);
  EXPECT_TRUE(Ok({"--version"}).version);
  EXPECT_TRUE(Ok({"-V"}).version);
  EXPECT_TRUE(Ok({"a", "--help"}).help);
}

TEST(OptionsTest, MistakesAreRefusedWithTheReason) {
  EXPECT_EQ(Refused({}), "missing input and output (vdenoise IN OUT; \"-\" is "
                         "standard input or output)");
  EXPECT_NE(Refused({"in.y4m"}).find("missing the output"), std::string::npos);
  EXPECT_NE(Refused({"a", "b", "c"}).find("too many arguments: \"c\""),
            std::string::npos);
  EXPECT_EQ(Refused({"--bogus", "a", "b"}), "unknown option --bogus");
  EXPECT_EQ(Refused({"-x", "a", "b"}), "unknown option -x");
  EXPECT_EQ(Refused({"--pixfmt", "nv21", "a", "b"}),
            "unknown option --pixfmt (did you mean --pix-fmt?)");
  EXPECT_EQ(Refused({"a", "b", "--iso"}), "option --iso needs a value");
  EXPECT_NE(Refused({"--iso", "high", "a", "b"}).find("whole number"),
            std::string::npos);
  EXPECT_NE(Refused({"--iso", "-5", "a", "b"}).find("whole number"),
            std::string::npos);
  EXPECT_NE(Refused({"--frames", "0", "a", "b"}).find("from 1"), std::string::npos);
  EXPECT_NE(Refused({"--method", "median", "a", "b"})
                .find("takes fuzzy, temporal or adaptive"),
            std::string::npos);
  if (!MethodAvailable(Method::kAdaptive)) {
    EXPECT_NE(Refused({"--method", "adaptive", "a", "b"}).find("not have"),
              std::string::npos);
  }
  EXPECT_NE(Refused({"--threads", "-1", "a", "b"}).find("whole number"),
            std::string::npos);
  EXPECT_NE(Refused({"-s", "1920*1080", "--pix-fmt", "nv21", "a", "b"})
                .find("-s needs a size WxH"),
            std::string::npos);
  EXPECT_NE(Refused({"--pix-fmt", "rgb24", "-s", "96x96", "a", "b"})
                .find("nv21, nv12 or i420"),
            std::string::npos);
  EXPECT_EQ(Refused({"-s", "96x96", "a", "b"}),
            "-s needs --pix-fmt nv21, nv12 or i420 as well");
  EXPECT_NE(Refused({"-s", "175x144", "--pix-fmt", "nv21", "a", "b"})
                .find("175x144 has an odd width"),
            std::string::npos);
  EXPECT_EQ(Refused({"--pix-fmt", "nv21", "a", "b"}),
            "--pix-fmt needs the frame size -s WxH as well");
  EXPECT_NE(Refused({"--per-frame", "a", "b"}).find("--reference"),
            std::string::npos);
  EXPECT_NE(Refused({"--png-frames", "1", "a", "b"}).find("need --png DIR"),
            std::string::npos);
  EXPECT_NE(Refused({"--png-zoom", "2", "a", "b"}).find("need --png DIR"),
            std::string::npos);
  EXPECT_NE(Refused({"--png", "d", "--png-zoom", "9", "a", "b"}).find("1 to 8"),
            std::string::npos);
  EXPECT_NE(Refused({"--png", "d", "--png-frames", "1,,2", "a", "b"})
                .find("--png-frames"),
            std::string::npos);
  EXPECT_NE(Refused({"--png", "d", "--png-crop", "10", "a", "b"}).find("X,Y"),
            std::string::npos);
  EXPECT_EQ(Refused({"--quiet=yes", "a", "b"}), "option --quiet takes no value");
}

TEST(OptionsTest, FfmpegHabits) {
  // Overwriting: ask by default, -y always, -n never, not both.
  EXPECT_EQ(Ok({"a", "b"}).overwrite, Overwrite::kAsk);
  EXPECT_EQ(Ok({"-y", "a", "b"}).overwrite, Overwrite::kYes);
  EXPECT_EQ(Ok({"a", "b", "-n"}).overwrite, Overwrite::kNo);
  EXPECT_EQ(Ok({"-y", "-y", "a", "b"}).overwrite, Overwrite::kYes);
  EXPECT_NE(Refused({"-y", "-n", "a", "b"}).find("contradict"),
            std::string::npos);
  // -i names the input; the output stays the last argument.
  Options o = Ok({"-i", "in.y4m", "-y", "out.y4m"});
  EXPECT_EQ(o.input, "in.y4m");
  EXPECT_EQ(o.output, "out.y4m");
  EXPECT_NE(Refused({"-i", "a", "b", "c"}).find("too many arguments: \"c\""),
            std::string::npos);
  EXPECT_NE(Refused({"-i", "a"}).find("missing the output"), std::string::npos);
  EXPECT_NE(Refused({"-i", "a", "-i", "b", "c"}).find("twice"),
            std::string::npos);
  // ffmpeg's pipe names; other descriptors are named through /dev/fd.
  o = Ok({"pipe:", "pipe:"});
  EXPECT_EQ(o.input, "-");
  EXPECT_EQ(o.output, "-");
  o = Ok({"--reference", "pipe:0", "pipe:0", "pipe:1"});
  EXPECT_EQ(o.input, "-");
  EXPECT_EQ(o.reference, "-");
  EXPECT_EQ(o.output, "-");
  EXPECT_NE(Refused({"pipe:1", "out"}).find("/dev/fd/N"), std::string::npos);
  EXPECT_NE(Refused({"in", "pipe:0"}).find("/dev/fd/N"), std::string::npos);
  EXPECT_NE(Refused({"", "out"}).find("empty file name"), std::string::npos);
  // ffmpeg's spellings of the raw layout, and its size names.
  o = Ok({"-video_size", "hd720", "-pix_fmt", "yuv420p", "a", "b"});
  EXPECT_EQ(o.raw.width, 1280);
  EXPECT_EQ(o.raw.height, 720);
  EXPECT_EQ(o.raw.format, PixelFormat::kI420);
  o = Ok({"-s", "4k", "--pix-fmt", "nv21", "a", "b"});
  EXPECT_EQ(o.raw.width, 4096);
  EXPECT_NE(Refused({"-s", "hd", "--pix-fmt", "nv21", "a", "b"})
                .find("a name such as hd1080"),
            std::string::npos);
  // "Did you mean": typos, and single-dash long options.
  EXPECT_EQ(NearestOption("-iso"), "--iso");
  EXPECT_EQ(NearestOption("-verbose"), "--verbose");
  EXPECT_EQ(NearestOption("--refrence"), "--reference");
  EXPECT_EQ(NearestOption("--pngframes"), "--png-frames");
  EXPECT_EQ(NearestOption("--pix_fmt"), "-pix_fmt");  // an alias
  EXPECT_EQ(NearestOption("--version"), "--version");
  EXPECT_EQ(NearestOption("-x"), "");
  EXPECT_EQ(NearestOption("--frobnicate"), "");
  // Every name offered as a suggestion is one the parser takes.
  for (const std::string& name : OptionNames()) {
    std::string error;
    Options parsed;
    std::vector<const char*> argv = {"vdenoise", name.c_str(), "1"};
    ParseOptions(3, argv.data(), &parsed, &error);
    EXPECT_EQ(error.find("unknown option"), std::string::npos) << name;
  }
}

TEST(OptionsTest, HelpDocumentsEveryOptionWithExamples) {
  const std::string help = HelpText(true);
  // Every option the parser knows appears in the help.
  for (const char* name :
       {"-s WxH", "--pix-fmt", "--frames", "--skip", "--type", "--iso",
        "--schedule", "--config", "--reference", "--method", "--threads",
        "--per-frame", "--png DIR", "--png-frames", "--png-zoom", "--png-crop",
        "--quiet", "--verbose",
        "--demo", "--out", "--keep-clips", "--help", "--version", "-V",
        "-y ", "-n ", "-i INPUT", "-video_size", "-pix_fmt", "pipe:",
        "hd720"}) {
    EXPECT_NE(help.find(name), std::string::npos) << name;
  }
  EXPECT_NE(help.find("Gaussian 11x11 window (sigma 1.5, K1 0.01, K2 0.03)"),
            std::string::npos);
  EXPECT_NE(help.find("10*log10(255^2/MSE)"), std::string::npos);
  EXPECT_NE(help.find("ffmpeg -i clip.mp4 -f yuv4mpegpipe - | vdenoise - - |"),
            std::string::npos);
  EXPECT_NE(help.find("Examples:"), std::string::npos);
  EXPECT_NE(help.find("Exit status"), std::string::npos);
  EXPECT_EQ(help.find("no PNG support"), std::string::npos);
  EXPECT_NE(HelpText(false).find("no PNG support"), std::string::npos);
  // Lines fit an 80-column terminal.
  size_t start = 0;
  while (start < help.size()) {
    size_t end = help.find('\n', start);
    if (end == std::string::npos) end = help.size();
    EXPECT_LE(end - start, 79u) << help.substr(start, end - start);
    start = end + 1;
  }
  EXPECT_EQ(VersionText().find("vdenoise "), 0u);
}

}  // namespace
}  // namespace vdtool
