// Keys and their expansion into per-frame values: the edge cases of set and delete, and
// both fills.
#include <gtest/gtest.h>

#include "keys/key_channels.h"
#include "render/rig.h"

namespace tessfx {
namespace {

using testing::EditorRig;

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
  // The red row of the table, exactly as `expected` (which covers the whole table).
  void ExpectRedRow(const std::vector<float>& expected) {
    ASSERT_EQ(keys().FrameValues().Upper() + 1, static_cast<int32_t>(expected.size()));
    for (int32_t i = 0; i < static_cast<int32_t>(expected.size()); ++i) EXPECT_EQ(At(0, i), expected[i]) << i;
  }
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
}

// Deleting the only key leaves its record, marked with frame 10000. A new key then pairs with
// it: the linear fill runs towards frame 10000 and its writes past the table are dropped.
TEST_F(KeysTest, SetReplacesAKeyAndDeletingTheLastLeavesAMarkedRecord) {
  RedKey(3, 10);
  RedKey(12, 20);
  RedKey(3, 30);
  EXPECT_EQ(keys().Timeline().key_frames, (std::vector<int32_t>{3, 12}));
  for (int32_t f : {7, 12, 3}) keys().DeleteKey(f);  // no key at 7: nothing changes
  ASSERT_EQ(keys().KeyCount(), 1);
  EXPECT_EQ(keys().KeyList()[0].Frame, kDeletedKeyFrame);
  RedKey(2, 0);
  ASSERT_EQ(keys().KeyCount(), 2);
  for (int32_t f = 3; f <= 20; ++f)
    EXPECT_NEAR(At(0, f), 30.0 / 255 * (f - 2) / (kDeletedKeyFrame - 2), 1e-7) << f;
}

TEST_F(KeysTest, LinearFillStaysBetweenItsKeysWithLeadInAndOut) {
  // 0.2 and 0.8 of 255 at frames 4 and 14.
  RedKey(4, 51);
  RedKey(14, 204);
  for (int32_t f = 0; f < 20; ++f)
    EXPECT_NEAR(At(0, f), f <= 4 ? 0.2 : (f >= 14 ? 0.8 : 0.2 + 0.06 * (f - 4)), 1e-6) << f;
  // Nine steps of 1/9 add up to just above 1, so the loop's last sample is t = 8/9; the
  // segment must still end on key 1 (ten steps of 1/10 stay below 1 and reach it in the
  // loop), and the lead-out carries its value on.
  for (int32_t len = 1; len < 20; ++len) {
    keys().kv_button5_Click();
    RedKey(0, 0);
    RedKey(len, 255);
    EXPECT_NEAR(At(0, len - 1), (len - 1.0) / len, 1e-6) << len;
    EXPECT_FLOAT_EQ(At(0, len), 1.0f) << len;
    EXPECT_FLOAT_EQ(At(0, 19), 1.0f) << len;
  }
}

// Spline segments are sampled at a tenth of their frame step, each frame keeping the last sample
// that rounds (half up) to it; phantom points 5 frames beyond the first and last keys repeat
// their values. The keys' own frames are not hit exactly; lead-in and lead-out copy them.
TEST_F(KeysTest, SplineWithTwoKeysUsesTwoPhantomsAndStopsPastTheTable) {
  keys().SetSplineMode(true);
  RedKey(3, 0);
  RedKey(13, 255);
  ExpectRedRow({0.035183996f, 0.035183996f, 0.035183996f, 0.035183996f, 0.123437002f, 0.224667013f, 0.327743918f,
                0.437624812f, 0.549935758f, 0.660302639f, 0.764351547f, 0.867231548f, 0.957992613f, 0.999999642f,
                0.999999642f, 0.999999642f, 0.999999642f, 0.999999642f, 0.999999642f, 0.999999642f, 0, 0});
  // Keys beyond an animation shrunk to 6 frames: nothing is written past the table, and the
  // lead-out has no key frame to copy from.
  Make(6);
  keys().SetSplineMode(true);
  keys().RestoreKeys({{.Frame = 2}, {.Frame = 18, .Value = {1.0f}}});
  ExpectRedRow({0.024662355f, 0.024662355f, 0.024662355f, 0.0788528025f, 0.139892533f, 0.203124896f, 0.265085518f,
                0.330724388f});
  // Keys at 0 and 1: the t = 0.5 sample sits exactly at position 0.5 and rounds up to frame 1,
  // so frame 0 keeps the t = 0.4 sample.
  keys().RestoreKeys({{.Frame = 0}, {.Frame = 1, .Value = {1.0f}}});
  EXPECT_EQ(At(0, 0), SplinePoint(0.1f + 0.1f + 0.1f + 0.1f, 0, 0, 1, 1));
}

TEST_F(KeysTest, SplineWithThreeKeysUsesAPhantomOnTheFirstSegmentAndClamps) {
  // 0, 1, 1: the first segment's outer point is a phantom at frame 11, not key 2 at frame 16
  // (which would give 0.221037, 0.437625, ...); the second segment rises above 1 and is held at 1.
  keys().SetSplineMode(true);
  RedKey(0, 0);
  RedKey(6, 255);
  RedKey(16, 255);
  ExpectRedRow({0.0515046306f, 0.203125f, 0.396412194f, 0.583037198f, 0.77896291f, 0.93599987f, 1, 1, 1, 1, 1, 1, 1,
                1, 1, 1, 1, 1, 1, 1, 0, 0});
}

// The only key set again on its own frame stays the only key: deleting and appending would
// leave its marked record behind as a second key reaching to frame 10000.
TEST_F(KeysTest, TheOnlyKeySetAgainIsReplacedInPlace) {
  RedKey(7, 40);
  keys().SetEase(7, KeyEase::Hold);
  RedKey(7, 90);
  ASSERT_EQ(keys().KeyCount(), 1);
  EXPECT_EQ(keys().Timeline().key_frames, (std::vector<int32_t>{7}));
  EXPECT_FLOAT_EQ(keys().KeyList()[0].Value[0], 90.0f / 255);
  EXPECT_EQ(keys().KeyList()[0].Ease, KeyEase::Hold);  // a replaced key keeps its ease
  keys().FillArray();
  for (int32_t f : {0, 7, 19}) EXPECT_FLOAT_EQ(keys().ChannelValue(0, f), 90.0f);  // one key: the slider holds
}

TEST_F(KeysTest, KeysAreMovedRemovedAndSteppedThroughByFrame) {
  RedKey(2, 10);
  RedKey(9, 20);
  RedKey(15, 30);
  EXPECT_EQ(keys().PreviousKeyFrame(9), 2);
  EXPECT_EQ(keys().NextKeyFrame(9), 15);
  EXPECT_EQ(keys().PreviousKeyFrame(2), std::nullopt);
  EXPECT_EQ(keys().NextKeyFrame(15), std::nullopt);
  EXPECT_EQ(keys().NextKeyFrame(-1), 2);

  ASSERT_TRUE(keys().MoveKey(9, 12));  // to a free frame, values along
  EXPECT_EQ(keys().Timeline().key_frames, (std::vector<int32_t>{2, 12, 15}));
  EXPECT_FLOAT_EQ(keys().ChannelValue(0, 12), 20.0f);
  ASSERT_TRUE(keys().MoveKey(2, 15));  // onto another key: it replaces that key
  EXPECT_EQ(keys().Timeline().key_frames, (std::vector<int32_t>{12, 15}));
  EXPECT_FLOAT_EQ(keys().ChannelValue(0, 15), 10.0f);
  EXPECT_FALSE(keys().MoveKey(12, 20));  // past the animation
  EXPECT_FALSE(keys().MoveKey(3, 4));    // no key there
  EXPECT_EQ(keys().Timeline().key_frames, (std::vector<int32_t>{12, 15}));

  EXPECT_TRUE(keys().RemoveKey(15));
  EXPECT_FALSE(keys().RemoveKey(15));
  // The last key removed by hand leaves no key, unlike DeleteKey's marked record.
  EXPECT_TRUE(keys().RemoveKey(12));
  EXPECT_EQ(keys().LastKey(), -1);
  RedKey(4, 50);
  EXPECT_EQ(keys().KeyCount(), 1);
}

// Keys 0 -> 255 -> 0 at frames 0, 10, 20. A preset shapes only the segments on its sides;
// keys without one give the fill's values exactly.
TEST_F(KeysTest, EasesShapeTheSegmentsBesideTheirKeyAndNothingElse) {
  Make(30);
  for (bool spline : {false, true}) {
    keys().kv_button5_Click();
    keys().SetSplineMode(spline);
    RedKey(0, 0);
    RedKey(10, 255);
    RedKey(20, 0);
    const std::array<std::vector<float>, kChannels> plain = keys().FrameValues().Rows();

    keys().SetEase(10, KeyEase::EaseIn);
    // Straight out of frame 0, slowing to a stop into frame 10: t (1 + t - t^2) of the way.
    for (int32_t f = 0; f <= 10; ++f) {
      const double t = f / 10.0;
      EXPECT_NEAR(At(0, f), t * (1 + t - t * t), 1e-6) << f << " spline " << spline;
    }
    for (int32_t f = 11; f < 20; ++f) EXPECT_EQ(At(0, f), plain[0][static_cast<size_t>(f)]) << f;

    keys().SetEase(10, KeyEase::EaseInOut);  // now flat leaving the key too: 1 - t^2 (2 - t)
    EXPECT_NEAR(At(0, 15), 1 - 0.25 * 1.5, 1e-6);
    EXPECT_LT(At(0, 12), 1.0f);
    EXPECT_GT(At(0, 12), 1 - 0.2f);

    keys().SetEase(0, KeyEase::Hold);  // frames 0..9 hold the first key's value
    for (int32_t f = 0; f < 10; ++f) EXPECT_EQ(At(0, f), 0.0f) << f;
    EXPECT_EQ(At(0, 10), 1.0f);

    // Back to the fill everywhere: the fill's own values again, to the bit.
    keys().SetEase(0, KeyEase::Fill);
    keys().SetEase(10, KeyEase::Fill);
    EXPECT_EQ(keys().FrameValues().Rows(), plain) << "spline " << spline;
  }
}

TEST(KeyEase, NamesRoundTrip) {
  for (KeyEase e : {KeyEase::Fill, KeyEase::Linear, KeyEase::Hold, KeyEase::EaseIn, KeyEase::EaseOut, KeyEase::EaseInOut})
    EXPECT_EQ(KeyEaseFromName(KeyEaseName(e)), e);
  EXPECT_EQ(KeyEaseFromName("ease-in"), std::nullopt);
}

}  // namespace
}  // namespace tessfx
