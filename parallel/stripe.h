/* Stripe workers and the three-party phase barrier. */
#ifndef VD_PARALLEL_STRIPE_H_
#define VD_PARALLEL_STRIPE_H_

#include <pthread.h>

#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

struct Video_Denoise_Handle;

/* Edge codes of a stripe (iEdgeType, and the iEdge argument of filters). */
enum {
  VD_EDGE_INTERIOR = 0,
  VD_EDGE_WHOLE = 1,
  VD_EDGE_BOTTOM = 2,
  VD_EDGE_TOP = 3
};

/* One stripe worker's parameters. */
typedef struct VD_Multiple_Thread_Handle {
  int32_t iIndex;
  int32_t iEdgeType;
  int32_t iOffset; /* first row x width */
  int32_t iWidth;  /* frame width */
  int32_t iHeight; /* rows of the stripe */
  struct Video_Denoise_Handle* hVideoDenoise;
  sYuvImage_t* pSrcImage;
  sYuvImage_t* pDstImage;
} VD_Multiple_Thread_Handle;

VD_EXPORT extern VD_Multiple_Thread_Handle g_hVDMulThread[3];

/* Barrier counters, 0 at rest. */
VD_EXPORT extern int g_canFilter;
VD_EXPORT extern int g_canDeleteDP;
VD_EXPORT extern int g_canDilate;
VD_EXPORT extern int g_canErose;
VD_EXPORT extern pthread_mutex_t g_lock;
VD_EXPORT extern pthread_mutex_t g_lock_2;
VD_EXPORT extern pthread_cond_t g_canMoveOn;

VD_EXPORT void SetVDMulThreadParam(sYuvImage_t* src, sYuvImage_t* dst,
                                   int width, int height, int offset,
                                   int index, int edgeType);
/* Rows a stripe may read above and below for a filter that needs margin
 * extra rows: interior margin/margin, bottom margin/0, top 0/margin,
 * whole frame 0/0. */
#ifdef __cplusplus
VD_EXPORT void GetEdgeUpAndDown(int edgeType, int& up, int& down, int margin);
#else
VD_EXPORT void GetEdgeUpAndDown(int edgeType, int* up, int* down, int margin);
#endif
/* Three-party phase barrier on g_lock / g_canMoveOn with the given counter. */
VD_EXPORT void barrier(int* counter);
/* Stripe thread body: argument is a VD_Multiple_Thread_Handle*. */
VD_EXPORT void* VideoDenoiseMulThread(void* stripe);

VD_EXTERN_C_END

#endif /* VD_PARALLEL_STRIPE_H_ */
