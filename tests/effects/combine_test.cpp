// Combine with swap: table values, the formulas, identities on equal images, inclusive
// bounds, the host planes as the table modes' source, and the swap refresh.
#include <gtest/gtest.h>

#include "effects/combine.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Noise;
using testing::TestFrame;

// A frame of one value and a swap image of another, flag 1 (no composite).
struct Pair {
  Pair(uint8_t frame, uint8_t swap, int32_t w = 5, int32_t h = 4) : f(w, h) {
    f.SetFrame(Flat(w, h, frame), Flat(w, h, frame), Flat(w, h, frame));
    f.SetSwap(Flat(w, h, swap), Flat(w, h, swap), Flat(w, h, swap));
    f.host().set_alpha_bits(1);
    f.Fetch();
  }
  uint8_t Run(const std::string& effect) {
    f.Dispatch(effect);
    return f.image().work_r[1][1];
  }
  TestFrame f;
};

TEST(CombineWithSwap, TableModesUseTheStartUpTables) {
  EXPECT_EQ(Pair(50, 200).Run("Combine subtract"), 0);  // subtract[200][50]
  EXPECT_EQ(Pair(200, 50).Run("Combine subtract"), 150);
  EXPECT_EQ(Pair(1, 2).Run("Combine divide"), 128);  // 127.5 rounds to even
  EXPECT_EQ(Pair(0, 128).Run("Combine around grey"), 1);
  EXPECT_EQ(Pair(1, 255).Run("Combine multiply"), 1);
  EXPECT_EQ(Pair(128, 128).Run("Combine multiply"), 64);
  EXPECT_EQ(Pair(200, 100).Run("Combine add"), 255);
  EXPECT_EQ(Pair(7, 0).Run("Combine divide"), 255);  // row 0 of the divide table
  EXPECT_EQ(Pair(100, 100).Run("Combine screen"), 161);  // 155/255*100 + 100 = 160.78
}

TEST(CombineWithSwap, FormulasPerChannel) {
  EXPECT_EQ(Pair(100, 0).Run("Combine luminance"), 39);  // 100 * 100 / 255
  EXPECT_EQ(Pair(100, 255).Run("Combine luminance"), 194);  // (255 * 155 + 10000) / 255 = 194.2
  EXPECT_EQ(Pair(77, 0).Run("Combine complement"), 77);
  EXPECT_EQ(Pair(77, 255).Run("Combine complement"), 178);
  EXPECT_EQ(Pair(30, 200).Run("Combine difference"), 170);
  EXPECT_EQ(Pair(99, 255).Run("Combine texturize"), 99);
  EXPECT_EQ(Pair(99, 0).Run("Combine texturize"), 0);
  EXPECT_EQ(Pair(0b1100, 0b1010).Run("Combine And"), 0b1000);
  EXPECT_EQ(Pair(0b1100, 0b1010).Run("Combine Or"), 0b1110);
  EXPECT_EQ(Pair(0b1100, 0b1010).Run("Combine Xor"), 0b0110);
}

TEST(CombineWithSwap, IdenticalImages) {
  TestFrame f(9, 7);
  const Plane r = Noise(9, 7, 1), g = Noise(9, 7, 2), b = Noise(9, 7, 3);
  f.SetFrame(r, g, b);
  f.SetSwap(r, g, b);
  f.host().set_alpha_bits(1);
  auto run = [&](const std::string& effect) {
    f.Dispatch(effect);
    return testing::Working(f.image());
  };
  const testing::Rgb frame = testing::Host(f.Fetch());
  const testing::Rgb black{Flat(9, 7, 0), Flat(9, 7, 0), Flat(9, 7, 0)};
  const testing::Rgb white{Flat(9, 7, 255), Flat(9, 7, 255), Flat(9, 7, 255)};
  EXPECT_TRUE(run("Combine difference") == black);
  EXPECT_TRUE(run("Combine Xor") == black);
  EXPECT_TRUE(run("Combine And") == frame);
  EXPECT_TRUE(run("Combine Or") == frame);
  EXPECT_TRUE(run("Combine binary") == white);
  EXPECT_TRUE(run("Combine less than") == frame);
  EXPECT_TRUE(run("Combine greater than") == frame);
}

