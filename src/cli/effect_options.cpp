#include "cli/effect_options.h"

#include <charconv>

#include "cli/slider_values.h"
#include "core/error.h"
#include "engine/catalogue.h"
#include "render/project.h"

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

}  // namespace

void SetKey(Editor& editor, const std::string& key_text, int64_t number_base) {
  const std::string what = "--key " + key_text;
  const size_t colon = key_text.find(':');
  if (colon == std::string::npos) Fail(ErrorKind::Usage, what + ": expected FRAME:VALUE,VALUE,...");
  const int64_t number = WholeNumber(std::string_view(key_text).substr(0, colon), what);
  const int32_t total = editor.host().tes_GetTotalFrames();
  if (number < number_base || number >= number_base + total)
    Fail(ErrorKind::Usage, what + ": frame " + std::to_string(number) + " is outside the animation (frames " +
                               std::to_string(number_base) + ".." + std::to_string(number_base + total - 1) + ")");
  const auto frame = static_cast<int32_t>(number - number_base);
  editor.host().Tes_GotoFrame(frame);
  SetSliderValues(editor.panel(), ParseSliderValues(std::string_view(key_text).substr(colon + 1), what), what);
  editor.kv_button1_Click();
}

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

void SetUpEffect(Editor& editor, const EffectOptions& o, bool need_routine, int64_t number_base) {
  if (!o.project.empty()) {
    const Project p = ReadProjectFile(o.project);
    // An unknown name is the file's fault (ApplyProject says so), as in every other command.
    if (const EffectDef* e = FindEffectIgnoringCase(p.effect); need_routine && e && !e->implemented())
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
  for (const std::string& k : o.keys) SetKey(editor, k, number_base);
}

}  // namespace tessfx::cli
