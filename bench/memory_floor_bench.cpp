// The memory floor of one 1920 x 1080 frame: the least traffic the frame path
// can have, timed on the same machine. Each of two threads takes half of the
// frame: it reads the NV21 source (luma and interleaved chroma) and the
// previous luma, and writes the planar result (luma, U, V) and the NV21
// output. The arithmetic is the least that makes every byte depend on its
// inputs; the loops are plain so that the compiler vectorises them.
//
// A camera hands over a new frame every time, and its bytes are not in any
// cache. So the frames rotate over buffer sets that together are larger
// than the processor's last-level cache: every frame streams from and to
// memory, as the frame benchmark's frames do.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>
#include <cstdint>
#include <thread>
#include <vector>

#include "bench/bench_util.h"

namespace {

using vdbench::kFrame;
using vdbench::kH;
using vdbench::kLuma;
using vdbench::kW;

struct FloorBuffers {
  std::vector<uint8_t> src = vdbench::Scene(kFrame, 21);
  std::vector<uint8_t> prev = vdbench::Scene(kLuma, 22);
  std::vector<uint8_t> planar = vdbench::Zeros(kFrame);
  std::vector<uint8_t> nv21 = vdbench::Zeros(kFrame);
};

FloorBuffers* Buffers() {
  static std::vector<FloorBuffers> sets(vdbench::kRotation);
  return sets.data();
}

// Luma rows [y0, y1) and their chroma rows.
void FloorRows(FloorBuffers& b, int y0, int y1) {
  const size_t l0 = static_cast<size_t>(y0) * kW;
  const size_t l1 = static_cast<size_t>(y1) * kW;
  const uint8_t* __restrict src = b.src.data();
  const uint8_t* __restrict prev = b.prev.data();
  uint8_t* __restrict planar = b.planar.data();
  uint8_t* __restrict nv21 = b.nv21.data();
  for (size_t i = l0; i < l1; ++i) {
    const uint8_t v = static_cast<uint8_t>((src[i] + prev[i] + 1) >> 1);
    planar[i] = v;
    nv21[i] = v;
  }
  // Chroma pairs of these rows: (y0 / 2) * (kW / 2) pairs before them.
  const size_t c0 = static_cast<size_t>(y0 / 2) * (kW / 2);
  const size_t c1 = static_cast<size_t>(y1 / 2) * (kW / 2);
  const uint8_t* __restrict vu = src + kLuma;
  uint8_t* __restrict u = planar + kLuma;
  uint8_t* __restrict v = planar + kLuma + kLuma / 4;
  uint8_t* __restrict out = nv21 + kLuma;
  for (size_t i = c0; i < c1; ++i) {
    const uint8_t cv = vu[2 * i];
    const uint8_t cu = vu[2 * i + 1];
    u[i] = cu;
    v[i] = cv;
    out[2 * i] = cv;
    out[2 * i + 1] = cu;
  }
}

// MemoryFloor/threads:2: wall time per frame, the two halves on two threads.
// The second thread lives for the whole benchmark and is released for each
// frame through a handshake on two counters, so that no thread start is
// timed; a waiting thread yields its core (the machine may be shared).
void BM_MemoryFloor(benchmark::State& state) {
  FloorBuffers* sets = Buffers();
  const int half = kH / 2;
  std::atomic<int> round{0}, finished{0};
  std::atomic<bool> stop{false};
  std::thread helper([&] {
    int seen = 0;
    for (;;) {
      int r;
      while ((r = round.load(std::memory_order_acquire)) == seen) {
        if (stop.load(std::memory_order_acquire)) return;
        std::this_thread::yield();
      }
      seen = r;
      FloorRows(sets[r % vdbench::kRotation], half, kH);
      finished.store(r, std::memory_order_release);
    }
  });
  int r = 0;
  for (auto _ : state) {
    round.store(++r, std::memory_order_release);
    FloorRows(sets[r % vdbench::kRotation], 0, half);
    while (finished.load(std::memory_order_acquire) != r) {
      std::this_thread::yield();
    }
    benchmark::ClobberMemory();
  }
  stop.store(true, std::memory_order_release);
  helper.join();
  state.SetBytesProcessed(state.iterations() *
                          static_cast<int64_t>(kFrame + kLuma + 2 * kFrame));
}
BENCHMARK(BM_MemoryFloor)
    ->Name("MemoryFloor/threads:2")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The lookup floor: the least a table-driven temporal denoiser can cost. One
// fused pass over the frame reads the NV21 source and the previous luma,
// looks up one byte per luma pixel in a 64 KB table indexed by the two
// values, and writes the luma result and an NV21 copy (luma result, chroma
// as it came).
const uint8_t* LookupTable() {
  static std::vector<uint8_t> table = [] {
    std::vector<uint8_t> t(65536);
    for (int a = 0; a < 256; ++a) {
      for (int b = 0; b < 256; ++b) {
        t[a * 256 + b] = static_cast<uint8_t>((a * 3 + b + 2) >> 2);
      }
    }
    return t;
  }();
  return table.data();
}

void LookupRows(FloorBuffers& b, int y0, int y1) {
  const size_t l0 = static_cast<size_t>(y0) * kW;
  const size_t l1 = static_cast<size_t>(y1) * kW;
  const uint8_t* __restrict table = LookupTable();
  const uint8_t* __restrict src = b.src.data();
  const uint8_t* __restrict prev = b.prev.data();
  uint8_t* __restrict planar = b.planar.data();
  uint8_t* __restrict nv21 = b.nv21.data();
  for (size_t i = l0; i < l1; ++i) {
    const uint8_t v = table[src[i] * 256 + prev[i]];
    planar[i] = v;
    nv21[i] = v;
  }
  const size_t c0 = static_cast<size_t>(y0 / 2) * kW;
  const size_t c1 = static_cast<size_t>(y1 / 2) * kW;
  std::memcpy(nv21 + kLuma + c0, src + kLuma + c0, c1 - c0);
}

// LookupFloor/threads:T: the frame cut into T bands, one per thread; the
// other threads live for the whole benchmark (no thread start is timed).
void BM_LookupFloor(benchmark::State& state) {
  const int threads = static_cast<int>(state.range(0));
  FloorBuffers* sets = Buffers();
  LookupTable();
  std::atomic<int> round{0};
  std::atomic<int> finished[8] = {};
  std::atomic<bool> stop{false};
  auto band = [&](int r, int t) {
    const int y0 = (kH * t / threads) & ~1;
    const int y1 = t + 1 == threads ? kH : (kH * (t + 1) / threads) & ~1;
    LookupRows(sets[r % vdbench::kRotation], y0, y1);
  };
  std::vector<std::thread> helpers;
  for (int t = 1; t < threads; ++t) {
    helpers.emplace_back([&, t] {
      int seen = 0;
      for (;;) {
        int r;
        while ((r = round.load(std::memory_order_acquire)) == seen) {
          if (stop.load(std::memory_order_acquire)) return;
          std::this_thread::yield();
        }
        seen = r;
        band(r, t);
        finished[t].store(r, std::memory_order_release);
      }
    });
  }
  int r = 0;
  for (auto _ : state) {
    round.store(++r, std::memory_order_release);
    band(r, 0);
    for (int t = 1; t < threads; ++t) {
      while (finished[t].load(std::memory_order_acquire) != r) {
        std::this_thread::yield();
      }
    }
    benchmark::ClobberMemory();
  }
  stop.store(true, std::memory_order_release);
  for (std::thread& h : helpers) h.join();
}
BENCHMARK(BM_LookupFloor)
    ->Name("LookupFloor")
    ->Arg(1)
    ->Arg(2)
    ->ArgName("threads")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
