// Every kernel family's variant table, slot by slot: the twin that each
// vector level this machine runs holds in a slot against the slot's scalar
// entry, on random data at every width 1 .. 140 with every row count 1 .. 9
// and at random large sizes (vdtest::ForEachAwkwardSize). Each buffer holds
// exactly the bytes the kernel's header says it touches and ends flush
// against a guard page (on odd seeds one byte short of it where that makes
// its start odd); for the kernels that read around a pixel a second run puts
// the buffers' starts flush against their guards. The scalar entry runs on
// the same buffers, so its footprint is checked on every machine. All
// buffers, inputs included, must come out equal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/vd_cpu.h"
#include "image/convert_internal.h"
#include "image/resample_internal.h"
#include "morphology/mask_morphology_internal.h"
#include "spatial/bilateral_internal.h"
#include "spatial/box_blend.h"
#include "spatial/box_filter_internal.h"
#include "spatial/fuzzy_filter.h"
#include "spatial/fuzzy_filter_internal.h"
#include "spatial/sharpness_internal.h"
#include "temporal/motion_mask_internal.h"
#include "temporal/temporal_filter_internal.h"
#include "tests/test_util.h"

namespace {

using vdtest::GuardedBuffer;
using Bytes = std::vector<uint8_t>;
// The initial bytes of each buffer of one call, exactly as many as the
// kernel touches in it.
using Buffers = std::vector<Bytes>;
using Uc = unsigned char;

// n bytes of one of three kinds by seed: full range; low contrast around a
// random level (small neighbour differences put every range weight and
// rounding case in play); only values near 0 and 255 (saturating sums).
Bytes TestBytes(size_t n, uint32_t seed) {
  Bytes b = vdtest::RandomBytes(n, seed);
  const int level = 8 + static_cast<int>(seed % 240);
  for (uint8_t& v : b) {
    if (seed % 3 == 1) v = static_cast<uint8_t>(level + v % 9 - 4);
    if (seed % 3 == 2) v = static_cast<uint8_t>(v & 1 ? 255 - v % 4 : v % 4);
  }
  return b;
}

// `count` buffers of n test bytes each.
Buffers TestBuffers(size_t count, size_t n, uint32_t seed) {
  Buffers b;
  for (size_t i = 0; i < count; ++i) b.push_back(TestBytes(n, seed * 7 + i));
  return b;
}

std::string FirstDifference(const Buffers& a, const Buffers& b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const auto d = std::mismatch(a[i].begin(), a[i].end(), b[i].begin());
    if (d.first != a[i].end()) {
      return "buffer " + std::to_string(i) + " byte " + std::to_string(d.first - a[i].begin()) +
             ": " + std::to_string(*d.first) + " != " + std::to_string(*d.second);
    }
  }
  return "return value";
}

// Where buffer `index` of a call goes: n bytes ending `slack` bytes before a
// guard page, or starting right after one. The guarded mappings are kept and
// reused (grown when too small), which costs far less than mapping afresh.
Uc* Place(size_t index, size_t n, size_t slack, GuardedBuffer::Flush flush) {
  static std::vector<std::unique_ptr<GuardedBuffer>> arenas[2];
  std::vector<std::unique_ptr<GuardedBuffer>>& a = arenas[flush];
  if (a.size() <= index) a.resize(index + 1);
  if (!a[index] || a[index]->size() < n + slack) {
    a[index] = std::make_unique<GuardedBuffer>(std::max(n + slack, size_t{1} << 16), flush);
  }
  GuardedBuffer& g = *a[index];
  return flush == GuardedBuffer::kFlushStart ? g.data() : g.data() + g.size() - slack - n;
}

