#include "filters/mix.h"

#include <array>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {

void MixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
               const uint8_t* other_b, int32_t width, int32_t height, float level) {
  if (width < 0 || height < 0) return;
  const float m = level / 255.0f;
  const float k = 1.0f - m;
  if (m == 0.0f) return;  // work * 1 + other * 0 is the working sample itself
  // The products of every sample value, once per call: the sum per sample is then exact
  // to the same float arithmetic without a multiply.
  std::array<float, 256> kk{}, mm{};
  for (int i = 0; i < 256; ++i) {
    kk[i] = static_cast<float>(i) * k;
    mm[i] = static_cast<float>(i) * m;
  }
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height + 1, stride * 3, [&](int32_t y0, int32_t y1) {
    const int64_t o = y0 * stride, n = (y1 - y0) * stride;
    uint8_t* work[3] = {work_r + o, work_g + o, work_b + o};
    const uint8_t* other[3] = {other_r + o, other_g + o, other_b + o};
    for (int c = 0; c < 3; ++c)
      for (int64_t i = 0; i < n; ++i) work[c][i] = RoundToByteF(kk[work[c][i]] + mm[other[c][i]]);
  });
}

}  // namespace tessfx
