#include "media/image_io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <OpenImageIO/imageio.h>
#include <array>
#include <filesystem>
#include <fstream>
#include <limits>
#include <tuple>
#include <utility>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;
using testing::ScratchFolder;
namespace fs = std::filesystem;

// Noise colours and a ramp of alpha, the extra row and column repeating the last real ones.
RgbaPlanes Frame(int32_t w, int32_t h, uint32_t seed) {
  RgbaPlanes p{Plane(w, h), Plane(w, h), Plane(w, h), Plane(w, h)};
  DrawPattern(Pattern::Noise, seed, 0, 1, p[0], p[1], p[2]);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) p[3][y][x] = static_cast<uint8_t>((x * 7 + y * 13 + seed) & 0xFF);
  ReplicateEdges(p[3]);
  return p;
}

void WriteRaw(const std::string& path, const OIIO::ImageSpec& layout, OIIO::TypeDesc type, const void* data) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out && out->open(path, layout)) << path;
  ASSERT_TRUE(out->write_image(type, data));
  ASSERT_TRUE(out->close());
}

TEST(SequencePatternTest, ParsesPlaceholdersAndMatchesNumbersThatPrintBackTheSame) {
  for (auto [pattern, number, name] : {std::tuple{"out/frame.%04d.png", 12345, "out/frame.12345.png"},
                                       {"a.b/shot_###.exr", 5, "a.b/shot_005.exr"},
                                       {"f%d.tif", 10, "f10.tif"}}) {
    EXPECT_EQ(ParseSequencePattern(pattern).value().FileName(number), name);
  }
  // No placeholder, or one in the folder part only.
  for (const char* none : {"50%.png", "frame.0001.png", "take#2/frame.png"})
    EXPECT_FALSE(ParseSequencePattern(none)) << none;
  EXPECT_THROW(ParseSequencePattern("f.%04d.##.png"), Error);

  const SequencePattern p = *ParseSequencePattern("f.####.png"), d = *ParseSequencePattern("f%d.png");
  EXPECT_EQ(p.Match("f.0042.png"), 42);
  EXPECT_EQ(p.Match("f.10000.png"), 10000);
  EXPECT_EQ(d.Match("f7.png"), 7);
  for (const char* other : {"f.042.png", "f.00042.png", "f.00a2.png", "f.0042.png.tmp"})
    EXPECT_FALSE(p.Match(other)) << other;
  EXPECT_FALSE(d.Match("f07.png"));
}

TEST(SequencePatternTest, ANamedFileBecomesTheSequenceItStandsFor) {
  for (auto [path, want] : {std::pair{"out/result_.png", "out/result_####.png from 1"},
                            {"out/take2.png", "out/take2.####.png from 1"},  // a word, not a number
                            {"out/shot_0010.png", "out/shot_%04d.png from 10"},
                            {"a.b/noext", "a.b/noext.#### from 1"}}) {  // the folder's dot is no extension
    const SequenceTarget t = SequenceTargetFor(path);
    EXPECT_EQ(t.pattern + " from " + std::to_string(t.first_number), want);
  }
}

TEST(ResolveImageFilesTest, SequencesRunFromTheLowestNumberToTheHighestAndNameTheirGaps) {
  ScratchFolder dir;
  for (int n : {3, 4, 5, 7, 10}) std::ofstream(dir / ("f." + std::to_string(1000 + n).substr(1) + ".png")) << "x";
  // A gap names the file before it, so that a caller allowing gaps repeats that frame.
  const std::vector<std::string> frames = {dir / "f.003.png", dir / "f.004.png", dir / "f.005.png", dir / "f.005.png",
                                           dir / "f.007.png", dir / "f.007.png", dir / "f.007.png", dir / "f.010.png"};
  // A padded first file is followed past a gap right after it: the missing file is a gap.
  for (const char* named : {"f.###.png", "f.%03d.png", "f.003.png"}) {
    const ImageFiles files = ResolveImageFiles(dir / named, 100);
    EXPECT_EQ(files.first_number, 3) << named;
    EXPECT_EQ(files.files, frames) << named;
    EXPECT_EQ(files.gaps, (std::vector<int64_t>{6, 8, 9})) << named;
    EXPECT_EQ(GapText(*files.pattern, files.gaps), dir / "f.006.png and 2 more files are missing (6,8-9)");
  }
  EXPECT_EQ(ResolveImageFiles(dir / "f.005.png", 100).files.size(), 6u);  // from the file named
  // The last file, and an unpadded number without a successor, are single images.
  std::ofstream(dir / "g7.png") << "x";
  std::ofstream(dir / "g9.png") << "x";
  for (const char* single : {"f.010.png", "g7.png"}) {
    const ImageFiles files = ResolveImageFiles(dir / single, 100);
    EXPECT_EQ(files.files.size(), 1u) << single;
    EXPECT_FALSE(files.pattern) << single;
  }
  for (auto [path, most, message] : {std::tuple{"f.###.png", 7, "more than 7 frames (numbers 3 to 10)"},
                                     {"g.####.png", 100, "no file matches"},
                                     {"missing.png", 100, "no such file"}})
    EXPECT_THAT([&] { ResolveImageFiles(dir / path, most); }, ThrowsMessage<Error>(HasSubstr(message)));
}

