// The render, undo and keys commands, run as the user runs them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <nlohmann/json.hpp>

#include "media/tsa.h"
#include "render/rig.h"

namespace tessfx {
namespace {

using testing::FileBytes;

struct Result {
  int code = -1;
  std::string output;
};

std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

class Cli : public ::testing::Test {
 protected:
  void SetUp() override { dir = testing::TestFolder("cli"); }

  // Runs the program with its output and errors together, its undo file and settings kept in
  // this test's folder. With `interrupt_at`, Ctrl-C reaches it once it has printed a line
  // holding that text.
  // With `at_line` given, it is called instead, the program waiting on its full pipe meanwhile.
  Result Run(const std::vector<std::string>& args, const std::string& interrupt_at = {},
             const std::function<void()>& at_line = {}) {
    // The shell prints its process id, which the program takes over.
    std::string cmd = "echo $$; exec env";
    for (const std::string& a : {"TESSFX_TEMP_DIR=" + dir + "/temp", "TESSFX_CONFIG_DIR=" + dir + "/config",
                                 std::string(TESSFX_BINARY)})
      (cmd += ' ') += Quote(a);
    for (const std::string& a : args) (cmd += ' ') += Quote(a);
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    // A one-page pipe: a long render's per-frame lines fill it long before its last frame, so
    // it cannot finish before the interrupt arrives.
    fcntl(fileno(p), F_SETPIPE_SZ, 4096);
    char line[4096];
    const pid_t pid = fgets(line, sizeof line, p) ? std::atoi(line) : 0;
    Result r;
    bool interrupt = !interrupt_at.empty();
    while (fgets(line, sizeof line, p)) {
      r.output += line;
      if (interrupt && std::string_view(line).find(interrupt_at) != std::string_view::npos && pid > 0) {
        if (at_line)
          at_line();
        else
          kill(pid, SIGINT);
        interrupt = false;
      }
    }
    const int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
  }

  // A black animation (frames never painted read as black).
  std::string Black(int32_t w, int32_t h, int32_t frames) {
    testing::MakeTestHost(w, h, frames)->SaveDocument(dir + "/black.tsa");
    return dir + "/black.tsa";
  }

  // Every sample of every plane of each frame, checked against the expected red per frame
  // (green and blue stay black).
  static void ExpectRed(const std::string& path, const std::vector<int>& red) {
    TsaReader reader(path);
    Plane p;
    for (int32_t f = 0; f < reader.header().frames; ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B}) {
        reader.ReadPlane(f, c, p);
        const int expected = c == Channel::R ? red[static_cast<size_t>(f)] : 0;
        ASSERT_EQ(static_cast<size_t>(std::count(p.data(), p.data() + p.size(), expected)), p.size())
            << "frame " << f << " channel " << static_cast<int>(c) << " starts with " << int(p.data()[0]);
      }
  }

  std::string dir;
};

TEST_F(Cli, LinearAndSplineRampsAndUndo) {
  const std::string in = Black(16, 8, 30), out = dir + "/out.tsa", curved = dir + "/curved.tsa";
  const Result r = Run({"render", in, "-o", out, "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,0",
                        "--undo"});
  ASSERT_EQ(r.code, 0) << r.output;
  ASSERT_EQ(Run({"render", in, "-o", curved, "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,0",
                 "--spline"}).code, 0);
  // Linear: the straight line through both keys. Spline: phantom control points 5 frames
  // beyond each key, repeating its value; lead-in and lead-out are single frames here.
  std::vector<int> line(30);
  for (size_t i = 0; i < 30; ++i) line[i] = RoundHalfEven(255.0 * static_cast<double>(i) / 29);
  const std::vector<int> curve = {4,   12,  20,  28,  37,  46,  55,  64,  73,  81,  91,  100, 109, 118, 126,
                                  136, 145, 154, 163, 173, 181, 190, 199, 208, 217, 226, 234, 243, 251, 255};
  ExpectRed(out, line);
  ExpectRed(curved, curve);

  const Result u = Run({"undo", out, "-o", curved});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(curved), FileBytes(in));

  // The same set-up from a project file gives the same frames.
  const std::string project = dir + "/ramp.json";
  std::ofstream(project) << R"({"format": "tessfx-project", "version": 1, "effect": "Color add",
    "keys": [{"frame": 0, "values": [0, 0, 0, 0, 0, 0]}, {"frame": 29, "values": [1, 0, 0, 0, 0, 0]}]})";
  ASSERT_EQ(Run({"render", in, "-o", curved, "--project", project}).code, 0);
  EXPECT_EQ(FileBytes(curved), FileBytes(out));
}

