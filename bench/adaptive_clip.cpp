// Runs the adaptive method over a 4:2:0 y4m clip: vd_adaptive_clip IN OUT
// [threads]. OUT may be "-" for no output. Threads (default 1) run each
// phase's items from a shared counter; the bytes do not depend on them.
// Prints the frames per second of the denoising alone and end to end
// (reading and writing included) on stderr.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frame/adaptive_frame.h"

namespace {

// Persistent helpers that take items of the current phase from a counter.
class PhaseRunner {
 public:
  explicit PhaseRunner(int threads) {
    for (int i = 1; i < threads; ++i) workers_.emplace_back([this] { Work(); });
  }
  ~PhaseRunner() {
    {
      std::lock_guard<std::mutex> l(m_);
      quit_ = true;
      ++generation_;
    }
    cv_.notify_all();
    for (auto& t : workers_) t.join();
  }
  void Run(const VdPhase* phases, int count) {
    for (int p = 0; p < count; ++p) {
      if (workers_.empty()) {
        for (int i = 0; i < phases[p].items; ++i) phases[p].run(phases[p].arg, i);
        continue;
      }
      {
        std::lock_guard<std::mutex> l(m_);
        phase_ = phases[p];
        next_.store(0);
        busy_ = static_cast<int>(workers_.size());
        ++generation_;
      }
      cv_.notify_all();
      Take();
      std::unique_lock<std::mutex> l(m_);
      done_.wait(l, [this] { return busy_ == 0; });
    }
  }

 private:
  void Take() {
    for (;;) {
      const int i = next_.fetch_add(1);
      if (i >= phase_.items) break;
      phase_.run(phase_.arg, i);
    }
  }
  void Work() {
    long seen = 0;
    for (;;) {
      {
        std::unique_lock<std::mutex> l(m_);
        cv_.wait(l, [&] { return generation_ != seen; });
        seen = generation_;
        if (quit_) return;
      }
      Take();
      std::lock_guard<std::mutex> l(m_);
      if (--busy_ == 0) done_.notify_one();
    }
  }
  std::vector<std::thread> workers_;
  std::mutex m_;
  std::condition_variable cv_, done_;
  VdPhase phase_{};
  std::atomic<int> next_{0};
  int busy_ = 0;
  long generation_ = 0;
  bool quit_ = false;
};

bool ReadLine(FILE* f, std::string* line) {
  line->clear();
  int c;
  while ((c = fgetc(f)) != EOF && c != '\n') line->push_back(static_cast<char>(c));
  return c != EOF || !line->empty();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: %s IN.y4m OUT.y4m|- [threads]\n", argv[0]);
    return 2;
  }
  const int threads = argc > 3 ? atoi(argv[3]) : 1;
  FILE* in = fopen(argv[1], "rb");
  if (!in) {
    fprintf(stderr, "cannot open %s\n", argv[1]);
    return 1;
  }
  FILE* out = strcmp(argv[2], "-") ? fopen(argv[2], "wb") : nullptr;
  std::string header;
  ReadLine(in, &header);
  int w = 0, h = 0;
  for (size_t p = 0; p < header.size(); ++p) {
    if (header[p] == ' ' && p + 1 < header.size()) {
      if (header[p + 1] == 'W') w = atoi(header.c_str() + p + 2);
      if (header[p + 1] == 'H') h = atoi(header.c_str() + p + 2);
    }
  }
  if (header.compare(0, 9, "YUV4MPEG2") || w <= 0 || h <= 0) {
    fprintf(stderr, "not a y4m clip\n");
    return 1;
  }
  if (out) fprintf(out, "%s\n", header.c_str());
  const size_t size = static_cast<size_t>(w) * h * 3 / 2;
  std::vector<unsigned char> frame(size);
  const size_t state_size = VdAdaptiveStateSize(w, h);
  if (!state_size) {
    fprintf(stderr, "unsupported size %dx%d\n", w, h);
    return 1;
  }
  std::vector<unsigned char> memory(state_size + 64);
  void* aligned = reinterpret_cast<void*>(
      (reinterpret_cast<uintptr_t>(memory.data()) + 63) & ~static_cast<uintptr_t>(63));
  VdAdaptive* a = VdAdaptiveInit(aligned, w, h);
  PhaseRunner runner(threads);
  const auto start = std::chrono::steady_clock::now();
  double busy = 0;
  int frames = 0;
  std::string line;
  while (ReadLine(in, &line)) {
    if (line.compare(0, 5, "FRAME")) break;
    if (fread(frame.data(), 1, size, in) != size) break;
    VdFrameView v{w, h, frame.data(), frame.data() + static_cast<size_t>(w) * h,
                  frame.data() + static_cast<size_t>(w) * h * 5 / 4, w, w / 2, 1};
    const auto t0 = std::chrono::steady_clock::now();
    VdPhase phases[VD_MAX_PHASES];
    const int n = VdAdaptivePlan(a, &v, &v, 0, 100, phases);
    runner.Run(phases, n);
    busy += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (out) {
      fputs("FRAME\n", out);
      fwrite(frame.data(), 1, size, out);
    }
    ++frames;
  }
  const double total =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  fprintf(stderr, "frames %d denoise_fps %.1f end_to_end_fps %.1f\n", frames,
          busy > 0 ? frames / busy : 0.0, total > 0 ? frames / total : 0.0);
  if (out) fclose(out);
  fclose(in);
  return 0;
}
