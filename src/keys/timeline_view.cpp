#include "keys/timeline_view.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "core/convert.h"

namespace tessfx {

void HighlightBox(TimelineCanvas& canvas, double x1, double y1, double x2, double y2, int red, int green, int blue,
                  double span) {
  if (!(y2 > y1)) return;
  const int32_t top = RoundHalfEven(y1), bottom = RoundHalfEven(y2);
  for (int32_t y = top; y <= bottom; ++y) {
    const double s = std::abs(std::sin((y - y1) * (1.0 / (y2 - y1)) * span * 0.01745));
    auto shade = [s](int c) { return static_cast<uint8_t>(std::clamp(RoundHalfEven((1 - s) * (c / 2.0) + s * c), 0, 255)); };
    canvas.Line(x1, y, x2, y, Rgb{shade(red), shade(green), shade(blue)}, false);
  }
}

void DrawTimeline(TimelineCanvas& canvas, const TimelineData& d) {
  const int32_t T = d.total_frames;
  const double W = d.width, H = d.height;
  const int32_t c = d.current_frame;
  const bool scaled = T - 1 > 0;
  // 2. Current-frame position, single precision.
  const float xc = (c < 1 || !scaled) ? 0.0f : (static_cast<float>(c) / static_cast<float>(T - 1)) * static_cast<float>(W);
  // 3. Background.
  HighlightBox(canvas, 0, 0, W, H, d.back_color & 0xFF, (d.back_color >> 8) & 0xFF, (d.back_color >> 16) & 0xFF, 179);
  // 4. Current-frame marker.
  canvas.Box(xc - 2, 10, xc + 2, H - 10, kTimelineOrange, false);
  canvas.Line(xc - 10, 0, xc, 10, kTimelineOrange, false);
  canvas.Line(xc + 10, 0, xc, 10, kTimelineOrange, false);
  canvas.Line(xc - 10, H, xc, H - 10, kTimelineOrange, false);
  canvas.Line(xc + 10, H, xc, H - 10, kTimelineOrange, false);
  const int32_t last_key = static_cast<int32_t>(d.key_frames.size()) - 1;
  // 5. Keyed range.
  if (T > 0 && last_key > 0 && scaled) {
    const double k = W / (T - 1);
    canvas.Box(d.key_frames.front() * k, 0, d.key_frames.back() * k, 3, kTimelineYellow, true);
  }
  // 6. Frame ticks, dotted. Ticks that fall on the same pixel column as the previous one
  // would draw the same pixels again, so they are skipped (long animations stay fast).
  if (T > 2) {
    int32_t last_column = INT32_MIN;
    for (int32_t i = 1; i <= T - 1; ++i) {
      const double x = i * W / (T - 1);
      const int32_t column = RoundHalfEven(x);
      if (column == last_column) continue;
      last_column = column;
      canvas.Line(x, 0, x, H, kTimelineSlate, true);
    }
  }
  // 7. Centre line.
  canvas.Line(0, H / 2, W, H / 2, kTimelineSlate, false);
  // 8. Keys; with one frame they stand at their frame numbers unscaled.
  for (int32_t k = 0; k <= last_key; ++k) {
    double x = d.key_frames[static_cast<size_t>(k)];
    if (scaled) x = RoundHalfEven(x * (W / (T - 1)));
    canvas.Line(x, 0, x, 12, kTimelineRed, false);
  }
  // 9. Curves, once there are two keys.
  if (last_key > 0 && scaled && d.frame_values) {
    for (int ch = 0; ch < 6; ++ch) {
      const std::vector<float>& v = (*d.frame_values)[static_cast<size_t>(ch)];
      if (v.empty()) continue;
      double v1 = 0;
      for (int32_t f = 0; f <= T - 1; ++f) {
        const double v0 = static_cast<size_t>(f) < v.size() ? v[static_cast<size_t>(f)] : 0.0;
        if (f < T - 1 && static_cast<size_t>(f + 1) < v.size()) v1 = v[static_cast<size_t>(f + 1)];
        canvas.Line(f * W / (T - 1), (1 - v0) * H, (f + 1) * W / (T - 1), (1 - v1) * H, kTimelineBlue, false);
      }
    }
  }
}

std::optional<int32_t> ScrubFrame(int button, double x, double y, double scale_width, double scale_height,
                                  int32_t total_frames) {
  if (button == 0) return std::nullopt;
  if (!(x >= 0 && x <= scale_width && y >= 0 && y <= scale_height)) return std::nullopt;
  const int32_t w = RoundHalfEven(scale_width);
  if (w <= 0) return std::nullopt;
  const int32_t f = RoundHalfEven(total_frames * (x * (1.0 / w)));
  if (f < total_frames && f >= 0) return f;
  return std::nullopt;
}

ScrollRange AdjustHscroll(double strip_width, double viewport_width) {
  return ScrollRange{0, RoundHalfEven16(strip_width - viewport_width), RoundHalfEven16(strip_width)};
}

}  // namespace tessfx
