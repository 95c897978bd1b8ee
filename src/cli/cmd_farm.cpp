// tessfx farm: one render split over a Slurm cluster as a job array, one task per chunk of
// frames, each task a `tessfx render` of its frames into the shared output sequence.
// Slurm schedules, retries and accounts; tessfx only writes the script, submits it, and
// reads the state of the tasks and the files on disk.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <thread>

#include "cli/cli.h"
#include "cli/effect_options.h"
#include "cli/output.h"
#include "cli/session.h"
#include "core/error.h"
#include "core/number_ranges.h"
#include "farm/chunks.h"
#include "farm/job_script.h"
#include "farm/record.h"
#include "farm/slurm.h"
#include "media/file_util.h"
#include "media/image_io.h"

namespace tessfx::cli {
namespace {

namespace fs = std::filesystem;
using farm::FarmRecord;

std::string Absolute(const std::string& path) {
  std::error_code ec;
  const fs::path p = fs::absolute(path, ec);
  return ec ? path : p.lexically_normal().string();
}

std::string Plural(int64_t n, const char* word) { return std::to_string(n) + " " + word + (n == 1 ? "" : "s"); }

struct SubmitOptions {
  std::string input, frames, swap, sequence, partition, program;
  EffectOptions effect;
  DocumentOptions document;
  OutputOptions output;
  std::vector<std::string> sbatch_args;
  int32_t chunk = 10;
  int32_t cpus = 1;
  bool undo = false;
  bool dry_run = false;
};

// The options of `tessfx render` that every task gives, paths made absolute: a task runs
// in whatever folder the node starts it.
std::vector<std::string> RenderArgs(const SubmitOptions& o) {
  std::vector<std::string> a{Absolute(o.input)};
  const EffectOptions& e = o.effect;
  if (!e.project.empty()) {
    a.insert(a.end(), {"--project", Absolute(e.project)});
  } else {
    a.insert(a.end(), {"--effect", e.effect});
    if (!e.values.empty()) a.insert(a.end(), {"--values", e.values});
    for (const std::string& k : e.keys) a.push_back("--key=" + k);
    if (e.spline) a.push_back("--spline");
  }
  if (!o.swap.empty()) a.insert(a.end(), {"--swap", Absolute(o.swap)});
  if (!o.sequence.empty()) a.insert(a.end(), {"--sequence", Absolute(o.sequence)});
  if (!o.document.alpha_mask.empty()) a.insert(a.end(), {"--alpha", Absolute(o.document.alpha_mask)});
  if (o.document.alpha_bits != 0) a.insert(a.end(), {"--alphabits", std::to_string(o.document.alpha_bits)});
  if (o.document.allow_gaps) a.push_back("--allow-gaps");
  a.insert(a.end(), {"-o", Absolute(o.output.path)});
  if (o.output.first) a.insert(a.end(), {"--first", std::to_string(*o.output.first)});
  if (!o.output.depth.empty()) a.insert(a.end(), {"-d", o.output.depth});
  if (!o.output.compression.empty()) a.insert(a.end(), {"--compression", o.output.compression});
  if (o.output.quality > 0) a.insert(a.end(), {"--quality", std::to_string(o.output.quality)});
  if (o.output.verbose) a.push_back("-v");
  return a;
}

std::string ThisProgram() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (ec) Fail(ErrorKind::Software, "cannot tell where this tessfx is (" + ec.message() + "): give --tessfx PATH");
  return self.string();
}

// The script goes to sbatch as a file; it is kept beside the render's record.
std::string WriteScriptFile(const std::string& path, const std::string& script) {
  std::error_code ec;
  fs::create_directories(farm::FarmFolder(), ec);
  if (ec) Fail(ErrorKind::CantCreate, "cannot create the farm folder " + farm::FarmFolder() + ": " + ec.message());
  AtomicOutputFile out(path);
  out.Append(script.data(), script.size());
  out.Commit();
  return path;
}

void Submit(const SubmitOptions& o) {
  if (o.output.in_place)
    Fail(ErrorKind::Usage, "--in-place: a farm render writes a new image sequence (-o PATTERN), never its input");
  if (o.undo)
    Fail(ErrorKind::Usage,
         "--undo: a farm render writes new files and leaves its input as it was, so there is nothing to undo");
  if (o.output.path.empty()) Fail(ErrorKind::Usage, "give the output sequence, -o out.####.png");
  if (OutputKind(o.output.path) != DocumentKind::ImageSequence)
    Fail(ErrorKind::Usage,
         o.output.path +
             ": a farm render writes one file per frame, so the output is an image "
             "sequence pattern such as out.####.png (tessfx farm collect -o ANIM.tsa assembles an animation)");
  if (o.chunk < 1) Fail(ErrorKind::Usage, "--chunk " + std::to_string(o.chunk) + ": give 1 or more frames per chunk");

  // The checks `render` makes before any work, made here once instead of in every task.
  std::shared_ptr<EmbeddedHost> host = OpenHost(o.input, o.document);
  const DocumentInfo& info = host->document_info();
  const int32_t total = host->tes_GetTotalFrames();
  const int64_t base = info.FrameNumberBase();
  const FrameSelection chosen =
      o.frames.empty() ? FrameSelection::All(total) : FrameSelection::Parse(o.frames, total, base);
  OutputOptions output = o.output;
  output.no_clobber = true;
  const OutputPlan plan = PlanOutput(output, info, chosen, AnimationOutput::Whole);
  host->Tes_GotoFrame(chosen.First());
  Session session(host, o.document.alpha_bits);
  SetUpEffect(*session.editor, o.effect, true, base);
  if (!o.swap.empty() && !FileExists(o.swap)) Fail(ErrorKind::NoInput, "--swap " + o.swap + ": no such file");
  if (!o.sequence.empty() && !FileExists(o.sequence))
    Fail(ErrorKind::NoInput, "--sequence " + o.sequence + ": no such file");

  std::vector<int64_t> numbers;
  for (int32_t f : plan.frames) numbers.push_back(base + f);
  if (numbers.empty()) {
    if (!o.output.quiet)
      Say("nothing to submit: the files of all " + Plural(static_cast<int64_t>(plan.skipped.size()), "frame") +
          " exist in " + plan.path);
    return;
  }
  farm::RenderJob job;
  job.program = o.program.empty() ? ThisProgram() : Absolute(o.program);
  job.render_args = RenderArgs(o);
  job.chunks = farm::SplitIntoChunks(numbers, o.chunk);
  job.log_folder = JoinPath(fs::path(Absolute(plan.path)).parent_path().string(), ".tessfx-farm");
  job.cpus_per_task = o.cpus;
  job.partition = o.partition;
  job.sbatch_args = o.sbatch_args;
  const std::string script = farm::JobScript(job);
  if (o.dry_run) {
    std::cout << script;
    return;
  }

  // Slurm does not make the folder of a task's log; a task without one fails at once.
  std::error_code ec;
  fs::create_directories(job.log_folder, ec);
  if (ec) Fail(ErrorKind::CantCreate, "cannot create the log folder " + job.log_folder + ": " + ec.message());
  const std::string pending =
      WriteScriptFile(JoinPath(farm::FarmFolder(), "submitting-" + std::to_string(::getpid()) + ".sh"), script);
  std::string id;
  try {
    id = farm::SubmitArray(pending, "0-" + std::to_string(job.chunks.size() - 1));
  } catch (...) {
    fs::remove(pending, ec);
    throw;
  }
  fs::rename(pending, farm::ScriptPath(id), ec);

  FarmRecord record;
  FarmRecord::Job submitted{id, {}};
  for (size_t i = 0; i < job.chunks.size(); ++i) submitted.chunks.push_back(static_cast<int32_t>(i));
  record.jobs.push_back(submitted);
  record.input = Absolute(o.input);
  record.output = Absolute(plan.path);
  record.file_number_offset = plan.first_number - base;
  record.chunks = job.chunks;
  record.script = script;
  record.log_folder = job.log_folder;
  try {
    farm::WriteRecord(record);
  } catch (const Error& e) {
    // The job runs all the same: say which, so that it can be followed or cancelled.
    Fail(e.kind(), std::string(e.what()) + "; job " + id + " was submitted, but farm status and resume cannot follow it");
  }

  std::cout << id << std::endl;
  if (!o.output.quiet)
    std::cerr << "tessfx: submitted job " << id << ": " << Plural(static_cast<int64_t>(numbers.size()), "frame") << " ("
              << farm::FrameRangeText(numbers) << ") in " << Plural(static_cast<int64_t>(job.chunks.size()), "chunk")
              << " into " << plan.path
              << (plan.skipped.empty() ? ""
                                       : "; " + Plural(static_cast<int64_t>(plan.skipped.size()), "frame") +
                                             " skipped, their files exist")
              << "; logs in " << job.log_folder << "; follow it with `tessfx farm status " << id << "`\n";
}

// A chunk as the scheduler and the disk see it.
struct ChunkState {
  std::string job;          // the newest job that ran it
  std::string slurm_state;  // empty: the scheduler no longer knows the task
  farm::TaskPhase phase = farm::TaskPhase::Pending;
  int64_t present = 0;  // frames whose files exist
  std::vector<int64_t> missing;
};

struct RenderState {
  std::vector<ChunkState> chunks;
  std::string note;  // why the scheduler's answer may be partial
  int64_t present = 0, total = 0;
  std::map<farm::TaskPhase, int32_t> phases;

