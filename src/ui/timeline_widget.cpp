#include "ui/timeline_widget.h"

#include <QGridLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "core/convert.h"

namespace tessfx {
namespace {

// Paints DrawTimeline's lines and boxes. Lines wholly outside the visible part of the strip
// are dropped before they reach the painter, and runs of lines in one colour go to it as one
// batch. A long animation at a low zoom draws many curve pieces inside one pixel column;
// consecutive solid pieces that stay in one column are painted as the one vertical line they
// cover, which puts the same pixels on screen at a fraction of the cost.
class PainterCanvas : public TimelineCanvas {
 public:
  PainterCanvas(QPainter& p, double x_from, double x_to) : p_(p), from_(x_from - 2), to_(x_to + 2) {}
  ~PainterCanvas() override { Flush(); }

  void Line(double x1, double y1, double x2, double y2, Rgb c, bool dotted) override {
    if (std::max(x1, x2) < from_ || std::min(x1, x2) > to_) return;
    if (!batch_.empty() || column_) {
      if (!(c == colour_) || dotted != dotted_) Flush();
    }
    colour_ = c;
    dotted_ = dotted;
    const double column = std::floor(x1);
    if (!dotted && std::floor(x2) == column) {
      if (column_ && *column_ == column) {
        top_ = std::min({top_, y1, y2});
        bottom_ = std::max({bottom_, y1, y2});
        return;
      }
      EndColumn();
      column_ = column;
      top_ = std::min(y1, y2);
      bottom_ = std::max(y1, y2);
      x_ = x1;
      return;
    }
    EndColumn();
    batch_.emplace_back(QPointF(x1, y1), QPointF(x2, y2));
  }
  void Box(double x1, double y1, double x2, double y2, Rgb c, bool filled) override {
    Flush();
    const QRectF r(QPointF(std::min(x1, x2), std::min(y1, y2)), QPointF(std::max(x1, x2), std::max(y1, y2)));
    if (filled) {
      p_.fillRect(r, QColor(c.r, c.g, c.b));
    } else {
      p_.setPen(QPen(QColor(c.r, c.g, c.b), 1));
      p_.setBrush(Qt::NoBrush);
      p_.drawRect(r);
    }
  }

 private:
  void EndColumn() {
    if (!column_) return;
    batch_.emplace_back(QPointF(x_, top_), QPointF(x_, bottom_));
    column_.reset();
  }
  void Flush() {
    EndColumn();
    if (batch_.empty()) return;
    p_.setPen(QPen(QColor(colour_.r, colour_.g, colour_.b), 1, dotted_ ? Qt::DotLine : Qt::SolidLine));
    p_.drawLines(batch_.data(), static_cast<int>(batch_.size()));
    batch_.clear();
  }

  QPainter& p_;
  double from_, to_;
  std::vector<QLineF> batch_;
  Rgb colour_{0, 0, 0};
  bool dotted_ = false;
  std::optional<double> column_;  // the pixel column of the run being merged
  double x_ = 0, top_ = 0, bottom_ = 0;
};

int ButtonOf(const QMouseEvent* e) {
  const Qt::MouseButtons b = e->buttons();
  return (b & Qt::LeftButton ? 1 : 0) | (b & Qt::RightButton ? 2 : 0) | (b & Qt::MiddleButton ? 4 : 0);
}

const QColor kKeyRed(238, 34, 17), kOrange(255, 170, 68);

// A key's mark: its left half tells how the curve arrives, its right half how it leaves:
// pointed for the fill or a straight line, round for an ease, square for a hold. Linear keys
// carry a light bar through the middle.
QPainterPath KeyMark(QPointF c, double r, KeyEase ease) {
  const bool round_in = ease == KeyEase::EaseIn || ease == KeyEase::EaseInOut;
  const bool round_out = ease == KeyEase::EaseOut || ease == KeyEase::EaseInOut;
  const bool square_out = ease == KeyEase::Hold;
  QPainterPath path;
  path.moveTo(c.x(), c.y() - r);
  if (round_in)
    path.arcTo(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r), 90, 180);
  else {
    path.lineTo(c.x() - r, c.y());
    path.lineTo(c.x(), c.y() + r);
  }
  if (round_out) {
    path.arcTo(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r), 270, 180);
  } else if (square_out) {
    path.lineTo(c.x() + r * 0.8, c.y() + r);
    path.lineTo(c.x() + r * 0.8, c.y() - r);
  } else {
    path.lineTo(c.x() + r, c.y());
  }
  path.closeSubpath();
  return path;
}

}  // namespace

