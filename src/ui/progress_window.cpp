#include "ui/progress_window.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

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
  label_->setMinimumWidth(260);
  bar_ = new QProgressBar(this);
  bar_->setObjectName("DisplayBar");
  bar_->setRange(0, kBarSteps);
  bar_->setValue(0);
  cancel_ = new QPushButton("Cancel", this);
  cancel_->setObjectName("Form2Cancel");
  layout->addWidget(label_);
  layout->addWidget(bar_);
  layout->addWidget(cancel_, 0, Qt::AlignRight);
  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);

  timer1_.setObjectName("Timer1");
  timer1_.setSingleShot(true);
  timer1_.setInterval(0);
  // The render runs inside the window's own event loop, so the window stays modal and its
  // button works through the render's yields.
  connect(&timer1_, &QTimer::timeout, this, [this] { summary_ = editor_.kv_button3_Click(*this); });
  timer1_.start();
}

double ProgressWindow::BarFraction(double fraction) {
  if (std::isnan(fraction)) return 0;
  return std::clamp(std::fabs(fraction), 0.0, 1.0);
}

void ProgressWindow::SetLabel(const std::string& text) { label_->setText(QString::fromStdString(text)); }

void ProgressWindow::Yield() { QCoreApplication::processEvents(); }

void ProgressWindow::DisplayBar(double fraction) {
  bar_->setValue(static_cast<int>(std::lround(BarFraction(fraction) * kBarSteps)));
}

}  // namespace tessfx
