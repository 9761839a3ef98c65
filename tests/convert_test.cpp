// NV21 <-> I420 conversion: whole frames, stripes, block stepping and the
// agreement of the scalar and NEON chroma movers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "api/vd_cpu.h"
#include "image/convert.h"
#include "image/convert_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;
using vdtest::RandomBytes;

constexpr uint8_t kCanary = 0xA5;

// A record whose planes point into one block by the one-block rule; for an
// NV21 frame pU is the interleaved plane.
sYuvImage_t Describe(uint8_t* block, int width, int height) {
  sYuvImage_t image;
  std::memset(&image, 0, sizeof(image));
  const int n = width * height;
  image.iWidth = width;
  image.iHeight = height;
  image.iStride = width;
  image.eYuvType = YUV_420;
  image.pBuffer = block;
  image.pY = block;
  image.pU = block + n;
  image.pV = block + n + n / 4;
  return image;
}

// Plain per-pair conversions used as the expected results.
std::vector<uint8_t> ExpectedNV21(const std::vector<uint8_t>& i420, int n) {
  std::vector<uint8_t> out(i420.begin(), i420.begin() + n);
  const int q = n / 4;
  for (int i = 0; i < q; ++i) {
    out.push_back(i420[n + q + i]);  // V
    out.push_back(i420[n + i]);      // U
  }
  return out;
}

std::vector<uint8_t> ExpectedI420(const std::vector<uint8_t>& nv21, int n) {
  const int q = n / 4;
  std::vector<uint8_t> out(nv21.begin(), nv21.begin() + n);
  out.resize(n + 2 * q);
  for (int i = 0; i < q; ++i) {
    out[n + q + i] = nv21[n + 2 * i];  // V
    out[n + i] = nv21[n + 2 * i + 1];  // U
  }
  return out;
}

TEST(ConvertFrame, TwoByTwoRoundTrip) {
  // Planar 2x2: four luma bytes, U = 0x55, V = 0xAA. The single chroma
  // block overruns by 7 pairs, so both buffers carry slack.
  std::vector<uint8_t> planar(6 + 16, 0);
  const uint8_t frame[6] = {1, 2, 3, 4, 0x55, 0xAA};
  std::memcpy(planar.data(), frame, 6);
  std::vector<uint8_t> nv21(4 + 16, kCanary);
  ConvertI420ToNV21(planar.data(), nv21.data(), 2, 2);
  EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 0xAA, 0x55}),
            std::vector<uint8_t>(nv21.begin(), nv21.begin() + 6));

  std::vector<uint8_t> back(6 + 16, kCanary);
  ConvertNV21ToI420(nv21.data(), back.data(), 2, 2);
  EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 0x55, 0xAA}),
            std::vector<uint8_t>(back.begin(), back.begin() + 6));
}

TEST(ConvertFrame, TooSmallForChromaCopiesLumaOnly) {
  // I420 -> NV21 converts no chroma below 4 luma samples, NV21 -> I420 none
  // below 2.
  std::vector<uint8_t> src = RandomBytes(64, 1);
  for (int w = 1; w <= 3; ++w) {
    std::vector<uint8_t> dst(64, kCanary);
    ConvertI420ToNV21(src.data(), dst.data(), w, 1);
    for (int i = 0; i < 64; ++i) {
      EXPECT_EQ(i < w ? src[i] : kCanary, dst[i]) << "w=" << w << " i=" << i;
    }
  }
  std::vector<uint8_t> dst(64, kCanary);
  ConvertNV21ToI420(src.data(), dst.data(), 1, 1);
  EXPECT_EQ(src[0], dst[0]);
  for (int i = 1; i < 64; ++i) EXPECT_EQ(kCanary, dst[i]) << i;
}

