// The timeline strip's drawing order and contents, and scrubbing.
#include <gtest/gtest.h>

#include <algorithm>

#include "keys/key_channels.h"
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

// The ruler counts as the captions do: frame 0 is "1", and labels land on round numbers.
TEST(Ruler, LabelsCountFromOneOnRoundNumbersAndOnlyWhereVisible) {
  const auto labelled = [](const std::vector<RulerTick>& ticks) {
    std::vector<int32_t> numbers;
    for (const RulerTick& t : ticks)
      if (t.major) numbers.push_back(t.frame + 1);
    return numbers;
  };
  // 48 frames over 470 pixels: 10 pixels a frame, labels 30 apart -> every 5th number.
  const std::vector<RulerTick> ticks = RulerTicks(48, 470, 0, 470, 30);
  EXPECT_EQ(labelled(ticks), (std::vector<int32_t>{1, 5, 10, 15, 20, 25, 30, 35, 40, 45}));
  EXPECT_EQ(ticks.size(), 48u);  // a minor tick on every frame
  // 10000 frames zoomed to 16 pixels a frame: only the part in view, one label a frame pair.
  const double w = 9999 * 16.0;
  const std::vector<RulerTick> far = RulerTicks(10000, w, 100000, 100800, 30);
  ASSERT_FALSE(far.empty());
  EXPECT_LT(far.size(), 60u);
  for (const RulerTick& t : far) EXPECT_TRUE(FrameX(t.frame, 10000, w) >= 100000 - 32 && FrameX(t.frame, 10000, w) <= 100832);
  EXPECT_EQ(labelled(far).front() % 2, 0);
  // The whole of 10000 frames in 800 pixels: labels 500 numbers apart.
  EXPECT_EQ(labelled(RulerTicks(10000, 800, 0, 800, 30)),
            (std::vector<int32_t>{1, 500, 1000, 1500, 2000, 2500, 3000, 3500, 4000, 4500, 5000, 5500, 6000, 6500, 7000,
                                  7500, 8000, 8500, 9000, 9500, 10000}));
  EXPECT_EQ(labelled(RulerTicks(1, 300, 0, 300, 30)), (std::vector<int32_t>{1}));
}

TEST(Ruler, ValueScaleStandsWhereTheCurvesDrawTheValues) {
  const std::vector<ValueTick> ticks = ValueTicks(255, 80, 12);
  ASSERT_EQ(ticks.size(), 6u);  // 0, 50, 100, 150, 200 and the maximum
  EXPECT_EQ(ticks.front().value, 0);
  EXPECT_DOUBLE_EQ(ticks.front().y, 80);  // a channel at 0 is drawn on the bottom edge
  EXPECT_EQ(ticks.back().value, 255);
  EXPECT_DOUBLE_EQ(ticks.back().y, 0);
  EXPECT_DOUBLE_EQ(ticks[2].y, (1 - 100.0 / 255) * 80);
  // A tick too close to the maximum's is left out.
  const std::vector<ValueTick> crowded = ValueTicks(7, 80, 12);
  for (size_t i = 1; i < crowded.size(); ++i) EXPECT_GE(crowded[i - 1].y - crowded[i].y, 12 - 1e-9);
  EXPECT_TRUE(ValueTicks(0, 80, 12).empty());
}

TEST(KeyLane, KeysAreHitNearTheirMarksAndDraggedToTheNearestFrame) {
  // 30 frames on 290 pixels: frame f at 10 f.
  const std::vector<int32_t> keys{0, 12, 13, kDeletedKeyFrame};
  EXPECT_EQ(KeyNearX(keys, 3, 30, 290, 6), 0);
  EXPECT_EQ(KeyNearX(keys, 124, 30, 290, 6), 1);
  EXPECT_EQ(KeyNearX(keys, 126, 30, 290, 6), 2);  // the nearer of two
  EXPECT_EQ(KeyNearX(keys, 60, 30, 290, 6), -1);
  EXPECT_EQ(KeyNearX({kDeletedKeyFrame}, 290, 30, 290, 1e9), -1);  // the deleted-key mark is never hit
  for (int32_t f = 0; f < 30; ++f) EXPECT_EQ(NearestFrame(FrameX(f, 30, 290), 30, 290), f);
  EXPECT_EQ(NearestFrame(-50, 30, 290), 0);
  EXPECT_EQ(NearestFrame(1e6, 30, 290), 29);
  EXPECT_EQ(NearestFrame(10, 1, 290), 0);
}

// At every zoom the scroll range plus the viewport covers the whole strip: the last frame can
// always be scrolled to, also past 32767 pixels.
TEST(Scrolling, ReachesTheLastFrameAtEveryZoom) {
  for (int32_t frames : {2, 48, 10000}) {
    const double viewport = 560;
    const float top = MaxTimelineZoom(frames, viewport);
    EXPECT_GE(top, 64.0f);
    EXPECT_GE(CalcPictureWidth(viewport, top) / std::max(frames - 1, 1), kMaxPixelsPerFrame - 1e-3);
    for (float zoom = 1; zoom <= top; zoom *= 2) {
      const double strip = CalcPictureWidth(viewport, zoom);
      const ScrollRange r = AdjustHscroll(strip, viewport);
      EXPECT_NEAR(r.max + viewport, strip, 0.5) << frames << " at " << zoom;
    }
  }
}

}  // namespace
}  // namespace tessfx
