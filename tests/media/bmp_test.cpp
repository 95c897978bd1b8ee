#include "media/bmp.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "media/bmp_samples.h"

namespace tessfx {
namespace {

using samples::BmpSample;
using samples::BuildBmp;

struct RecordingCaption final : CaptionSink {
  void SetCaption(const std::string& c) override { captions.push_back(c); }
  std::vector<std::string> captions;
};

class BmpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* base = std::getenv("TESSFX_TEMP_DIR");
    dir_ = std::filesystem::path(base && *base ? base : ::testing::TempDir()) /
           ("bmp-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" +
            std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = (dir_ / name).string();
    samples::WriteFile(path, bytes);
    return path;
  }
  std::string Write(const std::string& name, const BmpSample& s) { return Write(name, BuildBmp(s)); }

  // Loads into planes of the given frame size, filled with 77 beforehand.
  int Load(const std::string& path, int32_t fw, int32_t fh) {
    for (auto* p : {&r, &g, &b, &a}) *p = Plane(fw, fh, 77);
    return reader.LoadBmpToPlanes(path, r, g, b, a, caption);
  }

  std::filesystem::path dir_;
  BmpReader reader;
  RecordingCaption caption;
  Plane r, g, b, a;
};

TEST(BmpRowSize, PadsRowsToWholeWords) {
  EXPECT_EQ(BmpRowSize(1, 24), 4);
  EXPECT_EQ(BmpRowSize(3, 24), 12);
  EXPECT_EQ(BmpRowSize(4, 24), 12);
  EXPECT_EQ(BmpRowSize(5, 24), 16);
  EXPECT_EQ(BmpRowSize(1, 8), 4);
  EXPECT_EQ(BmpRowSize(5, 8), 8);
  EXPECT_EQ(BmpRowSize(3, 32), 12);
  EXPECT_EQ(BmpRowSize(3, 16), 0);  // not decoded
}

TEST_F(BmpTest, TwentyFourBitCopiesAtFrameSizeSkippingPadding) {
  const BmpSample s = samples::Gradient24(5, 3);  // 15 bytes of pixels, 16 per row
  ASSERT_EQ(Load(Write("g.bmp", s), 5, 3), kBmpLoaded);
  EXPECT_TRUE(caption.captions.empty());
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 5; ++x) {
      EXPECT_EQ(r[y][x], 10 * x + y);
      EXPECT_EQ(g[y][x], 100 + y);
      EXPECT_EQ(b[y][x], 200 - x);
      EXPECT_EQ(a[y][x], 0);
    }
  // Only the frame is written: the extra row and column keep what they held.
  EXPECT_EQ(r[0][5], 77);
  EXPECT_EQ(g[3][0], 77);
  EXPECT_EQ(a[3][5], 77);
}

TEST_F(BmpTest, TopDownRowsAreReadTopDown) {
  BmpSample s = samples::Gradient24(2, 3);
  // Reverse the stored rows and flag the order with a negative height.
  const size_t row = 8;
  std::vector<uint8_t> flipped;
  for (int i = 2; i >= 0; --i) flipped.insert(flipped.end(), s.pixels.begin() + i * row, s.pixels.begin() + (i + 1) * row);
  s.pixels = flipped;
  s.height = -3;
  ASSERT_EQ(Load(Write("t.bmp", s), 2, 3), kBmpLoaded);
  EXPECT_TRUE(reader.top_down());
  for (int32_t y = 0; y < 3; ++y) EXPECT_EQ(g[y][1], 100 + y);
}

