// Image quality metrics on 8-bit planes.
//
// PSNR = 10 * log10(255^2 / MSE), infinite for identical planes.
//
// SSIM follows Wang, Bovik, Sheikh and Simoncelli (2004) and their reference
// code: an 11x11 Gaussian window (sigma 1.5, weights normalised to sum 1),
// K1 = 0.01, K2 = 0.03, L = 255, population (biased) variances, every window
// position that lies wholly inside the plane (no padding, no downsampling),
// and the mean of the SSIM map over those positions.
#ifndef VD_TOOLS_METRICS_H_
#define VD_TOOLS_METRICS_H_

#include <cstdint>
#include <string>

namespace vdtool {

constexpr int kSsimWindow = 11;
constexpr double kSsimSigma = 1.5;
constexpr double kSsimK1 = 0.01;
constexpr double kSsimK2 = 0.03;

struct Plane {
  const uint8_t* data = nullptr;
  int width = 0;
  int height = 0;
  int stride = 0;
};

// A rectangle of a plane: columns x .. x + width - 1, rows y .. y + height - 1.
struct Region {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// Mean squared difference over the whole plane, or over |region| (clipped
// to the plane). 0 for an empty area.
double MeanSquaredError(const Plane& a, const Plane& b,
                        const Region* region = nullptr);

// 10 * log10(255^2 / mse); +infinity when mse is 0.
double PsnrFromMse(double mse);

// Mean SSIM over the window positions whose centre lies in |region| (all
// positions when null). NaN when no whole window fits.
double Ssim(const Plane& a, const Plane& b, const Region* region = nullptr);

// Both the mean SSIM over all window positions (|overall|) and over those
// whose centre lies in |region| (|in_region|), from one pass.
void SsimOverallAndRegion(const Plane& a, const Plane& b, const Region& region,
                          double* overall, double* in_region);

// The eleven normalised 1-D Gaussian weights; the 2-D window is their outer
// product.
void SsimWindowWeights(double weights[kSsimWindow]);

// "inf" for an infinite PSNR, "n/a" for NaN, else |decimals| places.
std::string FormatMetric(double value, int decimals);
// A signed difference in dB ("+1.23", "-0.40", "+inf", "0.00" when both
// sides are infinite).
std::string FormatGain(double before, double after);

// The three planes of an 8-bit I420 frame.
struct I420Frame {
  Plane y, u, v;
};
// Views |data| (width x height, chroma rounded up) as planes.
I420Frame ViewI420(const uint8_t* data, int width, int height);

// Per-plane results of one frame pair.
struct FrameScores {
  double mse[3] = {0, 0, 0};
  double ssim[3] = {0, 0, 0};
};
FrameScores ScoreFrame(const I420Frame& a, const I420Frame& b);

// Clip means: PSNR of the mean MSE (as ffmpeg's psnr filter reports it), so
// one identical frame does not make the mean infinite; SSIM averaged.
struct ScoreTotals {
  int64_t frames = 0;
  double mse_sum[3] = {0, 0, 0};
  double ssim_sum[3] = {0, 0, 0};
};
void AddScores(ScoreTotals* totals, const FrameScores& scores);
double MeanPsnr(const ScoreTotals& totals, int plane);
double MeanSsim(const ScoreTotals& totals, int plane);

}  // namespace vdtool

#endif  // VD_TOOLS_METRICS_H_
