// tessfx render, undo and keys: rendering an effect with key frames over an animation,
// undoing the last render, and printing the per-frame values that keys give.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <tbb/global_control.h>
#include <vector>

#include "cli/cli.h"
#include "cli/effect_options.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/session.h"
#include "cli/slider_values.h"
#include "media/file_util.h"
#include "media/sequence.h"
#include "core/error.h"
#include "engine/catalogue.h"
#include "host/embedded/settings_store.h"
#include "host/image_state.h"
#include "render/editor.h"
#include "render/project.h"

namespace tessfx::cli {
namespace {

std::string Plural(int64_t n, const char* word) { return std::to_string(n) + " " + word + (n == 1 ? "" : "s"); }

// Shortest text that reads back as the same single.
std::string FloatText(float v) {
  char buf[32];
  const auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v);
  return ec == std::errc() ? std::string(buf, end) : std::string("nan");
}

// The single as a JSON number through its shortest text (127.5, not 127.50000762...);
// null when it is not finite.
nlohmann::json JsonFloat(float v) {
  if (!std::isfinite(v)) return nullptr;
  return nlohmann::json::parse(FloatText(v));
}

struct RenderOptions {
  std::string input, frames, swap, sequence;
  EffectOptions effect;
  DocumentOptions document;
  OutputOptions output;
  bool undo = false;
  int threads = 0;
};

// The file a frame is read from, for verbose lines.
std::string SourceOf(const DocumentInfo& info, int32_t frame) {
  if (static_cast<size_t>(frame) < info.files.size() && info.kind != DocumentKind::Animation)
    return info.files[static_cast<size_t>(frame)];
  return info.first_file + " frame " + std::to_string(frame);
}

// Reads the frames into the host's store before the work starts, so that a bad file shows
// before anything is rendered; a signal stops it with nothing written.
void LoadPhase(EmbeddedHost& host, const std::vector<int32_t>& frames, Progress& progress,
               const InterruptGuard& interrupt) {
  const DocumentInfo& info = host.document_info();
  const int64_t base = info.FrameNumberBase();
  progress.Begin("loading", static_cast<int64_t>(frames.size()));
  for (int32_t f : frames) {
    interrupt.Poll("while loading; nothing written");
    host.LoadFrame(f);
    progress.Step(base + f, "read " + SourceOf(info, f));
  }
  progress.End();
}

// Writes `frames` of the host's document as the plan says, every file under a temporary
// name until all are written. With `finish_first`, one signal lets the save finish (the
// frames rendered are worth keeping) and a second stops it; otherwise the first stops it.
// Stopped, the temporary files go and the previous files stay as they were.
void SavePhase(EmbeddedHost& host, const OutputPlan& plan, const std::vector<int32_t>& frames, Progress& progress,
               const InterruptGuard& interrupt, bool finish_first) {
  const int64_t base = host.document_info().FrameNumberBase();
  EmbeddedHost::SaveOptions save;
  save.first_number = plan.first_number;
  save.frames = frames;
  save.image = plan.image;
  save.allow_8bit = plan.allow_8bit;
  save.depth_advice = kAllow8BitAdvice;
  bool noted = interrupt.interrupted();
  const std::string outcome = "while saving; nothing written, " + plan.path + " is as it was";
  save.on_frame = [&](int32_t f, const std::string& file) {
    progress.Step(base + f, "made " + file);
    if (!finish_first || interrupt.insisted()) interrupt.Poll(outcome);
    if (!noted && interrupt.interrupted()) {
      noted = true;
      progress.Note("tessfx: writing the frames rendered before stopping (a second Ctrl-C stops without writing)");
    }
  };
  progress.Begin("saving", static_cast<int64_t>(frames.size()));
  if (!finish_first || interrupt.insisted()) interrupt.Poll(outcome);
  host.SaveDocument(plan.path, save);
  progress.End();
}

std::string SkippedNote(const OutputPlan& plan, int64_t base) {
  if (plan.skipped.empty()) return "";
  return "; " + Plural(static_cast<int64_t>(plan.skipped.size()), "frame") + " skipped, their files exist (" +
         FrameNumbersText(plan.skipped, base) + ")";
}

// The numbering a render left for `document`, when the undo data is for it: the undo of a
// render that wrote some files of a sequence, or renumbered them, needs to know which file
// the recorded frame 0 is.
std::optional<OpenOptions::Span> UndoNumbering(const std::optional<UndoDescription>& d, const std::string& document) {
  if (!d) return std::nullopt;
  std::error_code ec;
  if (std::filesystem::weakly_canonical(d->document, ec) != std::filesystem::weakly_canonical(document, ec))
    return std::nullopt;  // another document: its own numbering holds, and the fingerprints decide
  return OpenOptions::Span{d->first_number, d->frames};
}

// Formats that store a frame approximately: what a later undo finds in their files is not
// what the render sent, so the undo data's fingerprints are taken from the files.
bool StoresApproximately(const std::string& path) {
  const std::string ext = LowerExtension(path);
  for (const char* lossy : {".jpg", ".jpeg", ".jpe", ".jfif", ".webp", ".heic", ".heif", ".avif"})
    if (ext == lossy) return true;
  return false;
}

// Reads the frames just written back from `plan`'s files and gives the undo data their fingerprints.
void FingerprintWrittenFrames(UndoBuffer& undo, const OutputPlan& plan, const std::vector<int32_t>& written,
                              int32_t total) {
  std::shared_ptr<EmbeddedHost> files = MakeHost();
  OpenOptions numbered;
  numbered.on_demand = true;
  if (plan.kind == DocumentKind::ImageSequence) numbered.span = OpenOptions::Span{plan.first_number, total};
  files->OpenDocument(plan.path, numbered);
  Plane r, g, b;
  undo.UpdateFingerprints([&](int32_t f) -> std::optional<uint64_t> {
    if (!std::binary_search(written.begin(), written.end(), f)) return std::nullopt;
    // A single picture holds the one frame written.
    const int32_t at = plan.kind == DocumentKind::Image ? 0 : f;
    files->LoadFrame(at);
    files->ReadFramePlane(at, Channel::R, r);
    files->ReadFramePlane(at, Channel::G, g);
    files->ReadFramePlane(at, Channel::B, b);
    return FrameFingerprint(r, g, b);
  });
}

void Render(const RenderOptions& o) {
  std::optional<tbb::global_control> threads;
  if (o.threads > 0) threads.emplace(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(o.threads));
  // From the start: a signal while the input is opened ends the run before anything is written.
  InterruptGuard interrupt;
  // Checks first: the input's headers, the frames asked for, the output. Nothing is read or
  // rendered until all of them hold.
  std::shared_ptr<EmbeddedHost> host = OpenHost(o.input, o.document);
  const DocumentInfo& info = host->document_info();
  const int32_t total = host->tes_GetTotalFrames();
  const int64_t base = info.FrameNumberBase();
  FrameSelection chosen = o.frames.empty() ? FrameSelection::All(total) : FrameSelection::Parse(o.frames, total, base);
  const OutputPlan plan = PlanOutput(o.output, info, chosen, AnimationOutput::Whole);
  for (int32_t f : plan.skipped) chosen.Remove(f);
  const bool quiet = o.output.quiet;
  if (chosen.Count() == 0) {
    if (!quiet) Say("nothing to render: the files of all " + Plural(static_cast<int64_t>(plan.skipped.size()), "frame") +
                    " exist in " + plan.path);
    return;
  }

  if (!plan.allow_8bit) {
    // Refused now rather than after the render: the rendered frames are 8-bit.
    EmbeddedHost::SaveOptions save;
    save.first_number = plan.first_number;
    save.frames = plan.kind == DocumentKind::Animation ? std::vector<int32_t>{} : chosen.Frames();
    save.image = plan.image;
    if (const auto loss = host->DepthLoss(plan.path, save, chosen.Frames()))
      Fail(ErrorKind::Usage, "cannot save " + plan.path + ": " + *loss + ": save as another file (" +
                                 kAllow8BitAdvice + ")");
  }
  host->Tes_GotoFrame(chosen.First());  // the editor starts on a frame it renders
  Session s(host, o.document.alpha_bits);
  Editor& editor = *s.editor;
  editor.panel().Check1 = o.undo ? 1 : 0;
  if (o.undo) {
    // Held to the end: another render or undo never replaces or reads this one's data meanwhile.
    editor.undo().LockUndoFile();
    std::error_code ec;
    const std::filesystem::path where = std::filesystem::absolute(plan.path, ec);
    editor.undo().SetDocument(ec ? plan.path : where.string(), plan.first_number);
  }
  SetUpEffect(editor, o.effect, true, base);
  if (!o.swap.empty()) {
    if (LowerExtension(o.swap) == ".tsa") {
      ExternalAnimation& swap = editor.image().external_swap;
      if (swap.OpenAnimationFile(o.swap, [](const std::string&) {}) != 0)
        Fail(ErrorKind::BadData, "--swap " + o.swap + ": not a Tessaline animation");
      swap.set_active(true);
    } else {
      host->LoadSwapImage(o.swap);
    }
  }
  // A project may bring its swap image or animation along.
  RequireSwapSource(editor.panel().EffectName(),
                    !host->swap_image_path().empty() || editor.image().external_swap.active());
  if (!o.sequence.empty()) editor.sequence = SequenceOption(o.sequence);

  Progress progress(o.output.verbosity());
  // Recording undo visits every frame of the walk; otherwise only the chosen ones are read.
  std::vector<int32_t> touched = chosen.Frames();
  if (o.undo) {
    touched.clear();
    for (int32_t f = chosen.First(); f <= chosen.Last(); ++f) touched.push_back(f);
  }
  LoadPhase(*host, touched, progress, interrupt);

  RenderPhase phase(progress, *host, base, interrupt);
  progress.Begin("rendering", chosen.Count());
  const RenderSummary r = editor.kv_button3_Click(phase, &chosen);
  progress.End();
  const std::string undo_path = editor.undo().Path();
  const std::string undo_note = r.recorded ? "; undo file " + undo_path : "";

  OutputPlan done = plan;
  done.frames = phase.rendered();
  std::sort(done.frames.begin(), done.frames.end());
  if (r.cancelled && done.frames.empty()) interrupt.Stop("before the first frame; nothing written");
  // A sequence or image gets the frames rendered; a .tsa is the whole animation.
  SavePhase(*host, plan, plan.kind == DocumentKind::Animation ? plan.frames : done.frames, progress, interrupt, true);
  if (r.recorded && StoresApproximately(plan.path)) FingerprintWrittenFrames(editor.undo(), plan, done.frames, total);

  const std::string count = std::to_string(r.frames_rendered) + " of " + Plural(chosen.Count(), "frame");
  if (interrupt.interrupted() && !r.cancelled)
    interrupt.Stop("while saving; the save was finished first: wrote " + plan.path + ": " + Plural(r.frames_rendered, "frame") +
                   " rendered (" + WrittenText(done, base) + ")" + undo_note);
  if (r.cancelled)
    interrupt.Stop("after " + count + "; " + plan.path + " holds " + WrittenText(done, base) +
                              (plan.kind == DocumentKind::Animation ? " rendered, the others as they were"
                                                                    : " (run again with -n to render the rest)") +
                              undo_note);
  if (!quiet)
    Say("wrote " + plan.path + ": " + Plural(r.frames_rendered, "frame") + " rendered with \"" +
        editor.panel().EffectName() + "\" (" + WrittenText(done, base) + ")" + SkippedNote(plan, base) + undo_note);
}

struct UndoOptions {
  std::string document;
  DocumentOptions open;
  OutputOptions output;
};

void Undo(const UndoOptions& o) {
  InterruptGuard interrupt;
  const std::string path = JoinPath(DefaultTempDir(), kUndoFileName);
  // Held from the start: a render with undo running meanwhile would change what is read.
  Descriptor lock = LockUndoFolder(DefaultTempDir());
  // Checked here first: the undo itself deletes the file after a mismatch.
  const std::optional<UndoHeader> h = UndoBuffer::ReadHeader(path);
  if (!h)
    Fail(ErrorKind::NoInput, "There is nothing to undo: no undo file " + path + " (render with --undo to make one)");
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  const std::optional<UndoDescription> described = UndoBuffer::ReadDescription(DefaultTempDir());
  const auto span = UndoNumbering(described, o.document);
  if (span && ParseSequencePattern(o.document)) {
    OpenOptions numbered;
    numbered.on_demand = true;
    numbered.span = span;
    host->OpenDocument(o.document, numbered);
  } else {
    OpenDocumentWithOptions(*host, o.document, o.open);
  }
  const DocumentInfo& info = host->document_info();
  const int32_t w = host->Tes_BufferWidth(), ht = host->Tes_BufferHeight(), total = host->tes_GetTotalFrames();
  if (h->width != w || h->height != ht)
    Fail(ErrorKind::BadData, "can't undo: the undo file " + path + " holds " + std::to_string(h->width) + "x" +
                                 std::to_string(h->height) + " frames, " + o.document + " has " + std::to_string(w) +
                                 "x" + std::to_string(ht));
  // The frames the records go back to: the walk the header states, as far as the file holds records.
  const int64_t record = 3 * static_cast<int64_t>(PlaneBytes(w, ht));
  std::error_code ec;
  const auto size = static_cast<int64_t>(std::filesystem::file_size(path, ec));
  int64_t records = ec ? 0 : std::max<int64_t>(0, (size - kUndoHeaderBytes) / record);
  FrameSelection restored = FrameSelection::None(total);
  for (int64_t f = h->first; records > 0 && (h->step >= 0 ? f <= h->last : f >= h->last); f += h->step, --records) {
    // Frames walked but not rendered (--frames) were not changed, and a new sequence has no
    // files for them: they are left alone.
    if (!described || described->Restores(f)) restored.Add(static_cast<int32_t>(std::clamp<int64_t>(f, -1, total)));
    if (h->step == 0) break;
  }
  OutputPlan plan = PlanOutput(o.output, info, restored, AnimationOutput::Whole);
  // The frames restored are the 8-bit frames the render replaced: nothing deeper exists to
  // keep, and the frames not restored are copied from their files as they are.
  plan.allow_8bit = true;

  if (restored.Count() > 0) host->Tes_GotoFrame(restored.First());  // the editor starts on a frame it restores
  Session s(host);
  Editor& editor = *s.editor;
  editor.panel().Check1 = 1;
  editor.undo().AdoptLock(std::move(lock));
  Progress progress(o.output.verbosity());
  LoadPhase(*host, restored.Frames(), progress, interrupt);
  if (const auto why = editor.undo().WhyNotUndo()) Fail(ErrorKind::BadData, "can't undo: " + *why);
  // The undo data goes only once the restored frames are on disk: a save that fails (a
  // missing folder, a full disk, Ctrl-C) leaves it for another try.
  editor.undo().KeepFileAfterUndo(true);
  const UndoOutcome u = editor.kv_button12_Click();
  SavePhase(*host, plan, plan.frames, progress, interrupt, false);
  editor.undo().DeleteUndos();
  if (!o.output.quiet)
    Say("wrote " + plan.path + ": " + Plural(u.frames_restored, "frame") + " restored from " + path + " (frames " +
        FrameNumbersText(restored.Frames(), info.FrameNumberBase()) + ")" + SkippedNote(plan, info.FrameNumberBase()));
}

}  // namespace

void AddRenderCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("render", "Render an effect with key frames over an animation");
  auto o = std::make_shared<RenderOptions>();
  cmd->add_option("INPUT", o->input, "Animation to render (.tsa, image sequence or BMP sequence)")->required();
  AddEffectOptions(cmd, o->effect, true);
  cmd->add_option("--frames", o->frames,
                  "Frames to render, by their numbers: 1001-1040, 1001-1100x5, 1001,1005,1010-1020 (default all)");
  cmd->add_option("--swap", o->swap, "Swap source: an animation (.tsa, frame by frame) or an image");
  cmd->add_option("--sequence", o->sequence, "First BMP file of the sequence the sequence effects read");
  AddDocumentOptions(cmd, o->document);
  AddGapOption(cmd, o->document);
  cmd->add_flag("--undo", o->undo, "Record the overwritten frames in the undo file");
  cmd->add_option("--threads", o->threads, "Worker threads (default: all cores)")->check(CLI::Range(1, 1024));
  AddOutputOptions(cmd, o->output, true);
  cmd->footer(
      "Frames go by the files' own numbers in an image sequence (shot.1001.png is frame 1001; --frames and --key "
      "use them), and by their index from 0 in a .tsa. An image sequence output gets exactly the frames rendered, "
      "numbered as the input's unless --first says otherwise, so that renders of separate ranges fill one "
      "sequence; a .tsa output is the whole animation with the chosen frames rendered. "
      "The output is checked before anything is read: its folder must exist, and replacing the input's files "
      "needs --in-place. With --frames, the render walks from the lowest to the highest chosen frame (backwards "
      "for \"Ghost\"). With --undo, the undo file states that walk and records every frame in it, so `tessfx "
      "undo` puts each frame back in its place. Ctrl-C (SIGTERM, SIGHUP) stops after the current frame and "
      "writes the frames rendered so far (exit 130, 143, 129); -n then renders the rest. During the final save "
      "a first signal lets it finish, a second stops it with nothing replaced.");
  cmd->callback([o] { Render(*o); });
}

void AddUndoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("undo", "Put back the frames that the last render with --undo overwrote");
  auto o = std::make_shared<UndoOptions>();
  cmd->add_option("DOCUMENT", o->document, "The rendered animation or sequence")->required();
  AddOutputOptions(cmd, o->output, true);
  AddGapOption(cmd, o->open);
  cmd->footer("An image sequence output gets the frames put back, numbered as the render numbered them; a .tsa "
              "the whole animation.");
  cmd->callback([o] { Undo(*o); });
}

void AddKeysCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("keys", "Print the per-frame parameter values that key frames give");
  struct Options {
    EffectOptions effect;
    int32_t total = 0;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  AddEffectOptions(cmd, o->effect, false);
  cmd->add_option("--frames-total", o->total, "Frame count of the animation")->required()->check(
      CLI::Range(1, kMaxFrames));
  cmd->add_flag("--json", o->json, "Print JSON instead of a table");
  cmd->footer("Without --effect or --project the six sliders range over -32768..32767.");
  cmd->callback([o] {
    auto host = MakeHost();
    host->NewAnimation(1, 1, o->total);
    Session s(std::move(host));
    Editor& editor = *s.editor;
    if (o->effect.project.empty() && o->effect.effect.empty()) {
      // Six plain sliders: values come back as given.
      for (HPropModel& h : editor.panel().HProp) {
        h.SetMin(INT16_MIN);
        h.SetMax(INT16_MAX);
        h.SetVisible(true);
      }
      editor.keys().SetSplineMode(o->effect.spline);
      for (const std::string& k : o->effect.keys) SetKey(editor, k, 0);
    } else {
      SetUpEffect(editor, o->effect, false, 0);
    }
    KeyChannels& keys = editor.keys();
    keys.FillArray();
    ParameterPanel& panel = editor.panel();
    std::array<std::string, 6> names;
    for (size_t n = 0; n < 6; ++n)
      names[n] = panel.HProp[n].Visible() && !panel.Label[n].caption.empty() ? panel.Label[n].caption
                                                                             : "slider " + std::to_string(n + 1);
    if (o->json) {
      nlohmann::json j;
      j["effect"] = panel.EffectName().empty() ? nlohmann::json(nullptr) : nlohmann::json(panel.EffectName());
      j["frames_total"] = o->total;
      j["spline"] = keys.SplineMode();
      j["keys"] = keys.KeyCount();
      nlohmann::json sliders = nlohmann::json::array();
      for (size_t n = 0; n < 6; ++n)
        sliders.push_back({{"name", names[n]}, {"min", panel.HProp[n].Min()}, {"max", panel.HProp[n].Max()}});
      j["sliders"] = sliders;
      nlohmann::json frames = nlohmann::json::array();
      for (int32_t f = 0; f < o->total; ++f) {
        nlohmann::json values = nlohmann::json::array();
        for (int c = 0; c < 6; ++c) values.push_back(JsonFloat(keys.ChannelValue(c, f)));
        frames.push_back({{"frame", f}, {"values", values}});
      }
      j["frames"] = frames;
      std::cout << j.dump(2) << "\n";
      return;
    }
    std::string line = "frame";
    for (const std::string& n : names) line += "\t" + n;
    Say(line);
    for (int32_t f = 0; f < o->total; ++f) {
      line = std::to_string(f);
      for (int c = 0; c < 6; ++c) line += "\t" + FloatText(keys.ChannelValue(c, f));
      Say(line);
    }
  });
}

}  // namespace tessfx::cli
