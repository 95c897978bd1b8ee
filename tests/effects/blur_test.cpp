// Blur, diffusion and sharpening effects through the frame dispatch.
#include <gtest/gtest.h>

#include <cmath>

#include "effects/test_frame.h"
#include "effects/blur.h"

namespace tessfx {
namespace {

using testing::EffectRig;
using testing::FlatFrame;
using testing::MakeFrame;
using testing::NoiseFrame;
using testing::WorkingEqualsHost;

const char* const kBlurEffects[] = {"Gaussian blur", "Light diffusion", "Dark diffusion",
                                    "Unsharp mask",  "Zoom blur",       "Motion blur"};

// The slider of each level-mixed effect that sets the level, and the level-mixed effects.
struct Levelled {
  const char* name;
  int level_slider;
};
const Levelled kLevelled[] = {
    {"Gaussian blur", 1}, {"Light diffusion", 1}, {"Dark diffusion", 1}, {"Unsharp mask", 0}};

TEST(BlurLevel, LevelZeroRestoresTheFrameAnd255KeepsTheEffect) {
  for (Levelled e : kLevelled) {
    EffectRig rig(NoiseFrame(33, 17));
    EXPECT_TRUE(WorkingEqualsHost(rig.RunDefaults(e.name, {{e.level_slider, 0.0f}}))) << e.name;
    EXPECT_FALSE(WorkingEqualsHost(rig.RunDefaults(e.name, {{e.level_slider, 255.0f}}))) << e.name;
  }
  // At 255 the Gaussian blur shows exactly the plain blur.
  EffectRig rig(NoiseFrame(33, 17));
  const ImageState& s = rig.RunDefaults("Gaussian blur", {{0, 9.0f}, {1, 255.0f}});
  const Plane r = s.work_r.Clone();
  rig.image().work_r.CopyFrom(s.host_r);
  GaussianBlurPlanes(rig.image(), 9);
  EXPECT_TRUE(r == s.work_r);
}

TEST(BlurDiffusion, LightNeverDarkensDarkNeverLightens) {
  for (float radius : {2.0f, 7.0f, 32.0f, 64.0f}) {
    for (float level : {1.0f, 128.0f, 255.0f}) {
      EffectRig rig(NoiseFrame(41, 29, 11));
      const ImageState& light = rig.Run("Light diffusion", {radius, level});
      bool light_changed = false;
      for (int32_t y = 0; y <= 29; ++y)
        for (int32_t x = 0; x <= 41; ++x) {
          ASSERT_GE(light.work_r[y][x], light.host_r[y][x]);
          ASSERT_GE(light.work_b[y][x], light.host_b[y][x]);
          light_changed |= light.work_r[y][x] != light.host_r[y][x];
        }
      EXPECT_TRUE(light_changed || level < 2.0f) << radius << " " << level;
      const ImageState& dark = rig.Run("Dark diffusion", {radius, level});
      for (int32_t y = 0; y <= 29; ++y)
        for (int32_t x = 0; x <= 41; ++x) {
          ASSERT_LE(dark.work_r[y][x], dark.host_r[y][x]);
          ASSERT_LE(dark.work_g[y][x], dark.host_g[y][x]);
        }
    }
  }
}

TEST(BlurFlat, FlatFramesAreUnchangedByEveryBlur) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{5, 3}, std::pair{38, 21}, std::pair{300, 240}}) {
    for (const char* name : kBlurEffects) {
      for (int32_t alpha_bits : {0, 1}) {
        EffectRig rig(FlatFrame(w, h, 17, 128, 250), alpha_bits);
        EXPECT_TRUE(WorkingEqualsHost(rig.RunDefaults(name))) << name << " " << w << "x" << h;
        EXPECT_TRUE(WorkingEqualsHost(rig.RunDefaults(name, {{0, 64.0f}}))) << name << " " << w << "x" << h;
      }
    }
  }
}

TEST(BlurUnsharp, StepEdgeOvershootsToTheClampsOnBothSides) {
  // Columns 0..9 at 64, 10..19 at 192; at full amount the columns next to the edge go
  // past both levels to the clamps, and columns away from it keep their level.
  EffectRig rig(MakeFrame(20, 6, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x < 10 ? 64 : 192); }));
  const ImageState& s = rig.Run("Unsharp mask", {255});
  for (int32_t y = 0; y < 6; ++y) {
    EXPECT_EQ(s.work_r[y][9], 0);
    EXPECT_EQ(s.work_r[y][10], 255);
    EXPECT_EQ(s.work_r[y][8], 64);
    EXPECT_EQ(s.work_r[y][11], 192);
  }
  // An edge from black to white stays at the clamps and nothing else changes.
  EffectRig bw(MakeFrame(20, 6, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x < 10 ? 0 : 255); }));
  EXPECT_TRUE(WorkingEqualsHost(bw.Run("Unsharp mask", {255})));
}

