// Every kernel of the frame path in every variant this build has, on the
// plane sizes a 1920 x 1080 frame gives it.
//
// Benchmark names are Kernel/<name>/<variant>: "C" is the scalar reference,
// NEON, SSE2 and AVX2 the twins, "entry" the exported function with its own
// choice of variant. A variant is benchmarked when a kernel's internal header
// declares it (found at compile time, see VD_HAS below) and the processor
// runs it.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "api/vd_toolbox.h"
#include "bench/bench_util.h"
#include "image/convert_internal.h"
#include "image/resample_internal.h"
#include "spatial/box_filter_internal.h"
#include "spatial/fuzzy_filter_internal.h"
#include "temporal/motion_mask_internal.h"

// A declaration that matches any call worse than any real variant: a call
// resolves to it only when the headers declare no variant of that name. It is
// never defined; calls to it sit in discarded `if constexpr` branches.
struct VdBenchMissing {};
#define VD_BENCH_FALLBACKS(name)    \
  VdBenchMissing name##_C(...);     \
  VdBenchMissing name##_NEON(...);  \
  VdBenchMissing name##_SSE2(...);  \
  VdBenchMissing name##_AVX2(...);
VD_BENCH_FALLBACKS(BoxFilter3x3)
VD_BENCH_FALLBACKS(SplitVUPlane)
VD_BENCH_FALLBACKS(MergeVUPlane)
VD_BENCH_FALLBACKS(CalDiffAbs)
VD_BENCH_FALLBACKS(CalSAD_threshhold)
VD_BENCH_FALLBACKS(FuzzyFilter_2)
VD_BENCH_FALLBACKS(DownScaleNewX16)
VD_BENCH_FALLBACKS(DownScale)
VD_BENCH_FALLBACKS(FuzzyFilter_UV)
VD_BENCH_FALLBACKS(UpScaleNewX16)
VD_BENCH_FALLBACKS(UpScaleX64)

