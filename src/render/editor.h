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
#include "render/flipbook.h"
#include "render/frame_range.h"
#include "render/live_preview.h"
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

  // What a host that keeps its document and swap image in files tells of them (the
  // embedded host's window wires all three, the command line the swap image): project files
  // record the swap image and load it back; the undo data names the document it belongs to.
  // Unset for other hosts.
  struct HostFiles {
    std::function<std::string()> document;                // the open document's file, "" for none
    std::function<int64_t()> document_first_number;       // the number of its frame 0's file
    std::function<std::string()> swap_image;              // "" when the swap image has no file
    std::function<void(const std::string&)> load_swap_image;  // throws an Error naming the file
  };
  HostFiles host_files;

  // Before a render that records undo data: the document whose undo data it would replace,
  // when that document is not this one and is open in another running tessfx (whose user
  // could still want to undo). nullopt when nothing of another open document is at stake.
  std::optional<std::string> UndoDataAtStake();

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
  // "Create new animation"; true when the box gave a frame count and the host was asked
  // for the animation (a host may keep a document with unsaved changes when its user says
  // so when asked to save them).
  bool AnimMenuCreate_Click();

  // Runs a button or menu command by its name ("kv_button1", "AnimMenuCreate_Click", ...).
  // kv_button3 needs `progress`. False when the name is not one of them.
  bool Click(std::string_view name, RenderProgress* progress = nullptr);

  // Preview (P, and the release of a scrub): the effect on the current frame. A frame the
  // last render wrote, with nothing changed since, is shown as it is when the sliders
  // follow the keys: it already holds what that render made, and the effect applied again
  // would show something no render gives.
  void DoPreviewFrame();

  // ---- staying in step with the host ----
  // "Sliders follow keys": when the host has moved to a frame, the sliders take the values
  // the keys give there before the preview, so that the preview is the render.
  void set_follow_keys(bool on) { renderer_.set_follow_keys(on); }
  bool follow_keys() const { return renderer_.follow_keys(); }
  // With the option on and two keys or more, sets every slider to its keyed value at the
  // current frame (without a preview per slider). True when it did.
  bool FollowKeys();
  // The host has settled on a frame (a scrub released, a frame chosen, playing stopped, a
  // render or undo ended, another document): the sliders follow the keys, then one preview.
  void FrameSettled();
  // The frame count or the document changed: the table is refilled and frames rendered
  // before no longer count as rendered.
  void DocumentReplaced();
  // The main window's caption for the current frame, without a preview.
  void ShowFrameCaption();
  // True when the current frame was written by the last render and nothing that the render
  // depends on has changed since.
  bool ShowsRenderedFrame();
  // What the render depends on besides the frames: effect, sliders, keys, spline, sequence,
  // swap source and frame count. Equal setups give equal signatures.
  uint64_t SetupSignature();

  // ---- the selected key (the key lane) ----
  // The selected key's frame, or nullopt.
  std::optional<int32_t> SelectedKeyFrame() const;
  // Selects the key at `frame`; no key there clears the selection.
  void SelectKeyAt(int32_t frame);
  // Moves the host to the previous or next key; false when there is none.
  bool GotoPreviousKey();
  bool GotoNextKey();

  // ---- pictures besides the preview ----
  // While the effect plays: the current frame as the render would write it, at the
  // preview's size, from the flipbook when it has been shown before with the same setup.
  void ShowFlipbookFrame();
  FlipbookCache& flipbook() { return flipbook_; }
  // While a slider is dragged: the effect on a reduced copy of the current frame with the
  // sliders' values. False (nothing shown) for effects that read other frames, the
  // sequence or the host's assets; the caller previews in full then.
  bool ShowLivePreview();

 private:
  struct RenderedFrames {
    uint64_t signature = 0;
    std::vector<bool> frames;  // by frame number
  };
  void RememberRender(const RenderSummary& r, const FrameSelection* selection);
  bool GotoKey(std::optional<int32_t> frame);
  void FetchAsIs();  // the current frame into the working planes without the effect
  void ShowAsIs();

  SharedState& state_;
  EditorWindow& window_;
  ParameterPanel panel_;
  KeyChannels keys_;
  FrameDispatcher dispatcher_;
  UndoBuffer undo_;
  Renderer renderer_;
  RenderedFrames rendered_;
  FlipbookCache flipbook_;
  uint64_t flipbook_signature_ = 0;
  LivePreview live_;
  ThumbImage scratch_thumb_;
};

}  // namespace tessfx
