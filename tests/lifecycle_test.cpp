// The three entry points: argument checks in their order and with their
// messages, creation and destruction, reconfiguration, allocation failures.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "base/vd_alloc.h"
#include "base/vd_thread.h"
#include "api/vd_instance.h"
#include "parallel/stripe.h"
#include "tests/test_util.h"

namespace {

using vdtest::LogCapture;

class Lifecycle : public ::testing::Test {
 protected:
  void TearDown() override {
    VdAllocFailAt(-1);
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
  }
};

std::vector<uint8_t> Frame(int w, int h, uint32_t seed) {
  return vdtest::RandomBytes(static_cast<size_t>(w) * h * 3 / 2, seed);
}

TEST_F(Lifecycle, SizeCheckOrderAndMessages) {
  LogCapture log;
  struct Case {
    int w, h;
    const char* message;
  } cases[] = {
      {95, 96, "Input width:95 is invalid!range[96,1920]\n"},
      {1921, 96, "Input width:1921 is invalid!range[96,1920]\n"},
      {100, 96, "Input width:100 is multiple of 16!\n"},
      // Width is checked before height.
      {100, 7, "Input width:100 is multiple of 16!\n"},
      {96, 95, "Input height:95 is invalid!range[96,1920]\n"},
      {96, 1921, "Input height:1921 is invalid!range[96,1920]\n"},
      {96, 1084, "Input height:1084 is multiple of 8!\n"},
  };
  for (const Case& c : cases) {
    log.Clear();
    EXPECT_EQ(-1, VideoSizeCheck(c.w, c.h));
    ASSERT_EQ(1u, log.Lines().size());
    EXPECT_EQ(c.message, log.Lines()[0].message);
    EXPECT_EQ(6, log.Lines()[0].priority);
    EXPECT_EQ("TARNO_VideoDenoise", log.Lines()[0].tag);
  }
  log.Clear();
  EXPECT_EQ(0, VideoSizeCheck(1920, 1080));
  EXPECT_EQ(0, VideoSizeCheck(96, 1920));
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(Lifecycle, InitDeinitAndSecondInit) {
  LogCapture log;
  EXPECT_EQ(-1, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(1, log.Count("g_hVideoDenoise has not inited!\n"));

  log.Clear();
  EXPECT_EQ(-1, TARNO_VideoDenoiseInit(100, 96, nullptr));
  EXPECT_EQ((std::vector<std::string>{"Input width:100 is multiple of 16!\n",
                                      "VideoSizeCheck failed!\n"}),
            log.Messages());
  EXPECT_EQ(nullptr, g_hVideoDenoise);

  ASSERT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  Video_Denoise_Handle* h = g_hVideoDenoise;
  ASSERT_NE(nullptr, h);
  EXPECT_EQ(320, h->iMaxWidth);
  EXPECT_EQ(240, h->iMaxHeight);
  EXPECT_EQ(320, h->iWidth);
  EXPECT_EQ(100, h->iReserved);
  EXPECT_EQ(-1, h->sPrevFrames.iFrameCount);
  EXPECT_EQ(2, h->iPrevFrameNum);

  log.Clear();
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(640, 480, nullptr));
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(5, log.Lines()[0].priority);
  EXPECT_EQ("Video_Denoise has inited!\n", log.Lines()[0].message);
  EXPECT_EQ(h, g_hVideoDenoise);
  EXPECT_EQ(320, h->iMaxWidth);

  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(nullptr, g_hVideoDenoise);
  EXPECT_EQ(-1, TARNO_VideoDenoiseDeinit());
}

TEST_F(Lifecycle, FrameCallChecksInOrder) {
  std::vector<uint8_t> src = Frame(1920, 1920, 1), dst(src.size());
  LogCapture log;
  EXPECT_EQ(-1, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  EXPECT_EQ((std::vector<std::string>{"g_hVideoDenoise has not inited!\n"}),
            log.Messages());

  ASSERT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  log.Clear();
  unsigned char* fake = reinterpret_cast<unsigned char*>(
      static_cast<uintptr_t>(0x12345678u));
  EXPECT_EQ(-1, TARNO_VideoDenoise(fake, nullptr, 95, 96, 0, 100));
  EXPECT_EQ((std::vector<std::string>{
                "image_src:0x12345678 or image_dest:0x0 is NULL!\n"}),
            log.Messages());

  log.Clear();
  EXPECT_EQ(-1, TARNO_VideoDenoise(src.data(), dst.data(), 95, 96, 0, 100));
  EXPECT_EQ((std::vector<std::string>{
                "Input width:95 is invalid!range[96,1920]\n",
                "VideoSizeCheck failed!\n"}),
            log.Messages());

  log.Clear();
  EXPECT_EQ(-1, TARNO_VideoDenoise(src.data(), dst.data(), 336, 240, 0, 100));
  EXPECT_EQ((std::vector<std::string>{
                "width:336 > MaxWidth:320 or height:240 > MaxHeight:240!\n"}),
            log.Messages());
  log.Clear();
  EXPECT_EQ(-1, TARNO_VideoDenoise(src.data(), dst.data(), 320, 248, 0, 100));
  EXPECT_EQ(1u, log.Messages().size());
  // Refused frames change nothing and log no timing.
  EXPECT_EQ(-1, g_hVideoDenoise->sPrevFrames.iFrameCount);
  for (const std::string& m : log.Messages()) {
    EXPECT_EQ(std::string::npos, m.find("Fuzzy_Time"));
  }
}

TEST_F(Lifecycle, ReconfigurationKeepsLevelAndResetsHistory) {
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  Video_Denoise_Handle* h = g_hVideoDenoise;
  std::vector<uint8_t> src = Frame(320, 240, 2), dst(src.size());
  LogCapture log;
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 320, 240, 6, 100));
  EXPECT_EQ(1, log.Count(
                   "Process VideoDenoise: width:320, height:240, iISO:100, "
                   "eType:6!\n"));
  // The type changed from 0 to 6: history reset, then counted.
  EXPECT_EQ(0, h->sPrevFrames.iFrameCount);
  EXPECT_EQ(1, h->iNRLevel);
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 320, 240, 6, 200));
  EXPECT_EQ(1, h->sPrevFrames.iFrameCount);  // ISO alone keeps history

  // Smaller frame: accepted, history reset, motion mask cleared, level kept.
  std::memset(h->pMotionInfo->pY, 7, 320 * 240);
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 160, 96, 6, 200));
  EXPECT_EQ(0, h->sPrevFrames.iFrameCount);
  EXPECT_EQ(160, h->iWidth);
  EXPECT_EQ(96, h->iHeight);
  EXPECT_EQ(1, h->iNRLevel);
  for (int i = 0; i < 160 * 96; ++i) ASSERT_EQ(0, h->pMotionInfo->pY[i]);
  EXPECT_EQ(7, h->pMotionInfo->pY[160 * 96]);
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 160, 96, 4, 200));
  EXPECT_EQ(0, h->sPrevFrames.iFrameCount);
  EXPECT_EQ(0, h->iNRLevel);
}

