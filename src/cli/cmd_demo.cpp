// tessfx demo: the built-in demo animation, generated on first use in the user's data folder,
// opened in the editor's windows; without a display (or with --headless) the demo writes its
// result to a folder instead. tessfx edit: the editor's windows on a document.
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "core/error.h"
#include "media/file_util.h"
#include "media/test_patterns.h"
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
  if (!path.empty()) OpenDocumentWithOptions(*host, path, options);
  return RunEditor(host, run);
}
#endif

}  // namespace

void AddDemoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("demo", "Run the editor's demo on the built-in demo animation");
  auto out_dir = std::make_shared<std::string>("tessfx-demo-output");
  auto options = std::make_shared<DocumentOptions>();
  cmd->add_option("--output", *out_dir, "Folder for the headless demo's result")->capture_default_str();
  AddDocumentOptions(cmd, *options);
  auto headless = std::make_shared<bool>(false);
  cmd->add_flag("--headless", *headless, "Write the demo's result without opening the editor's windows");
#ifdef TESSFX_HAVE_UI
  auto run = std::make_shared<EditorRunOptions>();
  cmd->add_option("--screenshot", run->screenshot, "Set keys on an effect, save a picture of the window (PNG) and quit");
  cmd->add_option("--script", run->script_effect, "The effect the --screenshot session picks")->capture_default_str();
#endif
  cmd->callback([=] {
    const std::string demo = EnsureDemoAnimation();
    Say("demo animation: " + demo);
#ifdef TESSFX_HAVE_UI
    if (!*headless && HaveDisplay()) {
      if (const int status = RunWindows(demo, *options, *run); status != 0) throw ExitStatus{status, "the editor failed"};
      return;
    }
#endif
    std::error_code ec;
    std::filesystem::create_directories(*out_dir, ec);
    if (ec) Fail(ErrorKind::CantCreate, "cannot create " + *out_dir + ": " + ec.message());
    auto host = MakeHost();
    OpenDocumentWithOptions(*host, demo, *options);
    const std::string out = JoinPath(*out_dir, "demo.tsa");
    host->SaveDocument(out);
    Say("wrote " + out);
  });
}

void AddEditCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("edit", "Open the editor's windows on an animation, image or sequence");
  auto file = std::make_shared<std::string>();
  auto options = std::make_shared<DocumentOptions>();
  cmd->add_option("FILE", *file, "The document to open (default: a blank animation)");
  AddDocumentOptions(cmd, *options);
  cmd->callback([=] {
#ifdef TESSFX_HAVE_UI
    if (!HaveDisplay()) Fail(ErrorKind::Usage, "no display: set DISPLAY or WAYLAND_DISPLAY (or QT_QPA_PLATFORM)");
    if (const int status = RunWindows(*file, *options, {}); status != 0) throw ExitStatus{status, "the editor failed"};
#else
    Fail(ErrorKind::Usage, "this build has no editor windows");
#endif
  });
}

}  // namespace tessfx::cli
