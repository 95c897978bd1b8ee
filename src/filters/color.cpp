#include "filters/color.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/convert.h"
#include "filters/blend.h"
#include "filters/parallel.h"

// This source is compiled once per instruction set (HWY_TARGET_INCLUDE): what lies outside
// the per-target namespace is guarded to be defined once.
#ifndef TESSFX_FILTERS_COLOR_ONCE
#define TESSFX_FILTERS_COLOR_ONCE
namespace tessfx {
namespace {

struct HsvParams {
  float hue_shift;  // sextants, 0 <= shift < 6
  float saturation;
  float value;
  float gain_r, gain_g, gain_b;
};

}  // namespace
}  // namespace tessfx
#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/color.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// One channel of the hexcone back-conversion: the channel with phase n sits at full value
// for two sextants, at value - chroma for two, and ramps between them.
HWY_INLINE VF HexconeChannel(DF df, float n, VF hue, VF value, VF chroma) {
  VF k = hn::Add(hn::Set(df, n), hue);  // 1 <= k < 12: one wrap brings it into 0..6
  k = hn::IfThenElse(hn::Ge(k, hn::Set(df, 6.0f)), hn::Sub(k, hn::Set(df, 6.0f)), k);
  const VF t = hn::Min(hn::Max(hn::Min(k, hn::Sub(hn::Set(df, 4.0f), k)), hn::Zero(df)), hn::Set(df, 1.0f));
  return hn::Sub(value, hn::Mul(chroma, t));
}

// Pixels to hue (in sextants), saturation and value, adjusted, and back.
void HsvRun(const HsvParams& p, uint8_t* r, uint8_t* g, uint8_t* b, int64_t n) {
  const DF df;
  ForEachStep(hn::Lanes(df), n, {r, g, b}, {r, g, b}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    const VF R = LoadBytesAsFloat(df, in[0]), G = LoadBytesAsFloat(df, in[1]), B = LoadBytesAsFloat(df, in[2]);
    const VF mx = hn::Max(R, hn::Max(G, B));
    const VF mn = hn::Min(R, hn::Min(G, B));
    const VF chroma = hn::Sub(mx, mn);
    // Samples are whole numbers, so chroma and maximum are 0 or at least 1; the smallest
    // normal float added keeps grey and black from dividing by zero and changes nothing else.
    const VF tiny = hn::Set(df, 0x1p-126f);
    const VF inv_c = hn::Div(hn::Set(df, 1.0f), hn::Add(chroma, tiny));
    const VF sat = hn::Div(chroma, hn::Add(mx, tiny));
    const auto is_r = hn::Eq(mx, R), is_g = hn::Eq(mx, G);
    const VF num = hn::IfThenElse(is_r, hn::Sub(G, B), hn::IfThenElse(is_g, hn::Sub(B, R), hn::Sub(R, G)));
    const VF base = hn::IfThenElse(is_r, hn::Zero(df), hn::IfThenElse(is_g, hn::Set(df, 2.0f), hn::Set(df, 4.0f)));
    VF h = hn::Add(hn::Add(hn::Mul(num, inv_c), base), hn::Set(df, p.hue_shift));
    h = hn::IfThenElse(hn::Lt(h, hn::Zero(df)), hn::Add(h, hn::Set(df, 6.0f)), h);  // -1 <= h < 11 before these
    h = hn::IfThenElse(hn::Ge(h, hn::Set(df, 6.0f)), hn::Sub(h, hn::Set(df, 6.0f)), h);
    const VF v2 = hn::Min(hn::Mul(mx, hn::Set(df, p.value)), hn::Set(df, 255.0f));
    const VF s2 = hn::Min(hn::Mul(sat, hn::Set(df, p.saturation)), hn::Set(df, 1.0f));
    const VF c2 = hn::Mul(v2, s2);
    StoreFloatAsBytes(df, hn::Mul(HexconeChannel(df, 5.0f, h, v2, c2), hn::Set(df, p.gain_r)), out[0]);
    StoreFloatAsBytes(df, hn::Mul(HexconeChannel(df, 3.0f, h, v2, c2), hn::Set(df, p.gain_g)), out[1]);
    StoreFloatAsBytes(df, hn::Mul(HexconeChannel(df, 1.0f, h, v2, c2), hn::Set(df, p.gain_b)), out[2]);
  });
}

