// AVX2 twins of the frame-path motion kernels; compiled with -mavx2 and run
// only on processors that have it. Same stepping as motion_mask.cpp.
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <immintrin.h>
#include <stddef.h>

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

}  // namespace

// Two rows of 32 pixels per step; see CalSAD_threshhold_C for the stepping.
void CalSAD_threshhold_AVX2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const int span = (width >> 5) * 32;
  if (span <= 0) return;
  const __m256i thr = _mm256_set1_epi8(static_cast<char>(threshold));
  const __m256i ones = _mm256_set1_epi8(-1);
  const __m256i zero = _mm256_setzero_si256();
  const ptrdiff_t w = width;
  ForEachRowPair(width, height, span, [&](ptrdiff_t o) {
    const unsigned char* a = first + o;
    const unsigned char* b = second + o;
    unsigned char* m = out + o;
    for (int x = 0; x < span; x += 32) {
      const __m256i a0 = Load32(a + x), b0 = Load32(b + x);
      const __m256i a1 = Load32(a + w + x), b1 = Load32(b + w + x);
      // 0xff where |a - b| > threshold.
      Store32(m + x,
              _mm256_xor_si256(_mm256_cmpeq_epi8(
                                   _mm256_subs_epu8(AbsDiff(a0, b0), thr), zero),
                               ones));
      Store32(m + w + x,
              _mm256_xor_si256(_mm256_cmpeq_epi8(
                                   _mm256_subs_epu8(AbsDiff(a1, b1), thr), zero),
                               ones));
    }
  });
}

// Two rows of 16-pixel blocks, 32 pixels per step while two blocks remain;
// see CalDiffAbs_C for the stepping.
void CalDiffAbs_AVX2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  const int span = (width >> 4) * 16;
  if (span <= 0) return;
  const ptrdiff_t w = width;
  ForEachRowPair(width, height, span, [&](ptrdiff_t o) {
    const unsigned char* a = first + o;
    const unsigned char* b = second + o;
    unsigned char* d = diff + o;
    unsigned char* s = sign + o;
    int x = 0;
    for (; x + 32 <= span; x += 32) {
      DiffAndSign32(a + x, b + x, d + x, s + x);
      DiffAndSign32(a + w + x, b + w + x, d + w + x, s + w + x);
    }
    if (x < span) {
      DiffAndSign16(a + x, b + x, d + x, s + x);
      DiffAndSign16(a + w + x, b + w + x, d + w + x, s + w + x);
    }
  });
}

#endif  // x86-64
