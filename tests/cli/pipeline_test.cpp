// The command line in a pipeline: a plate numbered from 1001 rendered and converted by its
// own frame numbers, split and interrupted jobs finished with --no-clobber, output depth,
// `info --json`, gaps, mistakes refused before any work, and progress on a terminal and off it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/scratch_folder.h"
#include "media/image_io.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int code = -1;
  std::string out, err;
};

std::vector<char*> Argv(std::vector<std::string>& args) {
  std::vector<char*> argv{const_cast<char*>(TESSFX_BINARY)};
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  return argv;
}

// Runs tessfx in `dir` with extra environment `env`, keeping standard output and error apart.
// With `interrupt_at`, Ctrl-C reaches it as soon as its standard error shows that text; the
// error pipe holds one page, so the program cannot run far ahead of what was read.
Outcome Tessfx(const std::string& dir, std::vector<std::string> args, const std::vector<std::string>& env = {},
           const std::string& interrupt_at = {}) {
  int out[2], err[2];
  if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) return {};
  ::fcntl(err[0], F_SETPIPE_SZ, 4096);
  std::vector<char*> argv = Argv(args);
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (::chdir(dir.c_str()) != 0) ::_exit(127);
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(err[1], STDERR_FILENO);
    for (const std::string& e : env) ::putenv(const_cast<char*>(e.c_str()));
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(out[1]);
  ::close(err[1]);
  Outcome r;
  bool interrupt = !interrupt_at.empty();
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* text[2] = {&r.out, &r.err};
  for (int open = 2; open > 0;) {
    if (::poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char buf[4096];
      const ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
      if (n <= 0) {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open;
        continue;
      }
      text[i]->append(buf, static_cast<size_t>(n));
      if (i == 1 && interrupt && r.err.find(interrupt_at) != std::string::npos) {
        ::kill(pid, SIGINT);
        interrupt = false;
      }
    }
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

// Runs tessfx in `dir` on a terminal of its own; returns everything it showed there.
Outcome OnTerminal(const std::string& dir, std::vector<std::string> args) {
  std::vector<char*> argv = Argv(args);
  int terminal = -1;
  const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid == 0) {
    if (::chdir(dir.c_str()) != 0) ::_exit(127);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  Outcome r;
  char buf[4096];
  for (ssize_t n; (n = ::read(terminal, buf, sizeof buf)) > 0;) r.out.append(buf, static_cast<size_t>(n));
  ::close(terminal);
  int status = 0;
  ::waitpid(pid, &status, 0);
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1) {
    std::string line = text.substr(start, nl - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();  // a terminal ends lines with CR LF
    lines.push_back(line);
  }
  return lines;
}

using ::tessfx::testing::FileContents;

// The names in `dir` that start with `prefix`, sorted.
std::vector<std::string> Files(const std::string& dir, const std::string& prefix) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(dir))
    if (e.path().filename().string().rfind(prefix, 0) == 0) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> Numbered(const std::string& prefix, int first, int last, const std::string& ext) {
  std::vector<std::string> names;
  for (int n = first; n <= last; ++n) names.push_back(prefix + std::to_string(n) + ext);
  return names;
}

RgbaPlanes Pixels(const std::string& path) {
  RgbaPlanes p;
  ReadImage(path, p);
  return p;
}

bool SamePixels(const std::string& a, const std::string& b) {
  const RgbaPlanes pa = Pixels(a), pb = Pixels(b);
  for (size_t c = 0; c < 3; ++c)
    if (!(pa[c] == pb[c])) return false;
  return true;
}

class Pipeline : public ::testing::Test {
 protected:
  // A noise plate of `frames` frames, plate.1001.png on.
  void MakePlate(int frames, const std::string& size = "48x32") {
    ASSERT_EQ(Tessfx(dir.str(), {"new", "gen.####.png", "--size", size, "--frames", std::to_string(frames),
                                 "--pattern", "noise"}).code, 0);
    const Outcome r = Tessfx(dir.str(), {"convert", "gen.####.png", "plate.####.png", "--first", "1001", "-q"});
    ASSERT_EQ(r.code, 0) << r.err;
    for (const std::string& f : Files(dir.str(), "gen.")) fs::remove(dir / f);
  }

