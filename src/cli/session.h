#pragma once
// The editor as the command line drives it: an embedded host holding one document, an
// editor over it, a window that prints messages, and Ctrl-C stopping a render between
// frames (progress.h shows how far it got).
#include <signal.h>

#include <memory>
#include <optional>
#include <string>

#include "cli/cli.h"
#include "host/image_state.h"
#include "render/editor.h"

namespace tessfx::cli {

// Catches SIGINT, SIGTERM and SIGHUP from the first guard made to the end of the process (a
// signal after the command's work still gives its exit status; see main). The handler only
// counts signals: the phases poll between frames and files and end by throwing, so temporary
// files and frame stores go with the unwinding. A third signal ends the program at once;
// what that leaves, `tessfx recover` lists.
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  bool interrupted() const;  // one signal or more
  bool insisted() const;     // two or more
  // Ends the command as the first signal asks: exit 128 + its number (130 for SIGINT, 143
  // for SIGTERM, 129 for SIGHUP) and the line "interrupted by <signal> <what>".
  [[noreturn]] void Stop(const std::string& what) const;
  void Poll(const std::string& what) const {
    if (interrupted()) Stop(what);
  }
};

// Save options that look at the signals after every file: stopped, the files written so far
// under temporary names go and `path`'s previous files stay as they were.
EmbeddedHost::SaveOptions StoppableSave(const InterruptGuard& interrupt, const std::string& path,
                                        int64_t first_number = 1);

// The number of the first signal caught by a guard, 0 when none.
int CaughtSignal();
// The exit status a signal ends a command with, and its one line.
ExitStatus InterruptedStatus(int signal, const std::string& what);

// No picture, no timeline and nobody to answer boxes: messages go to standard error.
class ConsoleWindow final : public EditorWindow {
 public:
  void SetCaption(const std::string&) override {}
  void MessageBox(const std::string& text) override;
  std::optional<std::string> InputBox(const std::string&, const std::string&, const std::string&) override {
    return std::nullopt;
  }
  void SetWaitCursor(bool) override {}
  PictureBox PreviewBox() const override { return {}; }
  void ShowPicture(const ThumbImage&) override {}
  void DrawTimeline() override {}
};

// An editor over an embedded host holding one document.
struct Session {
  explicit Session(std::shared_ptr<EmbeddedHost> h, int32_t alpha_bits = 0);

  std::shared_ptr<EmbeddedHost> host;
  std::unique_ptr<SharedState> state;
  ConsoleWindow window;
  std::unique_ptr<Editor> editor;
};

// A host with the document at `path` open, its frames read on demand.
std::shared_ptr<EmbeddedHost> OpenHost(const std::string& path, const DocumentOptions& options = {});

}  // namespace tessfx::cli
