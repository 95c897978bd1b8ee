// Colour looks: worked pixels on rows of different weights, and the fog's clamp.
#include <gtest/gtest.h>

#include "effects/test_frame.h"

namespace tessfx {
namespace {

TEST(ColourLooks, WorkedPixelsOnRowsZeroAndTwo) {
  // On height 4, row 0 has the weights t = 0, u = 1 and row 2 has t = u = 0.5.
  struct Case {
    const char* name;
    uint8_t in[3];
    int row0[3], row2[3];
  };
  const Case cases[] = {
      // lum = 105: the half-way mixes 102.5 and 152.5 round to even.
      {"Day for night", {100, 200, 50}, {51, 94, 55}, {56, 105, 60}},
      {"Day for night", {255, 255, 255}, {128, 158, 178}, {140, 176, 196}},  // 127.5 to even; 0.7 x 255 < 178.5
      {"Sunset filter", {100, 200, 50}, {100, 120, 20}, {100, 160, 35}},
      {"Fog filter", {100, 200, 50}, {100, 200, 50}, {122, 176, 120}},    // mean 116 (truncated), fog 190
      {"Fog filter", {255, 255, 255}, {255, 255, 255}, {224, 230, 255}},  // fog 398 clamps to 255
  };
  for (const Case& c : cases) {
    testing::TestFrame f(testing::FlatRgba(3, 4, c.in[0], c.in[1], c.in[2]));
    const ImageState& s = f.Run(c.name);
    for (auto [y, out] : {std::pair{0, c.row0}, std::pair{2, c.row2}})
      EXPECT_TRUE(s.work_r[y][2] == out[0] && s.work_g[y][2] == out[1] && s.work_b[y][2] == out[2])
          << c.name << " row " << y << ": " << +s.work_r[y][2] << "," << +s.work_g[y][2] << "," << +s.work_b[y][2];
    // The extra row and column keep the frame.
    EXPECT_TRUE(s.work_g[4][1] == c.in[1] && s.work_b[2][3] == c.in[2]) << c.name;
  }
}

}  // namespace
}  // namespace tessfx
