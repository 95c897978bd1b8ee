// FastMedian against a sort of each 3 x 3 neighbourhood, on frames spanning several bands,
// on one thread and on several.
#include <gtest/gtest.h>

#include <algorithm>

#include "planes.h"
#include "filters/median.h"

namespace tessfx {
namespace {

using testing::Noise;

// Each frame sample replaced by the sorted middle of its 3 x 3 neighbourhood, edges
// repeated; the extra row and column are left.
Plane SortedMedians(const Plane& p) {
  return testing::Make(p.width(), p.height(), [&](int32_t y, int32_t x) -> uint8_t {
    if (y == p.height() || x == p.width()) return p[y][x];
    uint8_t v[9];
    for (int i = 0; i < 9; ++i)
      v[i] = p[std::clamp(y + i / 3 - 1, 0, p.height() - 1)][std::clamp(x + i % 3 - 1, 0, p.width() - 1)];
    std::nth_element(v, v + 4, v + 9);
    return v[4];
  });
}

TEST(FastMedian, EqualsTheSortedMiddleOfNineWithEdgesRepeated) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{3, 2}, std::pair{17, 65}, std::pair{400, 200}})
    for (size_t threads : {1, 3}) {
      Plane r = Noise(w, h, 1), g = Noise(w, h, 2), b = Noise(w, h, 3);
      testing::WithThreads(threads, [&] { FastMedian({r.view(), g.view(), b.view()}); return 0; });
      EXPECT_TRUE(r == SortedMedians(Noise(w, h, 1)) && g == SortedMedians(Noise(w, h, 2)) &&
                  b == SortedMedians(Noise(w, h, 3)))
          << w << "x" << h << " on " << threads << " threads";
    }
}

}  // namespace
}  // namespace tessfx
