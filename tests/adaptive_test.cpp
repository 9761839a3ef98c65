// The adaptive method: behaviour on synthetic scenes (flat stays flat, a
// still scene converges, a moving edge leaves no trail, a pan is followed,
// the strength follows the measured noise, not the ISO), independence of
// layout, in-place use, item order and SIMD level, size checks, and every
// kernel twin against its reference on random data at awkward widths.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/vd_cpu.h"
#include "frame/adaptive_frame.h"
#include "spatial/adaptive_spatial.h"
#include "temporal/adaptive_temporal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

// One packed I420 frame.
struct Frame {
  int w = 0, h = 0;
  Bytes data;
  Frame() = default;
  Frame(int width, int height, uint8_t fill)
      : w(width), h(height), data(static_cast<size_t>(width) * height * 3 / 2, fill) {}
  uint8_t* Y() { return data.data(); }
  uint8_t* U() { return data.data() + static_cast<size_t>(w) * h; }
  uint8_t* V() { return U() + static_cast<size_t>(w) * h / 4; }
  const uint8_t* Y() const { return data.data(); }
  VdFrameView View() { return VdFrameView{w, h, Y(), U(), V(), w, w / 2, 1}; }
};

// A denoiser in memory of its own.
class Denoiser {
 public:
  Denoiser(int max_w, int max_h) {
    const size_t n = VdAdaptiveStateSize(max_w, max_h);
    EXPECT_GT(n, 0u);
    memory_.resize(n / 8 + 8);
    a_ = VdAdaptiveInit(memory_.data(), max_w, max_h);
    EXPECT_NE(a_, nullptr);
  }
  // Plans and runs one frame with items in the given order (0: ascending,
  // 1: descending, 2: shuffled).
  void Run(const VdFrameView& src, const VdFrameView& dst, int order = 0, int iso = 100) {
    VdPhase phases[VD_MAX_PHASES];
    const int n = VdAdaptivePlan(a_, &src, &dst, 0, iso, phases);
    ASSERT_GT(n, 0);
    ASSERT_LE(n, VD_MAX_PHASES);
    if (order == 0) {
      VdRunPhasesInline(phases, n);
      return;
    }
    std::mt19937 rng(7);
    for (int p = 0; p < n; ++p) {
      std::vector<int> items(phases[p].items);
      for (int i = 0; i < phases[p].items; ++i) items[i] = i;
      if (order == 1) std::reverse(items.begin(), items.end());
      if (order == 2) std::shuffle(items.begin(), items.end(), rng);
      for (int i : items) phases[p].run(phases[p].arg, i);
    }
  }
  Frame Denoise(Frame in, int order = 0, int iso = 100) {
    Frame out(in.w, in.h, 0);
    Run(in.View(), out.View(), order, iso);
    return out;
  }
  VdAdaptive* get() { return a_; }

 private:
  std::vector<uint64_t> memory_;
  VdAdaptive* a_ = nullptr;
};

// A smooth scene with soft shapes and some fine texture, shifted by (dx, dy)
// (whole pixels): what a camera sees.
Frame Scene(int w, int h, int dx, int dy) {
  Frame f(w, h, 0);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double X = x + dx, Y = y + dy;
      double v = 110 + 50 * std::sin(X * 0.05) * std::cos(Y * 0.07) + 20 * std::sin((X + Y) * 0.3);
      if (std::fmod(std::abs(X * 0.02 + Y * 0.013), 1.0) < 0.3) v += 40;
      f.Y()[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
    }
  }
  for (int y = 0; y < h / 2; ++y) {
    for (int x = 0; x < w / 2; ++x) {
      const double X = 2 * x + dx, Y = 2 * y + dy;
      f.U()[static_cast<size_t>(y) * (w / 2) + x] =
          static_cast<uint8_t>(128 + 30 * std::sin(X * 0.03 + Y * 0.02));
      f.V()[static_cast<size_t>(y) * (w / 2) + x] =
          static_cast<uint8_t>(128 + 25 * std::cos(X * 0.025 - Y * 0.03));
    }
  }
  return f;
}

