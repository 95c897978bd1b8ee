#pragma once
// A choice of frames to render, written as a frame range: single frames, spans "A-B" and
// stepped spans "A-BxN" (A, A+N, ... up to B), separated by commas: "10-40", "1-100x5",
// "1,5,10-20".
//
// The numbers in the text are the frames' own numbers: a sequence's frames go by their
// files' numbers (1001, 1002, ...), so the text says "1001-1010" for its first ten frames;
// an animation's by their index from 0. The selection itself holds indices from 0.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessfx {

class FrameSelection {
 public:
  // Parses `text` for an animation of `total` frames whose frame 0 is numbered
  // `first_number`. Throws a usage Error naming the offending part (bad syntax, a span
  // running backwards, a frame outside the animation, given in frame numbers).
  static FrameSelection Parse(std::string_view text, int32_t total, int64_t first_number = 0);
  // Every frame, or none, of an animation of `total` frames.
  static FrameSelection All(int32_t total);
  static FrameSelection None(int32_t total);

  bool Contains(int32_t frame) const {
    return frame >= 0 && frame < static_cast<int32_t>(frames_.size()) && frames_[static_cast<size_t>(frame)];
  }
  int32_t Count() const { return count_; }
  int32_t First() const { return first_; }  // the lowest chosen frame, -1 when none is
  int32_t Last() const { return last_; }    // the highest chosen frame
  // The chosen frames, ascending.
  std::vector<int32_t> Frames() const;
  void Add(int32_t frame);  // a frame outside the animation is ignored
  void Remove(int32_t frame);
  const std::string& text() const { return text_; }

 private:
  void Recount();

  std::vector<bool> frames_;
  int32_t count_ = 0;
  int32_t first_ = -1;
  int32_t last_ = -1;
  std::string text_;
};

}  // namespace tessfx
