#include "media/image_io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <OpenImageIO/imageio.h>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

RgbaPlanes Frame(int32_t w, int32_t h, uint32_t seed) {
  RgbaPlanes p{Plane(w, h), Plane(w, h), Plane(w, h), Plane(w, h)};
  DrawPattern(Pattern::Noise, seed, 0, 1, p[0], p[1], p[2]);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) p[3][y][x] = static_cast<uint8_t>((x * 7 + y * 13 + seed) & 0xFF);
  ReplicateEdges(p[3]);
  return p;
}

// The visible samples (not the extra row and column) of two planes agree.
void ExpectSamePixels(const Plane& a, const Plane& b) {
  ASSERT_EQ(a.width(), b.width());
  ASSERT_EQ(a.height(), b.height());
  for (int32_t y = 0; y < a.height(); ++y)
    for (int32_t x = 0; x < a.width(); ++x) ASSERT_EQ(a[y][x], b[y][x]) << "at " << x << "," << y;
}

void ExpectEdgesReplicated(const Plane& p) {
  for (int32_t y = 0; y < p.height(); ++y) ASSERT_EQ(p[y][p.width()], p[y][p.width() - 1]) << "row " << y;
  for (int32_t x = 0; x <= p.width(); ++x) ASSERT_EQ(p[p.height()][x], p[p.height() - 1][x]) << "column " << x;
}

std::string ErrorOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.what();
  }
  return "";
}

void WriteFloatImage(const std::string& path, int32_t w, int32_t h, int32_t channels, const std::vector<float>& data,
                     int32_t x_origin = 0, int32_t y_origin = 0, int32_t full_w = 0, int32_t full_h = 0) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out);
  OIIO::ImageSpec layout(w, h, channels, OIIO::TypeDesc::FLOAT);
  layout.x = x_origin;
  layout.y = y_origin;
  layout.full_width = full_w ? full_w : w;
  layout.full_height = full_h ? full_h : h;
  ASSERT_TRUE(out->open(path, layout));
  ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, data.data()));
  ASSERT_TRUE(out->close());
}

TEST(SequencePatternTest, ParsesPrintfAndHashPlaceholders) {
  auto p = ParseSequencePattern("out/frame.%04d.png");
  ASSERT_TRUE(p);
  EXPECT_EQ(p->FileName(7), "out/frame.0007.png");
  EXPECT_EQ(p->FileName(12345), "out/frame.12345.png");
  auto hashes = ParseSequencePattern("a.b/shot_###.exr");
  ASSERT_TRUE(hashes);
  EXPECT_EQ(hashes->FileName(5), "a.b/shot_005.exr");
  auto plain = ParseSequencePattern("f%d.tif");
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->FileName(0), "f0.tif");
  EXPECT_EQ(plain->FileName(10), "f10.tif");
  EXPECT_FALSE(ParseSequencePattern("50%.png"));
  EXPECT_FALSE(ParseSequencePattern("frame.0001.png"));
  // The folder part is never a placeholder.
  EXPECT_FALSE(ParseSequencePattern("take#2/frame.png"));
  EXPECT_THROW(ParseSequencePattern("f.%04d.##.png"), Error);
}

TEST(SequencePatternTest, MatchesOnlyNumbersThatPrintBackTheSame) {
  const SequencePattern p = *ParseSequencePattern("f.####.png");
  EXPECT_EQ(p.Match("f.0042.png"), 42);
  EXPECT_EQ(p.Match("f.10000.png"), 10000);
  EXPECT_FALSE(p.Match("f.042.png"));
  EXPECT_FALSE(p.Match("f.00042.png"));
  EXPECT_FALSE(p.Match("f.00a2.png"));
  EXPECT_FALSE(p.Match("f.0042.png.tmp"));
  const SequencePattern d = *ParseSequencePattern("f%d.png");
  EXPECT_EQ(d.Match("f7.png"), 7);
  EXPECT_FALSE(d.Match("f07.png"));
}

TEST(SequencePatternTest, ANamedFileBecomesTheSequenceItStandsFor) {
  const auto target = [](const std::string& path) {
    const SequenceTarget t = SequenceTargetFor(path);
    return t.pattern + " from " + std::to_string(t.first_number);
  };
  EXPECT_EQ(target("out/result.png"), "out/result.####.png from 1");
  EXPECT_EQ(target("out/result_.png"), "out/result_####.png from 1");
  EXPECT_EQ(target("out/take2.png"), "out/take2.####.png from 1");  // a word, not a number
  EXPECT_EQ(target("out/shot_0010.png"), "out/shot_%04d.png from 10");
  EXPECT_EQ(target("out/f.7.png"), "out/f.%d.png from 7");
  EXPECT_EQ(target("a.b/f.%03d.exr"), "a.b/f.%03d.exr from 1");
  EXPECT_EQ(target("a.b/noext"), "a.b/noext.#### from 1");  // the folder's dot is no extension
}

