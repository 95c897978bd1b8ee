#include "ui/widgets.h"

namespace tessfx {

HPropSlider::HPropSlider(HPropModel& model, QWidget* parent) : QSlider(Qt::Horizontal, parent), model_(model) {
  setTracking(true);
  connect(this, &QSlider::sliderMoved, this, [this](int v) {
    if (!syncing_) model_.Drag(static_cast<int16_t>(v));
  });
  connect(this, &QSlider::sliderReleased, this, [this] {
    if (!syncing_) model_.Release();
  });
  // Keyboard, wheel and page clicks change the value without a drag: one Change each.
  connect(this, &QSlider::valueChanged, this, [this](int v) {
    if (!syncing_ && !isSliderDown()) model_.SetValue(static_cast<int16_t>(v));
  });
  SyncFromModel();
}

void HPropSlider::SyncFromModel() {
  syncing_ = true;
  setRange(model_.Min(), model_.Max());
  setValue(model_.Value());
  setPageStep(std::max(1, (model_.Max() - model_.Min()) / 10));
  setVisible(model_.Visible());
  syncing_ = false;
}

KvButton::KvButton(const QString& caption, Kind kind, QWidget* parent) : QPushButton(caption, parent), kind_(kind) {
  setCursor(Qt::PointingHandCursor);
  Restyle();
}

void KvButton::setColor(const QColor& c) {
  color_ = c;
  Restyle();
}
void KvButton::setHighlight(const QColor& c) {
  highlight_ = c;
  Restyle();
}
void KvButton::setShadow(const QColor& c) {
  shadow_ = c;
  Restyle();
}
void KvButton::setBorderless(bool b) {
  borderless_ = b;
  Restyle();
}

void KvButton::Restyle() {
  const QString border = borderless_ ? QStringLiteral("none")
                                     : QStringLiteral("1px solid; border-color: %1 %2 %2 %1").arg(highlight_.name(), shadow_.name());
  const QColor pressed = color_.darker(115);
  setStyleSheet(QStringLiteral("QPushButton { background: %1; color: #101010; border: %2; padding: 3px 8px; }"
                               "QPushButton:pressed, QPushButton:checked { background: %3; border-color: %4 %5 %5 %4; }"
                               "QPushButton:disabled { color: #707070; }")
                    .arg(color_.name(), border, pressed.name(), shadow_.name(), highlight_.name()));
}

}  // namespace tessfx
