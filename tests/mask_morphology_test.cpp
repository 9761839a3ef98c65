// Mask morphology: the discrete-point rule, erosion and dilation values, the
// border rule per edge type, the row / column stepping at awkward widths
// (including the defined overruns), the stripe wrappers and the vector twins
// against the scalar references.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <set>
#include <utility>
#include <vector>

#include "morphology/mask_morphology.h"
#include "morphology/mask_morphology_internal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using ExportedFn = int (*)(unsigned char*, unsigned char*, int, int, int);
using ReferenceFn = int (*)(const uint8_t*, uint8_t*, int, int, int);

constexpr uint8_t kSentinel = 0x5A;

int DiscretePoints(unsigned char* src, unsigned char* dst, int width,
                   int rows, int edgeType) {
  return DeleteDiscretePoints(src, dst, width, rows, edgeType, 0, 4);
}

uint8_t At(const Bytes& p, int width, int row, int col) {
  return p[static_cast<size_t>(row) * width + col];
}

void Set(Bytes& p, int width, int row, int col, uint8_t v) {
  p[static_cast<size_t>(row) * width + col] = v;
}

// Runs a kernel on a copy of src into a destination pre-filled with
// kSentinel; both buffers have the same size.
Bytes Filter(ExportedFn fn, Bytes src, int width, int rows, int edgeType,
          int* result = nullptr) {
  Bytes dst(src.size(), kSentinel);
  const int r = fn(src.data(), dst.data(), width, rows, edgeType);
  if (result) *result = r;
  return dst;
}

// Which destination bytes a call writes: two runs on destinations filled
// with different bytes; a byte is written when it differs from its fill in
// either run.
std::vector<bool> WrittenBytes(size_t n,
                               const std::function<void(uint8_t*)>& call) {
  Bytes a(n, 0x5A);
  Bytes b(n, 0xA5);
  call(a.data());
  call(b.data());
  std::vector<bool> written(n);
  for (size_t i = 0; i < n; ++i) written[i] = a[i] != 0x5A || b[i] != 0xA5;
  return written;
}

std::vector<bool> WrittenBy(ExportedFn fn, int width, int rows, int edgeType,
                            size_t n) {
  Bytes src = vdtest::RandomBytes(n, 7);
  return WrittenBytes(n, [&](uint8_t* dst) {
    fn(src.data(), dst, width, rows, edgeType);
  });
}

// The byte positions of the half-open ranges.
std::vector<bool> Positions(size_t n,
                            std::initializer_list<std::pair<int, int>> ranges) {
  std::vector<bool> out(n, false);
  for (const auto& r : ranges) {
    for (int i = r.first; i < r.second; ++i) out[static_cast<size_t>(i)] = true;
  }
  return out;
}

// --- Discrete points ---------------------------------------------------------

TEST(DeleteDiscretePoints, NeighbourCountFigures) {
  const int w = 64, rows = 8;  // (64 - 2) mod 32 = 30: exact width
  const int r = 3, c = 10;
  {
    SCOPED_TRACE("a lone set pixel is removed");
    Bytes src(w * rows, 0);
    Set(src, w, r, c, 255);
    EXPECT_EQ(Filter(DiscretePoints, src, w, rows, 1), Bytes(w * rows, 0));
  }
  {
    SCOPED_TRACE("a hole in a set mask is filled");
    Bytes src(w * rows, 255);
    Set(src, w, r, c, 0);
    EXPECT_EQ(Filter(DiscretePoints, src, w, rows, 1), Bytes(w * rows, 255));
  }
  // The eight neighbours in a fixed order.
  const int ring[8][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, 1},
                          {1, 1},   {1, 0},  {1, -1}, {0, -1}};
  for (int set = 0; set <= 8; ++set) {
    for (uint8_t centre : {uint8_t(0), uint8_t(255)}) {
      SCOPED_TRACE(testing::Message() << set << " set neighbours, centre "
                                      << int(centre));
      Bytes src(w * rows, 0);
      Set(src, w, r, c, centre);
      for (int i = 0; i < set; ++i) Set(src, w, r + ring[i][0], c + ring[i][1], 255);
      const bool expected = centre ? set >= 2 : set >= 7;
      EXPECT_EQ(At(Filter(DiscretePoints, src, w, rows, 1), w, r, c),
                expected ? 255 : 0);
    }
  }
}

TEST(DeleteDiscretePoints, ThresholdIs128AndOutputIsBinary) {
  const int w = 34, rows = 6;  // (34 - 2) = 32: one whole step per row
  // A set pixel with exactly two set neighbours in a row survives when all
  // three are >= 128, and goes when one of them is 127.
  for (uint8_t v : {uint8_t(128), uint8_t(200), uint8_t(254)}) {
    Bytes src(w * rows, 0);
    Set(src, w, 2, 10, v);
    Set(src, w, 2, 11, v);
    Set(src, w, 2, 12, v);
    const Bytes dst = Filter(DiscretePoints, src, w, rows, 1);
    EXPECT_EQ(At(dst, w, 2, 11), 255) << int(v);
    EXPECT_EQ(At(dst, w, 2, 10), 0) << int(v);  // one set neighbour only
    Set(src, w, 2, 12, 127);
    EXPECT_EQ(At(Filter(DiscretePoints, src, w, rows, 1), w, 2, 11), 0) << int(v);
  }
  // Arbitrary bytes: every computed byte is 0 or 255, borders are copies.
  const int rows2 = 12;
  const Bytes src = vdtest::RandomBytes(w * rows2, 3);
  const Bytes dst = Filter(DiscretePoints, src, w, rows2, 1);
  for (int row = 0; row < rows2; ++row) {
    for (int col = 0; col < w; ++col) {
      const bool border = row == 0 || row == rows2 - 1 || col == 0 || col == w - 1;
      if (border) {
        EXPECT_EQ(At(dst, w, row, col), At(src, w, row, col));
      } else {
        EXPECT_TRUE(At(dst, w, row, col) == 0 || At(dst, w, row, col) == 255);
      }
    }
  }
}

