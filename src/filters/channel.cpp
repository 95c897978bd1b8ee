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

// Adding up to 255 clamped, or taking away up to 255 clamped, stays in bytes: the sample
// is first limited so that the sum cannot leave 0..255 (the same as ClampByte of the sum).
[[gnu::target_clones("avx2", "default")]] void AddRun(uint8_t* p, int64_t n, uint8_t add) {
  const uint8_t limit = 255 - add;
  for (int64_t i = 0; i < n; ++i) p[i] = std::min(p[i], limit) + add;
}

[[gnu::target_clones("avx2", "default")]] void SubtractRun(uint8_t* p, int64_t n, uint8_t take) {
  for (int64_t i = 0; i < n; ++i) p[i] = std::max(p[i], take) - take;
}

}  // namespace

void FastChannelMultiply(PlaneView plane, float factor) {
  ForEachSampleRun(plane, 1, [&](int64_t o, int64_t n) { MultiplyRun(plane.data + o, n, factor); });
}

void FastChannelAdd(PlaneView plane, int32_t offset) {
  // Beyond +-255 every sample clamps the same way.
  const int32_t clamped = std::clamp(offset, -255, 255);
  const uint8_t amount = ClampByte(clamped < 0 ? -clamped : clamped);
  if (clamped >= 0)
    ForEachSampleRun(plane, 1, [&](int64_t o, int64_t n) { AddRun(plane.data + o, n, amount); });
  else
    ForEachSampleRun(plane, 1, [&](int64_t o, int64_t n) { SubtractRun(plane.data + o, n, amount); });
}

}  // namespace tessfx
