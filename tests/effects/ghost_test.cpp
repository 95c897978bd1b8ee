// "Ghost": the weighted echo of earlier frames, read from the host without moving it.
#include <gtest/gtest.h>

#include <set>

#include "effects/test_frame.h"
#include "host/late_bound_host.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Noise;
using testing::TestFrame;

// An animation whose frame f is flat with red values[f] (green and blue 0).
TestFrame FlatRgbas(const std::vector<uint8_t>& values) {
  TestFrame f(5, 3, static_cast<int32_t>(values.size()));
  for (size_t i = 0; i < values.size(); ++i)
    f.SetFrame(Flat(5, 3, values[i]), Flat(5, 3, 0), Flat(5, 3, 0), static_cast<int32_t>(i));
  return f;
}

uint8_t GhostAt(TestFrame& f, int32_t frame, float frames) {
  f.host().Tes_GotoFrame(frame);
  return f.Run("Ghost", {frames}).work_r[1][2];
}

TEST(Ghost, WeighsTheCurrentFrameMostAndRoundsHalvesToEven) {
  // Frames 3 back: weights 3, 2, 1 over 6. 3 / 6 = 0.5 -> 0; 9 / 6 = 1.5 -> 2.
  TestFrame a = FlatRgbas({0, 0, 1});
  EXPECT_EQ(GhostAt(a, 2, 3), 0);
  TestFrame b = FlatRgbas({0, 0, 3});
  EXPECT_EQ(GhostAt(b, 2, 3), 2);
  // Two frames: (2 x current + previous) / 3; at frame 1 only frame 0 is earlier, whatever
  // the count: (4 x 90 + 3 x 20) / 7 = 60.
  TestFrame c = FlatRgbas({20, 90, 200});
  EXPECT_EQ(GhostAt(c, 2, 2), 163);  // (2 x 200 + 90) / 3
  EXPECT_EQ(GhostAt(c, 1, 4), 60);
  EXPECT_EQ(GhostAt(c, 2, 1.4f), GhostAt(c, 2, 2));  // fewer than two frames count as two
  EXPECT_EQ(GhostAt(c, 2, 40), GhostAt(c, 2, 16));   // more than sixteen as sixteen
}

TEST(Ghost, TheFirstFrameAndAStillAnimationStayAsTheyAre) {
  const testing::Frame n = testing::NoiseFrame(17, 6);
  TestFrame f(17, 6, 20);
  for (int32_t frame = 0; frame < 20; ++frame) f.SetFrame(n.r, n.g, n.b, frame);
  for (int32_t k = 2; k <= 16; ++k) {
    f.host().Tes_GotoFrame(19);
    EXPECT_TRUE(testing::WorkingEqualsHost(f.Run("Ghost", {static_cast<float>(k)}))) << k;
  }
  f.SetFrame(Noise(17, 6, 9), Noise(17, 6, 10), Noise(17, 6, 11), 1);
  f.host().Tes_GotoFrame(0);
  EXPECT_TRUE(testing::WorkingEqualsHost(f.Run("Ghost", {16})));
}

TEST(Ghost, ReadsOnlyTheEarlierFramesItWeighs) {
  std::multiset<std::pair<std::string, int32_t>> reads;
  int32_t moves = 0;
  TestFrame f(8, 4, 12, [&](std::shared_ptr<EmbeddedHost> inner) {
    return std::make_shared<LateBoundHost>([inner, &reads, &moves](std::string_view name,
                                                                   std::vector<AutomationValue>& args) {
      if (name.size() == 13 && name.rfind("Tes_Get", 0) == 0 && name.substr(8) == "Frame")
        reads.emplace(std::string(name), AutomationToLong(args.at(0), "frame"));
      moves += name == "Tes_GotoFrame";
      return inner->Call(name, args);
    });
  });
  for (auto [frame, k, first] : {std::tuple{7, 4, 4}, std::tuple{2, 16, 0}, std::tuple{11, 16, 0}}) {
    f.host().Tes_GotoFrame(frame);
    reads.clear();
    moves = 0;
    f.Run("Ghost", {static_cast<float>(k)});
    std::multiset<std::pair<std::string, int32_t>> expected;
    for (int32_t earlier = first; earlier < frame; ++earlier)
      for (const char* name : {"Tes_GetRFrame", "Tes_GetGFrame", "Tes_GetBFrame"}) expected.emplace(name, earlier);
    EXPECT_EQ(reads, expected) << frame << " " << k;
    EXPECT_EQ(moves, 0);
  }
}

}  // namespace
}  // namespace tessfx
