// Side by side with the libraries people use for the same work, on the same
// buffers: libyuv's NV21 <-> I420 conversions and OpenCV's 3x3 box blur.
// Each comparison is compiled only when its library was found.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "api/vd_toolbox.h"
#include "bench/bench_util.h"

#if defined(VD_BENCH_HAVE_LIBYUV)
#include "libyuv/convert.h"
#include "libyuv/convert_from.h"
#endif
#if defined(VD_BENCH_HAVE_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using vdbench::kFrame;
using vdbench::kH;
using vdbench::kLuma;
using vdbench::kW;

struct Frames {
  std::vector<uint8_t> nv21 = vdbench::Scene(kFrame, 31);
  std::vector<uint8_t> i420 = vdbench::Scene(kFrame, 32);
  std::vector<uint8_t> out = vdbench::Zeros(kFrame);
};

Frames& F() {
  static Frames frames;
  return frames;
}

// Compare/NV21ToI420/<who>: the whole frame, luma copied and chroma split.
void BM_NV21ToI420_Ours(benchmark::State& state) {
  for (auto _ : state) {
    ConvertNV21ToI420(F().nv21.data(), F().out.data(), kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFrame));
}
BENCHMARK(BM_NV21ToI420_Ours)
    ->Name("Compare/NV21ToI420/ours")
    ->Unit(benchmark::kMicrosecond);

void BM_I420ToNV21_Ours(benchmark::State& state) {
  for (auto _ : state) {
    ConvertI420ToNV21(F().i420.data(), F().out.data(), kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFrame));
}
BENCHMARK(BM_I420ToNV21_Ours)
    ->Name("Compare/I420ToNV21/ours")
    ->Unit(benchmark::kMicrosecond);

#if defined(VD_BENCH_HAVE_LIBYUV)
void BM_NV21ToI420_Libyuv(benchmark::State& state) {
  uint8_t* src = F().nv21.data();
  uint8_t* dst = F().out.data();
  for (auto _ : state) {
    libyuv::NV21ToI420(src, kW, src + kLuma, kW, dst, kW, dst + kLuma, kW / 2,
                       dst + kLuma + kLuma / 4, kW / 2, kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFrame));
}
BENCHMARK(BM_NV21ToI420_Libyuv)
    ->Name("Compare/NV21ToI420/libyuv")
    ->Unit(benchmark::kMicrosecond);

void BM_I420ToNV21_Libyuv(benchmark::State& state) {
  uint8_t* src = F().i420.data();
  uint8_t* dst = F().out.data();
  for (auto _ : state) {
    libyuv::I420ToNV21(src, kW, src + kLuma, kW / 2, src + kLuma + kLuma / 4,
                       kW / 2, dst, kW, dst + kLuma, kW, kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFrame));
}
BENCHMARK(BM_I420ToNV21_Libyuv)
    ->Name("Compare/I420ToNV21/libyuv")
    ->Unit(benchmark::kMicrosecond);
#endif

// Compare/Box3x3/<who>: one 1920 x 1080 plane, single thread.
void BM_Box3x3_Ours(benchmark::State& state) {
  for (auto _ : state) {
    BoxFilter3x3(F().nv21.data(), F().out.data(), kW, kH, nullptr, 1);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kLuma));
}
BENCHMARK(BM_Box3x3_Ours)->Name("Compare/Box3x3/ours")->Unit(
    benchmark::kMicrosecond);

#if defined(VD_BENCH_HAVE_OPENCV)
void BM_Box3x3_OpenCV(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat src(kH, kW, CV_8UC1, F().nv21.data());
  cv::Mat dst(kH, kW, CV_8UC1, F().out.data());
  for (auto _ : state) {
    cv::blur(src, dst, cv::Size(3, 3));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kLuma));
}
BENCHMARK(BM_Box3x3_OpenCV)
    ->Name("Compare/Box3x3/opencv")
    ->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
