// FastMedian against a sort of each 3 x 3 neighbourhood, on frames spanning several bands.
#include <gtest/gtest.h>

#include <algorithm>

#include "effects/test_frame.h"
#include "filters/median.h"

namespace tessfx {
namespace {

using testing::Noise;

uint8_t SortedMedian(const Plane& p, int32_t y, int32_t x) {
  uint8_t v[9];
  for (int i = 0; i < 9; ++i)
    v[i] = p[std::clamp(y + i / 3 - 1, 0, p.height() - 1)][std::clamp(x + i % 3 - 1, 0, p.width() - 1)];
  std::nth_element(v, v + 4, v + 9);
  return v[4];
}

TEST(FastMedian, EqualsTheSortedMiddleOfNine) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{3, 2}, std::pair{17, 65}, std::pair{400, 200}}) {
    Plane r = Noise(w, h, 1), g = Noise(w, h, 2), b = Noise(w, h, 3);
    const Plane r0 = r.Clone(), g0 = g.Clone(), b0 = b.Clone();
    FastMedian(r.data(), g.data(), b.data(), w, h);
    for (int32_t y = 0; y <= h; ++y)
      for (int32_t x = 0; x <= w; ++x) {
        const bool frame = y < h && x < w;
        ASSERT_EQ(r[y][x], frame ? SortedMedian(r0, y, x) : r0[y][x]) << w << "x" << h << " " << y << "," << x;
        ASSERT_EQ(g[y][x], frame ? SortedMedian(g0, y, x) : g0[y][x]);
        ASSERT_EQ(b[y][x], frame ? SortedMedian(b0, y, x) : b0[y][x]);
      }
  }
}

TEST(FastMedian, SameOnAnyNumberOfThreads) {
  auto run = [](size_t threads) {
    return testing::WithThreads(threads, [] {
      Plane r = Noise(700, 300, 8), g = Noise(700, 300, 9), b = Noise(700, 300, 10);
      FastMedian(r.data(), g.data(), b.data(), 700, 300);
      return r.Clone();
    });
  };
  EXPECT_EQ(run(1), run(3));
}

}  // namespace
}  // namespace tessfx
