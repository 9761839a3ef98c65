#include "tools/frame_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tools/tests/temp_dir.h"

namespace vdtool {
namespace {

using vdtooltest::TempDir;
using vdtooltest::WriteFile;

constexpr int kW = 32, kH = 16;
const size_t kFrame = FrameBytes420(kW, kH);  // 768

// Frame i filled with bytes i, i + 1, ...
std::string FrameBytes(int i) {
  std::string f(kFrame, '\0');
  for (size_t k = 0; k < f.size(); ++k) f[k] = static_cast<char>(i * 7 + k);
  return f;
}

std::string Y4m(int frames, const std::string& header = "YUV4MPEG2 W32 H16 F25:1 Ip C420jpeg") {
  std::string s = header + "\n";
  for (int i = 0; i < frames; ++i) s += "FRAME\n" + FrameBytes(i);
  return s;
}

TEST(FrameReaderTest, ReadsEveryFrameOfAYuv4mpegFileThenEnds) {
  TempDir dir;
  const std::string path = dir.File("a.y4m");
  ASSERT_TRUE(WriteFile(path, Y4m(3)));
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error)) << error;
  EXPECT_TRUE(r.is_y4m);
  EXPECT_EQ(r.width, kW);
  EXPECT_EQ(r.height, kH);
  EXPECT_EQ(r.format, PixelFormat::kI420);
  EXPECT_EQ(r.frame_bytes, kFrame);
  EXPECT_EQ(r.total_frames, 3);
  std::vector<uint8_t> buf(kFrame);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame) << error;
    EXPECT_EQ(std::string(buf.begin(), buf.end()), FrameBytes(i));
  }
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kEnd);
  EXPECT_EQ(r.frames_read, 3);
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, FrameMarkersMayCarryFields) {
  TempDir dir;
  const std::string path = dir.File("a.y4m");
  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32 H16\nFRAME Ip XA=1\n" +
                                  FrameBytes(0) + "FRAME\n" + FrameBytes(1)));
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error)) << error;
  std::vector<uint8_t> buf(kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame) << error;
  // Each frame's own fields, for the output's FRAME line.
  EXPECT_EQ(r.frame_params, " Ip XA=1");
  EXPECT_EQ(std::string(buf.begin(), buf.end()), FrameBytes(0));
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame) << error;
  EXPECT_EQ(r.frame_params, "");
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kEnd);
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, AStreamCutInsideAFrameIsTruncatedWithCounts) {
  TempDir dir;
  const std::string path = dir.File("cut.y4m");
  std::string bytes = Y4m(3);
  bytes.resize(bytes.size() - 100);
  ASSERT_TRUE(WriteFile(path, bytes));
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error));
  std::vector<uint8_t> buf(kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kTruncated);
  EXPECT_NE(error.find("frame 2"), std::string::npos) << error;
  EXPECT_NE(error.find("668 of 768 bytes"), std::string::npos) << error;
  EXPECT_EQ(r.frames_read, 2);
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, AStreamCutInsideAMarkerIsTruncated) {
  TempDir dir;
  for (const char* tail : {"F", "FRAM", "FRAME", "FRAME Ip"}) {
    const std::string path = dir.File("cut.y4m");
    ASSERT_TRUE(WriteFile(path, Y4m(1) + tail));
    FrameReader r;
    std::string error;
    ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error));
    std::vector<uint8_t> buf(kFrame);
    EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
    EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kTruncated) << tail;
    EXPECT_NE(error.find("FRAME marker"), std::string::npos) << error;
    CloseFrameReader(&r);
  }
  // A marker with its newline but no data at all.
  const std::string path = dir.File("empty_frame.y4m");
  ASSERT_TRUE(WriteFile(path, Y4m(1) + "FRAME\n"));
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error));
  std::vector<uint8_t> buf(kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kTruncated);
  EXPECT_NE(error.find("0 of 768 bytes"), std::string::npos) << error;
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, GarbageWhereAMarkerBelongsIsAnError) {
  TempDir dir;
  const std::string path = dir.File("bad.y4m");
  // The second frame is one byte too long, so its last byte starts what
  // should be the third marker.
  std::string bytes = Y4m(1) + "FRAME\n" + FrameBytes(1) + "xFRAME\n" + FrameBytes(2);
  ASSERT_TRUE(WriteFile(path, bytes));
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error));
  std::vector<uint8_t> buf(kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kError);
  EXPECT_NE(error.find("frame 2"), std::string::npos) << error;
  EXPECT_NE(error.find("expected a \"FRAME\" marker"), std::string::npos) << error;
  CloseFrameReader(&r);

  // A marker line that never ends.
  ASSERT_TRUE(WriteFile(path, Y4m(0) + "FRAME " + std::string(5000, 'x') + "\n"));
  ASSERT_TRUE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kError);
  EXPECT_NE(error.find("longer than"), std::string::npos) << error;
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, HeaderProblemsAreReportedWithTheFileName) {
  TempDir dir;
  FrameReader r;
  std::string error;
  const std::string path = dir.File("h.y4m");

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32 H16 It\n"));
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find(path + ": the input is interlaced"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32 H16 C422\n"));
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find("4:2:2"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32 H16 C420p10\n"));
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find("10-bit"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32 H16"));  // no newline
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find("ends inside the YUV4MPEG2 header"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 " + std::string(5000, 'X') + "\n"));
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find("longer than 4096 bytes"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(path, "YUV4MPEG2 W32\n"));
  EXPECT_FALSE(OpenFrameReader(path, RawLayout(), &r, &error));
  EXPECT_NE(error.find("no height"), std::string::npos) << error;
}

TEST(FrameReaderTest, MissingEmptyAndDirectoryInputsAreRefused) {
  TempDir dir;
  FrameReader r;
  std::string error;
  EXPECT_FALSE(OpenFrameReader(dir.File("none.y4m"), RawLayout(), &r, &error));
  EXPECT_NE(error.find("cannot open " + dir.File("none.y4m")), std::string::npos);
  EXPECT_NE(error.find("No such file"), std::string::npos) << error;

  EXPECT_FALSE(OpenFrameReader(dir.path(), RawLayout(), &r, &error));
  EXPECT_NE(error.find("is a directory"), std::string::npos) << error;

  ASSERT_TRUE(WriteFile(dir.File("empty"), ""));
  EXPECT_FALSE(OpenFrameReader(dir.File("empty"), RawLayout(), &r, &error));
  EXPECT_NE(error.find("is empty"), std::string::npos) << error;
}

TEST(FrameReaderTest, RawInputNeedsSizeAndLayoutAndYuv4mpegRefusesThem) {
  TempDir dir;
  FrameReader r;
  std::string error;
  ASSERT_TRUE(WriteFile(dir.File("raw"), FrameBytes(0)));
  EXPECT_FALSE(OpenFrameReader(dir.File("raw"), RawLayout(), &r, &error));
  EXPECT_NE(error.find("-s 1920x1080 --pix-fmt nv21"), std::string::npos) << error;

  RawLayout layout;
  layout.width = kW;
  layout.height = kH;
  layout.format = PixelFormat::kNV21;
  ASSERT_TRUE(WriteFile(dir.File("a.y4m"), Y4m(1)));
  EXPECT_FALSE(OpenFrameReader(dir.File("a.y4m"), layout, &r, &error));
  EXPECT_NE(error.find("drop -s and --pix-fmt"), std::string::npos) << error;

  // A reference may be either: the raw description is only a fallback.
  layout.fallback_only = true;
  ASSERT_TRUE(OpenFrameReader(dir.File("a.y4m"), layout, &r, &error)) << error;
  EXPECT_TRUE(r.is_y4m);
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, RawFramesComeBackWhole) {
  TempDir dir;
  const std::string path = dir.File("cam.nv21");
  ASSERT_TRUE(WriteFile(path, FrameBytes(0) + FrameBytes(1) + FrameBytes(2).substr(0, 10)));
  RawLayout layout;
  layout.width = kW;
  layout.height = kH;
  layout.format = PixelFormat::kNV21;
  FrameReader r;
  std::string error;
  ASSERT_TRUE(OpenFrameReader(path, layout, &r, &error)) << error;
  EXPECT_FALSE(r.is_y4m);
  EXPECT_EQ(r.format, PixelFormat::kNV21);
  EXPECT_EQ(r.total_frames, 2);
  std::vector<uint8_t> buf(kFrame);
  ASSERT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(std::string(buf.begin(), buf.end()), FrameBytes(0));
  ASSERT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(std::string(buf.begin(), buf.end()), FrameBytes(1));
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kTruncated);
  EXPECT_NE(error.find("10 of 768 bytes"), std::string::npos) << error;
  CloseFrameReader(&r);

  // Exactly whole frames end cleanly.
  ASSERT_TRUE(WriteFile(path, FrameBytes(0)));
  ASSERT_TRUE(OpenFrameReader(path, layout, &r, &error));
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kFrame);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kEnd);
  CloseFrameReader(&r);

  // A raw file shorter than one frame is a truncated frame, not an empty
  // clip.
  ASSERT_TRUE(WriteFile(path, std::string(100, 'x')));
  ASSERT_TRUE(OpenFrameReader(path, layout, &r, &error));
  EXPECT_EQ(r.total_frames, 0);
  EXPECT_EQ(ReadFrame(&r, buf.data(), &error), ReadResult::kTruncated);
  EXPECT_NE(error.find("frame 0"), std::string::npos) << error;
  CloseFrameReader(&r);
}

TEST(FrameReaderTest, SizeAndFormatWords) {
  int w = 0, h = 0;
  EXPECT_TRUE(ParseFrameSize("1920x1080", &w, &h));
  EXPECT_EQ(w, 1920);
  EXPECT_EQ(h, 1080);
  for (const char* bad : {"", "x", "1920", "1920x", "x1080", "0x96", "96x0",
                          "19 20x1080", "1920X1080", "-96x96", "1234567x96",
                          "HD720", "hd", "4K"}) {
    EXPECT_FALSE(ParseFrameSize(bad, &w, &h)) << bad;
  }
  // ffmpeg's names, as its -s takes them (4k is the cinema size).
  struct Named {
    const char* name;
    int w, h;
  };
  for (const Named& n : {Named{"vga", 640, 480}, Named{"hd720", 1280, 720},
                         Named{"hd1080", 1920, 1080}, Named{"4k", 4096, 2160},
                         Named{"uhd2160", 3840, 2160}, Named{"qcif", 176, 144},
                         Named{"pal", 720, 576}, Named{"ntsc-film", 352, 240}}) {
    ASSERT_TRUE(ParseFrameSize(n.name, &w, &h)) << n.name;
    EXPECT_EQ(w, n.w) << n.name;
    EXPECT_EQ(h, n.h) << n.name;
  }
  PixelFormat f = PixelFormat::kNone;
  EXPECT_TRUE(ParsePixelFormat("nv21", &f));
  EXPECT_EQ(f, PixelFormat::kNV21);
  EXPECT_TRUE(ParsePixelFormat("i420", &f));
  EXPECT_EQ(f, PixelFormat::kI420);
  EXPECT_TRUE(ParsePixelFormat("yuv420p", &f));
  EXPECT_EQ(f, PixelFormat::kI420);
  EXPECT_FALSE(ParsePixelFormat("NV21", &f));
  EXPECT_STREQ(PixelFormatName(PixelFormat::kNV21), "nv21");
  EXPECT_TRUE(ParsePixelFormat("nv12", &f));
  EXPECT_EQ(f, PixelFormat::kNV12);
  EXPECT_STREQ(PixelFormatName(PixelFormat::kNV12), "nv12");
  EXPECT_EQ(FrameBytes420(5, 3), 15u + 2 * 3 * 2);
  EXPECT_EQ(FrameBytes420(1920, 1080), 1920u * 1080 * 3 / 2);
}

TEST(FrameReaderTest, EveryLayoutCopiesToTheSamePlanes) {
  // A 4x2 frame: luma 0..7, one row of two chroma pairs.
  const std::vector<uint8_t> i420 = {0, 1, 2, 3, 4, 5, 6, 7, 20, 21, 30, 31};
  const std::vector<uint8_t> nv21 = {0, 1, 2, 3, 4, 5, 6, 7, 30, 20, 31, 21};
  const std::vector<uint8_t> nv12 = {0, 1, 2, 3, 4, 5, 6, 7, 20, 30, 21, 31};
  std::vector<uint8_t> out(12, 0xee);
  CopyToI420(PixelFormat::kNV21, nv21.data(), out.data(), 4, 2);
  EXPECT_EQ(out, i420);
  std::fill(out.begin(), out.end(), 0xee);
  CopyToI420(PixelFormat::kNV12, nv12.data(), out.data(), 4, 2);
  EXPECT_EQ(out, i420);
  std::fill(out.begin(), out.end(), 0xee);
  CopyToI420(PixelFormat::kI420, i420.data(), out.data(), 4, 2);
  EXPECT_EQ(out, i420);
}

}  // namespace
}  // namespace vdtool
