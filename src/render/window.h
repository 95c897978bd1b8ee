#pragma once
// What the editor needs from a window, as small interfaces that a window (Qt) and the
// command line each implement: the main window's caption, message and input boxes, the
// wait cursor, the preview picture and the timeline strip; and the render's progress window.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessfx {

// An RGB picture for the preview: width x height pixels, three bytes per pixel (red,
// green, blue), rows top to bottom without padding.
struct ThumbImage {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> rgb;
};

struct PictureBox {
  int32_t width = 0;  // 0 x 0: there is no preview picture to draw into
  int32_t height = 0;
};

class EditorWindow {
 public:
  virtual ~EditorWindow() = default;
  virtual void SetCaption(const std::string& text) = 0;
  // A message box with an OK button only.
  virtual void MessageBox(const std::string& text) = 0;
  // An input box; nullopt when it is cancelled.
  virtual std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                              const std::string& default_text) = 0;
  virtual void SetWaitCursor(bool waiting) = 0;
  // The preview picture's size, and drawing a reduced frame into it.
  virtual PictureBox PreviewBox() const = 0;
  virtual void ShowPicture(const ThumbImage& picture) = 0;
  // A window that shows the frame before the effect beside the result says so; it is then
  // given that picture, at the same size, just before each ShowPicture.
  virtual bool ShowsBefore() const { return false; }
  virtual void ShowBeforePicture(const ThumbImage& /*picture*/) {}
  // Redraws the timeline strip from the key list and the per-frame values.
  virtual void DrawTimeline() = 0;
};

// The render's progress window: a label, a bar, one yield per frame, and the user's way
// to stop the render (closing the window).
class RenderProgress {
 public:
  virtual ~RenderProgress() = default;
  virtual void SetLabel(const std::string& text) = 0;
  // Lets the event loop run once (repaint, the cancel button).
  virtual void Yield() = 0;
  // True once the user has stopped the render.
  virtual bool Cancelled() = 0;
  // The frame under way, as the captions count it: `frame` of the `total_frames` of the
  // animation, after `done` of the `count` frames the render writes. Called right after
  // SetLabel; a window shows it with the times and speed it measures.
  virtual void Rendering(int32_t /*frame*/, int32_t /*total_frames*/, int32_t /*done*/, int32_t /*count*/) {}
  // Position of the bar. Passed on unchanged: negative when the render runs backwards,
  // NaN for a one-frame animation (0 / 0); the display side clamps.
  virtual void DisplayBar(double fraction) = 0;
  // The render has finished or stopped: the window closes.
  virtual void Close() = 0;
};

// Shows the wait cursor for as long as it lives.
class WaitCursor {
 public:
  explicit WaitCursor(EditorWindow& window) : window_(window) { window_.SetWaitCursor(true); }
  ~WaitCursor() { window_.SetWaitCursor(false); }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;

 private:
  EditorWindow& window_;
};

}  // namespace tessfx
