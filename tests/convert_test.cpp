// NV21 <-> I420 conversion: whole frames, stripes, the conversions' block
// stepping at every level and the exact chroma movers. The vector movers are compared with the
// scalar ones in kernel_variants_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/vd_cpu.h"
#include "image/convert.h"
#include "image/convert_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;
using vdtest::RandomBytes;
using Bytes = std::vector<uint8_t>;

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
Bytes ExpectedNV21(const Bytes& i420, int n) {
  Bytes out(i420.begin(), i420.begin() + n);
  for (int i = 0; i < n / 4; ++i) {
    out.push_back(i420[n + n / 4 + i]);  // V
    out.push_back(i420[n + i]);          // U
  }
  return out;
}

Bytes ExpectedI420(const Bytes& nv21, int n) {
  Bytes out(nv21.begin(), nv21.begin() + n);
  out.resize(n + n / 2);
  for (int i = 0; i < n / 4; ++i) {
    out[n + n / 4 + i] = nv21[n + 2 * i];  // V
    out[n + i] = nv21[n + 2 * i + 1];      // U
  }
  return out;
}

Bytes Copy(const GuardedBuffer& b) { return Bytes(b.data(), b.data() + b.size()); }

TEST(ConvertFrame, SmallFrames) {
  // Planar 2x2: four luma bytes, U = 0x55, V = 0xAA. The single chroma
  // block overruns by 7 pairs, so both buffers carry slack.
  Bytes planar = {1, 2, 3, 4, 0x55, 0xAA}, nv21(4 + 16, kCanary), back(6 + 16, kCanary);
  planar.resize(6 + 16);
  ConvertI420ToNV21(planar.data(), nv21.data(), 2, 2);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 0xAA, 0x55}), Bytes(nv21.begin(), nv21.begin() + 6));
  ConvertNV21ToI420(nv21.data(), back.data(), 2, 2);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 0x55, 0xAA}), Bytes(back.begin(), back.begin() + 6));
  // Too small for chroma: I420 -> NV21 converts none below 4 luma samples,
  // NV21 -> I420 none below 2; the luma is copied.
  Bytes src = RandomBytes(64, 1);
  for (int w = 1; w <= 4; ++w) {
    Bytes dst(64, kCanary);
    if (w < 4) {
      ConvertI420ToNV21(src.data(), dst.data(), w, 1);
    } else {
      ConvertNV21ToI420(src.data(), dst.data(), 1, 1);
    }
    const int luma = w < 4 ? w : 1;
    for (int i = 0; i < 64; ++i) EXPECT_EQ(i < luma ? src[i] : kCanary, dst[i]) << w << " " << i;
  }
}

TEST(ConvertFrame, InContractSizesStayInsideTheFrame) {
  // Chroma counts that are multiples of 8: source and destination end flush
  // against a guard page, and the result is the plain per-pair conversion.
  const int sizes[][2] = {{16, 2}, {32, 2}, {16, 6}, {48, 4}, {96, 8}, {64, 10}, {8, 4}, {24, 16}};
  for (const auto& s : sizes) {
    const int w = s[0], h = s[1], n = w * h;
    const size_t total = static_cast<size_t>(n) * 3 / 2;
    SCOPED_TRACE(testing::Message() << w << "x" << h);
    const Bytes input = RandomBytes(total, n);
    GuardedBuffer src(total), dst(total);
    std::memcpy(src.data(), input.data(), total);
    ConvertI420ToNV21(src.data(), dst.data(), w, h);
    EXPECT_EQ(ExpectedNV21(input, n), Copy(dst));
    ConvertNV21ToI420(src.data(), dst.data(), w, h);
    EXPECT_EQ(ExpectedI420(input, n), Copy(dst));
  }
}

