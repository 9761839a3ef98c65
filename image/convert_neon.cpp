#include "image/convert_internal.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>

// One interleaving store per block of 8 pairs; blocks run in order so the
// result matches the scalar reference even for overlapping ranges.
void MergeVUPlane_NEON(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count) {
  if (count <= 0) return;
  for (int i = 0; i < count; i += 8) {
    uint8x8x2_t pairs;
    pairs.val[0] = vld1_u8(v + i);
    pairs.val[1] = vld1_u8(u + i);
    vst2_u8(vu + 2 * i, pairs);
  }
}

// One de-interleaving load per block of 16 bytes, U stored before V.
void SplitVUPlane_NEON(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  if (bytes <= 0) return;
  const unsigned blocks = ((static_cast<unsigned>(bytes) - 1u) >> 4) + 1u;
  for (unsigned b = 0; b < blocks; ++b) {
    const uint8x8x2_t pairs = vld2_u8(vu + 16 * b);
    vst1_u8(u + 8 * b, pairs.val[1]);
    vst1_u8(v + 8 * b, pairs.val[0]);
  }
}

#endif  // __ARM_NEON
