// The farm's own logic, without a cluster: how frames are split into chunks and named to
// `render --frames`, what the job script runs in each array task, how Slurm's answers are
// read, and the record that follows a render across resumes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "core/error.h"
#include "farm/chunks.h"
#include "farm/job_script.h"
#include "farm/process.h"
#include "farm/record.h"
#include "farm/slurm.h"
#include "host/scratch_folder.h"
#include "render/frame_range.h"

namespace tessfx::farm {
namespace {

using testing::ScratchFolder;

std::vector<int64_t> Range(int64_t first, int64_t last, int64_t step = 1) {
  std::vector<int64_t> v;
  for (int64_t n = first; n <= last; n += step) v.push_back(n);
  return v;
}

// What `render --frames TEXT` selects, as frame numbers.
std::vector<int64_t> Selected(const std::string& text, int64_t first_number, int32_t total) {
  std::vector<int64_t> numbers;
  for (int32_t f : FrameSelection::Parse(text, total, first_number).Frames()) numbers.push_back(first_number + f);
  return numbers;
}

TEST(Chunks, EveryChosenFrameIsInExactlyOneChunkAndItsTextSelectsExactlyIt) {
  struct Case {
    std::vector<int64_t> numbers;
    int32_t size;
    std::vector<std::string> texts;
  };
  std::vector<int64_t> irregular{3, 7, 20, 21, 22, 23, 24, 40, 42, 44, 50};
  const Case cases[] = {
      {Range(0, 39), 10, {"0-9", "10-19", "20-29", "30-39"}},
      {Range(1001, 1041), 10, {"1001-1010", "1011-1020", "1021-1030", "1031-1040", "1041"}},  // a short last chunk
      {Range(1001, 1100, 5), 10, {"1001-1046x5", "1051-1096x5"}},
      {Range(0, 5), 100, {"0-5"}},  // fewer frames than a chunk
      {Range(0, 2), 1, {"0", "1", "2"}},
      {irregular, 6, {"3,7,20-23", "24,40-44x2,50"}},
      {{10, 20}, 2, {"10,20"}},  // two frames apart read better alone than as a step
  };
  for (const Case& c : cases) {
    const std::vector<Chunk> chunks = SplitIntoChunks(c.numbers, c.size);
    std::vector<std::string> texts;
    std::vector<int64_t> all;
    for (const Chunk& chunk : chunks) {
      texts.push_back(chunk.frames);
      EXPECT_LE(chunk.numbers.size(), static_cast<size_t>(c.size));
      EXPECT_EQ(Selected(chunk.frames, 0, 2000), chunk.numbers) << chunk.frames;
      all.insert(all.end(), chunk.numbers.begin(), chunk.numbers.end());
    }
    EXPECT_EQ(texts, c.texts);
    EXPECT_EQ(all, c.numbers);
  }
}

TEST(Chunks, SizeBelowOneIsRefusedAndArrayListsAreShort) {
  EXPECT_THROW(SplitIntoChunks(Range(0, 9), 0), Error);
  EXPECT_THROW(SplitIntoChunks(Range(0, 9), -3), Error);
  EXPECT_TRUE(SplitIntoChunks({}, 5).empty());
  EXPECT_EQ(ArrayIndexText({0, 1, 2, 3}), "0-3");
  EXPECT_EQ(ArrayIndexText({1, 3}), "1,3");
  EXPECT_EQ(ArrayIndexText({0, 2, 5, 6, 7}), "0,2,5-7");
}

// A job whose "tessfx" is a script printing its arguments one per line, so that the job
// script can be run as a node would run it.
struct ScriptRig {
  ScratchFolder dir;
  RenderJob job;

  ScriptRig() {
    const std::string program = dir / "fake tessfx";
    std::ofstream(program) << "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    job.program = program;
    job.chunks = SplitIntoChunks(Range(1001, 1025), 10);
    job.log_folder = dir / "logs";
  }

