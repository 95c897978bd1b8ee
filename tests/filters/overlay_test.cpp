// The alpha composite: the mix by alpha / 255 rounded, and rows that are wholly selected
// or unselected taking their short cut to the same bytes.
#include <gtest/gtest.h>

#include <cmath>

#include "effects/test_frame.h"
#include "filters/overlay.h"

namespace tessfx {
namespace {

using testing::Make;
using testing::Noise;

TEST(Overlay, MixesByAlphaRoundedToNearest) {
  for (int e = 0; e < 256; e += 5)
    for (int o = 0; o < 256; o += 3)
      for (int a = 0; a < 256; ++a) {
        const double exact = (o * (255.0 - a) + e * a) / 255.0;
        ASSERT_EQ(AlphaMix(e, o, a), static_cast<int>(std::floor(exact + 0.5))) << e << " " << o << " " << a;
      }
}

TEST(Overlay, UniformRowsGiveTheSameBytesAsMixedOnes) {
  const int32_t w = 300, h = 260;
  // Rows of alpha 255, rows of alpha 0 and mixed rows, one 255 row with a single 254.
  const Plane alpha = Make(w, h, [](int32_t y, int32_t x) -> uint8_t {
    if (y % 3 == 0) return 255;
    if (y % 3 == 1) return y == 100 && x == 17 ? 1 : 0;
    return static_cast<uint8_t>((x * 7 + y) & 0xff);
  });
  const Plane host = Noise(w, h, 1), effect = Noise(w, h, 2);
  Plane r = effect.Clone(), g = effect.Clone(), b = effect.Clone();
  Overlay_b(r.data(), g.data(), b.data(), host.data(), host.data(), host.data(), alpha.data(), 0, w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) {
      const uint8_t expected = (y < h && x < w) ? AlphaMix(effect[y][x], host[y][x], alpha[y][x]) : effect[y][x];
      ASSERT_EQ(r[y][x], expected) << y << "," << x;
      ASSERT_EQ(b[y][x], expected) << y << "," << x;
    }
}

}  // namespace
}  // namespace tessfx
