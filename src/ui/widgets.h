#pragma once
// The tool window's two custom controls: the slider HProp and the button kv_button.
#include <QAction>
#include <QColor>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <functional>

#include "engine/panel.h"

namespace tessfx {

// A horizontal slider bound to an HPropModel: dragging raises the model's Scroll events,
// releasing the thumb or a keyboard or page step raises one Change.
class HPropSlider : public QSlider {
  Q_OBJECT
 public:
  HPropSlider(HPropModel& model, QWidget* parent = nullptr);
  // Shows the model's Value, Min, Max and Visible without raising events.
  void SyncFromModel();

 private:
  HPropModel& model_;
  bool syncing_ = false;
};

// A slider's value label (Label7..Label12). A double-click opens an editor over it
// (HPropEdit1..6) for typing a value: Enter applies it, Escape cancels, leaving the editor
// applies it too. Text that is not a number keeps the editor open and marks it.
class ValueLabel : public QLabel {
  Q_OBJECT
 public:
  ValueLabel(int slider, QWidget* parent = nullptr);
  QLineEdit* editor() const { return editor_; }
  void OpenEditor();

  std::function<bool()> can_edit;                     // a visible slider only
  std::function<bool(const QString& text)> on_typed;  // false: not a number

 protected:
  void mouseDoubleClickEvent(QMouseEvent* e) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Finish(bool apply, bool retry_on_error = true);
  int slider_;
  QLineEdit* editor_ = nullptr;
};

// A flat button with the colour properties of the colour scheme; kv_button11 is its
// two-state form (checkable).
class KvButton : public QPushButton {
  Q_OBJECT
  Q_PROPERTY(QColor Color READ color WRITE setColor)
  Q_PROPERTY(QColor Highlight READ highlight WRITE setHighlight)
  Q_PROPERTY(QColor Shadow READ shadow WRITE setShadow)
  Q_PROPERTY(bool Borderless READ borderless WRITE setBorderless)
 public:
  enum class Kind { Tool, Setting, Action };
  KvButton(const QString& caption, Kind kind, QWidget* parent = nullptr);

  QColor color() const { return color_; }
  QColor highlight() const { return highlight_; }
  QColor shadow() const { return shadow_; }
  bool borderless() const { return borderless_; }
  Kind kind() const { return kind_; }
  void setColor(const QColor& c);
  void setHighlight(const QColor& c);
  void setShadow(const QColor& c);
  void setBorderless(bool b);

 private:
  void Restyle();
  Kind kind_;
  QColor color_{192, 192, 192}, highlight_{224, 224, 224}, shadow_{32, 32, 32};
  bool borderless_ = false;
};

// Adds a menu item that runs `fn`, with an optional shortcut and object name.
template <typename Fn>
QAction* AddMenuAction(QMenu* menu, const QString& text, Fn fn, const QKeySequence& shortcut = {},
                       const QString& object_name = {}) {
  auto* action = menu->addAction(text);
  if (!shortcut.isEmpty()) action->setShortcut(shortcut);
  if (!object_name.isEmpty()) action->setObjectName(object_name);
  QObject::connect(action, &QAction::triggered, menu, [fn](bool) { fn(); });
  return action;
}

}  // namespace tessfx
