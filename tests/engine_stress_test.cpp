// Many engine denoisers under load: eight denoisers of mixed sizes, methods
// and thread counts, each driven by a client thread of its own for 2,000
// frames while a ninth thread keeps creating, using and destroying
// denoisers. Every output frame must equal the frame the same denoiser
// gives when it runs alone. Runs under ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "api/vdenoise.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

const int kFrames = 2000;
const int kInputs = 5;

struct Config {
  int w, h;
  vd_method method;
  int threads;
};

const Config kConfigs[8] = {
    {64, 48, VD_METHOD_FUZZY, 1},     {96, 64, VD_METHOD_TEMPORAL, 2},
    {128, 96, VD_METHOD_FUZZY, 3},    {80, 80, VD_METHOD_TEMPORAL, 1},
    {112, 64, VD_METHOD_FUZZY, 2},    {48, 32, VD_METHOD_TEMPORAL, 3},
    {160, 96, VD_METHOD_FUZZY, 0},    {100, 60, VD_METHOD_TEMPORAL, 2},
};

void Quiet(void*, int, const char*) {}

// A few noisy NV21 pictures per denoiser, a checkerboard moving by frame.
std::vector<Bytes> Inputs(const Config& c, int seed) {
  std::vector<Bytes> frames;
  for (int t = 0; t < kInputs; ++t) {
    Bytes f(static_cast<size_t>(c.w) * c.h * 3 / 2);
    Bytes noise = vdtest::RandomBytes(f.size(), 7000 + 37 * seed + t);
    for (int y = 0; y < c.h; ++y) {
      for (int x = 0; x < c.w; ++x) {
        const int base = ((x + 3 * t) / 8 + y / 8) % 2 ? 170 : 60;
        f[y * c.w + x] = static_cast<uint8_t>(base + noise[y * c.w + x] % 24);
      }
    }
    for (size_t i = static_cast<size_t>(c.w) * c.h; i < f.size(); ++i) {
      f[i] = static_cast<uint8_t>(100 + (i % 40) + noise[i] % 9);
    }
    frames.push_back(f);
  }
  return frames;
}

vd_denoiser* Create(const Config& c) {
  vd_options o;
  vd_options_init(&o);
  o.max_width = c.w;
  o.max_height = c.h;
  o.method = c.method;
  o.threads = c.threads;
  o.log = Quiet;
  vd_denoiser* d = nullptr;
  EXPECT_EQ(VD_OK, vd_create(&o, &d));
  return d;
}

// The digest of every output frame: the mode and ISO move the level now
// and then (a change of type also restarts the history).
std::vector<uint64_t> RunFrames(vd_denoiser* d, const Config& c,
                          const std::vector<Bytes>& inputs) {
  std::vector<uint64_t> digests;
  digests.reserve(kFrames);
  Bytes out(inputs[0].size());
  for (int t = 0; t < kFrames; ++t) {
    const Bytes& in = inputs[t % kInputs];
    vd_frame src = vd_frame_nv21(const_cast<uint8_t*>(in.data()), c.w, c.h);
    vd_frame dst = vd_frame_nv21(out.data(), c.w, c.h);
    const int type = (t / 400) % 2 ? 6 : 0;
    const int iso = (t / 150) % 2 ? 420 : 100;
    if (vd_denoise(d, &src, &dst, type, iso) != VD_OK) {
      ADD_FAILURE() << "frame " << t;
      break;
    }
    digests.push_back(vdtest::Digest(out.data(), out.size()));
  }
  return digests;
}

TEST(EngineStress, EightDenoisersOnEightThreadsEqualRunningAlone) {
  std::vector<std::vector<Bytes>> inputs;
  std::vector<std::vector<uint64_t>> alone;
  for (int i = 0; i < 8; ++i) {
    inputs.push_back(Inputs(kConfigs[i], i));
    vd_denoiser* d = Create(kConfigs[i]);
    ASSERT_NE(nullptr, d);
    alone.push_back(RunFrames(d, kConfigs[i], inputs[i]));
    vd_destroy(d);
  }

  std::vector<vd_denoiser*> denoisers;
  for (int i = 0; i < 8; ++i) denoisers.push_back(Create(kConfigs[i]));
  std::vector<std::vector<uint64_t>> together(8);
  std::atomic<int> running{8};
  std::vector<std::thread> clients;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&, i] {
      together[i] = RunFrames(denoisers[i], kConfigs[i], inputs[i]);
      running.fetch_sub(1);
    });
  }
  // Meanwhile denoisers come and go on another thread.
  int churned = 0;
  std::thread churn([&] {
    const Config c = {64, 64, VD_METHOD_TEMPORAL, 2};
    const std::vector<Bytes> in = Inputs(c, 99);
    Bytes out(in[0].size());
    while (running.load() > 0) {
      vd_denoiser* d = Create(c);
      if (!d) break;
      for (int t = 0; t < 3; ++t) {
        vd_frame src = vd_frame_nv21(const_cast<uint8_t*>(in[t].data()), c.w, c.h);
        vd_frame dst = vd_frame_nv21(out.data(), c.w, c.h);
        EXPECT_EQ(VD_OK, vd_denoise(d, &src, &dst, 0, 100));
      }
      vd_destroy(d);
      ++churned;
    }
  });
  for (std::thread& t : clients) t.join();
  churn.join();
  for (vd_denoiser* d : denoisers) vd_destroy(d);

  EXPECT_GT(churned, 0);
  for (int i = 0; i < 8; ++i) {
    ASSERT_EQ(static_cast<size_t>(kFrames), together[i].size()) << i;
    int differing = 0;
    for (int t = 0; t < kFrames; ++t) differing += together[i][t] != alone[i][t];
    EXPECT_EQ(0, differing) << "denoiser " << i;
  }
}

}  // namespace
