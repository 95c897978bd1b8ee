#include "filters/overlay.h"

#include <algorithm>
#include <cstring>

#include "filters/parallel.h"

namespace tessfx {
namespace {

void OverlayRow(uint8_t* work, const uint8_t* host, const uint8_t* alpha, int32_t width) {
  for (int32_t x = 0; x < width; ++x) work[x] = AlphaMix(work[x], host[x], alpha[x]);
}

// The smallest and largest alpha of a row: rows that are wholly selected (255: the effect
// stays) or wholly unselected (0: the frame comes back) need no arithmetic.
void AlphaRange(const uint8_t* alpha, int32_t width, uint8_t& lo, uint8_t& hi) {
  uint8_t mn = 255, mx = 0;
  for (int32_t x = 0; x < width; ++x) {
    mn = std::min(mn, alpha[x]);
    mx = std::max(mx, alpha[x]);
  }
  lo = mn;
  hi = mx;
}

}  // namespace

void Overlay_b(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
               const uint8_t* host_b, const uint8_t* host_a, uint8_t /*flag*/, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height, width * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int64_t o = y * stride;
      uint8_t lo, hi;
      AlphaRange(host_a + o, width, lo, hi);
      if (lo == 255) continue;
      if (hi == 0) {
        std::memcpy(work_r + o, host_r + o, static_cast<size_t>(width));
        std::memcpy(work_g + o, host_g + o, static_cast<size_t>(width));
        std::memcpy(work_b + o, host_b + o, static_cast<size_t>(width));
        continue;
      }
      // One plane at a time: few pointers per loop, so the loop vectorises.
      OverlayRow(work_r + o, host_r + o, host_a + o, width);
      OverlayRow(work_g + o, host_g + o, host_a + o, width);
      OverlayRow(work_b + o, host_b + o, host_a + o, width);
    }
  });
}

}  // namespace tessfx
