// Documents opened from and saved to animations, image sequences and single images, and the
// disk-backed frame store that holds them while open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>
#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "host/embedded/embedded_host.h"
#include "host/embedded/settings_store.h"
#include "host/scratch_folder.h"
#include "media/bmp_samples.h"
#include "media/image_io.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using testing::ScratchFolder;
namespace fs = std::filesystem;

EmbeddedHostOptions Options(const ScratchFolder& dir) {
  return {.temp_dir = dir.str(), .settings_path = dir / "settings.ini"};
}

using ::tessfx::testing::FileContents;

size_t FileCount(const std::string& dir) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

// A host holding a moving noise animation.
std::unique_ptr<EmbeddedHost> Generated(const ScratchFolder& dir, int32_t w, int32_t h, int32_t frames) {
  auto host = std::make_unique<EmbeddedHost>(Options(dir));
  host->NewAnimation(w, h, frames);
  DrawPatternAnimation(*host, Pattern::Noise, 5);
  return host;
}

std::unique_ptr<EmbeddedHost> Opened(const ScratchFolder& dir, const std::string& path) {
  auto host = std::make_unique<EmbeddedHost>(Options(dir));
  host->OpenDocument(path);
  return host;
}

// Every sample of every frame.
std::string Frames(EmbeddedHost& h) {
  std::string s;
  for (int32_t f = 0; f < h.tes_GetTotalFrames(); ++f) {
    const Plane planes[] = {h.Tes_GetRFrame(f), h.Tes_GetGFrame(f), h.Tes_GetBFrame(f)};
    for (const Plane& p : planes) s.append(reinterpret_cast<const char*>(p.data()), p.size());
  }
  return s;
}

TEST(DocumentFilesTest, AnimationsRoundTripThroughSequencesInEveryDirection) {
  ScratchFolder dir;
  auto original = Generated(dir, 31, 19, 6);
  original->SaveDocument(dir / "a.tsa");
  for (const std::string pattern : {"png/f.####.png", "exr/f.%04d.exr", "tif/f_##.tif"}) {
    SCOPED_TRACE(pattern);
    auto host = Opened(dir, dir / "a.tsa");
    host->SaveDocument(dir / pattern, 10);
    EXPECT_EQ(host->document_path(), dir / pattern);
    auto back = Opened(dir, dir / pattern);
    EXPECT_EQ(back->document_info().kind, DocumentKind::ImageSequence);
    EXPECT_TRUE(Frames(*back) == Frames(*original));
  }
}

TEST(DocumentFilesTest, SavingASequenceOpenedByItsFirstFileWritesEveryFrameBack) {
  ScratchFolder dir;
  Generated(dir, 12, 7, 4)->SaveDocument(dir / "shots/take_####.png", 5);
  auto host = Opened(dir, dir / "shots/take_0005.png");
  host->Tes_GotoFrame(3);
  host->tes_setrbuffer(Plane(12, 7, 77));
  host->Save();  // back to take_0005..take_0008, not one image over take_0005
  EXPECT_FALSE(fs::exists(dir / "shots/take_0001.png"));
  auto reread = Opened(dir, dir / "shots/take_0005.png");
  EXPECT_TRUE(reread->Tes_GetRFrame(3) == Plane(12, 7, 77));
  EXPECT_TRUE(reread->Tes_GetRFrame(0) == host->Tes_GetRFrame(0));
}

TEST(DocumentFilesTest, EditsStayOutOfTheFileUntilSaved) {
  ScratchFolder dir;
  auto host = Generated(dir, 16, 8, 3);
  EXPECT_THAT([&] { host->Save(); }, ThrowsMessage<Error>(HasSubstr("no file yet")));
  host->SaveDocument(dir / "a.tsa");
  host->OpenDocument(dir / "a.tsa");
  EXPECT_FALSE(host->modified());
  host->Tes_GotoFrame(1);
  host->tes_setrbuffer(Plane(16, 8, 200));
  EXPECT_TRUE(host->modified());
  EXPECT_FALSE(Opened(dir, dir / "a.tsa")->Tes_GetRFrame(1) == Plane(16, 8, 200));
  host->Save();
  EXPECT_FALSE(host->modified());
  EXPECT_TRUE(Opened(dir, dir / "a.tsa")->Tes_GetRFrame(1) == Plane(16, 8, 200));
}

