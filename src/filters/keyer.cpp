#include "filters/keyer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Edge pixels are divided by their opacity, but never by less than this: below it the
// foreground's share is too small to recover, and its weight in the result is as small.
constexpr float kMinOpacity = 1.0f / 512.0f;

struct Colour {
  float r = 0, g = 0, b = 0;
};

inline float Clamp255(float v) { return std::min(std::max(v, 0.0f), 255.0f); }

// The matte ramp in its two forms, so that the pixel loops carry no branch. The linear form
// multiplies by the reciprocal of the span and is exactly 1 from the higher clip on.
struct RampLimits {
  float lo, hi, inv_span;
};

template <bool kStep>
inline float RampOf(float v, const RampLimits& r) {
  if constexpr (kStep)
    return v > r.lo ? 1.0f : 0.0f;
  else
    return std::max(std::min(std::max((v - r.lo) * r.inv_span, 0.0f), 1.0f), v >= r.hi ? 1.0f : 0.0f);
}

RampLimits LimitsOf(const MatteRamp& ramp) {
  return {ramp.lo, ramp.hi, ramp.hi > ramp.lo ? 1.0f / (ramp.hi - ramp.lo) : 0.0f};
}

// One row of a key: each frame colour c at the opacity a that `opacity` gives, unmixed
// against the backdrop k (when kUnmix), its green limited to max(red, blue) + spill (when
// kLimitGreen), laid over the plate p. Opacity 1 gives c itself (then limited); 0 gives p
// exactly.
template <bool kUnmix, bool kLimitGreen, typename Opacity>
void KeyRow(const uint8_t* __restrict fr, const uint8_t* __restrict fg, const uint8_t* __restrict fb,
            const uint8_t* __restrict pr, const uint8_t* __restrict pg, const uint8_t* __restrict pb,
            uint8_t* __restrict wr, uint8_t* __restrict wg, uint8_t* __restrict wb, int32_t width, Opacity opacity,
            Colour k, float spill) {
  for (int32_t x = 0; x < width; ++x) {
    float r = fr[x], g = fg[x], b = fb[x];
    const float a = opacity(r, g, b), share = 1.0f - a;
    if constexpr (kUnmix) {
      const float inv = 1.0f / std::max(a, kMinOpacity);
      r = Clamp255((r - share * k.r) * inv);
      g = Clamp255((g - share * k.g) * inv);
      b = Clamp255((b - share * k.b) * inv);
    }
    if constexpr (kLimitGreen) g = std::min(g, std::max(r, b) + spill);
    wr[x] = FiniteToByteF(a * r + share * static_cast<float>(pr[x]));
    wg[x] = FiniteToByteF(a * g + share * static_cast<float>(pg[x]));
    wb[x] = FiniteToByteF(a * b + share * static_cast<float>(pb[x]));
  }
}

// Every row of the frame through KeyRow.
template <bool kUnmix, bool kLimitGreen, typename Opacity>
void KeyRows(RgbView work, ConstRgbView frame, ConstRgbView plate, Opacity opacity, const Colour& k, float spill) {
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 9, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      KeyRow<kUnmix, kLimitGreen>(frame.r.row(y), frame.g.row(y), frame.b.row(y), plate.r.row(y), plate.g.row(y),
                                  plate.b.row(y), work.r.row(y), work.g.row(y), work.b.row(y), width, opacity, k,
                                  spill);
  });
}

// The backdrop as the frame shows it: the mean colour of the pixels that key out fully.
// Sums are whole numbers, so the result does not depend on how rows are shared out.
std::optional<Colour> MeasureBackdrop(ConstRgbView frame, const ScreenKeyOptions& options) {
  const int32_t width = frame.r.width, height = frame.r.height;
  const int32_t lo = std::min(options.low_clip, options.high_clip), hi = std::max(options.low_clip, options.high_clip);
  const int32_t keyed_from = hi > lo ? hi : lo + 1;
  struct Sums {
    uint32_t r = 0, g = 0, b = 0, n = 0;  // a row of 32767 samples of 255 fits
  };
  std::vector<Sums> rows(static_cast<size_t>(std::max(height, 0)));
  ForEachFrameRow(width, height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t *r = frame.r.row(y), *g = frame.g.row(y), *b = frame.b.row(y);
      Sums s;
      for (int32_t x = 0; x < width; ++x) {
        // Keyed out fully: at or above the higher clip (above it when the clips meet).
        const int32_t excess = int32_t{g[x]} - int32_t{std::max(r[x], b[x])};
        const uint32_t keyed = excess >= keyed_from ? 1 : 0;
        s.r += keyed * r[x];
        s.g += keyed * g[x];
        s.b += keyed * b[x];
        s.n += keyed;
      }
      rows[static_cast<size_t>(y)] = s;
    }
  });
  uint64_t r = 0, g = 0, b = 0, n = 0;
  for (const Sums& s : rows) {
    r += s.r;
    g += s.g;
    b += s.b;
    n += s.n;
  }
  if (n == 0) return std::nullopt;
  const double count = static_cast<double>(n);
  return Colour{static_cast<float>(r / count), static_cast<float>(g / count), static_cast<float>(b / count)};
}

