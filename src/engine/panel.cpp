#include "engine/panel.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

#include "core/convert.h"

namespace tessfx {

void HPropModel::Apply(int16_t wanted, bool raise_change) {
  wanted_ = wanted;
  const int16_t v = std::clamp(wanted, min_, max_);
  const bool changed = v != value_;
  value_ = v;
  if (changed && raise_change && on_change) on_change();
}

void HPropModel::SetValue(int16_t v) { Apply(v, true); }

void HPropModel::SetMin(int16_t v) {
  min_ = v;
  if (max_ < min_) max_ = min_;
  Apply(wanted_, true);
}

void HPropModel::SetMax(int16_t v) {
  max_ = v;
  if (min_ > max_) min_ = max_;
  Apply(wanted_, true);
}

void HPropModel::Drag(int16_t v) {
  dragging_ = true;
  const int16_t before = value_;
  wanted_ = v;
  value_ = std::clamp(v, min_, max_);
  if (value_ != before && on_scroll) on_scroll();
}

void HPropModel::Release() {
  if (!dragging_) return;
  dragging_ = false;
  if (on_change) on_change();
}

ParameterPanel::ParameterPanel() {
  for (int n = 1; n <= 6; ++n) {
    HProp[n - 1].on_change = [this, n] { HProp_Change(n); };
    HProp[n - 1].on_scroll = [this, n] { HProp_Scroll(n); };
  }
  Label[12].caption = "Save undo";
}

void ParameterPanel::SetListIndex(int index) {
  if (index < -1 || index >= static_cast<int>(List1().size())) return;
  if (index == list_index_) return;
  list_index_ = index;
  if (index >= 0) List1_Click();
}

std::string ParameterPanel::SelectedEntry() const {
  return list_index_ >= 0 ? List1()[static_cast<size_t>(list_index_)] : std::string();
}

std::string ParameterPanel::EffectName() const {
  const std::string e = SelectedEntry();
  return e.size() > 4 ? e.substr(4) : std::string();
}

bool ParameterPanel::SelectEffect(const std::string& name) {
  const auto& rows = List1();
  for (size_t i = 0; i < rows.size(); ++i)
    if (rows[i].size() > 4 && rows[i].compare(0, 4, kListIndent) == 0 && rows[i].substr(4) == name) {
      if (static_cast<int>(i) == list_index_)
        List1_Click();
      else
        SetListIndex(static_cast<int>(i));
      return true;
    }
  return false;
}

void ParameterPanel::List1_Click() {
  const std::string entry = SelectedEntry();
  // 1. A heading selects the next row, which raises the click again for its first effect.
  if (entry.compare(0, 4, kListIndent) != 0) {
    SetListIndex(list_index_ + 1);
    return;
  }
  // 2. Choosing another effect starts with no keys; a reset keeps them.
  if (!ResetInProgress && hooks.clear_keys) hooks.clear_keys();
  // 3.-4. Reconfigure without a preview per assignment.
  SuppressPreview = 255;
  for (int n = 0; n < 6; ++n) {
    HProp[n].SetVisible(false);
    Label[n].visible = false;
    Label[6 + n].caption.clear();
  }
  kv_button13.visible = false;
  // 5.
  Setuptool();
  // 6.
  SuppressPreview = 0;
  if (hooks.preview) hooks.preview();
  // 7. The preview picture's pointer: picked colours, or a dragged centre or placement.
  const EffectDef* e = SelectedEffect();
  Picture2_MousePointer = PointerKind::Default;
  if (e) Picture2_MousePointer = e->pointer;
}

void ParameterPanel::Setuptool() {
  const EffectDef* e = SelectedEffect();
  if (!e) return;
  for (size_t n = 0; n < e->sliders.size() && n < 6; ++n) {
    const SliderSpec& s = e->sliders[n];
    HPropModel& h = HProp[n];
    h.SetValue(s.value);
    if (s.max_first) {
      h.SetMax(s.max);
      h.SetMin(s.min);
    } else {
      h.SetMin(s.min);
      h.SetMax(s.max);
    }
    h.SetVisible(true);
    Label[n].caption = std::string(s.caption);
    Label[n].visible = true;
    // The value label is left as step 4 of List1_Click emptied it: the Change events of
    // the assignments above came while the slider was hidden, and only a visible slider's
    // Change writes its value label. It shows a value once the slider is moved.
  }
  if (e->on_select && hooks.effect_picked) hooks.effect_picked(*e);
  if (e->button() != ButtonMode::None) {
    kv_button13.top = e->button_top();
    if (e->button() == ButtonMode::Shown) {
      kv_button13.left = 262;
      kv_button13.caption = "Select Sequence...";
      kv_button13.visible = true;
    }
  }
}

void ParameterPanel::HProp_Change(int n) {
  HPropModel& h = HProp[static_cast<size_t>(n - 1)];
  if (h.Visible()) Label[static_cast<size_t>(6 + n - 1)].caption = std::to_string(h.Value());
  if (!SuppressPreview && hooks.preview) hooks.preview();
}

std::optional<int16_t> ParseSliderText(std::string_view text, int16_t min, int16_t max) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  // Digits, one sign and a decimal point only: no exponent, hexadecimal, "inf" or "nan".
  for (char c : text)
    if (!std::isdigit(static_cast<unsigned char>(c)) && c != '-' && c != '.') return std::nullopt;
  double v = 0;
  // from_chars ignores the locale and takes only plain decimal numbers (no hex, inf or nan).
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v, std::chars_format::fixed);
  if (end != text.data() + text.size()) return std::nullopt;
  if (ec == std::errc::result_out_of_range) v = text.front() == '-' ? -HUGE_VAL : HUGE_VAL;
  else if (ec != std::errc()) return std::nullopt;
  return static_cast<int16_t>(std::clamp<double>(RoundHalfEvenD(v), min, max));
}

bool ParameterPanel::TypeValue(int n, std::string_view text) {
  if (n < 1 || n > 6) return false;
  HPropModel& h = HProp[static_cast<size_t>(n - 1)];
  const std::optional<int16_t> v = ParseSliderText(text, h.Min(), h.Max());
  if (!v) return false;
  h.SetValue(*v);
  return true;
}

void ParameterPanel::HProp_Scroll(int n) {
  Label[static_cast<size_t>(6 + n - 1)].caption = std::to_string(HProp[static_cast<size_t>(n - 1)].Value());
}

void ParameterPanel::Edit_copy_Click() {
  for (size_t n = 0; n < HProp.size(); ++n) KeyClipboard[n] = HProp[n].Value();
}

void ParameterPanel::Edit_Paste_Click() {
  for (size_t n = 0; n < HProp.size(); ++n) HProp[n].SetValue(static_cast<int16_t>(KeyClipboard[n]));
}

void ParameterPanel::Label13_Click() { Check1 = Check1 ? 0 : 1; }

void ParameterPanel::kv_button6_Click() {
  ResetInProgress = 255;
  List1_Click();
  ResetInProgress = 0;
}

std::array<float, 6> ParameterPanel::SliderValues() const {
  std::array<float, 6> v{};
  for (size_t n = 0; n < 6; ++n) v[n] = HProp[n].Value();
  return v;
}

}  // namespace tessfx
