// Clocks and the timing lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/vd_instance.h"
#include "base/vd_alloc.h"
#include "tests/test_util.h"

namespace {

TEST(Timing, Clocks) {
  int64_t ms = VD_OS_Milliseconds();
  int64_t us = VD_OS_Microseconds();
  EXPECT_GT(ms, 1600000000000LL);
  EXPECT_NEAR(static_cast<double>(us / 1000), static_cast<double>(ms), 1000.0);
  EXPECT_EQ(static_cast<uint32_t>(VD_OS_Milliseconds()) >> 20,
            VD_OS_Milliseconds32() >> 20);
}

TEST(Timing, LineFormats) {
  Calc_Process_Time t;
  for (int i = 0; i < 17; ++i) t.llStamp[i] = 1000 + i * i;
  t.llStamp[10] = 0;
  vdtest::LogCapture log;
  Calc_ProcessTime2(t, nullptr);
  // T11-T0, T10+T1-T9-T0, T16-T12, T13-T12, T14-T13, T15-T12, T16-T15.
  EXPECT_EQ((std::vector<std::string>{
                "Fuzzy_Time:  121,-1080, 112,  25,  27,  81,  31"}),
            log.Messages());
  log.Clear();
  Calc_ProcessTime(t, nullptr);
  EXPECT_EQ((std::vector<std::string>{
                " 121,-1080,   3,  77,   1,   3,   5,   7,   9,  11,  13,  15,"
                "  17,-1081"}),
            log.Messages());
  EXPECT_EQ(6, log.Lines()[0].priority);
}

TEST(Timing, HeaderOnceThenOneLinePerFrameAndTheStream) {
  std::vector<uint8_t> src = vdtest::RandomBytes(96 * 96 * 3 / 2, 5);
  std::vector<uint8_t> dst(src.size());
  const std::string header =
      "total,color transform,spatial,temporal,NV21toYUV420,spatial,SAD,"
      "Threshold,deletPix,Morpholog_0,Morpholog_1,motion detect,tempFilter,"
      "YUV420toNV21\n";
  std::string path = ::testing::TempDir() + "vd_timing.txt";
  FILE* stream = std::fopen(path.c_str(), "w");
  ASSERT_NE(nullptr, stream);
  vdtest::LogCapture log;
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  TARNO_VideoDenoiseSetTimingStream(stream);
  for (int frame = 0; frame < 3; ++frame) {
    ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  }
  std::vector<std::string> m = log.Messages();
  int headers = 0, lines = 0;
  for (size_t i = 0; i < m.size(); ++i) {
    if (m[i] == header) {
      ++headers;
      EXPECT_EQ(0, lines);
    }
    if (m[i].rfind("Fuzzy_Time: ", 0) == 0) ++lines;
  }
  // The header comes once per process: this is the first frame here.
  EXPECT_EQ(1, headers);
  EXPECT_EQ(3, lines);
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());  // closes the stream
  FILE* in = std::fopen(path.c_str(), "r");
  ASSERT_NE(nullptr, in);
  char buf[256];
  int written = 0;
  while (std::fgets(buf, sizeof(buf), in)) {
    EXPECT_EQ(0, std::strncmp(buf, "Fuzzy_Time: ", 12));
    ++written;
  }
  std::fclose(in);
  EXPECT_EQ(3, written);
}

// A stream that counts its lines and whether it was closed: which side
// closes a timing stream is visible without touching a closed FILE.
struct Watched {
  int lines = 0;
  int closes = 0;
  FILE* file = nullptr;
};

FILE* OpenWatched(Watched* w) {
  cookie_io_functions_t io = {};
  io.write = [](void* c, const char* buf, size_t n) -> ssize_t {
    Watched* self = static_cast<Watched*>(c);
    for (size_t i = 0; i < n; ++i) self->lines += buf[i] == '\n';
    return static_cast<ssize_t>(n);
  };
  io.close = [](void* c) {
    ++static_cast<Watched*>(c)->closes;
    return 0;
  };
  w->file = fopencookie(w, "w", io);
  return w->file;
}

Watched* g_refused_stream = nullptr;
int g_refused_result = 0;

void SetStreamFromSink(int, const char*, const char* message) {
  if (g_refused_stream && std::strncmp(message, "Process VideoDenoise", 20) == 0) {
    g_refused_result = TARNO_VideoDenoiseSetTimingStream(g_refused_stream->file);
    g_refused_stream = nullptr;
  }
}

// The library owns a stream it was given: a replacement closes the old one
// (the same stream again closes nothing), Deinit closes the last one, null
// gives it back unclosed. A failed Init gives the stream back unclosed and
// forgets it; a call during a frame is refused and changes nothing.
TEST(Timing, TimingStreamOwnership) {
  std::vector<uint8_t> src = vdtest::RandomBytes(96 * 96 * 3 / 2, 5);
  std::vector<uint8_t> dst(src.size());
  vdtest::LogCapture log;
  Watched a, b, c, d, e;

  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(OpenWatched(&a)));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(OpenWatched(&b)));
  EXPECT_EQ(1, a.closes);
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(b.file));
  EXPECT_EQ(0, b.closes);
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(1, b.closes);
  EXPECT_EQ(1, a.closes);

  // Null: back to the caller, who closes it.
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(OpenWatched(&e)));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(nullptr));
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(0, e.closes);
  std::fclose(e.file);

  // A failed Init: the stream is the caller's again, and later instances
  // neither write to it nor close it.
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(OpenWatched(&c)));
  VdAllocFailAt(3);
  EXPECT_EQ(-1, TARNO_VideoDenoiseInit(96, 96, nullptr));
  VdAllocFailAt(-1);
  EXPECT_EQ(0, c.closes);
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(0, c.closes);
  EXPECT_EQ(0, c.lines);
  std::fclose(c.file);
  EXPECT_EQ(1, c.closes);

  // During a frame: refused, the running stream stays and gets its line.
  ASSERT_EQ(0, TARNO_VideoDenoiseInit(96, 96, nullptr));
  EXPECT_EQ(0, TARNO_VideoDenoiseSetTimingStream(OpenWatched(&a)));
  a.closes = a.lines = 0;
  OpenWatched(&d);
  g_refused_stream = &d;
  TARNO_VideoDenoiseSetLogSink(SetStreamFromSink);
  ASSERT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), 96, 96, 0, 100));
  TARNO_VideoDenoiseSetLogSink(nullptr);
  EXPECT_EQ(-1, g_refused_result);
  std::fflush(a.file);
  EXPECT_EQ(1, a.lines);
  ASSERT_EQ(0, TARNO_VideoDenoiseDeinit());
  EXPECT_EQ(1, a.closes);
  EXPECT_EQ(0, d.closes);
  std::fclose(d.file);
}

}  // namespace
