// Animation files: layout, round trips, the external swap source and bad files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/bmp_samples.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::vector<uint8_t> Bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Plane whose every sample (extra row and column included) encodes frame, channel and position.
Plane Marked(int32_t w, int32_t h, int frame, int channel) {
  Plane p(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) p[y][x] = static_cast<uint8_t>(frame * 64 + channel * 16 + y * 5 + x);
  return p;
}

class TsaFile : public ::testing::Test {
 protected:
  std::string WriteMarked(int32_t w, int32_t h, int32_t frames) {
    const std::string path = dir_ / ("marked" + std::to_string(w) + "x" + std::to_string(h) + ".tsa");
    TsaWriter writer(path, w, h, frames);
    for (int f = 0; f < frames; ++f)
      for (int c = 0; c < 3; ++c) writer.WritePlane(f, static_cast<Channel>(c), Marked(w, h, f, c));
    writer.Commit();
    return path;
  }
  testing::ScratchFolder dir_;
  std::vector<std::string> messages;
  ExternalAnimation::MessageBox box = [this](const std::string& m) { messages.push_back(m); };
};

TEST_F(TsaFile, PlanesOfAllFramesAreGroupedByChannelAndWrittenWhole) {
  const std::string path = WriteMarked(4, 3, 2);
  const auto bytes = Bytes(path);
  ASSERT_EQ(bytes.size(), 20u + 6u * 20u);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 20),
            (std::vector<uint8_t>{'T', 'S', 'A', '1', 0, 0, 0, 0, 4, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0}));
  // P = 20: frame 1's green plane starts at 80, its blue plane at 120.
  EXPECT_EQ(bytes[80], Marked(4, 3, 1, 1)[0][0]);
  EXPECT_EQ(bytes[120], Marked(4, 3, 1, 2)[0][0]);
  EXPECT_EQ(bytes[120 + 19], Marked(4, 3, 1, 2)[3][4]);  // the extra row and column are stored

  TsaReader r(path);
  Plane p;
  r.ReadPlane(1, Channel::G, p);
  EXPECT_TRUE(p == Marked(4, 3, 1, 1));
  EXPECT_THROW(r.ReadPlane(2, Channel::R, p), Error);

  // A write that fails part-way (no Commit) leaves the previous file and no temporary one.
  TsaWriter(path, 2, 2, 1).WritePlane(0, Channel::R, Plane(2, 2));
  EXPECT_EQ(Bytes(path), bytes);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.str()), {}), 1);
}

TEST_F(TsaFile, BadFilesAreRefusedWithTheirReason) {
  auto header = [](int32_t w, int32_t h, int32_t n, size_t extra = 0) {
    std::vector<uint8_t> b = {'T', 'S', 'A', '1'};
    b.resize(20 + extra);
    const std::array fields = {w, h, n};
    for (size_t i = 0; i < 3; ++i) samples::Put32(b, 8 + 4 * i, static_cast<uint32_t>(fields[i]));
    return b;
  };
  const std::pair<std::vector<uint8_t>, std::string> cases[] = {
      {{'P', 'K', 3, 4, 0, 0, 0, 0}, "not a Tessaline animation"},
      {header(0, 10, 1), "image size 0x10 is outside 1..32767 per side"},
      {header(10, 10, -3), "frame count"},
      {header(32767, 32767, 10000), "more than the 268435456 allowed"},
      {header(INT32_MAX, INT32_MAX, INT32_MAX), "outside 1..32767 per side"},
      {header(4, 3, 2, 100), "truncated"},
      {{'T', 'S', 'A', '1', 0, 0}, "truncated"},
  };
  for (const auto& [bytes, fragment] : cases) {
    samples::WriteFile(dir_ / "bad.tsa", bytes);
    EXPECT_THAT([&] { TsaReader r(dir_ / "bad.tsa"); }, ThrowsMessage<Error>(HasSubstr(fragment)));
  }
}

TEST_F(TsaFile, SwapSourceCopiesOrResamplesOnlyFramesItHasAndClosesOnABadFile) {
  ExternalAnimation anim;
  ASSERT_EQ(anim.OpenAnimationFile(WriteMarked(6, 4, 2), box), 0);
  Plane r(6, 4, 9), g(6, 4, 9), b(6, 4, 9);
  anim.LoadAnimationFrame(0, 6, 4, r, g, b);  // not active yet: the host's swap stays
  EXPECT_EQ(r[0][0], 9);
  anim.set_active(true);
  anim.LoadAnimationFrame(2, 6, 4, r, g, b);  // one past the last frame
  EXPECT_EQ(r[0][0], 9);
  anim.LoadAnimationFrame(1, 6, 4, r, g, b);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 6; ++x) ASSERT_EQ(g[y][x], Marked(6, 4, 1, 1)[y][x]) << x << "," << y;

  // Half size interpolates, reaching into the stored extra row and column.
  ASSERT_EQ(anim.OpenAnimationFile(WriteMarked(2, 2, 1), box), 0);  // red samples 5y + x
  anim.set_active(true);
  anim.LoadAnimationFrame(0, 4, 4, r, g, b);
  EXPECT_EQ(r[0][1], 0);  // (0 + 1) / 2, half to even
  EXPECT_EQ(r[0][3], 2);  // (1 + 2) / 2 reaches the stored extra column
  EXPECT_EQ(r[1][1], 3);  // (0 + 1 + 5 + 6) / 4
  EXPECT_EQ(r[3][3], 9);  // (6 + 7 + 11 + 12) / 4 reaches the extra row and column
  EXPECT_TRUE(messages.empty());

  // A file with the wrong magic says so and closes the open one: the source stays off.
  samples::WriteFile(dir_ / "notanim.tsa", std::vector<uint8_t>(64, 'x'));
  EXPECT_EQ(anim.OpenAnimationFile(dir_ / "notanim.tsa", box), -1);
  EXPECT_EQ(messages, std::vector<std::string>{"not a Tessaline animation"});
  EXPECT_FALSE(anim.active());
  anim.set_active(true);
  EXPECT_FALSE(anim.active());
  EXPECT_THROW(anim.OpenAnimationFile(dir_ / "absent.tsa", box), Error);
}

}  // namespace
}  // namespace tessfx
