// The alpha composite: the mix by alpha / 255 rounded, and rows that are wholly selected
// or unselected taking their short cut to the same bytes.
#include <gtest/gtest.h>

#include "planes.h"
#include "filters/blend.h"

namespace tessfx {
namespace {

using testing::Make;
using testing::Noise;

TEST(Overlay, MixesByAlphaRoundedToNearest) {
  struct Case {
    uint8_t effect, original, alpha, out;
  };
  for (const Case& c : {Case{200, 100, 0, 100}, Case{200, 100, 255, 200}, Case{200, 100, 128, 150},
                        Case{1, 0, 128, 1},      // 0.502 rounds up
                        Case{0, 1, 128, 0},      // 0.498 rounds down
                        Case{0, 255, 1, 254}, Case{255, 0, 1, 1}, Case{255, 255, 77, 255}})
    EXPECT_EQ(AlphaMix(c.effect, c.original, c.alpha), c.out) << int{c.effect} << " " << int{c.original} << " "
                                                              << int{c.alpha};
}

TEST(Overlay, UniformRowsGiveTheSameBytesAsMixedOnes) {
  const int32_t w = 300, h = 260;
  // Rows of alpha 255, rows of alpha 0 and mixed rows; one 255 row with a single 254 and
  // one 0 row with a single 1.
  const Plane alpha = Make(w, h, [](int32_t y, int32_t x) -> uint8_t {
    if (y % 3 == 0) return y == 99 && x == 17 ? 254 : 255;
    if (y % 3 == 1) return y == 100 && x == 17 ? 1 : 0;
    return static_cast<uint8_t>((x * 7 + y) & 0xff);
  });
  const Plane host = Noise(w, h, 1), effect = Noise(w, h, 2);
  Plane r = effect.Clone(), g = effect.Clone(), b = effect.Clone();
  Overlay_b({r.view(), g.view(), b.view()}, {host.view(), host.view(), host.view()}, alpha.view(), 0);
  const Plane expected = Make(w, h, [&](int32_t y, int32_t x) -> uint8_t {
    return (y < h && x < w) ? AlphaMix(effect[y][x], host[y][x], alpha[y][x]) : effect[y][x];
  });
  EXPECT_TRUE(r == expected && g == expected && b == expected);
}

}  // namespace
}  // namespace tessfx
