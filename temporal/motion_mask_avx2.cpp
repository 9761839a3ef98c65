// AVX2 twins of the motion-mask span kernels; compiled with -mavx2 and run
// only on processors that have it. 32 pixels per step, then 16, then the
// rest of a row per pixel (motion_mask_walk.h).
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>
#include <stddef.h>

#include "temporal/motion_mask_walk.h"
#include "temporal/motion_mask_x86_common.h"

namespace {

inline __m256i Load32(const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void Store32(unsigned char* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
inline __m256i AbsDiff(__m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}

inline void DiffAndSign32(const unsigned char* a, const unsigned char* b,
                          unsigned char* diff, unsigned char* sign) {
  const __m256i av = Load32(a), bv = Load32(b);
  Store32(diff, _mm256_min_epu8(AbsDiff(av, bv), _mm256_set1_epi8(16)));
  // b >= a exactly where a - b saturates to 0.
  Store32(sign, _mm256_and_si256(
                    _mm256_cmpeq_epi8(_mm256_subs_epu8(av, bv),
                                      _mm256_setzero_si256()),
                    _mm256_set1_epi8(1)));
}

// 0xff where v > threshold.
inline __m256i Above(__m256i v, __m256i thr) {
  const __m256i notAbove =
      _mm256_cmpeq_epi8(_mm256_subs_epu8(v, thr), _mm256_setzero_si256());
  return _mm256_xor_si256(notAbove, _mm256_set1_epi8(-1));
}

// 0xff where |a - b| > threshold.
inline __m256i Exceeds(__m256i a, __m256i b, __m256i thr) {
  return Above(AbsDiff(a, b), thr);
}

}  // namespace

void CalSADImageSpans_AVX2(const unsigned char* first,
                           const unsigned char* second, unsigned char* out,
                           int width, int span, int rows) {
  ForEachSpanStep<32, 16>(
      width, span, rows,
      [&](ptrdiff_t i) { Store32(out + i, AbsDiff(Load32(first + i), Load32(second + i))); },
      [&](ptrdiff_t i) { Store16(out + i, AbsDiff(Load16(first + i), Load16(second + i))); },
      SadPixel{first, second, out});
}

void CalSAD_threshholdSpans_AVX2(const unsigned char* first,
                                 const unsigned char* second,
                                 unsigned char* out, int width, int span,
                                 int rows, unsigned char threshold) {
  const __m256i thr = _mm256_set1_epi8(static_cast<char>(threshold));
  ForEachSpanStep<32, 16>(
      width, span, rows,
      [&](ptrdiff_t i) { Store32(out + i, Exceeds(Load32(first + i), Load32(second + i), thr)); },
      [&](ptrdiff_t i) {
        Store16(out + i, Exceeds(Load16(first + i), Load16(second + i),
                                 _mm256_castsi256_si128(thr)));
      },
      ExceedsPixel{first, second, out, threshold});
}

void CalDiffAbsSpans_AVX2(const unsigned char* first,
                          const unsigned char* second, unsigned char* diff,
                          unsigned char* sign, int width, int span, int rows) {
  ForEachSpanStep<32, 16>(
      width, span, rows,
      [&](ptrdiff_t i) { DiffAndSign32(first + i, second + i, diff + i, sign + i); },
      [&](ptrdiff_t i) { DiffAndSign16(first + i, second + i, diff + i, sign + i); },
      DiffSignPixel{first, second, diff, sign});
}

void ThresholdImage255Spans_AVX2(const unsigned char* in, unsigned char* out,
                                 int width, int span, int rows,
                                 unsigned char threshold) {
  const __m256i thr = _mm256_set1_epi8(static_cast<char>(threshold));
  ForEachSpanStep<32, 16>(
      width, span, rows, [&](ptrdiff_t i) { Store32(out + i, Above(Load32(in + i), thr)); },
      [&](ptrdiff_t i) { Store16(out + i, Above(Load16(in + i), _mm256_castsi256_si128(thr))); },
      Above255Pixel{in, out, threshold});
}

#endif  // x86-64