// --- Border rule per edge type ----------------------------------------------

struct KernelCase {
  const char* name;
  ExportedFn fn;
  int k;
  int width;  // a width whose row walk is exact
};

const KernelCase kKernels[] = {
    {"DeleteDiscretePoints", DiscretePoints, 1, 64},
    {"Erose5x5", Erose5x5, 2, 68},
    {"Dilate9x9", Dilate9x9, 4, 72},
    {"Dilate15x15", Dilate15x15, 7, 44},
};

TEST(MaskKernels, BorderRowsFollowTheEdgeType) {
  const int rows = 26;  // every kernel's row walk ends at its last interior row
  for (const KernelCase& kc : kKernels) {
    const int w = kc.width, k = kc.k;
    // Room for the rows Dilate9x9 reads past the end.
    const size_t n = static_cast<size_t>(rows + 4) * w;
    for (int edge = 0; edge <= 3; ++edge) {
      SCOPED_TRACE(testing::Message() << kc.name << " edge type " << edge);
      const std::vector<bool> written = WrittenBy(kc.fn, w, rows, edge, n);
      const bool top = edge == 3 || edge == 1;
      const bool bottom = edge == 1 || edge == 2;
      for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < w; ++col) {
          const bool side = col < k || col >= w - k;
          bool expected;
          if (row < k) {
            expected = top;
          } else if (row >= rows - k) {
            // Dilate9x9 computes its last four rows anyway; their side bytes
            // are written only by the copy.
            expected = bottom || (kc.k == 4 && !side);
          } else {
            expected = true;
          }
          ASSERT_EQ(written[static_cast<size_t>(row) * w + col], expected)
              << "row " << row << " col " << col;
        }
      }
    }
  }
}

// --- Values of the AND / OR windows on exact widths ------------------------

// The straightforward definition: AND (or OR) of the full square window,
// for each pixel of rows first .. last and columns k .. width - k - 1.
void ExpectWindowModel(const Bytes& src, const Bytes& dst, int w, int k,
                       bool isAnd, int firstRow, int lastRow, int lastCol) {
  for (int row = firstRow; row <= lastRow; ++row) {
    for (int col = k; col <= lastCol; ++col) {
      uint8_t m = isAnd ? 255 : 0;
      for (int y = row - k; y <= row + k; ++y) {
        for (int x = col - k; x <= col + k; ++x) {
          m = isAnd ? (m & At(src, w, y, x)) : (m | At(src, w, y, x));
        }
      }
      ASSERT_EQ(At(dst, w, row, col), m) << "row " << row << " col " << col;
    }
  }
}

TEST(MaskKernels, WindowsAreBitwiseOnExactWidths) {
  // Arbitrary bytes pass through the AND / OR bit by bit.
  for (int w : {36, 40, 64, 68, 72, 100}) {
    const int rows = 16;
    const Bytes src = vdtest::RandomBytes(static_cast<size_t>(rows + 8) * w, w);
    // Biased bytes so that the ANDs are not all zero.
    Bytes dense = src;
    for (uint8_t& b : dense) b |= 0xB6;
    if ((w - 4) % 32 == 0 || (w - 4) % 32 == 28) {
      SCOPED_TRACE(testing::Message() << "Erose5x5 width " << w);
      const Bytes dst = Filter(Erose5x5, dense, w, rows, 1);
      ExpectWindowModel(dense, dst, w, 2, true, 2, rows - 3, w - 3);
    }
    if ((w - 8) % 32 == 0 || (w - 8) % 32 == 24) {
      SCOPED_TRACE(testing::Message() << "Dilate9x9 width " << w);
      Bytes sparse = src;
      for (uint8_t& b : sparse) b &= 0x49;
      const Bytes dst = Filter(Dilate9x9, sparse, w, rows, 1);
      ExpectWindowModel(sparse, dst, w, 4, false, 4, rows - 1, w - 5);
    }
    {
      SCOPED_TRACE(testing::Message() << "Dilate15x15 width " << w);
      Bytes sparse = src;
      for (uint8_t& b : sparse) b &= 0x21;
      const Bytes dst = Filter(Dilate15x15, sparse, w, rows + 2, 1);  // 1 group
      ExpectWindowModel(sparse, dst, w, 7, false, 7, 10,
                        7 + 2 * ((w - 14) / 2) - 1);
    }
  }
}

