#pragma once
// Per-channel gain and offset, in place over every sample of one plane (extra row and
// column included), clamped to 0..255.
#include <cstdint>

namespace tessfx {

void FastChannelMultiply(uint8_t* plane, int32_t width, int32_t height, float factor);
void FastChannelAdd(uint8_t* plane, int32_t width, int32_t height, int32_t offset);

}  // namespace tessfx
