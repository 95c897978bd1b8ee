#pragma once
// The render's progress window Form2: a label, the bar DisplayBar, the timer Timer1 whose
// first tick runs the render, and a button that closes the window, which stops the render
// before its next frame.
#include <QDialog>
#include <QTimer>

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
  QPushButton* cancel_button() const { return cancel_; }

  // The bar's position for a fraction: NaN (a one-frame animation) is 0, a backwards
  // render's negative fraction counts by its size, and the result stays inside 0..1.
  static double BarFraction(double fraction);

  // ---- RenderProgress ----
  void SetLabel(const std::string& text) override;
  void Yield() override;
  bool Cancelled() override { return !isVisible(); }
  void DisplayBar(double fraction) override;
  void Close() override { close(); }

 private:
  Editor& editor_;
  QLabel* label_;
  QProgressBar* bar_;
  QPushButton* cancel_;
  QTimer timer1_;
  RenderSummary summary_{};
};

}  // namespace tessfx
