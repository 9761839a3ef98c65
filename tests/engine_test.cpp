// The engine API: the same bytes as the process-wide API in every layout and
// thread count, any even size, several denoisers at once, and refusals that
// change nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "api/vdenoise.h"
#include "api/video_denoise.h"
#include "base/vd_alloc.h"
#include "base/vd_thread.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

#if defined(__arm__) || defined(__aarch64__)
constexpr bool kEmulated = true;
#else
constexpr bool kEmulated = false;
#endif

// One frame of a sequence: its size and the mode and ISO it is offered with.
struct Step {
  int w, h, type, iso;
};

// Levels 0 -> 1 -> 3 -> 2 with a size change in between and back: every
// change of type or size restarts the history with a warm-up frame.
const Step kSequence[] = {
    {320, 240, 0, 100}, {320, 240, 0, 100}, {320, 240, 0, 100},
    {320, 240, 6, 100}, {320, 240, 6, 100}, {320, 240, 6, 800},
    {176, 144, 6, 800}, {176, 144, 6, 800}, {176, 144, 0, 800},
    {176, 144, 0, 800}, {320, 240, 0, 100}, {320, 240, 0, 100},
};

// A textured, noisy picture that moves a little from frame to frame.
Bytes Picture(int w, int h, int t) {
  Bytes f(static_cast<size_t>(w) * h * 3 / 2);
  Bytes noise = vdtest::RandomBytes(f.size(), 1000 + t);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int base = ((x + 2 * t) / 8 + y / 8) % 2 ? 170 : 60;
      f[y * w + x] = static_cast<uint8_t>(base + noise[y * w + x] % 24);
    }
  }
  for (size_t i = static_cast<size_t>(w) * h; i < f.size(); ++i) {
    f[i] = static_cast<uint8_t>(100 + (i % 40) + noise[i] % 9);
  }
  return f;
}

// A client frame in some layout, with its own storage.
struct Layout {
  const char* name;
  int pixelStride;  // 1 planar, 2 interleaved or strided planes
  bool vFirst;      // interleaved: NV21 (true) or NV12
  bool separate;    // pixel stride 2 on two separate planes
  int yPad, uvPad;  // bytes past each row
};

const Layout kLayouts[] = {
    {"nv21", 2, true, false, 0, 0},      {"nv12", 2, false, false, 0, 0},
    {"i420", 1, false, false, 0, 0},     {"nv21-padded", 2, true, false, 40, 24},
    {"i420-padded", 1, false, false, 16, 8},
    {"separate-ps2", 2, false, true, 8, 6},
};

struct ClientFrame {
  Bytes storage;
  vd_frame f;
};

ClientFrame MakeFrame(const Layout& l, int w, int h) {
  ClientFrame c;
  const int ys = w + l.yPad;
  const int cw = w / 2, ch = h / 2;
  const int us = (l.pixelStride == 2 && !l.separate ? w : l.pixelStride * cw) +
                 l.uvPad;
  const size_t ySize = static_cast<size_t>(ys) * h;
  const size_t uvSize = static_cast<size_t>(us) * ch;
  const size_t planes = l.pixelStride == 2 && !l.separate ? 1 : 2;
  c.storage.assign(ySize + planes * uvSize + 1, 0);
  uint8_t* y = c.storage.data();
  uint8_t* uv = y + ySize;
  c.f.width = w;
  c.f.height = h;
  c.f.y = y;
  c.f.y_stride = ys;
  c.f.uv_stride = us;
  c.f.uv_pixel_stride = l.pixelStride;
  if (planes == 1) {
    c.f.v = l.vFirst ? uv : uv + 1;
    c.f.u = l.vFirst ? uv + 1 : uv;
  } else {
    c.f.u = uv;
    c.f.v = uv + uvSize;
  }
  return c;
}

void Put(const Bytes& nv21, vd_frame* f) {
  const int w = f->width, h = f->height;
  for (int r = 0; r < h; ++r) {
    std::memcpy(f->y + r * f->y_stride, &nv21[r * w], w);
  }
  const uint8_t* vu = &nv21[static_cast<size_t>(w) * h];
  for (int r = 0; r < h / 2; ++r) {
    for (int x = 0; x < w / 2; ++x) {
      f->v[r * f->uv_stride + x * f->uv_pixel_stride] = vu[r * w + 2 * x];
      f->u[r * f->uv_stride + x * f->uv_pixel_stride] = vu[r * w + 2 * x + 1];
    }
  }
}

