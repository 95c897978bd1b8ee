#pragma once
// The timeline strip as drawing instructions: DrawTimeline in its drawing order, the shaded
// HighlightBox, the scrub rule, the zoom of the strip and its scroll range. A canvas
// interface receives the lines and boxes, so the strip is testable without a window.
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessfx {

struct Rgb {
  uint8_t r, g, b;
  bool operator==(const Rgb&) const = default;
};

inline constexpr Rgb kTimelineOrange{255, 170, 68};   // current frame
inline constexpr Rgb kTimelineYellow{255, 221, 85};   // keyed range
inline constexpr Rgb kTimelineSlate{68, 85, 102};     // frame ticks and centre line
inline constexpr Rgb kTimelineRed{238, 34, 17};       // keys
inline constexpr Rgb kTimelineBlue{170, 170, 255};    // channel curves

class TimelineCanvas {
 public:
  virtual ~TimelineCanvas() = default;
  virtual void Line(double x1, double y1, double x2, double y2, Rgb colour, bool dotted) = 0;
  // Outline or filled box between two corners.
  virtual void Box(double x1, double y1, double x2, double y2, Rgb colour, bool filled) = 0;
};

// What the strip shows. `frame_values` is indexed [channel][frame] as the fills leave it.
struct TimelineData {
  int32_t total_frames = 0;  // T
  int32_t current_frame = 0;
  double width = 0;          // W: the strip's scale width in pixels
  double height = 0;         // H
  int32_t back_color = 0;    // packed red | green << 8 | blue << 16
  std::vector<int32_t> key_frames;  // Frame of key 0..LastKey (empty when LastKey is -1)
  const std::array<std::vector<float>, 6>* frame_values = nullptr;
};

// Fills a rectangle with horizontal lines shaded from half brightness at the top through
// full brightness where the sine of the span peaks, back towards half at the bottom.
void HighlightBox(TimelineCanvas& canvas, double x1, double y1, double x2, double y2, int red, int green, int blue,
                  double span);

void DrawTimeline(TimelineCanvas& canvas, const TimelineData& d);

// The frame under the pointer while scrubbing, or nullopt when nothing is to be sent to the
// host (no button held, pointer outside the strip, or a frame outside 0..T-1).
std::optional<int32_t> ScrubFrame(int button, double x, double y, double scale_width, double scale_height,
                                  int32_t total_frames);

// The strip's width for a viewport width and zoom factor.
inline double CalcPictureWidth(double viewport_width, float zoom) { return viewport_width * zoom; }

struct ScrollRange {
  int32_t min, max, large_change;
};
// HScroll1's range for a strip inside its viewport. The range is not cut to 16 bits: a strip
// zoomed wider than 32767 pixels would otherwise end short of its last frames.
ScrollRange AdjustHscroll(double strip_width, double viewport_width);

// The largest useful zoom: the strip gives every frame kMaxPixelsPerFrame pixels, and never
// less than the zoom of 64 the buttons always reached.
inline constexpr double kMaxPixelsPerFrame = 16;
float MaxTimelineZoom(int32_t total_frames, double viewport_width);

// ---- additions around the strip: the ruler, the key lane and the value scale ----

// Where frame f stands on a strip of width W for T frames, as DrawTimeline places keys and
// curves (0 for one frame).
double FrameX(int32_t frame, int32_t total_frames, double width);
// The frame drawn nearest to x, within 0..T-1 (the inverse of FrameX, for dragging keys).
int32_t NearestFrame(double x, int32_t total_frames, double width);

// A ruler tick. Frames are labelled as the captions count them, from 1 (frame 0 is "1").
struct RulerTick {
  int32_t frame;
  bool major;  // labelled
};
// Ticks for the frames whose x lies in [x_from, x_to]: the smallest step of 1, 2, 5, 10, 20,
// 50, ... frames that keeps labels `label_spacing` pixels apart; minor ticks at a fifth or a
// half of it when they stay 4 pixels apart. Counting is from 1, so labelled frames are
// 1, 10, 20, ... for a step of 10 (frames 0, 9, 19, ...).
std::vector<RulerTick> RulerTicks(int32_t total_frames, double width, double x_from, double x_to,
                                  double label_spacing);

// A value-scale tick for a slider's values as the curves draw them: a channel value v
// (Value / Max) is drawn at y = (1 - v) * H, so slider value s stands at (1 - s / Max) * H.
struct ValueTick {
  int32_t value;
  double y;
};
// Ticks for the slider values 0..Max that fall on the strip, at least `spacing` pixels
// apart, always including 0 and Max; empty for a Max of 0 or less.
std::vector<ValueTick> ValueTicks(int16_t slider_max, double height, double spacing);

// The index into `key_frames` of the key whose mark is nearest to x within `tolerance`
// pixels, or -1. Keys outside the animation (the deleted-key mark) are never hit.
int32_t KeyNearX(const std::vector<int32_t>& key_frames, double x, int32_t total_frames, double width,
                 double tolerance);

}  // namespace tessfx
