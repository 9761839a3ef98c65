// The exported pixel kernels, one call per input: the family, its geometry
// and the pixels are drawn from the input. Every buffer has exactly the size
// its header gives a direct caller (kernel_sizes.h: the plane, or more where
// a kernel's stepping runs past it) and lies against an inaccessible guard
// page at its end or at its start, so a kernel that touches a byte beyond
// its documented size faults. Where a kernel has a vector twin the exported
// kernel and the scalar reference must write identical bytes. Each input
// runs once per SIMD level this machine has, so the exported kernels go
// through every level's variant table (base/vd_cpu.h).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/vd_cpu.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/kernel_sizes.h"
#include "api/vd_instance.h"
#include "image/convert.h"
#include "image/convert_internal.h"
#include "image/resample.h"
#include "image/resample_internal.h"
#include "morphology/mask_morphology.h"
#include "morphology/mask_morphology_internal.h"
#include "morphology/se_morphology.h"
#include "spatial/bilateral.h"
#include "spatial/bilateral_internal.h"
#include "spatial/box_filter.h"
#include "spatial/box_filter_internal.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"
#include "spatial/sharpness.h"
#include "spatial/sharpness_internal.h"
#include "temporal/motion_mask.h"
#include "temporal/motion_mask_internal.h"
#include "temporal/temporal_filter.h"
#include "temporal/temporal_filter_internal.h"
#include "api/video_denoise.h"
#include "tests/mask_stepping_model.h"
#include "tests/motion_stepping_model.h"
#include "tests/test_util.h"

// fuzz/c_calls.c: the enumeration arguments as a C client passes them.
extern "C" int VdFuzzMorphologyFromC(int type, unsigned char* src,
                                     unsigned char* dst, int width,
                                     int height, sVNRPoint* element);
extern "C" int VdFuzzEroseOrDilateFromC(int type, unsigned char* src,
                                        unsigned char* dst, int width,
                                        int height, sVNRPoint* element);

