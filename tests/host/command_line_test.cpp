// The document commands of the tessfx binary: convert, info and recover.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/embedded/embedded_host.h"
#include "host/scratch_folder.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

struct RunResult {
  int status = -1;
  std::string output;  // standard output and error together
};

// Runs tessfx with its temporary folder in `temp` and settings beside it.
RunResult Tessfx(const ScratchFolder& temp, const std::string& args) {
  const std::string command = "cd '" + temp.str() + "' && TESSFX_TEMP_DIR='" + temp.str() + "/tmp' TESSFX_CONFIG_DIR='" +
                              temp.str() + "/cfg' " + TESSFX_BINARY + " " + args + " 2>&1";
  RunResult run;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return run;
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.output.append(buffer, n);
  const int status = ::pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::string Bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(CommandLineTest, ConvertsEveryWayAndReportsTheFormat) {
  ScratchFolder dir;
  ASSERT_EQ(Tessfx(dir, "new a.tsa --size 23x11 --frames 4 --pattern noise").status, 0);
  // Written through a pattern, read back through the pattern or through the first file.
  const std::pair<std::string, std::string> sequences[] = {
      {"'p/f.####.png'", "'p/f.####.png'"}, {"'e/f.%03d.exr'", "'e/f.%03d.exr'"}, {"'t/f_##.tif'", "t/f_01.tif"}};
  for (const auto& [pattern, read] : sequences) {
    SCOPED_TRACE(pattern);
    ASSERT_EQ(Tessfx(dir, "convert a.tsa " + pattern).status, 0);
    const RunResult info = Tessfx(dir, "info " + read);
    EXPECT_EQ(info.status, 0);
    EXPECT_THAT(info.output, HasSubstr("23x11, 4 frames, format"));
    ASSERT_EQ(Tessfx(dir, "convert " + read + " back.tsa").status, 0);
    EXPECT_EQ(Bytes(dir / "back.tsa"), Bytes(dir / "a.tsa"));
  }
  EXPECT_THAT(Tessfx(dir, "info 'p/f.####.png'").output, HasSubstr("format png sequence (p/f.0001.png .. p/f.0004.png)"));
  // A single image takes the first frame; it converts back to a one-frame animation.
  EXPECT_THAT(Tessfx(dir, "convert a.tsa still.jpg").output, HasSubstr("frame 1 of 4"));
  EXPECT_THAT(Tessfx(dir, "info still.jpg").output, HasSubstr("23x11, 1 frame, format jpeg image"));
  EXPECT_EQ(Tessfx(dir, "convert still.jpg still.tsa").status, 0);
  // Document options: a mask becomes every frame's alpha, and is written where it fits.
  ASSERT_EQ(Tessfx(dir, "convert still.jpg mask.png").status, 0);
  EXPECT_EQ(Tessfx(dir, "convert a.tsa 'm/f.#.png' --alpha mask.png --alphabits 1").status, 0);
  EXPECT_THAT(Tessfx(dir, "info m/f.1.png").output, HasSubstr("alpha from the file"));
  EXPECT_EQ(Tessfx(dir, "info a.tsa --alphabits -1").status, 64);
}

TEST(CommandLineTest, BadInputGivesOneLineNamingTheFileAndWritesNothing) {
  ScratchFolder dir;
  ASSERT_EQ(Tessfx(dir, "new a.tsa --size 16x8 --frames 3").status, 0);
  ASSERT_EQ(Tessfx(dir, "convert a.tsa 'mix/f.##.png'").status, 0);
  ASSERT_EQ(Tessfx(dir, "new mix/f.04.png --size 8x8 --frames 1").status, 0);
  std::ofstream(dir / "junk.tif") << "junk";
  fs::copy_file(dir / "a.tsa", dir / "cut.tsa");
  fs::resize_file(dir / "cut.tsa", 100);

  const struct {
    std::string args;
    int status;
    std::string message;
  } cases[] = {
      {"convert 'mix/f.##.png' out.tsa", 65, "mix/f.04.png: frame size 8x8 differs from the first frame's 16x8"},
      {"convert junk.tif out.tsa", 65, "junk.tif: not a readable image"},
      {"convert cut.tsa out.tsa", 65, "cut.tsa is truncated"},
      {"convert missing.png out.tsa", 66, "cannot open missing.png"},
      {"convert a.tsa out.doc", 64, "cannot save out.doc: unknown file type"},
      {"convert a.tsa out.tsa --alpha mix/f.04.png", 65, "mix/f.04.png: mask size 8x8 differs from the frame size 16x8"},
      {"new out.tsa --size 40000x2", 65, "40000x2"},
      {"new out.tsa --frames 10001", 64, "1..10000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const RunResult run = Tessfx(dir, c.args);
    EXPECT_EQ(run.status, c.status);
    EXPECT_THAT(run.output, HasSubstr(c.message));
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 1) << run.output;
    EXPECT_FALSE(fs::exists(dir / "out.tsa"));
    EXPECT_FALSE(fs::exists(dir / "out.doc"));
  }
  EXPECT_TRUE(fs::is_empty(dir / "tmp"));  // every store went away with its process
}

TEST(CommandLineTest, RecoverListsWritesAndDiscardsALeftBehindStore) {
  ScratchFolder dir;
  fs::create_directories(dir / "tmp");
  const pid_t child = ::fork();
  if (child == 0) {
    EmbeddedHostOptions o;
    o.temp_dir = dir / "tmp";
    o.settings_path = dir / "child.ini";
    try {
      EmbeddedHost host(o);
      host.NewAnimation(12, 6, 3);
      host.tes_setgbuffer(Plane(12, 6, 77));
      ::_exit(0);  // the document is never closed
    } catch (...) {
    }
    ::_exit(1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(WEXITSTATUS(status), 0);

  const RunResult list = Tessfx(dir, "recover");
  EXPECT_EQ(list.status, 0);
  EXPECT_THAT(list.output, HasSubstr("12x6, 3 frames, new animation, process " + std::to_string(child) + " (ended)"));
  const std::string store = list.output.substr(0, list.output.find(':'));
  ASSERT_TRUE(fs::exists(store)) << list.output;

  const RunResult recovered = Tessfx(dir, "recover " + store + " -o back.tsa --discard");
  EXPECT_EQ(recovered.status, 0) << recovered.output;
  EXPECT_FALSE(fs::exists(store));
  EmbeddedHostOptions o;
  o.temp_dir = dir.str();
  o.settings_path = dir / "check.ini";
  EmbeddedHost host(o);
  host.OpenDocument(dir / "back.tsa");
  EXPECT_TRUE(host.Tes_GetGBuffer() == Plane(12, 6, 77));
  EXPECT_THAT(Tessfx(dir, "recover").output, HasSubstr("no frame stores left behind"));
  EXPECT_EQ(Tessfx(dir, "recover " + store + " -o x.tsa").status, 66);
}

}  // namespace
}  // namespace tessfx