Bytes Get(const vd_frame& f) {
  const int w = f.width, h = f.height;
  Bytes nv21(static_cast<size_t>(w) * h * 3 / 2);
  for (int r = 0; r < h; ++r) std::memcpy(&nv21[r * w], f.y + r * f.y_stride, w);
  uint8_t* vu = &nv21[static_cast<size_t>(w) * h];
  for (int r = 0; r < h / 2; ++r) {
    for (int x = 0; x < w / 2; ++x) {
      vu[r * w + 2 * x] = f.v[r * f.uv_stride + x * f.uv_pixel_stride];
      vu[r * w + 2 * x + 1] = f.u[r * f.uv_stride + x * f.uv_pixel_stride];
    }
  }
  return nv21;
}

void Quiet(int, const char*, const char*) {}

// What TARNO_VideoDenoise makes of the sequence, created at the largest size.
std::vector<Bytes> ProcessWide(int pipeline) {
  TARNO_VideoDenoiseSetLogSink(Quiet);
  TARNO_VideoDenoiseSetPipeline(pipeline);
  EXPECT_EQ(0, TARNO_VideoDenoiseInit(320, 240, nullptr));
  std::vector<Bytes> out;
  int t = 0;
  for (const Step& s : kSequence) {
    Bytes src = Picture(s.w, s.h, t++);
    Bytes dst(src.size(), 0);
    EXPECT_EQ(0, TARNO_VideoDenoise(src.data(), dst.data(), s.w, s.h, s.type,
                                    s.iso));
    out.push_back(dst);
  }
  TARNO_VideoDenoiseDeinit();
  TARNO_VideoDenoiseSetPipeline(TARNO_PIPELINE_FUZZY);
  TARNO_VideoDenoiseSetLogSink(nullptr);
  return out;
}

vd_denoiser* Create(int w, int h, int threads, vd_method method = VD_METHOD_FUZZY) {
  vd_options o;
  vd_options_init(&o);
  o.max_width = w;
  o.max_height = h;
  o.threads = threads;
  o.method = method;
  vd_denoiser* d = nullptr;
  EXPECT_EQ(VD_OK, vd_create(&o, &d));
  return d;
}

// The sequence through one denoiser: source in one layout, destination in
// another (or the same memory when inPlace).
std::vector<Bytes> Engine(vd_denoiser* d, const Layout& in, const Layout& out,
                          bool inPlace) {
  std::vector<Bytes> result;
  EXPECT_EQ(VD_OK, vd_reset(d));
  int t = 0;
  for (const Step& s : kSequence) {
    ClientFrame src = MakeFrame(in, s.w, s.h);
    ClientFrame dst = MakeFrame(out, s.w, s.h);
    Put(Picture(s.w, s.h, t++), &src.f);
    const vd_frame* target = inPlace ? &src.f : &dst.f;
    EXPECT_EQ(VD_OK, vd_denoise(d, &src.f, target, s.type, s.iso));
    result.push_back(Get(*target));
  }
  return result;
}

void ExpectSame(const std::vector<Bytes>& want, const std::vector<Bytes>& got,
                const std::string& what) {
  ASSERT_EQ(want.size(), got.size());
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_TRUE(want[i] == got[i]) << what << ", frame " << i;
  }
}

TEST(Engine, SameBytesAsTheProcessWideApiInEveryLayoutAndThreadCount) {
  const std::vector<Bytes> want = ProcessWide(TARNO_PIPELINE_FUZZY);
  for (int threads : {1, 2, 3, 7}) {
    for (const Layout& l : kLayouts) {
      if (kEmulated && threads == 7 && l.pixelStride == 1) continue;
      vd_denoiser* d = Create(320, 240, threads);
      ExpectSame(want, Engine(d, l, l, false),
                 std::string(l.name) + " threads " + std::to_string(threads));
      vd_destroy(d);
    }
  }
  // In place, and a source and destination of different layouts.
  vd_denoiser* d = Create(320, 240, 2);
  ExpectSame(want, Engine(d, kLayouts[0], kLayouts[0], true), "nv21 in place");
  ExpectSame(want, Engine(d, kLayouts[3], kLayouts[3], true),
             "padded nv21 in place");
  ExpectSame(want, Engine(d, kLayouts[0], kLayouts[2], false), "nv21 to i420");
  ExpectSame(want, Engine(d, kLayouts[5], kLayouts[1], false),
             "separate planes to nv12");
  vd_destroy(d);
}

