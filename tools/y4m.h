// YUV4MPEG2 stream headers: parsing, the checks that decide whether the
// denoiser can take a stream, and writing headers back out.
//
// A stream starts with one header line, "YUV4MPEG2" followed by
// space-separated tagged fields (W width, H height, F rate, I interlacing,
// A aspect, C colour space, X extensions), and then repeats a "FRAME" line
// (which may carry fields of its own) followed by the raw planes.
#ifndef VD_TOOLS_Y4M_H_
#define VD_TOOLS_Y4M_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vdtool {

// Chroma subsampling named by the C field.
enum class Y4mChroma { k420, k422, k444, k411, kMono };

struct Y4mHeader {
  int width = 0;
  int height = 0;
  int fps_num = 0;  // 0:0 when the stream gives no rate or F0:0 (unknown)
  int fps_den = 0;
  char interlace = 'p';  // p, t, b, m or ? (absent means progressive)
  int aspect_num = 0;    // 0:0 when unknown
  int aspect_den = 0;
  Y4mChroma chroma = Y4mChroma::k420;
  std::string colorspace = "420jpeg";  // the C value, default when absent
  int bit_depth = 8;
  bool has_alpha = false;
  bool full_range = false;  // XCOLORRANGE=FULL
  // Every field after the signature exactly as read, for writing the same
  // header back out.
  std::vector<std::string> fields;
};

// Longest header line accepted, terminating newline included.
constexpr size_t kY4mMaxHeaderBytes = 4096;
// Longest FRAME line accepted, newline included.
constexpr size_t kY4mMaxFrameLineBytes = 1024;

// Parses one header line (without its newline). Returns false with a
// message naming the offending field when the line is not a usable header.
bool ParseY4mHeader(const std::string& line, Y4mHeader* header,
                    std::string* error);

// Says whether the denoiser can take this stream (progressive, 8-bit,
// 4:2:0). When not, fills |error| with the reason and an ffmpeg command
// that converts the stream.
bool CheckY4mUsable(const Y4mHeader& header, std::string* error);

// Checks a FRAME line (without its newline). |params| (may be null)
// receives the frame's own fields exactly as written, with their leading
// space ("" for a plain marker), to be written back with the frame.
bool ParseY4mFrameLine(const std::string& line, std::string* params,
                       std::string* error);

// A FRAME line carrying |params| as ParseY4mFrameLine returned them,
// newline included.
std::string FormatY4mFrameLine(const std::string& params);

// The header line, newline included.
std::string FormatY4mHeader(const Y4mHeader& header);

// A progressive 8-bit 4:2:0 header for generated clips.
Y4mHeader MakeY4mHeader(int width, int height, int fps_num, int fps_den);

// Bytes of one frame's planes (4:2:0 rounds odd chroma sizes up).
size_t Y4mFramePlaneBytes(const Y4mHeader& header);

}  // namespace vdtool

#endif  // VD_TOOLS_Y4M_H_
