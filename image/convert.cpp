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
  if (count <= 0) return;
  // Whole blocks of 8 pairs: a count that is not a multiple of 8 still
  // moves the full last block.
  for (int i = 0; i < count; i += 8) {
    uint8_t us[8], vs[8];
    for (int k = 0; k < 8; ++k) {
      us[k] = u[i + k];
      vs[k] = v[i + k];
    }
    for (int k = 0; k < 8; ++k) {
      vu[2 * (i + k)] = vs[k];
      vu[2 * (i + k) + 1] = us[k];
    }
  }
}

void SplitVUPlane_C(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes) {
  if (bytes <= 0) return;
  // ((bytes - 1) >> 4) + 1 blocks of 16 interleaved bytes, taken unsigned.
  const unsigned blocks = ((static_cast<unsigned>(bytes) - 1u) >> 4) + 1u;
  for (unsigned b = 0; b < blocks; ++b) {
    uint8_t block[16];
    for (int k = 0; k < 16; ++k) block[k] = vu[16 * b + k];
    for (int k = 0; k < 8; ++k) u[8 * b + k] = block[2 * k + 1];
    for (int k = 0; k < 8; ++k) v[8 * b + k] = block[2 * k];
  }
}

extern "C" void ConvertI420ToNV21(unsigned char* src, unsigned char* dst,
                                  int width, int height) {
  const int n = width * height;
  CopyBytes(dst, src, n);
  const int q = n >> 2;
  MergeVUPlane(src + n, src + n + q, dst + n, q);
}

extern "C" void ConvertNV21ToI420(unsigned char* src, unsigned char* dst,
                                  int width, int height) {
  const int n = width * height;
  CopyBytes(dst, src, n);
  SplitVUPlane(src + n, dst + n, dst + n + (n >> 2), n >> 1);
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
  MergeVUPlane(src->pU + c, src->pV + c, dst->pU + 2 * c, n >> 2);
}

extern "C" void ConvertNV21ToI420_YUV(sYuvImage_t* src, sYuvImage_t* dst,
                                      int width, int rows, int offset,
                                      int withChroma) {
  const int n = width * rows;
  CopyBytes(dst->pY + offset, src->pY + offset, n);
  if (!withChroma) return;
  const int c = PlanarChromaOffset(offset);
  SplitVUPlane(src->pU + 2 * c, dst->pU + c, dst->pV + c, n >> 1);
}

extern "C" void ConvertNV21ToI420_UV(sYuvImage_t* src, sYuvImage_t* dst,
                                     int width, int rows, int offset) {
  const int c = PlanarChromaOffset(offset);
  SplitVUPlane(src->pU + 2 * c, dst->pU + c, dst->pV + c, (width * rows) >> 1);
}