TEST(DocumentFilesTest, SingleImageTakesTheCurrentFrameWithAlpha) {
  ScratchFolder dir;
  auto host = Generated(dir, 12, 10, 4);
  host->SaveDocument(dir / "a.tsa");
  const Plane mask(12, 10, 90);
  ImageFileWriter writer;
  writer.Write(dir / "mask.png", mask, mask, mask, nullptr);
  writer.Commit();

  host->LoadAlphaMask(dir / "mask.png");  // every frame's alpha
  host->Tes_GotoFrame(2);
  EXPECT_TRUE(host->Tes_GetaBuffer() == mask);
  host->SaveDocument(dir / "still.png");
  EXPECT_EQ(host->document_path(), dir / "a.tsa");  // an export, not a new document file

  auto still = Opened(dir, dir / "still.png");
  EXPECT_EQ(still->tes_GetTotalFrames(), 1);
  EXPECT_EQ(still->document_info().kind, DocumentKind::Image);
  EXPECT_TRUE(still->Tes_GetRBuffer() == host->Tes_GetRFrame(2));
  EXPECT_TRUE(still->Tes_GetaBuffer() == mask);
}

TEST(DocumentFilesTest, BadInputIsRefusedNamingTheFileAndTheDocumentIsKept) {
  ScratchFolder dir;
  auto host = Generated(dir, 20, 10, 3);
  host->SaveDocument(dir / "mix/f.##.png");
  host->SaveDocument(dir / "keep.tsa");
  Generated(dir, 10, 10, 1)->SaveDocument(dir / "mix/f.04.png");
  fs::copy_file(dir / "keep.tsa", dir / "cut.tsa");
  fs::resize_file(dir / "cut.tsa", fs::file_size(dir / "cut.tsa") - 7);
  std::ofstream(dir / "text.png") << "hello";

  const std::string store = host->store_path();
  const size_t files_before = FileCount(dir.str());
  const std::pair<std::string, std::string> cases[] = {
      {dir / "mix/f.##.png", "f.04.png: frame size 10x10 differs from the first frame's 20x10"},
      {dir / "cut.tsa", "cut.tsa is truncated"},
      {dir / "text.png", "text.png"},
      {dir / "none.tsa", "none.tsa"},
      {dir / "none/f.####.png", "none/f.####.png"},
  };
  for (const auto& [path, message] : cases) {
    EXPECT_THAT([&] { host->OpenDocument(path); }, ThrowsMessage<Error>(HasSubstr(message)));
    EXPECT_EQ(host->store_path(), store);
    EXPECT_EQ(host->document_path(), dir / "keep.tsa");
    EXPECT_EQ(FileCount(dir.str()), files_before);
  }
  EXPECT_THROW(host->SaveDocument(dir / "out.unknown"), Error);
  EXPECT_THROW(host->SaveDocument(dir / "out.%d.%d.png"), Error);
  EXPECT_FALSE(fs::exists(dir / "out.unknown"));
}

