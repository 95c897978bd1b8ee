#pragma once
// The preview picture Picture2: the effect's result, fitted to the widget or at its actual
// size (one frame pixel per screen pixel, dragged with the middle button to pan), and
// optionally the frame before the effect on the left of a divider that is dragged sideways.
// A small note in a corner says when the picture is not the plain preview (a reduced
// picture while a slider is dragged, a frame the last render wrote).
#include <QCursor>
#include <QImage>
#include <QWidget>
#include <functional>

namespace tessfx {

class PreviewView : public QWidget {
  Q_OBJECT
 public:
  enum class Scale { Fit, Actual };
  explicit PreviewView(QWidget* parent = nullptr);

  // The result; `frame_size` is the size of the frame it shows (a reduced picture is drawn
  // at that size in the actual-size view).
  void SetImage(QImage image, QSize frame_size);
  void SetBefore(QImage before);
  const QImage& image() const { return image_; }
  const QImage& before() const { return before_; }

  void SetScale(Scale scale);
  Scale scale() const { return scale_; }
  void SetSplit(bool on);
  bool split() const { return split_; }
  // The divider's place across the picture, 0..1.
  void SetDivider(double fraction);
  double divider() const { return divider_; }
  void SetNote(const QString& note);
  const QString& note() const { return note_; }
  // Panning with the left button too (effects that pick nothing on the preview).
  void set_pan_with_left(bool on) { pan_with_left_ = on; }

  // The rectangle the frame occupies inside the widget.
  QRect PictureRect() const;
  // True when a press at `pos` grabs the divider, or while the view itself handles a drag
  // (divider or pan): the preview's picking leaves such presses alone.
  bool NearDivider(QPointF pos) const;
  bool dragging() const { return drag_ != Drag::None; }
  // The pointer the selected effect gives the picture (the divider shows its own).
  void SetEffectCursor(const QCursor& cursor);
  const QCursor& effect_cursor() const { return effect_cursor_; }

  std::function<void(double)> on_divider_moved;
  QSize sizeHint() const override { return {480, 270}; }

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;

 private:
  void ClampPan();
  QImage image_, before_;
  QSize frame_size_;
  Scale scale_ = Scale::Fit;
  bool split_ = false;
  double divider_ = 0.5;
  QString note_;
  QPointF pan_;  // offset of the actual-size picture from the centred place
  enum class Drag { None, Divider, Pan } drag_ = Drag::None;
  QPointF drag_from_;
  bool pan_with_left_ = false;
  QCursor effect_cursor_;
};

}  // namespace tessfx
