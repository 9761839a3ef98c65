// Structuring-element morphology: the binary window shapes (vertical start
// by the horizontal half-size, the asymmetric Morphology window), the timing
// line, the clipped min / max filters and the I420 dispatch.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "api/vd_log.h"
#include "morphology/se_morphology.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kSentinel = 0x5A;

uint8_t At(const Bytes& p, int width, int row, int col) {
  return p[static_cast<size_t>(row) * width + col];
}

void Set(Bytes& p, int width, int row, int col, uint8_t v) {
  p[static_cast<size_t>(row) * width + col] = v;
}

// The pixels of a width x height plane whose value is v.
std::vector<std::pair<int, int>> PixelsEqualTo(const Bytes& p, int width,
                                               int height, uint8_t v) {
  std::vector<std::pair<int, int>> out;
  for (int r = 0; r < height; ++r) {
    for (int c = 0; c < width; ++c) {
      if (At(p, width, r, c) == v) out.push_back({r, c});
    }
  }
  return out;
}

using Pixels = std::vector<std::pair<int, int>>;

// Timing lines of Morphology captured so far.
int TimingLines(const vdtest::LogCapture& log) {
  int n = 0;
  for (const auto& line : log.Lines()) {
    const std::string& m = line.message;
    const std::string prefix = "morphology total:";
    if (m.compare(0, prefix.size(), prefix) != 0) continue;
    EXPECT_EQ(line.priority, 6);
    EXPECT_EQ(line.tag, VD_LOG_TAG);
    // A decimal count of milliseconds and a line feed.
    const std::string digits = m.substr(prefix.size(), m.size() - prefix.size() - 1);
    EXPECT_FALSE(digits.empty());
    EXPECT_EQ(digits.find_first_not_of("0123456789"), std::string::npos) << m;
    EXPECT_EQ(m.back(), '\n');
    ++n;
  }
  return n;
}

// --- EroseImage / DilateImage ------------------------------------------------

TEST(EroseImage, ThreeByThreeRemovesALonePixelAndKeepsTheOuterRing) {
  const int w = 8, h = 6;
  sVNRPoint element = {3, 3};
  Bytes src(w * h, 0);
  Set(src, w, 3, 3, 255);  // alone: eroded
  Set(src, w, 0, 0, 255);  // outer ring: copied as they are
  Set(src, w, 2, 0, 255);
  Set(src, w, 5, 7, 255);
  Bytes dst(w * h, kSentinel);
  EXPECT_EQ(EroseImage(src.data(), dst.data(), w, h, &element), 1);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), (Pixels{{0, 0}, {2, 0}, {5, 7}}));
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 0).size(), size_t(w * h - 3));

  // A 3 x 3 block keeps only its centre.
  Bytes block(w * h, 0);
  for (int r = 1; r <= 3; ++r) {
    for (int c = 4; c <= 6; ++c) Set(block, w, r, c, 255);
  }
  EroseImage(block.data(), dst.data(), w, h, &element);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), (Pixels{{2, 5}}));
}

TEST(EroseImage, WindowRowsStartAtTheHorizontalHalfSize) {
  // Element 3 wide, 5 high: R = 1, so the window of (r, c) is rows
  // r - 1 .. r + 3, not r - 2 .. r + 2. A black row 7 erodes rows 4 .. 8
  // (8 being the last processed row); row 3 stays.
  const int w = 12, h = 10;
  sVNRPoint element = {3, 5};
  Bytes src(w * h, 255);
  for (int c = 0; c < w; ++c) Set(src, w, 7, c, 0);
  Bytes dst(w * h, kSentinel);
  EroseImage(src.data(), dst.data(), w, h, &element);
  for (int r = 0; r < h; ++r) {
    for (int c = 0; c < w; ++c) {
      const bool eroded = r >= 4 && r <= 8 && c >= 1 && c <= w - 2;
      EXPECT_EQ(At(dst, w, r, c), (eroded || r == 7) ? 0 : 255) << r << "," << c;
    }
  }
  // Non-zero bytes of any value are foreground and are kept as they are;
  // only a zero erodes, and only the processed pixels around it.
  element = {3, 3};
  Bytes grey = vdtest::RandomBytes(w * h, 2);
  for (uint8_t& b : grey) b = 1 + b % 254;
  EroseImage(grey.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, grey);
  Set(grey, w, 5, 5, 0);
  EroseImage(grey.data(), dst.data(), w, h, &element);
  for (int r = 0; r < h; ++r) {
    for (int c = 0; c < w; ++c) {
      const bool near = r >= 4 && r <= 6 && c >= 4 && c <= 6;
      EXPECT_EQ(At(dst, w, r, c), near ? 0 : At(grey, w, r, c)) << r << "," << c;
    }
  }
}

