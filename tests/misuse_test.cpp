// Public calls that overlap from two threads: a frame while another frame
// runs, Deinit during a frame, Init during a frame. The overlapping call is
// refused at once with -1 and one line naming it, and the running frame and
// the instance come out exactly as if the refused call had never been made.
//
// The overlap is made deterministic without any timing: the frame thread is
// held inside the log sink (its "Process VideoDenoise" line, logged after
// the argument checks and before the stripes start) until the second thread
// has made its calls.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "api/vd_instance.h"
#include "api/video_denoise.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

const int kW = 160, kH = 96;
const size_t kFrameBytes = static_cast<size_t>(kW) * kH * 3 / 2;

// Holds the first frame that logs its "Process VideoDenoise" line until
// Release(); every other line is recorded.
struct Gate {
  std::mutex mutex;
  std::condition_variable cv;
  bool armed = false;
  bool inside = false;
  bool released = false;
  std::vector<std::string> lines;
};
Gate* g_gate = nullptr;

void GateSink(int, const char*, const char* message) {
  std::unique_lock<std::mutex> lock(g_gate->mutex);
  g_gate->lines.push_back(message);
  if (!g_gate->armed ||
      std::strncmp(message, "Process VideoDenoise", 20) != 0) {
    return;
  }
  g_gate->armed = false;
  g_gate->inside = true;
  g_gate->cv.notify_all();
  g_gate->cv.wait(lock, [] { return g_gate->released; });
}

class Misuse : public ::testing::Test {
 protected:
  void SetUp() override {
    g_gate = &gate_;
    TARNO_VideoDenoiseSetLogSink(GateSink);
  }
  void TearDown() override {
    TARNO_VideoDenoiseSetLogSink(nullptr);
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
    TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
    TARNO_VideoDenoiseSetStripePool(0);
    g_gate = nullptr;
  }

  void Arm() {
    std::lock_guard<std::mutex> lock(gate_.mutex);
    gate_.armed = true;
    gate_.inside = false;
    gate_.released = false;
  }
  void WaitInside() {
    std::unique_lock<std::mutex> lock(gate_.mutex);
    gate_.cv.wait(lock, [this] { return gate_.inside; });
  }
  void Release() {
    std::lock_guard<std::mutex> lock(gate_.mutex);
    gate_.released = true;
    gate_.cv.notify_all();
  }
  std::vector<std::string> TakeLines() {
    std::lock_guard<std::mutex> lock(gate_.mutex);
    std::vector<std::string> lines;
    lines.swap(gate_.lines);
    return lines;
  }

  Gate gate_;
};

int CountPrefix(const std::vector<std::string>& lines, const char* prefix) {
  int n = 0;
  for (const std::string& line : lines) n += line.rfind(prefix, 0) == 0;
  return n;
}

// The output of three frames made by a client that never misbehaves.
Bytes ReferenceOutput(const Bytes& src, int pipeline) {
  TARNO_VideoDenoiseSetPipeline(pipeline);
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(kW, kH, nullptr));
  Bytes dst(kFrameBytes), all;
  for (int frame = 0; frame < 3; ++frame) {
    EXPECT_EQ(0, TARNO_VideoDenoise(const_cast<uint8_t*>(src.data()),
                                    dst.data(), kW, kH, 6, 100));
    all.insert(all.end(), dst.begin(), dst.end());
  }
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  return all;
}

TEST_F(Misuse, CallsFromASecondThreadDuringAFrameAreRefused) {
  const Bytes src = vdtest::RandomBytes(kFrameBytes, 17);
  const int pipelines[] = {TARNO_PIPELINE_FUZZY, TARNO_PIPELINE_TEMPORAL};
  // Stripe threads per frame, then the persistent stripe pool.
  for (int pool = 0; pool < 2; ++pool)
  for (int pipeline : pipelines) {
    SCOPED_TRACE(pipeline + 10 * pool);
    ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(pool));
    const Bytes expected = ReferenceOutput(src, pipeline);
    TARNO_VideoDenoiseSetPipeline(pipeline);
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(kW, kH, nullptr));
    Video_Denoise_Handle* const instance = g_hVideoDenoise;
    Bytes dst(kFrameBytes), other(kFrameBytes, 0x5A), all;
    for (int frame = 0; frame < 3; ++frame) {
      TakeLines();
      Arm();
      int frame_result = -2;
      std::thread client([&] {
        frame_result = TARNO_VideoDenoise(const_cast<uint8_t*>(src.data()),
                                          dst.data(), kW, kH, 6, 100);
      });
      WaitInside();
      // The frame thread is inside its call: everything else is refused.
      EXPECT_EQ(-1, TARNO_VideoDenoise(const_cast<uint8_t*>(src.data()),
                                       other.data(), kW, kH, 6, 100));
      EXPECT_EQ(-1, TARNO_VideoDenoiseDeinit());
      EXPECT_EQ(-1, TARNO_VideoDenoiseInit(kW, kH, nullptr));
      EXPECT_EQ(-1, TARNO_VideoDenoiseSetStripePool(frame & 1));
      EXPECT_EQ(instance, g_hVideoDenoise);
      Release();
      client.join();
      EXPECT_EQ(0, frame_result);
      EXPECT_EQ(frame, instance->sPrevFrames.iFrameCount);
      all.insert(all.end(), dst.begin(), dst.end());

      const std::vector<std::string> lines = TakeLines();
      EXPECT_EQ(1, CountPrefix(lines, "TARNO_VideoDenoise refused: another "
                                      "TARNO_VideoDenoise call is still "
                                      "running!\n"));
      EXPECT_EQ(1, CountPrefix(lines, "TARNO_VideoDenoiseDeinit refused: "));
      EXPECT_EQ(1, CountPrefix(lines, "TARNO_VideoDenoiseInit refused: "));
      EXPECT_EQ(1, CountPrefix(lines,
                               "TARNO_VideoDenoiseSetStripePool refused: "));
      EXPECT_EQ(4, CountPrefix(lines, "TARNO_VideoDenoise"));
      // Only the running frame got as far as its trace line.
      EXPECT_EQ(1, CountPrefix(lines, "Process VideoDenoise"));
    }
    // The refused frame wrote nothing; the frames that ran are the frames a
    // serialised client gets.
    for (uint8_t b : other) ASSERT_EQ(0x5A, b);
    EXPECT_TRUE(all == expected);
    // Serialised calls go on as before and are never refused.
    TakeLines();
    EXPECT_EQ(0, TARNO_VideoDenoise(const_cast<uint8_t*>(src.data()),
                                    dst.data(), kW, kH, 6, 100));
    EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
    EXPECT_EQ(0, CountPrefix(TakeLines(), "TARNO_VideoDenoise"));
  }
}

