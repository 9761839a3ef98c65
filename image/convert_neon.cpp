// NEON twins of the chroma movers (armv7 and aarch64): two blocks per step
// when no range overlaps another, else one interleaving store or
// de-interleaving load per block, in order (convert_walk.h).
#include "image/convert_internal.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>

#include "image/convert_walk.h"

void MergeVUPlane_NEON(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count) {
  MergeVUWalk<2>(
      u, v, vu, count,
      [&](size_t b) {
        uint8x16x2_t pairs;
        pairs.val[0] = vld1q_u8(v + 8 * b);
        pairs.val[1] = vld1q_u8(u + 8 * b);
        vst2q_u8(vu + 16 * b, pairs);
      },
      [&](size_t b) {
        uint8x8x2_t pairs;
        pairs.val[0] = vld1_u8(v + 8 * b);
        pairs.val[1] = vld1_u8(u + 8 * b);
        vst2_u8(vu + 16 * b, pairs);
      });
}

// U stored before V.
void SplitVUPlane_NEON(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  SplitVUWalk<2>(
      vu, u, v, bytes,
      [&](size_t b) {
        const uint8x16x2_t pairs = vld2q_u8(vu + 16 * b);
        vst1q_u8(u + 8 * b, pairs.val[1]);
        vst1q_u8(v + 8 * b, pairs.val[0]);
      },
      [&](size_t b) {
        const uint8x8x2_t pairs = vld2_u8(vu + 16 * b);
        vst1_u8(u + 8 * b, pairs.val[1]);
        vst1_u8(v + 8 * b, pairs.val[0]);
      });
}

#endif  // __ARM_NEON
