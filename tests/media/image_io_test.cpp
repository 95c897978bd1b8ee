#include "media/image_io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>
#include <array>
#include <filesystem>
#include <fstream>
#include <limits>
#include <tuple>
#include <utility>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/bmp_samples.h"
#include "media/png_samples.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

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

using ::tessfx::testing::FileContents;

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
  for (auto [path, most, message] : {std::tuple{"f.###.png", 7, "more than 7 frames (numbers 3 to 10;"},
                                     {"g.####.png", 100, "no file matches"},
                                     {"missing.png", 100, "no such file"}})
    EXPECT_THAT([&] { ResolveImageFiles(dir / path, most); }, ThrowsMessage<Error>(HasSubstr(message)));
  // A file of exactly the name given is that file, whatever its name looks like.
  for (const char* literal : {"f.###.png", "50%d.png", "a#b#.png"}) {
    std::ofstream(dir / literal) << "x";
    const ImageFiles named = ResolveImageFiles(dir / literal, 100);
    EXPECT_EQ(named.files, std::vector<std::string>{dir / literal});
    EXPECT_FALSE(named.pattern);
  }
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
    const bool exr = name.ends_with(".exr");
    OIIO::ImageSpec layout(kW, kH, 4, exr ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    layout.tile_width = layout.tile_height = 16;
    layout.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf picture(OIIO::ImageSpec(kW, kH, 4, OIIO::TypeDesc::FLOAT));
    picture.set_pixels(picture.roi(), OIIO::TypeDesc::UINT8, pixels.data());
    if (exr) {
      // OpenEXR is linear light; alpha is a selection here, not a coverage.
      ASSERT_TRUE(OIIO::ImageBufAlgo::colorconvert(picture, picture, "sRGB", "linear", /*unpremult=*/false));
    }
    std::vector<float> samples(pixels.size());
    picture.get_pixels(picture.roi(), OIIO::TypeDesc::FLOAT, samples.data());
    WriteRaw(dir / name, layout, OIIO::TypeDesc::FLOAT, samples.data());
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
  WriteRaw(dir / "f.tif", OIIO::ImageSpec(5, 1, 1, OIIO::TypeDesc::FLOAT), OIIO::TypeDesc::FLOAT, floats);
  // 16-bit integers: 32767 is 127.498 levels, 32768 is 127.502.
  const uint16_t wide[] = {32767, 32768, 65535};
  WriteRaw(dir / "w.png", OIIO::ImageSpec(3, 1, 1, OIIO::TypeDesc::UINT16), OIIO::TypeDesc::UINT16, wide);
  for (auto [name, want] :
       {std::pair{"f.tif", std::vector<uint8_t>{0, 0, 128, 1, 255}}, {"w.png", {127, 128, 255}}}) {
    RgbaPlanes got;
    ReadImage(dir / name, got);
    EXPECT_EQ(std::vector(got[0][0], got[0][0] + want.size()), want) << name;
    EXPECT_EQ(std::vector(got[2][0], got[2][0] + want.size()), want) << name;  // grey feeds every channel
  }

  // Pixels outside a 2x1 RGBA data window at (1, 1) of a 4x3 display window are black and
  // transparent. (Linear 0.214041 is sRGB 0.5.)
  OIIO::ImageSpec layout(2, 1, 4, OIIO::TypeDesc::FLOAT);
  layout.x = layout.y = 1;
  layout.full_width = 4;
  layout.full_height = 3;
  const float data[] = {1, 1, 1, 1, 0.214041f, 0.214041f, 0.214041f, 1};
  WriteRaw(dir / "win.exr", layout, OIIO::TypeDesc::FLOAT, data);
  RgbaPlanes got;
  const ImageInfo info = ReadImage(dir / "win.exr", got);
  EXPECT_EQ(std::pair(info.width, info.height), std::pair(4, 3));
  EXPECT_EQ((std::array{got[0][1][1], got[0][1][2], got[3][1][2]}), (std::array<uint8_t, 3>{255, 128, 255}));
  EXPECT_EQ(got[0][0][0] | got[3][0][0] | got[3][2][3], 0);
}

