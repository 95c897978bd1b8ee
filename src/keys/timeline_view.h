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
  int16_t min, max, large_change;
};
// HScroll1's range for a strip inside its viewport.
ScrollRange AdjustHscroll(double strip_width, double viewport_width);

}  // namespace tessfx
