#include "filters/mix.h"

#include "filters/level_mix.h"

namespace tessfx {

void MixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
               const uint8_t* other_b, int32_t width, int32_t height, float level) {
  const float m = level / 255.0f;
  BlendPlanes(work_r, work_g, work_b, other_r, other_g, other_b, width, height, 1.0f - m, m);
}

}  // namespace tessfx
