#pragma once
// A 3 x 3 convolution of the working planes, composited through the alpha plane.
#include <array>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// The nine weights row by row: [0..2] the row above (columns x-1, x, x+1), [3..5] the
// pixel's own row, [6..8] the row below.
using Kernel3x3 = std::array<float, 9>;

// What ConvolveAlpha's last argument selects (flags, combinable).
enum ConvolveMode : int32_t {
  kConvolvePlain = 0,   // each channel: weighted sum / divisor
  kConvolveOffset = 1,  // ... plus 128, for kernels whose weights sum to 0 (embossing)
  kConvolveGrey = 2,    // convolve the pixel's grey (Luma) and write it to all three channels
};

// For every frame pixel (rows 0..height-1, columns 0..width-1): acc = the weighted sum of
// the 3 x 3 neighbourhood of the working samples, added in weight order in single
// precision; v = acc / divisor (+ 128 with kConvolveOffset), rounded half to even and
// clamped to a byte. Outside the frame the nearest frame sample is repeated. When flag is
// 0 the result is mixed with the host sample through the host alpha (AlphaMix), otherwise
// it is stored as it is. The input is always the working planes as they were on entry.
// Returns 0, or -1 (nothing changed) for a zero divisor.
int32_t ConvolveAlpha(RgbView work, ConstRgbView host, ConstPlaneView alpha, uint8_t flag, const Kernel3x3& kernel,
                      float divisor, int32_t mode);

}  // namespace tessfx
