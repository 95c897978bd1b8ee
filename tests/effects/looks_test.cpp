// Colour looks: worked pixels, row weights, a plain reference of each formula, and the
// composite step.
#include <gtest/gtest.h>

#include <cmath>

#include "effects/looks.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Noise;
using testing::TestFrame;

// The formulas as written, one pixel at a time, for comparison.
struct Reference {
  static uint8_t Nearest(double v) { return static_cast<uint8_t>(std::nearbyint(std::fmin(std::fmax(v, 0.0), 255.0))); }
  static void RowWeights(int32_t y, int32_t h, double& t, double& u) {
    const float tf = static_cast<float>(y) / static_cast<float>(h);
    t = tf;
    u = 1.0f - tf;
  }
  static void DayForNight(uint8_t& r, uint8_t& g, uint8_t& b, int32_t y, int32_t h) {
    double t, u;
    RowWeights(y, h, t, u);
    const double lum = 0.2 * r + 0.3 * g + 0.5 * b;
    const double r1 = std::nearbyint(0.5 * r + 0.5 * lum), g1 = std::nearbyint(0.5 * g + 0.5 * lum),
                 b1 = std::nearbyint(0.5 * b + 0.5 * lum);
    r = Nearest(r1 * 0.6 * t + r1 * 0.5 * u);
    g = Nearest(g1 * 0.76 * t + g1 * 0.62 * u);
    b = Nearest(b1 * 0.84 * t + b1 * 0.7 * u);
  }
  static void Sunset(uint8_t&, uint8_t& g, uint8_t& b, int32_t y, int32_t h) {
    double t, u;
    RowWeights(y, h, t, u);
    g = Nearest(g * 0.6 * u + t * g);
    b = Nearest(b * 0.4 * u + t * b);
  }
  static void Fog(uint8_t& r, uint8_t& g, uint8_t& b, int32_t y, int32_t h) {
    double t, u;
    RowWeights(y, h, t, u);
    const int m = (r + g + b) / 3;
    double f = std::nearbyint(u * m + t * 32 + m);
    if (f > 255) f = 255;
    const uint8_t r0 = r, g0 = g, b0 = b;
    r = Nearest(f * 0.76 * t + r0 * u);
    g = Nearest(f * 0.8 * t + u * g0);
    b = Nearest(u * b0 + t * f);
  }
};

// Runs a look on a noise frame (alpha-bits flag 1, so no composite) and compares every
// sample with the reference; the extra row and column must keep the frame.
void ExpectMatchesReference(void (*fx)(ImageState&), void (*ref)(uint8_t&, uint8_t&, uint8_t&, int32_t, int32_t),
                            int32_t w, int32_t h) {
  TestFrame f(w, h);
  f.SetFrame(Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3));
  f.host().set_alpha_bits(1);
  ImageState& s = f.Fetch();
  fx(s);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) {
      uint8_t r = s.host_r[y][x], g = s.host_g[y][x], b = s.host_b[y][x];
      if (y < h && x < w) ref(r, g, b, y, h);
      ASSERT_EQ(s.work_r[y][x], r) << "at " << y << "," << x;
      ASSERT_EQ(s.work_g[y][x], g) << "at " << y << "," << x;
      ASSERT_EQ(s.work_b[y][x], b) << "at " << y << "," << x;
    }
}

TEST(ColourLooks, MatchTheFormulasSampleForSample) {
  for (auto [w, h] : {std::pair{37, 23}, std::pair{400, 300}, std::pair{5, 1}}) {
    ExpectMatchesReference(FxDayForNight, Reference::DayForNight, w, h);
    ExpectMatchesReference(FxSunsetFilter, Reference::Sunset, w, h);
    ExpectMatchesReference(FxFogFilter, Reference::Fog, w, h);
  }
}

TEST(ColourLooks, DayForNightWhiteOnRowZero) {
  TestFrame f(4, 3);
  f.SetFrame(Flat(4, 3, 255), Flat(4, 3, 255), Flat(4, 3, 255));
  ImageState& s = f.Fetch();
  FxDayForNight(s);
  // 127.5 rounds to even 128; 0.7 * 255 lies just below 178.5.
  EXPECT_EQ(s.work_r[0][0], 128);
  EXPECT_EQ(s.work_g[0][0], 158);
  EXPECT_EQ(s.work_b[0][0], 178);
}

TEST(ColourLooks, OneRowFrameUsesOnlyTheRowZeroWeights) {
  TestFrame f(3, 1);
  f.SetFrame(Flat(3, 1, 101), Flat(3, 1, 200), Flat(3, 1, 55));
  ImageState& s = f.Fetch();
  FxSunsetFilter(s);
  EXPECT_EQ(s.work_r[0][1], 101);
  EXPECT_EQ(s.work_g[0][1], 120);  // nearest(0.6 * 200)
  EXPECT_EQ(s.work_b[0][1], 22);   // nearest(0.4 * 55)
  f.Fetch();
  FxFogFilter(s);
  EXPECT_EQ(s.work_r[0][1], 101);
  EXPECT_EQ(s.work_g[0][1], 200);
  EXPECT_EQ(s.work_b[0][1], 55);
}

TEST(ColourLooks, FogClampsTheFogValueOfWhite) {
  TestFrame f(2, 4);
  f.SetFrame(Flat(2, 4, 255), Flat(2, 4, 255), Flat(2, 4, 255));
  ImageState& s = f.Fetch();
  FxFogFilter(s);
  // Row 2: t = 0.5; f = 255 (clamped from 398): R = nearest(255 * 0.76 * 0.5 + 127.5).
  EXPECT_EQ(s.work_r[2][0], 224);  // 96.9 + 127.5 = 224.4
  EXPECT_EQ(s.work_g[2][0], 230);  // 102 + 127.5 = 229.5 -> even 230
  EXPECT_EQ(s.work_b[2][0], 255);
}

TEST(ColourLooks, CompositeRunsOnlyWithFlagZero) {
  // Alpha 0 everywhere: the composite restores the frame; with flag 1 the look stays.
  for (int32_t flag : {0, 1}) {
    TestFrame f(6, 4);
    f.SetFrame(Flat(6, 4, 200), Flat(6, 4, 200), Flat(6, 4, 200));
    f.SetAlpha(Flat(6, 4, 0));
    f.host().set_alpha_bits(flag);
    ImageState& s = f.Fetch();
    FxDayForNight(s);
    EXPECT_EQ(s.work_g[1][1] == 200, flag == 0) << "flag " << flag;
  }
}

TEST(ColourLooks, EmptyFrameIsLeftAlone) {
  // The host never has an empty frame; the routines are given one by shrinking the size.
  for (auto [w, h] : {std::pair{0, 3}, std::pair{3, 0}}) {
    TestFrame f(3, 3);
    ImageState& s = f.Fetch();
    s.width = w;
    s.height = h;
    const Plane before = s.work_r.Clone();
    FxFogFilter(s);
    FxDayForNight(s);
    FxSunsetFilter(s);
    EXPECT_EQ(s.work_r, before);
  }
}

}  // namespace
}  // namespace tessfx
