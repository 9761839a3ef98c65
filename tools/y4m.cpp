#include "tools/y4m.h"

#include <cstdio>
#include <cstring>

namespace vdtool {

namespace {

constexpr char kSignature[] = "YUV4MPEG2";
// Larger frames are certainly a damaged header, not a real stream.
constexpr int kMaxDimension = 32768;

// Strict unsigned decimal: digits only, at least one, at most |max|.
bool ParseCount(const std::string& text, long long max, long long* value) {
  if (text.empty() || text.size() > 18) return false;
  long long v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + (c - '0');
  }
  if (v > max) return false;
  *value = v;
  return true;
}

// "num:den" with both parts plain decimals.
bool ParseRatio(const std::string& text, int* num, int* den) {
  size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  long long n = 0, d = 0;
  if (!ParseCount(text.substr(0, colon), 0x7fffffff, &n) ||
      !ParseCount(text.substr(colon + 1), 0x7fffffff, &d)) {
    return false;
  }
  *num = static_cast<int>(n);
  *den = static_cast<int>(d);
  return true;
}

// Colour space names: a subsampling (420, 422, 444, 411, mono) and an
// optional suffix: a siting (jpeg, paldv, mpeg2; 4:2:0 only), "alpha"
// (4:4:4 only), "p" and a bit depth (420p10, 444p16) or, for mono, a bare
// bit depth (mono16).
bool ParseColorspace(const std::string& text, Y4mHeader* header) {
  struct Prefix {
    const char* name;
    Y4mChroma chroma;
  };
  static const Prefix kPrefixes[] = {{"420", Y4mChroma::k420},
                                     {"422", Y4mChroma::k422},
                                     {"444", Y4mChroma::k444},
                                     {"411", Y4mChroma::k411},
                                     {"mono", Y4mChroma::kMono}};
  for (const Prefix& p : kPrefixes) {
    size_t len = std::strlen(p.name);
    if (text.compare(0, len, p.name) != 0) continue;
    std::string rest = text.substr(len);
    int depth = 8;
    bool alpha = false;
    if (rest.empty()) {
    } else if (p.chroma == Y4mChroma::k420 &&
               (rest == "jpeg" || rest == "paldv" || rest == "mpeg2")) {
    } else if (p.chroma == Y4mChroma::k444 && rest == "alpha") {
      alpha = true;
    } else {
      std::string digits = rest;
      if (p.chroma != Y4mChroma::kMono) {
        if (rest[0] != 'p' || p.chroma == Y4mChroma::k411) return false;
        digits = rest.substr(1);
      }
      long long d = 0;
      if (!ParseCount(digits, 16, &d) || d < 8) return false;
      depth = static_cast<int>(d);
    }
    header->chroma = p.chroma;
    header->bit_depth = depth;
    header->has_alpha = alpha;
    header->colorspace = text;
    return true;
  }
  return false;
}

const char* ChromaName(Y4mChroma chroma) {
  switch (chroma) {
    case Y4mChroma::k420: return "4:2:0";
    case Y4mChroma::k422: return "4:2:2";
    case Y4mChroma::k444: return "4:4:4";
    case Y4mChroma::k411: return "4:1:1";
    case Y4mChroma::kMono: return "monochrome";
  }
  return "?";
}

}  // namespace

bool ParseY4mHeader(const std::string& line, Y4mHeader* header,
                    std::string* error) {
  *header = Y4mHeader();
  const size_t sig_len = sizeof(kSignature) - 1;
  if (line.compare(0, sig_len, kSignature) != 0 ||
      (line.size() > sig_len && line[sig_len] != ' ')) {
    *error = "not a YUV4MPEG2 stream (it does not start with \"YUV4MPEG2 \")";
    return false;
  }
  bool have_w = false, have_h = false;
  size_t pos = sig_len;
  while (pos < line.size()) {
    // Fields are separated by single spaces; tolerate runs of them.
    while (pos < line.size() && line[pos] == ' ') ++pos;
    if (pos >= line.size()) break;
    size_t end = line.find(' ', pos);
    if (end == std::string::npos) end = line.size();
    std::string field = line.substr(pos, end - pos);
    pos = end;
    header->fields.push_back(field);
    std::string value = field.substr(1);
    long long n = 0;
    switch (field[0]) {
      case 'W':
      case 'H': {
        if (!ParseCount(value, kMaxDimension, &n) || n == 0) {
          *error = std::string("bad ") + (field[0] == 'W' ? "width" : "height") +
                   " field \"" + field + "\" in the YUV4MPEG2 header";
          return false;
        }
        (field[0] == 'W' ? header->width : header->height) =
            static_cast<int>(n);
        (field[0] == 'W' ? have_w : have_h) = true;
        break;
      }
      case 'F':
        // F0:0 says the rate is unknown; it is kept and written back.
        if (!ParseRatio(value, &header->fps_num, &header->fps_den) ||
            (header->fps_num == 0) != (header->fps_den == 0)) {
          *error = "bad frame rate field \"" + field +
                   "\" in the YUV4MPEG2 header (expected F<num>:<den>)";
          return false;
        }
        break;
      case 'I':
        if (value.size() != 1 || std::strchr("ptbm?", value[0]) == nullptr) {
          *error = "bad interlacing field \"" + field +
                   "\" in the YUV4MPEG2 header (expected Ip, It, Ib, Im or I?)";
          return false;
        }
        header->interlace = value[0];
        break;
      case 'A':
        if (!ParseRatio(value, &header->aspect_num, &header->aspect_den)) {
          *error = "bad aspect field \"" + field +
                   "\" in the YUV4MPEG2 header (expected A<num>:<den>)";
          return false;
        }
        break;
      case 'C':
        if (!ParseColorspace(value, header)) {
          *error = "unknown colour space \"" + field +
                   "\" in the YUV4MPEG2 header";
          return false;
        }
        break;
      case 'X':
        if (value == "COLORRANGE=FULL") header->full_range = true;
        if (value == "COLORRANGE=LIMITED") header->full_range = false;
        break;
      default:
        // Unknown fields are kept and passed through unchanged.
        break;
    }
  }
  if (!have_w || !have_h) {
    *error = std::string("the YUV4MPEG2 header has no ") +
             (!have_w ? "width (W)" : "height (H)") + " field";
    return false;
  }
  return true;
}

