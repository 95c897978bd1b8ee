// Keying, compositing over a sequence, displacement by the swap image and the echo of
// earlier frames.
#include "effects/families.h"

namespace tessfx {
namespace {

std::vector<SliderSpec> ScreenKeySliders(std::string_view artificial) {
  return {Slider("Low clip", 0, 255, 64), Slider("High clip", 0, 255, 80), Slider(artificial, 0, 255, 32)};
}

std::vector<SliderSpec> ColorKeySliders() {
  return {Slider("Low clip", 0, 255, 64), Slider("High clip", 0, 255, 80), Slider("Key color R", 0, 255, 0),
          Slider("Key color G", 0, 255, 0), Slider("Key color B", 0, 255, 0)};
}

}  // namespace

std::span<const EffectDef> KeyingEffects() {
  static const EffectDef effects[] = {
      {.name = "Transition by alpha",
       .category = "Combine with swap",
       .sliders = {SliderMaxFirst("Transition level", 0, 255, 128), SliderMaxFirst("Softness", 0, 128, 10)},
       .inputs = kSwapImage,
       .composite = kCoversFrame,
       .description = "A wipe from the frame to the swap image in the order the alpha plane paints"},
      {.name = "Greenscreen",
       .category = "Composite with swap",
       .sliders = ScreenKeySliders("Artificial green"),
       .inputs = kSwapImage,
       .places_hidden_button = true,
       .description = "Replaces a green backdrop with the swap image, with soft edges and no green fringe"},
      {.name = "Bluescreen",
       .category = "Composite with swap",
       .sliders = ScreenKeySliders("Artificial blue"),
       .inputs = kSwapImage,
       .places_hidden_button = true,
       .description = "Replaces a blue backdrop with the swap image, with soft edges and no blue fringe"},
      {.name = "Color key",
       .category = "Composite with swap",
       .sliders = ColorKeySliders(),
       .inputs = kSwapImage,
       .pick = PickKind::KeyColour,
       .pointer = PointerKind::Custom,
       .places_hidden_button = true,
       .description = "Replaces the colours near the key colour with the swap image; click to pick the key"},
      {.name = "Greenscreen sequence",
       .category = "Composite with sequence",
       .sliders = ScreenKeySliders("Artificial green"),
       .inputs = kSequenceFrame,
       .description = "Replaces a green backdrop with the chosen sequence's picture for each frame"},
      {.name = "Bluescreen sequence",
       .category = "Composite with sequence",
       .sliders = ScreenKeySliders("Artificial blue"),
       .inputs = kSequenceFrame,
       .description = "Replaces a blue backdrop with the chosen sequence's picture for each frame"},
      {.name = "Color key sequence",
       .category = "Composite with sequence",
       .sliders = ColorKeySliders(),
       .inputs = kSequenceFrame,
       .pick = PickKind::KeyColour,
       .pointer = PointerKind::Custom,
       .description = "Replaces the colours near the key colour with the chosen sequence's picture"},
      {.name = "Alpha comp",
       .category = "Composite with sequence",
       .inputs = kSequenceFrame,
       .description = "Lays the sequence's pictures over the frames through their own transparency"},
      {.name = "Cell edge comp",
       .category = "Composite with sequence",
       .sliders = {Slider("Red", 0, 255, 255), Slider("Green", 0, 255, 255), Slider("Blue", 0, 255, 0)},
       .inputs = kSequenceFrame,
       .description = "Lays the sequence's pictures over the frames with an outline in the chosen colour"},
      {.name = "Cloaking displace",
       .category = "Displace by swap",
       .sliders = {SliderMaxFirst("Max displace", 0, 255, 0)},
       .inputs = kSwapImage,
       .description = "The frame seen through a clear body shaped like the swap image, bending at its outline"},
      {.name = "Pool displace",
       .category = "Displace by swap",
       .sliders = {SliderMaxFirst("Max displace", 0, 255, 0), SliderMaxFirst("Squirrel factor", 0, 255, 25)},
       .inputs = kSwapImage,
       .description = "The frame seen through rippling water whose heights the swap image gives"},
      {.name = "Ghost",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Frames", 2, 16, 4)},
       .inputs = kOtherFrames,
       .order = RenderOrder::Backward,
       .description = "Moving things leave fading trails of where they were in the last frames"},
  };
  return effects;
}

}  // namespace tessfx
