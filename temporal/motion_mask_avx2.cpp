// AVX2 twins of the frame-path motion kernels; compiled with -mavx2 and run
// only on processors that have it. They walk the planes as the references
// in motion_mask.cpp do (motion_mask_walk.h).
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

// 0xff where |a - b| > threshold.
inline __m256i Exceeds(__m256i a, __m256i b, __m256i thr) {
  const __m256i within =
      _mm256_cmpeq_epi8(_mm256_subs_epu8(AbsDiff(a, b), thr), _mm256_setzero_si256());
  return _mm256_xor_si256(within, _mm256_set1_epi8(-1));
}

}  // namespace

// Two rows of 32 pixels per step.
void CalSAD_threshhold_AVX2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const __m256i thr = _mm256_set1_epi8(static_cast<char>(threshold));
  ForEachRowPairStep<32>(width, height, Span32(width), [&](ptrdiff_t i, ptrdiff_t j) {
    const __m256i a0 = Load32(first + i), b0 = Load32(second + i);
    const __m256i a1 = Load32(first + j), b1 = Load32(second + j);
    Store32(out + i, Exceeds(a0, b0, thr));
    Store32(out + j, Exceeds(a1, b1, thr));
  });
}

// Two rows of 16-pixel blocks, 32 pixels per step while two blocks remain.
void CalDiffAbs_AVX2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  ForEachRowPairStep<32, 16>(
      width, height, Span16(width),
      [&](ptrdiff_t i, ptrdiff_t j) {
        DiffAndSign32(first + i, second + i, diff + i, sign + i);
        DiffAndSign32(first + j, second + j, diff + j, sign + j);
      },
      [&](ptrdiff_t i, ptrdiff_t j) {
        DiffAndSign16(first + i, second + i, diff + i, sign + i);
        DiffAndSign16(first + j, second + j, diff + j, sign + j);
      });
}

#endif  // x86-64