TEST_F(Lifecycle, StripeRecordsCoverTheFrame) {
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(1920, 1080, nullptr));
  std::vector<uint8_t> src = Frame(1920, 1080, 3), dst(src.size());
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 1920, 1080, 0, 100));
  const int edges[3] = {3, 0, 2};
  for (int i = 0; i < 3; ++i) {
    const VD_Multiple_Thread_Handle& s = g_hVDMulThread[i];
    EXPECT_EQ(i, s.iIndex);
    EXPECT_EQ(edges[i], s.iEdgeType);
    EXPECT_EQ(360 * 1920 * i, s.iOffset);
    EXPECT_EQ(360, s.iHeight);
    EXPECT_EQ(1920, s.iWidth);
    EXPECT_EQ(g_hVideoDenoise, s.hVideoDenoise);
  }
}

TEST_F(Lifecycle, SwitchesSkipDenoisingButConvertChroma) {
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  Video_Denoise_Handle* h = g_hVideoDenoise;
  h->iCfgSwitch2 = 1;
  std::vector<uint8_t> src = Frame(96, 96, 4), dst(src.size(), 0xAB);
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  // The counter is reset by the type change and then frozen by switch 2.
  EXPECT_EQ(-1, h->sPrevFrames.iFrameCount);
  for (uint8_t b : dst) ASSERT_EQ(0xAB, b);
  // Chroma was de-interleaved into the current frame all the same.
  const int n = 96 * 96;
  for (int i = 0; i < n / 4; ++i) {
    ASSERT_EQ(src[n + 2 * i + 1], h->pCurFrame->pU[i]);
    ASSERT_EQ(src[n + 2 * i], h->pCurFrame->pV[i]);
  }
}