TEST(EroseImage, NonPositiveHeightScansNothing) {
  const int w = 8, h = 8;
  sVNRPoint element = {3, 0};
  Bytes src = vdtest::RandomBytes(w * h, 4);
  Bytes dst(w * h, kSentinel);
  EroseImage(src.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, src);
  DilateImage(src.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, src);
}

TEST(DilateImage, AnyNonZeroByteGrowsTo255) {
  const int w = 8, h = 6;
  sVNRPoint element = {3, 3};
  Bytes src(w * h, 0);
  Set(src, w, 3, 3, 7);
  Bytes dst(w * h, kSentinel);
  EXPECT_EQ(DilateImage(src.data(), dst.data(), w, h, &element), 1);
  for (int r = 0; r < h; ++r) {
    for (int c = 0; c < w; ++c) {
      uint8_t expected = 0;
      if (r == 3 && c == 3) {
        expected = 7;  // foreground is left as it is
      } else if (r >= 2 && r <= 4 && c >= 2 && c <= 4) {
        expected = 255;
      }
      EXPECT_EQ(At(dst, w, r, c), expected) << r << "," << c;
    }
  }
  // The same shifted window as erosion: rows r - 1 .. r + 3 for 3 x 5, so
  // a pixel on row 5 reaches rows 2 .. 4 (the processed rows end at 4).
  // The windows of rows 3 and 4 reach two rows past the plane, which the
  // caller provides (zero here).
  element = {3, 5};
  Bytes low(w * (h + 2), 0);
  Set(low, w, 5, 4, 255);
  DilateImage(low.data(), dst.data(), w, h, &element);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255),
            (Pixels{{2, 3}, {2, 4}, {2, 5}, {3, 3}, {3, 4}, {3, 5}, {4, 3},
                    {4, 4}, {4, 5}, {5, 4}}));
}

// A planar frame of width x rows luma and two chroma planes, with a record.
struct Frame {
  Frame(int width, int rows, uint8_t fill) : w(width), h(rows) {
    data.assign(static_cast<size_t>(w) * h * 3 / 2, fill);
    image = sYuvImage_t{};
    image.iWidth = w;
    image.iHeight = h;
    image.iStride = w;
    image.pBuffer = image.pY = data.data();
    image.pU = data.data() + w * h;
    image.pV = image.pU + w * h / 4;
  }
  int w, h;
  Bytes data;
  sYuvImage_t image;
};

TEST(EroseProcAndDilateProc, PlanesAtTheQuarterOffset) {
  // A 16 x 16 frame; the stripe is rows 4 .. 11 (offset 64), its chroma
  // rows 2 .. 5 of the 8 x 8 planes (offset 16).
  const int w = 16, h = 16;
  sVNRPoint element = {3, 3};
  Frame src(w, h, 0);
  src.image.pY[7 * w + 5] = 255;
  src.image.pU[3 * 8 + 2] = 255;
  src.image.pV[4 * 8 + 5] = 255;
  for (int withChroma : {0, 1}) {
    SCOPED_TRACE(withChroma);
    Frame dst(w, h, kSentinel);
    EXPECT_EQ(DilateProc(&src.image, &dst.image, w, 8, &element, withChroma,
                         4 * w, 0),
              1);
    // Luma: rows 4 .. 11 only, the pixel grown to 3 x 3.
    EXPECT_EQ(dst.image.pY[3 * w + 5], kSentinel);
    EXPECT_EQ(dst.image.pY[12 * w + 5], kSentinel);
    EXPECT_EQ(dst.image.pY[4 * w + 5], 0);
    EXPECT_EQ(dst.image.pY[6 * w + 4], 255);
    EXPECT_EQ(dst.image.pY[8 * w + 6], 255);
    EXPECT_EQ(dst.image.pY[9 * w + 6], 0);
    // Chroma rows 2 and 5 are the stripe plane's outer ring, only copied.
    const uint8_t grown = withChroma ? 255 : kSentinel;
    const uint8_t copied = withChroma ? 0 : kSentinel;
    EXPECT_EQ(dst.image.pU[1 * 8 + 2], kSentinel);
    EXPECT_EQ(dst.image.pU[2 * 8 + 2], copied);
    EXPECT_EQ(dst.image.pU[4 * 8 + 3], grown);
    EXPECT_EQ(dst.image.pV[3 * 8 + 4], grown);
    EXPECT_EQ(dst.image.pV[5 * 8 + 5], copied);
    EXPECT_EQ(dst.image.pV[6 * 8 + 5], kSentinel);
  }
  // Erosion of the same stripe wipes the lone pixels.
  Frame dst(w, h, kSentinel);
  EXPECT_EQ(EroseProc(&src.image, &dst.image, w, 8, &element, 1, 4 * w, 0), 1);
  EXPECT_EQ(dst.image.pY[7 * w + 5], 0);
  EXPECT_EQ(dst.image.pU[3 * 8 + 2], 0);
  EXPECT_EQ(dst.image.pV[4 * 8 + 5], 0);
}

