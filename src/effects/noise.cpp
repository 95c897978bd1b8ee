// Random per-pixel effects. Their randomness is a hash of the host frame and the position,
// so a frame renders the same alone, in any order and on any number of threads. With the
// alpha-bits flag 0 they leave pixels of alpha 0 alone (the composite would discard them).
#include "filters/noise.h"

#include "core/convert.h"
#include "effects/families.h"

namespace tessfx {

std::span<const EffectDef> NoiseEffects() {
  static const EffectDef effects[] = {
      {.name = "Value noise",
       .category = "Noise",
       .sliders = {Slider("Value noise", 0, 255, 255)},
       .description = "Brightens or darkens each pixel by a random amount up to half the slider",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             ApplyValueNoise(f.work.rgb(), f.work.a, f.AlphaFlagByte(), RoundHalfEven(p[0]), f.frame);
           }},
      {.name = "Color noise",
       .category = "Noise",
       .sliders = {Slider("Color noise", 0, 255, 255)},
       .description = "Random offsets per channel: coloured speckle up to half the slider",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             ApplyColorNoise(f.work.rgb(), f.work.a, f.AlphaFlagByte(), RoundHalfEven(p[0]), f.frame);
           }},
      {.name = "Jitter",
       .category = "Noise",
       .sliders = {Slider("Jitter", 0, 100, 100)},
       .description = "Each pixel takes the colour of a random neighbour up to a tenth of the slider away",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             FastJitter(f.work.rgb(), f.host.rgb(), f.host.a, RoundHalfEven(p[0]), f.alpha_bits, f.frame);
           }},
  };
  return effects;
}

}  // namespace tessfx
