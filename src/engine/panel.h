#pragma once
// The parameter panel as a model without widgets: the effect list List1, the six sliders
// HProp1..HProp6 with their caption labels Label1..Label6 and value labels Label7..Label12,
// the sequence button kv_button13, the undo check box Check1 with Label13, and the preview
// picture's mouse pointer. The window and the command line both drive this class; keys and
// preview are reached through hooks.
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue.h"

namespace tessfx {

// A slider: Value, Min, Max (16-bit) and Visible, with Change and Scroll events.
//
// Value always lies inside Min..Max. The slider remembers the value last asked for, and a
// later change of Min or Max brings the shown value as close to it as the new range allows.
// So the set-up's order (Value, then Min, then Max) yields the listed defaults whatever the
// previous effect's range was, as if the range had been applied first.
//
// Design-time state: hidden, range 0..255 at 255. A hidden slider still hands its value to
// the preview, so the effects without sliders whose last step is the level mix by the first
// value ("Deinterlace", "Reduce flicker") show in full until another effect's first slider
// has been used.
class HPropModel {
 public:
  int16_t Value() const { return value_; }
  int16_t Min() const { return min_; }
  int16_t Max() const { return max_; }
  bool Visible() const { return visible_; }

  void SetValue(int16_t v);
  void SetMin(int16_t v);
  void SetMax(int16_t v);
  void SetVisible(bool v) { visible_ = v; }

  // The user drags the thumb (Scroll events), then releases it (one Change).
  void Drag(int16_t v);
  void Release();

  std::function<void()> on_change;  // Change: the value has been changed (released)
  std::function<void()> on_scroll;  // Scroll: the value moves while dragging

 private:
  void Apply(int16_t wanted, bool raise_change);
  int16_t value_ = 255, min_ = 0, max_ = 255, wanted_ = 255;
  bool visible_ = false;
  bool dragging_ = false;
};

// A value typed for a slider of range min..max: a whole or decimal number (blanks around it
// ignored, halves rounded to even), brought into the range; nullopt when the text is not a
// number.
std::optional<int16_t> ParseSliderText(std::string_view text, int16_t min, int16_t max);

struct LabelModel {
  std::string caption;
  bool visible = true;
};

struct ButtonModel {
  std::string caption;
  float left = 0;
  float top = 0;
  bool visible = false;
};

// What the panel needs from the rest of the editor.
struct PanelHooks {
  std::function<void()> clear_keys;  // the clear-keys action of kv_button5
  std::function<void()> preview;     // DoPreviewFrame
  // The effect's own step when it is picked (the host's flare settings for "Lens flare").
  std::function<void(const EffectDef&)> effect_picked;
};

class ParameterPanel {
 public:
  ParameterPanel();

  // ---- List1 ----
  const std::vector<std::string>& List1() const { return List1Rows(); }
  int ListIndex() const { return list_index_; }  // -1: nothing selected
  // Selects a row; a change of selection raises List1_Click.
  void SetListIndex(int index);
  std::string SelectedEntry() const;
  std::string EffectName() const;  // the selected entry less its four-space indent
  const EffectDef* SelectedEffect() const { return FindEffect(EffectName()); }
  // Selects the row of an effect by name (raising List1_Click); false when unknown.
  bool SelectEffect(const std::string& name);

  void List1_Click();
  void Setuptool();
  void HProp_Change(int n);  // n = 1..6
  void HProp_Scroll(int n);
  // A value typed into slider n's value label: assigned like a slider move (one Change).
  // False, with nothing changed, when the text is not a number.
  bool TypeValue(int n, std::string_view text);
  void Label13_Click();
  // The reset button kv_button6: reconfigures the sliders to their defaults, keeping keys.
  void kv_button6_Click();

  // ---- controls ----
  std::array<HPropModel, 6> HProp;
  std::array<LabelModel, 13> Label;  // Label[0] is Label1 ... Label[12] is Label13
  ButtonModel kv_button13;
  int Check1 = 1;
  PointerKind Picture2_MousePointer = PointerKind::Default;

  uint8_t SuppressPreview = 0;  // 0 or 255
  uint8_t ResetInProgress = 0;  // 0 or 255

  PanelHooks hooks;

  // Edit menu: copy stores the six sliders' Values, paste assigns them back in order (each
  // slider raises its own Change). Zero before the first copy; paste sets no key.
  std::array<int32_t, 6> KeyClipboard{};
  void Edit_copy_Click();
  void Edit_Paste_Click();

  // Slider values in order, as the preview passes them.
  std::array<float, 6> SliderValues() const;

 private:
  int list_index_ = -1;
};

}  // namespace tessfx