// --- Morphology ------------------------------------------------------------

TEST(Morphology, WindowEndsOneShortOfTheFarSide) {
  vdtest::LogCapture log;
  const int w = 10, h = 10;
  sVNRPoint element = {3, 3};
  // Erosion: a black pixel erodes its right, lower and lower-right
  // neighbours only; the window of (r, c) is rows r - 1 .. r, columns
  // c - 1 .. c.
  Bytes white(w * h, 255);
  Set(white, w, 4, 4, 0);
  Bytes dst(w * h, kSentinel);
  EXPECT_EQ(Morphology(MORPH_EROSE, white.data(), dst.data(), w, h, &element,
                       0, 0),
            1);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 0),
            (Pixels{{4, 4}, {4, 5}, {5, 4}, {5, 5}}));
  // Dilation mirrors it.
  Bytes black(w * h, 0);
  Set(black, w, 4, 4, 255);
  Morphology(MORPH_DILATE, black.data(), dst.data(), w, h, &element, 0, 0);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255),
            (Pixels{{4, 4}, {4, 5}, {5, 4}, {5, 5}}));
  // 5 wide and 3 high: rows r - 1 .. r, columns c - 2 .. c + 1.
  element = {5, 3};
  Morphology(MORPH_EROSE, white.data(), dst.data(), w, h, &element, 0, 0);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 0),
            (Pixels{{4, 3}, {4, 4}, {4, 5}, {4, 6}, {5, 3}, {5, 4}, {5, 5},
                    {5, 6}}));
  EXPECT_EQ(TimingLines(log), 3);
}

TEST(Morphology, OnlyZeroAnd255TakePart) {
  vdtest::LogCapture log;
  const int w = 10, h = 10;
  sVNRPoint element = {3, 3};
  Bytes dst(w * h, kSentinel);
  // A grey plane never changes, whatever lies in it.
  Bytes grey(w * h, 128);
  Set(grey, w, 4, 4, 0);
  Set(grey, w, 6, 6, 255);
  Morphology(MORPH_EROSE, grey.data(), dst.data(), w, h, &element, 0, 0);
  EXPECT_EQ(dst, grey);
  Morphology(MORPH_DILATE, grey.data(), dst.data(), w, h, &element, 0, 0);
  EXPECT_EQ(dst, grey);
  // A grey byte in a white plane is no witness of erosion.
  Bytes white(w * h, 255);
  Set(white, w, 4, 4, 100);
  Morphology(MORPH_EROSE, white.data(), dst.data(), w, h, &element, 0, 0);
  EXPECT_EQ(dst, white);
}

TEST(Morphology, TypeTwoBehavesAsDilation) {
  vdtest::LogCapture log;
  const int w = 24, h = 20;
  sVNRPoint element = {5, 4};
  Bytes src = vdtest::RandomBytes(w * h, 9);
  for (uint8_t& b : src) b = b < 40 ? 255 : (b < 240 ? 0 : b);
  Bytes dilated(w * h), typeTwo(w * h), eroded(w * h);
  Morphology(MORPH_DILATE, src.data(), dilated.data(), w, h, &element, 0, 0);
  Morphology(static_cast<eVNRMorphologyType>(2), src.data(), typeTwo.data(), w,
             h, &element, 0, 0);
  Morphology(MORPH_EROSE, src.data(), eroded.data(), w, h, &element, 0, 0);
  EXPECT_EQ(typeTwo, dilated);
  EXPECT_NE(typeTwo, src);
  EXPECT_NE(eroded, dilated);
  EXPECT_EQ(TimingLines(log), 3);
}

