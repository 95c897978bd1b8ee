// Project files, frame ranges and the preview picture's reduction.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "media/image_io.h"
#include "render/project.h"
#include "render/rig.h"
#include "render/thumb.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::TestFolder;

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
  e.keys().SetEase(12, KeyEase::EaseInOut);
  e.keys().SetEase(29, KeyEase::Hold);
  e.kv_button11_Click();
  e.sequence = {"/shots/take", 12, 4};
  const std::string path = TestFolder("p") + "/set-up.json";
  WriteProjectFile(CaptureProject(e), path);

  EditorRig other(4, 4, 30);
  ApplyProject(*other.editor, ReadProjectFile(path));
  Editor& o = *other.editor;
  // Everything captured comes back, key values (floats) exactly, and fills the same curves.
  EXPECT_EQ(ProjectToJson(CaptureProject(o)), ProjectToJson(CaptureProject(e)));
  for (int32_t f = 0; f < 30; ++f) EXPECT_EQ(o.keys().ChannelValue(1, f), e.keys().ChannelValue(1, f));
  EXPECT_EQ(o.keys().KeyList()[1].Ease, KeyEase::EaseInOut);
  // Keys without a preset are written as before: files from before presets read the same.
  const nlohmann::json keys = ProjectToJson(CaptureProject(o))["keys"];
  EXPECT_FALSE(keys[0].contains("ease"));
  EXPECT_EQ(keys[1]["ease"], "ease in and out");
}

// The host's swap image loaded from a file goes with the project and comes back with it; a
// host that cannot load one gets a message instead of a silently missing second image.
TEST(Project, KeepsTheSwapImageFile) {
  const std::string folder = TestFolder("p");
  const std::string picture = folder + "/plate.png";
  {
    Plane r(4, 4, 200), g(4, 4, 10), b(4, 4, 90);
    ImageFileWriter writer;
    writer.Write(picture, r, g, b, nullptr);
    writer.Commit();
  }
  const auto wire = [](EditorRig& rig) {
    EmbeddedHost* h = rig.host.get();
    rig.editor->host_files.swap_image = [h] { return h->swap_image_path(); };
    rig.editor->host_files.load_swap_image = [h](const std::string& path) { h->LoadSwapImage(path); };
  };
  EditorRig rig(4, 4, 2), other(4, 4, 2), foreign(4, 4, 2);
  wire(rig);
  wire(other);
  rig.editor->panel().SelectEffect("Alpha comp");
  rig.host->LoadSwapImage(picture);
  WriteProjectFile(CaptureProject(*rig.editor), folder + "/comp.json");
  const Project project = ReadProjectFile(folder + "/comp.json");
  EXPECT_EQ(project.swap_image, picture);
  ApplyProject(*other.editor, project);
  EXPECT_EQ(other.host->swap_image_path(), picture);
  EXPECT_EQ(other.host->tes_GetSwapRBuffer()[0][0], 200);
  ApplyProject(*foreign.editor, project);
  ASSERT_EQ(foreign.window.messages.size(), 1u);
  EXPECT_NE(foreign.window.messages[0].find(picture), std::string::npos);
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
      {"{" + base + R"(, "spline": "yes"})", "\"spline\" must be true or false"},
      {"{" + base + R"(, "keys": [{"frame": 3}]})", "\"keys[0].values\" is missing"},
      {"{" + base + R"(, "keys": [{"frame": -1, "values": [0,0,0,0,0,0]}]})", "\"keys[0].frame\" must be 0..10000"},
      {"{" + base + R"(, "keys": [{"frame": 2, "values": [0,0,0,0,0,0]}, {"frame": 2, "values": [1,0,0,0,0,0]}]})",
       "repeats frame 2"},
      {"{" + base + R"(, "keys": [{"frame": 2, "values": [0,0,"a",0,0,0]}]})", "\"keys[0].values[2]\" must be a number"},
      // What cannot be a project is refused while it is parsed, before it grows.
      {std::string(9, '[') + std::string(9, ']'), "nests deeper than 8 levels"},
      {"[0" + [] { std::string t; for (int i = 0; i < 200000; ++i) t += ",0"; return t; }() + "]", "more than 200000 values"},
      {R"({"format": "tessfx-project", "version": 1, "effect": ")" + std::string(5000, 'e') + "\"}",
       "holds a text of 5000 bytes"},
      {"{\"" + std::string(5000, 'k') + "\": 1}", "holds a text of 5000 bytes"},
      {std::string(kMaxProjectBytes + 1, ' '), "more than a project file holds"},
      {"{" + base + R"(, "keys": [{"frame": 2, "values": [0,0,0,0,0,0], "ease": "sideways"}]})",
       "\"keys[0].ease\" must be \"fill\""},
  };
  const std::string path = dir + "/bad.json";
  for (const auto& [text, expected] : cases) {
    std::ofstream(path) << text;
    const std::string message = ErrorOf([&] { ReadProjectFile(path); });
    EXPECT_NE(message.find(expected), std::string::npos) << text << "\n -> " << message;
    EXPECT_NE(message.find(path), std::string::npos) << message;
  }
  EXPECT_NE(ErrorOf([&] { ReadProjectFile(dir + "/missing.json"); }).find("missing.json"), std::string::npos);

  // Values the file can hold but the effect refuses, before anything changes.
  EditorRig rig(2, 2, 3);
  Project p;
  p.effect = "Color add";
  p.sliders[1] = 300;
  EXPECT_NE(ErrorOf([&] { ApplyProject(*rig.editor, p); }).find("outside -255..255"), std::string::npos);
  EXPECT_EQ(rig.editor->panel().EffectName(), "");
}

