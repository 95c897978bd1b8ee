#include "media/bmp.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

#include "host/scratch_folder.h"
#include "media/bmp_samples.h"

namespace tessfx {
namespace {

using samples::BmpSample;
using samples::BuildBmp;
using Px = std::array<uint8_t, 4>;

struct RecordingCaption final : CaptionSink {
  void SetCaption(const std::string& c) override { captions.push_back(c); }
  std::vector<std::string> captions;
};

class BmpTest : public ::testing::Test {
 protected:
  std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) {
    samples::WriteFile(dir_ / name, bytes);
    return dir_ / name;
  }
  std::string Write(const std::string& name, const BmpSample& s) { return Write(name, BuildBmp(s)); }

  // Loads into planes of the given frame size, filled with 77 beforehand.
  int Load(const std::string& path, int32_t fw, int32_t fh) {
    for (auto* p : {&r, &g, &b, &a}) *p = Plane(fw, fh, 77);
    return reader.LoadBmpToPlanes(path, r, g, b, a, caption);
  }
  Px At(int32_t x, int32_t y) { return {r[y][x], g[y][x], b[y][x], a[y][x]}; }

  testing::ScratchFolder dir_;
  BmpReader reader;
  RecordingCaption caption;
  Plane r, g, b, a;
};

TEST(BmpRowSize, PadsRowsToWholeWords) {
  for (auto [width, bits, bytes] : {std::tuple{1, 24, 4}, {3, 24, 12}, {4, 24, 12}, {5, 24, 16}, {1, 8, 4},
                                    {5, 8, 8}, {3, 32, 12}, {3, 16, 0}})  // 16 bits are not decoded
    EXPECT_EQ(BmpRowSize(width, bits), bytes) << width << " pixels of " << bits << " bits";
}

TEST_F(BmpTest, TwentyFourBitCopiesAtFrameSizeInEitherRowOrder) {
  ASSERT_EQ(Load(Write("g.bmp", samples::Gradient24(5, 3)), 5, 3), kBmpLoaded);  // rows padded to 16
  EXPECT_TRUE(caption.captions.empty());
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 5; ++x)
      ASSERT_EQ(At(x, y), (Px{uint8_t(10 * x + y), uint8_t(100 + y), uint8_t(200 - x), 0})) << x << "," << y;
  // Only the frame is written: the extra row and column keep what they held.
  EXPECT_EQ((std::array{r[0][5], g[3][0], a[3][5]}), (std::array<uint8_t, 3>{77, 77, 77}));

  // A negative height stores the top row first.
  const BmpSample top_first{.height = -2, .pixels = {1, 2, 3, 0, 4, 5, 6, 0}};
  ASSERT_EQ(Load(Write("t.bmp", top_first), 1, 2), kBmpLoaded);
  EXPECT_EQ((std::array{At(0, 0), At(0, 1)}), (std::array{Px{3, 2, 1, 0}, Px{6, 5, 4, 0}}));
}

TEST_F(BmpTest, ThirtyTwoBitChannelOrderFollowsTheMasks) {
  const BmpSample plain{.bit_count = 32, .pixels = {10, 20, 30, 40}};  // no masks: B, G, R, A
  // Bit fields naming B, G, R, A bytes.
  const BmpSample usual{.bit_count = 32, .compression = 3, .header_size = 108, .pixels = {10, 20, 30, 40}};
  BmpSample rgba = usual;  // R, G, B, A bytes
  std::swap(rgba.masks[0], rgba.masks[2]);
  for (auto [name, s, masked, want] : {std::tuple{"plain", plain, false, Px{30, 20, 10, 40}},
                                       {"usual", usual, true, Px{30, 20, 10, 40}},
                                       {"rgba", rgba, true, Px{10, 20, 30, 40}}}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(Load(Write(std::string(name) + ".bmp", s), 1, 1), kBmpLoaded);
    EXPECT_EQ(reader.has_masks(), masked);
    EXPECT_EQ(At(0, 0), want);
  }
}

TEST_F(BmpTest, ThirtyTwoBitFilesWrittenHereReadBackWithTheirAlpha) {
  // Odd sizes: no row padding hides a wrong row length at 32 bits, the bottom-up order does.
  for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{3, 8}}) {
    Plane pr(w, h), pg(w, h), pb(w, h), pa(w, h);
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        pr[y][x] = static_cast<uint8_t>(10 * x + y);
        pg[y][x] = static_cast<uint8_t>(100 + y);
        pb[y][x] = static_cast<uint8_t>(200 - x);
        pa[y][x] = static_cast<uint8_t>(x * y * 9);
      }
    WriteBmp32(dir_ / "w.bmp", pr, pg, pb, pa);
    ASSERT_EQ(Load(dir_ / "w.bmp", w, h), kBmpLoaded);
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) ASSERT_EQ(At(x, y), (Px{pr[y][x], pg[y][x], pb[y][x], pa[y][x]})) << x << "," << y;
  }
}

