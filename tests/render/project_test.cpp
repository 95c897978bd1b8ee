// Project files, frame ranges, the preview picture's reduction and the frame-count answer.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "render/anim_menu.h"
#include "render/project.h"
#include "render/thumb.h"
#include "render/rig.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::TestFolder;

void WriteText(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

std::string ErrorOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.what();
  }
  return "(no error)";
}

TEST(Project, SavesAndRestoresTheSetUp) {
  EditorRig rig(4, 4, 30);
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  rig.Key(0, {10, -20, 30});
  rig.Key(29, {255, 17, -255});
  rig.Key(12, {1, 2, 3});
  e.kv_button11_Click();
  e.sequence = {"/shots/take", 12, 4};
  const std::string path = TestFolder("p") + "/set-up.json";
  WriteProjectFile(CaptureProject(e), path);

  EditorRig other(4, 4, 30);
  ApplyProject(*other.editor, ReadProjectFile(path));
  Editor& o = *other.editor;
  EXPECT_EQ(o.panel().EffectName(), "Color add");
  for (size_t n = 0; n < 6; ++n) EXPECT_EQ(o.panel().HProp[n].Value(), e.panel().HProp[n].Value());
  EXPECT_TRUE(o.keys().SplineMode());
  ASSERT_EQ(o.keys().KeyCount(), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(o.keys().KeyList()[i].Frame, e.keys().KeyList()[i].Frame);
    EXPECT_EQ(o.keys().KeyList()[i].Value, e.keys().KeyList()[i].Value);  // floats survive exactly
  }
  for (int32_t f = 0; f < 30; ++f) EXPECT_EQ(o.keys().ChannelValue(1, f), e.keys().ChannelValue(1, f));
  EXPECT_EQ(o.sequence.base_name, "/shots/take");
  EXPECT_EQ(o.sequence.start_number, 12);
  EXPECT_EQ(o.sequence.digit_count, 4);
  EXPECT_FALSE(o.image().external_swap.active());
}

TEST(Project, BadFilesAreRefusedNamingTheProblem) {
  const std::string dir = TestFolder("p");
  const std::string base = R"("format": "tessfx-project", "version": 1, "effect": "Color add")";
  const std::pair<std::string, std::string> cases[] = {
      {"{\"format\": \"tessfx-project\", ", "not valid JSON"},
      {"777E777", "not valid JSON"},  // too large for any number type
      {"[1, 2]", "must be an object"},
      {R"({"format": "other", "version": 1, "effect": "Color add"})", "not a project file"},
      {R"({"format": "tessfx-project", "version": 2, "effect": "Color add"})", "version 2"},
      {R"({"format": "tessfx-project", "version": 1})", "\"effect\" is missing"},
      {"{" + base + R"(, "sliders": [1, 2, 3]})", "\"sliders\" must be a list of 6"},
      {"{" + base + R"(, "sliders": [1, 2, 3, 4, 5, 40000]})", "\"sliders[5]\" must be -32768..32767"},
      {"{" + base + R"(, "spline": "yes"})", "\"spline\" must be true or false"},
      {"{" + base + R"(, "keys": [{"frame": 3}]})", "\"keys[0].values\" is missing"},
      {"{" + base + R"(, "keys": [{"frame": -1, "values": [0,0,0,0,0,0]}]})", "\"keys[0].frame\" must be 0..10000"},
      {"{" + base + R"(, "keys": [{"frame": 2, "values": [0,0,0,0,0,0]}, {"frame": 2, "values": [1,0,0,0,0,0]}]})",
       "repeats frame 2"},
      {"{" + base + R"(, "keys": [{"frame": 2, "values": [0,0,"a",0,0,0]}]})", "\"keys[0].values[2]\" must be a number"},
      {"{" + base + R"(, "swap": {"active": 1}})", "\"swap.active\" must be true or false"},
  };
  for (const auto& [text, expected] : cases) {
    const std::string path = dir + "/bad.json";
    WriteText(path, text);
    const std::string message = ErrorOf([&] { ReadProjectFile(path); });
    EXPECT_NE(message.find(expected), std::string::npos) << text << "\n -> " << message;
    EXPECT_NE(message.find(path), std::string::npos) << message;
  }
  EXPECT_NE(ErrorOf([&] { ReadProjectFile(dir + "/missing.json"); }).find("missing.json"), std::string::npos);

  EditorRig rig(2, 2, 3);
  Project p;
  p.effect = "Colour add";
  EXPECT_NE(ErrorOf([&] { ApplyProject(*rig.editor, p); }).find("did you mean \"Color add\""), std::string::npos);
  p.effect = "Color add";
  p.sliders[1] = 300;
  EXPECT_NE(ErrorOf([&] { ApplyProject(*rig.editor, p); }).find("outside -255..255"), std::string::npos);
  EXPECT_EQ(rig.editor->panel().EffectName(), "");  // refused before anything changed
}

