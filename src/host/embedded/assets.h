#pragma once
// The embedded host's default assets and its lens-flare renderer.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/plane.h"

namespace tessfx {

struct ColourStop {
  double position;  // 0..1
  uint8_t r, g, b;
};

// 3 x 256 bytes, component-major, interpolated linearly between the stops.
std::vector<uint8_t> GradientFromStops(const std::vector<ColourStop>& stops);
// Grey ramp, sepia, fire, ice, rainbow, two duotones and a heat map.
std::array<std::vector<uint8_t>, 8> DefaultGradients();
// Paper grain: a height plane of fibres and speckle, 256 x 256.
Plane DefaultPaper();
// A soft round white brush, 32 x 32, alpha falling off towards the rim.
std::array<Plane, 4> DefaultBrush();

struct FlareSettings {
  float glow = 1.0f;     // strength of the central glow
  float rays = 1.0f;     // strength of the rays
  float halo = 1.0f;     // strength of the halo ring
  float ghosts = 1.0f;   // strength of the ghost row
  int32_t ray_count = 12;
};

// Draws a lens flare additively into r, g, b (frame size): centre (x, y), size `scale`,
// `angle` turns the rays; ghosts lie on the line through the frame centre.
void DrawLensFlare(Plane& r, Plane& g, Plane& b, float scale, float x, float y, float angle,
                   const FlareSettings& settings);

}  // namespace tessfx