// Runs the `slot` of a family's table: at every size the scalar entry on the
// guarded buffers (so its footprint is checked even where no level has a
// twin), then the twin of every vector level this machine runs, which must
// leave the same bytes. make(width, rows, edge, seed) gives the initial
// buffers; run(fn, p, width, rows, edge, seed) calls fn on their guarded
// copies p. A run that returns a value must return the same.
template <typename Table, typename Fn, typename Make, typename Run>
void ExpectSlotMatchesScalar(const Table& (*table)(int), Fn Table::*slot, int maxWidth, int maxRows,
                             bool underRun, Make make, Run run) {
  std::vector<std::pair<const char*, Fn>> twins;
  vdtest::ForEachTwin(table, slot, [&](const char* level, Fn, Fn twin) {
    twins.push_back({level, twin});
  });
  int oddAddresses = 0;
  vdtest::ForEachAwkwardSize(maxWidth, maxRows, [&](int w, int h, int edge, uint32_t seed) {
    if (testing::Test::HasFatalFailure()) return;
    const Buffers init = make(w, h, edge, seed);
    for (auto flush : {GuardedBuffer::kFlushEnd, GuardedBuffer::kFlushStart}) {
      if (flush == GuardedBuffer::kFlushStart && !underRun) break;
      std::vector<Uc*> p;
      for (const Bytes& b : init) {
        // On odd seeds a buffer of an even byte count ends one byte short of
        // its guard, so that it starts at an odd address.
        const bool odd = flush == GuardedBuffer::kFlushEnd && (seed & 1) && b.size() % 2 == 0;
        p.push_back(Place(p.size(), b.size(), odd, flush));
        oddAddresses += reinterpret_cast<uintptr_t>(p.back()) & 1;
      }
      auto once = [&](Fn fn) {
        for (size_t i = 0; i < init.size(); ++i) {
          if (!init[i].empty()) std::memcpy(p[i], init[i].data(), init[i].size());
        }
        Buffers out(init.size() + 1);
        if constexpr (std::is_void_v<decltype(run(fn, p.data(), w, h, edge, seed))>) {
          run(fn, p.data(), w, h, edge, seed);
        } else {
          out.back().push_back(static_cast<uint8_t>(run(fn, p.data(), w, h, edge, seed)));
        }
        for (size_t i = 0; i < init.size(); ++i) out[i].assign(p[i], p[i] + init[i].size());
        return out;
      };
      const Buffers want = once(table(kVdSimdScalar).*slot);
      for (const auto& [level, twin] : twins) {
        const Buffers got = once(twin);
        ASSERT_TRUE(want == got) << level << " " << w << " x " << h << " edge " << edge << " seed "
                                 << seed
                                 << (flush == GuardedBuffer::kFlushStart ? " flush start" : "")
                                 << ": " << FirstDifference(want, got);
      }
    }
  });
  EXPECT_GT(oddAddresses, 0);
}

// ---- spatial ---------------------------------------------------------------

TEST(KernelVariants, BoxFilter) {
  // Strided: the source rows 0 .. 34 bytes apart beyond the width, the
  // destination's 0 .. 10 (the gaps must come out as they went in).
  const auto strides = [](int w, uint32_t seed) {
    return std::make_pair(ptrdiff_t{w} + seed % 5 * 7, ptrdiff_t{w} + seed % 3 * 5);
  };
  for (auto slot : {&BoxFilterKernels::box3x3, &BoxFilterKernels::box5x5,
                    &BoxFilterKernels::box7x7, &BoxFilterKernels::box11x11}) {
    ExpectSlotMatchesScalar(
        VdBoxFilterKernels, slot, 2000, 14, true,
        [&](int w, int h, int, uint32_t seed) {
          const auto [ss, ds] = strides(w, seed);
          Buffers b = TestBuffers(2, 0, seed);
          b[0] = TestBytes(static_cast<size_t>((h - 1) * ss + w), seed);
          b[1] = TestBytes(static_cast<size_t>((h - 1) * ds + w), seed + 1);
          return b;
        },
        [&](auto fn, Uc* const* p, int w, int h, int edge, uint32_t seed) {
          const auto [ss, ds] = strides(w, seed);
          return fn(p[0], ss, p[1], ds, w, h, edge);
        });
  }
}

TEST(KernelVariants, BoxBlend) {
  // One row: the three source rows around it, the previous output and the
  // result (in place over the previous output on some seeds); the level is
  // the edge argument's 0 .. 3.
  InitNRPixelTable(17);
  ExpectSlotMatchesScalar(
      VdBoxBlendKernels, &BoxBlendKernels::row, 4000, 1, true,
      [](int w, int, int, uint32_t seed) {
        Buffers b = TestBuffers(5, static_cast<size_t>(w), seed);
        // Small differences too, where the blend does most.
        for (size_t i = 0; i < b[3].size(); i += 2)
          b[3][i] = static_cast<uint8_t>(b[1][i] + i % 7);
        return b;
      },
      [](auto fn, Uc* const* p, int w, int, int level, uint32_t seed) {
        fn(p[0], p[1], p[2], p[3], seed & 4 ? p[3] : p[4], w, level);
      });
}

