#pragma once
// The alpha composite: the effect result in the working planes is mixed with the untouched
// frame by the alpha plane, per sample: work = (host * (255 - a) + work * a + 127) / 255,
// which equals the linear mix by a / 255 rounded half to even (255 is odd, so no exact
// ties occur). Runs over the frame's width x height samples; `flag` is the alpha-bits flag,
// which the callers always pass as 0.
#include <cstdint>

#include "core/convert.h"

namespace tessfx {

void Overlay_b(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
               const uint8_t* host_b, const uint8_t* host_a, uint8_t flag, int32_t width, int32_t height);

// One sample of the mix above. The sum is at most 255 * 255 + 127, so it is held in 16 bits,
// where the division by 255 vectorises (in 32 bits it would not).
inline uint8_t AlphaMix(uint8_t effect, uint8_t original, uint8_t alpha) {
  const uint16_t keep = 255 - alpha;
  const uint16_t sum = original * keep + effect * alpha + 127;
  return ClampByte(sum / 255);
}

}  // namespace tessfx
