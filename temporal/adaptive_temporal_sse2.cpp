// SSE2 twins of the adaptive temporal kernels (x86-64 baseline).
#include "temporal/adaptive_temporal.h"

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

int AdaptiveSad16_SSE2(const uint8_t* a, int a_stride, const uint8_t* b, int b_stride,
                       int rows) {
  __m128i s = _mm_setzero_si128();
  for (int y = 0; y < rows; ++y) {
    s = _mm_add_epi64(s, _mm_sad_epu8(Load(a), Load(b)));
    a += a_stride;
    b += b_stride;
  }
  return _mm_cvtsi128_si32(s) + _mm_cvtsi128_si32(_mm_srli_si128(s, 8));
}

int AdaptiveHalfSad16_SSE2(const uint8_t* a, int a_stride, const uint8_t* b, int b_stride,
                           int fx, int fy, int rows) {
  const int down = fy ? b_stride : 0;
  const __m128i two = _mm_set1_epi16(2);
  __m128i s = _mm_setzero_si128();
  for (int y = 0; y < rows; ++y) {
    const __m128i p00 = Load(b), p01 = Load(b + fx), p10 = Load(b + down), p11 = Load(b + down + fx);
    const __m128i lo = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(Lo16(p00), Lo16(p01)),
                                    _mm_add_epi16(Lo16(p10), Lo16(p11))), two), 2);
    const __m128i hi = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(Hi16(p00), Hi16(p01)),
                                    _mm_add_epi16(Hi16(p10), Hi16(p11))), two), 2);
    s = _mm_add_epi64(s, _mm_sad_epu8(Load(a), _mm_packus_epi16(lo, hi)));
    a += a_stride;
    b += b_stride;
  }
  return _mm_cvtsi128_si32(s) + _mm_cvtsi128_si32(_mm_srli_si128(s, 8));
}

void AdaptiveInterpolate_SSE2(const uint8_t* r0, const uint8_t* r1, int fx, uint8_t* out,
                              int n) {
  const __m128i two = _mm_set1_epi16(2);
  int k = 0;
  for (; k + 16 <= n; k += 16) {
    const __m128i a = Load(r0 + k), b = Load(r0 + k + fx), c = Load(r1 + k), d = Load(r1 + k + fx);
    const __m128i lo = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(Lo16(a), Lo16(b)), _mm_add_epi16(Lo16(c), Lo16(d))),
                      two), 2);
    const __m128i hi = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(Hi16(a), Hi16(b)), _mm_add_epi16(Hi16(c), Hi16(d))),
                      two), 2);
    Store(out + k, _mm_packus_epi16(lo, hi));
  }
  if (k < n) AdaptiveInterpolate_C(r0 + k, r1 + k, fx, out + k, n - k);
}

void AdaptiveTemporalLuma_SSE2(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                               const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                               const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                               const VdTemporalParams* params) {
  TemporalLumaX86(c0, c1, c2, p0, p1, p2, cap, hist, out, width, params, TableLookup());
}

void AdaptiveTemporalChroma_SSE2(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                                 const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                                 const uint8_t* luma_pred, const uint8_t* luma_hist0,
                                 const uint8_t* luma_hist1, uint8_t* hist, uint8_t* out,
                                 int width, const VdTemporalParams* params) {
  TemporalChromaX86(c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0, luma_hist1, hist, out, width,
                    params, TableLookup());
}

#endif  // x86-64
