// Colour-model and blur filters on raw planes.
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <array>
#include <cmath>
#include <vector>

#include "core/plane.h"
#include "planes.h"
#include "filters/blur.h"
#include "filters/color.h"
#include "filters/blend.h"

namespace tessfx {
namespace {

using testing::Noise;

TEST(HsvFilter, NeutralFactorsReturnEveryColourExactly) {
  // Every colour once: a 4095 x 4095 frame's planes hold 4096 x 4096 samples.
  Plane r(4095, 4095), g(4095, 4095), b(4095, 4095);
  for (uint32_t i = 0; i < (1u << 24); ++i) r.data()[i] = i & 0xFF, g.data()[i] = (i >> 8) & 0xFF, b.data()[i] = i >> 16;
  FastHSVandRGB({r.view(), g.view(), b.view()}, 0, 1, 1, 1, 1, 1);
  for (uint32_t i = 0; i < (1u << 24); ++i)
    ASSERT_TRUE(r.data()[i] == (i & 0xFF) && g.data()[i] == ((i >> 8) & 0xFF) && b.data()[i] == i >> 16) << i;
}

TEST(HsvFilter, HueTurnsSaturationAndValueScales) {
  struct Case {
    std::array<uint8_t, 3> in;
    float hue, sat, val;
    std::array<uint8_t, 3> out;
  };
  // The hue turns from red whatever the number of turns; grey has no hue to saturate; the
  // value is limited to full scale.
  for (const Case& c : {Case{{255, 0, 0}, -660, 1, 1, {255, 255, 0}}, Case{{90, 90, 90}, 77, 2, 1, {90, 90, 90}},
                        Case{{200, 120, 50}, 0, 1, 2, {255, 153, 64}}}) {
    std::array<uint8_t, 3> p = c.in;
    // One pixel: a 0 x 0 frame's planes hold one sample.
    FastHSVandRGB({{&p[0], 0, 0, 1}, {&p[1], 0, 0, 1}, {&p[2], 0, 0, 1}}, c.hue, c.sat, c.val, 1, 1, 1);
    EXPECT_EQ(p, c.out) << c.hue << " " << c.sat << " " << c.val;
  }
}

TEST(ToneTables, SetValueAlphaMixesLikeTheOverlayWithFlagZero) {
  // Flag 1 is the plain table; flag 0 mixes by alpha like every other effect's composite.
  const int32_t w = 9, h = 5;
  const Plane host = Noise(w, h, 4), a = Noise(w, h, 5);
  ToneTable t{};
  for (int i = 0; i < 256; ++i) t[i] = static_cast<uint8_t>((i * 7 + 3) & 0xFF);
  for (uint8_t flag : {0, 1}) {
    Plane r = Noise(w, h, 1), g = Noise(w, h, 2), b = Noise(w, h, 3), er = r.Clone(), eg = g.Clone(), eb = b.Clone();
    const ConstRgbView original{host.view(), host.view(), host.view()};
    SetValueAlpha({r.view(), g.view(), b.view()}, original, a.view(), flag, t);
    SetValue({er.view(), eg.view(), eb.view()}, t);
    if (flag == 0) Overlay_b({er.view(), eg.view(), eb.view()}, original, a.view(), 0);
    EXPECT_TRUE(r == er && g == eg && b == eb) << int{flag};
  }
}

// A line smoothed by a sampled Gaussian, mirrored about both ends (... 1 0 | 0 1 ... n-1 | n-1 ...).
std::vector<double> GaussianLine(const std::vector<double>& in, double sigma) {
  const int32_t n = static_cast<int32_t>(in.size()), reach = static_cast<int32_t>(std::ceil(5 * sigma));
  std::vector<double> out(in.size());
  double total = 0;
  for (int32_t k = -reach; k <= reach; ++k) total += std::exp(-k * k / (2 * sigma * sigma));
  for (int32_t x = 0; x < n; ++x)
    for (int32_t k = -reach; k <= reach; ++k) {
      const int32_t m = (((x + k) % (2 * n)) + 2 * n) % (2 * n);
      out[x] += std::exp(-k * k / (2 * sigma * sigma)) / total * in[m < n ? m : 2 * n - 1 - m];
    }
  return out;
}

TEST(GaussianFilter, WithinOneLevelOfTheExactGaussianOverTheMirroredFrame) {
  // Noise, a hard edge and a lone bright pixel, on frames from one pixel to past the band
  // and vector sizes, at radii on both sides of the change from the direct to the recursive
  // kernel. A weight off by a fraction of a percent, a wrong edge or a stale band misses.
  const auto edge = [](int32_t y, int32_t x) -> uint8_t { return x + y / 2 < 20 ? 250 : 5; };
  const auto spot = [](int32_t y, int32_t x) -> uint8_t { return y == 7 && x == 9 ? 255 : 0; };
  for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 3}, std::pair{5, 4}, std::pair{17, 9}, std::pair{70, 5},
                      std::pair{83, 140}})
    for (int radius : {2, 3, 5, 8, 16, 32, 33, 36, 64, 90})
      for (const Plane& in : {Noise(w, h, 3), testing::Make(w, h, edge), testing::Make(w, h, spot)}) {
        const double sigma = GaussianSigmaForRadius(radius);
        std::vector<std::vector<double>> columns(w, std::vector<double>(h));
        for (int32_t y = 0; y < h; ++y) {
          const std::vector<double> row = GaussianLine(std::vector<double>(&in[y][0], &in[y][w]), sigma);
          for (int32_t x = 0; x < w; ++x) columns[x][y] = row[x];
        }
        Plane p = in.Clone();
        const PlaneView planes[1] = {p.view()};
        GaussianBlur(planes, radius);
        for (int32_t x = 0; x < w; ++x) {
          const std::vector<double> expected = GaussianLine(columns[x], sigma);
          for (int32_t y = 0; y < h; ++y)
            ASSERT_NEAR(p[y][x], expected[y], 1.0) << w << "x" << h << " radius " << radius << " at " << x << "," << y;
        }
        for (int32_t x = 0; x <= w; ++x) ASSERT_EQ(p[h][x], in[h][x]);  // the extra row and column are left
        for (int32_t y = 0; y <= h; ++y) ASSERT_EQ(p[y][w], in[y][w]);
      }
}

