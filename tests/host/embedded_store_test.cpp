// The disk-backed frame store, its sidecar and the recovery of stores left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

Plane Filled(int32_t w, int32_t h, int32_t frame, int channel) {
  Plane p(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) p[y][x] = static_cast<uint8_t>((x * 3 + y * 5 + frame * 11 + channel * 17) & 0xFF);
  return p;
}

std::vector<std::string> FilesIn(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

int64_t AllocatedBytes(const std::string& path) {
  struct stat st {};
  EXPECT_EQ(::stat(path.c_str(), &st), 0);
  return static_cast<int64_t>(st.st_blocks) * 512;
}

int64_t ResidentKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::stoll(line.substr(6));
  return -1;
}

EmbeddedHostOptions Options(const ScratchFolder& dir) {
  EmbeddedHostOptions o;
  o.temp_dir = dir.str();
  o.settings_path = dir / "settings.ini";
  return o;
}

TEST(DiskFrameStoreTest, FramesReadBackAcrossManyFramesAndUnwrittenOnesAreBlank) {
  ScratchFolder dir;
  constexpr int32_t kW = 33, kH = 17, kFrames = 60;
  auto store = DiskFrameStore::Create(dir.str(), kW, kH, kFrames);
  // Written out of order, every channel including alpha (stored inverted on disk).
  for (int32_t f = kFrames - 1; f >= 0; f -= 2)
    for (int c = 0; c < 4; ++c) store->Write(f, static_cast<Channel>(c), Filled(kW, kH, f, c));
  Plane got;
  for (int32_t f = 0; f < kFrames; ++f)
    for (int c = 0; c < 4; ++c) {
      store->Read(f, static_cast<Channel>(c), got);
      if (f % 2 == 1) {
        ASSERT_TRUE(got == Filled(kW, kH, f, c)) << "frame " << f << " channel " << c;
      } else {
        ASSERT_TRUE(got == Plane(kW, kH, c == 3 ? 255 : 0)) << "frame " << f << " channel " << c;
      }
    }
  EXPECT_THROW(store->Read(kFrames, Channel::R, got), Error);
  EXPECT_THROW(store->Write(0, Channel::R, Plane(kW + 1, kH)), Error);
}

TEST(DiskFrameStoreTest, BlankAnimationCostsNoDiskUntilWritten) {
  ScratchFolder dir;
  auto store = DiskFrameStore::Create(dir.str(), 640, 480, 1000);
  const int64_t plane = static_cast<int64_t>(PlaneBytes(640, 480));
  EXPECT_EQ(static_cast<int64_t>(fs::file_size(store->path())), plane * 4 * 1000);
  EXPECT_LT(AllocatedBytes(store->path()), 64 * 1024);
  store->Write(500, Channel::G, Plane(640, 480, 9));
  EXPECT_GE(AllocatedBytes(store->path()), plane);
  EXPECT_LT(AllocatedBytes(store->path()), 2 * plane);
}

TEST(DiskFrameStoreTest, MemoryStaysFlatWhileManyFramesAreWritten) {
  ScratchFolder dir;
  constexpr int32_t kW = 640, kH = 480, kFrames = 300;
  EmbeddedHost host(Options(dir));
  host.NewAnimation(kW, kH, kFrames);
  Plane r(kW, kH), g(kW, kH), b(kW, kH);
  DrawPattern(Pattern::Noise, 1, 0, 1, r, g, b);
  host.WriteFramePlane(0, Channel::R, r);  // first write warms up whatever is allocated once
  const int64_t before = ResidentKiB();
  for (int32_t f = 0; f < kFrames; ++f) {
    r[0][0] = static_cast<uint8_t>(f);
    host.WriteFramePlane(f, Channel::R, r);
    host.WriteFramePlane(f, Channel::G, g);
    host.WriteFramePlane(f, Channel::B, b);
  }
  const int64_t growth = ResidentKiB() - before;
  const int64_t data = 3 * kFrames * static_cast<int64_t>(PlaneBytes(kW, kH)) / 1024;  // about 270 MiB
  EXPECT_LT(growth, data / 20) << "resident memory grew by " << growth << " KiB for " << data << " KiB of frames";
  Plane back;
  host.ReadFramePlane(kFrames - 1, Channel::R, back);
  EXPECT_EQ(back[0][0], static_cast<uint8_t>(kFrames - 1));
}

TEST(DiskFrameStoreTest, SidecarDescribesTheDocumentAndBothGoWhenItCloses) {
  ScratchFolder dir;
  std::string store_path;
  {
    EmbeddedHost host(Options(dir));
    host.NewAnimation(40, 30, 7);
    store_path = host.store_path();
    ASSERT_FALSE(store_path.empty());
    host.set_alpha_bits(3);
    host.SaveDocument(dir / "doc.tsa");
    const StoreDescription d = ReadStoreDescription(store_path);
    EXPECT_EQ(d.width, 40);
    EXPECT_EQ(d.height, 30);
    EXPECT_EQ(d.frames, 7);
    EXPECT_EQ(d.alpha_bits, 3);
    EXPECT_EQ(d.source, dir / "doc.tsa");
    EXPECT_EQ(d.pid, ::getpid());
    EXPECT_TRUE(StoreOwnerAlive(d));
    // A new animation and an opened document each replace the store.
    host.NewAnimation(8, 8, 2);
    EXPECT_FALSE(fs::exists(store_path));
    const std::string second = host.store_path();
    host.OpenDocument(dir / "doc.tsa");
    EXPECT_FALSE(fs::exists(second));
    store_path = host.store_path();
    EXPECT_TRUE(fs::exists(store_path + ".json"));
  }
  EXPECT_FALSE(fs::exists(store_path));
  EXPECT_THAT(FilesIn(dir.str()), ::testing::ElementsAre("doc.tsa"));
}

