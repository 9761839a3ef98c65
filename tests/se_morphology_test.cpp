// Structuring-element morphology: the binary window shapes (vertical start
// by the horizontal half-size, the asymmetric Morphology window), the timing
// line, the clipped min / max filters and the I420 dispatch.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/vd_log.h"
#include "morphology/se_morphology.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Pixels = std::vector<std::pair<int, int>>;

constexpr uint8_t kSentinel = 0x5A;

void Set(Bytes& p, int width, int row, int col, uint8_t v) {
  p[static_cast<size_t>(row) * width + col] = v;
}

// The pixels of a width x height plane whose value is v.
Pixels PixelsEqualTo(const Bytes& p, int width, int height, uint8_t v) {
  Pixels out;
  for (int r = 0; r < height; ++r) {
    for (int c = 0; c < width; ++c) {
      if (p[static_cast<size_t>(r) * width + c] == v) out.push_back({r, c});
    }
  }
  return out;
}

// The pixels of rows r0 .. r1, columns c0 .. c1.
Pixels Block(int r0, int r1, int c0, int c1) {
  Pixels out;
  for (int r = r0; r <= r1; ++r) {
    for (int c = c0; c <= c1; ++c) out.push_back({r, c});
  }
  return out;
}

// Timing lines of Morphology captured so far: "morphology total:<ms>\n" at
// priority 6.
int TimingLines(const vdtest::LogCapture& log) {
  int n = 0;
  const std::string prefix = "morphology total:";
  for (const auto& line : log.Lines()) {
    const std::string& m = line.message;
    if (m.compare(0, prefix.size(), prefix) != 0) continue;
    EXPECT_EQ(line.priority, 6);
    EXPECT_EQ(line.tag, VD_LOG_TAG);
    const std::string digits = m.substr(prefix.size(), m.size() - prefix.size() - 1);
    EXPECT_FALSE(digits.empty());
    EXPECT_EQ(digits.find_first_not_of("0123456789"), std::string::npos) << m;
    EXPECT_EQ(m.back(), '\n');
    ++n;
  }
  return n;
}

// --- EroseImage / DilateImage ------------------------------------------------

TEST(EroseAndDilateImage, WindowShapesAndTheOuterRing) {
  const int w = 8, h = 6;
  sVNRPoint element = {3, 3};
  Bytes dst(w * h, kSentinel);
  // A lone pixel is eroded; the outer ring is copied as it is.
  Bytes src(w * h, 0);
  for (auto [r, c] : Pixels{{3, 3}, {0, 0}, {2, 0}, {5, 7}}) Set(src, w, r, c, 255);
  EXPECT_EQ(EroseImage(src.data(), dst.data(), w, h, &element), 1);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), (Pixels{{0, 0}, {2, 0}, {5, 7}}));
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 0).size(), size_t(w * h - 3));
  // A 3 x 3 block keeps only its centre.
  Bytes block(w * h, 0);
  for (auto [r, c] : Block(1, 3, 4, 6)) Set(block, w, r, c, 255);
  EroseImage(block.data(), dst.data(), w, h, &element);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), (Pixels{{2, 5}}));
  // Dilation: any non-zero byte grows to 255 around it and is kept itself.
  Bytes dot(w * h, 0);
  Set(dot, w, 3, 3, 7);
  EXPECT_EQ(DilateImage(dot.data(), dst.data(), w, h, &element), 1);
  Pixels grown = Block(2, 4, 2, 4);
  grown.erase(grown.begin() + 4);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), grown);
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 7), (Pixels{{3, 3}}));
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 0).size(), size_t(w * h - 9));
  // Element 3 wide, 5 high: R = 1, so the window of (r, c) is rows
  // r - 1 .. r + 3. A pixel on row 5 reaches rows 2 .. 4 (the processed
  // rows end at 4); rows 3 and 4 read two rows past the plane (zero here).
  element = {3, 5};
  Bytes low(w * (h + 2), 0);
  Set(low, w, 5, 4, 255);
  DilateImage(low.data(), dst.data(), w, h, &element);
  Pixels expected = Block(2, 4, 3, 5);
  expected.push_back({5, 4});
  EXPECT_EQ(PixelsEqualTo(dst, w, h, 255), expected);
  // The same window for erosion: a black row 7 of a 12 x 10 plane erodes
  // rows 4 .. 8 (the last processed row); row 3 stays.
  const int w2 = 12, h2 = 10;
  Bytes white(w2 * h2, 255), out(w2 * h2, kSentinel);
  for (int c = 0; c < w2; ++c) Set(white, w2, 7, c, 0);
  EroseImage(white.data(), out.data(), w2, h2, &element);
  Pixels eroded = Block(4, 8, 1, w2 - 2);
  for (int c : {0, w2 - 1}) eroded.push_back({7, c});
  std::sort(eroded.begin(), eroded.end());
  EXPECT_EQ(PixelsEqualTo(out, w2, h2, 0), eroded);
  EXPECT_EQ(PixelsEqualTo(out, w2, h2, 255).size(), w2 * h2 - eroded.size());
}

