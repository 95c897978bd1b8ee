#pragma once
// The editor's windows as a program: the host window with the animation, and the tool window
// docked beside it.
#include <functional>
#include <memory>
#include <string>

#include "host/embedded/embedded_host.h"

namespace tessfx {

class Editor;

struct EditorRunOptions {
  // A scripted session for pictures of the editor: runs `script` on the editor (by default
  // it selects `script_effect`, sets keys at the first and last frame and previews the
  // middle frame), saves the host window to `screenshot` (PNG) and quits.
  std::string screenshot;
  std::string script_effect = "Color add";
  std::function<void(Editor&)> script;
  // The scripted tour (ui/tour.h): a first session through the widgets, with a picture of
  // each state saved into this folder; then the editor quits.
  std::string tour_folder;
};

// True when a window system is reachable (a display, or a platform chosen explicitly).
bool HaveDisplay();

// Runs the editor on `host` (with its document already open) until the host window closes;
// returns the exit status.
int RunEditor(std::shared_ptr<EmbeddedHost> host, const EditorRunOptions& options = {});

}  // namespace tessfx
