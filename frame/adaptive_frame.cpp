// The adaptive method's frame pipeline (see adaptive_frame.h). Six phases
// per frame, every item a fixed band of 32 rows or a row of motion blocks:
//   1 input    copy the frame into packed planes, reduce the luma to a
//              quarter, gather the noise of flat 8x8 blocks
//   2 motion   one item per row of 32x32 blocks: candidate vectors on the
//              quarter-resolution luma, refined per 16x16 block at full and
//              half-pixel resolution, with the block's history cap; one more
//              item fits the noise model
//   3 predict  the previous blend moved by the block vectors
//   4 blend    the recursive temporal blend, and the samples of the temporal
//              noise measure for the next frame's fit
//   5 coarse   the edge-preserving filter with taps two pixels apart
//   6 fine     the same filter with adjacent taps into the client's frame,
//              and the quarter-resolution blend for the next search
#include "frame/adaptive_frame.h"

#include <stdint.h>
#include <string.h>

#include <new>

#include "base/vd_cpu.h"
#include "spatial/adaptive_spatial.h"
#include "temporal/adaptive_temporal.h"

namespace {

enum {
  kBand = 32,            // luma rows per band item
  kBins = 8,             // brightness bins of the noise statistics
  kSpatialBuckets = 128, // block sigma in halves
  kDiffBuckets = 64,     // |difference| of two frames
  kMaxVector = 96,       // luma pixels
};

struct Mv {
  int16_t x, y;
};

struct BandStats {
  uint32_t spatial[kBins][kSpatialBuckets];
  uint32_t luma[kBins][kDiffBuckets];
  uint32_t chroma[kBins][kDiffBuckets];
};

inline int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }
inline int Abs(int v) { return v < 0 ? -v : v; }

}  // namespace

struct VdAdaptive {
  int max_w, max_h;
  // Current geometry: luma, chroma, quarter luma, band and block counts.
  int w, h, cw, ch, qw, qh;
  int bands, bx16, by16, bx32, by32;
  int frames;   // frames since the history started, this one included
  int history;  // frames before this one that the history holds
  VdFrameView src, dst;

  uint8_t* input[2][3];  // this frame's and the previous frame's input
  uint8_t* blend[2][3];  // this frame's and the previous frame's blend
  uint8_t* pred[3];
  uint8_t* hist[3];      // history length per pixel: Y, U, V
  uint8_t* quarter_in;   // quarter luma of the input
  uint8_t* quarter_ref;  // quarter luma of the previous blend
  Mv* mv32[2];           // this frame's and the previous frame's coarse field
  Mv* mv16;              // half pixels
  uint8_t* cap16;        // history cap per 16x16 block
  Mv global;
  VdNoiseLine motion_noise;  // the last frame's noise, for the block tests
  int cur;  // index of this frame in input[], blend[] and mv32[]

  BandStats* stats;      // one per band
  uint8_t* scratch;      // two rows of max_w bytes per band

  // Noise model: variance = var_a * Y / 256 + var_b, in 1/16 of a level^2;
  // chroma sigma / luma sigma in 1/64.
  int64_t var_a, var_b;
  int chroma_ratio;
  bool model_valid;
  VdTemporalParams tparams;
  VdSpatialParams sparams;
  const AdaptiveTemporalKernels* tk;
  const AdaptiveSpatialKernels* sk;
};

