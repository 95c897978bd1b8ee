// Host assets: gradients, paper, brush, swap image, lens flare, settings and folders.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "core/error.h"
#include "host/embedded/assets.h"
#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"
#include "media/image_io.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

EmbeddedHostOptions Options(const ScratchFolder& dir, int32_t w = 320, int32_t h = 240) {
  EmbeddedHostOptions o;
  o.temp_dir = dir.str();
  o.settings_path = dir / "settings.ini";
  o.width = w;
  o.height = h;
  return o;
}

// Sets an environment variable for the scope of a test and restores it afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  ~ScopedEnv() {
    if (old_)
      ::setenv(name_, old_->c_str(), 1);
    else
      ::unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(GradientTest, DefaultsAreFullTablesAndDistinct) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  std::vector<std::vector<uint8_t>> seen;
  for (int16_t i = 0; i < 8; ++i) {
    const auto g = host.Tes_GetGradient(i);
    ASSERT_EQ(g.size(), 3u * 256u);
    for (const auto& other : seen) EXPECT_NE(g, other) << "gradient " << i;
    seen.push_back(g);
  }
  EXPECT_EQ(host.Tes_GetGradient(8), seen[0]);  // indices wrap
  EXPECT_EQ(host.Tes_GetGradient(-1), seen[7]);
  // The grey ramp runs from black to white through every level.
  for (int e = 0; e < 256; ++e) ASSERT_EQ(seen[0][e], e);
}

TEST(GradientTest, ReadsColourStopsAndRefusesBadLines) {
  ScratchFolder dir;
  std::ofstream(dir / "g.txt") << "# warm\n0 0 0 0\n\n0.5 255 0 0   # red in the middle\n1 255 255 255\n";
  const auto g = ReadGradientFile(dir / "g.txt");
  ASSERT_EQ(g.size(), 768u);
  EXPECT_EQ(g[0], 0);
  EXPECT_EQ(g[255], 255);
  EXPECT_EQ(g[256 + 64], 0);    // green stays 0 up to the middle
  EXPECT_EQ(g[2 * 256 + 255], 255);
  EXPECT_NEAR(g[64], 128, 1);   // red halfway up at a quarter

  ScratchFolder& d = dir;
  const std::pair<std::string, std::string> bad[] = {
      {"0 1 2\n", " line 1: expected"},
      {"0 0 0 0\n0.5 1 2 x\n", " line 2: \"x\" is not a number"},
      {"0.5 0 0 0\n0.2 0 0 0\n", " line 2: positions must not decrease"},
      {"1.5 0 0 0\n", " line 1: position must be within 0..1"},
      {"0 0 0 256\n", " line 1: colour components"},
      {"# nothing\n", ": no colour stops"},
  };
  for (const auto& [text, message] : bad) {
    std::ofstream(d / "bad.txt") << text;
    EXPECT_THAT([&] { ReadGradientFile(d / "bad.txt"); },
                ::testing::ThrowsMessage<Error>(HasSubstr("bad.txt" + message)))
        << text;
  }
  EmbeddedHost host(Options(dir));
  host.LoadGradient(3, dir / "g.txt");
  EXPECT_EQ(host.Tes_GetGradient(3), g);
  EXPECT_THROW(host.LoadGradient(8, dir / "g.txt"), Error);
}

struct FlareFixture : ::testing::Test {
  ScratchFolder dir;
  static constexpr int32_t kW = 640, kH = 480;

  static Plane Grey(uint8_t v) { return Plane(kW, kH, v); }

  // Largest change of any channel inside a box of the frame.
  static int MaxChange(EmbeddedHost& host, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    int most = 0;
    const Plane planes[] = {host.Tes_GetRBuffer(), host.Tes_GetGBuffer(), host.Tes_GetBBuffer()};
    for (const Plane& p : planes)
      for (int32_t y = y0; y < y1; ++y)
        for (int32_t x = x0; x < x1; ++x) most = std::max(most, std::abs(p[y][x] - 40));
    return most;
  }
  void Prepare(EmbeddedHost& host) {
    host.tes_setrbuffer(Grey(40));
    host.tes_setgbuffer(Grey(40));
    host.tes_setbbuffer(Grey(40));
  }
};

TEST_F(FlareFixture, BrightensAroundTheSourceAndAlongTheGhostLineOnly) {
  EmbeddedHost host(Options(dir, kW, kH));
  Prepare(host);
  // Source on the left of the horizontal centre line: ghosts run right along it.
  const float x = 160, y = 240;
  const auto start = std::chrono::steady_clock::now();
  host.Tes_RenderLensFlare(1.0f, x, y, 15.0f, 0, 0, 0);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GT(MaxChange(host, 155, 235, 165, 245), 150);  // the glow's core
  const Plane r = host.Tes_GetRBuffer();
  EXPECT_EQ(r[240][160], 255);
  EXPECT_GT(MaxChange(host, 440, 230, 500, 250), 5);  // ghosts past the centre
  // Far corners, away from the source and the ghost line, stay nearly untouched.
  for (auto [cx, cy] : {std::pair{0, 0}, {kW - 24, 0}, {0, kH - 24}, {kW - 24, kH - 24}})
    EXPECT_LE(MaxChange(host, cx, cy, cx + 24, cy + 24), 2) << cx << "," << cy;
  // The extra column repeats the last real one.
  for (int32_t row = 0; row < kH; ++row) ASSERT_EQ(r[row][kW], r[row][kW - 1]);
  EXPECT_LT(std::chrono::duration<double>(took).count(), 2.0);
}

