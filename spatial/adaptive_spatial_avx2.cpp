// AVX2-build twins of the adaptive spatial kernels: the SSE2 code compiled with
// -mavx2 (VEX encoding), its table reads done by pshufb. Run only after the
// processor check.
#include "spatial/adaptive_spatial.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>

#include "temporal/adaptive_x86_common.h"

namespace {

struct ShuffleLookup {
  __m128i operator()(const uint8_t* table, __m128i index) const {
    return _mm_shuffle_epi8(Load(table), index);
  }
};

}  // namespace

void AdaptiveSpatialRow_AVX2(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                             const uint8_t* threshold, uint8_t* out, int width, int step) {
  SpatialRowX86(r0, r1, r2, threshold, out, width, step);
}

void AdaptiveLumaThreshold_AVX2(const uint8_t* row, const uint8_t* hist, uint8_t* threshold,
                                int width, const VdSpatialParams* params) {
  LumaThresholdX86(row, hist, threshold, width, params, ShuffleLookup());
}

void AdaptiveChromaThreshold_AVX2(const uint8_t* luma_row, const uint8_t* hist,
                                  uint8_t* threshold, int width, const VdSpatialParams* params) {
  ChromaThresholdX86(luma_row, hist, threshold, width, params, ShuffleLookup());
}

#endif  // x86-64
