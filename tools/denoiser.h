// The tool's calls into libVideoDenoise: one denoiser instance per clip (or
// per demo method), created with readable errors, its log lines received
// through the instance's own callback, and frames in any of the layouts the
// tool reads, handed over as they are.
#ifndef VD_TOOLS_DENOISER_H_
#define VD_TOOLS_DENOISER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "api/vdenoise.h"
#include "tools/frame_reader.h"
#include "tools/library_log.h"

namespace vdtool {

// The denoising methods, by their command-line names.
enum class Method { kFuzzy, kTemporal, kAdaptive };

// "fuzzy", "temporal" or "adaptive".
bool ParseMethod(const std::string& text, Method* method);
const char* MethodName(Method method);
// Whether this build's library has |method| (adaptive is newer).
bool MethodAvailable(Method method);

// Why a frame size cannot be denoised ("" when it can): 4:2:0 chroma
// covers 2x2 pixels, so both sides must be even. The reason comes with an
// ffmpeg command that crops to the nearest even size.
std::string OddSizeAdvice(int width, int height);

struct DenoiserSetup {
  int width = 0;  // the clip's frame size
  int height = 0;
  int threads = 0;  // 0: one per online core
  Method method = Method::kFuzzy;
  std::string config;  // optional configuration file
  // Debug traces too, written to stderr as they arrive.
  bool verbose = false;
};

struct Denoiser {
  vd_denoiser* handle = nullptr;
  LibraryLog log;  // where the instance's log callback delivers
};

// Creates the denoiser. On failure |error| holds the library's status and
// its own messages, and the size advice when the size is the problem.
bool StartDenoiser(const DenoiserSetup& setup, Denoiser* denoiser,
                   std::string* error);

// Denoises one frame of |width| x |height| from |src| (layout
// |src_format|) into |dst| (layout |dst_format|); the two may be the same
// buffer. On failure |error| holds the library's messages.
bool DenoiseFrame(Denoiser* denoiser, PixelFormat src_format, uint8_t* src,
                  PixelFormat dst_format, uint8_t* dst, int width, int height,
                  int type, int iso, std::string* error);

// Destroys the denoiser (a stopped or never started one is fine).
void StopDenoiser(Denoiser* denoiser);

// The number of workers |threads| means: itself, or the online cores for 0.
int ResolvedThreads(int threads);

// The library's description of one tightly packed frame.
vd_frame FrameView(PixelFormat format, uint8_t* buffer, int width,
                   int height);

}  // namespace vdtool

#endif  // VD_TOOLS_DENOISER_H_
