// The adaptive method's x86 twins, written once for SSE2 and the AVX2
// build: 16 pixels per step in 16-bit lanes. The only difference between the
// two is how a byte indexes a 16-entry table (Lookup): the AVX2 object has
// pshufb, the SSE2 one reads the table per lane. Internal linkage, so each
// object keeps its own copy. The walks (which columns go in vector steps,
// which through the references) are those of the NEON twins too
// (adaptive_temporal_walk.h, spatial/adaptive_spatial_walk.h).
#ifndef VD_TEMPORAL_ADAPTIVE_X86_COMMON_H_
#define VD_TEMPORAL_ADAPTIVE_X86_COMMON_H_

#include <emmintrin.h>
#include <stdint.h>

#include "spatial/adaptive_spatial.h"
#include "spatial/adaptive_spatial_walk.h"
#include "temporal/adaptive_temporal.h"
#include "temporal/adaptive_temporal_walk.h"

namespace {

inline __m128i Load(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline __m128i AbsDiff8(__m128i a, __m128i b) {
  return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}
inline __m128i Lo16(__m128i v) { return _mm_unpacklo_epi8(v, _mm_setzero_si128()); }
inline __m128i Hi16(__m128i v) { return _mm_unpackhi_epi8(v, _mm_setzero_si128()); }

// sigma4 of eight 16-bit brightnesses (see VdSigma4).
inline __m128i Sigma4(const VdNoiseLine& l, __m128i y) {
  const __m128i s1 = _mm_add_epi16(_mm_set1_epi16(l.a1),
                                   _mm_srli_epi16(_mm_mullo_epi16(y, _mm_set1_epi16(l.b1)), 6));
  const __m128i s2 = _mm_add_epi16(_mm_set1_epi16(l.a2),
                                   _mm_srli_epi16(_mm_mullo_epi16(y, _mm_set1_epi16(l.b2)), 6));
  return _mm_min_epi16(s1, s2);
}

// Sum over rows of |c - p| at columns x-1, x, x+1, as 16-bit halves.
inline void PatchSad16(const uint8_t* const* c, const uint8_t* const* p, int x, __m128i* lo,
                       __m128i* hi) {
  __m128i l = _mm_setzero_si128(), h = _mm_setzero_si128();
  for (int r = 0; r < 3; ++r) {
    for (int k = -1; k <= 1; ++k) {
      const __m128i d = AbsDiff8(Load(c[r] + x + k), Load(p[r] + x + k));
      l = _mm_add_epi16(l, Lo16(d));
      h = _mm_add_epi16(h, Hi16(d));
    }
  }
  *lo = l;
  *hi = h;
}

// p + (((c - p) * gain + 64) >> 7) for 16 pixels.
inline __m128i Blend16(__m128i c, __m128i p, __m128i gain) {
  const __m128i r = _mm_set1_epi16(64);
  const __m128i dl = _mm_sub_epi16(Lo16(c), Lo16(p));
  const __m128i dh = _mm_sub_epi16(Hi16(c), Hi16(p));
  const __m128i l = _mm_add_epi16(
      Lo16(p), _mm_srai_epi16(_mm_add_epi16(_mm_mullo_epi16(dl, Lo16(gain)), r), 7));
  const __m128i h = _mm_add_epi16(
      Hi16(p), _mm_srai_epi16(_mm_add_epi16(_mm_mullo_epi16(dh, Hi16(gain)), r), 7));
  return _mm_packus_epi16(l, h);
}

// 16 bytes of mask: where 4 * sad > k * sigma4.
inline __m128i Exceeds(__m128i sad_lo, __m128i sad_hi, __m128i s_lo, __m128i s_hi, int k) {
  const __m128i kk = _mm_set1_epi16(static_cast<int16_t>(k));
  const __m128i l = _mm_cmpgt_epi16(_mm_slli_epi16(sad_lo, 2), _mm_mullo_epi16(s_lo, kk));
  const __m128i h = _mm_cmpgt_epi16(_mm_slli_epi16(sad_hi, 2), _mm_mullo_epi16(s_hi, kk));
  return _mm_packs_epi16(l, h);
}

template <typename Lookup>
void TemporalLumaX86(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                     const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                     const uint8_t* cap, uint8_t* hist, uint8_t* out, int width,
                     const VdTemporalParams* params, Lookup lookup) {
  const uint8_t* c[3] = {c0, c1, c2};
  const uint8_t* p[3] = {p0, p1, p2};
  const __m128i one = _mm_set1_epi8(1);
  const __m128i most = _mm_set1_epi8(kVdAdaptiveMaxHistory);
  AdaptiveTemporalLumaWalk(c0, c1, c2, p0, p1, p2, cap, hist, out, width, params, [&](int x) {
    __m128i sl, sh;
    PatchSad16(c, p, x, &sl, &sh);
    const __m128i pv = Load(p1 + x);
    const __m128i sig_l = Sigma4(params->luma, Lo16(pv));
    const __m128i sig_h = Sigma4(params->luma, Hi16(pv));
    const __m128i not_still = Exceeds(sl, sh, sig_l, sig_h, params->still);
    const __m128i moved = Exceeds(sl, sh, sig_l, sig_h, params->move);
    const __m128i grown = _mm_min_epu8(_mm_adds_epu8(Load(hist + x), one), most);
    const __m128i quarter = _mm_and_si128(_mm_srli_epi16(grown, 2), _mm_set1_epi8(0x3f));
    __m128i n = _mm_or_si128(_mm_andnot_si128(not_still, grown),
                             _mm_and_si128(_mm_andnot_si128(moved, not_still), quarter));
    n = _mm_min_epu8(n, Load(cap + x));
    Store(hist + x, n);
    Store(out + x, Blend16(Load(c1 + x), pv, lookup(kVdAdaptiveGain, n)));
  });
}

// Eight 16-bit lanes from the even bytes of 16 bytes.
inline __m128i Even16(__m128i v) { return _mm_and_si128(v, _mm_set1_epi16(0xff)); }

template <typename Lookup>
void TemporalChromaX86(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2,
                       const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                       const uint8_t* luma_pred, const uint8_t* luma_hist0,
                       const uint8_t* luma_hist1, uint8_t* hist, uint8_t* out, int width,
                       const VdTemporalParams* params, Lookup lookup) {
  const uint8_t* c[3] = {c0, c1, c2};
  const uint8_t* p[3] = {p0, p1, p2};
  const __m128i ratio = _mm_set1_epi16(params->chroma_ratio);
  const __m128i most = _mm_set1_epi16(255);
  AdaptiveTemporalChromaWalk(
      c0, c1, c2, p0, p1, p2, luma_pred, luma_hist0, luma_hist1, hist, out, width, params,
      [&](int x) {
        __m128i sl, sh;
        PatchSad16(c, p, x, &sl, &sh);
        const uint8_t* lp = luma_pred + 2 * x;
        const __m128i sig_l = _mm_min_epi16(
            _mm_srli_epi16(_mm_mullo_epi16(Sigma4(params->luma, Even16(Load(lp))), ratio), 6),
            most);
        const __m128i sig_h = _mm_min_epi16(
            _mm_srli_epi16(_mm_mullo_epi16(Sigma4(params->luma, Even16(Load(lp + 16))), ratio), 6),
            most);
        const __m128i moved = Exceeds(sl, sh, sig_l, sig_h, params->chroma_move);
        // Minimum of each 2x2 of luma history.
        const __m128i ma = _mm_min_epu8(Load(luma_hist0 + 2 * x), Load(luma_hist1 + 2 * x));
        const __m128i mb =
            _mm_min_epu8(Load(luma_hist0 + 2 * x + 16), Load(luma_hist1 + 2 * x + 16));
        const __m128i cap = _mm_packus_epi16(_mm_min_epi16(Even16(ma), _mm_srli_epi16(ma, 8)),
                                             _mm_min_epi16(Even16(mb), _mm_srli_epi16(mb, 8)));
        __m128i n = _mm_min_epu8(_mm_add_epi8(Load(hist + x), _mm_set1_epi8(1)), cap);
        n = _mm_andnot_si128(moved, n);
        Store(hist + x, n);
        Store(out + x, Blend16(Load(c1 + x), Load(p1 + x), lookup(kVdAdaptiveGain, n)));
      });
}

// phi(d) weighted by w (1 or 2, as a shift) added to sum, eight lanes.
inline __m128i AddPhi(__m128i sum, __m128i nb, __m128i c, __m128i t2, int shift) {
  const __m128i d = _mm_sub_epi16(nb, c);
  const __m128i sign = _mm_srai_epi16(d, 15);
  const __m128i a = _mm_sub_epi16(_mm_xor_si128(d, sign), sign);
  __m128i m = _mm_min_epi16(a, _mm_sub_epi16(t2, a));
  m = _mm_max_epi16(m, _mm_setzero_si128());
  m = _mm_sub_epi16(_mm_xor_si128(m, sign), sign);
  return _mm_add_epi16(sum, shift ? _mm_slli_epi16(m, 1) : m);
}

inline __m128i SpatialHalf(const uint8_t* const* r, int x, int step, __m128i t2,
                           __m128i (*half)(__m128i)) {
  const __m128i c = half(Load(r[1] + x));
  __m128i s = _mm_setzero_si128();
  s = AddPhi(s, half(Load(r[0] + x - step)), c, t2, 0);
  s = AddPhi(s, half(Load(r[0] + x)), c, t2, 1);
  s = AddPhi(s, half(Load(r[0] + x + step)), c, t2, 0);
  s = AddPhi(s, half(Load(r[1] + x - step)), c, t2, 1);
  s = AddPhi(s, half(Load(r[1] + x + step)), c, t2, 1);
  s = AddPhi(s, half(Load(r[2] + x - step)), c, t2, 0);
  s = AddPhi(s, half(Load(r[2] + x)), c, t2, 1);
  s = AddPhi(s, half(Load(r[2] + x + step)), c, t2, 0);
  return _mm_add_epi16(c, _mm_srai_epi16(_mm_add_epi16(s, _mm_set1_epi16(8)), 4));
}

inline void SpatialRowX86(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                   const uint8_t* threshold, uint8_t* out, int width, int step) {
  const uint8_t* r[3] = {r0, r1, r2};
  AdaptiveSpatialRowWalk(r0, r1, r2, threshold, out, width, step, [&](int x) {
    const __m128i t = Load(threshold + x);
    const __m128i lo = SpatialHalf(r, x, step, _mm_slli_epi16(Lo16(t), 1), Lo16);
    const __m128i hi = SpatialHalf(r, x, step, _mm_slli_epi16(Hi16(t), 1), Hi16);
    Store(out + x, _mm_packus_epi16(lo, hi));
  });
}

// (sigma4 * reach[n]) >> 8 for 16 pixels given their sigma4 halves.
template <typename Lookup>
inline __m128i Threshold16(__m128i sig_l, __m128i sig_h, __m128i n, const uint8_t* reach,
                           Lookup lookup) {
  const __m128i r = lookup(reach, n);
  return _mm_packus_epi16(_mm_srli_epi16(_mm_mullo_epi16(sig_l, Lo16(r)), 8),
                          _mm_srli_epi16(_mm_mullo_epi16(sig_h, Hi16(r)), 8));
}

template <typename Lookup>
void LumaThresholdX86(const uint8_t* row, const uint8_t* hist, uint8_t* threshold, int width,
                      const VdSpatialParams* params, Lookup lookup) {
  AdaptiveThresholdWalk(
      width,
      [&](int x) {
        const __m128i v = Load(row + x);
        Store(threshold + x,
              Threshold16(Sigma4(params->luma, Lo16(v)), Sigma4(params->luma, Hi16(v)),
                          Load(hist + x), params->reach, lookup));
      },
      [&](int x) {
        AdaptiveLumaThreshold_C(row + x, hist + x, threshold + x, width - x, params);
      });
}

template <typename Lookup>
void ChromaThresholdX86(const uint8_t* luma_row, const uint8_t* hist, uint8_t* threshold,
                        int width, const VdSpatialParams* params, Lookup lookup) {
  const __m128i ratio = _mm_set1_epi16(params->chroma_ratio);
  const __m128i most = _mm_set1_epi16(255);
  AdaptiveThresholdWalk(
      width,
      [&](int x) {
        const uint8_t* l = luma_row + 2 * x;
        const __m128i sl = _mm_min_epi16(
            _mm_srli_epi16(_mm_mullo_epi16(Sigma4(params->luma, Even16(Load(l))), ratio), 6),
            most);
        const __m128i sh = _mm_min_epi16(
            _mm_srli_epi16(_mm_mullo_epi16(Sigma4(params->luma, Even16(Load(l + 16))), ratio), 6),
            most);
        Store(threshold + x, Threshold16(sl, sh, Load(hist + x), params->reach, lookup));
      },
      [&](int x) {
        AdaptiveChromaThreshold_C(luma_row + 2 * x, hist + x, threshold + x, width - x, params);
      });
}

}  // namespace

#endif  // VD_TEMPORAL_ADAPTIVE_X86_COMMON_H_
