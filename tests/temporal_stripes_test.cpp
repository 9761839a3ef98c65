// The temporal pipeline's three stripes at frame widths where the mask
// kernels' block stepping is not exact (1296, 720 and their chroma widths):
// a threaded run and a stripe-pool run give identical bytes everywhere, every
// stripe writes only its own rows, and the result equals the stages run
// stripe by stripe in any order. At 1920 the stages are the exported
// wrappers' bytes. The threaded runs are meant for the ThreadSanitizer build
// as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "api/vd_instance.h"
#include "image/convert.h"
#include "morphology/mask_morphology.h"
#include "morphology/mask_morphology_internal.h"
#include "api/process_internal.h"
#include "temporal/motion_mask.h"
#include "temporal/temporal_filter.h"
#include "frame/frame_job.h"
#include "parallel/stripe.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Under an emulator or ThreadSanitizer the stripe-by-stripe reference costs
// most of the time: one stripe order and fewer frames there.
#if defined(__arm__) || defined(__aarch64__) || defined(__SANITIZE_THREAD__)
const bool kSlow = true;
#else
const bool kSlow = false;
#endif

struct Case {
  int w, h;
  int chroma;      // iFilterParams[1]
  int morphology;  // iFilterParams[2]
};

std::string Name(const Case& c) {
  return std::to_string(c.w) + "x" + std::to_string(c.h) + " chroma " +
         std::to_string(c.chroma) + " morphology " +
         std::to_string(c.morphology);
}

// Frame buffers are one block: Y, U, V.
Bytes Block(const sYuvImage_t* image, int w, int h) {
  return Bytes(image->pBuffer,
               image->pBuffer + static_cast<size_t>(w) * h * 3 / 2);
}

// A planar image over a copy of a frame buffer's block, followed by the four
// zeroed chroma rows that DilateProcess, called directly, reads past V.
struct Planes {
  Planes(const Bytes& block, int w, int h) : data(block), size(block.size()) {
    data.resize(size + static_cast<size_t>(w / 2) * 4, 0);
    std::memset(&image, 0, sizeof(image));
    const size_t n = static_cast<size_t>(w) * h;
    image.iWidth = image.iStride = w;
    image.iHeight = h;
    image.eYuvType = YUV_420;
    image.pBuffer = image.pY = data.data();
    image.pU = data.data() + n;
    image.pV = image.pU + n / 4;
  }
  // The block's bytes, without the rows past it.
  Bytes Block() const { return Bytes(data.begin(), data.begin() + size); }
  Bytes data;
  size_t size;
  sYuvImage_t image;
};

// Gradient luma with noise and a bright square that moves, flat chroma
// with noise and a square of its own: the chroma difference masks get both
// isolated points and solid regions.
Bytes MakeInput(int w, int h, int frame) {
  const size_t n = static_cast<size_t>(w) * h;
  Bytes f(n * 3 / 2);
  const Bytes noise = vdtest::RandomBytes(f.size(), 1000u + frame);
  const int sx = (w / 5 + 37 * frame) % (w - 64), sy = (h / 4 + 23 * frame) % (h - 64);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(y) * w + x;
      const bool square = x >= sx && x < sx + 64 && y >= sy && y < sy + 64;
      f[i] = static_cast<uint8_t>(square ? 220 : 30 + (x + y) / 16 % 150 +
                                                     noise[i] % 12);
    }
  }
  for (int y = 0; y < h / 2; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t i = n + static_cast<size_t>(y) * w + x;
      const bool square = x / 2 >= sx / 2 && x / 2 < sx / 2 + 40 &&
                          y >= sy / 2 && y < sy / 2 + 40;
      f[i] = static_cast<uint8_t>((square ? 170 : 124) + noise[i] % 9);
    }
  }
  return f;
}

