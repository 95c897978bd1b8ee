// ConvolveAlpha against the convolution written out: cell layout, repeated edges, the modes,
// the composite, and the input always the untouched working planes whatever the bands.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/convert.h"
#include "planes.h"
#include "filters/convolve.h"
#include "filters/blend.h"
#include "filters/point.h"

namespace tessfx {
namespace {

using testing::Noise;

struct Planes {
  Planes(int32_t w, int32_t h, uint32_t seed)
      : r(Noise(w, h, seed)), g(Noise(w, h, seed + 1)), b(Noise(w, h, seed + 2)), hr(Noise(w, h, seed + 3)),
        hg(Noise(w, h, seed + 4)), hb(Noise(w, h, seed + 5)), ha(Noise(w, h, seed + 6)) {}
  int32_t Run(const Kernel3x3& k, float divisor, int32_t mode, uint8_t flag) {
    return ConvolveAlpha({r.view(), g.view(), b.view()}, {hr.view(), hg.view(), hb.view()}, ha.view(), flag, k,
                         divisor, mode);
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
            ASSERT_TRUE(actual.r == expected.r && actual.g == expected.g && actual.b == expected.b)
                << w << "x" << h << " mode " << mode << " flag " << int{flag} << " divisor " << divisor;
          }
}

}  // namespace
}  // namespace tessfx
