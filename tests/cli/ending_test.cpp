// A render stopped at any moment loses nothing: killed or signalled while loading,
// rendering or saving, the input is unchanged, the output is the old file or a whole new
// one, undo works or refuses with one line, a caught signal leaves no temporary file and no
// frame store, and `recover` clears what SIGKILL left. Writers that fail (the Nth write, the
// closing sync) end with exit 74 and one line, keeping the previous file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "host/scratch_folder.h"
#include "run_tessfx.h"

namespace {

using tessfx::testing_support::MeasuredRun;
using tessfx::testing_support::RunTessfxMeasured;
namespace fs = std::filesystem;

using ::tessfx::testing::FileContents;

// Every entry below `folder`, by its path from there.
std::set<std::string> Tree(const std::string& folder) {
  std::set<std::string> names;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(folder, ec); !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
    names.insert(fs::relative(it->path(), folder).string());
  return names;
}

// What a run left: temporary files anywhere below `folder`, and frame stores in its
// temporary folder `temp`.
std::set<std::string> Leftovers(const std::string& folder, const std::string& temp) {
  std::set<std::string> left;
  for (const std::string& name : Tree(folder))
    if (fs::path(name).filename().string().find(".tmp-") != std::string::npos) left.insert(name);
  for (const std::string& name : Tree((fs::path(folder) / temp).string()))
    if (name.rfind("frames-", 0) == 0) left.insert(temp + "/" + name);
  return left;
}

// Runs tessfx with `args` in `folder`; once the file `started` exists (the process is past
// its start-up and working), waits `delay` and sends `signal` (0: none), `times` times.
// `working_seconds` receives the time from then to the end.
MeasuredRun RunAndSignal(const std::vector<std::string>& args, const std::string& folder,
                         const std::vector<std::string>& env, const std::string& started,
                         std::chrono::microseconds delay, int signal, int times = 1, double* working_seconds = nullptr) {
  using Clock = std::chrono::steady_clock;
  Clock::time_point working;
  MeasuredRun run = RunTessfxMeasured(args, folder, env, 60, [&](pid_t child) {
    const auto limit = Clock::now() + std::chrono::seconds(10);
    for (siginfo_t ended{}; !fs::exists(started) && Clock::now() < limit;) {
      if (::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0) break;
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    working = Clock::now();
    std::this_thread::sleep_for(delay);
    for (int i = 0; i < times && signal != 0; ++i) {
      if (i > 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      ::kill(child, signal);
    }
  });
  if (working_seconds) *working_seconds = std::chrono::duration<double>(Clock::now() - working).count();
  return run;
}

// The failure line of a run: the last line, which must be the only one starting "tessfx:".
std::string FailureLine(const std::string& output) {
  std::istringstream lines(output);
  std::string line, failure;
  int count = 0;
  while (std::getline(lines, line))
    if (line.rfind("tessfx:", 0) == 0 && line.find("writing the frames rendered") == std::string::npos) {
      failure = line;
      ++count;
    }
  return count == 1 ? failure : "(" + std::to_string(count) + " failure lines) " + output;
}

TEST(Ending, ARenderStoppedAtAnyMomentLosesNothing) {
  tessfx::testing::ScratchFolder dir;
  const std::vector<std::string> no_env;
  // Large enough that loading, rendering and saving each take a while, small enough for a
  // whole run to take well under a second.
  ASSERT_EQ(RunTessfxMeasured({"new", "in.tsa", "--size", "480x360", "--frames", "12", "--pattern", "noise"}, dir.str(),
                              no_env, 60).code, 0);
  ASSERT_EQ(RunTessfxMeasured({"new", "old.tsa", "--size", "480x360", "--frames", "12", "--pattern", "bars"}, dir.str(),
                              no_env, 60).code, 0);
  const std::string input = FileContents(dir / "in.tsa"), old = FileContents(dir / "old.tsa");
  const std::vector<std::string> render = {"render", "in.tsa", "-o", "out.tsa", "--effect", "Simple blur", "--undo"};
  // A whole run, for the bytes of a finished output and the span of the random moments: from
  // the temporary folder's making (the signals are caught from before it) to the end.
  fs::copy_file(dir / "old.tsa", dir / "out.tsa");
  double working_seconds = 0;
  const MeasuredRun whole = RunAndSignal(render, dir.str(), {"TESSFX_TEMP_DIR=" + dir / "tmp-whole"}, dir / "tmp-whole",
                                         std::chrono::microseconds(0), 0, 0, &working_seconds);
  ASSERT_EQ(whole.code, 0) << whole.output;
  const std::string finished = FileContents(dir / "out.tsa");
  ASSERT_FALSE(finished == old);

  std::mt19937 random(19);
  const int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGKILL};
  const auto span = std::chrono::microseconds(static_cast<int64_t>(working_seconds * 1.1e6));
  for (int trial = 0; trial < 24; ++trial) {
    const int signal = signals[trial % 4];
    const auto delay = std::chrono::microseconds(std::uniform_int_distribution<int64_t>(0, span.count())(random));
    SCOPED_TRACE("trial " + std::to_string(trial) + ": " + strsignal(signal) + (trial % 8 == 1 ? " twice" : "") + " after " +
                 std::to_string(delay.count()) + " us");
    const std::string temp = "tmp-" + std::to_string(trial);
    const std::vector<std::string> env = {"TESSFX_TEMP_DIR=" + dir / temp};
    fs::remove(dir / "out.tsa");
    fs::copy_file(dir / "old.tsa", dir / "out.tsa");
    // Every other SIGTERM comes twice: the second stops a save the first let go on.
    const MeasuredRun e = RunAndSignal(render, dir.str(), env, dir / temp, delay, signal, trial % 8 == 1 ? 2 : 1);

    if (signal == SIGKILL) {
      EXPECT_TRUE(e.signal == SIGKILL || e.code == 0) << e.output;
    } else {
      EXPECT_EQ(e.signal, 0);
      EXPECT_TRUE(e.code == 0 || e.code == 128 + signal) << e.output;
      if (e.code != 0) {
        EXPECT_EQ(FailureLine(e.output).rfind("tessfx: interrupted by ", 0), 0u) << e.output;
      }
      // A caught signal cleans up: no temporary file beside the documents, no frame store.
      EXPECT_EQ(Leftovers(dir.str(), temp), std::set<std::string>{}) << e.output;
    }
    EXPECT_TRUE(FileContents(dir / "in.tsa") == input);
    const std::string out = FileContents(dir / "out.tsa");
    // Stopped while rendering, a .tsa holds the frames rendered and the others as they were:
    // a whole file of the same size either way.
    EXPECT_EQ(out.size(), old.size());
    if (e.code == 0) {
      EXPECT_TRUE(out == finished);
    }

    const MeasuredRun undo = RunTessfxMeasured({"undo", "out.tsa", "--in-place"}, dir.str(), env, 60);
    if (out == old) {
      EXPECT_NE(undo.code, 0) << undo.output;  // nothing rendered was saved: nothing to undo
      EXPECT_TRUE(FileContents(dir / "out.tsa") == old);
    } else {
      // The undo puts the input's frames back where the render wrote.
      EXPECT_EQ(undo.code, 0) << undo.output << e.output;
      if (out == finished) {
        EXPECT_TRUE(FileContents(dir / "out.tsa") == input);
      }
    }
    if (undo.code != 0) {
      EXPECT_EQ(FailureLine(undo.output).rfind("tessfx: ", 0), 0u) << undo.output;
    }

    // What is left, recover lists and clears: described stores one by one, the rest at once.
    const MeasuredRun list = RunTessfxMeasured({"recover"}, dir.str(), env, 60);
    EXPECT_EQ(list.code, 0) << list.output;
    std::istringstream lines(list.output);
    for (std::string line; std::getline(lines, line);)
      if (line.find(" (ended), created ") != std::string::npos) {
        EXPECT_EQ(RunTessfxMeasured({"recover", line.substr(0, line.find(": ")), "--discard"}, dir.str(), env, 60).code, 0);
      }
    const MeasuredRun clean = RunTessfxMeasured({"recover", "--clean", "--folder", "."}, dir.str(), env, 60);
    EXPECT_EQ(clean.code, 0) << clean.output;
    EXPECT_EQ(Leftovers(dir.str(), temp), std::set<std::string>{}) << list.output << clean.output;
    fs::remove_all(dir / temp);
  }
}

TEST(Ending, AWriterThatFailsEndsWithOneLineKeepingThePreviousFiles) {
  tessfx::testing::ScratchFolder dir;
  const std::vector<std::string> env = {"TESSFX_TEMP_DIR=" + dir / "tmp", "TESSFX_DATA_DIR=" + dir / "data"};
  ASSERT_EQ(RunTessfxMeasured({"new", "in.tsa", "--size", "32x24", "--frames", "4", "--pattern", "noise"}, dir.str(), env, 60).code, 0);
  ASSERT_EQ(RunTessfxMeasured({"new", "old.tsa", "--size", "32x24", "--frames", "4", "--pattern", "bars"}, dir.str(), env, 60).code, 0);
  fs::create_directory(dir / "seq");
  struct Case {
    std::vector<std::string> args;
    std::string fail_at;   // the end of the path whose writes fail
    std::vector<std::string> previous;  // the files that must stay as they were
    std::string nth = "1";
  };
  std::vector<Case> cases;
  for (const char* ext : {".tsa", ".png", ".exr", ".tif", ".bmp"}) {
    const std::string out = std::string("out") + ext;
    ASSERT_EQ(RunTessfxMeasured({"convert", "old.tsa", out}, dir.str(), env, 60).code, 0) << ext;
    cases.push_back({{"convert", "in.tsa", out}, ext, {out}});
  }
  // A sequence is all or nothing: the third file failing, none of the four is replaced.
  ASSERT_EQ(RunTessfxMeasured({"convert", "old.tsa", "seq/s.#.png"}, dir.str(), env, 60).code, 0);
  cases.push_back({{"convert", "in.tsa", "seq/s.#.png"}, ".png", {"seq/s.1.png", "seq/s.2.png"}, "3"});
  // The undo file, its description and the frame store's description fail the render before
  // anything is saved; until the new undo file is whole, the last render's stays.
  ASSERT_EQ(RunTessfxMeasured({"render", "old.tsa", "-o", "last.tsa", "--effect", "Negative", "--undo"}, dir.str(), env, 60).code, 0);
  const std::vector<std::string> render = {"render", "in.tsa", "-o", "out.tsa", "--effect", "Negative", "--undo"};
  cases.push_back({render, "UndoBuffer.dat", {"out.tsa", "tmp/UndoBuffer.dat", "tmp/UndoBuffer.dat.json"}});
  cases.push_back({render, ".store.json", {"out.tsa", "tmp/UndoBuffer.dat", "tmp/UndoBuffer.dat.json"}});
  cases.push_back({render, "UndoBuffer.dat.json", {"out.tsa"}});
  ASSERT_EQ(RunTessfxMeasured({"demo", "--headless", "--output", "demo"}, dir.str(), env, 60).code, 0);
  cases.push_back({{"demo", "--headless", "--output", "demo"}, "demo.json", {"demo/demo.json"}});

  for (const Case& c : cases)
    for (const std::string& fault : {c.nth + ":" + c.fail_at, "close:" + c.fail_at}) {
      SCOPED_TRACE(c.args[0] + " " + c.args[2] + " with " + fault);
      std::vector<std::string> previous;
      for (const std::string& file : c.previous) previous.push_back(FileContents(dir / file));
      std::vector<std::string> faulty = env;
      faulty.push_back("TESSFX_TEST_WRITE_FAULT=" + fault);
      const MeasuredRun r = RunTessfxMeasured(c.args, dir.str(), faulty, 60);
      EXPECT_EQ(r.code, 74) << r.output;
      EXPECT_EQ(FailureLine(r.output).rfind("tessfx: cannot write ", 0), 0u) << r.output;
      EXPECT_EQ(r.output.find("wrote"), std::string::npos) << r.output;
      for (size_t i = 0; i < previous.size(); ++i) EXPECT_TRUE(FileContents(dir / c.previous[i]) == previous[i]) << c.previous[i];
      EXPECT_EQ(Leftovers(dir.str(), "tmp"), std::set<std::string>{});
    }
}

TEST(Ending, UndoOfARenderThatWroteSomeFilesOfANewSequencePutsBackJustThose) {
  tessfx::testing::ScratchFolder dir;
  const std::vector<std::string> env = {"TESSFX_TEMP_DIR=" + dir / "tmp"};
  ASSERT_EQ(RunTessfxMeasured({"new", "in.tsa", "--size", "16x8", "--frames", "6", "--pattern", "noise"}, dir.str(), env, 60).code, 0);
  fs::create_directory(dir / "seq");
  fs::create_directory(dir / "want");
  ASSERT_EQ(RunTessfxMeasured({"convert", "in.tsa", "want/w.#.png", "--frames", "1,4"}, dir.str(), env, 60).code, 0);
  const MeasuredRun render = RunTessfxMeasured(
      {"render", "in.tsa", "-o", "seq/s.#.png", "--frames", "1,4", "--effect", "Negative", "--undo"}, dir.str(), env, 60);
  ASSERT_EQ(render.code, 0) << render.output;
  // The walk recorded frames 1 to 4; only 1 and 4 were written, and only they go back.
  const MeasuredRun undo = RunTessfxMeasured({"undo", "seq/s.#.png", "--in-place"}, dir.str(), env, 60);
  EXPECT_EQ(undo.code, 0) << undo.output;
  EXPECT_EQ(Tree(dir / "seq"), (std::set<std::string>{"s.1.png", "s.4.png"}));
  EXPECT_TRUE(FileContents(dir / "seq/s.1.png") == FileContents(dir / "want/w.1.png"));
  EXPECT_TRUE(FileContents(dir / "seq/s.4.png") == FileContents(dir / "want/w.4.png"));
}

}  // namespace
