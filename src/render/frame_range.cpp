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

// A whole non-negative number, or -1.
int64_t Number(std::string_view s) {
  s = Trim(s);
  if (s.empty() || s.size() > 9) return -1;
  int64_t v = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size() || v < 0) return -1;
  return v;
}

}  // namespace

FrameSelection FrameSelection::Parse(std::string_view text, int32_t total) {
  FrameSelection sel;
  sel.text_ = std::string(text);
  sel.frames_.assign(static_cast<size_t>(std::max(total, int32_t{0})), false);
  const std::string quoted = "frame range \"" + sel.text_ + "\": ";
  if (Trim(text).empty()) Fail(ErrorKind::Usage, quoted + "no frames given");
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
    if (top >= total)
      Fail(ErrorKind::Usage, quoted + "frame " + std::to_string(top) + " is outside the animation (frames 0.." +
                                 std::to_string(total - 1) + ")");
    for (int64_t f = a; f <= b; f += n) sel.frames_[static_cast<size_t>(f)] = true;
  }
  sel.count_ = 0;
  sel.first_ = -1;
  for (int32_t f = 0; f < static_cast<int32_t>(sel.frames_.size()); ++f)
    if (sel.frames_[static_cast<size_t>(f)]) {
      if (sel.first_ < 0) sel.first_ = f;
      sel.last_ = f;
      ++sel.count_;
    }
  return sel;
}

}  // namespace tessfx