TEST(Erose5x5, HoleClearsItsInteriorNeighbourhood) {
  const int w = 36, rows = 12;  // 36 - 4 = 32: exact
  {
    Bytes src(w * rows, 255);
    Set(src, w, 5, 20, 0);
    const Bytes dst = Filter(Erose5x5, src, w, rows, 1);
    for (int row = 0; row < rows; ++row) {
      for (int col = 0; col < w; ++col) {
        const bool cleared = row >= 3 && row <= 7 && col >= 18 && col <= 22;
        ASSERT_EQ(At(dst, w, row, col), cleared ? 0 : 255) << row << "," << col;
      }
    }
  }
  {
    // A hole on the border row/column: only interior pixels are cleared, the
    // hole itself is a border byte copied as it is.
    Bytes src(w * rows, 255);
    Set(src, w, 1, 1, 0);
    const Bytes dst = Filter(Erose5x5, src, w, rows, 1);
    for (int row = 0; row < rows; ++row) {
      for (int col = 0; col < w; ++col) {
        const bool zero = (row == 1 && col == 1) ||
                          (row >= 2 && row <= 3 && col >= 2 && col <= 3);
        ASSERT_EQ(At(dst, w, row, col), zero ? 0 : 255) << row << "," << col;
      }
    }
  }
}

// --- Row / column stepping -------------------------------------------------

TEST(MaskKernels, RowWalkDriftsOnInexactWidths) {
  {
    // Width 50: 48 interior columns = one 32-step and a 30-step, so each row
    // covers 62 bytes from column 1 and the next pair starts 62 + 52 bytes
    // later: 14 bytes right of row 3, column 1.
    SCOPED_TRACE("DeleteDiscretePoints 50 x 6");
    const size_t n = 400;
    EXPECT_EQ(WrittenBy(DiscretePoints, 50, 6, 0, n),
              Positions(n, {{51, 113}, {101, 163}, {165, 227}, {215, 277},
                            {50, 51}, {99, 101}, {149, 151}, {199, 201},
                            {249, 250}}));
  }
  {
    // An odd last interior row is done alone: width 34 (exact), rows 5.
    SCOPED_TRACE("DeleteDiscretePoints 34 x 5");
    const size_t n = 300;
    EXPECT_EQ(WrittenBy(DiscretePoints, 34, 5, 0, n),
              Positions(n, {{34, 136}}));
  }
  {
    // Width 40: 36 interior columns = 32 + a 28-step = 60 bytes per row; the
    // next pair starts 60 + 44 bytes later. Rows 9: the odd last interior
    // row 6 is not computed, only its side bytes are copied.
    SCOPED_TRACE("Erose5x5 40 x 9");
    const size_t n = 500;
    EXPECT_EQ(WrittenBy(Erose5x5, 40, 9, 0, n),
              Positions(n, {{82, 142}, {122, 182}, {186, 246}, {226, 286},
                            {80, 82}, {118, 120}, {158, 160}, {198, 200},
                            {238, 242}, {278, 280}}));
  }
  {
    // Width 45: 37 interior columns = 32 + a 24-step = 56 bytes per row; the
    // next pair starts 56 + 53 bytes later. Rows 8 give two pairs from row
    // 4: rows 4 .. 7 and four rows further on, and no side copies.
    SCOPED_TRACE("Dilate9x9 45 x 8");
    const size_t n = 800;
    EXPECT_EQ(WrittenBy(Dilate9x9, 45, 8, 0, n),
              Positions(n, {{184, 240}, {229, 285}, {293, 349}, {338, 394}}));
  }
  {
    // Width 20: rows of 16 outputs, each starting 30 bytes after the last
    // one (14 past its end): rows 2, 3 + 12 columns, and 5.
    SCOPED_TRACE("Dilate5x5 20 x 7");
    const size_t n = 400;
    EXPECT_EQ(WrittenBy(Dilate5x5, 20, 7, 0, n),
              Positions(n, {{42, 58}, {72, 88}, {102, 118}, {40, 42},
                            {58, 62}, {78, 82}, {98, 100}}));
    // Fewer than five rows compute nothing.
    EXPECT_EQ(WrittenBy(Dilate5x5, 20, 4, 1, n), Positions(n, {{0, 80}}));
  }
}

TEST(Dilate5x5, ShiftedRowsHoldTheWindowOfTheirOwnBytes) {
  // The value at every computed byte is the OR of the 5 x 5 block around
  // that byte of the flat plane, whichever row walk wrote it.
  const int w = 20, rows = 7;
  Bytes src(400, 0);
  src[3 * w + 14] = 0x10;  // row 3, column 14
  const Bytes dst = Filter(Dilate5x5, src, w, rows, 0);
  // Row 2 (bytes 42..57) sees it at columns 12..16; the second walk row
  // (bytes 72..87 = row 3 columns 12..19, row 4 columns 0..7) at row 3
  // columns 12..16 only; the third (row 5, columns 2..17) at columns 12..16.
  std::set<int> expected;
  for (int row = 1; row <= 5; ++row) {
    for (int col = 12; col <= 16; ++col) expected.insert(row * w + col);
  }
  for (int i : {42, 72, 102}) {
    for (int j = 0; j < 16; ++j) {
      const int at = i + j;
      EXPECT_EQ(dst[at], expected.count(at) ? 0x10 : 0) << "byte " << at;
    }
  }
}