TEST(ConvertFrame, InContractSizesStayInsideTheFrame) {
  // Chroma counts that are multiples of 8: source and destination end flush
  // against a guard page, and the result is the plain per-pair conversion.
  const int sizes[][2] = {{16, 2}, {32, 2}, {16, 6}, {48, 4}, {96, 8},
                          {64, 10}, {8, 4}, {24, 16}};
  for (const auto& s : sizes) {
    const int w = s[0], h = s[1], n = w * h;
    const size_t total = static_cast<size_t>(n) * 3 / 2;
    SCOPED_TRACE(testing::Message() << w << "x" << h);
    std::vector<uint8_t> input = RandomBytes(total, n);

    GuardedBuffer src(total), dst(total);
    std::memcpy(src.data(), input.data(), total);
    ConvertI420ToNV21(src.data(), dst.data(), w, h);
    EXPECT_EQ(ExpectedNV21(input, n),
              std::vector<uint8_t>(dst.data(), dst.data() + total));

    ConvertNV21ToI420(src.data(), dst.data(), w, h);
    EXPECT_EQ(ExpectedI420(input, n),
              std::vector<uint8_t>(dst.data(), dst.data() + total));
  }
}

// Stripe frame: 16 columns, three stripes of 360, 360 and 40 rows as the
// workers cut a frame.
constexpr int kStripeWidth = 16;
constexpr int kStripeHeight = 760;
constexpr int kStripeRows[3][2] = {{0, 360}, {360, 360}, {720, 40}};

TEST(ConvertStripe, StripesTogetherMatchTheWholeFrame) {
  const int w = kStripeWidth, h = kStripeHeight, n = w * h;
  const size_t total = static_cast<size_t>(n) * 3 / 2;
  std::vector<uint8_t> planar = RandomBytes(total, 7);
  std::vector<uint8_t> nv21 = RandomBytes(total, 8);

  GuardedBuffer a(total), b(total), c(total), d(total);
  std::memcpy(a.data(), planar.data(), total);
  std::memcpy(c.data(), nv21.data(), total);
  std::memset(b.data(), kCanary, total);
  std::memset(d.data(), kCanary, total);
  sYuvImage_t planarImage = Describe(a.data(), w, h);
  sYuvImage_t nv21Out = Describe(b.data(), w, h);
  sYuvImage_t nv21Image = Describe(c.data(), w, h);
  sYuvImage_t planarOut = Describe(d.data(), w, h);
  for (const auto& stripe : kStripeRows) {
    ConvertI420ToNV21_YUV(&planarImage, &nv21Out, w, stripe[1],
                          stripe[0] * w, 1);
    ConvertNV21ToI420_YUV(&nv21Image, &planarOut, w, stripe[1],
                          stripe[0] * w, 1);
  }
  EXPECT_EQ(ExpectedNV21(planar, n),
            std::vector<uint8_t>(b.data(), b.data() + total));
  EXPECT_EQ(ExpectedI420(nv21, n),
            std::vector<uint8_t>(d.data(), d.data() + total));
}

TEST(ConvertStripe, SecondStripeUsesQuarterOffsets) {
  // offset = 360 * width: planar chroma from 90 * width, interleaved chroma
  // from 180 * width, (width * 360) / 4 samples per plane.
  const int w = kStripeWidth, h = kStripeHeight, n = w * h;
  const size_t total = static_cast<size_t>(n) * 3 / 2;
  const int offset = 360 * w, rows = 360;
  const int q = n / 4, c0 = 90 * w, count = w * rows / 4;
  std::vector<uint8_t> planar = RandomBytes(total, 11);
  std::vector<uint8_t> nv21(total, kCanary);
  sYuvImage_t src = Describe(planar.data(), w, h);
  sYuvImage_t dst = Describe(nv21.data(), w, h);
  ConvertI420ToNV21_YUV(&src, &dst, w, rows, offset, 1);
  for (int i = 0; i < n; ++i) {
    const bool inStripe = i >= offset && i < offset + w * rows;
    ASSERT_EQ(inStripe ? planar[i] : kCanary, nv21[i]) << "luma " << i;
  }
  for (int i = 0; i < 2 * q; ++i) {
    const int pair = i / 2;
    uint8_t expected = kCanary;
    if (pair >= c0 && pair < c0 + count) {
      expected = (i & 1) ? planar[n + pair] : planar[n + q + pair];
    }
    ASSERT_EQ(expected, nv21[n + i]) << "chroma byte " << i;
  }

  // And back: the interleaved bytes from 180 * width land at 90 * width.
  std::vector<uint8_t> back(total, kCanary);
  sYuvImage_t planarOut = Describe(back.data(), w, h);
  ConvertNV21ToI420_UV(&dst, &planarOut, w, rows, offset);
  for (int i = 0; i < q; ++i) {
    const bool inStripe = i >= c0 && i < c0 + count;
    ASSERT_EQ(inStripe ? planar[n + i] : kCanary, back[n + i]) << "U " << i;
    ASSERT_EQ(inStripe ? planar[n + q + i] : kCanary, back[n + q + i])
        << "V " << i;
  }
}

