// Colour-model and blur filters on raw planes.
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "core/plane.h"
#include "filters/blur.h"
#include "filters/convolve.h"
#include "filters/color.h"
#include "filters/level_mix.h"
#include "filters/overlay.h"

namespace tessfx {
namespace {

// Every 24-bit colour once: r, g, b planes of 2^24 samples.
struct AllColours {
  std::vector<uint8_t> r, g, b;
  AllColours() : r(1 << 24), g(1 << 24), b(1 << 24) {
    for (uint32_t i = 0; i < (1u << 24); ++i) {
      r[i] = i & 0xFF;
      g[i] = (i >> 8) & 0xFF;
      b[i] = i >> 16;
    }
  }
};

TEST(HsvFilter, NeutralFactorsReturnEveryColourExactly) {
  AllColours c;
  FastHSVandRGB(0, 1, 1, 1, 1, 1, c.r.data(), c.g.data(), c.b.data(), (1 << 24) - 1);
  const AllColours ref;
  EXPECT_TRUE(c.r == ref.r);
  EXPECT_TRUE(c.g == ref.g);
  EXPECT_TRUE(c.b == ref.b);
}

TEST(HsvFilter, HueSaturationAndValueAct) {
  struct Px {
    uint8_t r, g, b;
  };
  auto run = [](Px p, float hue, float sat, float val) {
    FastHSVandRGB(hue, sat, val, 1, 1, 1, &p.r, &p.g, &p.b, 0);
    return p;
  };
  auto same = [](Px a, Px b) { return a.r == b.r && a.g == b.g && a.b == b.b; };
  EXPECT_TRUE(same(run({255, 0, 0}, 120, 1, 1), {0, 255, 0}));
  EXPECT_TRUE(same(run({255, 0, 0}, -120, 1, 1), {0, 0, 255}));
  EXPECT_TRUE(same(run({255, 0, 0}, 60, 1, 1), {255, 255, 0}));
  EXPECT_TRUE(same(run({200, 100, 50}, 360, 1, 1), {200, 100, 50}));
  EXPECT_TRUE(same(run({200, 100, 50}, -720, 1, 1), {200, 100, 50}));
  EXPECT_TRUE(same(run({90, 90, 90}, 77, 2, 1), {90, 90, 90}));    // grey has no hue
  EXPECT_TRUE(same(run({200, 100, 50}, 0, 0, 1), {200, 200, 200}));  // no saturation: the value
  EXPECT_TRUE(same(run({200, 100, 50}, 0, 1, 0.5f), {100, 50, 25}));
  EXPECT_TRUE(same(run({200, 100, 50}, 0, 1, 1.2f), {240, 120, 60}));
  // Value limited to full scale, saturation and hue kept: (255, 127.5, 63.75).
  const Px bright = run({200, 100, 50}, 0, 1, 2);
  EXPECT_EQ(bright.r, 255);
  EXPECT_NEAR(bright.g, 127.5, 0.5);
  EXPECT_EQ(bright.b, 64);
  // Saturation past full stays at full: the smallest channel reaches 0.
  EXPECT_TRUE(same(run({200, 100, 50}, 0, 10, 1), {200, 67, 0}));
  // The trailing factors scale the result per channel.
  Px p{100, 100, 100};
  FastHSVandRGB(0, 1, 1, 0.5f, 1, 2, &p.r, &p.g, &p.b, 0);
  EXPECT_TRUE(same(p, {50, 100, 200}));
}

TEST(YuvConversion, RoundTripsAndKnownValues) {
  float max_err = 0;
  for (int r = 0; r < 256; r += 5)
    for (int g = 0; g < 256; g += 3)
      for (int b = 0; b < 256; b += 7) {
        float y, u, v, r2, g2, b2;
        f_rgb2yuv(r / 255.0f, g / 255.0f, b / 255.0f, y, u, v);
        ASSERT_GE(y, -1e-6f);
        ASSERT_LE(y, 1 + 1e-6f);
        ASSERT_LE(std::abs(u), 0.4361f);
        ASSERT_LE(std::abs(v), 0.6151f);
        f_yuv2rgb(y, u, v, r2, g2, b2);
        max_err = std::max({max_err, std::abs(r2 - r / 255.0f), std::abs(g2 - g / 255.0f), std::abs(b2 - b / 255.0f)});
      }
  EXPECT_LT(max_err, 1e-6f);
  float y, u, v;
  f_rgb2yuv(1, 1, 1, y, u, v);
  EXPECT_NEAR(y, 1, 1e-6);
  EXPECT_NEAR(u, 0, 1e-6);
  EXPECT_NEAR(v, 0, 1e-6);
  f_rgb2yuv(0, 0, 1, y, u, v);
  EXPECT_NEAR(y, 0.114, 1e-6);
  EXPECT_NEAR(u, 0.436, 1e-6);
  f_rgb2yuv(1, 0, 0, y, u, v);
  EXPECT_NEAR(v, 0.615, 1e-6);
}

TEST(ToneTables, SetValueMapsEverySampleAndSetValueAlphaMixesLikeOverlay) {
  const int32_t w = 9, h = 5;
  std::mt19937 rng(1);
  Plane r(w, h), g(w, h), b(w, h), hr(w, h), hg(w, h), hb(w, h), a(w, h);
  for (Plane* p : {&r, &g, &b, &hr, &hg, &hb, &a})
    for (size_t i = 0; i < p->size(); ++i) p->data()[i] = rng() & 0xFF;
  ToneTable t{};
  for (int i = 0; i < 256; ++i) t[i] = static_cast<uint8_t>((i * 7 + 3) & 0xFF);

  Plane r1 = r.Clone(), g1 = g.Clone(), b1 = b.Clone();
  SetValue(t, r1.data(), g1.data(), b1.data(), w, h);
  for (size_t i = 0; i < r.size(); ++i) ASSERT_EQ(g1.data()[i], t[g.data()[i]]);

  Plane r2 = r.Clone(), g2 = g.Clone(), b2 = b.Clone();
  SetValueAlpha(t, r2.data(), g2.data(), b2.data(), hr.data(), hg.data(), hb.data(), a.data(), 0, w, h);
  Overlay_b(r1.data(), g1.data(), b1.data(), hr.data(), hg.data(), hb.data(), a.data(), 0, w, h);
  EXPECT_TRUE(r1 == r2 && g1 == g2 && b1 == b2);

  Plane r3 = r.Clone(), g3 = g.Clone(), b3 = b.Clone();
  SetValueAlpha(t, r3.data(), g3.data(), b3.data(), hr.data(), hg.data(), hb.data(), a.data(), 1, w, h);
  for (size_t i = 0; i < r.size(); ++i) ASSERT_EQ(b3.data()[i], t[b.data()[i]]);
}

TEST(LevelMixFilter, RoundsHalfToEvenAndCoversTheExtraRowAndColumn) {
  Plane w(3, 1), h(3, 1);
  const uint8_t wv[8] = {0, 1, 3, 255, 10, 7, 0, 200};
  const uint8_t hv[8] = {0, 0, 0, 0, 11, 8, 255, 100};
  std::copy(wv, wv + 8, w.data());
  std::copy(hv, hv + 8, h.data());
  Plane wr = w.Clone(), wg = w.Clone(), wb = w.Clone();
  LevelMixPlanes(wr.data(), wg.data(), wb.data(), h.data(), h.data(), h.data(), 3, 1, 127.5f);
  const uint8_t expect[8] = {0, 0, 2, 128, 10, 8, 128, 150};  // halves go to the even neighbour
  for (int i = 0; i < 8; ++i) EXPECT_EQ(wb.data()[i], expect[i]) << i;
}

// --------------------------------------------------------------------------------------

Plane NoisePlane(int32_t w, int32_t h, uint32_t seed) {
  std::mt19937 rng(seed);
  Plane p(w, h);
  for (size_t i = 0; i < p.size(); ++i) p.data()[i] = rng() & 0xFF;
  return p;
}

void Blur(Plane& p, double sigma) {
  uint8_t* planes[1] = {p.data()};
  GaussianBlur(planes, p.width(), p.height(), sigma);
}

TEST(GaussianFilter, FlatFramesStayExactlyFlatAtEveryRadius) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 3}, std::pair{37, 23}, std::pair{200, 7}}) {
    for (int radius : {1, 2, 5, 16, 33, 64, 500}) {
      for (uint8_t level : {uint8_t{0}, uint8_t{1}, uint8_t{128}, uint8_t{255}}) {
        Plane p(w, h, level);
        Blur(p, GaussianSigmaForRadius(radius));
        ASSERT_TRUE(p == Plane(w, h, level)) << w << "x" << h << " radius " << radius << " level " << int{level};
      }
    }
  }
}