TEST(Dilate15x15, GroupsOfFourRowsAndColumnPairs) {
  {
    // 31 columns: 17 interior, 8 pairs (columns 7 .. 22), column 23 left.
    // 21 rows: one group (rows 7 .. 10), rows 11 .. 13 left; side borders
    // of rows 7 .. 13 copied.
    const int w = 31, rows = 21;
    const size_t n = static_cast<size_t>(w) * rows;
    const std::vector<bool> written = WrittenBy(Dilate15x15, w, rows, 0, n);
    for (int row = 0; row < rows; ++row) {
      for (int col = 0; col < w; ++col) {
        const bool side = row >= 7 && row <= 13 && (col < 7 || col >= 24);
        const bool computed = row >= 7 && row <= 10 && col >= 7 && col <= 22;
        EXPECT_EQ(written[static_cast<size_t>(row) * w + col], side || computed)
            << row << "," << col;
      }
    }
  }
  {
    // 14 rows: no interior row, and no side copies either.
    const int w = 31, rows = 14;
    const size_t n = static_cast<size_t>(w) * rows;
    EXPECT_EQ(WrittenBy(Dilate15x15, w, rows, 0, n), std::vector<bool>(n, false));
  }
  {
    // A single pixel grows to a 15 x 15 square.
    const int w = 40, rows = 30;  // groups: rows 7 .. 22; pairs: cols 7 .. 32
    Bytes src(static_cast<size_t>(w) * rows, 0);
    Set(src, w, 14, 20, 255);
    const Bytes dst = Filter(Dilate15x15, src, w, rows, 1);
    for (int row = 7; row <= 22; ++row) {
      for (int col = 7; col <= 32; ++col) {
        const bool in = row <= 21 && col >= 13 && col <= 27;
        ASSERT_EQ(At(dst, w, row, col), in ? 255 : 0) << row << "," << col;
      }
    }
  }
}

// --- Dilate9x9 reads four rows past its last row ----------------------------

TEST(Dilate9x9, TenRowsComputeRowsFourToNineFromSourceRowsZeroToThirteen) {
  for (int w : {40, 64}) {  // one whole step; a whole step and a 24-step
    SCOPED_TRACE(testing::Message() << "width " << w);
    // The source ends exactly after row 13; any read past it faults.
    vdtest::GuardedBuffer src(static_cast<size_t>(14) * w);
    vdtest::GuardedBuffer dst(static_cast<size_t>(10) * w);
    std::memset(src.data(), 0, src.size());
    src.data()[0 * w + 10] = 255;   // row 0 reaches row 4 only
    src.data()[13 * w + 30] = 255;  // row 13 reaches row 9 only

    std::vector<std::pair<const char*, std::function<void()>>> variants = {
        {"Dilate9x9", [&] { Dilate9x9(src.data(), dst.data(), w, 10, 0); }},
        {"Dilate9x9_C", [&] { Dilate9x9_C(src.data(), dst.data(), w, 10, 0); }},
#if defined(__ARM_NEON)
        {"Dilate9x9_NEON",
         [&] { Dilate9x9_NEON(src.data(), dst.data(), w, 10, 0); }},
#endif
    };
    for (auto& variant : variants) {
      SCOPED_TRACE(variant.first);
      std::memset(dst.data(), kSentinel, dst.size());
      variant.second();
      for (int row = 0; row < 10; ++row) {
        for (int col = 0; col < w; ++col) {
          uint8_t expected = kSentinel;  // edge type 0 copies no rows
          if (row >= 4 && col >= 4 && col < w - 4) {
            expected = (row == 4 && col >= 6 && col <= 14) ||
                               (row == 9 && col >= 26 && col <= 34)
                           ? 255
                           : 0;
          } else if (row >= 4 && row <= 5) {
            expected = 0;  // side bytes of rows 4 .. rows - 5 are copied
          }
          ASSERT_EQ(dst.data()[row * w + col], expected) << row << "," << col;
        }
      }
    }
  }
}

TEST(Dilate9x9, OddRowCountLeavesTheLastRow) {
  const int w = 40, rows = 11;  // three pairs: rows 4 .. 9
  const size_t n = static_cast<size_t>(rows + 4) * w;
  const std::vector<bool> written = WrittenBy(Dilate9x9, w, rows, 0, n);
  for (int row = 0; row < rows + 4; ++row) {
    for (int col = 0; col < w; ++col) {
      const bool interior = row >= 4 && row <= 9 && col >= 4 && col < w - 4;
      const bool side = row >= 4 && row <= 6 && (col < 4 || col >= w - 4);
      EXPECT_EQ(written[static_cast<size_t>(row) * w + col], interior || side)
          << row << "," << col;
    }
  }
}

// --- Stripe wrappers -------------------------------------------------------

// A planar frame (luma, then U, then V, each followed by slack rows for the
// reads and writes past a plane) and an image record on it.
struct Frame {
  Frame(int width, int height, uint8_t fill) : w(width), h(height) {
    const size_t luma = static_cast<size_t>(w) * (h + 16);
    const size_t chroma = static_cast<size_t>(w / 2) * (h / 2 + 16);
    data.assign(luma + 2 * chroma, fill);
    image = sYuvImage_t{};
    image.iWidth = w;
    image.iHeight = h;
    image.iStride = w;
    image.pBuffer = image.pY = data.data();
    image.pU = data.data() + luma;
    image.pV = image.pU + chroma;
  }
  // Rows of a plane holding any byte other than fill.
  std::set<int> RowsChanged(const uint8_t* plane, int width, int rows,
                            uint8_t fill) const {
    std::set<int> out;
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < width; ++c) {
        if (plane[r * width + c] != fill) out.insert(r);
      }
    }
    return out;
  }
  int w, h;
  Bytes data;
  sYuvImage_t image;
};

