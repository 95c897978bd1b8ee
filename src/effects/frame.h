#pragma once
// The frame every effect routine shares: it reads the working planes (or the host planes,
// the untouched frame, where it says so), writes the working planes, never the host planes,
// and ends with the composite step unless its family skips it.
#include "host/image_state.h"

namespace tessfx {

// The composite step: when the alpha-bits flag is 0, Overlay_b mixes the effect result in
// the working planes with the untouched frame through the host alpha plane.
void CompositeStep(ImageState& s);

// True when the swap planes have the frame's size. The host hands them over at that size;
// routines that read them check it, so that a host that does not can never make them
// read outside the planes (they then leave the working planes as they are).
bool SwapFitsFrame(const ImageState& s);

// The level mix over the shared planes (working against host), level 0..255.
void LevelMix(ImageState& s, float level);

}  // namespace tessfx