// The luma plane of pTempFrame2 is only ever written by the dilation, so the
// first luma mask comes from whatever it holds: sparse points (which the
// discrete-point rule removes), pin holes and solid rectangles.
void SeedWorkMask(Video_Denoise_Handle* hd, int w, int h) {
  const size_t n = static_cast<size_t>(w) * h * 3 / 2;
  uint8_t* mask = hd->pTempFrame2->pBuffer;
  const Bytes r = vdtest::RandomBytes(n, 77);
  for (size_t i = 0; i < n; ++i) mask[i] = r[i] < 8 ? 255 : 0;
  const Bytes boxes = vdtest::RandomBytes(4 * 60, 78);
  for (int b = 0; b < 60; ++b) {
    const int bw = 3 + boxes[4 * b] % 40, bh = 3 + boxes[4 * b + 1] % 40;
    const int x0 = boxes[4 * b + 2] * (w - bw) / 255;
    const int y0 = boxes[4 * b + 3] * (h - bh) / 255;
    for (int y = y0; y < y0 + bh; ++y) {
      std::memset(mask + static_cast<size_t>(y) * w + x0,
                  (r[static_cast<size_t>(y) * w + x0] & 7) ? 255 : 0, bw);
    }
  }
}

// Every buffer the temporal pipeline writes, after one frame.
struct State {
  Bytes out, temp1, temp2, motion;
  std::vector<Bytes> ring;
};

State Capture(const Video_Denoise_Handle* hd, const Bytes& out, int w, int h) {
  State s{out, Block(hd->pTempFrame1, w, h), Block(hd->pTempFrame2, w, h),
          Block(hd->pMotionInfo, w, h), {}};
  for (int i = 0; i < hd->iPrevFrameNum; ++i) {
    s.ring.push_back(Block(hd->sPrevFrames.pPreFrames[i], w, h));
  }
  return s;
}

// --- Stripe-by-stripe reference -------------------------------------------

// The stages the pipeline runs after its first barrier, with the
// morphology wrappers as parameters.
struct Morphology {
  int (*deletePoints)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);
  int (*dilate)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);
  int (*erose)(sYuvImage_t*, sYuvImage_t*, int, int, int, int, int);
  bool ownRowsOnly;  // check that each call writes only its stripe's rows
};

const Morphology kStripeForms = {VdDeleteDiscretePointsStripe,
                                 VdDilateStripeOwnRows, VdEroseStripe, true};
const Morphology kExported = {DeleteDiscretePointsProc, DilateProcess,
                              EroseProcess, false};

struct Stripe {
  int first, rows, edge;
};

std::vector<Stripe> Stripes(int h) {
  VdFrameLayout layout;
  VdComputeFrameLayout(h, &layout);
  const int edges[3] = {VD_EDGE_TOP, VD_EDGE_INTERIOR, VD_EDGE_BOTTOM};
  std::vector<Stripe> out;
  for (int i = 0; i < 3; ++i) {
    out.push_back({layout.firstRow[i], layout.rows[i], edges[i]});
  }
  return out;
}

// Fails unless before and after differ only in the stripe's rows of a
// planar block (luma rows, and the matching chroma rows of U and V) or, for
// an NV21 buffer, its luma and interleaved chroma rows.
void ExpectOnlyOwnRows(const Bytes& before, const Bytes& after, int w, int h,
                       const Stripe& s, bool nv21, const char* what) {
  const size_t n = static_cast<size_t>(w) * h;
  std::vector<std::pair<size_t, size_t>> own;
  own.push_back({static_cast<size_t>(s.first) * w,
                 static_cast<size_t>(s.first + s.rows) * w});
  if (nv21) {
    own.push_back({n + static_cast<size_t>(s.first / 2) * w,
                   n + static_cast<size_t>((s.first + s.rows) / 2) * w});
  } else {
    for (size_t plane : {n, n + n / 4}) {
      own.push_back({plane + static_cast<size_t>(s.first / 2) * (w / 2),
                     plane + static_cast<size_t>((s.first + s.rows) / 2) * (w / 2)});
    }
  }
  ASSERT_EQ(before.size(), after.size());
  // The gaps between the stripe's ranges (which are in ascending order).
  size_t from = 0;
  own.push_back({before.size(), before.size()});
  for (const auto& r : own) {
    if (std::memcmp(before.data() + from, after.data() + from,
                    r.first - from) != 0) {
      size_t i = from;
      while (before[i] == after[i]) ++i;
      FAIL() << what << ": stripe of rows " << s.first << ".."
             << s.first + s.rows - 1 << " wrote byte " << i;
    }
    from = r.second;
  }
}

