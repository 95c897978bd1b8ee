#pragma once
// The effect catalogue: 16 categories and 96 effects in list order, each with its sliders
// (caption, range, default, assignment order), its extras (swap, sequence, mouse pointer,
// placement of the "Select Sequence..." button) and its routine. Captions are the
// program's own texts, kept exactly.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessfx {

struct EffectCall;  // engine/dispatch.h

// Mouse pointer of the preview picture while the effect is selected.
enum class PointerKind : int16_t { Default = 0, Sizing = 15, Custom = 99 };

// Where the sequence button goes for the effect: not placed, placed but hidden, or shown.
enum class ButtonMode : uint8_t { None, PlacedHidden, Shown };

struct SliderSpec {
  std::string_view caption;
  int16_t min = 0;
  int16_t max = 0;
  int16_t value = 0;       // the default assigned by the set-up
  bool max_first = false;  // Max is assigned before Min
};

using EffectAction = void (*)(EffectCall&);

struct EffectSpec {
  std::string_view name;
  std::string_view category;
  std::vector<SliderSpec> sliders;  // slider 1 first; at most six
  bool swap = false;                // combines the frame with the swap image
  bool sequence = false;            // takes a numbered image sequence
  PointerKind pointer = PointerKind::Default;
  ButtonMode button = ButtonMode::None;
  int16_t button_top = 0;           // pixels, when the button is placed
  // The dispatch's action: argument conversions, the routine, and the composite step
  // where the effect has one. nullptr: the routine is not implemented yet.
  EffectAction action = nullptr;

  bool implemented() const { return action != nullptr; }
};

struct CategorySpec {
  std::string_view name;
  std::vector<const EffectSpec*> effects;
};

// Every effect, in list order.
const std::vector<EffectSpec>& Effects();
// The categories in list order, each with its effects.
const std::vector<CategorySpec>& Categories();
// Exact, case-sensitive lookup by effect name; nullptr when no effect has that name.
const EffectSpec* FindEffect(std::string_view name);
// The 112 rows of the effect list: headings flush left, effects behind four spaces.
const std::vector<std::string>& List1Rows();
// Effect names closest to `name` (for "did you mean" messages), best first.
std::vector<std::string> NearestEffectNames(std::string_view name, size_t count = 3);
// `unknown effect "Colour add" (did you mean "Color add", ...?)`, for every place a name
// comes from a user.
std::string UnknownEffectMessage(std::string_view name);

inline constexpr std::string_view kListIndent = "    ";

}  // namespace tessfx
