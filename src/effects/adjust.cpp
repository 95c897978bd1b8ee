#include "effects/adjust.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/convert.h"
#include "core/error.h"
#include "effects/frame.h"
#include "effects/plane_check.h"
#include "filters/channel.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// The per-pixel kernels below are plain float loops that vectorise; each is cloned for
// AVX2 where the processor has it.

[[gnu::target_clones("avx2", "default")]] void SaturationRun(const uint8_t* __restrict hr, const uint8_t* __restrict hg,
                                                               const uint8_t* __restrict hb, uint8_t* __restrict wr,
                                                               uint8_t* __restrict wg, uint8_t* __restrict wb,
                                                               int64_t n, float s) {
  const float keep = 1.0f - s;
  for (int64_t i = 0; i < n; ++i) {
    const float r = hr[i], g = hg[i], b = hb[i];
    const float grey = (r + g + b) / 3.0f * keep;
    wr[i] = RoundToByteF(r * s + grey);
    wg[i] = RoundToByteF(g * s + grey);
    wb[i] = RoundToByteF(b * s + grey);
  }
}

[[gnu::target_clones("avx2", "default")]] void PowerCurveRun(uint8_t* __restrict wr, uint8_t* __restrict wg,
                                                               uint8_t* __restrict wb, int64_t n, float p) {
  const float q = 1.0f / p - 2.0f;
  for (int64_t i = 0; i < n; ++i) {
    const float r = wr[i] / 255.0f, g = wg[i] / 255.0f, b = wb[i] / 255.0f;
    const float lum = 0.299f * r + 0.587f * g + 0.114f * b;
    const float k = lum / ((1.0f - lum) * q + 1.0f);
    const float o = (1.0f - k) * lum;
    wr[i] = RoundToByteF((r * k + o) * 255.0f);
    wg[i] = RoundToByteF((g * k + o) * 255.0f);
    wb[i] = RoundToByteF((b * k + o) * 255.0f);
  }
}

[[gnu::target_clones("avx2", "default")]] void InvertValueRun(const uint8_t* __restrict hr,
                                                                const uint8_t* __restrict hg,
                                                                const uint8_t* __restrict hb, uint8_t* __restrict wr,
                                                                uint8_t* __restrict wg, uint8_t* __restrict wb,
                                                                int64_t n) {
  for (int64_t i = 0; i < n; ++i) {
    float y, u, v, r, g, b;
    f_rgb2yuv(hr[i] / 255.0f, hg[i] / 255.0f, hb[i] / 255.0f, y, u, v);
    f_yuv2rgb(1.0f - y, u, v, r, g, b);
    wr[i] = RoundToByteF(r * 255.0f);
    wg[i] = RoundToByteF(g * 255.0f);
    wb[i] = RoundToByteF(b * 255.0f);
  }
}

}  // namespace

void FxColorAdjustment(ImageState& s, float red, float green, float blue) {
  RequireFramePlanes(s);
  FastChannelMultiply(s.work_r.data(), s.width, s.height, red / 255.0f);
  FastChannelMultiply(s.work_g.data(), s.width, s.height, green / 255.0f);
  FastChannelMultiply(s.work_b.data(), s.width, s.height, blue / 255.0f);
  CompositeStep(s);
}

void FxColorAdd(ImageState& s, float red, float green, float blue) {
  RequireFramePlanes(s);
  FastChannelAdd(s.work_r.data(), s.width, s.height, RoundHalfEven(red));
  FastChannelAdd(s.work_g.data(), s.width, s.height, RoundHalfEven(green));
  FastChannelAdd(s.work_b.data(), s.width, s.height, RoundHalfEven(blue));
  CompositeStep(s);
}

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

void FxValueAdjustment(ImageState& s, float value, float brightness, float contrast, float gamma) {
  RequireFramePlanes(s);
  const ToneTable table = ValueAdjustmentTable(value, brightness, contrast, gamma);
  if (s.alpha_bits > 0) {
    SetValue(table, s.work_r.data(), s.work_g.data(), s.work_b.data(), s.width, s.height);
  } else {
    SetValueAlpha(table, s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_r.data(), s.host_g.data(),
                  s.host_b.data(), s.host_a.data(), s.alpha_bits, s.width, s.height);
  }
}

void FxSaturation(ImageState& s, float saturation) {
  RequireFramePlanes(s);
  const float k = saturation / 255.0f;
  ForEachSampleRun(s.width, s.height, [&](int64_t o, int64_t n) {
    SaturationRun(s.host_r.data() + o, s.host_g.data() + o, s.host_b.data() + o, s.work_r.data() + o,
                  s.work_g.data() + o, s.work_b.data() + o, n, k);
  });
  CompositeStep(s);
}

