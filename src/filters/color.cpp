#include "filters/color.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/convert.h"
#include "filters/blend.h"
#include "filters/parallel.h"
#include "filters/vec8.h"

namespace tessfx {
namespace {

struct HsvParams {
  float hue_shift;  // sextants, 0 <= shift < 6
  float saturation;
  float value;
  float gain_r, gain_g, gain_b;
};

using vec8::F;
using vec8::Splat;

// One channel of the hexcone back-conversion: the channel with phase n sits at full value
// for two sextants, at value - chroma for two, and ramps between them.
[[gnu::always_inline]] inline F HexconeChannel(float n, const F& hue, const F& value, const F& chroma) {
  F k = Splat(n) + hue;  // 1 <= k < 12: one wrap brings it into 0..6
  k = vec8::Select(k >= Splat(6.0f), k - Splat(6.0f), k);
  const F t = vec8::Min(vec8::Max(vec8::Min(k, Splat(4.0f) - k), Splat(0.0f)), Splat(1.0f));
  return value - chroma * t;
}

// Eight pixels: to hue (in sextants), saturation and value, adjusted, and back.
[[gnu::always_inline]] inline void HsvLanes(const HsvParams& p, uint8_t* r, uint8_t* g, uint8_t* b) {
  const F R = vec8::Load(r), G = vec8::Load(g), B = vec8::Load(b);
  const F mx = vec8::Max(R, vec8::Max(G, B));
  const F mn = vec8::Min(R, vec8::Min(G, B));
  const F chroma = mx - mn;
  // Samples are whole numbers, so chroma and maximum are 0 or at least 1; the smallest
  // normal float added keeps grey and black from dividing by zero and changes nothing else.
  const F tiny = Splat(0x1p-126f);
  const F inv_c = Splat(1.0f) / (chroma + tiny);
  const F sat = chroma / (mx + tiny);
  const auto is_r = mx == R, is_g = mx == G;
  const F num = vec8::Select(is_r, G - B, vec8::Select(is_g, B - R, R - G));
  const F base = vec8::Select(is_r, Splat(0.0f), vec8::Select(is_g, Splat(2.0f), Splat(4.0f)));
  F h = num * inv_c + base + Splat(p.hue_shift);
  h = vec8::Select(h < Splat(0.0f), h + Splat(6.0f), h);  // -1 <= h < 11 before these
  h = vec8::Select(h >= Splat(6.0f), h - Splat(6.0f), h);
  const F v2 = vec8::Min(mx * Splat(p.value), Splat(255.0f));
  const F s2 = vec8::Min(sat * Splat(p.saturation), Splat(1.0f));
  const F c2 = v2 * s2;
  vec8::StoreByte(r, HexconeChannel(5.0f, h, v2, c2) * Splat(p.gain_r));
  vec8::StoreByte(g, HexconeChannel(3.0f, h, v2, c2) * Splat(p.gain_g));
  vec8::StoreByte(b, HexconeChannel(1.0f, h, v2, c2) * Splat(p.gain_b));
}

[[gnu::target_clones("avx2", "default")]] void HsvRun(const HsvParams& p, uint8_t* r, uint8_t* g, uint8_t* b,
                                                      int64_t n) {
  int64_t i = 0;
  for (; i + 8 <= n; i += 8) HsvLanes(p, r + i, g + i, b + i);
  if (i < n) {
    // The last few pixels go through the same lanes, so they round the same way.
    uint8_t tr[8] = {}, tg[8] = {}, tb[8] = {};
    const size_t rest = static_cast<size_t>(n - i);
    std::memcpy(tr, r + i, rest);
    std::memcpy(tg, g + i, rest);
    std::memcpy(tb, b + i, rest);
    HsvLanes(p, tr, tg, tb);
    std::memcpy(r + i, tr, rest);
    std::memcpy(g + i, tg, rest);
    std::memcpy(b + i, tb, rest);
  }
}

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
    HsvRun(p, r + i0, g + i0, b + i0, i1 - i0);
  });
}

void SetValue(RgbView work, const ToneTable& table) {
  ForEachSampleRun(work.r, 3, [&](int64_t o, int64_t n) {
    for (uint8_t* p : {work.r.data + o, work.g.data + o, work.b.data + o})
      for (int64_t i = 0; i < n; ++i) p[i] = table[p[i]];
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
