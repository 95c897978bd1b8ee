// The cross rank passes: one pass against the five-point definition, and the banded two
// passes against two whole passes with a full copy between them.
#include <gtest/gtest.h>

#include <algorithm>

#include "effects/test_frame.h"
#include "filters/cross_rank.h"

namespace tessfx {
namespace {

using testing::Noise;

// One pass as written: rows 1..h-1, columns 1..w-1, the rest of dst left alone.
void ReferencePass(const Plane& src, Plane& dst, RankOp op) {
  for (int32_t y = 1; y < src.height(); ++y)
    for (int32_t x = 1; x < src.width(); ++x) {
      const uint8_t v[5] = {src[y][x], src[y][x - 1], src[y - 1][x], src[y][x + 1], src[y + 1][x]};
      dst[y][x] = op == RankOp::Maximum ? *std::max_element(v, v + 5) : *std::min_element(v, v + 5);
    }
}

TEST(CrossRank, TwoPassesEqualTwoWholePassesWithACopyBetween) {
  for (auto [w, h] : {std::pair{2, 2}, std::pair{3, 7}, std::pair{64, 3}, std::pair{333, 301}})
    for (auto [first, second] : {std::pair{RankOp::Maximum, RankOp::Minimum}, std::pair{RankOp::Minimum, RankOp::Maximum},
                                 std::pair{RankOp::Maximum, RankOp::Maximum}}) {
      const Plane hr = Noise(w, h, 1), hg = Noise(w, h, 2), hb = Noise(w, h, 3);
      // The working planes start different from the host planes, so that it shows which
      // of them the borders come from.
      Plane expected[3] = {Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6)};
      Plane actual[3] = {expected[0].Clone(), expected[1].Clone(), expected[2].Clone()};
      const Plane* host[3] = {&hr, &hg, &hb};
      for (int c = 0; c < 3; ++c) {
        ReferencePass(*host[c], expected[c], first);
        const Plane copy = expected[c].Clone();
        ReferencePass(copy, expected[c], second);
      }
      testing::WithThreads(3, [&] {
        CrossRankTwoPasses(hr.data(), hg.data(), hb.data(), actual[0].data(), actual[1].data(), actual[2].data(), w, h,
                           first, second);
        return 0;
      });
      for (int c = 0; c < 3; ++c) ASSERT_EQ(actual[c], expected[c]) << w << "x" << h << " channel " << c;
    }
}

TEST(CrossRank, OnePassMatchesTheDefinition) {
  const int32_t w = 97, h = 45;
  const Plane r = Noise(w, h, 7), g = Noise(w, h, 8), b = Noise(w, h, 9);
  for (RankOp op : {RankOp::Maximum, RankOp::Minimum}) {
    Plane out[3] = {Noise(w, h, 10), Noise(w, h, 11), Noise(w, h, 12)};
    Plane expected = out[1].Clone();
    ReferencePass(g, expected, op);
    CrossRankPass(r.data(), g.data(), b.data(), out[0].data(), out[1].data(), out[2].data(), w, h, op);
    EXPECT_EQ(out[1], expected);
  }
}

}  // namespace
}  // namespace tessfx
