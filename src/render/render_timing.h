#pragma once
// What a progress window tells besides the bar: which frame is under way, counted as the
// captions count frames, how long the render has run, how long it will still take and how
// fast it goes.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tessfx {

struct RenderTimes {
  double elapsed_seconds = 0;
  double frames_per_second = 0;              // 0 until a frame is done
  std::optional<double> remaining_seconds;  // once the speed is known
};

// The times after `done` of `count` frames, `elapsed` into the render. The speed is the
// average so far, which settles quickly because every frame of a render costs about the same.
RenderTimes MeasureRender(int32_t done, int32_t count, std::chrono::duration<double> elapsed);

// "0:07", "12:05", "1:02:03": whole seconds, rounded up while the render runs so that the
// remaining time never shows 0:00 before the end.
std::string ClockText(double seconds);

// "Frame 14 of 60": frame 13 (zero-based) of a 60-frame animation, as the host window says it.
std::string FrameOfText(int32_t frame, int32_t total_frames);
// "0:02 elapsed, 0:05 left, 12.3 frames per second" (the last two once known).
std::string TimesText(const RenderTimes& t);

}  // namespace tessfx
