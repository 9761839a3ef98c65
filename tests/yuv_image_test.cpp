// The image record operations and their ownership rules.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/vd_alloc.h"
#include "image/yuv_image.h"
#include "image/yuv_image_internal.h"

namespace {

TEST(YuvImage, MallocYuvLayout) {
  // 10 x 5 = 50 samples: not divisible by 4.
  sYuvImage_t* image = MallocYuv(10, 5);
  ASSERT_NE(nullptr, image);
  EXPECT_EQ(10, image->iWidth);
  EXPECT_EQ(5, image->iHeight);
  EXPECT_EQ(10, image->iStride);
  EXPECT_EQ(30, image->iFrameRate);
  EXPECT_EQ(3, image->iComponents);
  EXPECT_EQ(8, image->iBitDepth);
  EXPECT_EQ(YUV_420, image->eYuvType);
  EXPECT_EQ(image->pBuffer, image->pY);
  EXPECT_EQ(image->pBuffer + 50, image->pU);
  EXPECT_EQ(image->pBuffer + 50 + 12, image->pV);
  sYuvImage_t* keep = image;
  DeleteYuv(&image, 10, 5);
  EXPECT_EQ(keep, image);  // the caller's pointer is left as it was
  sYuvImage_t* none = nullptr;
  DeleteYuv(&none, 0, 0);
}

TEST(YuvImage, FailedAllocationsLeakNothing) {
  VdAllocFailAt(1);  // the block of MallocYuv
  EXPECT_EQ(nullptr, MallocYuv(16, 16));
  VdAllocFailAt(2);  // the U plane of CreateYuvImage
  EXPECT_EQ(nullptr, CreateYuvImage(16, 16, 3, 8, YUV_420, 30));
  VdAllocFailAt(-1);
  // Leaks would show under the sanitizers' leak checker.
  sYuvImage_t* padded = VdMallocYuvEx(16, 16, 64, 1);
  ASSERT_NE(nullptr, padded);
  for (int i = 0; i < 16 * 16 * 3 / 2 + 64; ++i) ASSERT_EQ(0, padded->pBuffer[i]);
  DeleteYuv(&padded, 16, 16);
}

TEST(YuvImage, CreateYuvImageSizesAndTypes) {
  EXPECT_EQ(nullptr, CreateYuvImage(8, 8, 3, 8, static_cast<tagYUVFile_Type>(0), 30));
  EXPECT_EQ(nullptr, CreateYuvImage(8, 8, 3, 8, static_cast<tagYUVFile_Type>(4), 30));
  sYuvImage_t* image = CreateYuvImage(8, 4, 3, 16, YUV_422, 25);
  ASSERT_NE(nullptr, image);
  EXPECT_EQ(16, image->iBitDepth);
  EXPECT_EQ(25, image->iFrameRate);
  EXPECT_EQ(YUV_422, image->eYuvType);
  EXPECT_EQ(nullptr, image->pBuffer);
  // Two bytes per sample: 64 luma bytes, 32 per chroma plane, all zero.
  for (int i = 0; i < 64; ++i) ASSERT_EQ(0, image->pY[i]);
  for (int i = 0; i < 32; ++i) ASSERT_EQ(0, image->pV[i]);
  sYuvImage_t* record = image;
  DeleteYuvImage(&image);
  EXPECT_EQ(nullptr, image);
  EXPECT_EQ(nullptr, record->pY);
  EXPECT_EQ(nullptr, record->pU);
  // DeleteYuvImage leaves the record itself to the caller.
  VdFree(record);
  DeleteYuvImage(nullptr);
}

TEST(YuvImage, ClearAndCopyFollowTheQuarterRule) {
  sYuvImage_t* a = MallocYuv(16, 8);
  sYuvImage_t* b = MallocYuv(16, 8);
  std::memset(a->pBuffer, 9, 192);
  std::memset(b->pBuffer, 1, 192);
  // Offset 18 is not a multiple of 4: chroma starts at 4.
  SetYUV(a, 40, 18, 3);
  for (int i = 0; i < 128; ++i) EXPECT_EQ(i >= 18 && i < 58 ? 0 : 9, a->pY[i]);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(i >= 4 && i < 14 ? 0 : 9, a->pU[i]);
    EXPECT_EQ(i >= 4 && i < 14 ? 0 : 9, a->pV[i]);
  }
  SetYUV(b, 16, 0, 0);
  EXPECT_EQ(0, b->pY[15]);
  EXPECT_EQ(1, b->pU[0]);

  CopyYuv(a, b, 32, 16, 3);
  EXPECT_EQ(9, b->pY[16]);   // copied from a
  EXPECT_EQ(0, b->pY[18]);   // a's cleared region arrives
  EXPECT_EQ(1, b->pY[48]);   // beyond the copied range
  EXPECT_EQ(1, b->pU[3]);    // chroma range starts at 16 >> 2
  EXPECT_EQ(0, b->pU[4]);
  EXPECT_EQ(0, b->pV[11]);
  EXPECT_EQ(1, b->pU[12]);   // and is 32 >> 2 long

  // An unknown chroma type copies luma only.
  std::memset(b->pBuffer, 1, 192);
  a->eYuvType = static_cast<tagYUVFile_Type>(0);
  CopyYuvImageData(a, b, 3);
  EXPECT_EQ(9, b->pY[0]);
  EXPECT_EQ(1, b->pU[0]);
  a->eYuvType = YUV_420;
  a->iFrameRate = 12;
  unsigned char* keepY = b->pY;
  CopyYuvImage(a, b);
  EXPECT_EQ(12, b->iFrameRate);
  EXPECT_EQ(keepY, b->pY);
  EXPECT_EQ(0, std::memcmp(a->pBuffer, b->pBuffer, 192));
  CopyYuvImage(nullptr, b);
  DeleteYuv(&a, 0, 0);
  DeleteYuv(&b, 0, 0);
}

TEST(YuvImage, ByteBlockIsLumaOnly) {
  sYuvImage_t image;
  std::memset(&image, 0, sizeof(image));
  image.iFrameRate = 77;
  unsigned char* block = MallocByteToImage(8, 4, &image);
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(block, image.pY);
  EXPECT_EQ(block + 32, image.pU);
  EXPECT_EQ(block + 40, image.pV);
  EXPECT_EQ(nullptr, image.pBuffer);
  EXPECT_EQ(77, image.iFrameRate);
  FreeByteFromImage(&block, &image);
  EXPECT_EQ(nullptr, image.pY);
  EXPECT_NE(nullptr, block);  // the caller's pointer is not cleared
  unsigned char* none = nullptr;
  FreeByteFromImage(&none, &image);
}

}  // namespace
