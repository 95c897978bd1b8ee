#pragma once
// Shows a frame of planes, scaled to fit the widget and keeping its aspect ratio.
#include <QImage>
#include <QWidget>

#include "core/plane.h"

namespace tessfx {

// The visible width x height picture of three planes as an RGB image.
QImage PlanesToImage(const Plane& r, const Plane& g, const Plane& b);

class FrameView : public QWidget {
  Q_OBJECT
 public:
  explicit FrameView(QWidget* parent = nullptr);
  void SetImage(QImage image);
  const QImage& image() const { return image_; }
  // The rectangle the picture occupies inside the widget.
  QRect PictureRect() const;
  QSize sizeHint() const override { return {640, 360}; }

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  QImage image_;
};

}  // namespace tessfx
