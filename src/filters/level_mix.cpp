#include "filters/level_mix.h"


#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {

namespace {

// Vectorises as written; cloned for AVX2 where available.
[[gnu::target_clones("avx2", "default")]] void MixRun(uint8_t* work, const uint8_t* host, int64_t n, float w,
                                                        float u) {
  for (int64_t i = 0; i < n; ++i)
    work[i] = RoundToByteF(static_cast<float>(work[i]) * w + static_cast<float>(host[i]) * u);
}

}  // namespace

void BlendPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* other_r, const uint8_t* other_g,
                 const uint8_t* other_b, int32_t width, int32_t height, float keep, float take) {
  if (width < 0 || height < 0) return;
  if (keep == 1.0f && take == 0.0f) return;  // work * 1 + other * 0 is the working sample itself
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height + 1, stride * 3, [&](int32_t y0, int32_t y1) {
    const int64_t o = int64_t{y0} * stride, n = int64_t{y1 - y0} * stride;
    MixRun(work_r + o, other_r + o, n, keep, take);
    MixRun(work_g + o, other_g + o, n, keep, take);
    MixRun(work_b + o, other_b + o, n, keep, take);
  });
}

void LevelMixPlanes(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
                    const uint8_t* host_b, int32_t width, int32_t height, float level) {
  const float w = level / 255.0f;
  BlendPlanes(work_r, work_g, work_b, host_r, host_g, host_b, width, height, w, 1.0f - w);
}

}  // namespace tessfx
