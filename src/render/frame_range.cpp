#include "render/frame_range.h"

#include <charconv>

#include "core/error.h"

namespace tessfx {
namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// A whole non-negative number of at most 12 digits (as file names number frames), or -1.
int64_t Number(std::string_view s) {
  s = Trim(s);
  if (s.empty() || s.size() > 12) return -1;
  int64_t v = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size() || v < 0) return -1;
  return v;
}

}  // namespace

FrameSelection FrameSelection::Parse(std::string_view text, int32_t total, int64_t first_number) {
  FrameSelection sel;
  sel.text_ = std::string(text);
  sel.frames_.assign(static_cast<size_t>(std::max(total, int32_t{0})), false);
  const std::string quoted = "frame range \"" + sel.text_ + "\": ";
  if (Trim(text).empty()) Fail(ErrorKind::Usage, quoted + "no frames given");
  const int64_t lowest = first_number, highest = first_number + total - 1;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t comma = text.find(',', start);
    const std::string_view item = Trim(text.substr(start, comma == std::string_view::npos ? text.npos : comma - start));
    start = comma == std::string_view::npos ? text.size() + 1 : comma + 1;
    const std::string bad = quoted + "\"" + std::string(item) + "\" is not a frame, A-B or A-BxN";
    if (item.empty()) Fail(ErrorKind::Usage, quoted + "empty entry between commas");
    int64_t a = 0, b = 0, n = 1;
    const size_t dash = item.find('-');
    if (dash == std::string_view::npos) {
      a = b = Number(item);
      if (a < 0) Fail(ErrorKind::Usage, bad);
    } else {
      a = Number(item.substr(0, dash));
      std::string_view rest = item.substr(dash + 1);
      const size_t x = rest.find_first_of("xX");
      if (x != std::string_view::npos) {
        n = Number(rest.substr(x + 1));
        rest = rest.substr(0, x);
        if (n < 1) Fail(ErrorKind::Usage, quoted + "the step in \"" + std::string(item) + "\" must be 1 or more");
      }
      b = Number(rest);
      if (a < 0 || b < 0) Fail(ErrorKind::Usage, bad);
      if (b < a) Fail(ErrorKind::Usage, quoted + "\"" + std::string(item) + "\" runs backwards");
    }
    const int64_t top = a + (b - a) / n * n;  // the last frame the entry takes
    for (int64_t outside : {a, top})
      if (outside < lowest || outside > highest)
        Fail(ErrorKind::Usage, quoted + "frame " + std::to_string(outside) + " is outside the animation (frames " +
                                   std::to_string(lowest) + ".." + std::to_string(highest) + ")");
    for (int64_t f = a; f <= b; f += n) sel.frames_[static_cast<size_t>(f - first_number)] = true;
  }
  sel.Recount();
  return sel;
}

FrameSelection FrameSelection::All(int32_t total) {
  FrameSelection sel;
  sel.frames_.assign(static_cast<size_t>(std::max(total, int32_t{0})), true);
  sel.Recount();
  return sel;
}

FrameSelection FrameSelection::None(int32_t total) {
  FrameSelection sel;
  sel.frames_.assign(static_cast<size_t>(std::max(total, int32_t{0})), false);
  return sel;
}

void FrameSelection::Add(int32_t frame) {
  if (frame < 0 || frame >= static_cast<int32_t>(frames_.size()) || frames_[static_cast<size_t>(frame)]) return;
  frames_[static_cast<size_t>(frame)] = true;
  ++count_;
  if (first_ < 0 || frame < first_) first_ = frame;
  if (frame > last_) last_ = frame;
}

std::vector<int32_t> FrameSelection::Frames() const {
  std::vector<int32_t> out;
  out.reserve(static_cast<size_t>(count_));
  for (int32_t f = first_; f >= 0 && f <= last_; ++f)
    if (frames_[static_cast<size_t>(f)]) out.push_back(f);
  return out;
}

void FrameSelection::Remove(int32_t frame) {
  if (!Contains(frame)) return;
  frames_[static_cast<size_t>(frame)] = false;
  if (--count_ == 0) {
    first_ = last_ = -1;
    return;
  }
  // Removing from either end moves that end inwards: frames removed in order cost one pass.
  while (!frames_[static_cast<size_t>(first_)]) ++first_;
  while (!frames_[static_cast<size_t>(last_)]) --last_;
}

void FrameSelection::Recount() {
  count_ = 0;
  first_ = last_ = -1;
  for (int32_t f = 0; f < static_cast<int32_t>(frames_.size()); ++f)
    if (frames_[static_cast<size_t>(f)]) {
      if (first_ < 0) first_ = f;
      last_ = f;
      ++count_;
    }
}

}  // namespace tessfx