// ---- TimelineStrip ----

TimelineStrip::TimelineStrip(QWidget* parent) : QWidget(parent) {
  setObjectName("Picture1");
  setMouseTracking(false);
  setCursor(Qt::SizeHorCursor);
}

void TimelineStrip::SetStrip(double scale_width, double scroll) {
  scale_width_ = std::max(1.0, scale_width);
  scroll_ = scroll;
}

void TimelineStrip::Draw(TimelineData data) {
  const QSize s = size().expandedTo(QSize(1, 1));
  if (image_.size() != s) image_ = QImage(s, QImage::Format_RGB32);
  data.width = scale_width_;
  data.height = s.height();
  data.back_color = back_color.red() | (back_color.green() << 8) | (back_color.blue() << 16);
  QPainter p(&image_);
  p.translate(-scroll_, 0);
  {
    PainterCanvas canvas(p, scroll_, scroll_ + s.width());
    DrawTimeline(canvas, data);
  }
  p.end();
  update();
}

void TimelineStrip::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (!image_.isNull()) p.drawImage(0, 0, image_);
}

void TimelineStrip::mousePressEvent(QMouseEvent* e) {
  pressed_ = true;
  if (on_mouse_move) on_mouse_move(ButtonOf(e), e->position().x() + scroll_, e->position().y());
}

void TimelineStrip::mouseMoveEvent(QMouseEvent* e) {
  if (on_mouse_move) on_mouse_move(ButtonOf(e), e->position().x() + scroll_, e->position().y());
}

void TimelineStrip::mouseReleaseEvent(QMouseEvent*) {
  pressed_ = false;
  if (on_mouse_up) on_mouse_up();
}

void TimelineStrip::wheelEvent(QWheelEvent* e) {
  if ((e->modifiers() & Qt::ControlModifier) && on_zoom_wheel) {
    on_zoom_wheel(e->angleDelta().y(), e->position().x() + scroll_);
    e->accept();
    return;
  }
  QWidget::wheelEvent(e);
}

// ---- TimelineRuler ----

TimelineRuler::TimelineRuler(QWidget* parent) : QWidget(parent) {
  setObjectName("TimelineRuler");
  setFixedHeight(kRulerHeight + kLaneHeight);
  setToolTip(
      "Click or drag on the numbers to go to a frame. Click a key to select it, drag it to move it, "
      "right-click it for its ease or to delete it.");
}

void TimelineRuler::SetData(KeyLaneData data) {
  data_ = std::move(data);
  update();
}

void TimelineRuler::SetStrip(double scale_width, double scroll) {
  scale_width_ = std::max(1.0, scale_width);
  scroll_ = scroll;
  update();
}

double TimelineRuler::XOfFrame(int32_t frame) const {
  return RoundHalfEven(FrameX(frame, data_.total_frames, scale_width_)) - scroll_;
}

std::optional<std::pair<int32_t, int32_t>> TimelineRuler::dragging() const {
  if (drag_ != Drag::Key || !drag_moved_) return std::nullopt;
  return std::pair{drag_key_, drag_target_};
}

int32_t TimelineRuler::KeyIndexNear(double x) const {
  return KeyNearX(data_.key_frames, x + scroll_, data_.total_frames, scale_width_, 6);
}