namespace {

// ---- layout of the state block -----------------------------------------

struct Carver {
  uint8_t* base;
  size_t used;
  void* Take(size_t n) {
    used = (used + 63) & ~static_cast<size_t>(63);
    void* p = base ? base + used : nullptr;
    used += n;
    return p;
  }
};

bool ValidSize(int w, int h) {
  return w >= 16 && h >= 16 && (w & 1) == 0 && (h & 1) == 0 && w <= 16384 &&
         h <= 16384;
}

size_t Carve(Carver* c, VdAdaptive* a, int mw, int mh) {
  const size_t luma = static_cast<size_t>(mw) * mh;
  const size_t chroma = luma / 4;
  const int bands = (mh + kBand - 1) / kBand;
  const size_t blocks16 = static_cast<size_t>((mw + 15) / 16) * ((mh + 15) / 16);
  const size_t blocks32 = static_cast<size_t>((mw + 31) / 32) * ((mh + 31) / 32);
  VdAdaptive dummy;
  VdAdaptive* s = a ? a : &dummy;
  for (int i = 0; i < 2; ++i) {
    s->input[i][0] = static_cast<uint8_t*>(c->Take(luma));
    s->input[i][1] = static_cast<uint8_t*>(c->Take(chroma));
    s->input[i][2] = static_cast<uint8_t*>(c->Take(chroma));
    s->blend[i][0] = static_cast<uint8_t*>(c->Take(luma));
    s->blend[i][1] = static_cast<uint8_t*>(c->Take(chroma));
    s->blend[i][2] = static_cast<uint8_t*>(c->Take(chroma));
    s->mv32[i] = static_cast<Mv*>(c->Take(blocks32 * sizeof(Mv)));
  }
  s->pred[0] = static_cast<uint8_t*>(c->Take(luma));
  s->pred[1] = static_cast<uint8_t*>(c->Take(chroma));
  s->pred[2] = static_cast<uint8_t*>(c->Take(chroma));
  s->hist[0] = static_cast<uint8_t*>(c->Take(luma));
  s->hist[1] = static_cast<uint8_t*>(c->Take(chroma));
  s->hist[2] = static_cast<uint8_t*>(c->Take(chroma));
  s->quarter_in = static_cast<uint8_t*>(c->Take(luma / 16 + 16));
  s->quarter_ref = static_cast<uint8_t*>(c->Take(luma / 16 + 16));
  s->mv16 = static_cast<Mv*>(c->Take(blocks16 * sizeof(Mv)));
  s->cap16 = static_cast<uint8_t*>(c->Take(blocks16));
  s->stats = static_cast<BandStats*>(c->Take(bands * sizeof(BandStats)));
  s->scratch = static_cast<uint8_t*>(c->Take(static_cast<size_t>(bands) * 2 * mw));
  return c->used;
}

// ---- phase 1: input ------------------------------------------------------

// Sigma of an 8x8 block from its inner 6x6 pixels, in halves of a level:
// white noise of sigma s gives E|4x - l - r - u - d| = 3.57 s, so the sum of
// 36 such terms is 128.5 s; also the inner mean.
void BlockNoise(const uint8_t* p, int stride, int* sigma2, int* mean) {
  int sum = 0, total = 0;
  for (int y = 1; y < 7; ++y) {
    const uint8_t* r = p + y * stride;
    for (int x = 1; x < 7; ++x) {
      sum += Abs(4 * r[x] - r[x - 1] - r[x + 1] - r[x - stride] - r[x + stride]);
      total += r[x];
    }
  }
  *sigma2 = (sum * 2 + 64) / 128;
  *mean = total / 36;
}

void RunInput(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  const int y0 = item * kBand;
  const int y1 = y0 + kBand < a->h ? y0 + kBand : a->h;
  const VdFrameView& s = a->src;
  uint8_t* const* in = a->input[a->cur];
  for (int y = y0; y < y1; ++y) {
    memcpy(in[0] + static_cast<size_t>(y) * a->w, s.y + static_cast<ptrdiff_t>(y) * s.y_stride,
           a->w);
  }
  for (int y = y0 / 2; y < y1 / 2; ++y) {
    const uint8_t* su = s.u + static_cast<ptrdiff_t>(y) * s.uv_stride;
    const uint8_t* sv = s.v + static_cast<ptrdiff_t>(y) * s.uv_stride;
    uint8_t* du = in[1] + static_cast<size_t>(y) * a->cw;
    uint8_t* dv = in[2] + static_cast<size_t>(y) * a->cw;
    if (s.uv_pixel_stride == 1) {
      memcpy(du, su, a->cw);
      memcpy(dv, sv, a->cw);
    } else {
      const int ps = s.uv_pixel_stride;
      for (int x = 0; x < a->cw; ++x) {
        du[x] = su[x * ps];
        dv[x] = sv[x * ps];
      }
    }
  }
  // Quarter-resolution luma: rows 4r .. 4r + 3 lie in this band.
  for (int r = y0 / 4; r < y1 / 4 && r < a->qh; ++r) {
    const uint8_t* l = in[0] + static_cast<size_t>(4 * r) * a->w;
    uint8_t* q = a->quarter_in + static_cast<size_t>(r) * a->qw;
    for (int x = 0; x < a->qw; ++x) {
      int sum = 0;
      for (int j = 0; j < 4; ++j) {
        const uint8_t* p = l + j * a->w + 4 * x;
        sum += p[0] + p[1] + p[2] + p[3];
      }
      q[x] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
  // Noise of the flat blocks: 8x8 blocks wholly inside the band.
  BandStats* st = &a->stats[item];
  memset(st->spatial, 0, sizeof(st->spatial));
  for (int by = y0; by + 8 <= y1; by += 8) {
    for (int bx = 0; bx + 8 <= a->w; bx += 8) {
      int sigma2, mean;
      BlockNoise(in[0] + static_cast<size_t>(by) * a->w + bx, a->w, &sigma2, &mean);
      st->spatial[mean >> 5][sigma2 < kSpatialBuckets ? sigma2 : kSpatialBuckets - 1]++;
    }
  }
}

// ---- phase 2: motion and the noise model ---------------------------------

// SAD of an 8x8 quarter-resolution block at (x0, y0) (clipped to w x h) with
// the reference displaced by (dx, dy), reference coordinates clamped.
int QuarterSad(const VdAdaptive* a, int x0, int y0, int w, int h, int dx, int dy) {
  int s = 0;
  for (int y = y0; y < y0 + h; ++y) {
    const uint8_t* c = a->quarter_in + static_cast<size_t>(y) * a->qw;
    const uint8_t* r =
        a->quarter_ref + static_cast<size_t>(Clamp(y + dy, 0, a->qh - 1)) * a->qw;
    if (x0 + dx >= 0 && x0 + w + dx <= a->qw) {
      for (int x = x0; x < x0 + w; ++x) s += Abs(c[x] - r[x + dx]);
    } else {
      for (int x = x0; x < x0 + w; ++x) s += Abs(c[x] - r[Clamp(x + dx, 0, a->qw - 1)]);
    }
  }
  return s;
}

// Full-resolution SAD of the 16x16 block at (x, y) (inside the frame)
// against the previous blend at the half-pixel displacement h (every other
// row): half positions average two or four pixels, rounded up at one half;
// reference coordinates outside the frame are clamped, as the prediction
// clamps them.
int BlockSad(const VdAdaptive* a, int x, int y, Mv h) {
  const int w = a->w;
  const uint8_t* c = a->input[a->cur][0] + static_cast<size_t>(y) * w + x;
  const uint8_t* ref = a->blend[a->cur ^ 1][0];
  const int ix = x + (h.x >> 1), iy = y + (h.y >> 1), fx = h.x & 1, fy = h.y & 1;
  const bool inside = ix >= 0 && iy >= 0 && ix + 16 + fx <= w && iy + 16 + fy <= a->h;
  if (inside) {
    const uint8_t* r = ref + static_cast<ptrdiff_t>(iy) * w + ix;
    if (!fx && !fy) return a->tk->sad16(c, 2 * w, r, 2 * w, 8);
    return a->tk->half_sad16(c, 2 * w, r, 2 * w, fx, fy, 8);
  }
  int s = 0;
  for (int row = 0; row < 8; ++row) {
    const uint8_t* r0 = ref + static_cast<size_t>(Clamp(iy + 2 * row, 0, a->h - 1)) * w;
    const uint8_t* r1 = ref + static_cast<size_t>(Clamp(iy + 2 * row + fy, 0, a->h - 1)) * w;
    const uint8_t* cr = c + static_cast<ptrdiff_t>(2 * row) * w;
    for (int k = 0; k < 16; ++k) {
      const int k0 = Clamp(ix + k, 0, w - 1), k1 = Clamp(ix + k + fx, 0, w - 1);
      s += Abs(cr[k] - ((r0[k0] + r0[k1] + r1[k0] + r1[k1] + 2) >> 2));
    }
  }
  return s;
}

// sqrt(1 + 1 / (n + 1)) in 1/256: the spread of (frame - prediction) over
// the noise sigma when the prediction averages n + 1 frames.
const uint16_t kInnovation[16] = {362, 314, 296, 286, 280, 277, 274, 272,
                                  271, 270, 269, 268, 267, 267, 266, 266};

// The 16x16 block at (x16, y16): +-2 pixels around the coarse vector, then
// half pixels, kept only if clearly better than standing still. Then the
// block's history cap: a prediction whose error exceeds what the noise
// explains (over 128 pixels the mean |error| is known within a few percent)
// is misaligned, however small its 3x3 differences look.
void RefineBlock(VdAdaptive* a, int x16, int y16, Mv coarse) {
  const int x = x16 * 16, y = y16 * 16;
  Mv v = {static_cast<int16_t>(2 * coarse.x), static_cast<int16_t>(2 * coarse.y)};
  uint8_t cap = kVdAdaptiveMaxHistory;
  if (a->history > 0 && x + 16 <= a->w && y + 16 <= a->h) {
    // Whole pixels in half-pixel units, then half pixels. Costs add sigma / 16
    // per half pixel away from the global motion: along an edge or a
    // stripe every shift fits equally well, and the camera's motion is the
    // likely one.
    const int lambda = VdSigma4(a->motion_noise, 128) >> 2;
    auto cost = [&](Mv t) {
      return BlockSad(a, x, y, t) + lambda * (Abs(t.x - a->global.x) + Abs(t.y - a->global.y));
    };
    Mv c = v;
    int csad = cost(c);
    for (int dy = -4; dy <= 4; dy += 2) {
      for (int dx = -4; dx <= 4; dx += 2) {
        const Mv t = {static_cast<int16_t>(v.x + dx), static_cast<int16_t>(v.y + dy)};
        if (!dx && !dy) continue;
        const int s = cost(t);
        if (s < csad) csad = s, c = t;
      }
    }
    Mv h = c;
    int hsad = csad;
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const Mv t = {static_cast<int16_t>(c.x + dx), static_cast<int16_t>(c.y + dy)};
        if (!dx && !dy) continue;
        const int s = cost(t);
        if (s < hsad) hsad = s, h = t;
      }
    }
    hsad = BlockSad(a, x, y, h);
    const Mv zero = {0, 0};
    const int zsad = BlockSad(a, x, y, zero);
    if (zsad <= hsad + (hsad >> 4)) h = zero, hsad = zsad;
    v = h;
    // Mean brightness from the quarter luma, mean history from a sparse grid.
    int mean = 0, hist = 0;
    for (int j = 0; j < 4; ++j) {
      const uint8_t* q = a->quarter_in + static_cast<size_t>(y / 4 + j) * a->qw + x / 4;
      const uint8_t* n = a->hist[0] + static_cast<size_t>(y + 4 * j + 1) * a->w + x + 1;
      mean += q[0] + q[1] + q[2] + q[3];
      hist += n[0] + n[4] + n[8] + n[12];
    }
    // Expected SAD of 128 pixels: 128 * 0.798 * sigma * innovation, with
    // sigma4 = 4 sigma: 25.5 * sigma4 * innovation.
    const int sigma4 = VdSigma4(a->motion_noise, (mean + 8) >> 4);
    const int64_t expected = (static_cast<int64_t>(sigma4) * 6537 * kInnovation[(hist + 8) >> 4]) >> 16;
    const int64_t sad = hsad;
    if (4 * sad > 5 * expected) cap = 3;
    if (2 * sad > 3 * expected) cap = 0;
  }
  a->mv16[y16 * a->bx16 + x16] = v;
  // A half-pixel prediction is an average, a little blurred: accumulated
  // over many frames the blur would stay, so its history stays short.
  if (((v.x | v.y) & 1) && cap > 2) cap = 2;
  a->cap16[y16 * a->bx16 + x16] = cap;
}

void RunMotionRow(VdAdaptive* a, int by) {
  Mv* field = a->mv32[a->cur];
  const Mv* last = a->mv32[a->cur ^ 1];
  for (int bx = 0; bx < a->bx32; ++bx) {
    Mv best = {0, 0};
    const int x0 = bx * 8, y0 = by * 8;
    const int qw = a->qw - x0 < 8 ? a->qw - x0 : 8;
    const int qh = a->qh - y0 < 8 ? a->qh - y0 : 8;
    if (a->history > 0 && qw > 0 && qh > 0) {
      // Candidates in quarter pixels: still, the global motion, and the
      // last frame's vectors of this block and its four neighbours.
      int cand[7][2];
      int n = 0;
      cand[n][0] = 0, cand[n][1] = 0, ++n;
      cand[n][0] = a->global.x / 2, cand[n][1] = a->global.y / 2, ++n;
      const int nb[5][2] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}};
      for (int i = 0; i < 5; ++i) {
        const int x = bx + nb[i][0], y = by + nb[i][1];
        if (x < 0 || y < 0 || x >= a->bx32 || y >= a->by32) continue;
        const Mv v = last[y * a->bx32 + x];
        cand[n][0] = v.x, cand[n][1] = v.y, ++n;
      }
      int bdx = 0, bdy = 0, bsad = -1;
      for (int i = 0; i < n; ++i) {
        // Luma pixels to quarter pixels, rounded half away from zero.
        const int dx = cand[i][0] >= 0 ? (cand[i][0] + 2) >> 2 : -((-cand[i][0] + 2) >> 2);
        const int dy = cand[i][1] >= 0 ? (cand[i][1] + 2) >> 2 : -((-cand[i][1] + 2) >> 2);
        const int s = QuarterSad(a, x0, y0, qw, qh, dx, dy);
        if (bsad < 0 || s < bsad) bsad = s, bdx = dx, bdy = dy;
      }
      // Steepest descent over the eight neighbours, a few steps.
      for (int step = 0; step < 4; ++step) {
        int ndx = bdx, ndy = bdy, nsad = bsad;
        for (int j = -1; j <= 1; ++j) {
          for (int i = -1; i <= 1; ++i) {
            if (!i && !j) continue;
            const int dx = bdx + i, dy = bdy + j;
            if (Abs(dx) * 4 > kMaxVector || Abs(dy) * 4 > kMaxVector) continue;
            const int s = QuarterSad(a, x0, y0, qw, qh, dx, dy);
            if (s < nsad) nsad = s, ndx = dx, ndy = dy;
          }
        }
        if (nsad == bsad) break;
        bsad = nsad, bdx = ndx, bdy = ndy;
      }
      best.x = static_cast<int16_t>(bdx * 4);
      best.y = static_cast<int16_t>(bdy * 4);
    }
    field[by * a->bx32 + bx] = best;
    for (int j = 0; j < 2; ++j) {
      for (int i = 0; i < 2; ++i) {
        const int x16 = 2 * bx + i, y16 = 2 * by + j;
        if (x16 < a->bx16 && y16 < a->by16) RefineBlock(a, x16, y16, best);
      }
    }
  }
}

