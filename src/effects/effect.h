#pragma once
// The definition of an effect, written once beside its routine: what the catalogue shows
// (name, category, sliders), what the dispatch fetches for it, how its result meets the
// frame, how the preview's mouse and the render treat it, and the routine itself with its
// argument conversions. The catalogue (engine/catalogue.h) keeps only the order.
#include <cstdint>
#include <string_view>
#include <vector>

#include "effects/frame.h"

namespace tessfx {

struct SliderSpec {
  std::string_view caption;
  int16_t min = 0;
  int16_t max = 0;
  int16_t value = 0;       // the default assigned by the set-up
  bool max_first = false;  // Max is assigned before Min
};

// A slider whose Min is assigned before its Max, and one whose Max goes first.
constexpr SliderSpec Slider(std::string_view caption, int16_t min, int16_t max, int16_t value) {
  return {caption, min, max, value, false};
}
constexpr SliderSpec SliderMaxFirst(std::string_view caption, int16_t min, int16_t max, int16_t value) {
  return {caption, min, max, value, true};
}

// What the dispatch fetches for an effect besides the frame itself (flags).
enum EffectInput : uint32_t {
  kFrameOnly = 0,
  kSwapImage = 1u << 0,      // the swap planes
  kSequenceFrame = 1u << 1,  // this frame's picture of the chosen sequence
  kOtherFrames = 1u << 2,    // other frames of the animation (Tes_GetRFrame ...)
  kHostGradients = 1u << 3,  // Tes_GetGradient
  kHostPaper = 1u << 4,      // the paper texture
  kHostBrush = 1u << 5,      // the current brush
  kHostDrawing = 1u << 6,    // draws into the host's current frame and restores it
};
inline constexpr uint32_t kHostCalls = kOtherFrames | kHostGradients | kHostPaper | kHostBrush | kHostDrawing;

// How the result meets the untouched frame.
enum class AlphaStep : uint8_t {
  Dispatch,  // the dispatch composites through the host alpha (Overlay_b) when the flag is 0
  InKernel,  // the routine's kernel mixes through the alpha itself (same rule)
  None,      // the result covers the whole frame whatever the alpha says
};
struct Composite {
  AlphaStep alpha = AlphaStep::Dispatch;
  // >= 0: the dispatch ends with the level mix by this slider's value (after the alpha step).
  int8_t level_mix_slider = -1;
};
inline constexpr Composite kAlphaComposite{AlphaStep::Dispatch, -1};
inline constexpr Composite kAlphaInKernel{AlphaStep::InKernel, -1};
inline constexpr Composite kCoversFrame{AlphaStep::None, -1};
constexpr Composite LevelMixBy(int8_t slider, AlphaStep alpha = AlphaStep::None) { return {alpha, slider}; }

// Mouse pointer of the preview picture while the effect is selected.
enum class PointerKind : int16_t { Default = 0, Sizing = 15, Custom = 99 };

// What clicking or dragging on the preview sets (engine/preview_pick.h).
enum class PickKind : uint8_t {
  None,
  WhiteBalanceGain,  // sliders 1..3: gains that make the picked colour neutral
  WhiteBalanceAdd,   // sliders 1..3: offsets that make it neutral
  Colour,            // sliders 1..3: the picked colour
  KeyColour,         // sliders 3..5: the picked colour
  Grey,              // slider 1: the picked grey level
  Position,          // sliders 1, 2: the point, in percent of the frame
  Translate,         // sliders 1, 2: plus the drag, in percent of the frame
  Rotate,            // sliders 3, 4: turned by the drag
};

// The "Select Sequence..." button: moved but left hidden for the swap keyers; shown for
// every effect that takes a sequence (derived from its inputs).
enum class ButtonMode : uint8_t { None, PlacedHidden, Shown };

// Order in which a render walks the frames.
enum class RenderOrder : uint8_t { Forward, Backward };

struct EffectDef {
  std::string_view name;
  std::string_view category;
  std::vector<SliderSpec> sliders;  // slider 1 first; at most six
  uint32_t inputs = kFrameOnly;
  Composite composite = kAlphaComposite;
  PickKind pick = PickKind::None;
  PointerKind pointer = PointerKind::Default;
  bool places_hidden_button = false;
  RenderOrder order = RenderOrder::Forward;
  // Run on the host when the effect is picked (before its preview).
  void (*on_select)(EffectHost& host) = nullptr;
  std::string_view description;  // one line for users
  EffectRoutine run = nullptr;   // nullptr: not implemented yet

  bool implemented() const { return run != nullptr; }
  bool Uses(uint32_t input) const { return (inputs & input) != 0; }
  ButtonMode button() const {
    if (Uses(kSequenceFrame)) return ButtonMode::Shown;
    return places_hidden_button ? ButtonMode::PlacedHidden : ButtonMode::None;
  }
  // The button goes into the first slider row below the last slider (rows 20 pixels apart).
  int16_t button_top() const { return static_cast<int16_t>(158 + 20 * sliders.size()); }
};

}  // namespace tessfx

namespace tessfx {

// Runs the effect's routine on the frame, then the composite its definition declares: the
// alpha composite when the alpha-bits flag is 0, then the level mix. Nothing happens for an
// effect without a routine.
void RunEffect(const EffectDef& effect, EffectFrame& frame, const EffectParams& p);

}  // namespace tessfx
