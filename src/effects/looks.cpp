// Colour looks: "Day for night", "Sunset filter" and "Fog filter". Each recolours the frame
// (rows 0..height-1, columns 0..width-1) with a weight that changes from the first row to
// the last. Per row t = y / height and u = 1 - t in single precision; pixel arithmetic in
// double precision, results rounded half to even.
#include <algorithm>
#include <array>

#include "core/convert.h"
#include "effects/families.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

struct RowWeights {
  double t, u;  // single-precision values, widened for the pixel arithmetic
};

RowWeights WeightsOfRow(int32_t y, int32_t height) {
  const float t = static_cast<float>(y) / static_cast<float>(height);
  const float u = 1.0f - t;
  return {t, u};
}

// The row loops take their bounds as parameters so that the compiler can vectorise them
// (a bound read through a closure could be changed by the byte stores). Where a result
// depends on one sample value ("Sunset filter"), a table per row (the formula as written,
// for each of the 256 values) and a look-up per sample beat double arithmetic per sample;
// for the other two, whose first step needs all three channels, measured, they do not.
constexpr int32_t kChunk = 256;
using RowTable = std::array<uint8_t, 256>;

void MapRow(const uint8_t* in, uint8_t* out, int32_t n, const RowTable& table) {
  for (int32_t x = 0; x < n; ++x) out[x] = table[in[x]];
}

void DayForNightRow(uint8_t* wr, uint8_t* wg, uint8_t* wb, int32_t n, double t, double u) {
  for (int32_t x = 0; x < n; ++x) {
    const double r = wr[x], g = wg[x], b = wb[x];
    const double lum = 0.2 * r + 0.3 * g + 0.5 * b;
    const double r1 = RoundHalfEvenD(0.5 * r + 0.5 * lum);
    const double g1 = RoundHalfEvenD(0.5 * g + 0.5 * lum);
    const double b1 = RoundHalfEvenD(0.5 * b + 0.5 * lum);
    wr[x] = RoundToByte(r1 * 0.6 * t + r1 * 0.5 * u);
    wg[x] = RoundToByte(g1 * 0.76 * t + g1 * 0.62 * u);
    wb[x] = RoundToByte(b1 * 0.84 * t + b1 * 0.7 * u);
  }
}

void SunsetRow(uint8_t* wg, uint8_t* wb, int32_t n, double t, double u) {
  RowTable tg, tb;
  for (int32_t v = 0; v < 256; ++v) {
    const double s = v;
    tg[static_cast<size_t>(v)] = RoundToByte(s * 0.6 * u + t * s);
    tb[static_cast<size_t>(v)] = RoundToByte(s * 0.4 * u + t * s);
  }
  MapRow(wg, wg, n, tg);
  MapRow(wb, wb, n, tb);
}

// In two loops over chunks of the row: the fog values first, then the mix. Kept apart,
// both loops vectorise (a clamped value that feeds further arithmetic keeps one loop scalar).
void FogRow(uint8_t* wr, uint8_t* wg, uint8_t* wb, int32_t n, double t, double u) {
  uint8_t fog[kChunk];
  for (int32_t x0 = 0; x0 < n; x0 += kChunk) {
    const int32_t len = std::min(kChunk, n - x0);
    uint8_t* r8 = wr + x0;
    uint8_t* g8 = wg + x0;
    uint8_t* b8 = wb + x0;
    for (int32_t x = 0; x < len; ++x) {
      const uint16_t sum = r8[x] + g8[x] + b8[x];
      const uint16_t m = sum / 3;                // integer division, truncating
      fog[x] = RoundToByte(u * m + t * 32 + m);  // clamped to 255
    }
    for (int32_t x = 0; x < len; ++x) {
      const double f = fog[x], r = r8[x], g = g8[x], b = b8[x];
      r8[x] = RoundToByte(f * 0.76 * t + r * u);
      g8[x] = RoundToByte(f * 0.8 * t + u * g);
      b8[x] = RoundToByte(u * b + t * f);
    }
  }
}

// Runs row(r, g, b, width, t, u) over the working planes' frame rows.
template <typename RowFn>
void LookFrame(EffectFrame& f, RowFn row) {
  const int32_t w = f.width, h = f.height;
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const RowWeights k = WeightsOfRow(y, h);
      row(f.work.r.row(y), f.work.g.row(y), f.work.b.row(y), w, k.t, k.u);
    }
  });
}

// Halves the saturation towards the grey 0.2 r + 0.3 g + 0.5 b, then darkens and blues
// the frame, less so on rows of higher index.
void FxDayForNight(EffectFrame& f) { LookFrame(f, DayForNightRow); }

// A warm cast: green and blue scaled down, strongest on row 0, fading towards the last row.
void FxSunsetFilter(EffectFrame& f) {
  // Red is written back unchanged, so its plane is left alone.
  LookFrame(f, [](uint8_t*, uint8_t* g, uint8_t* b, int32_t n, double t, double u) { SunsetRow(g, b, n, t, u); });
}

// Blends each pixel towards a pale fog value that grows with the row index.
void FxFogFilter(EffectFrame& f) { LookFrame(f, FogRow); }

}  // namespace

std::span<const EffectDef> LookEffects() {
  static const EffectDef effects[] = {
      {.name = "Fog filter",
       .category = "Photographic",
       .description = "A pale fog that thickens towards the bottom of the picture",
       .run = [](EffectFrame& f, const EffectParams&) { FxFogFilter(f); }},
      {.name = "Sunset filter",
       .category = "Photographic",
       .description = "A warm cast, strongest at the top, fading towards the bottom",
       .run = [](EffectFrame& f, const EffectParams&) { FxSunsetFilter(f); }},
      {.name = "Day for night",
       .category = "Photographic",
       .description = "Desaturates, darkens and blues the picture so that day footage reads as night",
       .run = [](EffectFrame& f, const EffectParams&) { FxDayForNight(f); }},
  };
  return effects;
}

}  // namespace tessfx
