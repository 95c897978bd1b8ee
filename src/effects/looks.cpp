#include "effects/looks.h"

#include <algorithm>
#include <array>

#include "core/convert.h"
#include "effects/frame.h"
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

// Runs row(r, g, b, width, t, u) over the working planes' frame rows, then composites.
template <typename RowFn>
void LookFrame(ImageState& s, RowFn row) {
  const int32_t w = s.width, h = s.height;
  if (w > 0 && h > 0) {
    const int64_t stride = int64_t{w} + 1;
    ForEachRowBand(0, h, int64_t{w} * 3, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) {
        const int64_t o = y * stride;
        const RowWeights k = WeightsOfRow(y, h);
        row(s.work_r.data() + o, s.work_g.data() + o, s.work_b.data() + o, w, k.t, k.u);
      }
    });
  }
  CompositeStep(s);
}

}  // namespace

void FxDayForNight(ImageState& s) { LookFrame(s, DayForNightRow); }

void FxSunsetFilter(ImageState& s) {
  // Red is written back unchanged, so its plane is left alone.
  LookFrame(s, [](uint8_t*, uint8_t* g, uint8_t* b, int32_t n, double t, double u) { SunsetRow(g, b, n, t, u); });
}

void FxFogFilter(ImageState& s) { LookFrame(s, FogRow); }

}  // namespace tessfx
