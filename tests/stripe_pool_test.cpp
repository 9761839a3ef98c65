// The persistent stripe pool: the same bytes as threads started per frame,
// its threads end with the instance, and the setter's checks.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "api/vd_instance.h"
#include "api/process_internal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Threads of this process.
int CountTasks() {
  DIR* dir = opendir("/proc/self/task");
  if (!dir) return -1;
  int n = 0;
  while (dirent* e = readdir(dir)) {
    if (e->d_name[0] != '.') ++n;
  }
  closedir(dir);
  return n;
}

// Threads of this process once the count has settled on `expected` (a
// joined thread can stay listed for a moment while the kernel finishes its
// exit), or the count after two seconds.
int TaskCount(int expected) {
  int n = CountTasks();
  for (int i = 0; i < 2000 && n != expected; ++i) {
    usleep(1000);
    n = CountTasks();
  }
  return n;
}

Bytes Frame(int w, int h, int index) {
  Bytes f = vdtest::RandomBytes(static_cast<size_t>(w) * h * 3 / 2,
                                40 + index);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      uint8_t& v = f[static_cast<size_t>(y) * w + x];
      v = static_cast<uint8_t>(80 + (x + 2 * y + 5 * index) % 96 + v % 16);
    }
  }
  return f;
}

struct Step {
  int width, height, type, iso, pipeline;
};

// Digests of the output and of the ring slots after every frame; `pool`
// says per frame whether the pool runs it.
std::vector<uint64_t> RunFrames(const std::vector<Step>& steps,
                          const std::vector<int>& pool) {
  std::vector<uint64_t> digests;
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(640, 480, nullptr));
  if (!g_hVideoDenoise) return digests;
  const size_t slot = 640 * 480 * 3 / 2;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& s = steps[i];
    EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(pool[i]));
    EXPECT_EQ(0, TARNO_VideoDenoiseSetPipeline(s.pipeline));
    Bytes in = Frame(s.width, s.height, static_cast<int>(i));
    Bytes out(in.size());
    EXPECT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), s.width, s.height,
                                    s.type, s.iso));
    EXPECT_EQ(pool[i] == 1, VdStripePoolRunning() != 0) << "frame " << i;
    uint64_t d = vdtest::Digest(out.data(), out.size());
    d = vdtest::Digest(g_hVideoDenoise->sPrevFrames.pPreFrames[0]->pBuffer,
                       slot, d);
    d = vdtest::Digest(g_hVideoDenoise->sPrevFrames.pPreFrames[1]->pBuffer,
                       slot, d);
    d = vdtest::Digest(g_hVideoDenoise->pSpaDenoiseFrame->pBuffer, slot, d);
    digests.push_back(d);
  }
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(0, VdStripePoolRunning());
  EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(0));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY));
  return digests;
}

// Every level, both pipelines (the temporal one meets at three more
// barriers), and a smaller frame.
std::vector<Step> Sequence() {
  std::vector<Step> steps;
  const int pairs[4][2] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};
  for (const auto& p : pairs) {
    for (int i = 0; i < 3; ++i) {
      steps.push_back({640, 480, p[0], p[1], TARNO_PIPELINE_FUZZY});
    }
  }
  for (int i = 0; i < 3; ++i) {
    steps.push_back({640, 480, 6, 400, TARNO_PIPELINE_TEMPORAL});
  }
  for (int i = 0; i < 3; ++i) {
    steps.push_back({320, 240, 4, 400, TARNO_PIPELINE_FUZZY});
  }
  return steps;
}

class StripePool : public ::testing::Test {
 protected:
  void TearDown() override {
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
    TARNO_VideoDenoiseSetStripePool(0);
  }
  vdtest::LogCapture log_;
};

TEST_F(StripePool, SameBytesAsThreadsPerFrame) {
  const std::vector<Step> steps = Sequence();
  const std::vector<uint64_t> perFrame =
      RunFrames(steps, std::vector<int>(steps.size(), 0));
  const std::vector<uint64_t> pooled =
      RunFrames(steps, std::vector<int>(steps.size(), 1));
  // Switching back and forth between frames: every switch stops or starts
  // the threads.
  std::vector<int> alternate(steps.size());
  for (size_t i = 0; i < alternate.size(); ++i) alternate[i] = (i / 2) % 2;
  const std::vector<uint64_t> mixed = RunFrames(steps, alternate);
  ASSERT_EQ(steps.size(), perFrame.size());
  for (size_t i = 0; i < steps.size(); ++i) {
    EXPECT_EQ(perFrame[i], pooled[i]) << "frame " << i;
    EXPECT_EQ(perFrame[i], mixed[i]) << "frame " << i;
  }
}

TEST_F(StripePool, ThreadsEndWithTheInstanceAndWithTheSetting) {
  const int before = CountTasks();
  ASSERT_GT(before, 0);
  // Enabling starts nothing: the threads come with the next frame.
  ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(1));
  EXPECT_EQ(before, TaskCount(before));
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  Bytes in = Frame(320, 240, 0), out(in.size());
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 4; ++i) {
      ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), 320, 240, 6, 400));
    }
    EXPECT_EQ(before + 3, TaskCount(before + 3));
    // Deinit joins them; the setting stays for the next instance.
    ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
    EXPECT_EQ(before, TaskCount(before));
    EXPECT_EQ(0, VdStripePoolRunning());
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  }
  ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), 320, 240, 6, 400));
  EXPECT_EQ(before + 3, TaskCount(before + 3));
  ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(0));
  EXPECT_EQ(before, TaskCount(before));
  ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), 320, 240, 6, 400));
  EXPECT_EQ(before, TaskCount(before));
}

// Many short frames in a row: a frame handed over right after the threads
// start, before they first wait, must not be missed.
TEST_F(StripePool, StartAndStopAroundEveryFrame) {
  std::vector<uint64_t> digests[2];
  for (int toggle = 0; toggle < 2; ++toggle) {
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
    for (int i = 0; i < 40; ++i) {
      Bytes in = Frame(96, 96, i), out(in.size());
      ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(toggle));
      ASSERT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), 96, 96, 6, 400));
      ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(0));
      digests[toggle].push_back(vdtest::Digest(out.data(), out.size()));
    }
    ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  }
  EXPECT_EQ(digests[0], digests[1]);
}

TEST_F(StripePool, SetterRefusesOtherValues) {
  for (int bad : {-1, 2, 100}) {
    log_.Clear();
    EXPECT_EQ(-1, TARNO_VideoDenoiseSetStripePool(bad));
    char line[64];
    std::snprintf(line, sizeof(line), "Unknown stripe pool mode:%d!\n", bad);
    EXPECT_EQ(1, log_.Count(line)) << bad;
  }
  EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(1));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(1));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(0));
  // No instance, no threads, nothing to stop.
  EXPECT_EQ(0, VdStripePoolRunning());
}

}  // namespace
