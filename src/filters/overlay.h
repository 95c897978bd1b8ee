#pragma once
// The alpha composite: the effect result in the working planes is mixed with the untouched
// frame by the alpha plane, per sample: work = (host * (255 - a) + work * a + 127) / 255,
// which equals the linear mix by a / 255 rounded half to even (255 is odd, so no exact
// ties occur). Runs over the frame's width x height samples; `flag` is the alpha-bits flag,
// which the callers always pass as 0.
#include <cstdint>

namespace tessfx {

void Overlay_b(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
               const uint8_t* host_b, const uint8_t* host_a, uint8_t flag, int32_t width, int32_t height);

// One sample of the mix above.
inline uint8_t AlphaMix(uint8_t effect, uint8_t original, uint8_t alpha) {
  return static_cast<uint8_t>((original * (255 - alpha) + effect * alpha + 127) / 255);
}

}  // namespace tessfx
