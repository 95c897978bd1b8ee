// Actions of the effects that the dispatch runs inline through the filter library: tint,
// posterize, threshold, the noises, jitter, median and the 3 x 3 convolutions.
#include <algorithm>

#include "core/convert.h"
#include "effects/frame.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"
#include "filters/convolve.h"
#include "filters/median.h"
#include "filters/noise.h"
#include "filters/point.h"

namespace tessfx {
namespace {

// The alpha-bits flag as the filter library takes it: a byte that is 0 exactly when the
// flag is 0.
uint8_t FlagByte(int32_t flag) { return ClampByte(flag == 0 ? 0 : std::max(flag, 1)); }

// A convolution as the dispatch sets it up: kernel cells 1..6 (the upper and middle rows)
// go into the six parameter slots; the lower row, divisor and mode are the effect's own.
struct InlineKernel {
  std::array<float, 6> slots;
  std::array<float, 3> lower;
  float divisor;
  int32_t mode;
};

// Box blur.
constexpr InlineKernel kSimpleBlur{{1, 1, 1, 1, 1, 1}, {1, 1, 1}, 9, kConvolvePlain};
// The pixel against its four direct neighbours; the weights sum to 1.
constexpr InlineKernel kSharpen{{0, -1, 0, -1, 5, -1}, {0, -1, 0}, 1, kConvolvePlain};
// Emboss lit from the upper left: the difference across the diagonal, around mid-grey
// (weights sum to 0). The grey variant embosses the pixel's grey, the colour variant each
// channel.
constexpr InlineKernel kGreyEmboss{{-1, -1, 0, -1, 0, 1}, {0, 1, 1}, 1, kConvolveGrey | kConvolveOffset};
constexpr InlineKernel kColorEmboss{{-1, -1, 0, -1, 0, 1}, {0, 1, 1}, 1, kConvolveOffset};
// The Laplacian over all eight neighbours: flat areas go black, edges bright.
constexpr InlineKernel kEdgeDetect{{-1, -1, -1, -1, 8, -1}, {-1, -1, -1}, 1, kConvolvePlain};
// Each line averaged with the line above it, which merges the two fields.
constexpr InlineKernel kDeinterlace{{0, 1, 0, 0, 1, 0}, {0, 0, 0}, 2, kConvolvePlain};
// As deinterlace with twice the weight on the line itself.
constexpr InlineKernel kReduceFlicker{{0, 1, 0, 0, 2, 0}, {0, 0, 0}, 3, kConvolvePlain};

void Convolve(EffectCall& c, const InlineKernel& k) {
  const float level = c.p[0];  // saved before the slots become kernel cells
  std::copy(k.slots.begin(), k.slots.end(), c.p.begin());
  const Kernel3x3 kernel = {c.p[0], c.p[1], c.p[2], c.p[3], c.p[4], c.p[5], k.lower[0], k.lower[1], k.lower[2]};
  ImageState& s = c.image;
  ConvolveAlpha(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_r.data(), s.host_g.data(),
                s.host_b.data(), s.host_a.data(), FlagByte(s.alpha_bits), s.width, s.height, kernel, k.divisor,
                k.mode);
  LevelMix(s, level);
}

}  // namespace

void BindInlineActions(ActionTable& t) {
  t.tint = [](EffectCall& c) {
    ImageState& s = c.image;
    FastTint(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.work_r.data(), s.work_g.data(), s.work_b.data(),
             RoundHalfEven(c.p[0]), RoundHalfEven(c.p[1]), RoundHalfEven(c.p[2]), s.width, s.height);
    CompositeStep(s);
  };
  t.posterize = [](EffectCall& c) {
    if (c.p[0] == 0.0f) return;
    ImageState& s = c.image;
    s.work_a.CopyFrom(s.host_a);
    FastPosterize(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.width, s.height, s.host_r.data(),
                  s.host_g.data(), s.host_b.data(), RoundHalfEven(c.p[0]));
    CompositeStep(s);
  };
  // The last argument 0 asks for a black-and-white result by the pixel's grey.
  t.threshold = [](EffectCall& c) {
    ImageState& s = c.image;
    FastThreshold(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.work_r.data(), s.work_g.data(),
                  s.work_b.data(), s.width, s.height, RoundHalfEven(c.p[0]), 0);
    CompositeStep(s);
  };
  t.value_noise = [](EffectCall& c) {
    ImageState& s = c.image;
    ApplyValueNoise(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.work_a.data(), FlagByte(s.alpha_bits),
                    s.width, s.height, RoundHalfEven(c.p[0]), c.frame);
    CompositeStep(s);
  };
  t.color_noise = [](EffectCall& c) {
    ImageState& s = c.image;
    ApplyColorNoise(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.work_a.data(), FlagByte(s.alpha_bits),
                    s.width, s.height, RoundHalfEven(c.p[0]), c.frame);
    CompositeStep(s);
  };
  t.jitter = [](EffectCall& c) {
    ImageState& s = c.image;
    FastJitter(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_a.data(), s.width, s.height,
               s.host_r.data(), s.host_g.data(), s.host_b.data(), RoundHalfEven(c.p[0]), s.alpha_bits, c.frame);
    CompositeStep(s);
  };
  t.median = [](EffectCall& c) {
    ImageState& s = c.image;
    s.work_a.CopyFrom(s.host_a);
    FastMedian(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.width, s.height);
    CompositeStep(s);
  };
  t.simple_blur = [](EffectCall& c) { Convolve(c, kSimpleBlur); };
  t.sharpen = [](EffectCall& c) { Convolve(c, kSharpen); };
  t.grey_emboss = [](EffectCall& c) { Convolve(c, kGreyEmboss); };
  t.color_emboss = [](EffectCall& c) { Convolve(c, kColorEmboss); };
  t.edge_detect = [](EffectCall& c) { Convolve(c, kEdgeDetect); };
  t.deinterlace = [](EffectCall& c) { Convolve(c, kDeinterlace); };
  t.reduce_flicker = [](EffectCall& c) { Convolve(c, kReduceFlicker); };
}

}  // namespace tessfx
