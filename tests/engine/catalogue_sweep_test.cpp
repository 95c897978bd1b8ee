// Every implemented effect of the catalogue through the dispatch at its defaults: tiny and
// odd-sized frames (also run under the sanitizers), the host planes left as they are, and
// the same result on one thread and on several.
#include <gtest/gtest.h>

#include "effects/test_frame.h"
#include "engine/catalogue.h"
#include "engine/panel.h"

namespace tessfx {
namespace {

using testing::Noise;
using testing::TestFrame;

// The values the preview would pass after picking the effect: the defaults of its
// sliders and the design-time values of the hidden ones.
std::array<float, 6> DefaultValues(const EffectDef& e) {
  ParameterPanel panel;
  panel.SelectEffect(std::string(e.name));
  return panel.SliderValues();
}

// The defaults, with every slider that starts at its minimum (where several effects do
// nothing: the displacements, the swap mix) moved three quarters up its range.
std::array<float, 6> WorkingValues(const EffectDef& e) {
  std::array<float, 6> v = DefaultValues(e);
  for (size_t i = 0; i < e.sliders.size(); ++i)
    if (e.sliders[i].value == e.sliders[i].min) v[i] = e.sliders[i].min + (e.sliders[i].max - e.sliders[i].min) * 3 / 4;
  return v;
}

// Noise in the planes, the alpha and the swap image, the host at `frame`.
void Prepare(TestFrame& f, int32_t w, int32_t h, int32_t flag, int32_t frame = 0) {
  f.SetFrame(Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3), frame);
  f.SetAlpha(Noise(w, h, 4), frame);
  f.host().Tes_GotoFrame(frame);
  f.SetSwap(Noise(w, h, 5), Noise(w, h, 6), Noise(w, h, 7));
  f.host().set_alpha_bits(flag);
}

TEST(CatalogueSweep, EveryEffectRunsOnTinyAndOddFramesAndLeavesTheHostPlanes) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 3}, std::pair{7, 5}, std::pair{33, 17}, std::pair{130, 3}}) {
    const testing::Rgb host{Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3)};
    for (int32_t flag : {0, 1}) {
      TestFrame f(w, h, 2);
      Prepare(f, w, h, flag, 1);
      for (const EffectDef& e : Effects()) {
        if (!e.implemented()) continue;
        for (const auto& values : {DefaultValues(e), WorkingValues(e)}) {
          ASSERT_NO_THROW(f.Dispatch(std::string(e.name), values)) << e.name << " on " << w << "x" << h;
          ASSERT_TRUE(f.image().work_r.width() == w && f.image().work_b.height() == h) << e.name;
          ASSERT_TRUE(testing::Host(f.image()) == host) << e.name << " wrote the host planes";
        }
      }
    }
  }
}

TEST(CatalogueSweep, SameResultOnOneThreadAndOnSeveral) {
  // Large enough for several row bands (the serial limit is 64K samples).
  const int32_t w = 300, h = 250;
  for (const EffectDef& e : Effects()) {
    if (!e.implemented()) continue;
    auto render = [&](size_t threads) {
      return testing::WithThreads(threads, [&] {
        TestFrame f(w, h, 4);
        Prepare(f, w, h, 0, 3);
        f.Dispatch(std::string(e.name), WorkingValues(e));
        return testing::Working(f.image());
      });
    };
    const testing::Rgb one = render(1);
    EXPECT_TRUE(render(2) == one && render(5) == one) << e.name;
  }
}

}  // namespace
}  // namespace tessfx