TEST(Morphology, ElementAsWideAsThePlaneIsHighStillLogs) {
  vdtest::LogCapture log;
  const int w = 10, h = 4;
  sVNRPoint element = {4, 3};  // R = 2: rows 2 .. 1, none
  Bytes src(w * h, 0);
  Set(src, w, 2, 5, 255);
  Bytes dst(w * h, kSentinel);
  EXPECT_EQ(Morphology(MORPH_DILATE, src.data(), dst.data(), w, h, &element,
                       0, 0),
            1);
  EXPECT_EQ(dst, src);
  EXPECT_EQ(TimingLines(log), 1);
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST(MorphologyProc, OneTimingLinePerPlane) {
  vdtest::LogCapture log;
  const int w = 16, h = 16;
  sVNRPoint element = {3, 3};
  Frame src(w, h, 0);
  src.image.pY[6 * w + 5] = 255;
  src.image.pU[3 * 8 + 2] = 255;
  src.image.pV[3 * 8 + 2] = 255;
  Frame dst(w, h, kSentinel);
  EXPECT_EQ(MorphologyProc(MORPH_DILATE, &src.image, &dst.image, w, 8,
                           &element, 0, 1, 4 * w, 0),
            1);
  EXPECT_EQ(TimingLines(log), 3);
  // The stripe's luma (rows 4 .. 11) and chroma (rows 2 .. 5) are written.
  EXPECT_EQ(dst.image.pY[3 * w], kSentinel);
  EXPECT_EQ(dst.image.pY[4 * w], 0);
  EXPECT_EQ(dst.image.pY[7 * w + 6], 255);
  EXPECT_EQ(dst.image.pU[1 * 8], kSentinel);
  EXPECT_EQ(dst.image.pU[4 * 8 + 3], 255);
  EXPECT_EQ(dst.image.pV[4 * 8 + 3], 255);
  EXPECT_EQ(dst.image.pV[6 * 8], kSentinel);
  log.Clear();
  MorphologyProc(MORPH_DILATE, &src.image, &dst.image, w, 8, &element, 0, 0,
                 4 * w, 0);
  EXPECT_EQ(TimingLines(log), 1);
}

// --- Erose / Dilate ----------------------------------------------------------

// A 4 x 3 plane with known values.
const uint8_t kGrid[3][4] = {{50, 60, 70, 80}, {90, 10, 95, 97}, {30, 99, 98, 96}};

Bytes Grid(int stride, uint8_t pad) {
  Bytes p(3 * stride, pad);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) p[r * stride + c] = kGrid[r][c];
  }
  return p;
}

TEST(EroseAndDilate, WindowIsClippedAtThePlaneEdges) {
  sVNRPoint element = {3, 3};
  sVNRRectangle rect = {0, 0, 4, 3};
  // Different strides: the padding bytes of src never count.
  const Bytes src = Grid(6, 0);
  Bytes dst(3 * 5, kSentinel);
  EXPECT_EQ(Erose(const_cast<uint8_t*>(src.data()), dst.data(), 6, 5, &rect,
                  &element, nullptr),
            1);
  const uint8_t minima[3][4] = {{10, 10, 10, 70}, {10, 10, 10, 70}, {10, 10, 10, 95}};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) EXPECT_EQ(dst[r * 5 + c], minima[r][c]) << r << "," << c;
    EXPECT_EQ(dst[r * 5 + 4], kSentinel);
  }
  EXPECT_EQ(Dilate(const_cast<uint8_t*>(src.data()), dst.data(), 6, 5, &rect,
                   &element, nullptr),
            1);
  const uint8_t maxima[3][4] = {{90, 95, 97, 97}, {99, 99, 99, 98}, {99, 99, 99, 98}};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) EXPECT_EQ(dst[r * 5 + c], maxima[r][c]) << r << "," << c;
  }
}

TEST(EroseAndDilate, RectangleRowsAreAbsoluteAndBoundTheTaps) {
  sVNRPoint element = {3, 3};
  Bytes src = Grid(4, 0);
  // Rows 1 .. 2 only: row 0 is neither read nor written.
  sVNRRectangle rows12 = {1, 0, 4, 2};
  Bytes dst(12, kSentinel);
  Erose(src.data(), dst.data(), 4, 4, &rows12, &element, nullptr);
  const Bytes expected = {kSentinel, kSentinel, kSentinel, kSentinel,
                          10, 10, 10, 95,
                          10, 10, 10, 95};
  EXPECT_EQ(dst, expected);
  // A rectangle starting at column 1 still reads and writes from column 0:
  // its left edge only decides which taps count (here the two whose
  // shifted column lies in 1 .. 2), so both outputs are min(50, 60).
  sVNRRectangle shifted = {0, 1, 2, 1};
  Bytes dst2(12, kSentinel);
  Erose(src.data(), dst2.data(), 4, 4, &shifted, &element, nullptr);
  EXPECT_EQ(dst2[0], 50);
  EXPECT_EQ(dst2[1], 50);
  EXPECT_EQ(dst2[2], kSentinel);
  EXPECT_EQ(dst2[4], kSentinel);
}

