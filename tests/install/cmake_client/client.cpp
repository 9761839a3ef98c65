// A C++17 client found through find_package(VideoDenoise): the public
// headers compile as C++ and the entry points link under their C names.
#include <cstdio>
#include <cstring>
#include <vector>

#include "api/vd_version.h"
#include "api/vdenoise.h"

int main() {
  vd_options options;
  vd_options_init(&options);
  options.max_width = 320;
  options.max_height = 240;
  vd_denoiser* denoiser = nullptr;
  if (vd_create(&options, &denoiser) != VD_OK) return 1;
  std::vector<unsigned char> src(320 * 240 * 3 / 2, 100), dst(src.size());
  vd_frame in = vd_frame_i420(src.data(), 320, 240);
  vd_frame out = vd_frame_i420(dst.data(), 320, 240);
  vd_status status = vd_denoise(denoiser, &in, &out, 0, 100);
  vd_destroy(denoiser);
  if (status != VD_OK || dst != src ||
      std::strcmp(vd_version(), VD_VERSION_STRING) != 0) {
    std::fprintf(stderr, "client_shared: %s\n", vd_status_string(status));
    return 1;
  }
  std::printf("libVideoDenoise %s\n", vd_version());
  return 0;
}