namespace {

using vdfuzz::FuzzInput;
using vdtest::GuardedBuffer;

const uint8_t kCanary = 0xA5;

// A guarded plane filled from the input: a few literal bytes repeated, or
// pseudo-random bytes (optionally narrowed to a low-contrast band so that
// sums sit near rounding edges, or to mask values 0 / 255).
struct Plane {
  Plane(size_t n, GuardedBuffer::Flush flush) : buffer(n, flush) {}
  uint8_t* data() const { return buffer.data(); }
  size_t size() const { return buffer.size(); }
  GuardedBuffer buffer;
};

void Fill(FuzzInput& in, Plane& p) {
  const uint8_t mode = in.Byte() % 4;
  const uint32_t seed = in.U32();
  uint8_t* d = p.data();
  const size_t n = p.size();
  vdtest::FillRandom(d, n, seed);
  if (mode == 1) {
    for (size_t i = 0; i < n; ++i) d[i] = 100 + (d[i] & 7);
  } else if (mode == 2) {
    for (size_t i = 0; i < n; ++i) d[i] = (d[i] & 1) ? 255 : 0;
  } else if (mode == 3) {
    uint8_t pattern[8];
    for (uint8_t& b : pattern) b = in.Byte();
    for (size_t i = 0; i < n; ++i) d[i] = pattern[i & 7];
  }
}

// A buffer of `before` bytes in front of a plane and `after` bytes from its
// start, flush against a guard page at the end chosen.
struct Reaching {
  Reaching(const vdfuzz::Reach& reach, GuardedBuffer::Flush flush)
      : plane(reach.before + reach.after, flush), before(reach.before) {}
  uint8_t* data() const { return plane.data() + before; }
  Plane plane;
  size_t before;
};

GuardedBuffer::Flush DrawFlush(FuzzInput& in) {
  return in.Bit() ? GuardedBuffer::kFlushStart : GuardedBuffer::kFlushEnd;
}

void Same(const Plane& a, const Plane& b) {
  if (a.size() != b.size() || std::memcmp(a.data(), b.data(), a.size()) != 0) {
    std::abort();
  }
}

uint8_t Abs(uint8_t a, uint8_t b) {
  return static_cast<uint8_t>(a > b ? a - b : b - a);
}

// Two destination planes of n bytes with the same canary fill.
struct Outputs {
  Outputs(size_t n, GuardedBuffer::Flush flush) : a(n, flush), b(n, flush) {
    std::memset(a.data(), kCanary, n);
    std::memset(b.data(), kCanary, n);
  }
  Plane a, b;
};

using BoxC = BoxFilterFn;
using BoxX = int (*)(unsigned char*, unsigned char*, int, int, sVNRPoint*, int);

void FuzzBox(FuzzInput& in, BoxX exported, BoxC reference) {
  const int width = in.Range(1, 300);
  const int rows = in.Range(1, 28);
  const int edge = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * rows;
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  if (reference(src.data(), width, out.a.data(), width, width, rows, edge) != 1) {
    std::abort();
  }
  if (exported(src.data(), out.b.data(), width, rows, nullptr, edge) != 1) {
    std::abort();
  }
  Same(out.a, out.b);
}

void FuzzSharpness(FuzzInput& in) {
  const int width = in.Range(1, 300);
  const int height = in.Range(1, 28);
  const int edge = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  VideoDenoiseSharpness_C(src.data(), out.a.data(), width, height, edge);
  VideoDenoiseSharpness(src.data(), out.b.data(), width, height, edge);
  Same(out.a, out.b);
}

void FuzzFuzzyUV(FuzzInput& in) {
  const int width = in.Range(3, 300);
  const int height = in.Range(1, 12);
  const int edge = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  FuzzyFilter_UV_C(src.data(), out.a.data(), width, height, edge);
  FuzzyFilter_UV(src.data(), out.b.data(), width, height, edge);
  Same(out.a, out.b);
}

void FuzzFuzzyLuma(FuzzInput& in) {
  const int width = in.Range(1, 300);
  const int height = in.Range(1, 12);
  const int edge = in.Range(0, 3);
  const int guideSel = in.Bit();
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane src(n, flush), guide(n, flush);
  Fill(in, src);
  Fill(in, guide);
  Outputs out(n, flush);
  uint8_t* g = guideSel ? nullptr : guide.data();
  FuzzyFilter_C(g, src.data(), out.a.data(), width, height, edge, guideSel);
  FuzzyFilter(g, src.data(), nullptr, nullptr, out.b.data(), width, height,
              edge, guideSel, 0);
  Same(out.a, out.b);
}

void FuzzFuzzyTable(FuzzInput& in) {
  const int width = in.Range(1, 300);
  const int height = in.Range(1, 12);
  const int level = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane cur(n, flush), diff(n, flush), sign(n, flush);
  Fill(in, cur);
  Fill(in, diff);
  Fill(in, sign);
  // Differences are clamped to 0..32 and signs are 0 or 1 by the callers.
  for (size_t i = 0; i < n; ++i) {
    diff.data()[i] %= 33;
    sign.data()[i] &= 1;
  }
  Outputs out(n, flush);
  FuzzyFilter_2_C(cur.data(), diff.data(), sign.data(), out.a.data(), width,
                  height, level);
  FuzzyFilter_2(cur.data(), diff.data(), sign.data(), out.b.data(), nullptr,
                width, height, level);
  Same(out.a, out.b);
}

void FuzzBilateral(FuzzInput& in) {
  const int which = in.Range(0, 3);
  const int width = in.Range(1, 64);
  const int height = in.Range(1, 40);
  const int sigmaSpatial = in.Range(-1, 12);
  const int sigmaRange = in.Range(-1, 300);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  if (which < 2 && (sigmaSpatial <= 0 || sigmaRange <= 0)) {
    // Refused before any work: nothing is written.
    if (which == 0) {
      bilateral_7x7_neon(src.data(), out.b.data(), width, height,
                         sigmaSpatial, sigmaRange);
    } else {
      bilateral_9x9_neon(src.data(), out.b.data(), width, height,
                         sigmaSpatial, sigmaRange);
    }
    Same(out.a, out.b);
  } else if (which == 0) {
    Bilateral7x7_C(src.data(), out.a.data(), width, height, sigmaSpatial,
                   sigmaRange);
    bilateral_7x7_neon(src.data(), out.b.data(), width, height, sigmaSpatial,
                       sigmaRange);
    Same(out.a, out.b);
  } else if (which == 1) {
    Bilateral9x9_C(src.data(), out.a.data(), width, height, sigmaSpatial,
                   sigmaRange);
    bilateral_9x9_neon(src.data(), out.b.data(), width, height, sigmaSpatial,
                       sigmaRange);
    Same(out.a, out.b);
  } else if (which == 2) {
    BilateralFilter_new(src.data(), out.a.data(), height, width, sigmaSpatial,
                        sigmaRange, in.Range(-1, 3));
  } else {
    Plane guide(n, flush), work(n, flush);
    Fill(in, guide);
    if (in.Bit()) {
      CrossBilateralFilter(src.data(), height, width, sigmaSpatial, sigmaRange,
                           work.data(), guide.data());
    } else {
      BilateralFilter(src.data(), height, width, sigmaSpatial, sigmaRange,
                      work.data());
    }
  }
}

// The chroma movers the frame paths call, of the process level, on exactly
// their samples: separate planes, or one buffer with the output starting
// inside the input (merge) or the V plane inside the U plane (split). The
// result must equal the scalar reference's on a copy of the same layout.
void FuzzChromaMovers(FuzzInput& in) {
  const int count = in.Range(0, 200);
  const bool merge = in.Bit(), overlap = in.Bit();
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t c = static_cast<size_t>(count);
  // merge: u, v, vu (2c); split: vu (c), u (c / 2), v ((c + 1) / 2).
  const size_t one = merge ? 3 + 2 * c : c + c / 4 + (c + 1) / 2;
  Plane a(overlap ? one : (merge ? 4 * c : 2 * c), flush);
  Fill(in, a);
  std::vector<uint8_t> b(a.data(), a.data() + a.size());
  auto run = [&](uint8_t* p, bool reference) {
    if (merge) {
      // Inputs from 3 over the output, or u, v, vu one after another.
      const uint8_t* u = overlap ? p + 3 : p;
      uint8_t* vu = overlap ? p : p + 2 * c;
      (reference ? MergeVUPlane_C : MergeVUPlane)(u, u + c, vu, count);
    } else {
      uint8_t* u = p + c;
      uint8_t* v = overlap ? u + c / 4 : u + c / 2;
      (reference ? SplitVUPlane_C : SplitVUPlane)(p, u, v, count);
    }
  };
  run(a.data(), false);
  run(b.data(), true);
  if (!b.empty() && std::memcmp(a.data(), b.data(), b.size()) != 0) std::abort();
}

// Whole NV21 / I420 frames of any size: chroma moves in blocks of 8 pairs,
// so a chroma count that is not a multiple of 8 reads and writes up to the
// end of its last block. One input in two goes to the exact movers instead.
void FuzzConvert(FuzzInput& in) {
  if (in.Bit()) {
    FuzzChromaMovers(in);
    return;
  }
  const int width = in.Range(1, 320);
  const int height = in.Range(1, 64);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const bool toNV21 = in.Bit();
  const vdfuzz::Sizes first = toNV21 ? vdfuzz::I420ToNV21Sizes(width, height)
                                     : vdfuzz::NV21ToI420Sizes(width, height);
  Plane src(first.src, flush);
  Fill(in, src);
  Plane mid(first.dst, flush);
  if (toNV21) {
    ConvertI420ToNV21(src.data(), mid.data(), width, height);
  } else {
    ConvertNV21ToI420(src.data(), mid.data(), width, height);
  }
  const size_t n = static_cast<size_t>(width) * height;
  // Whole blocks, and as many interleaved bytes as twice the planar samples
  // (n a multiple of 4): the second conversion then reads exactly what the
  // first wrote, and the two undo each other.
  if ((n >> 2) % 8 != 0 || n % 4 != 0) return;
  const vdfuzz::Sizes second = toNV21 ? vdfuzz::NV21ToI420Sizes(width, height)
                                      : vdfuzz::I420ToNV21Sizes(width, height);
  Plane back(second.dst, flush);
  if (toNV21) {
    ConvertNV21ToI420(mid.data(), back.data(), width, height);
  } else {
    ConvertI420ToNV21(mid.data(), back.data(), width, height);
  }
  if (std::memcmp(src.data(), back.data(), n + 2 * (n >> 2)) != 0) {
    std::abort();
  }
}

// The motion kernels at any width and height: the row-pair walks of the
// vector kernels step over whole 16- or 32-pixel blocks and stay inside the
// plane (compared with the model of that stepping); the others visit every
// pixel.
void FuzzMotion(FuzzInput& in) {
  const int which = in.Range(0, 10);
  const int width = in.Range(1, 320);
  const int height = in.Range(1, 24);
  const uint8_t threshold = in.Byte();
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  Plane a(n, flush), b(n, flush), c(n, flush);
  Fill(in, a);
  Fill(in, b);
  Fill(in, c);
  Outputs out(n, flush), sign(n, flush);
  switch (which) {
    case 0:
      // The row-pair kernels against the model of their documented
      // stepping (tests/motion_stepping_model.h) with the plain rules.
      vdtest::MotionPairSteppingModel(width, height, 16, [&](size_t i) {
        out.a.data()[i] = Abs(a.data()[i], b.data()[i]);
      });
      CalSADImage_neon(a.data(), b.data(), out.b.data(), width, height);
      break;
    case 1:
      vdtest::MotionPairSteppingModel(width, height, 32, [&](size_t i) {
        out.a.data()[i] = Abs(a.data()[i], b.data()[i]) > threshold ? 255 : 0;
      });
      CalSAD_threshhold_neon(a.data(), b.data(), out.b.data(), width, height,
                             threshold);
      break;
    case 2:
      vdtest::MotionPairSteppingModel(width, height, 16, [&](size_t i) {
        const uint8_t d = Abs(a.data()[i], b.data()[i]);
        out.a.data()[i] = d < 16 ? d : 16;
        sign.a.data()[i] = b.data()[i] >= a.data()[i] ? 1 : 0;
      });
      CalDiffAbs_neon(a.data(), b.data(), out.b.data(), sign.b.data(), width,
                      height, 0);
      Same(sign.a, sign.b);
      break;
    case 3:
      vdtest::MotionPackedSteppingModel(width, height, [&](size_t i) {
        out.a.data()[i] = a.data()[i] > threshold ? 255 : 0;
      });
      ThresholdImage2_neon(nullptr, a.data(), out.b.data(), width, height,
                           threshold, 255);
      break;
    case 4:
      TemporalFilterS_C(a.data(), b.data(), c.data(), out.a.data(), width,
                        height);
      TemporalFilterS(a.data(), b.data(), c.data(), out.b.data(), width,
                      height);
      break;
    case 5: {
      // Rows a stride apart: (height - 1) * stride + width bytes each.
      const int stride = width + in.Range(0, 17);
      const size_t bytes = vdfuzz::Strided(width, height, stride);
      Plane first(bytes, flush), second(bytes, flush), sad(bytes, flush);
      Fill(in, first);
      Fill(in, second);
      CalSADImage(first.data(), second.data(), sad.data(), width, height,
                  stride);
      return;
    }
    case 6:
      ThresholdImage2(nullptr, a.data(), out.a.data(), width, height,
                      threshold, in.Byte());
      return;
    case 7:
      Threshold(a.data(), out.a.data(), width, height, in.Range(-1, 256),
                in.Byte());
      return;
    case 8:
      AdaptiveThreshold(a.data(), out.a.data(), width, height,
                        in.Range(-1, 300));
      return;
    case 9: {
      // With chroma, mask and history are I420 blocks.
      const int withChroma = in.Bit();
      const size_t bytes = withChroma && height >= 2
                               ? vdfuzz::I420BlockBytes(width, height)
                               : n;
      Plane mask(bytes, flush), history(bytes, flush);
      Fill(in, mask);
      Fill(in, history);
      MotionDetection(mask.data(), history.data(), width, height,
                      in.Range(-2, 9), withChroma, 0);
      return;
    }
    default:
      MotionCounter(a.data(), b.data(), width, height, in.Range(-2, 9));
      return;
  }
  Same(out.a, out.b);
}

// The mask morphology kernels at any width and row count, with source and
// destination of exactly the sizes their header gives: where the row-pair
// walk of DeleteDiscretePoints, Erose5x5 and Dilate9x9 is not exact, and for
// the drifting rows of Dilate5x5, that is more than the plane.
void FuzzMorphology(FuzzInput& in) {
  const int which = in.Range(0, 4);
  const int width = in.Range(1, 300);
  const int rows = in.Range(1, 40);
  const int edge = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  vdfuzz::Sizes sizes;
  switch (which) {
    case 0: sizes = vdfuzz::DeleteDiscretePointsSizes(width, rows); break;
    case 1: sizes = vdfuzz::MaskPairSizes(width, rows, 2); break;
    case 2: sizes = vdfuzz::MaskPairSizes(width, rows, 4); break;
    case 3: sizes = vdfuzz::Dilate5x5Sizes(width, rows); break;
    default: sizes.src = sizes.dst = vdfuzz::Plane(width, rows); break;
  }
  Plane src(sizes.src, flush);
  Fill(in, src);
  Outputs out(sizes.dst, flush);
  switch (which) {
    // The walked kernels against the straight-line model of their stepping.
    case 0:
      vdtest::MaskSteppingModel(src.data(), out.a.data(), width, rows, edge, 1);
      DeleteDiscretePoints(src.data(), out.b.data(), width, rows, edge, 0, 4);
      break;
    case 1:
      vdtest::MaskSteppingModel(src.data(), out.a.data(), width, rows, edge, 2);
      Erose5x5(src.data(), out.b.data(), width, rows, edge);
      break;
    case 2:
      vdtest::MaskSteppingModel(src.data(), out.a.data(), width, rows, edge, 4);
      Dilate9x9(src.data(), out.b.data(), width, rows, edge);
      break;
    case 3:
      // One implementation: both calls write the same bytes.
      Dilate5x5(src.data(), out.a.data(), width, rows, edge);
      Dilate5x5(src.data(), out.b.data(), width, rows, edge);
      break;
    default:
      Dilate15x15_C(src.data(), out.a.data(), width, rows, edge);
      Dilate15x15(src.data(), out.b.data(), width, rows, edge);
      break;
  }
  Same(out.a, out.b);
}

// The fixed-ratio scalers of the chroma path and the general resizers, with
// strides where the kernel takes them.
void FuzzResample(FuzzInput& in) {
  const int which = in.Range(0, 7);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  if (which == 0) {
    const int width = in.Range(1, 160);
    const int height = in.Range(1, 64);
    Plane src(vdfuzz::Plane(width, height), flush);
    Fill(in, src);
    Outputs out(vdfuzz::Plane(width / 4, height / 4), flush);
    DownScaleNewX16_C(src.data(), height, width, out.a.data());
    DownScaleNewX16(src.data(), height, width, out.b.data());
    Same(out.a, out.b);
  } else if (which == 1 || which == 2) {
    const int width = in.Range(1, 48);
    const int height = in.Range(1, 16);
    const int scale = which == 1 ? 4 : 8;
    Plane src(static_cast<size_t>(width) * height, flush);
    Fill(in, src);
    Outputs out(static_cast<size_t>(width) * height * scale * scale, flush);
    if (scale == 4) {
      UpScaleNewX16_C(src.data(), height, width, out.a.data());
      UpScaleNewX16(src.data(), height, width, out.b.data());
    } else {
      UpScaleX64_C(src.data(), height, width, 0, out.a.data());
      UpScaleX64(src.data(), height, width, 0, out.b.data());
    }
    Same(out.a, out.b);
  } else if (which == 3) {
    // Source rows srcStride apart, destination rows srcStride / 2 apart.
    const int width = in.Range(1, 160);
    const int height = in.Range(1, 64);
    const int stride = width + in.Range(0, 9);
    Plane src(vdfuzz::Strided(2 * (width / 2), 2 * (height / 2), stride),
              flush);
    Fill(in, src);
    Outputs out(vdfuzz::Strided(width / 2, height / 2, stride / 2), flush);
    DownScale_C(src.data(), height, width, stride, out.a.data());
    DownScale(src.data(), height, width, stride, out.b.data());
    Same(out.a, out.b);
  } else if (which == 4) {
    const int width = in.Range(1, 64);
    const int height = in.Range(1, 32);
    const int stride = 2 * width + in.Range(0, 9);
    Plane src(vdfuzz::Plane(width, height), flush);
    Fill(in, src);
    Plane dst(vdfuzz::Strided(2 * width, 2 * height, stride), flush);
    UpScale(src.data(), height, width, stride, dst.data());
  } else {
    const int sw = in.Range(1, 200), sh = in.Range(1, 64);
    const int dw = in.Range(1, 200), dh = in.Range(1, 64);
    const int ss = sw + in.Range(0, 9), ds = dw + in.Range(0, 9);
    Plane dst(vdfuzz::Strided(dw, dh, ds), flush);
    if (which == 7) {
      // Samples byte 3 of every fifteenth-or-so source row, output packed.
      Plane src(vdfuzz::NearestNeighbor2Src(dh, ss), flush);
      Fill(in, src);
      Plane packed(vdfuzz::Plane(dw, dh), flush);
      ResizeNearestNeighbor2(src.data(), sw, sh, ss, packed.data(), dw, dh,
                             ds);
      return;
    }
    Plane src(vdfuzz::Strided(sw, sh, ss), flush);
    Fill(in, src);
    if (which == 5) {
      ResizeBilinear(src.data(), sw, sh, ss, dst.data(), dw, dh, ds);
    } else {
      ResizeNearestNeighbor(src.data(), sw, sh, ss, dst.data(), dw, dh, ds);
    }
  }
}

// Structuring-element morphology with any element, negative sizes too. The
// binary operations read a window of y rows from R = x >> 1 rows up, which
// runs past the last row when y > 2R + 1; Morphology's window of an element
// taller than wide starts before the first row and runs past the last. The
// source has exactly the reach its header gives on both sides.
void FuzzSeMorphology(FuzzInput& in) {
  const int which = in.Range(0, 4);
  const int width = in.Range(1, 80);
  const int height = in.Range(1, 40);
  sVNRPoint element;
  element.x = in.Range(-4, 12);
  element.y = in.Range(-2, 16);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  if (which == 3) {
    // Luma and both quarter-size chroma planes of an I420 block.
    const size_t block = vdfuzz::I420BlockBytes(width, height);
    Plane src(block, flush);
    Fill(in, src);
    Outputs out(block, flush);
    // Types other than 0 and 1 are refused with a log line.
    VdFuzzEroseOrDilateFromC(in.Range(-1, 2), src.data(), out.a.data(),
                             width, height, &element);
    return;
  }
  if (which == 4) {
    // Erose / Dilate on a rectangle: rows iTop .. iTop + iHeight - 1 at
    // their strides, bytes 0 .. iWidth - 1 of each; iLeft only selects taps.
    sVNRRectangle rect;
    rect.iTop = in.Range(0, 6);
    rect.iLeft = in.Range(-3, 20);
    rect.iWidth = width;
    rect.iHeight = height;
    const int srcStride = width + in.Range(0, 7);
    const int dstStride = width + in.Range(0, 7);
    Plane src(vdfuzz::RectBytes(rect.iTop, width, height, srcStride), flush);
    Fill(in, src);
    Plane dst(vdfuzz::RectBytes(rect.iTop, width, height, dstStride), flush);
    if (in.Bit()) {
      Erose(src.data(), dst.data(), srcStride, dstStride, &rect, &element,
            nullptr);
    } else {
      Dilate(src.data(), dst.data(), srcStride, dstStride, &rect, &element,
             nullptr);
    }
    return;
  }
  const vdfuzz::Reach reach =
      which == 2 ? vdfuzz::MorphologySrc(width, height, element.x, element.y)
                 : vdfuzz::BinaryMorphologySrc(width, height, element.x,
                                               element.y);
  Reaching src(reach, flush);
  Fill(in, src.plane);
  Outputs out(n, flush);
  if (which == 0) {
    EroseImage(src.data(), out.a.data(), width, height, &element);
  } else if (which == 1) {
    DilateImage(src.data(), out.a.data(), width, height, &element);
  } else {
    // A type above 1 behaves as dilation.
    VdFuzzMorphologyFromC(in.Range(0, 3), src.data(), out.a.data(), width,
                          height, &element);
  }
}

// The multi-scale chroma filter on work buffers of exactly the sizes its
// header gives, put in place of the stripe's global ones for the call.
void FuzzFilterUV(FuzzInput& in) {
  const int width = in.Range(1, 200);
  const int rows = in.Range(1, 64);
  const int up = in.Range(0, 16);
  const int down = in.Range(0, 16);
  const int level = in.Range(-1, 4);
  const int stripe = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const vdfuzz::ChromaFilterSizes z =
      vdfuzz::FilterUVSizes(width, rows, up, down, level);
  Plane src(z.src, flush), dst(z.dst, flush);
  Plane uv1(z.uv1, flush), uv2(z.uv2, flush), uv3(z.uv3, flush);
  Fill(in, src);
  p_uvSpaBuff_1[stripe] = uv1.data();
  p_uvSpaBuff_2[stripe] = uv2.data();
  p_uvSpaBuff_3[stripe] = uv3.data();
  filterUV(src.data(), dst.data(), width, rows, nullptr, 0, up, down, level,
           stripe);
  p_uvSpaBuff_1[stripe] = p_uvSpaBuff_2[stripe] = p_uvSpaBuff_3[stripe] =
      nullptr;
}

// The division-by-nine table: 2296 bytes.
void FuzzBoxFilterSum(FuzzInput& in) {
  Plane table(2296, DrawFlush(in));
  InitBoxFilterSum(table.data());
  for (int i = 0; i < 2296; ++i) {
    if (table.data()[i] != i / 9) std::abort();
  }
}

void QuietSink(int, const char*, const char*) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Morphology logs a timing line per call, MotionCounter prints a line to
  // standard output; libFuzzer reports on standard error.
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
  return 0;
}

