// Tint, posterize and threshold: levels, the grey, and the untouched extra row and column.
#include <gtest/gtest.h>

#include <set>

#include "effects/test_frame.h"
#include "filters/point.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Noise;

struct Frame {
  Frame(int32_t w, int32_t h) : hr(Noise(w, h, 1)), hg(Noise(w, h, 2)), hb(Noise(w, h, 3)), r(Flat(w, h, 7)),
                                g(Flat(w, h, 7)), b(Flat(w, h, 7)) {}
  Plane hr, hg, hb, r, g, b;
};

TEST(PointFilters, TintColoursTheGrey) {
  Frame f(6, 3);
  FastTint(f.hr.data(), f.hg.data(), f.hb.data(), f.r.data(), f.g.data(), f.b.data(), 255, 128, 0, 6, 3);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 6; ++x) {
      const int grey = Luma(f.hr[y][x], f.hg[y][x], f.hb[y][x]);
      ASSERT_EQ(f.r[y][x], grey);
      ASSERT_EQ(f.g[y][x], (grey * 128 + 127) / 255);
      ASSERT_EQ(f.b[y][x], 0);
    }
  EXPECT_EQ(f.r[3][0], 7);  // extra row and column untouched
  EXPECT_EQ(f.g[0][6], 7);
  FastTint(f.hr.data(), f.hg.data(), f.hb.data(), f.r.data(), f.g.data(), f.b.data(), 999, -4, 255, 6, 3);
  EXPECT_EQ(f.g[1][1], 0);  // out-of-range tints clamp
  EXPECT_EQ(f.r[1][1], f.b[1][1]);
}

TEST(PointFilters, PosterizeSpreadsTheLevels) {
  const int32_t w = 256, h = 1;
  const Plane ramp = Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x & 0xff; });
  auto levels = [&](int32_t step) {
    Plane r = Flat(w, h, 0), g = Flat(w, h, 0), b = Flat(w, h, 0);
    FastPosterize(r.data(), g.data(), b.data(), w, h, ramp.data(), ramp.data(), ramp.data(), step);
    std::set<int> seen;
    for (int32_t x = 0; x < w; ++x) seen.insert(r[0][x]);
    return seen;
  };
  EXPECT_EQ(levels(64), (std::set<int>{0, 85, 170, 255}));
  EXPECT_EQ(levels(100), (std::set<int>{0, 128, 255}));  // 127.5 rounds to even
  EXPECT_EQ(levels(128), (std::set<int>{0, 255}));
  EXPECT_EQ(levels(255), (std::set<int>{0, 255}));
  EXPECT_EQ(levels(1).size(), 256u);
  EXPECT_EQ(levels(0), (std::set<int>{0}));  // nothing written
  Plane r = Flat(w, h, 0), g = Flat(w, h, 0), b = Flat(w, h, 0);
  FastPosterize(r.data(), g.data(), b.data(), w, h, ramp.data(), ramp.data(), ramp.data(), 128);
  EXPECT_EQ(r[0][127], 0);
  EXPECT_EQ(r[0][128], 255);
}

TEST(PointFilters, ThresholdByGreyOrPerChannel) {
  Frame f(2, 1);
  f.hr[0][0] = 200, f.hg[0][0] = 100, f.hb[0][0] = 0;  // grey (15400 + 15000 + 128) >> 8 = 119
  FastThreshold(f.hr.data(), f.hg.data(), f.hb.data(), f.r.data(), f.g.data(), f.b.data(), 2, 1, 119, 0);
  EXPECT_EQ(f.r[0][0], 255);
  EXPECT_EQ(f.b[0][0], 255);
  FastThreshold(f.hr.data(), f.hg.data(), f.hb.data(), f.r.data(), f.g.data(), f.b.data(), 2, 1, 120, 0);
  EXPECT_EQ(f.g[0][0], 0);
  FastThreshold(f.hr.data(), f.hg.data(), f.hb.data(), f.r.data(), f.g.data(), f.b.data(), 2, 1, 150, 1);
  EXPECT_EQ(f.r[0][0], 255);
  EXPECT_EQ(f.g[0][0], 0);
  EXPECT_EQ(f.b[0][0], 0);
}

}  // namespace
}  // namespace tessfx
