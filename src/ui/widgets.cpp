#include "ui/widgets.h"

#include <QKeyEvent>
#include <QTimer>

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

ValueLabel::ValueLabel(int slider, QWidget* parent) : QLabel(parent), slider_(slider) {
  setToolTip("Double-click to type a value");
}

void ValueLabel::mouseDoubleClickEvent(QMouseEvent*) { OpenEditor(); }

void ValueLabel::OpenEditor() {
  if (editor_ || (can_edit && !can_edit())) return;
  editor_ = new QLineEdit(parentWidget());
  editor_->setObjectName(QStringLiteral("HPropEdit%1").arg(slider_));
  editor_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  editor_->setText(text());
  editor_->selectAll();
  editor_->setGeometry(geometry().adjusted(-6, -2, 0, 2));
  editor_->installEventFilter(this);
  connect(editor_, &QLineEdit::returnPressed, this, [this] { Finish(true); });
  editor_->show();
  editor_->raise();
  editor_->setFocus(Qt::MouseFocusReason);
}

bool ValueLabel::eventFilter(QObject* watched, QEvent* event) {
  if (watched == editor_) {
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
      Finish(false);
      return true;
    }
    // Leaving the editor applies a number and drops anything else.
    if (event->type() == QEvent::FocusOut) QTimer::singleShot(0, this, [this] { Finish(true, false); });
  }
  return QLabel::eventFilter(watched, event);
}

void ValueLabel::Finish(bool apply, bool retry_on_error) {
  if (!editor_) return;
  if (apply && on_typed && !on_typed(editor_->text()) && retry_on_error) {
    // Not a number: the editor stays, marked, for another try.
    editor_->setStyleSheet("QLineEdit { background: #ffd8d0; }");
    editor_->selectAll();
    return;
  }
  QLineEdit* e = editor_;
  editor_ = nullptr;
  e->removeEventFilter(this);
  e->hide();
  e->deleteLater();
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