// Every allocation that creation makes fails in turn: each failure gives one
// specified message and -1, leaves no instance, and a later Init succeeds.
TEST_F(Lifecycle, EachInitAllocationFailureIsClean) {
  std::vector<std::string> expected_first;
  const char* names[] = {"pSpaDenoiseFrame", "pMotionInfo", "pTempFrame1",
                         "pTempFrame2", "pCurFrame"};
  const std::string size = "Alocate memory size:153600[width:320 height:320]";
  expected_first.push_back("Malloc memory for g_hVideoDenoise failed!\n");
  for (int slot = 0; slot < 2; ++slot) {
    for (int k = 0; k < 2; ++k) {
      expected_first.push_back(size + " for pPreFrames[" +
                               std::to_string(slot) + "] failed!\n");
    }
  }
  for (const char* name : names) {
    for (int k = 0; k < 2; ++k) {
      expected_first.push_back(size + " for " + name + " failed!\n");
    }
  }
  int attempt = 0;
  for (;; ++attempt) {
    LogCapture log;
    VdAllocFailAt(attempt);
    int result = TARNO_VideoDenoiseInit(320, 320, nullptr);
    int made = VdAllocFailAt(-1);
    if (result == 0) {
      EXPECT_EQ(attempt, made);  // every allocation has been tried
      break;
    }
    ASSERT_EQ(-1, result);
    ASSERT_EQ(nullptr, g_hVideoDenoise);
    std::vector<std::string> m = log.Messages();
    // The trace line of the buffer allocation comes first, except when the
    // record itself could not be allocated.
    if (attempt == 0) {
      ASSERT_EQ(1u, m.size());
      EXPECT_EQ(expected_first[0], m[0]);
      continue;
    }
    ASSERT_EQ(3u, m.size()) << attempt;
    EXPECT_EQ("iWidth=320 iHeight=320", m[0]);
    EXPECT_EQ("Malloc memory for frame buffers failed!\n", m[2]);
    if (attempt < static_cast<int>(expected_first.size())) {
      EXPECT_EQ(expected_first[attempt], m[1]);
    } else {
      const int index = (attempt - 15) / 3;
      const std::string prefix = "p_uvSpaBuff_1[" + std::to_string(index) + "]:0x";
      EXPECT_EQ(0u, m[1].find(prefix)) << m[1];
      if ((attempt - 15) % 3 == 2) {
        const std::string tail = "  p_uvSpaBuff_3[" + std::to_string(index) +
                                 "]:0x0 !\n";
        EXPECT_NE(std::string::npos, m[1].find(tail)) << m[1];
      }
    }
  }
  // Record, 7 frame images of two allocations each, 12 chroma buffers.
  EXPECT_EQ(1 + 7 * 2 + 12, attempt);
  EXPECT_NE(nullptr, g_hVideoDenoise);
}

