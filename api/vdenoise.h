/* libVideoDenoise engine API: any number of denoisers, any 4:2:0 layout.
 *
 *   vd_options o;  vd_options_init(&o);  o.max_width = 1920; o.max_height = 1080;
 *   vd_denoiser* d;  if (vd_create(&o, &d) != VD_OK) ...
 *   vd_frame f = vd_frame_nv21(buffer, 1920, 1080);
 *   vd_denoise(d, &f, &f, type, iso);        // in place is fine
 *   vd_destroy(d);
 *
 * Every call returns a status; a refused call changes nothing and leaves the
 * denoiser usable. One denoiser takes one call at a time (an overlapping call
 * gets VD_ERR_BUSY); different denoisers run at once on different threads.
 * vd_denoise allocates nothing and starts no thread. Compiles as C99 and as
 * C++17. */
#ifndef VD_API_VDENOISE_H_
#define VD_API_VDENOISE_H_

#include "api/vd_common.h"

VD_EXTERN_C_BEGIN

typedef struct vd_denoiser vd_denoiser;

typedef enum {
  VD_OK = 0,
  VD_ERR_INVALID_ARGUMENT,
  VD_ERR_UNSUPPORTED_SIZE,
  VD_ERR_OUT_OF_MEMORY,
  VD_ERR_THREAD,
  VD_ERR_CONFIG,
  VD_ERR_BUSY
} vd_status;

typedef enum {
  VD_METHOD_FUZZY = 0,    /* the compatible frame path (TARNO_VideoDenoise) */
  VD_METHOD_TEMPORAL = 1  /* the motion-masked temporal pipeline */
} vd_method;

typedef enum {
  VD_LOG_DEBUG = 3,
  VD_LOG_WARNING = 5,
  VD_LOG_ERROR = 6
} vd_log_level;

typedef struct {
  int max_width, max_height; /* largest frame this denoiser takes */
  int threads;     /* workers: 0 = one per online core, 1 = caller only */
  vd_method method;
  const char* config_path; /* optional 16-line configuration file */
  /* Receives every delivered log line; null writes them to stderr. */
  void (*log)(void* user, int level, const char* message);
  void* log_user;
  int log_level; /* lowest level delivered; default VD_LOG_WARNING */
} vd_options;

/* One 4:2:0 frame; every pointer and stride belongs to the client. */
typedef struct {
  int width, height;
  unsigned char *y, *u, *v;
  int y_stride, uv_stride; /* bytes between rows, >= the row's byte length */
  int uv_pixel_stride;     /* 1: planar U and V; 2: interleaved
                              (NV21: u = v + 1; NV12: v = u + 1) */
} vd_frame;

/* Defaults: no size (must be set), threads 0, VD_METHOD_FUZZY, no config,
 * stderr, VD_LOG_WARNING. */
VD_EXPORT void vd_options_init(vd_options* options);
VD_EXPORT vd_status vd_create(const vd_options* options, vd_denoiser** out);
/* Denoises src into dst (they may be the same memory, in any two layouts).
 * type and iso choose the strength with hysteresis; a change of size or
 * type starts the history afresh. */
VD_EXPORT vd_status vd_denoise(vd_denoiser* d, const vd_frame* src,
                               const vd_frame* dst, int type, int iso);
/* Forgets the history: the next frame starts afresh. */
VD_EXPORT vd_status vd_reset(vd_denoiser* d);
/* Joins the workers and frees everything; null is fine. */
VD_EXPORT void vd_destroy(vd_denoiser* d);
VD_EXPORT const char* vd_status_string(vd_status s);

/* Descriptions of one tightly packed buffer of width * height * 3 / 2
 * bytes. */
VD_EXPORT vd_frame vd_frame_nv21(unsigned char* buffer, int width,
                                 int height);
VD_EXPORT vd_frame vd_frame_nv12(unsigned char* buffer, int width,
                                 int height);
VD_EXPORT vd_frame vd_frame_i420(unsigned char* buffer, int width,
                                 int height);

/* "major.minor.patch" */
VD_EXPORT const char* vd_version(void);

/* The vector unit every denoiser in the process uses: "scalar", "sse2",
 * "avx2", "neon", or "auto" (the best one this processor has). All of them
 * give the same bytes; only the speed differs. Returns 0, or -1 for an
 * unknown name or a unit this processor (or a build with VD_FORCE_SCALAR)
 * does not run; call it while no frame is being denoised. */
VD_EXPORT int vd_set_simd_level(const char* name);
/* The unit in use, one of the names above other than "auto". */
VD_EXPORT const char* vd_simd_level(void);

VD_EXTERN_C_END

#endif /* VD_API_VDENOISE_H_ */
