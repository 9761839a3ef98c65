// The engine API driven by sequences decoded from the input: vd_create with
// fuzzed maximum sizes, thread counts, methods and log levels, then frames
// of fuzzed size, layout (planar, NV21, NV12, strided rows, strided chroma),
// mode and ISO through vd_denoise, vd_reset, and vd_destroy. Every plane of
// a client frame lies in a buffer of its own that ends on a guard page, so a
// read or write outside the frame faults. A call with valid arguments must
// succeed; any other must be refused with a status and change nothing
// (the next valid frame still succeeds).
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "api/vdenoise.h"
#include "fuzz/fuzz_input.h"
#include "tests/test_util.h"

namespace {

using vdfuzz::FuzzInput;
using vdtest::GuardedBuffer;

void Quiet(void*, int, const char*) {}

// One client frame: luma and chroma in separate guarded buffers, each
// exactly as long as its last row reaches.
struct ClientFrame {
  std::unique_ptr<GuardedBuffer> luma, chroma1, chroma2;
  vd_frame f;
};

void FillPlane(FuzzInput& in, uint8_t* p, size_t n) {
  const uint32_t seed = in.U32();
  vdtest::FillRandom(p, n, seed);
  if (in.Bit()) {
    // Flat regions and edges as well as noise.
    for (size_t i = 0; i < n; ++i) p[i] = (p[i] & 0x80) ? 200 : 40 + (p[i] & 7);
  }
}

size_t PlaneBytes(int rows, int stride, int rowBytes) {
  return rows > 0 ? static_cast<size_t>(rows - 1) * stride + rowBytes : 0;
}

// A frame of the given size in a layout drawn from the input.
void MakeFrame(FuzzInput& in, int w, int h, ClientFrame* cf) {
  const int layout = in.Range(0, 2);  // 0 planar, 1 NV21, 2 NV12
  const GuardedBuffer::Flush flush =
      in.Bit() ? GuardedBuffer::kFlushStart : GuardedBuffer::kFlushEnd;
  const int cw = w / 2, ch = h / 2;
  vd_frame& f = cf->f;
  f.width = w;
  f.height = h;
  f.y_stride = w + (in.Bit() ? in.Range(0, 40) : 0);
  f.uv_pixel_stride = layout == 0 ? 1 : 2;
  const int uvRow = (cw - 1) * f.uv_pixel_stride + 1;
  f.uv_stride = (layout == 0 ? cw : 2 * cw) + (in.Bit() ? in.Range(0, 40) : 0);
  if (f.uv_stride < uvRow) f.uv_stride = uvRow;
  cf->luma.reset(new GuardedBuffer(PlaneBytes(h, f.y_stride, w), flush));
  FillPlane(in, cf->luma->data(), cf->luma->size());
  f.y = cf->luma->data();
  if (layout == 0) {
    cf->chroma1.reset(new GuardedBuffer(PlaneBytes(ch, f.uv_stride, cw), flush));
    cf->chroma2.reset(new GuardedBuffer(PlaneBytes(ch, f.uv_stride, cw), flush));
    FillPlane(in, cf->chroma1->data(), cf->chroma1->size());
    FillPlane(in, cf->chroma2->data(), cf->chroma2->size());
    f.u = cf->chroma1->data();
    f.v = cf->chroma2->data();
  } else {
    // Interleaved: the row of the first plane's samples reaches one byte
    // further than uvRow, the second plane's row ends there.
    cf->chroma1.reset(
        new GuardedBuffer(PlaneBytes(ch, f.uv_stride, uvRow + 1), flush));
    FillPlane(in, cf->chroma1->data(), cf->chroma1->size());
    uint8_t* first = cf->chroma1->data();
    if (layout == 1) {
      f.v = first;
      f.u = first + 1;
    } else {
      f.u = first;
      f.v = first + 1;
    }
  }
}

// Sizes: mostly small (fast), sometimes up to the maximum, sometimes odd or
// out of range.
void DrawFrameSize(FuzzInput& in, int maxW, int maxH, int* w, int* h) {
  const uint8_t kind = in.Byte();
  if (kind < 170) {
    *w = 2 * in.Range(8, maxW < 128 ? maxW / 2 : 64);
    *h = 2 * in.Range(8, maxH < 128 ? maxH / 2 : 64);
  } else if (kind < 240) {
    *w = 2 * in.Range(8, maxW / 2);
    *h = 2 * in.Range(8, maxH / 2);
  } else {
    *w = in.Range(-2, maxW + 3);
    *h = in.Range(-2, maxH + 3);
  }
}

bool ValidSize(int w, int h, int maxW, int maxH) {
  return w >= 16 && h >= 16 && !(w & 1) && !(h & 1) && w <= maxW && h <= maxH;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 512) return -1;
  FuzzInput in(data, size);
  vd_options o;
  vd_options_init(&o);
  const uint8_t sizeKind = in.Byte();
  if (sizeKind < 230) {
    o.max_width = 2 * in.Range(8, 200);
    o.max_height = 2 * in.Range(8, 160);
  } else {
    o.max_width = in.Range(-4, 700);
    o.max_height = in.Range(-4, 700);
  }
  o.threads = in.Range(-1, 4);
  // Any int, as a C client may store (C does not limit an enumeration to
  // its enumerators); stored as bytes so that this file never loads a value
  // outside the enumeration.
  const int method = in.Range(0, 2) == 2 ? in.Range(-1, 3) : in.Range(0, 1);
  static_assert(sizeof(o.method) == sizeof(int), "enumeration size");
  std::memcpy(&o.method, &method, sizeof(method));
  o.log = Quiet;
  o.log_level = in.Range(0, 7);
  const bool validOptions =
      o.max_width >= 16 && o.max_height >= 16 && o.max_width <= 8192 &&
      o.max_height <= 8192 && !(o.max_width & 1) && !(o.max_height & 1) &&
      o.threads >= 0 &&
      (method == VD_METHOD_FUZZY || method == VD_METHOD_TEMPORAL ||
       method == VD_METHOD_ADAPTIVE);
  vd_denoiser* d = nullptr;
  const vd_status created = vd_create(&o, &d);
  if (!validOptions) {
    if (created == VD_OK || d != nullptr) std::abort();
    return 0;
  }
  if (created != VD_OK || !d) std::abort();

