#include "tools/demo.h"

#include <cstdio>
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

void PrintRow(const char* lead, const char* clip, const std::string& ps,
              const std::string& pa, const std::string& ss,
              const std::string& sa, const std::string& uv,
              const std::string& speed) {
  std::printf("%-17s %-9s %12s %10s %12s %10s %8s  %s\n", lead, clip,
              ps.c_str(), pa.c_str(), ss.c_str(), sa.c_str(), uv.c_str(),
              speed.c_str());
}

}  // namespace

int RunDemo(const Options& o) {
  const int w = kDemoWidth, h = kDemoHeight;
  const int frames = static_cast<int>(o.max_frames);
  std::string error;
  if (!MakeDirectories(o.demo_dir, &error)) {
    PrintError(error);
    return kExitOutput;
  }
  if (!PngSupported()) {
    PrintWarning("this vdenoise was built without libpng: the demo writes "
                 "no pictures");
  }

  std::printf("vdenoise demo: a %dx%d scene with a moving disc, %d frames per "
              "level, written to %s/\n",
              w, h, frames, o.demo_dir.c_str());
  std::printf("Noise grows with the ISO (luma noise rises with brightness, "
              "chroma noise is blotchy).\n"
              "The denoiser is created afresh for each level, so the first "
              "frame's type and ISO\nset the level directly. \"still\" is the "
              "upper half of the picture, which never moves.\n\n");
  std::fflush(stdout);

  DemoScene scene;
  BuildDemoScene(w, h, &scene);
  const size_t frame_bytes = FrameBytes420(w, h);
  std::vector<uint8_t> clean(frame_bytes + kConversionSlack);
  std::vector<uint8_t> noisy(frame_bytes + kConversionSlack);
  std::vector<uint8_t> denoised(frame_bytes + kConversionSlack);
  std::vector<uint8_t> nv21_in(frame_bytes + kConversionSlack);
  std::vector<uint8_t> nv21_out(frame_bytes + kConversionSlack);
  const I420Frame clean_view = ViewI420(clean.data(), w, h);
  const I420Frame noisy_view = ViewI420(noisy.data(), w, h);
  const I420Frame denoised_view = ViewI420(denoised.data(), w, h);

  InstallLibraryLog(o.verbose ? stderr : nullptr);
  Progress progress;
  StartProgress(&progress, stderr, !o.quiet && !o.verbose, 4 * frames);
  std::vector<std::string> written;
  bool header_printed = false;

  for (const DemoLevel& level : kDemoLevels) {
    if (!StartDenoiser(w, h, "", &error)) {
      ClearProgress(&progress);
      PrintError(error);
      RemoveLibraryLog();
      return kExitLibrary;
    }
    const std::string clip_path =
        o.demo_dir + "/denoised_level" + std::to_string(level.level) + ".y4m";
    OutputFile out;
    std::string header = FormatY4mHeader(MakeY4mHeader(w, h, kDemoFps, 1));
    if (!OpenOutput(clip_path, &out, &error) ||
        !WriteOutput(&out, header.data(), header.size(), &error)) {
      ClearProgress(&progress);
      PrintError(error);
      AbortOutput(&out);
      StopDenoiser();
      RemoveLibraryLog();
      return kExitOutput;
    }
    ClipScores noisy_scores, denoised_scores;
    double library_seconds = 0;
    ResetLibraryTiming();
    for (int k = 0; k < frames; ++k) {
      RenderDemoFrame(scene, k, clean.data());
      AddSensorNoise(clean.data(), noisy.data(), w, h, level.iso,
                     static_cast<uint64_t>(level.level) * 1000003u + k);
      I420ToNV21(noisy.data(), nv21_in.data(), w, h);
      const double t0 = NowSeconds();
      bool ok = DenoiseFrame(nv21_in.data(), nv21_out.data(), w, h, level.type,
                             level.iso, &error);
      library_seconds += NowSeconds() - t0;
      TakeLibraryMessages();
      if (!ok) {
        ClearProgress(&progress);
        PrintError(error);
        AbortOutput(&out);
        StopDenoiser();
        RemoveLibraryLog();
        return kExitLibrary;
      }
      NV21ToI420(nv21_out.data(), denoised.data(), w, h);
      static const char kMarker[] = "FRAME\n";
      if (!WriteOutput(&out, kMarker, sizeof(kMarker) - 1, &error) ||
          !WriteOutput(&out, denoised.data(), frame_bytes, &error)) {
        ClearProgress(&progress);
        PrintError(error);
        AbortOutput(&out);
        StopDenoiser();
        RemoveLibraryLog();
        return kExitOutput;
      }
      noisy_scores.Add(noisy_view, clean_view, scene.still);
      denoised_scores.Add(denoised_view, clean_view, scene.still);

      if (k == frames - 1 && PngSupported()) {
        PictureOptions po;
        // A crop across the print, the checkerboard and the stripes'
        // coarse end, where both noise and lost detail show.
        po.crop_x = static_cast<int>(0.62 * w);
        po.crop_y = static_cast<int>(0.22 * h);
        po.title = "level " + std::to_string(level.level) + "  type " +
                   std::to_string(level.type) + "  iso " +
                   std::to_string(level.iso) + "  frame " + std::to_string(k);
        std::vector<PicturePanel> panels = {
            {noisy_view, "noisy"}, {denoised_view, "denoised"},
            {clean_view, "clean"}};
        RgbImage image = ComposePicture(panels, w, h, po);
        const std::string png_path = o.demo_dir + "/level" +
                                     std::to_string(level.level) + ".png";
        if (!WritePng(png_path, image, &error)) {
          ClearProgress(&progress);
          PrintError(error);
          AbortOutput(&out);
          StopDenoiser();
          RemoveLibraryLog();
          return kExitOutput;
        }
        written.push_back(png_path);
      }
      UpdateProgress(&progress, static_cast<int64_t>(level.level) * frames + k + 1);
    }
    StopDenoiser();
    if (!CommitOutput(&out, &error)) {
      ClearProgress(&progress);
      PrintError(error);
      RemoveLibraryLog();
      return kExitOutput;
    }
    written.push_back(clip_path);

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
    const ClipScores& d = denoised_scores;
    PrintRow(lead, "noisy", FormatMetric(n.PsnrStill(), 2),
             FormatMetric(n.PsnrAll(), 2),
             FormatMetric(n.Mean(n.y_ssim_still), 4),
             FormatMetric(n.Mean(n.y_ssim_all), 4), FormatMetric(n.PsnrUv(), 2),
             "");
    char speed[96];
    const LibraryTiming timing = GetLibraryTiming();
    if (timing.lines > 0) {
      std::snprintf(speed, sizeof(speed), "%.1f fps, %.1f ms/frame",
                    library_seconds > 0 ? frames / library_seconds : 0.0,
                    static_cast<double>(timing.total_ms) / timing.lines);
    } else {
      std::snprintf(speed, sizeof(speed), "%.1f fps",
                    library_seconds > 0 ? frames / library_seconds : 0.0);
    }
    PrintRow("", "denoised", FormatMetric(d.PsnrStill(), 2),
             FormatMetric(d.PsnrAll(), 2),
             FormatMetric(d.Mean(d.y_ssim_still), 4),
             FormatMetric(d.Mean(d.y_ssim_all), 4), FormatMetric(d.PsnrUv(), 2),
             speed);
    PrintRow("", "gain", FormatGain(n.PsnrStill(), d.PsnrStill()),
             FormatGain(n.PsnrAll(), d.PsnrAll()),
             SsimGain(n.Mean(n.y_ssim_still), d.Mean(d.y_ssim_still)),
             SsimGain(n.Mean(n.y_ssim_all), d.Mean(d.y_ssim_all)),
             FormatGain(n.PsnrUv(), d.PsnrUv()), "");
    std::fflush(stdout);
  }
  ClearProgress(&progress);
  RemoveLibraryLog();

  std::printf("\nPSNR in dB is of the mean MSE over the frames; SSIM is the "
              "mean over frames of\nthe Gaussian 11x11-window SSIM (sigma 1.5, "
              "K1 0.01, K2 0.03). Speed is the library's\nown: wall time of "
              "its frame calls, and its \"Fuzzy_Time\" total per frame.\n\n"
              "Written:\n");
  for (const std::string& path : written) std::printf("  %s\n", path.c_str());
  return kExitOk;
}

}  // namespace vdtool