// The ring has two slots, and a direct caller of AlocateFrameBuf can set any
// count in the exported record: the count is brought into 1..2 with one
// line, before anything is allocated, so that no slot past the ring is
// written and the pipelines and FreeFrameBuf see the same count.
TEST_F(Lifecycle, AlocateFrameBufKeepsTheRingCountWithinItsSlots) {
  struct Case {
    int requested, slots;
  } cases[] = {{5, 2}, {3, 2}, {2, 2}, {1, 1}, {0, 1}, {-4, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.requested);
    Video_Denoise_Handle h;
    std::memset(&h, 0, sizeof(h));
    InitVideoDenoiseParams(&h);
    h.iMaxWidth = h.iWidth = 96;
    h.iMaxHeight = h.iHeight = 96;
    h.iPrevFrameNum = c.requested;
    h.sPrevFrames.iFrameCount = -1;
    LogCapture log;
    VdAllocFailAt(-1);
    ASSERT_EQ(0, AlocateFrameBuf(&h));
    // Each frame image is two allocations; 5 work frames, 12 chroma buffers.
    EXPECT_EQ((c.slots + 5) * 2 + 12, VdAllocFailAt(-1));
    EXPECT_EQ(c.slots, h.iPrevFrameNum);
    EXPECT_EQ(-1, h.sPrevFrames.iFrameCount);
    EXPECT_NE(nullptr, h.sPrevFrames.pPreFrames[0]);
    EXPECT_EQ(c.slots == 2, h.sPrevFrames.pPreFrames[1] != nullptr);
    std::vector<std::string> expected = {"iWidth=96 iHeight=96"};
    if (c.requested != c.slots) {
      expected.push_back("iPrevFrameNum:" + std::to_string(c.requested) +
                         " is out of range[1,2], using " +
                         std::to_string(c.slots) + "!\n");
    }
    EXPECT_EQ(expected, log.Messages());
    FreeFrameBuf(&h);
    EXPECT_EQ(nullptr, h.sPrevFrames.pPreFrames[0]);
    EXPECT_EQ(nullptr, h.sPrevFrames.pPreFrames[1]);
    EXPECT_EQ(nullptr, h.pCurFrame);
    EXPECT_EQ(nullptr, p_uvSpaBuff_3[3]);
  }
}

// A counter about to overflow goes back to the smallest full-path value with
// the same ring slot: the frames around the wrap come out exactly as in a
// run that counted up from 0 (under UndefinedBehaviorSanitizer, an overflow
// would stop the test). The counter is set through the exported record.
TEST_F(Lifecycle, FrameCounterWrapsBeforeOverflowOnTheSamePathAndSlots) {
  const int w = 176, h = 144;
  std::vector<std::vector<uint8_t>> frames;
  for (int t = 0; t < 8; ++t) frames.push_back(Frame(w, h, 100 + t));
  struct Run {
    std::vector<std::vector<uint8_t>> out;
    std::vector<int> counts;
  };
  auto run = [&](bool nearTheTop) {
    LogCapture quiet;
    Run r;
    EXPECT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
    for (int t = 0; t < 8; ++t) {
      // Both values are odd, like the count they replace (1, then 5).
      if (nearTheTop && t == 2) {
        g_hVideoDenoise->sPrevFrames.iFrameCount = INT_MAX - 4;
      }
      if (nearTheTop && t == 6) {
        g_hVideoDenoise->sPrevFrames.iFrameCount = INT_MAX;
      }
      std::vector<uint8_t> dst(frames[t].size());
      EXPECT_EQ(0, TARNO_VideoDenoise(frames[t].data(), dst.data(), w, h, 0,
                                      100));
      r.out.push_back(dst);
      r.counts.push_back(g_hVideoDenoise->sPrevFrames.iFrameCount);
    }
    EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
    return r;
  };
  const Run plain = run(false);
  const Run top = run(true);
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}), plain.counts);
  EXPECT_EQ((std::vector<int>{0, 1, INT_MAX - 3, INT_MAX - 2, 2, 3, 2, 3}),
            top.counts);
  for (int t = 0; t < 8; ++t) EXPECT_EQ(plain.out[t], top.out[t]) << t;
}