TEST_F(BmpTest, EightBitLooksUpThePaletteByItsColourCount) {
  // Index 9 lies past the two-entry table.
  BmpSample s{.width = 3, .bit_count = 8, .palette = {0x102030, 0xA0B0C0}, .pixels = {1, 0, 9, 0xEE}};
  ASSERT_EQ(Load(Write("p.bmp", s), 3, 1), kBmpLoaded);
  EXPECT_EQ((std::array{At(0, 0), At(1, 0), At(2, 0)}),
            (std::array{Px{0xA0, 0xB0, 0xC0, 0}, Px{0x10, 0x20, 0x30, 0}, Px{0, 0, 0, 0}}));

  // Without a colour count there is nothing to look up; 16-bit pixels are accepted but not
  // decoded. Both give black, transparent pixels.
  s.colours_used = 0;
  const BmpSample sixteen{.width = 3, .bit_count = 16, .pixels = std::vector<uint8_t>(8, 0xFF)};
  for (const BmpSample& zero : {s, sixteen}) {
    ASSERT_EQ(Load(Write("zero.bmp", zero), 3, 1), kBmpLoaded);
    for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(At(x, 0), (Px{0, 0, 0, 0})) << zero.bit_count << " bits";
  }
}

TEST_F(BmpTest, RefusalsShowTheirCaptionAndLeavePlanesAlone) {
  const BmpSample four{.bit_count = 4, .pixels = {0, 0, 0, 0}};
  const BmpSample rle{.bit_count = 8, .compression = 1, .palette = {0}, .pixels = {0, 0, 0, 0}};
  std::vector<uint8_t> wrong_magic = BuildBmp(samples::Gradient24(1, 1));
  wrong_magic[1] = 'A';
  const std::map<int, std::string> messages = {
      {kBmpNotUsable, "Not a BMP"},
      {kBmpBitCountTooLow, "Currently loads only 8, 24, and 32 bit files"},
      {kBmpUnsupportedCompression, "Compression not currently supported."},
  };
  for (auto [path, status] : {std::pair{dir_ / "missing.bmp", kBmpNotUsable},
                              {Write("magic.bmp", wrong_magic), kBmpNotUsable},
                              {Write("short.bmp", std::vector<uint8_t>{'B', 'M', 0, 0}), kBmpNotUsable},
                              {Write("four.bmp", four), kBmpBitCountTooLow},
                              {Write("rle.bmp", rle), kBmpUnsupportedCompression}}) {
    SCOPED_TRACE(path);
    caption.captions.clear();
    EXPECT_EQ(Load(path, 2, 2), status);
    EXPECT_EQ(caption.captions, std::vector<std::string>{messages.at(status)});
    for (auto* p : {&r, &g, &b, &a}) EXPECT_TRUE(*p == Plane(2, 2, 77));
  }
}

TEST_F(BmpTest, DamagedSizesAreRefusedOrReadAsZero) {
  // A row longer than 32767 bytes (24-bit width 10922, 32768 bytes) was never loadable;
  // 10921 (32764 bytes) still is. Sizes the file cannot hold are refused before allocating.
  const auto header_status = [&](int32_t w, int32_t h, std::optional<uint32_t> colours = {}) {
    const BmpSample s{
        .width = w, .height = h, .colours_used = colours, .pixels = std::vector<uint8_t>(32768, 0)};
    return reader.ReadBmpHeader(Write("size.bmp", s));
  };
  EXPECT_EQ(header_status(10921, 1), kBmpLoaded);
  for (auto [w, h] :
       {std::pair{10922, 1}, {30000, 30000}, {40000, 1}, {-5, 1}, {0, 1}, {1, 0}, {1, INT32_MIN}})
    EXPECT_EQ(header_status(w, h), kBmpNotUsable) << w << "x" << h;
  EXPECT_EQ(header_status(1, 1, 0x40000000), kBmpNotUsable);  // colour table larger than any file

  // Pixel data cut short reads as zero rows.
  std::vector<uint8_t> cut = BuildBmp(samples::Gradient24(2, 2));
  cut.erase(cut.end() - 8, cut.end());  // the top row is missing
  ASSERT_EQ(Load(Write("cut.bmp", cut), 2, 2), kBmpLoaded);
  EXPECT_EQ((std::array{g[1][0], g[0][0]}), (std::array<uint8_t, 2>{101, 0}));
}

