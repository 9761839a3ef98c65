#include "image/convert.h"

#include <cstring>

#include "base/vd_cpu.h"
#include "image/convert_internal.h"

void VdInitChromaMoveKernels(ChromaMoveKernels* k, int level) {
  k->merge = MergeVUPlane_C;
  k->split = SplitVUPlane_C;
#if defined(__ARM_NEON)
  if (level == kVdSimdNeon) {
    k->merge = MergeVUPlane_NEON;
    k->split = SplitVUPlane_NEON;
  }
#elif defined(VD_X86_SIMD)
  if (level == kVdSimdSse2) {
    k->merge = MergeVUPlane_SSE2;
    k->split = SplitVUPlane_SSE2;
  }
  if (level == kVdSimdAvx2) {
    k->merge = MergeVUPlane_AVX2;
    k->split = SplitVUPlane_AVX2;
  }
#endif
  (void)level;
}

const ChromaMoveKernels& VdChromaMoveKernels(int level) {
  return VdSimdTable<ChromaMoveKernels, VdInitChromaMoveKernels>(level);
}

void MergeVUPlane(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                  int count) {
  VdChromaMoveKernels(VdSimdLevel()).merge(u, v, vu, count);
}

void SplitVUPlane(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  VdChromaMoveKernels(VdSimdLevel()).split(vu, u, v, bytes);
}

namespace {

void CopyBytes(unsigned char* dst, const unsigned char* src, int n) {
  if (n > 0) std::memcpy(dst, src, static_cast<size_t>(n));
}

// Chroma offset of a stripe in a planar plane: a quarter of its luma offset.
int PlanarChromaOffset(int lumaOffset) { return lumaOffset >> 2; }

}  // namespace

void MergeVUPlane_C(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                    int count) {
  // Blocks of 8 pairs, the last one shorter when count is not a multiple.
  for (int i = 0; i < count; i += 8) {
    const int n = count - i < 8 ? count - i : 8;
    uint8_t us[8], vs[8];
    for (int k = 0; k < n; ++k) {
      us[k] = u[i + k];
      vs[k] = v[i + k];
    }
    for (int k = 0; k < n; ++k) {
      vu[2 * (i + k)] = vs[k];
      vu[2 * (i + k) + 1] = us[k];
    }
  }
}

void SplitVUPlane_C(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  // Blocks of 16 interleaved bytes, the last one shorter when bytes is not
  // a multiple; an odd last byte is a V sample without its U.
  for (int i = 0; i < bytes; i += 16) {
    const int n = bytes - i < 16 ? bytes - i : 16;
    uint8_t block[16];
    for (int k = 0; k < n; ++k) block[k] = vu[i + k];
    for (int k = 0; k < n / 2; ++k) u[i / 2 + k] = block[2 * k + 1];
    for (int k = 0; k < (n + 1) / 2; ++k) v[i / 2 + k] = block[2 * k];
  }
}

void MergeVUPlaneWholeBlocks(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                             int count) {
  if (count > 0) MergeVUPlane(u, v, vu, (count + 7) / 8 * 8);
}

void SplitVUPlaneWholeBlocks(const uint8_t* vu, uint8_t* u, uint8_t* v,
                             int bytes) {
  if (bytes > 0) SplitVUPlane(vu, u, v, (bytes + 15) / 16 * 16);
}

extern "C" void ConvertI420ToNV21(unsigned char* src, unsigned char* dst,
                                  int width, int height) {
  const int n = width * height;
  CopyBytes(dst, src, n);
  const int q = n >> 2;
  MergeVUPlaneWholeBlocks(src + n, src + n + q, dst + n, q);
}

extern "C" void ConvertNV21ToI420(unsigned char* src, unsigned char* dst,
                                  int width, int height) {
  const int n = width * height;
  CopyBytes(dst, src, n);
  SplitVUPlaneWholeBlocks(src + n, dst + n, dst + n + (n >> 2), n >> 1);
}

extern "C" void ConvertI420ToNV21_YUV(sYuvImage_t* src, sYuvImage_t* dst,
                                      int width, int rows, int offset,
                                      int withChroma) {
  const int n = width * rows;
  // Luma goes through pBuffer; for one-block images and frame descriptors
  // it is the same address as pY.
  CopyBytes(dst->pBuffer + offset, src->pBuffer + offset, n);
  if (!withChroma) return;
  const int c = PlanarChromaOffset(offset);
  MergeVUPlaneWholeBlocks(src->pU + c, src->pV + c, dst->pU + 2 * c, n >> 2);
}

extern "C" void ConvertNV21ToI420_YUV(sYuvImage_t* src, sYuvImage_t* dst,
                                      int width, int rows, int offset,
                                      int withChroma) {
  const int n = width * rows;
  CopyBytes(dst->pY + offset, src->pY + offset, n);
  if (!withChroma) return;
  const int c = PlanarChromaOffset(offset);
  SplitVUPlaneWholeBlocks(src->pU + 2 * c, dst->pU + c, dst->pV + c, n >> 1);
}

extern "C" void ConvertNV21ToI420_UV(sYuvImage_t* src, sYuvImage_t* dst,
                                     int width, int rows, int offset) {
  const int c = PlanarChromaOffset(offset);
  SplitVUPlaneWholeBlocks(src->pU + 2 * c, dst->pU + c, dst->pV + c, (width * rows) >> 1);
}
