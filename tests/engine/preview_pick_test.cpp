// Picking colours and positions on the preview picture into the sliders.
#include <gtest/gtest.h>

#include <array>

#include "engine/preview_pick.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

struct Picking : ::testing::Test {
  ParameterPanel panel;
  PreviewPicker picker;
  int previews = 0;
  void SetUp() override { panel.hooks.preview = [this] { ++previews; }; }
  void Select(const std::string& name) {
    ASSERT_TRUE(panel.SelectEffect(name));
    previews = 0;
  }
  int V(int n) const { return panel.HProp[static_cast<size_t>(n - 1)].Value(); }
};

TEST_F(Picking, ColourEffectsTakeThePickedColour) {
  Select("Color adjustment");
  picker.Press(panel, {0.5, 0.5, 200, 100, 50});
  // Gains that make the colour grey (116.67): 148.75, 297.5 (halves to even) and 595 clamped.
  EXPECT_EQ((std::array{V(1), V(2), V(3)}), (std::array{149, 298, 512}));
  EXPECT_EQ(previews, 1);
  Select("Color add");
  picker.Press(panel, {0.5, 0.5, 200, 100, 50});
  EXPECT_EQ((std::array{V(1), V(2), V(3)}), (std::array{-83, 17, 67}));
  Select("Color key");
  picker.Press(panel, {0.1, 0.1, 10, 220, 30});
  EXPECT_EQ((std::array{V(1), V(3), V(4), V(5)}), (std::array{64, 10, 220, 30}));  // clip sliders untouched
  Select("Color key sequence");
  picker.Press(panel, {0.9, 0.2, 0, 0, 255});
  EXPECT_EQ((std::array{V(2), V(3), V(4), V(5)}), (std::array{80, 0, 0, 255}));
  Select("Threshold");
  picker.Press(panel, {0.1, 0.1, 90, 90, 93});
  EXPECT_EQ(V(1), 91);
}

TEST_F(Picking, PositionsFollowTheDragAndTransformsAddTheDragDistance) {
  Select("Zoom blur");
  picker.Press(panel, {0.25, 0.75, 0, 0, 0});
  picker.Move(panel, {0.30, 0.70, 0, 0, 0});
  EXPECT_EQ((std::array{V(1), V(2)}), (std::array{30, 70}));
  EXPECT_EQ(previews, 2);
  picker.Release();
  picker.Move(panel, {0.9, 0.9, 0, 0, 0});  // no button held
  EXPECT_EQ(V(1), 30);

  Select("Wave brush in breeze");  // the root may go beyond the frame: the range is -100..200
  picker.Press(panel, {1.4, -0.3, 0, 0, 0});
  EXPECT_EQ((std::array{V(1), V(2)}), (std::array{140, -30}));
  picker.Release();

  Select("Transform");
  picker.Press(panel, {0.5, 0.5, 0, 0, 0});
  picker.Move(panel, {0.6, 0.3, 0, 0, 0});
  EXPECT_EQ((std::array{V(1), V(2)}), (std::array{10, -20}));
  picker.Release();

  Select("Wireframe designer");
  picker.Press(panel, {0.5, 0.5, 0, 0, 0});
  picker.Move(panel, {0.45, 0.55, 0, 0, 0});
  // Heading 0 turned back by 10 degrees wraps to 350, pitch 350 + 10 wraps to 0.
  EXPECT_EQ((std::array{V(3), V(4)}), (std::array{350, 0}));
}

TEST_F(Picking, OtherEffectsIgnoreThePreview) {
  Select("Negative");
  EXPECT_FALSE(PreviewPicker::Accepts(panel));
  picker.Press(panel, {0.5, 0.5, 1, 2, 3});
  EXPECT_FALSE(picker.pressed());
  EXPECT_EQ(previews, 0);
}

TEST_F(Picking, CopyAndPasteCarryAllSixSlidersThroughTheirChangeEvents) {
  Select("Film grain");
  panel.Edit_Paste_Click();  // nothing copied yet: every slider to 0 (clamped to its range)
  EXPECT_EQ((std::array{V(1), V(4)}), (std::array{0, 10}));
  panel.HProp[0].SetValue(77);
  panel.HProp[3].SetValue(55);
  panel.Edit_copy_Click();
  panel.HProp[0].SetValue(1);
  panel.HProp[3].SetValue(99);
  panel.HProp[5].SetValue(9);  // hidden: a change writes no label
  previews = 0;
  panel.Edit_Paste_Click();
  EXPECT_EQ((std::array{V(1), V(4)}), (std::array{77, 55}));
  EXPECT_EQ(panel.Label[6].caption, "77");
  EXPECT_EQ(panel.Label[11].caption, "");
  EXPECT_EQ(previews, 3);  // one per slider that moved
}

TEST(PreviewPoint, TakesTheUntouchedFramesColourUnderTheFractions) {
  testing::TestFrame f(4, 2);
  auto at = [](int32_t py, int32_t px, uint8_t v) {
    return testing::Make(4, 2, [=](int32_t y, int32_t x) -> uint8_t { return y == py && x == px ? v : 0; });
  };
  f.SetFrame(at(1, 3, 200), at(1, 3, 100), at(0, 0, 9));
  ImageState& image = f.Fetch();
  image.work_r.Fill(1);  // an effect's result is not what is picked
  PreviewPoint p = PointAt(image, 0.99, 0.99);
  EXPECT_TRUE(p.r == 200 && p.g == 100 && p.fx == 0.99);
  EXPECT_EQ(PointAt(image, 1.5, 1.5).r, 200);  // outside: the nearest edge pixel
  EXPECT_EQ(PointAt(image, -0.5, -0.5).b, 9);
}

}  // namespace
}  // namespace tessfx
