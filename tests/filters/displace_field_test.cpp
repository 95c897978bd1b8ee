// Displacement by the slope of a height field: the smoothing, where pixels are taken from,
// and the identities.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filters/displace_field.h"
#include "planes.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Rgb;

TEST(SmoothHeights, KeepsFlatFieldsAndSpreadsAPointByTheDeviation) {
  for (auto [w, h] : {std::pair{1, 1}, std::pair{3, 2}, std::pair{80, 3}, std::pair{201, 150}}) {
    std::vector<float> flat(static_cast<size_t>(w * h), 77.0f);
    SmoothHeights(flat.data(), w, h, 16.0f);  // far wider than the field: mirrored many times
    for (float v : flat) ASSERT_EQ(v, flat[0]) << w << "x" << h;
  }
  // A point in the middle of a large field: its spread keeps the total and has the
  // deviation asked for along both axes.
  const int32_t w = 241, h = 201;
  for (float sigma : {0.5f, 1.5f, 4.0f, 16.0f}) {
    std::vector<float> f(static_cast<size_t>(w * h), 0.0f);
    f[static_cast<size_t>(100 * w + 120)] = 1.0f;
    SmoothHeights(f.data(), w, h, sigma);
    double total = 0, vx = 0, vy = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        const double v = f[static_cast<size_t>(y * w + x)];
        total += v;
        vx += v * (x - 120) * (x - 120);
        vy += v * (y - 100) * (y - 100);
      }
    EXPECT_NEAR(total, 1.0, 1e-4) << sigma;
    EXPECT_NEAR(std::sqrt(vx / total), sigma, 0.02 * sigma + 0.01) << sigma;
    EXPECT_NEAR(std::sqrt(vy / total), sigma, 0.02 * sigma + 0.01) << sigma;
  }
}

// Red holds the column, green the row: every result shows where it was taken from.
Rgb Coordinates(int32_t w, int32_t h) {
  return {Make(w, h, [](int32_t, int32_t x) { return static_cast<uint8_t>(x); }),
          Make(w, h, [](int32_t y, int32_t) { return static_cast<uint8_t>(y); }), Flat(w, h, 9)};
}

Rgb Heights(int32_t w, int32_t h, const std::function<uint8_t(int32_t y, int32_t x)>& f) {
  return {Make(w, h, f), Make(w, h, f), Make(w, h, f)};
}

Rgb Displaced(const Rgb& source, const Rgb& heights, const SlopeDisplaceOptions& o) {
  Rgb out = source.Clone();
  SlopeDisplace(out.view(), source.view(), heights.view(), o);
  return out;
}

TEST(SlopeDisplace, NoShiftOrFlatHeightsCopyTheSource) {
  const Rgb source = testing::NoiseRgb(37, 29, 3);
  const Rgb ripples = testing::NoiseRgb(37, 29, 8);
  EXPECT_TRUE(Displaced(source, ripples, {0.0f, 2.0f, 0.0f}) == source);
  for (float shift : {1.0f, 40.0f, 255.0f})
    EXPECT_TRUE(Displaced(source, Heights(37, 29, [](int32_t, int32_t) { return 201; }), {shift, 8.0f, 33.0f}) ==
                source);
}

TEST(SlopeDisplace, AFullContrastEdgeShiftsByTheMaximumAndNothingFarther) {
  // White left of column 100, black right of it: at the edge the slope is steepest, and the
  // shift there is the maximum whatever the smoothing; nowhere is a pixel taken from
  // farther away.
  const int32_t w = 200, h = 200;
  const Rgb source = Coordinates(w, h);
  const Rgb edge = Heights(w, h, [](int32_t, int32_t x) { return x < 100 ? 255 : 0; });
  for (auto [shift, sigma] : {std::pair{12.0f, 3.0f}, std::pair{30.0f, 7.5f}}) {
    const Rgb out = Displaced(source, edge, {shift, sigma, 0.0f});
    double farthest = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x)
        farthest = std::max(farthest, std::hypot(out.r[y][x] - x, out.g[y][x] - y));
    EXPECT_LE(farthest, shift + 1.0) << shift;
    // Just right of the edge the slope points left, uphill: the pixel comes from the left,
    // by the full shift (within a pixel), in its own row.
    EXPECT_NEAR(out.r[100][100], 100 - shift, 1.0) << shift;
    EXPECT_EQ(out.g[100][100], 100);
  }
}

TEST(SlopeDisplace, TheTurnSteersTheShiftAcrossOrAlongTheSlope) {
  // Heights rising along x only: unturned, pixels move only along rows, by the same amount
  // in every row; a quarter turn moves them only along columns.
  const int32_t w = 120, h = 60;
  const Rgb source = Coordinates(w, h);
  const Rgb ramp = Heights(w, h, [](int32_t, int32_t x) { return static_cast<uint8_t>(2 * x); });
  const Rgb along = Displaced(source, ramp, {20.0f, 1.5f, 0.0f});
  const Rgb across = Displaced(source, ramp, {20.0f, 1.5f, 90.0f});
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 10; x < w - 10; ++x) {
      ASSERT_EQ(along.g[y][x], y) << x << "," << y;
      ASSERT_EQ(along.r[y][x], along.r[0][x]) << x << "," << y;
      ASSERT_GT(along.r[y][x], x);  // uphill is to the right
      ASSERT_EQ(across.r[y][x], x) << x << "," << y;
    }
}

}  // namespace
}  // namespace tessfx
