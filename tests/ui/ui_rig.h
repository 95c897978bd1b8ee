#pragma once
// The tool window over an embedded host, shown on the offscreen platform, with the message
// and input boxes answered by the test instead of a person.
#include <gtest/gtest.h>

#include <QApplication>
#include <QColor>
#include <QImage>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/registry.h"
#include "render/rig.h"
#include "ui/tool_window.h"

namespace tessfx::testing {

class AnsweringToolWindow : public ToolWindow {
 public:
  using ToolWindow::ToolWindow;
  void MessageBox(const std::string& text) override { messages.push_back(text); }
  std::optional<std::string> InputBox(const std::string& prompt, const std::string&, const std::string&) override {
    asked.push_back(prompt);
    return answer;
  }
  void ShowPicture(const ThumbImage& picture) override {
    ++previews;
    ToolWindow::ShowPicture(picture);
  }
  std::vector<std::string> messages;
  std::vector<std::string> asked;
  std::optional<std::string> answer;
  int previews = 0;
};

struct UiRig {
  UiRig(int32_t width, int32_t height, int32_t frames) : host(MakeTestHost(width, height, frames)) {
    HostRegistry registry;
    registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
    state = SharedState::Startup(registry);
    tool = std::make_unique<AnsweringToolWindow>(*state);
    host->AddObserver(tool.get());
    tool->show();
    QCoreApplication::processEvents();
  }
  ~UiRig() { host->RemoveObserver(tool.get()); }

  template <typename T>
  T* Find(const char* name) {
    T* w = tool->findChild<T*>(QString::fromUtf8(name));
    EXPECT_NE(w, nullptr) << name;
    return w;
  }
  // The list row of an entry ("Adjust", "    Tint").
  int Row(const std::string& text) const {
    const auto& rows = tool->editor().panel().List1();
    for (size_t i = 0; i < rows.size(); ++i)
      if (rows[i] == text) return static_cast<int>(i);
    ADD_FAILURE() << "no row " << text;
    return -1;
  }

  std::shared_ptr<EmbeddedHost> host;
  std::unique_ptr<SharedState> state;
  std::unique_ptr<AnsweringToolWindow> tool;
};

inline bool HasColour(const QImage& image, QColor c) {
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x)
      if (image.pixelColor(x, y) == c) return true;
  return false;
}

}  // namespace tessfx::testing