  // Runs the script as array task `task` with `cpus` cores; standard output and exit code.
  ProcessResult RunTask(const std::string& task, const std::string& cpus = "") {
    const std::string script = dir / "job.sh";
    std::ofstream(script) << JobScript(job);
    std::vector<std::string> argv{"env", "-u", "SLURM_CPUS_PER_TASK", "SLURM_ARRAY_TASK_ID=" + task};
    if (!cpus.empty()) argv.push_back("SLURM_CPUS_PER_TASK=" + cpus);
    argv.insert(argv.end(), {"bash", script});
    return RunProcess(argv, std::chrono::seconds(20));
  }
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(JobScript, EachTaskRendersItsChunkWithTheArgumentsAsGivenAndLeavesExistingFilesAlone) {
  ScriptRig rig;
  // Spaces, quotes and shell characters in paths and names must reach the render intact.
  rig.job.render_args = {"/in put/it's.tsa", "--effect",        "Color add", "--values",
                         "10, 20,$HOME",     "--key=1001:`id`", "-o",        "/out/a b.####.png"};
  const ProcessResult second = rig.RunTask("1");
  ASSERT_TRUE(second.ok()) << second.err;
  EXPECT_EQ(Lines(second.out),
            (std::vector<std::string>{"render", "/in put/it's.tsa", "--effect", "Color add", "--values", "10, 20,$HOME",
                                      "--key=1001:`id`", "-o", "/out/a b.####.png", "--frames", "1011-1020",
                                      "--no-clobber", "--threads", "1"}));
  const ProcessResult last = rig.RunTask("2", "4");
  ASSERT_TRUE(last.ok()) << last.err;
  const auto lines = Lines(last.out);
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(std::vector<std::string>(lines.end() - 5, lines.end()),
            (std::vector<std::string>{"--frames", "1021-1025", "--no-clobber", "--threads", "4"}));
  // An index that is no chunk (a resubmission with a wrong list) renders nothing.
  for (const char* bad : {"3", "", "x"}) {
    const ProcessResult r = rig.RunTask(bad);
    EXPECT_EQ(r.exit_code, 64) << bad;
    EXPECT_TRUE(r.out.empty()) << bad;
  }
}

TEST(JobScript, DirectivesCarryTheArrayLogsPartitionAndOptionsOrAreRefused) {
  ScriptRig rig;
  rig.job.log_folder = "/shared/out put/.tessfx-farm";
  rig.job.partition = "gpu";
  rig.job.cpus_per_task = 8;
  rig.job.sbatch_args = {"--time=2:00:00", "--mem=4G"};
  const std::string script = JobScript(rig.job);
  for (const char* line : {"#SBATCH --array=0-2\n", "#SBATCH --cpus-per-task=8\n",
                           "#SBATCH --output=\"/shared/out put/.tessfx-farm/%A_%a.log\"\n", "#SBATCH --partition=gpu\n",
                           "#SBATCH --time=2:00:00\n", "#SBATCH --mem=4G\n"})
    EXPECT_NE(script.find(line), std::string::npos) << line;
  // sbatch stops reading directives at the first command: all must come before it.
  EXPECT_LT(script.rfind("#SBATCH"), script.find("\nset "));

  for (const std::vector<std::string>& bad : std::vector<std::vector<std::string>>{
           {"time=1:00"}, {"--array=0-9"}, {"-a", "1"}, {"--comment=\"x\""}, {"--comment=a\nhostname"}}) {
    RenderJob j = rig.job;
    j.sbatch_args = bad;
    EXPECT_THROW(JobScript(j), Error) << bad.front();
  }
  RenderJob quoted = rig.job;
  quoted.log_folder = "/out/\"q\"";
  EXPECT_THROW(JobScript(quoted), Error);
}

TEST(Slurm, TaskStatesAreReadFromSqueueAndSacctLines) {
  // squeue -r -o '%i|%T': one task per line; another job's lines and steps are not ours.
  EXPECT_EQ(ParseTaskStates("12_0|COMPLETED\n12_1|RUNNING\n12_3|PENDING\n125_2|FAILED\n12_1.batch|RUNNING\n", "12"),
            (std::map<int32_t, std::string>{{0, "COMPLETED"}, {1, "RUNNING"}, {3, "PENDING"}}));
  // sacct -P: tasks not started yet are grouped, a throttle may follow, states have reasons.
  EXPECT_EQ(ParseTaskStates("40_[2-4,7%2]|PENDING\n40_0|CANCELLED by 0\n40_1|TIMEOUT\ngarbage\n40_[|PENDING\n", "40"),
            (std::map<int32_t, std::string>{
                {0, "CANCELLED"}, {1, "TIMEOUT"}, {2, "PENDING"}, {3, "PENDING"}, {4, "PENDING"}, {7, "PENDING"}}));
  EXPECT_EQ(PhaseOf("PENDING"), TaskPhase::Pending);
  EXPECT_EQ(PhaseOf("COMPLETING"), TaskPhase::Running);
  EXPECT_EQ(PhaseOf("COMPLETED"), TaskPhase::Done);
  for (const char* s : {"CANCELLED", "FAILED", "TIMEOUT", "NODE_FAIL", "OUT_OF_MEMORY", "PREEMPTED"})
    EXPECT_EQ(PhaseOf(s), TaskPhase::Failed) << s;
  EXPECT_EQ(ParseSubmittedJob("4711\n"), "4711");
  EXPECT_EQ(ParseSubmittedJob("4711;cluster\n"), "4711");
  EXPECT_EQ(ParseSubmittedJob("sbatch: error: Batch job submission failed\n"), std::nullopt);
}

TEST(Slurm, MissingCommandsAndSilentDeadlinesSayWhatHappened) {
  const ProcessResult missing = RunProcess({"tessfx-no-such-program"}, std::chrono::seconds(5));
  EXPECT_FALSE(missing.ok());
  EXPECT_NE(missing.Reason("sbatch").find("not available"), std::string::npos);
  const auto start = std::chrono::steady_clock::now();
  const ProcessResult slow = RunProcess({"sleep", "30"}, std::chrono::milliseconds(300));
  EXPECT_TRUE(slow.timed_out);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  const ProcessResult refused = RunProcess(
      {"sh", "-c", "echo noise; echo 'sbatch: error: invalid partition' >&2; exit 1"}, std::chrono::seconds(5));
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.Reason("sbatch"), "sbatch: error: invalid partition");
}

class FarmRecords : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("TESSFX_FARM_DIR", (dir / "records").c_str(), 1); }
  void TearDown() override { ::unsetenv("TESSFX_FARM_DIR"); }

