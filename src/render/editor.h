#pragma once
// The editor for one shared state: the parameter panel, the frame dispatch, the key
// channels, preview and render, and the undo file, wired together the way the main window
// wires them. A window and the command line both drive this class; what it needs from a
// window comes through EditorWindow.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/dispatch.h"
#include "engine/panel.h"
#include "host/image_state.h"
#include "keys/key_channels.h"
#include "media/dialogs.h"
#include "media/sequence.h"
#include "render/frame_range.h"
#include "render/render.h"
#include "render/undo.h"
#include "render/window.h"

namespace tessfx {

inline constexpr const char* kSettingsApp = "tessaline";
inline constexpr const char* kTimelineSection = "Timeline";
inline constexpr const char* kSaveUndosKey = "SaveUndos";

class Editor {
 public:
  // Loading the main window: the undo box Check1 is read from the saved settings.
  Editor(SharedState& state, EditorWindow& window);
  Editor(const Editor&) = delete;
  Editor& operator=(const Editor&) = delete;

  ParameterPanel& panel() { return panel_; }
  KeyChannels& keys() { return keys_; }
  FrameDispatcher& dispatcher() { return dispatcher_; }
  UndoBuffer& undo() { return undo_; }
  Renderer& renderer() { return renderer_; }
  TessalineHost& host() { return state_.host(); }
  ImageState& image() { return state_.image(); }
  EditorWindow& window() { return window_; }

  // The image sequence of the sequence effects (empty base name: none chosen); the
  // dispatch names each frame's file from it.
  SequenceSettings sequence;

  // ---- buttons and menu commands ----
  void kv_button1_Click();  // set key at the current frame
  void kv_button2_Click();  // refill the channels and redraw the timeline
  // Render: fills the per-frame values, renders under the wait cursor, refreshes the host
  // and closes the progress window. `selection` limits the frames (see render.h).
  RenderSummary kv_button3_Click(RenderProgress& progress, const FrameSelection* selection = nullptr);
  void kv_button5_Click();  // clear keys
  void kv_button6_Click();  // reset the sliders, keeping the keys
  void kv_button7_Click();  // play
  void kv_button8_Click();  // stop
  // "Select Sequence...": only for the five sequence effects, asks for the first file.
  void kv_button13_Click(FileDialog& dialog);
  // The spline toggle, as a click on the two-state button: its state flips, then the
  // channels are refilled and the timeline redrawn.
  void kv_button11_Click();
  UndoOutcome kv_button12_Click();  // undo
  void DeleteUndos_Click();
  void Check1_Click();    // stores the undo box under "SaveUndos"
  void Label13_Click();   // the undo box's caption toggles the box, which raises its click
  // "Create new animation"; true when an animation was created.
  bool AnimMenuCreate_Click();

  // Runs a button or menu command by its name ("kv_button1", "AnimMenuCreate_Click", ...).
  // kv_button3 needs `progress`. False when the name is not one of them.
  bool Click(std::string_view name, RenderProgress* progress = nullptr);

  void DoPreviewFrame() { renderer_.DoPreviewFrame(); }

 private:
  SharedState& state_;
  EditorWindow& window_;
  ParameterPanel panel_;
  KeyChannels keys_;
  FrameDispatcher dispatcher_;
  UndoBuffer undo_;
  Renderer renderer_;
};

}  // namespace tessfx
