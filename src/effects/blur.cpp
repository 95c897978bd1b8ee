#include "effects/blur.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"
#include "effects/frame.h"
#include "effects/plane_check.h"
#include "filters/blur.h"
#include "filters/convolve.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Keeps, per sample, the lighter (or darker) of the blurred working sample and the
// untouched host sample.
template <bool kLighter>
void KeepLighterOrDarker(ImageState& s) {
  ForEachSampleRun(s.width, s.height, [&](int64_t o, int64_t n) {
    const Plane* host[3] = {&s.host_r, &s.host_g, &s.host_b};
    Plane* work[3] = {&s.work_r, &s.work_g, &s.work_b};
    for (int c = 0; c < 3; ++c) {
      const uint8_t* h = host[c]->data() + o;
      uint8_t* w = work[c]->data() + o;
      for (int64_t i = 0; i < n; ++i) w[i] = kLighter ? std::max(w[i], h[i]) : std::min(w[i], h[i]);
    }
  });
}

}  // namespace

void GaussianBlurPlanes(ImageState& s, int32_t radius) {
  RequireFramePlanes(s);
  uint8_t* planes[3] = {s.work_r.data(), s.work_g.data(), s.work_b.data()};
  GaussianBlur(planes, s.width, s.height, GaussianSigmaForRadius(radius));
}

void FxGaussianBlur(ImageState& s, int32_t radius) { GaussianBlurPlanes(s, radius); }

void FxLightDiffusion(ImageState& s, float radius, float level) {
  GaussianBlurPlanes(s, RoundHalfEven(radius));
  KeepLighterOrDarker<true>(s);
  LevelMix(s, level);
}

void FxDarkDiffusion(ImageState& s, float radius, float level) {
  GaussianBlurPlanes(s, RoundHalfEven(radius));
  KeepLighterOrDarker<false>(s);
  LevelMix(s, level);
}

void FxUnsharpMask(ImageState& s, float amount) {
  RequireFramePlanes(s);
  // A 3 x 3 box blur: nine weights of 1 and the divisor 9.
  Kernel3x3 box;
  box.fill(1.0f);
  ConvolveAlpha(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_r.data(), s.host_g.data(), s.host_b.data(),
                s.host_a.data(), static_cast<uint8_t>(s.alpha_bits), s.width, s.height, box, 9.0f, kConvolvePlain);
  // k1 = a / (2a - 1) = 3 and k2 = (1 - a) / (2a - 1) = 2 for a = 0.6; whole numbers, so
  // the mix stays in integers and needs no rounding. This loop stops at the frame's edge.
  const int64_t width = s.width, stride = width + 1;  // a local bound: byte stores cannot alias it
  const uint8_t* host[3] = {s.host_r.data(), s.host_g.data(), s.host_b.data()};
  uint8_t* work[3] = {s.work_r.data(), s.work_g.data(), s.work_b.data()};
  ForEachRowBand(0, s.height, stride * 3, [&, width, stride](int32_t y0, int32_t y1) {
    for (int64_t y = y0; y < y1; ++y) {
      for (int c = 0; c < 3; ++c) {
        const uint8_t* h = host[c] + y * stride;
        uint8_t* w = work[c] + y * stride;
        for (int64_t x = 0; x < width; ++x) w[x] = ClampByte(3 * h[x] - 2 * w[x]);
      }
    }
  });
  LevelMix(s, amount);
}

void FxZoomBlur(ImageState& s, float cx, float cy, float factor, float quality) {
  RequireFramePlanes(s);
  const int32_t centre_x = RoundHalfEven(cx / 100.0f * static_cast<float>(s.width));
  const int32_t centre_y = RoundHalfEven(cy / 100.0f * static_cast<float>(s.height));
  const int16_t steps = std::max<int16_t>(RoundHalfEven16(quality / 3.0f), 2);
  FastZoom(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.host_a.data(), s.work_r.data(), s.work_g.data(),
           s.work_b.data(), s.alpha_bits, s.width - 1, s.height - 1, centre_x, centre_y, steps, factor / 400.0f);
}

void RotatePointDegrees(float angle, float& x, float& y) {
  const double t = angle * 0.01745;
  const double x0 = x, y0 = y;
  x = static_cast<float>(x0 * std::cos(t) - y0 * std::sin(t));
  y = static_cast<float>(x0 * std::sin(t) + y0 * std::cos(t));
}

void FxMotionBlur(ImageState& s, float angle, float length) {
  RequireFramePlanes(s);
  float x = length, y = 0.0f;
  RotatePointDegrees(angle, x, y);
  const int16_t dx = FloorToInt16(x), dy = FloorToInt16(y);
  FastMotionBlur(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.host_a.data(), s.work_r.data(),
                 s.work_g.data(), s.work_b.data(), s.alpha_bits, s.width, s.height, 0, 0, dx, dy, 1);
}

}  // namespace tessfx