TEST_F(Cli, MistakesEndWithOneLineAndTheirCode) {
  const std::string in = Black(4, 4, 5), out = dir + "/x.tsa";
  // A project brings its swap image: the keyer needs no --swap then, but the file must be there.
  const std::string keyed = dir + "/keyed.json", lost = dir + "/lost.json";
  ASSERT_EQ(Run({"new", dir + "/plate.png", "--size", "4x4", "--frames", "1"}).code, 0);
  std::ofstream(keyed) << R"({"format": "tessfx-project", "version": 1, "effect": "Greenscreen", "swap": {"image_file": ")"
                       << dir << R"(/plate.png"}})";
  std::ofstream(lost) << R"({"format": "tessfx-project", "version": 1, "effect": "Greenscreen", "swap": {"image_file": ")"
                      << dir << R"(/gone.png"}})";
  EXPECT_EQ(Run({"render", in, "-o", out, "--project", keyed}).code, 0);
  const struct {
    std::vector<std::string> args;
    int code;
    std::string text;
  } cases[] = {
      {{"render", in, "-o", out, "--effect", "Colour add"}, 64, "did you mean \"Color add\""},
      {{"render", in, "-o", out, "--effect", "Color add", "--frames", "3-9"}, 64, "frame 9 is outside"},
      {{"render", in, "-o", out, "--effect", "Color add", "--key", "1:300"}, 64, "outside -255..255"},
      {{"render", in, "-o", out, "--effect", "Color add", "--values=1,2,3,4"}, 64, "has 3 sliders"},
      {{"undo", in, "-o", out}, 66, "nothing to undo"},
      // Effects of the swap image need one, before any work is done.
      {{"render", in, "-o", out, "--effect", "Greenscreen"}, 64, "no swap image: give --swap FILE"},
      {{"apply", in, "-o", out, "--effect", "combine ADD"}, 64, "no swap image: give --swap FILE"},
      {{"render", in, "-o", out, "--project", lost}, 66, "gone.png"},
      // One picture would keep one of five rendered frames.
      {{"render", in, "-o", dir + "/x.png", "--effect", "Negative"}, 64, "such as " + dir + "/x.####.png"},
  };
  for (const auto& c : cases) {
    const Result r = Run(c.args);
    EXPECT_EQ(r.code, c.code) << r.output;
    EXPECT_NE(r.output.find(c.text), std::string::npos) << r.output;
    EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1) << r.output;
  }
}