// Gaussian noise of the given sigma on every plane (half of it on chroma).
Frame Noisy(const Frame& clean, double sigma, uint32_t seed) {
  Frame f = clean;
  std::mt19937 rng(seed);
  std::normal_distribution<double> n(0.0, 1.0);
  const size_t luma = static_cast<size_t>(f.w) * f.h;
  for (size_t i = 0; i < f.data.size(); ++i) {
    const double s = i < luma ? sigma : sigma / 2;
    f.data[i] = static_cast<uint8_t>(std::clamp(std::lround(f.data[i] + s * n(rng)), 0L, 255L));
  }
  return f;
}

double LumaPsnr(const Frame& a, const Frame& b) {
  double sse = 0;
  const size_t n = static_cast<size_t>(a.w) * a.h;
  for (size_t i = 0; i < n; ++i) {
    const double d = double(a.Y()[i]) - b.Y()[i];
    sse += d * d;
  }
  return sse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * n / sse);
}

// ---- behaviour -----------------------------------------------------------

TEST(AdaptiveBehaviour, FlatFramesStayFlat) {
  Denoiser d(64, 48);
  for (int f = 0; f < 6; ++f) {
    Frame in(64, 48, 0);
    std::fill(in.Y(), in.U(), static_cast<uint8_t>(100 + f));  // slow fade
    std::fill(in.U(), in.data.data() + in.data.size(), 140);
    const Frame out = d.Denoise(in);
    EXPECT_EQ(out.data, in.data) << "frame " << f;
  }
}

TEST(AdaptiveBehaviour, StillNoisySceneConvergesTowardsTheCleanOne) {
  const Frame clean = Scene(160, 96, 0, 0);
  Denoiser d(160, 96);
  double first = 0, last = 0, noisy = 0;
  for (int f = 0; f < 16; ++f) {
    const Frame in = Noisy(clean, 8.0, 100 + f);
    const Frame out = d.Denoise(in);
    if (f == 0) first = LumaPsnr(out, clean), noisy = LumaPsnr(in, clean);
    last = LumaPsnr(out, clean);
  }
  EXPECT_GT(first, noisy + 1.0);  // the spatial pass alone already helps
  EXPECT_GT(last, first + 4.0);   // and the history adds a lot
  EXPECT_GT(last, noisy + 8.0);
}

TEST(AdaptiveBehaviour, MovingEdgeLeavesNoTrail) {
  // A dark square moving right by 6 pixels a frame over a bright, noisy
  // background: where it was a few frames ago must look like background.
  const int w = 128, h = 64;
  Denoiser d(w, h);
  double trail_out = 0, trail_in = 0;
  int count = 0;
  for (int f = 0; f < 12; ++f) {
    Frame clean(w, h, 128);
    std::fill(clean.Y(), clean.U(), 200);
    const int x0 = 8 + 6 * f;
    for (int y = 20; y < 44; ++y) {
      for (int x = x0; x < x0 + 24; ++x) clean.Y()[y * w + x] = 40;
    }
    const Frame in = Noisy(clean, 6.0, 500 + f);
    const Frame out = d.Denoise(in);
    if (f < 4) continue;
    // The 12 columns the square left during the last two frames.
    for (int y = 20; y < 44; ++y) {
      for (int x = x0 - 12; x < x0; ++x) {
        trail_out += std::abs(int(out.Y()[y * w + x]) - 200);
        trail_in += std::abs(int(in.Y()[y * w + x]) - 200);
        ++count;
      }
    }
  }
  EXPECT_LT(trail_out / count, trail_in / count) << "the trail is worse than the noise";
  EXPECT_LT(trail_out / count, 4.0);
}

TEST(AdaptiveBehaviour, PanIsFollowed) {
  // The camera pans 3 pixels right and 1 down a frame: with the motion
  // followed, the history accumulates as on a still scene.
  const int w = 192, h = 128;
  Denoiser moving(w, h), still(w, h);
  double pan = 0, fixed = 0, noisy = 0;
  for (int f = 0; f < 14; ++f) {
    const Frame clean = Scene(w, h, 3 * f, f);
    const Frame in = Noisy(clean, 8.0, 900 + f);
    pan = LumaPsnr(moving.Denoise(in), clean);
    const Frame still_clean = Scene(w, h, 0, 0);
    fixed = LumaPsnr(still.Denoise(Noisy(still_clean, 8.0, 900 + f)), still_clean);
    noisy = LumaPsnr(in, clean);
  }
  // Without the motion, every textured pixel would restart each frame and
  // only the spatial pass (about 4 dB here) would remain.
  EXPECT_GT(pan, noisy + 6.5);
  EXPECT_GT(pan, fixed - 4.5) << "the pan loses most of what the history gives";
}

