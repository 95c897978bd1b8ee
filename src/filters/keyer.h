#pragma once
// Keyers: a matte from how far each pixel of the frame lies from the backdrop colour, the
// foreground freed of the backdrop's share in edge pixels, and the result laid over a plate
// (the picture that replaces the backdrop). Every kernel reads the untouched frame and the
// plate and writes the working planes over the frame's width x height pixels; the extra row
// and column are left as they are.
//
// Opacity is the matte: 1 keeps the frame's pixel (foreground), 0 shows the plate. An edge
// pixel seen as C = a F + (1 - a) K (foreground F over backdrop K at opacity a) is unmixed
// to F = (C - (1 - a) K) / a before it is laid over the plate, so no rim of backdrop colour
// is left around the subject: the result is C - (1 - a) K + (1 - a) plate.
#include <array>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// 0 at or below the lower clip, 1 at or above the higher, linear between. The clips may come
// in either order; equal clips make a step: 0 up to the clip, 1 above it.
struct MatteRamp {
  MatteRamp(float clip_a, float clip_b);
  float operator()(float v) const;
  float lo, hi;
};

struct ScreenKeyOptions {
  int32_t low_clip = 64;     // a key-channel excess at or below it is foreground
  int32_t high_clip = 80;    // at or above it, backdrop
  int32_t spill_limit = 32;  // how far the key channel may rise above the other two in what is kept
};

// Green-screen key: the excess m = G - max(R, B) gives opacity 1 - ramp(m); the backdrop
// colour K is the mean of the frame's pixels that key out fully (no unmixing when there are
// none). Where some foreground is left, the opacity is at least 1 - G / K_green, the least
// share of foreground that leaves the pixel's green below the screen's. Green in what is
// kept is limited to max(R, B) + spill_limit. For a blue screen pass every image with its
// green and blue planes exchanged.
void GreenScreenKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ScreenKeyOptions& options);

struct ColourKeyOptions {
  float low_clip = 64;   // distances to the key colour at or below it are backdrop
  float high_clip = 80;  // at or above it, foreground
  std::array<uint8_t, 3> key{};
};

// Colour key: opacity = ramp(Euclidean RGB distance to the key colour), edges unmixed
// against the key colour itself.
void ColourKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ColourKeyOptions& options);

}  // namespace tessfx
