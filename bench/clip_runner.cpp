// vd_clip: denoises a raw NV21 clip frame by frame through the public API
// and prints the frame rate, reading and writing the clip as a command-line
// tool would. The benchmark script uses it when the vdenoise tool is not
// built.
//   vd_clip INPUT OUTPUT WIDTH HEIGHT [TYPE ISO [POOL]]
// POOL 1 runs the frames on the persistent stripe pool.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "api/video_denoise.h"

namespace {
void NoLog(int, const char*, const char*) {}
}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 7 && argc != 8) {
    std::fprintf(stderr,
                 "usage: vd_clip INPUT OUTPUT WIDTH HEIGHT [TYPE ISO [POOL]]\n");
    return 2;
  }
  const int width = std::atoi(argv[3]);
  const int height = std::atoi(argv[4]);
  const int type = argc >= 7 ? std::atoi(argv[5]) : 0;
  const int iso = argc >= 7 ? std::atoi(argv[6]) : 100;
  const int pool = argc == 8 ? std::atoi(argv[7]) : 0;
  std::FILE* in = std::fopen(argv[1], "rb");
  std::FILE* out = std::fopen(argv[2], "wb");
  if (!in || !out) {
    std::fprintf(stderr, "vd_clip: cannot open %s or %s\n", argv[1], argv[2]);
    return 1;
  }
  TARNO_VideoDenoiseSetLogSink(NoLog);
  if (TARNO_VideoDenoiseSetStripePool(pool) != 0) return 2;
  if (TARNO_VideoDenoiseInit(width, height, nullptr) != 0) return 1;
  const size_t size = static_cast<size_t>(width) * height * 3 / 2;
  std::vector<unsigned char> src(size), dst(size);
  int frames = 0;
  const auto start = std::chrono::steady_clock::now();
  while (std::fread(src.data(), 1, size, in) == size) {
    if (TARNO_VideoDenoise(src.data(), dst.data(), width, height, type, iso) !=
        0) {
      return 1;
    }
    if (std::fwrite(dst.data(), 1, size, out) != size) return 1;
    ++frames;
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
          .count();
  TARNO_VideoDenoiseDeinit();
  std::fclose(in);
  std::fclose(out);
  std::printf("frames %d seconds %.4f fps %.2f\n", frames, seconds,
              seconds > 0 ? frames / seconds : 0.0);
  return 0;
}
