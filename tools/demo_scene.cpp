#include "tools/demo_scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vdtool {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr uint32_t kSceneSeed = 0x5eed1234u;

uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ seed * 0xcb1ab31fu;
  h ^= h >> 15;
  h *= 0x2c1b3c6du;
  h ^= h >> 12;
  h *= 0x297a2d39u;
  h ^= h >> 15;
  return h;
}

// Uniform in [0, 1) from a lattice point.
double Lattice(int x, int y, uint32_t seed) {
  return (Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), seed) >> 8) *
         (1.0 / 16777216.0);
}

// Smoothly interpolated lattice noise in [0, 1) with cells of |cell| pixels.
double ValueNoise(double x, double y, double cell, uint32_t seed) {
  double fx = x / cell, fy = y / cell;
  int ix = static_cast<int>(std::floor(fx)), iy = static_cast<int>(std::floor(fy));
  double tx = fx - ix, ty = fy - iy;
  tx = tx * tx * (3 - 2 * tx);
  ty = ty * ty * (3 - 2 * ty);
  double a = Lattice(ix, iy, seed), b = Lattice(ix + 1, iy, seed);
  double c = Lattice(ix, iy + 1, seed), d = Lattice(ix + 1, iy + 1, seed);
  return (a + (b - a) * tx) + ((c + (d - c) * tx) - (a + (b - a) * tx)) * ty;
}

uint8_t ToByte(double v) {
  return static_cast<uint8_t>(std::min(std::max(std::lround(v), 0l), 255l));
}

struct Yuv {
  double y, u, v;
};

// BT.601 limited range from 8-bit RGB.
Yuv FromRgb(double r, double g, double b) {
  return {16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255,
          128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255,
          128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255};
}

struct Box {
  int x0, y0, x1, y1;  // half-open
  bool Contains(int x, int y) const {
    return x >= x0 && x < x1 && y >= y0 && y < y1;
  }
};

Box MakeBox(const DemoScene& s, double fx0, double fy0, double fx1, double fy1) {
  return {static_cast<int>(fx0 * s.width), static_cast<int>(fy0 * s.height),
          static_cast<int>(fx1 * s.width), static_cast<int>(fy1 * s.height)};
}

// Wall texture: fine fabric-like grain over broad blotches and a gentle
// vertical gradient.
Yuv Wall(const DemoScene& s, int x, int y) {
  double t = 118 + 22.0 * (0.5 - static_cast<double>(y) / s.height) +
             26 * (ValueNoise(x, y, 96, kSceneSeed) - 0.5) +
             16 * (ValueNoise(x, y, 16, kSceneSeed + 1) - 0.5) +
             8 * (ValueNoise(x, y, 8, kSceneSeed + 2) - 0.5);
  return {t, 120 + 6 * (ValueNoise(x, y, 200, kSceneSeed + 3) - 0.5) +
                 4.0 * x / s.width,
          134 + 6 * (ValueNoise(x, y, 200, kSceneSeed + 4) - 0.5)};
}

// Brick floor: rows of bricks with darker mortar and grain.
Yuv Floor(const DemoScene& s, int x, int y) {
  const int bh = std::max(s.height / 27, 4);  // brick height
  const int bw = bh * 3;
  int row = y / bh;
  int xs = x + (row % 2) * (bw / 2);
  bool mortar = (y % bh) < std::max(bh / 10, 1) || (xs % bw) < std::max(bh / 10, 1);
  double shade = 0.75 + 0.5 * Lattice(xs / bw, row, kSceneSeed + 5);
  double grain = 12 * (ValueNoise(x, y, 8, kSceneSeed + 6) - 0.5);
  if (mortar) return {70 + grain * 0.5, 126, 130};
  return {95 * shade + grain, 112, 150};
}

