// Stripe records, edge rows, the frame layout and the phase barrier.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "parallel/stripe.h"
#include "api/process_internal.h"
#include "frame/frame_job.h"

namespace {

TEST(Stripe, EdgeRows) {
  struct Case {
    int edge, up, down;
  } cases[] = {{1, 0, 0}, {0, 4, 4}, {3, 0, 4}, {2, 4, 0}, {7, 0, 0}};
  for (const Case& c : cases) {
    int up = -1, down = -1;
    GetEdgeUpAndDown(c.edge, up, down, 4);
    EXPECT_EQ(c.up, up) << c.edge;
    EXPECT_EQ(c.down, down) << c.edge;
  }
}

TEST(Stripe, SetParamLeavesTheInstanceAlone) {
  sYuvImage_t a, b;
  g_hVDMulThread[1].hVideoDenoise =
      reinterpret_cast<Video_Denoise_Handle*>(&a);
  SetVDMulThreadParam(&a, &b, 1920, 360, 360 * 1920, 1, 0);
  const VD_Multiple_Thread_Handle& s = g_hVDMulThread[1];
  EXPECT_EQ(1, s.iIndex);
  EXPECT_EQ(0, s.iEdgeType);
  EXPECT_EQ(360 * 1920, s.iOffset);
  EXPECT_EQ(1920, s.iWidth);
  EXPECT_EQ(360, s.iHeight);
  EXPECT_EQ(&a, s.pSrcImage);
  EXPECT_EQ(&b, s.pDstImage);
  EXPECT_EQ(reinterpret_cast<Video_Denoise_Handle*>(&a), s.hVideoDenoise);
  g_hVDMulThread[1].hVideoDenoise = nullptr;
}

TEST(Stripe, LayoutAt1080IsTheFixedSplit) {
  VdFrameLayout l;
  VdComputeFrameLayout(1080, &l);
  EXPECT_EQ(0, l.firstRow[0]);
  EXPECT_EQ(360, l.firstRow[1]);
  EXPECT_EQ(720, l.firstRow[2]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(360, l.rows[i]);
  EXPECT_EQ(272, l.chromaSplit);
  EXPECT_EQ(536, l.chromaFiltered);
}

// Every accepted height gives three even stripes covering the frame, and
// chroma regions that the 8x scale divides and that stay inside the plane
// with 16 rows of context.
TEST(Stripe, LayoutCoversEveryHeight) {
  for (int height = 96; height <= 1920; height += 8) {
    VdFrameLayout l;
    VdComputeFrameLayout(height, &l);
    EXPECT_EQ(0, l.firstRow[0]);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(0, l.rows[i] % 2) << height;
      EXPECT_GT(l.rows[i], 0) << height;
      if (i > 0) {
        EXPECT_EQ(l.firstRow[i - 1] + l.rows[i - 1], l.firstRow[i]);
      }
    }
    EXPECT_EQ(height, l.firstRow[2] + l.rows[2]);
    const int chroma = height / 2, a = l.chromaSplit, f = l.chromaFiltered;
    EXPECT_EQ(0, a % 8);
    EXPECT_EQ(0, f % 8);
    EXPECT_LE(f, chroma);
    EXPECT_LT(chroma - f, 8);
    EXPECT_GE(a - 16, 0) << height;
    EXPECT_LE(a + 16, chroma) << height;
    EXPECT_LT(a, f);
  }
}

// Three threads pass many phases on one counter: nobody leaves a phase
// before all three arrived, and the counter is 0 between phases.
TEST(Stripe, BarrierIsReusableAcrossPhases) {
  const int kPhases = 200;
  std::atomic<int> arrived[kPhases];
  for (auto& a : arrived) a = 0;
  std::atomic<int> violations{0};
  auto body = [&]() {
    for (int p = 0; p < kPhases; ++p) {
      arrived[p].fetch_add(1);
      barrier(p % 2 ? &g_canFilter : &g_canDilate);
      if (arrived[p].load() != 3) violations.fetch_add(1);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(body);
  for (auto& t : threads) t.join();
  EXPECT_EQ(0, violations.load());
  EXPECT_EQ(0, g_canFilter);
  EXPECT_EQ(0, g_canDilate);
}

TEST(Stripe, LevelIndexedWordFollowsThe32BitLayout) {
  Video_Denoise_Handle h;
  std::memset(&h, 0, sizeof(h));
  for (int i = 0; i < 8; ++i) h.iLevelParams[i] = 10 + i;
  for (int i = 0; i < 5; ++i) h.iFilterParams[i] = 20 + i;
  h.iNRLevel = 0;
  EXPECT_EQ(13, VdLevelIndexedWord(&h));
  h.iNRLevel = 1;
  EXPECT_EQ(17, VdLevelIndexedWord(&h));
  h.iNRLevel = 2;
  EXPECT_EQ(22, VdLevelIndexedWord(&h));
  h.iNRLevel = 3;
  EXPECT_EQ(0, VdLevelIndexedWord(&h));
  sYuvImage_t slot;
  h.sPrevFrames.pPreFrames[1] = &slot;
  EXPECT_NE(0, VdLevelIndexedWord(&h));
#if UINTPTR_MAX == 0xffffffffu
  // On 32-bit targets it is literally the word at that position.
  const int32_t* words = h.iLevelParams;
  for (int level = 0; level < 3; ++level) {
    h.iNRLevel = level;
    EXPECT_EQ(words[4 * level + 3], VdLevelIndexedWord(&h));
  }
#endif
}

}  // namespace
