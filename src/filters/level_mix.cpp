#include "filters/level_mix.h"

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

void LevelMixRow(uint8_t* work, const uint8_t* host, int64_t n, float w, float u) {
  for (int64_t i = 0; i < n; ++i) {
    const float effect = work[i], frame = host[i];
    work[i] = RoundToByteF(effect * w + frame * u);
  }
}

}  // namespace

void LevelMixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
                    const uint8_t* host_b, int32_t width, int32_t height, float level) {
  if (width < 0 || height < 0) return;
  const float w = level / 255.0f;
  const float u = 1.0f - w;
  if (w == 1.0f) return;  // working * 1 + host * 0 is the working sample itself
  const int64_t stride = int64_t{width} + 1;
  // Each sample is two products and a sum in single precision, evaluated as written: a
  // plain loop over a band of rows vectorises (four samples per instruction).
  ForEachRowBand(0, height + 1, stride * 3, [&](int32_t y0, int32_t y1) {
    const int64_t o = y0 * stride, n = (y1 - y0) * stride;
    LevelMixRow(work_r + o, host_r + o, n, w, u);
    LevelMixRow(work_g + o, host_g + o, n, w, u);
    LevelMixRow(work_b + o, host_b + o, n, w, u);
  });
}

}  // namespace tessfx
