// Mirage, mosaic and displace: the sampling rules, the size and amount guards, and the
// composite.
#include <gtest/gtest.h>

#include "effects/geometric.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Noise;
using testing::TestFrame;

// A frame whose red holds the column and green the row (modulo 256), blue noise.
void Coordinates(TestFrame& f, int32_t w, int32_t h) {
  f.SetFrame(Make(w, h, [](int32_t, int32_t x) -> uint8_t { return x & 0xff; }),
             Make(w, h, [](int32_t y, int32_t) -> uint8_t { return y & 0xff; }), Noise(w, h, 9));
  f.host().set_alpha_bits(1);
  f.Fetch();
}

TEST(Mosaic, BlocksTakeTheSampleAtTheirCentre) {
  TestFrame f(7, 5);
  Coordinates(f, 7, 5);
  ImageState& s = f.image();
  FxMosaic(s, 1);
  EXPECT_TRUE(testing::Working(s) == testing::Host(s));
  FxMosaic(s, 2);  // each 2 x 2 block takes its lower-right sample; the last ones clamp
  for (int32_t x = 0; x < 7; ++x) EXPECT_EQ(s.work_r[0][x], std::min(x / 2 * 2 + 1, 6)) << x;
  for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(s.work_g[y][3], std::min(y / 2 * 2 + 1, 4)) << y;
  FxMosaic(s, 2.5f);  // rounds half to even: 2
  EXPECT_EQ(s.work_r[2][2], 3);
  FxMosaic(s, 50);  // one block: the sample at (min(25, 4), min(25, 6))
  EXPECT_EQ(s.work_r[0][0], 6);
  EXPECT_EQ(s.work_g[4][6], 4);
  EXPECT_EQ(s.work_b[1][1], s.host_b[4][6]);
  EXPECT_EQ(s.work_r[0][7], s.host_r[0][7]);  // the extra column is not written
}

TEST(Mosaic, BlockSizeBelowOneLeavesTheFrame) {
  TestFrame f(6, 4);
  Coordinates(f, 6, 4);
  ImageState& s = f.image();
  s.work_r.Fill(3);
  FxMosaic(s, 0.4f);
  FxMosaic(s, -5);
  EXPECT_EQ(s.work_r, Flat(6, 4, 3));
}

TEST(Mirage, MixesEachRowWithItsMirror) {
  TestFrame f(5, 6);
  f.SetFrame(Make(5, 6, [](int32_t y, int32_t) -> uint8_t { return 40 * y; }), Noise(5, 6, 1), Noise(5, 6, 2));
  f.host().set_alpha_bits(1);
  ImageState& s = f.Fetch();
  FxMirage(s);
  for (int32_t y = 0; y < 6; ++y) {
    const int expected = y == 0 ? 0 : (40 * (6 - y) * y + 40 * y * (6 - y)) / 6;
    EXPECT_EQ(s.work_r[y][1], expected) << y;
    EXPECT_EQ(s.work_r[y][0], 40 * y) << y;  // column 0 keeps the frame
  }
  for (int32_t y = 1; y < 6; ++y)
    for (int32_t x = 1; x < 5; ++x)
      ASSERT_EQ(s.work_g[y][x], (s.host_g[6 - y][x] * y + s.host_g[y][x] * (6 - y)) / 6);
}

TEST(Mirage, TruncatesExactlyOnTallFrames) {
  // Heights where the truncating division has many exact and near-exact quotients.
  for (int32_t h : {2, 3, 255, 1000, 4097}) {
    TestFrame f(4, h);
    f.SetFrame(Noise(4, h, 3), Noise(4, h, 4), Noise(4, h, 5));
    f.host().set_alpha_bits(1);
    ImageState& s = f.Fetch();
    FxMirage(s);
    for (int32_t y = 1; y < h; ++y)
      for (int32_t x = 1; x < 4; ++x)
        ASSERT_EQ(s.work_b[y][x], (s.host_b[h - y][x] * y + s.host_b[y][x] * (h - y)) / h) << h << " " << y;
  }
  TestFrame two(3, 2);  // height 2: only row 1, mixed with itself
  two.SetFrame(Noise(3, 2, 1), Noise(3, 2, 2), Noise(3, 2, 3));
  two.host().set_alpha_bits(1);
  ImageState& s = two.Fetch();
  FxMirage(s);
  EXPECT_TRUE(testing::Working(s) == testing::Host(s));
}

