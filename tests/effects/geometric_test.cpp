// Mirage, mosaic and displace: the sampling rules and the size and amount guards.
#include <gtest/gtest.h>

#include "effects/geometric.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::TestFrame;

// Red holds the column and green the row (modulo 256), blue a mix of both.
testing::Frame Coordinates(int32_t w, int32_t h) {
  return testing::MakeFrame(w, h, [](int c, int32_t x, int32_t y) {
    return static_cast<uint8_t>(c == 0 ? x : c == 1 ? y : x * 7 + y * 13);
  });
}

TEST(Mosaic, BlocksTakeTheSampleAtTheirCentre) {
  TestFrame f(Coordinates(7, 5));
  ImageState& s = f.Fetch();
  FxMosaic(s, 1);
  EXPECT_TRUE(testing::Working(s) == testing::Host(s));
  FxMosaic(s, 2);  // each 2 x 2 block takes its lower-right sample; the last ones clamp
  for (int32_t x = 0; x < 7; ++x) EXPECT_EQ(s.work_r[0][x], std::min(x / 2 * 2 + 1, 6)) << x;
  for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(s.work_g[y][3], std::min(y / 2 * 2 + 1, 4)) << y;
  FxMosaic(s, 2.5f);  // rounds half to even: 2
  EXPECT_EQ(s.work_r[2][2], 3);
  FxMosaic(s, 50);  // one block: the sample at (min(25, 4), min(25, 6))
  EXPECT_TRUE(s.work_r[0][0] == 6 && s.work_g[4][6] == 4 && s.work_b[1][1] == s.host_b[4][6]);
  EXPECT_EQ(s.work_r[0][7], s.host_r[0][7]);  // the extra column is not written
  s.work_r.Fill(3);  // a block size below one leaves the frame
  FxMosaic(s, 0.4f);
  FxMosaic(s, -5);
  EXPECT_EQ(s.work_r, Flat(7, 5, 3));
}

TEST(Mirage, MixesEachRowWithItsMirrorTruncating) {
  // Row y of height h: (mirror x y + own x (h - y)) / h. Rows 40 x y on height 6: row 1
  // is (200 + 200) / 6 = 66.7 -> 66; row 0 and column 0 keep the frame.
  TestFrame f(testing::MakeFrame(5, 6, [](int, int32_t, int32_t y) { return static_cast<uint8_t>(40 * y); }));
  ImageState& s = f.Fetch();
  FxMirage(s);
  const int expected[6] = {0, 66, 106, 120, 106, 66};
  for (int32_t y = 0; y < 6; ++y) EXPECT_TRUE(s.work_g[y][1] == expected[y] && s.work_g[y][0] == 40 * y) << y;
  // The routine steps through the quotients without dividing: on heights with many exact
  // and near-exact quotients, every sample still truncates as the division would.
  for (int32_t h : {2, 3, 255, 4097}) {
    TestFrame t(testing::NoiseFrame(4, h));
    ImageState& m = t.Fetch();
    FxMirage(m);
    for (int32_t y = 1; y < h; ++y)
      for (int32_t x = 1; x < 4; ++x)
        ASSERT_EQ(m.work_b[y][x], (m.host_b[h - y][x] * y + m.host_b[y][x] * (h - y)) / h) << h << " " << y;
  }
}

// A coordinate frame displaced by a flat swap image.
struct Displaced {
  Displaced(int32_t w, int32_t h, uint8_t swap, float amount) : f(Coordinates(w, h)) {
    f.SetSwap(Flat(w, h, swap), Flat(w, h, swap), Flat(w, h, swap));
    FxDisplace(f.Fetch(), amount);
  }
  const ImageState& s() { return f.image(); }
  TestFrame f;
};

TEST(Displace, SizeGuardJoinsTheSidesWithAnd) {
  // dx = 127 x 10 / 255 = 4: (1, 1) takes column 5 when the routine runs.
  for (auto [w, h, runs] : {std::tuple{100, 100, false}, std::tuple{100, 128, true}, std::tuple{128, 3, true}})
    EXPECT_EQ(Displaced(w, h, 255, 10).s().work_r[1][1] == 5, runs) << w << "x" << h;
}

TEST(Displace, OffsetsFollowTheSwapAndWrap) {
  // Mid grey moves nothing; rows 0..height and columns 0..width are written, the extra
  // ones wrapping to column and row 0.
  Displaced mid(130, 20, 128, 255);
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 130; ++x) ASSERT_EQ(mid.s().work_b[y][x], mid.s().host_b[y][x]);
  EXPECT_TRUE(mid.s().work_r[3][130] == 0 && mid.s().work_g[20][5] == 0);
  // White with 255.9 (floored to 255): +127 in both directions, wrapping.
  Displaced white(200, 150, 255, 255.9f);
  EXPECT_TRUE(white.s().work_r[0][0] == 127 && white.s().work_g[0][0] == 127 &&
              white.s().work_r[10][100] == (100 + 127) % 200 && white.s().work_g[40][0] == (40 + 127) % 150);
  // Black with 51: (0 - 128) x 51 / 255 = -25.6 -> -25; negative positions reflect, then wrap:
  // |3 - 25|, 30 - 25 and |2 - 25| mod 10.
  Displaced black(128, 10, 0, 51);
  EXPECT_TRUE(black.s().work_r[0][3] == 22 && black.s().work_r[0][30] == 5 && black.s().work_g[2][0] == 3);
  // Amounts far beyond the slider wrap arithmetically: (-128 x -1e9) / 255 = 501960784.
  Displaced far(128, 10, 0, -1e9f);
  EXPECT_TRUE(far.s().work_r[0][0] == 501960784 % 128 && far.s().work_g[0][0] == 501960784 % 10);
}

TEST(Displace, AmountBelowOneReturnsWithoutComposite) {
  TestFrame f(Coordinates(128, 4), 0);
  f.SetAlpha(Flat(128, 4, 0));
  ImageState& s = f.Fetch();
  s.work_r.Fill(9);  // anything the composite would overwrite
  FxDisplace(s, 0.7f);
  EXPECT_EQ(s.work_r, Flat(128, 4, 9));
}

}  // namespace
}  // namespace tessfx