bool CheckY4mUsable(const Y4mHeader& header, std::string* error) {
  char text[512];
  if (header.interlace == 't' || header.interlace == 'b' ||
      header.interlace == 'm') {
    std::snprintf(text, sizeof(text),
                  "the input is interlaced (I%c); vdenoise needs progressive "
                  "frames. Deinterlace it first, e.g.\n"
                  "  ffmpeg -i in.y4m -pix_fmt yuv420p -vf yadif out.y4m",
                  header.interlace);
    *error = text;
    return false;
  }
  if (header.chroma != Y4mChroma::k420 || header.has_alpha) {
    std::snprintf(text, sizeof(text),
                  "the input is %s%s (C%s); vdenoise needs 4:2:0. Convert it "
                  "first, e.g.\n"
                  "  ffmpeg -i in.y4m -pix_fmt yuv420p out.y4m",
                  ChromaName(header.chroma),
                  header.has_alpha ? " with alpha" : "",
                  header.colorspace.c_str());
    *error = text;
    return false;
  }
  if (header.bit_depth > 8) {
    std::snprintf(text, sizeof(text),
                  "the input has %d-bit samples (C%s); vdenoise needs 8-bit. "
                  "Convert it first, e.g.\n"
                  "  ffmpeg -i in.y4m -pix_fmt yuv420p out.y4m",
                  header.bit_depth, header.colorspace.c_str());
    *error = text;
    return false;
  }
  return true;
}

bool ParseY4mFrameLine(const std::string& line, std::string* params,
                       std::string* error) {
  if (line.compare(0, 5, "FRAME") != 0 ||
      (line.size() > 5 && line[5] != ' ')) {
    std::string shown = line.substr(0, 16);
    for (char& c : shown) {
      if (c < 32 || c > 126) c = '.';
    }
    *error = "expected a \"FRAME\" marker, found \"" + shown + "\"";
    return false;
  }
  if (params) *params = line.substr(5);
  return true;
}

std::string FormatY4mFrameLine(const std::string& params) {
  return "FRAME" + params + "\n";
}

std::string FormatY4mHeader(const Y4mHeader& header) {
  std::string line = kSignature;
  for (const std::string& field : header.fields) {
    line += ' ';
    line += field;
  }
  line += '\n';
  return line;
}

Y4mHeader MakeY4mHeader(int width, int height, int fps_num, int fps_den) {
  Y4mHeader h;
  h.width = width;
  h.height = height;
  h.fps_num = fps_num;
  h.fps_den = fps_den;
  h.interlace = 'p';
  h.aspect_num = 1;
  h.aspect_den = 1;
  h.fields = {"W" + std::to_string(width),
              "H" + std::to_string(height),
              "F" + std::to_string(fps_num) + ":" + std::to_string(fps_den),
              "Ip",
              "A1:1",
              "C420jpeg"};
  return h;
}

size_t Y4mFramePlaneBytes(const Y4mHeader& header) {
  const size_t w = static_cast<size_t>(header.width);
  const size_t h = static_cast<size_t>(header.height);
  const size_t luma = w * h;
  size_t chroma = 0;
  switch (header.chroma) {
    case Y4mChroma::k420: chroma = 2 * ((w + 1) / 2) * ((h + 1) / 2); break;
    case Y4mChroma::k422: chroma = 2 * ((w + 1) / 2) * h; break;
    case Y4mChroma::k444: chroma = 2 * luma; break;
    case Y4mChroma::k411: chroma = 2 * ((w + 3) / 4) * h; break;
    case Y4mChroma::kMono: chroma = 0; break;
  }
  size_t samples = luma + chroma + (header.has_alpha ? luma : 0);
  return header.bit_depth > 8 ? 2 * samples : samples;
}

}  // namespace vdtool
