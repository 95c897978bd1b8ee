// Hostile files against the commands that read them: each is refused at once with one line
// of ours and the code of its fault, in bounded time and memory, leaving nothing behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "host/scratch_folder.h"
#include "media/bmp_samples.h"
#include "media/png_samples.h"
#include "media/tsa.h"
#include "run_tessfx.h"

namespace tessfx {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using testing::ScratchFolder;
using testing_support::MeasuredRun;
using testing_support::RunTessfxMeasured;

// ---- the files ----

class HostileInputs : public ::testing::Test {
 protected:
  void SetUp() override {
    TsaWriter doc(dir / "doc.tsa", 8, 6, 2);
    for (int32_t f = 0; f < 2; ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B}) doc.WritePlane(f, c, Plane(8, 6, 100));
    doc.Commit();

    samples::BmpSample rle = samples::Gradient24(4, 4);  // 24 bits per pixel, but RLE8
    rle.compression = 1;
    rle.pixels.resize(12);
    for (const char* name : {"rle24.bmp", "rle24.png"}) samples::WriteFile(dir / name, samples::BuildBmp(rle));
    samples::BmpSample huge;  // 1 KB declaring 32767 x 32767
    huge.width = huge.height = 32767;
    huge.pixels.assign(970, 0);
    samples::WriteFile(dir / "huge.bmp", samples::BuildBmp(huge));
    samples::WriteBlackPng(dir / "huge.png", 32767, 16383);
    samples::BmpSample unpacked;  // two bytes of run-length data for 16384 x 16384 pixels
    unpacked.width = unpacked.height = 16384;
    unpacked.bit_count = 8;
    unpacked.compression = 1;
    unpacked.palette.assign(256, 0x808080);
    unpacked.pixels = {0, 1};
    samples::WriteFile(dir / "runs.png", samples::BuildBmp(unpacked));

    // A playlist under a video name, listing a pipe: reading what it lists would hang.
    ::mkfifo((dir / "listed").c_str(), 0600);
    std::ofstream(dir / "clip.mp4") << "#EXTM3U\n#EXTINF:1,\n" << dir / "listed" << "\n";

    const std::string project = R"({"format": "tessfx-project", "version": 1, "effect": )";
    std::ofstream(dir / "brackets.json") << std::string(64 << 20, '[');
    std::ofstream(dir / "deep.json") << std::string(1 << 20, '[');
    std::ofstream(dir / "long-name.json") << project << '"' << std::string(1 << 20, 'x') << "\"}";
    std::ofstream(dir / "escapes.json") << project << R"("\u001b[2J\u001b]0;owned\u0007Color\u009b31m add\u202e"})";

    for (const char* name : {"fifo.tsa", "fifo.json", "fifo.png"}) ::mkfifo((dir / name).c_str(), 0600);
    fs::create_directories(dir / "cfg-fifo");
    ::mkfifo((dir / "cfg-fifo/settings.ini").c_str(), 0600);

    samples::WriteFile(dir / "take40000.bmp", samples::BuildBmp(samples::Gradient24(8, 6)));
    samples::WriteFile(dir / "take40001.bmp", samples::BuildBmp(samples::Gradient24(8, 6)));
    fs::create_directories(dir / "open-tmp");
    fs::permissions(dir / "open-tmp", fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                          fs::perms::others_read | fs::perms::others_exec);
    fs::create_directories(dir / "elsewhere");
    fs::create_directory_symlink(dir / "elsewhere", dir / "linked-tmp");
  }

  // Runs in the test's folder, with its temporary folder and settings there unless `env` says otherwise.
  MeasuredRun Run(const std::vector<std::string>& args, std::vector<std::string> env = {}) {
    for (const std::string& fallback : {"TESSFX_TEMP_DIR=" + dir / "tmp", "TESSFX_CONFIG_DIR=" + dir / "cfg"}) {
      const std::string name = fallback.substr(0, fallback.find('=') + 1);
      if (std::none_of(env.begin(), env.end(), [&](const std::string& e) { return e.rfind(name, 0) == 0; }))
        env.push_back(fallback);
    }
    return RunTessfxMeasured(args, dir.str(), env, kSecondsAllowed);
  }