TEST(AdaptiveBehaviour, StrengthFollowsTheNoiseNotTheIso) {
  const Frame clean = Scene(96, 64, 0, 0);
  Denoiser low(96, 64), high(96, 64);
  for (int f = 0; f < 5; ++f) {
    const Frame in = Noisy(clean, 5.0, 40 + f);
    EXPECT_EQ(low.Denoise(in, 0, 100).data, high.Denoise(in, 0, 800).data);
  }
  // Stronger noise is filtered harder: the output of a clean frame's noisy
  // copy moves further from its input.
  Denoiser weak(96, 64), strong(96, 64);
  const Frame a = Noisy(clean, 2.0, 1), b = Noisy(clean, 12.0, 1);
  const Frame oa = weak.Denoise(a), ob = strong.Denoise(b);
  EXPECT_LT(LumaPsnr(oa, clean) - LumaPsnr(a, clean), LumaPsnr(ob, clean) - LumaPsnr(b, clean));
}

// ---- bytes independent of layout, order and SIMD level -------------------

// Runs a short panning clip through fresh denoisers in several layouts and
// returns the packed I420 output of each.
std::vector<Frame> RunClip(int w, int h, int layout, int order = 0, int frames = 4) {
  Denoiser d(w + 32, h + 16);
  std::vector<Frame> outs;
  for (int f = 0; f < frames; ++f) {
    const Frame in = Noisy(Scene(w, h, 2 * f, f), 7.0, 70 + f);
    Frame out(w, h, 0);
    if (layout == 0) {
      Frame copy = in;
      d.Run(copy.View(), out.View(), order);
    } else if (layout == 1) {
      // In place, packed I420.
      Frame copy = in;
      d.Run(copy.View(), copy.View(), order);
      out = copy;
    } else {
      // NV21 with padded rows in, NV12 with other padding out; then in place
      // in NV21.
      const int ys = w + 13, cs = w + 7;
      Bytes src(static_cast<size_t>(ys) * h + static_cast<size_t>(cs) * (h / 2) + 8, 0xAB);
      uint8_t* vu = src.data() + static_cast<size_t>(ys) * h;
      for (int y = 0; y < h; ++y) std::memcpy(&src[static_cast<size_t>(y) * ys], in.Y() + y * w, w);
      const Frame& cin = in;
      for (int y = 0; y < h / 2; ++y) {
        for (int x = 0; x < w / 2; ++x) {
          vu[y * cs + 2 * x] = cin.data[static_cast<size_t>(w) * h * 5 / 4 + y * (w / 2) + x];
          vu[y * cs + 2 * x + 1] = cin.data[static_cast<size_t>(w) * h + y * (w / 2) + x];
        }
      }
      VdFrameView sv{w, h, src.data(), vu + 1, vu, ys, cs, 2};
      if (layout == 3) {
        const Bytes before = src;
        d.Run(sv, sv, order);
        for (int y = 0; y < h; ++y) {
          std::memcpy(out.Y() + y * w, &src[static_cast<size_t>(y) * ys], w);
          // Padding stays untouched.
          EXPECT_EQ(0, std::memcmp(&src[static_cast<size_t>(y) * ys + w],
                                   &before[static_cast<size_t>(y) * ys + w], ys - w));
        }
        for (int y = 0; y < h / 2; ++y) {
          for (int x = 0; x < w / 2; ++x) {
            out.V()[y * (w / 2) + x] = vu[y * cs + 2 * x];
            out.U()[y * (w / 2) + x] = vu[y * cs + 2 * x + 1];
          }
        }
      } else {
        const int ds = w + 3, dcs = w + 5;
        Bytes dst(static_cast<size_t>(ds) * h + static_cast<size_t>(dcs) * (h / 2), 0xCD);
        uint8_t* uv = dst.data() + static_cast<size_t>(ds) * h;
        VdFrameView dv{w, h, dst.data(), uv, uv + 1, ds, dcs, 2};
        d.Run(sv, dv, order);
        for (int y = 0; y < h; ++y) {
          std::memcpy(out.Y() + y * w, &dst[static_cast<size_t>(y) * ds], w);
          for (int x = w; x < ds; ++x) EXPECT_EQ(dst[static_cast<size_t>(y) * ds + x], 0xCD);
        }
        for (int y = 0; y < h / 2; ++y) {
          for (int x = 0; x < w / 2; ++x) {
            out.U()[y * (w / 2) + x] = uv[y * dcs + 2 * x];
            out.V()[y * (w / 2) + x] = uv[y * dcs + 2 * x + 1];
          }
        }
      }
    }
    outs.push_back(out);
  }
  return outs;
}

