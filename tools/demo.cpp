#include "tools/demo.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/demo_scene.h"
#include "tools/denoiser.h"
#include "tools/frame_reader.h"
#include "tools/library_log.h"
#include "tools/metrics.h"
#include "tools/output_file.h"
#include "tools/picture.h"
#include "tools/progress.h"
#include "tools/run.h"
#include "tools/y4m.h"

namespace vdtool {

namespace {

// Sums over a level's frames for one clip (noisy or denoised) against the
// clean clip.
struct ClipScores {
  int64_t frames = 0;
  double y_mse_still = 0, y_mse_all = 0;
  double y_ssim_still = 0, y_ssim_all = 0;
  double uv_mse_all = 0;

  void Add(const I420Frame& clip, const I420Frame& clean, const Region& still) {
    ++frames;
    y_mse_still += MeanSquaredError(clip.y, clean.y, &still);
    y_mse_all += MeanSquaredError(clip.y, clean.y);
    double all = 0, inside = 0;
    SsimOverallAndRegion(clip.y, clean.y, still, &all, &inside);
    y_ssim_all += all;
    y_ssim_still += inside;
    uv_mse_all += 0.5 * (MeanSquaredError(clip.u, clean.u) +
                         MeanSquaredError(clip.v, clean.v));
  }
  double Mean(double sum) const { return frames ? sum / frames : 0.0; }
  double PsnrStill() const { return PsnrFromMse(Mean(y_mse_still)); }
  double PsnrAll() const { return PsnrFromMse(Mean(y_mse_all)); }
  double PsnrUv() const { return PsnrFromMse(Mean(uv_mse_all)); }
};

std::string SsimGain(double before, double after) {
  char text[32];
  std::snprintf(text, sizeof(text), "%+.4f", after - before);
  return text;
}

// The methods the demo compares, each denoising the same noisy clip.
struct DemoMethod {
  Method method;
};

std::vector<DemoMethod> DemoMethods() {
  std::vector<DemoMethod> methods = {{Method::kFuzzy}};
  // The adaptive method, when the library has it, gets a row and a panel
  // of its own.
  if (MethodAvailable(Method::kAdaptive)) {
    methods.push_back({Method::kAdaptive});
  }
  return methods;
}

// One method's denoiser, kept clip and scores over a level.
struct MethodRun {
  Denoiser denoiser;
  OutputFile clip;
  std::string clip_path;
  std::vector<uint8_t> frame;  // the denoised frame, I420
  ClipScores scores;
  double seconds = 0;  // in the library's frame calls
};

// The running program's own path, or "" when it cannot be told.
std::string ExecutablePath() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
  if (n <= 0) return "";
  path[n] = '\0';
  return path;
}

// --out, else the build directory, else a new temporary folder.
bool ChooseDemoDir(const Options& o, std::string* dir, bool* temporary,
                   std::string* error) {
  *temporary = false;
  if (!o.demo_dir.empty()) {
    *dir = o.demo_dir;
    return true;
  }
#ifdef VD_TOOL_BUILD_DIR
  char build[PATH_MAX];
  if (realpath(VD_TOOL_BUILD_DIR, build)) {
    *dir = DemoDirInBuild(ExecutablePath(), build);
    if (!dir->empty()) return true;
  }
#endif
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") +
                        "/vdenoise-demo-XXXXXX";
  if (!mkdtemp(&pattern[0])) {
    *error = "cannot create a temporary folder " + pattern + ": " +
             std::strerror(errno) + " (name one with --out DIR)";
    return false;
  }
  *dir = pattern;
  *temporary = true;
  return true;
}

void PrintRow(const char* lead, const char* clip, const std::string& ps,
              const std::string& pa, const std::string& ss,
              const std::string& sa, const std::string& uv,
              const std::string& speed) {
  std::printf("%-17s %-9s %12s %10s %12s %10s %8s  %s\n", lead, clip,
              ps.c_str(), pa.c_str(), ss.c_str(), sa.c_str(), uv.c_str(),
              speed.c_str());
}

}  // namespace

int DemoClipFrames(int frames, int clips, long long frame_bytes) {
  if (clips <= 0 || frame_bytes <= 0) return frames;
  const long long fit = kDemoClipBudgetBytes / (clips * frame_bytes);
  return static_cast<int>(std::min<long long>(frames, std::max(fit, 1ll)));
}

std::string DemoDirInBuild(const std::string& exe,
                           const std::string& build_dir) {
  if (exe.empty() || build_dir.empty()) return "";
  std::string root = build_dir;
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  if (exe.compare(0, root.size() + 1, root + "/") != 0) return "";
  return root + "/vdenoise-demo";
}