// Runs the temporal stages of frame c, stage after stage; within a stage the
// stripes go one after another in the given order. Starts from the buffers
// as they were before the frame (pre) and the spatial result of the frame.
State Reference(const State& pre, const Bytes& spatialBlock,
                const Video_Denoise_Handle* hd, int w, int h,
                const Morphology& m, const int order[3]) {
  const int n = hd->iPrevFrameNum;
  const int c = hd->sPrevFrames.iFrameCount;
  const int chroma = hd->iFilterParams[1];
  const int outChroma = VdLevelIndexedWord(hd);
  Planes spatial(spatialBlock, w, h);
  Planes previous(pre.ring[(c - 1) % n], w, h);
  Planes target(pre.ring[c % n], w, h);
  Planes mask(pre.temp1, w, h);
  Planes work(pre.temp2, w, h);
  Bytes out = pre.out;
  sYuvImage_t dst;
  std::memset(&dst, 0, sizeof(dst));
  const size_t luma = static_cast<size_t>(w) * h;
  dst.pBuffer = dst.pY = out.data();
  dst.pU = out.data() + luma;
  dst.pV = dst.pU + luma / 4;
  const std::vector<Stripe> stripes = Stripes(h);

  // One stage: fn(stripe) for the stripes in order, checking the writes.
  auto stage = [&](const char* what, Bytes* written, bool nv21,
                   const auto& fn) {
    for (int k = 0; k < 3; ++k) {
      const Stripe& s = stripes[order[k]];
      const Bytes before = *written;
      fn(s);
      if (m.ownRowsOnly) {
        ExpectOnlyOwnRows(before, *written, w, h, s, nv21, what);
      }
    }
  };
  stage("SAD", &work.data, false, [&](const Stripe& s) {
    CalSAD_threshholdProc(&spatial.image, &previous.image, &work.image, w,
                          s.rows, chroma,
                          static_cast<unsigned char>(hd->iFilterParams[4]),
                          s.first * w);
  });
  stage("discrete points", &mask.data, false, [&](const Stripe& s) {
    m.deletePoints(&work.image, &mask.image, w, s.rows, chroma, s.first * w,
                   s.edge);
  });
  if (hd->iFilterParams[2] != 0) {
    stage("dilation", &work.data, false, [&](const Stripe& s) {
      m.dilate(&mask.image, &work.image, w, s.rows, chroma, s.first * w,
               s.edge);
    });
    stage("erosion", &mask.data, false, [&](const Stripe& s) {
      m.erose(&work.image, &mask.image, w, s.rows, chroma, s.first * w,
              s.edge);
    });
  }
  stage("temporal filter", &target.data, false, [&](const Stripe& s) {
    EXPECT_EQ(1, TemporalFilter(&spatial.image, &previous.image, &mask.image,
                                &target.image, w, s.rows, chroma,
                                s.first * w));
  });
  stage("output", &out, true, [&](const Stripe& s) {
    ConvertI420ToNV21_YUV(&target.image, &dst, w, s.rows, s.first * w,
                          outChroma);
  });

  State r{out, mask.Block(), work.Block(), {}, pre.ring};
  r.ring[c % n] = target.Block();
  return r;
}

void ExpectSameState(const State& want, const State& got, const std::string& what) {
  // The first differing byte of two buffers, or -1.
  auto diff = [](const Bytes& a, const Bytes& b) -> long {
    if (a.size() != b.size()) return 0;
    const auto m = std::mismatch(a.begin(), a.end(), b.begin());
    return m.first == a.end() ? -1 : static_cast<long>(m.first - a.begin());
  };
  EXPECT_EQ(-1, diff(want.out, got.out)) << what << ": output";
  EXPECT_EQ(-1, diff(want.temp1, got.temp1)) << what << ": pTempFrame1";
  EXPECT_EQ(-1, diff(want.temp2, got.temp2)) << what << ": pTempFrame2";
  ASSERT_EQ(want.ring.size(), got.ring.size());
  for (size_t i = 0; i < want.ring.size(); ++i) {
    EXPECT_EQ(-1, diff(want.ring[i], got.ring[i])) << what << ": ring slot " << i;
  }
}

// --- Runs through the public API -------------------------------------------

