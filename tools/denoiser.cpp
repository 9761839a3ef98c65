#include "tools/denoiser.h"

#include <unistd.h>


namespace vdtool {

namespace {

struct MethodEntry {
  Method method;
  const char* name;
};
constexpr MethodEntry kMethods[] = {{Method::kFuzzy, "fuzzy"},
                                    {Method::kTemporal, "temporal"},
                                    {Method::kAdaptive, "adaptive"}};

std::string JoinLibraryMessages(LibraryLog* log) {
  std::vector<std::string> lines = TakeLibraryMessages(log);
  if (lines.empty()) return "";
  std::string text = "; the library says:";
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

bool LibraryMethod(Method method, vd_method* out) {
  switch (method) {
    case Method::kFuzzy:
      *out = VD_METHOD_FUZZY;
      return true;
    case Method::kTemporal:
      *out = VD_METHOD_TEMPORAL;
      return true;
    case Method::kAdaptive:
#if VD_TOOL_HAVE_ADAPTIVE
      *out = VD_METHOD_ADAPTIVE;
      return true;
#else
      return false;
#endif
  }
  return false;
}

}  // namespace

bool ParseMethod(const std::string& text, Method* method) {
  for (const MethodEntry& m : kMethods) {
    if (text == m.name) {
      *method = m.method;
      return true;
    }
  }
  return false;
}

const char* MethodName(Method method) {
  for (const MethodEntry& m : kMethods) {
    if (m.method == method) return m.name;
  }
  return "?";
}

bool MethodAvailable(Method method) {
  vd_method unused;
  return LibraryMethod(method, &unused);
}

std::string OddSizeAdvice(int width, int height) {
  if (width % 2 == 0 && height % 2 == 0) return "";
  const int w = width & ~1, h = height & ~1;
  return std::to_string(width) + "x" + std::to_string(height) +
         " has an odd " +
         (width % 2 && height % 2 ? "width and height"
                                  : width % 2 ? "width" : "height") +
         ", and 4:2:0 chroma covers 2x2 pixels, so vdenoise needs even sizes. "
         "Crop the clip to " +
         std::to_string(w) + "x" + std::to_string(h) + " first, e.g.\n" +
         "  ffmpeg -i in.y4m -vf crop=" + std::to_string(w) + ":" +
         std::to_string(h) + ":0:0 -pix_fmt yuv420p out.y4m";
}

int ResolvedThreads(int threads) {
  if (threads > 0) return threads;
  const long cores = sysconf(_SC_NPROCESSORS_ONLN);
  return cores > 0 ? static_cast<int>(cores) : 1;
}

vd_frame FrameView(PixelFormat format, uint8_t* buffer, int width,
                   int height) {
  switch (format) {
    case PixelFormat::kNV21:
      return vd_frame_nv21(buffer, width, height);
    case PixelFormat::kNV12:
      return vd_frame_nv12(buffer, width, height);
    case PixelFormat::kI420:
    case PixelFormat::kNone:
      break;
  }
  return vd_frame_i420(buffer, width, height);
}

bool StartDenoiser(const DenoiserSetup& setup, Denoiser* d,
                   std::string* error) {
  StopDenoiser(d);
  TakeLibraryMessages(&d->log);
  {
    std::lock_guard<std::mutex> lock(d->log.mutex);
    d->log.echo = setup.verbose ? stderr : nullptr;
  }
  const std::string size =
      std::to_string(setup.width) + "x" + std::to_string(setup.height);
  const std::string odd = OddSizeAdvice(setup.width, setup.height);
  if (!odd.empty()) {
    *error = odd;
    return false;
  }
  vd_options o;
  vd_options_init(&o);
  o.max_width = setup.width;
  o.max_height = setup.height;
  o.threads = setup.threads;
  if (!LibraryMethod(setup.method, &o.method)) {
    *error = std::string("this libVideoDenoise has no ") +
             MethodName(setup.method) + " method";
    return false;
  }
  o.config_path = setup.config.empty() ? nullptr : setup.config.c_str();
  o.log = ReceiveLibraryLine;
  o.log_user = &d->log;
  o.log_level = setup.verbose ? VD_LOG_DEBUG : VD_LOG_WARNING;
  const vd_status status = vd_create(&o, &d->handle);
  if (status != VD_OK) {
    d->handle = nullptr;
    *error = (status == VD_ERR_UNSUPPORTED_SIZE
                  ? "the denoiser refused " + size + " frames ("
                  : std::string("the denoiser could not be created (")) +
             vd_status_string(status) + ")" + JoinLibraryMessages(&d->log);
    return false;
  }
  return true;
}

bool DenoiseFrame(Denoiser* d, PixelFormat src_format, uint8_t* src,
                  PixelFormat dst_format, uint8_t* dst, int width, int height,
                  int type, int iso, std::string* error) {
  const vd_frame in = FrameView(src_format, src, width, height);
  const vd_frame out = FrameView(dst_format, dst, width, height);
  const vd_status status = vd_denoise(d->handle, &in, &out, type, iso);
  if (status != VD_OK) {
    *error = std::string("the denoiser failed on a frame (") +
             vd_status_string(status) + ")" + JoinLibraryMessages(&d->log);
    return false;
  }
  return true;
}

void StopDenoiser(Denoiser* d) {
  vd_destroy(d->handle);
  d->handle = nullptr;
}

}  // namespace vdtool
