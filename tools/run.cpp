#include "tools/run.h"

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <set>
#include <utility>
#include <vector>

#include "tools/denoiser.h"
#include "tools/frame_reader.h"
#include "tools/library_log.h"
#include "tools/metrics.h"
#include "tools/output_file.h"
#include "tools/picture.h"
#include "tools/progress.h"
#include "tools/schedule.h"
#include "tools/text_file.h"
#include "tools/y4m.h"

namespace vdtool {

namespace {

const char* const kPlaneNames[3] = {"Y", "U", "V"};

// One frame's planar copies, kept for metrics and pictures. Two of them
// alternate so that the previous frame is still whole when the input ends
// (for --png-frames last).
struct FrameCopies {
  std::vector<uint8_t> input, output, reference;
  int64_t number = -1;
  bool has_reference = false;
  TypeIso setting;
};

// Library messages that are not per-frame traces, shown once each.
struct LibraryNotes {
  std::set<std::string> shown;
  int64_t repeats = 0;
};

void ShowLibraryMessages(Denoiser* denoiser, LibraryNotes* notes,
                         Progress* progress) {
  for (const std::string& m : TakeLibraryMessages(&denoiser->log)) {
    if (!notes->shown.insert(m).second) {
      ++notes->repeats;
      continue;
    }
    ClearProgress(progress);
    PrintWarning("library: " + m);
  }
}

std::string PictureName(const std::string& dir, int64_t frame) {
  char name[64];
  std::snprintf(name, sizeof(name), "/frame_%06" PRId64 ".png", frame);
  return dir + name;
}

bool WriteComparison(const Options& o, const FrameCopies& f, int width,
                     int height, bool full_range, std::string* error) {
  std::vector<PicturePanel> panels;
  I420Frame in = ViewI420(f.input.data(), width, height);
  I420Frame out = ViewI420(f.output.data(), width, height);
  std::string in_label = "input", out_label = "denoised";
  if (f.has_reference) {
    I420Frame ref = ViewI420(f.reference.data(), width, height);
    in_label += " " + FormatMetric(PsnrFromMse(MeanSquaredError(in.y, ref.y)), 2) + " dB";
    out_label += " " + FormatMetric(PsnrFromMse(MeanSquaredError(out.y, ref.y)), 2) + " dB";
  }
  panels.push_back({in, in_label});
  panels.push_back({out, out_label});
  if (f.has_reference) {
    panels.push_back({ViewI420(f.reference.data(), width, height), "reference"});
  }
  PictureOptions po;
  po.zoom = o.png_zoom;
  po.crop_x = o.png_crop_x;
  po.crop_y = o.png_crop_y;
  po.full_range = full_range;
  po.title = "frame " + std::to_string(f.number) + "  type " +
             std::to_string(f.setting.type) + "  iso " +
             std::to_string(f.setting.iso) +
             (f.has_reference ? "  (luma PSNR vs reference)" : "");
  RgbImage image = ComposePicture(panels, width, height, po);
  return WritePng(PictureName(o.png_dir, f.number), image, error);
}

void PrintFrameScores(FILE* report, int64_t frame, const FrameScores& in,
                      const FrameScores& out) {
  for (int p = 0; p < 3; ++p) {
    double pin = PsnrFromMse(in.mse[p]), pout = PsnrFromMse(out.mse[p]);
    std::fprintf(report, "%7" PRId64 "  %-5s %9s %9s %8s %9s %9s\n", frame,
                 kPlaneNames[p], FormatMetric(pin, 2).c_str(),
                 FormatMetric(pout, 2).c_str(), FormatGain(pin, pout).c_str(),
                 FormatMetric(in.ssim[p], 4).c_str(),
                 FormatMetric(out.ssim[p], 4).c_str());
  }
}

void PrintScoreHeader(FILE* report, const char* first_column) {
  std::fprintf(report, "%7s  %-5s %9s %9s %8s %9s %9s\n", first_column,
               "plane", "PSNR in", "PSNR out", "gain", "SSIM in", "SSIM out");
}

// Binary video on a terminal is garbage on the screen and a stuck terminal.
bool RefuseTerminalOutput(const Options& o) {
  if (!OutputIsTerminal(o.output)) return false;
  PrintError(
      (o.output == "-" ? std::string("standard output") : o.output) +
      " is a terminal, and vdenoise writes binary video; name an output "
      "file, or send standard output to a file or a program, e.g.\n"
      "  vdenoise IN - > out.y4m\n"
      "  vdenoise IN - | ffmpeg -f yuv4mpegpipe -i - out.mp4");
  return true;
}

// Decides whether an existing output file may be replaced: -y yes, -n no,
// otherwise ask when standard input is a terminal that carries no video,
// and refuse when it is not.
bool MayReplaceOutput(const Options& o) {
  if (!OutputWouldReplace(o.output)) return true;
  switch (o.overwrite) {
    case Overwrite::kYes:
      return true;
    case Overwrite::kNo:
      PrintError(o.output + " already exists and -n says never to overwrite");
      return false;
    case Overwrite::kAsk:
      break;
  }
  if (o.input != "-" && o.reference != "-" && isatty(STDIN_FILENO) == 1) {
    if (AskYesNo(stdin, stderr, "vdenoise: " + o.output +
                                    " already exists. Overwrite?")) {
      return true;
    }
    PrintError("not overwriting " + o.output);
    return false;
  }
  PrintError(o.output + " already exists; give -y to overwrite it");
  return false;
}

// Frames named by --png-frames that the run never reached.
void WarnMissingPictures(const Options& o, const std::set<int64_t>& pictured,
                         int64_t done) {
  std::vector<int64_t> missing;
  for (int64_t n : o.png_frames) {
    if (!pictured.count(n)) missing.push_back(n);
  }
  if (missing.empty() || done == 0) return;
  std::sort(missing.begin(), missing.end());
  missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
  std::string list;
  for (int64_t n : missing) {
    list += (list.empty() ? "" : ", ") + std::to_string(n);
  }
  const int64_t first = o.skip, last = o.skip + done - 1;
  PrintWarning(std::string(missing.size() == 1 ? "no picture of frame "
                                               : "no pictures of frames ") +
               list + ": the frames denoised are " + std::to_string(first) +
               (first == last ? std::string() : " to " + std::to_string(last)));
}

}  // namespace

void PrintError(const std::string& message) {
  std::fprintf(stderr, "vdenoise: error: %s\n", message.c_str());
}

void PrintWarning(const std::string& message) {
  std::fprintf(stderr, "vdenoise: warning: %s\n", message.c_str());
}

int RunDenoise(const Options& o) {
  std::string error;
  if (RefuseTerminalOutput(o)) return kExitUsage;

  // Everything that can be checked before touching the output.
  std::vector<ScheduleEntry> schedule;
  if (!o.schedule.empty() && !LoadSchedule(o.schedule, &schedule, &error)) {
    PrintError(error);
    return kExitInput;
  }
  if (!o.config.empty() && !CheckReadableFile(o.config, &error)) {
    PrintError("configuration file: " + error);
    return kExitInput;
  }
  if (!o.png_dir.empty() && !PngSupported()) {
    PrintError("--png needs PNG support, and this vdenoise was built without "
               "libpng (install libpng-dev and rebuild)");
    return kExitUsage;
  }
  FrameReader input;
  if (!OpenFrameReader(o.input, o.raw, &input, &error)) {
    PrintError(error);
    return kExitInput;
  }
  FrameReader reference;
  const bool have_reference = !o.reference.empty();
  if (have_reference) {
    if (o.reference == "-" && o.input == "-") {
      PrintError("the input and the reference cannot both be standard input");
      CloseFrameReader(&input);
      return kExitUsage;
    }
    RawLayout ref_layout;
    if (!input.is_y4m) {
      ref_layout.width = input.width;
      ref_layout.height = input.height;
      ref_layout.format = input.format;
      ref_layout.fallback_only = true;
    }
    if (!OpenFrameReader(o.reference, ref_layout, &reference, &error)) {
      PrintError("reference: " + error);
      CloseFrameReader(&input);
      return kExitInput;
    }
    if (reference.width != input.width || reference.height != input.height) {
      PrintError("the reference " + o.reference + " is " +
                 std::to_string(reference.width) + "x" +
                 std::to_string(reference.height) + " but the input is " +
                 std::to_string(input.width) + "x" +
                 std::to_string(input.height));
      CloseFrameReader(&input);
      CloseFrameReader(&reference);
      return kExitInput;
    }
  }
  const int width = input.width, height = input.height;
  const bool full_range = input.is_y4m && input.y4m.full_range;
  const std::string odd = OddSizeAdvice(width, height);
  if (!odd.empty()) {
    PrintError(input.name + ": " + odd);
    CloseFrameReader(&input);
    CloseFrameReader(&reference);
    return kExitInput;
  }
  if (!MayReplaceOutput(o)) {
    CloseFrameReader(&input);
    CloseFrameReader(&reference);
    return kExitUsage;
  }

  Denoiser denoiser;
  DenoiserSetup setup;
  setup.width = width;
  setup.height = height;
  setup.threads = o.threads;
  setup.method = o.method;
  setup.config = o.config;
  setup.verbose = o.verbose;
  if (!StartDenoiser(setup, &denoiser, &error)) {
    PrintError(error);
    CloseFrameReader(&input);
    CloseFrameReader(&reference);
    return kExitLibrary;
  }

  // From here on every exit goes through |finish|.
  OutputFile output;
  bool output_open = false;
  auto finish = [&](int code) {
    if (output_open) AbortOutput(&output);
    StopDenoiser(&denoiser);
    CloseFrameReader(&input);
    CloseFrameReader(&reference);
    return code;
  };

  if (!o.png_dir.empty() && !MakeDirectories(o.png_dir, &error)) {
    PrintError(error);
    return finish(kExitOutput);
  }
  if (!OpenOutput(o.output, &output, &error)) {
    PrintError(error);
    return finish(kExitOutput);
  }
  output_open = true;
  if (input.is_y4m) {
    std::string header = FormatY4mHeader(input.y4m);
    if (!WriteOutput(&output, header.data(), header.size(), &error)) {
      PrintError(error);
      return finish(kExitOutput);
    }
  }

  // Frames go to the library in the input's own layout (I420 for
  // YUV4MPEG2) and come back in it; planar copies are made only for the
  // report and the pictures.
  const size_t frame_bytes = input.frame_bytes;
  const PixelFormat layout = input.format;
  const bool need_copies = have_reference || !o.png_dir.empty();
  std::vector<uint8_t> frame_in(frame_bytes), frame_out(frame_bytes);
  std::vector<uint8_t> ref_buffer(have_reference ? frame_bytes : 0);
  FrameCopies copies[2];
  if (need_copies) {
    for (FrameCopies& c : copies) {
      c.input.resize(frame_bytes);
      c.output.resize(frame_bytes);
      if (have_reference) c.reference.resize(frame_bytes);
    }
  }
  const std::set<int64_t> png_frames(o.png_frames.begin(), o.png_frames.end());
  std::set<int64_t> pictured;

  // Skipped frames are read and dropped (pipes cannot seek), in the
  // reference as well so that the two stay aligned.
  bool reference_live = have_reference;
  for (int64_t i = 0; i < o.skip; ++i) {
    ReadResult r = ReadFrame(&input, frame_in.data(), &error);
    if (r != ReadResult::kFrame) {
      if (r == ReadResult::kEnd || r == ReadResult::kTruncated) {
        PrintError(input.name + " has only " +
                   CountOf(input.frames_read, "whole frame") + "; --skip " +
                   std::to_string(o.skip) +
                   " leaves none to denoise");
      } else {
        PrintError(error);
      }
      return finish(kExitInput);
    }
    if (reference_live && ReadFrame(&reference, ref_buffer.data(), &error) != ReadResult::kFrame) {
      reference_live = false;
    }
  }

  int64_t total = input.total_frames >= 0 ? std::max<int64_t>(input.total_frames - o.skip, 0) : -1;
  if (o.max_frames >= 0) total = total >= 0 ? std::min(total, o.max_frames) : o.max_frames;
  FILE* report = o.output == "-" ? stderr : stdout;
  Progress progress;
  StartProgress(&progress, stderr, !o.quiet && !o.verbose, total);
  LibraryNotes notes;
  ScoreTotals in_totals, out_totals;
  const TypeIso defaults{o.type, o.iso};
  bool printed_header = false;
  bool truncated = false;
  std::string truncation;
  int64_t done = 0;
  int current = 0;
  bool have_previous = false;
  const double start = NowSeconds();
  double library_seconds = 0;

  while (o.max_frames < 0 || done < o.max_frames) {
    FrameCopies& f = copies[current];
    const int64_t number = input.frames_read;  // counted from the input's start
    ReadResult r = ReadFrame(&input, frame_in.data(), &error);
    if (r == ReadResult::kEnd) break;
    if (r == ReadResult::kTruncated) {
      truncated = true;
      truncation = error;
      break;
    }
    if (r == ReadResult::kError) {
      ClearProgress(&progress);
      PrintError(error);
      return finish(kExitInput);
    }
    f.number = number;
    f.setting = ScheduleAt(schedule, number, defaults);
    const double t0 = NowSeconds();
    const bool denoised =
        DenoiseFrame(&denoiser, layout, frame_in.data(), layout,
                     frame_out.data(), width, height, f.setting.type,
                     f.setting.iso, &error);
    library_seconds += NowSeconds() - t0;
    if (!denoised) {
      ClearProgress(&progress);
      PrintError("frame " + std::to_string(number) + ": " + error);
      return finish(kExitLibrary);
    }
    ShowLibraryMessages(&denoiser, &notes, &progress);
    // A FRAME line's own fields travel with the frame.
    const std::string marker = FormatY4mFrameLine(input.frame_params);
    const bool written =
        (!input.is_y4m ||
         WriteOutput(&output, marker.data(), marker.size(), &error)) &&
        WriteOutput(&output, frame_out.data(), frame_bytes, &error);
    if (need_copies) {
      CopyToI420(layout, frame_in.data(), f.input.data(), width, height);
      CopyToI420(layout, frame_out.data(), f.output.data(), width, height);
    }
    if (!written) {
      ClearProgress(&progress);
      PrintError(error + " (after " + CountOf(done, "frame") + ")");
      return finish(kExitOutput);
    }
    ++done;

    f.has_reference = false;
    if (reference_live) {
      std::string ref_error;
      ReadResult rr = ReadFrame(&reference, ref_buffer.data(), &ref_error);
      if (rr == ReadResult::kFrame) {
        CopyToI420(reference.format, ref_buffer.data(), f.reference.data(),
                   width, height);
        f.has_reference = true;
      } else {
        reference_live = false;
        ClearProgress(&progress);
        PrintWarning(rr == ReadResult::kEnd || rr == ReadResult::kTruncated
                         ? "the reference ends after " +
                               CountOf(reference.frames_read, "frame") +
                               "; the quality report covers only the "
                               "frames before that"
                         : "reference: " + ref_error +
                               "; the quality report stops here");
      }
    }
    if (f.has_reference) {
      I420Frame ref = ViewI420(f.reference.data(), width, height);
      FrameScores in_scores = ScoreFrame(ViewI420(f.input.data(), width, height), ref);
      FrameScores out_scores = ScoreFrame(ViewI420(f.output.data(), width, height), ref);
      AddScores(&in_totals, in_scores);
      AddScores(&out_totals, out_scores);
      if (o.per_frame) {
        ClearProgress(&progress);
        if (!printed_header) {
          PrintScoreHeader(report, "frame");
          printed_header = true;
        }
        PrintFrameScores(report, number, in_scores, out_scores);
        std::fflush(report);
      }
    }
    if (png_frames.count(number)) {
      if (!WriteComparison(o, f, width, height, full_range, &error)) {
        ClearProgress(&progress);
        PrintError(error);
        return finish(kExitOutput);
      }
      pictured.insert(number);
    }
    have_previous = true;
    if (o.png_last) current ^= 1;
    UpdateProgress(&progress, done);
  }
  ClearProgress(&progress);
  const double seconds = NowSeconds() - start;

  if (o.png_last && have_previous) {
    const FrameCopies& last = copies[current ^ 1];
    if (!pictured.count(last.number) &&
        !WriteComparison(o, last, width, height, full_range, &error)) {
      PrintError(error);
      return finish(kExitOutput);
    }
  }
  if (done == 0 && !truncated) {
    PrintError(input.name + " holds no frames" +
               (o.skip > 0 ? " after the skipped ones" : std::string()));
    return finish(kExitInput);
  }
  if (!CommitOutput(&output, &error)) {
    output_open = false;
    PrintError(error);
    return finish(kExitOutput);
  }
  output_open = false;
  ShowLibraryMessages(&denoiser, &notes, &progress);
  WarnMissingPictures(o, pictured, done);

  if (in_totals.frames > 0) {
    if (o.per_frame) std::fputc('\n', report);
    std::fprintf(report,
                 "quality against %s over %s (PSNR of the mean MSE; SSIM: "
                 "Gaussian 11x11 window, sigma 1.5, mean over frames):\n",
                 o.reference.c_str(),
                 CountOf(in_totals.frames, "frame").c_str());
    PrintScoreHeader(report, "");
    for (int p = 0; p < 3; ++p) {
      double pin = MeanPsnr(in_totals, p), pout = MeanPsnr(out_totals, p);
      std::fprintf(report, "%7s  %-5s %9s %9s %8s %9s %9s\n", "mean",
                   kPlaneNames[p], FormatMetric(pin, 2).c_str(),
                   FormatMetric(pout, 2).c_str(), FormatGain(pin, pout).c_str(),
                   FormatMetric(MeanSsim(in_totals, p), 4).c_str(),
                   FormatMetric(MeanSsim(out_totals, p), 4).c_str());
    }
    std::fflush(report);
  }
  if (notes.repeats > 0) {
    PrintWarning("the library repeated its messages " +
                 CountOf(notes.repeats, "more time"));
  }
  if (!o.quiet) {
    char line[256];
    std::snprintf(line, sizeof(line), "vdenoise: %s in %.2f s (%.1f fps)",
                  CountOf(done, "frame").c_str(), seconds,
                  seconds > 0 ? done / seconds : 0.0);
    std::string summary = line;
    std::snprintf(line, sizeof(line), ", library %.1f ms per frame (%s, %s)",
                  done > 0 ? 1000 * library_seconds / done : 0.0,
                  MethodName(o.method),
                  CountOf(ResolvedThreads(o.threads), "thread").c_str());
    summary += line;
    std::fprintf(stderr, "%s -> %s\n", summary.c_str(),
                 o.output == "-" ? "standard output" : o.output.c_str());
  }
  StopDenoiser(&denoiser);
  CloseFrameReader(&input);
  CloseFrameReader(&reference);
  if (truncated) {
    PrintError(truncation + "; " +
               (done == 1 ? std::string("the whole frame before it was")
                          : "the " + std::to_string(done) +
                                " whole frames before it were") +
               " written to " +
               (o.output == "-" ? std::string("standard output") : o.output));
    return kExitTruncated;
  }
  return kExitOk;
}

}  // namespace vdtool
