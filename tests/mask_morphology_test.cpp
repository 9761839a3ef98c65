// Mask morphology: the discrete-point rule, erosion and dilation values, the
// border rule per edge type, the row / column stepping at awkward widths
// (including the defined overruns), and the row-exact and stripe forms. The
// vector twins are compared in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <set>
#include <utility>
#include <vector>

#include "morphology/mask_morphology.h"
#include "base/vd_cpu.h"
#include "fuzz/kernel_sizes.h"
#include "morphology/mask_morphology_internal.h"
#include "tests/mask_stepping_model.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using ExportedFn = int (*)(unsigned char*, unsigned char*, int, int, int);
using ReferenceFn = int (*)(const uint8_t*, uint8_t*, int, int, int);
using StripeFn = int (*)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);

constexpr uint8_t kSentinel = 0x5A;

int DiscretePoints(unsigned char* src, unsigned char* dst, int width, int rows, int edgeType) {
  return DeleteDiscretePoints(src, dst, width, rows, edgeType, 0, 4);
}

uint8_t& At(Bytes& p, int width, int row, int col) {
  return p[static_cast<size_t>(row) * width + col];
}
uint8_t At(const Bytes& p, int width, int row, int col) {
  return p[static_cast<size_t>(row) * width + col];
}

// Runs fn on a copy of src into a same-sized destination filled with fill,
// checking that the source is left alone; returns the whole destination.
template <typename Fn>
Bytes RunKernel(Fn fn, const Bytes& src, int width, int rows, int edge, uint8_t fill = kSentinel) {
  Bytes in = src, out(src.size(), fill);
  fn(in.data(), out.data(), width, rows, edge);
  EXPECT_EQ(in, src) << "source modified";
  return out;
}

// Which of n destination bytes a call writes: a byte is written when it
// differs from its fill in either of two runs with different fills.
std::vector<bool> WrittenBy(ExportedFn fn, int width, int rows, int edgeType, size_t n) {
  const Bytes src = vdtest::RandomBytes(n, 7);
  const Bytes a = RunKernel(fn, src, width, rows, edgeType, 0x5A);
  const Bytes b = RunKernel(fn, src, width, rows, edgeType, 0xA5);
  std::vector<bool> written(n);
  for (size_t i = 0; i < n; ++i) written[i] = a[i] != 0x5A || b[i] != 0xA5;
  return written;
}

// The byte positions of the half-open ranges.
std::vector<bool> Positions(size_t n, std::initializer_list<std::pair<int, int>> ranges) {
  std::vector<bool> out(n, false);
  for (const auto& r : ranges) {
    for (int i = r.first; i < r.second; ++i) out[static_cast<size_t>(i)] = true;
  }
  return out;
}

using vdtest::MaskRulePixel;

// Scalar, then every vector level this machine runs.
std::vector<int> Levels() {
  std::vector<int> levels = vdtest::VectorLevels();
  levels.insert(levels.begin(), kVdSimdScalar);
  return levels;
}

// --- Values ------------------------------------------------------------------

TEST(MaskKernels, DiscretePointNeighbourCountsAndThreshold) {
  const int w = 64, rows = 8;  // (64 - 2) mod 32 = 30: exact width
  const int r = 3, c = 10;
  // The eight neighbours in a fixed order: a set centre stays with two or
  // more set neighbours, a clear one is set with seven or more.
  const int ring[8][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}, {1, 0}, {1, -1}, {0, -1}};
  for (int set = 0; set <= 8; ++set) {
    for (uint8_t centre : {uint8_t(0), uint8_t(255)}) {
      SCOPED_TRACE(testing::Message() << set << " set neighbours, centre " << int(centre));
      Bytes src(w * rows, 0);
      At(src, w, r, c) = centre;
      for (int i = 0; i < set; ++i) At(src, w, r + ring[i][0], c + ring[i][1]) = 255;
      const bool expected = centre ? set >= 2 : set >= 7;
      EXPECT_EQ(At(RunKernel(DiscretePoints, src, w, rows, 1), w, r, c), expected ? 255 : 0);
    }
  }
  // A lone set pixel goes; a hole in a set mask is filled.
  Bytes lone(w * rows, 0), hole(w * rows, 255);
  At(lone, w, r, c) = 255;
  At(hole, w, r, c) = 0;
  EXPECT_EQ(RunKernel(DiscretePoints, lone, w, rows, 1), Bytes(w * rows, 0));
  EXPECT_EQ(RunKernel(DiscretePoints, hole, w, rows, 1), Bytes(w * rows, 255));
  // Set means >= 128: three in a row survive in the middle unless one is 127.
  const int w2 = 34;  // 34 - 2 = 32: one whole step per row
  for (uint8_t v : {uint8_t(128), uint8_t(200), uint8_t(254)}) {
    Bytes src(w2 * 6, 0);
    At(src, w2, 2, 10) = At(src, w2, 2, 11) = At(src, w2, 2, 12) = v;
    Bytes dst = RunKernel(DiscretePoints, src, w2, 6, 1);
    EXPECT_EQ(At(dst, w2, 2, 11), 255) << int(v);
    EXPECT_EQ(At(dst, w2, 2, 10), 0) << int(v);  // one set neighbour only
    At(src, w2, 2, 12) = 127;
    EXPECT_EQ(At(RunKernel(DiscretePoints, src, w2, 6, 1), w2, 2, 11), 0) << int(v);
  }
}

