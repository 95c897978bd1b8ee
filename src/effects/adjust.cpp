// Colour and tone adjustments and the per-pixel point filters. The routines with their own
// pixel loops visit the planes' extra row and column too, except "Map to gradient", which
// stops at the frame's edge; the point filters stop there as well.
#include "effects/adjust.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/convert.h"
#include "core/error.h"
#include "effects/families.h"
#include "filters/channel.h"
#include "filters/color.h"
#include "filters/grade.h"
#include "filters/parallel.h"
#include "filters/point.h"

namespace tessfx {
namespace {

// Gains 0..512, 255 leaving the frame unchanged.
void FxColorAdjustment(EffectFrame& f, float red, float green, float blue) {
  FastChannelMultiply(f.work.r, red / 255.0f);
  FastChannelMultiply(f.work.g, green / 255.0f);
  FastChannelMultiply(f.work.b, blue / 255.0f);
}

void FxColorAdd(EffectFrame& f, float red, float green, float blue) {
  FastChannelAdd(f.work.r, RoundHalfEven(red));
  FastChannelAdd(f.work.g, RoundHalfEven(green));
  FastChannelAdd(f.work.b, RoundHalfEven(blue));
}

// The table applied by SetValueAlpha, which composites itself when the flag is 0.
void FxValueAdjustment(EffectFrame& f, float value, float brightness, float contrast, float gamma) {
  const ToneTable table = ValueAdjustmentTable(value, brightness, contrast, gamma);
  if (f.alpha_bits > 0)
    SetValue(f.work.rgb(), table);
  else
    SetValueAlpha(f.work.rgb(), f.host.rgb(), f.host.a, f.alpha_bits, table);
}

// Mixes each pixel with its three-sample mean: 255 keeps the colour, 0 greys.
void FxSaturation(EffectFrame& f, float saturation) {
  const float k = saturation / 255.0f;
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    SaturationRun(f.host.r.data + o, f.host.g.data + o, f.host.b.data + o, f.work.r.data + o, f.work.g.data + o,
                  f.work.b.data + o, n, k);
  });
}

void FxHueSatValue(EffectFrame& f, float hue, float saturation, float value) {
  // The whole planes, extra row and column included, so that the run covers every row of
  // the frame (a run of width x height samples would end before the last row does).
  FastHSVandRGB(f.work.rgb(), hue, saturation / 100.0f, value / 255.0f, 1.0f, 1.0f, 1.0f);
}

// Scales each channel's distance from the pixel's luminance by a bias curve of the
// luminance with parameter p (0.01..0.99).
void FxPowerCurve(EffectFrame& f, float p) {
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    PowerCurveRun(f.work.r.data + o, f.work.g.data + o, f.work.b.data + o, n, p);
  });
}

void FxNegative(EffectFrame& f) {
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    InvertRun(f.host.r.data + o, f.work.r.data + o, n);
    InvertRun(f.host.g.data + o, f.work.g.data + o, n);
    InvertRun(f.host.b.data + o, f.work.b.data + o, n);
  });
}

// Inverts luma, keeping the colour differences.
void FxInvertValue(EffectFrame& f) {
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    InvertValueRun(f.host.r.data + o, f.host.g.data + o, f.host.b.data + o, f.work.r.data + o, f.work.g.data + o,
                   f.work.b.data + o, n);
  });
}

void CopyPlane(PlaneView to, ConstPlaneView from) {
  ForEachSampleRun(to, 1, [&](int64_t o, int64_t n) { std::copy_n(from.data + o, n, to.data + o); });
}

// Red and blue exchanged (every sample of the planes is visited).
void FxSwapChannels(EffectFrame& f) {
  CopyPlane(f.work.r, f.host.b);
  CopyPlane(f.work.g, f.host.g);
  CopyPlane(f.work.b, f.host.r);
}

// Red from blue, green from red, blue from green.
void FxRollChannels(EffectFrame& f) {
  CopyPlane(f.work.r, f.host.b);
  CopyPlane(f.work.g, f.host.r);
  CopyPlane(f.work.b, f.host.g);
}