// Opened on demand, a sequence reads a frame's file when the frame is first used: others
// may even be damaged. Writes keep the file's other channels, a mask reaches frames read
// later, and saving some frames writes just those.
TEST(DocumentFilesTest, OnDemandDocumentsReadOnlyTheFramesUsed) {
  ScratchFolder dir;
  auto source = Generated(dir, 14, 9, 5);
  for (int32_t f = 0; f < 5; ++f) source->WriteFramePlane(f, Channel::A, Plane(14, 9, static_cast<uint8_t>(40 + f)));
  source->SaveDocument(dir / "in/f.####.png", 101);
  std::ofstream(dir / "in/f.0104.png") << "damaged";

  EmbeddedHost host(Options(dir));
  OpenOptions on_demand;
  on_demand.on_demand = true;
  host.OpenDocument(dir / "in/f.####.png", on_demand);
  EXPECT_EQ(host.document_info().FrameNumberBase(), 101);
  EXPECT_TRUE(host.Tes_GetGFrame(1) == source->Tes_GetGFrame(1));
  host.Tes_GotoFrame(2);
  host.tes_setrbuffer(Plane(14, 9, 7));
  EXPECT_TRUE(host.Tes_GetRBuffer() == Plane(14, 9, 7));
  EXPECT_TRUE(host.Tes_GetGBuffer() == source->Tes_GetGFrame(2));
  EXPECT_TRUE(host.Tes_GetaBuffer() == Plane(14, 9, 42));
  EXPECT_THAT([&] { host.Tes_GetRFrame(3); }, ThrowsMessage<Error>(HasSubstr("f.0104.png")));

  const Plane mask(14, 9, 200);
  ImageFileWriter writer;
  writer.Write(dir / "mask.png", mask, mask, mask, nullptr);
  writer.Commit();
  host.LoadAlphaMask(dir / "mask.png");
  for (int32_t f : {2, 4}) {  // one loaded before the mask, one read after it
    host.Tes_GotoFrame(f);
    EXPECT_TRUE(host.Tes_GetaBuffer() == mask) << f;
  }

  EmbeddedHost::SaveOptions some;
  some.first_number = 101;
  some.frames = {2, 4};
  host.SaveDocument(dir / "out/g.####.png", some);
  EXPECT_EQ(FileCount(dir / "out"), 2u);
  RgbaPlanes written;
  ReadImage(dir / "out/g.0103.png", written);
  EXPECT_TRUE(written[0] == Plane(14, 9, 7));
  host.SaveDocument(dir / "some.tsa", some);
  EXPECT_EQ(TsaReader(dir / "some.tsa").header().frames, 2);

  // A gap is refused naming the missing file, or filled with the frame before it.
  fs::remove(dir / "in/f.0104.png");
  OpenOptions gaps;
  gaps.gap_advice = "allow them";
  EXPECT_THAT([&] { host.OpenDocument(dir / "in/f.####.png", gaps); },
              ThrowsMessage<Error>(HasSubstr("f.0104.png is missing (allow them)")));
  gaps.allow_gaps = true;
  host.OpenDocument(dir / "in/f.####.png", gaps);
  EXPECT_TRUE(host.Tes_GetRFrame(3) == source->Tes_GetRFrame(2));
}

// Frames of `w` x 1 pixels of linear light; frame f's red is 2.5 + f (above 1.0).
void WriteHotSequence(const std::string& pattern, int32_t frames, int32_t w) {
  for (int32_t f = 0; f < frames; ++f) {
    std::vector<float> rgb;
    for (int32_t x = 0; x < w; ++x) rgb.insert(rgb.end(), {2.5f + static_cast<float>(f), 0.25f, static_cast<float>(x) / 8});
    const std::string file = ParseSequencePattern(pattern)->FileName(f + 1);
    auto out = OIIO::ImageOutput::create(file);
    ASSERT_TRUE(out && out->open(file, OIIO::ImageSpec(w, 1, 3, OIIO::TypeDesc::HALF)));
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, rgb.data()) && out->close());
  }
}

float Sample(const std::string& file, int x, int c) { return OIIO::ImageBuf(file).getchannel(x, 0, 0, c); }

