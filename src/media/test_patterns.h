#pragma once
// Generated test animations: each pattern moves from frame to frame so that renders and
// key frames show something.
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/plane.h"

namespace tessfx {

// Scene: a small landscape with sky, sun, hills, a figure before a green backdrop and a
// rolling ball, for trying effects on something that looks like a picture.
enum class Pattern { Gradient, Bars, Checker, Noise, Circles, Scene };

// Parses "gradient", "bars", "checker", "noise", "circles" or "scene"; nullopt otherwise.
std::optional<Pattern> ParsePattern(const std::string& name);
const char* PatternName(Pattern p);

// Fills r, g, b (frame size; extra row and column repeat the last real ones) with frame
// `frame` of `frames` of the pattern.
void DrawPattern(Pattern p, uint32_t seed, int32_t frame, int32_t frames, Plane& r, Plane& g, Plane& b);

// A cut-out picture with straight alpha, for laying over frames: a star, coloured from
// gold at the top to red at the bottom, opaque inside and transparent outside with a soft
// rim. Planes of the frame size.
void DrawCutout(Plane& r, Plane& g, Plane& b, Plane& a);

// Copies the last real column and row into the extra column and row.
void ReplicateEdges(Plane& p);

}  // namespace tessfx
