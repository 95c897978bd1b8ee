// Video looks: field exchange by row pairs, the bars, the scan-line pattern, and which of
// them composite.
#include <gtest/gtest.h>

#include "effects/test_frame.h"
#include "effects/video.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Make;
using testing::TestFrame;

// Each row's samples equal the row number (extra row and column included).
Plane RowNumbers(int32_t w, int32_t h) { return Make(w, h, [](int32_t y, int32_t) -> uint8_t { return y * 10; }); }

TEST(VideoLooks, ReverseFieldsSwapsRowPairsFromTheHostPlanes) {
  // height 4: plane rows 0..4 (odd count): pairs (0,1), (2,3); row 4 stays.
  TestFrame f(3, 4);
  f.SetFrame(RowNumbers(3, 4), RowNumbers(3, 4), RowNumbers(3, 4));
  f.host().set_alpha_bits(1);
  ImageState& s = f.Fetch();
  s.work_g[4][1] = 77;  // the unpaired last row keeps the working value
  FxReverseFields(s);
  for (int32_t x = 0; x <= 3; ++x) {
    EXPECT_EQ(s.work_r[0][x], 10);
    EXPECT_EQ(s.work_r[1][x], 0);
    EXPECT_EQ(s.work_b[2][x], 30);
    EXPECT_EQ(s.work_b[3][x], 20);
    EXPECT_EQ(s.work_r[4][x], 40);
  }
  EXPECT_EQ(s.work_g[4][1], 77);
  // height 5: plane rows 0..5 (even count): every row moves, the extra row included.
  TestFrame e(2, 5);
  e.SetFrame(RowNumbers(2, 5), RowNumbers(2, 5), RowNumbers(2, 5));
  e.host().set_alpha_bits(1);
  ImageState& t = e.Fetch();
  FxReverseFields(t);
  EXPECT_EQ(t.work_r[4][2], 50);
  EXPECT_EQ(t.work_r[5][2], 40);
}

TEST(VideoLooks, SlateOnAnEightWideFrame) {
  TestFrame f(8, 2);
  f.host().set_alpha_bits(1);
  ImageState& s = f.Fetch();
  FxSlate(s);
  const uint8_t r[9] = {192, 192, 0, 0, 192, 192, 0, 0, 0};
  const uint8_t g[9] = {192, 192, 192, 192, 0, 0, 0, 0, 0};
  const uint8_t b[9] = {192, 0, 192, 0, 192, 0, 192, 0, 0};
  for (int32_t y = 0; y <= 2; ++y)
    for (int32_t x = 0; x <= 8; ++x) {
      EXPECT_EQ(s.work_r[y][x], r[x]) << y << "," << x;
      EXPECT_EQ(s.work_g[y][x], g[x]) << y << "," << x;
      EXPECT_EQ(s.work_b[y][x], b[x]) << y << "," << x;
    }
}

TEST(VideoLooks, SlateBarsFollowTheColumnFraction) {
  TestFrame f(20, 1);
  f.host().set_alpha_bits(1);
  ImageState& s = f.Fetch();
  FxSlate(s);
  EXPECT_EQ(s.work_b[0][2], 192);  // bar 0
  EXPECT_EQ(s.work_b[0][3], 0);    // 24 / 20: bar 1, yellow
  EXPECT_EQ(s.work_g[0][19], 0);   // bar 7, black
  EXPECT_EQ(s.work_r[0][20], 0);   // the extra column
}

TEST(VideoLooks, VideoLinesPattern) {
  for (auto [value, rows] : {std::pair<uint8_t, std::array<uint8_t, 5>>{255, {255, 255, 239, 243, 243}},
                             std::pair<uint8_t, std::array<uint8_t, 5>>{0, {12, 4, 0, 0, 0}}}) {
    TestFrame f(4, 12);
    f.SetFrame(Flat(4, 12, value), Flat(4, 12, value), Flat(4, 12, value));
    f.SetAlpha(Flat(4, 12, 0));  // would protect the whole frame, but there is no composite
    f.Dispatch("Video lines");
    const ImageState& s = f.image();
    for (int32_t y = 0; y < 12; ++y) {
      EXPECT_EQ(s.work_r[y][0], rows[static_cast<size_t>(y % 5)]) << "row " << y;
      EXPECT_EQ(s.work_b[y][3], rows[static_cast<size_t>(y % 5)]) << "row " << y;
    }
    EXPECT_EQ(s.work_g[12][0], value);  // the extra row and column are not visited
    EXPECT_EQ(s.work_g[0][4], value);
  }
}

TEST(VideoLooks, SlateAndReverseFieldsComposite) {
  TestFrame f(8, 4);
  f.SetFrame(RowNumbers(8, 4), RowNumbers(8, 4), RowNumbers(8, 4));
  f.SetAlpha(Flat(8, 4, 0));
  f.Dispatch("Slate");
  EXPECT_EQ(f.image().work_r[1][0], 10);
  f.Dispatch("Reverse fields");
  EXPECT_EQ(f.image().work_r[1][0], 10);
}

}  // namespace
}  // namespace tessfx