  bool Active() const { return phases.count(farm::TaskPhase::Pending) || phases.count(farm::TaskPhase::Running); }
};

RenderState StateOf(const FarmRecord& r) {
  std::map<std::string, std::map<int32_t, std::string>> tasks;
  RenderState s;
  for (const FarmRecord::Job& j : r.jobs) tasks[j.id] = farm::QueryTaskStates(j.id, &s.note);
  for (size_t i = 0; i < r.chunks.size(); ++i) {
    const auto index = static_cast<int32_t>(i);
    ChunkState c;
    c.job = r.LatestJobOf(index)->id;
    if (auto t = tasks[c.job].find(index); t != tasks[c.job].end()) c.slurm_state = t->second;
    for (int64_t n : r.chunks[i].numbers) (FileExists(r.FileOf(n)) ? void(++c.present) : c.missing.push_back(n));
    if (!c.slurm_state.empty()) {
      c.phase = farm::PhaseOf(c.slurm_state);
      // A task may end "COMPLETED" without having rendered (a node that cannot run it): the
      // files decide.
      if (c.phase == farm::TaskPhase::Done && !c.missing.empty()) c.phase = farm::TaskPhase::Failed;
    } else {
      // Pending and running tasks stay listed; one the scheduler forgot has ended.
      c.phase = c.missing.empty() ? farm::TaskPhase::Done : farm::TaskPhase::Failed;
    }
    ++s.phases[c.phase];
    s.present += c.present;
    s.total += static_cast<int64_t>(r.chunks[i].numbers.size());
    s.chunks.push_back(std::move(c));
  }
  return s;
}

void PrintStatus(const FarmRecord& r, const RenderState& s) {
  std::string jobs;
  for (const FarmRecord::Job& j : r.jobs) jobs += (jobs.empty() ? "" : ", ") + j.id;
  Say("farm render " + r.input + " -> " + r.output + " (job" + (r.jobs.size() > 1 ? "s " : " ") + jobs +
      "): " + Plural(s.total, "frame") + " in " + Plural(static_cast<int64_t>(r.chunks.size()), "chunk"));
  size_t width = 0, state_width = 0;
  std::vector<std::string> states;
  for (size_t i = 0; i < r.chunks.size(); ++i) {
    const ChunkState& c = s.chunks[i];
    states.push_back(std::string(farm::PhaseName(c.phase)) + " (" + (c.slurm_state.empty() ? "ended" : c.slurm_state) +
                     " in job " + c.job + ")");
    width = std::max(width, r.chunks[i].frames.size());
    state_width = std::max(state_width, states.back().size());
  }
  auto pad = [](std::string text, size_t w) { return text.append(w - std::min(w, text.size()), ' '); };
  for (size_t i = 0; i < r.chunks.size(); ++i) {
    const ChunkState& c = s.chunks[i];
    const int64_t n = static_cast<int64_t>(r.chunks[i].numbers.size());
    std::string line = "  chunk " + pad(std::to_string(i), std::to_string(r.chunks.size() - 1).size()) + "  frames " +
                       pad(r.chunks[i].frames, width) + "  " + pad(states[i], state_width) + "  " +
                       std::to_string(c.present) + "/" + std::to_string(n) + " frames present";
    if (!c.missing.empty() && c.present > 0) line += ", missing " + farm::FrameRangeText(c.missing);
    if (c.phase == farm::TaskPhase::Failed)
      line += "  log " + JoinPath(r.log_folder, c.job + "_" + std::to_string(i) + ".log");
    Say(line);
  }
  auto count = [&](farm::TaskPhase p) { return s.phases.count(p) ? s.phases.at(p) : 0; };
  Say("tasks: " + std::to_string(count(farm::TaskPhase::Pending)) + " pending, " +
      std::to_string(count(farm::TaskPhase::Running)) + " running, " + std::to_string(count(farm::TaskPhase::Done)) +
      " done, " + std::to_string(count(farm::TaskPhase::Failed)) +
      " failed; frames present: " + std::to_string(s.present) + " of " + std::to_string(s.total));
  if (!s.note.empty() && s.Active())
    std::cerr << "tessfx: " << s.note
              << " (task states come from squeue, which lists a job for some minutes after it "
                 "ends; after that the files on disk decide)\n";
}

void Status(const std::string& job, bool wait, int32_t interval) {
  const FarmRecord r = farm::ReadRecordOfJob(job);
  RenderState s = StateOf(r);
  while (wait && s.Active()) {
    std::this_thread::sleep_for(std::chrono::seconds(interval));
    s = StateOf(r);
  }
  PrintStatus(r, s);
  if (wait && s.present < s.total)
    Fail(ErrorKind::NoInput, "the render ended with " + Plural(s.total - s.present, "frame") +
                                 " missing: `tessfx farm resume " + job + "` renders them");
}

void Resume(const std::string& job, bool quiet) {
  FarmRecord r = farm::ReadRecordOfJob(job);
  const RenderState s = StateOf(r);
  std::vector<int32_t> again;
  std::vector<int64_t> missing, busy;
  for (size_t i = 0; i < r.chunks.size(); ++i) {
    const ChunkState& c = s.chunks[i];
    if (c.missing.empty()) continue;
    if (c.phase == farm::TaskPhase::Pending || c.phase == farm::TaskPhase::Running) {
      busy.push_back(static_cast<int64_t>(i));  // its task may still write them
      continue;
    }
    again.push_back(static_cast<int32_t>(i));
    missing.insert(missing.end(), c.missing.begin(), c.missing.end());
  }
  const std::string busy_note =
      busy.empty() ? "" : "; chunks " + NumberRangesText(busy) + " are still queued or running and are left to finish";
  if (again.empty()) {
    if (!quiet)
      std::cerr << "tessfx: nothing to resume: "
                << (busy.empty() ? "all " + Plural(s.total, "frame") + " are present"
                                 : std::string("no chunk has ended with frames missing"))
                << busy_note << "\n";
    return;
  }
  // Only the chunks with frames missing; their tasks skip the files that exist (-n).
  const std::string first_job = r.jobs.front().id;
  const std::string pending =
      WriteScriptFile(JoinPath(farm::FarmFolder(), "submitting-" + std::to_string(::getpid()) + ".sh"), r.script);
  std::string id;
  std::error_code ec;
  try {
    id = farm::SubmitArray(pending, farm::ArrayIndexText(again));
  } catch (...) {
    fs::remove(pending, ec);
    throw;
  }
  fs::remove(pending, ec);
  r.jobs.push_back({id, again});
  farm::WriteRecord(r);
  std::sort(missing.begin(), missing.end());
  std::cout << id << std::endl;
  if (!quiet) {
    std::vector<int64_t> chunks(again.begin(), again.end());
    std::cerr << "tessfx: submitted job " << id << " for chunk" << (again.size() == 1 ? " " : "s ")
              << NumberRangesText(chunks) << " of job " << first_job << ": "
              << Plural(static_cast<int64_t>(missing.size()), "frame") << " missing (" << farm::FrameRangeText(missing)
              << ")" << busy_note << "\n";
  }
}

struct CollectOptions {
  std::string pattern;
  OutputOptions output;
};

void Collect(const CollectOptions& o, const InterruptGuard& interrupt) {
  const auto pattern = ParseSequencePattern(o.pattern);
  if (!pattern) Fail(ErrorKind::Usage, o.pattern + ": give the output sequence's pattern, such as out.####.png");
  // The frames the farm render wrote, or without its record the sequence's own span.
  std::vector<int64_t> numbers;
  std::string range_source, resume = "JOB";
  if (const auto r = farm::FindRecordOfOutput(o.pattern)) {
    resume = r->jobs.front().id;
    for (const farm::Chunk& c : r->chunks)
      for (int64_t n : c.numbers) numbers.push_back(n + r->file_number_offset);
    std::sort(numbers.begin(), numbers.end());
    range_source = "farm job " + r->jobs.front().id;
  } else {
    const DocumentInfo info = ProbeDocument(o.pattern);
    for (int64_t n = info.first_number; n < info.first_number + info.frames; ++n) numbers.push_back(n);
    range_source = "the files on disk";
  }
  std::vector<int64_t> missing;
  for (int64_t n : numbers)
    if (!FileExists(pattern->FileName(n))) missing.push_back(n);
  if (!missing.empty())
    Fail(ErrorKind::NoInput, Plural(static_cast<int64_t>(missing.size()), "frame") + " of " + o.pattern + " missing (" +
                                 farm::FrameRangeText(missing) + "; first " + pattern->FileName(missing.front()) +
                                 "): `tessfx farm resume " + resume + "` renders them");
  // Every frame must read whole, at one size: a file cut short by a failing node shows here.
  RgbaPlanes planes;
  const ImageInfo first = ProbeImage(pattern->FileName(numbers.front()));
  for (int64_t n : numbers) ReadImage(pattern->FileName(n), planes, &first);
  const std::string summary = Plural(static_cast<int64_t>(numbers.size()), "frame") + " (" +
                              farm::FrameRangeText(numbers) + ", from " + range_source + ") of " +
                              std::to_string(first.width) + "x" + std::to_string(first.height);
  if (o.output.path.empty()) {
    if (!o.output.quiet) Say(o.pattern + ": all " + summary + " present and readable");
    return;
  }
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  OpenOptions open;
  open.on_demand = true;
  open.span = OpenOptions::Span{numbers.front(), static_cast<int32_t>(numbers.back() - numbers.front() + 1)};
  host->OpenDocument(o.pattern, open);
  FrameSelection chosen = FrameSelection::None(host->tes_GetTotalFrames());
  for (int64_t n : numbers) chosen.Add(static_cast<int32_t>(n - numbers.front()));
  const OutputPlan plan = PlanOutput(o.output, host->document_info(), chosen, AnimationOutput::Chosen);
  EmbeddedHost::SaveOptions save = StoppableSave(interrupt, plan.path, plan.first_number);
  save.frames = plan.frames;
  save.image = plan.image;
  host->SaveDocument(plan.path, save);
  if (!o.output.quiet) Say("wrote " + plan.path + ": " + summary);
}

}  // namespace