class TemporalStripes : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_TEMPORAL));
  }
  void TearDown() override {
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
    TARNO_VideoDenoiseSetStripePool(0);
    TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
  }

  // A fresh instance for the case, frames 0 .. frames - 1 (0 is the warm-up
  // frame); the state after every frame. With morph set, frame c >= 1 is
  // also checked against the stripe-by-stripe reference in each order.
  std::vector<State> Run(const Case& cs, int frames, bool pool,
                         const Morphology* ref,
                         const std::vector<std::vector<int>>& orders) {
    std::vector<State> states;
    EXPECT_EQ(0, TARNO_VideoDenoiseSetStripePool(pool ? 1 : 0));
    EXPECT_EQ(0, TARNO_VideoDenoiseInit(cs.w, cs.h, nullptr));
    Video_Denoise_Handle* hd = g_hVideoDenoise;
    if (!hd) return states;
    hd->iFilterParams[1] = cs.chroma;
    hd->iFilterParams[2] = cs.morphology;
    SeedWorkMask(hd, cs.w, cs.h);
    Bytes out(static_cast<size_t>(cs.w) * cs.h * 3 / 2, 0);
    for (int f = 0; f < frames; ++f) {
      const State pre = Capture(hd, out, cs.w, cs.h);
      Bytes in = MakeInput(cs.w, cs.h, f);
      EXPECT_EQ(0, TARNO_VideoDenoise(in.data(), out.data(), cs.w, cs.h, 6,
                                      100));
      states.push_back(Capture(hd, out, cs.w, cs.h));
      const State& got = states.back();
      if (f == 0) continue;
      // SetYUV clears the motion frame, which nothing else writes.
      EXPECT_EQ(got.motion, Bytes(got.motion.size(), 0)) << Name(cs);
      if (!ref) continue;
      const Bytes spatial = Block(hd->pSpaDenoiseFrame, cs.w, cs.h);
      for (const std::vector<int>& order : orders) {
        const State want =
            Reference(pre, spatial, hd, cs.w, cs.h, *ref, order.data());
        ExpectSameState(want, got,
                        Name(cs) + ", frame " + std::to_string(f) +
                            ", stripe order " + std::to_string(order[0]) +
                            std::to_string(order[1]) +
                            std::to_string(order[2]));
      }
    }
    EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
    return states;
  }

  vdtest::LogCapture quiet_;
};

// The luma widths 1296 and 720 drift in all three kernels (so the pipeline
// uses the row-exact forms), the chroma widths 648 and 360 in the discrete
// points and the erosion; 1920 and 960 step exactly.
TEST_F(TemporalStripes, KernelsStepInexactlyAtTheseWidths) {
  const int expect[][4] = {{1296, 0, 0, 0}, {720, 0, 0, 0}, {648, 0, 0, 1},
                           {360, 0, 0, 1},  {1920, 1, 1, 1}, {960, 1, 1, 1}};
  for (const auto& e : expect) {
    EXPECT_EQ(VdMaskStepsExact(e[0], 1), e[1] != 0) << e[0];
    EXPECT_EQ(VdMaskStepsExact(e[0], 2), e[2] != 0) << e[0];
    EXPECT_EQ(VdMaskStepsExact(e[0], 4), e[3] != 0) << e[0];
  }
}

// A threaded run and a stripe-pool run leave identical bytes in the output,
// both masks and every ring slot after every frame; each frame of the
// threaded run equals the stages run stripe by stripe (in three orders, or
// one under an emulator), with each stripe writing only its own rows.
TEST_F(TemporalStripes, OddWidthsRepeatAndKeepEachStripeInItsRows) {
  const std::vector<std::vector<int>> orders =
      kSlow ? std::vector<std::vector<int>>{{2, 0, 1}}
            : std::vector<std::vector<int>>{{0, 1, 2}, {2, 1, 0}, {1, 2, 0}};
  // Without the morphology the mask is the discrete-point result.
  const Case cases[] = {{1296, 968, 1, 1}, {1296, 968, 1, 0}, {720, 480, 0, 1}, {720, 480, 1, 1}};
  for (const Case& cs : cases) {
    SCOPED_TRACE(Name(cs));
    const std::vector<State> first = Run(cs, 3, false, &kStripeForms, orders);
    const std::vector<State> pooled = Run(cs, 3, true, nullptr, {});
    ASSERT_EQ(first.size(), pooled.size());
    for (size_t f = 0; f < first.size(); ++f) {
      ExpectSameState(first[f], pooled[f], "pool run, frame " + std::to_string(f));
    }
    if (HasFailure()) return;
  }
}

