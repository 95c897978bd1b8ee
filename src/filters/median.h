#pragma once
// The 3 x 3 median, per channel, of the working planes in place (rows 0..height-1, columns
// 0..width-1). Outside the frame the nearest frame sample is repeated; the input is always
// the working planes as they were on entry.
#include <cstdint>

namespace tessfx {

void FastMedian(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, int32_t width, int32_t height);

}  // namespace tessfx
