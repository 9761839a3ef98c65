// Comparison pictures: frames side by side (noisy | denoised | reference),
// each also shown as a zoomed crop so that noise is visible pixel for pixel.
//
// Layout, for n panels of a W x H clip:
//
//   title
//   label 1          label 2          ...
//   [frame 1]        [frame 2]        ...   each scaled down by a whole
//                                           factor to at most 960 columns
//   label 1 zoom     label 2 zoom     ...
//   [crop 1 x Z]     [crop 2 x Z]     ...   the same source crop of every
//                                           frame, enlarged Z times
//   (a row like it for each further crop)
//
// The crop is outlined on the scaled frames. Colours are BT.601, limited
// range unless the clip says it is full range.
#ifndef VD_TOOLS_PICTURE_H_
#define VD_TOOLS_PICTURE_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/metrics.h"

namespace vdtool {

struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // rows of R, G, B bytes, no padding
};

struct PicturePanel {
  I420Frame frame;
  std::string label;
};

struct PictureOptions {
  int zoom = 2;
  int crop_x = -1;  // top-left of the crop in luma pixels; -1 centres it
  int crop_y = -1;
  // Top-left corners of further crops of the same size, each shown in a
  // row of its own (moved inside the frame when they reach past it).
  std::vector<std::pair<int, int>> more_crops;
  bool full_range = false;
  int max_panel_width = 960;
  std::string title;
};

// Geometry of a comparison of |width| x |height| frames.
struct PictureLayout {
  int scale_down = 1;  // whole-number reduction of the top row
  int panel_width = 0;
  int panel_height = 0;
  Region crop;  // in source luma pixels
  std::vector<Region> more_crops;
  int zoom = 2;
};
PictureLayout LayoutPicture(int width, int height, const PictureOptions& opt);

// Builds the picture. All panels share the clip size |width| x |height|.
RgbImage ComposePicture(const std::vector<PicturePanel>& panels, int width,
                        int height, const PictureOptions& opt);

// One BT.601 pixel.
void YuvToRgb(int y, int u, int v, bool full_range, uint8_t rgb[3]);

// Draws |text| (letters, digits and common punctuation of a 5x7 font;
// lower case is drawn as upper case) with its top-left corner at (x, y),
// each font dot |scale| x |scale| pixels, clipped to the image and to
// |max_width| pixels of text. Returns the width drawn.
int DrawText(RgbImage* image, int x, int y, const std::string& text, int scale,
             const uint8_t rgb[3], int max_width);

// Writes |image| as an 8-bit RGB PNG, through a temporary file renamed at
// the end. False with a message when it fails or when the tool was built
// without libpng.
bool WritePng(const std::string& path, const RgbImage& image,
              std::string* error);
// Whether this build can write PNG files.
bool PngSupported();

}  // namespace vdtool

#endif  // VD_TOOLS_PICTURE_H_
