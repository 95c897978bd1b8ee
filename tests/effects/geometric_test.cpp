// Mirage, mosaic and displace: the sampling rules and the size and amount guards.
#include <gtest/gtest.h>

#include "effects/effect_rig.h"

namespace tessfx {
namespace {

using testing::EffectRig;
using testing::Flat;

// Red holds the column and green the row (modulo 256), blue a mix of both.
RgbaOf<Plane> Coordinates(int32_t w, int32_t h) {
  return testing::MakeRgba(w, h, [](int c, int32_t x, int32_t y) {
    return static_cast<uint8_t>(c == 0 ? x : c == 1 ? y : x * 7 + y * 13);
  });
}

TEST(Mosaic, BlocksTakeTheSampleAtTheirCentre) {
  EffectRig rig(Coordinates(7, 5));
  const auto& host = rig.host();
  const auto& work = rig.work();
  rig.Run("Mosaic", {1});
  EXPECT_TRUE(rig.Working() == rig.Host());
  rig.Run("Mosaic", {2});  // each 2 x 2 block takes its lower-right sample; the last ones clamp
  for (int32_t x = 0; x < 7; ++x) EXPECT_EQ(work.r[0][x], std::min(x / 2 * 2 + 1, 6)) << x;
  for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(work.g[y][3], std::min(y / 2 * 2 + 1, 4)) << y;
  rig.Run("Mosaic", {2.5f});  // rounds half to even: 2
  EXPECT_EQ(work.r[2][2], 3);
  rig.Run("Mosaic", {50});  // one block: the sample at (min(25, 4), min(25, 6))
  EXPECT_TRUE(work.r[0][0] == 6 && work.g[4][6] == 4 && work.b[1][1] == host.b[4][6]);
  EXPECT_EQ(work.r[0][7], host.r[0][7]);  // the extra column is not written
  rig.work().r.Fill(3);  // a block size below one leaves the frame
  rig.Apply("Mosaic", {0.4f}).Apply("Mosaic", {-5});
  EXPECT_EQ(work.r, Flat(7, 5, 3));
}

TEST(Mirage, MixesEachRowWithItsMirrorTruncating) {
  // Row y of height h: (mirror x y + own x (h - y)) / h. Rows 40 x y on height 6: row 1
  // is (200 + 200) / 6 = 66.7 -> 66; row 0 and column 0 keep the frame.
  EffectRig rig(testing::MakeRgba(5, 6, [](int, int32_t, int32_t y) { return static_cast<uint8_t>(40 * y); }));
  const Plane& green = rig.Run("Mirage").work().g;
  const int expected[6] = {0, 66, 106, 120, 106, 66};
  for (int32_t y = 0; y < 6; ++y) EXPECT_TRUE(green[y][1] == expected[y] && green[y][0] == 40 * y) << y;
  // The routine steps through the quotients without dividing: on heights with many exact
  // and near-exact quotients, every sample still truncates as the division would.
  for (int32_t h : {2, 3, 255, 4097}) {
    EffectRig m({testing::Noise(4, h, 1), testing::Noise(4, h, 2), testing::Noise(4, h, 3), Flat(4, h, 255)});
    const Plane &in = m.host().b, &out = m.Run("Mirage").work().b;
    for (int32_t y = 1; y < h; ++y)
      for (int32_t x = 1; x < 4; ++x) ASSERT_EQ(out[y][x], (in[h - y][x] * y + in[y][x] * (h - y)) / h) << h << " " << y;
  }
}

// A coordinate frame displaced by a flat swap image.
struct Displaced {
  Displaced(int32_t w, int32_t h, uint8_t swap, float amount) : rig(Coordinates(w, h)) {
    rig.SetSwap(Flat(w, h, swap), Flat(w, h, swap), Flat(w, h, swap));
    rig.Run("Displace", {amount});
  }
  const RgbaOf<Plane>& work() { return rig.work(); }
  const RgbaOf<Plane>& host() { return rig.host(); }
  EffectRig rig;
};

TEST(Displace, SizeGuardJoinsTheSidesWithAnd) {
  // dx = 127 x 10 / 255 = 4: (1, 1) takes column 5 when the routine runs.
  for (auto [w, h, runs] : {std::tuple{100, 100, false}, std::tuple{100, 128, true}, std::tuple{128, 3, true}})
    EXPECT_EQ(Displaced(w, h, 255, 10).work().r[1][1] == 5, runs) << w << "x" << h;
}

TEST(Displace, OffsetsFollowTheSwapAndWrap) {
  // Mid grey moves nothing; rows 0..height and columns 0..width are written, the extra
  // ones wrapping to column and row 0.
  Displaced mid(130, 20, 128, 255);
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 130; ++x) ASSERT_EQ(mid.work().b[y][x], mid.host().b[y][x]);
  EXPECT_TRUE(mid.work().r[3][130] == 0 && mid.work().g[20][5] == 0);
  // White with 255.9 (floored to 255): +127 in both directions, wrapping.
  Displaced white(200, 150, 255, 255.9f);
  EXPECT_TRUE(white.work().r[0][0] == 127 && white.work().g[0][0] == 127 &&
              white.work().r[10][100] == (100 + 127) % 200 && white.work().g[40][0] == (40 + 127) % 150);
  // Black with 51: (0 - 128) x 51 / 255 = -25.6 -> -25; negative positions reflect, then wrap:
  // |3 - 25|, 30 - 25 and |2 - 25| mod 10.
  Displaced black(128, 10, 0, 51);
  EXPECT_TRUE(black.work().r[0][3] == 22 && black.work().r[0][30] == 5 && black.work().g[2][0] == 3);
  // Amounts far beyond the slider wrap arithmetically: (-128 x -1e9) / 255 = 501960784.
  Displaced far(128, 10, 0, -1e9f);
  EXPECT_TRUE(far.work().r[0][0] == 501960784 % 128 && far.work().g[0][0] == 501960784 % 10);
}

TEST(Displace, AmountsBelowOneLeaveTheFrame) {
  for (float amount : {0.7f, 0.0f, -0.0f}) {
    Displaced white(128, 4, 255, amount);
    EXPECT_TRUE(white.rig.Working() == white.rig.Host()) << amount;
  }
}

}  // namespace
}  // namespace tessfx
