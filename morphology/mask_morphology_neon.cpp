// NEON twins of the mask morphology kernels. The span kernels go through
// each span in 16-output blocks, two rows at a time, a span that is not a
// whole number of blocks finished by one block realigned to its end, a span
// narrower than a block per pixel. In a block the rows of the window are
// combined first, then the columns by byte extraction, so every load stays
// inside the bytes the scalar window reads.
#include "morphology/mask_morphology_internal.h"

#if defined(__ARM_NEON)

#include <arm_neon.h>

#include <cstddef>
#include <utility>

namespace {

struct OrBytes {
  uint8x16_t operator()(uint8x16_t a, uint8x16_t b) const {
    return vorrq_u8(a, b);
  }
};

struct AndBytes {
  uint8x16_t operator()(uint8x16_t a, uint8x16_t b) const {
    return vandq_u8(a, b);
  }
};

struct AddBytes {
  uint8x16_t operator()(uint8x16_t a, uint8x16_t b) const {
    return vaddq_u8(a, b);
  }
};

template <int K, typename Op, std::size_t... N>
inline uint8x16_t CombineColumnsSeq(uint8x16_t lo, uint8x16_t hi, Op op,
                                    std::index_sequence<N...>) {
  // Lanes 0 .. 2K - 1 of next hold columns c + 16 - K .. c + 15 + K; the
  // other lanes are never extracted.
  const uint8x16_t next = vextq_u8(hi, hi, 16 - 2 * K);
  uint8x16_t r = lo;
  ((r = op(r, vextq_u8(lo, next, N + 1))), ...);
  return r;
}

// For 16 outputs at columns c .. c + 15, combines the 2K + 1 columns around
// each. lo holds the row-combined bytes of columns c - K .. c + 15 - K, hi
// those of columns c + K .. c + 15 + K.
template <int K, typename Op>
inline uint8x16_t CombineColumns(uint8x16_t lo, uint8x16_t hi, Op op) {
  return CombineColumnsSeq<K>(lo, hi, op, std::make_index_sequence<2 * K>());
}

// The walk of a span kernel: pair(s, d) computes 16 outputs at s .. s + 15
// in two rows (d and d + width), row(s, d) in one, pixel(s) one output.
template <typename Pair, typename Row, typename Pixel>
inline void SpanBlocks(const uint8_t* src, uint8_t* dst, ptrdiff_t w,
                       int span, int rows, Pair pair, Row row, Pixel pixel) {
  if (span <= 0) return;
  if (span < 16) {
    for (ptrdiff_t r = 0; r < rows; ++r) {
      for (ptrdiff_t i = r * w; i < r * w + span; ++i) dst[i] = pixel(src + i);
    }
    return;
  }
  // Whole blocks, then one ending at the span's end.
  auto blocks = [span](auto block) {
    int o = 0;
    for (; o + 16 <= span; o += 16) block(o);
    if (o < span) block(span - 16);
  };
  int r = 0;
  for (; r + 2 <= rows; r += 2) {
    const ptrdiff_t at = r * w;
    blocks([&](int o) { pair(src + at + o, dst + at + o); });
  }
  if (r < rows) {
    const ptrdiff_t at = r * w;
    blocks([&](int o) { row(src + at + o, dst + at + o); });
  }
}

// --- Discrete points ---------------------------------------------------------

inline uint8x16_t SetBits(const uint8_t* p) {
  return vshrq_n_u8(vld1q_u8(p), 7);
}

// n holds the set count of each 3 x 3 block, centre the centre bytes.
inline uint8x16_t DiscreteRule(uint8x16_t n, uint8x16_t centre) {
  const uint8x16_t filled = vcgeq_u8(n, vdupq_n_u8(7));
  const uint8x16_t kept = vandq_u8(vtstq_u8(centre, vdupq_n_u8(0x80)),
                                   vcgeq_u8(n, vdupq_n_u8(3)));
  return vorrq_u8(filled, kept);
}

// Rows 0 and 1 from s; the two blocks share rows 0 and 1 of the counts.
inline void DiscretePair16(const uint8_t* s, uint8_t* d, ptrdiff_t w) {
  uint8x16_t lo[4];
  uint8x16_t hi[4];
  for (int i = 0; i < 4; ++i) {
    lo[i] = SetBits(s - 1 + (i - 1) * w);
    hi[i] = SetBits(s + 1 + (i - 1) * w);
  }
  const uint8x16_t loMid = vaddq_u8(lo[1], lo[2]);
  const uint8x16_t hiMid = vaddq_u8(hi[1], hi[2]);
  const uint8x16_t n0 = CombineColumns<1>(vaddq_u8(lo[0], loMid),
                                          vaddq_u8(hi[0], hiMid), AddBytes());
  const uint8x16_t n1 = CombineColumns<1>(vaddq_u8(loMid, lo[3]),
                                          vaddq_u8(hiMid, hi[3]), AddBytes());
  vst1q_u8(d, DiscreteRule(n0, vld1q_u8(s)));
  vst1q_u8(d + w, DiscreteRule(n1, vld1q_u8(s + w)));
}

inline void DiscreteRow16(const uint8_t* s, uint8_t* d, ptrdiff_t w) {
  uint8x16_t lo = SetBits(s - 1 - w);
  uint8x16_t hi = SetBits(s + 1 - w);
  for (int dy = 0; dy <= 1; ++dy) {
    lo = vaddq_u8(lo, SetBits(s - 1 + dy * w));
    hi = vaddq_u8(hi, SetBits(s + 1 + dy * w));
  }
  vst1q_u8(d, DiscreteRule(CombineColumns<1>(lo, hi, AddBytes()),
                           vld1q_u8(s)));
}

// --- AND / OR windows --------------------------------------------------------

// Two output rows of a (2K + 1)-square window from s; rows 1 - K .. K are
// shared by both.
template <int K, typename Op>
inline void WindowPair16(const uint8_t* s, uint8_t* d, ptrdiff_t w, Op op) {
  uint8x16_t lo = vld1q_u8(s - K + (1 - K) * w);
  uint8x16_t hi = vld1q_u8(s + K + (1 - K) * w);
  for (int dy = 2 - K; dy <= K; ++dy) {
    lo = op(lo, vld1q_u8(s - K + dy * w));
    hi = op(hi, vld1q_u8(s + K + dy * w));
  }
  const uint8x16_t lo0 = op(lo, vld1q_u8(s - K - K * w));
  const uint8x16_t hi0 = op(hi, vld1q_u8(s + K - K * w));
  const uint8x16_t lo1 = op(lo, vld1q_u8(s - K + (K + 1) * w));
  const uint8x16_t hi1 = op(hi, vld1q_u8(s + K + (K + 1) * w));
  vst1q_u8(d, CombineColumns<K>(lo0, hi0, op));
  vst1q_u8(d + w, CombineColumns<K>(lo1, hi1, op));
}

template <int K, typename Op>
inline void WindowRow16(const uint8_t* s, uint8_t* d, ptrdiff_t w, Op op) {
  uint8x16_t lo = vld1q_u8(s - K - K * w);
  uint8x16_t hi = vld1q_u8(s + K - K * w);
  for (int dy = 1 - K; dy <= K; ++dy) {
    lo = op(lo, vld1q_u8(s - K + dy * w));
    hi = op(hi, vld1q_u8(s + K + dy * w));
  }
  vst1q_u8(d, CombineColumns<K>(lo, hi, op));
}

// Four output rows of the 15 x 15 OR from s; source rows -7 .. 10 relative
// to s, of which rows -4 .. 7 serve all four.
inline void Dilate15Group16(const uint8_t* s, uint8_t* d, ptrdiff_t w) {
  uint8x16_t lo[18];
  uint8x16_t hi[18];
  for (int i = 0; i < 18; ++i) {
    lo[i] = vld1q_u8(s - 7 + (i - 7) * w);
    hi[i] = vld1q_u8(s + 7 + (i - 7) * w);
  }
  uint8x16_t loCommon = lo[3];
  uint8x16_t hiCommon = hi[3];
  for (int i = 4; i <= 14; ++i) {
    loCommon = vorrq_u8(loCommon, lo[i]);
    hiCommon = vorrq_u8(hiCommon, hi[i]);
  }
  // Row m of the group uses source rows m .. m + 14 of the loaded run.
  const uint8x16_t lo12 = vorrq_u8(lo[1], lo[2]);
  const uint8x16_t hi12 = vorrq_u8(hi[1], hi[2]);
  const uint8x16_t lo1516 = vorrq_u8(lo[15], lo[16]);
  const uint8x16_t hi1516 = vorrq_u8(hi[15], hi[16]);
  const uint8x16_t rowsLo[4] = {
      vorrq_u8(loCommon, vorrq_u8(lo[0], lo12)),
      vorrq_u8(loCommon, vorrq_u8(lo12, lo[15])),
      vorrq_u8(loCommon, vorrq_u8(lo[2], lo1516)),
      vorrq_u8(loCommon, vorrq_u8(lo1516, lo[17]))};
  const uint8x16_t rowsHi[4] = {
      vorrq_u8(hiCommon, vorrq_u8(hi[0], hi12)),
      vorrq_u8(hiCommon, vorrq_u8(hi12, hi[15])),
      vorrq_u8(hiCommon, vorrq_u8(hi[2], hi1516)),
      vorrq_u8(hiCommon, vorrq_u8(hi1516, hi[17]))};
  for (int m = 0; m < 4; ++m) {
    vst1q_u8(d + m * w, CombineColumns<7>(rowsLo[m], rowsHi[m], OrBytes()));
  }
}

// The span kernel of a (2K + 1)-square window.
template <int K, typename Op, uint8_t (*Window)(const uint8_t*, ptrdiff_t, int)>
void WindowSpans(const uint8_t* src, uint8_t* dst, int width, int span,
                 int rows) {
  const ptrdiff_t w = width;
  SpanBlocks(
      src, dst, w, span, rows,
      [w](const uint8_t* s, uint8_t* d) { WindowPair16<K>(s, d, w, Op()); },
      [w](const uint8_t* s, uint8_t* d) { WindowRow16<K>(s, d, w, Op()); },
      [w](const uint8_t* s) { return Window(s, w, K); });
}

}  // namespace

