// The timeline strip's drawing order and contents, scrubbing and scrolling.
#include <gtest/gtest.h>

#include <algorithm>

#include "keys/timeline_view.h"

namespace tessfx {
namespace {

struct Recorded {
  double x1, y1, x2, y2;
  Rgb colour;
  bool dotted;
  bool box;
  bool filled;
};

struct RecordingCanvas : TimelineCanvas {
  std::vector<Recorded> items;
  void Line(double x1, double y1, double x2, double y2, Rgb c, bool dotted) override {
    items.push_back({x1, y1, x2, y2, c, dotted, false, false});
  }
  void Box(double x1, double y1, double x2, double y2, Rgb c, bool filled) override {
    items.push_back({x1, y1, x2, y2, c, false, true, filled});
  }
  size_t Count(Rgb c) const {
    return static_cast<size_t>(std::count_if(items.begin(), items.end(), [&](const Recorded& r) { return r.colour == c; }));
  }
  std::vector<Recorded> Dotted() const {
    std::vector<Recorded> d;
    for (const auto& r : items)
      if (r.dotted) d.push_back(r);
    return d;
  }
};

TimelineData Strip(int32_t frames, std::vector<int32_t> keys, const std::array<std::vector<float>, 6>* values = nullptr) {
  TimelineData d;
  d.total_frames = frames;
  d.current_frame = 0;
  d.width = 300;
  d.height = 60;
  d.back_color = 0x808080;
  d.key_frames = std::move(keys);
  d.frame_values = values;
  return d;
}

TEST(Timeline, WithoutTwoKeysThereAreNoCurvesAndNoKeyedRange) {
  std::array<std::vector<float>, 6> values;
  for (auto& v : values) v.assign(31, 0.5f);
  RecordingCanvas none;
  DrawTimeline(none, Strip(30, {}, &values));
  EXPECT_EQ(none.Count(kTimelineRed), 0u);
  EXPECT_EQ(none.Count(kTimelineBlue), 0u);
  EXPECT_EQ(none.Count(kTimelineYellow), 0u);
  EXPECT_EQ(none.Count(kTimelineOrange), 5u);   // box and four arrowhead lines
  EXPECT_EQ(none.Dotted().size(), 29u);         // a tick for frames 1..29
  EXPECT_EQ(none.Count(kTimelineSlate), 30u);   // ticks and the centre line

  RecordingCanvas one;
  DrawTimeline(one, Strip(30, {10}, &values));
  EXPECT_EQ(one.Count(kTimelineRed), 1u);
  EXPECT_EQ(one.Count(kTimelineBlue), 0u);
  EXPECT_EQ(one.Count(kTimelineYellow), 0u);
}

TEST(Timeline, TwoKeysDrawCurvesOfAllChannelsOverTheRestInOrder) {
  std::array<std::vector<float>, 6> values;
  for (auto& v : values) v.assign(31, 0.5f);
  RecordingCanvas c;
  DrawTimeline(c, Strip(30, {0, 29}, &values));
  EXPECT_EQ(c.Count(kTimelineBlue), 6u * 30u);
  EXPECT_EQ(c.Count(kTimelineRed), 2u);
  ASSERT_EQ(c.Count(kTimelineYellow), 1u);
  // A channel at 0.5 all along is a horizontal line at half height, over the centre line.
  for (const auto& r : c.items)
    if (r.colour == kTimelineBlue) {
      EXPECT_DOUBLE_EQ(r.y1, 30.0);
      EXPECT_DOUBLE_EQ(r.y2, 30.0);
    }
  // The background comes first and the curves last.
  EXPECT_FALSE(c.items.front().colour == kTimelineBlue);
  EXPECT_TRUE(c.items.back().colour == kTimelineBlue);
  // The last key stands at the right edge.
  auto red = std::find_if(c.items.rbegin(), c.items.rend(), [](auto& r) { return r.colour == kTimelineRed; });
  EXPECT_DOUBLE_EQ(red->x1, 300.0);
}

TEST(Timeline, TicksDependOnTheFrameCount) {
  RecordingCanvas two, three, one;
  DrawTimeline(two, Strip(2, {}));
  EXPECT_TRUE(two.Dotted().empty());
  DrawTimeline(three, Strip(3, {}));
  auto ticks = three.Dotted();
  ASSERT_EQ(ticks.size(), 2u);
  EXPECT_DOUBLE_EQ(ticks[0].x1, 150.0);
  EXPECT_DOUBLE_EQ(ticks[1].x1, 300.0);
  // One frame: no scale; a key stands at its frame number and nothing divides by zero.
  DrawTimeline(one, Strip(1, {0, 0}));
  EXPECT_EQ(one.Count(kTimelineBlue), 0u);
  EXPECT_EQ(one.Count(kTimelineYellow), 0u);
}

TEST(Timeline, HighlightBoxShadesFromHalfToFullBrightness) {
  RecordingCanvas c;
  HighlightBox(c, 0, 0, 100, 10, 200, 100, 50, 179);
  ASSERT_EQ(c.items.size(), 11u);
  EXPECT_TRUE(c.items[0].colour == (Rgb{100, 50, 25}));
  EXPECT_EQ(c.items[5].colour.r, 200);  // the sine peaks at mid-height
  RecordingCanvas flat;
  HighlightBox(flat, 0, 5, 100, 5, 200, 100, 50, 179);
  EXPECT_TRUE(flat.items.empty());
}

TEST(Timeline, ScrubbingFollowsThePointerWithinTheStrip) {
  EXPECT_EQ(ScrubFrame(1, 0, 5, 300, 60, 30), 0);
  EXPECT_EQ(ScrubFrame(1, 150, 5, 300, 60, 30), 15);
  EXPECT_FALSE(ScrubFrame(1, 295, 5, 300, 60, 30));  // 29.5 rounds to even: 30 is not sent
  EXPECT_EQ(ScrubFrame(1, 290, 5, 300, 60, 30), 29);
  EXPECT_FALSE(ScrubFrame(1, 300, 5, 300, 60, 30));  // the right edge computes T
  EXPECT_FALSE(ScrubFrame(0, 100, 5, 300, 60, 30));  // no button held
  EXPECT_FALSE(ScrubFrame(1, -1, 5, 300, 60, 30));
  EXPECT_FALSE(ScrubFrame(1, 10, 61, 300, 60, 30));
}

TEST(Timeline, ScrollRangeCoversTheZoomedStrip) {
  const ScrollRange r = AdjustHscroll(CalcPictureWidth(400, 2.5f), 400);
  EXPECT_EQ(r.min, 0);
  EXPECT_EQ(r.max, 600);
  EXPECT_EQ(r.large_change, 1000);
}

}  // namespace
}  // namespace tessfx
