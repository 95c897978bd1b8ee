// tessfx render, undo and keys: rendering an effect with key frames over an animation,
// undoing the last render, and printing the per-frame values that keys give.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <tbb/global_control.h>
#include <thread>
#include <vector>

#include "cli/cli.h"
#include "cli/session.h"
#include "cli/slider_values.h"
#include "media/file_util.h"
#include "media/sequence.h"
#include "core/error.h"
#include "engine/catalogue.h"
#include "host/embedded/document_io.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "render/editor.h"
#include "render/project.h"
#include "render/sequence_output.h"

namespace tessfx::cli {
namespace {

// A whole number; throws a usage Error quoting `what` otherwise.
int32_t WholeNumber(std::string_view text, const std::string& what) {
  int32_t v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size())
    Fail(ErrorKind::Usage, what + ": \"" + std::string(text) + "\" is not a whole number");
  return v;
}

// "F:V1,V2,...": go to frame F, set the sliders, set a key (replacing one at F).
void SetKey(Editor& editor, const std::string& key_text) {
  const std::string what = "--key " + key_text;
  const size_t colon = key_text.find(':');
  if (colon == std::string::npos) Fail(ErrorKind::Usage, what + ": expected FRAME:VALUE,VALUE,...");
  const int32_t frame = WholeNumber(std::string_view(key_text).substr(0, colon), what);
  const int32_t total = editor.host().tes_GetTotalFrames();
  if (frame < 0 || frame >= total)
    Fail(ErrorKind::Usage, what + ": frame " + std::to_string(frame) + " is outside the animation (frames 0.." +
                               std::to_string(total - 1) + ")");
  editor.host().Tes_GotoFrame(frame);
  SetSliderValues(editor.panel(), ParseSliderValues(std::string_view(key_text).substr(colon + 1), what), what);
  editor.kv_button1_Click();
}

struct EffectOptions {
  std::string project;
  std::string effect;
  std::string values;
  std::vector<std::string> keys;
  bool spline = false;
};

void AddEffectOptions(CLI::App* cmd, EffectOptions& o, bool with_values) {
  auto* project = cmd->add_option("--project", o.project, "Project file with the effect, sliders and keys");
  auto* effect = cmd->add_option("--effect", o.effect, "Effect name, as in the effect list (\"Color add\")");
  auto* keys = cmd->add_option("--key", o.keys, "Key at frame F with slider values V1,V2,... (repeatable)")
                   ->type_name("F:V1,V2,...")
                   ->allow_extra_args(false);
  auto* spline = cmd->add_flag("--spline", o.spline, "Interpolate keys by spline instead of linearly");
  project->excludes(effect)->excludes(keys)->excludes(spline);
  if (with_values) {
    auto* values = cmd->add_option("--values", o.values, "Slider values V1,V2,... (before the keys)");
    project->excludes(values);
  }
}

// Selects the effect and sets sliders and keys from the options (or the project).
void SetUpEffect(Editor& editor, const EffectOptions& o, bool need_routine) {
  if (!o.project.empty()) {
    const Project p = ReadProjectFile(o.project);
    if (need_routine && !EffectNamedByUser(p.effect).implemented())
      Fail(ErrorKind::Usage, "effect \"" + p.effect + "\" is not available in this build yet");
    ApplyProject(editor, p);
    editor.panel().SuppressPreview = 255;
    return;
  }
  if (o.effect.empty()) Fail(ErrorKind::Usage, "give --effect NAME or --project FILE");
  const EffectDef& e = EffectNamedByUser(o.effect);
  if (need_routine && !e.implemented())
    Fail(ErrorKind::Usage, "effect \"" + std::string(e.name) + "\" is not available in this build yet");
  ParameterPanel& panel = editor.panel();
  panel.SelectEffect(std::string(e.name));
  panel.SuppressPreview = 255;
  SetSliderValues(panel, ParseSliderValues(o.values, "--values"), "--values");
  editor.keys().SetSplineMode(o.spline);
  // Each key moves the sliders to its values, as setting keys in the window does.
  for (const std::string& k : o.keys) SetKey(editor, k);
}

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

// The console's progress, which also hands each rendered frame to the sequence writer as
// soon as it is back in the host, so that encoding overlaps the next frames' rendering.
class WritingProgress final : public RenderProgress {
 public:
  WritingProgress(ConsoleProgress& console, EmbeddedHost& host, SequenceOutput& output)
      : console_(console), host_(host), output_(output), submitted_(static_cast<size_t>(host.tes_GetTotalFrames())) {}

  void SetLabel(const std::string& text) override { console_.SetLabel(text); }
  void Yield() override { console_.Yield(); }
  bool Cancelled() override { return console_.Cancelled(); }
  void DisplayBar(double fraction) override { console_.DisplayBar(fraction); }
  void Close() override { console_.Close(); }
  void FrameDone(int32_t frame) override { Submit(frame); }

  // Every frame not handed over yet (not chosen, or after an interruption), as it is.
  void SubmitTheRest() {
    for (int32_t f = 0; f < static_cast<int32_t>(submitted_.size()); ++f)
      if (!submitted_[static_cast<size_t>(f)]) Submit(f);
  }

 private:
  void Submit(int32_t frame) {
    RgbaPlanes planes;
    for (int c = 0; c < 4; ++c) host_.ReadFramePlane(frame, static_cast<Channel>(c), planes[static_cast<size_t>(c)]);
    output_.Submit(frame, std::move(planes));
    submitted_[static_cast<size_t>(frame)] = true;
  }

  ConsoleProgress& console_;
  EmbeddedHost& host_;
  SequenceOutput& output_;
  std::vector<bool> submitted_;
};

}  // namespace

void AddRenderCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("render", "Render an effect with key frames over an animation");
  struct Options {
    std::string input, output, frames, swap, sequence;
    EffectOptions effect;
    DocumentOptions document;
    bool undo = false;
    int threads = 0;
  };
  auto o = std::make_shared<Options>();
  cmd->add_option("INPUT", o->input, "Animation to render (.tsa, image sequence or BMP sequence)")->required();
  cmd->add_option("-o,--output", o->output, "Where the rendered animation goes")->required();
  AddEffectOptions(cmd, o->effect, true);
  cmd->add_option("--frames", o->frames, "Frames to render: 10-40, 1-100x5, 1,5,10-20 (default all)");
  cmd->add_option("--swap", o->swap, "Swap source: an animation (.tsa, frame by frame) or an image");
  cmd->add_option("--sequence", o->sequence, "First BMP file of the sequence the sequence effects read");
  AddDocumentOptions(cmd, o->document);
  cmd->add_flag("--undo", o->undo, "Record the overwritten frames in the undo file");
  cmd->add_option("--threads", o->threads, "Worker threads (default: all cores)")->check(CLI::Range(1, 1024));
  cmd->footer(
      "With --frames, the render walks from the lowest to the highest chosen frame (backwards for \"Ghost\"); "
      "frames not chosen are left as they were. With --undo, the undo file states that walk and records every "
      "frame in it, so `tessfx undo` puts each frame back in its place.");
  cmd->callback([o] {
    std::optional<tbb::global_control> threads;
    if (o->threads > 0) threads.emplace(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(o->threads));
    Session s(OpenHost(o->input, o->document), o->document.alpha_bits);
    CheckWholeAnimationOutput(o->output, s.host->tes_GetTotalFrames());
    Editor& editor = *s.editor;
    editor.panel().Check1 = o->undo ? 1 : 0;
    SetUpEffect(editor, o->effect, true);
    if (!o->swap.empty()) {
      if (LowerExtension(o->swap) == ".tsa") {
        ExternalAnimation& swap = editor.image().external_swap;
        if (swap.OpenAnimationFile(o->swap, [](const std::string&) {}) != 0)
          Fail(ErrorKind::BadData, "--swap " + o->swap + ": not a Tessaline animation");
        swap.set_active(true);
      } else {
        s.host->LoadSwapImage(o->swap);
      }
    }
    if (!o->sequence.empty()) {
      if (!FileExists(o->sequence)) Fail(ErrorKind::NoInput, "--sequence " + o->sequence + ": no such file");
      editor.sequence = SequenceFromFirstFile(o->sequence);
    }
    const int32_t total = editor.host().tes_GetTotalFrames();
    std::optional<FrameSelection> selection;
    if (!o->frames.empty()) selection = FrameSelection::Parse(o->frames, total);

    InterruptGuard interrupt;
    ConsoleProgress progress(selection ? selection->Count() : total, interrupt);
    RenderSummary r;
    if (OutputKind(o->output) == DocumentKind::ImageSequence) {
      // Frames are written while the render goes on: encoders on every core, a few frames
      // held at most.
      const int workers = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
      SequenceOutput output(o->output, 1, s.host->has_alpha(), workers, workers + 2);
      WritingProgress writing(progress, *s.host, output);
      r = editor.kv_button3_Click(writing, selection ? &*selection : nullptr);
      writing.SubmitTheRest();
      output.Finish();
    } else {
      r = editor.kv_button3_Click(progress, selection ? &*selection : nullptr);
      s.host->SaveDocument(o->output);
    }
    const std::string undo_note = r.recorded ? "; undo file " + editor.undo().Path() : "";
    if (r.cancelled)
      throw ExitStatus{130, "interrupted after " + Plural(r.frames_rendered, "frame") + "; " + o->output +
                                " holds them" + undo_note};
    Say("wrote " + o->output + ": " + Plural(r.frames_rendered, "frame") + " rendered with \"" +
        editor.panel().EffectName() + "\"" + undo_note);
  });
}

void AddUndoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("undo", "Put back the frames that the last render with --undo overwrote");
  auto in = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  cmd->add_option("DOCUMENT", *in, "The rendered animation (.tsa)")->required();
  cmd->add_option("-o,--output", *out, "Where the restored animation goes")->required();
  cmd->callback([in, out] {
    Session s(OpenHost(*in));
    CheckWholeAnimationOutput(*out, s.host->tes_GetTotalFrames());
    Editor& editor = *s.editor;
    editor.panel().Check1 = 1;
    // Checked here first: the undo itself deletes the file after a mismatch.
    const std::string path = editor.undo().Path();
    const std::optional<UndoHeader> h = UndoBuffer::ReadHeader(path);
    if (!h)
      Fail(ErrorKind::NoInput, "There is nothing to undo: no undo file " + path +
                                   " (render with --undo to make one)");
    const int32_t w = editor.host().Tes_BufferWidth(), ht = editor.host().Tes_BufferHeight();
    if (h->width != w || h->height != ht)
      Fail(ErrorKind::BadData, "can't undo: the undo file " + path + " holds " + std::to_string(h->width) + "x" +
                                   std::to_string(h->height) + " frames, " + *in + " has " + std::to_string(w) + "x" +
                                   std::to_string(ht));
    const UndoOutcome u = editor.kv_button12_Click();
    s.host->SaveDocument(*out);
    Say("wrote " + *out + ": " + Plural(u.frames_restored, "frame") + " restored from " + path);
  });
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
      for (const std::string& k : o->effect.keys) SetKey(editor, k);
    } else {
      SetUpEffect(editor, o->effect, false);
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
