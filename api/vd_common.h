/* Shared definitions of libVideoDenoise: export macro, C linkage helpers and
 * the small records that several subsystems pass around. Compiles as C99 and
 * as C++17. */
#ifndef VD_COMMON_H_
#define VD_COMMON_H_

#include <stdint.h>

#if defined(_WIN32)
#define VD_EXPORT __declspec(dllexport)
#else
#define VD_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define VD_EXTERN_C_BEGIN extern "C" {
#define VD_EXTERN_C_END }
#else
#define VD_EXTERN_C_BEGIN
#define VD_EXTERN_C_END
#endif

VD_EXTERN_C_BEGIN

/* A window size: x columns by y rows. */
typedef struct sVNRPoint {
  int32_t x;
  int32_t y;
} sVNRPoint;

/* A rectangle of a plane, in rows and columns. */
typedef struct sVNRRectangle {
  int32_t iTop;
  int32_t iLeft;
  int32_t iWidth;
  int32_t iHeight;
} sVNRRectangle;

/* Morphology operation selector. */
typedef enum eVNRMorphologyType {
  MORPH_EROSE = 0,
  MORPH_DILATE = 1
} eVNRMorphologyType;

VD_EXTERN_C_END

#endif /* VD_COMMON_H_ */