// The test-chart elements of the still half; false where there are none.
bool Chart(const DemoScene& s, int x, int y, Yuv* out) {
  // Eight grey steps from near black to near white.
  Box grey = MakeBox(s, 0.03, 0.05, 0.47, 0.14);
  if (grey.Contains(x, y)) {
    int step = (x - grey.x0) * 8 / (grey.x1 - grey.x0);
    *out = {20 + step * (235 - 20) / 7.0, 128, 128};
    return true;
  }
  // Six saturated colour patches.
  Box colours = MakeBox(s, 0.53, 0.05, 0.97, 0.14);
  if (colours.Contains(x, y)) {
    static const double kRgb[6][3] = {{200, 40, 40},  {40, 170, 60},
                                      {50, 60, 190},  {40, 180, 190},
                                      {190, 50, 170}, {220, 200, 40}};
    int i = (x - colours.x0) * 6 / (colours.x1 - colours.x0);
    *out = FromRgb(kRgb[i][0], kRgb[i][1], kRgb[i][2]);
    return true;
  }
  // Zone plate: rings whose frequency rises to 0.12 cycles per pixel.
  const double zr = 0.13 * s.height;
  const double zx = 0.15 * s.width, zy = 0.31 * s.height;
  double dx = x - zx, dy = y - zy, r2 = dx * dx + dy * dy;
  if (r2 < zr * zr) {
    *out = {128 + 90 * std::cos(kPi * 0.12 * r2 / zr), 128, 128};
    return true;
  }
  // Stripes of periods 10, 12, 16, 20 and 24 pixels: vertical above,
  // horizontal below.
  Box stripes = MakeBox(s, 0.30, 0.19, 0.62, 0.43);
  if (stripes.Contains(x, y)) {
    static const int kPeriods[5] = {10, 12, 16, 20, 24};
    int i = (x - stripes.x0) * 5 / (stripes.x1 - stripes.x0);
    bool upper = y < (stripes.y0 + stripes.y1) / 2;
    int along = upper ? x - stripes.x0 : y - stripes.y0;
    bool dark = (along % kPeriods[i]) * 2 < kPeriods[i];
    *out = {dark ? 60.0 : 200.0, 128, 128};
    return true;
  }
  // Checkerboard of 12-pixel squares.
  Box checks = MakeBox(s, 0.65, 0.19, 0.79, 0.43);
  if (checks.Contains(x, y)) {
    bool dark = (((x - checks.x0) / 12) + ((y - checks.y0) / 12)) % 2 == 0;
    *out = {dark ? 70.0 : 180.0, 128, 128};
    return true;
  }
  // Large print: lines of random 5x7 "letters" drawn with 4-pixel dots.
  Box print = MakeBox(s, 0.82, 0.19, 0.97, 0.43);
  if (print.Contains(x, y)) {
    int px = (x - print.x0) / 4, py = (y - print.y0) / 4;
    int cell_x = px / 6, cell_y = py / 10;  // letter cells with spacing
    int gx = px % 6, gy = py % 10;
    bool ink = gx < 5 && gy < 7 &&
               Lattice(cell_x * 8 + gx, cell_y * 8 + gy, kSceneSeed + 7) < 0.45 &&
               Lattice(cell_x, cell_y, kSceneSeed + 8) < 0.85;  // word gaps
    *out = {ink ? 40.0 : 215.0, 128, 128};
    return true;
  }
  return false;
}

// The moving disc's own colour at offset (dx, dy) from its centre, turned
// by |angle|.
Yuv Disc(double dx, double dy, double radius, double angle) {
  double r = std::sqrt(dx * dx + dy * dy) / radius;
  double th = std::atan2(dy, dx) + angle;
  double spokes = std::sin(10 * th);
  double rings = std::sin(2 * kPi * 5 * r);
  // Texture that turns with the disc.
  double rx = dx * std::cos(angle) + dy * std::sin(angle);
  double ry = -dx * std::sin(angle) + dy * std::cos(angle);
  double grain = ValueNoise(rx + 1000, ry + 1000, 10, kSceneSeed + 9) - 0.5;
  return {150 + 45 * spokes * (r > 0.3 ? 1 : 0) + 25 * rings + 20 * grain,
          95 + 10 * rings, 175 - 10 * spokes};
}