void TimelineRuler::paintEvent(QPaintEvent*) {
  QPainter p(this);
  const QColor back = palette().color(QPalette::Window);
  p.fillRect(0, 0, width(), kRulerHeight, back.darker(112));
  p.fillRect(0, kRulerHeight, width(), kLaneHeight, back.darker(125));
  const int32_t T = data_.total_frames;
  if (T < 1) return;
  QFont small = font();
  small.setPointSizeF(std::max(6.5, small.pointSizeF() * 0.8));
  p.setFont(small);
  const QFontMetrics fm(small);
  const double spacing = fm.horizontalAdvance(QString::number(T)) + 12;
  p.setPen(palette().color(QPalette::WindowText));
  for (const RulerTick& t : RulerTicks(T, scale_width_, scroll_, scroll_ + width(), spacing)) {
    const double x = std::round(FrameX(t.frame, T, scale_width_) - scroll_) + 0.5;
    p.drawLine(QPointF(x, kRulerHeight - (t.major ? 7 : 3)), QPointF(x, kRulerHeight));
    if (t.major) p.drawText(QPointF(x + 2, kRulerHeight - 7), QString::number(int64_t{t.frame} + 1));
  }
  // The current frame, as the strip's marker stands under it.
  const double xc = XOfFrame(data_.current_frame);
  p.setPen(QPen(kOrange, 2));
  p.drawLine(QPointF(xc, 0), QPointF(xc, kRulerHeight + kLaneHeight));

  p.setRenderHint(QPainter::Antialiasing, true);
  const double cy = kRulerHeight + kLaneHeight / 2.0;
  for (size_t k = 0; k < data_.key_frames.size(); ++k) {
    const int32_t f = data_.key_frames[k];
    if (f < 0 || f >= T) continue;
    const KeyEase ease = k < data_.key_eases.size() ? data_.key_eases[k] : KeyEase::Fill;
    const bool selected = data_.selected && *data_.selected == f;
    const bool moving = drag_ == Drag::Key && drag_moved_ && f == drag_key_;
    const QPointF c(XOfFrame(f), cy);
    const QPainterPath mark = KeyMark(c, selected ? 6.5 : 5.5, ease);
    p.setPen(QPen(selected ? QColor(255, 255, 255) : QColor(60, 10, 5), selected ? 2 : 1));
    p.setBrush(moving ? QColor(238, 34, 17, 90) : kKeyRed);
    p.drawPath(mark);
    if (ease == KeyEase::Linear) {
      p.setPen(QPen(QColor(255, 230, 220), 1.5));
      p.drawLine(QPointF(c.x() - 3, cy), QPointF(c.x() + 3, cy));
    }
  }
  if (const auto d = dragging()) {
    const QPointF c(XOfFrame(d->second), cy);
    p.setPen(QPen(QColor(255, 255, 255), 2));
    p.setBrush(kKeyRed);
    const int32_t k = static_cast<int32_t>(std::find(data_.key_frames.begin(), data_.key_frames.end(), d->first) -
                                           data_.key_frames.begin());
    p.drawPath(KeyMark(c, 6.5, static_cast<size_t>(k) < data_.key_eases.size() ? data_.key_eases[k] : KeyEase::Fill));
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(QPointF(c.x() + 9, kRulerHeight - 7), QString::number(int64_t{d->second} + 1));
  }
}

void TimelineRuler::mousePressEvent(QMouseEvent* e) {
  const double x = e->position().x();
  if (e->position().y() < kRulerHeight) {
    if (e->button() != Qt::LeftButton) return;
    drag_ = Drag::Ruler;
    if (on_goto) on_goto(NearestFrame(x + scroll_, data_.total_frames, scale_width_));
    return;
  }
  const int32_t k = KeyIndexNear(x);
  const std::optional<int32_t> key =
      k >= 0 ? std::optional<int32_t>(data_.key_frames[static_cast<size_t>(k)]) : std::nullopt;
  if (on_select) on_select(key);
  if (!key) return;
  if (e->button() == Qt::RightButton) {
    if (on_key_menu) on_key_menu(*key, e->globalPosition().toPoint());
    return;
  }
  if (e->button() != Qt::LeftButton) return;
  drag_ = Drag::Key;
  drag_key_ = *key;
  drag_target_ = *key;
  drag_moved_ = false;
}

void TimelineRuler::mouseMoveEvent(QMouseEvent* e) {
  const int32_t f = NearestFrame(e->position().x() + scroll_, data_.total_frames, scale_width_);
  if (drag_ == Drag::Ruler) {
    if (on_goto) on_goto(f);
  } else if (drag_ == Drag::Key) {
    drag_moved_ = drag_moved_ || f != drag_key_;
    drag_target_ = f;
    update();
  }
}

void TimelineRuler::mouseReleaseEvent(QMouseEvent*) {
  const Drag was = drag_;
  drag_ = Drag::None;
  if (was == Drag::Ruler && on_goto_done) on_goto_done();
  if (was == Drag::Key && drag_moved_ && drag_target_ != drag_key_ && on_key_moved) on_key_moved(drag_key_, drag_target_);
  drag_moved_ = false;
  update();
}

// ---- ValueScale ----

ValueScale::ValueScale(QWidget* parent) : QWidget(parent) {
  setObjectName("ValueScale");
  setFixedWidth(46);
}

void ValueScale::SetChannel(const QString& caption, int16_t slider_max) {
  caption_ = caption;
  max_ = slider_max;
  setToolTip(caption.isEmpty() ? QString()
                               : QStringLiteral("The values of \"%1\" along the strip's height").arg(caption));
  update();
}

