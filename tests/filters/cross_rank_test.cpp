// The cross rank passes: one pass against the five-point definition, and the banded two
// passes against two whole passes with a full copy between them.
#include <gtest/gtest.h>

#include <algorithm>

#include "planes.h"
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

TEST(CrossRank, OnePassAndTwoBandedPassesMatchTheDefinition) {
  for (auto [w, h] : {std::pair{2, 2}, std::pair{3, 7}, std::pair{64, 3}, std::pair{333, 301}})
    for (auto [first, second] :
         {std::pair{RankOp::Maximum, RankOp::Minimum}, std::pair{RankOp::Minimum, RankOp::Maximum},
          std::pair{RankOp::Maximum, RankOp::Maximum}}) {
      const Plane host[3] = {Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3)};
      // The working planes start different from the host planes, so that it shows which
      // of them the borders come from.
      Plane once[3] = {Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6)};
      Plane twice[3] = {once[0].Clone(), once[1].Clone(), once[2].Clone()};
      const ConstRgbView source{host[0].view(), host[1].view(), host[2].view()};
      CrossRankPass({once[0].view(), once[1].view(), once[2].view()}, source, first);
      testing::WithThreads(3, [&] {
        CrossRankTwoPasses({twice[0].view(), twice[1].view(), twice[2].view()}, source, first, second);
        return 0;
      });
      for (uint32_t c = 0; c < 3; ++c) {
        Plane expected = Noise(w, h, 4 + c);
        ReferencePass(host[c], expected, first);
        ASSERT_EQ(once[c], expected) << "one pass " << w << "x" << h << " channel " << c;
        ReferencePass(expected.Clone(), expected, second);
        ASSERT_EQ(twice[c], expected) << w << "x" << h << " channel " << c;
      }
    }
}

}  // namespace
}  // namespace tessfx
