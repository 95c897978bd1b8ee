// Video looks: field exchange by row pairs, the bars and the scan-line pattern.
#include <gtest/gtest.h>

#include "effects/effect_rig.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::FlatRgba;
using testing::TestFrame;

// Each row's samples are 10 x the row number (extra row and column included).
testing::Frame RowNumbers(int32_t w, int32_t h) {
  return testing::MakeRgba(w, h, [](int, int32_t, int32_t y) { return static_cast<uint8_t>(y * 10); });
}

TEST(VideoLooks, ReverseFieldsSwapsRowPairsFromTheHostPlanes) {
  // Height 4: plane rows 0..4 (odd count): pairs (0,1), (2,3); row 4 keeps the working value.
  const testing::Frame rows = RowNumbers(3, 4);
  testing::EffectRig rig(testing::Clone(rows));
  const auto& s = rig.work();
  rig.work().g[4][1] = 77;
  rig.Apply("Reverse fields");
  for (int32_t x = 0; x <= 3; ++x)
    EXPECT_TRUE(s.r[0][x] == 10 && s.r[1][x] == 0 && s.b[2][x] == 30 && s.b[3][x] == 20) << x;
  EXPECT_TRUE(s.g[4][1] == 77 && s.r[4][0] == 40);
  // Height 5: plane rows 0..5 (even count): every row moves, the extra row included.
  TestFrame e(RowNumbers(2, 5));
  const ImageState& t = e.Run("Reverse fields");
  EXPECT_TRUE(t.work_r[4][2] == 50 && t.work_r[5][2] == 40);
}

TEST(VideoLooks, SlateBarsFollowTheColumnFraction) {
  // Column x shows bar 8 x / 20 (truncating): the last column of each of the eight bars,
  // and the extra column, which is black.
  TestFrame f(FlatRgba(20, 2, 50, 50, 50));
  const ImageState& s = f.Run("Slate");
  const int32_t column[9] = {2, 4, 7, 9, 12, 14, 17, 19, 20};
  const uint8_t r[9] = {192, 192, 0, 0, 192, 192, 0, 0, 0};
  const uint8_t g[9] = {192, 192, 192, 192, 0, 0, 0, 0, 0};
  const uint8_t b[9] = {192, 0, 192, 0, 192, 0, 192, 0, 0};
  for (int32_t y = 0; y <= 2; ++y)
    for (size_t i = 0; i < 9; ++i) {
      const int32_t x = column[i];
      EXPECT_TRUE(s.work_r[y][x] == r[i] && s.work_g[y][x] == g[i] && s.work_b[y][x] == b[i]) << y << "," << x;
    }
}

TEST(VideoLooks, VideoLinesPattern) {
  // Rows add +12, +4, -16, -12, -12 in turn, clamped.
  const std::pair<uint8_t, std::array<uint8_t, 5>> cases[] = {{255, {255, 255, 239, 243, 243}},
                                                              {0, {12, 4, 0, 0, 0}}};
  for (const auto& [value, rows] : cases) {
    TestFrame f(FlatRgba(4, 12, value, value, value));
    const ImageState& s = f.Run("Video lines");
    for (int32_t y = 0; y < 12; ++y)
      EXPECT_TRUE(s.work_r[y][0] == rows[y % 5u] && s.work_b[y][3] == rows[y % 5u]) << "row " << y;
    EXPECT_TRUE(s.work_g[12][0] == value && s.work_g[0][4] == value);  // the extra row and column are not visited
  }
}

}  // namespace
}  // namespace tessfx
