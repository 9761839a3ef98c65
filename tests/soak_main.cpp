// Soak run of the public API (not a unit test; scripts/soak.sh builds and
// runs it, scripts/valgrind.sh runs it under memcheck).
//
// One instance created for 1920 x 1080, then a long run of frames with random
// type and ISO changes, frame sizes changing within the creation size and
// switches between the two pipelines, every call checked. The resident set
// (/proc/self/statm) is sampled every --every frames; after the first sample
// it must stay flat: the frame call allocates nothing, and the three stripe
// threads of a frame must not leave anything behind.
//
// Usage: soak_main [--frames N] [--every N] [--seed N] [--fixed]
//   --fixed: 1080p frames only, both pipelines in turn, no size changes
//            (the short sequence that valgrind runs).
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "api/video_denoise.h"
#include "tests/soak_util.h"

using vdsoak::Next;
using vdsoak::ResidentKb;

namespace {

const int kMaxWidth = 1920;
const int kMaxHeight = 1080;

struct Options {
  long frames = 10000;
  long every = 500;
  long seed = 1;
  bool fixed = false;
};

void QuietSink(int, const char*, const char*) {}

}  // namespace

int main(int argc, char** argv) {
  Options opt;
  if (!vdsoak::ParseOptions(argc, argv,
                            {{"--frames", &opt.frames, nullptr},
                             {"--every", &opt.every, nullptr},
                             {"--seed", &opt.seed, nullptr},
                             {"--fixed", nullptr, &opt.fixed}},
                            [&] { return opt.frames > 0 && opt.every > 0; })) {
    return 2;
  }
  // Every frame logs a trace line; keep the output to the figures.
  TARNO_VideoDenoiseSetLogSink(QuietSink);

  const size_t max_frame = static_cast<size_t>(kMaxWidth) * kMaxHeight * 3 / 2;
  // Source frames are windows into a larger noisy block, at a different
  // (also odd) offset every frame, so the content changes without a fill.
  std::vector<uint8_t> block(2 * max_frame);
  uint32_t state = static_cast<uint32_t>(opt.seed) * 2654435761u + 1;
  for (size_t i = 0; i < block.size(); ++i) {
    const int base = 60 + static_cast<int>((i / 7) % 120);
    block[i] = static_cast<uint8_t>(base + static_cast<int>(Next(&state) % 17) - 8);
  }
  std::vector<uint8_t> dst(max_frame);

  if (TARNO_VideoDenoiseInit(kMaxWidth, kMaxHeight, nullptr) != 0) {
    std::fprintf(stderr, "soak: Init failed\n");
    return 1;
  }
  // Warm-up: full-size frames through both pipelines and every level touch
  // every page of the instance's buffers once (they are allocated zeroed,
  // so untouched pages are not resident yet). Not counted below.
  static const int kWarmTypes[] = {0, 0, 6, 6, 4, 4, 6, 6};
  static const int kWarmIsos[] = {100, 100, 100, 100, 400, 400, 400, 400};
  for (int p = 0; p < (opt.fixed ? 0 : 2); ++p) {
    TARNO_VideoDenoiseSetPipeline(p);
    for (int i = 0; i < 8; ++i) {
      if (TARNO_VideoDenoise(block.data(), dst.data(), kMaxWidth, kMaxHeight,
                             kWarmTypes[i], kWarmIsos[i]) != 0) {
        std::fprintf(stderr, "soak: warm-up frame failed\n");
        return 1;
      }
    }
  }
  std::printf("soak: after warm-up rss %ld kB\n", ResidentKb());

  int width = kMaxWidth, height = kMaxHeight, type = 0, iso = 100;
  int pipeline = TARNO_PIPELINE_TEMPORAL;
  long pipeline_switches = 0, size_changes = 0, mode_changes = 0;
  std::vector<long> series;
  std::printf("soak: %ld frames, creation size %dx%d%s\n", opt.frames,
              kMaxWidth, kMaxHeight, opt.fixed ? ", fixed 1080p plan" : "");
  const auto start = std::chrono::steady_clock::now();
  for (long frame = 0; frame < opt.frames; ++frame) {
    if (opt.fixed) {
      // Half the run on each pipeline, the level moved every few frames.
      const int want = frame < opt.frames / 2 ? TARNO_PIPELINE_FUZZY
                                              : TARNO_PIPELINE_TEMPORAL;
      if (want != pipeline) {
        pipeline = want;
        ++pipeline_switches;
      }
      static const int kTypes[] = {0, 6, 4, 6};
      static const int kIsos[] = {100, 100, 400, 400};
      type = kTypes[(frame / 3) % 4];
      iso = kIsos[(frame / 3) % 4];
    } else {
      const uint32_t r = Next(&state);
      if (r % 100 == 0) {
        pipeline ^= 1;
        ++pipeline_switches;
      }
      if ((r >> 8) % 40 == 0) {
        width = 96 + 16 * static_cast<int>(Next(&state) % ((kMaxWidth - 96) / 16 + 1));
        height = 96 + 8 * static_cast<int>(Next(&state) % ((kMaxHeight - 96) / 8 + 1));
        ++size_changes;
      }
      if ((r >> 16) % 10 == 0) {
        type = static_cast<int>(Next(&state) % 8);
        iso = 50 + static_cast<int>(Next(&state) % 750);
        ++mode_changes;
      }
    }
    if (TARNO_VideoDenoiseSetPipeline(pipeline) != 0) {
      std::fprintf(stderr, "soak: SetPipeline(%d) failed\n", pipeline);
      return 1;
    }
    const size_t offset = static_cast<size_t>(frame * 4099) % max_frame;
    if (TARNO_VideoDenoise(block.data() + offset, dst.data(), width, height,
                           type, iso) != 0) {
      std::fprintf(stderr, "soak: frame %ld (%dx%d type %d iso %d) failed\n",
                   frame, width, height, type, iso);
      return 1;
    }
    if ((frame + 1) % opt.every == 0 || frame + 1 == opt.frames) {
      const long kb = ResidentKb();
      series.push_back(kb);
      const double s = std::chrono::duration<double>(
                           std::chrono::steady_clock::now() - start)
                           .count();
      std::printf("frame %6ld  rss %7ld kB  %6.1f s\n", frame + 1, kb, s);
      std::fflush(stdout);
    }
  }
  if (TARNO_VideoDenoiseDeinit() != 0) {
    std::fprintf(stderr, "soak: Deinit failed\n");
    return 1;
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
          .count();
  long lo = series[0], hi = series[0];
  for (long kb : series) {
    lo = kb < lo ? kb : lo;
    hi = kb > hi ? kb : hi;
  }
  // Flat: after the first sample the resident set moves by less than 1 MiB
  // (allocator and page-cache noise), never by frames' worth of memory.
  const long growth = series.back() - series.front();
  std::printf(
      "soak: %ld frames in %.1f s (%.1f ms/frame), %ld pipeline switches, "
      "%ld size changes, %ld type/ISO changes\n",
      opt.frames, seconds, 1000.0 * seconds / opt.frames, pipeline_switches,
      size_changes, mode_changes);
  std::printf("soak: rss first %ld kB, last %ld kB, min %ld kB, max %ld kB, "
              "growth %ld kB\n",
              series.front(), series.back(), lo, hi, growth);
  if (!opt.fixed && hi - lo > 1024) {
    std::printf("soak: FAILED: resident memory is not flat\n");
    return 1;
  }
  std::printf("soak: resident memory flat\n");
  return 0;
}