void DiscretePointSpans_NEON(const uint8_t* src, uint8_t* dst, int width,
                             int span, int rows) {
  const ptrdiff_t w = width;
  SpanBlocks(
      src, dst, w, span, rows,
      [w](const uint8_t* s, uint8_t* d) { DiscretePair16(s, d, w); },
      [w](const uint8_t* s, uint8_t* d) { DiscreteRow16(s, d, w); },
      [w](const uint8_t* s) { return VdDiscretePointPixel(s, w); });
}

void AndWindow5x5Spans_NEON(const uint8_t* src, uint8_t* dst, int width,
                            int span, int rows) {
  WindowSpans<2, AndBytes, VdAndWindow>(src, dst, width, span, rows);
}

void OrWindow9x9Spans_NEON(const uint8_t* src, uint8_t* dst, int width,
                           int span, int rows) {
  WindowSpans<4, OrBytes, VdOrWindow>(src, dst, width, span, rows);
}

int Dilate15x15_NEON(const uint8_t* src, uint8_t* dst, int width, int rows,
                     int edgeType) {
  VdCopyMaskBorders(src, dst, width, rows, edgeType, 7);
  const ptrdiff_t w = width;
  const int groups = (rows - 14) >> 2;
  const int columns = 2 * ((width - 14) >> 1);
  for (int g = 0; g < groups; ++g) {
    const ptrdiff_t base = (7 + 4 * g) * w + 7;
    if (columns >= 16) {
      // Whole blocks, then one block ending at the last column.
      int o = 0;
      for (; o + 16 <= columns; o += 16) {
        Dilate15Group16(src + base + o, dst + base + o, w);
      }
      if (o < columns) {
        Dilate15Group16(src + base + columns - 16, dst + base + columns - 16,
                        w);
      }
    } else {
      for (int m = 0; m < 4; ++m) {
        for (int c = 0; c < columns; ++c) {
          const ptrdiff_t at = base + m * w + c;
          dst[at] = VdOrWindow(src + at, w, 7);
        }
      }
    }
  }
  return 1;
}

#endif  // defined(__ARM_NEON)
