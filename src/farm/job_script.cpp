#include "farm/job_script.h"

#include "core/error.h"

namespace tessfx::farm {
namespace {

// sbatch reads #SBATCH lines itself, splitting at blanks and honouring double quotes only.
std::string DirectiveWord(const std::string& text, const std::string& what) {
  if (text.find_first_of("\"\n\r") != std::string::npos)
    Fail(ErrorKind::Usage, what + " \"" + text + "\": a batch script line cannot hold double quotes or line breaks");
  if (text.find_first_of(" \t") == std::string::npos) return text;
  std::string quoted(1, '"');
  quoted.append(text).push_back('"');
  return quoted;
}

}  // namespace

std::string ShellQuote(const std::string& text) {
  if (!text.empty() &&
      text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+./:=,@%") ==
          std::string::npos)
    return text;
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'')
      quoted.append("'\\''");
    else
      quoted.push_back(c);
  }
  quoted.push_back('\'');
  return quoted;
}

std::string JobScript(const RenderJob& job) {
  if (job.chunks.empty()) Fail(ErrorKind::Usage, "no frames to render");
  if (job.cpus_per_task < 1) Fail(ErrorKind::Usage, "--cpus-per-task must be 1 or more");
  std::string s = "#!/bin/bash\n";
  s += "# tessfx farm render: array task N renders chunk N of the frames into the shared output\n";
  s += "# sequence. Files that exist are left alone, so a task run again renders only what is missing.\n";
  s += "#SBATCH --job-name=" + DirectiveWord(job.name, "job name") + "\n";
  s += "#SBATCH --array=0-" + std::to_string(job.chunks.size() - 1) + "\n";
  s += "#SBATCH --cpus-per-task=" + std::to_string(job.cpus_per_task) + "\n";
  s += "#SBATCH --output=" + DirectiveWord(job.log_folder + "/%A_%a.log", "log folder") + "\n";
  if (!job.partition.empty()) s += "#SBATCH --partition=" + DirectiveWord(job.partition, "--partition") + "\n";
  for (const std::string& arg : job.sbatch_args) {
    if (arg.size() < 2 || arg[0] != '-')
      Fail(ErrorKind::Usage, "--sbatch-arg \"" + arg + "\": give one sbatch option, such as --time=2:00:00");
    if (arg.rfind("--array", 0) == 0 || arg.rfind("-a", 0) == 0)
      Fail(ErrorKind::Usage,
           "--sbatch-arg \"" + arg + "\": the array is the chunks; choose them with --chunk and --frames");
    s += "#SBATCH " + DirectiveWord(arg, "--sbatch-arg") + "\n";
  }
  s += "set -u\n";
  s += "case \"${SLURM_ARRAY_TASK_ID:-}\" in\n";
  for (size_t i = 0; i < job.chunks.size(); ++i)
    s += "  " + std::to_string(i) + ") frames=" + ShellQuote(job.chunks[i].frames) + " ;;\n";
  s += "  *) echo \"tessfx farm: array task '${SLURM_ARRAY_TASK_ID:-}' is not a chunk of this render\" >&2; exit 64 "
       ";;\n";
  s += "esac\n";
  s += "exec " + ShellQuote(job.program) + " render";
  for (const std::string& arg : job.render_args) s.append(" ").append(ShellQuote(arg));
  s += " --frames \"$frames\" --no-clobber --threads \"${SLURM_CPUS_PER_TASK:-" + std::to_string(job.cpus_per_task) +
       "}\"\n";
  return s;
}

}  // namespace tessfx::farm
