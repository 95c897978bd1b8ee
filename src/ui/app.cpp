#include "ui/app.h"

#include <QApplication>
#include <QDockWidget>
#include <QTimer>
#include <cstdlib>
#include <iostream>

#include "host/image_state.h"
#include "host/registry.h"
#include "render/demo_session.h"
#include "ui/host_window.h"
#include "ui/tool_window.h"
#include "ui/tour.h"

namespace tessfx {
namespace {

bool EnvSet(const char* name) {
  const char* v = std::getenv(name);
  return v && *v;
}

// Sets up the scripted session's effect and keys through the models, as a user would.
void RunScript(ToolWindow& tool, const EditorRunOptions& options) {
  try {
    if (options.script)
      options.script(tool.editor());
    else
      KeyDemoSession(tool.editor(), options.script_effect);
  } catch (const std::exception& e) {
    std::cerr << "tessfx: " << e.what() << "\n";
  }
  tool.RefreshPanel();
  tool.DrawTimeline();
}

}  // namespace

bool HaveDisplay() { return EnvSet("DISPLAY") || EnvSet("WAYLAND_DISPLAY") || EnvSet("QT_QPA_PLATFORM"); }

int RunEditor(std::shared_ptr<EmbeddedHost> host, const EditorRunOptions& options) {
  static int argc = 1;
  static char name[] = "tessfx";
  static char* argv[] = {name, nullptr};
  QApplication app(argc, argv);
  QApplication::setApplicationName("tessfx");

  HostRegistry registry;
  registry.Register(kHostProgId, [host]() -> std::shared_ptr<TessalineHost> { return host; });
  std::unique_ptr<SharedState> state = SharedState::Startup(registry);

  int status = 0;
  {
    HostWindow main_window(*host);
    auto* tool = new ToolWindow(*state);
    host->AddObserver(tool);
    state->HandFormToHost(ObjectRef{static_cast<QWidget*>(tool)});
    tool->RestoreWindowPlacement();
    EmbeddedHost* h = host.get();
    tool->editor().host_files = {[h] { return h->document_path(); },
                                 [h] { return h->document_info().FrameNumberBase(); },
                                 [h] { return h->swap_image_path(); },
                                 [h](const std::string& path) {
                                   h->LoadSwapImage(path);
                                   h->Tes_Refresh();
                                 }};
    main_window.show();

    if (!options.screenshot.empty()) {
      QTimer::singleShot(200, &main_window, [&] {
        RunScript(*tool, options);
        // Let the host window pick up the frame change before the picture is taken.
        QTimer::singleShot(200, &main_window, [&] {
          if (!main_window.grab().save(QString::fromStdString(options.screenshot), "PNG")) {
            std::cerr << "tessfx: cannot write " << options.screenshot << "\n";
            status = 1;
          }
          QApplication::exit(status);
        });
      });
    }
    if (options.screenshot.empty() && options.script)
      QTimer::singleShot(0, &main_window, [&] { RunScript(*tool, options); });
    // Only a session a user drives is asked about earlier work; pictures and tours are not.
    if (options.screenshot.empty() && options.tour_folder.empty())
      QTimer::singleShot(0, &main_window, [&] { main_window.OfferLeftBehindWork(); });
    if (!options.tour_folder.empty()) {
      // A fixed size, so that the pictures come out the same on every screen.
      main_window.resize(1440, 900);
      QTimer::singleShot(300, &main_window, [&] {
        RunTour(*host, main_window, *tool, QString::fromStdString(options.tour_folder), [&](int s) {
          status = s;
          QApplication::exit(s);
        });
      });
    }
    const int loop = QApplication::exec();
    if (status == 0) status = loop;
    host->RemoveObserver(tool);
  }
  return status;
}

}  // namespace tessfx