std::set<int> Range(int first, int last) {
  std::set<int> s;
  for (int i = first; i <= last; ++i) s.insert(i);
  return s;
}

TEST(StripeWrappers, DiscretePointChromaRowsShiftByTheMargins) {
  const int w = 64, h = 160;
  struct Stripe {
    int first, rows, edge;
    std::set<int> chroma;  // chroma rows written
  };
  // Middle stripe of 48 rows: chroma from row 23 with 48 >> 3 = 6 rows, so
  // rows 24 .. 27 are computed. Top stripe: 48 >> 2 = 12 rows from row 0,
  // row 0 copied and rows 1 .. 10 computed. Bottom stripe of 64 rows: from
  // chroma row 47, 16 rows, rows 48 .. 61 computed and the last one copied.
  // A whole frame of 160 rows: 80 chroma rows, all written.
  const Stripe stripes[] = {{48, 48, 0, Range(24, 27)},
                            {0, 48, 3, Range(0, 10)},
                            {96, 64, 2, Range(48, 62)},
                            {0, 160, 1, Range(0, 79)}};
  for (const Stripe& s : stripes) {
    SCOPED_TRACE(testing::Message() << "edge type " << s.edge);
    Frame src(w, h, 255);
    Frame dst(w, h, kSentinel);
    EXPECT_EQ(DeleteDiscretePointsProc(&src.image, &dst.image, w, s.rows, 1,
                                       s.first * w, s.edge),
              1);
    // Luma: exactly the stripe's own rows.
    EXPECT_EQ(dst.RowsChanged(dst.image.pY, w, h, kSentinel),
              Range(s.first, s.first + s.rows - 1));
    EXPECT_EQ(dst.RowsChanged(dst.image.pU, w / 2, h / 2, kSentinel), s.chroma);
    EXPECT_EQ(dst.RowsChanged(dst.image.pV, w / 2, h / 2, kSentinel), s.chroma);
  }
}

TEST(StripeWrappers, EroseAndDilateWriteTheirStripePlusDilationOverrun) {
  const int w = 64, h = 160;
  Frame src(w, h, 255);
  {
    // Erosion of a middle stripe writes exactly its rows, luma and chroma.
    Frame dst(w, h, kSentinel);
    EXPECT_EQ(EroseProcess(&src.image, &dst.image, w, 48, 1, 48 * w, 0), 1);
    EXPECT_EQ(dst.RowsChanged(dst.image.pY, w, h, kSentinel), Range(48, 95));
    EXPECT_EQ(dst.RowsChanged(dst.image.pU, w / 2, h / 2, kSentinel),
              Range(24, 47));
    EXPECT_EQ(dst.RowsChanged(dst.image.pV, w / 2, h / 2, kSentinel),
              Range(24, 47));
  }
  {
    // Dilation of a middle stripe also writes the next stripe's first four
    // rows of each plane.
    Frame dst(w, h, kSentinel);
    EXPECT_EQ(DilateProcess(&src.image, &dst.image, w, 48, 1, 48 * w, 0), 1);
    EXPECT_EQ(dst.RowsChanged(dst.image.pY, w, h, kSentinel), Range(48, 99));
    EXPECT_EQ(dst.RowsChanged(dst.image.pU, w / 2, h / 2, kSentinel),
              Range(24, 51));
    EXPECT_EQ(dst.RowsChanged(dst.image.pV, w / 2, h / 2, kSentinel),
              Range(24, 51));
  }
  {
    // Without the chroma flag the chroma planes are left alone.
    Frame dst(w, h, kSentinel);
    EroseProcess(&src.image, &dst.image, w, 48, 0, 48 * w, 0);
    EXPECT_TRUE(dst.RowsChanged(dst.image.pU, w / 2, h / 2, kSentinel).empty());
  }
}

TEST(StripeWrappers, ThreeStripesMatchTheWholeFrame) {
  // Top, middle and bottom stripes run one after another give the same
  // planes as one whole-frame call (luma and chroma for erosion and
  // dilation; luma for discrete points, whose chroma row count differs).
  const int w = 64, h = 160;
  Frame src(w, h, 0);
  Bytes noise = vdtest::RandomBytes(src.data.size(), 5);
  for (size_t i = 0; i < src.data.size(); ++i) {
    src.data[i] = (noise[i] & 7) == 0 ? 0 : 255;
  }
  struct Wrapper {
    const char* name;
    int (*fn)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);
    bool chroma;
  };
  const Wrapper wrappers[] = {{"EroseProcess", EroseProcess, true},
                              {"DilateProcess", DilateProcess, true},
                              {"DeleteDiscretePointsProc",
                               DeleteDiscretePointsProc, false}};
  for (const Wrapper& wr : wrappers) {
    SCOPED_TRACE(wr.name);
    Frame whole(w, h, kSentinel);
    Frame striped(w, h, kSentinel);
    wr.fn(&src.image, &whole.image, w, h, wr.chroma, 0, 1);
    wr.fn(&src.image, &striped.image, w, 48, wr.chroma, 0, 3);
    wr.fn(&src.image, &striped.image, w, 48, wr.chroma, 48 * w, 0);
    wr.fn(&src.image, &striped.image, w, 64, wr.chroma, 96 * w, 2);
    Bytes a(whole.data.begin(), whole.data.begin() + w * h);
    Bytes b(striped.data.begin(), striped.data.begin() + w * h);
    EXPECT_EQ(a, b);
    if (wr.chroma) {
      const size_t c = static_cast<size_t>(w / 2) * (h / 2);
      EXPECT_TRUE(std::equal(whole.image.pU, whole.image.pU + c,
                             striped.image.pU));
      EXPECT_TRUE(std::equal(whole.image.pV, whole.image.pV + c,
                             striped.image.pV));
    }
  }
}