TEST(DiskFrameStoreTest, SizesAndCountsAreRefusedBeforeAnythingIsMade) {
  ScratchFolder dir;
  EmbeddedHost host(Options(dir));
  const std::string current = host.store_path();
  EXPECT_THROW(host.NewAnimation(64, 64, 0), Error);
  EXPECT_THROW(host.NewAnimation(64, 64, kMaxFrames + 1), Error);
  EXPECT_THROW(host.NewAnimation(kMaxSide + 1, 2, 1), Error);
  EXPECT_THROW(host.NewAnimation(0, 10, 1), Error);
  EXPECT_EQ(host.store_path(), current);
  EXPECT_EQ(FilesIn(dir.str()).size(), 2u);  // the current store and its sidecar
}

// A child process makes a document and ends without closing it, as a crash would.
std::string LeaveStoreBehind(const ScratchFolder& dir, int32_t frames) {
  int pipe_fds[2];
  EXPECT_EQ(::pipe(pipe_fds), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(pipe_fds[0]);
    try {
      EmbeddedHost host(Options(dir));
      host.NewAnimation(24, 16, frames);
      for (int32_t f = 0; f < frames; ++f)
        for (int c = 0; c < 3; ++c) host.WriteFramePlane(f, static_cast<Channel>(c), Filled(24, 16, f, c));
      host.WriteFramePlane(1, Channel::A, Filled(24, 16, 1, 3));
      host.set_alpha_bits(1);
      const std::string path = host.store_path();
      (void)!::write(pipe_fds[1], path.data(), path.size());
      ::_exit(0);  // while the host is open, skipping its destructor: the store stays
    } catch (...) {
    }
    ::_exit(1);
  }
  ::close(pipe_fds[1]);
  std::string path(4096, '\0');
  const ssize_t n = ::read(pipe_fds[0], path.data(), path.size());
  ::close(pipe_fds[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  path.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return path;
}

TEST(StoreRecoveryTest, LeftBehindStoreIsListedAndRecoveredIntoADocument) {
  ScratchFolder dir;
  const std::string left = LeaveStoreBehind(dir, 5);
  ASSERT_FALSE(left.empty());
  EmbeddedHost host(Options(dir));  // a live store of our own lies beside it

  const std::vector<StoreDescription> stores = FindStores(dir.str());
  ASSERT_EQ(stores.size(), 2u);
  const auto dead = std::find_if(stores.begin(), stores.end(), [](const auto& d) { return !StoreOwnerAlive(d); });
  ASSERT_NE(dead, stores.end());
  EXPECT_EQ(dead->store_path, left);
  ASSERT_EQ(FindLeftBehindStores(dir.str()).size(), 1u);
  EXPECT_EQ(dead->frames, 5);
  EXPECT_TRUE(dead->has_alpha);
  EXPECT_THAT([&] { DiskFrameStore::OpenLeftBehind(host.store_path()); },
              ::testing::ThrowsMessage<Error>(HasSubstr("still in use")));

  host.RecoverStore(left + ".json");
  EXPECT_EQ(host.tes_GetTotalFrames(), 5);
  EXPECT_EQ(host.Tes_GetAlphabits(), 1);
  EXPECT_TRUE(host.modified());
  for (int32_t f = 0; f < 5; ++f)
    for (int c = 0; c < 3; ++c) {
      Plane got;
      host.ReadFramePlane(f, static_cast<Channel>(c), got);
      ASSERT_TRUE(got == Filled(24, 16, f, c)) << f << "/" << c;
    }
  Plane alpha;
  host.ReadFramePlane(1, Channel::A, alpha);
  EXPECT_TRUE(alpha == Filled(24, 16, 1, 3));
  host.ReadFramePlane(2, Channel::A, alpha);
  EXPECT_TRUE(alpha == Plane(24, 16, 255));

  // Recovery leaves the old store alone until it is discarded explicitly.
  EXPECT_TRUE(fs::exists(left));
  DiscardStore(*dead);
  EXPECT_FALSE(fs::exists(left));
  EXPECT_FALSE(fs::exists(left + ".json"));
}

TEST(StoreRecoveryTest, DamagedOrForeignSidecarsAreSkippedNotDeleted) {
  ScratchFolder dir;
  std::ofstream(dir / "frames-1-2.store.json") << "{ not json";
  std::ofstream(dir / "frames-1-3.store.json") << R"({"format":"tessfx frame store","version":1,"store":"../x",)"
                                                   R"("width":1,"height":1,"frames":1,"alpha_bits":0,"has_alpha":false,)"
                                                   R"("source":"","pid":1,"process_start":0,"created":""})";
  EXPECT_TRUE(FindStores(dir.str()).empty());
  EXPECT_THAT([&] { ReadStoreDescription(dir / "frames-1-2.store.json"); },
              ::testing::ThrowsMessage<Error>(HasSubstr("frames-1-2.store.json")));
  EXPECT_EQ(FilesIn(dir.str()).size(), 2u);
}

}  // namespace
}  // namespace tessfx
