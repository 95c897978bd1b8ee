// Cross rank filters: the five-point cross, the untouched row 0 and column 0, the two-pass
// order, and no composite.
#include <gtest/gtest.h>

#include "effects/rank.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Make;
using testing::TestFrame;

// A black frame with one white pixel at (py, px), in every channel.
TestFrame& WhitePixel(TestFrame& f, int32_t w, int32_t h, int32_t py, int32_t px) {
  const Plane p = Make(w, h, [=](int32_t y, int32_t x) -> uint8_t { return y == py && x == px ? 255 : 0; });
  f.SetFrame(p, p, p);
  f.host().set_alpha_bits(1);
  f.Fetch();
  return f;
}

// The white positions of a plane as text rows ('#' white, '.' black) over the frame.
std::vector<std::string> Picture(const Plane& p) {
  std::vector<std::string> rows;
  for (int32_t y = 0; y < p.height(); ++y) {
    std::string row;
    for (int32_t x = 0; x < p.width(); ++x) row += p[y][x] ? '#' : '.';
    rows.push_back(row);
  }
  return rows;
}

TEST(CrossRank, SingleWhitePixel) {
  TestFrame f(6, 5);
  WhitePixel(f, 6, 5, 2, 3);
  FxMaximize(f.image());
  EXPECT_EQ(Picture(f.image().work_r),
            (std::vector<std::string>{"......", "...#..", "..###.", "...#..", "......"}));
  WhitePixel(f, 6, 5, 2, 3);
  FxMinMax(f.image());
  EXPECT_EQ(Picture(f.image().work_g), (std::vector<std::string>(5, "......")));
  WhitePixel(f, 6, 5, 2, 3);
  FxMaxMin(f.image());
  EXPECT_EQ(Picture(f.image().work_b), (std::vector<std::string>{"......", "......", "...#..", "......", "......"}));
  WhitePixel(f, 6, 5, 2, 3);
  FxMinimize(f.image());
  EXPECT_EQ(Picture(f.image().work_b), (std::vector<std::string>(5, "......")));
}

TEST(CrossRank, RowZeroAndColumnZeroKeepTheFrame) {
  // A white pixel at (1, 1): the maximum cannot spread into row 0 or column 0, and the
  // minimum then sees their black samples, so the closing loses the pixel itself.
  TestFrame f(5, 5);
  WhitePixel(f, 5, 5, 1, 1);
  FxMaximize(f.image());
  EXPECT_EQ(Picture(f.image().work_r), (std::vector<std::string>{".....", ".##..", ".#...", ".....", "....."}));
  WhitePixel(f, 5, 5, 1, 1);
  FxMaxMin(f.image());
  EXPECT_EQ(Picture(f.image().work_r), (std::vector<std::string>(5, ".....")));
  // A white pixel in row 0 stays there under the opening, which never writes row 0.
  WhitePixel(f, 5, 5, 0, 2);
  FxMinMax(f.image());
  EXPECT_EQ(Picture(f.image().work_r), (std::vector<std::string>{"..#..", "..#..", ".....", ".....", "....."}));
}

TEST(CrossRank, LastRowAndColumnReachIntoTheExtraRowAndColumn) {
  TestFrame f(4, 3);
  const Plane p = Make(4, 3, [](int32_t y, int32_t x) -> uint8_t { return y == 3 && x == 2 ? 200 : 0; });
  f.SetFrame(p, p, p);
  f.host().set_alpha_bits(1);
  f.Fetch();
  FxMaximize(f.image());
  EXPECT_EQ(f.image().work_r[2][2], 200);  // lower neighbour is the extra row
  EXPECT_EQ(f.image().work_r[3][2], 200);  // the extra row itself is not written
  EXPECT_EQ(f.image().work_r[2][1], 0);
}

TEST(CrossRank, ChannelsAreRankedIndependently) {
  TestFrame f(3, 3);
  f.SetFrame(Make(3, 3, [](int32_t y, int32_t x) -> uint8_t { return y == 1 && x == 2 ? 90 : 10; }),
             Make(3, 3, [](int32_t y, int32_t x) -> uint8_t { return y == 2 && x == 1 ? 80 : 20; }),
             Make(3, 3, [](int32_t, int32_t) -> uint8_t { return 30; }));
  f.host().set_alpha_bits(1);
  f.Fetch();
  FxMaximize(f.image());
  EXPECT_EQ(f.image().work_r[1][1], 90);
  EXPECT_EQ(f.image().work_g[1][1], 80);
  EXPECT_EQ(f.image().work_b[1][1], 30);
}

TEST(CrossRank, NarrowFramesVisitNothingAndNoFilterComposites) {
  for (auto [w, h] : {std::pair{1, 6}, std::pair{6, 1}}) {
    TestFrame f(w, h);
    const Plane n = testing::Noise(w, h, 5);
    f.SetFrame(n, n, n);
    for (const char* e : {"Maximize", "Minimize", "MaxMin", "MinMax"}) {
      f.Dispatch(e);
      EXPECT_EQ(f.image().work_r, n) << e;
    }
  }
  TestFrame f(6, 5);
  WhitePixel(f, 6, 5, 2, 3);
  f.SetAlpha(testing::Flat(6, 5, 0));
  f.host().set_alpha_bits(0);
  for (const char* e : {"Maximize", "MaxMin"}) {
    f.Dispatch(e);
    EXPECT_EQ(f.image().work_r[2][2], e == std::string("Maximize") ? 255 : 0) << e;
  }
}

}  // namespace
}  // namespace tessfx
