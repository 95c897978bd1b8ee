#pragma once
// The embedded host's assets: default gradients, paper and brush, their loaders from files,
// and the lens-flare renderer.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/plane.h"
#include "media/input_limits.h"

namespace tessfx {

struct ColourStop {
  double position;  // 0..1
  uint8_t r, g, b;
};

// 3 x 256 bytes, component-major, interpolated linearly between the stops.
std::vector<uint8_t> GradientFromStops(const std::vector<ColourStop>& stops);
// Grey ramp, sepia, fire, ice, rainbow, two duotones and a heat map.
std::array<std::vector<uint8_t>, 8> DefaultGradients();
// Reads a gradient from a text file of colour stops, one "position red green blue" per line
// (position 0..1, not decreasing; components 0..255; "#" starts a comment). Errors name the
// file and line.
std::vector<uint8_t> ReadGradientFile(const std::string& path);
inline constexpr int64_t kMaxGradientFileBytes = 1 << 20;

// Paper grain: a height plane of fibres and speckle, 256 x 256.
Plane DefaultPaper();
// A flower on a curved stem with two leaves, 32 x 64, antialiased, rooted at the middle of
// its bottom edge: stamped or swayed, it reads as something.
std::array<Plane, 4> DefaultBrush();
// A brush from an image: R, G, B, A from a file with alpha; otherwise white paint whose
// alpha is the picture's brightness.
std::array<Plane, 4> ReadBrushImage(const std::string& path, const InputLimits& limits = {});

inline constexpr float kMaxFlareStrength = 4.0f;
inline constexpr int32_t kMaxFlareRays = 64;
inline constexpr float kMaxFlareScale = 2000.0f;

struct FlareSettings {
  float glow = 1.0f;     // strength of the central glow, 0..4
  float rays = 1.0f;     // strength of the rays, 0..4
  float halo = 1.0f;     // strength of the halo ring, 0..4
  float ghosts = 1.0f;   // strength of the ghost row, 0..4
  int32_t ray_count = 12;  // 0..64

  FlareSettings Clamped() const;  // values brought into range (non-finite ones to 1)
  bool operator==(const FlareSettings&) const = default;
};

// Draws a lens flare additively into r, g, b (frame size): a glow, rays and a halo ring at
// (x, y), and a row of coloured ghosts along the line from there through the frame centre.
// `scale` sizes it in percent (100: the glow spans about a twelfth of the shorter side;
// 0 or less draws nothing; above kMaxFlareScale counts as that), `angle` (degrees) turns
// the rays. Only pixels where it adds a visible amount are visited.
void DrawLensFlare(Plane& r, Plane& g, Plane& b, float scale, float x, float y, float angle,
                   const FlareSettings& settings);

}  // namespace tessfx
