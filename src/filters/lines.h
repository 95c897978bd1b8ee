#pragma once
// Antialiased lines with hidden-line removal: a scene of line segments and of surfaces
// that are not drawn but hide the lines behind them, rendered onto black.
//
// Surfaces (triangles) fill a depth buffer; each line is then drawn with Xiaolin Wu's
// antialiasing, its colour and depth interpolated between its ends, each pixel kept only
// where the line lies no farther than a tolerance behind the nearest surface there. The
// frame is split into fixed bands of rows that each draw, in the scene's order, what
// crosses them, so the result does not depend on the number of threads.
#include <array>
#include <cstdint>
#include <vector>

#include "core/plane.h"

namespace tessfx {

struct ScreenVertex {
  float x = 0, y = 0;         // pixels on the frame
  float inv_depth = 0;        // 1 / distance from the eye: linear across the screen
  float r = 0, g = 0, b = 0;  // 0..255
};

struct LineScene {
  std::vector<ScreenVertex> vertices;
  std::vector<std::array<uint32_t, 2>> lines;     // drawn, in this order
  std::vector<std::array<uint32_t, 3>> surfaces;  // hide what lies behind them
  float tolerance = 1;                            // distance a line may lie behind a surface and still show
};

// Draws the scene over black into rows 0..height-1, columns 0..width-1 of `out`.
void DrawLineScene(RgbView out, const LineScene& scene);

}  // namespace tessfx