TEST(CombineWithSwap, WholePixelChoices) {
  // Frame grey (10 + 20 + 31) / 3 = 20.33 -> 20; swap grey (9 + 21 + 30) / 3 = 20.
  TestFrame f(3, 2);
  f.SetFrame(Flat(3, 2, 10), Flat(3, 2, 20), Flat(3, 2, 31));
  f.SetSwap(Flat(3, 2, 9), Flat(3, 2, 21), Flat(3, 2, 30));
  f.host().set_alpha_bits(1);
  f.Dispatch("Combine less than");
  EXPECT_EQ(f.image().work_r[0][0], 10);  // equal greys keep the frame
  f.Dispatch("Combine binary");
  EXPECT_EQ(f.image().work_g[0][0], 255);  // 20 <= 20: white
  // Swap grey (9 + 21 + 33) / 3 = 21: the rounded grey (21) wins over the frame's 20.
  f.SetSwap(Flat(3, 2, 9), Flat(3, 2, 21), Flat(3, 2, 33));
  f.Dispatch("Combine greater than");
  EXPECT_EQ(f.image().work_b[1][2], 33);
  f.Dispatch("Combine less than");
  EXPECT_EQ(f.image().work_b[1][2], 31);
  f.Dispatch("Combine binary");
  EXPECT_EQ(f.image().work_b[1][2], 0);
}

TEST(CombineWithSwap, VisitsTheExtraRowAndColumn) {
  Pair p(30, 200, 6, 3);
  p.f.Dispatch("Combine difference");
  const ImageState& s = p.f.image();
  EXPECT_EQ(s.work_r[3][6], 170);
  EXPECT_EQ(s.work_b[3][0], 170);
  EXPECT_EQ(s.work_g[0][6], 170);
}

TEST(CombineWithSwap, TableModesReadTheUntouchedFrame) {
  Pair p(50, 10);
  ImageState& s = p.f.image();
  s.work_r.Fill(0);
  FxCombineByTable(s, p.f.tables().add);
  EXPECT_EQ(s.work_r[2][2], 60);
  s.work_r.Fill(0);
  FxCombineDifference(s);  // the formula modes read the working planes
  EXPECT_EQ(s.work_r[2][2], 10);
}

TEST(CombineWithSwap, RefreshesTheSwapPlanesFirst) {
  Pair p(50, 10);
  ImageState& s = p.f.image();
  s.swap_r.Fill(99);  // stale: the routine must fetch the host's swap image again
  FxCombineDifference(s);
  EXPECT_EQ(s.work_r[0][0], 40);
}

TEST(CombineWithSwap, CompositesThroughAlphaWithFlagZero) {
  TestFrame f(4, 4);
  f.SetFrame(Flat(4, 4, 30), Flat(4, 4, 30), Flat(4, 4, 30));
  f.SetSwap(Flat(4, 4, 200), Flat(4, 4, 200), Flat(4, 4, 200));
  f.SetAlpha(testing::Make(4, 4, [](int32_t, int32_t x) -> uint8_t { return x < 2 ? 0 : 255; }));
  f.Dispatch("Combine add");
  EXPECT_EQ(f.image().work_r[1][0], 30);
  EXPECT_EQ(f.image().work_r[1][3], 230);
}

TEST(CombineWithSwap, MixBuffersMixesLinearlyBySliderOver255) {
  Pair p(100, 200);
  p.f.Dispatch("Mix buffers", {0});
  EXPECT_EQ(p.f.image().work_r[1][1], 100);
  p.f.Dispatch("Mix buffers", {255});
  EXPECT_EQ(p.f.image().work_r[1][1], 200);
  p.f.Dispatch("Mix buffers", {51});  // 100 * 0.8 + 200 * 0.2
  EXPECT_EQ(p.f.image().work_r[4][5], 120);
}

}  // namespace
}  // namespace tessfx
