#pragma once
// A choice of frames to render, written as a frame range: single frames, spans "A-B" and
// stepped spans "A-BxN" (A, A+N, ... up to B), separated by commas: "10-40", "1-100x5",
// "1,5,10-20".
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessfx {

class FrameSelection {
 public:
  // Parses `text` for an animation of `total` frames. Throws a usage Error naming the
  // offending part (bad syntax, a span running backwards, a frame outside 0..total-1).
  static FrameSelection Parse(std::string_view text, int32_t total);

  bool Contains(int32_t frame) const {
    return frame >= 0 && frame < static_cast<int32_t>(frames_.size()) && frames_[static_cast<size_t>(frame)];
  }
  int32_t Count() const { return count_; }
  int32_t First() const { return first_; }  // the lowest chosen frame
  int32_t Last() const { return last_; }    // the highest chosen frame
  const std::string& text() const { return text_; }

 private:
  std::vector<bool> frames_;
  int32_t count_ = 0;
  int32_t first_ = 0;
  int32_t last_ = -1;
  std::string text_;
};

}  // namespace tessfx
