#pragma once
// Limits on what an input file may declare, checked against its header before anything is
// allocated for it: a tiny file cannot make the program reserve gigabytes or decode for
// minutes. The defaults suit every real frame; `--max-pixels` and `--max-frames` change them.
#include <cstdint>
#include <string>

#include "core/plane.h"

namespace tessfx {

// Frame counts the program accepts at all (an animation has 1..10000 frames).
inline constexpr int32_t kMaxFrames = 10000;
// Pixels of one frame at most, whatever the limits say: one plane then still fits kMaxPlaneBytes.
inline constexpr int64_t kMaxFramePixels = int64_t{1} << 29;

struct InputLimits {
  int64_t max_pixels = int64_t{1} << 28;  // per frame or picture: 16384 x 16384
  int32_t max_frames = kMaxFrames;        // frames of an animation or files of a sequence

  // A second image (swap) is read scaled to the frame while it streams in; one with more
  // pixels than this many times the frame's, and more than kMinSwapBudget, is refused.
  static constexpr int64_t kSwapFactor = 16;
  static constexpr int64_t kMinSwapBudget = int64_t{4096} * 4096;

  // Why a width x height picture lies beyond the limits, or "" when it does not.
  std::string SizeRefusal(int64_t width, int64_t height) const;
  // Throws BadData "`what`: <why>" when a width x height picture lies beyond the limits.
  void CheckSize(const std::string& what, int64_t width, int64_t height) const;
  // Throws BadData "`what`: ..." when `frames` lies beyond 1..max_frames.
  void CheckFrames(const std::string& what, int64_t frames) const;
  // Most pixels a second image for a frame_width x frame_height frame may have.
  int64_t SwapBudget(int32_t frame_width, int32_t frame_height) const;
};

}  // namespace tessfx
