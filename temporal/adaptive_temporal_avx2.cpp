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

namespace {

inline __m256i Widen(const uint8_t* p) { return _mm256_cvtepu8_epi16(Load(p)); }

// Sixteen 16-bit lanes to sixteen bytes (saturating).
inline __m128i Narrow(__m256i v) {
  return _mm256_castsi256_si128(_mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 0x08));
}
// Sixteen 16-bit masks to sixteen byte masks.
inline __m128i NarrowMask(__m256i v) {
  return _mm256_castsi256_si128(_mm256_permute4x64_epi64(_mm256_packs_epi16(v, v), 0x08));
}

inline __m256i Sigma4x16(const VdNoiseLine& l, __m256i y) {
  const __m256i s1 = _mm256_add_epi16(
      _mm256_set1_epi16(l.a1), _mm256_srli_epi16(_mm256_mullo_epi16(y, _mm256_set1_epi16(l.b1)), 6));
  const __m256i s2 = _mm256_add_epi16(
      _mm256_set1_epi16(l.a2), _mm256_srli_epi16(_mm256_mullo_epi16(y, _mm256_set1_epi16(l.b2)), 6));
  return _mm256_min_epi16(s1, s2);
}

}  // namespace

// 16 pixels a step, the arithmetic in one 256-bit register of 16-bit lanes.
void AdaptiveTemporalLuma_AVX2(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                               const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params) {
  const uint8_t* c[3] = {c0, c1, c2};
  const uint8_t* p[3] = {p0, p1, p2};
  const __m128i one = _mm_set1_epi8(1);
  const __m128i most = _mm_set1_epi8(kVdAdaptiveMaxHistory);
  const __m256i still = _mm256_set1_epi16(params->still);
  const __m256i move = _mm256_set1_epi16(params->move);
  const __m128i gains = Load(kVdAdaptiveGain);
  AdaptiveTemporalLumaWalk(c0, c1, c2, p0, p1, p2, cap, hist, out, width, params, [&](int x) {
    __m256i sad = _mm256_setzero_si256();
    for (int r = 0; r < 3; ++r) {
      for (int k = -1; k <= 1; ++k) {
        sad = _mm256_add_epi16(
            sad, _mm256_cvtepu8_epi16(AbsDiff8(Load(c[r] + x + k), Load(p[r] + x + k))));
      }
    }
    const __m256i sad4 = _mm256_slli_epi16(sad, 2);
    const __m256i pv = Widen(p1 + x);
    const __m256i sig = Sigma4x16(params->luma, pv);
    const __m128i not_still = NarrowMask(_mm256_cmpgt_epi16(sad4, _mm256_mullo_epi16(sig, still)));
    const __m128i moved = NarrowMask(_mm256_cmpgt_epi16(sad4, _mm256_mullo_epi16(sig, move)));
    const __m128i grown = _mm_min_epu8(_mm_adds_epu8(Load(hist + x), one), most);
    const __m128i quarter = _mm_and_si128(_mm_srli_epi16(grown, 2), _mm_set1_epi8(0x3f));
    __m128i n = _mm_or_si128(_mm_andnot_si128(not_still, grown),
                             _mm_and_si128(_mm_andnot_si128(moved, not_still), quarter));
    n = _mm_min_epu8(n, Load(cap + x));
    Store(hist + x, n);
    const __m256i gain = _mm256_cvtepu8_epi16(_mm_shuffle_epi8(gains, n));
    const __m256i d = _mm256_sub_epi16(Widen(c1 + x), pv);
    const __m256i t = _mm256_srai_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(d, gain), _mm256_set1_epi16(64)), 7);
    Store(out + x, Narrow(_mm256_add_epi16(pv, t)));
  });
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