TEST(MaskKernels, ErosionHolesAndDilationSquares) {
  {
    // Erose5x5 (width 36: exact): an interior hole clears its 5 x 5
    // neighbourhood; a hole on the border is copied and clears only the
    // interior pixels that see it.
    const int w = 36, rows = 12;
    for (auto [hr, hc] : {std::pair<int, int>{5, 20}, {1, 1}}) {
      Bytes src(w * rows, 255);
      At(src, w, hr, hc) = 0;
      Bytes expected(w * rows, 255);
      for (int row = std::max(hr - 2, 2); row <= hr + 2; ++row) {
        for (int col = std::max(hc - 2, 2); col <= hc + 2; ++col) At(expected, w, row, col) = 0;
      }
      At(expected, w, hr, hc) = 0;
      EXPECT_EQ(RunKernel(Erose5x5, src, w, rows, 1), expected) << hr << "," << hc;
    }
  }
  // Dilate15x15: a single pixel grows to a 15 x 15 square, and any bytes
  // are ORed bit by bit (one group of four rows, whole column pairs).
  const int w = 40, rows = 30;  // groups: rows 7 .. 22; pairs: cols 7 .. 32
  Bytes src(static_cast<size_t>(w) * rows, 0);
  At(src, w, 14, 20) = 255;
  Bytes dst = RunKernel(Dilate15x15, src, w, rows, 1);
  for (int row = 7; row <= 22; ++row) {
    for (int col = 7; col <= 32; ++col) {
      const bool in = row <= 21 && col >= 13 && col <= 27;
      ASSERT_EQ(At(dst, w, row, col), in ? 255 : 0) << row << "," << col;
    }
  }
  for (int width : {36, 45, 64, 100}) {
    Bytes sparse = vdtest::RandomBytes(static_cast<size_t>(width) * 24, width);
    for (uint8_t& b : sparse) b &= 0x21;
    const Bytes out = RunKernel(Dilate15x15, sparse, width, 18, 1);
    for (int row = 7; row <= 10; ++row) {
      for (int col = 7; col < 7 + 2 * ((width - 14) / 2); ++col) {
        const size_t i = static_cast<size_t>(row) * width + col;
        ASSERT_EQ(out[i], MaskRulePixel(sparse.data() + i, width, 7)) << width << ": " << i;
      }
    }
  }
}

// --- Border rule per edge type ----------------------------------------------

TEST(MaskKernels, BorderRowsFollowTheEdgeType) {
  struct KernelCase {
    const char* name;
    ExportedFn fn;
    int k;
    int width;  // a width whose row walk is exact
  };
  const KernelCase kernels[] = {{"DeleteDiscretePoints", DiscretePoints, 1, 64},
                                {"Erose5x5", Erose5x5, 2, 68},
                                {"Dilate9x9", Dilate9x9, 4, 72},
                                {"Dilate15x15", Dilate15x15, 7, 44}};
  const int rows = 26;  // every kernel's row walk ends at its last interior row
  for (const KernelCase& kc : kernels) {
    const int w = kc.width, k = kc.k;
    const size_t n = static_cast<size_t>(rows + 4) * w;  // Dilate9x9 reads 4 more
    for (int edge = 0; edge <= 3; ++edge) {
      SCOPED_TRACE(testing::Message() << kc.name << " edge type " << edge);
      const std::vector<bool> written = WrittenBy(kc.fn, w, rows, edge, n);
      const bool top = edge == 3 || edge == 1;
      const bool bottom = edge == 1 || edge == 2;
      for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < w; ++col) {
          const bool side = col < k || col >= w - k;
          // Dilate9x9 computes its last four rows anyway; their side bytes
          // are written only by the copy.
          const bool expected = row < k               ? top
                                : row >= rows - k ? bottom || (k == 4 && !side)
                                                  : true;
          ASSERT_EQ(written[static_cast<size_t>(row) * w + col], expected)
              << "row " << row << " col " << col;
        }
      }
    }
  }
}