TEST_F(FlareFixture, SettingsShapeItAndSurviveARestart) {
  {
    EmbeddedHost host(Options(dir, kW, kH));
    EXPECT_EQ(host.flare_settings(), FlareSettings{});
    FlareSettings off;
    off.glow = off.rays = off.halo = off.ghosts = 0.0f;
    off.ray_count = 99;  // brought into range
    host.SetFlareSettings(off);
    EXPECT_EQ(host.flare_settings().ray_count, kMaxFlareRays);
    host.SetWallpaper("/pictures/wall.png");
    Prepare(host);
    host.Tes_RenderLensFlare(1.0f, 320, 240, 0, 0, 0, 0);
    EXPECT_EQ(MaxChange(host, 0, 0, kW, kH), 0);
  }
  EmbeddedHost again(Options(dir, kW, kH));
  EXPECT_EQ(again.flare_settings().glow, 0.0f);
  EXPECT_EQ(again.flare_settings().ray_count, kMaxFlareRays);
  EXPECT_EQ(again.Tes_WallpaperFilename(), "/pictures/wall.png");
  EXPECT_EQ(again.GetSetting("tessfx", "LensFlare", "ghosts", "?"), "0");

  ScratchFolder& fresh = dir;
  fs::remove(fresh / "settings.ini");
  EmbeddedHost blank(Options(fresh, kW, kH));
  EXPECT_EQ(blank.Tes_WallpaperFilename(), "");
}

TEST(HostImagesTest, SwapPaperAndBrushLoadFromImageFiles) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir, 40, 20));
  // An 80x40 picture, left half dark, right half bright, no alpha.
  Plane left_right(80, 40);
  for (int32_t y = 0; y <= 40; ++y)
    for (int32_t x = 0; x <= 80; ++x) left_right[y][x] = x < 40 ? 10 : 250;
  ImageFileWriter writer;
  writer.Write(dir / "pic.png", left_right, left_right, left_right, nullptr);
  writer.Commit();

  host.LoadSwapImage(dir / "pic.png");
  const Plane swap = host.tes_GetSwapGBuffer();
  EXPECT_EQ(swap.width(), 40);
  EXPECT_EQ(swap.height(), 20);
  EXPECT_EQ(swap[5][2], 10);
  EXPECT_EQ(swap[5][37], 250);
  EXPECT_EQ(swap[20][40], swap[19][39]);

  host.LoadPaper(dir / "pic.png");
  EXPECT_EQ(host.Tes_GetPaperWidth(), 80);
  EXPECT_EQ(host.tes_GetBump()[3][70], 250);

  host.LoadBrush(dir / "pic.png");  // no alpha: white paint shaped by brightness
  EXPECT_EQ(host.Tes_GetBrushWidth(), 80);
  EXPECT_EQ(host.Tes_GetBrushrBuffer()[3][3], 255);
  EXPECT_EQ(host.Tes_GetBrushaBuffer()[3][3], 10);
  EXPECT_EQ(host.Tes_GetBrushaBuffer()[3][60], 250);

  EXPECT_THAT([&] { host.LoadSwapImage(dir / "none.png"); },
              ::testing::ThrowsMessage<Error>(HasSubstr("none.png")));
}

TEST(FoldersTest, ConfigFollowsOverrideThenXdgThenHome) {
  {
    ScopedEnv config("TESSFX_CONFIG_DIR", "/opt/cfg");
    EXPECT_EQ(SettingsStore::DefaultPath(), "/opt/cfg/settings.ini");
  }
  ScopedEnv config("TESSFX_CONFIG_DIR", nullptr);
  ScopedEnv home("HOME", "/home/someone");
  {
    ScopedEnv xdg("XDG_CONFIG_HOME", "/x/config");
    EXPECT_EQ(SettingsStore::DefaultPath(), "/x/config/tessfx/settings.ini");
  }
  {
    ScopedEnv xdg("XDG_CONFIG_HOME", "relative/config");  // not absolute: ignored
    EXPECT_EQ(SettingsStore::DefaultPath(), "/home/someone/.config/tessfx/settings.ini");
  }
}

TEST(FoldersTest, TemporaryFolderIsCreatedPrivate) {
  ScratchFolder dir;
  const std::string wanted = dir / "deeper/tmp";
  ScopedEnv temp("TESSFX_TEMP_DIR", wanted.c_str());
  EXPECT_EQ(DefaultTempDir(), wanted);
  struct stat st {};
  ASSERT_EQ(::stat(wanted.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  std::ofstream(dir / "file") << "x";
  ScopedEnv not_folder("TESSFX_TEMP_DIR", (dir / "file").c_str());
  EXPECT_THROW(DefaultTempDir(), Error);
}

}  // namespace
}  // namespace tessfx
