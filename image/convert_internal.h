// Chroma movers behind the NV21 <-> I420 conversions.
//
// Both read and write exactly the samples they are given: whole blocks of 8
// chroma pairs, then one short block for the rest. Each block, the short
// one too, is read completely before any of it is written, and the U bytes
// of a block are stored before its V bytes, so the scalar and vector
// versions agree byte for byte even when the ranges overlap.
//
// The exported conversions (convert.h) keep their whole-block stepping
// through MergeVUPlaneWholeBlocks and SplitVUPlaneWholeBlocks below.
#ifndef VD_IMAGE_CONVERT_INTERNAL_H_
#define VD_IMAGE_CONVERT_INTERNAL_H_

#include <stddef.h>
#include <stdint.h>

// Interleaves count planar samples into V, U pairs: vu[2i] = v[i],
// vu[2i + 1] = u[i] for i < count; reads count bytes of each plane and
// writes 2 * count. Nothing happens when count <= 0.
void MergeVUPlane_C(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                    int count);
// Splits a run of `bytes` interleaved V, U bytes into the planes:
// v[i] = vu[2i] for i < (bytes + 1) / 2 and u[i] = vu[2i + 1] for
// i < bytes / 2, so an odd count's last byte goes to V alone. Reads bytes
// bytes and writes nothing else. Nothing happens when bytes <= 0.
void SplitVUPlane_C(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);

// The same, with the variant of the process level.
void MergeVUPlane(const uint8_t* u, const uint8_t* v, uint8_t* vu, int count);
void SplitVUPlane(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);

// The exported conversions' stepping: count rounded up to whole blocks of
// 8 samples (bytes to whole blocks of 16), then the mover of the process
// level, so the last block reads and writes up to 7 pairs past the given
// range. The conversions' counts (a quarter or half of an int frame size)
// never overflow the rounding.
void MergeVUPlaneWholeBlocks(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                             int count);
void SplitVUPlaneWholeBlocks(const uint8_t* vu, uint8_t* u, uint8_t* v,
                             int bytes);

// Vector twins: when no range overlaps another they move several blocks per
// step; otherwise they keep the block-by-block order above (convert_walk.h).
#if defined(__ARM_NEON)
void MergeVUPlane_NEON(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count);
void SplitVUPlane_NEON(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);
#endif

#if defined(__x86_64__) || defined(_M_X64)
// x86-64 twins (AVX2 only where the processor has it).
void MergeVUPlane_SSE2(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count);
void SplitVUPlane_SSE2(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);
void MergeVUPlane_AVX2(const uint8_t* u, const uint8_t* v, uint8_t* vu,
                       int count);
void SplitVUPlane_AVX2(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);
#endif

// The family's variant table (base/vd_cpu.h).
struct ChromaMoveKernels {
  void (*merge)(const uint8_t* u, const uint8_t* v, uint8_t* vu, int count);
  void (*split)(const uint8_t* vu, uint8_t* u, uint8_t* v, int bytes);
};
void VdInitChromaMoveKernels(ChromaMoveKernels* k, int level);
const ChromaMoveKernels& VdChromaMoveKernels(int level);

#endif  // VD_IMAGE_CONVERT_INTERNAL_H_
