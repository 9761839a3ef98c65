// The portable reciprocal estimate and normalisation against known values
// and, on ARM builds, against the NEON instructions themselves.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "spatial/recip_estimate.h"
#include "tests/test_util.h"

namespace {

uint32_t Bits(float f) {
  uint32_t b;
  memcpy(&b, &f, 4);
  return b;
}

float FromBits(uint32_t b) {
  float f;
  memcpy(&f, &b, 4);
  return f;
}

// The estimate by the ARM definition: the operand's top 8 fraction bits give
// a = 256..511 (the operand scaled to [0.5, 1) times 512); b = 2^19 div
// (2a + 1); r = (b + 1) div 2 is the estimate times 256; the exponent is
// 253 - e. Worked examples:
//   1.0:  a = 256, b = 524288 / 513 = 1022, r = 511 -> 0x3F7F8000 (0.998046875)
//   2.0:  same fraction, exponent one lower      -> 0x3EFF8000
//   3.0:  a = 384, b = 524288 / 769 = 681, r = 341 -> 0x3EAA8000 (0.3330078125)
//   65.0: a = 260, b = 524288 / 521 = 1006, r = 503 -> 0x3C7B8000
TEST(RecipEstimateTest, KnownEstimates) {
  EXPECT_EQ(0x3F7F8000u, Bits(VdRecipEstimate(1.0f)));
  EXPECT_EQ(0x3EFF8000u, Bits(VdRecipEstimate(2.0f)));
  EXPECT_EQ(0x3EAA8000u, Bits(VdRecipEstimate(3.0f)));
  EXPECT_EQ(0x3C7B8000u, Bits(VdRecipEstimate(65.0f)));
  EXPECT_EQ(0xBEFF8000u, Bits(VdRecipEstimate(-2.0f)));
  // Largest fraction: a = 511, b = 524288 / 1023 = 512, r = 256 -> 0.5.
  EXPECT_EQ(0x3F000000u, Bits(VdRecipEstimate(FromBits(0x3FFFFFFFu))));
  // Special operands (ARMv7: denormals flush to zero).
  EXPECT_EQ(0x7F800000u, Bits(VdRecipEstimate(0.0f)));
  EXPECT_EQ(0xFF800000u, Bits(VdRecipEstimate(-0.0f)));
  EXPECT_EQ(0x7F800000u, Bits(VdRecipEstimate(FromBits(0x00000001u))));
  EXPECT_EQ(0x00000000u, Bits(VdRecipEstimate(FromBits(0x7F800000u))));
  EXPECT_EQ(0x80000000u, Bits(VdRecipEstimate(FromBits(0xFF800000u))));
  EXPECT_EQ(0x7FC00000u, Bits(VdRecipEstimate(FromBits(0x7F800001u))));
  // Exponents 253 and 254 would give a denormal result: zero instead.
  EXPECT_EQ(0x00000000u, Bits(VdRecipEstimate(FromBits(0x7E800000u))));
  EXPECT_EQ(0x00FF8000u, Bits(VdRecipEstimate(FromBits(0x7E000000u))));
}

TEST(RecipEstimateTest, RefinementAndNormalisation) {
  // 2 - 3 x 0.3330078125 = 1.0009765625, exactly representable.
  EXPECT_EQ(1.0009765625f, VdRecipStep(3.0f, 0.3330078125f));
  EXPECT_EQ(1.0f, VdRecipRefined(1.0f));
  EXPECT_EQ(0.5f, VdRecipRefined(2.0f));
  // Two steps leave 1/74 one unit in the last place low ...
  EXPECT_EQ(0x3C5D67C8u, Bits(VdRecipRefined(74.0f)));
  EXPECT_EQ(0x3C5D67C9u, Bits(1.0f / 74.0f));
  // ... so 111 / 74 = 1.5 does not round up, where a division would.
  EXPECT_EQ(1, VdNormaliseToByte(111.0f, 74.0f));
  EXPECT_EQ(2, static_cast<int>(111.0f / 74.0f + 0.5f));
  // Ordinary cases of the 3x3 filters (nearest integer).
  EXPECT_EQ(102, VdNormaliseToByte(42372.0f, 417.0f));
  EXPECT_EQ(105, VdNormaliseToByte(43947.0f, 417.0f));
  EXPECT_EQ(255, VdNormaliseToByte(147135.0f, 577.0f));
  // Saturation to 16 bits, then the low byte; negative gives 0.
  EXPECT_EQ(44, VdNormaliseToByte(300.0f, 1.0f));
  EXPECT_EQ(255, VdNormaliseToByte(70000.0f, 1.0f));
  EXPECT_EQ(0, VdNormaliseToByte(-5.0f, 1.0f));
}

#if defined(__ARM_NEON)

// Random normal floats: exponents lo..hi, any fraction, either sign.
std::vector<float> RandomNormals(size_t n, uint32_t lo, uint32_t hi,
                                 uint32_t seed) {
  const std::vector<uint8_t> r = vdtest::RandomBytes(n * 4, seed);
  std::vector<float> out(n);
  for (size_t i = 0; i < n; ++i) {
    uint32_t b;
    memcpy(&b, &r[i * 4], 4);
    const uint32_t exponent = lo + (b >> 23 & 0xff) % (hi - lo + 1);
    out[i] = FromBits((b & 0x807fffffu) | exponent << 23);
  }
  return out;
}

// The weight sums of the filters and beyond, then random normal operands.
// aarch64 computes denormal estimates for exponents 253 and 254 where ARMv7
// gives zero, so the sweep stays below there on aarch64.
std::vector<float> Operands() {
  std::vector<float> v;
  for (int w = 1; w <= 4096; ++w) v.push_back(static_cast<float>(w));
#if defined(__aarch64__)
  const uint32_t max_exponent = 252;
#else
  const uint32_t max_exponent = 254;
#endif
  const std::vector<float> r = RandomNormals(100000, 1, max_exponent, 42);
  v.insert(v.end(), r.begin(), r.end());
  while (v.size() % 4) v.push_back(1.0f);
  return v;
}

TEST(RecipEstimateNeonTest, EstimateMatchesVrecpe) {
  const std::vector<float> ops = Operands();
  for (float x : ops) {
    const float hw = vget_lane_f32(vrecpe_f32(vdup_n_f32(x)), 0);
    ASSERT_EQ(Bits(hw), Bits(VdRecipEstimate(x))) << std::hexfloat << x;
  }
#if !defined(__aarch64__)
  // ARMv7 NEON flushes denormal operands to zero.
  for (uint32_t b : {0x00000001u, 0x007FFFFFu, 0x80400000u, 0x7E800000u,
                     0x7F7FFFFFu, 0x00000000u, 0x7F800000u}) {
    const float hw = vget_lane_f32(vrecpe_f32(vdup_n_f32(FromBits(b))), 0);
    EXPECT_EQ(Bits(hw), Bits(VdRecipEstimate(FromBits(b)))) << std::hex << b;
  }
#endif
}

TEST(RecipEstimateNeonTest, RefinedMatchesNeonSequence) {
  const std::vector<float> ops = Operands();
  for (size_t i = 0; i < ops.size(); i += 4) {
    float lanes[4];
    vst1q_f32(lanes, VdRecipRefinedNeon(vld1q_f32(&ops[i])));
    for (int k = 0; k < 4; ++k) {
      ASSERT_EQ(Bits(lanes[k]), Bits(VdRecipRefined(ops[i + k])))
          << std::hexfloat << ops[i + k];
    }
  }
#if !defined(__aarch64__)
  // On ARMv7 the plain VRECPE + VRECPS sequence gives the same: its VRECPS
  // rounds the product before subtracting. (aarch64's FRECPS is fused and
  // differs in the second step, which is why the vector code spells the
  // step out.)
  for (size_t i = 0; i < ops.size(); ++i) {
    const float32x2_t x = vdup_n_f32(ops[i]);
    float32x2_t r = vrecpe_f32(x);
    r = vmul_f32(r, vrecps_f32(x, r));
    r = vmul_f32(r, vrecps_f32(x, r));
    ASSERT_EQ(Bits(vget_lane_f32(r, 0)), Bits(VdRecipRefined(ops[i])))
        << std::hexfloat << ops[i];
  }
#endif
}

// The normalisation of the 3x3 filters on four lanes: convert, times the
// refined reciprocal, plus 0.5, truncating convert, saturating narrow.
uint16x4_t NeonNormalise(uint32x4_t s, uint32x4_t w) {
  const float32x4_t r = VdRecipRefinedNeon(vcvtq_f32_u32(w));
  const float32x4_t v =
      vaddq_f32(vmulq_f32(vcvtq_f32_u32(s), r), vdupq_n_f32(0.5f));
  return vqmovn_u32(vcvtq_u32_f32(v));
}

TEST(RecipEstimateNeonTest, NormaliseMatchesNeonForEveryFilterSum) {
  // Weight sums 65..640 occur (seed 1 or 64 plus the centre's 64 plus up to
  // eight neighbours of at most 64), and every S up to 255 x W.
  for (uint32_t w = 65; w <= 640; ++w) {
    const uint32x4_t wv = vdupq_n_u32(w);
    const uint32x4_t step = vdupq_n_u32(4);
    const uint32_t first[4] = {0, 1, 2, 3};
    uint32x4_t sv = vld1q_u32(first);
    for (uint32_t s = 0; s <= 255 * w; s += 4) {
      uint16_t got[4];
      vst1_u16(got, NeonNormalise(sv, wv));
      for (uint32_t k = 0; k < 4; ++k) {
        const uint8_t want = VdNormaliseToByte(static_cast<float>(s + k),
                                               static_cast<float>(w));
        if ((got[k] & 0xff) != want) {
          FAIL() << "S " << s + k << " W " << w << ": " << got[k] << " vs "
                 << int{want};
        }
      }
      sv = vaddq_u32(sv, step);
    }
  }
}

#endif  // defined(__ARM_NEON)

}  // namespace
