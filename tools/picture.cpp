#include "tools/picture.h"

#include <algorithm>
#include <cstdio>

namespace vdtool {

namespace {

constexpr int kGap = 8;
constexpr uint8_t kBackground[3] = {40, 40, 40};
constexpr uint8_t kTextColour[3] = {235, 235, 235};
constexpr uint8_t kCropColour[3] = {255, 210, 0};

// 5x7 font: seven rows per glyph, bit 4 is the leftmost column.
struct Glyph {
  char c;
  uint8_t rows[7];
};
const Glyph kFont[] = {
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {' ', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
    {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'/', {0x00, 0x01, 0x02, 0x04, 0x08, 0x10, 0x00}},
    {'=', {0x00, 0x00, 0x1F, 0x00, 0x1F, 0x00, 0x00}},
    {'%', {0x18, 0x19, 0x02, 0x04, 0x08, 0x13, 0x03}},
    {'|', {0x04, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'_', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F}},
    {'?', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x00, 0x04}},
};

const uint8_t* GlyphRows(char c) {
  if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  for (const Glyph& g : kFont) {
    if (g.c == c) return g.rows;
  }
  return GlyphRows('?');
}

int Clamp255(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

void PutPixel(RgbImage* image, int x, int y, const uint8_t rgb[3]) {
  if (x < 0 || y < 0 || x >= image->width || y >= image->height) return;
  uint8_t* p = &image->pixels[(static_cast<size_t>(y) * image->width + x) * 3];
  p[0] = rgb[0];
  p[1] = rgb[1];
  p[2] = rgb[2];
}

// The frame reduced |f| times: luma averaged over f x f blocks (clipped at
// the edges), chroma taken from the sample under the block's centre.
void DrawScaled(RgbImage* image, int ox, int oy, const I420Frame& frame,
                const PictureLayout& layout, bool full_range) {
  const int f = layout.scale_down;
  for (int py = 0; py < layout.panel_height; ++py) {
    const int y0 = py * f;
    const int y1 = std::min(y0 + f, frame.y.height);
    const int cy = std::min((y0 + f / 2) / 2, frame.u.height - 1);
    for (int px = 0; px < layout.panel_width; ++px) {
      const int x0 = px * f;
      const int x1 = std::min(x0 + f, frame.y.width);
      int sum = 0;
      for (int y = y0; y < y1; ++y) {
        const uint8_t* row = frame.y.data + static_cast<size_t>(y) * frame.y.stride;
        for (int x = x0; x < x1; ++x) sum += row[x];
      }
      const int count = (y1 - y0) * (x1 - x0);
      const int luma = (sum + count / 2) / count;
      const int cx = std::min((x0 + f / 2) / 2, frame.u.width - 1);
      const size_t c = static_cast<size_t>(cy) * frame.u.stride + cx;
      uint8_t rgb[3];
      YuvToRgb(luma, frame.u.data[c], frame.v.data[c], full_range, rgb);
      PutPixel(image, ox + px, oy + py, rgb);
    }
  }
}

// The crop of the frame, each source pixel drawn as a zoom x zoom square.
void DrawZoomed(RgbImage* image, int ox, int oy, const I420Frame& frame,
                const Region& crop, int zoom, bool full_range) {
  const int z = zoom;
  for (int sy = crop.y; sy < crop.y + crop.height; ++sy) {
    for (int sx = crop.x; sx < crop.x + crop.width; ++sx) {
      const size_t c = static_cast<size_t>(sy / 2) * frame.u.stride + sx / 2;
      uint8_t rgb[3];
      YuvToRgb(frame.y.data[static_cast<size_t>(sy) * frame.y.stride + sx],
               frame.u.data[c], frame.v.data[c], full_range, rgb);
      for (int dy = 0; dy < z; ++dy) {
        for (int dx = 0; dx < z; ++dx) {
          PutPixel(image, ox + (sx - crop.x) * z + dx,
                   oy + (sy - crop.y) * z + dy, rgb);
        }
      }
    }
  }
}

void DrawFrameOutline(RgbImage* image, int x0, int y0, int w, int h,
                      const uint8_t rgb[3]) {
  for (int x = x0; x < x0 + w; ++x) {
    PutPixel(image, x, y0, rgb);
    PutPixel(image, x, y0 + h - 1, rgb);
  }
  for (int y = y0; y < y0 + h; ++y) {
    PutPixel(image, x0, y, rgb);
    PutPixel(image, x0 + w - 1, y, rgb);
  }
}

}  // namespace

void YuvToRgb(int y, int u, int v, bool full_range, uint8_t rgb[3]) {
  const int d = u - 128;
  const int e = v - 128;
  int r, g, b;
  if (full_range) {
    const int c = 256 * y;
    r = (c + 359 * e + 128) >> 8;
    g = (c - 88 * d - 183 * e + 128) >> 8;
    b = (c + 454 * d + 128) >> 8;
  } else {
    const int c = 298 * (y - 16);
    r = (c + 409 * e + 128) >> 8;
    g = (c - 100 * d - 208 * e + 128) >> 8;
    b = (c + 516 * d + 128) >> 8;
  }
  rgb[0] = static_cast<uint8_t>(Clamp255(r));
  rgb[1] = static_cast<uint8_t>(Clamp255(g));
  rgb[2] = static_cast<uint8_t>(Clamp255(b));
}

int DrawText(RgbImage* image, int x, int y, const std::string& text, int scale,
             const uint8_t rgb[3], int max_width) {
  const int advance = 6 * scale;  // five columns and one of space
  int drawn = 0;
  for (char c : text) {
    if (drawn + 5 * scale > max_width) break;
    const uint8_t* rows = GlyphRows(c);
    for (int r = 0; r < 7; ++r) {
      for (int col = 0; col < 5; ++col) {
        if (!(rows[r] & (0x10 >> col))) continue;
        for (int dy = 0; dy < scale; ++dy) {
          for (int dx = 0; dx < scale; ++dx) {
            PutPixel(image, x + drawn + col * scale + dx, y + r * scale + dy,
                     rgb);
          }
        }
      }
    }
    drawn += advance;
  }
  return drawn;
}

PictureLayout LayoutPicture(int width, int height, const PictureOptions& opt) {
  PictureLayout l;
  const int max_w = std::max(opt.max_panel_width, 1);
  l.scale_down = std::max((width + max_w - 1) / max_w, 1);
  l.panel_width = (width + l.scale_down - 1) / l.scale_down;
  l.panel_height = (height + l.scale_down - 1) / l.scale_down;
  l.zoom = std::max(opt.zoom, 1);
  l.crop.width = std::min(std::max(l.panel_width / l.zoom, 1), width);
  l.crop.height = std::min(std::max(l.panel_height / l.zoom, 1), height);
  int cx = opt.crop_x >= 0 ? opt.crop_x : (width - l.crop.width) / 2;
  int cy = opt.crop_y >= 0 ? opt.crop_y : (height - l.crop.height) / 2;
  l.crop.x = std::min(std::max(cx, 0), width - l.crop.width);
  l.crop.y = std::min(std::max(cy, 0), height - l.crop.height);
  for (const std::pair<int, int>& corner : opt.more_crops) {
    Region r = l.crop;
    r.x = std::min(std::max(corner.first, 0), width - r.width);
    r.y = std::min(std::max(corner.second, 0), height - r.height);
    l.more_crops.push_back(r);
  }
  return l;
}

RgbImage ComposePicture(const std::vector<PicturePanel>& panels, int width,
                        int height, const PictureOptions& opt) {
  const PictureLayout l = LayoutPicture(width, height, opt);
  const int n = static_cast<int>(panels.size());
  const int text_scale = l.panel_width >= 400 ? 2 : 1;
  const int band = 7 * text_scale + kGap;  // one line of text and a gap
  const int zoom_w = l.crop.width * l.zoom;
  const int zoom_h = l.crop.height * l.zoom;
  const int column = std::max(l.panel_width, zoom_w);

  RgbImage image;
  image.width = n * column + (n + 1) * kGap;
  const int top_labels = kGap + band;
  const int top_row = top_labels + band;
  const int zoom_labels = top_row + l.panel_height + kGap;
  // Each crop takes a label band and its zoomed rows.
  const int crop_step = band + zoom_h + kGap;
  std::vector<Region> crops = {l.crop};
  crops.insert(crops.end(), l.more_crops.begin(), l.more_crops.end());
  image.height = zoom_labels + static_cast<int>(crops.size()) * crop_step;
  image.pixels.resize(static_cast<size_t>(image.width) * image.height * 3);
  for (size_t i = 0; i < image.pixels.size(); i += 3) {
    image.pixels[i] = kBackground[0];
    image.pixels[i + 1] = kBackground[1];
    image.pixels[i + 2] = kBackground[2];
  }

  DrawText(&image, kGap, kGap, opt.title, text_scale, kTextColour,
           image.width - 2 * kGap);
  for (int i = 0; i < n; ++i) {
    const int x = kGap + i * (column + kGap);
    const PicturePanel& p = panels[i];
    DrawText(&image, x, top_labels, p.label, text_scale, kTextColour, column);
    DrawScaled(&image, x, top_row, p.frame, l, opt.full_range);
    for (size_t c = 0; c < crops.size(); ++c) {
      const Region& crop = crops[c];
      DrawFrameOutline(&image, x + crop.x / l.scale_down,
                       top_row + crop.y / l.scale_down,
                       std::max(crop.width / l.scale_down, 2),
                       std::max(crop.height / l.scale_down, 2), kCropColour);
      char zoom_note[64];
      std::snprintf(zoom_note, sizeof(zoom_note), " x%d at %d,%d", l.zoom,
                    crop.x, crop.y);
      const int y = zoom_labels + static_cast<int>(c) * crop_step;
      DrawText(&image, x, y, p.label + zoom_note, text_scale, kTextColour,
               column);
      DrawZoomed(&image, x, y + band, p.frame, crop, l.zoom, opt.full_range);
    }
  }
  return image;
}

}  // namespace vdtool