// A deeper source's frames nobody changed are saved from its files at full depth; changed
// frames are 8-bit, and replacing the source with them needs leave.
TEST(DeepSourceTest, UnchangedFramesKeepTheirDepthAndEightBitFramesDoNotReplaceTheSource) {
  ScratchFolder dir;
  WriteHotSequence(dir / "hot.####.exr", 3, 4);
  const std::string original = FileContents(dir / "hot.0002.exr");
  for (bool on_demand : {false, true}) {
    SCOPED_TRACE(on_demand ? "on demand" : "loaded");
    EmbeddedHost host(Options(dir));
    host.OpenDocument(dir / "hot.####.exr", OpenOptions{.on_demand = on_demand});
    EXPECT_TRUE(host.document_info().Deep());
    EXPECT_TRUE(host.Tes_GetRFrame(0) == Plane(4, 1, 255));  // 2.5 shows as white
    host.Tes_GotoFrame(1);
    host.tes_setgbuffer(Plane(4, 1, 128));
    EXPECT_FALSE(host.unchanged(1));

    // Back over the source: the changed frame would lose what its file holds.
    EXPECT_THAT(host.DepthLoss(dir / "hot.####.exr", {}).value_or(""),
                HasSubstr("frame 2 would replace the half float openexr sequence"));
    EXPECT_THAT(host.SaveDepthLoss().value_or(""), HasSubstr("frame 2 would replace"));
    EXPECT_THAT([&] { host.Save(); }, ThrowsMessage<Error>(HasSubstr("save as another file")));
    EXPECT_THAT(host.DepthLoss(dir / "hot.####.png", {}).value_or(""), ::testing::IsEmpty());  // a new file
    EXPECT_EQ(FileContents(dir / "hot.0002.exr"), original);

    host.SaveDocument(dir / "out.####.exr");
    EXPECT_EQ(Sample(dir / "out.0001.exr", 0, 0), 2.5f);
    EXPECT_EQ(Sample(dir / "out.0003.exr", 3, 2), 3.0f / 8);
    EXPECT_EQ(Sample(dir / "out.0002.exr", 0, 0), 1.0f);  // the changed frame, from its 8-bit planes
    EXPECT_NEAR(Sample(dir / "out.0002.exr", 0, 1), 0.2158f, 1e-3);  // sRGB 128 as linear light
    EXPECT_THAT(host.DepthLoss(dir / "hot.####.exr", {.frames = {0, 2}}).value_or(""), ::testing::IsEmpty());
    EXPECT_THAT(host.DepthLoss(dir / "hot.####.exr", {.frames = {0}, .image = {.sample_type = SampleType::UInt16}})
                    .value_or(""),
                HasSubstr("as uint16 would replace"));
    host.SaveDocument(dir / "hot.####.exr", {.frames = {0, 2}});  // untouched frames go back whole
    EXPECT_EQ(Sample(dir / "hot.0003.exr", 0, 0), 4.5f);
  }

  // A 16-bit source keeps its 16 bits when it goes back to its own format.
  {
    std::vector<uint16_t> wide = {1, 40000, 65535, 257, 12345, 54321};
    auto out = OIIO::ImageOutput::create(dir / "w.png");
    ASSERT_TRUE(out && out->open(dir / "w.png", OIIO::ImageSpec(2, 1, 3, OIIO::TypeDesc::UINT16)));
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT16, wide.data()) && out->close());
    EmbeddedHost host(Options(dir));
    host.OpenDocument(dir / "w.png");
    host.SaveDocument(dir / "w2.png");
    auto in = OIIO::ImageInput::open(dir / "w2.png");
    std::vector<uint16_t> got(6);
    ASSERT_TRUE(in && in->read_image(0, 0, 0, 3, OIIO::TypeDesc::UINT16, got.data()));
    EXPECT_EQ(got, wide);
  }
}

// A BMP sequence streams from its files like any other: a damaged member shows only when
// its frame is read.
TEST(DocumentFilesTest, BmpSequencesAreReadFrameByFrame) {
  ScratchFolder dir;
  for (int n = 7; n <= 9; ++n) samples::WriteFile(dir / ("take000" + std::to_string(n) + ".bmp"), samples::BuildBmp(samples::Gradient24(8, 6)));
  EmbeddedHost host(Options(dir));
  host.OpenDocument(dir / "take0007.bmp", OpenOptions{.on_demand = true});
  EXPECT_EQ(host.tes_GetTotalFrames(), 3);
  EXPECT_EQ(host.document_info().FrameNumberBase(), 7);
  std::ofstream(dir / "take0009.bmp") << "damaged";
  const Plane first = host.Tes_GetGFrame(0);
  EXPECT_FALSE(first == Plane(8, 6, 0));
  EXPECT_TRUE(host.Tes_GetGFrame(1) == first);
  EXPECT_THAT([&] { host.Tes_GetRFrame(2); }, ThrowsMessage<Error>(HasSubstr("take0009.bmp")));
}