int64_t Isqrt(int64_t v) {
  if (v <= 0) return 0;
  int64_t r = 0, bit = int64_t(1) << 62;
  while (bit > v) bit >>= 2;
  while (bit) {
    if (v >= r + bit) {
      v -= r + bit;
      r = (r >> 1) + bit;
    } else {
      r >>= 1;
    }
    bit >>= 2;
  }
  return r;
}

// The lower quartile of a histogram of integer |differences|, in 1/16,
// each value k spread over [k - 1/2, k + 1/2] (0 over [0, 1/2]).
int64_t Quartile16(const uint32_t* h, int buckets, int64_t total) {
  int64_t before = 0;
  for (int k = 0; k < buckets; ++k) {
    if (4 * (before + h[k]) >= total) {
      const int64_t lo = k == 0 ? 0 : 16 * k - 8;
      const int64_t width = k == 0 ? 8 : 16;
      return lo + (width * (total - 4 * before)) / (4 * static_cast<int64_t>(h[k]));
    }
    before += h[k];
  }
  return 16 * buckets;
}

// Fits variance = a * Y / 256 + b (in 1/16 level^2) to the measured
// sigmas, and the chroma ratio; then derives the kernels' parameters.
void FitNoise(VdAdaptive* a) {
  uint32_t spatial[kBins][kSpatialBuckets] = {};
  uint32_t luma[kBins][kDiffBuckets] = {};
  uint32_t chroma[kBins][kDiffBuckets] = {};
  for (int b = 0; b < a->bands; ++b) {
    const BandStats& s = a->stats[b];
    for (int i = 0; i < kBins; ++i) {
      for (int k = 0; k < kSpatialBuckets; ++k) spatial[i][k] += s.spatial[i][k];
      if (a->history >= 2) {
        for (int k = 0; k < kDiffBuckets; ++k) {
          luma[i][k] += s.luma[i][k];
          chroma[i][k] += s.chroma[i][k];
        }
      }
    }
  }
  // Per bin: sigma^2 * 16 and a weight.
  int64_t var[kBins], weight[kBins];
  int64_t cvar_sum = 0, cweight = 0;
  for (int i = 0; i < kBins; ++i) {
    var[i] = 0, weight[i] = 0;
    int64_t lt = 0, ct = 0, st = 0;
    for (int k = 0; k < kDiffBuckets; ++k) lt += luma[i][k], ct += chroma[i][k];
    for (int k = 0; k < kSpatialBuckets; ++k) st += spatial[i][k];
    // Flat blocks: the lowest tenth of the block sigmas (texture only adds),
    // raised by the 1.19 that the spread of 36-pixel measures of pure noise
    // puts between their tenth percentile and the sigma.
    int64_t svar = -1;
    if (st >= 16) {
      int64_t before = 0;
      int k = 0;
      for (; k < kSpatialBuckets; ++k) {
        if (10 * (before + spatial[i][k]) >= st) break;
        before += spatial[i][k];
      }
      const int64_t sigma16 = ((8 * k + 4) * 305 + 128) >> 8;
      svar = (sigma16 * sigma16 + 8) >> 4;
      weight[i] = st < 1024 ? st : 1024;
      var[i] = svar;
    }
    if (lt >= 256) {
      // The difference of two frames: the lower quartile of |d| is
      // 0.3186 * sqrt(2) sigma; misalignment mostly adds to the upper part.
      // Motion the vectors missed only adds, as texture does to the
      // spatial measure: the smaller of the two is kept.
      const int64_t m = Quartile16(luma[i], kDiffBuckets, lt);
      const int64_t sigma16 = (m * 2272 + 512) >> 10;  // / (0.3186 * sqrt 2)
      const int64_t tvar = (sigma16 * sigma16 + 8) >> 4;
      if (svar < 0 || tvar < svar) var[i] = tvar;
      if (!weight[i]) weight[i] = lt < 1024 ? lt : 1024;
      if (ct >= 256 && sigma16 > 0) {
        const int64_t mc = Quartile16(chroma[i], kDiffBuckets, ct);
        const int64_t csigma16 = (mc * 2272 + 512) >> 10;
        cvar_sum += weight[i] * ((csigma16 * 64 + sigma16 / 2) / sigma16);
        cweight += weight[i];
      }
    }
  }
  // Weighted least squares of var over the bin centres Y = 32 i + 16.
  int64_t sw = 0, sy = 0, syy = 0, sv = 0, syv = 0;
  for (int i = 0; i < kBins; ++i) {
    if (!weight[i]) continue;
    const int64_t y = 32 * i + 16;
    sw += weight[i];
    sy += weight[i] * y;
    syy += weight[i] * y * y;
    sv += weight[i] * var[i];
    syv += weight[i] * y * var[i];
  }
  int64_t fa = 0, fb = 16;
  if (sw > 0) {
    const int64_t den = sw * syy - sy * sy;
    if (den > 0) fa = (256 * (sw * syv - sy * sv)) / den;
    if (fa < 0) fa = 0;
    fb = (sv * 256 - fa * sy) / (256 * sw);
    if (fb < 4) fb = 4;
  }
  const int ratio = cweight > 0 ? static_cast<int>(cvar_sum / cweight) : 32;
  if (!a->model_valid) {
    a->var_a = fa, a->var_b = fb, a->chroma_ratio = ratio;
    a->model_valid = true;
  } else {
    a->var_a = (3 * a->var_a + fa + 2) >> 2;
    a->var_b = (3 * a->var_b + fb + 2) >> 2;
    if (cweight > 0) a->chroma_ratio = (3 * a->chroma_ratio + ratio + 2) >> 2;
  }
  // Chords of 4 * sigma through Y = 0, 128 and 255.
  // Each node at most 255 (sigma 63.75), so that sigma4 stays within a byte
  // between them.
  const int64_t s0 = Clamp(static_cast<int>(Isqrt(a->var_b)), 1, 255);  // 4 * sigma
  const int64_t s1 = Clamp(static_cast<int>(Isqrt((a->var_a * 128) / 256 + a->var_b)), 1, 255);
  const int64_t s2 = Clamp(static_cast<int>(Isqrt((a->var_a * 255) / 256 + a->var_b)), 1, 255);
  VdNoiseLine line;
  line.a1 = static_cast<int16_t>(Clamp(static_cast<int>(s0), 1, 255));
  line.b1 = static_cast<int16_t>(Clamp(static_cast<int>((s1 - s0) / 2), 0, 128));
  line.b2 = static_cast<int16_t>(Clamp(static_cast<int>(((s2 - s1) * 64) / 127), 0, 128));
  line.a2 = static_cast<int16_t>(Clamp(static_cast<int>(s1 - ((line.b2 * 128) >> 6)), 1, 255));
  VdTemporalParams& t = a->tparams;
  t.luma = line;
  t.still = 15;
  t.move = 24;
  t.chroma_move = 20;
  t.chroma_ratio = static_cast<int16_t>(Clamp(a->chroma_ratio, 4, 128));
  VdSpatialParams& sp = a->sparams;
  sp.luma = line;
  sp.chroma_ratio = t.chroma_ratio;
  // reach[n] = 128 / sqrt(n + 1): a threshold of twice the noise left.
  static const uint8_t kReach[16] = {128, 91, 74, 64, 57, 52, 48, 45,
                                     43,  40, 39, 37, 36, 34, 33, 32};
  memcpy(sp.reach, kReach, sizeof(kReach));
}