// --- Row / column stepping -------------------------------------------------

TEST(MaskKernels, RowWalkDriftsOnInexactWidths) {
  struct Case {
    const char* name;
    ExportedFn fn;
    int w, rows, edge;
    size_t n;
    std::vector<bool> expected;
  };
  const Case cases[] = {
      // Width 50: 48 interior columns = one 32-step and a 30-step, so each
      // row covers 62 bytes from column 1 and the next pair starts 62 + 52
      // bytes later: 14 bytes right of row 3, column 1.
      {"DeleteDiscretePoints 50 x 6", DiscretePoints, 50, 6, 0, 400,
       Positions(400, {{51, 113}, {101, 163}, {165, 227}, {215, 277}, {50, 51}, {99, 101},
                       {149, 151}, {199, 201}, {249, 250}})},
      // An odd last interior row is done alone: width 34 (exact), rows 5.
      {"DeleteDiscretePoints 34 x 5", DiscretePoints, 34, 5, 0, 300, Positions(300, {{34, 136}})},
      // Width 40: 36 interior columns = 32 + a 28-step = 60 bytes per row;
      // the next pair starts 60 + 44 bytes later. Rows 9: the odd last
      // interior row 6 is not computed, only its side bytes are copied.
      {"Erose5x5 40 x 9", Erose5x5, 40, 9, 0, 500,
       Positions(500, {{82, 142}, {122, 182}, {186, 246}, {226, 286}, {80, 82}, {118, 120},
                       {158, 160}, {198, 200}, {238, 242}, {278, 280}})},
      // Width 45: 37 interior columns = 32 + a 24-step = 56 bytes per row;
      // the next pair starts 56 + 53 bytes later. Rows 8 give two pairs from
      // row 4: rows 4 .. 7 and four rows further on, and no side copies.
      {"Dilate9x9 45 x 8", Dilate9x9, 45, 8, 0, 800,
       Positions(800, {{184, 240}, {229, 285}, {293, 349}, {338, 394}})},
      // Width 40, rows 11: three pairs (rows 4 .. 9); side copies of rows
      // 4 .. 6 (rows - 5); row 10 is left.
      {"Dilate9x9 40 x 11", Dilate9x9, 40, 11, 0, 600,
       Positions(600, {{160, 280}, {284, 316}, {324, 356}, {364, 396}})},
      // Width 20: rows of 16 outputs, each starting 30 bytes after the last
      // one (14 past its end): rows 2, 3 + 12 columns, and 5.
      {"Dilate5x5 20 x 7", Dilate5x5, 20, 7, 0, 400,
       Positions(400, {{42, 58}, {72, 88}, {102, 118}, {40, 42}, {58, 62}, {78, 82}, {98, 100}})},
      // Fewer than five rows compute nothing.
      {"Dilate5x5 20 x 4", Dilate5x5, 20, 4, 1, 400, Positions(400, {{0, 80}})},
      // 31 columns: 17 interior, 8 pairs (columns 7 .. 22), column 23 left.
      // 21 rows: one group (rows 7 .. 10), rows 11 .. 13 left; side borders
      // of rows 7 .. 13 copied.
      {"Dilate15x15 31 x 21", Dilate15x15, 31, 21, 0, 651,
       Positions(651, {{217, 240}, {241, 271}, {272, 302}, {303, 333}, {334, 348}, {365, 379},
                       {396, 410}, {427, 434}})},
      // 14 rows: no interior row, and no side copies either.
      {"Dilate15x15 31 x 14", Dilate15x15, 31, 14, 0, 434, std::vector<bool>(434, false)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(WrittenBy(c.fn, c.w, c.rows, c.edge, c.n), c.expected);
  }
  // Dilate5x5's shifted rows hold the OR of the 5 x 5 block around each byte
  // of the flat plane: row 3, column 14 reaches rows 1 .. 5, columns 12 .. 16.
  const int w = 20;
  Bytes src(400, 0);
  src[3 * w + 14] = 0x10;
  const Bytes dst = RunKernel(Dilate5x5, src, w, 7, 0);
  for (int start : {42, 72, 102}) {
    for (int at = start; at < start + 16; ++at) {
      const bool near = at / w >= 1 && at / w <= 5 && at % w >= 12 && at % w <= 16;
      EXPECT_EQ(dst[at], near ? 0x10 : 0) << "byte " << at;
    }
  }
}

TEST(Dilate9x9, TenRowsComputeRowsFourToNineFromSourceRowsZeroToThirteen) {
  for (int w : {40, 64}) {  // one whole step; a whole step and a 24-step
    SCOPED_TRACE(testing::Message() << "width " << w);
    // The source ends exactly after row 13; any read past it faults.
    vdtest::GuardedBuffer src(static_cast<size_t>(14) * w);
    vdtest::GuardedBuffer dst(static_cast<size_t>(10) * w);
    std::memset(src.data(), 0, src.size());
    src.data()[0 * w + 10] = 255;   // row 0 reaches row 4 only
    src.data()[13 * w + 30] = 255;  // row 13 reaches row 9 only
    for (int level : Levels()) {
      vdtest::SimdLevelScope scope(level);
      SCOPED_TRACE(vdtest::LevelName(level));
      std::memset(dst.data(), kSentinel, dst.size());
      Dilate9x9(src.data(), dst.data(), w, 10, 0);
      for (int row = 0; row < 10; ++row) {
        for (int col = 0; col < w; ++col) {
          uint8_t expected = kSentinel;  // edge type 0 copies no rows
          if (row >= 4 && col >= 4 && col < w - 4) {
            expected = (row == 4 && col >= 6 && col <= 14) || (row == 9 && col >= 26 && col <= 34)
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

// --- Row-exact forms ---------------------------------------------------------

struct RowExact {
  const char* name;
  ReferenceFn rowExact;
  ExportedFn exported;
  int k;
};

const RowExact kRowExact[] = {
    {"DeleteDiscretePoints", VdDeleteDiscretePointsRows, DiscretePoints, 1},
    {"Erose5x5", VdErose5x5Rows, Erose5x5, 2},
    {"Dilate9x9", VdDilate9x9Rows, Dilate9x9, 4},
};

// The exported kernel of t at every width 1 .. 140 and rows 1 .. 12, every
// edge type in turn and every level this machine runs, on a source and a
// destination of exactly the sizes the header gives, each against a guard
// page: the bytes of the documented stepping (vdtest::MaskSteppingModel).
void ExpectDocumentedStepping(const RowExact& t) {
  uint32_t seed = 1;
  for (int width = 1; width <= 140; ++width) {
    for (int rows = 1; rows <= 12; ++rows, ++seed) {
      const vdfuzz::Sizes n = t.k == 1 ? vdfuzz::DeleteDiscretePointsSizes(width, rows)
                                       : vdfuzz::MaskPairSizes(width, rows, t.k);
      Bytes src = vdtest::RandomBytes(n.src, seed);
      if (seed & 1) {
        for (uint8_t& b : src) b = b < (seed & 0xFE) ? 255 : 0;
      }
      const int edge = seed & 3;
      Bytes expected(n.dst, kSentinel);
      vdtest::MaskSteppingModel(src.data(), expected.data(), width, rows, edge, t.k);
      vdtest::GuardedBuffer in(n.src), out(n.dst);
      for (int level : Levels()) {
        vdtest::SimdLevelScope scope(level);
        std::memcpy(in.data(), src.data(), n.src);
        std::memset(out.data(), kSentinel, n.dst);
        t.exported(in.data(), out.data(), width, rows, edge);
        ASSERT_EQ(Bytes(out.data(), out.data() + n.dst), expected)
            << vdtest::LevelName(level) << " " << width << " x " << rows << " edge " << edge;
        ASSERT_EQ(Bytes(in.data(), in.data() + n.src), src) << "source modified";
      }
    }
  }
}

TEST(MaskStepping, DeleteDiscretePointsWalksAsDocumented) { ExpectDocumentedStepping(kRowExact[0]); }
TEST(MaskStepping, Erose5x5WalksAsDocumented) { ExpectDocumentedStepping(kRowExact[1]); }
TEST(MaskStepping, Dilate9x9WalksAsDocumented) { ExpectDocumentedStepping(kRowExact[2]); }

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
      Bytes src = vdtest::RandomBytes(static_cast<size_t>(rows + 8) * width + 64, seed * 13 + 1);
      if (dims[3] & 1) {
        for (uint8_t& b : src) b = b < (dims[3] >> 1) ? 255 : 0;
      }
      SCOPED_TRACE(testing::Message() << t.name << " width " << width << " rows " << rows
                                      << " edge " << edge);
      Bytes expected(src.size(), kSentinel);
      vdtest::MaskSteppingModel(src.data(), expected.data(), width, rows, edge, t.k);
      ASSERT_EQ(RunKernel(t.rowExact, src, width, rows, edge), expected);
      ASSERT_EQ(RunKernel(t.exported, src, width, rows, edge), expected);
    }
  }
}

// Straight from the rule: border copies for the edge type, then every
// column of the rows the kernel computes (every interior row for the
// discrete points; (rows - 4) / 2 pairs from row k for the others).
Bytes RowExactModel(const Bytes& src, int w, int rows, int edge, int k, uint8_t fill) {
  Bytes dst(src.size(), fill);
  vdtest::MaskBorderModel(src.data(), dst.data(), w, rows, edge, k);
  const int end = k == 1 ? rows - 1 : k + 2 * std::max((rows - 4) >> 1, 0);
  for (int r = k; r < end; ++r) {
    for (int c = k; c < w - k; ++c) dst[r * w + c] = MaskRulePixel(src.data() + r * w + c, w, k);
  }
  return dst;
}

TEST(RowExactForms, FollowTheWindowRuleRowByRow) {
  // Exact widths and widths whose block stepping drifts: the row-exact forms
  // write every interior column of their rows with the window's value, and
  // nothing past them. Arbitrary bytes pass through the AND / OR bitwise.
  uint32_t seed = 7;
  for (const RowExact& t : kRowExact) {
    for (int width : {36, 40, 45, 50, 64, 72, 100}) {
      for (int rows : {9, 12, 17}) {
        for (int edge = 0; edge <= 3; ++edge, ++seed) {
          SCOPED_TRACE(testing::Message() << t.name << " width " << width << " rows " << rows
                                          << " edge " << edge);
          Bytes src = vdtest::RandomBytes(static_cast<size_t>(rows + 4) * width + 32, seed);
          // Erosion: a clear bit in one byte of 16; dilation: a set bit in
          // one byte of 16, so that the windows' results vary.
          for (uint8_t& b : src) {
            if (t.k == 2) b = b < 16 ? static_cast<uint8_t>(~(1u << (b & 7))) : 0xFF;
            if (t.k == 4) b = b < 16 ? static_cast<uint8_t>(1u << (b & 7)) : 0;
          }
          for (uint8_t fill : {uint8_t(0x5A), uint8_t(0xA5)}) {
            ASSERT_EQ(RunKernel(t.rowExact, src, width, rows, edge, fill),
                      RowExactModel(src, width, rows, edge, t.k, fill));
          }
        }
      }
    }
  }
}

// --- Stripe wrappers and stripe forms ----------------------------------------

// A planar frame (luma, then U, then V, each followed by slack rows for the
// reads and writes past a plane) and an image record on it.
struct Frame {
  Frame(int width, int height, uint8_t fill) : w(width), h(height) {
    const size_t luma = static_cast<size_t>(w) * (h + 16);
    const size_t chroma = static_cast<size_t>(w / 2) * (h / 2 + 16);
    data.assign(luma + 2 * chroma, fill);
    image = sYuvImage_t{};
    image.iWidth = image.iStride = w;
    image.iHeight = h;
    image.pBuffer = image.pY = data.data();
    image.pU = data.data() + luma;
    image.pV = image.pU + chroma;
  }
  Frame(const Frame& o) : Frame(o.w, o.h, 0) { data = o.data; }
  Frame& operator=(const Frame&) = delete;
  // Rows of a plane (0 luma, 1 U, 2 V) holding any byte other than fill.
  std::set<int> RowsChanged(int plane, uint8_t fill) const {
    const uint8_t* p = plane == 0 ? image.pY : plane == 1 ? image.pU : image.pV;
    const int width = plane ? w / 2 : w, rows = plane ? h / 2 : h;
    std::set<int> out;
    for (int i = 0; i < width * rows; ++i) {
      if (p[i] != fill) out.insert(i / width);
    }
    return out;
  }
  // The bytes of rows first .. end - 1 of a plane.
  Bytes Rows(int plane, int first, int end) const {
    const uint8_t* p = plane == 0 ? image.pY : plane == 1 ? image.pU : image.pV;
    const int width = plane ? w / 2 : w;
    return Bytes(p + first * width, p + end * width);
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

TEST(StripeWrappers, RowsWrittenPerPlane) {
  const int w = 64, h = 160;
  Frame src(w, h, 255);
  struct Case {
    const char* name;
    StripeFn fn;
    int first, rows, chroma, edge;
    std::set<int> luma, chromaRows;
  };
  const Case cases[] = {
      // Discrete points, middle stripe of 48 rows: chroma from row 23 with
      // 48 >> 3 = 6 rows, so rows 24 .. 27 are computed. Top stripe:
      // 48 >> 2 = 12 rows from row 0, row 0 copied and rows 1 .. 10
      // computed. Bottom stripe of 64 rows: from chroma row 47, 16 rows,
      // rows 48 .. 61 computed and the last one copied. A whole frame of 160
      // rows: 80 chroma rows, all written.
      {"points middle", DeleteDiscretePointsProc, 48, 48, 1, 0, Range(48, 95), Range(24, 27)},
      {"points top", DeleteDiscretePointsProc, 0, 48, 1, 3, Range(0, 47), Range(0, 10)},
      {"points bottom", DeleteDiscretePointsProc, 96, 64, 1, 2, Range(96, 159), Range(48, 62)},
      {"points whole", DeleteDiscretePointsProc, 0, 160, 1, 1, Range(0, 159), Range(0, 79)},
      // Erosion writes exactly its rows; dilation also the next stripe's
      // first four rows of each plane; without the chroma flag no chroma.
      {"erosion", EroseProcess, 48, 48, 1, 0, Range(48, 95), Range(24, 47)},
      {"dilation", DilateProcess, 48, 48, 1, 0, Range(48, 99), Range(24, 51)},
      {"erosion, no chroma", EroseProcess, 48, 48, 0, 0, Range(48, 95), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Frame dst(w, h, kSentinel);
    EXPECT_EQ(c.fn(&src.image, &dst.image, w, c.rows, c.chroma, c.first * w, c.edge), 1);
    EXPECT_EQ(dst.RowsChanged(0, kSentinel), c.luma);
    EXPECT_EQ(dst.RowsChanged(1, kSentinel), c.chromaRows);
    EXPECT_EQ(dst.RowsChanged(2, kSentinel), c.chromaRows);
  }
}

struct StripeForm {
  const char* name;
  StripeFn stripe;
  StripeFn exported;
  ReferenceFn rowExact;
  bool chromaMatchesWholeFrame;  // the discrete points' chroma row count differs
};

const StripeForm kStripeForms[] = {
    {"discrete points", VdDeleteDiscretePointsStripe, DeleteDiscretePointsProc,
     VdDeleteDiscretePointsRows, false},
    {"erosion", VdEroseStripe, EroseProcess, VdErose5x5Rows, true},
    {"dilation", VdDilateStripeOwnRows, DilateProcess, VdDilate9x9Rows, true},
};

struct StripeRows {
  int first, rows, edge;
};

// Fails unless the two frames differ only in the stripe's own rows.
void ExpectOwnRowsOnly(const Frame& before, const Frame& after, const StripeRows& s) {
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane ? 1 : 0, rows = (before.h >> shift) + 16;
    const int first = s.first >> shift, end = (s.first + s.rows) >> shift;
    EXPECT_EQ(before.Rows(plane, 0, first), after.Rows(plane, 0, first)) << "plane " << plane;
    EXPECT_EQ(before.Rows(plane, end, rows), after.Rows(plane, end, rows)) << "plane " << plane;
  }
}

// A frame of scattered set pixels (one in `every`).
Frame MaskFrame(int w, int h, int every, uint32_t seed) {
  Frame f(w, h, 0);
  const Bytes noise = vdtest::RandomBytes(f.data.size(), seed);
  for (size_t i = 0; i < f.data.size(); ++i) f.data[i] = noise[i] % every == 0 ? 255 : 0;
  return f;
}

TEST(StripeForms, OwnRowsOnlyExportedBytesAndThreeStripesOnExactWidths) {
  // Width 64 and chroma width 32 are walked exactly by all three kernels;
  // stripes of 46 rows have 23 chroma rows, so the dilation's pairs stop
  // one row short of a stripe's end, which DilateProcess reached as part of
  // its overrun into the next stripe.
  const int w = 64, h = 138;
  const Frame src = MaskFrame(w, h, 8, 9);
  const StripeRows stripes[] = {{0, 46, 3}, {46, 46, 0}, {92, 46, 2}};
  for (const StripeForm& f : kStripeForms) {
    for (const StripeRows& s : stripes) {
      SCOPED_TRACE(testing::Message() << f.name << " edge type " << s.edge);
      Frame in = src, viaStripe(w, h, kSentinel), viaExported(w, h, kSentinel);
      const Frame untouched(w, h, kSentinel);
      EXPECT_EQ(f.exported(&in.image, &viaExported.image, w, s.rows, 1, s.first * w, s.edge),
                f.stripe(&in.image, &viaStripe.image, w, s.rows, 1, s.first * w, s.edge));
      ExpectOwnRowsOnly(untouched, viaStripe, s);
      for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane ? 1 : 0;
        EXPECT_EQ(viaStripe.Rows(plane, s.first >> shift, (s.first + s.rows) >> shift),
                  viaExported.Rows(plane, s.first >> shift, (s.first + s.rows) >> shift))
            << "plane " << plane;
      }
    }
  }
  // The exported wrappers run top, middle, bottom (48, 48, 64 rows) give the
  // planes of one whole-frame call.
  const int h2 = 160;
  const Frame src2 = MaskFrame(w, h2, 8, 5);
  for (const StripeForm& f : kStripeForms) {
    SCOPED_TRACE(f.name);
    Frame in = src2, whole(w, h2, kSentinel), striped(w, h2, kSentinel);
    const int chroma = f.chromaMatchesWholeFrame ? 1 : 0;
    f.exported(&in.image, &whole.image, w, h2, chroma, 0, 1);
    f.exported(&in.image, &striped.image, w, 48, chroma, 0, 3);
    f.exported(&in.image, &striped.image, w, 48, chroma, 48 * w, 0);
    f.exported(&in.image, &striped.image, w, 64, chroma, 96 * w, 2);
    for (int plane = 0; plane < (chroma ? 3 : 1); ++plane) {
      EXPECT_EQ(whole.Rows(plane, 0, plane ? h2 / 2 : h2),
                striped.Rows(plane, 0, plane ? h2 / 2 : h2))
          << "plane " << plane;
    }
  }
}

TEST(StripeForms, InexactWidthsStayInTheirRowsAndMatchTheWholeFrame) {
  // Width 80 drifts in all three kernels, chroma width 40 in the discrete
  // points and the erosion. Each stripe writes only its own rows, and the
  // three stripes give what the row-exact form gives on the whole frame.
  const int w = 80, h = 144;
  const Frame src = MaskFrame(w, h, 6, 10);
  const StripeRows stripes[] = {{0, 48, 3}, {48, 48, 0}, {96, 48, 2}};
  for (const StripeForm& f : kStripeForms) {
    SCOPED_TRACE(f.name);
    Frame in = src, striped(w, h, kSentinel);
    for (const StripeRows& s : stripes) {
      const Frame before = striped;
      EXPECT_EQ(1, f.stripe(&in.image, &striped.image, w, s.rows, 1, s.first * w, s.edge));
      ExpectOwnRowsOnly(before, striped, s);
    }
    Frame expected(w, h, kSentinel);
    f.rowExact(src.image.pY, expected.image.pY, w, h, 1);
    EXPECT_EQ(expected.Rows(0, 0, h), striped.Rows(0, 0, h));
    if (f.chromaMatchesWholeFrame) {
      f.rowExact(src.image.pU, expected.image.pU, w / 2, h / 2, 1);
      f.rowExact(src.image.pV, expected.image.pV, w / 2, h / 2, 1);
      EXPECT_EQ(expected.Rows(1, 0, h / 2), striped.Rows(1, 0, h / 2));
      EXPECT_EQ(expected.Rows(2, 0, h / 2), striped.Rows(2, 0, h / 2));
    }
  }
}

}  // namespace
