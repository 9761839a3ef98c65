// The fused frame path against the step-by-step one: the same frame sequence
// through both must leave the same bytes in the output and in every buffer of
// the instance after every frame.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "api/frame_buffers_internal.h"
#include "api/vd_instance.h"
#include "parallel/stripe_internal.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Step {
  int width, height, type, iso;
  int pipeline;   // TARNO_PIPELINE_*
  int ringSlots;  // iPrevFrameNum for this frame (1 or 2)
  bool inPlace;   // source and destination are one buffer
};

// Digest of every buffer the instance owns, by name, plus the output.
struct Snapshot {
  std::vector<std::string> names;
  std::vector<uint64_t> digests;
  int level = -1;
  int count = -1;
};

void Add(Snapshot* s, const std::string& name, const uint8_t* p, size_t n) {
  s->names.push_back(name);
  s->digests.push_back(vdtest::Digest(p, n));
}

Snapshot Capture(const uint8_t* out, size_t outSize) {
  const Video_Denoise_Handle* h = g_hVideoDenoise;
  const int w = h->iMaxWidth, hh = h->iMaxHeight;
  // Whole allocations, padding included: the frame images were created at
  // the creation size and keep bytes of earlier, larger frames.
  const size_t image = static_cast<size_t>(w) * hh * 3 / 2 + VdFramePadding(w);
  const size_t work = static_cast<size_t>(w) * hh + VdFramePadding(w);
  Snapshot s;
  s.level = h->iNRLevel;
  s.count = h->sPrevFrames.iFrameCount;
  Add(&s, "output", out, outSize);
  Add(&s, "ring slot 0", h->sPrevFrames.pPreFrames[0]->pBuffer, image);
  Add(&s, "ring slot 1", h->sPrevFrames.pPreFrames[1]->pBuffer, image);
  Add(&s, "pCurFrame", h->pCurFrame->pBuffer, image);
  Add(&s, "pSpaDenoiseFrame", h->pSpaDenoiseFrame->pBuffer, image);
  Add(&s, "pMotionInfo", h->pMotionInfo->pBuffer, image);
  Add(&s, "pTempFrame1", h->pTempFrame1->pBuffer, image);
  Add(&s, "pTempFrame2", h->pTempFrame2->pBuffer, image);
  for (int i = 0; i < 4; ++i) {
    Add(&s, "p_uvSpaBuff_1[" + std::to_string(i) + "]", p_uvSpaBuff_1[i], work);
    Add(&s, "p_uvSpaBuff_2[" + std::to_string(i) + "]", p_uvSpaBuff_2[i], work);
    Add(&s, "p_uvSpaBuff_3[" + std::to_string(i) + "]", p_uvSpaBuff_3[i], work);
  }
  return s;
}

// A shaded scene with a bar that moves by `shift` columns per frame, plus
// noise: enough structure for every stage to matter.
Bytes Frame(int w, int h, int index) {
  Bytes f(static_cast<size_t>(w) * h * 3 / 2);
  Bytes noise = vdtest::RandomBytes(f.size(), 700 + index);
  const int bar = (w / 5 + 12 * index) % (w - w / 8);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int v = 60 + (x * 3 + y * 2) % 90;
      if (x >= bar && x < bar + w / 8) v = 210;
      v += noise[y * w + x] % 25 - 12;
      f[y * w + x] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
  }
  for (size_t i = static_cast<size_t>(w) * h; i < f.size(); ++i) {
    f[i] = static_cast<uint8_t>(100 + (i / 7) % 60 + noise[i] % 9);
  }
  return f;
}

// Runs the steps on a fresh instance of the given creation size through one
// frame path; one snapshot per frame.
std::vector<Snapshot> RunPath(int path, int maxW, int maxH,
                          const std::vector<Step>& steps) {
  VdSetGlobalFramePath(path);
  std::vector<Snapshot> shots;
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(maxW, maxH, nullptr));
  if (!g_hVideoDenoise) return shots;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& st = steps[i];
    EXPECT_EQ(0, TARNO_VideoDenoiseSetPipeline(st.pipeline));
    g_hVideoDenoise->iPrevFrameNum = st.ringSlots;
    Bytes in = Frame(st.width, st.height, static_cast<int>(i));
    Bytes out(in.size(), 0);
    uint8_t* dst = st.inPlace ? in.data() : out.data();
    EXPECT_EQ(0, TARNO_VideoDenoise(in.data(), dst, st.width, st.height,
                                    st.type, st.iso));
    shots.push_back(Capture(dst, in.size()));
  }
  // Both slots were allocated; free both.
  g_hVideoDenoise->iPrevFrameNum = 2;
  EXPECT_EQ(0, TARNO_VideoDenoiseDeinit());
  TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
  return shots;
}

