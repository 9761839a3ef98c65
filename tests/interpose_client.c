/* A client that defines functions under some of the library's exported
 * names. The library's own calls must still reach its own code: none of
 * these may run, and the frames must still be denoised. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/vdenoise.h"
#include "api/video_denoise.h"

static int g_called = 0;

int BoxFilter3x3(unsigned char* src, unsigned char* dst, int width, int rows,
                 void* kernel, int edge) {
  (void)src, (void)dst, (void)width, (void)rows, (void)kernel, (void)edge;
  g_called = 1;
  return 1;
}
void FuzzyFilter_2(void) { g_called = 1; }
void CalDiffAbs_neon(void) { g_called = 1; }
void ConvertNV21ToI420_UV(void) { g_called = 1; }
void ConvertI420ToNV21_YUV(void) { g_called = 1; }
void CopyYuv(void) { g_called = 1; }
void SetYUV(void) { g_called = 1; }
void GetChromaFilterFlag(void) { g_called = 1; }
void VD_OS_Milliseconds(void) { g_called = 1; }

enum { W = 176, H = 144, N = W * H * 3 / 2 };

static void Quiet(int priority, const char* tag, const char* message) {
  (void)priority, (void)tag, (void)message;
}

/* Sum of absolute differences between neighbouring luma pixels: noise
 * removal lowers it. */
static long Roughness(const unsigned char* f) {
  long sum = 0;
  int i;
  for (i = 1; i < W * H; ++i) sum += labs((long)f[i] - (long)f[i - 1]);
  return sum;
}

int main(void) {
  static unsigned char src[N], dst[N];
  unsigned seed = 12345;
  int i, failures = 0;
  vd_options o;
  vd_denoiser* d = NULL;
  vd_frame in, out;
  for (i = 0; i < N; ++i) {
    seed = seed * 1103515245u + 12345u;
    src[i] = (unsigned char)(100 + (seed >> 16) % 40);
  }
  TARNO_VideoDenoiseSetLogSink(Quiet);
  if (TARNO_VideoDenoiseInit(W, H, NULL) != 0) return 1;
  for (i = 0; i < 3; ++i) TARNO_VideoDenoise(src, dst, W, H, 6, 800);
  TARNO_VideoDenoiseDeinit();
  if (Roughness(dst) * 2 >= Roughness(src)) {
    fprintf(stderr, "process-wide API: frame not denoised\n");
    failures++;
  }
  vd_options_init(&o);
  o.max_width = W;
  o.max_height = H;
  o.threads = 2;
  if (vd_create(&o, &d) != VD_OK) return 1;
  in = vd_frame_nv21(src, W, H);
  out = vd_frame_nv21(dst, W, H);
  memset(dst, 0, sizeof(dst));
  for (i = 0; i < 3; ++i) vd_denoise(d, &in, &out, 6, 800);
  vd_destroy(d);
  if (Roughness(dst) * 2 >= Roughness(src)) {
    fprintf(stderr, "engine: frame not denoised\n");
    failures++;
  }
  if (g_called) {
    fprintf(stderr, "the library called a function of the client\n");
    failures++;
  }
  return failures ? 1 : 0;
}