TEST(Displace, SizeGuardJoinsTheSidesWithAnd) {
  for (auto [w, h, runs] : {std::tuple{100, 100, false}, std::tuple{100, 128, true}, std::tuple{128, 3, true}}) {
    TestFrame f(w, h);
    Coordinates(f, w, h);
    f.SetSwap(Flat(w, h, 255), Flat(w, h, 128), Flat(w, h, 0));
    ImageState& s = f.image();
    FxDisplace(s, 10);  // dx = 127 * 10 / 255 = 4
    EXPECT_EQ(s.work_r[1][1] == 5, runs) << w << "x" << h;
  }
}

TEST(Displace, MidGreySwapLeavesTheFrame) {
  TestFrame f(130, 20);
  Coordinates(f, 130, 20);
  f.SetSwap(Flat(130, 20, 128), Flat(130, 20, 128), Flat(130, 20, 128));
  ImageState& s = f.image();
  FxDisplace(s, 255);
  // Rows 0..height and columns 0..width are written; the extra ones wrap to column and row 0.
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 130; ++x) ASSERT_EQ(s.work_b[y][x], s.host_b[y][x]);
  EXPECT_EQ(s.work_r[3][130], 0);
  EXPECT_EQ(s.work_g[20][5], 0);
}

TEST(Displace, WhiteSwapMovesEveryPixelAndWraps) {
  TestFrame f(200, 150);
  Coordinates(f, 200, 150);
  f.SetSwap(Flat(200, 150, 255), Flat(200, 150, 255), Flat(200, 150, 255));
  ImageState& s = f.image();
  FxDisplace(s, 255.9f);  // floor: k = 255, offset +127 in both directions
  EXPECT_EQ(s.work_r[0][0], 127);
  EXPECT_EQ(s.work_g[0][0], 127);
  EXPECT_EQ(s.work_r[10][100], (100 + 127) % 200);
  EXPECT_EQ(s.work_g[40][0], (40 + 127) % 150);
}

TEST(Displace, NegativePositionsReflectBeforeWrapping) {
  TestFrame f(128, 10);
  Coordinates(f, 128, 10);
  f.SetSwap(Flat(128, 10, 0), Flat(128, 10, 0), Flat(128, 10, 0));
  ImageState& s = f.image();
  FxDisplace(s, 51);  // (0 - 128) * 51 / 255 = -25.6 -> -25
  EXPECT_EQ(s.work_r[0][3], 22);   // |3 - 25|
  EXPECT_EQ(s.work_r[0][30], 5);
  EXPECT_EQ(s.work_g[2][0], 3);    // |2 - 25| mod 10
  // Amounts far beyond the slider wrap arithmetically: (-128 * -1e9) / 255 = 501960784.
  FxDisplace(s, -1e9f);
  EXPECT_EQ(s.work_r[0][0], 501960784 % 128);
  EXPECT_EQ(s.work_g[0][0], 501960784 % 10);
}

TEST(Displace, ZeroAmountReturnsWithoutComposite) {
  TestFrame f(128, 4);
  Coordinates(f, 128, 4);
  f.SetAlpha(Flat(128, 4, 0));
  f.host().set_alpha_bits(0);
  ImageState& s = f.Fetch();
  s.work_r.Fill(9);  // anything the composite would overwrite
  FxDisplace(s, 0.7f);
  EXPECT_EQ(s.work_r, Flat(128, 4, 9));
  FxDisplace(s, 3);  // with an amount the composite restores the frame where alpha is 0
  EXPECT_EQ(s.work_r[1][5], 5);
}

}  // namespace
}  // namespace tessfx
