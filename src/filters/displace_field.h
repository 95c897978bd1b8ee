#pragma once
// Displacement by the slope of a height field: the luma of a second image, smoothed, is
// read as heights, and each pixel of the frame is taken from the source where the slope
// at that pixel points, bilinearly, with the frame's edge pixels repeated beyond it.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

struct SlopeDisplaceOptions {
  // The shift in pixels at the steepest point of a full-contrast (0 to 255) edge after
  // smoothing, whatever the smoothing; no shift is ever longer.
  float max_shift = 0.0f;
  // Standard deviation, in pixels, of the Gaussian smoothing of the heights (at least 0.5).
  float smoothing = 1.0f;
  // Turn of the shift against the uphill slope, in degrees: 0 takes pixels from uphill
  // (content bulges over bright bumps), 90 along the contour lines, 180 from downhill.
  float turn_degrees = 0.0f;
};

// work = source sampled at p + shift(p) for the frame's width x height pixels; the extra
// row and column are left as they are. Where the heights are flat the pixel is copied.
void SlopeDisplace(RgbView work, ConstRgbView source, ConstRgbView heights, const SlopeDisplaceOptions& options);

// Gaussian smoothing (three extended box passes per axis, image mirrored at the edges) of
// a width x height float image held row after row, in place. A flat image stays exactly
// flat. Exposed for tests.
void SmoothHeights(float* image, int32_t width, int32_t height, float sigma);

}  // namespace tessfx
