// Whole 1920 x 1080 frames through the public API on the full path, at each
// noise level, on both frame paths; and what starting the three stripe
// threads of a frame costs on its own.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstdint>
#include <vector>

#include "api/vd_toolbox.h"
#include "api/vdenoise.h"
#include "bench/bench_util.h"

namespace {

using vdbench::kFrame;
using vdbench::kH;
using vdbench::kW;

void NoLog(int, const char*, const char*) {}

// (type, ISO) pairs that move the level to 0, 1, 2, 3 from any level and
// keep it there.
constexpr int kLevelPairs[4][2] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};

// Frame/level:L/pool:P: one frame of TARNO_VideoDenoise on the full path
// (the warm-up frame runs before timing starts), on threads started per
// frame or on the persistent stripe pool. The frames rotate over
// kRotation source and destination buffers (as camera buffers do), so that
// neither is in a cache when its frame starts; the sources differ, so the
// temporal stages see real differences.
void BM_Frame(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  const int pool = static_cast<int>(state.range(1));
  const int type = kLevelPairs[level][0], iso = kLevelPairs[level][1];
  TARNO_VideoDenoiseSetLogSink(NoLog);
  TARNO_VideoDenoiseSetStripePool(pool);
  TARNO_VideoDenoiseInit(kW, kH, nullptr);
  std::vector<std::vector<uint8_t>> in, out;
  for (int i = 0; i < vdbench::kRotation; ++i) {
    in.push_back(vdbench::Scene(kFrame, 11 + i));
    out.push_back(vdbench::Zeros(kFrame));
  }
  for (int i = 0; i < 4; ++i) {
    TARNO_VideoDenoise(in[i].data(), out[i].data(), kW, kH, type, iso);
  }
  if (g_hVideoDenoise->iNRLevel != level ||
      g_hVideoDenoise->sPrevFrames.iFrameCount < 1) {
    state.SkipWithError("level not reached");
  }
  int i = 0;
  for (auto _ : state) {
    const int k = i++ % vdbench::kRotation;
    TARNO_VideoDenoise(in[k].data(), out[k].data(), kW, kH, type, iso);
    benchmark::ClobberMemory();
  }
  TARNO_VideoDenoiseDeinit();
  TARNO_VideoDenoiseSetStripePool(0);
  TARNO_VideoDenoiseSetLogSink(nullptr);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Frame)
    ->Name("Frame")
    ->ArgsProduct({{0, 1, 2, 3}, {0, 1}})
    ->ArgNames({"level", "pool"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// One engine denoiser with `threads` threads on w x h NV21 frames whose rows
// are `pad` bytes longer than the width (0: packed), type and ISO fixed.
void RunEngine(benchmark::State& state, int w, int h, int pad, int threads,
               int type, int iso) {
  const int stride = w + pad;
  const size_t frame = static_cast<size_t>(stride) * h * 3 / 2;
  vd_options o;
  vd_options_init(&o);
  o.max_width = w;
  o.max_height = h;
  o.threads = threads;
  vd_denoiser* d = nullptr;
  if (vd_create(&o, &d) != VD_OK) {
    state.SkipWithError("vd_create failed");
    return;
  }
  std::vector<std::vector<uint8_t>> in, out;
  for (int i = 0; i < vdbench::kRotation; ++i) {
    in.push_back(vdbench::Scene(frame, 11 + i));
    out.push_back(vdbench::Zeros(frame));
  }
  const auto view = [&](std::vector<uint8_t>& b) {
    vd_frame f = {w, h, b.data(), nullptr, nullptr, stride, stride, 2};
    f.v = b.data() + static_cast<size_t>(stride) * h;
    f.u = f.v + 1;
    return f;
  };
  auto run = [&](int k) {
    const vd_frame src = view(in[k]);
    const vd_frame dst = view(out[k]);
    vd_denoise(d, &src, &dst, type, iso);
  };
  for (int i = 0; i < 4; ++i) run(i);
  int i = 0;
  for (auto _ : state) {
    run(i++ % vdbench::kRotation);
    benchmark::ClobberMemory();
  }
  vd_destroy(d);
  state.SetItemsProcessed(state.iterations());
}

// Engine/level:L/threads:T/height:H: the same frames through one engine
// denoiser (vd_denoise) with T threads, at 1920x1080 or 3840x2160.
void BM_Engine(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  const int h = static_cast<int>(state.range(2));
  RunEngine(state, h == kH ? kW : h * 16 / 9, h, 0,
            static_cast<int>(state.range(1)), kLevelPairs[level][0],
            kLevelPairs[level][1]);
}
BENCHMARK(BM_Engine)
    ->Name("Engine")
    ->ArgsProduct({{0, 1, 2, 3}, {1, 2}, {kH, 2 * kH}})
    ->ArgNames({"level", "threads", "height"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// EnginePadded/padding:P/threads:T: level 1 at 1080p from and to NV21
// frames whose rows are P bytes longer than the width, as camera buffers
// often are (P = 0: packed); the spatial pass reads such luma where it lies.
void BM_EnginePadded(benchmark::State& state) {
  RunEngine(state, kW, kH, static_cast<int>(state.range(0)),
            static_cast<int>(state.range(1)), kLevelPairs[1][0],
            kLevelPairs[1][1]);
}
BENCHMARK(BM_EnginePadded)
    ->Name("EnginePadded")
    ->ArgsProduct({{0, 64}, {1, 2}})
    ->ArgNames({"padding", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void* Idle(void*) { return nullptr; }

// What a frame pays for its threads: create three (default attributes, as
// the frame call does) and join them, with no work in between.
void BM_ThreadStart(benchmark::State& state) {
  for (auto _ : state) {
    pthread_t threads[3];
    for (pthread_t& t : threads) pthread_create(&t, nullptr, Idle, nullptr);
    for (pthread_t& t : threads) pthread_join(t, nullptr);
  }
}
BENCHMARK(BM_ThreadStart)
    ->Name("ThreadStart3")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