  FarmRecord Render(const std::string& job, const std::string& output) {
    FarmRecord r;
    r.jobs.push_back({job, {0, 1, 2}});
    r.input = "/in.tsa";
    r.output = output;
    r.file_number_offset = 1000;
    r.chunks = SplitIntoChunks(Range(0, 24), 10);
    r.script = "#!/bin/bash\n";
    r.log_folder = "/out/.tessfx-farm";
    return r;
  }

  ScratchFolder dir;
};

TEST_F(FarmRecords, ARenderIsFoundByAnyOfItsJobsOrByItsOutputAndItsFilesAreNumberedAsWritten) {
  FarmRecord first = Render("100", dir / "shot.####.png");
  first.jobs.push_back({"117", {1}});
  WriteRecord(first);
  WriteRecord(Render("200", dir / "other.####.png"));

  const FarmRecord byResume = ReadRecordOfJob("117");
  EXPECT_EQ(byResume.jobs.front().id, "100");
  EXPECT_EQ(byResume.LatestJobOf(1)->id, "117");
  EXPECT_EQ(byResume.LatestJobOf(2)->id, "100");
  EXPECT_EQ(byResume.FileOf(24), dir / "shot.1024.png");
  EXPECT_EQ(byResume.chunks.at(2).frames, "20-24");
  EXPECT_EQ(byResume.FrameCount(), 25);

  // The output as written another way names the same render.
  ASSERT_TRUE(FindRecordOfOutput(dir / "shot.%04d.png"));
  EXPECT_EQ(FindRecordOfOutput(dir / "./shot.%04d.png")->jobs.front().id, "100");
  EXPECT_FALSE(FindRecordOfOutput(dir / "shot.%05d.png"));

  EXPECT_THROW(ReadRecordOfJob("999"), Error);
  EXPECT_THROW(ReadRecordOfJob("12; rm -rf /"), Error);
  std::ofstream(RecordPath("300")) << "{\"jobs\": [";
  try {
    ReadRecordOfJob("300");
    ADD_FAILURE() << "a damaged record was read";
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::BadData);
  }
  EXPECT_EQ(FindRecordOfOutput(dir / "other.####.png")->jobs.front().id, "200");  // past the damaged one
}

}  // namespace
}  // namespace tessfx::farm