TEST_F(BmpTest, ThirtyTwoBitChannelOrder) {
  const std::vector<uint8_t> pixel = {10, 20, 30, 40};
  BmpSample plain;  // no masks: B, G, R, A
  plain.bit_count = 32;
  plain.pixels = pixel;
  ASSERT_EQ(Load(Write("plain.bmp", plain), 1, 1), kBmpLoaded);
  EXPECT_FALSE(reader.has_masks());
  EXPECT_EQ((std::array{r[0][0], g[0][0], b[0][0], a[0][0]}), (std::array<uint8_t, 4>{30, 20, 10, 40}));

  BmpSample usual = plain;  // masks for B, G, R, A bytes, bit fields
  usual.header_size = 108;
  usual.compression = 3;
  ASSERT_EQ(Load(Write("usual.bmp", usual), 1, 1), kBmpLoaded);
  ASSERT_TRUE(reader.has_masks());
  // Read one byte early, each word is the mask shifted left by 8 plus the byte before it.
  EXPECT_EQ(reader.extended_header().red_mask, 0xFF000000u);
  EXPECT_EQ(reader.extended_header().green_mask, 0x00FF0000u);
  EXPECT_EQ(reader.extended_header().blue_mask, 0x0000FF00u);
  EXPECT_EQ(reader.extended_header().alpha_mask, 0u);
  EXPECT_EQ((std::array{r[0][0], g[0][0], b[0][0], a[0][0]}), (std::array<uint8_t, 4>{30, 20, 10, 40}));

  BmpSample rgba = usual;  // R, G, B, A bytes
  rgba.masks[0] = 0x000000FF;
  rgba.masks[1] = 0x0000FF00;
  rgba.masks[2] = 0x00FF0000;
  rgba.masks[3] = 0xFF000000;
  ASSERT_EQ(Load(Write("rgba.bmp", rgba), 1, 1), kBmpLoaded);
  EXPECT_EQ((std::array{r[0][0], g[0][0], b[0][0], a[0][0]}), (std::array<uint8_t, 4>{10, 20, 30, 40}));
}

TEST_F(BmpTest, EightBitLooksUpThePalette) {
  BmpSample s;
  s.width = 3;
  s.bit_count = 8;
  s.palette = {0x102030, 0xA0B0C0};
  s.pixels = {1, 0, 9, 0xEE};  // index 9 lies past the two-entry table
  ASSERT_EQ(Load(Write("p.bmp", s), 3, 1), kBmpLoaded);
  EXPECT_EQ((std::array{r[0][0], g[0][0], b[0][0]}), (std::array<uint8_t, 3>{0xA0, 0xB0, 0xC0}));
  EXPECT_EQ((std::array{r[0][1], g[0][1], b[0][1]}), (std::array<uint8_t, 3>{0x10, 0x20, 0x30}));
  EXPECT_EQ((std::array{r[0][2], g[0][2], b[0][2]}), (std::array<uint8_t, 3>{0, 0, 0}));
  EXPECT_EQ(a[0][0], 0);

  // Without a colour count there is nothing to look up: black and transparent.
  s.colours_used = 0;
  ASSERT_EQ(Load(Write("nocount.bmp", s), 3, 1), kBmpLoaded);
  for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(r[0][x] | g[0][x] | b[0][x] | a[0][x], 0);
}

