// The pixel kernels, one call per input: the family, its geometry (always
// within what the kernel is defined for: its widths, row stepping and the
// extra source rows some of them read) and the pixels are drawn from the
// input. Every plane lies against an inaccessible guard page (at its end or
// at its start), and where a kernel has a vector twin the exported kernel
// and the scalar reference must write identical bytes. Each input runs once
// per SIMD level this machine has, so the exported kernels go through every
// level's variant table (base/vd_cpu.h).
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/vd_cpu.h"
#include "fuzz/fuzz_input.h"
#include "image/convert.h"
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

GuardedBuffer::Flush DrawFlush(FuzzInput& in) {
  return in.Bit() ? GuardedBuffer::kFlushStart : GuardedBuffer::kFlushEnd;
}

void Same(const Plane& a, const Plane& b) {
  if (a.size() != b.size() || std::memcmp(a.data(), b.data(), a.size()) != 0) {
    std::abort();
  }
}

// Two destination planes of n bytes with the same canary fill.
struct Outputs {
  Outputs(size_t n, GuardedBuffer::Flush flush) : a(n, flush), b(n, flush) {
    std::memset(a.data(), kCanary, n);
    std::memset(b.data(), kCanary, n);
  }
  Plane a, b;
};

using BoxC = int (*)(const unsigned char*, unsigned char*, int, int, int);
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
  if (reference(src.data(), out.a.data(), width, rows, edge) != 1) std::abort();
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

// Whole NV21 / I420 frames whose chroma sample count is a multiple of 8.
void FuzzConvert(FuzzInput& in) {
  const int width = in.Stepped(16, 320, 16);
  const int height = in.Stepped(2, 64, 2);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height * 3 / 2;
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  if (in.Bit()) {
    ConvertNV21ToI420(src.data(), out.a.data(), width, height);
    ConvertI420ToNV21(out.a.data(), out.b.data(), width, height);
  } else {
    ConvertI420ToNV21(src.data(), out.a.data(), width, height);
    ConvertNV21ToI420(out.a.data(), out.b.data(), width, height);
  }
  // The two conversions undo each other.
  Same(src, out.b);
}

// The motion kernels step over row pairs of 16- or 32-pixel blocks: widths
// a multiple of 32 and even heights cover the plane exactly.
void FuzzMotion(FuzzInput& in) {
  const int which = in.Range(0, 4);
  const int width = in.Stepped(32, 320, 32);
  const int height = in.Stepped(2, 24, 2);
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
      CalSADImagePairs_C(a.data(), b.data(), out.a.data(), width, height);
      CalSADImage_neon(a.data(), b.data(), out.b.data(), width, height);
      break;
    case 1:
      CalSAD_threshhold_C(a.data(), b.data(), out.a.data(), width, height,
                          threshold);
      CalSAD_threshhold_neon(a.data(), b.data(), out.b.data(), width, height,
                             threshold);
      break;
    case 2:
      CalDiffAbs_C(a.data(), b.data(), out.a.data(), sign.a.data(), width,
                   height, 0);
      CalDiffAbs_neon(a.data(), b.data(), out.b.data(), sign.b.data(), width,
                      height, 0);
      Same(sign.a, sign.b);
      break;
    case 3:
      ThresholdImage255_C(nullptr, a.data(), out.a.data(), width, height,
                          threshold, 255);
      ThresholdImage2_neon(nullptr, a.data(), out.b.data(), width, height,
                           threshold, 255);
      break;
    default:
      TemporalFilterS_C(a.data(), b.data(), c.data(), out.a.data(), width,
                        height);
      TemporalFilterS(a.data(), b.data(), c.data(), out.b.data(), width,
                      height);
      break;
  }
  Same(out.a, out.b);
}