// The lens: a [1 2 1] / 4 blur in both directions (edges repeated), so
// that the sharpest detail is what a camera delivers, not a perfect
// pixel grid.
void OpticalBlur(std::vector<uint8_t>* plane, int width, int height) {
  std::vector<uint16_t> rows(plane->size());
  const uint8_t* p = plane->data();
  for (int y = 0; y < height; ++y) {
    const uint8_t* r = p + static_cast<size_t>(y) * width;
    uint16_t* o = &rows[static_cast<size_t>(y) * width];
    for (int x = 0; x < width; ++x) {
      int l = r[x > 0 ? x - 1 : 0], c = r[x], rr = r[x + 1 < width ? x + 1 : x];
      o[x] = static_cast<uint16_t>(l + 2 * c + rr);
    }
  }
  for (int y = 0; y < height; ++y) {
    const uint16_t* up = &rows[static_cast<size_t>(y > 0 ? y - 1 : 0) * width];
    const uint16_t* mid = &rows[static_cast<size_t>(y) * width];
    const uint16_t* down =
        &rows[static_cast<size_t>(y + 1 < height ? y + 1 : y) * width];
    uint8_t* o = plane->data() + static_cast<size_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      o[x] = static_cast<uint8_t>((up[x] + 2 * mid[x] + down[x] + 8) >> 4);
    }
  }
}

// Box-averages a full-resolution plane to 4:2:0 chroma.
void Subsample(const uint8_t* full, int width, int height, uint8_t* half) {
  const int cw = width / 2, ch = height / 2;
  for (int y = 0; y < ch; ++y) {
    const uint8_t* r0 = full + static_cast<size_t>(2 * y) * width;
    const uint8_t* r1 = r0 + width;
    for (int x = 0; x < cw; ++x) {
      half[static_cast<size_t>(y) * cw + x] = static_cast<uint8_t>(
          (r0[2 * x] + r0[2 * x + 1] + r1[2 * x] + r1[2 * x + 1] + 2) >> 2);
    }
  }
}

// Standard normal samples indexed by the top bits of a random word: the
// quantiles (i + 0.5) / N, found by bisection on erfc.
constexpr int kNormalBits = 12;
struct NormalQuantiles {
  float value[1 << kNormalBits];
  NormalQuantiles() {
    const int n = 1 << kNormalBits;
    for (int i = 0; i < n; ++i) {
      double p = (i + 0.5) / n;
      double lo = -8, hi = 8;
      for (int k = 0; k < 60; ++k) {
        double mid = 0.5 * (lo + hi);
        double cdf = 0.5 * std::erfc(-mid / std::sqrt(2.0));
        (cdf < p ? lo : hi) = mid;
      }
      value[i] = static_cast<float>(0.5 * (lo + hi));
    }
  }
};

const float* NormalTable() {
  static const NormalQuantiles table;
  return table.value;
}

struct Rng {
  uint64_t state;
  uint32_t Next() {
    // splitmix64, top 32 bits.
    uint64_t z = (state += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 32);
  }
  float Normal(const float* table) { return table[Next() >> (32 - kNormalBits)]; }
};

}  // namespace

void BuildDemoScene(int width, int height, DemoScene* s) {
  s->width = width;
  s->height = height;
  const size_t n = static_cast<size_t>(width) * height;
  s->y.resize(n);
  s->u.resize(n);
  s->v.resize(n);
  const int floor_top = height / 2 + height / 20;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      Yuv c;
      if (y >= floor_top) {
        c = Floor(*s, x, y);
      } else if (!Chart(*s, x, y, &c)) {
        c = Wall(*s, x, y);
      }
      size_t i = static_cast<size_t>(y) * width + x;
      s->y[i] = ToByte(c.y);
      s->u[i] = ToByte(c.u);
      s->v[i] = ToByte(c.v);
    }
  }
  // Twice: phone video comes out of the ISP soft at the pixel level.
  for (int pass = 0; pass < 2; ++pass) {
    OpticalBlur(&s->y, width, height);
    OpticalBlur(&s->u, width, height);
    OpticalBlur(&s->v, width, height);
  }
  // The disc stays below half height (see DemoDiscPosition).
  s->still.x = 0;
  s->still.y = 0;
  s->still.width = width;
  s->still.height = (height / 2) & ~1;
}