  const int calls = in.Range(1, 6);
  for (int c = 0; c < calls && !in.empty(); ++c) {
    const uint8_t op = in.Byte() % 8;
    if (op == 0) {
      if (vd_reset(d) != VD_OK) std::abort();
      continue;
    }
    int w, h;
    DrawFrameSize(in, o.max_width, o.max_height, &w, &h);
    const bool validSize = ValidSize(w, h, o.max_width, o.max_height);
    // A refused size is never laid out; a frame needs at least one pixel.
    const int lw = validSize ? w : 16, lh = validSize ? h : 16;
    ClientFrame src, dst;
    MakeFrame(in, lw, lh, &src);
    const bool inPlace = in.Bit();
    if (!inPlace) MakeFrame(in, lw, lh, &dst);
    vd_frame s = src.f;
    vd_frame t = inPlace ? src.f : dst.f;
    s.width = t.width = w;
    s.height = t.height = h;
    bool valid = validSize;
    if ((in.Byte() & 15) == 0) {
      // Spoil one field of the destination.
      switch (in.Range(0, 3)) {
        case 0: t.uv_pixel_stride = in.Bit() ? 0 : 3; break;
        case 1: t.y_stride = t.width - in.Range(1, 3); break;
        case 2: t.u = nullptr; break;
        default: t.width += 2; break;
      }
      valid = false;
    }
    const int type = in.Range(-1, 8);
    const int iso = in.Range(0, 1000);
    const vd_status r = vd_denoise(d, &s, &t, type, iso);
    if (valid && r != VD_OK) std::abort();
    if (r != VD_OK && r != VD_ERR_INVALID_ARGUMENT &&
        r != VD_ERR_UNSUPPORTED_SIZE) {
      std::abort();
    }
  }
  vd_destroy(d);
  return 0;
}
