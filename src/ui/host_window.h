#pragma once
// The embedded host's own window: the current frame large, frame number and total, a frame
// slider, play and stop, and the File menu. It docks the tool window that the editor hands
// over with Tes_SendFormObject, and redraws on Tes_Refresh and whenever a frame is written.
#include <QMainWindow>
#include <QTimer>

#include "host/embedded/embedded_host.h"

class QLabel;
class QSlider;
class QDockWidget;

namespace tessfx {

class FrameView;

class HostWindow : public QMainWindow, public HostObserver {
  Q_OBJECT
 public:
  explicit HostWindow(EmbeddedHost& host, QWidget* parent = nullptr);
  ~HostWindow() override;

  // HostObserver
  void OnRefresh() override { ScheduleRedraw(); }
  void OnFrameChanged(int32_t) override { ScheduleRedraw(); }
  void OnFrameWritten(int32_t) override { ScheduleRedraw(); }
  void OnAnimationReplaced() override;
  void OnFormObject(ObjectRef form) override;
  void OnPlay() override;
  void OnStop() override;

  // Asks to save unsaved changes; false when the user cancels.
  bool MaybeSave();
  bool OpenPath(const QString& path);
  bool SaveTo(const QString& path);
  FrameView* frame_view() const { return view_; }
  QDockWidget* tool_dock() const { return dock_; }

 protected:
  void closeEvent(QCloseEvent* e) override;

 private:
  void BuildMenus();
  void ScheduleRedraw();
  void Redraw();
  void UpdateTitle();
  QString LastFolder() const;
  void RememberFolder(const QString& file);
  void ShowError(const QString& what, const std::exception& e);

  EmbeddedHost& host_;
  FrameView* view_ = nullptr;
  QLabel* frame_label_ = nullptr;
  QSlider* frame_slider_ = nullptr;
  QDockWidget* dock_ = nullptr;
  QTimer play_timer_;
  bool redraw_pending_ = false;
};

}  // namespace tessfx
