// Picking colours and positions on the preview picture into the sliders.
#include <gtest/gtest.h>

#include "engine/preview_pick.h"
#include "host/embedded/embedded_host.h"

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

TEST_F(Picking, CopyAndPasteCarryAllSixSlidersThroughTheirChangeEvents) {
  Select("Film grain");
  panel.Edit_Paste_Click();  // nothing copied yet: every slider to 0 (clamped to its range)
  EXPECT_EQ(V(1), 0);
  EXPECT_EQ(V(4), 10);
  panel.HProp[0].SetValue(77);
  panel.HProp[3].SetValue(55);
  panel.Edit_copy_Click();
  EXPECT_EQ(panel.KeyClipboard[0], 77);
  EXPECT_EQ(panel.KeyClipboard[3], 55);
  panel.HProp[0].SetValue(1);
  panel.HProp[3].SetValue(99);
  previews = 0;
  panel.Edit_Paste_Click();
  EXPECT_EQ(V(1), 77);
  EXPECT_EQ(V(4), 55);
  EXPECT_EQ(panel.Label[6].caption, "77");
  EXPECT_EQ(previews, 2);  // one per slider that moved
}

TEST(PreviewPoint, TakesTheUntouchedFramesColourUnderTheFractions) {
  LookupTables tables{};
  EmbeddedHostOptions o;
  o.memory_store = true;
  o.temp_dir = ::testing::TempDir();
  o.settings_path = ::testing::TempDir() + "/preview-point-settings.ini";
  EmbeddedHost host(o);
  Plane r(4, 2), g(4, 2), b(4, 2);
  r.at(1, 3) = 200;
  g.at(1, 3) = 100;
  b.at(0, 0) = 9;
  ImageState image(host, tables);
  image.host_r = std::move(r);
  image.host_g = std::move(g);
  image.host_b = std::move(b);
  PreviewPoint p = PointAt(image, 0.99, 0.99);
  EXPECT_EQ(p.r, 200);
  EXPECT_EQ(p.g, 100);
  EXPECT_DOUBLE_EQ(p.fx, 0.99);
  p = PointAt(image, -0.5, 1.5);  // outside: the nearest edge pixel
  EXPECT_EQ(p.r, 0);
  p = PointAt(image, 0.0, 0.0);
  EXPECT_EQ(p.b, 9);
}

}  // namespace
}  // namespace tessfx