// Init while another thread's Init is inside the library (held in its
// buffer-allocation trace line): refused, and the first Init completes.
TEST_F(Misuse, InitDuringInitIsRefused) {
  std::thread first;
  int first_result = -2;
  {
    std::lock_guard<std::mutex> lock(gate_.mutex);
    gate_.inside = false;
    gate_.released = false;
  }
  // Hold on the first line Init logs after the size check.
  TARNO_VideoDenoiseSetLogSink(+[](int, const char*, const char* message) {
    std::unique_lock<std::mutex> lock(g_gate->mutex);
    g_gate->lines.push_back(message);
    if (std::strncmp(message, "iWidth=", 7) != 0) return;
    g_gate->inside = true;
    g_gate->cv.notify_all();
    g_gate->cv.wait(lock, [] { return g_gate->released; });
  });
  first = std::thread([&] { first_result = TARNO_VideoDenoiseInit(kW, kH, nullptr); });
  WaitInside();
  EXPECT_EQ(-1, TARNO_VideoDenoiseInit(kW, kH, nullptr));
  Bytes frame(kFrameBytes), out(kFrameBytes);
  EXPECT_EQ(-1, TARNO_VideoDenoise(frame.data(), out.data(), kW, kH, 0, 100));
  EXPECT_EQ(-1, TARNO_VideoDenoiseDeinit());
  Release();
  first.join();
  EXPECT_EQ(0, first_result);
  ASSERT_NE(nullptr, g_hVideoDenoise);
  TARNO_VideoDenoiseSetLogSink(GateSink);
  EXPECT_EQ(0, TARNO_VideoDenoise(frame.data(), out.data(), kW, kH, 0, 100));
  EXPECT_EQ(0, g_hVideoDenoise->sPrevFrames.iFrameCount);
  EXPECT_EQ(3, CountPrefix(TakeLines(), "TARNO_VideoDenoise"));
}

// Two clients that ignore the rule and hammer frames at the same time: every
// call either runs (0) or is refused (-1, with its one line); no call is lost
// or half-done, so the frame counter counts exactly the frames that ran.
std::atomic<int> g_refused_lines{0};

void CountingSink(int, const char*, const char* message) {
  if (std::strstr(message, " refused: another TARNO_VideoDenoise call")) {
    g_refused_lines.fetch_add(1);
  }
}

TEST_F(Misuse, TwoThreadsHammeringFramesNeverCorruptTheInstance) {
  TARNO_VideoDenoiseSetLogSink(CountingSink);
  g_refused_lines = 0;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(kW, kH, nullptr));
  const int kCalls = 40;
  std::atomic<int> ran{0}, refused{0}, other{0};
  auto client = [&](uint32_t seed) {
    Bytes src = vdtest::RandomBytes(kFrameBytes, seed), dst(kFrameBytes);
    for (int i = 0; i < kCalls; ++i) {
      const int r = TARNO_VideoDenoise(src.data(), dst.data(), kW, kH, 0, 100);
      (r == 0 ? ran : r == -1 ? refused : other).fetch_add(1);
    }
  };
  std::thread a(client, 1u), b(client, 2u);
  a.join();
  b.join();
  EXPECT_EQ(0, other.load());
  EXPECT_EQ(2 * kCalls, ran.load() + refused.load());
  EXPECT_EQ(refused.load(), g_refused_lines.load());
  EXPECT_EQ(ran.load() - 1, g_hVideoDenoise->sPrevFrames.iFrameCount);
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(nullptr, g_hVideoDenoise);
}

}  // namespace
