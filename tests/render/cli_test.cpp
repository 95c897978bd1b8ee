// The render, undo and keys commands, run as the user runs them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "media/tsa.h"
#include "render/rig.h"

extern char** environ;

namespace tessfx {
namespace {

using testing::SampleSegment;
using testing::TestFolder;

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
  void SetUp() override {
    dir = TestFolder("cli");
    // The commands' undo file and settings stay inside this test's folder.
    env = {"TESSFX_TEMP_DIR=" + dir + "/temp", "TESSFX_CONFIG_DIR=" + dir + "/config"};
  }

  Result Run(const std::vector<std::string>& args) {
    std::string cmd = "env ";
    for (const std::string& e : env) {
      cmd += Quote(e);
      cmd += ' ';
    }
    cmd += Quote(TESSFX_BINARY);
    for (const std::string& a : args) {
      cmd += ' ';
      cmd += Quote(a);
    }
    cmd += " 2>&1";
    Result r;
    FILE* p = popen(cmd.c_str(), "r");
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) r.output.append(buf, n);
    const int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
  }

  // A black animation (frames never painted read as black).
  std::string Black(int32_t w, int32_t h, int32_t frames) {
    EmbeddedHostOptions o;
    o.temp_dir = dir + "/temp";
    o.settings_path = dir + "/config/settings.ini";
    o.width = w;
    o.height = h;
    o.frames = frames;
    EmbeddedHost host(o);
    const std::string path = dir + "/black.tsa";
    host.SaveDocument(path);
    return path;
  }

  static std::vector<char> Bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
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
        for (size_t i = 0; i < p.size(); ++i)
          if (p.data()[i] != expected) {
            ADD_FAILURE() << "frame " << f << " channel " << static_cast<int>(c) << ": " << int(p.data()[i])
                          << " instead of " << expected;
            return;
          }
      }
  }

  std::string dir;
  std::vector<std::string> env;
};

TEST_F(Cli, LinearRedRampAndUndo) {
  const std::string in = Black(64, 48, 30), out = dir + "/out.tsa", back = dir + "/back.tsa";
  const Result r = Run({"render", in, "-o", out, "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,0",
                        "--undo"});
  ASSERT_EQ(r.code, 0) << r.output;
  EXPECT_NE(r.output.find("29 of 0 through 29"), std::string::npos);
  std::vector<int> red(30);
  for (int f = 0; f < 30; ++f) red[f] = RoundHalfEven(255.0 * f / 29);  // the straight line through both keys
  ExpectRed(out, red);

  const Result u = Run({"undo", out, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_EQ(Bytes(back), Bytes(in));
  // The undo file went with the undo.
  const Result again = Run({"undo", out, "-o", back});
  EXPECT_EQ(again.code, 66);
  EXPECT_NE(again.output.find("nothing to undo"), std::string::npos) << again.output;

  // The same set-up from a project file gives the same frames.
  const std::string project = dir + "/ramp.json";
  std::ofstream(project) << R"({"format": "tessfx-project", "version": 1, "effect": "Color add",
    "keys": [{"frame": 0, "values": [0, 0, 0, 0, 0, 0]}, {"frame": 29, "values": [1, 0, 0, 0, 0, 0]}]})";
  const std::string from_project = dir + "/project.tsa";
  ASSERT_EQ(Run({"render", in, "-o", from_project, "--project", project}).code, 0);
  EXPECT_EQ(Bytes(from_project), Bytes(out));
}

TEST_F(Cli, SplineRedCurve) {
  const std::string in = Black(16, 8, 30), out = dir + "/out.tsa";
  const Result r = Run({"render", in, "-o", out, "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,0",
                        "--spline"});
  ASSERT_EQ(r.code, 0) << r.output;
  // Phantom control points 5 frames beyond each key, repeating its value.
  std::vector<float> table(32, 0.0f);
  const float f[4] = {-5, 0, 29, 34}, v[4] = {0, 0, 1, 1};
  SampleSegment(table, 31, 1.0 / 29.0, f, v);
  std::vector<int> red(30);
  for (int i = 0; i < 30; ++i) {
    const float value = table[static_cast<size_t>(i)] * 255.0f;  // lead-in and lead-out are single frames here
    red[i] = std::clamp(RoundHalfEven(value), 0, 255);
  }
  std::vector<int> line(30);
  for (int i = 0; i < 30; ++i) line[i] = RoundHalfEven(255.0 * i / 29);
  EXPECT_NE(red, line);
  ExpectRed(out, red);
}

