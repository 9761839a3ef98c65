#include "tools/metrics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

namespace vdtool {

namespace {

constexpr int kRadius = kSsimWindow / 2;

// Intersection of |region| (or the whole plane) with the plane.
Region ClipRegion(const Plane& p, const Region* region) {
  Region r;
  if (!region) {
    r.width = p.width;
    r.height = p.height;
    return r;
  }
  int x0 = std::max(region->x, 0);
  int y0 = std::max(region->y, 0);
  int x1 = std::min(region->x + region->width, p.width);
  int y1 = std::min(region->y + region->height, p.height);
  r.x = x0;
  r.y = y0;
  r.width = std::max(x1 - x0, 0);
  r.height = std::max(y1 - y0, 0);
  return r;
}

// The five window statistics: means of a and b and of a*a, b*b and a*b.
// Samples are shifted by -128 before squaring so that float sums of
// squares keep their precision; variances and covariance do not change
// under the shift, and the means are shifted back where they are used.
constexpr int kStats = 5;

// out[x] = sum over k of w[k] * in[x + k], for the symmetric 11-tap window
// (w[k] == w[10 - k]), written so that the loop over x vectorises.
void FilterRow(const float* __restrict in, const float* w, int n,
               float* __restrict out) {
  for (int x = 0; x < n; ++x) {
    const float* p = in + x;
    out[x] = w[5] * p[5] + w[4] * (p[4] + p[6]) + w[3] * (p[3] + p[7]) +
             w[2] * (p[2] + p[8]) + w[1] * (p[1] + p[9]) +
             w[0] * (p[0] + p[10]);
  }
}

// out[x] = sum over k of w[k] * rows[k][x].
void FilterColumn(const float* const* rows, const float* w, int n,
                  float* __restrict out) {
  const float* r0 = rows[0];
  const float* r1 = rows[1];
  const float* r2 = rows[2];
  const float* r3 = rows[3];
  const float* r4 = rows[4];
  const float* r5 = rows[5];
  const float* r6 = rows[6];
  const float* r7 = rows[7];
  const float* r8 = rows[8];
  const float* r9 = rows[9];
  const float* r10 = rows[10];
  for (int x = 0; x < n; ++x) {
    out[x] = w[5] * r5[x] + w[4] * (r4[x] + r6[x]) + w[3] * (r3[x] + r7[x]) +
             w[2] * (r2[x] + r8[x]) + w[1] * (r1[x] + r9[x]) +
             w[0] * (r0[x] + r10[x]);
  }
}

}  // namespace

void SsimWindowWeights(double weights[kSsimWindow]) {
  double sum = 0;
  for (int i = 0; i < kSsimWindow; ++i) {
    double d = i - kRadius;
    weights[i] = std::exp(-(d * d) / (2 * kSsimSigma * kSsimSigma));
    sum += weights[i];
  }
  for (int i = 0; i < kSsimWindow; ++i) weights[i] /= sum;
}

double MeanSquaredError(const Plane& a, const Plane& b, const Region* region) {
  Region r = ClipRegion(a, region);
  if (r.width == 0 || r.height == 0) return 0.0;
  uint64_t sum = 0;
  for (int y = r.y; y < r.y + r.height; ++y) {
    const uint8_t* pa = a.data + static_cast<size_t>(y) * a.stride;
    const uint8_t* pb = b.data + static_cast<size_t>(y) * b.stride;
    for (int x = r.x; x < r.x + r.width; ++x) {
      int d = pa[x] - pb[x];
      sum += static_cast<uint32_t>(d * d);
    }
  }
  return static_cast<double>(sum) /
         (static_cast<double>(r.width) * static_cast<double>(r.height));
}

double PsnrFromMse(double mse) {
  if (mse <= 0.0) return std::numeric_limits<double>::infinity();
  return 10.0 * std::log10(255.0 * 255.0 / mse);
}

namespace {

// SSIM map over the window centres in |centres| (which must lie where
// whole windows fit). Returns the mean over |centres|; with |inner|, also
// the mean over the centres inside it (NaN when none are).
double SsimOver(const Plane& a, const Plane& b, const Region& centres,
                const Region* inner, double* inner_mean) {
  double wd[kSsimWindow];
  SsimWindowWeights(wd);
  float w[kSsimWindow];
  for (int i = 0; i < kSsimWindow; ++i) w[i] = static_cast<float>(wd[i]);
  std::vector<float> map_row(centres.width);

  const int n = centres.width;
  const int span = n + 2 * kRadius;  // input columns one row needs
  const int x_first = centres.x - kRadius;
  // Input rows as the five statistics, then their horizontal window sums
  // for the last kSsimWindow rows (a ring), then the vertical sums.
  std::vector<float> row_stats(static_cast<size_t>(kStats) * span);
  std::vector<float> ring(static_cast<size_t>(kSsimWindow) * kStats * n);
  std::vector<float> window(static_cast<size_t>(kStats) * n);
  auto ring_row = [&](int slot, int stat) {
    return &ring[(static_cast<size_t>(slot) * kStats + stat) * n];
  };

  // Columns of |inner| as indices into a row of centres.
  int inner_x0 = 0, inner_x1 = 0, inner_y0 = 0, inner_y1 = 0;
  if (inner) {
    inner_x0 = std::max(inner->x, centres.x) - centres.x;
    inner_x1 = std::min(inner->x + inner->width, centres.x + n) - centres.x;
    inner_y0 = inner->y;
    inner_y1 = inner->y + inner->height;
  }
  double inner_total = 0.0;
  int64_t inner_count = 0;

  const float c1 = static_cast<float>((kSsimK1 * 255) * (kSsimK1 * 255));
  const float c2 = static_cast<float>((kSsimK2 * 255) * (kSsimK2 * 255));
  double total = 0.0;

  const int y_first = centres.y - kRadius;
  const int y_last = centres.y + centres.height - 1 + kRadius;
  for (int y = y_first; y <= y_last; ++y) {
    const uint8_t* pa = a.data + static_cast<size_t>(y) * a.stride + x_first;
    const uint8_t* pb = b.data + static_cast<size_t>(y) * b.stride + x_first;
    float* sa = &row_stats[0];
    float* sb = sa + span;
    float* saa = sb + span;
    float* sbb = saa + span;
    float* sab = sbb + span;
    for (int x = 0; x < span; ++x) {
      float fa = static_cast<float>(pa[x]) - 128.f;
      float fb = static_cast<float>(pb[x]) - 128.f;
      sa[x] = fa;
      sb[x] = fb;
      saa[x] = fa * fa;
      sbb[x] = fb * fb;
      sab[x] = fa * fb;
    }
    const int slot = (y - y_first) % kSsimWindow;
    for (int s = 0; s < kStats; ++s) {
      FilterRow(&row_stats[static_cast<size_t>(s) * span], w, n,
                ring_row(slot, s));
    }
    if (y - y_first < kSsimWindow - 1) continue;

    // The ring now holds the rows y - 10 .. y: one row of window centres.
    const int centre_y = y - kRadius;
    for (int s = 0; s < kStats; ++s) {
      const float* rows[kSsimWindow];
      for (int k = 0; k < kSsimWindow; ++k) {
        rows[k] = ring_row((y - y_first - (kSsimWindow - 1) + k) % kSsimWindow, s);
      }
      FilterColumn(rows, w, n, &window[static_cast<size_t>(s) * n]);
    }
    const float* ma = &window[0];
    const float* mb = ma + n;
    const float* eaa = mb + n;
    const float* ebb = eaa + n;
    const float* eab = ebb + n;
    float* map = &map_row[0];
    for (int x = 0; x < n; ++x) {
      const float var_a = eaa[x] - ma[x] * ma[x];
      const float var_b = ebb[x] - mb[x] * mb[x];
      const float cov = eab[x] - ma[x] * mb[x];
      const float ua = ma[x] + 128.f;
      const float ub = mb[x] + 128.f;
      map[x] = ((2 * ua * ub + c1) * (2 * cov + c2)) /
               ((ua * ua + ub * ub + c1) * (var_a + var_b + c2));
    }
    double row_sum = 0.0;
    for (int x = 0; x < n; ++x) row_sum += map[x];
    total += row_sum;
    if (inner && centre_y >= inner_y0 && centre_y < inner_y1) {
      for (int x = inner_x0; x < inner_x1; ++x) inner_total += map[x];
      inner_count += std::max(inner_x1 - inner_x0, 0);
    }
  }
  if (inner) {
    *inner_mean = inner_count > 0
                      ? inner_total / static_cast<double>(inner_count)
                      : std::numeric_limits<double>::quiet_NaN();
  }
  return total / (static_cast<double>(centres.width) * centres.height);
}

// Window centres at which a whole window fits in the plane; false if none.
bool ValidCentres(const Plane& a, Region* centres) {
  centres->x = kRadius;
  centres->y = kRadius;
  centres->width = a.width - 2 * kRadius;
  centres->height = a.height - 2 * kRadius;
  return centres->width > 0 && centres->height > 0;
}

}  // namespace

double Ssim(const Plane& a, const Plane& b, const Region* region) {
  Region centres;
  if (!ValidCentres(a, &centres)) return std::numeric_limits<double>::quiet_NaN();
  if (region) {
    Region wanted = ClipRegion(a, region);
    int x0 = std::max(wanted.x, centres.x);
    int y0 = std::max(wanted.y, centres.y);
    int x1 = std::min(wanted.x + wanted.width, centres.x + centres.width);
    int y1 = std::min(wanted.y + wanted.height, centres.y + centres.height);
    if (x1 <= x0 || y1 <= y0) return std::numeric_limits<double>::quiet_NaN();
    centres = {x0, y0, x1 - x0, y1 - y0};
  }
  return SsimOver(a, b, centres, nullptr, nullptr);
}

void SsimOverallAndRegion(const Plane& a, const Plane& b, const Region& region,
                          double* overall, double* in_region) {
  Region centres;
  if (!ValidCentres(a, &centres)) {
    *overall = *in_region = std::numeric_limits<double>::quiet_NaN();
    return;
  }
  *overall = SsimOver(a, b, centres, &region, in_region);
}

std::string FormatMetric(double value, int decimals) {
  if (std::isnan(value)) return "n/a";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char text[64];
  std::snprintf(text, sizeof(text), "%.*f", decimals, value);
  return text;
}

std::string FormatGain(double before, double after) {
  if (std::isnan(before) || std::isnan(after)) return "n/a";
  if (std::isinf(before) && std::isinf(after)) return "0.00";
  if (std::isinf(after)) return "+inf";
  if (std::isinf(before)) return "-inf";
  char text[64];
  std::snprintf(text, sizeof(text), "%+.2f", after - before);
  return text;
}

I420Frame ViewI420(const uint8_t* data, int width, int height) {
  const int cw = (width + 1) / 2;
  const int ch = (height + 1) / 2;
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t chroma = static_cast<size_t>(cw) * ch;
  I420Frame f;
  f.y = {data, width, height, width};
  f.u = {data + luma, cw, ch, cw};
  f.v = {data + luma + chroma, cw, ch, cw};
  return f;
}

FrameScores ScoreFrame(const I420Frame& a, const I420Frame& b) {
  FrameScores s;
  const Plane* pa[3] = {&a.y, &a.u, &a.v};
  const Plane* pb[3] = {&b.y, &b.u, &b.v};
  for (int i = 0; i < 3; ++i) {
    s.mse[i] = MeanSquaredError(*pa[i], *pb[i]);
    s.ssim[i] = Ssim(*pa[i], *pb[i]);
  }
  return s;
}

void AddScores(ScoreTotals* totals, const FrameScores& scores) {
  ++totals->frames;
  for (int i = 0; i < 3; ++i) {
    totals->mse_sum[i] += scores.mse[i];
    totals->ssim_sum[i] += scores.ssim[i];
  }
}

double MeanPsnr(const ScoreTotals& totals, int plane) {
  if (totals.frames == 0) return std::numeric_limits<double>::quiet_NaN();
  return PsnrFromMse(totals.mse_sum[plane] / static_cast<double>(totals.frames));
}

double MeanSsim(const ScoreTotals& totals, int plane) {
  if (totals.frames == 0) return std::numeric_limits<double>::quiet_NaN();
  return totals.ssim_sum[plane] / static_cast<double>(totals.frames);
}

}  // namespace vdtool
