// The vdenoise stream reader: any bytes as a YUV4MPEG2 stream (or, when the
// first byte says so, as a raw NV21 / I420 stream of a size drawn from the
// input) through OpenFrameReader and ReadFrame, and the first line through
// the header parser, the usability check and a format / parse round trip.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/frame_reader.h"
#include "tools/y4m.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

void FuzzHeaderLine(const std::string& line) {
  vdtool::Y4mHeader header;
  std::string error;
  if (!vdtool::ParseY4mHeader(line, &header, &error)) return;
  std::string why;
  (void)vdtool::CheckY4mUsable(header, &why);
  (void)vdtool::Y4mFramePlaneBytes(header);
  // What the writer makes of a parsed header parses back to the same one.
  std::string text = vdtool::FormatY4mHeader(header);
  Check(!text.empty() && text.back() == '\n');
  text.pop_back();
  vdtool::Y4mHeader again;
  Check(vdtool::ParseY4mHeader(text, &again, &error));
  Check(again.width == header.width && again.height == header.height);
  Check(again.fps_num == header.fps_num && again.fps_den == header.fps_den);
  Check(again.interlace == header.interlace);
  Check(again.chroma == header.chroma && again.bit_depth == header.bit_depth);
}

void FuzzStream(const uint8_t* data, size_t size, const vdtool::RawLayout& raw) {
  const int fd = memfd_create("vd_y4m", 0);
  Check(fd >= 0);
  if (size > 0) Check(write(fd, data, size) == static_cast<ssize_t>(size));
  char path[64];
  std::snprintf(path, sizeof(path), "/proc/self/fd/%d", fd);
  vdtool::FrameReader reader;
  std::string error;
  if (vdtool::OpenFrameReader(path, raw, &reader, &error)) {
    // A frame can never be bigger than the 4:2:0 frame of its size.
    Check(reader.frame_bytes ==
          vdtool::FrameBytes420(reader.width, reader.height));
    // Frames larger than the input cannot be read whole; skip the buffer.
    if (reader.frame_bytes <= size + 64) {
      std::vector<uint8_t> frame(reader.frame_bytes);
      for (int i = 0; i < 16; ++i) {
        const vdtool::ReadResult r =
            vdtool::ReadFrame(&reader, frame.data(), &error);
        if (r != vdtool::ReadResult::kFrame) break;
      }
    }
    vdtool::CloseFrameReader(&reader);
  }
  close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64 * 1024) return -1;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t newline = text.find('\n');
  if (newline != std::string::npos && newline <= vdtool::kY4mMaxHeaderBytes) {
    FuzzHeaderLine(text.substr(0, newline));
  }
  vdtool::RawLayout raw;
  if (size >= 4 && data[0] == 'R') {
    // "R" then a width, a height and a format byte: a raw stream.
    raw.width = 1 + data[1] % 64;
    raw.height = 1 + data[2] % 64;
    raw.format = (data[3] & 1) ? vdtool::PixelFormat::kNV21
                               : vdtool::PixelFormat::kI420;
    raw.fallback_only = (data[3] & 2) != 0;
    FuzzStream(data + 4, size - 4, raw);
  } else {
    FuzzStream(data, size, raw);
  }
  return 0;
}