// --- Vector twins against the scalar references -----------------------------

struct Twin {
  const char* name;
  ExportedFn exported;
  ReferenceFn reference;
#if defined(__ARM_NEON)
  ReferenceFn neon;
#endif
  int k;
};

const Twin kTwins[] = {
#if defined(__ARM_NEON)
    {"DeleteDiscretePoints", DiscretePoints, DeleteDiscretePoints_C,
     DeleteDiscretePoints_NEON, 1},
    {"Erose5x5", Erose5x5, Erose5x5_C, Erose5x5_NEON, 2},
    {"Dilate9x9", Dilate9x9, Dilate9x9_C, Dilate9x9_NEON, 4},
    {"Dilate15x15", Dilate15x15, Dilate15x15_C, Dilate15x15_NEON, 7},
#else
    {"DeleteDiscretePoints", DiscretePoints, DeleteDiscretePoints_C, 1},
    {"Erose5x5", Erose5x5, Erose5x5_C, 2},
    {"Dilate9x9", Dilate9x9, Dilate9x9_C, 4},
    {"Dilate15x15", Dilate15x15, Dilate15x15_C, 7},
#endif
};

// Runs fn on a fresh copy of src into a sentinel-filled buffer of the same
// size and returns the whole buffer, overrun bytes included.
template <typename Fn>
Bytes RunAll(Fn fn, const Bytes& src, int width, int rows, int edge) {
  Bytes in = src;
  Bytes out(src.size(), kSentinel);
  fn(in.data(), out.data(), width, rows, edge);
  EXPECT_EQ(in, src) << "source modified";
  return out;
}

TEST(MaskKernels, VectorTwinsMatchScalarReferences) {
  uint32_t seed = 1;
  for (const Twin& t : kTwins) {
    for (int iter = 0; iter < 400; ++iter, ++seed) {
      const Bytes dims = vdtest::RandomBytes(4, seed);
      const int width = 2 * t.k + 1 + dims[0] % 110;
      const int rows = 1 + dims[1] % 30;
      const int edge = dims[2] % 4;
      const bool binary = dims[3] & 1;
      // Room for the row walk's drift and the reads past the last row.
      const size_t n = static_cast<size_t>(rows + 2 * t.k + 4) * width +
                       32 * static_cast<size_t>(rows) + 128;
      Bytes src = vdtest::RandomBytes(n, seed * 31 + 7);
      if (binary) {
        const uint8_t density = dims[3] >> 1;
        for (uint8_t& b : src) b = b < density ? 255 : 0;
      }
      SCOPED_TRACE(testing::Message() << t.name << " width " << width << " rows "
                                      << rows << " edge " << edge
                                      << (binary ? " 0/255" : " bytes"));
      const Bytes expected = RunAll(t.reference, src, width, rows, edge);
      ASSERT_EQ(RunAll(t.exported, src, width, rows, edge), expected);
#if defined(__ARM_NEON)
      ASSERT_EQ(RunAll(t.neon, src, width, rows, edge), expected);
#endif
    }
  }
}

TEST(MaskKernels, VectorTwinsStayInsideTheScalarReads) {
  // Exact widths and row counts whose walk reaches the last byte the window
  // may read, on a source that ends right there: any read past what the
  // scalar window reads faults.
  for (const Twin& t : kTwins) {
    for (int width : {2 * t.k + 32, 2 * t.k + 64, 64, 96}) {
      const int rows = 18;
      const int readRows = t.k == 4 ? rows + 4 : rows;
      SCOPED_TRACE(testing::Message() << t.name << " width " << width);
      vdtest::GuardedBuffer src(static_cast<size_t>(readRows) * width);
      vdtest::FillRandom(src.data(), src.size(), width);
      vdtest::GuardedBuffer dst(static_cast<size_t>(rows) * width);
      std::memset(dst.data(), 0, dst.size());
      Bytes expected(dst.size());
      t.reference(src.data(), dst.data(), width, rows, 1);
      std::memcpy(expected.data(), dst.data(), dst.size());
      std::memset(dst.data(), 0, dst.size());
      t.exported(src.data(), dst.data(), width, rows, 1);
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), dst.data()));
#if defined(__ARM_NEON)
      std::memset(dst.data(), 0, dst.size());
      t.neon(src.data(), dst.data(), width, rows, 1);
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), dst.data()));
#endif
    }
  }
}

// --- Row-exact forms and the stripe forms ----------------------------------

struct RowExact {
  const char* name;
  ReferenceFn rowExact;
  ReferenceFn kernel;  // scalar reference
  ExportedFn exported;
  int k;
};

const RowExact kRowExact[] = {
    {"DeleteDiscretePoints", VdDeleteDiscretePointsRows,
     DeleteDiscretePoints_C, DiscretePoints, 1},
    {"Erose5x5", VdErose5x5Rows, Erose5x5_C, Erose5x5, 2},
    {"Dilate9x9", VdDilate9x9Rows, Dilate9x9_C, Dilate9x9, 4},
};

