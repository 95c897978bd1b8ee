// Transforms, lenses, the globe, waves and breezes, the wireframe, light rays and wet paint.
#include "effects/families.h"

namespace tessfx {
namespace {

std::vector<SliderSpec> RaySliders() {
  return {Slider("Center X", 0, 100, 50), Slider("Center y", 0, 100, 50), Slider("Factor", 1, 100, 20),
          Slider("Quality", 1, 200, 50)};
}

}  // namespace

std::span<const EffectDef> DistortionEffects() {
  static const EffectDef effects[] = {
      {.name = "Mystic vision",
       .category = "Blur",
       .sliders = RaySliders(),
       .pick = PickKind::Position,
       .pointer = PointerKind::Sizing,
       .description = "Beams of light stream from the bright parts, outward from the centre; drag to place it"},
      {.name = "Shadow vision",
       .category = "Blur",
       .sliders = RaySliders(),
       .pick = PickKind::Position,
       .pointer = PointerKind::Sizing,
       .description = "Dark streaks stream from the dark parts, outward from the centre; drag to place it"},
      {.name = "Fisheye",
       .category = "Photographic",
       .sliders = {Slider("Fisheye", -100, 100, 50)},
       .description = "Bulges the centre as a fisheye lens (positive) or pinches it (negative)"},
      {.name = "Transform",
       .category = "Transform",
       .sliders = {Slider("Translate x", -200, 200, 0), Slider("Translate y", -200, 200, 0),
                   Slider("Scale", 0, 200, 100), Slider("Rotate", 0, 360, 0)},
       .pick = PickKind::Translate,
       .pointer = PointerKind::Sizing,
       .description = "Moves, scales and turns the picture about its centre; drag to move it"},
      {.name = "Wireframe designer",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Amplitude", 1, 255, 40), Slider("Sample step", 1, 25, 5),
                   Slider("Heading", 0, 360, 0), Slider("Pitch", 0, 360, 350), Slider("Bank", 0, 360, 0),
                   Slider("zoom factor", 120, 1000, 400)},
       .pick = PickKind::Rotate,
       .pointer = PointerKind::Sizing,
       .description = "The picture as a 3-D wire mesh rising with brightness; drag to turn it"},
      {.name = "Globe", .category = "Transform", .description = "The picture wrapped onto a ball on black"},
      {.name = "Wave distort",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Wave sources", 1, 6, 3), Slider("Frequency", 1, 100, 5),
                   Slider("Displacement", 0, 100, 20), Slider("Wave speed", 0, 100, 50)},
       .description = "Circular ripples spreading from a few points and wobbling the picture"},
      {.name = "Wave in breeze",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Power", 0, 100, 40), SliderMaxFirst("Frequency", 0, 1000, 100),
                   SliderMaxFirst("Speed", 0, 50, 10), SliderMaxFirst("Shear", -100, 100, 0),
                   SliderMaxFirst("Time offset", 0, 45, 0)},
       .description = "The picture ripples like a flag fastened along its left edge"},
      {.name = "Wet paint",
       .category = "Artistic",
       .sliders = {Slider("Wet paint", -64, 64, 20)},
       .description = "Colours run down in streaks as fresh paint (upward for negative values)"},
      {.name = "Wave brush in breeze",
       .category = "Brush",
       .sliders = {Slider("X position", -100, 200, 50), Slider("Y position", -100, 200, 50),
                   SliderMaxFirst("Power", 0, 100, 40), SliderMaxFirst("Frequency", 0, 1000, 100),
                   SliderMaxFirst("Speed", 0, 50, 10), SliderMaxFirst("Time offset", 0, 360, 0)},
       .inputs = kHostBrush,
       .pick = PickKind::Position,
       .description = "The host's brush stamped at the chosen place, swaying in a breeze; click to place it"},
  };
  return effects;
}

}  // namespace tessfx
