// Effects of every family through the dispatch: neutral settings, where alpha lets the
// result show, and the ends of every slider on small and odd frames.
#include <gtest/gtest.h>

#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Noise;
using testing::TestFrame;
using testing::WorkingEqualsHost;

TEST(Neutral, AdjustmentDefaultsAndBlurLevelZeroLeaveTheFrame) {
  // The level slider of each level-mixed blur (-1: the adjustments, at their defaults).
  const std::pair<const char*, int> cases[] = {
      {"Color adjustment", -1}, {"Color add", -1},      {"Value adjustment", -1}, {"Saturation", -1},
      {"Hue / Sat / Value", -1}, {"Gaussian blur", 1}, {"Light diffusion", 1},   {"Dark diffusion", 1},
      {"Unsharp mask", 0}};
  for (auto [name, level] : cases) {
    TestFrame rig(testing::NoiseFrame(37, 23));
    EXPECT_TRUE(WorkingEqualsHost(level < 0 ? rig.RunDefaults(name) : rig.RunDefaults(name, {{level, 0.0f}})))
        << name;
    EXPECT_TRUE(level < 0 || !WorkingEqualsHost(rig.RunDefaults(name, {{level, 255.0f}}))) << name;
  }
}

// Noise in the frame and the swap image, alpha 0 on the left half and 255 on the right;
// the working planes after the effect.
testing::Rgb RunOnHalfAlpha(const std::string& name, std::array<float, 6> p, int32_t alpha_bits) {
  TestFrame f(130, 6);  // wide enough for the displace
  f.SetFrame(Noise(130, 6, 1), Noise(130, 6, 2), Noise(130, 6, 3));
  f.SetSwap(Noise(130, 6, 4), Noise(130, 6, 5), Noise(130, 6, 6));
  f.SetAlpha(testing::Make(130, 6, [](int32_t, int32_t x) -> uint8_t { return x < 65 ? 0 : 255; }));
  f.host().set_alpha_bits(alpha_bits);
  f.Dispatch(name, p);
  return testing::Working(f.image());
}

TEST(Composite, WithFlagZeroAlphaKeepsTheFrameWhereTheFamilyComposites) {
  struct Case {
    const char* name;
    std::array<float, 6> p;
    bool composites;
  };
  const Case cases[] = {
      // The shared composite, and the value adjustment's own alpha path.
      {"Negative", {}, true}, {"Value adjustment", {60, 100, 100, 100}, true}, {"Mirage", {}, true},
      {"Hue / Sat / Value", {120, 100, 255}, true}, {"Day for night", {}, true}, {"Slate", {}, true},
      {"Reverse fields", {}, true}, {"Mosaic", {4}, true}, {"Displace", {200}, true}, {"Combine add", {}, true},
      {"Combine less than", {}, true}, {"Mix buffers", {100}, true},
      // No composite: the lines and the rank filters show everywhere.
      {"Video lines", {}, false}, {"Maximize", {}, false}, {"MinMax", {}, false},
  };
  const testing::Rgb frame{Noise(130, 6, 1), Noise(130, 6, 2), Noise(130, 6, 3)};
  for (const Case& c : cases) {
    const testing::Rgb plain = RunOnHalfAlpha(c.name, c.p, 1), alpha = RunOnHalfAlpha(c.name, c.p, 0);
    ASSERT_FALSE(plain == frame) << c.name;
    for (int32_t y = 0; y < 6; ++y)
      for (int32_t x = 0; x < 130; ++x) {
        const testing::Rgb& want = c.composites && x < 65 ? frame : plain;
        ASSERT_TRUE(alpha.r[y][x] == want.r[y][x] && alpha.g[y][x] == want.g[y][x] &&
                    alpha.b[y][x] == want.b[y][x])
            << c.name << " at " << x << "," << y;
      }
  }
}

TEST(SliderEnds, EveryEndOnSmallAndOddFramesStaysInBounds) {
  // Each end of each slider of every implemented effect, the others at their defaults, with
  // and without the composite: nothing may reach outside the planes.
  for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{2, 9}, std::pair{1, 2}, std::pair{65, 1}}) {
    for (int32_t alpha_bits : {0, 1}) {
      TestFrame rig(testing::NoiseFrame(w, h), alpha_bits);
      for (const EffectSpec& e : Effects()) {
        for (int i = 0; e.implemented() && i < static_cast<int>(e.sliders.size()); ++i)
          for (int16_t v : {e.sliders[i].min, e.sliders[i].max})
            EXPECT_EQ(rig.RunDefaults(std::string(e.name), {{i, v}}).work_r.width(), w) << e.name;
      }
    }
  }
}

}  // namespace
}  // namespace tessfx
