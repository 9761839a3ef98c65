#include "tools/denoiser.h"

#include <algorithm>
#include <vector>

#include "api/video_denoise.h"
#include "image/convert.h"
#include "tools/library_log.h"

namespace vdtool {

namespace {

constexpr int kMinSize = 96;
constexpr int kMaxSize = 1920;

std::string JoinLibraryMessages(const char* fallback) {
  std::vector<std::string> lines = TakeLibraryMessages();
  if (lines.empty()) return fallback;
  std::string text = "the library says:";
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

}  // namespace

bool SizeAccepted(int width, int height) {
  return width >= kMinSize && width <= kMaxSize && width % 16 == 0 &&
         height >= kMinSize && height <= kMaxSize && height % 8 == 0;
}

std::string SizeAdvice(int width, int height) {
  std::string text =
      "libVideoDenoise takes frames 96 to 1920 pixels wide in steps of 16 and "
      "96 to 1920 rows high in steps of 8";
  const bool too_small = width < kMinSize || height < kMinSize;
  const bool too_large = width > kMaxSize || height > kMaxSize;
  int w = width, h = height;
  std::string filter;
  if (too_large) {
    // Scale down so that both sides fit, keeping the aspect ratio, then
    // round down to the steps.
    double s = std::min(static_cast<double>(kMaxSize) / width,
                        static_cast<double>(kMaxSize) / height);
    w = std::max(static_cast<int>(width * s) / 16 * 16, kMinSize);
    h = std::max(static_cast<int>(height * s) / 8 * 8, kMinSize);
    filter = "scale=" + std::to_string(w) + ":" + std::to_string(h);
  } else if (too_small) {
    w = std::max((width + 15) / 16 * 16, kMinSize);
    h = std::max((height + 7) / 8 * 8, kMinSize);
    filter = "pad=" + std::to_string(w) + ":" + std::to_string(h);
  } else {
    w = width / 16 * 16;
    h = height / 8 * 8;
    if (w < kMinSize || h < kMinSize) {
      w = std::max((width + 15) / 16 * 16, kMinSize);
      h = std::max((height + 7) / 8 * 8, kMinSize);
      filter = "pad=" + std::to_string(w) + ":" + std::to_string(h);
    } else {
      filter = "crop=" + std::to_string(w) + ":" + std::to_string(h);
    }
  }
  text += "; " + std::to_string(width) + "x" + std::to_string(height) +
          " is not one of them. Bring the clip to " + std::to_string(w) + "x" +
          std::to_string(h) + " first, e.g.\n  ffmpeg -i in.y4m -vf " + filter +
          " -pix_fmt yuv420p out.y4m";
  return text;
}

bool StartDenoiser(int width, int height, const std::string& config,
                   std::string* error) {
  TakeLibraryMessages();
  int rc = TARNO_VideoDenoiseInit(width, height,
                                  config.empty() ? nullptr : config.c_str());
  if (rc != 0) {
    *error = "the denoiser refused " + std::to_string(width) + "x" +
             std::to_string(height) + " frames; " +
             JoinLibraryMessages("(no message from the library)");
    if (!SizeAccepted(width, height)) *error += "\n" + SizeAdvice(width, height);
    return false;
  }
  return true;
}

bool DenoiseFrame(uint8_t* src_nv21, uint8_t* dst_nv21, int width, int height,
                  int type, int iso, std::string* error) {
  int rc = TARNO_VideoDenoise(src_nv21, dst_nv21, width, height, type, iso);
  if (rc != 0) {
    *error = "the denoiser failed on a frame; " +
             JoinLibraryMessages("(no message from the library)");
    return false;
  }
  return true;
}

void StopDenoiser() { TARNO_VideoDenoiseDeinit(); }

void I420ToNV21(uint8_t* i420, uint8_t* nv21, int width, int height) {
  ConvertI420ToNV21(i420, nv21, width, height);
}

void NV21ToI420(uint8_t* nv21, uint8_t* i420, int width, int height) {
  ConvertNV21ToI420(nv21, i420, width, height);
}

}  // namespace vdtool
