#pragma once
// The timeline: the strip Picture1 inside its viewport Picture100, slid by HScroll1, with a
// ruler and a key lane above it and a value scale beside it.
//
// The strip is drawn exactly as DrawTimeline says, for a strip `scale_width` pixels wide, of
// which the viewport shows the part from `scroll` on. Only that part is painted, so a strip
// zoomed to many times its viewport costs no more than the viewport. Presses and drags on
// the strip scrub, a release previews.
//
// The ruler counts frames as the captions do (frame 0 is "1"); clicking or dragging on it
// goes to the frame under the pointer. The key lane below it shows each key as a mark whose
// shape tells its ease; a key is selected by clicking near it, dragged to another frame, and
// its ease or removal chosen from its context menu.
#include <QImage>
#include <QScrollBar>
#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "keys/key_channels.h"
#include "keys/timeline_view.h"

namespace tessfx {

class TimelineStrip : public QWidget {
  Q_OBJECT
 public:
  explicit TimelineStrip(QWidget* parent = nullptr);
  // Redraws the visible part of the strip from `data` (width and height are filled in).
  void Draw(TimelineData data);
  const QImage& image() const { return image_; }
  QColor back_color{143, 149, 158};

  // The strip's scale width W and the strip x at the viewport's left edge.
  double scale_width() const { return scale_width_; }
  double scroll() const { return scroll_; }
  void SetStrip(double scale_width, double scroll);
  bool pressed() const { return pressed_; }

  std::function<void(int button, double x, double y)> on_mouse_move;  // strip x; a press runs it too
  std::function<void()> on_mouse_up;
  std::function<void(int delta, double x)> on_zoom_wheel;  // Ctrl + wheel, at strip x

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;
  void wheelEvent(QWheelEvent* e) override;

 private:
  QImage image_;
  double scale_width_ = 1;
  double scroll_ = 0;
  bool pressed_ = false;
};

// What the ruler and the key lane show.
struct KeyLaneData {
  int32_t total_frames = 0;
  int32_t current_frame = 0;
  std::vector<int32_t> key_frames;
  std::vector<KeyEase> key_eases;
  std::optional<int32_t> selected;  // the selected key's frame
};

class TimelineRuler : public QWidget {
  Q_OBJECT
 public:
  static constexpr int kRulerHeight = 18;
  static constexpr int kLaneHeight = 16;
  explicit TimelineRuler(QWidget* parent = nullptr);
  void SetData(KeyLaneData data);
  void SetStrip(double scale_width, double scroll);
  const KeyLaneData& data() const { return data_; }
  // The key being dragged and the frame it would land on, while a drag lasts.
  std::optional<std::pair<int32_t, int32_t>> dragging() const;
  // The x of frame f in this widget's coordinates.
  double XOfFrame(int32_t frame) const;
  QSize sizeHint() const override { return {400, kRulerHeight + kLaneHeight}; }

  std::function<void(int32_t frame)> on_goto;            // pressed or dragged on the ruler
  std::function<void()> on_goto_done;                    // released after on_goto
  std::function<void(std::optional<int32_t> key)> on_select;  // pressed near a key, or on empty lane
  std::function<void(int32_t from, int32_t to)> on_key_moved;
  std::function<void(int32_t key, QPoint global)> on_key_menu;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;

 private:
  int32_t KeyIndexNear(double x) const;
  KeyLaneData data_;
  double scale_width_ = 1;
  double scroll_ = 0;
  enum class Drag { None, Ruler, Key } drag_ = Drag::None;
  int32_t drag_key_ = -1;     // frame of the key being dragged
  int32_t drag_target_ = -1;  // the frame it would land on
  bool drag_moved_ = false;
};

// The values of one slider along the strip's height, as its curve draws them.
class ValueScale : public QWidget {
  Q_OBJECT
 public:
  explicit ValueScale(QWidget* parent = nullptr);
  // No caption: nothing to scale (no slider).
  void SetChannel(const QString& caption, int16_t slider_max);
  QSize sizeHint() const override { return {46, 64}; }

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  QString caption_;
  int16_t max_ = 0;
};

// Picture100 with Picture1 inside, the ruler above, the value scale beside and HScroll1 below;
// zoom widens the strip.
class TimelinePanel : public QWidget {
  Q_OBJECT
 public:
  explicit TimelinePanel(QWidget* parent = nullptr);
  TimelineStrip* strip() const { return strip_; }
  TimelineRuler* ruler() const { return ruler_; }
  ValueScale* value_scale() const { return scale_; }
  QWidget* viewport() const { return viewport_; }
  QScrollBar* scroll_bar() const { return scroll_; }
  float zoom() const { return zoom_; }
  // Zooms keeping `anchor_frame` where it is on screen; the zoom stays between 1 and the
  // largest useful zoom for the frame count.
  void SetZoom(float zoom, std::optional<int32_t> anchor_frame = std::nullopt);
  void set_total_frames(int32_t frames) { total_frames_ = frames; }
  // Scrolls so that `frame` is in view, centring it when it is not.
  void EnsureVisible(int32_t frame);
  // CalcPictureWidths then AdjustHscroll, as after every sizing.
  void Relayout();
  std::function<void()> on_relayout;  // the strip and ruler need a redraw

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Scrolled(int value);
  QWidget* viewport_;
  TimelineStrip* strip_;
  TimelineRuler* ruler_;
  ValueScale* scale_;
  QScrollBar* scroll_;
  float zoom_ = 1.0f;
  int32_t total_frames_ = 1;
};

}  // namespace tessfx