void FxHueSatValue(ImageState& s, float hue, float saturation, float value) {
  RequireFramePlanes(s);
  // The filter takes the planes as one run of samples; the run is the whole plane, extra
  // row and column included, so that it covers every row of the frame (a run of
  // width x height samples would end before the last row does).
  const int32_t last = static_cast<int32_t>(s.work_r.size()) - 1;
  FastHSVandRGB(hue, saturation / 100.0f, value / 255.0f, 1.0f, 1.0f, 1.0f, s.work_r.data(), s.work_g.data(),
                s.work_b.data(), last);
  CompositeStep(s);
}

void FxPowerCurve(ImageState& s, float& p) {
  RequireFramePlanes(s);
  const float curve = p;
  ForEachSampleRun(s.width, s.height, [&](int64_t o, int64_t n) {
    PowerCurveRun(s.work_r.data() + o, s.work_g.data() + o, s.work_b.data() + o, n, curve);
  });
  CompositeStep(s);
}

void FxNegative(ImageState& s) {
  RequireFramePlanes(s);
  ForEachSampleRun(s.width, s.height, [&](int64_t o, int64_t n) {
    const Plane* src[3] = {&s.host_r, &s.host_g, &s.host_b};
    Plane* dst[3] = {&s.work_r, &s.work_g, &s.work_b};
    for (int c = 0; c < 3; ++c) {
      const uint8_t* h = src[c]->data() + o;
      uint8_t* w = dst[c]->data() + o;
      for (int64_t i = 0; i < n; ++i) w[i] = 255 - h[i];
    }
  });
  CompositeStep(s);
}

void FxInvertValue(ImageState& s) {
  RequireFramePlanes(s);
  ForEachSampleRun(s.width, s.height, [&](int64_t o, int64_t n) {
    InvertValueRun(s.host_r.data() + o, s.host_g.data() + o, s.host_b.data() + o, s.work_r.data() + o,
                   s.work_g.data() + o, s.work_b.data() + o, n);
  });
  CompositeStep(s);
}

void FxSwapChannels(ImageState& s) {
  RequireFramePlanes(s);
  // Every sample of the planes is visited, so whole-plane copies do the permutation.
  s.work_r.CopyFrom(s.host_b);
  s.work_g.CopyFrom(s.host_g);
  s.work_b.CopyFrom(s.host_r);
  CompositeStep(s);
}

void FxRollChannels(ImageState& s) {
  RequireFramePlanes(s);
  s.work_r.CopyFrom(s.host_b);
  s.work_g.CopyFrom(s.host_r);
  s.work_b.CopyFrom(s.host_g);
  CompositeStep(s);
}

void FxMapToGradient(ImageState& s, int16_t index) {
  RequireFramePlanes(s);
  const std::vector<uint8_t> gradient = s.host.Tes_GetGradient(index);
  if (gradient.size() != 3 * 256)
    Fail(ErrorKind::BadData, "gradient " + std::to_string(index) + " has " + std::to_string(gradient.size()) +
                                 " bytes, not 3 x 256");
  // The entry for every possible sum of three samples, so the loop does one lookup.
  std::vector<uint8_t> by_sum(3 * 766);
  for (int c = 0; c < 3; ++c)
    for (int sum = 0; sum < 766; ++sum) by_sum[c * 766 + sum] = gradient[c * 256 + TruncDiv(sum, 3)];
  const int64_t width = s.width, stride = width + 1;  // a local bound: byte stores cannot alias it
  ForEachRowBand(0, s.height, stride * 3, [&, width, stride](int32_t y0, int32_t y1) {
    for (int64_t y = y0; y < y1; ++y) {
      const int64_t o = y * stride;
      const uint8_t *hr = s.host_r.data() + o, *hg = s.host_g.data() + o, *hb = s.host_b.data() + o;
      uint8_t *wr = s.work_r.data() + o, *wg = s.work_g.data() + o, *wb = s.work_b.data() + o;
      for (int64_t x = 0; x < width; ++x) {
        const int sum = hr[x] + hg[x] + hb[x];
        wr[x] = by_sum[sum];
        wg[x] = by_sum[766 + sum];
        wb[x] = by_sum[2 * 766 + sum];
      }
    }
  });
  CompositeStep(s);
}

}  // namespace tessfx