void RunMotion(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  if (item == a->by32) {
    FitNoise(a);
  } else {
    RunMotionRow(a, item);
  }
}

// ---- phase 3: prediction -------------------------------------------------

// Row y of a plane predicted block by block from ref: vectors in half
// pixels of this plane (shifted right by `shift` from the luma's), blocks of
// `block` pixels, coordinates clamped to the plane, half positions averaged
// as in HalfSad.
void PredictRow(const AdaptiveTemporalKernels* tk, const uint8_t* ref, int w, int h, int y,
                const Mv* row_mv, int block, int shift, uint8_t* out) {
  for (int x0 = 0, b = 0; x0 < w; x0 += block, ++b) {
    const int vx = row_mv[b].x >> shift, vy = row_mv[b].y >> shift;
    const int ix = vx >> 1, iy = vy >> 1, fx = vx & 1, fy = vy & 1;
    const int n = x0 + block <= w ? block : w - x0;
    const uint8_t* r0 = ref + static_cast<size_t>(Clamp(y + iy, 0, h - 1)) * w;
    const uint8_t* r1 = ref + static_cast<size_t>(Clamp(y + iy + fy, 0, h - 1)) * w;
    if (x0 + ix >= 0 && x0 + n + ix + fx <= w) {
      if (!fx && !fy) {
        memcpy(out + x0, r0 + x0 + ix, n);
      } else {
        tk->interpolate(r0 + x0 + ix, r1 + x0 + ix, fx, out + x0, n);
      }
    } else {
      for (int x = x0; x < x0 + n; ++x) {
        const int k0 = Clamp(x + ix, 0, w - 1), k1 = Clamp(x + ix + fx, 0, w - 1);
        out[x] = static_cast<uint8_t>((r0[k0] + r0[k1] + r1[k0] + r1[k1] + 2) >> 2);
      }
    }
  }
}

