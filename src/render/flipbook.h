#pragma once
// The pictures of a played effect, kept so that the second pass of a loop plays at full
// speed: one reduced picture per frame, up to a memory budget (the oldest go first). The
// owner clears it when anything the pictures depend on changes.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <utility>

#include "render/window.h"

namespace tessfx {

class FlipbookCache {
 public:
  explicit FlipbookCache(size_t budget_bytes = size_t{256} << 20) : budget_(budget_bytes) {}

  // The picture of `frame`, or nullptr.
  const ThumbImage* Find(int32_t frame) const;
  // Keeps a copy of `picture` for `frame`, dropping the oldest pictures beyond the budget.
  void Store(int32_t frame, const ThumbImage& picture);
  void Drop(int32_t frame);
  void Clear();

  size_t size() const { return pictures_.size(); }
  size_t bytes() const { return bytes_; }

 private:
  size_t budget_;
  size_t bytes_ = 0;
  struct Kept {
    ThumbImage picture;
    uint64_t serial = 0;  // which Store kept it
  };
  std::unordered_map<int32_t, Kept> pictures_;
  // (frame, serial) in the order stored; entries of pictures dropped or stored again since
  // no longer match and are skipped.
  std::deque<std::pair<int32_t, uint64_t>> order_;
  uint64_t serial_ = 0;
};

}  // namespace tessfx
