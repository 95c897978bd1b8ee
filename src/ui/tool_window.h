#pragma once
// The tool window Form1: the effect list with its search box, the preview picture Picture2
// with its view controls, the six sliders with their labels, the buttons, the undo box, the
// timeline with its ruler, key lane and value scale, and the window's own menus.
// It shows the models' state and forwards the user's actions to them; everything it does
// besides drawing lives in Editor and the models it holds.
//
// It follows the host: every change of frame, of frame count and of document reaches the
// caption, the sliders (when they follow the keys), the preview and the strip, once per turn
// of the event loop however many changes came in that turn.
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
class QActionGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QMenuBar;
class QToolButton;

namespace tessfx {

class PreviewView;
class HPropSlider;
class KvButton;
class TimelinePanel;
class ValueLabel;

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
  PreviewView* preview() const { return picture2_; }

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

  // ---- options of the View menu, remembered in the host's settings ----
  // "Sliders follow keys" (on unless switched off: see the README).
  void SetFollowKeys(bool on);
  // "Live preview while dragging" (off unless switched on: the preview comes on release).
  void SetLivePreview(bool on);
  bool live_preview() const { return live_preview_; }
  void SetBeforeAfter(bool on);
  void SetActualSize(bool on);

  // Plays the animation with the effect in the preview (a flipbook of the previewed
  // frames), or the raw animation.
  void PlayEffect();
  bool playing_effect() const { return playing_effect_; }

  // The effect-list search: filters the list as typed.
  void SetSearchText(const QString& text);

  // ---- EditorWindow ----
  void SetCaption(const std::string& text) override;
  void MessageBox(const std::string& text) override;
  std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                      const std::string& default_text) override;
  void SetWaitCursor(bool waiting) override;
  PictureBox PreviewBox() const override;
  void ShowPicture(const ThumbImage& picture) override;
  bool ShowsBefore() const override;
  void ShowBeforePicture(const ThumbImage& picture) override;
  void DrawTimeline() override;

  // ---- FileDialog, MessageSink ----
  std::optional<std::string> GetOpenFileName(const std::string& title, const std::string& filter) override;
  void ShowMessage(const std::string& message) override { MessageBox(message); }

  // ---- HostObserver: the window follows the host ----
  void OnFrameChanged(int32_t frame) override;
  void OnFrameWritten(int32_t frame) override;
  void OnAnimationReplaced() override;
  void OnRefresh() override;
  void OnPlay() override { playing_ = true; }
  void OnStop() override;

  // Runs the changes that came in since the last turn of the event loop now (tests, and the
  // scripted tour, which cannot wait for the turn).
  void SyncNow();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildControls(QWidget* canvas);
  void BuildMenus(QMenuBar* bar);
  void BuildShortcuts();
  void ReadOptions();
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
  void SaveOption(const char* key, bool on);

  // What changed, to be caught up with at the next turn of the event loop.
  enum Pending : unsigned { kSettle = 1, kDocument = 2, kFlipbook = 4, kFollow = 8, kLive = 16 };
  void Schedule(unsigned what);
  void CatchUp();

  // The list: its filter, keyboard moves and selection.
  void ListSelectionChanged();
  bool ListKey(int key);
  void SyncListSelection();
  // The key lane and key commands.
  void UpdateKeyLane();
  std::optional<int32_t> TargetKey() const;  // the selected key, else the key at the current frame
  void SetEaseOfKey(KeyEase ease);
  void DeleteKey();
  void KeyMenu(int32_t frame, QPoint global);
  void UpdateValueScale();
  void ShowShortcuts();
  void ShowEffectHelp();
  QString PreviewNote() const;

  SharedState& state_;
  std::unique_ptr<Editor> editor_;
  std::unique_ptr<SwapSourceMenu> swap_menu_;
  PreviewPicker picker_;
  ColorScheme scheme_{};

  QWidget* canvas_ = nullptr;
  QLineEdit* search_ = nullptr;
  QListWidget* list_ = nullptr;
  std::vector<bool> shown_rows_;
  std::array<HPropSlider*, 6> sliders_{};
  std::array<QLabel*, 13> labels_{};  // labels_[6..11] are ValueLabels
  std::array<KvButton*, 14> buttons_{};  // buttons_[n] is kv_button<n>; 0 and 4 unused
  KvButton* play_effect_ = nullptr;
  QCheckBox* check1_ = nullptr;
  PreviewView* picture2_ = nullptr;
  QLabel* description_ = nullptr;
  TimelinePanel* timeline_ = nullptr;
  QComboBox* scale_channel_ = nullptr;
  QToolButton* ease_button_ = nullptr;
  QMenu* ease_menu_ = nullptr;
  QActionGroup* ease_group_ = nullptr;
  QAction* use_anim_ = nullptr;
  QAction* use_sequence_ = nullptr;
  QAction* follow_action_ = nullptr;
  QAction* live_action_ = nullptr;
  QAction* split_action_ = nullptr;
  QAction* fit_action_ = nullptr;
  QAction* actual_action_ = nullptr;

  bool timeline_pending_ = false;
  unsigned pending_ = 0;
  bool catch_up_scheduled_ = false;
  bool scrubbing_ = false;
  bool playing_ = false;
  bool playing_effect_ = false;
  bool rendering_ = false;
  bool live_preview_ = false;
  bool showing_live_ = false;
};

// "label|pattern" as a file dialog filter ("label (pattern)"); several pairs become several
// filters.
QString QtFileFilter(const std::string& filter);

}  // namespace tessfx
