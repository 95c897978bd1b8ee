// Colour and tone adjustments, run through the frame dispatch as the editor runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "effects/adjust.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::FlatRgba;
using testing::MakeRgba;
using testing::Rgb;
using testing::TestFrame;
using testing::Working;
using testing::WorkingEqualsHost;

TEST(AdjustCoverage, WorkedColourOnEverySample) {
  // (200, 60, 30) on an odd frame: every sample, extra row and column too, takes the worked colour.
  struct Case {
    const char* name;
    std::array<float, 6> p;
    int out[3];
  };
  const Case cases[] = {
      {"Color adjustment", {128, 512, 255}, {100, 120, 30}}, {"Color add", {-50, 30, 0}, {150, 90, 30}},
      {"Value adjustment", {50, 100, 100, 100}, {100, 30, 15}}, {"Power curve", {1}, {99, 98, 98}},
      {"Power curve", {50}, {138, 84, 72}}, {"Power curve", {99}, {198, 61, 31}},
      {"Swap channels", {}, {30, 60, 200}}, {"Roll channels", {}, {30, 200, 60}}, {"Negative", {}, {55, 195, 225}},
      {"Saturation", {0}, {97, 97, 97}},                      // the mean 96.67, rounded
      {"Hue / Sat / Value", {120, 100, 255}, {30, 200, 60}},  // a third of the way round
      {"Invert value", {}, {255, 118, 88}},                   // the value turns over, the differences stay
  };
  for (const Case& c : cases) {
    TestFrame rig(FlatRgba(13, 7, 200, 60, 30));
    const ImageState& s = rig.Run(c.name, c.p);
    EXPECT_TRUE(Working(s) == (Rgb{Flat(13, 7, c.out[0]), Flat(13, 7, c.out[1]), Flat(13, 7, c.out[2])}))
        << c.name << " " << c.p[0] << ": " << +s.work_r[0][0] << "," << +s.work_g[0][0] << "," << +s.work_b[0][0];
  }
}

TEST(AdjustGreys, PowerCurveKeepsEveryGreyAndInvertValueTurnsItOver) {
  TestFrame rig(MakeRgba(256, 1, [](int, int32_t x, int32_t) { return static_cast<uint8_t>(std::min(x, 255)); }));
  const ImageState& inv = rig.Run("Invert value");
  for (int32_t x = 0; x < 256; ++x) ASSERT_EQ(inv.work_g[0][x], 255 - x);
  for (float p : {1.0f, 25.0f, 50.0f, 99.0f}) EXPECT_TRUE(WorkingEqualsHost(rig.Run("Power curve", {p}))) << p;
}

TEST(AdjustMapToGradient, TheMeanOfThePixelPicksTheEntry) {
  std::vector<uint8_t> grad(3 * 256);
  for (int c = 0; c < 3; ++c)
    for (int e = 0; e < 256; ++e) grad[c * 256 + e] = static_cast<uint8_t>((e * (c + 2) + 155) & 0xFF);
  // The sum of the three samples divided by 3, truncating: (10 + 20 + 32) / 3 = 20.
  for (auto [level, entry] : {std::pair{0, 0}, std::pair{255, 255}, std::pair{-1, 20}}) {
    TestFrame rig(level < 0 ? FlatRgba(11, 5, 10, 20, 32) : FlatRgba(11, 5, level, level, level));
    rig.host().SetGradient(5, grad);
    const ImageState& s = rig.Run("Map to gradient", {5.75f});  // the dispatch takes the integer part
    for (auto [y, x] : {std::pair{0, 0}, std::pair{4, 10}})
      EXPECT_TRUE(s.work_r[y][x] == grad[entry] && s.work_g[y][x] == grad[256 + entry] &&
                  s.work_b[y][x] == grad[512 + entry])
          << entry << " at " << x << "," << y;
    // This routine stops at the frame's edge: the extra row and column keep the frame.
    EXPECT_TRUE(s.work_r[5][3] == s.host_r[5][3] && s.work_b[2][11] == s.host_b[2][11]);
  }
}

TEST(AdjustValue, BrightnessContrastAndGammaShapeTheToneTable) {
  struct Case {
    float brightness, contrast, gamma;
    int in, out;
  };
  const Case cases[] = {
      // Gamma above the middle brightens mid-tones, below it darkens them; black and white stay.
      {100, 100, 50, 100, 18}, {100, 100, 150, 100, 183}, {100, 100, 50, 255, 255}, {100, 100, 150, 0, 0},
      // Brightness 150 adds (150 - 100) x 2.55, just short of 127.5; contrast at the top leaves
      // no span (every entry the brightness alone); contrast 150 stretches 64..191 over 0..255.
      {150, 100, 100, 0, 127}, {150, 100, 100, 128, 255}, {100, 200, 100, 255, 0}, {100, 150, 100, 64, 0},
      {100, 150, 100, 128, 129} /* 64 x 255 / 127 */, {100, 150, 100, 192, 255},
  };
  for (const Case& c : cases)
    EXPECT_EQ(ValueAdjustmentTable(100, c.brightness, c.contrast, c.gamma)[c.in], c.out)
        << c.brightness << " " << c.contrast << " " << c.gamma << " at " << c.in;
}

}  // namespace
}  // namespace tessfx
