#include "filters/channel.h"

#include <algorithm>
#include <array>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Applies a 256-entry table to every sample of the plane.
void ApplyTable(uint8_t* plane, int32_t width, int32_t height, const std::array<uint8_t, 256>& table) {
  if (width < 0 || height < 0) return;
  const int32_t stride = width + 1;
  ForEachRowBand(0, height + 1, stride, [&](int32_t y0, int32_t y1) {
    uint8_t* p = plane + int64_t{y0} * stride;
    const int64_t n = int64_t{y1 - y0} * stride;
    for (int64_t i = 0; i < n; ++i) p[i] = table[p[i]];
  });
}

}  // namespace

void FastChannelMultiply(uint8_t* plane, int32_t width, int32_t height, float factor) {
  std::array<uint8_t, 256> t{};
  for (int i = 0; i < 256; ++i) t[i] = RoundToByteF(static_cast<float>(i) * factor);
  ApplyTable(plane, width, height, t);
}

void FastChannelAdd(uint8_t* plane, int32_t width, int32_t height, int32_t offset) {
  std::array<uint8_t, 256> t{};
  for (int i = 0; i < 256; ++i) t[i] = ClampByte(i + std::clamp(offset, -512, 512));
  ApplyTable(plane, width, height, t);
}

}  // namespace tessfx