template <bool kStep>
void GreenScreenRows(RgbView work, ConstRgbView frame, ConstRgbView plate, const MatteRamp& ramp,
                     const std::optional<Colour>& backdrop, float spill) {
  const RampLimits limits = LimitsOf(ramp);
  const auto opacity = [limits](float r, float g, float b) { return 1.0f - RampOf<kStep>(g - std::max(r, b), limits); };
  if (backdrop) {
    // A pixel C = a F + (1 - a) K has at least (1 - a) of the screen's green, so a is at least
    // 1 - G / K_green. Where the ramp leaves some foreground, this floor catches what it
    // misses: thin hair and the dark edges of a subject lie close to the screen in excess
    // but hold far less of its green, and unmixing them with too low an opacity would strip
    // their colour. Pixels the ramp keys out fully stay keyed, so screen grain does not leak.
    const float inv_green = backdrop->g > 0 ? 1.0f / backdrop->g : 0.0f;
    const auto floored = [opacity, inv_green](float r, float g, float b) {
      const float a = opacity(r, g, b);
      return std::min(std::max(a, 1.0f - g * inv_green), 1.0f) * (a > 0.0f ? 1.0f : 0.0f);
    };
    KeyRows<true, true>(work, frame, plate, floored, *backdrop, spill);
  } else
    KeyRows<false, true>(work, frame, plate, opacity, {}, spill);
}

template <bool kStep>
void ColourKeyRows(RgbView work, ConstRgbView frame, ConstRgbView plate, const MatteRamp& ramp, const Colour& k) {
  const RampLimits limits = LimitsOf(ramp);
  const auto opacity = [limits, k](float r, float g, float b) {
    const float dr = r - k.r, dg = g - k.g, db = b - k.b;
    return RampOf<kStep>(std::sqrt(dr * dr + dg * dg + db * db), limits);
  };
  KeyRows<true, false>(work, frame, plate, opacity, k, 0.0f);
}

}  // namespace

MatteRamp::MatteRamp(float clip_a, float clip_b) : lo(std::min(clip_a, clip_b)), hi(std::max(clip_a, clip_b)) {}

float MatteRamp::operator()(float v) const {
  if (hi > lo) return std::min(std::max((v - lo) / (hi - lo), 0.0f), 1.0f);
  return v > lo ? 1.0f : 0.0f;
}

void GreenScreenKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ScreenKeyOptions& options) {
  const MatteRamp ramp(static_cast<float>(options.low_clip), static_cast<float>(options.high_clip));
  const float spill = static_cast<float>(options.spill_limit);
  const std::optional<Colour> backdrop = MeasureBackdrop(frame, options);
  if (ramp.hi > ramp.lo)
    GreenScreenRows<false>(work, frame, plate, ramp, backdrop, spill);
  else
    GreenScreenRows<true>(work, frame, plate, ramp, backdrop, spill);
}

void ColourKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ColourKeyOptions& options) {
  // The clips come unrounded from the values; one that is not a number counts as 0.
  const auto finite = [](float v) { return std::isfinite(v) ? v : 0.0f; };
  const MatteRamp ramp(finite(options.low_clip), finite(options.high_clip));
  const Colour k{static_cast<float>(options.key[0]), static_cast<float>(options.key[1]),
                 static_cast<float>(options.key[2])};
  if (ramp.hi > ramp.lo)
    ColourKeyRows<false>(work, frame, plate, ramp, k);
  else
    ColourKeyRows<true>(work, frame, plate, ramp, k);
}

}  // namespace tessfx