TEST_F(Cli, MistakesEndWithOneLineAndTheirCode) {
  const std::string in = Black(4, 4, 5);
  const struct {
    std::vector<std::string> args;
    int code;
    std::string text;
  } cases[] = {
      {{"render", in, "-o", dir + "/x.tsa", "--effect", "Colour add"}, 64, "did you mean \"Color add\""},
      {{"render", in, "-o", dir + "/x.tsa", "--effect", "Color add", "--frames", "3-9"}, 64, "frame 9 is outside"},
      {{"render", in, "-o", dir + "/x.tsa", "--effect", "Color add", "--key", "1:300"}, 64, "outside -255..255"},
      {{"render", in, "-o", dir + "/x.tsa", "--effect", "Color add", "--values=1,2,3,4"}, 64, "has 3 sliders"},
      {{"undo", in, "-o", dir + "/x.tsa"}, 66, "nothing to undo"},
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

TEST_F(Cli, KeysTable) {
  const Result r = Run({"keys", "--effect", "Color add", "--key", "0:0,0,0", "--key", "29:255,0,-255",
                        "--frames-total", "30", "--json"});
  ASSERT_EQ(r.code, 0) << r.output;
  const nlohmann::json j = nlohmann::json::parse(r.output);
  ASSERT_EQ(j["frames"].size(), 30u);
  for (int f = 0; f < 30; ++f) {
    EXPECT_NEAR(j["frames"][f]["values"][0].get<double>(), 255.0 * f / 29, 1e-3) << f;
    EXPECT_NEAR(j["frames"][f]["values"][2].get<double>(), -255.0 * f / 29, 1e-3) << f;
  }
}

// Ctrl-C part-way: the render stops after the current frame, saves what it rendered,
// leaves an undo file that restores the input, and ends with 130.
TEST_F(Cli, InterruptedRenderSavesItsFramesAndCanBeUndone) {
  const std::string in = Black(16, 12, 1000), out = dir + "/out.tsa", back = dir + "/back.tsa";
  int pipe_fds[2];
  ASSERT_EQ(pipe(pipe_fds), 0);
  // A one-page pipe: the render's progress lines fill it long before the last frame, so the
  // render cannot finish before the interrupt arrives.
  fcntl(pipe_fds[0], F_SETPIPE_SZ, 4096);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDERR_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipe_fds[0]);
  std::vector<std::string> args = {TESSFX_BINARY, "render", in, "-o", out, "--effect", "Color add", "--values=9",
                                   "--undo"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (std::string& e : env) envp.push_back(e.data());
  for (char** e = environ; *e; ++e)
    if (std::strncmp(*e, "TESSFX_TEMP_DIR=", 16) != 0 && std::strncmp(*e, "TESSFX_CONFIG_DIR=", 18) != 0)
      envp.push_back(*e);
  envp.push_back(nullptr);
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, TESSFX_BINARY, &actions, nullptr, argv.data(), envp.data()), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(pipe_fds[1]);

  std::string output;
  char buf[256];
  ssize_t n;
  while (output.find('\n') == std::string::npos && (n = read(pipe_fds[0], buf, sizeof buf)) > 0) output.append(buf, n);
  kill(pid, SIGINT);
  while ((n = read(pipe_fds[0], buf, sizeof buf)) > 0) output.append(buf, n);
  close(pipe_fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << output;
  EXPECT_EQ(WEXITSTATUS(status), 130) << output;
  EXPECT_NE(output.find("interrupted after"), std::string::npos) << output.substr(output.size() - 300);

  // The frames rendered are those whose progress line was printed.
  const int rendered = static_cast<int>(std::count(output.begin(), output.end(), '\n')) - 1;
  ASSERT_GT(rendered, 0);
  ASSERT_LT(rendered, 1000);
  std::vector<int> red(1000, 0);
  for (int f = 0; f < rendered; ++f) red[f] = 9;
  ExpectRed(out, red);
  const Result u = Run({"undo", out, "-o", back});
  ASSERT_EQ(u.code, 0) << u.output;
  EXPECT_NE(u.output.find(": " + std::to_string(rendered) + (rendered == 1 ? " frame restored" : " frames restored")),
            std::string::npos)
      << u.output;
  EXPECT_EQ(Bytes(back), Bytes(in));
}

}  // namespace
}  // namespace tessfx
