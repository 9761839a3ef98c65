// Soak run of the engine API (not a unit test; scripts/soak.sh builds and
// runs it after the process-wide soak).
//
// Frames through vd_denoise with create/destroy cycles: every --cycle
// frames the denoiser is destroyed and a new one created with another
// method, thread count and maximum size; in between, frame sizes, layouts
// (NV21, NV12, I420, strided) and type/ISO change. Every call is checked.
// The resident set (/proc/self/statm) is sampled every --every frames (a
// multiple of --cycle), between a destroy and the next create, when no
// denoiser is alive; the samples must stay flat: destroy gives back
// everything create took, and frames allocate nothing.
//
// Usage: engine_soak_main [--frames N] [--every N] [--cycle N] [--seed N]
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "api/vdenoise.h"
#include "tests/soak_util.h"

using vdsoak::Next;
using vdsoak::ResidentKb;

namespace {

const int kMaxWidth = 640;
const int kMaxHeight = 480;

struct Options {
  long frames = 10000;
  long every = 500;
  long cycle = 250;
  long seed = 1;
};

void Quiet(void*, int, const char*) {}

// A frame of w x h in layout k (0 NV21, 1 NV12, 2 I420, 3 I420 with padded
// rows) over the bytes at p, which hold at least Bytes(w, h) bytes.
size_t Bytes(int w, int h) { return static_cast<size_t>(w + 32) * h * 3 / 2 + 64; }

vd_frame Describe(unsigned char* p, int w, int h, int k) {
  if (k == 0) return vd_frame_nv21(p, w, h);
  if (k == 1) return vd_frame_nv12(p, w, h);
  if (k == 2) return vd_frame_i420(p, w, h);
  vd_frame f;
  f.width = w;
  f.height = h;
  f.y_stride = w + 32;
  f.uv_stride = w / 2 + 16;
  f.uv_pixel_stride = 1;
  f.y = p;
  f.u = p + static_cast<size_t>(f.y_stride) * h;
  f.v = f.u + static_cast<size_t>(f.uv_stride) * (h / 2);
  return f;
}

}  // namespace

