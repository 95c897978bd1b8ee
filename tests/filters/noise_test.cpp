// Value noise, colour noise and jitter: amounts, reach, and reproducibility by frame and
// position whatever the order, the frame size and the thread count.
#include <gtest/gtest.h>

#include <set>

#include "planes.h"
#include "filters/noise.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;

using NoiseFilter = void (*)(RgbView, ConstPlaneView, uint8_t, int32_t, int32_t);

// A flat frame and its alpha plane, for the noise filters.
struct Rgba {
  Rgba(int32_t w, int32_t h, uint8_t v, uint8_t alpha = 255)
      : r(Flat(w, h, v)), g(Flat(w, h, v)), b(Flat(w, h, v)), a(Flat(w, h, alpha)) {}
  Rgba& Apply(NoiseFilter filter, uint8_t flag, int32_t amount, int32_t frame) {
    filter({r.view(), g.view(), b.view()}, a.view(), flag, amount, frame);
    return *this;
  }
  Plane r, g, b, a;
};

TEST(Noise, OffsetsSpanHalfTheAmountTogetherOrPerChannel) {
  for (auto [filter, together] :
       {std::pair{NoiseFilter{ApplyValueNoise}, true}, std::pair{NoiseFilter{ApplyColorNoise}, false}}) {
    Rgba p(64, 40, 128);
    p.Apply(filter, 0, 100, 5);
    std::set<int> offsets;
    int differ = 0;
    for (int32_t y = 0; y < 40; ++y)
      for (int32_t x = 0; x < 64; ++x) {
        offsets.insert({p.r[y][x] - 128, p.b[y][x] - 128});
        differ += p.r[y][x] != p.g[y][x] || p.g[y][x] != p.b[y][x];
      }
    EXPECT_EQ((std::pair{*offsets.begin(), *offsets.rbegin()}), (std::pair{-50, 50}));
    EXPECT_GT(offsets.size(), 90u);
    EXPECT_TRUE(together ? differ == 0 : differ > 64 * 40 * 9 / 10) << differ;
    EXPECT_EQ(p.r[40][3], 128);  // extra row untouched
  }
}

TEST(Noise, EachFrameIsReproducibleByPositionAndFramesDiffer) {
  auto render = [](int32_t frame, size_t threads, int32_t w, int32_t h) {
    return testing::WithThreads(threads, [&] {
      Rgba p(w, h, 100);
      return p.Apply(ApplyColorNoise, 0, 255, frame).b.Clone();
    });
  };
  const Plane f7 = render(7, 1, 500, 300);
  EXPECT_NE(render(8, 1, 500, 300), f7);
  EXPECT_EQ(render(7, 4, 500, 300), f7);
  const Plane small = render(7, 1, 37, 20);  // the same noise at the same positions
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 37; ++x) ASSERT_EQ(small[y][x], f7[y][x]) << y << "," << x;
}

TEST(Jitter, TakesWholePixelsFromWithinReach) {
  const int32_t w = 50, h = 40;
  // Red holds the column, green the row: the result shows where each pixel came from.
  const Plane col = Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x; });
  const Plane row = Make(w, h, [](int32_t y, int32_t) -> uint8_t { return y; });
  const Plane alpha = Flat(w, h, 255);
  for (auto [amount, reach] : {std::pair{0, 0}, std::pair{1, 1}, std::pair{35, 4}, std::pair{100, 10}}) {
    Plane r(w, h), g(w, h), b(w, h);
    FastJitter({r.view(), g.view(), b.view()}, {col.view(), row.view(), row.view()}, alpha.view(), amount, 0, 2);
    int moved = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        ASSERT_TRUE(std::abs(r[y][x] - x) <= reach && std::abs(g[y][x] - y) <= reach) << amount;
        ASSERT_EQ(g[y][x], b[y][x]);
        moved += (r[y][x] != x || g[y][x] != y) ? 1 : 0;
      }
    EXPECT_EQ(moved > 0, amount > 0) << amount;
  }
}

}  // namespace
}  // namespace tessfx
