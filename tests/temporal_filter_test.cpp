// Temporal filters: blend weights and rounding with concrete numbers, the
// mask split at 128, the packed 16-pixel row stepping, chroma handling, the
// history-driven multi-frame blend and the strength table. The vector twins
// are compared in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "temporal/temporal_filter.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A 4:2:0 image record over its own buffer.
struct Image {
  Bytes data;
  sYuvImage_t rec{};
  Image(int w, int h, uint8_t fill) : data(static_cast<size_t>(w) * h * 3 / 2, fill) {
    rec.iWidth = w;
    rec.iHeight = h;
    rec.iStride = w;
    rec.eYuvType = YUV_420;
    rec.pBuffer = rec.pY = data.data();
    rec.pU = data.data() + static_cast<size_t>(w) * h;
    rec.pV = rec.pU + static_cast<size_t>(w) * h / 4;
  }
  size_t LumaSize() const { return static_cast<size_t>(rec.iWidth) * rec.iHeight; }
  Bytes Y() const { return Bytes(rec.pY, rec.pY + LumaSize()); }
  Bytes U() const { return Bytes(rec.pU, rec.pU + LumaSize() / 4); }
  Bytes V() const { return Bytes(rec.pV, rec.pV + LumaSize() / 4); }
};

// Saves the strength table and puts it back, so tests may rewrite it.
class TableGuard {
 public:
  TableGuard() { std::memcpy(saved_, g_dLumaFilterStrength, sizeof(saved_)); }
  ~TableGuard() { std::memcpy(g_dLumaFilterStrength, saved_, sizeof(saved_)); }

 private:
  double saved_[8][9];
};

uint8_t FilterS(uint8_t src, uint8_t ref, uint8_t mask) {
  uint8_t out = 0;
  TemporalFilterS(&src, &ref, &mask, &out, 1, 1);  // width 1: no block
  Bytes s(16, src), r(16, ref), m(16, mask), o(16, 0);
  TemporalFilterS(s.data(), r.data(), m.data(), o.data(), 16, 1);
  EXPECT_EQ(out, 0) << "width 1 must not be visited";
  return o[7];
}

TEST(TemporalFilterS, BlendFiguresAndPackedStepping) {
  EXPECT_EQ(FilterS(255, 0, 0), 179);    // (255 * 90 + 64) >> 7
  EXPECT_EQ(FilterS(0, 255, 0), 76);     // (255 * 38 + 64) >> 7 = 9754 >> 7
  EXPECT_EQ(FilterS(1, 0, 0), 1);        // (90 + 64) >> 7
  EXPECT_EQ(FilterS(0, 1, 0), 0);        // (38 + 64) >> 7
  EXPECT_EQ(FilterS(0, 2, 0), 1);        // (76 + 64) >> 7
  EXPECT_EQ(FilterS(0, 32, 0), 10);      // 1216 + 64 = 1280: exactly halfway up
  EXPECT_EQ(FilterS(255, 255, 0), 255);  // no overflow at the top
  EXPECT_EQ(FilterS(200, 0, 127), 141);  // 127 is still: 18064 >> 7
  EXPECT_EQ(FilterS(200, 0, 128), 200);  // 128 is moving
  EXPECT_EQ(FilterS(200, 0, 255), 200);
  // Width 20: three packed 16-pixel rows fill bytes 0 .. 47; the rest stays.
  const int w = 20, h = 3;
  Bytes src = vdtest::RandomBytes(w * h, 3), ref = vdtest::RandomBytes(w * h, 4);
  Bytes mask = vdtest::RandomBytes(w * h, 5), out(w * h, 0xee);
  TemporalFilterS(src.data(), ref.data(), mask.data(), out.data(), w, h);
  for (int i = 0; i < w * h; ++i) {
    const int wt = mask[i] < 128 ? 38 : 0;
    EXPECT_EQ(out[i], i >= 48 ? 0xee : (src[i] * (128 - wt) + ref[i] * wt + 64) >> 7) << i;
  }
}