TEST(GaussianFilter, ImpulseKeepsItsTotalAndSpreadsWithTheRadius) {
  // A bright square on grey, anywhere, corners included, keeps its total within rounding
  // (rounding errors of the changed samples are small and of either sign); the spread of
  // a bright line matches the Gaussian's standard deviation.
  const int32_t w = 101, h = 81;
  for (int radius : {2, 8, 16, 64}) {
    // Wide enough that the spread samples stay above rounding.
    const int32_t side = radius <= 2 ? 3 : 15;
    for (auto [cx, cy] : {std::pair{50, 40}, std::pair{0, 0}, std::pair{w - side, h - side}}) {
      Plane p(w, h);
      p.Fill(100);
      for (int32_t y = cy; y < cy + side; ++y)
        for (int32_t x = cx; x < cx + side; ++x) p[y][x] = 255;
      Blur(p, GaussianSigmaForRadius(radius));
      double excess = 0;
      int changed = 0;
      for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
          excess += p[y][x] - 100;
          changed += p[y][x] != 100;
        }
      EXPECT_NEAR(excess, side * side * 155, 0.1 * changed + 2) << cx << "," << cy << " radius " << radius;
      // The column next to the square has gained some of it.
      EXPECT_GT(p[cy + side / 2][cx > 0 ? cx - 1 : cx + side], 100);
    }
  }
  for (int radius : {6, 15, 30}) {
    Plane p(121, 9, 100);
    for (int32_t y = 0; y <= 9; ++y) p[y][60] = 255;
    Blur(p, GaussianSigmaForRadius(radius));
    double m0 = 0, m1 = 0, m2 = 0;
    for (int32_t x = 0; x < 121; ++x) {
      const double v = p[4][x] - 100.0;
      m0 += v;
      m1 += v * (x - 60.0);
      m2 += v * (x - 60.0) * (x - 60.0);
    }
    const double sigma = GaussianSigmaForRadius(radius);
    EXPECT_NEAR(m1 / m0, 0, 0.05) << radius;
    EXPECT_NEAR(std::sqrt(m2 / m0), sigma, 0.08 * sigma) << radius;
  }
}

