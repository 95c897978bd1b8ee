// ConvolveAlpha: cell layout, repeated edges, the modes, the composite, and that the
// input is always the untouched working planes whatever the bands and threads.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/convert.h"
#include "effects/test_frame.h"
#include "filters/convolve.h"
#include "filters/overlay.h"
#include "filters/point.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::Noise;

struct Planes {
  Planes(int32_t w, int32_t h, uint32_t seed)
      : r(Noise(w, h, seed)), g(Noise(w, h, seed + 1)), b(Noise(w, h, seed + 2)), hr(Noise(w, h, seed + 3)),
        hg(Noise(w, h, seed + 4)), hb(Noise(w, h, seed + 5)), ha(Noise(w, h, seed + 6)) {}
  int32_t Run(const Kernel3x3& k, float divisor, int32_t mode, uint8_t flag) {
    return ConvolveAlpha(r.data(), g.data(), b.data(), hr.data(), hg.data(), hb.data(), ha.data(), flag, r.width(),
                         r.height(), k, divisor, mode);
  }
  Plane r, g, b, hr, hg, hb, ha;
};

// The convolution written out pixel by pixel over copies of the input.
void Reference(Planes& p, const Kernel3x3& k, float divisor, int32_t mode, uint8_t flag) {
  const int32_t w = p.r.width(), h = p.r.height();
  const Plane in[3] = {p.r.Clone(), p.g.Clone(), p.b.Clone()};
  Plane grey(w, h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) grey[y][x] = Luma(in[0][y][x], in[1][y][x], in[2][y][x]);
  Plane* out[3] = {&p.r, &p.g, &p.b};
  const Plane* host[3] = {&p.hr, &p.hg, &p.hb};
  for (int c = 0; c < 3; ++c) {
    const Plane& src = (mode & kConvolveGrey) ? grey : in[c];
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        float acc = 0;
        for (int i = 0; i < 9; ++i) {
          const int32_t sy = std::clamp(y + i / 3 - 1, 0, h - 1), sx = std::clamp(x + i % 3 - 1, 0, w - 1);
          acc = i == 0 ? k[0] * src[sy][sx] : acc + k[i] * src[sy][sx];
        }
        const uint8_t v = RoundToByteF(acc / divisor + ((mode & kConvolveOffset) ? 128.0f : 0.0f));
        (*out[c])[y][x] = flag == 0 ? AlphaMix(v, (*host[c])[y][x], p.ha[y][x]) : v;
      }
  }
}

TEST(ConvolveAlpha, MatchesThePixelByPixelConvolution) {
  const Kernel3x3 kernels[] = {{1, 1, 1, 1, 1, 1, 1, 1, 1},      {0, -1, 0, -1, 5, -1, 0, -1, 0},
                               {-1, -1, 0, -1, 0, 1, 0, 1, 1},   {0.25f, 0.5f, 0.125f, 1, 2, 3, -0.75f, 0, 1.5f},
                               {0, 1, 0, 0, 2, 0, 0, 0, 0},      {-1, -1, -1, -1, 8, -1, -1, -1, -1},
                               {40, 1, 7, 0, 2, 0, 3, 0, 3}};
  // Whole weights with the divisors that divide in integers (1, 2, 3, 9) and others.
  for (const Kernel3x3& k : kernels)
    for (float divisor : {1.0f, 2.0f, 3.0f, 9.0f, 2.5f, -4.0f})
      for (int32_t mode : {int32_t{kConvolvePlain}, int32_t{kConvolveOffset}, kConvolveGrey | kConvolveOffset})
        for (uint8_t flag : {0, 1})
          for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 3}, std::pair{29, 70}, std::pair{300, 250}}) {
            Planes actual(w, h, 11), expected(w, h, 11);
            EXPECT_EQ(actual.Run(k, divisor, mode, flag), 0);
            Reference(expected, k, divisor, mode, flag);
            ASSERT_EQ(actual.r, expected.r) << w << "x" << h << " mode " << mode << " flag " << int{flag} << " div "
                                            << divisor;
            ASSERT_EQ(actual.g, expected.g);
            ASSERT_EQ(actual.b, expected.b);
          }
}

