// Sequences of public calls decoded from the input: Init with any size and
// configuration text, frames of any size, type and ISO (null pointers
// included) in guarded client buffers, Deinit, pipeline selection and the
// persistent stripe pool. Whatever the order, no call may touch memory it
// was not given, and every call returns 0 or -1.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "api/vd_instance.h"
#include "api/video_denoise.h"
#include "fuzz/fuzz_input.h"
#include "tests/test_util.h"

namespace {

using vdfuzz::FuzzInput;
using vdtest::GuardedBuffer;

void QuietSink(int, const char*, const char*) {}

// Mostly small valid sizes (fast), sometimes any valid size, sometimes any
// number at all.
void DrawSize(FuzzInput& in, int* w, int* h) {
  const uint8_t kind = in.Byte();
  if (kind < 200) {
    *w = in.Stepped(96, 320, 16);
    *h = in.Stepped(96, 336, 8);
  } else if (kind < 240) {
    *w = in.Stepped(96, 1920, 16);
    *h = in.Stepped(96, 1920, 8);
  } else {
    *w = static_cast<int16_t>(in.U16());
    *h = static_cast<int16_t>(in.U16());
  }
}

int DrawInt(FuzzInput& in) {
  switch (in.Byte() & 3) {
    case 0: return in.Range(-2, 10);
    case 1: return in.Range(0, 1000);
    case 2: return static_cast<int8_t>(in.Byte());
    default: return in.I32();
  }
}

// A configuration file of 16 (or fewer, or more) "key=value" lines.
std::string DrawConfigText(FuzzInput& in) {
  std::string text;
  const int lines = in.Range(0, 20);
  for (int i = 0; i < lines; ++i) {
    char line[64];
    std::snprintf(line, sizeof(line), "k%d=%d%s", i, DrawInt(in),
                  (in.Byte() & 7) == 0 ? "\r\n" : "\n");
    text += line;
  }
  return text;
}

class ConfigFile {
 public:
  explicit ConfigFile(const std::string& text) {
    fd_ = memfd_create("vd_api_cfg", 0);
    if (fd_ < 0) std::abort();
    if (!text.empty() &&
        write(fd_, text.data(), text.size()) !=
            static_cast<ssize_t>(text.size())) {
      std::abort();
    }
    std::snprintf(path_, sizeof(path_), "/proc/self/fd/%d", fd_);
  }
  ~ConfigFile() { close(fd_); }
  const char* path() const { return path_; }

 private:
  int fd_;
  char path_[64];
};

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return -1;
  FuzzInput in(data, size);
  // Large frames are slow: a run stops after this many pixels of frames.
  long long budget = 12LL * 1000 * 1000;
  int calls = 0;
  while (!in.empty() && calls++ < 64) {
    switch (in.Byte() % 8) {
      case 0:
      case 1: {  // Init
        int w, h;
        DrawSize(in, &w, &h);
        const uint8_t cfg = in.Byte() % 4;
        int r;
        if (cfg == 0) {
          r = TARNO_VideoDenoiseInit(w, h, nullptr);
        } else if (cfg == 1) {
          r = TARNO_VideoDenoiseInit(w, h, "/nonexistent/vd.cfg");
        } else {
          ConfigFile file(DrawConfigText(in));
          r = TARNO_VideoDenoiseInit(w, h, file.path());
        }
        Check(r == 0 || r == -1);
        Check((r == 0) == (g_hVideoDenoise != nullptr));
        break;
      }
      case 2:
      case 3:
      case 4:
      case 5: {  // frame
        int w, h;
        DrawSize(in, &w, &h);
        const int type = DrawInt(in);
        const int iso = DrawInt(in);
        const uint8_t flags = in.Byte();
        const bool valid = VideoSizeCheck(w, h) == 0;
        // A buffer of the frame's size when the size can be accepted, else
        // a small one: a refused size must not be read at all.
        const size_t n =
            valid ? static_cast<size_t>(w) * h * 3 / 2 : static_cast<size_t>(64);
        if (valid) {
          if (budget < static_cast<long long>(w) * h) break;
          budget -= static_cast<long long>(w) * h;
        }
        const GuardedBuffer::Flush flush =
            (flags & 4) ? GuardedBuffer::kFlushStart : GuardedBuffer::kFlushEnd;
        GuardedBuffer src(n, flush), dst(n, flush);
        vdtest::FillRandom(src.data(), n, flags * 131u + w);
        std::memset(dst.data(), 0, n);
        // The same buffer for source and destination now and then.
        unsigned char* s = (flags & 1) ? nullptr : src.data();
        unsigned char* d = (flags & 2) ? nullptr
                           : (flags & 8) ? s
                                         : dst.data();
        const int r = TARNO_VideoDenoise(s, d, w, h, type, iso);
        Check(r == 0 || r == -1);
        if (!g_hVideoDenoise || !s || !d || !valid) Check(r == -1);
        break;
      }
      case 6: {
        const int r = TARNO_VideoDenoiseDeinit();
        Check(r == 0 || r == -1);
        Check(g_hVideoDenoise == nullptr);
        break;
      }
      case 7: {  // pipeline, or where the stripe threads come from
        const uint8_t b = in.Byte();
        const int value = b < 250 ? (b & 1) : static_cast<int>(in.I32());
        const int r = (b & 2) ? TARNO_VideoDenoiseSetStripePool(value)
                              : TARNO_VideoDenoiseSetPipeline(value);
        Check(r == ((value == 0 || value == 1) ? 0 : -1));
        break;
      }
    }
  }
  // Every input starts from no instance, the default pipeline and threads
  // started per frame.
  if (g_hVideoDenoise) Check(TARNO_VideoDenoiseDeinit() == 0);
  TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
  Check(TARNO_VideoDenoiseSetStripePool(0) == 0);
  return 0;
}
