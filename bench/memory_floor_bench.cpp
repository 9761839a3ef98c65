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

}  // namespace
