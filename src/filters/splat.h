#pragma once
// Soft round splats (snowflakes, dust) and thin vertical streaks (scratches), antialiased
// by coverage: a pixel whose centre lies d px from the shape's centre (or centre line) is
// covered clamp(R + 0.5 - d, 0, 1) for a shape of radius (or half width) R, so a splat
// keeps its area at any sub-pixel position. Drawing goes row by row, so a row band can
// draw every splat that crosses it, in the same global order, and the result does not
// depend on how the frame is cut into bands.
#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tessfx {

struct Splat {
  float x = 0, y = 0;  // centre, px (pixel (x, y) has its centre at (x, y))
  float radius = 0.5f;
  float strength = 1.0f;  // the largest share of the splat's colour, 0..1

  // Rows y with some coverage: first_row() .. last_row(), possibly outside the frame.
  int32_t first_row() const { return static_cast<int32_t>(std::floor(y - radius - 0.5f)) + 1; }
  int32_t last_row() const { return static_cast<int32_t>(std::ceil(y + radius + 0.5f)) - 1; }
};

// Calls blend(x, share) for every pixel x of row y (0 <= x < width) that the splat covers,
// share = coverage x strength, in increasing x.
template <typename Blend>
void ForEachSplatPixel(const Splat& s, int32_t y, int32_t width, Blend&& blend) {
  const float dy = static_cast<float>(y) - s.y;
  const float reach = s.radius + 0.5f;
  if (std::fabs(dy) >= reach) return;
  const float half = std::sqrt(reach * reach - dy * dy);
  const int32_t x0 = std::max(0, static_cast<int32_t>(std::floor(s.x - half)) + 1);
  const int32_t x1 = std::min(width - 1, static_cast<int32_t>(std::ceil(s.x + half)) - 1);
  for (int32_t x = x0; x <= x1; ++x) {
    const float dx = static_cast<float>(x) - s.x;
    const float coverage = std::clamp(reach - std::sqrt(dx * dx + dy * dy), 0.0f, 1.0f);
    if (coverage > 0.0f) blend(x, coverage * s.strength);
  }
}

// The same for a vertical streak centred on column `centre` with half width `half_width`:
// blend(x, coverage x strength) for the columns it covers on any row.
template <typename Blend>
void ForEachStreakPixel(float centre, float half_width, float strength, int32_t width, Blend&& blend) {
  const float reach = half_width + 0.5f;
  const int32_t x0 = std::max(0, static_cast<int32_t>(std::floor(centre - reach)) + 1);
  const int32_t x1 = std::min(width - 1, static_cast<int32_t>(std::ceil(centre + reach)) - 1);
  for (int32_t x = x0; x <= x1; ++x) {
    const float coverage = std::clamp(reach - std::fabs(static_cast<float>(x) - centre), 0.0f, 1.0f);
    if (coverage > 0.0f) blend(x, coverage * strength);
  }
}

}  // namespace tessfx
