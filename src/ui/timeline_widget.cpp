#include "ui/timeline_widget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace tessfx {
namespace {

class PainterCanvas : public TimelineCanvas {
 public:
  explicit PainterCanvas(QPainter& p) : p_(p) {}
  void Line(double x1, double y1, double x2, double y2, Rgb c, bool dotted) override {
    p_.setPen(QPen(QColor(c.r, c.g, c.b), 1, dotted ? Qt::DotLine : Qt::SolidLine));
    p_.drawLine(QPointF(x1, y1), QPointF(x2, y2));
  }
  void Box(double x1, double y1, double x2, double y2, Rgb c, bool filled) override {
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
  QPainter& p_;
};

int ButtonOf(const QMouseEvent* e) {
  const Qt::MouseButtons b = e->buttons();
  return (b & Qt::LeftButton ? 1 : 0) | (b & Qt::RightButton ? 2 : 0) | (b & Qt::MiddleButton ? 4 : 0);
}

}  // namespace

TimelineStrip::TimelineStrip(QWidget* parent) : QWidget(parent) {
  setObjectName("Picture1");
  setMouseTracking(false);
  setCursor(Qt::SizeHorCursor);
}

void TimelineStrip::Draw(TimelineData data) {
  const QSize s = size().expandedTo(QSize(1, 1));
  if (image_.size() != s) image_ = QImage(s, QImage::Format_RGB32);
  data.width = s.width();
  data.height = s.height();
  data.back_color = back_color.red() | (back_color.green() << 8) | (back_color.blue() << 16);
  QPainter p(&image_);
  PainterCanvas canvas(p);
  DrawTimeline(canvas, data);
  p.end();
  update();
}

void TimelineStrip::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (!image_.isNull()) p.drawImage(0, 0, image_);
}

void TimelineStrip::mousePressEvent(QMouseEvent* e) {
  if (on_mouse_move) on_mouse_move(ButtonOf(e), e->position().x(), e->position().y());
}

void TimelineStrip::mouseMoveEvent(QMouseEvent* e) {
  if (on_mouse_move) on_mouse_move(ButtonOf(e), e->position().x(), e->position().y());
}

void TimelineStrip::mouseReleaseEvent(QMouseEvent*) {
  if (on_mouse_up) on_mouse_up();
}

TimelinePanel::TimelinePanel(QWidget* parent) : QWidget(parent) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  viewport_ = new QWidget(this);
  viewport_->setObjectName("Picture100");
  viewport_->setMinimumHeight(64);
  strip_ = new TimelineStrip(viewport_);
  scroll_ = new QScrollBar(Qt::Horizontal, this);
  scroll_->setObjectName("HScroll1");
  layout->addWidget(viewport_, 1);
  layout->addWidget(scroll_);
  // HScroll1_Change and HScroll1_Scroll: the strip slides left as the bar moves right.
  connect(scroll_, &QScrollBar::valueChanged, this, [this](int v) { strip_->move(-v, 0); });
}

void TimelinePanel::SetZoom(float zoom) {
  zoom_ = std::clamp(zoom, 1.0f, 64.0f);
  Relayout();
}

void TimelinePanel::Relayout() {
  const int w = static_cast<int>(CalcPictureWidth(viewport_->width(), zoom_));
  strip_->setGeometry(strip_->x(), 0, std::max(1, w), viewport_->height());
  const ScrollRange r = AdjustHscroll(strip_->width(), viewport_->width());
  scroll_->setRange(r.min, std::max<int>(r.min, r.max));
  scroll_->setPageStep(std::max<int>(1, viewport_->width()));
  scroll_->setSingleStep(std::max(1, viewport_->width() / 20));
  scroll_->setVisible(r.max > 0);
  strip_->move(-scroll_->value(), 0);
  if (on_relayout) on_relayout();
}

void TimelinePanel::resizeEvent(QResizeEvent*) { Relayout(); }

}  // namespace tessfx
