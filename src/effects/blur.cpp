// Blur, diffusion and sharpening. None of the routines composites through the alpha plane
// after the fact: the Gaussian-based ones end with the level mix, and the zoom and motion
// blurs and the unsharp mask's blur mix through the alpha inside their kernels.
#include "filters/blur.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"
#include "effects/families.h"
#include "filters/convolve.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Gaussian blur of working R, G, B in place, radius 2..64.
void GaussianBlurPlanes(EffectFrame& f, int32_t radius) {
  const PlaneView planes[3] = {f.work.r, f.work.g, f.work.b};
  GaussianBlur(planes, radius);
}

// Keeps, per sample, the lighter (or darker) of the blurred working sample and the
// untouched host sample.
template <bool kLighter>
void KeepLighterOrDarker(EffectFrame& f) {
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    const ConstPlaneView host[3] = {f.host.r, f.host.g, f.host.b};
    const PlaneView work[3] = {f.work.r, f.work.g, f.work.b};
    for (int c = 0; c < 3; ++c) {
      const uint8_t* h = host[c].data + o;
      uint8_t* w = work[c].data + o;
      for (int64_t i = 0; i < n; ++i) w[i] = kLighter ? std::max(w[i], h[i]) : std::min(w[i], h[i]);
    }
  });
}

// Blur, then keep the lighter of the blurred and the original sample; the level mix follows.
void FxLightDiffusion(EffectFrame& f, float radius) {
  GaussianBlurPlanes(f, RoundHalfEven(radius));
  KeepLighterOrDarker<true>(f);
}

void FxDarkDiffusion(EffectFrame& f, float radius) {
  GaussianBlurPlanes(f, RoundHalfEven(radius));
  KeepLighterOrDarker<false>(f);
}

// 3 x 3 box blur, then 3 x original - 2 x blurred; the level mix by `amount` follows.
void FxUnsharpMask(EffectFrame& f) {
  // A 3 x 3 box blur: nine weights of 1 and the divisor 9.
  Kernel3x3 box;
  box.fill(1.0f);
  ConvolveAlpha(f.work.rgb(), f.host.rgb(), f.host.a, f.AlphaFlagByte(), box, 9.0f, kConvolvePlain);
  // k1 = a / (2a - 1) = 3 and k2 = (1 - a) / (2a - 1) = 2 for a = 0.6; whole numbers, so
  // the mix stays in integers and needs no rounding. This loop stops at the frame's edge.
  const int64_t width = f.width;  // a local bound: byte stores cannot alias it
  ForEachFrameRow(f.width, f.height, 3, [&, width](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      for (auto [host, work] :
           {std::pair{f.host.r, f.work.r}, std::pair{f.host.g, f.work.g}, std::pair{f.host.b, f.work.b}}) {
        const uint8_t* h = host.row(y);
        uint8_t* w = work.row(y);
        for (int64_t x = 0; x < width; ++x) w[x] = ClampByte(3 * h[x] - 2 * w[x]);
      }
    }
  });
}

// Radial blur towards (cx, cy) percent of the frame, of strength factor / 400, in
// quality / 3 steps (at least 2).
void FxZoomBlur(EffectFrame& f, float cx, float cy, float factor, float quality) {
  const int32_t centre_x = RoundHalfEven(cx / 100.0f * static_cast<float>(f.width));
  const int32_t centre_y = RoundHalfEven(cy / 100.0f * static_cast<float>(f.height));
  const int16_t steps = std::max<int16_t>(RoundHalfEven16(quality / 3.0f), 2);
  FastZoom(f.work.rgb(), f.host.rgb(), f.host.a, f.alpha_bits, f.width - 1, f.height - 1, centre_x, centre_y, steps,
           factor / 400.0f);
}

// Rotates (x, y) about the origin by `angle` degrees, using 0.01745 radians per degree.
void RotatePointDegrees(float angle, float& x, float& y) {
  const double t = angle * 0.01745;
  const double x0 = x, y0 = y;
  x = static_cast<float>(x0 * std::cos(t) - y0 * std::sin(t));
  y = static_cast<float>(x0 * std::sin(t) + y0 * std::cos(t));
}

// Blur along the vector of `length` pixels at `angle` degrees.
void FxMotionBlur(EffectFrame& f, float angle, float length) {
  float x = length, y = 0.0f;
  RotatePointDegrees(angle, x, y);
  const int16_t dx = FloorToInt16(x), dy = FloorToInt16(y);
  FastMotionBlur(f.work.rgb(), f.host.rgb(), f.host.a, f.alpha_bits, f.width, f.height, 0, 0, dx, dy, 1);
}

}  // namespace

std::span<const EffectDef> BlurEffects() {
  static const EffectDef effects[] = {
      {.name = "Gaussian blur",
       .category = "Blur",
       .sliders = {Slider("Gaussian blur", 2, 64, 32), Slider("Dissolve", 1, 255, 255)},
       .composite = LevelMixBy(1),
       .description = "A soft, even blur reaching the radius in pixels; Dissolve mixes it with the frame",
       .run = [](EffectFrame& f, const EffectParams& p) { GaussianBlurPlanes(f, RoundHalfEven(p[0])); }},
      {.name = "Motion blur",
       .category = "Blur",
       .sliders = {Slider("Angle", 0, 359, 0), Slider("Length", 1, 64, 10)},
       .composite = kAlphaInKernel,
       .description = "Smears the picture along a line of the given angle and length, as a moving camera",
       .run = [](EffectFrame& f, const EffectParams& p) { FxMotionBlur(f, p[0], p[1]); }},
      {.name = "Zoom blur",
       .category = "Blur",
       .sliders = {Slider("Center X", 0, 100, 50), Slider("Center y", 0, 100, 50), Slider("Factor", 1, 100, 20),
                   Slider("Quality", 1, 100, 50)},
       .composite = kAlphaInKernel,
       .pick = PickKind::Position,
       .pointer = PointerKind::Sizing,
       .description = "Streaks the picture towards a centre, as zooming during the exposure; drag to place it",
       .run = [](EffectFrame& f, const EffectParams& p) { FxZoomBlur(f, p[0], p[1], p[2], p[3]); }},
      {.name = "Light diffusion",
       .category = "Photographic",
       .sliders = {Slider("Radius", 2, 64, 32), Slider("Level", 1, 255, 255)},
       .composite = LevelMixBy(1),
       .description = "A glow: bright areas spread into darker ones, dark areas stay",
       .run = [](EffectFrame& f, const EffectParams& p) { FxLightDiffusion(f, p[0]); }},
      {.name = "Dark diffusion",
       .category = "Photographic",
       .sliders = {Slider("Radius", 2, 64, 32), Slider("Level", 1, 255, 255)},
       .composite = LevelMixBy(1),
       .description = "Dark areas spread into lighter ones, bright areas stay",
       .run = [](EffectFrame& f, const EffectParams& p) { FxDarkDiffusion(f, p[0]); }},
      {.name = "Unsharp mask",
       .category = "Sharpen",
       .sliders = {Slider("Unsharp mask", 0, 255, 255)},
       .composite = LevelMixBy(0, AlphaStep::InKernel),
       .description = "Sharpens by taking away a blurred copy; the slider sets how much",
       .run = [](EffectFrame& f, const EffectParams&) { FxUnsharpMask(f); }},
  };
  return effects;
}

}  // namespace tessfx