int main(int argc, char** argv) {
  Options opt;
  if (!vdsoak::ParseOptions(argc, argv,
                            {{"--frames", &opt.frames, nullptr},
                             {"--every", &opt.every, nullptr},
                             {"--cycle", &opt.cycle, nullptr},
                             {"--seed", &opt.seed, nullptr}},
                            [&] {
                              return opt.frames > 0 && opt.every > 0 && opt.cycle > 0 &&
                                     opt.every % opt.cycle == 0;
                            })) {
    return 2;
  }
  const size_t maxBytes = Bytes(kMaxWidth, kMaxHeight);
  std::vector<uint8_t> block(2 * maxBytes);
  uint32_t state = static_cast<uint32_t>(opt.seed) * 2654435761u + 1;
  for (size_t i = 0; i < block.size(); ++i) {
    const int base = 60 + static_cast<int>((i / 7) % 120);
    block[i] = static_cast<uint8_t>(base + static_cast<int>(Next(&state) % 17) - 8);
  }
  std::vector<uint8_t> src(maxBytes), dst(maxBytes);

  vd_denoiser* d = nullptr;
  int maxW = 0, maxH = 0;
  long creations = 0, size_changes = 0, mode_changes = 0;
  std::vector<long> series;
  long peak = 0;
  const auto start = std::chrono::steady_clock::now();
  auto sample = [&](long frame) {
    const long kb = ResidentKb();
    series.push_back(kb);
    const double sec = std::chrono::duration<double>(
                           std::chrono::steady_clock::now() - start)
                           .count();
    std::printf("frame %6ld  rss %7ld kB with no denoiser, peak %7ld kB  "
                "%6.1f s  denoisers %ld\n",
                frame, kb, peak, sec, creations);
    std::fflush(stdout);
  };
  // Destroys the current denoiser (sampling the resident set when due) and,
  // unless the run is over, creates the next one.
  auto create = [&](long frame, bool next) {
    if (d) {
      const long kb = ResidentKb();
      peak = kb > peak ? kb : peak;
    }
    vd_destroy(d);
    d = nullptr;
    if (frame > 0 && frame % opt.every == 0) sample(frame);
    if (!next) return true;
    vd_options o;
    vd_options_init(&o);
    // Every fourth denoiser takes the largest size, the others smaller ones.
    const bool largest = (creations % 4) == 0;
    maxW = largest ? kMaxWidth : 96 + 2 * static_cast<int>(Next(&state) % 273);
    maxH = largest ? kMaxHeight : 64 + 2 * static_cast<int>(Next(&state) % 209);
    o.max_width = maxW;
    o.max_height = maxH;
    o.threads = static_cast<int>(Next(&state) % 4);
    o.method = (creations & 1) ? VD_METHOD_TEMPORAL : VD_METHOD_FUZZY;
    o.log = Quiet;
    ++creations;
    if (vd_create(&o, &d) != VD_OK) {
      std::fprintf(stderr, "engine soak: vd_create failed before frame %ld\n",
                   frame);
      return false;
    }
    return true;
  };

  int width = 0, height = 0, layout = 0, type = 0, iso = 100;
  std::printf("engine soak: %ld frames, a new denoiser every %ld frames\n",
              opt.frames, opt.cycle);
  for (long frame = 0; frame < opt.frames; ++frame) {
    if (frame % opt.cycle == 0) {
      if (!create(frame, true)) return 1;
      width = maxW;
      height = maxH;
    }
    const uint32_t r = Next(&state);
    if (r % 30 == 0) {
      width = 16 + 2 * static_cast<int>(Next(&state) % ((maxW - 16) / 2 + 1));
      height = 16 + 2 * static_cast<int>(Next(&state) % ((maxH - 16) / 2 + 1));
      layout = static_cast<int>(Next(&state) % 4);
      ++size_changes;
    }
    if ((r >> 8) % 10 == 0) {
      type = static_cast<int>(Next(&state) % 8);
      iso = 50 + static_cast<int>(Next(&state) % 750);
      ++mode_changes;
    }
    if ((r >> 16) % 97 == 0 && vd_reset(d) != VD_OK) {
      std::fprintf(stderr, "engine soak: vd_reset failed at frame %ld\n", frame);
      return 1;
    }
    const size_t offset = static_cast<size_t>(frame * 4099) % maxBytes;
    std::memcpy(src.data(), block.data() + offset, Bytes(width, height));
    const vd_frame in = Describe(src.data(), width, height, layout);
    const vd_frame out = Describe(dst.data(), width, height, (layout + 1) % 4);
    const vd_status s = vd_denoise(d, &in, (r >> 24) % 3 ? &out : &in, type, iso);
    if (s != VD_OK) {
      std::fprintf(stderr, "engine soak: frame %ld (%dx%d layout %d) failed: %s\n",
                   frame, width, height, layout, vd_status_string(s));
      return 1;
    }
  }
  create(opt.frames, false);
  if (opt.frames % opt.every != 0) sample(opt.frames);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
          .count();
  long lo = series[0], hi = series[0];
  for (long kb : series) {
    lo = kb < lo ? kb : lo;
    hi = kb > hi ? kb : hi;
  }
  std::printf(
      "engine soak: %ld frames in %.1f s (%.1f ms/frame), %ld denoisers "
      "created and destroyed, %ld size/layout changes, %ld type/ISO changes\n",
      opt.frames, seconds, 1000.0 * seconds / opt.frames, creations,
      size_changes, mode_changes);
  std::printf("engine soak: rss with no denoiser: first %ld kB, last %ld kB, "
              "min %ld kB, max %ld kB, growth %ld kB; peak with one %ld kB\n",
              series.front(), series.back(), lo, hi,
              series.back() - series.front(), peak);
  // Flat: between denoisers the set may move by allocator noise (1 MiB),
  // never by a denoiser's worth.
  if (hi - lo > 1024) {
    std::printf("engine soak: FAILED: resident memory is not flat\n");
    return 1;
  }
  std::printf("engine soak: resident memory flat\n");
  return 0;
}