TEST(EroseAndDilateImage, GreyForegroundAndEmptyElement) {
  const int w = 12, h = 10;
  sVNRPoint element = {3, 3};
  Bytes dst(w * h, kSentinel);
  // Non-zero bytes of any value are foreground and are kept as they are;
  // only a zero erodes, and only the processed pixels around it.
  Bytes grey = vdtest::RandomBytes(w * h, 2);
  for (uint8_t& b : grey) b = 1 + b % 254;
  EroseImage(grey.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, grey);
  Set(grey, w, 5, 5, 0);
  EroseImage(grey.data(), dst.data(), w, h, &element);
  Bytes expected = grey;
  for (auto [r, c] : Block(4, 6, 4, 6)) Set(expected, w, r, c, 0);
  EXPECT_EQ(dst, expected);
  // An element with no rows scans nothing: the plane is copied.
  element = {3, 0};
  const Bytes src = vdtest::RandomBytes(w * h, 4);
  Bytes in = src;
  EroseImage(in.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, src);
  DilateImage(in.data(), dst.data(), w, h, &element);
  EXPECT_EQ(dst, src);
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

TEST(SeMorphologyProcs, PlanesAtTheQuarterOffsetAndTimingLines) {
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
    EXPECT_EQ(DilateProc(&src.image, &dst.image, w, 8, &element, withChroma, 4 * w, 0), 1);
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
  Frame dst(w, h, kSentinel);  // erosion of the same stripe wipes the dots
  EXPECT_EQ(EroseProc(&src.image, &dst.image, w, 8, &element, 1, 4 * w, 0), 1);
  EXPECT_EQ(dst.image.pY[7 * w + 5], 0);
  EXPECT_EQ(dst.image.pU[3 * 8 + 2], 0);
  EXPECT_EQ(dst.image.pV[4 * 8 + 5], 0);
  // MorphologyProc: the same planes, one timing line per plane.
  vdtest::LogCapture log;
  Frame mdst(w, h, kSentinel);
  EXPECT_EQ(MorphologyProc(MORPH_DILATE, &src.image, &mdst.image, w, 8, &element, 0, 1, 4 * w,
                           0),
            1);
  EXPECT_EQ(TimingLines(log), 3);
  EXPECT_EQ(mdst.image.pY[3 * w], kSentinel);
  EXPECT_EQ(mdst.image.pY[4 * w], 0);
  EXPECT_EQ(mdst.image.pY[7 * w + 6], 255);
  EXPECT_EQ(mdst.image.pU[1 * 8], kSentinel);
  EXPECT_EQ(mdst.image.pV[6 * 8], kSentinel);
  log.Clear();
  MorphologyProc(MORPH_DILATE, &src.image, &mdst.image, w, 8, &element, 0, 0, 4 * w, 0);
  EXPECT_EQ(TimingLines(log), 1);
}

// --- Morphology ------------------------------------------------------------

TEST(Morphology, AsymmetricWindowAndOnlyZeroAnd255TakePart) {
  vdtest::LogCapture log;
  const int w = 10, h = 10;
  sVNRPoint element = {3, 3};
  Bytes dst(w * h, kSentinel);
  auto run = [&](eVNRMorphologyType type, Bytes src) {
    EXPECT_EQ(Morphology(type, src.data(), dst.data(), w, h, &element, 0, 0), 1);
    return dst;
  };
  // The window of (r, c) is rows r - 1 .. r, columns c - 1 .. c: a black
  // pixel erodes its right, lower and lower-right neighbours only.
  Bytes white(w * h, 255), black(w * h, 0);
  Set(white, w, 4, 4, 0);
  Set(black, w, 4, 4, 255);
  EXPECT_EQ(PixelsEqualTo(run(MORPH_EROSE, white), w, h, 0), Block(4, 5, 4, 5));
  EXPECT_EQ(PixelsEqualTo(run(MORPH_DILATE, black), w, h, 255), Block(4, 5, 4, 5));
  // 5 wide and 3 high: rows r - 1 .. r, columns c - 2 .. c + 1.
  element = {5, 3};
  EXPECT_EQ(PixelsEqualTo(run(MORPH_EROSE, white), w, h, 0), Block(4, 5, 3, 6));
  EXPECT_EQ(TimingLines(log), 3);
  element = {3, 3};
  // A grey plane never changes; a grey byte is no witness of erosion.
  Bytes grey(w * h, 128);
  Set(grey, w, 4, 4, 0);
  Set(grey, w, 6, 6, 255);
  EXPECT_EQ(run(MORPH_EROSE, grey), grey);
  EXPECT_EQ(run(MORPH_DILATE, grey), grey);
  Bytes whiteGrey(w * h, 255);
  Set(whiteGrey, w, 4, 4, 100);
  EXPECT_EQ(run(MORPH_EROSE, whiteGrey), whiteGrey);
}

TEST(Morphology, TypeTwoIsDilationAndATallElementStillLogs) {
  vdtest::LogCapture log;
  const int w = 24, h = 20;
  sVNRPoint element = {5, 4};
  Bytes src = vdtest::RandomBytes(w * h, 9);
  for (uint8_t& b : src) b = b < 40 ? 255 : (b < 240 ? 0 : b);
  Bytes dilated(w * h), typeTwo(w * h), eroded(w * h);
  Morphology(MORPH_DILATE, src.data(), dilated.data(), w, h, &element, 0, 0);
  Morphology(static_cast<eVNRMorphologyType>(2), src.data(), typeTwo.data(), w, h, &element, 0,
             0);
  Morphology(MORPH_EROSE, src.data(), eroded.data(), w, h, &element, 0, 0);
  EXPECT_EQ(typeTwo, dilated);
  EXPECT_NE(typeTwo, src);
  EXPECT_NE(eroded, dilated);
  EXPECT_EQ(TimingLines(log), 3);
  // Element 4 wide on a 4-row plane: R = 2, rows 2 .. 1, none; still logs.
  log.Clear();
  element = {4, 3};
  Bytes dot(10 * 4, 0), dst(10 * 4, kSentinel);
  Set(dot, 10, 2, 5, 255);
  EXPECT_EQ(Morphology(MORPH_DILATE, dot.data(), dst.data(), 10, 4, &element, 0, 0), 1);
  EXPECT_EQ(dst, dot);
  EXPECT_EQ(TimingLines(log), 1);
  EXPECT_EQ(log.Lines().size(), 1u);
}

// --- Erose / Dilate ----------------------------------------------------------

// A 4 x 3 plane with known values at the given stride.
Bytes Grid(int stride) {
  const uint8_t grid[3][4] = {{50, 60, 70, 80}, {90, 10, 95, 97}, {30, 99, 98, 96}};
  Bytes p(3 * stride, 0);
  for (int r = 0; r < 3; ++r) std::memcpy(&p[r * stride], grid[r], 4);
  return p;
}

TEST(EroseAndDilate, ClippedWindowAbsoluteRectangleRowsAndTaps) {
  sVNRPoint element = {3, 3};
  sVNRRectangle rect = {0, 0, 4, 3};
  // Different strides: the padding bytes of src never count.
  Bytes src = Grid(6), dst(3 * 5, kSentinel);
  EXPECT_EQ(Erose(src.data(), dst.data(), 6, 5, &rect, &element, nullptr), 1);
  EXPECT_EQ(dst, (Bytes{10, 10, 10, 70, kSentinel, 10, 10, 10, 70, kSentinel, 10, 10, 10, 95,
                        kSentinel}));
  EXPECT_EQ(Dilate(src.data(), dst.data(), 6, 5, &rect, &element, nullptr), 1);
  EXPECT_EQ(dst, (Bytes{90, 95, 97, 97, kSentinel, 99, 99, 99, 98, kSentinel, 99, 99, 99, 98,
                        kSentinel}));
  // Rows 1 .. 2 only: row 0 is neither read nor written.
  Bytes grid = Grid(4), out(12, kSentinel);
  sVNRRectangle rows12 = {1, 0, 4, 2};
  Erose(grid.data(), out.data(), 4, 4, &rows12, &element, nullptr);
  EXPECT_EQ(out, (Bytes{kSentinel, kSentinel, kSentinel, kSentinel, 10, 10, 10, 95, 10, 10, 10,
                        95}));
  // A rectangle starting at column 1 still reads and writes from column 0:
  // its left edge only decides which taps count (here the two whose
  // shifted column lies in 1 .. 2), so both outputs are min(50, 60).
  sVNRRectangle shifted = {0, 1, 2, 1};
  Bytes out2(12, kSentinel);
  Erose(grid.data(), out2.data(), 4, 4, &shifted, &element, nullptr);
  EXPECT_EQ(out2, (Bytes{50, 50, kSentinel, kSentinel, kSentinel, kSentinel, kSentinel,
                         kSentinel, kSentinel, kSentinel, kSentinel, kSentinel}));
}

TEST(EroseAndDilate, DegenerateArguments) {
  Bytes src = Grid(4), dst(12, kSentinel);
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

TEST(EroseOrDilate, I420BlockAndUnknownTypes) {
  // 4 x 2 luma, then 2 x 1 U and 2 x 1 V; the rectangle is ignored.
  const Bytes src = {10, 20, 30, 40, 50, 60, 70, 80, 5, 100, 200, 7};
  sVNRPoint element = {3, 3};
  sVNRRectangle ignored = {5, 5, 1, 1};
  const uint8_t s = kSentinel;
  struct Case {
    int type, chroma;
    Bytes expected;
    int logLines;
  };
  const Case cases[] = {
      {MORPH_EROSE, 1, {10, 10, 20, 30, 10, 10, 20, 30, 5, 5, 7, 7}, 0},
      {MORPH_DILATE, 1, {60, 70, 80, 80, 60, 70, 80, 80, 100, 100, 200, 200}, 0},
      {MORPH_DILATE, 0, {60, 70, 80, 80, 60, 70, 80, 80, s, s, s, s}, 0},
      // Unknown types (2 included here) do nothing and log one error.
      {2, 1, Bytes(12, s), 1},
      {-1, 1, Bytes(12, s), 1},
      {7, 1, Bytes(12, s), 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " chroma " << c.chroma);
    vdtest::LogCapture log;
    Bytes in = src, dst(12, s);
    EXPECT_EQ(EroseOrDilate(static_cast<eVNRMorphologyType>(c.type), in.data(), dst.data(), 4,
                            2, c.chroma, nullptr, &element, &ignored),
              1);
    EXPECT_EQ(dst, c.expected);
    const auto lines = log.Lines();
    ASSERT_EQ(static_cast<int>(lines.size()), c.logLines);
    if (c.logLines) {
      EXPECT_EQ(lines[0].priority, 6);
      EXPECT_EQ(lines[0].tag, VD_LOG_TAG);
    }
  }
}

}  // namespace