TEST(ResolveImageFilesTest, PatternsRunFromTheLowestNumberToTheFirstGap) {
  ScratchFolder dir;
  for (int n : {3, 4, 5, 7}) std::ofstream(dir / ("f." + std::to_string(1000 + n).substr(1) + ".png")) << "x";
  std::ofstream(dir / "f.02.png") << "x";  // wrong width: not part of the sequence
  const ImageFiles files = ResolveImageFiles(dir / "f.###.png", 100);
  EXPECT_EQ(files.first_number, 3);
  EXPECT_THAT(files.files, ::testing::ElementsAre(dir / "f.003.png", dir / "f.004.png", dir / "f.005.png"));
  // A first numbered file is followed while the next numbers exist.
  const ImageFiles from_file = ResolveImageFiles(dir / "f.004.png", 100);
  EXPECT_EQ(from_file.files.size(), 2u);
  ASSERT_TRUE(from_file.pattern);
  // A numbered file without a successor is a single image.
  const ImageFiles single = ResolveImageFiles(dir / "f.007.png", 100);
  EXPECT_EQ(single.files.size(), 1u);
  EXPECT_FALSE(single.pattern);
  EXPECT_THAT(ErrorOf([&] { ResolveImageFiles(dir / "f.###.png", 2); }), HasSubstr("more than 2 frames"));
  EXPECT_THAT(ErrorOf([&] { ResolveImageFiles(dir / "g.####.png", 100); }), HasSubstr("no file matches"));
  EXPECT_THAT(ErrorOf([&] { ResolveImageFiles(dir / "missing.png", 100); }), HasSubstr("no such file"));
}

class ImageRoundTripTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ImageRoundTripTest, SequenceKeepsEverySampleAndAlpha) {
  ScratchFolder dir;
  const std::string pattern = dir / ("seq.%03d" + GetParam());
  const SequencePattern names = *ParseSequencePattern(pattern);
  constexpr int32_t kW = 37, kH = 21, kFrames = 4;
  {
    ImageFileWriter writer;
    for (int32_t f = 0; f < kFrames; ++f) {
      RgbaPlanes p = Frame(kW, kH, static_cast<uint32_t>(f));
      writer.Write(names.FileName(f + 1), p[0], p[1], p[2], &p[3]);
    }
    writer.Commit();
  }
  const ImageFiles files = ResolveImageFiles(pattern, 100);
  ASSERT_EQ(files.files.size(), static_cast<size_t>(kFrames));
  for (int32_t f = 0; f < kFrames; ++f) {
    RgbaPlanes want = Frame(kW, kH, static_cast<uint32_t>(f)), got;
    const ImageInfo info = ReadImage(files.files[static_cast<size_t>(f)], got);
    EXPECT_EQ(info.width, kW);
    EXPECT_EQ(info.height, kH);
    EXPECT_TRUE(info.has_alpha);
    for (size_t c = 0; c < 4; ++c) {
      ExpectSamePixels(got[c], want[c]);
      ExpectEdgesReplicated(got[c]);
    }
  }
  // Nothing but the frames was left in the folder.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.str()), fs::directory_iterator()), kFrames);
}

INSTANTIATE_TEST_SUITE_P(Formats, ImageRoundTripTest, ::testing::Values(".png", ".exr", ".tif"));

TEST(ReadImageTest, TiledFilesReadLikeScanlineOnes) {
  ScratchFolder dir;
  constexpr int32_t kW = 45, kH = 37;  // not multiples of the tile size
  RgbaPlanes want = Frame(kW, kH, 9);
  std::vector<uint8_t> pixels;
  for (int32_t y = 0; y < kH; ++y)
    for (int32_t x = 0; x < kW; ++x)
      for (size_t c = 0; c < 4; ++c) pixels.push_back(want[c][y][x]);
  for (const std::string name : {"tiled.tif", "tiled.exr"}) {
    SCOPED_TRACE(name);
    auto out = OIIO::ImageOutput::create(dir / name);
    ASSERT_TRUE(out);
    OIIO::ImageSpec layout(kW, kH, 4, name.ends_with(".exr") ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    layout.tile_width = layout.tile_height = 16;
    layout.attribute("oiio:UnassociatedAlpha", 1);
    ASSERT_TRUE(out->open(dir / name, layout));
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT8, pixels.data()));
    ASSERT_TRUE(out->close());
    RgbaPlanes got;
    ReadImage(dir / name, got);
    for (size_t c = 0; c < 4; ++c) ExpectSamePixels(got[c], want[c]);
  }
}

TEST(ReadImageTest, FilesWithoutAlphaReadFullySelected) {
  ScratchFolder dir;
  RgbaPlanes p = Frame(9, 5, 1);
  ImageFileWriter writer;
  writer.Write(dir / "rgb.png", p[0], p[1], p[2], nullptr);
  writer.Commit();
  RgbaPlanes got;
  EXPECT_FALSE(ReadImage(dir / "rgb.png", got).has_alpha);
  for (int32_t y = 0; y <= 5; ++y)
    for (int32_t x = 0; x <= 9; ++x) ASSERT_EQ(got[3][y][x], 255);
}

