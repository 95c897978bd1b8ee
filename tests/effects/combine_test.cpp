// Combine with swap: worked values of every mode, identities on equal images, the host
// planes as the table modes' source and the swap refresh.
#include <gtest/gtest.h>

#include "effects/effect_rig.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::FlatRgba;
using testing::TestFrame;

// A 5 x 4 frame of one value and a swap image of another, flag 1 (no composite); Run
// gives the corner of the extra row and column, which every mode visits.
struct Pair {
  Pair(uint8_t frame, uint8_t swap) : f(FlatRgba(5, 4, frame, frame, frame)) {
    f.SetSwap(Flat(5, 4, swap), Flat(5, 4, swap), Flat(5, 4, swap));
    f.Fetch();
  }
  uint8_t Run(const std::string& effect, std::array<float, 6> p = {}) { return f.Run(effect, p).work_r[4][5]; }
  TestFrame f;
};

TEST(CombineWithSwap, WorkedValuesPerChannel) {
  struct Case {
    uint8_t frame, swap;
    const char* effect;
    int expected;
    float level = 0;  // the slider, where the mode has one
  };
  const Case cases[] = {
      // The start-up tables, [swap][frame]; division by 0 is row 0 of the divide table.
      {50, 200, "Combine subtract", 0},     {200, 50, "Combine subtract", 150}, {7, 0, "Combine divide", 255},
      {1, 2, "Combine divide", 128},  // 127.5 rounds to even
      {0, 128, "Combine around grey", 1},   {1, 255, "Combine multiply", 1},    {128, 128, "Combine multiply", 64},
      {200, 100, "Combine add", 255},       {100, 100, "Combine screen", 161},  // 155 / 255 x 100 + 100
      {100, 0, "Combine luminance", 39},    // 100 x 100 / 255
      {100, 255, "Combine luminance", 194},  // (255 x 155 + 10000) / 255
      {77, 0, "Combine complement", 77},    {77, 255, "Combine complement", 178},
      {30, 200, "Combine difference", 170}, {99, 255, "Combine texturize", 99}, {99, 0, "Combine texturize", 0},
      {0b1100, 0b1010, "Combine And", 0b1000}, {0b1100, 0b1010, "Combine Or", 0b1110},
      {0b1100, 0b1010, "Combine Xor", 0b0110},
      // Mix buffers mixes linearly by the slider over 255: 100 x 0.8 + 200 x 0.2 at 51.
      {100, 200, "Mix buffers", 100, 0}, {100, 200, "Mix buffers", 200, 255}, {100, 200, "Mix buffers", 120, 51},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Pair(c.frame, c.swap).Run(c.effect, {c.level}), c.expected)
        << c.effect << " " << int{c.frame} << " " << int{c.swap};
}

TEST(CombineWithSwap, IdenticalImages) {
  // Over a thousand samples, so that the whole-pixel modes run more than one chunk.
  const testing::Frame n = testing::NoiseFrame(40, 30);
  TestFrame f(n);
  f.SetSwap(n.r, n.g, n.b);
  const testing::Rgb frame{n.r.Clone(), n.g.Clone(), n.b.Clone()};
  const testing::Rgb black{Flat(40, 30, 0), Flat(40, 30, 0), Flat(40, 30, 0)};
  const testing::Rgb white{Flat(40, 30, 255), Flat(40, 30, 255), Flat(40, 30, 255)};
  using Case = std::pair<const char*, const testing::Rgb*>;
  for (auto [effect, expected] : {Case{"Combine difference", &black}, Case{"Combine binary", &white},
                                  Case{"Combine less than", &frame}, Case{"Combine greater than", &frame}})
    EXPECT_TRUE(testing::Working(f.Run(effect)) == *expected) << effect;
}

TEST(CombineWithSwap, WholePixelChoices) {
  // Frame grey (10 + 20 + 31) / 3 = 20.33 -> 20; swap grey (9 + 21 + 30) / 3 = 20.
  TestFrame f(FlatRgba(3, 2, 10, 20, 31));
  f.SetSwap(Flat(3, 2, 9), Flat(3, 2, 21), Flat(3, 2, 30));
  EXPECT_EQ(f.Run("Combine less than").work_r[0][0], 10);  // equal greys keep the frame
  EXPECT_EQ(f.Run("Combine binary").work_g[0][0], 255);    // 20 <= 20: white
  // Swap grey (9 + 21 + 33) / 3 = 21: the rounded grey (21) wins over the frame's 20.
  f.SetSwap(Flat(3, 2, 9), Flat(3, 2, 21), Flat(3, 2, 33));
  EXPECT_EQ(f.Run("Combine greater than").work_b[1][2], 33);
  EXPECT_EQ(f.Run("Combine less than").work_b[1][2], 31);
  EXPECT_EQ(f.Run("Combine binary").work_b[1][2], 0);
}

TEST(CombineWithSwap, TableModesReadTheHostPlanesTheOthersTheWorkingOnes) {
  testing::EffectRig rig({Flat(5, 4, 50), Flat(5, 4, 50), Flat(5, 4, 50), Flat(5, 4, 255)});
  rig.SetSwap(Flat(5, 4, 10), Flat(5, 4, 10), Flat(5, 4, 10));
  rig.work().r.Fill(0);
  EXPECT_EQ(rig.Apply("Combine add").work().r[2][2], 60);
  rig.work().r.Fill(0);
  EXPECT_EQ(rig.Apply("Combine difference").work().r[2][2], 10);
}

TEST(CombineWithSwap, EveryDispatchFetchesTheSwapImageAgain) {
  Pair p(50, 10);
  p.f.image().swap_r.Fill(99);  // stale planes of an earlier dispatch
  EXPECT_EQ(p.Run("Combine difference"), 40);
}

}  // namespace
}  // namespace tessfx