void RunPredict(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  const int y0 = item * kBand;
  const int y1 = y0 + kBand < a->h ? y0 + kBand : a->h;
  uint8_t* const* ref = a->blend[a->cur ^ 1];
  for (int y = y0; y < y1; ++y) {
    PredictRow(a->tk, ref[0], a->w, a->h, y, a->mv16 + (y >> 4) * a->bx16, 16, 0,
               a->pred[0] + static_cast<size_t>(y) * a->w);
  }
  for (int y = y0 / 2; y < y1 / 2; ++y) {
    const Mv* mv = a->mv16 + (y >> 3) * a->bx16;
    for (int p = 1; p < 3; ++p) {
      PredictRow(a->tk, ref[p], a->cw, a->ch, y, mv, 8, 1,
                 a->pred[p] + static_cast<size_t>(y) * a->cw);
    }
  }
}

// ---- phase 4: temporal blend ---------------------------------------------

// Samples |input - previous input moved by the block vector| on a sparse grid
// where the history says the picture stood still (two frames or more): both frames carry their
// full noise, whatever the filter did, so the spread measures the noise.
void SampleNoise(VdAdaptive* a, int y0, int y1, BandStats* st) {
  memset(st->luma, 0, sizeof(st->luma));
  memset(st->chroma, 0, sizeof(st->chroma));
  uint8_t* const* in = a->input[a->cur];
  uint8_t* const* last = a->input[a->cur ^ 1];
  for (int y = y0 + 1; y < y1; y += 4) {
    const Mv* mv = a->mv16 + (y >> 4) * a->bx16;
    const uint8_t* c = in[0] + static_cast<size_t>(y) * a->w;
    const uint8_t* p = a->pred[0] + static_cast<size_t>(y) * a->w;
    const uint8_t* n = a->hist[0] + static_cast<size_t>(y) * a->w;
    for (int x = 1; x < a->w; x += 4) {
      if (n[x] < 2) continue;
      const Mv v = mv[x >> 4];
      const int ry = Clamp(y + ((v.y + 1) >> 1), 0, a->h - 1);
      const int rx = Clamp(x + ((v.x + 1) >> 1), 0, a->w - 1);
      const int d = Abs(c[x] - last[0][static_cast<size_t>(ry) * a->w + rx]);
      st->luma[p[x] >> 5][d < kDiffBuckets ? d : kDiffBuckets - 1]++;
    }
  }
  for (int y = y0 / 2 + 1; y < y1 / 2; y += 2) {
    const Mv* mv = a->mv16 + (y >> 3) * a->bx16;
    const uint8_t* n = a->hist[0] + static_cast<size_t>(2 * y) * a->w;
    const uint8_t* lp = a->pred[0] + static_cast<size_t>(2 * y) * a->w;
    for (int x = 1; x < a->cw; x += 2) {
      if (n[2 * x] < 2) continue;
      const Mv v = mv[x >> 3];
      const int ry = Clamp(y + ((v.y + 2) >> 2), 0, a->ch - 1);
      const int rx = Clamp(x + ((v.x + 2) >> 2), 0, a->cw - 1);
      for (int p = 1; p < 3; ++p) {
        const int d = Abs(in[p][static_cast<size_t>(y) * a->cw + x] -
                          last[p][static_cast<size_t>(ry) * a->cw + rx]);
        st->chroma[lp[2 * x] >> 5][d < kDiffBuckets ? d : kDiffBuckets - 1]++;
      }
    }
  }
}