TEST(ReadImageTest, DeepSamplesAreClampedScaledAndRoundedHalfToEven) {
  ScratchFolder dir;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // One row of grey samples: below 0, NaN, exactly half a level above 127, above 1.
  WriteFloatImage(dir / "f.exr", 5, 1, 1, {-0.25f, nan, 0.5f, 1.0f / 255.0f, 3.0f});
  RgbaPlanes got;
  ReadImage(dir / "f.exr", got);
  const uint8_t want[] = {0, 0, 128, 1, 255};
  for (int x = 0; x < 5; ++x) {
    EXPECT_EQ(got[0][0][x], want[x]) << x;
    EXPECT_EQ(got[2][0][x], want[x]) << x;  // grey feeds every colour channel
  }
  // 16-bit integers: 32767 is 127.498 levels, 32768 is 127.502.
  auto out = OIIO::ImageOutput::create(dir / "w.png");
  OIIO::ImageSpec layout(3, 1, 1, OIIO::TypeDesc::UINT16);
  ASSERT_TRUE(out->open(dir / "w.png", layout));
  const uint16_t wide[] = {32767, 32768, 65535};
  ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT16, wide));
  ASSERT_TRUE(out->close());
  ReadImage(dir / "w.png", got);
  EXPECT_EQ(got[1][0][0], 127);
  EXPECT_EQ(got[1][0][1], 128);
  EXPECT_EQ(got[1][0][2], 255);
}

TEST(ReadImageTest, PixelsOutsideTheDataWindowAreBlackAndTransparent) {
  ScratchFolder dir;
  // A 2x1 RGBA data window at (1, 1) of a 4x3 display window.
  WriteFloatImage(dir / "win.exr", 2, 1, 4, {1, 1, 1, 1, 0.5f, 0.5f, 0.5f, 1}, 1, 1, 4, 3);
  RgbaPlanes got;
  const ImageInfo info = ReadImage(dir / "win.exr", got);
  EXPECT_EQ(info.width, 4);
  EXPECT_EQ(info.height, 3);
  EXPECT_EQ(got[0][1][1], 255);
  EXPECT_EQ(got[0][1][2], 128);
  EXPECT_EQ(got[3][1][2], 255);
  EXPECT_EQ(got[0][0][0], 0);
  EXPECT_EQ(got[3][0][0], 0);
  EXPECT_EQ(got[3][2][3], 0);
}

TEST(ReadImageTest, GreyImagesAndLumaOfColourOnes) {
  ScratchFolder dir;
  Plane r(2, 1, 255), g(2, 1, 0), b(2, 1, 0);
  g[0][1] = 255;
  b[0][1] = 255;
  r[0][1] = 255;
  ImageFileWriter writer;
  writer.Write(dir / "c.png", r, g, b, nullptr);
  writer.Commit();
  const Plane grey = ReadGreyImage(dir / "c.png");
  EXPECT_EQ(grey[0][0], 76);  // 0.299 * 255 = 76.2
  EXPECT_EQ(grey[0][1], 255);
}

TEST(ReadImageTest, BadFilesGiveOneMessageNamingTheFile) {
  ScratchFolder dir;
  RgbaPlanes p = Frame(64, 64, 3);
  ImageFileWriter writer;
  writer.Write(dir / "good.png", p[0], p[1], p[2], nullptr);
  writer.Write(dir / "good.tif", p[0], p[1], p[2], nullptr);
  writer.Commit();
  // (A cut PNG is refused as well, but its reader leaks a message string when it gives up,
  // which the leak checker would report.)
  const auto size = fs::file_size(dir / "good.tif");
  fs::copy_file(dir / "good.tif", dir / "cut.tif");
  fs::resize_file(dir / "cut.tif", size / 2);
  std::ofstream(dir / "text.png") << "not a picture";

  RgbaPlanes got;
  for (const std::string name : {"cut.tif", "text.png", "missing.png"}) {
    const std::string message = ErrorOf([&] { ReadImage(dir / name, got); });
    EXPECT_THAT(message, HasSubstr(dir / name));
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
  const ImageInfo other{32, 64, 3, false, "png"};
  EXPECT_THAT(ErrorOf([&] { ReadImage(dir / "good.png", got, &other); }),
              HasSubstr("good.png: frame size 64x64 differs from the first frame's 32x64"));
}

TEST(ImageFileWriterTest, NothingIsLeftWhenNotCommitted) {
  ScratchFolder dir;
  RgbaPlanes p = Frame(8, 8, 2);
  {
    ImageFileWriter writer;
    writer.Write(dir / "a.png", p[0], p[1], p[2], nullptr);
    writer.Write(dir / "b.exr", p[0], p[1], p[2], &p[3]);
  }
  EXPECT_TRUE(fs::is_empty(dir.str()));
  ImageFileWriter writer;
  EXPECT_THROW(writer.Write(dir / "a.unknownext", p[0], p[1], p[2], nullptr), Error);
}

}  // namespace
}  // namespace tessfx
