// Box means against summing every window, the guided filter's edge keeping, and the Sobel
// edge strength on flat frames, steps and turned pictures.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "filters/guided.h"
#include "filters/sobel.h"
#include "planes.h"

namespace tessfx {
namespace {

using testing::Make;

TEST(BoxMean, EqualsTheMeanOfEveryWindowWithEdgesRepeated) {
  std::mt19937 rng(3);
  for (auto [w, h, r] : {std::tuple{1, 1, 2}, std::tuple{5, 3, 1}, std::tuple{37, 20, 4}, std::tuple{70, 9, 12},
                         std::tuple{300, 200, 0}}) {
    std::vector<float> in(size_t(w) * h), out(in.size());
    for (float& v : in) v = static_cast<float>(rng() % 65536) / 256.0f;
    BoxMean({out.data(), w, h}, {in.data(), w, h}, r);
    double worst = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        double sum = 0;
        for (int32_t j = -r; j <= r; ++j)
          for (int32_t i = -r; i <= r; ++i)
            sum += in[size_t(std::clamp(y + j, 0, h - 1)) * w + std::clamp(x + i, 0, w - 1)];
        worst = std::max(worst, std::fabs(sum / ((2 * r + 1) * (2 * r + 1)) - out[size_t(y) * w + x]));
      }
    EXPECT_LT(worst, 1e-3) << w << "x" << h << " radius " << r;
    BoxMean({in.data(), w, h}, {in.data(), w, h}, r);  // in place
    EXPECT_EQ(in, out);
  }
}

TEST(GuidedFilter, SmoothsTextureButKeepsEdgesAndFlatPlanes) {
  // A step from 40 to 200 with +-4 of texture on both sides.
  const int32_t w = 80, h = 40;
  std::vector<float> in(size_t(w) * h), out(in.size());
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) in[size_t(y) * w + x] = (x < w / 2 ? 40.0f : 200.0f) + ((x + y) % 2 ? 4.0f : -4.0f);
  const FloatPlane o[] = {{out.data(), w, h}};
  const ConstFloatPlane i[] = {{in.data(), w, h}};
  // Fits on every sample, and on coarser blocks, which blend the fits of both sides a little
  // into the pixels next to the edge.
  for (auto [step, beside] : {std::pair{1, 6.0f}, std::pair{2, 12.0f}, std::pair{3, 12.0f}}) {
    GuidedFilter(o, {in.data(), w, h}, i, 6, 100.0f, step);
    for (int32_t y = 0; y < h; ++y) {
      // The texture is nearly gone away from the edge ...
      ASSERT_NEAR(out[size_t(y) * w + 10], 40.0f, 1.5f) << step;
      ASSERT_NEAR(out[size_t(y) * w + 70], 200.0f, 1.5f) << step;
      // ... and the edge is still a step: the pixels beside it keep their sides.
      ASSERT_NEAR(out[size_t(y) * w + w / 2 - 1], 40.0f, beside) << step;
      ASSERT_NEAR(out[size_t(y) * w + w / 2], 200.0f, beside) << step;
      ASSERT_NEAR(out[size_t(y) * w + w / 2 - 3], 40.0f, 6.0f) << step;
      ASSERT_NEAR(out[size_t(y) * w + w / 2 + 2], 200.0f, 6.0f) << step;
    }
  }
  // A strength blends the filter with the input (or pushes away from it), in place as well.
  GuidedFilter(o, {in.data(), w, h}, i, 4, 100.0f);
  for (float strength : {0.5f, -1.0f}) {
    std::vector<float> blended = in;
    const FloatPlane b[] = {{blended.data(), w, h}};
    const ConstFloatPlane bi[] = {{blended.data(), w, h}};
    GuidedFilter(b, bi[0], bi, 4, 100.0f, 1, strength);
    for (size_t k = 0; k < in.size(); ++k) ASSERT_NEAR(blended[k], in[k] + strength * (out[k] - in[k]), 1e-3f);
  }
  std::vector<float> flat(in.size(), 77.25f);
  const ConstFloatPlane f[] = {{flat.data(), w, h}};
  for (int32_t step : {1, 4}) {
    GuidedFilter(o, {in.data(), w, h}, f, 5, 10.0f, step);  // a flat input guided by anything stays flat
    for (float v : out) ASSERT_NEAR(v, 77.25f, 1e-3f) << step;
  }
}

Plane SobelOf(const Plane& in) {
  Plane out(in.width(), in.height(), 9);
  SobelMagnitude(out.view(), in.view());
  return out;
}

TEST(Sobel, FlatIsBlackAStepIsFullOnItsTwoSidesAndTurningTurnsTheResult) {
  EXPECT_EQ(SobelOf(testing::Flat(13, 7, 200)), Make(13, 7, [](int32_t y, int32_t x) -> uint8_t {
              return y == 7 || x == 13 ? 9 : 0;  // the extra row and column are left alone
            }));
  const Plane step = Make(12, 6, [](int32_t, int32_t x) -> uint8_t { return x < 6 ? 0 : 255; });
  const Plane edges = SobelOf(step);
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 12; ++x) ASSERT_EQ(edges[y][x], x == 5 || x == 6 ? 255 : 0) << x << "," << y;

  const int32_t w = 23, h = 17;
  const Plane noise = testing::Noise(w, h, 5);
  // A quarter turn; the extra row and column stay 0.
  const Plane turned = Make(h, w, [&](int32_t y, int32_t x) -> uint8_t { return x < h && y < w ? noise[h - 1 - x][y] : 0; });
  const Plane a = SobelOf(noise), b = SobelOf(turned);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) ASSERT_EQ(a[y][x], b[x][h - 1 - y]) << x << "," << y;
}

}  // namespace
}  // namespace tessfx
