// tessfx demo: the built-in demo animation, generated on first use in the user's data folder,
// opened in the editor's windows; without a display (or with --headless) the demo keys and
// renders an effect and writes the result to a folder instead. tessfx edit: the editor's
// windows on a document.
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "cli/progress.h"
#include "cli/session.h"
#include "cli/slider_values.h"
#include "engine/catalogue.h"
#include "core/error.h"
#include "media/file_util.h"
#include "media/test_patterns.h"
#include "render/demo_session.h"
#include "render/project.h"
#ifdef TESSFX_HAVE_UI
#include "ui/app.h"
#endif

namespace tessfx::cli {
namespace {

std::string DataDir() {
  if (const char* d = std::getenv("TESSFX_DATA_DIR"); d && *d) return d;
  if (const char* d = std::getenv("XDG_DATA_HOME"); d && *d) return std::string(d) + "/tessfx";
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/.local/share/tessfx";
}

// Creates the demo animation when it is missing and returns its path.
std::string EnsureDemoAnimation() {
  const std::string dir = DataDir();
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) Fail(ErrorKind::CantCreate, "cannot create " + dir + ": " + ec.message());
  const std::string path = JoinPath(dir, "demo.tsa");
  if (FileExists(path)) return path;
  constexpr int32_t kW = 480, kH = 270, kFrames = 48;
  auto host = MakeHost();
  host->NewAnimation(kW, kH, kFrames);
  DrawPatternAnimation(*host, Pattern::Circles, 1);
  host->SaveDocument(path);
  return path;
}

#ifdef TESSFX_HAVE_UI
int RunWindows(const std::string& path, const DocumentOptions& options, const EditorRunOptions& run) {
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  if (!path.empty()) OpenDocumentWithOptions(*host, path, options, /*on_demand=*/false);
  return RunEditor(host, run);
}
#endif

}  // namespace

void AddDemoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("demo", "Run the editor's demo on the built-in demo animation");
  auto out_dir = std::make_shared<std::string>("tessfx-demo-output");
  auto effect = std::make_shared<std::string>("Color add");
  auto options = std::make_shared<DocumentOptions>();
  cmd->add_option("--output", *out_dir, "Folder for the headless demo's result")->capture_default_str();
  cmd->add_option("--effect", *effect, "The effect the demo keys (headless, or with --screenshot)")
      ->capture_default_str();
  AddDocumentOptions(cmd, *options);
  auto headless = std::make_shared<bool>(false);
  cmd->add_flag("--headless", *headless, "Render the demo into --output without opening the editor's windows");
#ifdef TESSFX_HAVE_UI
  auto run = std::make_shared<EditorRunOptions>();
  cmd->add_option("--screenshot", run->screenshot, "Key --effect, save a picture of the window (PNG) and quit");
  cmd->add_option("--tour", run->tour_folder,
                  "Walk through a first session in the windows, save a picture of each step into this folder "
                  "and quit");
#endif
  cmd->footer(
      "Without a display (or with --headless) the demo does what a first session in the windows does: it keys "
      "--effect at the first and last frame, renders, and writes the animation, its frames as PNG files and the "
      "project into --output.");
  cmd->callback([=] {
    // Read here in every build, so the flag's storage lives as long as the callback.
    [[maybe_unused]] const bool windows = !*headless;
    const std::string demo = EnsureDemoAnimation();
    Say("demo animation: " + demo);
#ifdef TESSFX_HAVE_UI
    if (windows && HaveDisplay()) {
      EditorRunOptions with_effect = *run;
      with_effect.script_effect = *effect;
      if (const int status = RunWindows(demo, *options, with_effect); status != 0)
        throw ExitStatus{status, "the editor failed"};
      return;
    }
#endif
    std::error_code ec;
    std::filesystem::create_directories(*out_dir, ec);
    if (ec) Fail(ErrorKind::CantCreate, "cannot create " + *out_dir + ": " + ec.message());
    InterruptGuard interrupt;  // before the document opens: its frame store goes with a stop
    Session s(OpenHost(demo, *options), options->alpha_bits);
    s.editor->panel().Check1 = 0;  // the demo animation is regenerated, not undone
    KeyDemoSession(*s.editor, *effect);
    Progress progress(Verbosity::Normal);
    RenderPhase phase(progress, *s.host, 0, interrupt);
    progress.Begin("rendering", s.host->tes_GetTotalFrames());
    const RenderSummary r = s.editor->kv_button3_Click(phase);
    progress.End();
    const std::string animation = JoinPath(*out_dir, "demo.tsa");
    const std::string frames = JoinPath(*out_dir, "frames/demo.####.png");
    const std::string project = JoinPath(*out_dir, "demo.json");
    s.host->SaveDocument(frames);
    s.host->SaveDocument(animation);
    WriteProjectFile(CaptureProject(*s.editor), project);
    if (r.cancelled) interrupt.Stop("while rendering; " + animation + " holds the frames rendered so far");
    Say("wrote " + animation + ", " + frames + " and " + project + ": " + std::to_string(r.frames_rendered) +
        " frames rendered with \"" + *effect + "\" keyed at the first and last frame");
  });
}

void AddEditCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("edit", "Open the editor's windows on an animation, image or sequence");
  auto file = std::make_shared<std::string>();
  auto options = std::make_shared<DocumentOptions>();
  auto swap = std::make_shared<std::string>();
  auto effect = std::make_shared<std::string>();
  auto values = std::make_shared<std::string>();
  cmd->add_option("FILE", *file, "The document to open (default: a blank animation)");
  cmd->add_option("--swap", *swap, "An image to load as the swap image, resized to the frame");
  cmd->add_option("--effect", *effect, "The effect to select at start");
  cmd->add_option("--values", *values, "Its slider values V1,...,V6 (an empty or missing value keeps the default)");
  AddDocumentOptions(cmd, *options);
  AddGapOption(cmd, *options);
#ifdef TESSFX_HAVE_UI
  auto screenshot = std::make_shared<std::string>();
  cmd->add_option("--screenshot", *screenshot, "Save a picture of the window (PNG) once the effect is previewed, and quit");
#endif
  cmd->callback([=] {
#ifdef TESSFX_HAVE_UI
    if (!HaveDisplay()) Fail(ErrorKind::Usage, "no display: set DISPLAY or WAYLAND_DISPLAY (or QT_QPA_PLATFORM)");
    const std::vector<std::optional<int32_t>> parsed = ParseSliderValues(*values, "--values");
    const std::string name = effect->empty() ? std::string() : std::string(EffectNamedByUser(*effect).name);
    std::shared_ptr<EmbeddedHost> host = MakeHost();
    if (!file->empty()) OpenDocumentWithOptions(*host, *file, *options);
    if (!swap->empty()) host->LoadSwapImage(*swap);
    EditorRunOptions run;
    run.screenshot = *screenshot;
    // Picks the effect with its values and previews the current frame, as a user would.
    run.script = [name, parsed](Editor& editor) {
      if (name.empty()) return;
      editor.panel().SelectEffect(name);
      SetSliderValues(editor.panel(), parsed, "--values");
      editor.DoPreviewFrame();
    };
    if (const int status = RunEditor(host, run); status != 0) throw ExitStatus{status, "the editor failed"};
#else
    Fail(ErrorKind::Usage, "this build has no editor windows");
#endif
  });
}

}  // namespace tessfx::cli
