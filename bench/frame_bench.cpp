// Whole frames through the public API, and each frame-path kernel on the
// plane sizes a 1920 x 1080 frame gives it.
#include <benchmark/benchmark.h>

#include <vector>

#include "api/vd_toolbox.h"

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;

std::vector<uint8_t> Noise(size_t n, uint32_t seed) {
  std::vector<uint8_t> v(n);
  uint32_t x = seed * 2654435761u + 1;
  for (auto& b : v) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    b = static_cast<uint8_t>(96 + (x >> 27));
  }
  return v;
}

void NoLog(int, const char*, const char*) {}

// One 1080p frame on the full path at a fixed noise level.
void BM_Frame1080(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  const int pairs[4][2] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};
  TARNO_VideoDenoiseSetLogSink(NoLog);
  TARNO_VideoDenoiseInit(kW, kH, nullptr);
  g_hVideoDenoise->iNRLevel = level;
  std::vector<uint8_t> src = Noise(kW * kH * 3 / 2, 1), dst(src.size());
  for (int i = 0; i < 3; ++i) {
    TARNO_VideoDenoise(src.data(), dst.data(), kW, kH, pairs[level][0],
                       pairs[level][1]);
  }
  for (auto _ : state) {
    TARNO_VideoDenoise(src.data(), dst.data(), kW, kH, pairs[level][0],
                       pairs[level][1]);
    benchmark::ClobberMemory();
  }
  TARNO_VideoDenoiseDeinit();
  TARNO_VideoDenoiseSetLogSink(nullptr);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Frame1080)->DenseRange(0, 3)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_BoxFilter3x3(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(kW * kH, 2), dst(src.size());
  for (auto _ : state) BoxFilter3x3(src.data(), dst.data(), kW, kH, nullptr, 1);
  state.SetBytesProcessed(state.iterations() * kW * kH);
}
BENCHMARK(BM_BoxFilter3x3)->Unit(benchmark::kMicrosecond);

void BM_ConvertNV21ToI420(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(kW * kH * 3 / 2, 3), dst(src.size());
  for (auto _ : state) ConvertNV21ToI420(src.data(), dst.data(), kW, kH);
  state.SetBytesProcessed(state.iterations() * kW * kH * 3 / 2);
}
BENCHMARK(BM_ConvertNV21ToI420)->Unit(benchmark::kMicrosecond);

void BM_ConvertI420ToNV21(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(kW * kH * 3 / 2, 4), dst(src.size());
  for (auto _ : state) ConvertI420ToNV21(src.data(), dst.data(), kW, kH);
  state.SetBytesProcessed(state.iterations() * kW * kH * 3 / 2);
}
BENCHMARK(BM_ConvertI420ToNV21)->Unit(benchmark::kMicrosecond);

void BM_CalDiffAbs(benchmark::State& state) {
  std::vector<uint8_t> a = Noise(kW * kH, 5), b = Noise(kW * kH, 6);
  std::vector<uint8_t> d(a.size()), s(a.size());
  for (auto _ : state) CalDiffAbs_neon(a.data(), b.data(), d.data(), s.data(), kW, kH, 0);
  state.SetBytesProcessed(state.iterations() * kW * kH);
}
BENCHMARK(BM_CalDiffAbs)->Unit(benchmark::kMicrosecond);

void BM_FuzzyFilter2(benchmark::State& state) {
  InitNRPixelTable(17);
  std::vector<uint8_t> cur = Noise(kW * kH, 7), diff(cur.size()), sign(cur.size());
  for (size_t i = 0; i < cur.size(); ++i) {
    diff[i] = cur[i] & 15;
    sign[i] = cur[i] & 1;
  }
  std::vector<uint8_t> out(cur.size());
  for (auto _ : state) {
    FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.data(), nullptr, kW, kH, 2);
  }
  state.SetBytesProcessed(state.iterations() * kW * kH);
}
BENCHMARK(BM_FuzzyFilter2)->Unit(benchmark::kMicrosecond);

void BM_CalSADThreshold(benchmark::State& state) {
  std::vector<uint8_t> a = Noise(kW * kH / 4, 8), b = Noise(kW * kH / 4, 9), o(a.size());
  for (auto _ : state) CalSAD_threshhold_neon(a.data(), b.data(), o.data(), kW / 2, kH / 2, 4);
  state.SetBytesProcessed(state.iterations() * kW * kH / 4);
}
BENCHMARK(BM_CalSADThreshold)->Unit(benchmark::kMicrosecond);

void BM_TemporalFilterS(benchmark::State& state) {
  std::vector<uint8_t> a = Noise(kW * kH / 4, 10), b = Noise(kW * kH / 4, 11);
  std::vector<uint8_t> m = Noise(kW * kH / 4, 12), o(a.size());
  for (auto _ : state) TemporalFilterS(a.data(), b.data(), m.data(), o.data(), kW / 2, kH / 2);
  state.SetBytesProcessed(state.iterations() * kW * kH / 4);
}
BENCHMARK(BM_TemporalFilterS)->Unit(benchmark::kMicrosecond);

// The chroma scalers and the range-weighted filter at the chroma path's
// sizes: a 960 x 540 plane, reduced by 4 (levels 0, 1) or 8 (levels 2, 3).
void BM_DownScaleNewX16(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(960 * 536, 13), dst(240 * 134);
  for (auto _ : state) DownScaleNewX16(src.data(), 536, 960, dst.data());
}
BENCHMARK(BM_DownScaleNewX16)->Unit(benchmark::kMicrosecond);

void BM_DownScale(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(240 * 134, 14), dst(120 * 67);
  for (auto _ : state) DownScale(src.data(), 134, 240, 240, dst.data());
}
BENCHMARK(BM_DownScale)->Unit(benchmark::kMicrosecond);

void BM_FuzzyFilterUV(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  std::vector<uint8_t> src = Noise(w * h, 15), dst(src.size());
  for (auto _ : state) FuzzyFilter_UV(src.data(), dst.data(), w, h, 1);
}
BENCHMARK(BM_FuzzyFilterUV)->Args({240, 134})->Args({120, 67})->Unit(benchmark::kMicrosecond);

void BM_UpScaleNewX16(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(240 * 134, 16), dst(960 * 536);
  for (auto _ : state) UpScaleNewX16(src.data(), 134, 240, dst.data());
}
BENCHMARK(BM_UpScaleNewX16)->Unit(benchmark::kMicrosecond);

void BM_UpScaleX64(benchmark::State& state) {
  std::vector<uint8_t> src = Noise(120 * 67, 17), dst(960 * 536);
  for (auto _ : state) UpScaleX64(src.data(), 67, 120, 960, dst.data());
}
BENCHMARK(BM_UpScaleX64)->Unit(benchmark::kMicrosecond);

}  // namespace
