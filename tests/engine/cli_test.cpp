// The command line: the catalogue listing and `tessfx apply` by effect name, run through
// the built binary, with byte-exact results against the dispatch run in process.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "core/convert.h"
#include "effects/test_frame.h"
#include "host/scratch_folder.h"
#include "media/tsa.h"
#include "run_tessfx.h"

namespace tessfx {
namespace {

using testing::Noise;
using testing_support::RunTessfx;

class EffectCommands : public ::testing::Test {
 protected:
  // Writes an animation of `frames` frames of noise (frame f seeded by f) and returns its path.
  std::string WriteNoiseAnimation(const std::string& name, int32_t w, int32_t h, int32_t frames) {
    EmbeddedHost host;
    host.NewAnimation(w, h, frames);
    for (int32_t f = 0; f < frames; ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B})
        host.WriteFramePlane(f, c, Noise(w, h, 10 * f + 1 + static_cast<uint32_t>(c)));
    host.SaveDocument(dir_ / name);
    return dir_ / name;
  }

  static testing::Rgb ReadTsa(const std::string& path) {
    TsaReader reader(path);
    testing::Rgb out;
    for (auto [c, p] : {std::pair{Channel::R, &out.r}, std::pair{Channel::G, &out.g}, std::pair{Channel::B, &out.b}})
      reader.ReadPlane(0, c, *p);
    return out;
  }

  testing::ScratchFolder dir_;
};

TEST_F(EffectCommands, EffectsListsTheCatalogue) {
  const auto json = RunTessfx("effects --json");
  ASSERT_EQ(json.code, 0) << json.output;
  const auto doc = nlohmann::json::parse(json.output);
  ASSERT_EQ(doc.size(), 16u);
  EXPECT_EQ(doc[0]["effects"][0]["name"], "Color adjustment");
  EXPECT_EQ(doc[0]["effects"][0]["sliders"][0],
            nlohmann::json({{"caption", "Red"}, {"min", 0}, {"max", 512}, {"default", 255}}));
  const auto text = RunTessfx("effects");
  ASSERT_EQ(text.code, 0);
  for (const char* line : {"    Mosaic", "Step size 1..100 = 8", "16 categories, 96 effects"})
    EXPECT_NE(text.output.find(line), std::string::npos) << line;
}

// `tessfx apply` against the dispatch run in process on the same frame, whole planes
// (extra row and column included): plain, with values, with a swap animation, seeded by frame.
TEST_F(EffectCommands, ApplyMatchesTheDispatchByteForByte) {
  const int32_t w = 150, h = 40;
  const std::string input = WriteNoiseAnimation("in.tsa", w, h, 3);
  const std::string swap = WriteNoiseAnimation("swap.tsa", w, h, 3);
  struct Case {
    std::string effect;
    int value;  // 0: the default
    bool swap;
  };
  for (const Case& c : {Case{"Day for night", 0, false}, Case{"Combine screen", 0, true}, Case{"Mosaic", 5, false},
                        Case{"Displace", 90, true}, Case{"Color noise", 0, false}}) {
    const std::string output = dir_ / "out.tsa";
    const auto run =
        RunTessfx("apply " + input + " -o " + output + " --frame 2 --effect '" + c.effect + "'" +
                  (c.value ? " --values " + std::to_string(c.value) : "") + (c.swap ? " --swap " + swap : ""));
    ASSERT_EQ(run.code, 0) << c.effect << ": " << run.output;

    testing::TestFrame f(w, h, 3);
    f.host().OpenDocument(input);
    f.host().Tes_GotoFrame(2);
    if (c.swap) {
      ASSERT_EQ(f.image().external_swap.OpenAnimationFile(swap, {}), 0);
      f.image().external_swap.set_active(true);
    }
    f.Dispatch(c.effect, {c.value ? static_cast<float>(c.value) : 255.0f});
    EXPECT_TRUE(ReadTsa(output) == testing::Working(f.image())) << c.effect;
  }
}

TEST_F(EffectCommands, ApplyWritesImagesAndTakesAnImageAsSwap) {
  const std::string input = WriteNoiseAnimation("in.tsa", 20, 10, 1);
  const auto png = RunTessfx("apply " + input + " -o " + (dir_ / "slate.png") + " --effect Slate");
  ASSERT_EQ(png.code, 0) << png.output;
  // The slate as a swap image, stretched to a 40 x 10 frame by the bilinear resize.
  const std::string wide = WriteNoiseAnimation("wide.tsa", 40, 10, 1);
  const auto swap = RunTessfx("apply " + wide + " -o " + (dir_ / "sum.tsa") + " --effect 'Combine Or' --swap " +
                              (dir_ / "slate.png") + " --alphabits 1");
  ASSERT_EQ(swap.code, 0) << swap.output;
  const testing::Rgb out = ReadTsa(dir_ / "sum.tsa");
  EXPECT_EQ(out.r.at(4, 0) | 192, out.r.at(4, 0));         // grey bar: every bit of 192 set
  EXPECT_EQ(out.g.at(4, 39), Noise(40, 10, 2).at(4, 39));  // black bar: the frame
}

// One reading of slider values for every command: spaces around values are ignored, an
// empty field keeps the slider's default, and names match whatever their case.
TEST_F(EffectCommands, ApplyAndRenderReadNamesAndValuesAlike) {
  const std::string input = WriteNoiseAnimation("in.tsa", 9, 5, 1);
  const auto apply = RunTessfx("apply " + input + " -o " + (dir_ / "a.tsa") + " --effect 'color ADD' --values ' 40 , ,-20'");
  ASSERT_EQ(apply.code, 0) << apply.output;
  const auto render = RunTessfx("render " + input + " -o " + (dir_ / "r.tsa") +
                                " --effect 'COLOR add' --values '40,  ,  -20  '");
  ASSERT_EQ(render.code, 0) << render.output;
  const testing::Rgb applied = ReadTsa(dir_ / "a.tsa");
  EXPECT_TRUE(applied == ReadTsa(dir_ / "r.tsa"));
  const Plane r = Noise(9, 5, 1), g = Noise(9, 5, 2), b = Noise(9, 5, 3);
  EXPECT_EQ(applied.r.at(2, 3), ClampByte(r.at(2, 3) + 40));
  EXPECT_EQ(applied.g.at(2, 3), g.at(2, 3));
  EXPECT_EQ(applied.b.at(2, 3), ClampByte(b.at(2, 3) - 20));
}

TEST_F(EffectCommands, ApplyReportsBadNamesValuesAndFramesAsUsageErrors) {
  const std::string input = WriteNoiseAnimation("in.tsa", 8, 8, 1);
  struct Case {
    const char* args;
    const char* message;
  };
  for (const Case& c :
       {Case{"--effect 'Mosiac'", "\"Mosaic\""},  // the nearest name
        Case{"--effect Tint --values 10,300", "\"Green\""}, Case{"--effect Mosaic --values 3,4", "has 1 slider"},
        Case{"--effect Mosaic --frame 3", "0..0"}, Case{"--effect Tint --values 1,2,3,4,5,6,7", "at most six"},
        Case{"--effect Tint --values '1,x'", "\"x\" is not a whole number"}}) {
    const auto run = RunTessfx("apply " + input + " -o " + (dir_ / "o.tsa") + " " + c.args);
    EXPECT_EQ(run.code, 64) << c.args;
    EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
  }
  EXPECT_FALSE(std::filesystem::exists(dir_ / "o.tsa"));
}

}  // namespace
}  // namespace tessfx