TEST(KernelVariants, FuzzyFilter) {
  // The table blend: whole groups of four of the width x rows samples;
  // differences 0 .. 32, signs 0 and 1, the output in place on some seeds.
  ExpectSlotMatchesScalar(
      VdFuzzyFilterKernels, &FuzzyFilterKernels::blend, 1920, 40, false,
      [](int w, int h, int, uint32_t seed) {
        Buffers b = TestBuffers(4, static_cast<size_t>(w) * h & ~size_t{3}, seed);
        for (uint8_t& d : b[1]) d %= 33;
        for (uint8_t& s : b[2]) s &= 1;
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int level, uint32_t seed) {
        return fn(p[0], p[1], p[2], seed & 2 ? p[0] : p[3], w, h, level);
      });
  ExpectSlotMatchesScalar(
      VdFuzzyFilterKernels, &FuzzyFilterKernels::chroma, 400, 24, true,
      [](int w, int h, int, uint32_t seed) {
        return TestBuffers(2, static_cast<size_t>(w) * h, seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int edge, uint32_t) { fn(p[0], p[1], w, h, edge); });
  // The guided filter with a guide close to the source (so that its centre
  // matters) or, on odd seeds, none: the source is its own guide.
  ExpectSlotMatchesScalar(
      VdFuzzyFilterKernels, &FuzzyFilterKernels::guided, 400, 24, true,
      [](int w, int h, int, uint32_t seed) {
        Buffers b = TestBuffers(3, static_cast<size_t>(w) * h, seed);
        for (size_t i = 0; i < b[0].size(); ++i)
          b[0][i] = static_cast<uint8_t>(b[1][i] + i % 5 - 2);
        if (seed & 1) b[0].clear();
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int edge, uint32_t seed) {
        fn(seed & 1 ? nullptr : p[0], p[1], p[2], w, h, edge, static_cast<int>(seed & 1));
      });
}

TEST(KernelVariants, Sharpness) {
  ExpectSlotMatchesScalar(
      VdSharpnessKernels, &SharpnessKernels::sharpen, 1920, 12, true,
      [](int w, int h, int, uint32_t seed) {
        return TestBuffers(2, static_cast<size_t>(w) * h, seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int edge, uint32_t) { fn(p[0], p[1], w, h, edge); });
}

TEST(KernelVariants, Bilateral) {
  for (auto slot : {&BilateralKernels::radius3, &BilateralKernels::radius4}) {
    ExpectSlotMatchesScalar(
        VdBilateralKernels, slot, 200, 20, true,
        [](int w, int h, int, uint32_t seed) {
          return TestBuffers(2, static_cast<size_t>(w) * h, seed);
        },
        [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
          fn(p[0], p[1], w, h, 1 + static_cast<int>(seed % 6), 1 + static_cast<int>(seed / 6 % 14));
        });
  }
}

// ---- temporal --------------------------------------------------------------

// The span of a motion-mask span kernel's run: by seed, whole 16-pixel
// blocks of the width (none below 16), any length up to the width, or longer
// than a row (running on into the next). Its rows go `width` bytes apart, so
// each plane holds (rows - 1) x width + span bytes.
int MotionSpan(int w, uint32_t seed) {
  const int pick = static_cast<int>(seed / 3);
  switch (seed % 3) {
    case 0: return w / 16 * 16;
    case 1: return 1 + pick % w;
    default: return w + 1 + pick % 50;
  }
}

size_t MotionSpanBytes(int w, int h, uint32_t seed) {
  const int span = MotionSpan(w, seed);
  return span > 0 ? static_cast<size_t>(h - 1) * w + span : 0;
}

// First and second plane (the second near the first at even positions, so
// that differences fall around the thresholds), then the outputs.
Buffers MotionPlanes(size_t count, size_t n, uint32_t seed) {
  Buffers b = TestBuffers(count, n, seed);
  for (size_t i = 0; i < n; i += 2) b[1][i] = static_cast<uint8_t>(b[0][i] + b[1][i] % 41 - 20);
  return b;
}

Uc Threshold(uint32_t seed) {
  const Uc t[] = {0, 4, static_cast<Uc>(seed % 20), 254, 255};
  return t[seed % 5];
}

TEST(KernelVariants, MotionMask) {
  const auto& table = VdMotionMaskKernels;
  ExpectSlotMatchesScalar(
      table, &MotionMaskKernels::sad_pairs, 1920, 12, false,
      [](int w, int h, int, uint32_t seed) {
        return MotionPlanes(3, MotionSpanBytes(w, h, seed), seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        fn(p[0], p[1], p[2], w, MotionSpan(w, seed), h);
      });
  // In place (the output over the first plane) on some seeds.
  ExpectSlotMatchesScalar(
      table, &MotionMaskKernels::sad_threshold, 1920, 12, false,
      [](int w, int h, int, uint32_t seed) {
        return MotionPlanes(3, MotionSpanBytes(w, h, seed), seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        fn(p[0], p[1], seed & 8 ? p[0] : p[2], w, MotionSpan(w, seed), h, Threshold(seed));
      });
  // The difference over the first plane on some seeds.
  ExpectSlotMatchesScalar(
      table, &MotionMaskKernels::diff_abs, 1920, 12, false,
      [](int w, int h, int, uint32_t seed) {
        return MotionPlanes(4, MotionSpanBytes(w, h, seed), seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        fn(p[0], p[1], seed & 8 ? p[0] : p[2], p[3], w, MotionSpan(w, seed), h);
      });
  // In place on some seeds.
  ExpectSlotMatchesScalar(
      table, &MotionMaskKernels::threshold255, 1920, 12, false,
      [](int w, int h, int, uint32_t seed) {
        return TestBuffers(2, MotionSpanBytes(w, h, seed), seed);
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        fn(p[0], seed & 8 ? p[0] : p[1], w, MotionSpan(w, seed), h, Threshold(seed));
      });
}

TEST(KernelVariants, TemporalFilter) {
  for (auto slot : {&TemporalFilterKernels::still, &TemporalFilterKernels::luma}) {
    // Rows of whole 16-pixel blocks at the packed pitch; masks around the
    // still / moving split at 128.
    ExpectSlotMatchesScalar(
        VdTemporalFilterKernels, slot, 1920, 12, false,
        [](int w, int h, int, uint32_t seed) {
          Buffers b = TestBuffers(4, static_cast<size_t>(w / 16 * 16) * h, seed);
          for (size_t i = 0; i < b[2].size(); i += 2)
            b[2][i] = static_cast<uint8_t>(126 + b[2][i] % 4);
          return b;
        },
        [](auto fn, Uc* const* p, int w, int h, int, uint32_t) {
          fn(p[0], p[1], p[2], p[3], w, h);
        });
  }
}

// ---- image -----------------------------------------------------------------

TEST(KernelVariants, Resample) {
  const auto& table = VdResampleKernels;
  // 4 x 4 means: the rows of the whole groups of four, each up to its last
  // whole block.
  ExpectSlotMatchesScalar(
      table, &ResampleKernels::down4, 1000, 40, false,
      [](int w, int h, int, uint32_t seed) {
        const size_t groups = h / 4, blocks = w / 4;
        Buffers b = TestBuffers(1, groups && blocks ? (4 * groups - 1) * w + 4 * blocks : 0, seed);
        b.emplace_back(groups * blocks, 0x5A);
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t) { return fn(p[0], h, w, p[1]); });
  // 2 x 2 means at a source stride of width + 0 .. 6, output rows stride / 2
  // apart.
  ExpectSlotMatchesScalar(
      table, &ResampleKernels::down2, 1000, 40, false,
      [](int w, int h, int, uint32_t seed) {
        const size_t pairs = h / 2, blocks = w / 2, stride = w + seed % 7;
        const bool any = pairs && blocks;
        Buffers b = TestBuffers(1, any ? (2 * pairs - 1) * stride + 2 * blocks : 0, seed);
        b.emplace_back(any ? (pairs - 1) * (stride / 2) + blocks : 0, 0x5A);
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        fn(p[0], h, w, w + static_cast<int>(seed % 7), p[1]);
      });
  ExpectSlotMatchesScalar(
      table, &ResampleKernels::up8, 300, 20, true,
      [](int w, int h, int, uint32_t seed) {
        Buffers b = TestBuffers(1, static_cast<size_t>(w) * h, seed);
        b.emplace_back(64 * b[0].size(), 0x5A);
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t) { fn(p[0], h, w, 0, p[1]); });
  ExpectSlotMatchesScalar(
      table, &ResampleKernels::up4, 1000, 30, true,
      [](int w, int h, int, uint32_t seed) {
        Buffers b = TestBuffers(1, static_cast<size_t>(w) * h, seed);
        b.emplace_back(16 * b[0].size(), 0x5A);
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t) { fn(p[0], h, w, p[1]); });
}

// The chroma movers on exactly count = width x rows samples (merge) or
// interleaved bytes (split, odd counts included). Seeds pick the layout:
// separate planes (the wide path), or, in one buffer, the ranges
// overlapping (the block-by-block path and the short last block): the
// output starting inside the input, or the V plane starting inside the U
// plane.
TEST(KernelVariants, ConvertChromaMovers) {
  ExpectSlotMatchesScalar(
      VdChromaMoveKernels, &ChromaMoveKernels::merge, 1000, 40, true,
      [](int w, int h, int, uint32_t seed) {
        const size_t count = static_cast<size_t>(w) * h;
        if (seed % 2) return TestBuffers(1, 3 + 2 * count, seed);  // vu, then u and v from 3
        return Buffers{TestBytes(count, seed), TestBytes(count, seed + 1),
                       Bytes(2 * count, 0x5A)};
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        const int count = w * h;
        if (seed % 2) {
          fn(p[0] + 3, p[0] + 3 + count, p[0], count);
        } else {
          fn(p[0], p[1], p[2], count);
        }
      });
  ExpectSlotMatchesScalar(
      VdChromaMoveKernels, &ChromaMoveKernels::split, 1000, 40, true,
      [](int w, int h, int, uint32_t seed) {
        const size_t bytes = static_cast<size_t>(w) * h;
        if (seed % 3 == 1) return TestBuffers(1, 5 + bytes, seed);  // vu, then u and v from 5
        Buffers b = {TestBytes(bytes, seed)};
        if (seed % 3 == 2) {
          b.emplace_back(bytes / 4 + (bytes + 1) / 2, 0x5A);  // v from bytes / 4
        } else {
          b.emplace_back(bytes / 2, 0x5A);
          b.emplace_back((bytes + 1) / 2, 0xA5);
        }
        return b;
      },
      [](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
        const int bytes = w * h;
        if (seed % 3 == 1) {
          fn(p[0], p[0] + 5, p[0] + 5 + bytes / 2, bytes);
        } else if (seed % 3 == 2) {
          fn(p[0], p[1], p[1] + bytes / 4, bytes);
        } else {
          fn(p[0], p[1], p[2], bytes);
        }
      });
}

// ---- morphology ------------------------------------------------------------

// Random bytes, or on odd seeds a mask of 0 and 255 of random density.
Bytes MaskBytes(size_t n, uint32_t seed) {
  Bytes b = vdtest::RandomBytes(n, seed);
  const uint8_t density = static_cast<uint8_t>(seed * 37);
  if (seed & 1) {
    for (uint8_t& v : b) v = v < density ? 255 : 0;
  }
  return b;
}

// The span a span kernel of half-size k runs with at width w: by seed the
// row-exact w - 2k, the exported walk's VdMaskRowSpan (which may run past
// the row end) or any length up to 2w; at least 1.
int MaskSpan(int w, int k, uint32_t seed) {
  const int span = seed % 3 == 0   ? w - 2 * k
                   : seed % 3 == 1 ? VdMaskRowSpan(w, k)
                                   : static_cast<int>(1 + (seed >> 2) % (2u * w));
  return std::max(span, 1);
}

TEST(KernelVariants, MaskMorphology) {
  // The span kernels: h rows of the span, w bytes apart. The source holds
  // exactly their windows (from k rows above and k columns left of the first
  // output to k rows below and k columns right of the last), the destination
  // exactly the first to the last output.
  const std::pair<MaskSpanFn MaskMorphologyKernels::*, int> slots[] = {
      {&MaskMorphologyKernels::discrete_points, 1},
      {&MaskMorphologyKernels::and5x5, 2},
      {&MaskMorphologyKernels::or9x9, 4}};
  for (const auto& [slot, k] : slots) {
    SCOPED_TRACE(testing::Message() << "half-size " << k);
    ExpectSlotMatchesScalar(
        VdMaskMorphologyKernels, slot, 300, 40, true,
        [k = k](int w, int h, int, uint32_t seed) {
          const size_t out = static_cast<size_t>(h - 1) * w + MaskSpan(w, k, seed);
          return Buffers{MaskBytes(out + 2 * k * (w + 1), seed), vdtest::RandomBytes(out, seed + 1)};
        },
        [k = k](auto fn, Uc* const* p, int w, int h, int, uint32_t seed) {
          fn(p[0] + k * (w + 1), p[1], w, MaskSpan(w, k, seed), h);
        });
  }
  // Dilate15x15 on its planes.
  ExpectSlotMatchesScalar(
      VdMaskMorphologyKernels, &MaskMorphologyKernels::dilate15x15, 300, 40, true,
      [](int w, int h, int, uint32_t seed) {
        const size_t n = static_cast<size_t>(w) * h;
        return Buffers{MaskBytes(n, seed), vdtest::RandomBytes(n, seed + 1)};
      },
      [](auto fn, Uc* const* p, int w, int h, int edge, uint32_t) {
        return fn(p[0], p[1], w, h, edge);
      });
}

}  // namespace
