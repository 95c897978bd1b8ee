#include "filters/channel.h"

#include <algorithm>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Plain loops over runs of samples that vectorise; cloned for AVX2 where available. Each
// sample's result is what a 256-entry table of the same formula would hold.
[[gnu::target_clones("avx2", "default")]] void MultiplyRun(uint8_t* p, int64_t n, float factor) {
  for (int64_t i = 0; i < n; ++i) p[i] = RoundToByteF(static_cast<float>(p[i]) * factor);
}

[[gnu::target_clones("avx2", "default")]] void AddRun(uint8_t* p, int64_t n, int32_t offset) {
  for (int64_t i = 0; i < n; ++i) p[i] = ClampByte(p[i] + offset);
}

// Runs body(first, count) over the whole plane, extra row and column included.
template <typename Body>
void ForEachRun(int32_t width, int32_t height, Body&& body) {
  if (width < 0 || height < 0) return;
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height + 1, stride,
                 [&](int32_t y0, int32_t y1) { body(int64_t{y0} * stride, int64_t{y1 - y0} * stride); });
}

}  // namespace

void FastChannelMultiply(uint8_t* plane, int32_t width, int32_t height, float factor) {
  ForEachRun(width, height, [&](int64_t o, int64_t n) { MultiplyRun(plane + o, n, factor); });
}

void FastChannelAdd(uint8_t* plane, int32_t width, int32_t height, int32_t offset) {
  // Beyond +-512 every sample clamps the same way.
  const int32_t clamped = std::clamp(offset, -512, 512);
  ForEachRun(width, height, [&](int64_t o, int64_t n) { AddRun(plane + o, n, clamped); });
}

}  // namespace tessfx
