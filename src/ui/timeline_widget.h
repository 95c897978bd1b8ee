#pragma once
// The timeline strip Picture1 inside its viewport Picture100, slid by HScroll1. The
// drawing follows DrawTimeline; mouse presses and drags scrub, a release previews.
#include <QImage>
#include <QScrollBar>
#include <QWidget>
#include <functional>

#include "keys/timeline_view.h"

namespace tessfx {

class TimelineStrip : public QWidget {
  Q_OBJECT
 public:
  explicit TimelineStrip(QWidget* parent = nullptr);
  // Redraws the whole strip from `data` (width and height are the strip's own).
  void Draw(TimelineData data);
  const QImage& image() const { return image_; }
  QColor back_color{143, 149, 158};

  std::function<void(int button, double x, double y)> on_mouse_move;  // press runs it too
  std::function<void()> on_mouse_up;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;

 private:
  QImage image_;
};

// Picture100 with Picture1 inside and HScroll1 below; zoom widens the strip.
class TimelinePanel : public QWidget {
  Q_OBJECT
 public:
  explicit TimelinePanel(QWidget* parent = nullptr);
  TimelineStrip* strip() const { return strip_; }
  QWidget* viewport() const { return viewport_; }
  QScrollBar* scroll_bar() const { return scroll_; }
  float zoom() const { return zoom_; }
  void SetZoom(float zoom);
  // CalcPictureWidths then AdjustHscroll, as after every sizing.
  void Relayout();
  std::function<void()> on_relayout;  // the strip needs a redraw at its new width

 protected:
  void resizeEvent(QResizeEvent*) override;

 private:
  QWidget* viewport_;
  TimelineStrip* strip_;
  QScrollBar* scroll_;
  float zoom_ = 1.0f;
};

}  // namespace tessfx
