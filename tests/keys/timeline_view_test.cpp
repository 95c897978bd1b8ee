// The timeline strip's drawing order and contents, and scrubbing.
#include <gtest/gtest.h>

#include <algorithm>

#include "keys/timeline_view.h"

namespace tessfx {
namespace {

struct Recorded {
  double x1, y1, x2, y2;
  Rgb colour;
  bool dotted;
};

struct RecordingCanvas : TimelineCanvas {
  std::vector<Recorded> items;
  void Line(double x1, double y1, double x2, double y2, Rgb c, bool dotted) override {
    items.push_back({x1, y1, x2, y2, c, dotted});
  }
  void Box(double x1, double y1, double x2, double y2, Rgb c, bool) override {
    items.push_back({x1, y1, x2, y2, c, false});
  }
  std::vector<Recorded> Of(Rgb c, bool dotted = false) const {
    std::vector<Recorded> out;
    std::copy_if(items.begin(), items.end(), std::back_inserter(out),
                 [&](const Recorded& r) { return r.colour == c && r.dotted == dotted; });
    return out;
  }
};

// A 300 x 60 strip at frame 0 with every channel at 0.5 all along.
RecordingCanvas Draw(int32_t frames, std::vector<int32_t> keys) {
  static std::array<std::vector<float>, 6> values;
  for (auto& v : values) v.assign(31, 0.5f);
  RecordingCanvas c;
  DrawTimeline(c, {.total_frames = frames, .width = 300, .height = 60, .back_color = 0x808080,
                   .key_frames = std::move(keys), .frame_values = &values});
  return c;
}

TEST(Timeline, CurvesAndTheKeyedRangeNeedTwoKeys) {
  const struct {
    std::vector<int32_t> keys;
    size_t red, yellow, blue;
  } cases[] = {{{}, 0, 0, 0}, {{10}, 1, 0, 0}, {{0, 29}, 2, 1, 6 * 30}};
  for (const auto& k : cases) {
    const RecordingCanvas c = Draw(30, k.keys);
    EXPECT_EQ(c.Of(kTimelineRed).size(), k.red) << k.keys.size();
    EXPECT_EQ(c.Of(kTimelineYellow).size(), k.yellow) << k.keys.size();
    EXPECT_EQ(c.Of(kTimelineBlue).size(), k.blue) << k.keys.size();
    EXPECT_EQ(c.Of(kTimelineOrange).size(), 5u);  // box and four arrowhead lines
    EXPECT_EQ(c.Of(kTimelineSlate, true).size(), 29u);  // a tick for frames 1..29
  }
  const RecordingCanvas c = Draw(30, {0, 29});
  // A channel at 0.5 all along is a horizontal line at half height, over the centre line.
  for (const Recorded& r : c.Of(kTimelineBlue)) EXPECT_TRUE(r.y1 == 30.0 && r.y2 == 30.0);
  // The background comes first and the curves last; the last key stands at the right edge.
  EXPECT_FALSE(c.items.front().colour == kTimelineBlue);
  EXPECT_TRUE(c.items.back().colour == kTimelineBlue);
  EXPECT_DOUBLE_EQ(c.Of(kTimelineRed).back().x1, 300.0);
}

TEST(Timeline, TicksNeedThreeFramesAndOneFrameDividesByNothing) {
  EXPECT_TRUE(Draw(2, {}).Of(kTimelineSlate, true).empty());
  EXPECT_EQ(Draw(3, {}).Of(kTimelineSlate, true).size(), 2u);
  // One frame: no scale, keys stand at their frame numbers, no range or curves.
  const RecordingCanvas one = Draw(1, {0, 3});
  ASSERT_EQ(one.Of(kTimelineRed).size(), 2u);
  EXPECT_DOUBLE_EQ(one.Of(kTimelineRed)[1].x1, 3.0);
  EXPECT_TRUE(one.Of(kTimelineYellow).empty() && one.Of(kTimelineBlue).empty());
  EXPECT_DOUBLE_EQ(one.Of(kTimelineOrange)[0].x1, -2.0);  // the marker at 0, not at 0 / 0
}

TEST(Timeline, ScrubbingFollowsThePointerWithinTheStrip) {
  EXPECT_EQ(ScrubFrame(1, 0, 5, 300, 60, 30), 0);
  EXPECT_EQ(ScrubFrame(1, 150, 5, 300, 60, 30), 15);
  EXPECT_EQ(ScrubFrame(1, 290, 5, 300, 60, 30), 29);
  EXPECT_FALSE(ScrubFrame(1, 295, 5, 300, 60, 30));  // 29.5 rounds to even: 30 is not sent
  EXPECT_FALSE(ScrubFrame(1, 300, 5, 300, 60, 30));  // the right edge computes T
  EXPECT_FALSE(ScrubFrame(0, 100, 5, 300, 60, 30));  // no button held
  EXPECT_FALSE(ScrubFrame(1, -1, 5, 300, 60, 30));
  EXPECT_FALSE(ScrubFrame(1, 10, 61, 300, 60, 30));
}

}  // namespace
}  // namespace tessfx
