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
  return ScrollRange{0, RoundHalfEven(strip_width - viewport_width), RoundHalfEven(strip_width)};
}

float MaxTimelineZoom(int32_t total_frames, double viewport_width) {
  if (viewport_width <= 0) return 64.0f;
  return static_cast<float>(std::max(64.0, std::max(total_frames - 1, 1) * kMaxPixelsPerFrame / viewport_width));
}

double FrameX(int32_t frame, int32_t total_frames, double width) {
  return total_frames > 1 ? frame * width / (total_frames - 1) : 0.0;
}

int32_t NearestFrame(double x, int32_t total_frames, double width) {
  if (total_frames <= 1 || width <= 0) return 0;
  return std::clamp(RoundHalfEven(x * (total_frames - 1) / width), int32_t{0}, total_frames - 1);
}

namespace {

// The smallest of 1, 2, 5, 10, 20, 50, ... that is at least `at_least`.
int64_t NiceStep(double at_least) {
  for (int64_t decade = 1;; decade *= 10)
    for (int64_t m : {1, 2, 5})
      if (static_cast<double>(m * decade) >= at_least || decade > (int64_t{1} << 50)) return m * decade;
}

}  // namespace

std::vector<RulerTick> RulerTicks(int32_t total_frames, double width, double x_from, double x_to,
                                  double label_spacing) {
  std::vector<RulerTick> ticks;
  if (total_frames < 1 || width <= 0) return ticks;
  const double per_frame = total_frames > 1 ? width / (total_frames - 1) : width;
  const int64_t step = NiceStep(label_spacing / per_frame);
  int64_t minor = step;
  for (int64_t div : {5, 2})
    if (step % div == 0 && static_cast<double>(step / div) * per_frame >= 4) {
      minor = step / div;
      break;
    }
  // The visible frames only: the strip can be far wider than its viewport.
  const int64_t lo = std::max<int64_t>(0, static_cast<int64_t>(std::floor(x_from / per_frame)) - 1);
  const int64_t hi = std::min<int64_t>(total_frames - 1, static_cast<int64_t>(std::ceil(x_to / per_frame)) + 1);
  if (lo > hi) return ticks;
  // Frame 0 ("1") is labelled unless the next label is too close to it.
  if (lo == 0) ticks.push_back({0, step == 1 || step >= 5});
  // Numbers count from 1: frame f is number f + 1.
  for (int64_t n = std::max<int64_t>(minor, (lo + 1 + minor - 1) / minor * minor); n <= hi + 1; n += minor) {
    if (n == 1) continue;  // frame 0, done above
    ticks.push_back({static_cast<int32_t>(n - 1), n % step == 0});
  }
  return ticks;
}

std::vector<ValueTick> ValueTicks(int16_t slider_max, double height, double spacing) {
  std::vector<ValueTick> ticks;
  if (slider_max <= 0 || height <= 0) return ticks;
  const double per_value = height / slider_max;
  const int64_t step = NiceStep(spacing / per_value);
  const auto y_of = [&](int64_t v) { return (1.0 - static_cast<double>(v) / slider_max) * height; };
  for (int64_t v = 0; v < slider_max; v += step)
    if (v == 0 || static_cast<double>(slider_max - v) * per_value >= spacing)
      ticks.push_back({static_cast<int32_t>(v), y_of(v)});
  ticks.push_back({slider_max, y_of(slider_max)});
  return ticks;
}

int32_t KeyNearX(const std::vector<int32_t>& key_frames, double x, int32_t total_frames, double width,
                 double tolerance) {
  int32_t best = -1;
  double best_distance = tolerance;
  for (size_t k = 0; k < key_frames.size(); ++k) {
    const int32_t f = key_frames[k];
    if (f < 0 || f >= total_frames) continue;
    const double d = std::abs(RoundHalfEven(FrameX(f, total_frames, width)) - x);
    if (d <= best_distance) {
      best = static_cast<int32_t>(k);
      best_distance = d;
    }
  }
  return best;
}

}  // namespace tessfx
