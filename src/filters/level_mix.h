#pragma once
// The level mix: blends the effect result in the working planes back with the untouched
// frame, work = work * w + host * (1 - w) with w = level / 255 in single precision, rounded
// half to even. Level 255 keeps the effect, level 0 restores the frame. Visits every
// sample of the planes, the extra row and column included.
#include <cstdint>

namespace tessfx {

void LevelMixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
                    const uint8_t* host_b, int32_t width, int32_t height, float level);

// work = work * keep + other * take per sample (single precision, rounded half to even),
// over every sample of the planes; the level mix and the swap mix are both this blend.
void BlendPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
                 const uint8_t* other_b, int32_t width, int32_t height, float keep, float take);

}  // namespace tessfx