TEST(AdaptiveBytes, LayoutAndInPlaceGiveThePackedBytes) {
  for (const auto& size : {std::pair<int, int>{96, 64}, {50, 34}, {16, 16}, {178, 62}}) {
    const auto packed = RunClip(size.first, size.second, 0);
    for (int layout = 1; layout <= 3; ++layout) {
      const auto other = RunClip(size.first, size.second, layout);
      for (size_t f = 0; f < packed.size(); ++f) {
        EXPECT_EQ(packed[f].data, other[f].data)
            << size.first << "x" << size.second << " layout " << layout << " frame " << f;
      }
    }
  }
}

TEST(AdaptiveBytes, ItemOrderDoesNotMatter) {
  const auto ascending = RunClip(200, 98, 0, 0, 5);
  for (int order = 1; order <= 2; ++order) {
    const auto other = RunClip(200, 98, 0, order, 5);
    for (size_t f = 0; f < ascending.size(); ++f) {
      EXPECT_EQ(ascending[f].data, other[f].data) << "order " << order << " frame " << f;
    }
  }
}

TEST(AdaptiveBytes, EverySimdLevelGivesTheScalarBytes) {
  VdSetSimdLevel(kVdSimdScalar);
  const auto scalar = RunClip(146, 82, 2, 0, 5);
  VdSetSimdLevel(-1);
  const auto simd = RunClip(146, 82, 2, 0, 5);
  for (size_t f = 0; f < scalar.size(); ++f) EXPECT_EQ(scalar[f].data, simd[f].data) << f;
}

TEST(AdaptiveBytes, ResetAndSizeChangeStartAfresh) {
  Denoiser d(96, 64);
  const Frame a = Noisy(Scene(96, 64, 0, 0), 6.0, 1);
  const Frame b = Noisy(Scene(96, 64, 0, 0), 6.0, 2);
  const Frame first = d.Denoise(a);
  d.Denoise(b);
  VdAdaptiveReset(d.get());
  EXPECT_EQ(d.Denoise(a).data, first.data);
  d.Denoise(b);
  // Another size, then the first again: no history carried over.
  d.Denoise(Noisy(Scene(64, 32, 0, 0), 6.0, 3));
  EXPECT_EQ(d.Denoise(a).data, first.data);
}

TEST(AdaptiveBytes, RefusesSizesOutsideItsRange) {
  EXPECT_EQ(VdAdaptiveStateSize(15, 16), 0u);
  EXPECT_EQ(VdAdaptiveStateSize(16, 17), 0u);
  EXPECT_EQ(VdAdaptiveStateSize(0, 0), 0u);
  EXPECT_GT(VdAdaptiveStateSize(16, 16), 0u);
  Denoiser d(64, 32);
  VdPhase phases[VD_MAX_PHASES];
  Frame big(66, 32, 0), odd(30, 31, 0), ok(64, 32, 0), other(62, 32, 0);
  VdFrameView bv = big.View(), ov = odd.View(), kv = ok.View(), tv = other.View();
  EXPECT_EQ(VdAdaptivePlan(d.get(), &bv, &bv, 0, 100, phases), 0);
  ov.height = 31;
  EXPECT_EQ(VdAdaptivePlan(d.get(), &ov, &ov, 0, 100, phases), 0);
  EXPECT_EQ(VdAdaptivePlan(d.get(), &kv, &tv, 0, 100, phases), 0);
  EXPECT_GT(VdAdaptivePlan(d.get(), &kv, &kv, 0, 100, phases), 0);
}