TEST(GaussianFilter, FlatFramesStayFlat) {
  for (int radius : {2, 7, 32, 33, 40, 64})
    for (uint8_t level : {0, 1, 128, 254, 255}) {
      Plane p(45, 31, level);
      const PlaneView planes[1] = {p.view()};
      GaussianBlur(planes, radius);
      for (int32_t y = 0; y < 31; ++y)
        for (int32_t x = 0; x < 45; ++x) ASSERT_EQ(p[y][x], level) << "radius " << radius;
    }
}

TEST(GaussianFilter, OneThreadAndManyGiveTheSameBytes) {
  // Several row bands of the direct kernel and several line groups of the recursive one.
  for (int radius : {2, 20, 40}) {
    const Plane in = Noise(257, 700, 9);
    Plane one = in.Clone(), many = in.Clone();
    {
      tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
      const PlaneView planes[1] = {one.view()};
      GaussianBlur(planes, radius);
    }
    {
      tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 4);
      const PlaneView planes[1] = {many.view()};
      GaussianBlur(planes, radius);
    }
    EXPECT_TRUE(one == many) << "radius " << radius;
  }
}

TEST(MotionBlurFilter, AveragesAlongTheVectorWithClampedEdges) {
  const int32_t w = 6, h = 2;
  const Plane a(w, h, 255), ramp = testing::Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x * 5; });
  Plane out(w, h);
  auto at = [&](int16_t dx, int16_t dy, int32_t y, int32_t x) {
    FastMotionBlur({out.view(), out.view(), out.view()}, {ramp.view(), ramp.view(), ramp.view()}, a.view(), 1, w, h, 0,
                   0, dx, dy, 1);
    EXPECT_EQ(out[0][6], 0);  // the extra column is not written
    return out[y][x];
  };
  EXPECT_EQ(at(2, 0, 0, 4), 23);    // 20, 25, 25 (column 6 is clamped to 5)
  EXPECT_EQ(at(1, 0, 0, 1), 8);     // 7.5: halves go to the even level
  EXPECT_EQ(at(-2, -1, 1, 0), 0);   // up and left, clamped at the top-left corner
  EXPECT_EQ(at(-2, -1, 1, 3), 10);  // columns 3, 2, 1
}

TEST(ZoomFilter, SamplesOnTheWayToTheCentre) {
  // Two steps (fewer count as two): the pixel and the point a quarter of the way to the centre (4, 3).
  const int32_t w = 9, h = 7;
  const Plane a(w, h, 255), ramp = testing::Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x * 20; });
  Plane out(w, h);
  FastZoom({out.view(), out.view(), out.view()}, {ramp.view(), ramp.view(), ramp.view()}, a.view(), 1, w - 1, h - 1, 4,
           3, 0, 0.25f);
  EXPECT_EQ(out[3][8], 150);  // (160 + 140) / 2: column 8 samples 8 and 7
  EXPECT_EQ(out[3][0], 10);   // (0 + 20) / 2
}

}  // namespace
}  // namespace tessfx
