/* A plain C99 client: includes every public header, creates a denoiser,
 * denoises a few frames and destroys it, through the shared library. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/vd_toolbox.h"

static int g_lines = 0;

static void CountingSink(int priority, const char* tag, const char* message) {
  (void)priority;
  (void)message;
  if (strcmp(tag, "TARNO_VideoDenoise") == 0) g_lines++;
}

int main(void) {
  enum { W = 96, H = 96 };
  const size_t size = (size_t)W * H * 3 / 2;
  unsigned char* src = (unsigned char*)malloc(size);
  unsigned char* dst = (unsigned char*)malloc(size);
  int up = -1, down = -1, i, failures = 0;
  if (!src || !dst) return 1;
  for (i = 0; i < (int)size; ++i) src[i] = (unsigned char)(i * 7);
  memset(dst, 0, size);
  TARNO_VideoDenoiseSetLogSink(CountingSink);

  GetEdgeUpAndDown(0, &up, &down, 4);
  if (up != 4 || down != 4) failures++;
  if (VideoSizeCheck(W, H) != 0) failures++;
  if (TARNO_VideoDenoiseInit(W, H, NULL) != 0) failures++;
  if (g_hVideoDenoise == NULL) failures++;
  for (i = 0; i < 3; ++i) {
    if (TARNO_VideoDenoise(src, dst, W, H, 1, 100) != 0) failures++;
  }
  if (TARNO_VideoDenoise(NULL, dst, W, H, 1, 100) != -1) failures++;
  if (TARNO_VideoDenoiseDeinit() != 0) failures++;
  if (TARNO_VideoDenoiseDeinit() != -1) failures++;
  if (g_lines == 0) failures++;
  TARNO_VideoDenoiseSetLogSink(NULL);
  free(src);
  free(dst);
  printf("c_client: %d failures\n", failures);
  return failures ? 1 : 0;
}
