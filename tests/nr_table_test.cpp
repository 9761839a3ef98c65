// The noise-reduction table: static content, rebuild, reference rows and the
// bytes the rebuild leaves alone.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"

namespace {

// nr_table is constant-initialised, so this copy sees the static content
// before any test rebuilds the table.
const std::vector<uint8_t> g_static_table(nr_table,
                                          nr_table + VD_NR_TABLE_SIZE);

uint8_t Entry(int level, int a, int d, int s) {
  return nr_table[level * kNrBytesPerLevel + a * kNrBytesPerValue + d * 2 + s];
}

// Entries k = 0..16 of one value of a, as "(down,up) (down,up) ...".
std::string Row(int level, int a) {
  std::string out;
  for (int k = 0; k <= 16; ++k) {
    if (k) out += ' ';
    out += '(' + std::to_string(Entry(level, a, k, 0)) + ',' +
           std::to_string(Entry(level, a, k, 1)) + ')';
  }
  return out;
}

// Every test starts from the static content and leaves it behind.
class NrTableTest : public ::testing::Test {
 protected:
  void SetUp() override { Restore(); }
  void TearDown() override { Restore(); }
  static void Restore() {
    memcpy(nr_table, g_static_table.data(), VD_NR_TABLE_SIZE);
  }
};

TEST_F(NrTableTest, StaticContentIsTheRebuildWithSixteenColumns) {
  static_assert(sizeof(nr_table) == VD_NR_TABLE_SIZE, "table size");
  InitNRPixelTable(16);
  EXPECT_EQ(0, memcmp(nr_table, g_static_table.data(), VD_NR_TABLE_SIZE));
  // Identity at column 15, nothing from column 16 on.
  EXPECT_EQ("(0,0) (0,1) (0,1) (0,2) (0,2) (0,3) (0,3) (0,4) (0,4) (0,5) "
            "(0,5) (0,6) (0,6) (0,7) (0,7) (0,0) (0,0)",
            Row(0, 0));
  for (int level = 0; level < 4; ++level) {
    for (int a = 0; a < 256; ++a) {
      ASSERT_EQ(a, Entry(level, a, 15, 0));
      ASSERT_EQ(a, Entry(level, a, 15, 1));
      for (int d = 16; d < kNrColumns; ++d) {
        ASSERT_EQ(0, Entry(level, a, d, 0) | Entry(level, a, d, 1));
      }
    }
  }
}

TEST_F(NrTableTest, ReferenceRowsOfTheWorkingTable) {
  InitNRPixelTable(17);
  EXPECT_EQ("(0,0) (0,1) (0,1) (0,2) (0,2) (0,3) (0,3) (0,4) (0,4) (0,5) "
            "(0,5) (0,6) (0,6) (0,7) (0,7) (0,8) (0,0)",
            Row(0, 0));
  EXPECT_EQ("(10,10) (10,11) (9,11) (9,12) (8,12) (8,13) (7,13) (7,14) "
            "(10,10) (10,10) (10,10) (0,10) (0,10) (0,10) (0,10) (0,10) "
            "(10,10)",
            Row(0, 10));
  EXPECT_EQ("(100,100) (100,100) (99,101) (99,101) (99,101) (98,102) "
            "(98,102) (98,102) (98,102) (98,102) (98,102) (98,102) (98,102) "
            "(98,102) (98,102) (98,102) (100,100)",
            Row(0, 100));
  EXPECT_EQ("(255,255) (255,0) (254,0) (254,0) (253,0) (253,0) (253,0) "
            "(252,0) (252,0) (252,0) (251,0) (251,0) (251,0) (251,0) "
            "(251,0) (251,0) (255,255)",
            Row(0, 255));
  EXPECT_EQ("(200,200) (199,201) (199,201) (198,202) (198,202) (197,203) "
            "(197,203) (197,203) (196,204) (196,204) (196,204) (195,205) "
            "(195,205) (195,205) (194,206) (194,206) (200,200)",
            Row(1, 200));
  // a = 0 takes the strength as weight: level 0 gives 0.5 x k rounded half
  // up, levels 1..3 give 0.6 x k rounded.
  for (int k = 0; k <= 15; ++k) {
    EXPECT_EQ((k + 1) / 2, Entry(0, 0, k, 1)) << k;
    EXPECT_EQ(static_cast<int>(0.6 * k + 0.5), Entry(2, 0, k, 1)) << k;
  }
}

TEST_F(NrTableTest, IdentityColumnAndUnfilledColumns) {
  InitNRPixelTable(17);
  for (int level = 0; level < 4; ++level) {
    for (int a = 0; a < 256; ++a) {
      ASSERT_EQ(a, Entry(level, a, 16, 0)) << level << " " << a;
      ASSERT_EQ(a, Entry(level, a, 16, 1)) << level << " " << a;
      for (int d = 17; d < kNrColumns; ++d) {
        ASSERT_EQ(0, Entry(level, a, d, 0) | Entry(level, a, d, 1));
      }
      // A reference outside 0..255 cannot occur; its entries stay cleared.
      for (int k = 0; k < 16; ++k) {
        if (a - k < 0) {
          ASSERT_EQ(0, Entry(level, a, k, 0));
        }
        if (a + k > 255 && !(level == 3 && a >= 252)) {
          ASSERT_EQ(0, Entry(level, a, k, 1));
        }
      }
    }
  }
}

TEST_F(NrTableTest, LastFourValuesOfLevelThreeAreNotCleared) {
  // From the static content, the old identity column 15 survives where the
  // loop writes nothing: the upward entries of a = 252..255.
  InitNRPixelTable(17);
  for (int a = 252; a <= 255; ++a) EXPECT_EQ(a, Entry(3, a, 15, 1));
  for (int a = 241; a < 252; ++a) EXPECT_EQ(0, Entry(3, a, 15, 1));

  // Exactly the first 67320 bytes are cleared.
  memset(nr_table, 0xA5, VD_NR_TABLE_SIZE);
  InitNRPixelTable(17);
  const int tail = 3 * kNrBytesPerLevel + 252 * kNrBytesPerValue;
  ASSERT_EQ(67320, tail);
  EXPECT_EQ(0, Entry(3, 251, 32, 1));
  for (int a = 252; a <= 255; ++a) {
    for (int k = 0; k <= 16; ++k) {
      // Written: every downward entry, the upward ones with a + k <= 255 and
      // the identity column; the rest keep the fill.
      EXPECT_NE(0xA5, Entry(3, a, k, 0)) << a << " " << k;
      EXPECT_EQ(a + k > 255 && k != 16, Entry(3, a, k, 1) == 0xA5)
          << a << " " << k;
    }
    for (int d = 17; d < kNrColumns; ++d) {
      EXPECT_EQ(0xA5, Entry(3, a, d, 0));
      EXPECT_EQ(0xA5, Entry(3, a, d, 1));
    }
  }
}

TEST_F(NrTableTest, SmallColumnCounts) {
  // n = 1: only the identity column.
  InitNRPixelTable(1);
  for (int level = 0; level < 4; ++level) {
    for (int a = 0; a < 256; ++a) {
      ASSERT_EQ(a, Entry(level, a, 0, 0));
      ASSERT_EQ(a, Entry(level, a, 0, 1));
      if (level == 3 && a >= 252) continue;
      for (int d = 1; d < kNrColumns; ++d) {
        ASSERT_EQ(0, Entry(level, a, d, 0) | Entry(level, a, d, 1));
      }
    }
  }
  // n = 0: the identity column is column -1, i.e. column 32 of the previous
  // value of a; the one for level 0, a = 0 would fall before the table and
  // is dropped.
  InitNRPixelTable(0);
  EXPECT_EQ(1, Entry(0, 0, 32, 0));
  EXPECT_EQ(1, Entry(0, 0, 32, 1));
  EXPECT_EQ(0, Entry(0, 0, 0, 0));
  EXPECT_EQ(0, Entry(0, 255, 32, 0));  // level 1, a = 0
  EXPECT_EQ(255, Entry(3, 254, 32, 0));
}

TEST_F(NrTableTest, StrengthDropsPastColumnSixty) {
  // With 63 columns the loop reaches k = 61, which switches the strength to
  // 0.1 for the rest of the level (r stays 60 / a). Columns past 32 run into
  // the following values of a; the downward entry of level 0, a = 255,
  // k = 61 lands on [1][0][28][0], which level 1 never rewrites (0 - 28 < 0):
  // 255 - 61 x 0.1 x exp(-(60 / 255) x 9) gives 254 (0.5 would give 251).
  InitNRPixelTable(63);
  EXPECT_EQ(254, Entry(1, 0, 28, 0));
  // The identity of level 0, a = 255 sits at column 62: [1][0][29].
  EXPECT_EQ(255, Entry(1, 0, 29, 0));
  // 33 columns fill whole rows: the identity is column 32.
  InitNRPixelTable(33);
  EXPECT_EQ(255, Entry(3, 255, 32, 0));
  EXPECT_EQ(255, Entry(3, 255, 32, 1));
}

}  // namespace
