#include "ui/frame_view.h"

#include <QPainter>

namespace tessfx {

QImage PlanesToImage(const Plane& r, const Plane& g, const Plane& b) {
  const int w = r.width(), h = r.height();
  QImage img(std::max(w, 1), std::max(h, 1), QImage::Format_RGB888);
  img.fill(Qt::black);
  for (int y = 0; y < h; ++y) {
    uchar* line = img.scanLine(y);
    const uint8_t *pr = r[y], *pg = g[y], *pb = b[y];
    for (int x = 0; x < w; ++x) {
      line[3 * x] = pr[x];
      line[3 * x + 1] = pg[x];
      line[3 * x + 2] = pb[x];
    }
  }
  return img;
}

FrameView::FrameView(QWidget* parent) : QWidget(parent) {
  setMinimumSize(160, 90);
  setAutoFillBackground(false);
}

void FrameView::SetImage(QImage image) {
  image_ = std::move(image);
  update();
}

QRect FrameView::PictureRect() const {
  if (image_.isNull()) return {};
  QSize s = image_.size().scaled(size(), Qt::KeepAspectRatio);
  return QRect(QPoint((width() - s.width()) / 2, (height() - s.height()) / 2), s);
}

void FrameView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), QColor(40, 40, 44));
  if (image_.isNull()) return;
  p.setRenderHint(QPainter::SmoothPixmapTransform, true);
  p.drawImage(PictureRect(), image_);
}

}  // namespace tessfx