// Integer-only input, so that every build sees the same bytes: a blocky
// pattern with ramps panning right, a bright square moving down, and noise
// from a fixed generator (the sum of four bytes, roughly normal).
Frame IntegerScene(int w, int h, int t, uint32_t* state) {
  Frame f(w, h, 0);
  auto next = [state]() {
    *state = *state * 1664525u + 1013904223u;
    return *state >> 24;
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int X = x + 3 * t;
      int v = 60 + ((X / 11 + y / 9) % 3) * 40 + (X % 23) * 2;
      if (y >= 10 + 4 * t && y < 40 + 4 * t && x >= 50 && x < 90) v = 220;
      const int noise = static_cast<int>(next() + next() + next() + next()) - 510;
      f.Y()[y * w + x] = static_cast<uint8_t>(std::clamp(v + noise / 16, 0, 255));
    }
  }
  for (int i = 0; i < w * h / 2; ++i) {
    const int v = 128 + ((i / 7) % 5) * 6;
    const int noise = static_cast<int>(next() + next()) - 255;
    f.U()[i] = static_cast<uint8_t>(std::clamp(v + noise / 32, 0, 255));
  }
  return f;
}

// The same clip gives the same bytes on every build: scalar, x86 twins,
// armv7 NEON and aarch64 NEON.
TEST(AdaptiveBytes, ClipDigestIsTheSameOnEveryBuild) {
  const int w = 176, h = 144;
  Denoiser d(w, h);
  uint32_t state = 12345;
  uint64_t digest = 1469598103934665603ull;
  for (int t = 0; t < 8; ++t) {
    const Frame out = d.Denoise(IntegerScene(w, h, t, &state));
    digest = vdtest::Digest(out.data.data(), out.data.size(), digest);
  }
  std::printf("clip digest: %016llx\n", static_cast<unsigned long long>(digest));
  EXPECT_EQ(0x49d1970713f8b7c8ull, digest);
}

// ---- kernels: hand-worked values and twins --------------------------------

VdNoiseLine FlatLine(int sigma4) {
  return VdNoiseLine{static_cast<int16_t>(sigma4), 0, static_cast<int16_t>(sigma4), 0};
}

TEST(AdaptiveKernels, BlendFollowsTheHistory) {
  // sigma4 = 40 (sigma 10); a still pixel with history 3 moves a quarter of
  // the way (gain 32/128) to the frame; a moved one takes the frame.
  VdTemporalParams tp{FlatLine(40), 15, 24, 20, 32};
  Bytes c(20, 100), p(20, 92), cap(20, 15), hist(20, 3), out(20, 0);
  AdaptiveTemporalLuma_C(c.data(), c.data(), c.data(), p.data(), p.data(), p.data(), cap.data(),
                         hist.data(), out.data(), 20, &tp);
  // 3x3 SAD = 72, 4 * 72 = 288 <= 15 * 40: still, history 4, gain 26.
  EXPECT_EQ(hist[5], 4);
  EXPECT_EQ(out[5], 92 + ((8 * 26 + 64) >> 7));
  // A big difference restarts.
  Bytes far(20, 160), h2(20, 9);
  AdaptiveTemporalLuma_C(far.data(), far.data(), far.data(), p.data(), p.data(), p.data(),
                         cap.data(), h2.data(), out.data(), 20, &tp);
  EXPECT_EQ(h2[7], 0);
  EXPECT_EQ(out[7], 160);
  // Between the thresholds a quarter of the history stays: SAD 9 * 20 = 180,
  // 720 in (15 * 40, 24 * 40].
  Bytes mid(20, 112), h3(20, 9);
  AdaptiveTemporalLuma_C(mid.data(), mid.data(), mid.data(), p.data(), p.data(), p.data(),
                         cap.data(), h3.data(), out.data(), 20, &tp);
  EXPECT_EQ(h3[7], 10 >> 2);
  // The block cap limits the history.
  Bytes capped(20, 1), h4(20, 9);
  AdaptiveTemporalLuma_C(c.data(), c.data(), c.data(), p.data(), p.data(), p.data(),
                         capped.data(), h4.data(), out.data(), 20, &tp);
  EXPECT_EQ(h4[3], 1);
  EXPECT_EQ(out[3], 92 + ((8 * 64 + 64) >> 7));
}

