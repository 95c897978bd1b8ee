#pragma once
// A linear mix of the working planes with a second image (the swap planes): with
// m = level / 255 and k = 1 - m, both single precision, work = work * k + other * m,
// rounded half to even, over every sample of the planes, the extra row and column included.
// Level 0 keeps the working planes, 255 gives the other image.
#include <cstdint>

namespace tessfx {

void MixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
               const uint8_t* other_b, int32_t width, int32_t height, float level);

}  // namespace tessfx