// When stripe thread k of a frame cannot start, the threads already running
// are released and joined, one line says which, the call returns -1 and the
// counter is as before: the next frames come out as if the failed frame had
// never been offered.
TEST_F(Lifecycle, AStripeThreadThatCannotStartFailsTheFrameAsIfNeverOffered) {
  const int w = 176, h = 144;
  std::vector<std::vector<uint8_t>> frames;
  for (int t = 0; t < 3; ++t) frames.push_back(Frame(w, h, 200 + t));
  auto denoise = [&](int t) {
    std::vector<uint8_t> dst(frames[t].size());
    EXPECT_EQ(0, TARNO_VideoDenoise(frames[t].data(), dst.data(), w, h, 0, 100));
    return dst;
  };
  std::vector<std::vector<uint8_t>> expected;
  {
    LogCapture quiet;
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
    for (int t = 0; t < 3; ++t) expected.push_back(denoise(t));
    ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  }
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    LogCapture log;
    ASSERT_EQ(0, TARNO_VideoDenoiseInit(w, h, nullptr));
    EXPECT_EQ(expected[0], denoise(0));
    log.Clear();
    std::vector<uint8_t> dst(frames[1].size());
    VdThreadFailAt(k);
    EXPECT_EQ(-1, TARNO_VideoDenoise(frames[1].data(), dst.data(), w, h, 0,
                                     100));
    // No thread after the one that failed is tried.
    EXPECT_EQ(k + 1, VdThreadFailAt(-1));
    const std::string line =
        "Create stripe thread " + std::to_string(k) + " failed!\n";
    EXPECT_EQ(1, log.Count(line));
    int errors = 0;
    for (const auto& l : log.Lines()) {
      errors += l.message.find("failed") != std::string::npos;
    }
    EXPECT_EQ(1, errors);
    EXPECT_EQ(0, g_hVideoDenoise->sPrevFrames.iFrameCount);
    EXPECT_EQ(expected[1], denoise(1));
    EXPECT_EQ(expected[2], denoise(2));
    EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  }
}

// A call that overlaps a running one is refused with -1 and one line and
// leaves the running call and the instance intact. The overlapping calls are
// made from inside the frame call (from the log sink), which makes the
// overlap deterministic; a second thread is caught the same way.
int g_nested_results[3];
bool g_nested_done = false;
unsigned char* g_nested_frame = nullptr;

int g_refused_lines = 0;

void NestingSink(int, const char*, const char* message) {
  if (std::strstr(message, "refused: another TARNO_VideoDenoise call")) {
    ++g_refused_lines;
  }
  if (g_nested_done ||
      std::strncmp(message, "Process VideoDenoise", 20) != 0) {
    return;
  }
  g_nested_done = true;
  g_nested_results[0] = TARNO_VideoDenoise(g_nested_frame, g_nested_frame, 96,
                                           96, 0, 100);
  g_nested_results[1] = TARNO_VideoDenoiseDeinit();
  g_nested_results[2] = TARNO_VideoDenoiseInit(96, 96, nullptr);
}

TEST_F(Lifecycle, OverlappingCallsAreRefused) {
  std::vector<uint8_t> src = Frame(96, 96, 9), dst(src.size());
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  Video_Denoise_Handle* h = g_hVideoDenoise;
  std::vector<std::string> refused;
  {
    LogCapture log;
    TARNO_VideoDenoiseSetLogSink(NestingSink);
    g_nested_frame = dst.data();
    ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
    TARNO_VideoDenoiseSetLogSink(nullptr);
  }
  EXPECT_TRUE(g_nested_done);
  EXPECT_EQ(-1, g_nested_results[0]);
  EXPECT_EQ(-1, g_nested_results[1]);
  EXPECT_EQ(-1, g_nested_results[2]);
  EXPECT_EQ(3, g_refused_lines);
  EXPECT_EQ(h, g_hVideoDenoise);
  EXPECT_EQ(0, h->sPrevFrames.iFrameCount);
  // Serialised calls go on as before.
  LogCapture log;
  EXPECT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  EXPECT_EQ(1, h->sPrevFrames.iFrameCount);
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  for (const std::string& m : log.Messages()) {
    EXPECT_EQ(std::string::npos, m.find("refused")) << m;
  }
}

TEST_F(Lifecycle, DefaultSinkWritesLogcatStyleLines) {
  ::testing::internal::CaptureStderr();
  VideoSizeCheck(95, 96);
  TARNO_VideoDenoiseInit(96, 96, nullptr);
  TARNO_VideoDenoiseInit(96, 96, nullptr);
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos,
            err.find("E/TARNO_VideoDenoise: Input width:95 is "
                     "invalid!range[96,1920]\n"));
  EXPECT_NE(std::string::npos,
            err.find("E/TARNO_VideoDenoise: iWidth=96 iHeight=96\n"));
  EXPECT_NE(std::string::npos,
            err.find("W/TARNO_VideoDenoise: Video_Denoise has inited!\n"));
}

}  // namespace
