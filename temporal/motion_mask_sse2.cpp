// SSE2 twins of the frame-path motion kernels (x86-64 baseline, no extra
// flags). They walk the planes as the references in motion_mask.cpp do
// (motion_mask_walk.h).
#include "temporal/motion_mask_internal.h"

#if defined(__x86_64__) || defined(_M_X64)

#include <emmintrin.h>
#include <stddef.h>

#include "temporal/motion_mask_walk.h"
#include "temporal/motion_mask_x86_common.h"

namespace {

// 0xff where |a - b| > threshold.
inline __m128i Exceeds(__m128i a, __m128i b, __m128i thr) {
  const __m128i within =
      _mm_cmpeq_epi8(_mm_subs_epu8(AbsDiff(a, b), thr), _mm_setzero_si128());
  return _mm_xor_si128(within, _mm_set1_epi8(-1));
}

}  // namespace

// Two rows of 32 pixels per step.
void CalSAD_threshhold_SSE2(unsigned char* first, unsigned char* second,
                            unsigned char* out, int width, int height,
                            unsigned char threshold) {
  const __m128i thr = _mm_set1_epi8(static_cast<char>(threshold));
  ForEachRowPairStep<32>(width, height, Span32(width), [&](ptrdiff_t i, ptrdiff_t j) {
    const __m128i a0l = Load16(first + i), a0h = Load16(first + i + 16);
    const __m128i b0l = Load16(second + i), b0h = Load16(second + i + 16);
    const __m128i a1l = Load16(first + j), a1h = Load16(first + j + 16);
    const __m128i b1l = Load16(second + j), b1h = Load16(second + j + 16);
    Store16(out + i, Exceeds(a0l, b0l, thr));
    Store16(out + i + 16, Exceeds(a0h, b0h, thr));
    Store16(out + j, Exceeds(a1l, b1l, thr));
    Store16(out + j + 16, Exceeds(a1h, b1h, thr));
  });
}

// Two rows of 16 pixels per step.
void CalDiffAbs_SSE2(unsigned char* first, unsigned char* second,
                     unsigned char* diff, unsigned char* sign, int width,
                     int height, int /*unused*/) {
  ForEachRowPairStep<16>(width, height, Span16(width), [&](ptrdiff_t i, ptrdiff_t j) {
    DiffAndSign16(first + i, second + i, diff + i, sign + i);
    DiffAndSign16(first + j, second + j, diff + j, sign + j);
  });
}

#endif  // x86-64