// Each pixel becomes the entry of the host's gradient `index` at its three-sample mean.
void FxMapToGradient(EffectFrame& f, int16_t index) {
  const std::vector<uint8_t> gradient = f.host_calls->Tes_GetGradient(index);
  if (gradient.size() != 3 * 256)
    Fail(ErrorKind::BadData,
         "gradient " + std::to_string(index) + " has " + std::to_string(gradient.size()) + " bytes, not 3 x 256");
  // The entry for every possible sum of three samples, so the loop does one lookup.
  std::vector<uint8_t> by_sum(3 * 766);
  for (int c = 0; c < 3; ++c)
    for (int sum = 0; sum < 766; ++sum) by_sum[c * 766 + sum] = gradient[c * 256 + TruncDiv(sum, 3)];
  const int64_t width = f.width;  // a local bound: byte stores cannot alias it
  ForEachFrameRow(f.width, f.height, 3, [&, width](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t *hr = f.host.r.row(y), *hg = f.host.g.row(y), *hb = f.host.b.row(y);
      uint8_t *wr = f.work.r.row(y), *wg = f.work.g.row(y), *wb = f.work.b.row(y);
      for (int64_t x = 0; x < width; ++x) {
        const int sum = hr[x] + hg[x] + hb[x];
        wr[x] = by_sum[sum];
        wg[x] = by_sum[766 + sum];
        wb[x] = by_sum[2 * 766 + sum];
      }
    }
  });
}

}  // namespace

ToneTable ValueAdjustmentTable(float value, float brightness, float contrast, float gamma) {
  const double v = value / 100.0;
  const double b = (brightness - 100.0) * 2.55;
  const double c = (200.0 - contrast) / 100.0;
  // The exponent is 8 raised to (1 - gamma / 100): 1 at the middle of the slider, so gamma
  // 100 leaves the curve straight; above 100 the exponent falls below 1 and mid-tones
  // brighten (8^-0.5 at 150), below 100 they darken (8^0.5 at 50), as a gamma control does.
  const double exponent = std::pow(8.0, 1.0 - gamma / 100.0);
  const int32_t lo = RoundHalfEven(128.0 - 128.0 * c);
  const int32_t hi = RoundHalfEven(128.0 + 128.0 * c);
  // The levels lo..hi-1 are spread over 0..255 (hi is the first level past the span), so
  // contrast 100 (lo 0, hi 256) is the identity. With no span (contrast at its top) every
  // entry takes the brightness alone.
  double scale = 0.0;
  if (hi - lo - 1 > 0) scale = 255.0 / (static_cast<double>(hi) - lo - 1);
  ToneTable table{};
  for (int i = 0; i < 256; ++i) {
    const double t = ((i - lo) * scale + b) * v;
    // Below black the power has no real value; black is what the clamp would give.
    table[i] = RoundToByte(std::pow(std::max(t, 0.0) / 255.0, exponent) * 255.0);
  }
  return table;
}