TEST(TemporalFilter, HalfBlendPackedSteppingAndChroma) {
  {
    // (1 + 2) / 2 truncates to 1; 128 is moving; width 20 writes bytes
    // 0 .. 63 as four packed 16-pixel rows.
    const int w = 20, h = 4;
    Image src(w, h, 1), ref(w, h, 2), mask(w, h, 0), out(w, h, 0xee);
    mask.rec.pY[3] = 128;
    mask.rec.pY[4] = 127;
    src.rec.pY[3] = 9;
    src.rec.pY[5] = 255;
    ref.rec.pY[5] = 254;
    vdtest::FillRandom(src.rec.pY + 16, 40, 6);
    vdtest::FillRandom(ref.rec.pY + 16, 40, 7);
    vdtest::FillRandom(mask.rec.pY + 16, 40, 8);
    EXPECT_EQ(TemporalFilter(&src.rec, &ref.rec, &mask.rec, &out.rec, w, h, 1, 0), 1);
    for (int i = 0; i < w * h; ++i) {
      const int wt = mask.rec.pY[i] < 128 ? 64 : 0;
      const int blend = (ref.rec.pY[i] * wt + src.rec.pY[i] * (128 - wt)) >> 7;
      EXPECT_EQ(out.rec.pY[i], i >= 64 ? 0xee : blend) << i;
    }
    EXPECT_EQ(out.rec.pY[0], 1);
    EXPECT_EQ(out.rec.pY[3], 9);
    EXPECT_EQ(out.rec.pY[5], 254);
  }
  // Chroma is copied from the source only with flag 0, at offset >> 2.
  const int w = 32, h = 16, offset = 8 * w;
  Image src(w, h, 0), ref(w, h, 9), mask(w, h, 255), out(w, h, 0xee);
  vdtest::FillRandom(src.data.data(), src.data.size(), 9);
  EXPECT_EQ(TemporalFilter(&src.rec, &ref.rec, &mask.rec, &out.rec, w, 8, 0, offset), 1);
  const Bytes y = out.Y(), sy = src.Y();
  EXPECT_EQ(Bytes(y.begin() + offset, y.end()), Bytes(sy.begin() + offset, sy.end()));
  EXPECT_EQ(Bytes(y.begin(), y.begin() + offset), Bytes(offset, 0xee));
  const Bytes u = out.U(), v = out.V(), su = src.U(), sv = src.V();
  for (int i = 0; i < w * h / 4; ++i) {  // (32 * 8) >> 2 = 64 bytes from 64
    EXPECT_EQ(u[i], i >= 64 ? su[i] : 0xee) << i;
    EXPECT_EQ(v[i], i >= 64 ? sv[i] : 0xee) << i;
  }
  Image keep(w, h, 0xee);
  TemporalFilter(&src.rec, &ref.rec, &mask.rec, &keep.rec, w, h, 1, 0);
  EXPECT_EQ(keep.U(), Bytes(w * h / 4, 0xee));
  EXPECT_EQ(keep.V(), Bytes(w * h / 4, 0xee));
}

// ---------------------------------------------------------------------------
// TemporalFilterMultiFrame.

struct MultiFrameCase {
  Image src, out, history, prev, unused;
  sYuvImage_t* prevs[2];
  MultiFrameCase(int w, int h)
      : src(w, h, 100), out(w, h, 0xee), history(w, h, 0), prev(w, h, 200),
        unused(w, h, 0), prevs{&prev.rec, nullptr} {}
  int Run(int w, int h, int offset) {
    return TemporalFilterMultiFrame(&unused.rec, &src.rec, &out.rec, &history.rec, prevs, w, h,
                                    offset);
  }
};

TEST(TemporalFilterMultiFrame, TableFiguresRoundingAndClamping) {
  {
    MultiFrameCase c(8, 2);
    const uint8_t hist[] = {1, 2, 0, 3, 0xff, 0xfe, 0x80, 5};
    for (int i = 0; i < 16; ++i) c.history.rec.pY[i] = hist[i % 8];
    EXPECT_EQ(c.Run(8, 2, 0), 1);
    // 1: 100 * 0.33 + 200 * 0.67 = 167.  2: 100 * 0.33 -> 33.  0: source.
    // 3 and 0xff (bit 0 set): 100 * 0.33 + 200 * 0.2211 = 77.22 -> 77.
    // 0xfe: 100 * 0.33 alone.  5: two bits, 77.
    const uint8_t expect[] = {167, 33, 100, 77, 77, 33, 33, 77};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(c.out.rec.pY[i], expect[i % 8]) << i;
  }
  TableGuard guard;
  MultiFrameCase c(4, 1);
  const uint8_t hist[] = {1, 6, 1, 1}, src[] = {100, 100, 10, 3};
  for (int i = 0; i < 4; ++i) {
    c.history.rec.pY[i] = hist[i];
    c.src.rec.pY[i] = src[i];
  }
  g_dLumaFilterStrength[0][0] = 3.0;   // 300 + 200 * 0.5 -> 255; 30 + 100 = 130
  g_dLumaFilterStrength[0][1] = 0.5;
  g_dLumaFilterStrength[1][0] = -1.0;  // history 6 (two bits): -100 -> 0
  c.Run(4, 1, 0);
  EXPECT_EQ(c.out.Y(), (Bytes{255, 0, 130, 109}));
  // 3 * 3 + 200 * (-0.0475) is -0.5 give or take an ulp: + 0.5 truncates to 0.
  g_dLumaFilterStrength[0][1] = -0.0475;
  c.Run(4, 1, 0);
  EXPECT_EQ(c.out.rec.pY[3], 0);
  g_dLumaFilterStrength[0][0] = 0.5;  // 3 * 0.5 + 0 = 1.5 -> 2
  g_dLumaFilterStrength[0][1] = 0.0;
  c.Run(4, 1, 0);
  EXPECT_EQ(c.out.rec.pY[3], 2);
}

