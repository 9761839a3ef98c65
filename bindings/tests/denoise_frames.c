/* The bindings' reference: runs the C API over raw frames so that each
 * binding's result can be compared with it byte for byte.
 *
 *   denoise_frames FORMAT WIDTH HEIGHT TYPE ISO METHOD IN OUT
 *
 * FORMAT is nv21, nv12 or i420; METHOD is fuzzy or temporal. IN holds
 * back-to-back frames of WIDTH * HEIGHT * 3 / 2 bytes; one denoiser takes
 * them in order and OUT receives the results. Exits 0 on success. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/vdenoise.h"

int main(int argc, char** argv) {
  if (argc != 9) {
    fprintf(stderr,
            "usage: denoise_frames nv21|nv12|i420 WIDTH HEIGHT TYPE ISO "
            "fuzzy|temporal IN OUT\n");
    return 2;
  }
  const char* format = argv[1];
  int width = atoi(argv[2]);
  int height = atoi(argv[3]);
  int type = atoi(argv[4]);
  int iso = atoi(argv[5]);
  vd_options options;
  vd_options_init(&options);
  options.max_width = width;
  options.max_height = height;
  options.method =
      strcmp(argv[6], "temporal") == 0 ? VD_METHOD_TEMPORAL : VD_METHOD_FUZZY;
  vd_denoiser* denoiser = NULL;
  vd_status status = vd_create(&options, &denoiser);
  if (status != VD_OK) {
    fprintf(stderr, "vd_create: %s\n", vd_status_string(status));
    return 1;
  }
  FILE* in = fopen(argv[7], "rb");
  FILE* out = fopen(argv[8], "wb");
  size_t size = (size_t)width * height * 3 / 2;
  unsigned char* src = malloc(size);
  unsigned char* dst = malloc(size);
  int rc = in && out && src && dst ? 0 : 1;
  while (rc == 0 && fread(src, 1, size, in) == size) {
    vd_frame s, d;
    if (strcmp(format, "nv12") == 0) {
      s = vd_frame_nv12(src, width, height);
      d = vd_frame_nv12(dst, width, height);
    } else if (strcmp(format, "i420") == 0) {
      s = vd_frame_i420(src, width, height);
      d = vd_frame_i420(dst, width, height);
    } else {
      s = vd_frame_nv21(src, width, height);
      d = vd_frame_nv21(dst, width, height);
    }
    status = vd_denoise(denoiser, &s, &d, type, iso);
    if (status != VD_OK) {
      fprintf(stderr, "vd_denoise: %s\n", vd_status_string(status));
      rc = 1;
    } else if (fwrite(dst, 1, size, out) != size) {
      rc = 1;
    }
  }
  if (out && fclose(out) != 0) rc = 1;
  if (in) fclose(in);
  free(src);
  free(dst);
  vd_destroy(denoiser);
  return rc;
}
