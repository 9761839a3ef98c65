// The tool's calls into libVideoDenoise: creation with readable errors,
// one frame, destruction, and the library's own NV21 <-> I420 conversions.
#ifndef VD_TOOLS_DENOISER_H_
#define VD_TOOLS_DENOISER_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace vdtool {

// Extra bytes at the end of every frame buffer handed to the conversions,
// which move chroma in whole blocks of 8 pairs.
constexpr size_t kConversionSlack = 64;

// Whether |width| x |height| lies in the sizes the library takes.
bool SizeAccepted(int width, int height);

// What to do about a frame size the library refuses: the accepted ranges
// and an ffmpeg command that crops, pads or scales to an accepted size.
std::string SizeAdvice(int width, int height);

// Creates the denoiser for |width| x |height| frames, with the optional
// configuration file |config| (empty for none; the caller checks that it
// is readable). On failure |error| holds the library's own messages and
// SizeAdvice.
bool StartDenoiser(int width, int height, const std::string& config,
                   std::string* error);

// Denoises one NV21 frame. On failure |error| holds the library's messages.
bool DenoiseFrame(uint8_t* src_nv21, uint8_t* dst_nv21, int width, int height,
                  int type, int iso, std::string* error);

void StopDenoiser();

// Whole-frame conversions (the library's); buffers need kConversionSlack.
void I420ToNV21(uint8_t* i420, uint8_t* nv21, int width, int height);
void NV21ToI420(uint8_t* nv21, uint8_t* i420, int width, int height);

}  // namespace vdtool

#endif  // VD_TOOLS_DENOISER_H_
