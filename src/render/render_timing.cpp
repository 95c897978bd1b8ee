#include "render/render_timing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tessfx {

RenderTimes MeasureRender(int32_t done, int32_t count, std::chrono::duration<double> elapsed) {
  RenderTimes t;
  t.elapsed_seconds = std::max(0.0, elapsed.count());
  if (done > 0 && t.elapsed_seconds > 0) {
    t.frames_per_second = done / t.elapsed_seconds;
    t.remaining_seconds = std::max(0, count - done) / t.frames_per_second;
  }
  return t;
}

std::string ClockText(double seconds) {
  const long long s = std::isfinite(seconds) && seconds > 0 ? static_cast<long long>(std::ceil(seconds)) : 0;
  char text[48];
  if (s >= 3600)
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
  else
    std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
  return text;
}

std::string FrameOfText(int32_t frame, int32_t total_frames) {
  return "Frame " + std::to_string(int64_t{frame} + 1) + " of " + std::to_string(total_frames);
}

std::string TimesText(const RenderTimes& t) {
  std::string text = ClockText(t.elapsed_seconds) + " elapsed";
  if (t.remaining_seconds) text += ", " + ClockText(*t.remaining_seconds) + " left";
  if (t.frames_per_second > 0) {
    char speed[32];
    std::snprintf(speed, sizeof speed, "%.1f", t.frames_per_second);
    text += std::string(", ") + speed + " frames per second";
  }
  return text;
}

}  // namespace tessfx