TEST(ConvertStripe, LumaOnlyAndChromaOnlyForms) {
  const int w = 32, h = 16, n = w * h;
  const size_t total = static_cast<size_t>(n) * 3 / 2;
  const int offset = 8 * w, rows = 4;
  std::vector<uint8_t> input = RandomBytes(total, 21);
  sYuvImage_t src = Describe(input.data(), w, h);

  // withChroma 0: the stripe's luma and nothing else.
  for (int direction = 0; direction < 2; ++direction) {
    std::vector<uint8_t> out(total, kCanary);
    sYuvImage_t dst = Describe(out.data(), w, h);
    if (direction == 0) {
      ConvertI420ToNV21_YUV(&src, &dst, w, rows, offset, 0);
    } else {
      ConvertNV21ToI420_YUV(&src, &dst, w, rows, offset, 0);
    }
    for (size_t i = 0; i < total; ++i) {
      const bool inStripe = i >= static_cast<size_t>(offset) &&
                            i < static_cast<size_t>(offset + w * rows);
      ASSERT_EQ(inStripe ? input[i] : kCanary, out[i])
          << "direction " << direction << " byte " << i;
    }
  }

  // ConvertNV21ToI420_UV: chroma of the stripe, no luma at all.
  std::vector<uint8_t> out(total, kCanary);
  sYuvImage_t dst = Describe(out.data(), w, h);
  ConvertNV21ToI420_UV(&src, &dst, w, rows, offset);
  for (int i = 0; i < n; ++i) ASSERT_EQ(kCanary, out[i]) << "luma " << i;
  std::vector<uint8_t> expected = ExpectedI420(input, n);
  const int q = n / 4, c0 = offset / 4, count = w * rows / 4;
  for (int i = c0; i < c0 + count; ++i) {
    EXPECT_EQ(expected[n + i], out[n + i]);
    EXPECT_EQ(expected[n + q + i], out[n + q + i]);
  }
}

TEST(ConvertStripe, PartialLastBlockWritesToTheBlockEnd) {
  // 20 x 2 stripe: 10 chroma samples, so two whole blocks of 8 pairs move,
  // reading and writing 6 pairs past the stripe and not one byte further.
  const int w = 20, rows = 2, n = w * rows;
  std::vector<uint8_t> planar = RandomBytes(n + 2 * 64, 31);
  std::vector<uint8_t> nv21(n + 2 * 64, kCanary);
  sYuvImage_t src = Describe(planar.data(), w, rows);
  src.pV = src.pU + 64;  // planes far enough apart to see every byte read
  sYuvImage_t dst = Describe(nv21.data(), w, rows);
  ConvertI420ToNV21_YUV(&src, &dst, w, rows, 0, 1);
  for (int i = 0; i < 64; ++i) {
    const uint8_t expected =
        i < 32 ? ((i & 1) ? src.pU[i / 2] : src.pV[i / 2]) : kCanary;
    ASSERT_EQ(expected, nv21[n + i]) << "interleaved byte " << i;
  }

  // Interleaved to planar: 2 * 10 bytes need two blocks of 16, so each
  // plane receives 16 samples.
  std::vector<uint8_t> out(n + 2 * 64, kCanary);
  sYuvImage_t planarOut = Describe(out.data(), w, rows);
  planarOut.pV = planarOut.pU + 64;
  ConvertNV21ToI420_UV(&dst, &planarOut, w, rows, 0);
  for (int i = 0; i < 64; ++i) {
    const bool written = i < 16;
    ASSERT_EQ(written ? dst.pU[2 * i + 1] : kCanary, planarOut.pU[i]) << i;
    ASSERT_EQ(written ? dst.pU[2 * i] : kCanary, planarOut.pV[i]) << i;
  }
}

// ---------------------------------------------------------------------------
// Kernel-level block stepping, scalar reference and (with NEON) its twin.

using MergeFn = void (*)(const uint8_t*, const uint8_t*, uint8_t*, int);
using SplitFn = void (*)(const uint8_t*, uint8_t*, uint8_t*, int);

