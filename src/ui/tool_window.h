#pragma once
// The tool window Form1: the effect list, the six sliders with their labels, the buttons,
// the undo box, the preview picture Picture2, the timeline strip and the window's own menus.
// It shows the models' state and forwards the user's actions to them; everything it does
// besides drawing lives in Editor and the models it holds.
#include <QWidget>
#include <array>
#include <memory>

#include "engine/preview_pick.h"
#include "host/host.h"
#include "host/image_state.h"
#include "media/dialogs.h"
#include "media/swap_sources.h"
#include "render/editor.h"
#include "render/window.h"
#include "ui/color_scheme.h"

class QAction;
class QCheckBox;
class QLabel;
class QListWidget;
class QMenuBar;

namespace tessfx {

class FrameView;
class HPropSlider;
class KvButton;
class TimelinePanel;

inline constexpr const char* kToolWindowSection = "ToolWindow";

class ToolWindow : public QWidget,
                   public EditorWindow,
                   public FileDialog,
                   public MessageSink,
                   public HostObserver {
  Q_OBJECT
 public:
  explicit ToolWindow(SharedState& state, QWidget* parent = nullptr);
  ~ToolWindow() override;

  Editor& editor() { return *editor_; }
  SwapSourceMenu& swap_menu() { return *swap_menu_; }
  TimelinePanel* timeline() const { return timeline_; }

  // Shows every panel control as the models now have it.
  void RefreshPanel();
  // Reads the host's colour scheme and applies it to the controls.
  void PrefsCallback();
  const ColorScheme& scheme() const { return scheme_; }

  // The project file (effect, sliders, keys, sequence, swap source), as the File menu's
  // items do after their dialogs. A failure is shown in a message box; false then.
  bool SaveProjectTo(const QString& path);
  bool OpenProjectFrom(const QString& path);

  // The top-level window's placement and the last folder, kept in the host's settings.
  void SaveWindowPlacement();
  void RestoreWindowPlacement();

  // ---- EditorWindow ----
  void SetCaption(const std::string& text) override;
  void MessageBox(const std::string& text) override;
  std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                      const std::string& default_text) override;
  void SetWaitCursor(bool waiting) override;
  PictureBox PreviewBox() const override;
  void ShowPicture(const ThumbImage& picture) override;
  void DrawTimeline() override;

  // ---- FileDialog, MessageSink ----
  std::optional<std::string> GetOpenFileName(const std::string& title, const std::string& filter) override;
  void ShowMessage(const std::string& message) override { MessageBox(message); }

  // ---- HostObserver: the strip follows the host's frame ----
  void OnFrameChanged(int32_t) override { ScheduleTimelineDraw(); }
  void OnAnimationReplaced() override { ScheduleTimelineDraw(); }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildControls(QWidget* canvas);
  void BuildMenus(QMenuBar* bar);
  void BuildShortcuts();
  // Runs a user action on the models, reports a failure in a message box, then refreshes.
  template <typename Fn>
  void Run(Fn&& fn);
  void Render();
  void SaveProject();
  void OpenProject();
  void PreviewMouse(QEvent* event);
  void ScheduleTimelineDraw();
  QString LastFolder() const;
  void RememberFolder(const QString& file);

  SharedState& state_;
  std::unique_ptr<Editor> editor_;
  std::unique_ptr<SwapSourceMenu> swap_menu_;
  PreviewPicker picker_;
  ColorScheme scheme_{};

  QWidget* canvas_ = nullptr;
  QListWidget* list_ = nullptr;
  std::array<HPropSlider*, 6> sliders_{};
  std::array<QLabel*, 13> labels_{};
  std::array<KvButton*, 14> buttons_{};  // buttons_[n] is kv_button<n>; 0 and 4 unused
  QCheckBox* check1_ = nullptr;
  FrameView* picture2_ = nullptr;
  TimelinePanel* timeline_ = nullptr;
  QAction* use_anim_ = nullptr;
  QAction* use_sequence_ = nullptr;
  bool timeline_pending_ = false;
};

// "label|pattern" as a file dialog filter ("label (pattern)"); several pairs become several
// filters.
QString QtFileFilter(const std::string& filter);

}  // namespace tessfx
