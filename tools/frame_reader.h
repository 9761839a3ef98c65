// Reads 8-bit 4:2:0 frames from a YUV4MPEG2 stream or from a raw file of
// back-to-back NV21, NV12 or I420 frames, from a path or from standard
// input.
//
// Frames come out in the stream's own layout: planar I420 for YUV4MPEG2 and
// raw I420 input, NV21 or NV12 for raw NV21 or NV12 input.
#ifndef VD_TOOLS_FRAME_READER_H_
#define VD_TOOLS_FRAME_READER_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/y4m.h"

namespace vdtool {

enum class PixelFormat { kNone, kI420, kNV21, kNV12 };

// Accepts ffmpeg's names: "nv21", "nv12", and "yuv420p" or its alias
// "i420".
bool ParsePixelFormat(const std::string& text, PixelFormat* format);
const char* PixelFormatName(PixelFormat format);
// Parses "WxH" (for example "1920x1080") or one of ffmpeg's size names
// ("hd720", "hd1080", "4k" = 4096x2160, "uhd2160" = 3840x2160, "vga", ...).
bool ParseFrameSize(const std::string& text, int* width, int* height);

// Bytes of one 8-bit 4:2:0 frame; odd sizes round the chroma planes up.
size_t FrameBytes420(int width, int height);

// Copies one tightly packed frame of layout |format| into planar I420
// (Y, then U, then V) at |i420|; even sizes.
void CopyToI420(PixelFormat format, const uint8_t* src, uint8_t* i420,
                int width, int height);

// What the command line says about raw input; empty for YUV4MPEG2.
struct RawLayout {
  int width = 0;
  int height = 0;
  PixelFormat format = PixelFormat::kNone;
  // Use the size and format only when the stream turns out not to be
  // YUV4MPEG2 (a reference clip may be either).
  bool fallback_only = false;
};

struct FrameReader {
  FILE* file = nullptr;
  bool owns_file = false;
  std::string name;  // the path, or "standard input", for messages
  bool is_y4m = false;
  Y4mHeader y4m;
  int width = 0;
  int height = 0;
  PixelFormat format = PixelFormat::kNone;
  size_t frame_bytes = 0;
  int64_t frames_read = 0;   // whole frames read so far
  int64_t total_frames = -1; // from the file size; -1 when not known
  // YUV4MPEG2: the fields of the last frame's FRAME line, with their
  // leading space ("" for a plain marker), for FormatY4mFrameLine.
  std::string frame_params;
  // Bytes read ahead while telling the formats apart, consumed first.
  std::string pending;
};

enum class ReadResult {
  kFrame,      // one whole frame was read
  kEnd,        // the stream ended cleanly between frames
  kTruncated,  // the stream ended inside a frame (message in |error|)
  kError       // a read error or a malformed frame marker
};

// Opens |path| ("-" is standard input) and reads the stream header. A
// YUV4MPEG2 stream is recognised by its signature; anything else needs a
// size and pixel format in |raw|. A stream the denoiser cannot use (not
// 4:2:0, interlaced, deeper than 8 bits) is refused with advice.
bool OpenFrameReader(const std::string& path, const RawLayout& raw,
                     FrameReader* reader, std::string* error);

// Reads the next frame into |dst| (frame_bytes bytes).
ReadResult ReadFrame(FrameReader* reader, uint8_t* dst, std::string* error);

void CloseFrameReader(FrameReader* reader);

}  // namespace vdtool

#endif  // VD_TOOLS_FRAME_READER_H_
