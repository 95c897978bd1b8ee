// The frame dispatch: caption, the frame number for the random effects, and the inline
// filter-library effects with their composite and level mix.
#include <gtest/gtest.h>

#include "effects/test_frame.h"
#include "engine/dispatch.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Noise;
using testing::TestFrame;

TEST(FrameDispatch, CaptionKeepsTheSignBlanks) {
  EXPECT_EQ(FrameCaption(0, 30), "Timeline editor  (frame 1 of  30 total)");
  EXPECT_EQ(FrameCaption(-2, 5), "Timeline editor  (frame-1 of  5 total)");
  TestFrame f(4, 3, 12);
  f.host().Tes_GotoFrame(9);
  EXPECT_EQ(f.Dispatch("Slate"), "Timeline editor  (frame 10 of  12 total)");
}

TEST(FrameDispatch, WithoutASwapImageItsEffectsSaySoAndLeaveTheFrame) {
  TestFrame f(testing::NoiseFrame(9, 5), 0);
  f.SetAlpha(Noise(9, 5, 8));
  int swap_effects = 0;
  for (const EffectDef& e : Effects()) {
    if (!e.implemented() || !e.Uses(kSwapImage)) continue;
    ++swap_effects;
    // Every slider at its maximum, so that each effect would act.
    EXPECT_EQ(f.Dispatch(std::string(e.name), testing::SlidersAt(e, testing::SliderEnd::Max)), kNoSwapImageCaption)
        << e.name;
    EXPECT_TRUE(testing::WorkingEqualsHost(f.image())) << e.name;
  }
  EXPECT_GE(swap_effects, 24);
  f.SetSwap(Noise(9, 5, 1), Noise(9, 5, 2), Noise(9, 5, 3));
  EXPECT_NE(f.Dispatch("Combine add"), kNoSwapImageCaption);
  EXPECT_FALSE(testing::WorkingEqualsHost(f.image()));
  // A swap image belongs to its frame size: a new animation of another size has none.
  f.host().NewAnimation(6, 4, 1);
  EXPECT_EQ(f.Dispatch("Combine add"), kNoSwapImageCaption);
}

TEST(FrameDispatch, RandomEffectsAreSeededByTheHostFrame) {
  TestFrame f(40, 30, 3);
  const Plane grey = Flat(40, 30, 128);
  for (int32_t frame = 0; frame < 3; ++frame) f.SetFrame(grey, grey, grey, frame);
  auto render = [&](const char* effect, int32_t frame) {
    f.host().Tes_GotoFrame(frame);
    f.Dispatch(effect, {255});
    return testing::Working(f.image());
  };
  for (const char* e : {"Value noise", "Color noise"}) {
    const testing::Rgb f1 = render(e, 1);
    EXPECT_FALSE(render(e, 2) == f1) << e;
    EXPECT_TRUE(render(e, 1) == f1) << e;  // any order of frames
  }
}

TEST(FrameDispatch, ConvolutionsEndWithTheLevelMixByTheFirstValue) {
  // Lines of 100 and 201: deinterlace averages each line with the one above (halves to even).
  TestFrame f(10, 8);
  f.host().set_alpha_bits(1);
  f.SetFrame(Make(10, 8, [](int32_t y, int32_t) -> uint8_t { return y % 2 ? 201 : 100; }), Flat(10, 8, 0),
             Flat(10, 8, 0));
  struct Case {
    const char* effect;
    float level;
    uint8_t row0, row1;
  };
  for (const Case& c : {Case{"Deinterlace", 255, 100, 150},     // 150.5
                        Case{"Reduce flicker", 255, 100, 167},  // (100 + 402) / 3 = 167.3
                        Case{"Deinterlace", 102, 100, 181}}) {  // 150 * 0.4 + 201 * 0.6 = 180.6
    f.Dispatch(c.effect, {c.level});
    EXPECT_EQ((std::pair{f.image().work_r[0][3], f.image().work_r[1][3]}), (std::pair{c.row0, c.row1}))
        << c.effect << " " << c.level;
  }
}

TEST(FrameDispatch, EmbossAndEdgeKernels) {
  TestFrame f(6, 6);
  f.SetFrame(Flat(6, 6, 10), Flat(6, 6, 200), Flat(6, 6, 90));
  f.host().set_alpha_bits(1);
  for (auto [effect, flat] : {std::pair{"Color emboss", 128}, std::pair{"Edge detect", 0}, std::pair{"Sharpen", 200}}) {
    f.Dispatch(effect, {255});
    EXPECT_EQ(f.image().work_g[3][3], flat) << effect;
  }
  // A vertical edge lit from the left: a rise to white shows light, flat areas mid-grey, and
  // the grey emboss gives equal channels.
  const ImageState& s = f.image();
  f.SetFrame(Make(6, 6, [](int32_t, int32_t x) -> uint8_t { return x < 3 ? 0 : 255; }), Flat(6, 6, 0), Flat(6, 6, 0));
  f.Dispatch("Grey emboss", {255});
  EXPECT_EQ(s.work_r[2][2], s.work_b[2][2]);
  EXPECT_GT(s.work_r[2][2], 128);
  EXPECT_EQ(s.work_r[2][0], 128);
}

}  // namespace
}  // namespace tessfx
