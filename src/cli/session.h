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

// Catches Ctrl-C and SIGTERM for as long as it lives. A second one ends the program at once.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  bool interrupted() const;

 private:
  struct sigaction previous_ {};
  struct sigaction previous_term_ {};
};

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
