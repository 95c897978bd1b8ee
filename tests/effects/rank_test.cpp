// Cross rank effects: which passes each runs, and in what order (the passes are tested with the filters).
#include <gtest/gtest.h>

#include "effects/effect_rig.h"

namespace tessfx {
namespace {

using Picture = std::vector<std::string>;

// Runs the effect on a w x h black frame with one white pixel at (py, px), in every
// channel, and draws its red plane ('#' white, '.' black) over the frame.
Picture WhitePixel(const char* effect, int32_t w, int32_t h, int32_t py, int32_t px) {
  const auto pixel = [=](int, int32_t x, int32_t y) -> uint8_t { return y == py && x == px ? 255 : 0; };
  testing::EffectRig rig(testing::MakeRgba(w, h, pixel));
  const Plane& red = rig.Run(effect).work().r;
  Picture rows(static_cast<size_t>(h), std::string(static_cast<size_t>(w), '.'));
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) rows[y][x] = red[y][x] ? '#' : '.';
  return rows;
}

TEST(CrossRank, SingleWhitePixel) {
  // The opening and the minimum lose the pixel; the closing keeps it alone.
  EXPECT_EQ(WhitePixel("Maximize", 6, 5, 2, 3), (Picture{"......", "...#..", "..###.", "...#..", "......"}));
  EXPECT_EQ(WhitePixel("MinMax", 6, 5, 2, 3), Picture(5, "......"));
  EXPECT_EQ(WhitePixel("MaxMin", 6, 5, 2, 3), (Picture{"......", "......", "...#..", "......", "......"}));
  EXPECT_EQ(WhitePixel("Minimize", 6, 5, 2, 3), Picture(5, "......"));
}

}  // namespace
}  // namespace tessfx
