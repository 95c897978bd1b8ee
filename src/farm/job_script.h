#pragma once
// The batch script of a farm render: one Slurm array task per chunk, each running
// `tessfx render` on its chunk's frames into the shared output sequence with --no-clobber,
// so that a task run again renders only the frames whose files are missing.
#include <cstdint>
#include <string>
#include <vector>

#include "farm/chunks.h"

namespace tessfx::farm {

struct RenderJob {
  std::string name = "tessfx-render";    // the job's name in squeue
  std::string program;                   // tessfx as the nodes run it (absolute path)
  std::vector<std::string> render_args;  // after "render", without --frames: input, effect, output
  std::vector<Chunk> chunks;             // array task i renders chunks[i]
  std::string log_folder;                // where each task's output goes, as JOB_TASK.log
  int32_t cpus_per_task = 1;             // also the render's thread count
  std::string partition;                 // empty: the cluster's default
  std::vector<std::string> sbatch_args;  // more sbatch options, one per #SBATCH line
};

// `text` as one word for a POSIX shell.
std::string ShellQuote(const std::string& text);

// The whole script, #SBATCH lines included, ready for `sbatch`. A usage Error for sbatch
// arguments that are not options or that a script line cannot hold, and for a log folder
// with characters an #SBATCH line cannot quote.
std::string JobScript(const RenderJob& job);

}  // namespace tessfx::farm
