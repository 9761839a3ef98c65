// Faults that the fuzz targets (fuzz/) and the sanitizer runs found, kept as
// plain tests so that every build, sanitizer builds included, replays them.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/vd_instance.h"
#include "morphology/mask_morphology.h"
#include "morphology/mask_morphology_internal.h"
#include "parallel/stripe.h"
#include "tests/test_util.h"

// Morphology as a C client declares it through the C header: the type is
// an int there, and any value may arrive (this file does not include the
// C++ view of se_morphology.h).
extern "C" int Morphology(int type, unsigned char* src, unsigned char* dst,
                          int width, int height, sVNRPoint* element,
                          unsigned char unused1, int unused2);

namespace {

std::string WriteTempFile(const std::string& text) {
  char path[] = "/tmp/vd_fuzz_regression_XXXXXX";
  const int fd = mkstemp(path);
  EXPECT_GE(fd, 0);
  FILE* file = fdopen(fd, "w");
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
  return path;
}

// config_fuzzer: line 11 holds the ring count minus one; the largest int
// there made "plus one" overflow (undefined behaviour, caught by UBSan).
// The count is clamped to the two slots like any other out-of-range value.
TEST(FuzzRegression, LargestRingCountInConfigDoesNotOverflow) {
  std::string text;
  for (int i = 0; i < 10; ++i) text += "k=0\n";
  text += "frames=2147483647\n";
  const std::string path = WriteTempFile(text);
  Video_Denoise_Handle handle;
  std::memset(&handle, 0, sizeof(handle));
  InitVideoDenoiseParams(&handle);
  vdtest::LogCapture log;
  EXPECT_EQ(0, ParseCfgFile(&handle, const_cast<char*>(path.c_str())));
  EXPECT_EQ(2, handle.iPrevFrameNum);
  EXPECT_EQ(1, log.Count("iPrevFrameNum:2147483647 from config is out of "
                         "range[1,2], using 2!\n"));
  std::remove(path.c_str());
}

// kernel_fuzzer: a C client may pass Morphology any int as its type (one
// above 1 behaves as dilation), but the library read it as a value of the
// two-value C++ enumeration, which is undefined for 2 (clang's UBSan: "load
// of value 2, which is not a valid value for type 'eVNRMorphologyType'"; the
// fuzz build has that check, GCC's UBSan does not, so under GCC this test
// checks the behaviour only; fuzz/corpus/kernel/morphology_type_2 replays
// it in the fuzz build).
TEST(FuzzRegression, MorphologyTypeAboveOneFromCBehavesAsDilation) {
  const int width = 8, height = 8;
  std::vector<uint8_t> src(width * height, 0), a(src.size()), b(src.size());
  src[3 * width + 3] = 255;
  sVNRPoint element = {3, 3};
  vdtest::LogCapture log;  // one timing line per call
  EXPECT_EQ(1, Morphology(1, src.data(), a.data(), width, height, &element, 0,
                          0));
  EXPECT_EQ(1, Morphology(2, src.data(), b.data(), width, height, &element, 0,
                          0));
  EXPECT_EQ(a, b);
  EXPECT_NE(src, b);
  EXPECT_EQ(2u, log.Lines().size());
}

// ThreadSanitizer, temporal pipeline: Dilate9x9 computes four rows past the
// rows it is given, so with a stripe's borrowed rows below it wrote the next
// stripe's first four rows while that stripe's worker wrote them too (a data
// race, with equal bytes only when the row stepping is exact). The pipeline's
// dilation writes each stripe's own rows, with the same bytes there, and
// nothing below.
TEST(SanitizerRegression, StripeDilationWritesOnlyItsOwnRows) {
  // A width whose interior (width - 8) is a whole number of 32-column steps
  // plus the 24-column last step: the kernel's rows then do not drift.
  const int width = 128, height = 96, stripe = 32;  // three stripes of 32
  const int chromaWidth = width / 2;
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t total = luma * 3 / 2 + 16 * static_cast<size_t>(width);
  std::vector<uint8_t> mask = vdtest::RandomBytes(total, 5);
  for (uint8_t& b : mask) b = (b & 15) == 0 ? 255 : 0;
  auto describe = [&](std::vector<uint8_t>& v) {
    sYuvImage_t image;
    std::memset(&image, 0, sizeof(image));
    image.iWidth = width;
    image.iHeight = height;
    image.iStride = width;
    image.pBuffer = image.pY = v.data();
    image.pU = v.data() + luma;
    image.pV = v.data() + luma + luma / 4;
    return image;
  };
  const int edges[3] = {VD_EDGE_TOP, VD_EDGE_INTERIOR, VD_EDGE_BOTTOM};
  for (int i = 0; i < 3; ++i) {
    std::vector<uint8_t> before(total, 0x11), after(total, 0x11);
    sYuvImage_t src = describe(mask), a = describe(before), b = describe(after);
    const int offset = i * stripe * width;
    DilateProcess(&src, &a, width, stripe, 1, offset, edges[i]);
    EXPECT_EQ(1, VdDilateStripeOwnRows(&src, &b, width, stripe, 1, offset,
                                       edges[i]));
    // Luma rows of the stripe, and of each chroma plane, are the same.
    for (int y = i * stripe; y < (i + 1) * stripe; ++y) {
      ASSERT_EQ(0, std::memcmp(a.pY + y * width, b.pY + y * width, width))
          << "stripe " << i << " row " << y;
    }
    for (int y = i * stripe / 2; y < (i + 1) * stripe / 2; ++y) {
      ASSERT_EQ(0, std::memcmp(a.pU + y * chromaWidth, b.pU + y * chromaWidth,
                               chromaWidth));
      ASSERT_EQ(0, std::memcmp(a.pV + y * chromaWidth, b.pV + y * chromaWidth,
                               chromaWidth));
    }
    // Nothing below the stripe is written (DilateProcess itself still
    // writes four rows there, as the kernel is defined to).
    if (i < 2) {
      const int next = (i + 1) * stripe;
      for (size_t k = static_cast<size_t>(next) * width; k < luma; ++k) {
        ASSERT_EQ(0x11, after[k]) << "stripe " << i << " byte " << k;
      }
      bool overran = false;
      for (int k = 0; k < 4 * width; ++k) overran |= before[next * width + k] != 0x11;
      EXPECT_TRUE(overran);
    }
  }
}

}  // namespace
