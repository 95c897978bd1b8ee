#pragma once
// The render's progress window Form2: the frame text, the frame under way as the host
// window counts it, elapsed and remaining time and speed, the bar DisplayBar, the timer
// Timer1 whose first tick runs the render, and a button that closes the window, which stops
// the render before its next frame. A render that fails is stopped there; the window keeps
// the message for its owner to show once.
#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>
#include <optional>
#include <string>

#include "render/editor.h"
#include "render/window.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace tessfx {

class ProgressWindow : public QDialog, public RenderProgress {
  Q_OBJECT
 public:
  ProgressWindow(Editor& editor, QWidget* parent = nullptr);

  // What the last render reported, once it has run.
  const RenderSummary& summary() const { return summary_; }
  // Why the render failed, when it did.
  const std::optional<std::string>& error() const { return error_; }
  QPushButton* cancel_button() const { return cancel_; }

  // The bar's position for a fraction: NaN (a one-frame animation) is 0, a backwards
  // render's negative fraction counts by its size, and the result stays inside 0..1.
  static double BarFraction(double fraction);

  // ---- RenderProgress ----
  void SetLabel(const std::string& text) override;
  void Rendering(int32_t frame, int32_t total_frames, int32_t done, int32_t count) override;
  void Yield() override;
  bool Cancelled() override { return !isVisible(); }
  void DisplayBar(double fraction) override;
  void Close() override { close(); }

 private:
  void Run();

  Editor& editor_;
  QLabel* label_;
  QLabel* frame_;
  QLabel* times_;
  QProgressBar* bar_;
  QPushButton* cancel_;
  QTimer timer1_;
  QElapsedTimer clock_;
  int32_t previous_frame_ = 0;
  RenderSummary summary_{};
  std::optional<std::string> error_;
};

}  // namespace tessfx
