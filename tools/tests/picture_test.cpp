#include "tools/picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#if VD_TOOL_HAVE_PNG
#include <png.h>
#endif

#include "tools/tests/temp_dir.h"

namespace vdtool {
namespace {

// A flat I420 frame.
std::vector<uint8_t> Flat(int w, int h, uint8_t y, uint8_t u, uint8_t v) {
  const size_t luma = static_cast<size_t>(w) * h;
  const size_t chroma = static_cast<size_t>((w + 1) / 2) * ((h + 1) / 2);
  std::vector<uint8_t> f(luma + 2 * chroma);
  std::fill(f.begin(), f.begin() + luma, y);
  std::fill(f.begin() + luma, f.begin() + luma + chroma, u);
  std::fill(f.begin() + luma + chroma, f.end(), v);
  return f;
}

const uint8_t* Pixel(const RgbImage& im, int x, int y) {
  return &im.pixels[(static_cast<size_t>(y) * im.width + x) * 3];
}

TEST(YuvToRgbTest, LimitedAndFullRangeAnchors) {
  uint8_t rgb[3];
  YuvToRgb(16, 128, 128, false, rgb);
  EXPECT_EQ(rgb[0], 0);
  EXPECT_EQ(rgb[1], 0);
  EXPECT_EQ(rgb[2], 0);
  YuvToRgb(235, 128, 128, false, rgb);
  EXPECT_EQ(rgb[0], 255);
  EXPECT_EQ(rgb[1], 255);
  EXPECT_EQ(rgb[2], 255);
  YuvToRgb(126, 128, 128, false, rgb);  // 298 * 110 / 256 = 128.05
  EXPECT_EQ(rgb[0], 128);
  YuvToRgb(100, 128, 128, true, rgb);
  EXPECT_EQ(rgb[0], 100);
  EXPECT_EQ(rgb[1], 100);
  EXPECT_EQ(rgb[2], 100);
  // BT.601 red: Y 81, U 90, V 240 in limited range.
  YuvToRgb(81, 90, 240, false, rgb);
  EXPECT_NEAR(rgb[0], 255, 1);
  EXPECT_NEAR(rgb[1], 0, 1);
  EXPECT_NEAR(rgb[2], 0, 1);
  // Out-of-gamut values clamp.
  YuvToRgb(255, 255, 255, false, rgb);
  EXPECT_EQ(rgb[0], 255);
  YuvToRgb(0, 0, 0, false, rgb);
  EXPECT_EQ(rgb[0], 0);
}

TEST(PictureLayoutTest, FullHdIsHalvedAndCroppedAroundTheCentre) {
  PictureOptions opt;
  PictureLayout l = LayoutPicture(1920, 1080, opt);
  EXPECT_EQ(l.scale_down, 2);
  EXPECT_EQ(l.panel_width, 960);
  EXPECT_EQ(l.panel_height, 540);
  EXPECT_EQ(l.crop.width, 480);
  EXPECT_EQ(l.crop.height, 270);
  EXPECT_EQ(l.crop.x, 720);
  EXPECT_EQ(l.crop.y, 405);
}

TEST(PictureLayoutTest, SmallFramesKeepFullSizeAndCropsAreClamped) {
  PictureOptions opt;
  PictureLayout l = LayoutPicture(176, 144, opt);
  EXPECT_EQ(l.scale_down, 1);
  EXPECT_EQ(l.panel_width, 176);
  EXPECT_EQ(l.crop.width, 88);
  EXPECT_EQ(l.crop.height, 72);
  EXPECT_EQ(l.crop.x, 44);
  EXPECT_EQ(l.crop.y, 36);
  opt.crop_x = 1000;
  opt.crop_y = 0;
  opt.zoom = 4;
  l = LayoutPicture(176, 144, opt);
  EXPECT_EQ(l.crop.width, 44);
  EXPECT_EQ(l.crop.x, 176 - 44);
  EXPECT_EQ(l.crop.y, 0);
  // 961 columns need a reduction of 2 (rounded up).
  l = LayoutPicture(961, 100, PictureOptions());
  EXPECT_EQ(l.scale_down, 2);
  EXPECT_EQ(l.panel_width, 481);
}

TEST(ComposePictureTest, PanelsShowTheirFramesSideBySide) {
  const int w = 96, h = 64;
  std::vector<uint8_t> grey = Flat(w, h, 126, 128, 128);
  std::vector<uint8_t> white = Flat(w, h, 235, 128, 128);
  std::vector<PicturePanel> panels = {{ViewI420(grey.data(), w, h), "a"},
                                      {ViewI420(white.data(), w, h), "b"}};
  PictureOptions opt;
  RgbImage im = ComposePicture(panels, w, h, opt);
  // Two columns of 96 between three gaps of 8.
  EXPECT_EQ(im.width, 2 * 96 + 3 * 8);
  ASSERT_EQ(im.pixels.size(), static_cast<size_t>(im.width) * im.height * 3);
  // Rows: gap, title band, label band, frame, gap, label band, 2x crop, gap;
  // a band is 7 text rows and a gap at this size.
  const int band = 7 + 8;
  const int top_row = 8 + 2 * band;
  const int zoom_row = top_row + h + 8 + band;
  EXPECT_EQ(im.height, zoom_row + 2 * 32 + 8);
  // Inside each frame, away from the crop outline: the frame's colour.
  EXPECT_EQ(Pixel(im, 8 + 2, top_row + 2)[0], 128);
  EXPECT_EQ(Pixel(im, 8 + 96 + 8 + 2, top_row + 2)[0], 255);
  EXPECT_EQ(Pixel(im, 8 + 5, zoom_row + 5)[1], 128);
  EXPECT_EQ(Pixel(im, 8 + 96 + 8 + 5, zoom_row + 5)[1], 255);
  // The crop (48x32 at 24,16) is outlined in yellow on the frames.
  const uint8_t* edge = Pixel(im, 8 + 24, top_row + 16 + 5);
  EXPECT_EQ(edge[0], 255);
  EXPECT_EQ(edge[1], 210);
  EXPECT_EQ(edge[2], 0);
  // The gap between panels is background.
  EXPECT_EQ(Pixel(im, 8 + 96 + 3, top_row + 10)[0], 40);
}

TEST(ComposePictureTest, ZoomRepeatsEachSourcePixel) {
  const int w = 96, h = 96;
  std::vector<uint8_t> f = Flat(w, h, 16, 128, 128);
  // One white luma pixel at (30, 40).
  f[40 * w + 30] = 235;
  PictureOptions opt;
  opt.zoom = 3;
  opt.crop_x = 28;
  opt.crop_y = 38;
  RgbImage im = ComposePicture({{ViewI420(f.data(), w, h), "x"}}, w, h, opt);
  const int band = 7 + 8;
  const int zoom_row = 8 + 2 * band + h + 8 + band;
  // Source (30, 40) lands at crop offset (2, 2), i.e. zoomed (6..8, 6..8).
  for (int dy = 0; dy < 3; ++dy) {
    for (int dx = 0; dx < 3; ++dx) {
      EXPECT_EQ(Pixel(im, 8 + 6 + dx, zoom_row + 6 + dy)[0], 255);
    }
  }
  EXPECT_EQ(Pixel(im, 8 + 5, zoom_row + 6)[0], 0);
  EXPECT_EQ(Pixel(im, 8 + 9, zoom_row + 6)[0], 0);

  // A second crop gets a row of its own below the first: one more label
  // band, 3x its 32 rows and a gap. Its corner past the frame's edge is
  // moved inside (96 - 32 = 64 at most); (30, 40) lies at offset (2, 2)
  // of a crop at (28, 38) again.
  opt.more_crops = {{28, 38}, {1000, 0}};
  RgbImage two = ComposePicture({{ViewI420(f.data(), w, h), "x"}}, w, h, opt);
  const int step = band + 3 * 32 + 8;
  EXPECT_EQ(two.height, im.height + 2 * step);
  for (int dy = 0; dy < 3; ++dy) {
    EXPECT_EQ(Pixel(two, 8 + 6, zoom_row + step + 6 + dy)[0], 255);
  }
  const PictureLayout l = LayoutPicture(w, h, opt);
  ASSERT_EQ(l.more_crops.size(), 2u);
  EXPECT_EQ(l.more_crops[1].x, 64);
  EXPECT_EQ(l.more_crops[1].y, 0);
}

TEST(DrawTextTest, DrawsGlyphDotsAndStopsAtTheWidth) {
  RgbImage im;
  im.width = 40;
  im.height = 10;
  im.pixels.assign(40 * 10 * 3, 0);
  const uint8_t white[3] = {255, 255, 255};
  // "I" is a bar of three dots on top, the middle column, three at the foot.
  EXPECT_EQ(DrawText(&im, 0, 0, "I", 1, white, 40), 6);
  EXPECT_EQ(Pixel(im, 1, 0)[0], 255);
  EXPECT_EQ(Pixel(im, 0, 0)[0], 0);
  EXPECT_EQ(Pixel(im, 2, 3)[0], 255);
  EXPECT_EQ(Pixel(im, 1, 3)[0], 0);
  // Lower case draws as upper case; unknown characters as '?'.
  RgbImage a = im, b = im;
  DrawText(&a, 10, 0, "abc", 1, white, 40);
  DrawText(&b, 10, 0, "ABC", 1, white, 40);
  EXPECT_EQ(a.pixels, b.pixels);
  // Only whole characters that fit are drawn; drawing off the image is
  // clipped, not a fault.
  EXPECT_EQ(DrawText(&im, 0, 0, "WWWWWWWW", 1, white, 17), 18);
  DrawText(&im, 35, 5, "WWW", 2, white, 1000);
}

TEST(PngTest, WritesAPictureThatReadsBack) {
  if (!PngSupported()) GTEST_SKIP() << "built without libpng";
#if VD_TOOL_HAVE_PNG
  vdtooltest::TempDir dir;
  RgbImage im;
  im.width = 7;
  im.height = 5;
  for (int i = 0; i < 7 * 5 * 3; ++i) im.pixels.push_back(static_cast<uint8_t>(i * 11));
  std::string error;
  const std::string path = dir.File("p.png");
  ASSERT_TRUE(WritePng(path, im, &error)) << error;
  EXPECT_EQ(dir.List(), std::vector<std::string>{"p.png"});

  png_image read;
  std::memset(&read, 0, sizeof(read));
  read.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_file(&read, path.c_str()));
  EXPECT_EQ(read.width, 7u);
  EXPECT_EQ(read.height, 5u);
  read.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(read));
  ASSERT_TRUE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr));
  EXPECT_EQ(pixels, im.pixels);
#endif
}

TEST(PngTest, FailuresLeaveNoFile) {
  vdtooltest::TempDir dir;
  RgbImage im;
  im.width = 2;
  im.height = 2;
  im.pixels.assign(12, 9);
  std::string error;
  EXPECT_FALSE(WritePng(dir.File("missing/p.png"), im, &error));
  EXPECT_FALSE(error.empty());
  if (PngSupported()) {
    struct stat st;
    if (stat("/dev/full", &st) == 0) {
      EXPECT_FALSE(WritePng("/dev/full", im, &error));
      EXPECT_NE(error.find("no space left"), std::string::npos) << error;
    }
  }
  EXPECT_TRUE(dir.List().empty());
}

}  // namespace
}  // namespace vdtool
