#include "filters/overlay.h"

#include "filters/parallel.h"

namespace tessfx {

void Overlay_b(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r, const uint8_t* host_g,
               const uint8_t* host_b, const uint8_t* host_a, uint8_t /*flag*/, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height, width * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int64_t o = y * stride;
      uint8_t* wr = work_r + o;
      uint8_t* wg = work_g + o;
      uint8_t* wb = work_b + o;
      const uint8_t* hr = host_r + o;
      const uint8_t* hg = host_g + o;
      const uint8_t* hb = host_b + o;
      const uint8_t* ha = host_a + o;
      // Plain loop over bytes: the compiler vectorises it.
      for (int32_t x = 0; x < width; ++x) {
        const uint32_t a = ha[x], na = 255 - a;
        wr[x] = static_cast<uint8_t>((hr[x] * na + wr[x] * a + 127) / 255);
        wg[x] = static_cast<uint8_t>((hg[x] * na + wg[x] * a + 127) / 255);
        wb[x] = static_cast<uint8_t>((hb[x] * na + wb[x] * a + 127) / 255);
      }
    }
  });
}

}  // namespace tessfx
