// Finding effects by typing, moving through the list by keyboard, and typed slider values.
#include <gtest/gtest.h>

#include "engine/catalogue.h"
#include "engine/effect_search.h"
#include "engine/panel.h"

namespace tessfx {
namespace {

int Row(const std::string& text) {
  const auto& rows = List1Rows();
  const auto it = std::find(rows.begin(), rows.end(), text);
  EXPECT_NE(it, rows.end()) << text;
  return static_cast<int>(it - rows.begin());
}

std::vector<std::string> Shown(std::string_view query) {
  const std::vector<bool> shown = EffectRowsMatching(query);
  std::vector<std::string> out;
  for (size_t i = 0; i < shown.size(); ++i)
    if (shown[i]) out.push_back(List1Rows()[i]);
  return out;
}

TEST(EffectSearch, EveryWordMatchesTheNameOrCategoryAndHeadingsStayAsSeparators) {
  EXPECT_EQ(Shown("gauss"), (std::vector<std::string>{"Blur", "    Gaussian blur"}));
  EXPECT_EQ(Shown("  KEY  color "),
            (std::vector<std::string>{"Composite with swap", "    Color key", "Composite with sequence",
                                      "    Color key sequence"}));
  // A category's name finds all of its effects, its heading first.
  const std::vector<std::string> video = Shown("video");
  ASSERT_EQ(video.size(), 6u);
  EXPECT_EQ(video.front(), "Video");
  EXPECT_EQ(Shown("").size(), List1Rows().size());
  EXPECT_TRUE(Shown("no such effect").empty());
}

TEST(EffectSearch, KeyboardMovesFromEffectToEffectOverHeadingsAndHiddenRows) {
  const std::vector<bool> all = EffectRowsMatching("");
  EXPECT_EQ(NextEffectRow(all, Row("    Tint"), 1), Row("    Map to gradient"));
  EXPECT_EQ(NextEffectRow(all, Row("    Map to gradient"), -1), Row("    Tint"));
  EXPECT_EQ(NextEffectRow(all, Row("Color"), 1), Row("    Map to gradient"));  // from a heading
  EXPECT_EQ(NextEffectRow(all, Row("Color"), -1), Row("    Tint"));
  EXPECT_EQ(NextEffectRow(all, Row("    Color adjustment"), -1), Row("    Color adjustment"));  // the first stays
  EXPECT_EQ(NextEffectRow(all, Row("    Color adjustment"), 10), Row("    Swap channels"));  // a page of effects
  EXPECT_EQ(NextEffectRow(all, -1, -1), Row("    Color adjustment"));
  EXPECT_EQ(LastShownEffectRow(all), Row("    Wave brush in breeze"));

  const std::vector<bool> blur = EffectRowsMatching("blur");  // the Blur category and Motion, Zoom blur
  EXPECT_EQ(FirstShownEffectRow(blur), Row("    Simple blur"));
  EXPECT_EQ(NextEffectRow(blur, Row("    Simple blur"), 1), Row("    Gaussian blur"));
  // From a hidden row the moves go to the shown effects on either side.
  EXPECT_EQ(NextEffectRow(blur, Row("    Tint"), 1), Row("    Simple blur"));
  EXPECT_EQ(NextEffectRow(blur, Row("    Tint"), -1), Row("    Simple blur"));
  EXPECT_EQ(NextEffectRow(EffectRowsMatching("zzz"), 3, 1), -1);
}

TEST(TypedValues, NumbersAreRoundedAndBroughtIntoTheRangeAndAnythingElseRefused) {
  const struct {
    const char* text;
    std::optional<int16_t> value;
  } cases[] = {{"12", 12},    {" -4 ", -4}, {"+7", 7},        {"300", 255},    {"-999999999999", -255},
               {"2.5", 2},    {"3.5", 4},   {"-0", 0},        {"", std::nullopt}, {"ten", std::nullopt},
               {"12abc", std::nullopt},     {"1e3", std::nullopt}, {"0x10", std::nullopt}, {"nan", std::nullopt},
               {"- 4", std::nullopt}};
  for (const auto& c : cases) EXPECT_EQ(ParseSliderText(c.text, -255, 255), c.value) << "\"" << c.text << "\"";

  ParameterPanel p;
  int previews = 0;
  p.hooks.preview = [&] { ++previews; };
  ASSERT_TRUE(p.SelectEffect("Threshold"));
  previews = 0;
  EXPECT_TRUE(p.TypeValue(1, "40"));
  EXPECT_EQ(p.HProp[0].Value(), 40);
  EXPECT_EQ(p.Label[6].caption, "40");
  EXPECT_EQ(previews, 1);  // one change, one preview
  EXPECT_FALSE(p.TypeValue(1, "forty"));
  EXPECT_EQ(p.HProp[0].Value(), 40);
  EXPECT_EQ(previews, 1);
  EXPECT_FALSE(p.TypeValue(7, "1"));
}

}  // namespace
}  // namespace tessfx
