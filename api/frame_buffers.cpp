// The instance's frame images, the ring of previous frames and the chroma
// work buffers: all allocated at creation, so no frame call allocates.
#include "api/frame_buffers_internal.h"

#include "base/vd_alloc.h"
#include "base/vd_log.h"
#include "image/yuv_image_internal.h"

unsigned char* p_uvSpaBuff_1[4];
unsigned char* p_uvSpaBuff_2[4];
unsigned char* p_uvSpaBuff_3[4];

namespace {

const VdChromaBuffers kGlobalChroma = {p_uvSpaBuff_1, p_uvSpaBuff_2,
                                       p_uvSpaBuff_3};

// Frame images and work buffers start zero-filled, so no result ever depends
// on memory that was never written.
sYuvImage_t* AllocFrame(int width, int height) {
  return VdMallocYuvEx(width, height, 0, 1);
}

bool AllocNamed(const VdLogger* log, sYuvImage_t** slot, const char* name,
                int width, int height, int size) {
  *slot = AllocFrame(width, height);
  if (*slot) return true;
  VdLogTo(log, VD_LOG_ERROR,
        "Alocate memory size:%d[width:%d height:%d] for %s failed!\n", size,
        width, height, name);
  return false;
}

void Release(sYuvImage_t** slot, int width, int height) {
  if (!*slot) return;
  DeleteYuv(slot, width, height);
  *slot = nullptr;
}

}  // namespace

int VdAllocFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma, const VdLogger* log,
                        size_t chromaBytes, bool motionMask) {
  const int width = handle->iWidth;
  const int height = handle->iHeight;
  const int size = width * height * 3 / 2;
  VdTrace(log, "iWidth=%d iHeight=%d", width, height);
  // The ring has two slots. The count comes through the exported record, so
  // it is kept within them here, where the slots are made; the pipelines and
  // the release then see the same count.
  const int frames = handle->iPrevFrameNum;
  if (frames < 1 || frames > 2) {
    const int clamped = frames < 1 ? 1 : 2;
    VdLogTo(log, VD_LOG_ERROR,
            "iPrevFrameNum:%d is out of range[1,2], using %d!\n", frames,
            clamped);
    handle->iPrevFrameNum = clamped;
  }
  for (int i = 0; i < handle->iPrevFrameNum; ++i) {
    handle->sPrevFrames.pPreFrames[i] = AllocFrame(width, height);
    if (!handle->sPrevFrames.pPreFrames[i]) {
      VdLogTo(log, VD_LOG_ERROR,
              "Alocate memory size:%d[width:%d height:%d] for pPreFrames[%d] "
            "failed!\n",
            size, width, height, i);
      return -1;
    }
  }
  if (!AllocNamed(log, &handle->pSpaDenoiseFrame, "pSpaDenoiseFrame", width,
                  height, size)) {
    return -1;
  }
  if (motionMask) {
    if (!AllocNamed(log, &handle->pMotionInfo, "pMotionInfo", width, height,
                    size)) {
      return -1;
    }
    SetYUV(handle->pMotionInfo, width * height, 0, 3);
  }
  if (!AllocNamed(log, &handle->pTempFrame1, "pTempFrame1", width, height, size) ||
      !AllocNamed(log, &handle->pTempFrame2, "pTempFrame2", width, height, size) ||
      !AllocNamed(log, &handle->pCurFrame, "pCurFrame", width, height, size)) {
    return -1;
  }
  const size_t bytes = chromaBytes;
  for (int i = 0; i < 4; ++i) {
    chroma->uv1[i] = static_cast<unsigned char*>(VdCalloc(bytes, 1));
    chroma->uv2[i] = static_cast<unsigned char*>(VdCalloc(bytes, 1));
    chroma->uv3[i] = static_cast<unsigned char*>(VdCalloc(bytes, 1));
    if (!chroma->uv1[i] || !chroma->uv2[i] || !chroma->uv3[i]) {
      VdLogTo(log, VD_LOG_ERROR,
            "p_uvSpaBuff_1[%d]:0x%x p_uvSpaBuff_2[%d]:0x%x  "
            "p_uvSpaBuff_3[%d]:0x%x !\n",
            i, VD_PTR32(chroma->uv1[i]), i, VD_PTR32(chroma->uv2[i]), i,
            VD_PTR32(chroma->uv3[i]));
      return -1;
    }
  }
  return 0;
}

void VdFreeFrameBuffers(Video_Denoise_Handle* handle,
                        const VdChromaBuffers* chroma) {
  const int width = handle->iWidth;
  const int height = handle->iHeight;
  for (int i = 0; i < handle->iPrevFrameNum && i < 2; ++i) {
    Release(&handle->sPrevFrames.pPreFrames[i], width, height);
  }
  Release(&handle->pSpaDenoiseFrame, width, height);
  Release(&handle->pMotionInfo, width, height);
  Release(&handle->pTempFrame1, width, height);
  Release(&handle->pTempFrame2, width, height);
  Release(&handle->pCurFrame, width, height);
  for (int i = 0; i < 4; ++i) {
    unsigned char** buffers[3] = {&chroma->uv1[i], &chroma->uv2[i],
                                  &chroma->uv3[i]};
    for (unsigned char** buffer : buffers) {
      if (*buffer) {
        VdFree(*buffer);
        *buffer = nullptr;
      }
    }
  }
}

extern "C" int AlocateFrameBuf(Video_Denoise_Handle* handle) {
  return VdAllocFrameBuffers(
      handle, &kGlobalChroma, &kVdProcessLogger,
      static_cast<size_t>(handle->iWidth) * handle->iHeight, true);
}

extern "C" void FreeFrameBuf(Video_Denoise_Handle* handle) {
  VdFreeFrameBuffers(handle, &kGlobalChroma);
}

extern "C" int GetPrevImageList(Buf_Manager* manager, sYuvImage_t** out) {
  const int count = manager->iFrameCount;
  *out = manager->pPreFrames[count > 0 ? ((count - 1) & 1) : 1];
  return 0;
}
