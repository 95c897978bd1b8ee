// tessfx apply: one effect, by name, on one frame of an animation, as the editor's preview
// runs it (panel set-up, then the frame dispatch), written to an animation or an image.
#include <OpenImageIO/imageio.h>

#include <optional>
#include <vector>

#include "cli/cli.h"
#include "cli/output.h"
#include "cli/session.h"
#include "cli/slider_values.h"
#include "media/file_util.h"
#include "media/sequence.h"
#include "core/error.h"
#include "engine/dispatch.h"
#include "engine/panel.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "media/file_util.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

namespace tessfx::cli {
namespace {

struct ApplyOptions {
  std::string input;
  std::string effect;
  std::optional<int64_t> frame;  // by the document's frame numbers; default its first frame
  std::string values;
  std::string swap;
  std::string sequence;
  DocumentOptions document;
  OutputOptions output;
};

// The result frame (working planes, extra row and column included, with the frame's alpha)
// saved as a one-frame document: a .tsa keeps the whole planes, an image the visible picture,
// a sequence pattern the file of the frame's number.
void WriteResult(const OutputPlan& plan, int32_t frame, const ImageState& s) {
  EmbeddedHostOptions options;
  options.memory_store = true;
  options.width = s.width;
  options.height = s.height;
  EmbeddedHost out(options);
  out.WriteFramePlane(0, Channel::R, s.work_r);
  out.WriteFramePlane(0, Channel::G, s.work_g);
  out.WriteFramePlane(0, Channel::B, s.work_b);
  out.WriteFramePlane(0, Channel::A, s.host_a);
  EmbeddedHost::SaveOptions save;
  save.first_number = plan.first_number + frame;
  save.frames = {0};
  save.image = plan.image;
  out.SaveDocument(plan.path, save);
}

void Apply(const ApplyOptions& o) {
  const EffectDef& effect = EffectNamedByUser(o.effect);
  if (!effect.implemented()) Fail(ErrorKind::Usage, "effect \"" + std::string(effect.name) + "\" is not implemented yet");
  RequireSwapSource(effect.name, !o.swap.empty());
  // Only the frame asked for is read (and the document's headers): the host reads on demand.
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  OpenDocumentWithOptions(*host, o.input, o.document);
  const DocumentInfo& info = host->document_info();
  const int32_t total = host->tes_GetTotalFrames();
  const int64_t base = info.FrameNumberBase();
  const int64_t number = o.frame.value_or(base);
  if (number < base || number >= base + total)
    Fail(ErrorKind::Usage, "--frame " + std::to_string(number) + " is outside " + std::to_string(base) + ".." +
                               std::to_string(base + total - 1));
  const auto frame = static_cast<int32_t>(number - base);
  FrameSelection chosen = FrameSelection::None(total);
  chosen.Add(frame);
  const OutputPlan plan = PlanOutput(o.output, info, chosen, AnimationOutput::Chosen);
  if (plan.frames.empty()) {
    if (!o.output.quiet) Say("nothing to do: " + plan.FileOf(frame) + " exists");
    return;
  }
  host->Tes_GotoFrame(frame);
  const bool swap_is_animation = !o.swap.empty() && LowerExtension(o.swap) == ".tsa";
  if (!o.swap.empty() && !swap_is_animation) host->LoadSwapImage(o.swap);

  HostRegistry registry;
  registry.Register(kHostProgId, [host] { return std::static_pointer_cast<TessalineHost>(host); });
  auto state = SharedState::Startup(registry);
  ImageState& image = state->image();
  if (swap_is_animation) {
    std::string message;
    if (image.external_swap.OpenAnimationFile(o.swap, [&](const std::string& m) { message = m; }) != 0)
      Fail(ErrorKind::BadData, o.swap + ": " + message);
    image.external_swap.set_active(true);
  }

  ParameterPanel panel;
  panel.SelectEffect(std::string(effect.name));
  SetSliderValues(panel, ParseSliderValues(o.values, "--values"), "--values");

  DispatchHooks hooks;
  hooks.selected_entry = [&panel] { return panel.SelectedEntry(); };
  std::string caption_message;
  hooks.set_caption = [&caption_message](const std::string& text) {
    if (text.rfind("Timeline editor", 0) != 0) caption_message = text;  // the reader's messages
  };
  SequenceSettings sequence;
  if (!o.sequence.empty()) sequence = SequenceOption(o.sequence);
  hooks.sequence_file = [&sequence](int32_t frame) { return SequenceFrameFileName(sequence, frame); };
  FrameDispatcher dispatcher(image, std::move(hooks));
  const std::array<float, 6> v = panel.SliderValues();
  dispatcher.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
  if (!caption_message.empty()) Fail(ErrorKind::BadData, caption_message);
  if (CaughtSignal() != 0) throw InterruptedStatus(CaughtSignal(), "before writing; nothing written");
  WriteResult(plan, frame, image);
  if (o.output.quiet) return;
  std::string used;
  for (size_t i = 0; i < effect.sliders.size(); ++i)
    used += (i ? ", " : " (") + std::string(effect.sliders[i].caption) + " " + std::to_string(panel.HProp[i].Value());
  if (!used.empty()) used += ")";
  Say("wrote " + plan.FileOf(frame) + ": \"" + std::string(effect.name) + "\"" + used + " on frame " +
      std::to_string(number) + " of " +
      o.input);
}

}  // namespace

void AddApplyCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("apply", "Apply one effect by name to one frame and write the result");
  auto o = std::make_shared<ApplyOptions>();
  cmd->add_option("INPUT", o->input, "Input animation, image sequence or image")->required();
  cmd->add_option("--effect", o->effect, "Effect name, as `tessfx effects` lists it")->required();
  cmd->add_option("--frame", o->frame,
                  "The frame, by its number: a sequence's file number, a .tsa's index from 0 (default: the first)");
  cmd->add_option("--values", o->values, "Slider values V1,...,V6 (whole numbers; an empty or missing value keeps the default)");
  cmd->add_option("--swap", o->swap, "Second image: a .tsa animation (its frame at the same position) or an image file");
  cmd->add_option("--sequence", o->sequence, "First BMP file of the sequence the sequence effects read");
  AddDocumentOptions(cmd, o->document);
  AddGapOption(cmd, o->document);
  AddOutputOptions(cmd, o->output, true);
  cmd->footer("OUTPUT: a .tsa (whole planes, one frame), an image, or a sequence pattern (the file of the frame's "
              "number). Only that frame of INPUT is read.");
  cmd->callback([o] {
    InterruptGuard interrupt;
    Apply(*o);
  });
}

}  // namespace tessfx::cli