TEST(Engine, TemporalMethodMatchesTheTemporalPipeline) {
  const std::vector<Bytes> want = ProcessWide(TARNO_PIPELINE_TEMPORAL);
  for (int threads : {1, 3}) {
    vd_denoiser* d = Create(320, 240, threads, VD_METHOD_TEMPORAL);
    ExpectSame(want, Engine(d, kLayouts[1], kLayouts[4], false),
               "temporal threads " + std::to_string(threads));
    vd_destroy(d);
  }
}

TEST(Engine, DenoisersOnTwoThreadsEqualRunningAlone) {
  struct Run {
    int w, h;
    std::vector<Bytes> out;
  };
  auto run = [](Run* r) {
    vd_denoiser* d = Create(r->w, r->h, 2);
    for (int t = 0; t < 12; ++t) {
      Bytes f = Picture(r->w, r->h, t);
      vd_frame fr = vd_frame_nv21(f.data(), r->w, r->h);
      EXPECT_EQ(VD_OK, vd_denoise(d, &fr, &fr, t < 6 ? 0 : 6, 100));
      r->out.push_back(f);
    }
    vd_destroy(d);
  };
  Run alone[2] = {{320, 240, {}}, {176, 144, {}}};
  Run together[2] = {{320, 240, {}}, {176, 144, {}}};
  run(&alone[0]);
  run(&alone[1]);
  std::thread a(run, &together[0]);
  std::thread b(run, &together[1]);
  a.join();
  b.join();
  ExpectSame(alone[0].out, together[0].out, "320x240 beside another");
  ExpectSame(alone[1].out, together[1].out, "176x144 beside another");
}

// Frames of sizes off the kernels' grid: every byte of the destination is
// written, nothing outside the client's frames is touched (they end on guard
// pages), and a flat frame stays flat.
TEST(Engine, AnyEvenSizeWritesTheWholeFrameOnly) {
  struct Size {
    int w, h;
  };
  std::vector<Size> sizes = {{16, 16}, {854, 480}, {1080, 1920}, {98, 50}};
  if (!kEmulated) sizes.push_back({3840, 2160});
  for (const Size& s : sizes) {
    const size_t n = static_cast<size_t>(s.w) * s.h * 3 / 2;
    vd_denoiser* d = Create(s.w, s.h, 2);
    vdtest::GuardedBuffer src(n), dst(n);
    for (int t = 0; t < 3; ++t) {
      vdtest::FillRandom(src.data(), n, 7 + t);
      for (size_t i = 0; i < n; ++i) src.data()[i] = 16 + src.data()[i] % 220;
      std::memset(dst.data(), 0, n);
      vd_frame in = vd_frame_nv12(src.data(), s.w, s.h);
      vd_frame out = vd_frame_nv12(dst.data(), s.w, s.h);
      ASSERT_EQ(VD_OK, vd_denoise(d, &in, &out, 6, 800));
      size_t unwritten = 0;
      for (size_t i = 0; i < n; ++i) unwritten += dst.data()[i] == 0;
      EXPECT_EQ(0u, unwritten) << s.w << "x" << s.h << " frame " << t;
    }
    for (int t = 0; t < 3; ++t) {
      std::memset(src.data(), 90, static_cast<size_t>(s.w) * s.h);
      std::memset(src.data() + static_cast<size_t>(s.w) * s.h, 140,
                  n - static_cast<size_t>(s.w) * s.h);
      vd_frame in = vd_frame_nv12(src.data(), s.w, s.h);
      vd_frame out = vd_frame_nv12(dst.data(), s.w, s.h);
      ASSERT_EQ(VD_OK, vd_denoise(d, &in, &out, 0, 100));
      EXPECT_EQ(0, std::memcmp(src.data(), dst.data(), n))
          << "flat " << s.w << "x" << s.h << " frame " << t;
    }
    vd_destroy(d);
  }
}

struct Captured {
  std::vector<std::pair<int, std::string>> lines;
};

void Capture(void* user, int level, const char* message) {
  static_cast<Captured*>(user)->lines.emplace_back(level, message);
}