TEST_F(BmpTest, ResamplesBilinearlyWithFadingEdges) {
  // Bottom row first: (0,1)=40 (1,1)=80, then (0,0)=20 (1,0)=61 in every channel.
  const BmpSample s{.width = 2, .height = 2, .bit_count = 32,
                    .pixels = {40, 40, 40, 40, 80, 80, 80, 80, 20, 20, 20, 20, 61, 61, 61, 61}};
  ASSERT_EQ(Load(Write("q.bmp", s), 4, 4), kBmpLoaded);
  for (const Plane* p : {&r, &g, &b, &a}) {
    const Plane& q = *p;
    EXPECT_EQ(q[0][0], 20);  // the picture's own pixel
    EXPECT_EQ(q[0][1], 40);  // (20 + 61) / 2 = 40.5, half to even
    EXPECT_EQ(q[1][1], 50);  // (20 + 61 + 40 + 80) / 4 = 50.25
    EXPECT_EQ(q[2][2], 80);
    EXPECT_EQ(q[3][3], 20);  // 80 / 4: right and below come from the zero border
    EXPECT_EQ(q[0][4], 77);  // the extra column is not written
  }
}

// ---- files written by ImageMagick decode to the pixels ImageMagick reads from them ----

class ImageMagickBmpTest : public BmpTest {
 protected:
  static constexpr int32_t kW = 13, kH = 7;  // odd width: rows carry padding

  void SetUp() override {
    if (std::system("convert -version 2>/dev/null | grep -q ImageMagick") != 0)
      GTEST_SKIP() << "ImageMagick's convert is not installed";
  }

  // Converts a PAM of 91 distinct colours (enough for an 8-bit palette, alpha varying) with
  // `options`, checks the bit depth written, and compares every pixel.
  void Check(bool with_alpha, const std::string& options, int bits) {
    std::string pam = "P7\nWIDTH " + std::to_string(kW) + "\nHEIGHT " + std::to_string(kH) + "\nMAXVAL 255\n";
    pam += std::string(with_alpha ? "DEPTH 4\nTUPLTYPE RGB_ALPHA" : "DEPTH 3\nTUPLTYPE RGB") + "\nENDHDR\n";
    for (int32_t y = 0; y < kH; ++y)
      for (int32_t x = 0; x < kW; ++x) {
        pam += {static_cast<char>(19 * x + 3), static_cast<char>(36 * y + 1),
                static_cast<char>((x * 7 + y * 11) * 3)};
        if (with_alpha) pam += static_cast<char>(255 - 9 * (x + y));
      }
    const std::string src = Write("src.pam", std::vector<uint8_t>(pam.begin(), pam.end()));
    const std::string bmp = dir_ / "im.bmp", raw = dir_ / "im.rgba";
    ASSERT_EQ(std::system(("convert '" + src + "' " + options + ":'" + bmp + "'").c_str()), 0);
    ASSERT_EQ(Load(bmp, kW, kH), kBmpLoaded);
    ASSERT_EQ(reader.info_header().bit_count, bits);
    ASSERT_EQ(std::system(("convert '" + bmp + "' -depth 8 rgba:'" + raw + "'").c_str()), 0);
    std::ifstream in(raw, std::ios::binary);
    const std::vector<uint8_t> rgba{std::istreambuf_iterator<char>(in), {}};
    ASSERT_EQ(rgba.size(), static_cast<size_t>(kW * kH * 4));
    for (int32_t y = 0; y < kH; ++y)
      for (int32_t x = 0; x < kW; ++x) {
        const uint8_t* px = &rgba[static_cast<size_t>(y * kW + x) * 4];
        ASSERT_EQ(At(x, y), (Px{px[0], px[1], px[2], with_alpha ? px[3] : uint8_t{0}})) << x << "," << y;
      }
  }
};

TEST_F(ImageMagickBmpTest, EachDepthDecodesToThePixelsImageMagickReads) {
  Check(false, "-type palette -compress none BMP3", 8);
  EXPECT_GT(reader.info_header().colours_used, 16u);
  Check(false, "-type truecolor BMP", 24);
  EXPECT_GE(reader.info_header().header_size, 60u);  // the masked header layout, masks unused
  Check(true, "BMP", 32);
  EXPECT_TRUE(reader.has_masks());
}

}  // namespace
}  // namespace tessfx
