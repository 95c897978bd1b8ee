#include "media/input_limits.h"

#include <algorithm>

#include "core/error.h"

namespace tessfx {

std::string InputLimits::SizeRefusal(int64_t width, int64_t height) const {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide)
    return "image size " + size + " is outside 1.." + std::to_string(kMaxSide) + " per side";
  const int64_t pixels = width * height;
  const int64_t most = std::min(max_pixels, kMaxFramePixels);
  if (pixels > most)
    return "image size " + size + " is " + std::to_string(pixels) + " pixels, more than the " + std::to_string(most) +
           " allowed";
  return "";
}

void InputLimits::CheckSize(const std::string& what, int64_t width, int64_t height) const {
  if (std::string why = SizeRefusal(width, height); !why.empty())
    Fail(ErrorKind::BadData, what + ": " + why + (why.ends_with("allowed") ? " (--max-pixels)" : ""));
}

void InputLimits::CheckFrames(const std::string& what, int64_t frames) const {
  const int32_t most = std::min(max_frames, kMaxFrames);
  if (frames < 1 || frames > most)
    Fail(ErrorKind::BadData, what + ": frame count " + std::to_string(frames) + " is outside 1.." + std::to_string(most) +
                                 (most < kMaxFrames ? " (--max-frames)" : ""));
}

int64_t InputLimits::SwapBudget(int32_t frame_width, int32_t frame_height) const {
  const int64_t scaled = kSwapFactor * frame_width * frame_height;
  return std::min({std::max(scaled, kMinSwapBudget), max_pixels, kMaxFramePixels});
}

}  // namespace tessfx
