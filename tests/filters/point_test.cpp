// Tint, posterize and threshold: levels, the grey, and the untouched extra row and column.
#include <gtest/gtest.h>

#include <set>

#include "planes.h"
#include "filters/point.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;

// One host pixel (200, 100, 0), grey (15400 + 15000 + 128) >> 8 = 119, and a second one
// of white; the working planes start at 7.
struct Pixels {
  Plane hr = Flat(2, 1, 255), hg = Flat(2, 1, 255), hb = Flat(2, 1, 255), r = Flat(2, 1, 7), g = Flat(2, 1, 7),
        b = Flat(2, 1, 7);
  Pixels() { hr[0][0] = 200, hg[0][0] = 100, hb[0][0] = 0; }
  std::array<uint8_t, 3> At(int32_t x) const { return {r[0][x], g[0][x], b[0][x]}; }
  RgbView work() { return {r.view(), g.view(), b.view()}; }
  ConstRgbView host() const { return {hr.view(), hg.view(), hb.view()}; }
};

TEST(PointFilters, TintColoursTheGreyAndClampsTheTint) {
  struct Case {
    int32_t red, green, blue;
    std::array<uint8_t, 3> grey, white;
  };
  for (const Case& c : {Case{255, 128, 0, {119, 60, 0}, {255, 128, 0}},  // 119 x 128 / 255 = 59.7
                        Case{999, -4, 255, {119, 0, 119}, {255, 0, 255}}}) {
    Pixels p;
    FastTint(p.work(), p.host(), c.red, c.green, c.blue);
    const std::array<uint8_t, 3> left{7, 7, 7};  // the extra column is left
    EXPECT_EQ((std::array{p.At(0), p.At(1), p.At(2)}), (std::array{c.grey, c.white, left})) << c.red << " " << c.green;
  }
}

TEST(PointFilters, PosterizeSpreadsTheLevels) {
  const int32_t w = 256, h = 1;
  const Plane ramp = Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x & 0xff; });
  auto levels = [&](int32_t step) {
    Plane r = Flat(w, h, 0), g = Flat(w, h, 0), b = Flat(w, h, 0);
    FastPosterize({r.view(), g.view(), b.view()}, {ramp.view(), ramp.view(), ramp.view()}, step);
    std::set<int> seen;
    for (int32_t x = 0; x < w; ++x) seen.insert(r[0][x]);
    EXPECT_TRUE(step != 128 || (r[0][127] == 0 && r[0][128] == 255));  // 128: a threshold at 128
    return seen;
  };
  EXPECT_EQ(levels(64), (std::set<int>{0, 85, 170, 255}));
  EXPECT_EQ(levels(100), (std::set<int>{0, 128, 255}));  // 127.5 rounds to even
  EXPECT_EQ(levels(128), (std::set<int>{0, 255}));
  EXPECT_EQ(levels(1).size(), 256u);
  EXPECT_EQ(levels(0), (std::set<int>{0}));  // nothing written
}

TEST(PointFilters, ThresholdByGreyOrPerChannel) {
  struct Case {
    int32_t level, per_channel;
    std::array<uint8_t, 3> out;
  };
  for (const Case& c : {Case{119, 0, {255, 255, 255}}, Case{120, 0, {0, 0, 0}}, Case{150, 1, {255, 0, 0}}}) {
    Pixels p;
    FastThreshold(p.work(), p.host(), c.level, c.per_channel);
    EXPECT_EQ(p.At(0), c.out) << c.level << " " << c.per_channel;
  }
}

}  // namespace
}  // namespace tessfx