void DemoDiscPosition(const DemoScene& s, int index, double* cx, double* cy,
                      double* radius) {
  *radius = 0.12 * s.height;
  // About 16 pixels a frame at 1920 wide, bouncing between the sides.
  const double left = *radius + 2, right = s.width - *radius - 2;
  const double span = std::max(right - left, 1.0);
  double travel = std::fmod(0.15 * s.width + index * 0.0085 * s.width - left,
                            2 * span);
  *cx = left + (travel <= span ? travel : 2 * span - travel);
  *cy = 0.74 * s.height + 0.02 * s.height * std::sin(index * 0.5);
}

void RenderDemoFrame(const DemoScene& s, int index, uint8_t* i420) {
  const int w = s.width, h = s.height;
  const size_t n = static_cast<size_t>(w) * h;
  std::vector<uint8_t> u(s.u), v(s.v);
  uint8_t* y_plane = i420;
  std::memcpy(y_plane, s.y.data(), n);

  double cx, cy, radius;
  DemoDiscPosition(s, index, &cx, &cy, &radius);
  const double angle = index * 0.06;
  const int x0 = std::max(static_cast<int>(cx - radius) - 1, 0);
  const int x1 = std::min(static_cast<int>(cx + radius) + 2, w);
  const int y0 = std::max(static_cast<int>(cy - radius) - 1, 0);
  const int y1 = std::min(static_cast<int>(cy + radius) + 2, h);
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
      // Coverage of the pixel by the disc: a one-pixel soft edge.
      double cover = std::min(std::max(radius - std::sqrt(dx * dx + dy * dy) + 0.5, 0.0), 1.0);
      if (cover <= 0) continue;
      Yuv d = Disc(dx, dy, radius, angle);
      size_t i = static_cast<size_t>(y) * w + x;
      y_plane[i] = ToByte(y_plane[i] + (d.y - y_plane[i]) * cover);
      u[i] = ToByte(u[i] + (d.u - u[i]) * cover);
      v[i] = ToByte(v[i] + (d.v - v[i]) * cover);
    }
  }
  Subsample(u.data(), w, h, i420 + n);
  Subsample(v.data(), w, h, i420 + n + n / 4);
}

double LumaNoiseSigma(int iso, int luma) {
  const double gain = iso / 100.0;
  return std::sqrt(gain * (0.12 * luma + 4.0));
}

double ChromaNoiseSigma(int iso) { return 2.0 * std::sqrt(iso / 100.0); }

void AddSensorNoise(const uint8_t* clean, uint8_t* noisy, int width,
                    int height, int iso, uint64_t seed) {
  const float* normal = NormalTable();
  Rng rng{seed * 0x9e3779b97f4a7c15ull + 0x632be59bd9b4e019ull};
  const size_t n = static_cast<size_t>(width) * height;

  float sigma[256];
  for (int i = 0; i < 256; ++i) sigma[i] = static_cast<float>(LumaNoiseSigma(iso, i));
  for (size_t i = 0; i < n; ++i) {
    float v = clean[i] + sigma[clean[i]] * rng.Normal(normal);
    noisy[i] = static_cast<uint8_t>(std::min(std::max(std::lround(v), 0l), 255l));
  }

  // Chroma: white noise through a 3x3 box, which divides its deviation
  // by 3, so it is drawn three times as strong.
  const int cw = width / 2, ch = height / 2;
  const float strength = static_cast<float>(3.0 * ChromaNoiseSigma(iso));
  std::vector<float> white(static_cast<size_t>(cw + 2) * (ch + 2));
  for (int plane = 0; plane < 2; ++plane) {
    const uint8_t* src = clean + n + plane * (n / 4);
    uint8_t* dst = noisy + n + plane * (n / 4);
    for (float& f : white) f = strength * rng.Normal(normal);
    for (int y = 0; y < ch; ++y) {
      for (int x = 0; x < cw; ++x) {
        float sum = 0;
        for (int k = 0; k < 3; ++k) {
          const float* row = &white[static_cast<size_t>(y + k) * (cw + 2) + x];
          sum += row[0] + row[1] + row[2];
        }
        size_t i = static_cast<size_t>(y) * cw + x;
        dst[i] = static_cast<uint8_t>(
            std::min(std::max(std::lround(src[i] + sum / 9.0f), 0l), 255l));
      }
    }
  }
}

}  // namespace vdtool