TEST(DiskFrameStoreTest, BlanksCostNoDiskTheSidecarDescribesTheDocumentAndBothGoWhenItCloses) {
  ScratchFolder dir;
  std::string store_path;
  {
    EmbeddedHost host(Options(dir));
    host.NewAnimation(640, 480, 1000);
    struct stat st {};
    EXPECT_TRUE(::stat(host.store_path().c_str(), &st) == 0 && st.st_blocks < 128);  // 1.2 GB of blanks: no disk
    host.Tes_GotoFrame(999);  // black and fully selected: alpha is stored inverted, so holes read as 255
    EXPECT_TRUE(host.Tes_GetRBuffer() == Plane(640, 480, 0) && host.Tes_GetaBuffer() == Plane(640, 480, 255));
    host.NewAnimation(40, 30, 7);
    host.set_alpha_bits(3);
    host.SaveDocument(dir / "doc.tsa");
    const StoreDescription d = ReadStoreDescription(host.store_path());
    EXPECT_EQ(std::tuple(d.width, d.height, d.frames, d.alpha_bits), std::tuple(40, 30, 7, 3));
    EXPECT_EQ(d.source, dir / "doc.tsa");
    // A new animation and an opened document each replace the store; bad requests keep it.
    host.NewAnimation(8, 8, 2);
    EXPECT_FALSE(fs::exists(d.store_path));
    store_path = host.store_path();
    EXPECT_THROW(host.NewAnimation(64, 64, 0), Error);
    EXPECT_THROW(host.Tes_CreateAnim(kMaxFrames + 1), Error);
    EXPECT_THROW(host.NewAnimation(kMaxSide + 1, 2, 1), Error);
    EXPECT_THROW(host.NewAnimation(0, 10, 1), Error);
    EXPECT_THROW(host.Tes_GotoFrame(2), Error);
    EXPECT_THROW(host.tes_setrbuffer(Plane(7, 8)), Error);
    EXPECT_EQ(host.store_path(), store_path);
    EXPECT_EQ(FileCount(dir.str()), 3u);  // the document, the store and its sidecar
    host.OpenDocument(dir / "doc.tsa");
    EXPECT_FALSE(fs::exists(store_path));
    store_path = host.store_path();
    EXPECT_TRUE(fs::exists(store_path + ".json"));
  }
  EXPECT_FALSE(fs::exists(store_path));
  EXPECT_EQ(FileCount(dir.str()), 1u);  // the document
}

TEST(DiskFrameStoreTest, StoresArePrivateAndLinksPlantedBesideThemAreNotRecovered) {
  ScratchFolder dir;
  fs::create_directories(dir / "elsewhere");
  EmbeddedHost host({.temp_dir = dir / "tmp", .settings_path = dir / "s.ini"});
  const StoreDescription mine = ReadStoreDescription(host.store_path());
  for (const std::string& file : {mine.store_path, mine.sidecar_path}) {
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u) << file;
  }
  // Copies of a real store and sidecar outside, reached by links inside: not stores of ours.
  fs::copy_file(mine.store_path, dir / "elsewhere/frames-1-1.store");
  std::string sidecar = FileContents(mine.sidecar_path);
  sidecar.replace(sidecar.find(fs::path(mine.store_path).filename().string()),
                  fs::path(mine.store_path).filename().string().size(), "frames-1-1.store");
  std::ofstream(dir / "elsewhere/frames-1-1.store.json") << sidecar;
  fs::create_symlink(dir / "elsewhere/frames-1-1.store.json", dir / "tmp/frames-1-1.store.json");
  std::ofstream(dir / "tmp/frames-1-2.store.json") << sidecar;  // a real sidecar naming a linked store
  fs::create_symlink(dir / "elsewhere/frames-1-1.store", dir / "tmp/frames-1-1.store");
  const std::vector<StoreDescription> found = FindStores(dir / "tmp");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].store_path, mine.store_path);
}

TEST(SettingsTest, ASettingsFileThatIsNoFileOrTooLargeIsRefusedAtOnce) {
  ScratchFolder dir;
  ::mkfifo((dir / "pipe.ini").c_str(), 0600);
  EXPECT_THAT([&] { SettingsStore s(dir / "pipe.ini"); },
              ThrowsMessage<Error>(HasSubstr("cannot open " + dir / "pipe.ini" + ": it is a named pipe")));
  std::ofstream(dir / "huge.ini") << "[a]\nb=" << std::string(kMaxSettingsBytes, 'x') << "\n";
  EXPECT_THAT([&] { SettingsStore s(dir / "huge.ini"); }, ThrowsMessage<Error>(HasSubstr("more than a settings file holds")));
  SettingsStore fine(dir / "fine.ini");
  fine.Save("tessfx", "Timeline", "SaveUndos", "0");
  EXPECT_EQ(SettingsStore(dir / "fine.ini").Get("tessfx", "Timeline", "SaveUndos", "1"), "0");
}

}  // namespace
}  // namespace tessfx
