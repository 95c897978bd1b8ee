// The command line: the catalogue listing and `tessfx apply` by effect name, run through
// the built binary, with byte-exact results against the dispatch run in process.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "effects/test_frame.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

using testing::Flat;
using testing::Noise;

struct RunResult {
  int status;
  std::string out;
};

// Runs the tessfx binary with the arguments (shell-quoted by the caller), capturing
// standard output and error.
RunResult Tessfx(const std::string& args) {
  const std::string command = std::string(TESSFX_BINARY) + " " + args + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string out;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) out.append(buf, n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

class CommandLine : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("tessfx-cli-test-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  // Writes an animation of `frames` frames of noise (frame f seeded by f) and returns its path.
  std::string WriteNoiseAnimation(const std::string& name, int32_t w, int32_t h, int32_t frames) {
    EmbeddedHost host;
    host.NewAnimation(w, h, frames);
    for (int32_t f = 0; f < frames; ++f) {
      host.WriteFramePlane(f, Channel::R, Noise(w, h, 10 * f + 1));
      host.WriteFramePlane(f, Channel::G, Noise(w, h, 10 * f + 2));
      host.WriteFramePlane(f, Channel::B, Noise(w, h, 10 * f + 3));
    }
    host.SaveDocument(Path(name));
    return Path(name);
  }

  static testing::Rgb ReadTsa(const std::string& path) {
    TsaReader reader(path);
    testing::Rgb out;
    reader.ReadPlane(0, Channel::R, out.r);
    reader.ReadPlane(0, Channel::G, out.g);
    reader.ReadPlane(0, Channel::B, out.b);
    return out;
  }

  std::filesystem::path dir_;
};

TEST_F(CommandLine, EffectsListsTheCatalogue) {
  const RunResult json = Tessfx("effects --json");
  ASSERT_EQ(json.status, 0) << json.out;
  const auto doc = nlohmann::json::parse(json.out);
  ASSERT_EQ(doc.size(), 16u);
  size_t effects = 0, implemented = 0;
  for (const auto& c : doc) {
    for (const auto& e : c["effects"]) {
      ++effects;
      implemented += e["implemented"].get<bool>() ? 1 : 0;
      EXPECT_EQ(e["category"], c["category"]);
    }
  }
  EXPECT_EQ(effects, 96u);
  EXPECT_GE(implemented, 44u);
  EXPECT_EQ(doc[0]["effects"][0]["name"], "Color adjustment");
  EXPECT_EQ(doc[0]["effects"][0]["sliders"][0],
            nlohmann::json({{"caption", "Red"}, {"min", 0}, {"max", 512}, {"default", 255}}));
  const RunResult text = Tessfx("effects");
  ASSERT_EQ(text.status, 0);
  EXPECT_NE(text.out.find("    Mosaic"), std::string::npos);
  EXPECT_NE(text.out.find("Step size 1..100 = 8"), std::string::npos);
  EXPECT_NE(text.out.find("16 categories, 96 effects"), std::string::npos);
}

TEST_F(CommandLine, ApplyVideoLinesOnWhite) {
  EmbeddedHost host;
  host.NewAnimation(5, 11, 1);
  for (Channel c : {Channel::R, Channel::G, Channel::B}) host.WriteFramePlane(0, c, Flat(5, 11, 255));
  host.SaveDocument(Path("white.tsa"));
  const RunResult run = Tessfx("apply " + Path("white.tsa") + " -o " + Path("lines.tsa") + " --effect 'Video lines'");
  ASSERT_EQ(run.status, 0) << run.out;
  const testing::Rgb out = ReadTsa(Path("lines.tsa"));
  const uint8_t rows[5] = {255, 255, 239, 243, 243};
  for (int32_t y = 0; y <= 11; ++y)
    for (int32_t x = 0; x <= 5; ++x) {
      const uint8_t expected = (y < 11 && x < 5) ? rows[y % 5] : 255;  // extra row and column untouched
      ASSERT_EQ(out.r.at(y, x), expected) << y << "," << x;
      ASSERT_EQ(out.b.at(y, x), expected) << y << "," << x;
    }
}

// `tessfx apply` against the dispatch run in process on the same frame, whole planes.
TEST_F(CommandLine, ApplyMatchesTheDispatchByteForByte) {
  const int32_t w = 150, h = 40;
  const std::string input = WriteNoiseAnimation("in.tsa", w, h, 3);
  const std::string swap = WriteNoiseAnimation("swap.tsa", w, h, 3);
  struct Case {
    std::string effect, values;
    bool swap;
    std::array<float, 6> p;
  };
  for (const Case& c : {Case{"Day for night", "", false, {255}}, Case{"Fog filter", "", false, {255}},
                        Case{"Combine screen", "", true, {255}}, Case{"Combine luminance", "", true, {255}},
                        Case{"Reverse fields", "", false, {255}}, Case{"MaxMin", "", false, {255}},
                        Case{"Mosaic", "5", false, {5}}, Case{"Displace", "90", true, {90}},
                        Case{"Mirage", "", false, {255}}, Case{"Color noise", "", false, {255}}}) {
    const std::string output = Path("out.tsa");
    const RunResult run = Tessfx("apply " + input + " -o " + output + " --frame 2 --effect '" + c.effect + "'" +
                           (c.values.empty() ? "" : " --values " + c.values) + (c.swap ? " --swap " + swap : ""));
    ASSERT_EQ(run.status, 0) << c.effect << ": " << run.out;

    testing::TestFrame f(w, h, 3);
    EmbeddedHost& host = f.host();
    host.OpenDocument(input);
    host.Tes_GotoFrame(2);
    if (c.swap) {
      ASSERT_EQ(f.image().external_swap.OpenAnimationFile(swap, {}), 0);
      f.image().external_swap.set_active(true);
    }
    f.Dispatch(c.effect, c.p);
    EXPECT_TRUE(ReadTsa(output) == testing::Working(f.image())) << c.effect;
  }
}

TEST_F(CommandLine, ApplyWritesImagesAndTakesAnImageAsSwap) {
  const std::string input = WriteNoiseAnimation("in.tsa", 20, 10, 1);
  const RunResult png = Tessfx("apply " + input + " -o " + Path("slate.png") + " --effect Slate");
  ASSERT_EQ(png.status, 0) << png.out;
  EXPECT_TRUE(std::filesystem::file_size(Path("slate.png")) > 0);
  // The slate as a swap image, stretched to a 40 x 10 frame by the bilinear resize.
  const std::string wide = WriteNoiseAnimation("wide.tsa", 40, 10, 1);
  const RunResult swap = Tessfx("apply " + wide + " -o " + Path("sum.tsa") + " --effect 'Combine Or' --swap " +
                          Path("slate.png") + " --alphabits 1");
  ASSERT_EQ(swap.status, 0) << swap.out;
  const testing::Rgb out = ReadTsa(Path("sum.tsa"));
  EXPECT_EQ(out.r.at(4, 0) | 192, out.r.at(4, 0));  // grey bar: every bit of 192 set
  EXPECT_EQ(out.g.at(4, 39), Noise(40, 10, 2).at(4, 39));  // black bar: the frame
}

TEST_F(CommandLine, ApplyReportsBadNamesAndValues) {
  const std::string input = WriteNoiseAnimation("in.tsa", 8, 8, 1);
  const RunResult unknown = Tessfx("apply " + input + " -o " + Path("o.tsa") + " --effect 'Mosiac'");
  EXPECT_EQ(unknown.status, 64);
  EXPECT_NE(unknown.out.find("\"Mosaic\""), std::string::npos) << unknown.out;
  const RunResult range = Tessfx("apply " + input + " -o " + Path("o.tsa") + " --effect Tint --values 10,300");
  EXPECT_EQ(range.status, 64);
  EXPECT_NE(range.out.find("\"Green\""), std::string::npos) << range.out;
  const RunResult many = Tessfx("apply " + input + " -o " + Path("o.tsa") + " --effect Mosaic --values 3,4");
  EXPECT_EQ(many.status, 64);
  const RunResult frame = Tessfx("apply " + input + " -o " + Path("o.tsa") + " --effect Mosaic --frame 3");
  EXPECT_NE(frame.status, 0);
  EXPECT_FALSE(std::filesystem::exists(Path("o.tsa")));
}

}  // namespace
}  // namespace tessfx