  // Generous for sanitizer builds on a loaded machine; the README gives the measured times.
  static constexpr double kSecondsAllowed = 10;
  ScratchFolder dir;
};

TEST_F(HostileInputs, AreRefusedAtOnceWithOneLineAndTheirCode) {
  const MeasuredRun baseline = Run({"info", "doc.tsa"});
  ASSERT_EQ(baseline.code, 0) << baseline.output;
  const std::vector<std::string> swap = {"apply", "doc.tsa", "-o", "out.png", "--effect", "Combine add", "--swap"};
  const std::vector<std::string> render = {"render", "doc.tsa", "-o", "out.tsa", "--project"};
  const auto with = [](std::vector<std::string> head, std::vector<std::string> tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  };
  const struct {
    std::vector<std::string> args;
    int code;
    std::string message;
    std::vector<std::string> env = {};
  } cases[] = {
      // A BMP layout the image library's reader crashed on, whichever way it arrives.
      {{"convert", "rle24.bmp", "out.tsa"}, 65, "rle24.bmp: Compression not currently supported."},
      {{"info", "rle24.png"}, 65, "rle24.png: not a readable image (BMP compression 1 with 24 bits per pixel)"},
      {with(swap, {"rle24.bmp"}), 65, "rle24.bmp: not a readable image"},
      {{"convert", "doc.tsa", "out.tsa", "--alpha", "rle24.bmp"}, 65, "rle24.bmp: not a readable image"},
      // Tiny files declaring huge pictures.
      {{"info", "huge.bmp"}, 65, "huge.bmp: Not a BMP (it declares 32767x32767 pixels"},
      {with(swap, {"huge.bmp"}), 65, "huge.bmp: not a readable image (image size 32767x32767"},
      {{"info", "huge.png"}, 65, "huge.png: image size 32767x16383 is 536821761 pixels, more than the 268435456 allowed"},
      {with(swap, {"huge.png"}), 65, "huge.png: image size 32767x16383"},
      {with(swap, {"huge.png", "--max-pixels", "536870912"}), 65, "too large for a second image of a 8x6 frame"},
      {{"info", "runs.png"}, 65, "runs.png: not a readable image (the BMP declares 16384x16384 pixels in 2 bytes"},
      {with(swap, {"runs.png"}), 65, "runs.png: not a readable image"},
      // A video reader would follow the playlist; no such reader is used.
      {{"info", "clip.mp4"}, 65, "clip.mp4: not a readable image (not PNG, JPEG, TIFF, OpenEXR, BMP"},
      {with(swap, {"clip.mp4"}), 65, "clip.mp4: not a readable image"},
      // Project files: size, nesting and text length are capped before a document is built.
      {with(render, {"brackets.json"}), 65, "brackets.json is 67108864 bytes, more than a project file holds"},
      {with(render, {"deep.json"}), 65, "deep.json nests deeper than 8 levels"},
      {with(render, {"long-name.json"}), 65, "long-name.json holds a text of 1048576 bytes"},
      {with(render, {"escapes.json"}), 65, "unknown effect"},
      // Pipes and devices are refused, not waited on; settings too.
      {{"info", "fifo.tsa"}, 66, "cannot open fifo.tsa: it is a named pipe, not a file"},
      {with(render, {"fifo.json"}), 66, "cannot open fifo.json: it is a named pipe"},
      {with(swap, {"fifo.png"}), 66, "cannot open fifo.png: it is a named pipe"},
      {{"info", "/dev/zero"}, 66, "cannot open /dev/zero: it is a character device"},
      {{"convert", "doc.tsa", "out.tsa"}, 66, "settings.ini: it is a named pipe", {"TESSFX_CONFIG_DIR=cfg-fifo"}},
      // The temporary folder must be the user's own, private, and not a link.
      {{"convert", "doc.tsa", "out.tsa"}, 73, "open-tmp has mode 0755; it must be 0700", {"TESSFX_TEMP_DIR=open-tmp"}},
      {{"convert", "doc.tsa", "out.tsa"}, 73, "linked-tmp is a link", {"TESSFX_TEMP_DIR=linked-tmp"}},
      // A start number the numbering rule cannot hold names the file instead of another one.
      {with({"render", "doc.tsa", "-o", "out.tsa", "--effect", "Color add", "--sequence"}, {"take40000.bmp"}), 65,
       "take40000.bmp: its number 40000 is beyond 32767"},
      {{"convert", "take40000.bmp", "out.tsa"}, 65, "take40000.bmp: its number 40000 is beyond 32767"},
  };
  for (const auto& c : cases) {
    std::string shown;
    for (const std::string& a : c.args) shown += a.substr(0, 40) + " ";
    SCOPED_TRACE(shown);
    const MeasuredRun run = Run(c.args, c.env);
    EXPECT_FALSE(run.timed_out);
    EXPECT_EQ(run.code, c.code) << run.output;
    EXPECT_THAT(run.output, HasSubstr(c.message));
    EXPECT_EQ(run.output.rfind("tessfx: ", 0), 0u) << run.output;
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 1) << run.output.substr(0, 400);
    for (const std::string raw : {"\x1b", "\x07", "\xc2\x9b", "\xe2\x80\xae"})  // ESC, BEL, CSI, right-to-left
      EXPECT_EQ(run.output.find(raw), std::string::npos) << run.output;
    EXPECT_LT(run.output.size(), 1024u);
    // Within the program's own size: the frames here are 8 x 6, so any large allocation shows.
    EXPECT_LT(run.peak_rss_kb, baseline.peak_rss_kb + 64 * 1024) << "baseline " << baseline.peak_rss_kb << " KB";
    EXPECT_FALSE(fs::exists(dir / "out.tsa") || fs::exists(dir / "out.png"));
    if (fs::exists(dir / "tmp")) {
      EXPECT_TRUE(fs::is_empty(dir / "tmp"));  // no frame store left behind
    }
  }
  EXPECT_TRUE(fs::is_empty(dir / "elsewhere"));
}

