// The noise-reduction table: its static content and the routine that
// rebuilds it.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"

// The bytes are what VdBuildNRPixelTable(16) writes into a zeroed array
// (regenerate with scripts/gen_nr_table.cpp); the tests check on every
// platform that InitNRPixelTable(16) reproduces them.
unsigned char nr_table[VD_NR_TABLE_SIZE] = {
#include "spatial/nr_table_data.inc"
};

namespace {

// Entry [level][a][d][s] as a flat index. d may exceed the 33 columns (or be
// negative): like a flat array the index then runs into a neighbouring row.
inline int64_t NrIndex(int level, int a, int64_t d, int s) {
  return ((int64_t{level} * 256 + a) * kNrColumns + d) * 2 + s;
}

// w x other + (1 - w) x a with products and sum in single precision, then
// widened to double, plus 0.5, truncated toward zero, low byte kept.
inline uint8_t NrBlend(float w, int other, int a) {
  const float v = w * static_cast<float>(other) +
                  (1.0f - w) * static_cast<float>(a);
  const double rounded = static_cast<double>(v) + 0.5;
  const uint32_t u = rounded > 0.0 ? static_cast<uint32_t>(rounded) : 0u;
  return static_cast<uint8_t>(u);
}

}  // namespace

void VdBuildNRPixelTable(uint8_t* table, int n) {
  // Only the first 67320 bytes are cleared: the last four values of a in
  // level 3 keep whatever the columns the loop skips held before.
  memset(table, 0, kNrClearedBytes);
  // Writes are flat-indexed; any that would land outside the table (only
  // possible for n > 33 or n < 1) are dropped.
  auto put = [table](int64_t index, uint8_t value) {
    if (index >= 0 && index < VD_NR_TABLE_SIZE) table[index] = value;
  };
  for (int level = 0; level < 4; ++level) {
    const float g = level == 0 ? 9.0f : 6.0f;
    float s = level == 0 ? 0.5f : 0.6f;
    float r = 0.0f;
    for (int a = 0; a < 256; ++a) {
      for (int64_t k = 0; k <= int64_t{n} - 2; ++k) {
        if (NrIndex(level, a, k, 0) >= VD_NR_TABLE_SIZE) break;
        float w;
        if (a == 0) {
          w = s;
        } else {
          // Past k = 60 the strength drops to 0.1 for the rest of this level
          // and r keeps its last value (that of k = 60).
          if (k > 60) {
            s = 0.1f;
          } else if (k <= 7 && a <= 63) {
            r = 0.0f;
          } else {
            r = static_cast<float>(k) / static_cast<float>(a);
          }
          const float rg = r * g;
          w = static_cast<float>(static_cast<double>(s) *
                                 exp(static_cast<double>(-rg)));
        }
        if (a - k >= 0) {
          put(NrIndex(level, a, k, 0),
              NrBlend(w, static_cast<int>(a - k), a));
        }
        if (static_cast<double>(a + k) <= 255.0) {
          put(NrIndex(level, a, k, 1),
              NrBlend(w, static_cast<int>(a + k), a));
        }
      }
      // Column n - 1 is the identity: the difference is too large to filter.
      put(NrIndex(level, a, int64_t{n} - 1, 0), static_cast<uint8_t>(a));
      put(NrIndex(level, a, int64_t{n} - 1, 1), static_cast<uint8_t>(a));
    }
  }
}

void InitNRPixelTable(int n) { VdBuildNRPixelTable(nr_table, n); }
