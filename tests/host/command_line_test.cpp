// The document commands of the tessfx binary refusing bad input, and the recovery of frame
// stores left behind by a crash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/embedded/disk_frame_store.h"
#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"
#include "run_tessfx.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using testing::ScratchFolder;
namespace fs = std::filesystem;

using testing_support::CommandResult;

// Runs tessfx in `dir`, with its temporary folder in dir/tmp and its settings in dir/cfg.
CommandResult Tessfx(const ScratchFolder& dir, const std::string& args) {
  const std::string command = "cd '" + dir.str() + "' && TESSFX_TEMP_DIR=\"$PWD/tmp\" TESSFX_CONFIG_DIR=cfg " +
                              std::string(TESSFX_BINARY) + " " + args + " 2>&1";
  CommandResult run{-1, ""};
  FILE* pipe = ::popen(command.c_str(), "r");
  for (int ch; pipe && (ch = std::fgetc(pipe)) != EOF;) run.output += static_cast<char>(ch);
  const int status = pipe ? ::pclose(pipe) : -1;
  run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

TEST(CommandLineTest, BadInputGivesOneLineNamingTheFileAndWritesNothing) {
  ScratchFolder dir;
  ASSERT_EQ(Tessfx(dir, "new a.tsa --size 16x8 --frames 3").code, 0);
  ASSERT_EQ(Tessfx(dir, "new s.png --size 8x8 --frames 1").code, 0);
  std::ofstream(dir / "junk.tif") << "junk";
  const struct {
    std::string args;
    int code;
    std::string message;
  } cases[] = {
      {"convert junk.tif out.tsa", 65, "junk.tif: not a readable image"},
      {"convert missing.png out.tsa", 66, "cannot open missing.png"},
      {"convert a.tsa out.doc", 64, "cannot save out.doc: unknown file type"},
      {"convert a.tsa out.tsa --alpha s.png", 65, "s.png: mask size 8x8 differs from the frame size 16x8"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const CommandResult run = Tessfx(dir, c.args);
    EXPECT_EQ(run.code, c.code);
    EXPECT_THAT(run.output, HasSubstr(c.message));
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 1) << run.output;
    EXPECT_FALSE(fs::exists(dir / "out.tsa") || fs::exists(dir / "out.doc"));
  }
  EXPECT_TRUE(fs::is_empty(dir / "tmp"));  // every store went away with its process
}

using ::tessfx::testing::FileContents;

TEST(StoreRecoveryTest, LeftBehindStoreIsListedRecoveredAndDiscardedAndOtherSidecarsAreLeftAlone) {
  ScratchFolder dir;
  const EmbeddedHostOptions options{.temp_dir = dir / "tmp", .settings_path = dir / "s.ini"};
  const pid_t child = ::fork();
  if (child == 0) {  // saves a document, edits it and ends without closing it, as a crash would
    try {
      EmbeddedHost host(options);
      host.NewAnimation(24, 16, 5);
      DrawPatternAnimation(host, Pattern::Noise, 3);
      host.SaveDocument(dir / "a.tsa");
      host.WriteFramePlane(1, Channel::A, Plane(24, 16, 99));
      host.set_alpha_bits(1);
      ::_exit(0);  // while the host is open, skipping its destructor: the store stays
    } catch (...) {
    }
    ::_exit(1);
  }
  ::waitpid(child, nullptr, 0);
  // Beside it: a live store of our own, a damaged sidecar and one naming a file outside the folder.
  EmbeddedHost host(options);
  std::ofstream(dir / "tmp/frames-1-2.store.json") << "{ not json";
  std::ofstream(dir / "tmp/frames-1-3.store.json")
      << R"({"format":"tessfx frame store","version":1,"store":"../x","width":1,"height":1,"frames":1,)"
         R"("alpha_bits":0,"has_alpha":false,"source":"","pid":1,"process_start":0,"created":""})";
  EXPECT_THAT([&] { ReadStoreDescription(dir / "tmp/frames-1-2.store.json"); },
              ThrowsMessage<Error>(HasSubstr("frames-1-2.store.json")));
  const std::vector<StoreDescription> dead = FindLeftBehindStores(dir / "tmp");
  ASSERT_EQ(dead.size(), 1u);
  const std::string left = dead[0].store_path;
  EXPECT_THAT([&] { DiskFrameStore::OpenLeftBehind(host.store_path()); },
              ThrowsMessage<Error>(HasSubstr("still in use")));

  host.RecoverStore(left + ".json");  // unsaved, with the alpha and the alpha bits
  host.Tes_GotoFrame(1);
  EXPECT_EQ(std::tuple(host.modified(), host.Tes_GetAlphabits()), std::tuple(true, 1));
  EXPECT_TRUE(host.Tes_GetaBuffer() == Plane(24, 16, 99));

  EXPECT_THAT(Tessfx(dir, "recover").output, HasSubstr(left + ": 24x16, 5 frames, from " + dir / "a.tsa" +
                                                           ", process " + std::to_string(child) + " (ended)"));
  const CommandResult recovered = Tessfx(dir, "recover " + left + " -o back.tsa --discard");
  EXPECT_EQ(recovered.code, 0) << recovered.output;
  EXPECT_EQ(FileContents(dir / "back.tsa"), FileContents(dir / "a.tsa"));
  EXPECT_FALSE(fs::exists(left) || fs::exists(left + ".json"));
  EXPECT_THAT(Tessfx(dir, "recover").output, HasSubstr("no frame stores left behind"));
  EXPECT_TRUE(fs::exists(dir / "tmp/frames-1-2.store.json") && fs::exists(dir / "tmp/frames-1-3.store.json"));
}

}  // namespace
}  // namespace tessfx
