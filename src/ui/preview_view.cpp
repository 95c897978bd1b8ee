#include "ui/preview_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace tessfx {

PreviewView::PreviewView(QWidget* parent) : QWidget(parent) {
  setMinimumSize(200, 112);
  setMouseTracking(true);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PreviewView::SetImage(QImage image, QSize frame_size) {
  image_ = std::move(image);
  frame_size_ = frame_size.isValid() && !frame_size.isEmpty() ? frame_size : image_.size();
  ClampPan();
  update();
}

void PreviewView::SetBefore(QImage before) {
  before_ = std::move(before);
  update();
}

void PreviewView::SetScale(Scale scale) {
  scale_ = scale;
  pan_ = {};
  update();
}

void PreviewView::SetSplit(bool on) {
  split_ = on;
  update();
}

void PreviewView::SetDivider(double fraction) {
  divider_ = std::clamp(fraction, 0.0, 1.0);
  update();
}

void PreviewView::SetNote(const QString& note) {
  if (note == note_) return;
  note_ = note;
  update();
}

QRect PreviewView::PictureRect() const {
  if (image_.isNull()) return {};
  if (scale_ == Scale::Actual) {
    const QSize s = frame_size_;
    const QPoint centred((width() - s.width()) / 2, (height() - s.height()) / 2);
    return QRect(centred + pan_.toPoint(), s);
  }
  const QSize s = frame_size_.scaled(size(), Qt::KeepAspectRatio);
  return QRect(QPoint((width() - s.width()) / 2, (height() - s.height()) / 2), s);
}

void PreviewView::ClampPan() {
  // The picture may be panned until its edge reaches the widget's middle, no further.
  const QSize s = frame_size_;
  const double mx = std::max(0.0, (s.width() - width()) / 2.0 + width() / 2.0);
  const double my = std::max(0.0, (s.height() - height()) / 2.0 + height() / 2.0);
  pan_ = QPointF(std::clamp(pan_.x(), -mx, mx), std::clamp(pan_.y(), -my, my));
}

bool PreviewView::NearDivider(QPointF pos) const {
  if (drag_ != Drag::None) return true;
  if (!split_ || before_.isNull()) return false;
  const QRect r = PictureRect();
  const double x = r.x() + divider_ * r.width();
  return std::abs(pos.x() - x) <= 5 && pos.y() >= r.top() && pos.y() <= r.bottom();
}

void PreviewView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), QColor(40, 40, 44));
  if (image_.isNull()) return;
  const QRect r = PictureRect();
  // Smooth when reduced or enlarged; pixels stay pixels at actual size.
  p.setRenderHint(QPainter::SmoothPixmapTransform, scale_ == Scale::Fit || image_.size() != r.size());
  p.drawImage(r, image_);
  const bool split = split_ && !before_.isNull();
  if (split) {
    const int x = r.x() + static_cast<int>(std::lround(divider_ * r.width()));
    p.save();
    p.setClipRect(QRect(r.topLeft(), QPoint(x, r.bottom())));
    p.drawImage(r, before_);
    p.restore();
    p.setPen(QPen(QColor(255, 255, 255, 220), 1));
    p.drawLine(x, std::max(r.top(), 0), x, std::min(r.bottom(), height()));
    p.setBrush(QColor(255, 255, 255, 220));
    const int mid = std::clamp(r.center().y(), 8, std::max(8, height() - 8));
    p.drawEllipse(QPoint(x, mid), 5, 5);
  }
  QFont small = font();
  small.setPointSizeF(std::max(7.0, small.pointSizeF() * 0.85));
  p.setFont(small);
  const QFontMetrics fm(small);
  const auto tag = [&](const QString& text, QPoint at, bool right) {
    const QRect box(right ? at.x() - fm.horizontalAdvance(text) - 8 : at.x(), at.y(), fm.horizontalAdvance(text) + 8,
                    fm.height() + 2);
    p.fillRect(box, QColor(0, 0, 0, 150));
    p.setPen(QColor(240, 240, 240));
    p.drawText(box, Qt::AlignCenter, text);
  };
  const QRect visible = r.intersected(rect());
  if (split) {
    tag("Before", visible.topLeft() + QPoint(4, 4), false);
    tag("After", visible.topRight() + QPoint(-4, 4), true);
  }
  if (!note_.isEmpty()) tag(note_, QPoint(visible.left() + 4, visible.bottom() - fm.height() - 5), false);
}

void PreviewView::mousePressEvent(QMouseEvent* e) {
  if (e->button() == Qt::LeftButton && NearDivider(e->position())) {
    drag_ = Drag::Divider;
    return;
  }
  const bool pan_button = e->button() == Qt::MiddleButton || (e->button() == Qt::LeftButton && pan_with_left_);
  if (scale_ == Scale::Actual && pan_button) {
    drag_ = Drag::Pan;
    drag_from_ = e->position();
    setCursor(Qt::ClosedHandCursor);
  }
}

void PreviewView::mouseMoveEvent(QMouseEvent* e) {
  if (drag_ == Drag::Divider) {
    const QRect r = PictureRect();
    if (r.width() > 0) SetDivider((e->position().x() - r.x()) / r.width());
    if (on_divider_moved) on_divider_moved(divider_);
    return;
  }
  if (drag_ == Drag::Pan) {
    pan_ += e->position() - drag_from_;
    drag_from_ = e->position();
    ClampPan();
    update();
    return;
  }
  // Hovering the divider shows that it can be dragged; the effect's own pointer otherwise.
  setCursor(NearDivider(e->position()) ? QCursor(Qt::SplitHCursor) : effect_cursor_);
}

void PreviewView::mouseReleaseEvent(QMouseEvent* e) {
  drag_ = Drag::None;
  setCursor(NearDivider(e->position()) ? QCursor(Qt::SplitHCursor) : effect_cursor_);
}

void PreviewView::SetEffectCursor(const QCursor& cursor) {
  effect_cursor_ = cursor;
  setCursor(cursor);
}

}  // namespace tessfx
