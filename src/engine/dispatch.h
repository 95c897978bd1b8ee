#pragma once
// The frame dispatch: refetch the current frame from the host, pick the routine by effect
// name and run it with arguments derived from the six parameter values, then composite
// through the alpha plane where the effect is marked so. The result stays in the working
// planes; sending it to the host is the caller's business.
#include <array>
#include <functional>
#include <optional>
#include <string>

#include "effects/frame.h"
#include "engine/catalogue.h"
#include "host/image_state.h"

namespace tessfx {

// What a routine receives: the shared image state, the six values (the dispatch's own
// copies, which the inline convolutions reuse as kernel cells), for the sequence effects
// the file of the current frame, and the host's current frame (the seed of the random
// effects, so that any frame renders the same on its own).
struct EffectCall {
  ImageState& image;
  std::array<float, 6> p{};
  std::string sequence_file;  // empty when no sequence is chosen
  // Shows a message in the main window's caption (the BMP reader's failures).
  std::function<void(const std::string&)> set_caption;
  int32_t frame = 0;
};

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

  void ProccessFrame(float p1, float p2, float p3, float p4, float p5, float p6);

  int32_t total_frames() const { return total_frames_; }
  int32_t current_frame() const { return current_frame_; }
  ImageState& image() { return image_; }
  DispatchHooks& hooks() { return hooks_; }

 private:
  ImageState& image_;
  DispatchHooks hooks_;
  int32_t total_frames_ = 0;
  int32_t current_frame_ = 0;
};

// "Timeline editor  (frame N of  T total)": both numbers keep their sign blank.
std::string FrameCaption(int32_t current_frame, int32_t total_frames);

// The effect name of a List1 row: the text less its first four characters.
std::string EffectNameOfEntry(const std::string& entry);

}  // namespace tessfx
