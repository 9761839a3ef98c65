#include "tools/frame_reader.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace vdtool {

namespace {

constexpr char kSignature[] = "YUV4MPEG2";
constexpr size_t kSignatureBytes = sizeof(kSignature) - 1;
// Bytes of a plain frame marker, "FRAME\n".
constexpr size_t kFrameMarkerBytes = 6;

// Reads up to |n| bytes, the read-ahead first. Returns the count; fewer
// than |n| means end of stream or an error (see ferror).
size_t ReadBytes(FrameReader* r, uint8_t* dst, size_t n) {
  size_t got = 0;
  if (!r->pending.empty()) {
    got = r->pending.size() < n ? r->pending.size() : n;
    std::memcpy(dst, r->pending.data(), got);
    r->pending.erase(0, got);
  }
  while (got < n) {
    size_t k = std::fread(dst + got, 1, n - got, r->file);
    if (k == 0) break;
    got += k;
  }
  return got;
}

// Reads one line up to and without its newline. Returns 1 for a line,
// 0 for end of stream before any byte, -1 for end of stream or read error
// inside the line, -2 when the line is longer than |max_bytes|.
int ReadLine(FrameReader* r, size_t max_bytes, std::string* line) {
  line->clear();
  for (;;) {
    uint8_t c;
    if (ReadBytes(r, &c, 1) != 1) return line->empty() ? 0 : -1;
    if (c == '\n') return 1;
    if (line->size() + 1 >= max_bytes) return -2;
    line->push_back(static_cast<char>(c));
  }
}

// True for a whole FRAME line or any beginning of "FRAME".
bool IsStartOfFrameMarker(const std::string& line) {
  std::string why;
  return ParseY4mFrameLine(line, nullptr, &why) ||
         std::string("FRAME").compare(0, line.size(), line) == 0;
}

std::string ReadErrorText(const FrameReader* r) {
  return "cannot read " + r->name + ": " + std::strerror(errno);
}

}  // namespace

bool ParsePixelFormat(const std::string& text, PixelFormat* format) {
  if (text == "nv21") {
    *format = PixelFormat::kNV21;
  } else if (text == "nv12") {
    *format = PixelFormat::kNV12;
  } else if (text == "i420" || text == "yuv420p") {
    *format = PixelFormat::kI420;
  } else {
    return false;
  }
  return true;
}

const char* PixelFormatName(PixelFormat format) {
  switch (format) {
    case PixelFormat::kI420: return "i420";
    case PixelFormat::kNV21: return "nv21";
    case PixelFormat::kNV12: return "nv12";
    case PixelFormat::kNone: break;
  }
  return "none";
}

namespace {

// ffmpeg's names for frame sizes (its -s and -video_size accept them).
struct SizeName {
  const char* name;
  int width, height;
};
constexpr SizeName kSizeNames[] = {
    {"ntsc", 720, 480},       {"pal", 720, 576},
    {"qntsc", 352, 240},      {"qpal", 352, 288},
    {"sntsc", 640, 480},      {"spal", 768, 576},
    {"film", 352, 240},       {"ntsc-film", 352, 240},
    {"sqcif", 128, 96},       {"qcif", 176, 144},
    {"cif", 352, 288},        {"4cif", 704, 576},
    {"16cif", 1408, 1152},    {"qqvga", 160, 120},
    {"qvga", 320, 240},       {"vga", 640, 480},
    {"svga", 800, 600},       {"xga", 1024, 768},
    {"uxga", 1600, 1200},     {"qxga", 2048, 1536},
    {"sxga", 1280, 1024},     {"qsxga", 2560, 2048},
    {"hsxga", 5120, 4096},    {"wvga", 852, 480},
    {"wxga", 1366, 768},      {"wsxga", 1600, 1024},
    {"wuxga", 1920, 1200},    {"woxga", 2560, 1600},
    {"wqhd", 2560, 1440},     {"wqsxga", 3200, 2048},
    {"wquxga", 3840, 2400},   {"whsxga", 6400, 4096},
    {"whuxga", 7680, 4800},   {"cga", 320, 200},
    {"ega", 640, 350},        {"hd480", 852, 480},
    {"hd720", 1280, 720},     {"hd1080", 1920, 1080},
    {"quadhd", 2560, 1440},   {"2k", 2048, 1080},
    {"2kdci", 2048, 1080},    {"2kflat", 1998, 1080},
    {"2kscope", 2048, 858},   {"4k", 4096, 2160},
    {"4kdci", 4096, 2160},    {"4kflat", 3996, 2160},
    {"4kscope", 4096, 1716},  {"nhd", 640, 360},
    {"hqvga", 240, 160},      {"wqvga", 400, 240},
    {"fwqvga", 432, 240},     {"hvga", 480, 320},
    {"qhd", 960, 540},        {"uhd2160", 3840, 2160},
    {"uhd4320", 7680, 4320}};

}  // namespace