TEST(RowExactForms, EqualTheKernelsWhereTheKernelsStepExactly) {
  uint32_t seed = 101;
  for (const RowExact& t : kRowExact) {
    for (int iter = 0; iter < 300; ++iter, ++seed) {
      const Bytes dims = vdtest::RandomBytes(4, seed);
      // Exact widths: 2k + 32m (whole steps) and 32m (a short last step).
      const int m = dims[0] % 6;
      const int width = (dims[0] & 0x80) ? 2 * t.k + 32 * m : 32 * (m + 1);
      const int rows = 1 + dims[1] % 30;
      const int edge = dims[2] % 4;
      ASSERT_TRUE(VdMaskStepsExact(width, t.k)) << width;
      const size_t n = static_cast<size_t>(rows + 8) * width + 64;
      Bytes src = vdtest::RandomBytes(n, seed * 13 + 1);
      if (dims[3] & 1) {
        for (uint8_t& b : src) b = b < (dims[3] >> 1) ? 255 : 0;
      }
      SCOPED_TRACE(testing::Message() << t.name << " width " << width
                                      << " rows " << rows << " edge " << edge);
      const Bytes expected = RunAll(t.kernel, src, width, rows, edge);
      ASSERT_EQ(RunAll(t.rowExact, src, width, rows, edge), expected);
      ASSERT_EQ(RunAll(t.exported, src, width, rows, edge), expected);
    }
  }
}

// The value the row-exact form of half-size k computes at s.
uint8_t RowExactPixel(const uint8_t* s, int w, int k) {
  if (k == 1) {
    int n = 0;
    for (int y = -1; y <= 1; ++y) {
      for (int x = -1; x <= 1; ++x) n += s[y * w + x] >= 128;
    }
    return (n >= 7 || (s[0] >= 128 && n >= 3)) ? 255 : 0;
  }
  uint8_t m = k == 2 ? 255 : 0;
  for (int y = -k; y <= k; ++y) {
    for (int x = -k; x <= k; ++x) {
      m = k == 2 ? (m & s[y * w + x]) : (m | s[y * w + x]);
    }
  }
  return m;
}

// Straight from the rule: border copies for the edge type, then every
// column of the rows the kernel computes (every interior row for the
// discrete points; (rows - 4) / 2 pairs from row k for the others).
Bytes RowExactModel(const Bytes& src, int w, int rows, int edge, int k,
                    uint8_t fill) {
  Bytes dst(src.size(), fill);
  auto copy = [&](int r, int c0, int c1) {
    for (int c = c0; c < c1; ++c) dst[r * w + c] = src[r * w + c];
  };
  const bool top = edge == 3 || edge == 1;
  const bool bottom = edge == 1 || edge == 2;
  for (int r = 0; r < rows; ++r) {
    if ((top && r < k) || (bottom && r >= rows - k)) {
      copy(r, 0, w);
    } else if (r >= k && r < rows - k) {
      copy(r, 0, k);
      copy(r, w - k, w);
    }
  }
  const int end = k == 1 ? rows - 1 : k + 2 * std::max((rows - 4) >> 1, 0);
  for (int r = k; r < end; ++r) {
    for (int c = k; c < w - k; ++c) {
      dst[r * w + c] = RowExactPixel(src.data() + r * w + c, w, k);
    }
  }
  return dst;
}

TEST(RowExactForms, FollowTheRuleRowByRowOnInexactWidths) {
  // Widths whose block stepping drifts: the row-exact forms still write
  // every interior column of their rows and nothing past them.
  uint32_t seed = 7;
  for (const RowExact& t : kRowExact) {
    for (int width : {40, 45, 50, 56, 80, 88, 100, 136}) {
      if (VdMaskStepsExact(width, t.k)) continue;
      for (int rows : {9, 12, 17, 26}) {
        for (int edge = 0; edge <= 3; ++edge, ++seed) {
          SCOPED_TRACE(testing::Message() << t.name << " width " << width
                                          << " rows " << rows << " edge "
                                          << edge);
          const size_t n = static_cast<size_t>(rows + 4) * width + 32;
          Bytes src = vdtest::RandomBytes(n, seed);
          if (seed & 1) {
            for (uint8_t& b : src) b = b < 200 ? 255 : 0;
          }
          for (uint8_t fill : {uint8_t(0x5A), uint8_t(0xA5)}) {
            Bytes dst(n, fill);
            Bytes in = src;
            t.rowExact(in.data(), dst.data(), width, rows, edge);
            ASSERT_EQ(dst, RowExactModel(src, width, rows, edge, t.k, fill));
          }
        }
      }
    }
  }
}

using StripeFn = int (*)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);

struct StripeForm {
  const char* name;
  StripeFn stripe;
  StripeFn exported;
};

const StripeForm kStripeForms[] = {
    {"discrete points", VdDeleteDiscretePointsStripe, DeleteDiscretePointsProc},
    {"erosion", VdEroseStripe, EroseProcess},
    {"dilation", VdDilateStripeOwnRows, DilateProcess},
};

// Three stripes of the given heights: top, middle, bottom.
struct StripeRows {
  int first, rows, edge;
};

std::vector<StripeRows> ThreeStripes(int s0, int s1, int s2) {
  return {{0, s0, 3}, {s0, s1, 0}, {s0 + s1, s2, 2}};
}