// A 16-column frame cut as the workers cut it, into stripes of 360, 360 and
// 40 rows. Each stripe call writes exactly its own rows: luma from offset,
// chroma at a quarter of the offset (planar from 90 * width for the second
// stripe, interleaved from 180 * width), (width * rows) / 4 samples per
// plane; together the stripes give the whole-frame conversion. The luma-only
// forms (withChroma 0) and ConvertNV21ToI420_UV (no luma) write their part.
TEST(ConvertStripe, EachStripeWritesItsOwnRows) {
  const int w = 16, h = 760, n = w * h, q = n / 4;
  const size_t total = static_cast<size_t>(n) * 3 / 2;
  const int stripes[3][2] = {{0, 360}, {360, 360}, {720, 40}};
  GuardedBuffer in(total), out(total);
  vdtest::FillRandom(in.data(), total, 7);
  const Bytes input = Copy(in);
  sYuvImage_t src = Describe(in.data(), w, h), dst = Describe(out.data(), w, h);
  for (int form = 0; form < 5; ++form) {
    SCOPED_TRACE(testing::Message() << "form " << form);
    const bool toNV21 = form == 0 || form == 3;
    const bool luma = form != 2, chroma = form < 3;
    const Bytes full = toNV21 ? ExpectedNV21(input, n) : ExpectedI420(input, n);
    for (const auto& stripe : stripes) {
      const int offset = stripe[0] * w, rows = stripe[1];
      std::memset(out.data(), kCanary, total);
      if (form == 0 || form == 3) ConvertI420ToNV21_YUV(&src, &dst, w, rows, offset, chroma);
      if (form == 1 || form == 4) ConvertNV21ToI420_YUV(&src, &dst, w, rows, offset, chroma);
      if (form == 2) ConvertNV21ToI420_UV(&src, &dst, w, rows, offset);
      for (int i = 0; i < static_cast<int>(total); ++i) {
        // Luma index, or the chroma sample's index within its plane.
        const int k = i < n ? i : toNV21 ? (i - n) / 2 : (i - n) % q;
        const int first = i < n ? offset : offset / 4, count = i < n ? w * rows : w * rows / 4;
        const bool mine = (i < n ? luma : chroma) && k >= first && k < first + count;
        ASSERT_EQ(mine ? full[i] : kCanary, out.data()[i]) << "stripe " << stripe[0] << " at " << i;
      }
    }
  }
}

TEST(ConvertStripe, PartialLastBlockWritesToTheBlockEnd) {
  // 20 x 2 stripe: 10 chroma samples, so two whole blocks of 8 pairs move,
  // reading and writing 6 pairs past the stripe and not one byte further.
  const int w = 20, rows = 2, n = w * rows;
  Bytes planar = RandomBytes(n + 2 * 64, 31), nv21(n + 2 * 64, kCanary), out(n + 2 * 64, kCanary);
  sYuvImage_t src = Describe(planar.data(), w, rows), dst = Describe(nv21.data(), w, rows);
  sYuvImage_t planarOut = Describe(out.data(), w, rows);
  src.pV = src.pU + 64;  // planes far enough apart to see every byte read
  planarOut.pV = planarOut.pU + 64;
  ConvertI420ToNV21_YUV(&src, &dst, w, rows, 0, 1);
  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(i < 32 ? ((i & 1) ? src.pU[i / 2] : src.pV[i / 2]) : kCanary, nv21[n + i]) << i;
  }
  // Interleaved to planar: 2 * 10 bytes need two blocks of 16, so each
  // plane receives 16 samples.
  ConvertNV21ToI420_UV(&dst, &planarOut, w, rows, 0);
  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(i < 16 ? dst.pU[2 * i + 1] : kCanary, planarOut.pU[i]) << i;
    ASSERT_EQ(i < 16 ? dst.pU[2 * i] : kCanary, planarOut.pV[i]) << i;
  }
}

// ---------------------------------------------------------------------------
// The exported stepping (the whole-block shims) and the exact movers of
// every level.

// The scalar level, then every vector level this machine runs.
std::vector<int> AllLevels() {
  std::vector<int> levels = vdtest::VectorLevels();
  levels.insert(levels.begin(), kVdSimdScalar);
  return levels;
}

