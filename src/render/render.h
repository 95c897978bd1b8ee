#pragma once
// Preview of the current frame and render over the animation.
//
// The render walks the frames first..last by step (backwards for effects that read earlier
// frames, whose definitions say so); for each frame
// it shows the progress text, yields once, stops when the user has cancelled, moves the
// host there, records the frame for undo, takes the frame's six values from the key
// channels (clamped to each slider's range), runs the effect, shows the preview and sends
// the working planes back to the host.
//
// A frame selection narrows the walk to the selection's lowest..highest frame (in walk
// order) and renders only the chosen frames. The undo header states that walk, and with
// recording on the unchosen frames inside it are recorded as well (they are written back
// unchanged), so that the records always follow the header's walk from its first frame and
// an undo puts every record into its own frame.
#include <array>
#include <cstdint>
#include <string>

#include "engine/dispatch.h"
#include "engine/panel.h"
#include "keys/key_channels.h"
#include "render/frame_range.h"
#include "render/undo.h"
#include "render/window.h"

namespace tessfx {

struct RenderSummary {
  int32_t first = 0;  // the walk, as the undo header states it
  int32_t last = -1;
  int32_t step = 1;
  int32_t frames_rendered = 0;
  bool cancelled = false;
  bool recorded = false;  // undo recording was on
};

// "5 of 0 through 29"
std::string RenderLabel(int32_t frame, int32_t first, int32_t last);

class Renderer {
 public:
  Renderer(ParameterPanel& panel, KeyChannels& keys, FrameDispatcher& dispatcher, UndoBuffer& undo,
           EditorWindow& window)
      : panel_(panel), keys_(keys), dispatcher_(dispatcher), undo_(undo), window_(window) {}

  // The effect on the current frame with the values PreviewValues gives, shown in the
  // preview; the host is not changed.
  void DoPreviewFrame();
  // Draws the working planes, reduced, into the preview picture (when the window has one),
  // and the host planes beside them when the window shows the frame before the effect.
  void ShowThumb();
  // Renders with the per-frame values as the last fill left them (the caller fills first).
  RenderSummary DoRender(RenderProgress& progress, const FrameSelection* selection = nullptr);

  // The six values the render passes for frame f: each channel's value there (the table as
  // the last fill left it, times the slider's Max), clamped to the slider's range.
  std::array<float, 6> FrameParameters(int32_t frame) const;
  // The values a preview passes: the sliders' values; but when the preview follows the keys,
  // there are two keys or more and every slider shows its keyed value at the current frame
  // (rounded as a slider holds it), the keyed values themselves, so that the preview shows
  // exactly what the render will write.
  std::array<float, 6> PreviewValues() const;
  void set_follow_keys(bool on) { follow_keys_ = on; }
  bool follow_keys() const { return follow_keys_; }

  const ThumbImage& thumb() const { return thumb_; }
  // The last render's summary as far as it got (it is kept up to date during the walk).
  const RenderSummary& last_summary() const { return last_; }

 private:
  ParameterPanel& panel_;
  KeyChannels& keys_;
  FrameDispatcher& dispatcher_;
  UndoBuffer& undo_;
  EditorWindow& window_;
  ThumbImage thumb_;  // reused from frame to frame
  ThumbImage before_;
  bool follow_keys_ = false;
  RenderSummary last_;
};

// The slider value a channel value shows as: rounded half to even, within the slider's range.
int16_t SliderValueOf(float value, const HPropModel& slider);

}  // namespace tessfx
