// Value noise, colour noise and jitter: amounts, the alpha guard, and reproducibility by
// frame whatever the order and the thread count.
#include <gtest/gtest.h>

#include <set>

#include "effects/test_frame.h"
#include "filters/noise.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Noise;

struct Rgba {
  Rgba(int32_t w, int32_t h, uint8_t v, uint8_t alpha = 255)
      : r(Flat(w, h, v)), g(Flat(w, h, v)), b(Flat(w, h, v)), a(Flat(w, h, alpha)) {}
  Plane r, g, b, a;
};

TEST(Noise, ValueNoiseMovesTheThreeChannelsTogetherWithinTheAmount) {
  Rgba p(64, 40, 128);
  ApplyValueNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 0, 64, 40, 100, 5);
  std::set<int> offsets;
  for (int32_t y = 0; y < 40; ++y)
    for (int32_t x = 0; x < 64; ++x) {
      ASSERT_EQ(p.r[y][x], p.g[y][x]);
      ASSERT_EQ(p.g[y][x], p.b[y][x]);
      offsets.insert(p.r[y][x] - 128);
    }
  EXPECT_EQ(*offsets.begin(), -50);
  EXPECT_EQ(*offsets.rbegin(), 50);
  EXPECT_GT(offsets.size(), 90u);
  EXPECT_EQ(p.r[40][3], 128);  // extra row untouched
}

TEST(Noise, ColourNoiseMovesEachChannelOnItsOwn) {
  Rgba p(64, 40, 128);
  ApplyColorNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 1, 64, 40, 255, 0);
  int differ = 0;
  for (int32_t y = 0; y < 40; ++y)
    for (int32_t x = 0; x < 64; ++x) differ += p.r[y][x] != p.g[y][x] ? 1 : 0;
  EXPECT_GT(differ, 64 * 40 * 9 / 10);
}

TEST(Noise, ZeroAmountAndUnselectedPixelsAreLeftAlone) {
  Rgba p(30, 20, 90);
  ApplyValueNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 0, 30, 20, 1, 3);  // half of 1 is 0
  ApplyColorNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 0, 30, 20, 0, 3);
  EXPECT_EQ(p.r, Flat(30, 20, 90));
  p.a = Make(30, 20, [](int32_t, int32_t x) -> uint8_t { return x < 15 ? 0 : 255; });
  ApplyColorNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 0, 30, 20, 200, 3);
  int changed_right = 0;
  for (int32_t y = 0; y < 20; ++y) {
    for (int32_t x = 0; x < 15; ++x) ASSERT_EQ(p.g[y][x], 90);
    for (int32_t x = 15; x < 30; ++x) changed_right += p.g[y][x] != 90 ? 1 : 0;
  }
  EXPECT_GT(changed_right, 250);
  // With a non-zero flag the alpha plane does not guard.
  ApplyValueNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 1, 30, 20, 200, 3);
  int changed_left = 0;
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 15; ++x) changed_left += p.r[y][x] != 90 ? 1 : 0;
  EXPECT_GT(changed_left, 250);
}

TEST(Noise, FramesAreReproducibleAndDiffer) {
  auto render = [](int32_t frame, size_t threads) {
    return testing::WithThreads(threads, [&] {
      Rgba p(500, 300, 100);
      ApplyColorNoise(p.r.data(), p.g.data(), p.b.data(), p.a.data(), 0, 500, 300, 255, frame);
      return p.b.Clone();
    });
  };
  const Plane f7 = render(7, 1);
  EXPECT_NE(render(8, 1), f7);
  EXPECT_EQ(render(7, 4), f7);
  EXPECT_EQ(render(7, 2), f7);
}

TEST(Jitter, TakesPixelsFromWithinReach) {
  const int32_t w = 50, h = 40;
  // Red holds the column, green the row: the result shows where each pixel came from.
  const Plane col = Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x; });
  const Plane row = Make(w, h, [](int32_t y, int32_t) -> uint8_t { return y; });
  const Plane alpha = Flat(w, h, 255);
  for (int32_t amount : {0, 1, 35, 100}) {
    const int32_t reach = (amount + 9) / 10;
    Plane r(w, h), g(w, h), b(w, h);
    FastJitter(r.data(), g.data(), b.data(), alpha.data(), w, h, col.data(), row.data(), row.data(), amount, 0, 2);
    int moved = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        ASSERT_LE(std::abs(r[y][x] - x), reach);
        ASSERT_LE(std::abs(g[y][x] - y), reach);
        ASSERT_EQ(g[y][x], b[y][x]);  // whole pixels move
        moved += (r[y][x] != x || g[y][x] != y) ? 1 : 0;
      }
    EXPECT_EQ(moved > 0, amount > 0) << amount;
  }
}

TEST(Jitter, AlphaZeroKeepsTheWorkingPixel) {
  const int32_t w = 20, h = 10;
  const Plane src = Noise(w, h, 4), alpha = Flat(w, h, 0);
  Plane r = Flat(w, h, 1), g = Flat(w, h, 1), b = Flat(w, h, 1);
  FastJitter(r.data(), g.data(), b.data(), alpha.data(), w, h, src.data(), src.data(), src.data(), 100, 0, 0);
  EXPECT_EQ(r, Flat(w, h, 1));
  FastJitter(r.data(), g.data(), b.data(), alpha.data(), w, h, src.data(), src.data(), src.data(), 100, 3, 0);
  EXPECT_NE(r, Flat(w, h, 1));
}

}  // namespace
}  // namespace tessfx
