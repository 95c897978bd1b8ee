// Every implemented effect of the catalogue gives the same result on one thread and on
// several. (Tiny and odd frames, and the host planes left as they are, are checked with the
// recorded results.)
#include <gtest/gtest.h>

#include "effects/test_frame.h"
#include "engine/catalogue.h"

namespace tessfx {
namespace {

using testing::TestFrame;

// The defaults, with every slider that starts at its minimum (where several effects do
// nothing: the displacements, the swap mix) moved three quarters up its range.
EffectParams WorkingValues(const EffectDef& e) {
  EffectParams v = testing::PanelValues(e);
  for (size_t i = 0; i < e.sliders.size(); ++i)
    if (e.sliders[i].value == e.sliders[i].min) v[i] = e.sliders[i].min + (e.sliders[i].max - e.sliders[i].min) * 3 / 4;
  return v;
}

TEST(CatalogueSweep, SameResultOnOneThreadAndOnSeveral) {
  // Large enough for several row bands (the serial limit is 64K samples).
  const int32_t w = 300, h = 250;
  for (const EffectDef& e : Effects()) {
    if (!e.implemented()) continue;
    auto render = [&](size_t threads) {
      return testing::WithThreads(threads, [&] {
        TestFrame f(w, h, 4);
        testing::NoiseFrames(f, w, h, 4);
        f.host().Tes_GotoFrame(3);
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
