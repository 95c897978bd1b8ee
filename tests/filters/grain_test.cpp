// Grain fields: unit deviation at every grain size (directly and on the coarse grid),
// correlation over the grain size, and independence between frames and channels.
#include <gtest/gtest.h>

#include <cmath>

#include "filters/grain.h"
#include "planes.h"

namespace tessfx {
namespace {

struct Stats {
  double mean = 0, deviation = 0;
};

Stats StatsOf(const GrainField& g) {
  double sum = 0, squares = 0;
  const double n = double(g.width()) * g.height();
  for (int32_t y = 0; y < g.height(); ++y)
    for (int32_t x = 0; x < g.width(); ++x) {
      sum += g.row(y)[x];
      squares += double(g.row(y)[x]) * g.row(y)[x];
    }
  const double mean = sum / n;
  return {mean, std::sqrt(squares / n - mean * mean)};
}

// Correlation of the field with itself shifted `lag` px across, or of two fields.
double Correlation(const GrainField& a, const GrainField& b, int32_t lag) {
  double ab = 0, aa = 0, bb = 0;
  for (int32_t y = 0; y < a.height(); ++y)
    for (int32_t x = 0; x + lag < a.width(); ++x) {
      const double u = a.row(y)[x], v = b.row(y)[x + lag];
      ab += u * v;
      aa += u * u;
      bb += v * v;
    }
  return ab / std::sqrt(aa * bb);
}

TEST(GrainField, UnitDeviationAndTheGrainSizeAsCorrelationLength) {
  // White, smoothed at full resolution, and made on grids of 1, 3 and 10 px.
  for (double size : {0.5, 1.8, 3.5, 7.0, 20.0}) {
    GrainField g(600, 500, size);
    g.Fill(RandomStream::FilmGrain, 3, 0);
    const Stats s = StatsOf(g);
    // Larger grains leave fewer independent samples in the frame: allow for that.
    const double slack = 0.02 + 0.012 * size;
    EXPECT_NEAR(s.mean, 0.0, slack) << size;
    EXPECT_NEAR(s.deviation, 1.0, 0.05 + slack) << size;
    // Smoothed white noise correlates as a Gaussian of sqrt(2) size: exp(-1/4) one size away.
    if (size >= 1.0) EXPECT_NEAR(Correlation(g, g, static_cast<int32_t>(std::lround(size))), 0.78, 0.08) << size;
    else EXPECT_NEAR(Correlation(g, g, 1), 0.0, 0.02);
  }
}

TEST(GrainField, ReproducibleAndIndependentAcrossFramesChannelsAndThreads) {
  auto field = [](int32_t frame, uint32_t channel, size_t threads) {
    return testing::WithThreads(threads, [&] {
      GrainField g(400, 300, 2.0);
      g.Fill(RandomStream::FilmGrain, frame, channel);
      return g;
    });
  };
  const GrainField a = field(5, 1, 1);
  const GrainField again = field(5, 1, 3);
  for (int32_t y = 0; y < 300; ++y)
    ASSERT_TRUE(std::equal(a.row(y), a.row(y) + 400, again.row(y))) << "row " << y;
  EXPECT_LT(std::fabs(Correlation(a, field(6, 1, 1), 0)), 0.05);
  EXPECT_LT(std::fabs(Correlation(a, field(5, 2, 1), 0)), 0.05);
}

}  // namespace
}  // namespace tessfx