namespace {

void RunOne(FuzzInput& in) {
  switch (in.Byte() % 16) {
    case 0: FuzzBox(in, BoxFilter3x3, BoxFilter3x3_C); break;
    case 1: FuzzBox(in, BoxFilter, BoxFilter_C); break;
    case 2: FuzzBox(in, BoxFilter7x7, BoxFilter7x7_C); break;
    case 3: FuzzBox(in, BoxFilter_nxn, BoxFilter_nxn_C); break;
    case 4: FuzzSharpness(in); break;
    case 5: FuzzFuzzyUV(in); break;
    case 6: FuzzFuzzyLuma(in); break;
    case 7: FuzzFuzzyTable(in); break;
    case 8: FuzzBilateral(in); break;
    case 9: FuzzConvert(in); break;
    case 10: FuzzMotion(in); break;
    case 11: FuzzMorphology(in); break;
    case 12: FuzzResample(in); break;
    case 13: FuzzSeMorphology(in); break;
    case 14: FuzzFilterUV(in); break;
    default: FuzzBoxFilterSum(in); break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 256) return -1;
  int levels[kVdSimdLevelCount];
  const int count = VdMachineSimdLevels(levels);
  for (int i = 0; i < count; ++i) {
    VdSetSimdLevel(levels[i]);
    FuzzInput in(data, size);
    RunOne(in);
  }
  VdSetSimdLevel(-1);
  return 0;
}
