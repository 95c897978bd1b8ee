#pragma once
// Colour and tone adjustments.
#include "host/image_state.h"

namespace tessfx {

// Adds the rounded offsets to working R, G, B, then composites.
void FxColorAdd(ImageState& s, float red, float green, float blue);

}  // namespace tessfx
