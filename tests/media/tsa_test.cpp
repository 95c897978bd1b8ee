// Animation files: layout, round trips, the external swap source and bad files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "core/convert.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

std::string TempPath(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() / ("tessfx-tsa-test-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  return (dir / name).string();
}

std::vector<uint8_t> Bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void PutLE32(std::vector<uint8_t>& b, int32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
}

// Plane whose every sample (extra row and column included) encodes frame, channel and position.
Plane Marked(int32_t w, int32_t h, int frame, int channel) {
  Plane p(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) p[y][x] = static_cast<uint8_t>(frame * 64 + channel * 16 + y * 5 + x);
  return p;
}

TEST(TsaFile, PlanesOfAllFramesAreGroupedByChannel) {
  const std::string path = TempPath("layout.tsa");
  {
    TsaWriter w(path, 4, 3, 2);
    for (int f = 0; f < 2; ++f)
      for (int c = 0; c < 3; ++c) w.WritePlane(f, static_cast<Channel>(c), Marked(4, 3, f, c));
    w.Commit();
  }
  const auto bytes = Bytes(path);
  ASSERT_EQ(bytes.size(), 20u + 6u * 20u);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "TSA1");
  EXPECT_EQ(bytes[4], 0);  // header word written as 0
  EXPECT_EQ(bytes[8], 4);
  EXPECT_EQ(bytes[12], 3);
  EXPECT_EQ(bytes[16], 2);
  // P = 20: frame 1's green plane starts at 80, its blue plane at 120.
  EXPECT_EQ(bytes[80], Marked(4, 3, 1, 1)[0][0]);
  EXPECT_EQ(bytes[120], Marked(4, 3, 1, 2)[0][0]);
  EXPECT_EQ(bytes[120 + 19], Marked(4, 3, 1, 2)[3][4]);  // the extra row and column are stored

  TsaReader r(path);
  EXPECT_EQ(r.header().frames, 2);
  Plane p;
  r.ReadPlane(1, Channel::G, p);
  EXPECT_TRUE(p == Marked(4, 3, 1, 1));
  EXPECT_THROW(r.ReadPlane(2, Channel::R, p), Error);
}

TEST(TsaFile, BadFilesAreRefusedWithTheirReason) {
  auto expect_message = [](const std::string& path, const std::string& fragment) {
    try {
      TsaReader r(path);
      ADD_FAILURE() << path << " was accepted";
    } catch (const Error& e) {
      EXPECT_NE(std::string(e.what()).find(fragment), std::string::npos) << e.what();
    }
  };
  const std::string wrong = TempPath("wrong.tsa");
  WriteBytes(wrong, {'P', 'K', 3, 4, 0, 0, 0, 0});
  expect_message(wrong, "not a Tessaline animation");

  auto header = [](int32_t w, int32_t h, int32_t n) {
    std::vector<uint8_t> b{'T', 'S', 'A', '1'};
    PutLE32(b, 0);
    PutLE32(b, w);
    PutLE32(b, h);
    PutLE32(b, n);
    return b;
  };
  const std::string zero = TempPath("zero.tsa");
  WriteBytes(zero, header(0, 10, 1));
  expect_message(zero, "not valid");
  const std::string negative = TempPath("negative.tsa");
  WriteBytes(negative, header(10, 10, -3));
  expect_message(negative, "frame count");
  const std::string huge = TempPath("huge.tsa");
  WriteBytes(huge, header(32767, 32767, 10000));
  expect_message(huge, "too large");
  const std::string overflow = TempPath("overflow.tsa");
  WriteBytes(overflow, header(INT32_MAX, INT32_MAX, INT32_MAX));
  expect_message(overflow, "not valid");
  const std::string truncated = TempPath("truncated.tsa");
  auto t = header(4, 3, 2);
  t.resize(t.size() + 100);
  WriteBytes(truncated, t);
  expect_message(truncated, "truncated");
  const std::string short_header = TempPath("short.tsa");
  WriteBytes(short_header, {'T', 'S', 'A', '1', 0, 0});
  expect_message(short_header, "truncated");
  expect_message(TempPath("missing.tsa"), "cannot open");
}

