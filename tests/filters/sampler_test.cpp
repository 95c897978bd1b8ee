// The inverse-mapping sampler: exact copies where positions are whole pixels, the weights
// and borders between them, reduced copies when shrinking, dense fields.
#include "filters/sampler.h"

#include <gtest/gtest.h>

#include "planes.h"

namespace tessfx {
namespace {

using testing::Make;
using testing::Rgb;

// R the column, G the row, B a mix: where each output pixel came from.
Rgb Coded(int32_t w, int32_t h) {
  return {Make(w, h, [](int32_t, int32_t x) { return static_cast<uint8_t>(x); }),
          Make(w, h, [](int32_t y, int32_t) { return static_cast<uint8_t>(y); }),
          Make(w, h, [](int32_t y, int32_t x) { return static_cast<uint8_t>(x * 7 + y * 13); })};
}

Rgb Blank(int32_t w, int32_t h) { return {Plane(w, h, 9), Plane(w, h, 9), Plane(w, h, 9)}; }

TEST(Sampler, WholePixelMapsCopyAndTheBorderDecidesWhatComesFromOutside) {
  const Rgb src = Coded(9, 7);
  // Shift by (-2, +1): pixel (x, y) reads (x - 2, y + 1).
  const AffineMap shift{1, 0, -2, 0, 1, 1};
  for (SampleBorder border : {SampleBorder::Black, SampleBorder::Clamp}) {
    Rgb out = Blank(9, 7);
    SampleAffine(out.view(), src.view(), shift, border);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x) {
        const int32_t sx = x - 2, sy = y + 1;
        const bool inside = sx >= 0 && sy < 7;
        const int32_t cx = std::max(sx, 0), cy = std::min(sy, 6);
        if (border == SampleBorder::Black && !inside) {
          ASSERT_TRUE(out.r[y][x] == 0 && out.g[y][x] == 0 && out.b[y][x] == 0) << x << "," << y;
        } else {
          ASSERT_TRUE(out.r[y][x] == src.r[cy][cx] && out.g[y][x] == src.g[cy][cx] && out.b[y][x] == src.b[cy][cx])
              << x << "," << y;
        }
      }
    EXPECT_EQ(out.r[7][3], 9);  // the extra row is left alone
    EXPECT_EQ(out.r[2][9], 9);
  }
  // A transposition (a quarter turn and a mirror) on a square frame.
  const Rgb square = Coded(8, 8);
  Rgb out = Blank(8, 8);
  SampleAffine(out.view(), square.view(), {0, 1, 0, 1, 0, 0}, SampleBorder::Black);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 8; ++x) ASSERT_EQ(out.b[y][x], square.b[x][y]);
}

TEST(Sampler, BetweenPixelsTheNeighboursMixAndBlackBlendsInAtTheEdge) {
  const Rgb src = {Make(4, 2, [](int32_t, int32_t x) { return static_cast<uint8_t>(100 + 50 * x); }), Plane(4, 2, 200),
                   Plane(4, 2, 200)};
  Rgb out = Blank(4, 2);
  // A quarter pixel to the right: (100, 150) mixes 3:1 to 112.5, rounded up to 113.
  SampleAffine(out.view(), src.view(), {1, 0, 0.25, 0, 1, 0}, SampleBorder::Black);
  EXPECT_EQ(out.r[0][0], 113);
  // The last column reads a quarter pixel beyond the frame: a quarter black.
  EXPECT_EQ(out.r[0][3], 188);
  EXPECT_EQ(out.g[1][3], 150);
  SampleAffine(out.view(), src.view(), {1, 0, 0.25, 0, 1, 0}, SampleBorder::Clamp);
  EXPECT_EQ(out.r[0][3], 250);

  // Positions given row by row, and a dense field, read the same way.
  Rgb rows = Blank(4, 2), field = Blank(4, 2);
  SampleRows(rows.view(), src.view(), SampleBorder::Black, [](int32_t y, int32_t* qx, int32_t* qy) {
    for (int32_t x = 0; x < 4; ++x) {
      qx[x] = x * kSubpixel + kSubpixel / 4;
      qy[x] = y * kSubpixel;
    }
  });
  std::vector<int32_t> dx(5 * 2, kSubpixel / 4), dy(5 * 2, 0);
  SampleDisplaced(field.view(), src.view(), {dx.data(), dy.data(), 5}, SampleBorder::Black);
  SampleAffine(out.view(), src.view(), {1, 0, 0.25, 0, 1, 0}, SampleBorder::Black);
  EXPECT_TRUE(rows == out);
  EXPECT_TRUE(field == out);
}

TEST(Sampler, ADenseFieldMovesEachPixelByItsOwnOffset) {
  const Rgb src = Coded(20, 10);
  std::vector<int32_t> dx(21 * 10), dy(21 * 10);
  for (int32_t y = 0; y < 10; ++y)
    for (int32_t x = 0; x < 20; ++x) {
      dx[static_cast<size_t>(y * 21 + x)] = ((x + y) % 5 - 2) * kSubpixel;
      dy[static_cast<size_t>(y * 21 + x)] = (x % 3 - 1) * 3 * kSubpixel;
    }
  Rgb out = Blank(20, 10);
  SampleDisplaced(out.view(), src.view(), {dx.data(), dy.data(), 21}, SampleBorder::Clamp);
  for (int32_t y = 0; y < 10; ++y)
    for (int32_t x = 0; x < 20; ++x) {
      const int32_t sx = std::clamp(x + (x + y) % 5 - 2, 0, 19), sy = std::clamp(y + (x % 3 - 1) * 3, 0, 9);
      ASSERT_EQ(out.r[y][x], sx);
      ASSERT_EQ(out.g[y][x], sy);
    }
}

TEST(Sampler, ShrinkingReadsReducedCopiesAndStaysSteadyAsTheMapMoves) {
  // Stripes one pixel wide, shrunk six times: a naive bilinear read picks stripes almost
  // at random; reduced copies give their mean.
  const Rgb stripes = {Make(240, 60, [](int32_t, int32_t x) { return static_cast<uint8_t>(x % 2 ? 250 : 10); }),
                       Plane(240, 60, 0), Plane(240, 60, 0)};
  for (double shift : {0.0, 0.37, 0.81}) {  // sub-pixel moves of a slow pan
    Rgb out = Blank(240, 60);
    // Output x shows source 6 (x - 120) + 120 + shift, so the middle 40 columns show all.
    SampleAffine(out.view(), stripes.view(), {6, 0, -600 + shift, 0, 6, -150}, SampleBorder::Black);
    for (int32_t x = 102; x < 138; ++x) ASSERT_NEAR(out.r[30][x], 130, 6) << shift << " at " << x;
  }
}

}  // namespace
}  // namespace tessfx
