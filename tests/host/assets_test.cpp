// Host assets: gradients, lens flare and its settings, brush images, the temporary folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/embedded/assets.h"
#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"
#include "media/image_io.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using testing::ScratchFolder;

EmbeddedHostOptions Options(const ScratchFolder& dir, int32_t w = 320, int32_t h = 240) {
  return {.temp_dir = dir.str(), .settings_path = dir / "settings.ini", .width = w, .height = h};
}

TEST(GradientTest, DefaultsWrapAndFilesOfColourStopsReplaceThem) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  EXPECT_EQ(host.Tes_GetGradient(8), host.Tes_GetGradient(0));  // indices wrap
  EXPECT_EQ(host.Tes_GetGradient(-1), host.Tes_GetGradient(7));
  EXPECT_NE(host.Tes_GetGradient(6), host.Tes_GetGradient(7));
  for (int e = 0; e < 256; ++e) ASSERT_EQ(host.Tes_GetGradient(0)[e], e);  // a grey ramp through every level

  std::ofstream(dir / "g.txt") << "# warm\n0 0 0 0\n\n0.5 255 0 0   # red in the middle\n1 255 255 255\n";
  const auto g = ReadGradientFile(dir / "g.txt");
  ASSERT_EQ(g.size(), 768u);
  EXPECT_EQ(g[255], 255);
  EXPECT_EQ(g[256 + 64], 0);  // green stays 0 up to the middle
  EXPECT_NEAR(g[64], 128, 1);  // red halfway up at a quarter
  host.LoadGradient(3, dir / "g.txt");
  EXPECT_EQ(host.Tes_GetGradient(3), g);
  EXPECT_THROW(host.LoadGradient(8, dir / "g.txt"), Error);

  const std::pair<std::string, std::string> bad[] = {
      {"0 1 2\n", " line 1: expected"},
      {"0 0 0 0\n0.5 1 2 x\n", " line 2: \"x\" is not a number"},
      {"0.5 0 0 0\n0.2 0 0 0\n", " line 2: positions must not decrease"},
      {"1.5 0 0 0\n", " line 1: position must be within 0..1"},
      {"0 0 0 256\n", " line 1: colour components"},
      {"# nothing\n", ": no colour stops"},
  };
  for (const auto& [text, message] : bad) {
    std::ofstream(dir / "bad.txt") << text;
    EXPECT_THAT([&] { ReadGradientFile(dir / "bad.txt"); }, ThrowsMessage<Error>(HasSubstr("bad.txt" + message)))
        << text;
  }
}

// Largest change from grey 40 of any channel inside a box of the frame.
int MaxChange(EmbeddedHost& host, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  int most = 0;
  const Plane planes[] = {host.Tes_GetRBuffer(), host.Tes_GetGBuffer(), host.Tes_GetBBuffer()};
  for (const Plane& p : planes)
    for (int32_t y = y0; y < y1; ++y)
      for (int32_t x = x0; x < x1; ++x) most = std::max(most, std::abs(p[y][x] - 40));
  return most;
}

std::unique_ptr<EmbeddedHost> GreyHost(const ScratchFolder& dir) {
  auto host = std::make_unique<EmbeddedHost>(Options(dir, 640, 480));
  for (Channel c : {Channel::R, Channel::G, Channel::B}) host->WriteFramePlane(0, c, Plane(640, 480, 40));
  return host;
}

TEST(LensFlareTest, BrightensAroundTheSourceAndAlongTheGhostLineAsItsSavedSettingsSay) {
  ScratchFolder dir;
  auto host = GreyHost(dir);
  host->Tes_RenderLensFlare(100.0f, 160, 240, 15.0f, 0, 0, 0);  // ghosts run right along the centre line
  EXPECT_GT(MaxChange(*host, 155, 235, 165, 245), 150);  // the glow's core
  EXPECT_GT(MaxChange(*host, 440, 230, 500, 250), 5);  // ghosts past the centre
  // Far corners, away from the source and the ghost line, stay nearly untouched.
  for (auto [cx, cy] : {std::pair{0, 0}, {616, 0}, {0, 456}, {616, 456}})
    EXPECT_LE(MaxChange(*host, cx, cy, cx + 24, cy + 24), 2) << cx << "," << cy;
  const Plane r = host->Tes_GetRBuffer();
  for (int32_t row = 0; row < 480; ++row) ASSERT_EQ(r[row][640], r[row][639]);  // the extra column repeats

  host->SetFlareSettings({.glow = 0, .rays = 0, .halo = 0, .ghosts = 0, .ray_count = 99});  // count brought in range
  host = GreyHost(dir);  // a new host reads the settings back
  EXPECT_EQ(host->flare_settings().ray_count, kMaxFlareRays);
  host->Tes_RenderLensFlare(100.0f, 320, 240, 0, 0, 0, 0);
  EXPECT_EQ(MaxChange(*host, 0, 0, 640, 480), 0);
}

TEST(HostImagesTest, TheDefaultPaperTilesWithoutASeam) {
  // Across the tile's edges the paper changes no more than between neighbours inside it.
  const Plane paper = DefaultPaper();
  const int32_t w = paper.width(), h = paper.height();
  int inside = 0, seam = 0;
  auto note = [&](bool at_seam, int step) {
    int& most = at_seam ? seam : inside;
    most = std::max(most, step);
  };
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      note(x == w - 1, std::abs(paper[y][x] - paper[y][(x + 1) % w]));
      note(y == h - 1, std::abs(paper[y][x] - paper[(y + 1) % h][x]));
    }
  EXPECT_LE(seam, inside);
  EXPECT_GT(inside, 10);  // a grain, not a flat sheet
}

TEST(HostImagesTest, ABrushWithoutAlphaIsWhitePaintAsOpaqueAsThePictureIsBright) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  Plane left_right(8, 4);  // left half dark, right half bright
  for (int32_t y = 0; y <= 4; ++y)
    for (int32_t x = 0; x <= 8; ++x) left_right[y][x] = x < 4 ? 10 : 250;
  ImageFileWriter writer;
  writer.Write(dir / "pic.png", left_right, left_right, left_right, nullptr);
  writer.Commit();
  host.LoadBrush(dir / "pic.png");
  EXPECT_EQ(host.Tes_GetBrushrBuffer()[1][1], 255);
  EXPECT_EQ(host.Tes_GetBrushaBuffer()[1][1], 10);
  EXPECT_EQ(host.Tes_GetBrushaBuffer()[1][6], 250);
}

TEST(FoldersTest, TemporaryFolderIsCreatedPrivateAndMustBeAFolder) {
  ScratchFolder dir;
  EXPECT_EQ(EnsureTempDir(dir / "deeper/tmp"), dir / "deeper/tmp");
  EXPECT_EQ(std::filesystem::status(dir / "deeper/tmp").permissions(), std::filesystem::perms::owner_all);
  std::ofstream(dir / "file") << "x";
  EXPECT_THAT([&] { EnsureTempDir(dir / "file"); }, ThrowsMessage<Error>(HasSubstr("folder " + dir / "file")));
}

}  // namespace
}  // namespace tessfx
