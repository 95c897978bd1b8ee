// Noise clouds: the row-by-row evaluation against the direct one, the lattice zeros, the
// slope bound and how the four combiners fill the grey range.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "filters/gradient_noise.h"

namespace tessfx {
namespace {

std::vector<uint8_t> Picture(const CloudSettings& s, int32_t w, int32_t h) {
  const CloudPattern clouds(w, s);
  std::vector<uint8_t> out(static_cast<size_t>(w) * static_cast<size_t>(h));
  std::vector<float> sum(static_cast<size_t>(w));
  for (int32_t y = 0; y < h; ++y) clouds.Row(y, out.data() + static_cast<size_t>(y) * static_cast<size_t>(w), sum.data());
  return out;
}

TEST(GradientNoise, RowByRowMatchesTheDirectEvaluation) {
  struct Case {
    double cell, time;
  };
  // Cells that do and do not divide the row, times at and between lattice planes, a late frame.
  for (const Case c : {Case{64, 0}, Case{100.5, 3.7}, Case{7, 1000.25}, Case{640, 0.5}}) {
    CloudSettings s{.octaves = 1, .cell = c.cell, .time = c.time, .kind = CloudKind::Billows};
    const int32_t w = 700;
    const CloudPattern clouds(w, s);
    std::vector<float> sum(w);
    double worst = 0, spread = 0;
    for (int32_t y : {0, 1, 63, 64, 65, 333, 1079}) {
      clouds.Sum(y, sum.data());
      for (int32_t x = 0; x < w; ++x) {
        const double direct = GradientNoise(x / c.cell, y / c.cell, c.time);
        worst = std::max(worst, std::fabs(sum[static_cast<size_t>(x)] - direct));
        spread = std::max(spread, std::fabs(direct));
      }
    }
    EXPECT_LT(worst, 2e-6) << c.cell << " " << c.time;
    EXPECT_GT(spread, 0.2) << "a pattern, not zeros";
  }
}

TEST(GradientNoise, ZeroOnTheLatticeAndSlopeBounded) {
  // One octave at a whole time: every lattice point is exactly mid-grey.
  const CloudSettings s{.octaves = 1, .cell = 128, .time = 8, .kind = CloudKind::Billows};
  const int32_t w = 520, h = 400;
  const std::vector<uint8_t> p = Picture(s, w, h);
  for (int32_t y = 0; y < h; y += 128)
    for (int32_t x = 0; x < w; x += 128) EXPECT_EQ(p[static_cast<size_t>(y * w + x)], 128) << x << "," << y;
  // Neighbours differ by at most 200 x the slope bound per cell, plus a level of rounding.
  const int limit = static_cast<int>(200.0 * kGradientNoiseMaxSlope / s.cell) + 1;
  int steepest = 0;
  for (int32_t y = 0; y + 1 < h; ++y)
    for (int32_t x = 0; x + 1 < w; ++x) {
      const int v = p[static_cast<size_t>(y * w + x)];
      steepest = std::max({steepest, std::abs(v - p[static_cast<size_t>(y * w + x + 1)]),
                           std::abs(v - p[static_cast<size_t>((y + 1) * w + x)])});
    }
  EXPECT_LE(steepest, limit);
  EXPECT_GE(steepest, 2);
}

TEST(GradientNoise, EveryCombinerFillsTheGreyRangeAtAnyOctaveCount) {
  for (CloudKind kind : {CloudKind::Billows, CloudKind::Turbulence, CloudKind::Ridges, CloudKind::Marble})
    for (int32_t octaves : {1, 4, 8}) {
      const CloudSettings s{.octaves = octaves, .cell = 64, .time = 2.3, .kind = kind};
      std::vector<uint8_t> p = Picture(s, 640, 360);
      const size_t n = p.size();
      const auto clipped = std::count_if(p.begin(), p.end(), [](uint8_t v) { return v == 0 || v == 255; });
      std::sort(p.begin(), p.end());
      const int low = p[n / 20], high = p[n - n / 20];
      const int k = static_cast<int>(kind);
      EXPECT_LT(clipped, static_cast<long>(n / 25)) << k << " at " << octaves << " octaves clips";
      EXPECT_GT(high - low, 110) << k << " at " << octaves << " octaves: 5..95 % is " << low << ".." << high;
    }
}

TEST(GradientNoise, OctavesFinerThanTwoPixelsAreLeftOut) {
  EXPECT_EQ(CloudPattern(100, {.octaves = 8, .cell = 16}).octaves(), 4);  // 16, 8, 4, 2
  EXPECT_EQ(CloudPattern(100, {.octaves = 8, .cell = 1}).octaves(), 1);   // the first always counts
  // Leaving them out changes nothing else: the coarse octaves are the same.
  std::vector<float> a(100), b(100);
  CloudPattern(100, {.octaves = 4, .cell = 16}).Sum(5, a.data());
  CloudPattern(100, {.octaves = 8, .cell = 16}).Sum(5, b.data());
  EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace tessfx
