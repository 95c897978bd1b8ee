// Keys and their expansion into per-frame values: the edge cases of set, delete and sort,
// both fills, and both rounding rules.
#include <gtest/gtest.h>

#include "keys/geometry.h"
#include "keys/key_channels.h"
#include "render/rig.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::SampleSegment;

// An editor on a tiny animation with "Color add" (three sliders of -255..255) selected.
struct KeysTest : ::testing::Test {
  void SetUp() override { Make(20); }
  void Make(int32_t frames) {
    rig = std::make_unique<EditorRig>(2, 2, frames);
    rig->editor->panel().SelectEffect("Color add");
  }
  KeyChannels& keys() { return rig->editor->keys(); }
  ParameterPanel& panel() { return rig->editor->panel(); }
  float At(int c, int32_t f) { return keys().FrameValues().Get(c, f); }
  // Sets a key from normalised red values (of Max 255).
  void RedKey(int32_t frame, int16_t red) { rig->Key(frame, {red, 0, 0}); }
  std::unique_ptr<EditorRig> rig;
};

TEST_F(KeysTest, WithoutTwoKeysEveryFrameFollowsTheSliders) {
  panel().HProp[0].SetValue(51);
  keys().FillArray();
  ASSERT_EQ(keys().FrameValues().Upper(), 20);
  for (int32_t f = 0; f < 20; ++f) EXPECT_EQ(At(0, f), static_cast<float>(51.0 / 255.0));
  EXPECT_EQ(At(0, 20), 0.0f);  // the row past the animation stays zero

  // One key is ignored: the sliders' current values hold everywhere.
  RedKey(5, 200);
  panel().HProp[0].SetValue(-100);
  keys().FillArray();
  EXPECT_EQ(keys().KeyCount(), 1);
  for (int32_t f : {0, 5, 19}) EXPECT_EQ(keys().ChannelValue(0, f), -100.0f);

  // Normalised by each slider's own Max, in double, stored as single.
  HPropModel& h = panel().HProp[3];
  h.SetMin(-100);
  h.SetMax(200);
  h.SetValue(-50);
  keys().FillArray();
  EXPECT_EQ(At(3, 7), -0.25f);
  EXPECT_EQ(keys().ChannelValue(3, 7), -50.0f);
}

TEST_F(KeysTest, TheStripSeesTheHostFrameTheKeysAndTheTable) {
  EXPECT_TRUE(keys().Timeline().key_frames.empty());
  RedKey(3, 51);
  RedKey(15, 255);
  rig->host->Tes_GotoFrame(7);
  const TimelineData d = keys().Timeline();
  EXPECT_EQ(d.total_frames, 20);
  EXPECT_EQ(d.current_frame, 7);
  EXPECT_EQ(d.key_frames, (std::vector<int32_t>{3, 15}));
  ASSERT_NE(d.frame_values, nullptr);
  EXPECT_FLOAT_EQ((*d.frame_values)[0][15], 1.0f);
}

TEST_F(KeysTest, SetKeyAtAKeyedFrameReplacesIt) {
  RedKey(3, 10);
  RedKey(12, 20);
  RedKey(3, 30);
  ASSERT_EQ(keys().KeyCount(), 2);
  EXPECT_EQ(keys().KeyList()[0].Frame, 3);
  EXPECT_EQ(keys().KeyList()[0].Value[0], static_cast<float>(30.0 / 255.0));
  EXPECT_EQ(keys().KeyList()[1].Frame, 12);
  EXPECT_GT(rig->window.timeline_draws, 0);
}

TEST_F(KeysTest, SortIsStableAndCarriesWholeRecords) {
  std::vector<KeyFrame> list(4);
  const int32_t frames[] = {5, 2, 5, 1};
  for (int i = 0; i < 4; ++i) {
    list[i].Frame = frames[i];
    list[i].Reserved1 = 100 + i;
    list[i].Reserved2 = 200 + i;
    list[i].Value[5] = static_cast<float>(i);
  }
  keys().RestoreKeys(list);
  const int expected_origin[] = {3, 1, 0, 2};  // equal frames keep their order
  for (int i = 0; i < 4; ++i) {
    const KeyFrame& k = keys().KeyList()[i];
    EXPECT_EQ(k.Reserved1, 100 + expected_origin[i]);
    EXPECT_EQ(k.Reserved2, 200 + expected_origin[i]);
    EXPECT_EQ(k.Value[5], static_cast<float>(expected_origin[i]));
  }
}

