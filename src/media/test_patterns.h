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
// rolling ball, for trying effects on something that looks like a picture. GreenScreen: a
// presenter with soft hair swaying before an evenly lit green screen, for trying the keyers.
enum class Pattern { Gradient, Bars, Checker, Noise, Circles, Scene, GreenScreen };

// Parses "gradient", "bars", "checker", "noise", "circles", "scene" or "greenscreen";
// nullopt otherwise.
std::optional<Pattern> ParsePattern(const std::string& name);
const char* PatternName(Pattern p);

// Fills r, g, b (frame size; extra row and column repeat the last real ones) with frame
// `frame` of `frames` of the pattern.
void DrawPattern(Pattern p, uint32_t seed, int32_t frame, int32_t frames, Plane& r, Plane& g, Plane& b);

// The green-screen plate in parts, at (x, y) of a w x h frame at time t (0..1): the
// presenter's colour (straight) with its coverage a (0..1, fractional in the hair and along
// every edge), and the lit screen behind, with sensor grain from `grain` (bits of a hash).
// The plate is subject over screen: a * subject + (1 - a) * screen.
struct PlateLayer {
  double r = 0, g = 0, b = 0, a = 0;
};
PlateLayer GreenScreenSubject(double x, double y, double w, double h, double t);
PlateLayer GreenScreenBackdrop(double x, double y, double w, double h, uint32_t grain);

// A cut-out picture with straight alpha, for laying over frames: a star, coloured from
// gold at the top to red at the bottom, opaque inside and transparent outside with a soft
// rim. Planes of the frame size.
void DrawCutout(Plane& r, Plane& g, Plane& b, Plane& a);

// Copies the last real column and row into the extra column and row.
void ReplicateEdges(Plane& p);

}  // namespace tessfx
