// AVX2-build twins of the adaptive kernels: the SSE2 code compiled with
// -mavx2 (VEX encoding), its table reads done by pshufb. Run only after the
// processor check.
#include "temporal/adaptive_temporal.h"

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

void AdaptiveTemporalLuma_AVX2(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                               const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params) {
  TemporalLumaX86(c0, c1, c2, p0, p1, p2, cap, hist, out, width, params, ShuffleLookup());
}

void AdaptiveTemporalChroma_AVX2(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                                 const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred, const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist, uint8_t* out,
                                 int width, const VdTemporalParams* params) {
  TemporalChromaX86(c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0, luma_hist1, hist, out, width,
                    params, ShuffleLookup());
}

#endif  // x86-64
