#pragma once
// The frame dispatch: refetch the current frame from the host, find the selected effect by
// name, check that every plane has the frame's size, fetch what the effect's definition
// declares (swap image, sequence picture, host operations), run its routine with the six
// values and apply its declared composite once. The result stays in the working planes;
// sending it to the host is the caller's business.
#include <array>
#include <functional>
#include <optional>
#include <string>

#include "engine/catalogue.h"
#include "host/image_state.h"

namespace tessfx {

// The main window's side of the dispatch, behind small hooks.
struct DispatchHooks {
  // Text of List1's selected row (an effect entry has four leading spaces).
  std::function<std::string()> selected_entry;
  // The main window's caption.
  std::function<void(const std::string&)> set_caption;
  // The sequence file for a host frame, or nullopt when no sequence is chosen.
  std::function<std::optional<std::string>(int32_t frame)> sequence_file;
};

class FrameDispatcher {
 public:
  FrameDispatcher(ImageState& image, DispatchHooks hooks) : image_(image), hooks_(std::move(hooks)) {}

  // Throws an Error when the host hands over planes of another size than it reports.
  void ProccessFrame(float p1, float p2, float p3, float p4, float p5, float p6);

  int32_t total_frames() const { return total_frames_; }
  int32_t current_frame() const { return current_frame_; }
  ImageState& image() { return image_; }
  DispatchHooks& hooks() { return hooks_; }

 private:
  // This frame's picture of the chosen sequence into the sequence planes; false (nothing to
  // do) when no sequence is chosen or the picture cannot be read, which the caption says.
  bool LoadSequenceFrame();

  ImageState& image_;
  DispatchHooks hooks_;
  int32_t total_frames_ = 0;
  int32_t current_frame_ = 0;
  Plane sequence_r_, sequence_g_, sequence_b_, sequence_a_;  // storage reused, contents read fresh
};

// The caption when an effect that takes the swap image meets none (the host hands over
// empty swap planes): the frame is left as it is.
inline constexpr const char* kNoSwapImageCaption = "No swap image loaded";

// "Timeline editor  (frame N of  T total)": both numbers keep their sign blank.
std::string FrameCaption(int32_t current_frame, int32_t total_frames);

// The effect name of a List1 row: the text less its first four characters.
std::string EffectNameOfEntry(const std::string& entry);

}  // namespace tessfx