TEST(FrameRange, Grammar) {
  const FrameSelection a = FrameSelection::Parse("10-14", 30);
  EXPECT_EQ(a.Count(), 5);
  EXPECT_EQ(a.First(), 10);
  EXPECT_EQ(a.Last(), 14);
  EXPECT_FALSE(a.Contains(9));
  const FrameSelection b = FrameSelection::Parse("1-100x5", 97);
  EXPECT_EQ(b.Count(), 20);
  EXPECT_TRUE(b.Contains(96));
  EXPECT_FALSE(b.Contains(95));
  const FrameSelection c = FrameSelection::Parse("1, 5,10-12,5", 20);
  EXPECT_EQ(c.Count(), 5);
  EXPECT_EQ(c.First(), 1);
  EXPECT_EQ(c.Last(), 12);
  for (const char* bad : {"", "5-", "a", "3-1", "1,,2", "1-10x0", "0-30", "-2", "1-5x"}) {
    EXPECT_THROW(FrameSelection::Parse(bad, 30), Error) << bad;
  }
  EXPECT_NE(ErrorOf([] { FrameSelection::Parse("20-40", 30); }).find("frame 40 is outside the animation (frames 0..29)"),
            std::string::npos);
}

TEST(Thumb, SizeFitsTheBoxKeepingTheShape) {
  EXPECT_EQ(ThumbSize(1920, 1080, 320, 240).width, 320);
  EXPECT_EQ(ThumbSize(1920, 1080, 320, 240).height, 180);
  EXPECT_EQ(ThumbSize(100, 400, 320, 240).width, 60);
  EXPECT_EQ(ThumbSize(100, 400, 320, 240).height, 240);
  EXPECT_EQ(ThumbSize(10, 8, 320, 240).width, 10);  // never enlarged
  EXPECT_EQ(ThumbSize(0, 8, 320, 240).width, 0);
}

TEST(Thumb, PixelsAreAreaAverages) {
  // A 3 x 2 frame into a 2 x 1 box: each output covers one and a half columns.
  Plane r(3, 2), g(3, 2), b(3, 2);
  const uint8_t rows[2][3] = {{0, 30, 90}, {60, 90, 150}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) r.at(y, x) = rows[y][x];
  for (int y = 0; y <= 2; ++y) r.at(y, 3) = 255;  // the extra column is not part of the picture
  g.Fill(7);
  b.Fill(255);
  ThumbImage t;
  SuperThumb(r, g, b, 3, 2, 2, 2, t);
  ASSERT_EQ(t.width, 2);
  ASSERT_EQ(t.height, 1);
  // (0 + 60 + (30 + 90) / 2) / 3 = 40; (90 + 150 + (30 + 90) / 2) / 3 = 100.
  EXPECT_EQ(t.rgb, (std::vector<uint8_t>{40, 7, 255, 100, 7, 255}));

  // Halves round to even: (1 + 2) / 2 = 1.5 -> 2, (3 + 4) / 2 = 3.5 -> 4, (2 + 3) / 2 = 2.5 -> 2.
  Plane h(6, 1), z(6, 1);
  const uint8_t line[6] = {1, 2, 3, 4, 2, 3};
  for (int x = 0; x < 6; ++x) h.at(0, x) = line[x];
  SuperThumb(h, z, z, 6, 1, 3, 1, t);
  EXPECT_EQ(t.rgb, (std::vector<uint8_t>{2, 0, 0, 4, 0, 0, 2, 0, 0}));
}

TEST(AnimationMenu, LeadingNumber) {
  const std::pair<const char*, double> cases[] = {
      {"12abc", 12}, {"2.5", 2.5}, {"", 0}, {"abc", 0}, {" 1 2", 12}, {"-3", -3}, {"+4", 4}, {".5", 0.5},
      {"1e3", 1000}, {"2D2x", 200}, {"7e", 7}, {"&H1F", 31}, {"&o17", 15}, {"&Z", 0}, {"1.2.3", 1.2}, {"1e999", HUGE_VAL},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(LeadingNumber(text), value) << text;
}

}  // namespace
}  // namespace tessfx
