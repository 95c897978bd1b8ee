#pragma once
// Generated test animations: each pattern moves from frame to frame so that renders and
// key frames show something.
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/plane.h"

namespace tessfx {

enum class Pattern { Gradient, Bars, Checker, Noise, Circles };

// Parses "gradient", "bars", "checker", "noise" or "circles"; nullopt otherwise.
std::optional<Pattern> ParsePattern(const std::string& name);
const char* PatternName(Pattern p);

// Fills r, g, b (frame size; extra row and column repeat the last real ones) with frame
// `frame` of `frames` of the pattern.
void DrawPattern(Pattern p, uint32_t seed, int32_t frame, int32_t frames, Plane& r, Plane& g, Plane& b);

// Copies the last real column and row into the extra column and row.
void ReplicateEdges(Plane& p);

}  // namespace tessfx