bool ParseFrameSize(const std::string& text, int* width, int* height) {
  for (const SizeName& s : kSizeNames) {
    if (text == s.name) {
      *width = s.width;
      *height = s.height;
      return true;
    }
  }
  size_t x = text.find('x');
  if (x == std::string::npos || x == 0 || x + 1 >= text.size()) return false;
  long long v[2] = {0, 0};
  const std::string parts[2] = {text.substr(0, x), text.substr(x + 1)};
  for (int i = 0; i < 2; ++i) {
    if (parts[i].size() > 6) return false;
    for (char c : parts[i]) {
      if (c < '0' || c > '9') return false;
      v[i] = v[i] * 10 + (c - '0');
    }
    if (v[i] == 0) return false;
  }
  *width = static_cast<int>(v[0]);
  *height = static_cast<int>(v[1]);
  return true;
}

size_t FrameBytes420(int width, int height) {
  const size_t w = static_cast<size_t>(width);
  const size_t h = static_cast<size_t>(height);
  return w * h + 2 * ((w + 1) / 2) * ((h + 1) / 2);
}

void CopyToI420(PixelFormat format, const uint8_t* src, uint8_t* i420,
                int width, int height) {
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t quarter = luma / 4;
  if (format != PixelFormat::kNV21 && format != PixelFormat::kNV12) {
    std::memcpy(i420, src, luma + 2 * quarter);
    return;
  }
  std::memcpy(i420, src, luma);
  // Interleaved chroma: V first in NV21, U first in NV12.
  const uint8_t* pairs = src + luma;
  uint8_t* u = i420 + luma;
  uint8_t* v = u + quarter;
  const int first_is_v = format == PixelFormat::kNV21;
  for (size_t i = 0; i < quarter; ++i) {
    (first_is_v ? v : u)[i] = pairs[2 * i];
    (first_is_v ? u : v)[i] = pairs[2 * i + 1];
  }
}

