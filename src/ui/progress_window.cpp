#include "ui/progress_window.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <chrono>
#include <cmath>

#include "render/render_timing.h"

namespace tessfx {

namespace {
constexpr int kBarSteps = 1000;
}

ProgressWindow::ProgressWindow(Editor& editor, QWidget* parent) : QDialog(parent), editor_(editor) {
  setObjectName("Form2");
  setWindowTitle("Rendering");
  setModal(true);
  auto* layout = new QVBoxLayout(this);
  label_ = new QLabel(this);
  label_->setObjectName("Form2Label");
  label_->setMinimumWidth(320);
  frame_ = new QLabel(this);
  frame_->setObjectName("Form2Frame");
  QFont big = frame_->font();
  big.setBold(true);
  frame_->setFont(big);
  times_ = new QLabel(this);
  times_->setObjectName("Form2Times");
  bar_ = new QProgressBar(this);
  bar_->setObjectName("DisplayBar");
  bar_->setRange(0, kBarSteps);
  bar_->setValue(0);
  bar_->setTextVisible(true);
  cancel_ = new QPushButton("Cancel", this);
  cancel_->setObjectName("Form2Cancel");
  layout->addWidget(frame_);
  layout->addWidget(bar_);
  layout->addWidget(times_);
  layout->addWidget(label_);
  layout->addWidget(cancel_, 0, Qt::AlignRight);
  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);

  timer1_.setObjectName("Timer1");
  timer1_.setSingleShot(true);
  timer1_.setInterval(0);
  // The render runs inside the window's own event loop, so the window stays modal and its
  // button works through the render's yields.
  connect(&timer1_, &QTimer::timeout, this, &ProgressWindow::Run);
  timer1_.start();
}

void ProgressWindow::Run() {
  clock_.start();
  try {
    summary_ = editor_.kv_button3_Click(*this);
  } catch (const std::exception& e) {
    // Caught here, inside the render's own event: the render has stopped, its undo file is
    // closed over the frames it covers, and the message goes to the owner once.
    error_ = e.what();
    summary_ = editor_.renderer().last_summary();
    close();
  }
}

double ProgressWindow::BarFraction(double fraction) {
  if (std::isnan(fraction)) return 0;
  return std::clamp(std::fabs(fraction), 0.0, 1.0);
}

void ProgressWindow::SetLabel(const std::string& text) { label_->setText(QString::fromStdString(text)); }

void ProgressWindow::Rendering(int32_t frame, int32_t total_frames, int32_t done, int32_t count) {
  // The window repaints in the yield that follows, before the host moves on: the host
  // window and the preview then show the frame written last, so that is the frame named
  // (and the number agrees with the frame text, which counts from 0 the frame under way).
  frame_->setText(QString::fromStdString(FrameOfText(done > 0 ? previous_frame_ : frame, total_frames)));
  previous_frame_ = frame;
  const RenderTimes t = MeasureRender(done, count, std::chrono::milliseconds(clock_.isValid() ? clock_.elapsed() : 0));
  times_->setText(QString::fromStdString(TimesText(t)));
  bar_->setFormat(QStringLiteral("%1 of %2 frames").arg(done).arg(count));
}

void ProgressWindow::Yield() { QCoreApplication::processEvents(); }

void ProgressWindow::DisplayBar(double fraction) {
  bar_->setValue(static_cast<int>(std::lround(BarFraction(fraction) * kBarSteps)));
}

}  // namespace tessfx