// The conversions' shims with the process level set to each level in turn:
// counts round up to whole blocks of 8 pairs.
TEST(ConvertKernels, WholeBlockStepping) {
  const Bytes u = RandomBytes(64, 41), v = RandomBytes(64, 42), vu = RandomBytes(64, 43);
  for (int level : AllLevels()) {
    vdtest::SimdLevelScope scope(level);
    ASSERT_TRUE(scope.ok());
    SCOPED_TRACE(vdtest::LevelName(level));
    // (count, bytes written)
    const int mergeCases[][2] = {{0, 0},   {-3, 0},  {1, 16},  {8, 16},
                                 {9, 32},   {13, 32}, {16, 32}, {17, 48}};
    for (const auto& c : mergeCases) {
      Bytes out(128, kCanary);
      MergeVUPlaneWholeBlocks(u.data(), v.data(), out.data(), c[0]);
      for (int i = 0; i < 128; ++i) {
        ASSERT_EQ(i < c[1] ? ((i & 1) ? u[i / 2] : v[i / 2]) : kCanary, out[i]) << c[0] << " " << i;
      }
    }
    // (interleaved bytes, samples written per plane)
    const int splitCases[][2] = {{0, 0}, {-1, 0}, {1, 8}, {16, 8}, {17, 16}, {31, 16}, {33, 24}};
    for (const auto& c : splitCases) {
      Bytes uo(64, kCanary), vo(64, kCanary);
      SplitVUPlaneWholeBlocks(vu.data(), uo.data(), vo.data(), c[0]);
      for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(i < c[1] ? vu[2 * i + 1] : kCanary, uo[i]) << c[0] << " U " << i;
        ASSERT_EQ(i < c[1] ? vu[2 * i] : kCanary, vo[i]) << c[0] << " V " << i;
      }
    }
    // A whole frame whose chroma count is not a multiple of 8 overruns the
    // U plane into the V plane. Blocks store U then V, one block at a time:
    // block 1 wrote U[8..15] = V[-1..6] after block 0's V[0..7], then its
    // own V[8..15]. The exported conversion does the same.
    const int q = 9;
    Bytes planes(64, kCanary);
    SplitVUPlaneWholeBlocks(vu.data(), planes.data(), planes.data() + q, 2 * q);
    const uint8_t* vp = planes.data() + q;
    for (int i = 0; i < 7; ++i) EXPECT_EQ(vu[2 * (9 + i) + 1], vp[i]) << i;
    EXPECT_EQ(vu[14], vp[7]);
    for (int i = 8; i < 16; ++i) EXPECT_EQ(vu[2 * i], vp[i]) << i;
    EXPECT_EQ(kCanary, vp[16]);
    // The exported conversion of a 6x6 frame (9 chroma pairs) steps the
    // same way: 32 interleaved bytes read, 7 V samples written past the
    // frame, the same bytes as above.
    const int w = 6, n = w * w;
    Bytes nv21 = RandomBytes(n, 44), i420(n + q + 16, kCanary);
    nv21.insert(nv21.end(), vu.begin(), vu.begin() + 32);
    ConvertNV21ToI420(nv21.data(), i420.data(), w, w);
    EXPECT_EQ(Bytes(planes.begin(), planes.begin() + q + 16), Bytes(i420.begin() + n, i420.end()));
  }
}

// The table's movers at every level touch exactly their samples: inputs
// and outputs end flush against a guard page (and, in a second pass, start
// right after one) at every count 0 .. 40, odd split counts included.
TEST(ConvertKernels, ExactMoversStayInsideTheirCount) {
  for (int level : AllLevels()) {
    SCOPED_TRACE(vdtest::LevelName(level));
    const ChromaMoveKernels& k = VdChromaMoveKernels(level);
    for (int flush = 0; flush < 2; ++flush) {
      const auto at = flush ? GuardedBuffer::kFlushStart : GuardedBuffer::kFlushEnd;
      for (int count = 0; count <= 40; ++count) {
        SCOPED_TRACE(testing::Message() << "count " << count << " flush " << flush);
        const size_t c = static_cast<size_t>(count);
        const Bytes u = RandomBytes(c, count), v = RandomBytes(c, count + 100);
        GuardedBuffer ub(c, at), vb(c, at), vub(2 * c, at);
        if (count > 0) {
          std::memcpy(ub.data(), u.data(), c);
          std::memcpy(vb.data(), v.data(), c);
        }
        k.merge(ub.data(), vb.data(), vub.data(), count);
        for (size_t i = 0; i < c; ++i) {
          ASSERT_EQ(v[i], vub.data()[2 * i]) << i;
          ASSERT_EQ(u[i], vub.data()[2 * i + 1]) << i;
        }
        // Split `count` interleaved bytes: count / 2 U samples and
        // (count + 1) / 2 V samples.
        const Bytes vu = RandomBytes(c, count + 200);
        GuardedBuffer in(c, at), uo(c / 2, at), vo((c + 1) / 2, at);
        if (count > 0) std::memcpy(in.data(), vu.data(), c);
        k.split(in.data(), uo.data(), vo.data(), count);
        for (size_t i = 0; i < c / 2; ++i) ASSERT_EQ(vu[2 * i + 1], uo.data()[i]) << i;
        for (size_t i = 0; i < (c + 1) / 2; ++i) ASSERT_EQ(vu[2 * i], vo.data()[i]) << i;
      }
    }
  }
}

}  // namespace