bool OpenFrameReader(const std::string& path, const RawLayout& raw,
                     FrameReader* reader, std::string* error) {
  *reader = FrameReader();
  FrameReader* r = reader;
  if (path == "-") {
    r->file = stdin;
    r->name = "standard input";
  } else {
    r->name = path;
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
      *error = "cannot read " + path + ": it is a directory";
      return false;
    }
    r->file = std::fopen(path.c_str(), "rb");
    if (!r->file) {
      *error = "cannot open " + path + ": " + std::strerror(errno);
      return false;
    }
    r->owns_file = true;
  }

  // Tell the formats apart by the signature; the bytes read stay pending.
  uint8_t head[kSignatureBytes];
  size_t got = ReadBytes(r, head, kSignatureBytes);
  if (got < kSignatureBytes && std::ferror(r->file)) {
    *error = ReadErrorText(r);
    CloseFrameReader(r);
    return false;
  }
  r->pending.assign(reinterpret_cast<char*>(head), got);
  r->is_y4m = got == kSignatureBytes &&
              std::memcmp(head, kSignature, kSignatureBytes) == 0;

  const bool raw_given = raw.width > 0 || raw.format != PixelFormat::kNone;
  if (r->is_y4m) {
    if (raw_given && !raw.fallback_only) {
      *error = r->name +
               " is a YUV4MPEG2 stream, which carries its own size and "
               "format: drop -s and --pix-fmt";
      CloseFrameReader(r);
      return false;
    }
    std::string line;
    int status = ReadLine(r, kY4mMaxHeaderBytes, &line);
    if (status == -2) {
      *error = r->name + ": the YUV4MPEG2 header line is longer than " +
               std::to_string(kY4mMaxHeaderBytes) + " bytes";
    } else if (status != 1) {
      *error = std::ferror(r->file)
                   ? ReadErrorText(r)
                   : r->name + ": the stream ends inside the YUV4MPEG2 header";
    }
    if (status != 1) {
      CloseFrameReader(r);
      return false;
    }
    std::string why;
    if (!ParseY4mHeader(line, &r->y4m, &why) || !CheckY4mUsable(r->y4m, &why)) {
      *error = r->name + ": " + why;
      CloseFrameReader(r);
      return false;
    }
    r->width = r->y4m.width;
    r->height = r->y4m.height;
    r->format = PixelFormat::kI420;
  } else {
    if (got == 0 && !raw_given) {
      *error = r->name + " is empty";
      CloseFrameReader(r);
      return false;
    }
    if (raw.width <= 0 || raw.format == PixelFormat::kNone) {
      *error = r->name +
               " is not a YUV4MPEG2 stream; for raw frames give both the "
               "size and the layout, e.g. -s 1920x1080 --pix-fmt nv21";
      CloseFrameReader(r);
      return false;
    }
    r->width = raw.width;
    r->height = raw.height;
    r->format = raw.format;
  }
  r->frame_bytes = FrameBytes420(r->width, r->height);

  // A regular file's size tells how many frames to expect; for YUV4MPEG2
  // this assumes plain "FRAME" markers, which is what writers produce.
  struct stat st;
  if (fstat(fileno(r->file), &st) == 0 && S_ISREG(st.st_mode)) {
    long long size = static_cast<long long>(st.st_size);
    if (r->is_y4m) {
      long long header = static_cast<long long>(
          FormatY4mHeader(r->y4m).size());
      long long per_frame =
          static_cast<long long>(r->frame_bytes + kFrameMarkerBytes);
      r->total_frames = size > header ? (size - header) / per_frame : 0;
    } else {
      r->total_frames = size / static_cast<long long>(r->frame_bytes);
    }
  }
  return true;
}

ReadResult ReadFrame(FrameReader* r, uint8_t* dst, std::string* error) {
  const int64_t index = r->frames_read;
  if (r->is_y4m) {
    std::string line;
    int status = ReadLine(r, kY4mMaxFrameLineBytes, &line);
    if (status == 0) {
      if (std::ferror(r->file)) {
        *error = ReadErrorText(r);
        return ReadResult::kError;
      }
      return ReadResult::kEnd;
    }
    if (status == -1) {
      if (std::ferror(r->file)) {
        *error = ReadErrorText(r);
        return ReadResult::kError;
      }
      // A marker cut short is a truncated frame if it is the start of one.
      std::string why;
      if (!IsStartOfFrameMarker(line)) {
        ParseY4mFrameLine(line, nullptr, &why);
        *error = r->name + ": frame " + std::to_string(index) + ": " + why;
        return ReadResult::kError;
      }
      *error = r->name + ": the last frame (frame " + std::to_string(index) +
               ") is truncated: the stream ends inside its FRAME marker";
      return ReadResult::kTruncated;
    }
    if (status == -2) {
      *error = r->name + ": frame " + std::to_string(index) +
               ": the FRAME line is longer than " +
               std::to_string(kY4mMaxFrameLineBytes) + " bytes";
      return ReadResult::kError;
    }
    std::string why;
    if (!ParseY4mFrameLine(line, &r->frame_params, &why)) {
      *error = r->name + ": frame " + std::to_string(index) + ": " + why;
      return ReadResult::kError;
    }
  }
  size_t got = ReadBytes(r, dst, r->frame_bytes);
  if (got == r->frame_bytes) {
    ++r->frames_read;
    return ReadResult::kFrame;
  }
  if (std::ferror(r->file)) {
    *error = ReadErrorText(r);
    return ReadResult::kError;
  }
  if (got == 0 && !r->is_y4m) return ReadResult::kEnd;
  *error = r->name + ": the last frame (frame " + std::to_string(index) +
           ") is truncated: " + std::to_string(got) + " of " +
           std::to_string(r->frame_bytes) + " bytes";
  return ReadResult::kTruncated;
}

void CloseFrameReader(FrameReader* r) {
  if (r->file && r->owns_file) std::fclose(r->file);
  r->file = nullptr;
  r->owns_file = false;
}

}  // namespace vdtool
