/* The denoiser instance record, its parameters, configuration file, frame
 * buffers and timing. Compiles as C99 and as C++17. */
#ifndef VD_API_VD_INSTANCE_H_
#define VD_API_VD_INSTANCE_H_

#include <stdio.h>

#include "api/video_denoise.h"
#include "image/yuv_image.h"

VD_EXTERN_C_BEGIN

/* The denoise mode passed as eType. */
typedef int32_t Video_Denoise_Type;

/* The small ring of previous frames. */
typedef struct Buf_Manager {
  sYuvImage_t* pPreFrames[2];
  int32_t iFrameCount; /* frames since the last reset minus one */
} Buf_Manager;

/* The instance. Every field is one 32-bit word on 32-bit targets, in this
 * order (31 words); pointers take 8 bytes on 64-bit targets. */
typedef struct Video_Denoise_Handle {
  int32_t iMaxWidth;
  int32_t iMaxHeight;
  int32_t iWidth;
  int32_t iHeight;
  int32_t iReserved;
  Video_Denoise_Type eType;
  int32_t iCfgSwitch1;
  int32_t iCfgSwitch2;
  int32_t iNRLevel;
  int32_t iLevelParams[8];
  int32_t iPrevFrameNum;
  int32_t iFilterParams[5];
  Buf_Manager sPrevFrames;
  sYuvImage_t* pCurFrame;
  sYuvImage_t* pSpaDenoiseFrame;
  sYuvImage_t* pMotionInfo;
  sYuvImage_t* pTempFrame1;
  sYuvImage_t* pTempFrame2;
} Video_Denoise_Handle;

/* Stage time stamps in milliseconds, T0 .. T16. */
typedef struct Calc_Process_Time {
  int64_t llStamp[17];
} Calc_Process_Time;

VD_EXPORT extern Video_Denoise_Handle* g_hVideoDenoise;
VD_EXPORT extern Calc_Process_Time g_VideoDenoise_ProcTime;
/* Chroma work buffers, indexed by stripe; live as long as the instance. */
VD_EXPORT extern unsigned char* p_uvSpaBuff_1[4];
VD_EXPORT extern unsigned char* p_uvSpaBuff_2[4];
VD_EXPORT extern unsigned char* p_uvSpaBuff_3[4];

VD_EXPORT int VideoSizeCheck(int width, int height);

/* Parameters and configuration file. */
VD_EXPORT void InitVideoDenoiseParams(Video_Denoise_Handle* handle);
VD_EXPORT int ParseCfgFile(Video_Denoise_Handle* handle, char* path);
VD_EXPORT const char* GetCfgContent(FILE* file, char* line);
VD_EXPORT int ParseCfgParams(Video_Denoise_Handle* handle);
VD_EXPORT void SetVideoDenoiseParams(Video_Denoise_Handle* handle,
                                     Video_Denoise_Type eType, int iISO);

/* Frame buffers. */
VD_EXPORT int AlocateFrameBuf(Video_Denoise_Handle* handle);
VD_EXPORT void FreeFrameBuf(Video_Denoise_Handle* handle);
VD_EXPORT int GetPrevImageList(Buf_Manager* manager, sYuvImage_t** out);

/* Clocks and timing lines. */
VD_EXPORT int64_t VD_OS_Milliseconds(void);
VD_EXPORT uint32_t VD_OS_Milliseconds32(void);
VD_EXPORT int64_t VD_OS_Microseconds(void);
VD_EXPORT void Calc_ProcessTime2(Calc_Process_Time record, FILE* stream);
VD_EXPORT void Calc_ProcessTime(Calc_Process_Time record, FILE* stream);

VD_EXTERN_C_END

#endif /* VD_API_VD_INSTANCE_H_ */
