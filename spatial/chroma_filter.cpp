// Multi-scale chroma filter and the chroma-filter switch.
#include "spatial/box_filter.h"

#include "image/resample.h"
#include "spatial/chroma_filter_internal.h"
#include "spatial/fuzzy_filter.h"

int VdFilterUV(unsigned char* src, unsigned char* dst, int width, int rows,
               int up, int down, int level, unsigned char* b1,
               unsigned char* b2, unsigned char* b3) {
  if (static_cast<unsigned>(level) <= 1u) {
    const int w4 = width / 4;
    const int h4 = rows / 4;
    DownScaleNewX16(src, rows, width, b1);
    FuzzyFilter_UV(b1, b2, w4, h4, 1);
    UpScaleNewX16(b2 + w4 * (up / 4), h4 - up / 4 - down / 4, w4,
                  dst + width * up);
  } else {
    const int w8 = width / 8;
    const int h8 = rows / 8;
    DownScaleNewX16(src, rows, width, b1);
    DownScale(b1, rows / 4, width / 4, width / 4, b3);
    FuzzyFilter_UV(b3, b2, w8, h8, 1);
    UpScaleX64(b2 + w8 * (up / 8), h8 - up / 8 - down / 8, w8, width,
               dst + width * up);
  }
  return 1;
}

void GetChromaFilterFlag(int level, int* flag) {
  if (level == 0) {
    *flag = 0;
  } else if (level >= 1 && level <= 3) {
    *flag = 1;
  }
}