// Fails unless the two frames differ only in the stripe's own rows.
void ExpectOwnRowsOnly(const Frame& before, const Frame& after,
                       const StripeRows& s) {
  const int w = before.w;
  auto rows = [&](const uint8_t* a, const uint8_t* b, int width, int nrows,
                  int first, int end, const char* plane) {
    for (int r = 0; r < nrows; ++r) {
      if (r >= first && r < end) continue;
      ASSERT_EQ(0, std::memcmp(a + r * width, b + r * width, width))
          << plane << " row " << r;
    }
  };
  rows(before.image.pY, after.image.pY, w, before.h + 16, s.first,
       s.first + s.rows, "luma");
  rows(before.image.pU, after.image.pU, w / 2, before.h / 2 + 16,
       s.first / 2, (s.first + s.rows) / 2, "U");
  rows(before.image.pV, after.image.pV, w / 2, before.h / 2 + 16,
       s.first / 2, (s.first + s.rows) / 2, "V");
}

TEST(StripeForms, OwnRowsOnlyAndTheExportedBytesOnExactWidths) {
  // Width 64 and chroma width 32 are walked exactly by all three kernels;
  // stripes of 46 rows have 23 chroma rows, so the dilation's pairs stop
  // one row short of a stripe's end, which DilateProcess reached as part of
  // its overrun into the next stripe.
  const int w = 64, h = 138;
  Frame src(w, h, 0);
  Bytes noise = vdtest::RandomBytes(src.data.size(), 9);
  for (size_t i = 0; i < src.data.size(); ++i) {
    src.data[i] = (noise[i] & 7) == 0 ? 255 : 0;
  }
  for (const StripeForm& f : kStripeForms) {
    for (const StripeRows& s : ThreeStripes(46, 46, 46)) {
      SCOPED_TRACE(testing::Message() << f.name << " edge type " << s.edge);
      Frame viaStripe(w, h, kSentinel);
      Frame viaExported(w, h, kSentinel);
      const Frame untouched(w, h, kSentinel);
      EXPECT_EQ(f.exported(&src.image, &viaExported.image, w, s.rows, 1,
                           s.first * w, s.edge),
                f.stripe(&src.image, &viaStripe.image, w, s.rows, 1,
                         s.first * w, s.edge));
      ExpectOwnRowsOnly(untouched, viaStripe, s);
      // Same bytes in the stripe's own rows.
      for (int r = s.first; r < s.first + s.rows; ++r) {
        ASSERT_EQ(0, std::memcmp(viaStripe.image.pY + r * w,
                                 viaExported.image.pY + r * w, w))
            << "luma row " << r;
      }
      const int cw = w / 2;
      for (int r = s.first / 2; r < (s.first + s.rows) / 2; ++r) {
        ASSERT_EQ(0, std::memcmp(viaStripe.image.pU + r * cw,
                                 viaExported.image.pU + r * cw, cw))
            << "U row " << r;
        ASSERT_EQ(0, std::memcmp(viaStripe.image.pV + r * cw,
                                 viaExported.image.pV + r * cw, cw))
            << "V row " << r;
      }
    }
  }
}

TEST(StripeForms, InexactWidthsStayInTheirRowsAndMatchTheWholeFrame) {
  // Width 80 drifts in all three kernels, chroma width 40 in the discrete
  // points and the erosion. Each stripe writes only its own rows, and the
  // three stripes give what the row-exact form gives on the whole frame
  // (chroma too for erosion and dilation; the discrete points' chroma row
  // count differs by design).
  const int w = 80, h = 144;
  Frame src(w, h, 0);
  Bytes noise = vdtest::RandomBytes(src.data.size(), 10);
  for (size_t i = 0; i < src.data.size(); ++i) {
    src.data[i] = (noise[i] % 6) == 0 ? 255 : 0;
  }
  const ReferenceFn whole[] = {VdDeleteDiscretePointsRows, VdErose5x5Rows,
                               VdDilate9x9Rows};
  for (int i = 0; i < 3; ++i) {
    const StripeForm& f = kStripeForms[i];
    SCOPED_TRACE(f.name);
    Frame striped(w, h, kSentinel);
    for (const StripeRows& s : ThreeStripes(48, 48, 48)) {
      Frame before(w, h, kSentinel);
      std::memcpy(before.data.data(), striped.data.data(), striped.data.size());
      EXPECT_EQ(1, f.stripe(&src.image, &striped.image, w, s.rows, 1,
                            s.first * w, s.edge));
      ExpectOwnRowsOnly(before, striped, s);
    }
    Frame expected(w, h, kSentinel);
    whole[i](src.image.pY, expected.image.pY, w, h, 1);
    EXPECT_TRUE(std::equal(expected.image.pY, expected.image.pY + w * h,
                           striped.image.pY));
    if (i > 0) {
      const int cw = w / 2, ch = h / 2;
      whole[i](src.image.pU, expected.image.pU, cw, ch, 1);
      whole[i](src.image.pV, expected.image.pV, cw, ch, 1);
      EXPECT_TRUE(std::equal(expected.image.pU, expected.image.pU + cw * ch,
                             striped.image.pU));
      EXPECT_TRUE(std::equal(expected.image.pV, expected.image.pV + cw * ch,
                             striped.image.pV));
    }
  }
}

}  // namespace
