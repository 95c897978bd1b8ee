#pragma once
// The few dialogs the media sources need from the window, behind interfaces so that the
// menu models run (and are tested) without one.
#include <optional>
#include <string>

namespace tessfx {

struct FileDialog {
  virtual ~FileDialog() = default;
  // Shows an open-file dialog; nullopt when it was cancelled. `filter` is "label|pattern".
  virtual std::optional<std::string> GetOpenFileName(const std::string& title, const std::string& filter) = 0;
};

struct MessageSink {
  virtual ~MessageSink() = default;
  virtual void ShowMessage(const std::string& message) = 0;
};

}  // namespace tessfx