TEST(FrameRange, GrammarInTheDocumentsFrameNumbers) {
  const struct {
    const char* text;
    int32_t total;
    int64_t base;  // the number of frame 0
    int32_t count, first, last;
  } cases[] = {{"10-14", 30, 0, 5, 10, 14},
               {"1-100x5", 97, 0, 20, 1, 96},
               {"1, 5,10-12,5", 20, 0, 5, 1, 12},
               {"1001-1100x25", 100, 1001, 4, 0, 75},
               {"1100", 100, 1001, 1, 99, 99}};
  for (const auto& c : cases) {
    const FrameSelection s = FrameSelection::Parse(c.text, c.total, c.base);
    EXPECT_EQ(std::vector<int32_t>({s.Count(), s.First(), s.Last()}), std::vector<int32_t>({c.count, c.first, c.last}))
        << c.text;
  }
  for (const char* bad : {"", "5-", "a", "3-1", "1,,2", "1-10x0", "0-30", "-2", "1-5x"})
    EXPECT_THROW(FrameSelection::Parse(bad, 30), Error) << bad;
  // Numbers below the first frame are outside too, and messages speak in frame numbers.
  for (const char* outside : {"1000-1002", "1-3", "1101"})
    EXPECT_NE(ErrorOf([&] { FrameSelection::Parse(outside, 100, 1001); }).find("outside the animation (frames 1001..1100)"),
              std::string::npos)
        << outside;

  FrameSelection s = FrameSelection::Parse("3-6", 10);
  s.Remove(3);
  s.Remove(6);
  s.Add(9);
  EXPECT_EQ(s.Frames(), (std::vector<int32_t>{4, 5, 9}));
  EXPECT_EQ(std::vector<int32_t>({s.Count(), s.First(), s.Last()}), std::vector<int32_t>({3, 4, 9}));
}

TEST(Thumb, PixelsAreAreaAveragesRoundedHalfToEven) {
  EXPECT_EQ(ThumbSize(10, 8, 320, 240).width, 10);  // never enlarged
  // A 3 x 2 frame into a 2 x 1 box: each output covers one and a half columns. Red averages
  // (0 + 0 + (1 + 2) / 2) / 3 = 0.5 -> 0 and (4 + 5 + (1 + 2) / 2) / 3 = 3.5 -> 4.
  Plane r(3, 2), g(3, 2), b(3, 2);
  const uint8_t rows[2][3] = {{0, 1, 4}, {0, 2, 5}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) r.at(y, x) = rows[y][x];
  for (int y = 0; y <= 2; ++y) r.at(y, 3) = 255;  // the extra column is not part of the picture
  g.Fill(7);
  b.Fill(255);
  ThumbImage t;
  SuperThumb(r, g, b, 3, 2, 2, 2, t);
  EXPECT_EQ(std::vector<int32_t>({t.width, t.height}), std::vector<int32_t>({2, 1}));
  EXPECT_EQ(t.rgb, (std::vector<uint8_t>{0, 7, 255, 4, 7, 255}));
}

// Sizes that divide the frame take whole blocks; their averages must be the general case's.
TEST(Thumb, WholeBlocksAverageAsTheGeneralCaseDoes) {
  Plane r(12, 6), g(12, 6), b(12, 6);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 12; ++x) {
      r.at(y, x) = static_cast<uint8_t>((x * 37 + y * 91) % 256);
      g.at(y, x) = static_cast<uint8_t>(x * y * 11 % 256);
      b.at(y, x) = static_cast<uint8_t>(x == 1 ? 255 : 0);  // blocks with halves to round
    }
  ThumbImage t;
  SuperThumb(r, g, b, 12, 6, 4, 4, t);  // blocks of 3 x 3
  ASSERT_EQ(std::vector<int32_t>({t.width, t.height}), std::vector<int32_t>({4, 2}));
  for (int oy = 0; oy < 2; ++oy)
    for (int ox = 0; ox < 4; ++ox)
      for (int c = 0; c < 3; ++c) {
        const Plane& p = c == 0 ? r : (c == 1 ? g : b);
        int sum = 0;
        for (int y = 3 * oy; y < 3 * oy + 3; ++y)
          for (int x = 3 * ox; x < 3 * ox + 3; ++x) sum += p.at(y, x);
        EXPECT_EQ(t.rgb[static_cast<size_t>((oy * 4 + ox) * 3 + c)], RoundHalfEven(sum / 9.0)) << ox << "," << oy;
      }
}

TEST(Thumb, ReducedPlanesAverageTheSameWayAndRepeatTheirEdge) {
  Plane r(3, 2);
  const uint8_t rows[2][3] = {{0, 1, 4}, {0, 2, 5}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) r.at(y, x) = rows[y][x];
  Plane out;
  ReducePlane(r, 3, 2, 2, 1, out);
  ASSERT_EQ(std::vector<int32_t>({out.width(), out.height()}), std::vector<int32_t>({2, 1}));
  // The picture as the preview's reduction gives it; the extra column and row repeat the edge.
  EXPECT_EQ(std::vector<uint8_t>(out[0], out[0] + 3), (std::vector<uint8_t>{0, 4, 4}));
  EXPECT_EQ(std::vector<uint8_t>(out[1], out[1] + 3), (std::vector<uint8_t>{0, 4, 4}));
}

}  // namespace
}  // namespace tessfx