// Frames are sRGB; OpenEXR holds linear light. Both ways the library's colour management
// converts, and a frame untouched since it was read is copied from its file at full depth.
TEST(ColourTest, LinearFilesAreConvertedBothWaysAndCopiesKeepTheirDepth) {
  ScratchFolder dir;
  Plane ramp(256, 1);
  for (int32_t x = 0; x < 256; ++x) ramp[0][x] = static_cast<uint8_t>(x);
  ReplicateEdges(ramp);
  ImageFileWriter writer;
  writer.Write(dir / "ramp.exr", ramp, ramp, ramp, nullptr);
  writer.Write(dir / "ramp.png", ramp, ramp, ramp, nullptr);
  writer.Commit();
  // What the library makes of the sRGB ramp as linear light, and what the file holds.
  OIIO::ImageBuf expected(dir / "ramp.png");
  ASSERT_TRUE(expected.read(0, 0, true, OIIO::TypeDesc::FLOAT));
  ASSERT_TRUE(OIIO::ImageBufAlgo::colorconvert(expected, expected, "sRGB", "linear"));
  OIIO::ImageBuf stored(dir / "ramp.exr");
  for (int x = 0; x < 256; ++x)
    EXPECT_NEAR(stored.getchannel(x, 0, 0, 1), expected.getchannel(x, 0, 0, 1), 1e-3 * expected.getchannel(x, 0, 0, 1))
        << x;
  EXPECT_NEAR(stored.getchannel(128, 0, 0, 0), 0.2158f, 1e-3);  // not 128 / 255
  RgbaPlanes back;
  ReadImage(dir / "ramp.exr", back);
  EXPECT_TRUE(back[1] == ramp);  // every byte survives the half-float file
  EXPECT_EQ(ReadGreyImage(dir / "ramp.exr")[0][128], 55);  // masks are data, taken as stored

  // Linear light with values beyond 1.0 and below 0.
  const float linear[] = {0.214041f, 2.5f, 0.0f, 1.0f, -0.5f, 16.0f};
  WriteRaw(dir / "hot.exr", OIIO::ImageSpec(2, 1, 3, OIIO::TypeDesc::FLOAT), OIIO::TypeDesc::FLOAT, linear);
  ReadImage(dir / "hot.exr", back);
  EXPECT_EQ((std::array{back[0][0][0], back[1][0][0], back[2][0][0], back[0][0][1], back[1][0][1], back[2][0][1]}),
            (std::array<uint8_t, 6>{128, 255, 0, 255, 0, 255}));
  ImageFileWriter copies(ImageWriteOptions{.sample_type = SampleType::Float});
  ASSERT_TRUE(copies.CopyFrom(dir / "hot-copy.exr", dir / "hot.exr", 2, 1, false));
  EXPECT_FALSE(copies.CopyFrom(dir / "resized.exr", dir / "hot.exr", 3, 1, false));  // changed since opening
  ImageFileWriter wide(ImageWriteOptions{.sample_type = SampleType::UInt16});
  ASSERT_TRUE(wide.CopyFrom(dir / "hot.png", dir / "hot.exr", 2, 1, false));
  copies.Commit();
  wide.Commit();
  OIIO::ImageBuf copy(dir / "hot-copy.exr");
  for (int i = 0; i < 6; ++i) EXPECT_EQ(copy.getchannel(i / 3, 0, 0, i % 3), linear[i]) << i;
  auto png = OIIO::ImageInput::open(dir / "hot.png");
  ASSERT_TRUE(png);
  EXPECT_EQ(ProbeImage(dir / "hot.png").bits, 16);
  uint16_t sixteen[6];
  ASSERT_TRUE(png->read_image(0, 0, 0, 3, OIIO::TypeDesc::UINT16, sixteen));
  EXPECT_NEAR(sixteen[0], 32768, 4);  // sRGB 0.5
  EXPECT_EQ((std::array{sixteen[1], sixteen[3], sixteen[5]}), (std::array<uint16_t, 3>{65535, 65535, 65535}));
}

TEST(StillImageTest, FormatsAreRecognisedByContentAndOnlyStillReadersAreUsed) {
  ScratchFolder dir;
  const RgbaPlanes want = Frame(9, 5, 4);
  ImageFileWriter writer;
  for (const char* name : {"p.png", "t.tga", "b.bmp"}) writer.Write(dir / name, want[0], want[1], want[2], nullptr);
  writer.Commit();
  fs::copy_file(dir / "p.png", dir / "png-named.tif");
  fs::copy_file(dir / "b.bmp", dir / "bmp-without-extension");
  fs::copy_file(dir / "t.tga", dir / "targa-named.png");
  // Run-length coded 8-bit BMP rows (4 pixels of colour 1, end of line; then end of picture):
  // a layout the library reads, so the check before it lets it through.
  samples::BmpSample rle;
  rle.width = 4;
  rle.height = 2;
  rle.bit_count = 8;
  rle.compression = 1;
  rle.palette = {0x000000, 0x336699};
  rle.pixels = {4, 1, 0, 0, 4, 1, 0, 1};
  samples::WriteFile(dir / "rle8.dib", samples::BuildBmp(rle));
  rle.bit_count = 24;  // the same data said to be 24 bits per pixel: once a crash in the library
  samples::WriteFile(dir / "rle8-24bit.png", samples::BuildBmp(rle));
  // Formats the library reads but that are no still pictures of ours, and a playlist.
  WriteRaw(dir / "s.sgi", OIIO::ImageSpec(2, 2, 3, OIIO::TypeDesc::UINT8), OIIO::TypeDesc::UINT8, want[0].data());
  WriteRaw(dir / "f.fits", OIIO::ImageSpec(2, 2, 1, OIIO::TypeDesc::UINT8), OIIO::TypeDesc::UINT8, want[0].data());
  std::ofstream(dir / "clip.mp4") << "#EXTM3U\n" << dir / "p.png" << "\n";
  // An OpenEXR header attribute declaring 2 GB in a file of a few hundred bytes.
  ImageFileWriter exr_writer;
  exr_writer.Write(dir / "e.exr", want[0], want[1], want[2], nullptr);
  exr_writer.Commit();
  std::string exr = FileContents(dir / "e.exr");
  const size_t type_end = exr.find('\0', exr.find('\0', 8) + 1);  // after the first name and type
  exr.replace(type_end + 1, 4, "\xff\xff\xff\x7f");
  std::ofstream(dir / "attribute.exr", std::ios::binary) << exr;

  for (const std::string name : {"png-named.tif", "bmp-without-extension", "t.tga"}) {
    RgbaPlanes got;
    ReadImage(dir / name, got);
    for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(got[c] == want[c]) << name << " channel " << c;
  }
  RgbaPlanes got;
  EXPECT_EQ(ReadImage(dir / "rle8.dib", got).format, "bmp");
  EXPECT_EQ((std::array{got[0][0][3], got[1][1][0], got[2][1][3]}), (std::array<uint8_t, 3>{0x33, 0x66, 0x99}));
  const std::pair<const char*, const char*> refused[] = {
      {"targa-named.png", "not a readable image (not PNG, JPEG"},  // Targa has no signature to go by
      {"rle8-24bit.png", "not a readable image (BMP compression 1 with 24 bits per pixel)"},
      {"attribute.exr", "not a readable image (OpenEXR attribute"},  // declaring 2147483647 bytes
      {"s.sgi", "not a readable image"},
      {"f.fits", "not a readable image"},
      {"clip.mp4", "not a readable image"},
  };
  for (const auto& [name, why] : refused) {
    EXPECT_THAT([&] { ReadImage(dir / name, got); },
                ThrowsMessage<Error>(AllOf(HasSubstr(dir / name + ": " + why), Not(HasSubstr("\n")))));
    EXPECT_FALSE(IsReadableImage(dir / name));
  }
  EXPECT_THAT(StillImageFormats(), ::testing::IsSupersetOf({"png", "jpeg", "tiff", "openexr", "bmp", "targa"}));
}

