#pragma once
// Per-channel gain and offset, in place over every sample of one plane (extra row and
// column included), clamped to 0..255.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

void FastChannelMultiply(PlaneView plane, float factor);
void FastChannelAdd(PlaneView plane, int32_t offset);

// dst = 255 - src over a run of n samples.
void InvertRun(const uint8_t* src, uint8_t* dst, int64_t n);

}  // namespace tessfx