void RunBlend(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  const int y0 = item * kBand;
  const int y1 = y0 + kBand < a->h ? y0 + kBand : a->h;
  uint8_t* const* in = a->input[a->cur];
  uint8_t* const* out = a->blend[a->cur];
  if (a->history == 0) {
    // No history: the blend is the frame itself.
    memcpy(out[0] + static_cast<size_t>(y0) * a->w, in[0] + static_cast<size_t>(y0) * a->w,
           static_cast<size_t>(y1 - y0) * a->w);
    memset(a->hist[0] + static_cast<size_t>(y0) * a->w, 0, static_cast<size_t>(y1 - y0) * a->w);
    for (int p = 1; p < 3; ++p) {
      const size_t o = static_cast<size_t>(y0 / 2) * a->cw;
      const size_t n = static_cast<size_t>((y1 - y0) / 2) * a->cw;
      memcpy(out[p] + o, in[p] + o, n);
      memset(a->hist[p] + o, 0, n);
    }
    BandStats* st = &a->stats[item];
    memset(st->luma, 0, sizeof(st->luma));
    memset(st->chroma, 0, sizeof(st->chroma));
    return;
  }
  SampleNoise(a, y0, y1, &a->stats[item]);
  const VdTemporalParams* tp = &a->tparams;
  const int w = a->w;
  uint8_t* cap = a->scratch + static_cast<size_t>(item) * 2 * a->max_w;
  for (int y = y0; y < y1; ++y) {
    if (y == y0 || (y & 15) == 0) {
      const uint8_t* c16 = a->cap16 + (y >> 4) * a->bx16;
      for (int b = 0; b < a->bx16; ++b) {
        memset(cap + 16 * b, c16[b], 16 * b + 16 <= w ? 16 : w - 16 * b);
      }
    }
    const size_t r0 = static_cast<size_t>(y > 0 ? y - 1 : 0) * w;
    const size_t r1 = static_cast<size_t>(y) * w;
    const size_t r2 = static_cast<size_t>(y < a->h - 1 ? y + 1 : y) * w;
    a->tk->luma(in[0] + r0, in[0] + r1, in[0] + r2, a->pred[0] + r0, a->pred[0] + r1,
                a->pred[0] + r2, cap, a->hist[0] + r1, out[0] + r1, w, tp);
  }
  const int cw = a->cw;
  for (int y = y0 / 2; y < y1 / 2; ++y) {
    const size_t r0 = static_cast<size_t>(y > 0 ? y - 1 : 0) * cw;
    const size_t r1 = static_cast<size_t>(y) * cw;
    const size_t r2 = static_cast<size_t>(y < a->ch - 1 ? y + 1 : y) * cw;
    const uint8_t* lp = a->pred[0] + static_cast<size_t>(2 * y) * w;
    const uint8_t* lh0 = a->hist[0] + static_cast<size_t>(2 * y) * w;
    const uint8_t* lh1 = lh0 + w;
    for (int p = 1; p < 3; ++p) {
      a->tk->chroma(in[p] + r0, in[p] + r1, in[p] + r2, a->pred[p] + r0, a->pred[p] + r1,
                    a->pred[p] + r2, lp, lh0, lh1, a->hist[p] + r1, out[p] + r1, cw, tp);
    }
  }
}

