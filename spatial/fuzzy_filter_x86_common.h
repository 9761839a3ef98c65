// Glue shared by the SSE2 (fuzzy_filter_sse2.cpp) and AVX2
// (fuzzy_filter_avx2.cpp) fuzzy filters. Everything here has internal
// linkage, so the -mavx2 object and the baseline object each keep their
// own copy.
#ifndef VD_SPATIAL_FUZZY_FILTER_X86_COMMON_H_
#define VD_SPATIAL_FUZZY_FILTER_X86_COMMON_H_

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>

#include "spatial/fuzzy_filter_internal.h"

namespace {

static inline __m128i Load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Table look-ups for pixels i .. end - 1, four at a time (end - i is a
// multiple of 4); each group of four is read before it is written, so out
// may be cur.
static inline void FuzzyLookupTail(const uint8_t* table, const unsigned char* cur,
                                   const unsigned char* diff,
                                   const unsigned char* sign, unsigned char* out,
                                   size_t i, size_t end) {
  for (; i < end; i += 4) {
    uint8_t v[4];
    for (int k = 0; k < 4; ++k) {
      v[k] = table[cur[i + k] * kNrBytesPerValue + diff[i + k] * 2 + sign[i + k]];
    }
    for (int k = 0; k < 4; ++k) out[i + k] = v[k];
  }
}

}  // namespace

#endif  // VD_SPATIAL_FUZZY_FILTER_X86_COMMON_H_