// p[i] = table[p[i]]: sixteen 16-entry byte shuffles, one per high nibble, each kept where
// the sample's high nibble selects it. The one-lane build has no 16-byte shuffle and looks
// the samples up one by one.
void ToneLanes(uint8_t* p, int64_t n, const uint8_t* table) {
#if HWY_TARGET == HWY_SCALAR
  for (int64_t i = 0; i < n; ++i) p[i] = table[p[i]];
#else
  const hn::ScalableTag<uint8_t> d;
  HWY_ALIGN uint8_t aligned[256];
  std::memcpy(aligned, table, sizeof aligned);
  hn::Vec<decltype(d)> part[16];
  for (int k = 0; k < 16; ++k) part[k] = hn::LoadDup128(d, aligned + 16 * k);
  ForEachStep(hn::Lanes(d), n, {p}, {p}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    const auto sample = hn::LoadU(d, in[0]);
    const auto low = hn::And(sample, hn::Set(d, 15));
    const auto high = hn::ShiftRight<4>(sample);
    auto v = hn::TableLookupBytes(part[0], low);
    for (int k = 1; k < 16; ++k)
      v = hn::IfThenElse(hn::Eq(high, hn::Set(d, static_cast<uint8_t>(k))), hn::TableLookupBytes(part[k], low), v);
    hn::StoreU(v, d, out[0]);
  });
#endif
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(HsvRun);
HWY_EXPORT(ToneLanes);

inline constexpr int64_t kChunk = 1 << 14;

}  // namespace

void FastHSVandRGB(RgbView planes, float hue, float saturation, float value, float red, float green, float blue) {
  if (planes.r.empty()) return;
  const int64_t n = planes.r.samples();
  uint8_t *r = planes.r.data, *g = planes.g.data, *b = planes.b.data;
  // The rotation in sextants of the hexcone, brought into 0..6 once.
  const double sextants = static_cast<double>(hue) / 60.0;
  float shift = static_cast<float>(sextants - 6.0 * std::floor(sextants / 6.0));
  if (!(shift >= 0.0f && shift < 6.0f)) shift = 0.0f;  // NaN, or a rounding up to 6
  const HsvParams p{shift, std::max(saturation, 0.0f), std::max(value, 0.0f), red, green, blue};
  const int32_t chunks = static_cast<int32_t>((n + kChunk - 1) / kChunk);
  ForEachRowBand(0, chunks, kChunk, [&](int32_t c0, int32_t c1) {
    const int64_t i0 = int64_t{c0} * kChunk;
    const int64_t i1 = std::min(n, int64_t{c1} * kChunk);
    HWY_DYNAMIC_DISPATCH(HsvRun)(p, r + i0, g + i0, b + i0, i1 - i0);
  });
}

void SetValue(RgbView work, const ToneTable& table) {
  const auto run = HWY_DYNAMIC_DISPATCH(ToneLanes);
  ForEachSampleRun(work.r, 3, [&](int64_t o, int64_t n) {
    for (uint8_t* p : {work.r.data + o, work.g.data + o, work.b.data + o}) run(p, n, table.data());
  });
}

void SetValueAlpha(RgbView work_planes, ConstRgbView host_planes, ConstPlaneView alpha_plane, int32_t flag,
                   const ToneTable& table) {
  if (flag != 0) {
    SetValue(work_planes, table);
    return;
  }
  const int32_t width = work_planes.r.width, height = work_planes.r.height;
  const int64_t stride = work_planes.r.stride;
  ForEachPlaneRow(width, height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      // The extra row and column are outside the frame: plain table result there.
      const int32_t mixed = y < height ? width : 0;
      uint8_t* work[3] = {work_planes.r.row(y), work_planes.g.row(y), work_planes.b.row(y)};
      const uint8_t* host[3] = {host_planes.r.row(y), host_planes.g.row(y), host_planes.b.row(y)};
      const uint8_t* alpha = alpha_plane.row(y);
      for (int c = 0; c < 3; ++c) {
        uint8_t* w = work[c];
        const uint8_t* h = host[c];
        for (int32_t x = 0; x < mixed; ++x) w[x] = AlphaMix(table[w[x]], h[x], alpha[x]);
        for (int64_t x = mixed; x < stride; ++x) w[x] = table[w[x]];
      }
    }
  });
}

}  // namespace tessfx
#endif  // HWY_ONCE