TEST(AdaptiveKernels, SpatialFilterSmoothsNoiseAndKeepsEdges) {
  // A step of 100 with threshold 10 stays; a bump of 6 is pulled down.
  Bytes r0(24, 50), r1(24, 50), r2(24, 50), t(24, 10), out(24, 0);
  for (int x = 12; x < 24; ++x) r0[x] = r1[x] = r2[x] = 150;
  r1[5] = 56;
  AdaptiveSpatialRow_C(r0.data(), r1.data(), r2.data(), t.data(), out.data(), 24, 1);
  EXPECT_EQ(out[11], 50);
  EXPECT_EQ(out[12], 150);
  // Neighbours all 6 below: sum of phi = 12 * -6 = -72, (-72 + 8) >> 4 = -4.
  EXPECT_EQ(out[5], 52);
  // Its neighbours see +6 once (weight 2 beside, 1 diagonal): 50 + ((12+8)>>4).
  EXPECT_EQ(out[4], 51);
  // Threshold 0: nothing moves.
  Bytes zero(24, 0);
  AdaptiveSpatialRow_C(r0.data(), r1.data(), r2.data(), zero.data(), out.data(), 24, 1);
  EXPECT_EQ(out, r1);
}

TEST(AdaptiveKernels, NoiseCurveIsTheMinimumOfTwoChords) {
  const VdNoiseLine l{20, 32, 60, 12};
  EXPECT_EQ(VdSigma4(l, 0), 20);
  EXPECT_EQ(VdSigma4(l, 128), 84);   // both chords meet
  EXPECT_EQ(VdSigma4(l, 64), 52);    // 20 + 32, below 60 + 12
  EXPECT_EQ(VdSigma4(l, 255), 107);  // 60 + 47, below 20 + 127
  EXPECT_EQ(VdChromaSigma4(l, 128, 255), 214);
  EXPECT_EQ(VdChromaSigma4(VdNoiseLine{200, 0, 200, 0}, 128, 0), 255);
}

// Valid random parameters: sigma4 within a byte, thresholds as the fit
// makes them or anywhere in their range.
VdTemporalParams RandomTemporal(std::mt19937& rng) {
  auto r = [&](int lo, int hi) { return static_cast<int16_t>(lo + int(rng() % (hi - lo + 1))); };
  VdTemporalParams p;
  p.luma = VdNoiseLine{r(1, 127), r(0, 32), r(1, 127), r(0, 32)};
  p.still = r(0, 24);
  p.move = r(p.still, 24);
  p.chroma_move = r(0, 24);
  p.chroma_ratio = r(4, 128);
  return p;
}

