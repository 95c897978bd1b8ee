#pragma once
// The 3 x 3 median, per channel, of the working planes in place (rows 0..height-1, columns
// 0..width-1). Outside the frame the nearest frame sample is repeated; the input is always
// the working planes as they were on entry.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

void FastMedian(RgbView work);

}  // namespace tessfx