struct Movers {
  const char* name;
  MergeFn merge;
  SplitFn split;
};

std::vector<Movers> AllMovers() {
  std::vector<Movers> movers = {{"C", MergeVUPlane_C, SplitVUPlane_C}};
#if defined(__ARM_NEON)
  movers.push_back({"NEON", MergeVUPlane_NEON, SplitVUPlane_NEON});
#endif
#if defined(VD_X86_SIMD)
  movers.push_back({"SSE2", MergeVUPlane_SSE2, SplitVUPlane_SSE2});
  if (VdCpuSimdLevel() >= kVdSimdAvx2) {
    movers.push_back({"AVX2", MergeVUPlane_AVX2, SplitVUPlane_AVX2});
  }
#endif
  return movers;
}

TEST(ConvertKernels, WholeBlockStepping) {
  for (const Movers& m : AllMovers()) {
    SCOPED_TRACE(m.name);
    const std::vector<uint8_t> u = RandomBytes(64, 41), v = RandomBytes(64, 42);
    // (count, bytes written)
    const int mergeCases[][2] = {{0, 0}, {-3, 0}, {1, 16}, {8, 16}, {9, 32},
                                 {13, 32}, {16, 32}, {17, 48}};
    for (const auto& c : mergeCases) {
      std::vector<uint8_t> vu(128, kCanary);
      m.merge(u.data(), v.data(), vu.data(), c[0]);
      for (int i = 0; i < 128; ++i) {
        const uint8_t expected =
            i < c[1] ? ((i & 1) ? u[i / 2] : v[i / 2]) : kCanary;
        ASSERT_EQ(expected, vu[i]) << "count " << c[0] << " byte " << i;
      }
    }
    // (interleaved bytes, samples written per plane)
    const int splitCases[][2] = {{0, 0}, {-1, 0}, {1, 8}, {16, 8}, {17, 16},
                                 {31, 16}, {33, 24}};
    const std::vector<uint8_t> vu = RandomBytes(64, 43);
    for (const auto& c : splitCases) {
      std::vector<uint8_t> uo(64, kCanary), vo(64, kCanary);
      m.split(vu.data(), uo.data(), vo.data(), c[0]);
      for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(i < c[1] ? vu[2 * i + 1] : kCanary, uo[i])
            << "bytes " << c[0] << " U " << i;
        ASSERT_EQ(i < c[1] ? vu[2 * i] : kCanary, vo[i])
            << "bytes " << c[0] << " V " << i;
      }
    }
  }
}

TEST(ConvertKernels, ScalarAndNeonAgree) {
#if !defined(__ARM_NEON)
  GTEST_SKIP() << "no NEON in this build";
#else
  uint32_t seed = 1000;
  for (int count = 1; count <= 300; count += (count < 40 ? 1 : 7)) {
    const int padded = (count + 7) / 8 * 8;
    std::vector<uint8_t> u = RandomBytes(padded, ++seed);
    std::vector<uint8_t> v = RandomBytes(padded, ++seed);
    std::vector<uint8_t> a(2 * padded + 8, kCanary), b = a;
    MergeVUPlane_C(u.data(), v.data(), a.data(), count);
    MergeVUPlane_NEON(u.data(), v.data(), b.data(), count);
    ASSERT_EQ(a, b) << "merge " << count;

    const int bytes = 2 * count - (count & 1);  // odd byte counts too
    const int blocks = (bytes + 15) / 16;
    std::vector<uint8_t> vu = RandomBytes(16 * blocks, ++seed);
    std::vector<uint8_t> ua(8 * blocks + 8, kCanary), va = ua, ub = ua, vb = ua;
    SplitVUPlane_C(vu.data(), ua.data(), va.data(), bytes);
    SplitVUPlane_NEON(vu.data(), ub.data(), vb.data(), bytes);
    ASSERT_EQ(ua, ub) << "split " << bytes;
    ASSERT_EQ(va, vb) << "split " << bytes;
  }
#endif
}

