#pragma once
// What tessfx keeps of a farm render so that `farm status`, `resume` and `collect` work
// after the scheduler has forgotten the job: the chunks, the output's files, the batch
// script and every job submitted for it. One JSON file per render, named by its first job,
// in the farm folder: $TESSFX_FARM_DIR, else $XDG_STATE_HOME/tessfx/farm, else
// ~/.local/state/tessfx/farm.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "farm/chunks.h"

namespace tessfx::farm {

struct FarmRecord {
  struct Job {
    std::string id;
    std::vector<int32_t> chunks;  // the array tasks it ran
  };
  std::vector<Job> jobs;  // the submission, then each resume
  std::string input;
  std::string output;              // the output sequence's pattern
  int64_t file_number_offset = 0;  // output file number minus input frame number
  std::vector<Chunk> chunks;
  std::string script;  // the batch script's text
  std::string log_folder;

  int64_t FrameCount() const;
  // The output file of the input frame numbered `number`.
  std::string FileOf(int64_t number) const;
  // The newest job that ran chunk `chunk`, or nullptr.
  const Job* LatestJobOf(int32_t chunk) const;
};

std::string FarmFolder();
std::string RecordPath(const std::string& first_job);
std::string ScriptPath(const std::string& first_job);

// Written under a temporary name and renamed into place.
void WriteRecord(const FarmRecord& record);
// The render that `job` (its submission or a resume) belongs to. A NoInput Error when no
// render here has that job; BadData when its file is damaged.
FarmRecord ReadRecordOfJob(const std::string& job);
// The newest render whose output is `pattern` (compared as written and as absolute path).
std::optional<FarmRecord> FindRecordOfOutput(const std::string& pattern);

}  // namespace tessfx::farm
