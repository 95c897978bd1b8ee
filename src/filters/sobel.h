#pragma once
// Sobel edge strength of a plane: the 3 x 3 Sobel derivatives across and down, with the
// plane's edge samples repeated beyond the frame, combined into the gradient's length.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// out = round(sqrt(gx^2 + gy^2) / 4) clamped to 255 over the frame's width x height samples,
// where gx, gy are the Sobel sums of `in` (each at most 4 x 255, so a step from 0 to 255
// gives 255 on the two pixels beside it). The extra row and column of `out` are left as
// they are; `out` must not be `in`.
void SobelMagnitude(PlaneView out, ConstPlaneView in);

}  // namespace tessfx
