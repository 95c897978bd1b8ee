#include "filters/level_mix.h"

#include <array>
#include <cmath>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {

void LevelMixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
                    const uint8_t* host_b, int32_t width, int32_t height, float level) {
  if (width < 0 || height < 0) return;
  const float w = level / 255.0f;
  const float u = 1.0f - w;
  if (w == 1.0f) return;  // working * 1 + host * 0 is the working sample itself
  // Each output depends only on the two input samples: a 256 x 256 table of results is
  // exact and far cheaper than float arithmetic per sample.
  std::array<float, 256> ww{}, uu{};
  for (int i = 0; i < 256; ++i) {
    ww[i] = static_cast<float>(i) * w;
    uu[i] = static_cast<float>(i) * u;
  }
  const int32_t stride = width + 1;
  ForEachRowBand(0, height + 1, int64_t{stride} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int64_t o = int64_t{y} * stride;
      uint8_t* planes[3] = {work_r + o, work_g + o, work_b + o};
      const uint8_t* hosts[3] = {host_r + o, host_g + o, host_b + o};
      for (int c = 0; c < 3; ++c) {
        uint8_t* wp = planes[c];
        const uint8_t* hp = hosts[c];
        for (int32_t x = 0; x < stride; ++x) wp[x] = RoundToByteF(ww[wp[x]] + uu[hp[x]]);
      }
    }
  });
}

}  // namespace tessfx
