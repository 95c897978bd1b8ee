// Keying, compositing over a sequence, displacement by the swap image and the echo of
// earlier frames. The keyers key the frame and fill its backdrop with the swap image or the
// sequence's picture (the plate); the two sequence composites lay the picture over the frame.
#include <algorithm>
#include <cmath>

#include "core/convert.h"
#include "core/error.h"
#include "effects/families.h"
#include "filters/displace_field.h"
#include "filters/echo.h"
#include "filters/keyer.h"
#include "filters/over.h"

namespace tessfx {
namespace {

// A blue screen is keyed as a green one with the green and blue planes exchanged.
template <typename View>
RgbOf<View> GreenBlueExchanged(const RgbOf<View>& v) {
  return {v.r, v.b, v.g};
}

// mode 0: green screen, 1: blue screen. Low and High clip the key channel's excess over the
// other two; `artificial` is how far it may rise above them in what is kept.
void FxScreenKey(EffectFrame& f, ConstRgbView plate, int32_t low, int32_t high, int32_t artificial, int32_t mode) {
  const ScreenKeyOptions o{low, high, artificial};
  if (mode == 0)
    GreenScreenKey(f.work.rgb(), f.host.rgb(), plate, o);
  else
    GreenScreenKey(GreenBlueExchanged(f.work.rgb()), GreenBlueExchanged(f.host.rgb()), GreenBlueExchanged(plate), o);
}

void FxColorKey(EffectFrame& f, ConstRgbView plate, float low, float high, int32_t red, int32_t green, int32_t blue) {
  ColourKey(f.work.rgb(), f.host.rgb(), plate,
            {low, high, {ClampByte(red), ClampByte(green), ClampByte(blue)}});
}

void FxAlphaComp(EffectFrame& f) { StraightOver(f.work.rgb(), f.host.rgb(), f.sequence.rgb(), f.sequence.a); }

// The rim reaches two pixels (a diamond) out from the picture.
constexpr int32_t kCelRimReach = 2;

void FxCellEdgeComp(EffectFrame& f, int32_t red, int32_t green, int32_t blue) {
  OutlinedOver(f.work.rgb(), f.host.rgb(), f.sequence.rgb(), f.sequence.a,
               {ClampByte(red), ClampByte(green), ClampByte(blue)}, kCelRimReach);
}

// The alpha plane is the wipe's map here, read whatever the alpha-bits flag says; the
// result covers the frame (no composite through the same alpha a second time).
void FxTransitionByAlpha(EffectFrame& f, int32_t level, int32_t softness) {
  AlphaWipe(f.work.rgb(), f.host.rgb(), f.swap, f.host.a, level, softness);
}

// Wider bends for bigger shifts: the outline's smoothing grows with the shift.
void FxCloakingDisplace(EffectFrame& f, float max_displace) {
  if (!(max_displace > 0.0f)) return;
  SlopeDisplace(f.work.rgb(), f.host.rgb(), f.swap, {max_displace, std::clamp(max_displace / 4.0f, 1.0f, 16.0f), 0.0f});
}

// A light fixed smoothing, so that the whole height field ripples, not only its outlines;
// the squirrel factor turns the shift by up to half a turn.
constexpr float kPoolSmoothing = 1.5f;

void FxPoolDisplace(EffectFrame& f, float displace, float squirrel) {
  const float max_displace = 255.0f * displace;
  if (!(max_displace > 0.0f)) return;
  SlopeDisplace(f.work.rgb(), f.host.rgb(), f.swap, {max_displace, kPoolSmoothing, 180.0f * squirrel});
}

// The current frame and up to frames - 1 earlier ones (never before frame 0), weighted
// frames, frames - 1, ..., 1 from the current one back. Earlier frames are read from the
// host without moving it; a render runs backwards, so they are still the originals.
void FxGhost(EffectFrame& f, int32_t frames) {
  const int32_t k = std::clamp(frames, 2, 16);
  const int32_t back = std::min(k - 1, f.frame);
  if (back <= 0) return;
  WeightedFrameSum sum(f.width, f.height);
  const ConstPlaneView current[3] = {f.host.r, f.host.g, f.host.b};
  const PlaneView out[3] = {f.work.r, f.work.g, f.work.b};
  for (int c = 0; c < 3; ++c) {
    sum.Start(current[c], static_cast<uint32_t>(k));
    for (int32_t j = 1; j <= back; ++j) {
      const int32_t earlier = f.frame - j;
      const Plane plane = c == 0   ? f.host_calls->Tes_GetRFrame(earlier)
                          : c == 1 ? f.host_calls->Tes_GetGFrame(earlier)
                                   : f.host_calls->Tes_GetBFrame(earlier);
      if (plane.width() != f.width || plane.height() != f.height)
        Fail(ErrorKind::BadData, "the host's frame " + std::to_string(earlier) + " is " +
                                     std::to_string(plane.width()) + "x" + std::to_string(plane.height()) +
                                     ", but it reports frames of " + std::to_string(f.width) + "x" +
                                     std::to_string(f.height));
      sum.Add(plane.view(), static_cast<uint32_t>(k - j));
    }
    sum.MeanInto(out[c]);
  }
}

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
       .description = "A wipe from the frame to the swap image in the order the alpha plane paints",
       .run = [](EffectFrame& f, const EffectParams& p) { FxTransitionByAlpha(f, RoundHalfEven(p[0]), RoundHalfEven(p[1])); }},
      {.name = "Greenscreen",
       .category = "Composite with swap",
       .sliders = ScreenKeySliders("Artificial green"),
       .inputs = kSwapImage,
       .places_hidden_button = true,
       .description = "Replaces a green backdrop with the swap image, with soft edges and no green fringe",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxScreenKey(f, f.swap, RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), 0);
       }},
      {.name = "Bluescreen",
       .category = "Composite with swap",
       .sliders = ScreenKeySliders("Artificial blue"),
       .inputs = kSwapImage,
       .places_hidden_button = true,
       .description = "Replaces a blue backdrop with the swap image, with soft edges and no blue fringe",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxScreenKey(f, f.swap, RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), 1);
       }},
      {.name = "Color key",
       .category = "Composite with swap",
       .sliders = ColorKeySliders(),
       .inputs = kSwapImage,
       .pick = PickKind::KeyColour,
       .pointer = PointerKind::Custom,
       .places_hidden_button = true,
       .description = "Replaces the colours near the key colour with the swap image; click to pick the key",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxColorKey(f, f.swap, p[0], p[1], RoundHalfEven(p[2]), RoundHalfEven(p[3]), RoundHalfEven(p[4]));
       }},
      {.name = "Greenscreen sequence",
       .category = "Composite with sequence",
       .sliders = ScreenKeySliders("Artificial green"),
       .inputs = kSequenceFrame,
       .description = "Replaces a green backdrop with the chosen sequence's picture for each frame",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxScreenKey(f, f.sequence.rgb(), RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), 0);
       }},
      {.name = "Bluescreen sequence",
       .category = "Composite with sequence",
       .sliders = ScreenKeySliders("Artificial blue"),
       .inputs = kSequenceFrame,
       .description = "Replaces a blue backdrop with the chosen sequence's picture for each frame",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxScreenKey(f, f.sequence.rgb(), RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), 1);
       }},
      {.name = "Color key sequence",
       .category = "Composite with sequence",
       .sliders = ColorKeySliders(),
       .inputs = kSequenceFrame,
       .pick = PickKind::KeyColour,
       .pointer = PointerKind::Custom,
       .description = "Replaces the colours near the key colour with the chosen sequence's picture",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxColorKey(f, f.sequence.rgb(), p[0], p[1], RoundHalfEven(p[2]), RoundHalfEven(p[3]), RoundHalfEven(p[4]));
       }},
      {.name = "Alpha comp",
       .category = "Composite with sequence",
       .inputs = kSequenceFrame,
       .description = "Lays the sequence's pictures over the frames through their own transparency",
       .run = [](EffectFrame& f, const EffectParams&) { FxAlphaComp(f); }},
      {.name = "Cell edge comp",
       .category = "Composite with sequence",
       .sliders = {Slider("Red", 0, 255, 255), Slider("Green", 0, 255, 255), Slider("Blue", 0, 255, 0)},
       .inputs = kSequenceFrame,
       .description = "Lays the sequence's pictures over the frames with an outline in the chosen colour",
       .run = [](EffectFrame& f, const EffectParams& p) {
         FxCellEdgeComp(f, RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]));
       }},
      {.name = "Cloaking displace",
       .category = "Displace by swap",
       .sliders = {SliderMaxFirst("Max displace", 0, 255, 0)},
       .inputs = kSwapImage,
       .description = "The frame seen through a clear body shaped like the swap image, bending at its outline",
       .run = [](EffectFrame& f, const EffectParams& p) { FxCloakingDisplace(f, p[0]); }},
      {.name = "Pool displace",
       .category = "Displace by swap",
       .sliders = {SliderMaxFirst("Max displace", 0, 255, 0), SliderMaxFirst("Squirrel factor", 0, 255, 25)},
       .inputs = kSwapImage,
       .description = "The frame seen through rippling water whose heights the swap image gives",
       .run = [](EffectFrame& f, const EffectParams& p) { FxPoolDisplace(f, p[0] / 255.0f, p[1] / 255.0f); }},
      {.name = "Ghost",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Frames", 2, 16, 4)},
       .inputs = kOtherFrames,
       .order = RenderOrder::Backward,
       .description = "Moving things leave fading trails of where they were in the last frames",
       .run = [](EffectFrame& f, const EffectParams& p) { FxGhost(f, RoundHalfEven(p[0])); }},
  };
  return effects;
}

}  // namespace tessfx