TEST_F(KeysTest, DeletingTheOnlyKeyLeavesTheMarkedRecord) {
  RedKey(4, 100);
  keys().DeleteKey(7);  // no key there: nothing changes
  EXPECT_EQ(keys().LastKey(), 0);
  EXPECT_EQ(keys().KeyList()[0].Frame, 4);
  keys().DeleteKey(4);
  EXPECT_EQ(keys().LastKey(), 0);
  EXPECT_EQ(keys().KeyCount(), 1);
  EXPECT_EQ(keys().KeyList()[0].Frame, kDeletedKeyFrame);

  // A new key then pairs with the marked record: the linear fill runs towards frame 10000,
  // its writes past the table are dropped, and nothing follows the last real frame's line.
  panel().HProp[0].SetValue(0);
  RedKey(2, 0);
  ASSERT_EQ(keys().KeyCount(), 2);
  EXPECT_EQ(keys().KeyList()[1].Frame, kDeletedKeyFrame);
  const float old_value = static_cast<float>(100.0 / 255.0);
  for (int32_t f = 3; f <= 20; ++f)
    EXPECT_NEAR(At(0, f), old_value * (f - 2) / (kDeletedKeyFrame - 2), 1e-7) << f;
  EXPECT_EQ(At(0, 0), 0.0f);  // lead-in from the real key
}

TEST_F(KeysTest, LinearFillStaysBetweenItsKeysWithLeadInAndOut) {
  // 0.2 and 0.8 of 255 at frames 4 and 14.
  RedKey(4, 51);
  RedKey(14, 204);
  for (int32_t f = 0; f < 20; ++f) {
    const double expected = f <= 4 ? 0.2 : (f >= 14 ? 0.8 : 0.2 + 0.06 * (f - 4));
    EXPECT_NEAR(At(0, f), expected, 1e-6) << f;
    EXPECT_GE(At(0, f), 0.2f);
    EXPECT_LE(At(0, f), 0.8f);
  }
}

TEST_F(KeysTest, LinearFillEndsOnTheLastKeyWhateverItsStepsAddUpTo) {
  // Nine steps of 1/9 add up to just above 1, so the loop's last sample is t = 8/9; the
  // segment still ends on key 1, and the lead-out carries its value on.
  RedKey(0, 0);
  RedKey(9, 255);
  EXPECT_NEAR(At(0, 8), 8.0 / 9.0, 1e-6);
  for (int32_t f = 9; f < 20; ++f) EXPECT_FLOAT_EQ(At(0, f), 1.0f) << f;
  // Ten steps of 1/10 stay below 1: frame 10 gets its key from the loop itself.
  keys().DeleteKey(9);
  RedKey(10, 255);
  EXPECT_FLOAT_EQ(At(0, 10), 1.0f);
  EXPECT_FLOAT_EQ(At(0, 19), 1.0f);
  // Every segment length that fits the animation ends on its key.
  for (int32_t len = 1; len < 20; ++len) {
    keys().kv_button5_Click();
    RedKey(0, 0);
    RedKey(len, 255);
    EXPECT_FLOAT_EQ(At(0, len), 1.0f) << len;
  }
}

TEST_F(KeysTest, RoundingRules) {
  EXPECT_EQ(KeyChannels::LinearFrameOf(2.5), 2);
  EXPECT_EQ(KeyChannels::LinearFrameOf(3.5), 4);
  EXPECT_EQ(KeyChannels::SplineFrameOf(2.5f), 3);
  EXPECT_EQ(KeyChannels::SplineFrameOf(3.5f), 4);
  EXPECT_EQ(KeyChannels::SplineFrameOf(-0.5f), 0);

  // Keys at 0 and 1: the sample at t = 0.5 sits exactly at position 0.5 and belongs to
  // frame 1, so frame 0 keeps the t = 0.4 sample.
  keys().SetSplineMode(true);
  RedKey(0, 0);
  RedKey(1, 255);
  const float t4 = 0.1f + 0.1f + 0.1f + 0.1f;
  EXPECT_EQ(At(0, 0), SplinePoint(t4, 0, 0, 1, 1));
  EXPECT_NE(At(0, 0), 0.5f);
}

