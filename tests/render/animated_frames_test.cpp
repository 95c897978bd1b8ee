// Animated effects keep nothing between frames: any frame rendered on its own equals the
// same frame of a render over the whole animation, so frames can be rendered in any order
// or spread over many machines.
#include <gtest/gtest.h>

#include "render/frame_range.h"
#include "render/rig.h"

namespace tessfx {
namespace {

TEST(AnimatedEffects, AFrameRenderedAloneEqualsTheSameFrameOfTheWholeRender) {
  const int32_t w = 40, h = 30, frames = 6;
  for (const char* effect : {"8 bit random dither", "1 bit random dither", "Film grain", "Perlin noise",
                             "Color perlin noise", "Snowfall", "Old film", "Lens flare"}) {
    testing::EditorRig whole(w, h, frames);
    whole.Paint();
    whole.editor->panel().SelectEffect(effect);
    testing::RecordingProgress progress;
    whole.editor->kv_button3_Click(progress);
    const auto all = whole.Frames();
    for (int32_t alone_frame : {4, 0, 5}) {
      testing::EditorRig alone(w, h, frames);
      alone.Paint();
      const auto before = alone.Frames();
      alone.editor->panel().SelectEffect(effect);
      const FrameSelection just = FrameSelection::Parse(std::to_string(alone_frame), frames);
      testing::RecordingProgress one;
      alone.editor->kv_button3_Click(one, &just);
      const auto after = alone.Frames();
      for (int32_t f = 0; f < frames; ++f)
        for (int c = 0; c < 3; ++c) {
          const size_t at = static_cast<size_t>(f) * 3 + c;
          ASSERT_EQ(after[at], f == alone_frame ? all[at] : before[at]) << effect << ": frame " << f;
        }
      ASSERT_NE(after[static_cast<size_t>(alone_frame) * 3], before[static_cast<size_t>(alone_frame) * 3]) << effect;
    }
  }
}

}  // namespace
}  // namespace tessfx