std::span<const EffectDef> AdjustEffects() {
  static const EffectDef effects[] = {
      {.name = "Color adjustment",
       .category = "Adjust",
       .sliders = {Slider("Red", 0, 512, 255), Slider("Green", 0, 512, 255), Slider("Blue", 0, 512, 255)},
       .pick = PickKind::WhiteBalanceGain,
       .pointer = PointerKind::Custom,
       .description = "Multiplies red, green and blue by a gain each (255 keeps the colour); click a grey to balance",
       .run = [](EffectFrame& f, const EffectParams& p) { FxColorAdjustment(f, p[0], p[1], p[2]); }},
      {.name = "Color add",
       .category = "Adjust",
       .sliders = {Slider("Red", -255, 255, 0), Slider("Green", -255, 255, 0), Slider("Blue", -255, 255, 0)},
       .pick = PickKind::WhiteBalanceAdd,
       .pointer = PointerKind::Custom,
       .description = "Adds an offset to red, green and blue; click a grey to balance",
       .run = [](EffectFrame& f, const EffectParams& p) { FxColorAdd(f, p[0], p[1], p[2]); }},
      {.name = "Value adjustment",
       .category = "Adjust",
       .sliders = {Slider("Value", 0, 200, 100), Slider("Brightness", 0, 200, 100), Slider("Contrast", 0, 200, 100),
                   Slider("Gamma", 50, 150, 100)},
       .composite = kAlphaInKernel,
       .description = "Value, brightness, contrast and gamma as one tone curve (100 each leaves the frame)",
       .run = [](EffectFrame& f, const EffectParams& p) { FxValueAdjustment(f, p[0], p[1], p[2], p[3]); }},
      {.name = "Threshold",
       .category = "Adjust",
       .sliders = {Slider("Threshold", 0, 255, 128)},
       .pick = PickKind::Grey,
       .pointer = PointerKind::Custom,
       .description = "Black and white: white where the pixel's grey reaches the threshold",
       // The last argument 0 asks for a black-and-white result by the pixel's grey.
       .run = [](EffectFrame& f,
                 const EffectParams& p) { FastThreshold(f.work.rgb(), f.host.rgb(), RoundHalfEven(p[0]), 0); }},
      {.name = "Saturation",
       .category = "Adjust",
       .sliders = {Slider("Saturation", 0, 255, 255)},
       .description = "Mixes each pixel with its grey: 255 keeps the colour, 0 gives a grey picture",
       .run = [](EffectFrame& f, const EffectParams& p) { FxSaturation(f, p[0]); }},
      {.name = "Hue / Sat / Value",
       .category = "Adjust",
       .sliders = {Slider("Hue", -179, 180, 0), Slider("Saturation", 1, 200, 100), Slider("Value", 0, 512, 255)},
       .description = "Turns the hue by degrees and scales saturation (percent) and value (255 keeps it)",
       .run = [](EffectFrame& f, const EffectParams& p) { FxHueSatValue(f, p[0], p[1], p[2]); }},
      {.name = "Tint",
       .category = "Adjust",
       .sliders = {Slider("Red", 0, 255, 255), Slider("Green", 0, 255, 255), Slider("Blue", 0, 255, 255)},
       .pick = PickKind::Colour,
       .pointer = PointerKind::Custom,
       .description = "Colours the picture's grey with the tint colour; click to pick it from the picture",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             FastTint(f.work.rgb(), f.host.rgb(), RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]));
           }},
      {.name = "Map to gradient",
       .category = "Color",
       .sliders = {Slider("Index", 0, 7, 0)},
       .inputs = kHostGradients,
       .description = "Replaces each pixel by the host gradient's colour at the pixel's brightness",
       .run = [](EffectFrame& f, const EffectParams& p) { FxMapToGradient(f, FloorToInt16(p[0])); }},
      {.name = "Negative",
       .category = "Color",
       .description = "Inverts every channel",
       .run = [](EffectFrame& f, const EffectParams&) { FxNegative(f); }},
      {.name = "Invert value",
       .category = "Color",
       .description = "Inverts brightness, keeping the colours",
       .run = [](EffectFrame& f, const EffectParams&) { FxInvertValue(f); }},
      {.name = "Swap channels",
       .category = "Color",
       .description = "Exchanges red and blue",
       .run = [](EffectFrame& f, const EffectParams&) { FxSwapChannels(f); }},
      {.name = "Roll channels",
       .category = "Color",
       .description = "Moves blue to red, red to green and green to blue",
       .run = [](EffectFrame& f, const EffectParams&) { FxRollChannels(f); }},
      {.name = "Power curve",
       .category = "Color",
       .sliders = {Slider("Power curve", 1, 99, 99)},
       .description = "Drains colour from dark pixels along a bias curve; lower values grey more of the picture",
       .run = [](EffectFrame& f, const EffectParams& p) { FxPowerCurve(f, p[0] / 100.0f); }},
      {.name = "Posterize",
       .category = "Color",
       .sliders = {Slider("Posterize", 0, 255, 64)},
       .description = "Reduces each channel to levels this many samples apart (0 leaves the frame)",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             if (p[0] == 0.0f) return;
             FastPosterize(f.work.rgb(), f.host.rgb(), RoundHalfEven(p[0]));
           }},
  };

  return effects;
}

}  // namespace tessfx