TEST(GaussianFilter, MirrorImageBlursToTheMirrorAndTheExtraRowIsLeft) {
  const int32_t w = 63, h = 45;
  Plane p = NoisePlane(w, h, 4);
  Plane flipped(w, h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) flipped[y][x] = p[h - 1 - y][w - 1 - x];
  const Plane original = p.Clone();
  Blur(p, 4.0);
  Blur(flipped, 4.0);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) ASSERT_LE(std::abs(p[y][x] - flipped[h - 1 - y][w - 1 - x]), 1);
  for (int32_t x = 0; x <= w; ++x) EXPECT_EQ(p[h][x], original[h][x]);
  for (int32_t y = 0; y <= h; ++y) EXPECT_EQ(p[y][w], original[y][w]);
}

TEST(GaussianFilter, ResultDoesNotDependOnTheThreadCount) {
  Plane a = NoisePlane(640, 360, 8);
  Plane b = a.Clone();
  Blur(a, 7.3);
  {
    tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    Blur(b, 7.3);
  }
  EXPECT_TRUE(a == b);
}

TEST(BoxBlurThroughConvolve, NineSampleMeanWithEdgesClampedAndAlphaMix) {
  Kernel3x3 box;
  box.fill(1.0f);
  const int32_t w = 4, h = 3;
  Plane r(w, h), host(w, h), alpha(w, h, 255);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) r[y][x] = static_cast<uint8_t>(10 * x + 50 * y);
  Plane g = r.Clone(), b = r.Clone();
  const Plane orig = r.Clone();
  ConvolveAlpha(r.data(), g.data(), b.data(), host.data(), host.data(), host.data(), alpha.data(), 1, w, h, box, 9.0f,
                kConvolvePlain);
  EXPECT_EQ(r[0][0], 20);   // rows 0, 0, 1 and columns 0, 0, 1: (10 + 10 + 160) / 9
  EXPECT_EQ(r[1][1], 60);   // interior of a linear ramp keeps its value
  EXPECT_EQ(r[2][3], 110);  // rows 1, 2, 2 and columns 2, 3, 3: (230 + 2 x 380) / 9
  EXPECT_EQ(r[3][2], orig[3][2]);
  EXPECT_EQ(r[1][4], orig[1][4]);
  // Through alpha 0 the result is the host sample.
  Plane r2 = orig.Clone(), g2 = orig.Clone(), b2 = orig.Clone(), clear(w, h, 0);
  ConvolveAlpha(r2.data(), g2.data(), b2.data(), host.data(), host.data(), host.data(), clear.data(), 0, w, h, box,
                9.0f, kConvolvePlain);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) ASSERT_EQ(g2[y][x], 0);
}

