// Dithers, noise clouds, film, snow, lens flare, paper and the detail effects.
#include "effects/families.h"

namespace tessfx {
namespace {

std::vector<SliderSpec> PerlinSliders() {
  return {SliderMaxFirst("Iterations", 1, 8, 4), SliderMaxFirst("Scale", 1, 10, 2), SliderMaxFirst("Speed", 0, 100, 10),
          SliderMaxFirst("Type", 0, 3, 0), SliderMaxFirst("Phase", 0, 255, 128)};
}

std::vector<SliderSpec> ColorPerlinSliders() {
  std::vector<SliderSpec> s = PerlinSliders();
  s.push_back(SliderMaxFirst("Offset", 0, 255, 200));
  return s;
}

}  // namespace

std::span<const EffectDef> GenerativeEffects() {
  static const EffectDef effects[] = {
      {.name = "8 bit ordered dither",
       .category = "Color",
       .description = "A 256-colour palette with a fine regular pattern in place of banding"},
      {.name = "8 bit random dither",
       .category = "Color",
       .description = "A 256-colour palette with a fine random speckle that changes every frame"},
      {.name = "1 bit ordered dither",
       .category = "Color",
       .description = "Black and white with a regular cross-hatch for the greys"},
      {.name = "1 bit random dither",
       .category = "Color",
       .description = "Black and white noise dither that changes every frame"},
      {.name = "Digital photo enhance",
       .category = "Sharpen",
       .sliders = {Slider("Detail enhance", 0, 255, 255), Slider("Color smooth", 0, 255, 255)},
       .description = "Brings out detail and smooths colour noise while keeping edges"},
      {.name = "Sobel edge detect",
       .category = "Convolve",
       .description = "The strength of the picture's edges, bright on black"},
      {.name = "Film grain",
       .category = "Noise",
       .sliders = {Slider("Red level", 0, 255, 15), Slider("Green level", 0, 255, 20), Slider("Blue level", 0, 255, 64),
                   Slider("Grain scale", 10, 100, 18)},
       .description = "Fine organic grain per channel that changes every frame, strongest in the midtones"},
      {.name = "Apply current paper",
       .category = "Artistic",
       .sliders = {Slider("Amount", 0, 255, 20)},
       .inputs = kHostPaper,
       .description = "The picture as if painted on the host's paper, its grain lit from the upper left"},
      {.name = "Perlin noise",
       .category = "Animated",
       .sliders = PerlinSliders(),
       .description = "Softly billowing grey clouds, smoke, veins or marble that change over time"},
      {.name = "Color perlin noise",
       .category = "Animated",
       .sliders = ColorPerlinSliders(),
       .description = "Noise clouds in drifting colours"},
      {.name = "Snowfall",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Snowfall", 10, 1000, 100), Slider("Velocity", 1, 100, 10),
                   Slider("Wind speed", -100, 100, -10), Slider("Turbulence", 0, 100, 10), Slider("Size", 1, 40, 8),
                   Slider("Brighness", 1, 255, 255)},
       .description = "Snowflakes of many sizes drifting down, blown by the wind"},
      {.name = "Old film",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Effect level", 0, 255, 128)},
       .description = "Worn cinema film: sepia, flicker, weave, grain, dust and scratches"},
      {.name = "Lens flare",
       .category = "Animated",
       .sliders = {SliderMaxFirst("X position", 0, 100, 25), SliderMaxFirst("Y position", 0, 100, 25),
                   SliderMaxFirst("Level", 0, 2000, 1000)},
       .inputs = kHostDrawing,
       .pick = PickKind::Position,
       .on_select = [](EffectHost& host) { host.Tes_FlareSettings(); },
       .description = "A camera lens flare drawn by the host at the chosen spot; click to place it"},
  };
  return effects;
}

}  // namespace tessfx