TEST(Engine, BadArgumentsAreRefusedWithOneLineAndChangeNothing) {
  Captured log;
  vd_options o;
  vd_options_init(&o);
  o.max_width = 176;
  o.max_height = 144;
  o.log = Capture;
  o.log_user = &log;
  vd_denoiser* d = nullptr;
  ASSERT_EQ(VD_OK, vd_create(&o, &d));
  EXPECT_TRUE(log.lines.empty()) << "quiet by default";

  Bytes src = Picture(176, 144, 0), dst(src.size(), 7), before = dst;
  struct Case {
    const char* what;  // the argument the log line must name
    vd_status status;
    void (*edit)(vd_frame* s, vd_frame* d);
  };
  const Case cases[] = {
      {"y_stride", VD_ERR_INVALID_ARGUMENT, [](vd_frame* s, vd_frame*) { s->y_stride = 100; }},
      {"uv_stride", VD_ERR_INVALID_ARGUMENT, [](vd_frame*, vd_frame* t) { t->uv_stride = 50; }},
      {"uv_pixel_stride", VD_ERR_INVALID_ARGUMENT, [](vd_frame* s, vd_frame*) { s->uv_pixel_stride = 3; }},
      {"plane u", VD_ERR_INVALID_ARGUMENT, [](vd_frame* s, vd_frame*) { s->u = nullptr; }},
      {"size", VD_ERR_UNSUPPORTED_SIZE, [](vd_frame* s, vd_frame* t) { s->width = t->width = 175; }},
      {"maximum", VD_ERR_UNSUPPORTED_SIZE, [](vd_frame* s, vd_frame* t) { s->height = t->height = 160; }},
      {"size", VD_ERR_UNSUPPORTED_SIZE, [](vd_frame* s, vd_frame* t) { s->width = t->width = 14; }},
      {"differs", VD_ERR_INVALID_ARGUMENT, [](vd_frame*, vd_frame* t) { t->width = 160; }},
  };
  for (const Case& c : cases) {
    log.lines.clear();
    vd_frame s = vd_frame_nv21(src.data(), 176, 144);
    vd_frame t = vd_frame_nv21(dst.data(), 176, 144);
    c.edit(&s, &t);
    EXPECT_EQ(c.status, vd_denoise(d, &s, &t, 0, 100)) << c.what;
    ASSERT_EQ(1u, log.lines.size()) << c.what;
    EXPECT_EQ(VD_LOG_ERROR, log.lines[0].first);
    EXPECT_NE(std::string::npos, log.lines[0].second.find(c.what))
        << log.lines[0].second;
    EXPECT_TRUE(dst == before) << c.what;
  }
  log.lines.clear();
  vd_frame s = vd_frame_nv21(src.data(), 176, 144);
  EXPECT_EQ(VD_ERR_INVALID_ARGUMENT, vd_denoise(d, nullptr, &s, 0, 100));
  EXPECT_EQ(VD_ERR_INVALID_ARGUMENT, vd_denoise(d, &s, nullptr, 0, 100));
  EXPECT_EQ(2u, log.lines.size());
  // The next good call works and is quiet.
  log.lines.clear();
  vd_frame t = vd_frame_nv21(dst.data(), 176, 144);
  EXPECT_EQ(VD_OK, vd_denoise(d, &s, &t, 0, 100));
  EXPECT_TRUE(log.lines.empty());
  EXPECT_FALSE(dst == before);
  vd_destroy(d);

  // Creation: each refusal names its argument and leaves nothing.
  struct CreateCase {
    const char* what;
    vd_status status;
    void (*edit)(vd_options* o);
  };
  const CreateCase creates[] = {
      {"threads", VD_ERR_INVALID_ARGUMENT, [](vd_options* p) { p->threads = -1; }},
      {"method", VD_ERR_INVALID_ARGUMENT, [](vd_options* p) { p->method = static_cast<vd_method>(9); }},
      {"config_path", VD_ERR_CONFIG, [](vd_options* p) { p->config_path = "/nonexistent/vd.cfg"; }},
      {"max_width", VD_ERR_UNSUPPORTED_SIZE, [](vd_options* p) { p->max_width = 99; }},
      {"max_width", VD_ERR_UNSUPPORTED_SIZE, [](vd_options* p) { p->max_height = 8194; }},
  };
  for (const CreateCase& c : creates) {
    log.lines.clear();
    vd_options bad = o;
    c.edit(&bad);
    vd_denoiser* none = reinterpret_cast<vd_denoiser*>(&log);
    EXPECT_EQ(c.status, vd_create(&bad, &none)) << c.what;
    EXPECT_EQ(nullptr, none);
    ASSERT_EQ(1u, log.lines.size()) << c.what;
    EXPECT_NE(std::string::npos, log.lines[0].second.find(c.what))
        << log.lines[0].second;
  }
  EXPECT_EQ(VD_ERR_INVALID_ARGUMENT, vd_create(nullptr, &d));
  vd_destroy(nullptr);
  EXPECT_STREQ("ok", vd_status_string(VD_OK));
  EXPECT_STREQ("denoiser busy with another call", vd_status_string(VD_ERR_BUSY));
}

