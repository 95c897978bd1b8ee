// Documents opened from and saved to animations, image sequences and single images.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"
#include "media/image_io.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

EmbeddedHostOptions Options(const ScratchFolder& dir) {
  EmbeddedHostOptions o;
  o.temp_dir = dir.str();
  o.settings_path = dir / "settings.ini";
  return o;
}

// Fills a host with a moving noise animation.
void Generate(EmbeddedHost& host, int32_t w, int32_t h, int32_t frames) {
  host.NewAnimation(w, h, frames);
  Plane r(w, h), g(w, h), b(w, h);
  for (int32_t f = 0; f < frames; ++f) {
    DrawPattern(Pattern::Noise, 5, f, frames, r, g, b);
    host.WriteFramePlane(f, Channel::R, r);
    host.WriteFramePlane(f, Channel::G, g);
    host.WriteFramePlane(f, Channel::B, b);
  }
}

void ExpectSameFrames(EmbeddedHost& a, EmbeddedHost& b, int channels = 3) {
  ASSERT_EQ(a.Tes_BufferWidth(), b.Tes_BufferWidth());
  ASSERT_EQ(a.Tes_BufferHeight(), b.Tes_BufferHeight());
  ASSERT_EQ(a.tes_GetTotalFrames(), b.tes_GetTotalFrames());
  Plane pa, pb;
  for (int32_t f = 0; f < a.tes_GetTotalFrames(); ++f)
    for (int c = 0; c < channels; ++c) {
      a.ReadFramePlane(f, static_cast<Channel>(c), pa);
      b.ReadFramePlane(f, static_cast<Channel>(c), pb);
      ASSERT_TRUE(pa == pb) << "frame " << f << " channel " << c;
    }
}

TEST(DocumentFilesTest, AnimationsRoundTripThroughSequencesInEveryDirection) {
  ScratchFolder dir;
  EmbeddedHost original(Options(dir));
  Generate(original, 31, 19, 6);
  original.SaveDocument(dir / "a.tsa");

  for (const std::string pattern : {"png/f.####.png", "exr/f.%04d.exr", "tif/f_##.tif"}) {
    SCOPED_TRACE(pattern);
    EmbeddedHost host(Options(dir));
    host.OpenDocument(dir / "a.tsa");
    host.SaveDocument(dir / pattern, 10);
    EXPECT_EQ(host.document_path(), dir / pattern);
    EmbeddedHost back(Options(dir));
    back.OpenDocument(dir / pattern);
    EXPECT_EQ(back.document_info().kind, DocumentKind::ImageSequence);
    ExpectSameFrames(original, back);
  }
  // The first numbered file names the sequence too.
  EmbeddedHost from_file(Options(dir));
  from_file.OpenDocument(dir / "png/f.0010.png");
  ExpectSameFrames(original, from_file);
}

TEST(DocumentFilesTest, SavingASequenceOpenedByItsFirstFileWritesEveryFrameBack) {
  ScratchFolder dir;
  EmbeddedHost original(Options(dir));
  Generate(original, 12, 7, 4);
  original.SaveDocument(dir / "shots/take_####.png", 5);

  EmbeddedHost host(Options(dir));
  host.OpenDocument(dir / "shots/take_0005.png");
  host.Tes_GotoFrame(3);
  host.tes_setrbuffer(Plane(12, 7, 77));
  host.Save();  // back to take_0005..take_0008, not one image over take_0005
  EXPECT_FALSE(host.modified());
  EXPECT_FALSE(fs::exists(dir / "shots/take_0001.png"));
  EmbeddedHost reread(Options(dir));
  reread.OpenDocument(dir / "shots/take_0005.png");
  ASSERT_EQ(reread.tes_GetTotalFrames(), 4);
  EXPECT_TRUE(reread.Tes_GetRFrame(3) == Plane(12, 7, 77));
  EXPECT_TRUE(reread.Tes_GetRFrame(0) == original.Tes_GetRFrame(0));

  EmbeddedHost fresh(Options(dir));
  EXPECT_THAT([&] { fresh.Save(); }, ::testing::ThrowsMessage<Error>(HasSubstr("no file yet")));
}