// Mask morphology at widths where the interior is a whole number of 32-byte
// steps (the row stepping is then exact); the 9x9 dilation reads four source
// rows past the last row it is given.
void FuzzMorphology(FuzzInput& in) {
  const int which = in.Range(0, 2);
  const int k = which == 0 ? 1 : which == 1 ? 2 : 4;
  const int width = 2 * k + in.Stepped(32, 256, 32);
  const int rows = in.Range(2 * k + 1, 2 * k + 24);
  const int edge = in.Range(0, 3);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const int extra = which == 2 ? 4 : 0;
  Plane src(static_cast<size_t>(width) * (rows + extra), flush);
  Fill(in, src);
  Outputs out(static_cast<size_t>(width) * rows, flush);
  if (which == 0) {
    DeleteDiscretePoints_C(src.data(), out.a.data(), width, rows, edge);
    DeleteDiscretePoints(src.data(), out.b.data(), width, rows, edge, 0, 0);
  } else if (which == 1) {
    Erose5x5_C(src.data(), out.a.data(), width, rows, edge);
    Erose5x5(src.data(), out.b.data(), width, rows, edge);
  } else {
    Dilate9x9_C(src.data(), out.a.data(), width, rows, edge);
    Dilate9x9(src.data(), out.b.data(), width, rows, edge);
  }
  Same(out.a, out.b);
}

// The fixed-ratio scalers of the chroma path and the general resizers.
void FuzzResample(FuzzInput& in) {
  const int which = in.Range(0, 4);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  if (which == 0) {
    const int width = in.Stepped(4, 160, 4);
    const int height = in.Stepped(4, 64, 4);
    Plane src(static_cast<size_t>(width) * height, flush);
    Fill(in, src);
    Outputs out(static_cast<size_t>(width / 4) * (height / 4), flush);
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
  } else {
    const int sw = in.Range(1, 200), sh = in.Range(1, 64);
    const int dw = in.Range(1, 200), dh = in.Range(1, 64);
    Plane src(static_cast<size_t>(sw) * sh, flush);
    Fill(in, src);
    Outputs out(static_cast<size_t>(dw) * dh, flush);
    if (which == 3) {
      ResizeBilinear(src.data(), sw, sh, sw, out.a.data(), dw, dh, dw);
    } else {
      ResizeNearestNeighbor(src.data(), sw, sh, sw, out.a.data(), dw, dh, dw);
    }
  }
}

// Structuring-element morphology. The binary operations scan rows from
// r - R with R = x / 2 (the horizontal half-size): element heights up to
// 2R + 1 keep the window inside the plane. The grey-level operations clip
// their taps to the rectangle, which covers the plane as EroseOrDilate
// builds it.
void FuzzSeMorphology(FuzzInput& in) {
  const int which = in.Range(0, 3);
  const int width = in.Range(1, 80);
  const int height = in.Range(1, 40);
  sVNRPoint element;
  element.x = in.Range(1, 11);
  element.y = in.Range(1, 2 * (element.x / 2) + 1);
  const GuardedBuffer::Flush flush = DrawFlush(in);
  const size_t n = static_cast<size_t>(width) * height;
  if (which == 3) {
    // Luma and both quarter-size chroma planes of an I420 block.
    const int w = 2 * ((width + 1) / 2), h = 2 * ((height + 1) / 2);
    const size_t block = static_cast<size_t>(w) * h * 3 / 2;
    Plane src(block, flush);
    Fill(in, src);
    Outputs out(block, flush);
    // Types other than 0 and 1 are refused with a log line.
    VdFuzzEroseOrDilateFromC(in.Range(-1, 2), src.data(), out.a.data(), w, h,
                             &element);
    return;
  }
  Plane src(n, flush);
  Fill(in, src);
  Outputs out(n, flush);
  if (which == 0) {
    EroseImage(src.data(), out.a.data(), width, height, &element);
  } else if (which == 1) {
    DilateImage(src.data(), out.a.data(), width, height, &element);
  } else {
    // Morphology reads rows r - y / 2 .. r + y / 2 - 1 around rows from
    // x / 2: element heights up to x keep it inside.
    element.y = in.Range(1, element.x);
    // A type above 1 behaves as dilation.
    VdFuzzMorphologyFromC(in.Range(0, 3), src.data(), out.a.data(), width,
                          height, &element);
  }
}

void QuietSink(int, const char*, const char*) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Morphology logs a timing line per call.
  TARNO_VideoDenoiseSetLogSink(QuietSink);
  return 0;
}

namespace {

void RunOne(FuzzInput& in) {
  switch (in.Byte() % 14) {
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
    default: FuzzSeMorphology(in); break;
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
