// The command line as a user runs it: exit codes, messages and files written or not.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/scratch_folder.h"
#include "media/tsa.h"
#include "run_tessfx.h"

namespace {

using tessfx::testing_support::RunTessfx;
namespace fs = std::filesystem;

using ::tessfx::testing::FileContents;

TEST(Cli, NewInfoConvertRoundTripIsByteIdentical) {
  tessfx::testing::ScratchFolder dir;
  ASSERT_EQ(RunTessfx("new " + dir / "a.tsa" + " --size 32x24 --frames 5 --pattern circles").code, 0);
  const auto info = RunTessfx("info " + dir / "a.tsa");
  EXPECT_EQ(info.code, 0);
  EXPECT_NE(info.output.find("32x24, 5 frames"), std::string::npos) << info.output;
  ASSERT_EQ(RunTessfx("convert " + dir / "a.tsa" + " " + dir / "b.tsa").code, 0);
  EXPECT_EQ(FileContents(dir / "a.tsa"), FileContents(dir / "b.tsa"));
}

TEST(Cli, BadInputsPrintOneLineAndWriteNothing) {
  tessfx::testing::ScratchFolder dir;
  std::ofstream(dir / "text.tsa") << "this is not an animation";
  const auto r = RunTessfx("convert " + dir / "text.tsa" + " " + dir / "out.tsa");
  EXPECT_EQ(r.code, 65);
  EXPECT_EQ(r.output, "tessfx: " + dir / "text.tsa" + ": not a Tessaline animation\n");
  EXPECT_EQ(RunTessfx("info " + dir / "absent.tsa").code, 66);
  for (const char* usage : {" --size 0x5", " --frames 10001", " --pattern plaid"})
    EXPECT_EQ(RunTessfx("new " + dir / "x.tsa" + usage).code, 64) << usage;
  EXPECT_EQ(RunTessfx("frobnicate").code, 64);
  EXPECT_FALSE(fs::exists(dir / "out.tsa") || fs::exists(dir / "x.tsa"));
}

// OpenEXR is deeper than the frames: rendered frames do not replace it unless allowed, and
// the refusal comes before any work; unchanged frames go back whole.
TEST(Cli, EightBitFramesReplaceADeeperSourceOnlyWhenAllowed) {
  tessfx::testing::ScratchFolder dir;
  ASSERT_EQ(RunTessfx("new " + dir / "g.####.png" + " --size 16x8 --frames 3 --pattern noise").code, 0);
  ASSERT_EQ(RunTessfx("convert -q " + dir / "g.####.png" + " " + dir / "e.####.exr").code, 0);
  const auto info = RunTessfx("info " + dir / "e.0001.exr");
  EXPECT_NE(info.output.find("3 channels of half (half float), colour space Linear (converted to sRGB on reading)"),
            std::string::npos) << info.output;
  const std::string before = FileContents(dir / "e.0002.exr");
  const std::string render = "render " + dir / "e.####.exr" + " --in-place --effect \"Color noise\" --frames 2 -q";
  const auto refused = RunTessfx(render);
  EXPECT_EQ(refused.code, 64);
  EXPECT_NE(refused.output.find("frame 2 would replace the half float openexr sequence"), std::string::npos)
      << refused.output;
  EXPECT_NE(refused.output.find("(--allow-8bit writes them anyway)\n"), std::string::npos) << refused.output;
  EXPECT_EQ(FileContents(dir / "e.0002.exr"), before);
  EXPECT_EQ(RunTessfx("convert -q " + dir / "e.####.exr" + " --in-place").code, 0);
  EXPECT_EQ(RunTessfx(render + " --allow-8bit").code, 0);
  EXPECT_NE(FileContents(dir / "e.0002.exr"), before);
  // Through OpenEXR and back, the 8-bit frames come out as they went in.
  ASSERT_EQ(RunTessfx("convert -q " + dir / "e.####.exr" + " " + dir / "back.####.png").code, 0);
  EXPECT_EQ(FileContents(dir / "back.0001.png"), FileContents(dir / "g.0001.png"));
}

TEST(Cli, HeadlessDemoKeysAndRendersItsEffect) {
  tessfx::testing::ScratchFolder dir;
  const auto r = RunTessfx("demo --headless --output " + dir / "demo" + " --effect \"Color add\"");
  ASSERT_EQ(r.code, 0) << r.output;
  const char* data = std::getenv("TESSFX_DATA_DIR");
  ASSERT_TRUE(data && *data);
  tessfx::TsaReader source(std::string(data) + "/demo.tsa"), rendered(dir / "demo/demo.tsa");
  const int32_t last = source.header().frames - 1;
  ASSERT_EQ(rendered.header().frames, last + 1);
  // The first key holds the effect's defaults (no change), the last adds three quarters of
  // the slider range.
  tessfx::Plane a, b;
  for (int32_t frame : {0, last}) {
    source.ReadPlane(frame, tessfx::Channel::R, a);
    rendered.ReadPlane(frame, tessfx::Channel::R, b);
    EXPECT_EQ(a == b, frame == 0) << frame;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "demo/frames"), {}), last + 1);
  EXPECT_NE(FileContents(dir / "demo/demo.json").find("\"Color add\""), std::string::npos);
}

}  // namespace