TEST(ReadImageScaledTest, StreamsToTheSamplesOfResamplingTheWholePicture) {
  ScratchFolder dir;
  for (auto [w, h, fw, fh] : {std::array{37, 23, 8, 6}, {8, 6, 37, 23}, {40, 24, 40, 24}, {1, 1, 5, 3},
                              {100, 3, 7, 50}, {3, 100, 50, 7}}) {
    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " to " + std::to_string(fw) + "x" + std::to_string(fh));
    const RgbaPlanes picture = Frame(w, h, static_cast<uint32_t>(w * h));
    ImageFileWriter writer;
    writer.Write(dir / "s.png", picture[0], picture[1], picture[2], nullptr);
    writer.Commit();
    RgbaPlanes whole;
    ReadImage(dir / "s.png", whole);
    Plane r, g, b;
    ReadImageScaled(dir / "s.png", fw, fh, r, g, b);
    const Plane* got[3] = {&r, &g, &b};
    for (size_t c = 0; c < 3; ++c) {
      Plane want(fw, fh);
      ResampleTsaPlane(whole[c], want, fw, fh);
      ReplicateEdges(want);
      EXPECT_TRUE(*got[c] == want) << "channel " << c;
    }
  }
  // A picture far larger than the frame is refused from its header; the same picture streams
  // through for a frame big enough for it.
  samples::WriteBlackPng(dir / "large.png", 5000, 4000);
  Plane r, g, b;
  EXPECT_THAT([&] { ReadImageScaled(dir / "large.png", 8, 6, r, g, b); },
              ThrowsMessage<Error>(HasSubstr("image size 5000x4000 is too large for a second image of a 8x6 frame")));
  EXPECT_TRUE(r.empty());
  ReadImageScaled(dir / "large.png", 1920, 1080, r, g, b);
  EXPECT_TRUE(r == Plane(1920, 1080, 0) && b == Plane(1920, 1080, 0));
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
  writer.Write(dir / "good.dpx", p[0], p[1], p[2], nullptr);
  writer.Commit();
  // A DPX header declaring about 4 GB of user data: the library would allocate it all.
  fs::copy_file(dir / "good.dpx", dir / "user.dpx");
  {
    std::fstream f(dir / "user.dpx", std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(32);
    f.write("\xff\x00\xff\xff", 4);
  }
  EXPECT_THAT([&] { ReadImage(dir / "user.dpx", p); },
              ThrowsMessage<Error>(HasSubstr("bytes of user data, more than the file holds")));
  // Width and height of 2^32 - 1 each: their product overflows a 64-bit count.
  fs::copy_file(dir / "good.dpx", dir / "huge.dpx");
  {
    std::fstream f(dir / "huge.dpx", std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(772);
    f.write("\xff\xff\xff\xff\xff\xff\xff\xff", 8);
  }
  EXPECT_THAT([&] { ReadImage(dir / "huge.dpx", p); }, ThrowsMessage<Error>(HasSubstr("beyond the size allowed")));
  EXPECT_NO_THROW(ReadImage(dir / "good.dpx", p));
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
