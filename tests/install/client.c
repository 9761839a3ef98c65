/* A client that sees only the installed tree: every public header compiles
 * as C99 from include/videodenoise, the version matches the headers, and a
 * flat grey frame comes back flat. Exits 0 on success. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/vd_toolbox.h"
#include "api/vd_version.h"
#include "api/vdenoise.h"
#include "api/video_denoise.h"

enum { kWidth = 320, kHeight = 240 };

int main(void) {
  if (strcmp(vd_version(), VD_VERSION_STRING) != 0) {
    fprintf(stderr, "vd_version() is %s, the header says %s\n", vd_version(),
            VD_VERSION_STRING);
    return 1;
  }
  vd_options options;
  vd_options_init(&options);
  options.max_width = kWidth;
  options.max_height = kHeight;
  options.threads = 1;
  vd_denoiser* denoiser = NULL;
  vd_status status = vd_create(&options, &denoiser);
  if (status != VD_OK) {
    fprintf(stderr, "vd_create: %s\n", vd_status_string(status));
    return 1;
  }
  size_t size = (size_t)kWidth * kHeight * 3 / 2;
  unsigned char* buffer = malloc(size);
  int flat = 1;
  for (int i = 0; i < 3 && flat; ++i) {
    memset(buffer, 128, size);
    vd_frame frame = vd_frame_nv21(buffer, kWidth, kHeight);
    status = vd_denoise(denoiser, &frame, &frame, 0, 100);
    for (size_t k = 0; k < size; ++k) flat &= buffer[k] == 128;
  }
  free(buffer);
  vd_destroy(denoiser);
  if (status != VD_OK || !flat) {
    fprintf(stderr, "vd_denoise: %s%s\n", vd_status_string(status),
            flat ? "" : ", a flat frame came back changed");
    return 1;
  }
  printf("libVideoDenoise %s\n", vd_version());
  return 0;
}