// The echo reads earlier frames while the render overwrites frames; backwards, each frame
// still reads originals, and the undo file puts every frame back as it was.
TEST_F(Cli, GhostRenderIsUndoneByteForByte) {
  const std::string in = dir + "/noise.tsa", out = dir + "/ghost.tsa", back = dir + "/back.tsa";
  ASSERT_EQ(Run({"new", in, "--size", "23x9", "--frames", "7", "--pattern", "noise"}).code, 0);
  const Result r = Run({"render", in, "-o", out, "--effect", "ghost", "--key", "0:3", "--key", "6:16", "--undo"});
  ASSERT_EQ(r.code, 0) << r.output;
  EXPECT_NE(FileBytes(out), FileBytes(in));
  const Result u = Run({"undo", out, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(in));
}

TEST_F(Cli, KeysTable) {
  const Result r = Run({"keys", "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,-255",
                        "--frames-total", "30", "--json"});
  ASSERT_EQ(r.code, 0) << r.output;
  const nlohmann::json frames = nlohmann::json::parse(r.output)["frames"];
  ASSERT_EQ(frames.size(), 30u);
  for (int f = 0; f < 30; ++f) EXPECT_NEAR(frames[f]["values"][2].get<double>(), -255.0 * f / 29, 1e-3) << f;
}

// Ctrl-C part-way: the render stops after the current frame, saves what it rendered, ends
// with 130 and leaves an undo file that restores the input.
TEST_F(Cli, InterruptedRenderSavesItsFramesAndCanBeUndone) {
  const std::string in = Black(16, 12, 1000), out = dir + "/out.tsa", back = dir + "/back.tsa";
  const Result r =
      Run({"render", in, "-o", out, "--effect", "Color add", "--values=9", "--undo", "-v"}, "rendered frame");
  EXPECT_EQ(r.code, 130) << r.output;
  EXPECT_NE(r.output.find("interrupted by Ctrl-C after"), std::string::npos)
      << r.output.substr(std::max<size_t>(r.output.size(), 300) - 300);
  // The frames rendered are those whose line was printed.
  int rendered = 0;
  for (size_t at = 0; (at = r.output.find("rendered frame ", at)) != std::string::npos; ++at) ++rendered;
  ASSERT_GT(rendered, 0);
  ASSERT_LT(rendered, 1000);
  std::vector<int> red(1000, 0);
  std::fill_n(red.begin(), rendered, 9);
  ExpectRed(out, red);

  const Result u = Run({"undo", out, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_NE(u.output.find(": " + std::to_string(rendered) + " frame"), std::string::npos) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(in));
}

// The undo data stays until the restored document is on disk, goes back only into the
// document the render wrote while its frames are as the render left them, and is never
// shared by two processes at once.
TEST_F(Cli, UndoBelongsToTheDocumentItRendered) {
  const std::string a = dir + "/a.tsa", b = dir + "/b.tsa", out_a = dir + "/out_a.tsa", out_b = dir + "/out_b.tsa",
                    back = dir + "/back.tsa";
  ASSERT_EQ(Run({"new", a, "--size", "9x7", "--frames", "4", "--pattern", "noise"}).code, 0);
  ASSERT_EQ(Run({"new", b, "--size", "9x7", "--frames", "4", "--pattern", "bars"}).code, 0);
  auto one_line = [](const Result& r) { return std::count(r.output.begin(), r.output.end(), '\n') == 1; };
  ASSERT_EQ(Run({"render", a, "-o", out_a, "--effect", "Negative", "--undo"}).code, 0);

  // A save that cannot happen keeps the undo data for the next try.
  Result u = Run({"undo", out_a, "-o", dir + "/no/such/folder/a.tsa"});
  EXPECT_EQ(u.code, 73) << u.output;
  u = Run({"undo", out_a, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(a));

  // Another document of the same size, and the rendered one changed since: refused, kept.
  ASSERT_EQ(Run({"render", a, "-o", out_a, "--effect", "Negative", "--undo"}).code, 0);
  ASSERT_EQ(Run({"render", b, "-o", out_b, "--effect", "Negative", "--undo"}).code, 0);
  u = Run({"undo", out_a, "-o", back});
  EXPECT_EQ(u.code, 65) << u.output;
  EXPECT_EQ(u.output.rfind("tessfx: can't undo: frame 0 is not as the render left it", 0), 0u) << u.output;
  EXPECT_TRUE(one_line(u)) << u.output;
  ASSERT_EQ(Run({"render", out_b, "-o", out_b, "--in-place", "--effect", "Negative", "--frames",
                 "2"}).code, 0);
  u = Run({"undo", out_b, "-o", back});
  EXPECT_EQ(u.code, 65) << u.output;
  EXPECT_NE(u.output.find("can't undo: frame 2 is not as"), std::string::npos) << u.output;
  ASSERT_EQ(Run({"render", out_b, "-o", out_b, "--in-place", "--effect", "Negative", "--frames",
                 "2"}).code, 0);
  u = Run({"undo", out_b, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(b));

  // A render with undo holds the undo file: a second one, and an undo, refuse meanwhile.
  const std::string long_in = Black(16, 12, 300), long_out = dir + "/long.tsa";
  Result second, undo_meanwhile;
  const Result first = Run({"render", long_in, "-o", long_out, "--effect", "Color add", "--values=9", "--undo", "-v"},
                           "rendered frame", [&] {
                             second = Run({"render", a, "-o", out_a, "--effect", "Negative", "--undo"});
                             undo_meanwhile = Run({"undo", out_a, "-o", back});
                           });
  ASSERT_EQ(first.code, 0) << first.output.substr(first.output.size() - std::min<size_t>(first.output.size(), 300));
  EXPECT_EQ(second.code, 73) << second.output;
  EXPECT_NE(second.output.find("is in use by another tessfx"), std::string::npos) << second.output;
  EXPECT_TRUE(one_line(second)) << second.output;
  EXPECT_EQ(undo_meanwhile.code, 73) << undo_meanwhile.output;
  u = Run({"undo", long_out, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(long_in));

  // JPEG files hold their frames approximately: the undo data knows them as stored.
  ASSERT_EQ(Run({"render", a, "-o", dir + "/j.####.jpg", "--effect", "Negative", "--undo"}).code, 0);
  u = Run({"undo", dir + "/j.####.jpg", "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(FileBytes(back), FileBytes(a));
}

}  // namespace
}  // namespace tessfx
