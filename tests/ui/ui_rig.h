#pragma once
// The tool window over an embedded host, shown on the offscreen platform, with the message
// and input boxes answered by the test instead of a person.
#include <gtest/gtest.h>

#include <QApplication>
#include <QColor>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QImage>
#include <QMouseEvent>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/registry.h"
#include "render/rig.h"
#include "ui/tool_window.h"
#include "ui/widgets.h"

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
  template <typename T>
  T* Find(const QString& name) {
    return Find<T>(name.toUtf8().constData());
  }
  HPropSlider* Slider(int n) { return Find<HPropSlider>(QStringLiteral("HProp%1").arg(n)); }
  QLabel* Label(int n) { return Find<QLabel>(QStringLiteral("Label%1").arg(n)); }
  QPushButton* Button(int n) { return Find<QPushButton>(QStringLiteral("kv_button%1").arg(n)); }
  // The list row of an entry ("Adjust", "    Tint"), and picking it as a click does.
  int Row(const std::string& text) const {
    const auto& rows = tool->editor().panel().List1();
    for (size_t i = 0; i < rows.size(); ++i)
      if (rows[i] == text) return static_cast<int>(i);
    ADD_FAILURE() << "no row " << text;
    return -1;
  }
  void Pick(const std::string& entry) { Find<QListWidget>("List1")->setCurrentRow(Row(entry)); }

  std::shared_ptr<EmbeddedHost> host;
  std::unique_ptr<SharedState> state;
  std::unique_ptr<AnsweringToolWindow> tool;
};

// A mouse event as the platform delivers it: a move carries no button of its own.
inline void SendMouse(QWidget* w, QEvent::Type type, QPointF at, Qt::MouseButtons held) {
  QMouseEvent e(type, at, w->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held,
                Qt::NoModifier);
  QCoreApplication::sendEvent(w, &e);
}

// Every frame's R, G and B pixels (the planes' extra row and column left out: image files do
// not hold them).
using Frames = std::vector<std::vector<uint8_t>>;
inline Frames ReadFrames(EmbeddedHost& host) {
  Frames out;
  Plane p;
  const int32_t w = host.Tes_BufferWidth(), h = host.Tes_BufferHeight();
  for (int32_t f = 0; f < host.tes_GetTotalFrames(); ++f)
    for (Channel c : {Channel::R, Channel::G, Channel::B}) {
      host.ReadFramePlane(f, c, p);
      std::vector<uint8_t>& pixels = out.emplace_back();
      for (int32_t y = 0; y < h; ++y) pixels.insert(pixels.end(), p[y], p[y] + w);
    }
  return out;
}

// Which frame and channel first differ, for a readable failure.
inline std::string FirstDifference(const Frames& a, const Frames& b) {
  if (a.size() != b.size()) return std::to_string(a.size()) + " planes against " + std::to_string(b.size());
  for (size_t i = 0; i < a.size(); ++i)
    if (a[i] != b[i]) return "frame " + std::to_string(i / 3) + " channel " + std::to_string(i % 3);
  return "";
}

inline bool HasColour(const QImage& image, QColor c) {
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x)
      if (image.pixelColor(x, y) == c) return true;
  return false;
}

}  // namespace tessfx::testing
