#pragma once
// What tessfx asks Slurm: submitting a job array, and the state of its tasks from squeue
// (while the controller remembers the job) and sacct (where accounting keeps it longer).
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tessfx::farm {

// How a task's Slurm state counts for a render.
enum class TaskPhase { Pending, Running, Done, Failed };
TaskPhase PhaseOf(const std::string& slurm_state);
const char* PhaseName(TaskPhase phase);

// The state of each array task of `job` (by task index) in lines of "JOBID|STATE", where
// JOBID is "123_4" for one task or "123_[4-6,9%2]" for tasks not started yet, as squeue
// (-o '%i|%T' with -r) and sacct (-P -X -o JobID,State) print them. Lines of other jobs,
// and steps ("123_4.batch"), are passed over. A state such as "CANCELLED by 0" is kept
// as its first word.
std::map<int32_t, std::string> ParseTaskStates(const std::string& text, const std::string& job);

// sbatch --parsable prints "JOBID" or "JOBID;CLUSTER": the job id, or nullopt.
std::optional<std::string> ParseSubmittedJob(const std::string& text);

// Submits `script_path` as an array of the chunks `array` ("0-3", "1,3"); returns the job
// id. Throws an Error with sbatch's own reason when it refuses.
std::string SubmitArray(const std::string& script_path, const std::string& array);

// The states of the job's tasks as the scheduler knows them: squeue first, then sacct for
// tasks squeue no longer lists. Empty when neither knows the job (it ended long ago and
// there is no accounting); an Unavailable Error when squeue cannot reach the controller.
// `note` receives why sacct had no answer.
std::map<int32_t, std::string> QueryTaskStates(const std::string& job, std::string* note = nullptr);

}  // namespace tessfx::farm