// Every twin against the scalar reference: counts from 1 to well past the
// widest step, separate buffers (the wide path), and the U and V planes
// overlapping each other or the input (the block-by-block path).
TEST(ConvertKernels, TwinsAgreeWithScalarAtManyCounts) {
  const std::vector<Movers> movers = AllMovers();
  uint32_t seed = 3000;
  for (size_t m = 1; m < movers.size(); ++m) {
    SCOPED_TRACE(movers[m].name);
    for (int count = 1; count <= 1200; count += (count < 300 ? 1 : 37)) {
      const int padded = (count + 7) / 8 * 8;
      std::vector<uint8_t> u = RandomBytes(padded, ++seed);
      std::vector<uint8_t> v = RandomBytes(padded, ++seed);
      std::vector<uint8_t> a(2 * padded + 8, kCanary), b = a;
      MergeVUPlane_C(u.data(), v.data(), a.data(), count);
      movers[m].merge(u.data(), v.data(), b.data(), count);
      ASSERT_EQ(a, b) << "merge " << count;

      const int bytes = 2 * count - (count & 1);
      const int blocks = (bytes + 15) / 16;
      std::vector<uint8_t> vu = RandomBytes(16 * blocks, ++seed);
      std::vector<uint8_t> ua(8 * blocks + 8, kCanary), va = ua, ub = ua,
                                                        vb = ua;
      SplitVUPlane_C(vu.data(), ua.data(), va.data(), bytes);
      movers[m].split(vu.data(), ub.data(), vb.data(), bytes);
      ASSERT_EQ(ua, ub) << "split " << bytes;
      ASSERT_EQ(va, vb) << "split " << bytes;

      // V starting inside the U range, and the output starting inside the
      // input.
      const int q = count;
      std::vector<uint8_t> pa(3 * padded + 64, kCanary), pb = pa;
      SplitVUPlane_C(vu.data(), pa.data(), pa.data() + q, bytes);
      movers[m].split(vu.data(), pb.data(), pb.data() + q, bytes);
      ASSERT_EQ(pa, pb) << "split, planes overlap " << count;
      std::vector<uint8_t> ia = RandomBytes(4 * padded + 64, ++seed), ib = ia;
      SplitVUPlane_C(ia.data(), ia.data() + 5, ia.data() + 5 + 8 * blocks,
                     bytes);
      movers[m].split(ib.data(), ib.data() + 5, ib.data() + 5 + 8 * blocks,
                      bytes);
      ASSERT_EQ(ia, ib) << "split in place " << count;
      ia = RandomBytes(4 * padded + 64, ++seed);
      ib = ia;
      MergeVUPlane_C(ia.data() + 3, ia.data() + 3 + padded, ia.data(), count);
      movers[m].merge(ib.data() + 3, ib.data() + 3 + padded, ib.data(),
                      count);
      ASSERT_EQ(ia, ib) << "merge in place " << count;
    }
  }
}

TEST(ConvertKernels, OverlappingPlanesFollowBlockOrder) {
  // A whole frame whose chroma count is not a multiple of 8 overruns the U
  // plane into the V plane. Blocks store U then V, one block at a time, so
  // V samples of block 0 are overwritten by block 1's U overrun.
  for (const Movers& m : AllMovers()) {
    SCOPED_TRACE(m.name);
    const int q = 9;  // two blocks
    std::vector<uint8_t> vu = RandomBytes(32, 51);
    std::vector<uint8_t> planes(64, kCanary);
    uint8_t* u = planes.data();
    uint8_t* v = planes.data() + q;
    m.split(vu.data(), u, v, 2 * q);
    // Block 1 wrote U[8..15] = V[-1..6] after block 0's V[0..7], then its own
    // V[8..15].
    for (int i = 0; i < 7; ++i) EXPECT_EQ(vu[2 * (9 + i) + 1], v[i]) << i;
    EXPECT_EQ(vu[14], v[7]);
    for (int i = 8; i < 16; ++i) EXPECT_EQ(vu[2 * i], v[i]) << i;
    EXPECT_EQ(kCanary, planes[q + 16]);
  }
#if defined(__ARM_NEON)
  for (int q = 1; q <= 40; ++q) {
    std::vector<uint8_t> vu = RandomBytes(96, 60 + q);
    std::vector<uint8_t> a(160, kCanary), b(160, kCanary);
    SplitVUPlane_C(vu.data(), a.data(), a.data() + q, 2 * q);
    SplitVUPlane_NEON(vu.data(), b.data(), b.data() + q, 2 * q);
    ASSERT_EQ(a, b) << q;
  }
#endif
}

}  // namespace