TEST(BlurUnsharp, SharpensThroughTheSelectionOnly) {
  // With the composite on, the box blur is only taken where alpha selects; elsewhere the
  // blurred frame equals the original and 3 x o - 2 x o leaves it.
  testing::Frame f = MakeFrame(20, 6, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x < 10 ? 64 : 192); });
  for (int32_t y = 0; y <= 6; ++y)
    for (int32_t x = 0; x <= 20; ++x) f.a[y][x] = y < 3 ? 255 : 0;
  EffectRig rig(f, 0);
  const ImageState& s = rig.Run("Unsharp mask", {255});
  EXPECT_EQ(s.work_g[1][9], 0);
  EXPECT_EQ(s.work_g[4][9], 64);
  EXPECT_EQ(s.work_g[4][10], 192);
}

TEST(BlurGaussian, KeepsTheMeanOfAFrame) {
  EffectRig rig(NoiseFrame(97, 61, 5));
  for (float radius : {2.0f, 16.0f, 64.0f}) {
    const ImageState& s = rig.Run("Gaussian blur", {radius, 255});
    double before = 0, after = 0;
    for (int32_t y = 0; y < 61; ++y)
      for (int32_t x = 0; x < 97; ++x) {
        before += s.host_b[y][x];
        after += s.work_b[y][x];
      }
    EXPECT_NEAR(after / (97 * 61), before / (97 * 61), 0.05) << radius;
  }
}

TEST(BlurMotion, ZeroDegreesSmearsAlongRowsOnly) {
  const testing::Frame rows = MakeFrame(30, 20, [](int, int32_t, int32_t y) { return static_cast<uint8_t>(y % 2 ? 200 : 20); });
  const testing::Frame cols = MakeFrame(30, 20, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x % 2 ? 200 : 20); });
  EffectRig horizontal(rows);
  EXPECT_TRUE(WorkingEqualsHost(horizontal.Run("Motion blur", {0, 10})));
  EffectRig vertical(cols);
  const ImageState& s = vertical.Run("Motion blur", {0, 10});
  // 11 samples along the row: 5 or 6 of each colour, away from the right edge.
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x + 10 < 30; ++x) ASSERT_NEAR(s.work_r[y][x], 110, 9) << x << "," << y;
  // At 90 degrees the same frames swap roles.
  EXPECT_TRUE(WorkingEqualsHost(vertical.Run("Motion blur", {90, 10})));
  EXPECT_FALSE(WorkingEqualsHost(horizontal.Run("Motion blur", {90, 10})));
}

TEST(BlurMotion, RotatePointUsesTheRoundedDegreeFactor) {
  float x = 10, y = 0;
  RotatePointDegrees(0, x, y);
  EXPECT_EQ(x, 10.0f);
  EXPECT_EQ(y, 0.0f);
  x = 10, y = 0;
  RotatePointDegrees(90, x, y);
  // 90 x 0.01745 falls just short of a right angle: x stays a little above 0.
  EXPECT_GT(x, 0.0f);
  EXPECT_LT(x, 0.01f);
  EXPECT_NEAR(y, 10.0f, 1e-5f);
  x = 3, y = 4;
  RotatePointDegrees(180, x, y);
  EXPECT_NEAR(x, -3.0f, 0.01f);
  EXPECT_NEAR(y, -4.0f, 0.01f);
}

TEST(BlurZoom, CentreStaysAndTheRestBlursTowardIt) {
  // The centre (41 x 50% = 20.5, rounded to even: 20) samples only itself.
  EffectRig rig(NoiseFrame(41, 41, 9));
  const ImageState& s = rig.Run("Zoom blur", {50, 50, 100, 100});
  EXPECT_EQ(s.work_r[20][20], s.host_r[20][20]);
  EXPECT_FALSE(WorkingEqualsHost(s));
  // A pattern that only varies along rays from the centre is left as it is, away from
  // where the rays converge: here rows above and below the centre are constant bands.
  EffectRig bands(MakeFrame(41, 41, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x * 6); }));
  const ImageState& b = bands.Run("Zoom blur", {50, 0, 100, 100});
  // The centre is on row 0, column 20; column 20 runs along a ray and keeps its value.
  for (int32_t y = 0; y < 41; ++y) ASSERT_EQ(b.work_g[y][20], 120);
  // A factor of zero samples every step at the pixel itself.
  EXPECT_TRUE(WorkingEqualsHost(rig.Run("Zoom blur", {30, 70, 0, 50})));
}

TEST(BlurExtremes, EverySliderEndOnOddFramesStaysInBounds) {
  for (const char* name : kBlurEffects) testing::RunSliderEnds(name);
}

}  // namespace
}  // namespace tessfx