TEST(EroseAndDilate, DegenerateArguments) {
  Bytes src = Grid(4, 0);
  Bytes dst(12, kSentinel);
  sVNRRectangle rect = {0, 0, 4, 3};
  sVNRPoint flat = {3, 0};
  // No rows in the element: the starting values.
  Erose(src.data(), dst.data(), 4, 4, &rect, &flat, nullptr);
  EXPECT_EQ(dst, Bytes(12, 255));
  Dilate(src.data(), dst.data(), 4, 4, &rect, &flat, nullptr);
  EXPECT_EQ(dst, Bytes(12, 0));
  // Missing pointers or an empty rectangle: nothing written, result 1.
  sVNRPoint element = {3, 3};
  sVNRRectangle empty = {2, 0, 4, 0};
  Bytes untouched(12, kSentinel);
  EXPECT_EQ(Erose(nullptr, untouched.data(), 4, 4, &rect, &element, nullptr), 1);
  EXPECT_EQ(Erose(src.data(), nullptr, 4, 4, &rect, &element, nullptr), 1);
  EXPECT_EQ(Dilate(src.data(), untouched.data(), 4, 4, nullptr, &element, nullptr), 1);
  EXPECT_EQ(Dilate(src.data(), untouched.data(), 4, 4, &rect, nullptr, nullptr), 1);
  EXPECT_EQ(Erose(src.data(), untouched.data(), 4, 4, &empty, &element, nullptr), 1);
  EXPECT_EQ(untouched, Bytes(12, kSentinel));
}

// --- EroseOrDilate ---------------------------------------------------------

TEST(EroseOrDilate, ChromaPlanesOfAnI420Block) {
  // 4 x 2 luma, then 2 x 1 U and 2 x 1 V.
  const Bytes src = {10, 20, 30, 40, 50, 60, 70, 80, 5, 100, 200, 7};
  sVNRPoint element = {3, 3};
  sVNRRectangle ignored = {5, 5, 1, 1};
  {
    Bytes in = src, dst(12, kSentinel);
    EXPECT_EQ(EroseOrDilate(MORPH_EROSE, in.data(), dst.data(), 4, 2, 1,
                            nullptr, &element, &ignored),
              1);
    EXPECT_EQ(dst, (Bytes{10, 10, 20, 30, 10, 10, 20, 30, 5, 5, 7, 7}));
  }
  {
    Bytes in = src, dst(12, kSentinel);
    EroseOrDilate(MORPH_DILATE, in.data(), dst.data(), 4, 2, 1, nullptr,
                  &element, nullptr);
    EXPECT_EQ(dst, (Bytes{60, 70, 80, 80, 60, 70, 80, 80, 100, 100, 200, 200}));
  }
  {
    // Without chroma only the luma is written.
    Bytes in = src, dst(12, kSentinel);
    EroseOrDilate(MORPH_DILATE, in.data(), dst.data(), 4, 2, 0, nullptr,
                  &element, nullptr);
    EXPECT_EQ(dst, (Bytes{60, 70, 80, 80, 60, 70, 80, 80, kSentinel, kSentinel,
                          kSentinel, kSentinel}));
  }
}

TEST(EroseOrDilate, UnknownTypeDoesNothingAndLogsOnce) {
  sVNRPoint element = {3, 3};
  for (int type : {2, -1, 7}) {
    vdtest::LogCapture log;
    Bytes src = vdtest::RandomBytes(12, 1);
    Bytes dst(12, kSentinel);
    EXPECT_EQ(EroseOrDilate(static_cast<eVNRMorphologyType>(type), src.data(),
                            dst.data(), 4, 2, 1, nullptr, &element, nullptr),
              1);
    EXPECT_EQ(dst, Bytes(12, kSentinel));
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << type;
    EXPECT_EQ(lines[0].priority, 6);
    EXPECT_EQ(lines[0].tag, VD_LOG_TAG);
  }
}

}  // namespace