// Each allocation of vd_create failing in turn, and each worker failing to
// start, for both methods: the status, no denoiser, nothing leaked
// (LeakSanitizer checks the last part in the sanitizer run), and the next
// creation works.
TEST(Engine, CreateFailuresLeaveNothingBehind) {
  for (vd_method method : {VD_METHOD_FUZZY, VD_METHOD_TEMPORAL}) {
    SCOPED_TRACE(method);
    vd_options o;
    vd_options_init(&o);
    o.max_width = 176;
    o.max_height = 144;
    o.threads = 3;
    o.method = method;
    o.log = [](void*, int, const char*) {};
    VdAllocFailAt(-1);
    vd_denoiser* d = nullptr;
    ASSERT_EQ(VD_OK, vd_create(&o, &d));
    const int allocations = VdAllocFailAt(-1);
    vd_destroy(d);
    ASSERT_GT(allocations, 10);
    for (int n = 0; n < allocations; ++n) {
      VdAllocFailAt(n);
      d = nullptr;
      EXPECT_EQ(VD_ERR_OUT_OF_MEMORY, vd_create(&o, &d)) << "allocation " << n;
      EXPECT_EQ(nullptr, d);
    }
    VdAllocFailAt(-1);
    for (int k = 0; k < 2; ++k) {
      VdThreadFailAt(k);
      d = nullptr;
      EXPECT_EQ(VD_ERR_THREAD, vd_create(&o, &d)) << "worker " << k;
      EXPECT_EQ(nullptr, d);
    }
    VdThreadFailAt(-1);
    ASSERT_EQ(VD_OK, vd_create(&o, &d));
    vd_destroy(d);
  }
}

struct Reentry {
  vd_denoiser* d;
  vd_frame* frame;
  int calls = 0;
  vd_status inner = VD_OK;
};

// A log callback that calls back into its own denoiser is refused, without
// a deadlock; the outer call completes.
TEST(Engine, ReentrantCallFromTheLogCallbackIsRefused) {
  Bytes f = Picture(176, 144, 0);
  vd_frame frame = vd_frame_nv21(f.data(), 176, 144);
  Reentry r{nullptr, &frame};
  vd_options o;
  vd_options_init(&o);
  o.max_width = 176;
  o.max_height = 144;
  o.log_level = VD_LOG_DEBUG;
  o.log_user = &r;
  o.log = [](void* user, int, const char*) {
    Reentry* re = static_cast<Reentry*>(user);
    if (re->d && re->calls++ == 0) {
      re->inner = vd_denoise(re->d, re->frame, re->frame, 0, 100);
    }
  };
  ASSERT_EQ(VD_OK, vd_create(&o, &r.d));
  EXPECT_EQ(VD_OK, vd_denoise(r.d, &frame, &frame, 0, 100));
  EXPECT_EQ(VD_ERR_BUSY, r.inner);
  EXPECT_GT(r.calls, 1);
  EXPECT_EQ(VD_OK, vd_reset(r.d));
  vd_destroy(r.d);
}

}  // namespace

namespace {

// The adaptive method through the engine: any layout gives the bytes of
// packed NV21, and the thread count does not change them.
TEST(Engine, AdaptiveMethodSameBytesInEveryLayoutAndThreadCount) {
  std::vector<Bytes> want;
  for (int threads : {1, 3}) {
    vd_denoiser* d = Create(320, 240, threads, VD_METHOD_ADAPTIVE);
    for (const Layout* l : {&kLayouts[0], &kLayouts[2], &kLayouts[5]}) {
      std::vector<Bytes> got = Engine(d, *l, kLayouts[1], false);
      if (want.empty()) {
        want = got;
        continue;
      }
      ExpectSame(want, got, std::string("adaptive ") + l->name + " threads " +
                                std::to_string(threads));
    }
    vd_destroy(d);
  }
}

}  // namespace