TEST_F(HostileInputs, NamesThatLookOddStillOpen) {
  fs::create_directories(dir / "seq");
  for (const char* name : {"seq/take.0001.bmp", "seq/take.0002.bmp", "seq/take.0003.bmp", "odd#1.bmp", "50%d.bmp"})
    samples::WriteFile(dir / name, samples::BuildBmp(samples::Gradient24(8, 6)));
  fs::copy_file(dir / "doc.tsa", dir / "take#2.tsa");
  fs::remove(dir / "take40001.bmp");  // alone, a number the rule cannot hold is just a picture
  const std::string long_name = std::string(251, 'n') + ".tsa";  // its temporary name must fit too
  const struct {
    std::vector<std::string> args;
    std::string said;
  } cases[] = {
      {{"info", "seq/take.####.bmp"}, "8x6, 3 frames, format bmp sequence"},
      {{"convert", "seq/take.####.bmp", "out.tsa"}, "8x6, 3 frames"},
      {{"info", "odd#1.bmp"}, "8x6, 1 frame"},
      {{"convert", "50%d.bmp", "out.png"}, "8x6, 1 frame"},
      {{"convert", "take#2.tsa", "out.png"}, "frame 0 of take#2.tsa"},
      {{"info", "take40000.bmp"}, "8x6, 1 frame, format bmp image"},
      {{"convert", "doc.tsa", long_name}, "8x6, 2 frames"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[1]);
    const MeasuredRun run = Run(c.args);
    EXPECT_EQ(run.code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr(c.said));
  }
  EXPECT_TRUE(fs::exists(dir / long_name));
  for (const auto& entry : fs::directory_iterator(dir.str()))  // no temporary file left beside the outputs
    EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
}

}  // namespace
}  // namespace tessfx
