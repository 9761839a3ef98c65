// Every kernel of the frame path in every variant this machine runs, on the
// plane sizes a 1920 x 1080 frame gives it.
//
// Benchmark names are Kernel/<name>/<variant>: "C" is the scalar reference,
// NEON, SSE2 and AVX2 the twins, "entry" the exported function with the
// process level's choice. The variants come from each family's table
// (base/vd_cpu.h) at every level the machine runs; a level whose table still
// holds the reference for a kernel adds no benchmark.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "api/vd_toolbox.h"
#include "base/vd_cpu.h"
#include "bench/bench_util.h"
#include "image/convert_internal.h"
#include "image/resample_internal.h"
#include "spatial/box_filter_internal.h"
#include "spatial/fuzzy_filter_internal.h"
#include "temporal/motion_mask_internal.h"

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

template <typename Fn>
void Register(const std::string& kernel, const std::string& variant,
              int64_t bytes, Fn fn) {
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

// The variant names the results table uses, by SIMD level.
const char* VariantName(int level) {
  static const char* const kNames[kVdSimdLevelCount] = {"C", "SSE2", "AVX2",
                                                        "NEON"};
  return kNames[level];
}

// Registers name/<variant> for the slot of a family's table at every level
// this machine runs; call(fn) runs one variant on the benchmark's planes.
template <typename Table, typename Fn, typename Call>
void RegisterVariants(const char* name, const Table& (*table)(int),
                      Fn Table::*slot, int64_t bytes, Call call) {
  int levels[kVdSimdLevelCount];
  const int n = VdMachineSimdLevels(levels);
  const Fn reference = table(kVdSimdScalar).*slot;
  for (int i = 0; i < n; ++i) {
    const Fn fn = table(levels[i]).*slot;
    if (levels[i] != kVdSimdScalar && fn == reference) continue;
    Register(name, VariantName(levels[i]), bytes, [fn, call] { call(fn); });
  }
}

template <int>
int RegisterKernels() {
  const int64_t luma = static_cast<int64_t>(kLuma);
  const int64_t chroma = luma / 4;
  // Luma spatial pass: the whole frame as one region.
  RegisterVariants("BoxFilter3x3", VdBoxFilterKernels,
                   &BoxFilterKernels::box3x3, luma, [](BoxFilterFn fn) {
                     fn(P().a.data(), kW, P().out.data(), kW, kW, kH, 1);
                   });
  Register("BoxFilter3x3", "entry", luma, [] {
    BoxFilter3x3(P().a.data(), P().out.data(), kW, kH, nullptr, 1);
  });
  // NV21 -> I420 chroma (the stripe threads' first step) and back.
  RegisterVariants("SplitVUPlane", VdChromaMoveKernels,
                   &ChromaMoveKernels::split, 2 * chroma, [](auto fn) {
                     fn(P().a.data() + kLuma, P().out.data(),
                        P().out.data() + kLuma / 4,
                        static_cast<int>(kLuma / 2));
                   });
  RegisterVariants("MergeVUPlane", VdChromaMoveKernels,
                   &ChromaMoveKernels::merge, 2 * chroma, [](auto fn) {
                     fn(P().a.data(), P().a.data() + kLuma / 4,
                        P().out.data(), static_cast<int>(kLuma / 4));
                   });
  Register("ConvertNV21ToI420", "entry", luma + 2 * chroma, [] {
    ConvertNV21ToI420(P().a.data(), P().out.data(), kW, kH);
  });
  Register("ConvertI420ToNV21", "entry", luma + 2 * chroma, [] {
    ConvertI420ToNV21(P().a.data(), P().out.data(), kW, kH);
  });
  // Clamped difference with sign, and the table blend.
  RegisterVariants("CalDiffAbs", VdMotionMaskKernels,
                   &MotionMaskKernels::diff_abs, luma, [](auto fn) {
                     fn(P().a.data(), P().b.data(), P().out.data(),
                        P().out2.data(), kW, kW, kH);
                   });
  Register("CalDiffAbs", "entry", luma, [] {
    CalDiffAbs_neon(P().a.data(), P().b.data(), P().out.data(),
                    P().out2.data(), kW, kH, 0);
  });
  RegisterVariants("FuzzyFilter_2", VdFuzzyFilterKernels,
                   &FuzzyFilterKernels::blend, luma, [](auto fn) {
                     fn(P().a.data(), P().diff.data(), P().sign.data(),
                        P().out.data(), kW, kH, 2);
                   });
  Register("FuzzyFilter_2", "entry", luma, [] {
    FuzzyFilter_2(P().a.data(), P().diff.data(), P().sign.data(),
                  P().out.data(), nullptr, kW, kH, 2);
  });
  // The chroma mask: both 960 x 540 planes count as one call each.
  RegisterVariants("CalSAD_threshhold", VdMotionMaskKernels,
                   &MotionMaskKernels::sad_threshold, chroma, [](auto fn) {
                     fn(P().a.data(), P().b.data(), P().out.data(), kW / 2,
                        kW / 2, kH / 2, static_cast<unsigned char>(4));
                   });
  Register("CalSAD_threshhold", "entry", chroma, [] {
    CalSAD_threshhold_neon(P().a.data(), P().b.data(), P().out.data(), kW / 2,
                           kH / 2, 4);
  });
  // The chroma filter's scalers and range-weighted filter on one 960 x 536
  // plane: reduced by 4 (levels 0, 1) or 8 (levels 2, 3).
  RegisterVariants("DownScaleNewX16", VdResampleKernels,
                   &ResampleKernels::down4, chroma, [](auto fn) {
                     fn(P().a.data(), 536, 960, P().small.data());
                   });
  RegisterVariants("DownScale", VdResampleKernels, &ResampleKernels::down2,
                   chroma / 16, [](auto fn) {
                     fn(P().small.data(), 134, 240, 240, P().small2.data());
                   });
  RegisterVariants("FuzzyFilter_UV", VdFuzzyFilterKernels,
                   &FuzzyFilterKernels::chroma, chroma / 16, [](auto fn) {
                     fn(P().small.data(), P().small2.data(), 240, 134, 1);
                   });
  RegisterVariants("UpScaleNewX16", VdResampleKernels, &ResampleKernels::up4,
                   chroma, [](auto fn) {
                     fn(P().small.data(), 134, 240, P().out.data());
                   });
  RegisterVariants("UpScaleX64", VdResampleKernels, &ResampleKernels::up8,
                   chroma, [](auto fn) {
                     fn(P().small.data(), 67, 120, 960, P().out.data());
                   });
  return 0;
}

[[maybe_unused]] const int kRegistered = RegisterKernels<0>();

}  // namespace