// ---- phases 5 and 6: spatial passes ------------------------------------

// One pass of the edge-preserving filter over the band's rows of every
// plane: taps `step` apart, from the planes `from` into the planes `to`
// (null: the client's frame). Thresholds follow the blend's brightness and
// history.
void SpatialPass(VdAdaptive* a, int item, int step, uint8_t* const* from, uint8_t* const* to) {
  const int y0 = item * kBand;
  const int y1 = y0 + kBand < a->h ? y0 + kBand : a->h;
  uint8_t* const* b = a->blend[a->cur];
  uint8_t* thr = a->scratch + static_cast<size_t>(item) * 2 * a->max_w;
  uint8_t* row = thr + a->max_w;
  const VdFrameView& d = a->dst;
  const VdSpatialParams* sp = &a->sparams;
  const int w = a->w;
  for (int y = y0; y < y1; ++y) {
    const size_t r0 = static_cast<size_t>(y >= step ? y - step : 0) * w;
    const size_t r1 = static_cast<size_t>(y) * w;
    const size_t r2 = static_cast<size_t>(y < a->h - step ? y + step : a->h - 1) * w;
    a->sk->luma_threshold(b[0] + r1, a->hist[0] + r1, thr, w, sp);
    uint8_t* out = to ? to[0] + r1 : d.y + static_cast<ptrdiff_t>(y) * d.y_stride;
    a->sk->row(from[0] + r0, from[0] + r1, from[0] + r2, thr, out, w, step);
  }
  const int cw = a->cw;
  for (int y = y0 / 2; y < y1 / 2; ++y) {
    const size_t r0 = static_cast<size_t>(y >= step ? y - step : 0) * cw;
    const size_t r1 = static_cast<size_t>(y) * cw;
    const size_t r2 = static_cast<size_t>(y < a->ch - step ? y + step : a->ch - 1) * cw;
    const uint8_t* luma = b[0] + static_cast<size_t>(2 * y) * w;
    for (int p = 1; p < 3; ++p) {
      a->sk->chroma_threshold(luma, a->hist[p] + r1, thr, cw, sp);
      if (to) {
        a->sk->row(from[p] + r0, from[p] + r1, from[p] + r2, thr, to[p] + r1, cw, step);
        continue;
      }
      uint8_t* dp = (p == 1 ? d.u : d.v) + static_cast<ptrdiff_t>(y) * d.uv_stride;
      if (d.uv_pixel_stride == 1) {
        a->sk->row(from[p] + r0, from[p] + r1, from[p] + r2, thr, dp, cw, step);
      } else {
        a->sk->row(from[p] + r0, from[p] + r1, from[p] + r2, thr, row, cw, step);
        const int ps = d.uv_pixel_stride;
        for (int x = 0; x < cw; ++x) dp[x * ps] = row[x];
      }
    }
  }
}

// The coarse pass (taps two pixels apart) into the prediction planes, which
// the blend no longer needs.
void RunSpatialCoarse(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  SpatialPass(a, item, 2, a->blend[a->cur], a->pred);
}