TEST_F(BmpTest, RefusalsShowTheirCaptionAndLeavePlanesAlone) {
  struct Case {
    std::string name;
    int status;
  };
  BmpSample four;
  four.bit_count = 4;
  four.pixels = {0, 0, 0, 0};
  BmpSample rle;
  rle.bit_count = 8;
  rle.compression = 1;
  rle.palette = {0};
  rle.pixels = {0, 0, 0, 0};
  BmpSample one = four;
  one.bit_count = 1;
  std::vector<uint8_t> wrong_magic = BuildBmp(samples::Gradient24(1, 1));
  wrong_magic[1] = 'A';
  const std::vector<Case> cases = {
      {"", kBmpNotUsable},
      {(dir_ / "missing.bmp").string(), kBmpNotUsable},
      {Write("magic.bmp", wrong_magic), kBmpNotUsable},
      {Write("short.bmp", std::vector<uint8_t>{'B', 'M', 0, 0}), kBmpNotUsable},
      {Write("four.bmp", four), kBmpBitCountTooLow},
      {Write("one.bmp", one), kBmpBitCountTooLow},
      {Write("rle.bmp", rle), kBmpUnsupportedCompression},
  };
  const std::map<int, std::string> messages = {
      {kBmpNotUsable, "Not a BMP"},
      {kBmpBitCountTooLow, "Currently loads only 8, 24, and 32 bit files"},
      {kBmpUnsupportedCompression, "Compression not currently supported."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    caption.captions.clear();
    EXPECT_EQ(Load(c.name, 2, 2), c.status);
    ASSERT_EQ(caption.captions.size(), 1u);
    EXPECT_EQ(caption.captions[0], messages.at(c.status));
    for (auto* p : {&r, &g, &b, &a}) EXPECT_TRUE(*p == Plane(2, 2, 77));
  }
}

TEST_F(BmpTest, SixteenBitPassesButDecodesToZero) {
  BmpSample s;
  s.width = 2;
  s.bit_count = 16;
  s.pixels = {0xFF, 0xFF, 0xFF, 0xFF};
  ASSERT_EQ(Load(Write("16.bmp", s), 2, 1), kBmpLoaded);
  EXPECT_EQ(reader.rows_read(), 0);
  for (int32_t x = 0; x < 2; ++x) EXPECT_EQ(r[0][x] | g[0][x] | b[0][x] | a[0][x], 0);
}

TEST_F(BmpTest, DamagedSizesAreRefusedOrReadAsZero) {
  // A row longer than 32767 bytes (24-bit width 10922, 32768 bytes) was never loadable.
  BmpSample wide = samples::Gradient24(1, 1);
  wide.width = 10922;
  wide.pixels.assign(32768, 0);
  EXPECT_EQ(reader.ReadBmpHeader(Write("wide.bmp", wide)), kBmpNotUsable);
  wide.width = 10921;  // 32764 bytes a row still loads
  EXPECT_EQ(reader.ReadBmpHeader(Write("wide.bmp", wide)), kBmpLoaded);

  // Sizes the file cannot hold are refused before anything is allocated.
  for (auto [w, h] : {std::pair{30000, 30000}, {-5, 1}, {0, 1}, {1, 0}, {1, INT32_MIN}, {40000, 1}}) {
    BmpSample s = samples::Gradient24(1, 1);
    s.width = w;
    s.height = h;
    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
    EXPECT_EQ(reader.ReadBmpHeader(Write("size.bmp", s)), kBmpNotUsable);
  }
  BmpSample table = samples::Gradient24(1, 1);
  table.colours_used = 0x40000000;
  EXPECT_EQ(reader.ReadBmpHeader(Write("table.bmp", table)), kBmpNotUsable);

  // Pixel data past the end of the file, or cut short, reads as zero rows.
  BmpSample far = samples::Gradient24(2, 2);
  far.pixel_offset = 0xFFFFFFF0;
  ASSERT_EQ(Load(Write("far.bmp", far), 2, 2), kBmpLoaded);
  EXPECT_EQ(r[0][1] | r[1][1] | g[0][0] | b[1][0], 0);
  BmpSample cut = samples::Gradient24(2, 2);
  std::vector<uint8_t> bytes = BuildBmp(cut);
  bytes.resize(bytes.size() - 8);  // the top row is missing
  ASSERT_EQ(Load(Write("cut.bmp", bytes), 2, 2), kBmpLoaded);
  EXPECT_EQ(g[1][0], 101);
  EXPECT_EQ(g[0][0], 0);
}

TEST_F(BmpTest, ResamplesBilinearlyWithFadingEdges) {
  BmpSample s;
  s.width = 2;
  s.height = 2;
  s.bit_count = 32;
  // Bottom row first: (0,1)=40 (1,1)=80, then (0,0)=20 (1,0)=61 in every channel.
  s.pixels = {40, 40, 40, 40, 80, 80, 80, 80, 20, 20, 20, 20, 61, 61, 61, 61};
  ASSERT_EQ(Load(Write("q.bmp", s), 4, 4), kBmpLoaded);
  for (const Plane* p : {&r, &g, &b, &a}) {
    const Plane& q = *p;
    EXPECT_EQ(q[0][0], 20);                // the picture's own pixel
    EXPECT_EQ(q[0][1], 40);                // (20 + 61) / 2 = 40.5, half to even
    EXPECT_EQ(q[1][1], 50);                // (20 + 61 + 40 + 80) / 4 = 50.25
    EXPECT_EQ(q[2][2], 80);
    EXPECT_EQ(q[3][3], 20);                // 80 / 4: right and below come from the zero border
    EXPECT_EQ(q[0][4], 77);                // the extra column is not written
  }
  // Down-scaling picks the samples sx, sy apart.
  ASSERT_EQ(Load(Write("q.bmp", s), 1, 1), kBmpLoaded);
  EXPECT_EQ(r[0][0], 20);
}

// ---- files written by ImageMagick decode to the pixels ImageMagick reads from them ----

bool HaveImageMagick() {
  FILE* p = ::popen("convert -version 2>/dev/null", "r");
  if (!p) return false;
  char buf[256] = {};
  const size_t n = std::fread(buf, 1, sizeof buf - 1, p);
  ::pclose(p);
  return std::string(buf, n).find("ImageMagick") != std::string::npos;
}

std::vector<uint8_t> RunCommand(const std::string& command) {
  std::vector<uint8_t> out;
  FILE* p = ::popen(command.c_str(), "r");
  if (!p) return out;
  uint8_t buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.insert(out.end(), buf, buf + n);
  EXPECT_EQ(::pclose(p), 0) << command;
  return out;
}

class ImageMagickBmpTest : public BmpTest {
 protected:
  static constexpr int32_t kW = 13, kH = 7;  // odd width: rows carry padding

  void SetUp() override {
    if (!HaveImageMagick()) GTEST_SKIP() << "ImageMagick's convert is not installed";
    BmpTest::SetUp();
  }

  // A PAM source of 91 distinct colours (enough for an 8-bit palette), alpha varying.
  std::string Source(bool with_alpha) {
    std::string pam = "P7\nWIDTH " + std::to_string(kW) + "\nHEIGHT " + std::to_string(kH) + "\nDEPTH " +
                      (with_alpha ? "4" : "3") + "\nMAXVAL 255\nTUPLTYPE " + (with_alpha ? "RGB_ALPHA" : "RGB") +
                      "\nENDHDR\n";
    for (int32_t y = 0; y < kH; ++y)
      for (int32_t x = 0; x < kW; ++x) {
        pam += static_cast<char>(19 * x + 3);
        pam += static_cast<char>(36 * y + 1);
        pam += static_cast<char>((x * 7 + y * 11) * 3 % 256);
        if (with_alpha) pam += static_cast<char>(255 - 9 * (x + y));
      }
    return Write(with_alpha ? "src-a.pam" : "src.pam", std::vector<uint8_t>(pam.begin(), pam.end()));
  }

  // Converts with `options`, checks the bit depth written, and compares every pixel.
  void Check(bool with_alpha, const std::string& options, const std::string& format, int bits, bool compare_alpha) {
    const std::string bmp = (dir_ / ("im" + std::to_string(bits) + ".bmp")).string();
    RunCommand("convert '" + Source(with_alpha) + "' " + options + " " + format + ":'" + bmp + "'");
    ASSERT_EQ(Load(bmp, kW, kH), kBmpLoaded);
    ASSERT_EQ(reader.info_header().bit_count, bits);
    const std::vector<uint8_t> rgba = RunCommand("convert '" + bmp + "' -depth 8 rgba:-");
    ASSERT_EQ(rgba.size(), static_cast<size_t>(kW * kH * 4));
    for (int32_t y = 0; y < kH; ++y)
      for (int32_t x = 0; x < kW; ++x) {
        const uint8_t* px = &rgba[static_cast<size_t>(y * kW + x) * 4];
        SCOPED_TRACE(std::to_string(x) + "," + std::to_string(y));
        ASSERT_EQ(r[y][x], px[0]);
        ASSERT_EQ(g[y][x], px[1]);
        ASSERT_EQ(b[y][x], px[2]);
        ASSERT_EQ(a[y][x], compare_alpha ? px[3] : 0);
      }
  }
};

TEST_F(ImageMagickBmpTest, EightBitPalette) {
  Check(false, "-type palette -compress none", "BMP3", 8, false);
  EXPECT_GT(reader.info_header().colours_used, 16u);
}

TEST_F(ImageMagickBmpTest, TwentyFourBit) {
  Check(false, "-type truecolor", "BMP", 24, false);
  EXPECT_GE(reader.info_header().header_size, 60u);  // the masked header layout, masks unused
}

TEST_F(ImageMagickBmpTest, ThirtyTwoBitWithAlpha) {
  Check(true, "", "BMP", 32, true);
  EXPECT_TRUE(reader.has_masks());
}

}  // namespace
}  // namespace tessfx