TEST_F(KeysTest, SplineWithTwoKeysUsesTwoPhantoms) {
  keys().SetSplineMode(true);
  RedKey(3, 0);
  RedKey(13, 255);
  ASSERT_EQ(keys().FrameValues().Upper(), 21);
  std::vector<float> expected(22, 0.0f);
  const float f[4] = {-2, 3, 13, 18}, v[4] = {0, 0, 1, 1};
  SampleSegment(expected, 21, 0.1, f, v);
  for (int32_t i = 0; i <= 3; ++i) expected[i] = expected[3];
  for (int32_t i = 13; i < 20; ++i) expected[i] = expected[13];
  for (int32_t i = 0; i <= 21; ++i) EXPECT_EQ(At(0, i), expected[i]) << i;
}

TEST_F(KeysTest, SplineWithThreeKeysStillUsesAPhantomOnTheFirstSegment) {
  keys().SetSplineMode(true);
  RedKey(0, 0);
  RedKey(10, 128);
  RedKey(16, 255);
  const float n1 = static_cast<float>(128.0 / 255.0);
  std::vector<float> expected(22, 0.0f);
  const float f0[4] = {-5, 0, 10, 15}, v0[4] = {0, 0, n1, n1};  // not key 2 at frame 16
  SampleSegment(expected, 21, 0.1, f0, v0);
  const float f1[4] = {0, 10, 16, 21}, v1[4] = {0, n1, 1, 1};
  SampleSegment(expected, 21, 1.0 / 6.0, f1, v1);
  for (int32_t i = 16; i < 20; ++i) expected[i] = expected[16];
  for (int32_t i = 0; i <= 21; ++i) EXPECT_EQ(At(0, i), expected[i]) << i;

  // Using key 2 as the outer point would give another curve on the first segment.
  std::vector<float> other(22, 0.0f);
  const float g0[4] = {-5, 0, 10, 16}, w0[4] = {0, 0, n1, 1};
  SampleSegment(other, 21, 0.1, g0, w0);
  EXPECT_NE(other[7], expected[7]);
}

TEST_F(KeysTest, SplineValuesAreClampedToOne) {
  // 0, 1, 1: the second segment's curve rises above 1 right after key 1.
  keys().SetSplineMode(true);
  RedKey(0, 0);
  RedKey(6, 255);
  RedKey(16, 255);
  EXPECT_GT(SplinePoint(1.0f / 3.0f, 0, 1, 1, 1), 1.07f);
  for (int32_t f = 6; f < 20; ++f) EXPECT_EQ(At(0, f), 1.0f) << f;
  EXPECT_EQ(keys().ChannelValue(0, 10), 255.0f);
}

TEST_F(KeysTest, SplineStopsAChannelPastTheTable) {
  // Keys beyond a shrunk animation: nothing is written past the table, and the lead-out
  // has no key frame to copy from.
  Make(6);
  keys().SetSplineMode(true);
  std::vector<KeyFrame> list(2);
  list[0].Frame = 2;
  list[1].Frame = 18;
  list[1].Value[0] = 1.0f;
  keys().RestoreKeys(list);
  ASSERT_EQ(keys().FrameValues().Upper(), 7);
  std::vector<float> expected(8, 0.0f);
  const float f[4] = {-3, 2, 18, 23}, v[4] = {0, 0, 1, 1};
  SampleSegment(expected, 7, 1.0 / 16.0, f, v);
  expected[0] = expected[1] = expected[2];
  for (int32_t i = 0; i <= 7; ++i) EXPECT_EQ(At(0, i), expected[i]) << i;
  EXPECT_GT(At(0, 7), 0.0f);
}

TEST(Geometry, RotateAndAngle) {
  float x = 1, y = 0;
  RotatePoint(90, x, y);
  EXPECT_GT(x, 8e-6f);  // not 0: the degree constant is a little short of pi / 180
  EXPECT_FLOAT_EQ(y, 1.0f);
  // (x1, y1, x2, y2) -> angle; differences of zero or less become |d| + 1.
  const struct {
    double x1, y1, x2, y2, angle;
  } cases[] = {{10, 10, 0, 0, 315},
               {0, 0, 10, 10, 135},
               {0, 10, 10, 0, std::atan(10.0 / 11.0) * 57.29577951 + 180},
               {10, 0, 0, 10, std::atan(11.0 / 10.0) * 57.29577951},
               {3, 3, 3, 3, 135}};
  for (const auto& c : cases) {
    float a = 0;
    CalculateAngle(c.x1, c.y1, c.x2, c.y2, a);
    EXPECT_FLOAT_EQ(a, static_cast<float>(c.angle));
  }
}

}  // namespace
}  // namespace tessfx