TEST(ImageFilesTest, WrittenAndTiledFilesReadBackEverySampleAndAlpha) {
  ScratchFolder dir;
  constexpr int32_t kW = 45, kH = 37;  // not multiples of the tile size
  const RgbaPlanes want = Frame(kW, kH, 9);
  {
    ImageFileWriter writer;  // not committed: nothing is left
    writer.Write(dir / "lost.png", want[0], want[1], want[2], &want[3]);
  }
  EXPECT_TRUE(fs::is_empty(dir.str()));
  ImageFileWriter writer;
  for (const char* name : {"w.png", "w.exr", "w.tif"})
    writer.Write(dir / name, want[0], want[1], want[2], &want[3]);
  writer.Commit();
  std::vector<uint8_t> pixels;
  for (int32_t y = 0; y < kH; ++y)
    for (int32_t x = 0; x < kW; ++x)
      for (size_t c = 0; c < 4; ++c) pixels.push_back(want[c][y][x]);
  for (const std::string name : {"tiled.tif", "tiled.exr"}) {
    OIIO::ImageSpec layout(kW, kH, 4, name.ends_with(".exr") ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    layout.tile_width = layout.tile_height = 16;
    layout.attribute("oiio:UnassociatedAlpha", 1);
    WriteRaw(dir / name, layout, OIIO::TypeDesc::UINT8, pixels.data());
  }
  for (const std::string name : {"w.png", "w.exr", "w.tif", "tiled.tif", "tiled.exr"}) {
    RgbaPlanes got;
    EXPECT_TRUE(ReadImage(dir / name, got).has_alpha) << name;
    for (size_t c = 0; c < 4; ++c) EXPECT_TRUE(got[c] == want[c]) << name << " channel " << c;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.str()), {}), 5);  // no temporary files left
}

TEST(ReadImageTest, DeepSamplesAreClampedAndRoundedHalfToEvenInTheDataWindow) {
  ScratchFolder dir;
  // One row of grey samples: below 0, NaN, exactly half a level above 127, one level, above 1.
  const float floats[] = {-0.25f, std::numeric_limits<float>::quiet_NaN(), 0.5f, 1.0f / 255.0f, 3.0f};
  WriteRaw(dir / "f.exr", OIIO::ImageSpec(5, 1, 1, OIIO::TypeDesc::FLOAT), OIIO::TypeDesc::FLOAT, floats);
  // 16-bit integers: 32767 is 127.498 levels, 32768 is 127.502.
  const uint16_t wide[] = {32767, 32768, 65535};
  WriteRaw(dir / "w.png", OIIO::ImageSpec(3, 1, 1, OIIO::TypeDesc::UINT16), OIIO::TypeDesc::UINT16, wide);
  for (auto [name, want] :
       {std::pair{"f.exr", std::vector<uint8_t>{0, 0, 128, 1, 255}}, {"w.png", {127, 128, 255}}}) {
    RgbaPlanes got;
    ReadImage(dir / name, got);
    EXPECT_EQ(std::vector(got[0][0], got[0][0] + want.size()), want) << name;
    EXPECT_EQ(std::vector(got[2][0], got[2][0] + want.size()), want) << name;  // grey feeds every channel
  }

  // Pixels outside a 2x1 RGBA data window at (1, 1) of a 4x3 display window are black and
  // transparent.
  OIIO::ImageSpec layout(2, 1, 4, OIIO::TypeDesc::FLOAT);
  layout.x = layout.y = 1;
  layout.full_width = 4;
  layout.full_height = 3;
  const float data[] = {1, 1, 1, 1, 0.5f, 0.5f, 0.5f, 1};
  WriteRaw(dir / "win.exr", layout, OIIO::TypeDesc::FLOAT, data);
  RgbaPlanes got;
  const ImageInfo info = ReadImage(dir / "win.exr", got);
  EXPECT_EQ(std::pair(info.width, info.height), std::pair(4, 3));
  EXPECT_EQ((std::array{got[0][1][1], got[0][1][2], got[3][1][2]}), (std::array<uint8_t, 3>{255, 128, 255}));
  EXPECT_EQ(got[0][0][0] | got[3][0][0] | got[3][2][3], 0);
}

TEST(ImageFileWriterTest, FilesWithoutAlphaReadFullySelectedAndGreyIsLuma) {
  ScratchFolder dir;
  Plane r(2, 1, 255), g(2, 1, 0), b(2, 1, 0);
  g[0][1] = b[0][1] = 255;
  ImageFileWriter writer;
  EXPECT_THROW(writer.Write(dir / "a.unknownext", r, g, b, nullptr), Error);
  writer.Write(dir / "c.png", r, g, b, nullptr);
  writer.Commit();
  RgbaPlanes got;
  EXPECT_FALSE(ReadImage(dir / "c.png", got).has_alpha);
  EXPECT_TRUE(got[3] == Plane(2, 1, 255));  // the extra row and column too
  const Plane grey = ReadGreyImage(dir / "c.png");
  EXPECT_EQ((std::array{grey[0][0], grey[0][1]}), (std::array<uint8_t, 2>{76, 255}));  // 0.299 * 255 = 76.2
}

TEST(ReadImageTest, BadFilesGiveOneMessageNamingTheFile) {
  ScratchFolder dir;
  RgbaPlanes p = Frame(64, 64, 3);
  ImageFileWriter writer;
  writer.Write(dir / "good.tif", p[0], p[1], p[2], nullptr);
  writer.Commit();
  // (A cut PNG is refused as well, but its reader leaks a message string when it gives up,
  // which the leak checker would report.)
  fs::copy_file(dir / "good.tif", dir / "cut.tif");
  fs::resize_file(dir / "cut.tif", fs::file_size(dir / "good.tif") / 2);
  std::ofstream(dir / "text.png") << "not a picture";
  for (const std::string name : {"cut.tif", "text.png"})
    EXPECT_THAT([&] { ReadImage(dir / name, p); },
                ThrowsMessage<Error>(AllOf(HasSubstr(dir / name), Not(HasSubstr("\n")))));
}

}  // namespace
}  // namespace tessfx