TEST(ConvolveAlpha, ResultDoesNotDependOnTheThreadCount) {
  // A kernel that takes the row above: reading an already written row would cascade.
  const Kernel3x3 up = {0, 1, 0, 0, 0, 0, 0, 0, 0};
  auto run = [&](size_t threads) {
    return testing::WithThreads(threads, [&] {
      Planes p(640, 333, 3);
      p.Run(up, 1, kConvolvePlain, 1);
      return p.r.Clone();
    });
  };
  const Plane one = run(1);
  EXPECT_EQ(run(2), one);
  EXPECT_EQ(run(8), one);
  Planes source(640, 333, 3);
  for (int32_t y = 0; y < 333; ++y)
    for (int32_t x = 0; x < 640; ++x) ASSERT_EQ(one[y][x], source.r[std::max(y - 1, 0)][x]) << y << "," << x;
}

TEST(ConvolveAlpha, EdgesRepeatTheOutermostSamples) {
  Planes p(4, 4, 1);
  p.r = Make(4, 4, [](int32_t y, int32_t x) -> uint8_t { return y == 0 && x == 0 ? 255 : 0; });
  p.r[4][4] = 99;  // the extra row and column are neither read nor written
  p.r[0][4] = 99;
  p.Run({1, 1, 1, 1, 1, 1, 1, 1, 1}, 9, kConvolvePlain, 1);
  EXPECT_EQ(p.r[0][0], 113);  // four of the nine cells fall on (0, 0): 1020 / 9
  EXPECT_EQ(p.r[0][1], 57);   // two: 510 / 9 = 56.7
  EXPECT_EQ(p.r[1][1], 28);
  EXPECT_EQ(p.r[2][2], 0);
  EXPECT_EQ(p.r[4][4], 99);
  EXPECT_EQ(p.r[0][4], 99);
}

TEST(ConvolveAlpha, OffsetAndGreyModes) {
  Planes p(5, 5, 1);
  p.r = Flat(5, 5, 10);
  p.g = Flat(5, 5, 200);
  p.b = Flat(5, 5, 90);
  p.Run({-1, -1, 0, -1, 0, 1, 0, 1, 1}, 1, kConvolveOffset, 1);
  EXPECT_EQ(p.r[2][2], 128);  // a flat frame embosses to mid-grey
  EXPECT_EQ(p.g[0][4], 128);
  p.r = Make(5, 5, [](int32_t, int32_t x) -> uint8_t { return x * 40; });
  p.Run({0, 0, 0, 0, 2, 0, 0, 0, 0}, 1, kConvolveGrey, 1);
  for (int32_t x = 0; x < 5; ++x) {
    EXPECT_EQ(p.r[1][x], p.g[1][x]);
    EXPECT_EQ(p.g[1][x], p.b[1][x]);
  }
}

TEST(ConvolveAlpha, CompositesThroughTheHostAlphaWithFlagZero) {
  Planes p(3, 1, 1);
  p.r = Flat(3, 1, 200);
  p.hr = Flat(3, 1, 100);
  p.ha = Make(3, 1, [](int32_t, int32_t x) -> uint8_t { return x == 0 ? 0 : (x == 1 ? 255 : 128); });
  p.Run({0, 0, 0, 0, 1, 0, 0, 0, 0}, 1, kConvolvePlain, 0);
  EXPECT_EQ(p.r[0][0], 100);
  EXPECT_EQ(p.r[0][1], 200);
  EXPECT_EQ(p.r[0][2], 150);  // (100 * 127 + 200 * 128 + 127) / 255
}

TEST(ConvolveAlpha, ZeroDivisorChangesNothing) {
  Planes p(6, 4, 2);
  const Plane before = p.r.Clone();
  EXPECT_EQ(p.Run({1, 1, 1, 1, 1, 1, 1, 1, 1}, 0, kConvolvePlain, 1), -1);
  EXPECT_EQ(p.r, before);
}

}  // namespace
}  // namespace tessfx