  testing::ScratchFolder dir;
};

TEST_F(Pipeline, APlateNumberedFrom1001IsAddressedByItsOwnNumbers) {
  MakePlate(8);
  const Outcome info = Tessfx(dir.str(), {"info", "--json", "plate.####.png"});
  ASSERT_EQ(info.code, 0) << info.err;
  const nlohmann::json j = nlohmann::json::parse(info.out);
  EXPECT_EQ(j["kind"], "sequence");
  EXPECT_EQ(j["frames"], 8);
  EXPECT_EQ(std::vector<int64_t>({j["first_frame"], j["last_frame"]}), std::vector<int64_t>({1001, 1008}));
  EXPECT_EQ(j["numbering"], "file");
  EXPECT_TRUE(j["gaps"].empty());
  EXPECT_EQ(std::tuple(j["width"], j["height"], j["channels"]), std::tuple(48, 32, 3));
  EXPECT_EQ(std::tuple(j["sample_type"], j["bits_per_sample"], j["format"]), std::tuple("uint8", 8, "png"));
  EXPECT_EQ(j["colour_space"], "sRGB");

  // A range renders exactly its files, numbered as the plate is; apply on one of those
  // numbers reads that same file and gives the same picture.
  Outcome r = Tessfx(dir.str(), {"render", "plate.####.png", "-o", "out.####.png", "--effect", "Color noise", "--frames",
                             "1003-1005"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Files(dir.str(), "out."), Numbered("out.", 1003, 1005, ".png"));
  ASSERT_EQ(Tessfx(dir.str(), {"apply", "plate.####.png", "--frame", "1004", "--effect", "Color noise", "-o", "one.png"})
                .code, 0);
  EXPECT_TRUE(SamePixels(dir / "one.png", dir / "out.1004.png"));
  EXPECT_FALSE(SamePixels(dir / "one.png", dir / "plate.1004.png"));

  // --first renumbers from the plate's first frame, so a later range lands after it.
  r = Tessfx(dir.str(), {"render", "plate.####.png", "-o", "renum.####.png", "--effect", "Negative", "--frames",
                         "1002,1004", "--first", "1"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Files(dir.str(), "renum."), std::vector<std::string>({"renum.0002.png", "renum.0004.png"}));

  // Converting a range to 16 bits: exactly those files, read back as 16-bit, same picture.
  r = Tessfx(dir.str(), {"convert", "plate.####.png", "deep.####.tif", "--frames", "1006-1008", "-d", "uint16"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Files(dir.str(), "deep."), Numbered("deep.", 1006, 1008, ".tif"));
  const ImageInfo deep = ProbeImage(dir / "deep.1007.tif");
  EXPECT_EQ(std::tuple(deep.sample_type, deep.bits), std::tuple(std::string("uint16"), 16));
  EXPECT_TRUE(SamePixels(dir / "deep.1007.tif", dir / "plate.1007.png"));

  // A .tsa output holds the whole animation with only the chosen frame changed; a .tsa's
  // frames go by their index from 0.
  ASSERT_EQ(Tessfx(dir.str(), {"render", "plate.####.png", "-o", "whole.tsa", "--effect", "Negative", "--frames", "1002"})
                .code, 0);
  const TsaReader whole(dir / "whole.tsa");
  ASSERT_EQ(whole.header().frames, 8);
  Plane red;
  for (int32_t f : {0, 1, 2}) {
    whole.ReadPlane(f, Channel::R, red);
    const RgbaPlanes plate = Pixels(dir / ("plate.100" + std::to_string(f + 1) + ".png"));
    EXPECT_EQ(red.at(5, 7) == plate[0].at(5, 7), f != 1) << f;
  }
  r = Tessfx(dir.str(), {"convert", "whole.tsa", "idx.####.png", "--frames", "1-2"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Files(dir.str(), "idx."), std::vector<std::string>({"idx.0001.png", "idx.0002.png"}));
}

TEST_F(Pipeline, AnInterruptedRenderIsFinishedByANoClobberRerunWithTheSameFrames) {
  MakePlate(250, "24x16");
  const std::vector<std::string> render = {"render", "plate.####.png", "--effect", "Color noise", "--threads", "1"};
  auto with = [&](std::vector<std::string> extra) {
    std::vector<std::string> args = render;
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  };
  const Outcome cut = Tessfx(dir.str(), with({"-o", "out.####.png", "-v"}), {}, "rendered frame 1001");
  EXPECT_EQ(cut.code, 130) << cut.err.substr(cut.err.size() > 400 ? cut.err.size() - 400 : 0);
  // Exactly the frames rendered before the stop are written, and the message names them.
  const std::vector<std::string> written = Files(dir.str(), "out.");
  ASSERT_GT(written.size(), 0u);
  ASSERT_LT(written.size(), 250u);
  const int last = 1000 + static_cast<int>(written.size());
  EXPECT_EQ(written, Numbered("out.", 1001, last, ".png"));
  const std::string range = last == 1001 ? "1001" : "1001-" + std::to_string(last);
  EXPECT_NE(cut.err.find("holds frame" + std::string(last == 1001 ? " " : "s ") + range + " as "), std::string::npos)
      << Lines(cut.err).back();

  const Outcome rest = Tessfx(dir.str(), with({"-o", "out.####.png", "-n"}));
  ASSERT_EQ(rest.code, 0) << rest.err;
  EXPECT_NE(rest.out.find("skipped, their files exist (" + range + ")"), std::string::npos) << rest.out;
  // Two runs give what one uninterrupted run gives, file for file: each frame renders alone.
  ASSERT_EQ(Tessfx(dir.str(), with({"-o", "full.####.png", "-q"})).code, 0);
  for (int n = 1001; n <= 1250; ++n)
    ASSERT_EQ(FileContents(dir / ("out." + std::to_string(n) + ".png")), FileContents(dir / ("full." + std::to_string(n) + ".png")))
        << n;
  const Outcome again = Tessfx(dir.str(), with({"-o", "out.####.png", "-n"}));
  EXPECT_EQ(again.code, 0);
  EXPECT_NE(again.out.find("nothing to render"), std::string::npos) << again.out;
}

TEST_F(Pipeline, MistakesAreRefusedBeforeAnyWorkWithOneLineAndTheirCode) {
  MakePlate(5);
  fs::create_directory(dir / "gappy");
  for (int n : {1001, 1002, 1004, 1005}) fs::copy(dir / ("plate." + std::to_string(n) + ".png"), dir / "gappy");
  const std::string plate_1003 = FileContents(dir / "plate.1003.png");
  const struct {
    std::vector<std::string> args;
    int code;
    std::string text;
  } cases[] = {
      {{"render", "gappy/plate.####.png", "-o", "o.####.png", "--effect", "Negative"}, 66,
       "gappy/plate.1003.png is missing (--allow-gaps"},
      {{"render", "plate.####.png", "-o", "o.####.png", "--effect", "Negative", "--frames", "1-3"}, 64,
       "frame 1 is outside the animation (frames 1001..1005)"},
      {{"apply", "plate.####.png", "-o", "o.png", "--effect", "Negative", "--frame", "5"}, 64, "outside 1001..1005"},
      {{"gallery", "o.png", "--input", "plate.####.png", "--frame", "1006"}, 64, "outside 1001..1005"},
      // The source is never re-encoded by a pattern that names it, unless asked.
      {{"convert", "plate.####.png", "plate.%04d.png"}, 64, "would replace the input file plate.1001.png"},
      {{"render", "plate.####.png", "-o", "plate.####.png", "--effect", "Negative", "--frames", "1003"}, 64,
       "give --in-place"},
      {{"render", "plate.####.png", "-o", "missing/o.####.png", "--effect", "Negative"}, 73,
       "the folder missing does not exist"},
      {{"render", "plate.####.png", "-o", "o.png", "--effect", "Negative"}, 64, "such as o.####.png"},
      {{"convert", "plate.####.png", "o.####.jpg", "-d", "uint16"}, 64, "the jpeg writer would store uint8"},
      // Writers store their default without a word for names and settings they do not know.
      {{"convert", "plate.####.png", "o.####.exr", "--compression", "zstd"}, 64,
       "the OpenEXR writer knows none, rle, zip[:1-9], zips[:1-9], piz,"},
      {{"convert", "plate.####.png", "o.####.tif", "--compression", "zip:12"}, 64, "the level of zip runs from 1 to 9"},
      {{"convert", "plate.####.png", "o.####.exr", "--compression", "piz:3"}, 64, "piz takes no level in OpenEXR"},
      {{"convert", "plate.####.png", "o.####.dpx", "--compression", "rle"}, 64, "the DPX writer stores images one way"},
      {{"convert", "plate.####.png", "o.####.png", "--quality", "80"}, 64, "the PNG writer has no quality setting"},
      {{"convert", "plate.####.png", "o.####.tif", "--quality", "80"}, 64, "with --compression jpeg only"},
      {{"render", "plate.####.png", "-o", "o.tsa", "--effect", "Negative", "-n"}, 64, "written whole"},
      {{"convert", "plate.####.png", "o.tsa", "--first", "7"}, 64, "--first numbers the files of an image sequence"},
  };
  for (const auto& c : cases) {
    const Outcome r = Tessfx(dir.str(), c.args);
    SCOPED_TRACE(c.args.front() + " " + c.args.back());
    EXPECT_EQ(r.code, c.code) << r.err;
    EXPECT_NE(r.err.find(c.text), std::string::npos) << r.err;
    EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(Files(dir.str(), "o.").size(), 0u);
    EXPECT_FALSE(fs::exists(dir / "missing"));
  }
  EXPECT_EQ(FileContents(dir / "plate.1003.png"), plate_1003);

  // An unknown command and no command both list the commands; --version names the program.
  const Outcome none = Tessfx(dir.str(), {});
  EXPECT_EQ(none.code, 0);
  EXPECT_NE(none.out.find("render"), std::string::npos);
  const Outcome unknown = Tessfx(dir.str(), {"frobnicate"});
  EXPECT_EQ(unknown.code, 64);
  EXPECT_EQ(Lines(unknown.err).front(), "tessfx: unknown command \"frobnicate\"");
  EXPECT_NE(unknown.err.find("convert"), std::string::npos);
  const Outcome version = Tessfx(dir.str(), {"--version"});
  EXPECT_EQ(version.code, 0);
  EXPECT_EQ(version.out.rfind("tessfx ", 0), 0u) << version.out;

  // Names and qualities the writers honour are taken, HEIF's quality through its codec's level.
  for (const char* quality : {"5", "95"})
    ASSERT_EQ(Tessfx(dir.str(), {"convert", "plate.####.png", std::string("q") + quality + ".####.heic", "--frames",
                                 "1001", "--quality", quality}).code, 0);
  EXPECT_LT(fs::file_size(dir / "q5.1001.heic") * 2, fs::file_size(dir / "q95.1001.heic"));
  const Outcome lossy_tiff = Tessfx(dir.str(), {"convert", "plate.####.png", "t.####.tif", "--frames", "1001",
                                                "--compression", "jpeg", "--quality", "40"});
  EXPECT_EQ(lossy_tiff.code, 0) << lossy_tiff.err;

  // A gap is described, not refused, by info; allowed, it repeats the frame before it.
  const nlohmann::json gappy = nlohmann::json::parse(Tessfx(dir.str(), {"info", "--json", "gappy/plate.####.png"}).out);
  EXPECT_EQ(gappy["gaps"], nlohmann::json::array({1003}));
  EXPECT_EQ(gappy["frames"], 5);
  const Outcome filled = Tessfx(dir.str(), {"convert", "gappy/plate.####.png", "filled.####.png", "--allow-gaps"});
  ASSERT_EQ(filled.code, 0) << filled.err;
  EXPECT_EQ(Files(dir.str(), "filled."), Numbered("filled.", 1001, 1005, ".png"));
  EXPECT_TRUE(SamePixels(dir / "filled.1003.png", dir / "plate.1002.png"));

  // Only the frame asked for is read: a damaged file elsewhere does not stop apply, while a
  // render that needs it stops before writing anything.
  std::ofstream(dir / "gappy/plate.1005.png") << "damaged";
  EXPECT_EQ(Tessfx(dir.str(), {"apply", "gappy/plate.####.png", "--allow-gaps", "--frame", "1002", "--effect",
                               "Negative", "-o", "x.png"}).code, 0);
  const Outcome damaged = Tessfx(dir.str(), {"render", "gappy/plate.####.png", "--allow-gaps", "-o", "d.####.png",
                                         "--effect", "Negative"});
  EXPECT_EQ(damaged.code, 65);
  EXPECT_NE(damaged.err.find("gappy/plate.1005.png"), std::string::npos) << damaged.err;
  EXPECT_TRUE(Files(dir.str(), "d.").empty());
}

TEST_F(Pipeline, ProgressUpdatesOneLinePerPhaseOnATerminalAndPrintsPlainLinesElsewhere) {
  MakePlate(6);
  const std::vector<std::string> render = {"render", "plate.####.png", "-o", "o.####.png", "--effect", "Negative"};
  const Outcome tty = OnTerminal(dir.str(), render);
  ASSERT_EQ(tty.code, 0) << tty.out;
  // Each phase redraws its line in place and ends it once, finished.
  const std::vector<std::string> lines = Lines(tty.out);
  ASSERT_EQ(lines.size(), 4u) << tty.out;
  const char* phases[] = {"loading", "rendering", "saving"};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_GT(std::count(lines[i].begin(), lines[i].end(), '\r'), 1) << lines[i];
    const std::string last = lines[i].substr(lines[i].rfind('\r') + 1);
    EXPECT_EQ(last.rfind(phases[i], 0), 0u) << last;
    for (const char* part : {"6/6", "100%", "frame 1006", "fps", " in 0:0"})
      EXPECT_NE(last.find(part), std::string::npos) << part << " in " << last;
  }
  EXPECT_NE(lines[1].find("left"), std::string::npos);
  EXPECT_EQ(lines[3].rfind("wrote o.####.png: 6 frames", 0), 0u) << lines[3];

  // Not a terminal: plain lines as often as asked (here every frame), then a closing one;
  // the summary alone on standard output.
  const Outcome log = Tessfx(dir.str(), render, {"TESSFX_PROGRESS_INTERVAL=0"});
  ASSERT_EQ(log.code, 0) << log.err;
  EXPECT_EQ(log.err.find('\r'), std::string::npos);
  std::vector<std::string> rendering;
  for (const std::string& l : Lines(log.err))
    if (l.rfind("rendering: ", 0) == 0) rendering.push_back(l);
  ASSERT_EQ(rendering.size(), 6u) << log.err;
  EXPECT_EQ(rendering[2].rfind("rendering: 3/6 (50%), frame 1003, ", 0), 0u) << rendering[2];
  EXPECT_NE(rendering[2].find(" left"), std::string::npos);
  EXPECT_EQ(rendering[5].rfind("rendering: 6/6 (100%), ", 0), 0u);
  EXPECT_NE(rendering[5].find(", in 0:0"), std::string::npos);
  EXPECT_EQ(Lines(log.out).size(), 1u);

  // A quick run with the default interval says nothing but its summary; quiet not even that.
  const Outcome quick = Tessfx(dir.str(), render);
  EXPECT_EQ(std::tuple(quick.code, quick.err, Lines(quick.out).size()), std::tuple(0, std::string(), size_t{1}));
  std::vector<std::string> quiet_args = render;
  quiet_args.push_back("-q");
  const Outcome quiet = Tessfx(dir.str(), quiet_args);
  EXPECT_EQ(std::tuple(quiet.code, quiet.out + quiet.err), std::tuple(0, std::string()));
}

}  // namespace
}  // namespace tessfx