void ValueScale::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().color(QPalette::Window).darker(112));
  if (caption_.isEmpty() || max_ <= 0) return;
  QFont small = font();
  small.setPointSizeF(std::max(6.5, small.pointSizeF() * 0.8));
  p.setFont(small);
  const QFontMetrics fm(small);
  p.setPen(palette().color(QPalette::WindowText));
  const double h = height();
  for (const ValueTick& t : ValueTicks(max_, h, fm.height() + 2)) {
    const double y = std::clamp(t.y, 0.5, h - 0.5);
    p.drawLine(QPointF(width() - 5, y), QPointF(width(), y));
    const QString text = QString::number(t.value);
    const double ty = std::clamp(y + fm.ascent() / 2.0 - 1, static_cast<double>(fm.ascent()), h - 1);
    p.drawText(QPointF(width() - 7 - fm.horizontalAdvance(text), ty), text);
  }
}

// ---- TimelinePanel ----

TimelinePanel::TimelinePanel(QWidget* parent) : QWidget(parent) {
  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setSpacing(0);
  ruler_ = new TimelineRuler(this);
  scale_ = new ValueScale(this);
  viewport_ = new QWidget(this);
  viewport_->setObjectName("Picture100");
  viewport_->setMinimumHeight(64);
  strip_ = new TimelineStrip(viewport_);
  scroll_ = new QScrollBar(Qt::Horizontal, this);
  scroll_->setObjectName("HScroll1");
  grid->addWidget(ruler_, 0, 1);
  grid->addWidget(scale_, 1, 0);
  grid->addWidget(viewport_, 1, 1);
  grid->addWidget(scroll_, 2, 1);
  grid->setRowStretch(1, 1);
  grid->setColumnStretch(1, 1);
  // HScroll1_Change and HScroll1_Scroll: the strip slides left as the bar moves right.
  connect(scroll_, &QScrollBar::valueChanged, this, &TimelinePanel::Scrolled);
  viewport_->installEventFilter(this);
}

void TimelinePanel::Scrolled(int value) {
  strip_->SetStrip(strip_->scale_width(), value);
  ruler_->SetStrip(strip_->scale_width(), value);
  if (on_relayout) on_relayout();
}

void TimelinePanel::SetZoom(float zoom, std::optional<int32_t> anchor_frame) {
  const double old_width = strip_->scale_width();
  const double anchor_x = anchor_frame ? FrameX(*anchor_frame, total_frames_, old_width) - scroll_->value() : 0;
  zoom_ = std::clamp(zoom, 1.0f, MaxTimelineZoom(total_frames_, viewport_->width()));
  Relayout();
  if (anchor_frame) {
    const double x = FrameX(*anchor_frame, total_frames_, strip_->scale_width()) - anchor_x;
    scroll_->setValue(static_cast<int>(std::lround(x)));
  }
}

void TimelinePanel::EnsureVisible(int32_t frame) {
  const double x = FrameX(frame, total_frames_, strip_->scale_width());
  const int view = viewport_->width();
  if (x >= scroll_->value() && x <= scroll_->value() + view) return;
  scroll_->setValue(static_cast<int>(std::lround(x - view / 2.0)));
}

void TimelinePanel::Relayout() {
  // A frame count that shrank can leave the zoom above what is useful now.
  zoom_ = std::clamp(zoom_, 1.0f, MaxTimelineZoom(total_frames_, viewport_->width()));
  const double w = std::max(1.0, CalcPictureWidth(viewport_->width(), zoom_));
  strip_->setGeometry(0, 0, viewport_->width(), viewport_->height());
  const ScrollRange r = AdjustHscroll(w, viewport_->width());
  {
    const QSignalBlocker block(scroll_);
    scroll_->setRange(r.min, std::max(r.min, r.max));
    scroll_->setPageStep(std::max(1, viewport_->width()));
    scroll_->setSingleStep(std::max(1, viewport_->width() / 20));
  }
  scroll_->setVisible(r.max > 0);
  strip_->SetStrip(w, scroll_->value());
  ruler_->SetStrip(w, scroll_->value());
  if (on_relayout) on_relayout();
}

bool TimelinePanel::eventFilter(QObject* watched, QEvent* event) {
  if (watched == viewport_ && event->type() == QEvent::Resize) Relayout();
  return QWidget::eventFilter(watched, event);
}

}  // namespace tessfx
