#pragma once
// Pieces of the adjustments that are worth checking on their own.
#include "filters/color.h"

namespace tessfx {

// The 256-entry tone table of "Value adjustment" for value, brightness, contrast and gamma
// (100 each is the middle of their sliders).
ToneTable ValueAdjustmentTable(float value, float brightness, float contrast, float gamma);

}  // namespace tessfx