TEST(TemporalFilterMultiFrame, PreviousFrameReadWithoutOffsetAndChromaAlwaysCopied) {
  const int w = 4, h = 4, offset = 2 * w;
  MultiFrameCase c(w, h);
  std::memset(c.prev.rec.pY + 2 * w, 0, 2 * w);  // previous rows 2-3 hold 0
  std::memset(c.history.rec.pY, 1, w * h);
  vdtest::FillRandom(c.src.rec.pU, w * h / 2, 11);  // U and V
  c.Run(w, 2, offset);
  // Rows 2-3 blend with rows 0-1 of the previous frame: 167, not 33.
  EXPECT_EQ(c.out.Y(), (Bytes{0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 167, 167, 167,
                              167, 167, 167, 167, 167}));
  // (4 * 2) >> 2 = 2 chroma bytes from offset >> 2 = 2.
  EXPECT_EQ(c.out.U(), (Bytes{0xee, 0xee, c.src.U()[2], c.src.U()[3]}));
  EXPECT_EQ(c.out.V(), (Bytes{0xee, 0xee, c.src.V()[2], c.src.V()[3]}));
  // No luma rows (negative height) but chroma still copied: with a negative
  // width too, (-4 * -4) >> 2 = 4 bytes, the whole of each plane here.
  MultiFrameCase e(w, h);
  vdtest::FillRandom(e.src.rec.pU, w * h / 2, 12);
  e.Run(-4, -4, 0);
  EXPECT_EQ(e.out.Y(), Bytes(w * h, 0xee));
  EXPECT_EQ(e.out.U(), e.src.U());
  EXPECT_EQ(e.out.V(), e.src.V());
}

// ---------------------------------------------------------------------------
// Strength table.

// Every row sums to 1, holds zeros past column r + 1 and, when rebuilt, keeps
// the columns before r from the row above.
void ExpectTableShape(const double (*t)[9], double tolerance, bool keepsRowAbove) {
  for (int r = 0; r < 8; ++r) {
    double sum = 0;
    for (int j = 0; j < 9; ++j) {
      if (j > r + 1) {
        EXPECT_EQ(t[r][j], 0.0) << r << "," << j;
      }
      if (keepsRowAbove && j < r) {
        EXPECT_EQ(t[r][j], t[r - 1][j]) << r << "," << j;
      }
      sum += t[r][j];
    }
    EXPECT_NEAR(sum, 1.0, tolerance) << r;
  }
}

TEST(FilterStrength, StoredTableInitVideoNRAndStaleColumns) {
  {
    const double(*t)[9] = g_dLumaFilterStrength;
    EXPECT_EQ(t[0][0], 0.33);
    EXPECT_EQ(t[0][1], 0.67);
    EXPECT_EQ(t[3][4], 0.20151121);
    EXPECT_EQ(t[6][7], 0.060607116);
    EXPECT_EQ(t[7][7], 0.020000348);
    EXPECT_EQ(t[7][8], 0.040606768);
    // They are the rule for a = 0.33 to the digits shown.
    double rule[8][9];
    InitFilterStrength(rule, 0.33);
    for (int r = 0; r < 8; ++r) {
      for (int j = 0; j < 9; ++j) EXPECT_NEAR(t[r][j], rule[r][j], 1e-8) << r << "," << j;
    }
    ExpectTableShape(t, 1e-8, false);
  }
  {
    TableGuard guard;
    InitVideoNR();
    const double(*t)[9] = g_dLumaFilterStrength;
    EXPECT_DOUBLE_EQ(t[0][0], 0.6);
    EXPECT_DOUBLE_EQ(t[0][1], 0.4);
    EXPECT_DOUBLE_EQ(t[1][0], 0.6);
    EXPECT_DOUBLE_EQ(t[1][1], 0.24);
    EXPECT_DOUBLE_EQ(t[1][2], 0.16);
    EXPECT_NEAR(t[7][7], 0.6 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4, 1e-12);
    EXPECT_NEAR(t[7][8], 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4 * 0.4, 1e-12);
    ExpectTableShape(t, 1e-12, true);
    // The multi-frame blend reads the table as it now stands: 100 * 0.6 + 200 * 0.4.
    MultiFrameCase c(16, 1);
    std::memset(c.history.rec.pY, 1, 16);
    c.Run(16, 1, 0);
    EXPECT_EQ(c.out.rec.pY[0], 140);
  }
  double t[8][9];
  for (auto& row : t) {
    for (double& v : row) v = 7.0;  // stale columns are cleared
  }
  InitFilterStrength(t, 0.5);
  EXPECT_EQ(t[0][0], 0.5);
  EXPECT_EQ(t[0][1], 0.5);
  EXPECT_EQ(t[2][2], 0.125);
  EXPECT_EQ(t[2][3], 0.125);
  ExpectTableShape(t, 1e-12, true);
}

}  // namespace
