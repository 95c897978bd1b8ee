// Colour and tone adjustments, run through the frame dispatch as the editor runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "effects/adjust.h"
#include "effects/test_frame.h"
#include "filters/color.h"

namespace tessfx {
namespace {

using testing::EffectRig;
using testing::FlatFrame;
using testing::MakeFrame;
using testing::NoiseFrame;
using testing::WorkingEqualsHost;

const char* const kAdjustEffects[] = {"Color adjustment", "Color add",     "Value adjustment", "Saturation",
                                      "Hue / Sat / Value", "Map to gradient", "Negative",      "Invert value",
                                      "Swap channels",    "Roll channels", "Power curve"};

TEST(AdjustNeutral, DefaultsLeaveEveryPlaneSampleUnchanged) {
  for (const char* name : {"Color adjustment", "Color add", "Saturation", "Hue / Sat / Value"}) {
    for (int32_t alpha_bits : {0, 1}) {
      EffectRig rig(NoiseFrame(37, 23), alpha_bits);
      EXPECT_TRUE(WorkingEqualsHost(rig.RunDefaults(name))) << name << ", alpha bits " << alpha_bits;
    }
  }
}

TEST(AdjustNeutral, ValueAdjustmentDefaultsLeaveTheFrame) {
  const ToneTable t = ValueAdjustmentTable(100, 100, 100, 100);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(t[i], i) << i;
  EffectRig rig(NoiseFrame(19, 11));
  const ImageState& s = rig.RunDefaults("Value adjustment");
  EXPECT_EQ(testing::MaxDiff(s.work_r, s.host_r, 20, 12), 0);
  EXPECT_EQ(testing::MaxDiff(s.work_b, s.host_b, 20, 12), 0);
}

TEST(AdjustInvolutions, NegativeTwiceSwapTwiceRollThriceRestoreTheFrame) {
  struct Case {
    const char* name;
    int times;
  };
  for (Case c : {Case{"Negative", 2}, Case{"Swap channels", 2}, Case{"Roll channels", 3}}) {
    const testing::Frame original = NoiseFrame(21, 13, 3);
    EffectRig rig(original);
    for (int i = 0; i < c.times; ++i) {
      const ImageState& s = rig.Run(c.name);
      // Not the identity before the last application.
      if (i + 1 < c.times) {
        EXPECT_FALSE(s.work_r == original.r) << c.name;
      }
      rig.Commit();
    }
    const ImageState& s = rig.image();
    EXPECT_TRUE(s.work_r == original.r && s.work_g == original.g && s.work_b == original.b) << c.name;
  }
}

TEST(AdjustChannels, PermutationsAndNegativeMoveTheRightSamples) {
  EffectRig rig(NoiseFrame(9, 7));
  const ImageState& sw = rig.Run("Swap channels");
  EXPECT_TRUE(sw.work_r == sw.host_b && sw.work_g == sw.host_g && sw.work_b == sw.host_r);
  const ImageState& ro = rig.Run("Roll channels");
  EXPECT_TRUE(ro.work_r == ro.host_b && ro.work_g == ro.host_r && ro.work_b == ro.host_g);
  const ImageState& ng = rig.Run("Negative");
  for (int32_t y = 0; y <= 7; ++y)  // the extra row and column are visited too
    for (int32_t x = 0; x <= 9; ++x) ASSERT_EQ(ng.work_g[y][x], 255 - ng.host_g[y][x]);
}

TEST(AdjustComposite, AlphaDecidesWhereTheEffectShows) {
  testing::Frame f = NoiseFrame(16, 8);
  for (int32_t y = 0; y <= 8; ++y)
    for (int32_t x = 0; x <= 16; ++x) f.a[y][x] = x < 8 ? 0 : 255;
  const std::pair<const char*, float> cases[] = {
      {"Negative", 0}, {"Saturation", 0}, {"Value adjustment", 60}, {"Hue / Sat / Value", 120}};
  for (auto [name, first] : cases) {
    EffectRig rig(f, 0);
    const ImageState& s = rig.RunDefaults(name, {{0, first}});
    EffectRig plain(f, 1);
    const ImageState& p = plain.RunDefaults(name, {{0, first}});
    for (int32_t y = 0; y < 8; ++y)
      for (int32_t x = 0; x < 16; ++x) {
        ASSERT_EQ(s.work_r[y][x], x < 8 ? s.host_r[y][x] : p.work_r[y][x]) << name << " " << x << "," << y;
        ASSERT_EQ(s.work_b[y][x], x < 8 ? s.host_b[y][x] : p.work_b[y][x]) << name << " " << x << "," << y;
      }
  }
}

TEST(AdjustSaturation, ZeroTurnsEveryPixelToItsRoundedMean) {
  EffectRig rig(NoiseFrame(15, 9));
  const ImageState& g = rig.Run("Saturation", {0});
  for (int32_t y = 0; y <= 9; ++y)
    for (int32_t x = 0; x <= 15; ++x) {
      const int mean = (g.host_r[y][x] + g.host_g[y][x] + g.host_b[y][x] + 1) / 3;  // a third is never half-way
      ASSERT_EQ(g.work_r[y][x], mean);
      ASSERT_EQ(g.work_b[y][x], mean);
    }
}

TEST(AdjustPowerCurve, GreysNeverChangeAndColourFollowsTheParameter) {
  // Every grey level in one frame, and a few saturated colours in the last row.
  testing::Frame f = MakeFrame(256, 2, [](int c, int32_t x, int32_t y) {
    if (y == 0) return static_cast<uint8_t>(std::min(x, 255));
    const uint8_t colour[3] = {200, 60, 30};
    return colour[c];
  });
  EffectRig rig(f);
  for (int p = 1; p <= 99; ++p) {
    const ImageState& s = rig.Run("Power curve", {static_cast<float>(p)});
    for (int32_t x = 0; x < 256; ++x) {
      ASSERT_EQ(s.work_r[0][x], x) << "p " << p;
      ASSERT_EQ(s.work_g[0][x], x) << "p " << p;
      ASSERT_EQ(s.work_b[0][x], x) << "p " << p;
    }
  }
  // The colour (200, 60, 30): its luminance L is about 0.43. Distances from the luminance
  // scale by k: close to 1 at 0.99, L itself at 0.5, close to 0 at 0.01.
  const double lum = (0.299 * 200 + 0.587 * 60 + 0.114 * 30) / 255.0;
  const auto k = [&](double p) { return lum / ((1 - lum) * (1 / p - 2) + 1); };
  const auto spread = [&](float p) {
    const ImageState& s = rig.Run("Power curve", {p});
    return (s.work_r[1][0] - s.work_b[1][0]) / 170.0;
  };
  EXPECT_NEAR(spread(99), k(0.99), 0.01);
  EXPECT_GT(spread(99), 0.97);
  EXPECT_NEAR(spread(50), lum, 0.01);
  EXPECT_NEAR(spread(1), k(0.01), 0.01);
  EXPECT_LT(spread(1), 0.01);
}

TEST(AdjustInvertValue, GreysInvertAndColoursKeepTheirDifferences) {
  testing::Frame f = MakeFrame(256, 1, [](int c, int32_t x, int32_t y) {
    if (y == 0) return static_cast<uint8_t>(std::min(x, 255));
    return static_cast<uint8_t>(c == 0 ? 150 : (c == 1 ? 100 : 120));
  });
  EffectRig rig(f);
  const ImageState& s = rig.Run("Invert value");
  for (int32_t x = 0; x < 256; ++x) ASSERT_EQ(s.work_g[0][x], 255 - x);
  // (150, 100, 120) has luma about 116; unclipped, every channel moves by 255 - 2 x 116.
  const double luma = 0.299 * 150 + 0.587 * 100 + 0.114 * 120;
  const double shift = 255 - 2 * luma;
  EXPECT_NEAR(s.work_r[1][0], 150 + shift, 0.6);
  EXPECT_NEAR(s.work_g[1][0], 100 + shift, 0.6);
  EXPECT_NEAR(s.work_b[1][0], 120 + shift, 0.6);
}

TEST(AdjustMapToGradient, BlackTakesEntryZeroWhiteEntry255) {
  for (int index = 0; index < 8; ++index) {
    std::vector<uint8_t> g(3 * 256);
    for (int c = 0; c < 3; ++c)
      for (int e = 0; e < 256; ++e) g[c * 256 + e] = static_cast<uint8_t>((e * (c + 2) + index * 31) & 0xFF);
    for (uint8_t level : {uint8_t{0}, uint8_t{255}}) {
      EffectRig rig(FlatFrame(11, 5, level, level, level));
      rig.host().SetGradient(index, g);
      // The dispatch takes the integer part of the slider value.
      const ImageState& s = rig.Run("Map to gradient", {index + 0.75f});
      for (int32_t y = 0; y < 5; ++y)
        for (int32_t x = 0; x < 11; ++x) {
          ASSERT_EQ(s.work_r[y][x], g[level]);
          ASSERT_EQ(s.work_g[y][x], g[256 + level]);
          ASSERT_EQ(s.work_b[y][x], g[512 + level]);
        }
      // This routine stops at the frame's edge: the extra row and column keep the frame.
      EXPECT_EQ(s.work_r[5][3], level);
      EXPECT_EQ(s.work_r[2][11], level);
    }
  }
}

TEST(AdjustValue, GammaAboveTheMiddleBrightensMidTonesBelowDarkens) {
  int previous = -1;
  for (int gamma = 50; gamma <= 150; gamma += 10) {
    const ToneTable t = ValueAdjustmentTable(100, 100, 100, static_cast<float>(gamma));
    EXPECT_GT(t[100], previous) << gamma;  // strictly brighter at each step
    previous = t[100];
    if (gamma < 100) {
      EXPECT_LT(t[100], 100) << gamma;
    }
    if (gamma > 100) {
      EXPECT_GT(t[100], 100) << gamma;
    }
    EXPECT_EQ(t[0], 0);      // black and white stay put
    EXPECT_EQ(t[255], 255);
  }
}

TEST(AdjustValue, BrightnessValueAndContrastShapeTheTable) {
  // Brightness 150 adds 127.5; value 50 halves; contrast at the top leaves no span (every
  // entry the brightness alone); contrast 150 stretches 64..191 over 0..255.
  const ToneTable bright = ValueAdjustmentTable(100, 150, 100, 100);
  const ToneTable half = ValueAdjustmentTable(50, 100, 100, 100);
  const ToneTable flat = ValueAdjustmentTable(100, 100, 200, 100);
  const ToneTable steep = ValueAdjustmentTable(100, 100, 150, 100);
  EXPECT_EQ(bright[0], 127);  // (150 - 100) x 2.55 falls just short of 127.5
  EXPECT_EQ(bright[128], 255);
  EXPECT_EQ(half[200], 100);  // 199.2 / 2
  EXPECT_EQ(flat[0], 0);
  EXPECT_EQ(flat[255], 0);
  EXPECT_EQ(steep[64], 0);
  EXPECT_EQ(steep[128], 129);  // 64 x 255 / 127
  EXPECT_EQ(steep[192], 255);
  // The dispatch applies the table without alpha when the flag is set.
  EffectRig rig(NoiseFrame(13, 6), 1);
  const ImageState& s = rig.Run("Value adjustment", {50, 100, 100, 100});
  for (int32_t y = 0; y <= 6; ++y)
    for (int32_t x = 0; x <= 13; ++x) ASSERT_EQ(s.work_g[y][x], half[s.host_g[y][x]]);
}

TEST(AdjustExtremes, EverySliderEndOnOddFramesStaysInBounds) {
  for (const char* name : kAdjustEffects) testing::RunSliderEnds(name);
}

}  // namespace
}  // namespace tessfx