TEST(TsaFile, FailedWriteLeavesThePreviousFile) {
  const std::string path = TempPath("keep.tsa");
  WriteBytes(path, {1, 2, 3});
  {
    TsaWriter w(path, 2, 2, 1);
    w.WritePlane(0, Channel::R, Plane(2, 2));
    // destroyed without Commit: as if the save failed part-way
  }
  EXPECT_EQ(Bytes(path), (std::vector<uint8_t>{1, 2, 3}));
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()))
    EXPECT_EQ(entry.path().string().find("keep.tsa.tmp"), std::string::npos);
}

class ExternalSwap : public ::testing::Test {
 protected:
  std::string Write(int32_t w, int32_t h, int32_t frames) {
    const std::string path = TempPath("swap" + std::to_string(w) + "x" + std::to_string(h) + ".tsa");
    TsaWriter wr(path, w, h, frames);
    for (int f = 0; f < frames; ++f)
      for (int c = 0; c < 3; ++c) wr.WritePlane(f, static_cast<Channel>(c), Marked(w, h, f, c));
    wr.Commit();
    return path;
  }
  std::vector<std::string> messages;
  ExternalAnimation::MessageBox box = [this](const std::string& m) { messages.push_back(m); };
};

TEST_F(ExternalSwap, SameSizeCopiesAndDoubleWidthTakesEverySecondColumn) {
  ExternalAnimation same;
  ASSERT_EQ(same.OpenAnimationFile(Write(6, 4, 2), box), 0);
  same.set_active(true);
  Plane r(6, 4), g(6, 4), b(6, 4);
  same.LoadAnimationFrame(1, 6, 4, r, g, b);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 6; ++x) ASSERT_EQ(g[y][x], Marked(6, 4, 1, 1)[y][x]);

  ExternalAnimation wide;
  ASSERT_EQ(wide.OpenAnimationFile(Write(12, 4, 1), box), 0);
  wide.set_active(true);
  wide.LoadAnimationFrame(0, 6, 4, r, g, b);
  const Plane src = Marked(12, 4, 0, 2);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 6; ++x) ASSERT_EQ(b[y][x], src[y][2 * x]) << x << "," << y;
  EXPECT_TRUE(messages.empty());
}

TEST_F(ExternalSwap, HalfSizeInterpolatesWithTheExtraColumn) {
  ExternalAnimation small;
  ASSERT_EQ(small.OpenAnimationFile(Write(2, 2, 1), box), 0);
  small.set_active(true);
  Plane r(4, 4), g(4, 4), b(4, 4);
  small.LoadAnimationFrame(0, 4, 4, r, g, b);
  const Plane src = Marked(2, 2, 0, 0);
  EXPECT_EQ(r[0][0], src[0][0]);
  // (1, 1) sits half-way between four stored samples; (3, 3) reaches the stored extra row and column.
  EXPECT_EQ(r[1][1], RoundToByte((src[0][0] + src[0][1] + src[1][0] + src[1][1]) / 4.0));
  EXPECT_EQ(r[3][3], RoundToByte((src[1][1] + src[1][2] + src[2][1] + src[2][2]) / 4.0));
}

TEST_F(ExternalSwap, FramesBeyondTheFileAndAnInactiveSourceKeepTheHostSwap) {
  ExternalAnimation anim;
  ASSERT_EQ(anim.OpenAnimationFile(Write(6, 4, 2), box), 0);
  Plane r(6, 4, 9), g(6, 4, 9), b(6, 4, 9);
  anim.LoadAnimationFrame(0, 6, 4, r, g, b);  // not active yet
  EXPECT_EQ(r[0][0], 9);
  anim.set_active(true);
  anim.LoadAnimationFrame(2, 6, 4, r, g, b);  // one past the last frame
  EXPECT_EQ(r[0][0], 9);
  anim.LoadAnimationFrame(0, 6, 4, r, g, b);
  EXPECT_EQ(r[0][0], Marked(6, 4, 0, 0)[0][0]);
}

TEST_F(ExternalSwap, WrongMagicShowsTheMessageAndLeavesTheSourceOff) {
  const std::string path = TempPath("notanim.tsa");
  WriteBytes(path, std::vector<uint8_t>(64, 'x'));
  ExternalAnimation anim;
  EXPECT_EQ(anim.OpenAnimationFile(path, box), -1);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0], "not a Tessaline animation");
  anim.set_active(true);
  EXPECT_FALSE(anim.active());
  EXPECT_THROW(anim.OpenAnimationFile(TempPath("absent.tsa"), box), Error);
  EXPECT_FALSE(anim.active());
}

}  // namespace
}  // namespace tessfx