void ExpectSamePaths(int maxW, int maxH, const std::vector<Step>& steps) {
  std::vector<Snapshot> fused = RunPath(VD_FRAME_PATH_FUSED, maxW, maxH, steps);
  std::vector<Snapshot> stepwise =
      RunPath(VD_FRAME_PATH_STEPWISE, maxW, maxH, steps);
  ASSERT_EQ(steps.size(), fused.size());
  ASSERT_EQ(steps.size(), stepwise.size());
  for (size_t f = 0; f < steps.size(); ++f) {
    const Step& st = steps[f];
    ASSERT_EQ(stepwise[f].level, fused[f].level);
    ASSERT_EQ(stepwise[f].count, fused[f].count);
    for (size_t b = 0; b < fused[f].names.size(); ++b) {
      EXPECT_EQ(stepwise[f].digests[b], fused[f].digests[b])
          << fused[f].names[b] << " differs after frame " << f << " ("
          << st.width << "x" << st.height << ", level " << fused[f].level
          << ", frame count " << fused[f].count << ", pipeline "
          << st.pipeline << ", ring slots " << st.ringSlots
          << (st.inPlace ? ", in place" : "") << ")";
    }
  }
}

// Three frames per level: a type change resets the history, so each level
// gets its warm-up frame and two frames on the full path.
void AddLevels(std::vector<Step>* steps, int w, int h, int pipeline) {
  const int pairs[4][2] = {{0, 100}, {6, 100}, {4, 400}, {6, 400}};
  for (const auto& p : pairs) {
    for (int i = 0; i < 3; ++i) {
      steps->push_back({w, h, p[0], p[1], pipeline, 2, false});
    }
  }
}

class FusedPath : public ::testing::Test {
 protected:
  void TearDown() override {
    if (g_hVideoDenoise) TARNO_VideoDenoiseDeinit();
    VdSetGlobalFramePath(VD_FRAME_PATH_FUSED);
  }
  vdtest::LogCapture quiet_;
};

// Every level on both pipelines, switching pipelines mid-history, and frames
// of three sizes: odd block remainders (stripes of 322, 324, 160 and 80
// rows), chroma widths that are not a multiple of 32, and buffers that keep
// bytes of the larger frames.
TEST_F(FusedPath, SameBytesAsStepByStepOverLevelsPipelinesAndSizes) {
  std::vector<Step> steps;
  AddLevels(&steps, 1296, 968, TARNO_PIPELINE_FUZZY);
  AddLevels(&steps, 640, 480, TARNO_PIPELINE_FUZZY);
  steps.push_back({640, 480, 6, 400, TARNO_PIPELINE_TEMPORAL, 2, false});
  steps.push_back({640, 480, 6, 400, TARNO_PIPELINE_TEMPORAL, 2, false});
  steps.push_back({640, 480, 6, 400, TARNO_PIPELINE_FUZZY, 2, false});
  steps.push_back({640, 480, 6, 100, TARNO_PIPELINE_TEMPORAL, 2, false});
  steps.push_back({640, 480, 6, 100, TARNO_PIPELINE_FUZZY, 2, false});
  steps.push_back({320, 240, 6, 100, TARNO_PIPELINE_FUZZY, 2, false});
  steps.push_back({320, 240, 6, 100, TARNO_PIPELINE_FUZZY, 2, false});
  steps.push_back({320, 240, 4, 400, TARNO_PIPELINE_FUZZY, 2, false});
  steps.push_back({320, 240, 4, 400, TARNO_PIPELINE_FUZZY, 2, false});
  ExpectSamePaths(1296, 968, steps);

  // The sequence really visits every level on the full path.
  std::vector<Snapshot> shots = RunPath(VD_FRAME_PATH_FUSED, 1296, 968, steps);
  std::set<int> fullPathLevels;
  for (size_t i = 0; i < shots.size(); ++i) {
    if (steps[i].pipeline == TARNO_PIPELINE_FUZZY && shots[i].count >= 1) {
      fullPathLevels.insert(shots[i].level);
    }
  }
  EXPECT_EQ((std::set<int>{0, 1, 2, 3}), fullPathLevels);
}

// The frame layout the path is built for.
TEST_F(FusedPath, SameBytesAt1080) {
  std::vector<Step> steps;
  const int pairs[][2] = {{0, 100}, {0, 100}, {6, 100}, {6, 100},
                          {4, 400}, {4, 400}, {6, 400}, {6, 400}};
  for (const auto& p : pairs) {
    steps.push_back({1920, 1080, p[0], p[1], TARNO_PIPELINE_FUZZY, 2, false});
  }
  ExpectSamePaths(1920, 1080, steps);
}

// One ring slot makes this frame's slot the previous frame's: the blend
// overwrites its own reference as it goes. And a client may pass one buffer
// as source and destination: no stripe writes the output before every
// stripe has read all of its input.
TEST_F(FusedPath, SameBytesWithOneRingSlotAndInPlaceFrames) {
  std::vector<Step> steps;
  const int pairs[][2] = {{6, 100}, {4, 400}, {6, 400}};
  for (const auto& p : pairs) {
    for (int i = 0; i < 3; ++i) {
      steps.push_back({640, 480, p[0], p[1], TARNO_PIPELINE_FUZZY, 1, false});
    }
  }
  for (int i = 0; i < 3; ++i) {
    steps.push_back({640, 480, 6, 400, TARNO_PIPELINE_FUZZY, 2, true});
  }
  ExpectSamePaths(640, 480, steps);
}

}  // namespace