TEST(AdaptiveKernels, TwinsEqualTheReferences) {
  const AdaptiveTemporalKernels* ref = &VdAdaptiveTemporalKernels(kVdSimdScalar);
  const AdaptiveSpatialKernels* sref = &VdAdaptiveSpatialKernels(kVdSimdScalar);
  std::mt19937 rng(12345);
  const int widths[] = {1, 2, 3, 15, 16, 17, 18, 19, 31, 33, 34, 35, 47, 50, 64, 65, 97, 130, 257, 961};
  for (int level : vdtest::VectorLevels()) {
    const AdaptiveTemporalKernels* k = &VdAdaptiveTemporalKernels(level);
    const AdaptiveSpatialKernels* s = &VdAdaptiveSpatialKernels(level);
    for (int w : widths) {
      for (int trial = 0; trial < 6; ++trial) {
        SCOPED_TRACE(std::string(vdtest::LevelName(level)) + " width " + std::to_string(w) + " trial " +
                     std::to_string(trial));
        const VdTemporalParams tp = RandomTemporal(rng);
        // Inputs: random, or a noisy copy of each other so every branch runs.
        auto rows = [&](int n) {
          std::vector<Bytes> v(n, Bytes(2 * w + 32));
          for (auto& b : v) vdtest::FillRandom(b.data(), b.size(), rng());
          return v;
        };
        std::vector<Bytes> c = rows(3), p = rows(3);
        if (trial & 1) {
          for (int r = 0; r < 3; ++r) {
            for (size_t i = 0; i < p[r].size(); ++i) {
              p[r][i] = static_cast<uint8_t>(std::clamp(c[r][i] + int(rng() % 21) - 10, 0, 255));
            }
          }
        }
        Bytes cap(w), hist(w), lh0(2 * w), lh1(2 * w);
        for (auto* b : {&cap, &hist, &lh0, &lh1}) {
          for (auto& x : *b) x = static_cast<uint8_t>(rng() % 16);
        }
        Bytes h1 = hist, h2 = hist, o1(w, 0), o2(w, 0);
        ref->luma(c[0].data(), c[1].data(), c[2].data(), p[0].data(), p[1].data(), p[2].data(),
                  cap.data(), h1.data(), o1.data(), w, &tp);
        k->luma(c[0].data(), c[1].data(), c[2].data(), p[0].data(), p[1].data(), p[2].data(),
                cap.data(), h2.data(), o2.data(), w, &tp);
        EXPECT_EQ(h1, h2) << "luma history";
        EXPECT_EQ(o1, o2) << "luma blend";
        h1 = hist, h2 = hist;
        ref->chroma(c[0].data(), c[1].data(), c[2].data(), p[0].data(), p[1].data(), p[2].data(),
                    c[0].data(), lh0.data(), lh1.data(), h1.data(), o1.data(), w, &tp);
        k->chroma(c[0].data(), c[1].data(), c[2].data(), p[0].data(), p[1].data(), p[2].data(),
                  c[0].data(), lh0.data(), lh1.data(), h2.data(), o2.data(), w, &tp);
        EXPECT_EQ(h1, h2) << "chroma history";
        EXPECT_EQ(o1, o2) << "chroma blend";
        if (w >= 16) {
          const int rows16 = 1 + int(rng() % 8);
          Bytes a(19 * 9 + 32), b(19 * 9 + 32);
          vdtest::FillRandom(a.data(), a.size(), rng());
          vdtest::FillRandom(b.data(), b.size(), rng());
          EXPECT_EQ(ref->sad16(a.data(), 17, b.data(), 19, rows16),
                    k->sad16(a.data(), 17, b.data(), 19, rows16));
          for (int f = 0; f < 4; ++f) {
            const int n = 1 + int(rng() % 40);
            Bytes i1(n), i2(n);
            ref->interpolate(a.data(), a.data() + 17 * (f >> 1), f & 1, i1.data(), n);
            k->interpolate(a.data(), a.data() + 17 * (f >> 1), f & 1, i2.data(), n);
            EXPECT_EQ(i1, i2) << "interpolate " << f << " n " << n;
            EXPECT_EQ(ref->half_sad16(a.data(), 17, b.data(), 19, f & 1, f >> 1, rows16),
                      k->half_sad16(a.data(), 17, b.data(), 19, f & 1, f >> 1, rows16))
                << "half sad " << f;
          }
        }
        VdSpatialParams sp;
        sp.luma = tp.luma;
        sp.chroma_ratio = tp.chroma_ratio;
        for (auto& r : sp.reach) r = static_cast<uint8_t>(rng() % 129);
        Bytes t1(w), t2(w);
        sref->luma_threshold(c[1].data(), hist.data(), t1.data(), w, &sp);
        s->luma_threshold(c[1].data(), hist.data(), t2.data(), w, &sp);
        EXPECT_EQ(t1, t2) << "luma threshold";
        sref->chroma_threshold(c[2].data(), hist.data(), t1.data(), w, &sp);
        s->chroma_threshold(c[2].data(), hist.data(), t2.data(), w, &sp);
        EXPECT_EQ(t1, t2) << "chroma threshold";
        for (auto& x : t1) x = static_cast<uint8_t>(rng() % 128);
        for (int step = 1; step <= 2; ++step) {
          sref->row(c[0].data(), c[1].data(), c[2].data(), t1.data(), o1.data(), w, step);
          s->row(c[0].data(), c[1].data(), c[2].data(), t1.data(), o2.data(), w, step);
          EXPECT_EQ(o1, o2) << "spatial row, step " << step;
        }
      }
    }
  }
}

}  // namespace
