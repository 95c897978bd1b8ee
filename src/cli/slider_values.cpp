#include "cli/slider_values.h"

#include <charconv>

#include "core/error.h"

namespace tessfx::cli {
namespace {

std::string_view Trim(std::string_view s) {
  const size_t b = s.find_first_not_of(" \t");
  if (b == std::string_view::npos) return {};
  return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

}  // namespace

std::vector<std::optional<int32_t>> ParseSliderValues(std::string_view text, const std::string& what) {
  std::vector<std::optional<int32_t>> out;
  if (Trim(text).empty()) return out;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    const std::string_view field = Trim(text.substr(start, comma == std::string_view::npos ? comma : comma - start));
    if (field.empty()) {
      out.emplace_back();
    } else {
      int32_t v = 0;
      const auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), v);
      if (ec != std::errc() || end != field.data() + field.size())
        Fail(ErrorKind::Usage, what + ": \"" + std::string(field.substr(0, 40)) + "\" is not a whole number");
      out.emplace_back(v);
    }
    if (out.size() > 6) Fail(ErrorKind::Usage, what + " takes at most six values");
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return out;
}

void SetSliderValues(ParameterPanel& panel, const std::vector<std::optional<int32_t>>& values,
                     const std::string& what) {
  const EffectDef* effect = panel.SelectedEffect();
  const size_t sliders = effect ? effect->sliders.size() : 0;
  if (values.size() > sliders)
    Fail(ErrorKind::Usage, what + ": " + std::to_string(values.size()) + " values given, but \"" + panel.EffectName() +
                               "\" has " + std::to_string(sliders) + " slider" + (sliders == 1 ? "" : "s"));
  for (size_t n = 0; n < values.size(); ++n) {
    if (!values[n]) continue;
    const SliderSpec& s = effect->sliders[n];
    if (*values[n] < s.min || *values[n] > s.max)
      Fail(ErrorKind::Usage, what + ": " + std::to_string(*values[n]) + " for slider " + std::to_string(n + 1) +
                                 " (\"" + std::string(s.caption) + "\") is outside " + std::to_string(s.min) + ".." +
                                 std::to_string(s.max));
    panel.HProp[n].SetValue(static_cast<int16_t>(*values[n]));  // inside a 16-bit range, checked above
  }
}

}  // namespace tessfx::cli