int RunDemo(const Options& o) {
  const int w = kDemoWidth, h = kDemoHeight;
  const int frames = static_cast<int>(o.max_frames);
  const std::vector<DemoMethod> methods = DemoMethods();
  const int levels =
      static_cast<int>(sizeof(kDemoLevels) / sizeof(kDemoLevels[0]));
  std::string error, dir;
  bool temporary = false;
  if (!ChooseDemoDir(o, &dir, &temporary, &error) ||
      !MakeDirectories(dir, &error)) {
    PrintError(error);
    return kExitOutput;
  }
  if (!PngSupported()) {
    PrintWarning("this vdenoise was built without libpng: the demo writes "
                 "no pictures");
  }
  const size_t frame_bytes = FrameBytes420(w, h);
  const std::string header = FormatY4mHeader(MakeY4mHeader(w, h, kDemoFps, 1));
  const int clip_frames =
      o.keep_clips
          ? DemoClipFrames(frames, levels * static_cast<int>(methods.size()),
                           static_cast<long long>(frame_bytes + 6))
          : 0;

  std::printf("vdenoise demo: a %dx%d scene with a moving disc, %s per "
              "level, written to %s%s/\n",
              w, h, CountOf(frames, "frame").c_str(),
              temporary ? "a new temporary folder, " : "", dir.c_str());
  if (o.keep_clips && clip_frames < frames) {
    std::printf("The kept clips hold the first %s of each run (all clips "
                "together stay under %lld MB).\n",
                CountOf(clip_frames, "frame").c_str(),
                kDemoClipBudgetBytes >> 20);
  }
  std::printf("Noise grows with the ISO (luma noise rises with brightness, "
              "chroma noise is blotchy).\n"
              "The denoiser is created afresh for each level, so the first "
              "frame's type and ISO\nset the level directly. \"still\" is the "
              "upper half of the picture, which never moves.\n\n");
  std::fflush(stdout);

  DemoScene scene;
  BuildDemoScene(w, h, &scene);
  std::vector<uint8_t> clean(frame_bytes), noisy(frame_bytes);
  const I420Frame clean_view = ViewI420(clean.data(), w, h);
  const I420Frame noisy_view = ViewI420(noisy.data(), w, h);

  Progress progress;
  StartProgress(&progress, stderr, !o.quiet && !o.verbose,
                static_cast<int64_t>(levels) * frames);
  std::vector<std::string> written;
  bool header_printed = false;
  // One run per method and level; the methods of a level work side by side
  // on the same noisy frames.
  std::vector<std::unique_ptr<MethodRun>> runs;
  for (size_t m = 0; m < methods.size(); ++m) {
    runs.emplace_back(new MethodRun);
    runs.back()->frame.resize(frame_bytes);
  }
  // Every failure after this point goes through |fail|.
  auto fail = [&](int code) {
    ClearProgress(&progress);
    PrintError(error);
    for (std::unique_ptr<MethodRun>& run : runs) {
      AbortOutput(&run->clip);
      StopDenoiser(&run->denoiser);
    }
    return code;
  };

  for (const DemoLevel& level : kDemoLevels) {
    ClipScores noisy_scores;
    for (size_t m = 0; m < methods.size(); ++m) {
      MethodRun& run = *runs[m];
      run.scores = ClipScores();
      run.seconds = 0;
      DenoiserSetup setup;
      setup.width = w;
      setup.height = h;
      setup.threads = o.threads;
      setup.method = methods[m].method;
      setup.verbose = o.verbose;
      if (!StartDenoiser(setup, &run.denoiser, &error)) {
        return fail(kExitLibrary);
      }
      run.clip_path = dir + "/" + MethodName(methods[m].method) + "_level" +
                      std::to_string(level.level) + ".y4m";
      if (o.keep_clips &&
          (!OpenOutput(run.clip_path, &run.clip, &error) ||
           !WriteOutput(&run.clip, header.data(), header.size(), &error))) {
        return fail(kExitOutput);
      }
    }
    for (int k = 0; k < frames; ++k) {
      RenderDemoFrame(scene, k, clean.data());
      AddSensorNoise(clean.data(), noisy.data(), w, h, level.iso,
                     static_cast<uint64_t>(level.level) * 1000003u + k);
      noisy_scores.Add(noisy_view, clean_view, scene.still);
      for (std::unique_ptr<MethodRun>& r : runs) {
        MethodRun& run = *r;
        const double t0 = NowSeconds();
        const bool ok = DenoiseFrame(&run.denoiser, PixelFormat::kI420,
                                     noisy.data(), PixelFormat::kI420,
                                     run.frame.data(), w, h, level.type,
                                     level.iso, &error);
        run.seconds += NowSeconds() - t0;
        TakeLibraryMessages(&run.denoiser.log);
        if (!ok) return fail(kExitLibrary);
        const std::string marker = FormatY4mFrameLine("");
        if (k < clip_frames &&
            (!WriteOutput(&run.clip, marker.data(), marker.size(), &error) ||
             !WriteOutput(&run.clip, run.frame.data(), frame_bytes, &error))) {
          return fail(kExitOutput);
        }
        run.scores.Add(ViewI420(run.frame.data(), w, h), clean_view,
                       scene.still);
      }
      UpdateProgress(&progress,
                     static_cast<int64_t>(level.level) * frames + k + 1);
    }
    for (std::unique_ptr<MethodRun>& run : runs) {
      StopDenoiser(&run->denoiser);
      if (o.keep_clips) {
        if (!CommitOutput(&run->clip, &error)) return fail(kExitOutput);
        written.push_back(run->clip_path);
      }
    }

    // The last frame of every clip side by side; clean and noisy still
    // hold it.
    if (PngSupported()) {
      PictureOptions po;
      // A crop across the print, the checkerboard and the stripes'
      // coarse end, where both noise and lost detail show.
      po.crop_x = static_cast<int>(0.62 * w);
      po.crop_y = static_cast<int>(0.22 * h);
      // And one on the rolling disc's leading edge over the bricks, where
      // motion shows as smear or left-over noise.
      double cx = 0, cy = 0, radius = 0;
      DemoDiscPosition(scene, frames - 1, &cx, &cy, &radius);
      const Region crop = LayoutPicture(w, h, po).crop;
      po.more_crops = {{static_cast<int>(cx + radius) - crop.width / 2,
                        static_cast<int>(cy) - crop.height / 2}};
      po.title = "level " + std::to_string(level.level) + "  type " +
                 std::to_string(level.type) + "  iso " +
                 std::to_string(level.iso) + "  frame " +
                 std::to_string(frames - 1);
      std::vector<PicturePanel> panels = {{noisy_view, "noisy"}};
      for (size_t m = 0; m < methods.size(); ++m) {
        panels.push_back({ViewI420(runs[m]->frame.data(), w, h),
                          MethodName(methods[m].method)});
      }
      panels.push_back({clean_view, "clean"});
      RgbImage image = ComposePicture(panels, w, h, po);
      const std::string png_path =
          dir + "/level" + std::to_string(level.level) + ".png";
      if (!WritePng(png_path, image, &error)) return fail(kExitOutput);
      written.push_back(png_path);
    }

    ClearProgress(&progress);
    if (!header_printed) {
      PrintRow("level type  ISO", "clip", "Y PSNR still", "Y PSNR all",
               "Y SSIM still", "Y SSIM all", "UV PSNR", "speed");
      header_printed = true;
    }
    char lead[32];
    std::snprintf(lead, sizeof(lead), "%5d %4d %4d", level.level, level.type,
                  level.iso);
    const ClipScores& n = noisy_scores;
    PrintRow(lead, "noisy", FormatMetric(n.PsnrStill(), 2),
             FormatMetric(n.PsnrAll(), 2),
             FormatMetric(n.Mean(n.y_ssim_still), 4),
             FormatMetric(n.Mean(n.y_ssim_all), 4), FormatMetric(n.PsnrUv(), 2),
             "");
    for (size_t m = 0; m < methods.size(); ++m) {
      const ClipScores& d = runs[m]->scores;
      const double seconds = runs[m]->seconds;
      char speed[96];
      std::snprintf(speed, sizeof(speed), "%.1f fps, %.1f ms/frame",
                    seconds > 0 ? frames / seconds : 0.0,
                    1000 * seconds / frames);
      PrintRow("", MethodName(methods[m].method),
               FormatMetric(d.PsnrStill(), 2), FormatMetric(d.PsnrAll(), 2),
               FormatMetric(d.Mean(d.y_ssim_still), 4),
               FormatMetric(d.Mean(d.y_ssim_all), 4),
               FormatMetric(d.PsnrUv(), 2), speed);
      PrintRow("", "gain", FormatGain(n.PsnrStill(), d.PsnrStill()),
               FormatGain(n.PsnrAll(), d.PsnrAll()),
               SsimGain(n.Mean(n.y_ssim_still), d.Mean(d.y_ssim_still)),
               SsimGain(n.Mean(n.y_ssim_all), d.Mean(d.y_ssim_all)),
               FormatGain(n.PsnrUv(), d.PsnrUv()), "");
    }
    std::fflush(stdout);
  }
  ClearProgress(&progress);

  std::printf("\nPSNR in dB is of the mean MSE over the frames; SSIM is the "
              "mean over frames of\nthe Gaussian 11x11-window SSIM (sigma 1.5, "
              "K1 0.01, K2 0.03). Speed is the library's\nown: wall time of "
              "its frame calls with %s.\n",
              CountOf(ResolvedThreads(o.threads), "thread").c_str());
  if (!written.empty()) {
    std::printf("\nWritten:\n");
    for (const std::string& path : written) std::printf("  %s\n", path.c_str());
  }
  if (!o.keep_clips) {
    std::printf("\n(--keep-clips also writes the denoised clips as "
                "YUV4MPEG2, up to %lld MB.)\n",
                kDemoClipBudgetBytes >> 20);
  }
  return kExitOk;
}

}  // namespace vdtool
