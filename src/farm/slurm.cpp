#include "farm/slurm.h"

#include <charconv>
#include <sstream>

#include "core/error.h"
#include "farm/process.h"

namespace tessfx::farm {
namespace {

using namespace std::chrono_literals;

// Slurm's commands answer in well under a second; a controller that does not answer
// for this long is not coming back soon.
constexpr auto kSlurmTimeout = 60s;

std::optional<int32_t> Number(std::string_view text) {
  int32_t v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size() || v < 0) return std::nullopt;
  return v;
}

// "4-6,9%2" (the brackets taken off) to 4, 5, 6, 9.
std::vector<int32_t> ExpandTaskList(std::string_view list) {
  std::vector<int32_t> tasks;
  if (const size_t pct = list.find('%'); pct != std::string_view::npos) list = list.substr(0, pct);
  while (!list.empty()) {
    const size_t comma = list.find(',');
    const std::string_view part = list.substr(0, comma);
    list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    const size_t dash = part.find('-');
    std::string_view range = part;
    int32_t step = 1;
    if (const size_t colon = part.find(':'); colon != std::string_view::npos) {
      range = part.substr(0, colon);
      step = Number(part.substr(colon + 1)).value_or(1);
    }
    const auto lo = Number(range.substr(0, dash));
    const auto hi = dash == std::string_view::npos ? lo : Number(range.substr(dash + 1));
    if (!lo || !hi || *hi < *lo || step < 1) continue;
    for (int64_t t = *lo; t <= *hi; t += step) tasks.push_back(static_cast<int32_t>(t));
  }
  return tasks;
}

}  // namespace

TaskPhase PhaseOf(const std::string& state) {
  const std::string s = state.substr(0, state.find(' '));
  if (s == "PENDING" || s == "CONFIGURING" || s == "REQUEUED" || s == "REQUEUE_HOLD" || s == "REQUEUE_FED" ||
      s == "RESV_DEL_HOLD" || s == "SUSPENDED" || s == "RESIZING")
    return TaskPhase::Pending;
  if (s == "RUNNING" || s == "COMPLETING" || s == "STAGE_OUT" || s == "SIGNALING") return TaskPhase::Running;
  if (s == "COMPLETED") return TaskPhase::Done;
  return TaskPhase::Failed;  // FAILED, CANCELLED, TIMEOUT, NODE_FAIL, OUT_OF_MEMORY, PREEMPTED, BOOT_FAIL, DEADLINE
}

const char* PhaseName(TaskPhase phase) {
  switch (phase) {
    case TaskPhase::Pending:
      return "pending";
    case TaskPhase::Running:
      return "running";
    case TaskPhase::Done:
      return "done";
    case TaskPhase::Failed:
      return "failed";
  }
  return "failed";
}

std::map<int32_t, std::string> ParseTaskStates(const std::string& text, const std::string& job) {
  std::map<int32_t, std::string> states;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    const size_t bar = line.find('|');
    if (bar == std::string::npos) continue;
    const std::string id = line.substr(0, bar);
    std::string state = line.substr(bar + 1);
    state = state.substr(0, state.find_first_of(" |\r"));
    if (state.empty() || id.rfind(job + "_", 0) != 0) continue;
    std::string_view tasks = std::string_view(id).substr(job.size() + 1);
    if (tasks.find('.') != std::string_view::npos) continue;  // a step of the task
    if (!tasks.empty() && tasks.front() == '[') {
      if (tasks.back() != ']') continue;
      for (int32_t t : ExpandTaskList(tasks.substr(1, tasks.size() - 2))) states[t] = state;
    } else if (const auto t = Number(tasks)) {
      states[*t] = state;
    }
  }
  return states;
}

std::optional<std::string> ParseSubmittedJob(const std::string& text) {
  std::string id = text.substr(0, text.find_first_of(";\r\n"));
  if (id.empty() || id.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return id;
}

std::string SubmitArray(const std::string& script_path, const std::string& array) {
  const ProcessResult r = RunProcess({"sbatch", "--parsable", "--array=" + array, script_path}, kSlurmTimeout);
  if (!r.ok()) Fail(ErrorKind::Unavailable, "sbatch: " + r.Reason("sbatch"));
  const auto job = ParseSubmittedJob(r.out);
  if (!job) Fail(ErrorKind::Software, "sbatch answered \"" + r.out + "\" instead of a job id");
  return *job;
}

std::map<int32_t, std::string> QueryTaskStates(const std::string& job, std::string* note) {
  // squeue lists finished tasks as well for a few minutes (MinJobAge).
  const ProcessResult q = RunProcess({"squeue", "-h", "-r", "-t", "all", "-j", job, "-o", "%i|%T"}, kSlurmTimeout);
  // A job the controller has forgotten is an answer; a controller that cannot be asked is
  // not: states guessed then could have a running chunk submitted twice.
  const bool forgotten = q.started && !q.timed_out && q.err.find("Invalid job id") != std::string::npos;
  if (!q.ok() && !forgotten) Fail(ErrorKind::Unavailable, "squeue: " + q.Reason("squeue"));
  std::map<int32_t, std::string> states;
  if (q.ok()) states = ParseTaskStates(q.out, job);
  // sacct knows jobs long after; it needs an accounting database, which small clusters lack.
  const ProcessResult a = RunProcess({"sacct", "-n", "-P", "-X", "-j", job, "-o", "JobID,State"}, kSlurmTimeout);
  if (a.ok()) {
    for (const auto& [task, state] : ParseTaskStates(a.out, job)) states.emplace(task, state);  // squeue is fresher
  } else if (note) {
    *note = "sacct: " + a.Reason("sacct");
  }
  return states;
}

}  // namespace tessfx::farm