void AddFarmCommand(CLI::App& app) {
  auto* farm =
      app.add_subcommand("farm", "Render on a Slurm cluster: submit, follow, resume and collect a farm render");
  farm->require_subcommand(1);
  farm->footer(
      "A farm render is one Slurm job array: one task per chunk of frames, each running `tessfx render` on its "
      "frames into the output sequence with --no-clobber. The input, the output folder, the project, the swap "
      "source, the sequence and tessfx itself must be on a filesystem every node sees, at the same paths.");

  auto* submit = farm->add_subcommand("submit", "Split a render into chunks and submit them as one Slurm job array");
  auto o = std::make_shared<SubmitOptions>();
  submit->add_option("INPUT", o->input, "Animation to render (.tsa, image sequence or BMP sequence)")->required();
  AddEffectOptions(submit, o->effect, true);
  submit->add_option("--frames", o->frames, "Frames to render, by their numbers: 1001-1040, 1001-1100x5 (default all)");
  submit->add_option("--chunk", o->chunk, "Frames per array task")->capture_default_str();
  submit->add_option("--swap", o->swap, "Swap source: an animation (.tsa, frame by frame) or an image");
  submit->add_option("--sequence", o->sequence, "First BMP file of the sequence the sequence effects read");
  submit->add_option("--partition", o->partition, "Slurm partition (default: the cluster's default)");
  submit->add_option("--sbatch-arg", o->sbatch_args, "One more sbatch option, as --time=1:00:00 (repeatable)")
      ->allow_extra_args(false);
  submit->add_option("--cpus-per-task", o->cpus, "Cores per task; the render's thread count")
      ->check(CLI::Range(1, 1024))
      ->capture_default_str();
  submit->add_option("--tessfx", o->program, "The tessfx the nodes run (default: this one)");
  submit->add_flag("--dry-run", o->dry_run, "Print the job script instead of submitting it");
  submit->add_flag("--undo", o->undo, "Refused: a farm render writes new files");
  AddDocumentOptions(submit, o->document);
  AddGapOption(submit, o->document);
  AddOutputOptions(submit, o->output, true);
  submit->footer(
      "Prints the job id. Frames whose files exist are left out. Every check `tessfx render` makes "
      "before work is made here once, before anything is queued.");
  submit->callback([o] { Submit(*o); });

  auto* status = farm->add_subcommand(
      "status", "The tasks of a farm render (pending, running, done, failed) and its frames present");
  auto job = std::make_shared<std::string>();
  auto wait = std::make_shared<bool>(false);
  auto interval = std::make_shared<int32_t>(5);
  status->add_option("JOB", *job, "Job id that farm submit or farm resume printed")->required();
  status->add_flag("--wait", *wait, "Wait until no task is pending or running; exit 66 when frames are missing then");
  status->add_option("--interval", *interval, "Seconds between looks while waiting")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  status->callback([=] { Status(*job, *wait, *interval); });

  auto* resume = farm->add_subcommand("resume", "Submit again the chunks of a farm render whose frames are missing");
  auto resume_job = std::make_shared<std::string>();
  auto quiet = std::make_shared<bool>(false);
  resume->add_option("JOB", *resume_job, "Job id of the render (its submission or an earlier resume)")->required();
  resume->add_flag("-q,--quiet", *quiet, "Print only the new job id");
  resume->footer(
      "Chunks still queued or running are left alone; a resubmitted task renders only the frames whose "
      "files are missing. Prints the new job id.");
  resume->callback([=] { Resume(*resume_job, *quiet); });

  auto* collect =
      farm->add_subcommand("collect", "Check that every frame of a farm render exists and reads; assemble them");
  auto c = std::make_shared<CollectOptions>();
  collect->add_option("OUTPUT_PATTERN", c->pattern, "The render's output sequence (out.####.png)")->required();
  AddOutputOptions(collect, c->output, true);
  collect->footer(
      "The range is the farm render's that wrote OUTPUT_PATTERN, or without its record the sequence's "
      "first to last file. With -o ANIM.tsa the frames are assembled into one animation.");
  collect->callback([c] {
    InterruptGuard interrupt;
    Collect(*c, interrupt);
  });
}

}  // namespace tessfx::cli
