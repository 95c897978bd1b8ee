// Blur, diffusion and sharpening effects through the frame dispatch.
#include <gtest/gtest.h>

#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::MakeRgba;
using testing::NoiseFrame;
using testing::TestFrame;
using testing::WorkingEqualsHost;

TEST(BlurDiffusion, LightNeverDarkensDarkNeverLightens) {
  for (float radius : {2.0f, 32.0f}) {
    TestFrame rig(NoiseFrame(41, 29, 11));
    const Plane light = rig.Run("Light diffusion", {radius, 255}).work_r.Clone();
    const Plane host = rig.image().host_r.Clone();
    const Plane dark = rig.Run("Dark diffusion", {radius, 255}).work_r.Clone();
    for (int32_t y = 0; y <= 29; ++y)
      for (int32_t x = 0; x <= 41; ++x)
        ASSERT_TRUE(dark[y][x] <= host[y][x] && host[y][x] <= light[y][x]) << radius << " at " << x << "," << y;
    EXPECT_TRUE(light != host && dark != host) << radius;
  }
}

TEST(BlurUnsharp, StepEdgeOvershootsToTheClampsWhereAlphaSelects) {
  // Columns 0..9 at 64, 10..19 at 192; at full amount the columns next to the edge go past both
  // levels to the clamps, those away from it keep their level. With the composite on, the box
  // blur is only taken where alpha selects (rows 0..2); elsewhere 3 x o - 2 x o leaves the frame.
  testing::Frame f = MakeRgba(20, 6, [](int, int32_t x, int32_t) -> uint8_t { return x < 10 ? 64 : 192; });
  f.a = testing::Make(20, 6, [](int32_t y, int32_t) -> uint8_t { return y < 3 ? 255 : 0; });
  for (int32_t alpha_bits : {1, 0}) {
    TestFrame rig(f, alpha_bits);
    const ImageState& s = rig.Run("Unsharp mask", {255});
    for (int32_t y = 0; y < 6; ++y) {
      const bool sharpened = alpha_bits == 1 || y < 3;
      EXPECT_TRUE(s.work_g[y][8] == 64 && s.work_g[y][9] == (sharpened ? 0 : 64) &&
                  s.work_g[y][10] == (sharpened ? 255 : 192) && s.work_g[y][11] == 192)
          << alpha_bits << " row " << y;
    }
  }
}

TEST(BlurMotion, ZeroDegreesSmearsAlongRowsOnly) {
  // Stripes of 20 and 200 along the rows, and across them.
  TestFrame horizontal(MakeRgba(30, 20, [](int, int32_t, int32_t y) -> uint8_t { return y % 2 ? 200 : 20; }));
  TestFrame vertical(MakeRgba(30, 20, [](int, int32_t x, int32_t) -> uint8_t { return x % 2 ? 200 : 20; }));
  EXPECT_TRUE(WorkingEqualsHost(horizontal.Run("Motion blur", {0, 10})));
  const ImageState& s = vertical.Run("Motion blur", {0, 10});
  // 11 samples from each pixel along the row: (6 x 20 + 5 x 200) / 11 and (5 x 20 + 6 x 200) / 11.
  EXPECT_TRUE(s.work_r[7][0] == 102 && s.work_b[19][11] == 118) << +s.work_r[7][0] << " " << +s.work_b[19][11];
  // At 90 degrees the same frames swap roles.
  EXPECT_TRUE(WorkingEqualsHost(vertical.Run("Motion blur", {90, 10})) &&
              !WorkingEqualsHost(horizontal.Run("Motion blur", {90, 10})));
}

TEST(BlurZoom, RaysFromTheCentreKeepTheirValue) {
  // Columns of constant value with the centre (41 x 50% = 20.5, rounded to even: 20) on
  // row 0: column 20 runs along a ray from the centre and keeps its value.
  TestFrame bands(MakeRgba(41, 41, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(x * 6); }));
  const ImageState& b = bands.Run("Zoom blur", {50, 0, 100, 100});
  for (int32_t y = 0; y < 41; ++y) ASSERT_EQ(b.work_g[y][20], 120);
  EXPECT_FALSE(WorkingEqualsHost(b));
  // A factor of zero samples every step at the pixel itself.
  EXPECT_TRUE(WorkingEqualsHost(bands.Run("Zoom blur", {30, 70, 0, 50})));
}

}  // namespace
}  // namespace tessfx