// The fine pass into the client's frame, and the quarter-resolution blend
// for the next frame's search.
void RunSpatialFine(void* arg, int item) {
  VdAdaptive* a = static_cast<VdAdaptive*>(arg);
  SpatialPass(a, item, 1, a->pred, nullptr);
  const int y0 = item * kBand;
  const int y1 = y0 + kBand < a->h ? y0 + kBand : a->h;
  const uint8_t* b = a->blend[a->cur][0];
  const int w = a->w;
  for (int r = y0 / 4; r < y1 / 4 && r < a->qh; ++r) {
    const uint8_t* l = b + static_cast<size_t>(4 * r) * w;
    uint8_t* q = a->quarter_ref + static_cast<size_t>(r) * a->qw;
    for (int x = 0; x < a->qw; ++x) {
      int sum = 0;
      for (int j = 0; j < 4; ++j) {
        const uint8_t* p = l + j * w + 4 * x;
        sum += p[0] + p[1] + p[2] + p[3];
      }
      q[x] = static_cast<uint8_t>((sum + 8) >> 4);
    }
  }
}

// Median of the last frame's block vectors (half pixels): the camera's
// motion, a candidate of the search and the prior of the refinement.
Mv GlobalMotion(const VdAdaptive* a) {
  const Mv* f = a->mv16;
  const int n = a->bx16 * a->by16;
  const int range = 2 * kMaxVector;
  uint32_t hx[2 * range + 1] = {}, hy[2 * range + 1] = {};
  for (int i = 0; i < n; ++i) {
    hx[Clamp(f[i].x, -range, range) + range]++;
    hy[Clamp(f[i].y, -range, range) + range]++;
  }
  Mv g = {0, 0};
  int cx = 0, cy = 0;
  bool fx = false, fy = false;
  for (int i = 0; i <= 2 * range; ++i) {
    cx += hx[i], cy += hy[i];
    if (!fx && 2 * cx >= n) g.x = static_cast<int16_t>(i - range), fx = true;
    if (!fy && 2 * cy >= n) g.y = static_cast<int16_t>(i - range), fy = true;
  }
  return g;
}

}  // namespace

size_t VdAdaptiveStateSize(int max_width, int max_height) {
  if (!ValidSize(max_width, max_height)) return 0;
  Carver c = {nullptr, 0};
  return Carve(&c, nullptr, max_width, max_height) + sizeof(VdAdaptive) + 64;
}

VdAdaptive* VdAdaptiveInit(void* memory, int max_width, int max_height) {
  if (!memory || !ValidSize(max_width, max_height)) return nullptr;
  uint8_t* base = static_cast<uint8_t*>(memory);
  VdAdaptive* a = new (base) VdAdaptive();
  Carver c = {base + ((sizeof(VdAdaptive) + 63) & ~static_cast<size_t>(63)), 0};
  Carve(&c, a, max_width, max_height);
  a->max_w = max_width;
  a->max_h = max_height;
  a->w = a->h = 0;
  VdAdaptiveReset(a);
  return a;
}

void VdAdaptiveReset(VdAdaptive* a) {
  a->frames = 0;
  a->model_valid = false;
  a->cur = 0;
}

int VdAdaptivePlan(VdAdaptive* a, const VdFrameView* src, const VdFrameView* dst,
                   int /*type*/, int /*iso*/, VdPhase* phases) {
  const int w = src->width, h = src->height;
  if (!ValidSize(w, h) || w > a->max_w || h > a->max_h || dst->width != w ||
      dst->height != h) {
    return 0;
  }
  if (w != a->w || h != a->h) {
    VdAdaptiveReset(a);
    a->w = w, a->h = h;
    a->cw = w / 2, a->ch = h / 2;
    a->qw = w / 4, a->qh = h / 4;
    a->bands = (h + kBand - 1) / kBand;
    a->bx16 = (w + 15) / 16, a->by16 = (h + 15) / 16;
    a->bx32 = (w + 31) / 32, a->by32 = (h + 31) / 32;
  }
  if (a->frames == 0) {
    memset(a->mv32[0], 0, sizeof(Mv) * a->bx32 * a->by32);
    memset(a->mv32[1], 0, sizeof(Mv) * a->bx32 * a->by32);
    memset(a->mv16, 0, sizeof(Mv) * a->bx16 * a->by16);
    a->global = Mv{0, 0};
    a->model_valid = false;
  } else {
    a->cur ^= 1;
    a->global = GlobalMotion(a);
  }
  a->motion_noise = a->tparams.luma;
  a->src = *src;
  a->dst = *dst;
  a->tk = &VdAdaptiveTemporalKernels(VdSimdLevel());
  a->sk = &VdAdaptiveSpatialKernels(VdSimdLevel());
  int n = 0;
  phases[n++] = VdPhase{RunInput, a, a->bands, 0};
  phases[n++] = VdPhase{RunMotion, a, a->by32 + 1, 0};
  if (a->frames > 0) phases[n++] = VdPhase{RunPredict, a, a->bands, 0};
  phases[n++] = VdPhase{RunBlend, a, a->bands, 0};
  phases[n++] = VdPhase{RunSpatialCoarse, a, a->bands, 0};
  phases[n++] = VdPhase{RunSpatialFine, a, a->bands, 0};
  a->history = a->frames;
  a->frames = a->frames < 1000 ? a->frames + 1 : 1000;
  return n;
}