namespace {

using vdbench::kFrame;
using vdbench::kH;
using vdbench::kLuma;
using vdbench::kW;

// The buffers every kernel benchmark works on, made once.
struct Planes {
  std::vector<uint8_t> a = vdbench::Scene(kFrame, 1);
  std::vector<uint8_t> b = vdbench::Scene(kFrame, 2);
  std::vector<uint8_t> diff = vdbench::Zeros(kFrame);
  std::vector<uint8_t> sign = vdbench::Zeros(kFrame);
  std::vector<uint8_t> out = vdbench::Zeros(kFrame);
  std::vector<uint8_t> out2 = vdbench::Zeros(kFrame);
  std::vector<uint8_t> small = vdbench::Scene(kLuma / 16, 3);
  std::vector<uint8_t> small2 = vdbench::Zeros(kLuma / 16);
  Planes() {
    for (size_t i = 0; i < diff.size(); ++i) {
      diff[i] = a[i] & 15;
      sign[i] = a[i] & 1;
    }
    InitNRPixelTable(17);
  }
};

Planes& P() {
  static Planes planes;
  return planes;
}

bool CpuRuns(const std::string& variant) {
#if defined(__x86_64__) || defined(__i386__)
  if (variant == "AVX2") return __builtin_cpu_supports("avx2");
  if (variant == "SSE2") return __builtin_cpu_supports("sse2");
#endif
  return true;
}

template <typename Fn>
void Register(const std::string& kernel, const std::string& variant,
              int64_t bytes, Fn fn) {
  if (!CpuRuns(variant)) return;
  benchmark::RegisterBenchmark(("Kernel/" + kernel + "/" + variant).c_str(),
                               [fn, bytes](benchmark::State& state) {
                                 for (auto _ : state) {
                                   fn();
                                   benchmark::ClobberMemory();
                                 }
                                 state.SetBytesProcessed(state.iterations() *
                                                         bytes);
                               })
      ->Unit(benchmark::kMicrosecond);
}

#define VD_HAS(fn, ...) \
  (!std::is_same_v<decltype(fn(__VA_ARGS__)), VdBenchMissing>)

// Registers name/variant when the variant exists; the call is spelled once.
#define VD_VARIANT(name, variant, bytes, ...)                        \
  if constexpr (VD_HAS(name##_##variant, __VA_ARGS__)) {             \
    Register(#name, #variant, bytes,                                 \
             [] { name##_##variant(__VA_ARGS__); });                 \
  }
#define VD_ALL_VARIANTS(name, bytes, ...)          \
  VD_VARIANT(name, C, bytes, __VA_ARGS__)          \
  VD_VARIANT(name, NEON, bytes, __VA_ARGS__)       \
  VD_VARIANT(name, SSE2, bytes, __VA_ARGS__)       \
  VD_VARIANT(name, AVX2, bytes, __VA_ARGS__)

template <int>
int RegisterKernels() {
  const int64_t luma = static_cast<int64_t>(kLuma);
  const int64_t chroma = luma / 4;
  // Luma spatial pass: the whole frame as one region.
  VD_ALL_VARIANTS(BoxFilter3x3, luma, P().a.data(), P().out.data(), kW, kH, 1)
  Register("BoxFilter3x3", "entry", luma, [] {
    BoxFilter3x3(P().a.data(), P().out.data(), kW, kH, nullptr, 1);
  });
  // NV21 -> I420 chroma (the stripe threads' first step) and back.
  VD_ALL_VARIANTS(SplitVUPlane, 2 * chroma, P().a.data() + kLuma,
                  P().out.data(), P().out.data() + kLuma / 4,
                  static_cast<int>(kLuma / 2))
  VD_ALL_VARIANTS(MergeVUPlane, 2 * chroma, P().a.data(),
                  P().a.data() + kLuma / 4, P().out.data(),
                  static_cast<int>(kLuma / 4))
  Register("ConvertNV21ToI420", "entry", luma + 2 * chroma, [] {
    ConvertNV21ToI420(P().a.data(), P().out.data(), kW, kH);
  });
  Register("ConvertI420ToNV21", "entry", luma + 2 * chroma, [] {
    ConvertI420ToNV21(P().a.data(), P().out.data(), kW, kH);
  });
  // Clamped difference with sign, and the table blend.
  VD_ALL_VARIANTS(CalDiffAbs, luma, P().a.data(), P().b.data(),
                  P().out.data(), P().out2.data(), kW, kH, 0)
  Register("CalDiffAbs", "entry", luma, [] {
    CalDiffAbs_neon(P().a.data(), P().b.data(), P().out.data(),
                    P().out2.data(), kW, kH, 0);
  });
  VD_ALL_VARIANTS(FuzzyFilter_2, luma, P().a.data(), P().diff.data(),
                  P().sign.data(), P().out.data(), kW, kH, 2)
  Register("FuzzyFilter_2", "entry", luma, [] {
    FuzzyFilter_2(P().a.data(), P().diff.data(), P().sign.data(),
                  P().out.data(), nullptr, kW, kH, 2);
  });
  // The chroma mask: both 960 x 540 planes count as one call each.
  VD_ALL_VARIANTS(CalSAD_threshhold, chroma, P().a.data(), P().b.data(),
                  P().out.data(), kW / 2, kH / 2,
                  static_cast<unsigned char>(4))
  Register("CalSAD_threshhold", "entry", chroma, [] {
    CalSAD_threshhold_neon(P().a.data(), P().b.data(), P().out.data(), kW / 2,
                           kH / 2, 4);
  });
  // The chroma filter's scalers and range-weighted filter on one 960 x 536
  // plane: reduced by 4 (levels 0, 1) or 8 (levels 2, 3).
  VD_ALL_VARIANTS(DownScaleNewX16, chroma, P().a.data(), 536, 960,
                  P().small.data())
  VD_ALL_VARIANTS(DownScale, chroma / 16, P().small.data(), 134, 240, 240,
                  P().small2.data())
  VD_ALL_VARIANTS(FuzzyFilter_UV, chroma / 16, P().small.data(),
                  P().small2.data(), 240, 134, 1)
  VD_ALL_VARIANTS(UpScaleNewX16, chroma, P().small.data(), 134, 240,
                  P().out.data())
  VD_ALL_VARIANTS(UpScaleX64, chroma, P().small.data(), 67, 120, 960,
                  P().out.data())
  return 0;
}

[[maybe_unused]] const int kRegistered = RegisterKernels<0>();

}  // namespace
