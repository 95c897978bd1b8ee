// Effects of every family through the dispatch: neutral settings, and the ends of every
// slider on small and odd frames.
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

TEST(SliderEnds, EveryEndOnSmallAndOddFramesStaysInBounds) {
  // Each end of each slider of every implemented effect, the others at their defaults, with
  // and without the composite: nothing may reach outside the planes.
  for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{2, 9}, std::pair{1, 2}, std::pair{65, 1}}) {
    for (int32_t alpha_bits : {0, 1}) {
      TestFrame rig(testing::NoiseFrame(w, h), alpha_bits);
      for (const EffectDef& e : Effects()) {
        for (int i = 0; e.implemented() && i < static_cast<int>(e.sliders.size()); ++i)
          for (int16_t v : {e.sliders[i].min, e.sliders[i].max})
            EXPECT_EQ(rig.RunDefaults(std::string(e.name), {{i, v}}).work_r.width(), w) << e.name;
      }
    }
  }
}

}  // namespace
}  // namespace tessfx
