// SSE2 twins of the adaptive spatial kernels (x86-64 baseline).
#include "spatial/adaptive_spatial.h"

#if defined(__x86_64__) || defined(_M_X64)

#include "temporal/adaptive_x86_common.h"

namespace {

// SSE2 has no byte shuffle: the table is read per lane.
struct TableLookup {
  __m128i operator()(const uint8_t* table, __m128i index) const {
    alignas(16) uint8_t i[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(i), index);
    for (int k = 0; k < 16; ++k) i[k] = table[i[k]];
    return _mm_load_si128(reinterpret_cast<const __m128i*>(i));
  }
};

}  // namespace

void AdaptiveSpatialRow_SSE2(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                             const uint8_t* threshold, uint8_t* out, int width, int step) {
  SpatialRowX86(r0, r1, r2, threshold, out, width, step);
}

void AdaptiveLumaThreshold_SSE2(const uint8_t* row, const uint8_t* hist, uint8_t* threshold,
                                int width, const VdSpatialParams* params) {
  LumaThresholdX86(row, hist, threshold, width, params, TableLookup());
}

void AdaptiveChromaThreshold_SSE2(const uint8_t* luma_row, const uint8_t* hist,
                                  uint8_t* threshold, int width, const VdSpatialParams* params) {
  ChromaThresholdX86(luma_row, hist, threshold, width, params, TableLookup());
}

#endif  // x86-64
