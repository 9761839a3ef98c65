// The client's frames sit between inaccessible guard pages: one run with
// each frame ending flush against the page after it, one with each frame
// starting right after the page before it. Every level of both pipelines,
// at the extreme sizes, odd multiples and 1080p, created at the frame's own
// size and at the largest size (so the frames are smaller than the
// instance). A stray read or write of the client's memory faults; a byte the
// frame call left unwritten shows up as the fill value.
#include <gtest/gtest.h>

#include <cstring>

#include "api/video_denoise.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;

struct Size {
  int w, h;
};

const Size kSizes[] = {{96, 96},    {1920, 1920}, {1920, 96},
                       {96, 1920},  {720, 480},   {1440, 1080},
                       {1296, 968}, {1920, 1080}};

// Type and ISO that move the level 0 -> 1 -> 2 -> 3 (each type change also
// resets the frame history, so every level starts with its warm-up frame).
struct Step {
  int type, iso, level;
};
const Step kLevels[] = {{0, 100, 0}, {6, 100, 1}, {4, 400, 2}, {6, 400, 3}};

#if defined(__arm__) || defined(__aarch64__)
// Under an emulator a frame costs seconds at the large sizes: warm-up and
// one full frame per level, and each pipeline with one of the two guards.
const int kFramesPerLevel = 2;
const bool kEmulated = true;
#else
// Warm-up, then two full frames, so the previous-frame ring wraps.
const int kFramesPerLevel = 3;
const bool kEmulated = false;
#endif

// Input bytes in 16..235: every filter of both pipelines averages or blends
// its inputs, so no output byte can be 0, the fill of the destination.
void FillFrame(uint8_t* data, size_t n, uint32_t seed) {
  vdtest::FillRandom(data, n, seed);
  for (size_t i = 0; i < n; ++i) data[i] = static_cast<uint8_t>(16 + data[i] % 220);
}

int CountUnwritten(const uint8_t* data, size_t n) {
  int unwritten = 0;
  for (size_t i = 0; i < n; ++i) unwritten += data[i] == 0;
  return unwritten;
}

class GuardPage : public ::testing::Test {
 protected:
  void TearDown() override {
    TARNO_VideoDenoiseDeinit();
    TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
    TARNO_VideoDenoiseSetStripePool(0);
    TARNO_VideoDenoiseSetLogSink(nullptr);
  }

  static void QuietSink(int, const char*, const char*) {}

  // Runs every level with both pipelines on one frame size, with guarded
  // source and destination.
  static void RunLevels(const Size& size) {
    const size_t n = static_cast<size_t>(size.w) * size.h * 3 / 2;
    const int pipelines[] = {TARNO_PIPELINE_FUZZY, TARNO_PIPELINE_TEMPORAL};
    for (int pipeline : pipelines) {
      for (int f = 0; f < 2; ++f) {
        const GuardedBuffer::Flush flush =
            f == 0 ? GuardedBuffer::kFlushEnd : GuardedBuffer::kFlushStart;
        if (kEmulated && f != pipeline) continue;
        GuardedBuffer src(n, flush), dst(n, flush);
        ASSERT_EQ(0, TARNO_VideoDenoiseSetPipeline(pipeline));
        for (const Step& step : kLevels) {
          for (int frame = 0; frame < kFramesPerLevel; ++frame) {
            FillFrame(src.data(), n, size.w * 7919u + size.h + frame);
            std::memset(dst.data(), 0, n);
            ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), size.w,
                                            size.h, step.type, step.iso));
            ASSERT_EQ(0, CountUnwritten(dst.data(), n))
                << size.w << "x" << size.h << " pipeline " << pipeline
                << " flush " << f << " level " << step.level << " frame "
                << frame;
          }
        }
      }
    }
  }
};

TEST_F(GuardPage, FramesOfTheCreationSize) {
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  for (const Size& size : kSizes) {
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(size.w, size.h, nullptr));
    RunLevels(size);
    if (HasFatalFailure()) return;
    ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  }
}

TEST_F(GuardPage, FramesSmallerThanTheCreationSize) {
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(1920, 1920, nullptr));
  for (const Size& size : kSizes) {
    if (size.w == 1920 && size.h == 1920) continue;
    RunLevels(size);
    if (HasFatalFailure()) return;
  }
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
}

// The same on the persistent stripe pool (three threads kept between
// frames), frames of every size within one largest instance.
TEST_F(GuardPage, FramesOnThePersistentStripePool) {
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  ASSERT_EQ(0, TARNO_VideoDenoiseSetStripePool(1));
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(1920, 1920, nullptr));
  for (const Size& size : kSizes) {
    RunLevels(size);
    if (HasFatalFailure()) break;
  }
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(0));
}

// The guards themselves: a byte before the start-flush buffer and a byte
// after the end-flush buffer are inaccessible.
TEST(GuardedBufferDeathTest, BothEndsFault) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const size_t n = 1000;
  EXPECT_DEATH(
      {
        GuardedBuffer b(n, GuardedBuffer::kFlushEnd);
        static_cast<volatile uint8_t*>(b.data())[n] = 1;
      },
      "");
  EXPECT_DEATH(
      {
        GuardedBuffer b(n, GuardedBuffer::kFlushStart);
        static_cast<volatile uint8_t*>(b.data())[-1] = 1;
      },
      "");
  GuardedBuffer end(n, GuardedBuffer::kFlushEnd);
  GuardedBuffer start(n, GuardedBuffer::kFlushStart);
  end.data()[0] = end.data()[n - 1] = 1;
  start.data()[0] = start.data()[n - 1] = 1;
}

}  // namespace