// Where the kernels step exactly the pipeline's bytes are those of the
// exported wrappers (run one stripe after another, top to bottom, so that
// the dilation's overrun into the next stripe is rewritten by that stripe).
// 968 rows give odd chroma stripe heights (161 rows).
TEST_F(TemporalStripes, ExactWidthGivesTheExportedWrappersBytes) {
  Run({1920, 968, 1, 1}, 3, false, &kExported, {{0, 1, 2}});
}


// The frame's last stripe (and a frame that is one stripe): the own-rows
// dilation reads nothing past the frame image, yet gives every byte that
// the kernel (or, at a drifting width, its row-exact form) gives when the
// image is followed by zeroed rows, at exact and drifting widths and at
// heights down to the smallest frame; random masks, as set/clear bytes and
// as arbitrary bytes.
TEST(DilateLastStripe, ReadsNothingPastTheImageAndKeepsTheBytes) {
  const int widths[] = {16, 18, 24, 40, 48, 80, 96, 130, 160};
  uint32_t seed = 5;
  for (int w : widths) {
    for (int h = 16; h <= 80; h += 2) {
      for (int edge : {VD_EDGE_BOTTOM, VD_EDGE_WHOLE}) {
        const int first = edge == VD_EDGE_WHOLE ? 0 : (h / 3) & ~1;
        const int rows = h - first;
        const size_t image = static_cast<size_t>(w) * h * 3 / 2;
        const size_t tail = static_cast<size_t>(w / 2) * 4;
        Bytes src = vdtest::RandomBytes(image, seed++);
        if (seed & 1) {
          for (uint8_t& b : src) b = b < 40 ? 255 : 0;
        }
        Bytes want = vdtest::RandomBytes(image, seed++);
        Bytes got = want;
        Bytes paddedSrc = src;
        paddedSrc.resize(image + tail, 0);
        want.resize(image + tail, 0);
        Planes in(src, w, h), out(got, w, h);
        sYuvImage_t padIn = in.image, padOut = out.image;
        const ptrdiff_t shift = paddedSrc.data() - in.data.data();
        padIn.pY += shift;
        padIn.pU += shift;
        padIn.pV += shift;
        const ptrdiff_t shiftOut = want.data() - out.data.data();
        padOut.pY += shiftOut;
        padOut.pU += shiftOut;
        padOut.pV += shiftOut;
        vdtest::GuardedBuffer exact(image);
        std::memcpy(exact.data(), src.data(), image);
        sYuvImage_t guarded = in.image;
        guarded.pY = exact.data();
        guarded.pU = guarded.pY + static_cast<size_t>(w) * h;
        guarded.pV = guarded.pU + static_cast<size_t>(w) * h / 4;
        const int up = edge == VD_EDGE_WHOLE ? 0 : 4;
        for (int p = 0; p < 3; ++p) {
          const int pw = p == 0 ? w : w / 2;
          const int shiftRows = p == 0 ? 1 : 2;
          uint8_t* from = p == 0 ? padIn.pY : p == 1 ? padIn.pU : padIn.pV;
          uint8_t* to = p == 0 ? padOut.pY : p == 1 ? padOut.pU : padOut.pV;
          const ptrdiff_t at = static_cast<ptrdiff_t>(first / shiftRows - up) * pw;
          const int n = up + rows / shiftRows;
          if (VdMaskStepsExact(pw, 4)) {
            Dilate9x9(from + at, to + at, pw, n, edge);
          } else {
            VdDilate9x9Rows(from + at, to + at, pw, n, edge);
          }
        }
        VdDilateStripeOwnRows(&guarded, &out.image, w, rows, 1, first * w,
                              edge);
        want.resize(image);
        ASSERT_EQ(want, out.Block()) << w << "x" << h << " edge " << edge;
      }
    }
  }
}

}  // namespace