TEST(MotionBlurFilter, AveragesAlongTheVectorWithClampedEdges) {
  const int32_t w = 6, h = 2;
  Plane r(w, h), a(w, h, 255);
  for (int32_t x = 0; x <= w; ++x) r[0][x] = r[1][x] = static_cast<uint8_t>(x * 10);
  Plane out_r(w, h), out_g(w, h), out_b(w, h);
  FastMotionBlur(r.data(), r.data(), r.data(), a.data(), out_r.data(), out_g.data(), out_b.data(), 1, w, h, 0, 0, 2, 0,
                 1);
  EXPECT_EQ(out_r[0][0], 10);  // 0, 10, 20
  EXPECT_EQ(out_r[0][4], 47);  // 40, 50, 50 (column 6 is clamped to 5)
  EXPECT_EQ(out_r[0][5], 50);
  EXPECT_EQ(out_r[0][6], 0);  // the extra column is not written
  // Means half-way between two levels go to the even one.
  Plane fine(w, h);
  for (int32_t x = 0; x <= w; ++x) fine[0][x] = fine[1][x] = static_cast<uint8_t>(x * 5);
  FastMotionBlur(fine.data(), fine.data(), fine.data(), a.data(), out_r.data(), out_g.data(), out_b.data(), 1, w, h,
                 0, 0, 1, 0, 1);
  EXPECT_EQ(out_r[0][0], 2);  // 2.5
  EXPECT_EQ(out_r[0][1], 8);  // 7.5
  // A vector pointing up and left reads the other way, clamped at the top-left corner.
  FastMotionBlur(r.data(), r.data(), r.data(), a.data(), out_r.data(), out_g.data(), out_b.data(), 1, w, h, 0, 0, -2,
                 -1, 1);
  EXPECT_EQ(out_r[1][0], 0);
  EXPECT_EQ(out_r[1][3], 20);  // columns 3, 2, 1
  // A zero vector leaves every pixel.
  FastMotionBlur(r.data(), r.data(), r.data(), a.data(), out_r.data(), out_g.data(), out_b.data(), 1, w, h, 0, 0, 0, 0,
                 1);
  for (int32_t x = 0; x < w; ++x) EXPECT_EQ(out_b[1][x], r[1][x]);
}

TEST(ZoomFilter, FewStepsCountAsTwo) {
  // Two steps: the pixel and the point a quarter of the way to the centre (4, 3).
  const int32_t w = 9, h = 7;
  Plane ramp(w, h), a(w, h, 255), q1(w, h), q2(w, h), q3(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) ramp[y][x] = static_cast<uint8_t>(x * 20);
  FastZoom(ramp.data(), ramp.data(), ramp.data(), a.data(), q1.data(), q2.data(), q3.data(), 1, w - 1, h - 1, 4, 3, 0,
           0.25f);
  EXPECT_EQ(q1[3][8], 150);  // (160 + 140) / 2: column 8 samples 8 and 7
  EXPECT_EQ(q1[3][0], 10);   // (0 + 20) / 2
}

}  // namespace
}  // namespace tessfx
