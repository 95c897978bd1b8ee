#pragma once
// Running another program (Slurm's commands) with its output captured, under a deadline: a
// controller that does not answer must not hang the caller.
#include <chrono>
#include <string>
#include <vector>

namespace tessfx::farm {

struct ProcessResult {
  bool started = false;    // false: the program was not found or could not be run
  bool timed_out = false;  // killed at the deadline
  int exit_code = -1;      // the exit status, or 128 + the signal that ended it
  std::string out, err;

  bool ok() const { return started && !timed_out && exit_code == 0; }
  // The last non-empty line of standard error (Slurm's commands put the reason there), or
  // what happened to the process when it wrote none.
  std::string Reason(const std::string& program) const;
};

// Runs argv[0] (looked up in PATH) with `argv` and nothing on its standard input; kills it
// at the deadline.
ProcessResult RunProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

}  // namespace tessfx::farm
