#pragma once
// Slider values as the command line takes them, in --values and in --key F:V1,V2,...: one
// parser for every command.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/panel.h"

namespace tessfx::cli {

// Comma-separated whole numbers, slider 1 first. Spaces around a value are ignored; an
// empty field (or one of only spaces) leaves that slider as it is. At most six fields.
// `what` names the option in messages.
std::vector<std::optional<int32_t>> ParseSliderValues(std::string_view text, const std::string& what);

// Sets the selected effect's sliders from parsed values. More values than the effect has
// sliders, or a value outside a slider's range, is a usage error naming the slider.
void SetSliderValues(ParameterPanel& panel, const std::vector<std::optional<int32_t>>& values, const std::string& what);

}  // namespace tessfx::cli
