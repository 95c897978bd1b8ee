// The frame dispatch: caption, name matching, the frame number for the random effects,
// and the inline filter-library effects with their composite and level mix.
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

TEST(FrameDispatch, NamesMatchExactlyAfterTheIndent) {
  EXPECT_EQ(EffectNameOfEntry("    Slate"), "Slate");
  EXPECT_EQ(EffectNameOfEntry("Video"), "o");  // four characters go, whatever they are
  TestFrame f(6, 4);
  f.SetFrame(Noise(6, 4, 1), Noise(6, 4, 2), Noise(6, 4, 3));
  f.host().set_alpha_bits(1);
  for (const char* name : {"slate", "Slate ", "Video", "No such effect"}) {
    EXPECT_FALSE(f.Dispatch(name).empty());  // the caption is set before the name is looked up
    EXPECT_TRUE(testing::Working(f.image()) == testing::Host(f.image())) << name;
  }
  f.Dispatch("Slate");
  EXPECT_EQ(f.image().work_g[0][5], 0);
}

TEST(FrameDispatch, RandomEffectsAreSeededByTheHostFrame) {
  TestFrame f(40, 30, 3);
  for (int32_t frame = 0; frame < 3; ++frame) f.SetFrame(Flat(40, 30, 128), Flat(40, 30, 128), Flat(40, 30, 128), frame);
  auto render = [&](const char* effect, int32_t frame) {
    f.host().Tes_GotoFrame(frame);
    f.Dispatch(effect, {255});
    return testing::Working(f.image());
  };
  for (const char* e : {"Value noise", "Color noise"}) {
    const testing::Rgb f1 = render(e, 1);
    EXPECT_FALSE(render(e, 2) == f1) << e;
    EXPECT_FALSE(render(e, 0) == f1) << e;
    EXPECT_TRUE(render(e, 1) == f1) << e;  // any order of frames
  }
}

TEST(FrameDispatch, PosterizeAtZeroDoesNothing) {
  TestFrame f(5, 5);
  f.SetFrame(Noise(5, 5, 1), Noise(5, 5, 2), Noise(5, 5, 3));
  f.Dispatch("Posterize", {0});
  EXPECT_TRUE(testing::Working(f.image()) == testing::Host(f.image()));
  f.Dispatch("Posterize", {128});
  EXPECT_TRUE(f.image().work_r[2][2] == 0 || f.image().work_r[2][2] == 255);
  EXPECT_EQ(f.image().work_a, f.image().host_a);
}

TEST(FrameDispatch, InlineEffectsCompositeOnlyWithFlagZero) {
  for (const char* e : {"Tint", "Posterize", "Threshold", "Value noise", "Color noise", "Jitter", "Median",
                        "Simple blur", "Sharpen", "Grey emboss", "Color emboss", "Edge detect"}) {
    for (int32_t flag : {0, 1}) {
      TestFrame f(12, 9);
      f.SetFrame(Noise(12, 9, 1), Noise(12, 9, 2), Noise(12, 9, 3));
      f.SetAlpha(Flat(12, 9, 0));
      f.host().set_alpha_bits(flag);
      f.Dispatch(e, {255, 0, 60, 0, 0, 0});
      const bool unchanged = testing::Working(f.image()) == testing::Host(f.image());
      EXPECT_EQ(unchanged, flag == 0) << e << " flag " << flag;
    }
  }
}

TEST(FrameDispatch, ConvolutionsEndWithTheLevelMixByTheFirstValue) {
  TestFrame f(10, 8);
  f.SetFrame(Noise(10, 8, 4), Noise(10, 8, 5), Noise(10, 8, 6));
  f.host().set_alpha_bits(1);
  for (const char* e : {"Simple blur", "Sharpen", "Edge detect", "Deinterlace"}) {
    f.Dispatch(e, {0, 9, 9, 9, 9, 9});
    EXPECT_TRUE(testing::Working(f.image()) == testing::Host(f.image())) << e;
  }
  // Deinterlace at full level: each line averaged with the one above (halves to even).
  f.SetFrame(Make(10, 8, [](int32_t y, int32_t) -> uint8_t { return y % 2 ? 201 : 100; }), Flat(10, 8, 0),
             Flat(10, 8, 0));
  f.Dispatch("Deinterlace", {255});
  EXPECT_EQ(f.image().work_r[0][3], 100);
  EXPECT_EQ(f.image().work_r[1][3], 150);  // 150.5
  EXPECT_EQ(f.image().work_r[2][3], 150);
  f.Dispatch("Reduce flicker", {255});
  EXPECT_EQ(f.image().work_r[1][3], 167);  // (100 + 402) / 3 = 167.3
  f.Dispatch("Deinterlace", {102});  // level 0.4: 150.5 -> 150, mixed with 201
  EXPECT_EQ(f.image().work_r[1][3], 181);  // 150 * 0.4 + 201 * 0.6 = 180.6
}

TEST(FrameDispatch, EmbossAndEdgeKernels) {
  TestFrame f(6, 6);
  f.SetFrame(Flat(6, 6, 10), Flat(6, 6, 200), Flat(6, 6, 90));
  f.host().set_alpha_bits(1);
  f.Dispatch("Color emboss", {255});
  EXPECT_EQ(f.image().work_g[3][3], 128);
  f.Dispatch("Edge detect", {255});
  EXPECT_EQ(f.image().work_g[3][3], 0);
  f.Dispatch("Sharpen", {255});
  EXPECT_EQ(f.image().work_g[3][3], 200);
  // Vertical edges lit from the left: a rise to white shows light, a fall to black dark,
  // flat areas mid-grey, and the grey emboss gives equal channels.
  f.SetFrame(Make(6, 6, [](int32_t, int32_t x) -> uint8_t { return x < 3 ? 0 : 255; }), Flat(6, 6, 0), Flat(6, 6, 0));
  f.Dispatch("Grey emboss", {255});
  const ImageState& s = f.image();
  EXPECT_EQ(s.work_r[2][2], s.work_b[2][2]);
  EXPECT_GT(s.work_r[2][2], 128);
  EXPECT_EQ(s.work_r[2][0], 128);
  f.SetFrame(Make(6, 6, [](int32_t, int32_t x) -> uint8_t { return x < 3 ? 255 : 0; }), Flat(6, 6, 0), Flat(6, 6, 0));
  f.Dispatch("Grey emboss", {255});
  EXPECT_LT(s.work_g[2][3], 128);
  EXPECT_EQ(s.work_g[2][5], 128);
}

}  // namespace
}  // namespace tessfx
