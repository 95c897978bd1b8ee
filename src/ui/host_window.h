#pragma once
// The embedded host's own window: the current frame large, frame number and total, a frame
// slider, play and stop, and the File menu. It docks the tool window that the editor hands
// over with Tes_SendFormObject, and redraws on Tes_Refresh and whenever a frame is written.
#include <QMainWindow>
#include <QTimer>
#include <functional>

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
  bool OnDiscardingChanges() override { return MaybeSave(); }
  void OnFormObject(ObjectRef form) override;
  void OnPlay() override;
  void OnStop() override;

  // Asks to save unsaved changes; false when the user cancels.
  bool MaybeSave();
  bool OpenPath(const QString& path);
  // At start: offers to restore or discard each document a tessfx that ended without closing
  // it left behind in the temporary folder, newest first. One restored becomes the open
  // document (after asking to save this one); those kept stay for `tessfx recover`.
  void OfferLeftBehindWork();
  // Saves to `path` as its extension says (a sequence pattern, .tsa or a single image).
  bool SaveTo(const QString& path, int64_t first_number = 1);
  // "Save as" in the form the user chose in the dialog: a plain name chosen as an image
  // sequence becomes a numbered pattern, and a name without extension gets the form's.
  enum class SaveForm { Animation, PngSequence, TiffSequence, ExrSequence, JpegSequence, CurrentFrame };
  bool SaveAs(const QString& path, SaveForm form);
  FrameView* frame_view() const { return view_; }
  QDockWidget* tool_dock() const { return dock_; }

 protected:
  void closeEvent(QCloseEvent* e) override;
  // A failed open, save or load, in a warning box.
  virtual void ShowError(const QString& what, const std::exception& e);

 private:
  void BuildMenus();
  void ScheduleRedraw();
  void Redraw();
  void UpdateTitle();
  QString LastFolder() const;
  void RememberFolder(const QString& file);
  // The save dialog with one filter per form; false when cancelled.
  bool AskSaveAs();
  // "Save": back to the document's own file, or the dialog when it has none.
  bool SaveOrAsk();
  // Runs `save`, then updates the title and status bar, or shows why it failed.
  bool Saving(const QString& path, const std::function<void()>& save);

  EmbeddedHost& host_;
  FrameView* view_ = nullptr;
  QLabel* frame_label_ = nullptr;
  QSlider* frame_slider_ = nullptr;
  QDockWidget* dock_ = nullptr;
  QTimer play_timer_;
  bool redraw_pending_ = false;
};

}  // namespace tessfx
