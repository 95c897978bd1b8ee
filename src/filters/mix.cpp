#include "filters/mix.h"

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

void MixRow(uint8_t* work, const uint8_t* other, int64_t n, float k, float m) {
  for (int64_t i = 0; i < n; ++i) {
    const float a = work[i], b = other[i];
    work[i] = RoundToByteF(a * k + b * m);
  }
}

}  // namespace

void MixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
               const uint8_t* other_b, int32_t width, int32_t height, float level) {
  if (width < 0 || height < 0) return;
  const float m = level / 255.0f;
  const float k = 1.0f - m;
  if (m == 0.0f) return;  // work * 1 + other * 0 is the working sample itself
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height + 1, stride * 3, [&](int32_t y0, int32_t y1) {
    const int64_t o = y0 * stride, n = (y1 - y0) * stride;
    MixRow(work_r + o, other_r + o, n, k, m);
    MixRow(work_g + o, other_g + o, n, k, m);
    MixRow(work_b + o, other_b + o, n, k, m);
  });
}

}  // namespace tessfx
