// Picking colours and positions on the preview picture into the sliders.
#include <gtest/gtest.h>

#include "engine/preview_pick.h"

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
  EXPECT_EQ(V(1), 149);
  EXPECT_EQ(V(2), 298);
  EXPECT_EQ(V(3), 512);
  EXPECT_EQ(previews, 1);
  EXPECT_EQ(panel.Label[6].caption, "149");

  Select("Color add");
  picker.Press(panel, {0.5, 0.5, 200, 100, 50});
  EXPECT_EQ(V(1), -83);
  EXPECT_EQ(V(2), 17);
  EXPECT_EQ(V(3), 67);

  Select("Color key");
  picker.Press(panel, {0.1, 0.1, 10, 220, 30});
  EXPECT_EQ(V(1), 64);  // clip sliders untouched
  EXPECT_EQ(V(3), 10);
  EXPECT_EQ(V(4), 220);
  EXPECT_EQ(V(5), 30);

  Select("Threshold");
  picker.Press(panel, {0.1, 0.1, 90, 90, 93});
  EXPECT_EQ(V(1), 91);
}

TEST_F(Picking, PositionsFollowTheDragAndTransformsAddTheDragDistance) {
  Select("Zoom blur");
  picker.Press(panel, {0.25, 0.75, 0, 0, 0});
  picker.Move(panel, {0.30, 0.70, 0, 0, 0});
  EXPECT_EQ(V(1), 30);
  EXPECT_EQ(V(2), 70);
  EXPECT_EQ(previews, 2);
  picker.Release();
  picker.Move(panel, {0.9, 0.9, 0, 0, 0});  // no button held
  EXPECT_EQ(V(1), 30);

  Select("Transform");
  picker.Press(panel, {0.5, 0.5, 0, 0, 0});
  picker.Move(panel, {0.6, 0.3, 0, 0, 0});
  EXPECT_EQ(V(1), 10);
  EXPECT_EQ(V(2), -20);
  picker.Release();

  Select("Wireframe designer");
  picker.Press(panel, {0.5, 0.5, 0, 0, 0});
  picker.Move(panel, {0.45, 0.55, 0, 0, 0});
  EXPECT_EQ(V(3), 350);  // heading 0 turned back by 10 degrees wraps
  EXPECT_EQ(V(4), 0);    // pitch 350 + 10 wraps to 0
}

TEST_F(Picking, OtherEffectsIgnoreThePreview) {
  Select("Negative");
  EXPECT_FALSE(PreviewPicker::Accepts(panel));
  picker.Press(panel, {0.5, 0.5, 1, 2, 3});
  EXPECT_FALSE(picker.pressed());
  EXPECT_EQ(previews, 0);
}

}  // namespace
}  // namespace tessfx
