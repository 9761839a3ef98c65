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

namespace {

// Sixteen pixels widened to 16-bit lanes.
inline __m256i Widen(const uint8_t* p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

inline __m256i AddPhi256(__m256i sum, __m256i nb, __m256i c, __m256i t2, int shift) {
  const __m256i d = _mm256_sub_epi16(nb, c);
  const __m256i a = _mm256_abs_epi16(d);
  __m256i m = _mm256_min_epi16(a, _mm256_sub_epi16(t2, a));
  m = _mm256_max_epi16(m, _mm256_setzero_si256());
  m = _mm256_sign_epi16(m, d);
  return _mm256_add_epi16(sum, shift ? _mm256_slli_epi16(m, 1) : m);
}

}  // namespace

// 16 pixels a step in one 256-bit register of 16-bit lanes.
void AdaptiveSpatialRow_AVX2(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                             const uint8_t* threshold, uint8_t* out, int width, int step) {
  AdaptiveSpatialRowWalk(r0, r1, r2, threshold, out, width, step, [&](int x) {
    const __m256i t2 = _mm256_slli_epi16(Widen(threshold + x), 1);
    const __m256i c = Widen(r1 + x);
    __m256i s = _mm256_setzero_si256();
    s = AddPhi256(s, Widen(r0 + x - step), c, t2, 0);
    s = AddPhi256(s, Widen(r0 + x), c, t2, 1);
    s = AddPhi256(s, Widen(r0 + x + step), c, t2, 0);
    s = AddPhi256(s, Widen(r1 + x - step), c, t2, 1);
    s = AddPhi256(s, Widen(r1 + x + step), c, t2, 1);
    s = AddPhi256(s, Widen(r2 + x - step), c, t2, 0);
    s = AddPhi256(s, Widen(r2 + x), c, t2, 1);
    s = AddPhi256(s, Widen(r2 + x + step), c, t2, 0);
    const __m256i v =
        _mm256_add_epi16(c, _mm256_srai_epi16(_mm256_add_epi16(s, _mm256_set1_epi16(8)), 4));
    const __m256i packed = _mm256_packus_epi16(v, v);  // lanes: 0-7 | 0-7, 8-15 | 8-15
    const __m128i bytes = _mm256_castsi256_si128(_mm256_permute4x64_epi64(packed, 0x08));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), bytes);
  });
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