TEST(DocumentFilesTest, DocumentIsSeparateFromItsFileUntilSaved) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  Generate(host, 16, 8, 3);
  host.SaveDocument(dir / "a.tsa");
  const auto before = fs::last_write_time(dir / "a.tsa");
  const std::string bytes_before = [&] {
    std::ifstream in(dir / "a.tsa", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }();

  host.OpenDocument(dir / "a.tsa");
  EXPECT_FALSE(host.modified());
  host.Tes_GotoFrame(1);
  host.tes_setrbuffer(Plane(16, 8, 200));
  EXPECT_TRUE(host.modified());
  std::ifstream in(dir / "a.tsa", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes_before);
  EXPECT_EQ(fs::last_write_time(dir / "a.tsa"), before);

  host.SaveDocument(dir / "a.tsa");
  EmbeddedHost reread(Options(dir));
  reread.OpenDocument(dir / "a.tsa");
  EXPECT_TRUE(reread.Tes_GetRFrame(1) == Plane(16, 8, 200));
}

TEST(DocumentFilesTest, SingleImageTakesTheCurrentFrameWithAlpha) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  Generate(host, 12, 10, 4);
  host.SaveDocument(dir / "a.tsa");
  Plane mask(12, 10);
  for (int32_t y = 0; y <= 10; ++y)
    for (int32_t x = 0; x <= 12; ++x) mask[y][x] = static_cast<uint8_t>(std::min(x, 11) * 20);
  ImageFileWriter writer;
  writer.Write(dir / "mask.png", mask, mask, mask, nullptr);
  writer.Commit();

  host.LoadAlphaMask(dir / "mask.png");
  EXPECT_TRUE(host.has_alpha());
  for (int32_t f = 0; f < 4; ++f) {
    Plane a;
    host.ReadFramePlane(f, Channel::A, a);
    ASSERT_TRUE(a == mask) << f;
  }
  host.Tes_GotoFrame(2);
  host.SaveDocument(dir / "still.png");
  EXPECT_EQ(host.document_path(), dir / "a.tsa");  // an export, not a new document file

  EmbeddedHost still(Options(dir));
  still.OpenDocument(dir / "still.png");
  EXPECT_EQ(still.tes_GetTotalFrames(), 1);
  EXPECT_EQ(still.document_info().kind, DocumentKind::Image);
  EXPECT_TRUE(still.has_alpha());
  EXPECT_TRUE(still.Tes_GetRBuffer() == host.Tes_GetRFrame(2));
  EXPECT_TRUE(still.Tes_GetaBuffer() == mask);

  EXPECT_THAT([&] { host.LoadAlphaMask(dir / "none.png"); },
              ::testing::ThrowsMessage<Error>(HasSubstr("none.png")));
  host.NewAnimation(5, 5, 1);
  EXPECT_THAT([&] { host.LoadAlphaMask(dir / "mask.png"); },
              ::testing::ThrowsMessage<Error>(HasSubstr("mask.png: mask size 12x10 differs from the frame size 5x5")));
}

TEST(DocumentFilesTest, BadInputIsRefusedNamingTheFileAndTheDocumentIsKept) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  Generate(host, 20, 10, 3);
  host.SaveDocument(dir / "mix/f.##.png");
  host.SaveDocument(dir / "keep.tsa");
  EmbeddedHost small(Options(dir));
  Generate(small, 10, 10, 1);
  small.SaveDocument(dir / "mix/f.04.png");
  // A truncated animation, a file that is no image, a missing one.
  fs::copy_file(dir / "keep.tsa", dir / "cut.tsa");
  fs::resize_file(dir / "cut.tsa", fs::file_size(dir / "cut.tsa") - 7);
  std::ofstream(dir / "text.png") << "hello";

  const std::string store = host.store_path();
  const auto files_before = std::distance(fs::directory_iterator(dir.str()), fs::directory_iterator());
  const std::pair<std::string, std::string> cases[] = {
      {dir / "mix/f.##.png", "f.04.png: frame size 10x10 differs from the first frame's 20x10"},
      {dir / "cut.tsa", "cut.tsa is truncated"},
      {dir / "text.png", "text.png"},
      {dir / "none.tsa", "none.tsa"},
      {dir / "none/f.####.png", "none/f.####.png"},
  };
  for (const auto& [path, message] : cases) {
    EXPECT_THAT([&] { host.OpenDocument(path); }, ::testing::ThrowsMessage<Error>(HasSubstr(message)));
    EXPECT_EQ(host.store_path(), store);
    EXPECT_EQ(host.document_path(), dir / "keep.tsa");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.str()), fs::directory_iterator()), files_before);
  }
  EXPECT_THROW(host.SaveDocument(dir / "out.unknown"), Error);
  EXPECT_THROW(host.SaveDocument(dir / "out.%d.%d.png"), Error);
  EXPECT_FALSE(fs::exists(dir / "out.unknown"));
}

}  // namespace
}  // namespace tessfx
