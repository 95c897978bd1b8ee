#include "render/flipbook.h"

namespace tessfx {

const ThumbImage* FlipbookCache::Find(int32_t frame) const {
  const auto it = pictures_.find(frame);
  return it == pictures_.end() ? nullptr : &it->second.picture;
}

void FlipbookCache::Store(int32_t frame, const ThumbImage& picture) {
  Drop(frame);
  if (picture.rgb.size() > budget_) return;
  while (bytes_ + picture.rgb.size() > budget_ && !order_.empty()) {
    const auto [oldest, serial] = order_.front();
    order_.pop_front();
    if (const auto it = pictures_.find(oldest); it != pictures_.end() && it->second.serial == serial) Drop(oldest);
  }
  Kept& kept = pictures_[frame];
  kept.picture.width = picture.width;
  kept.picture.height = picture.height;
  kept.picture.rgb = picture.rgb;
  kept.serial = ++serial_;
  bytes_ += kept.picture.rgb.size();
  order_.emplace_back(frame, kept.serial);
}

void FlipbookCache::Drop(int32_t frame) {
  const auto it = pictures_.find(frame);
  if (it == pictures_.end()) return;
  bytes_ -= it->second.picture.rgb.size();
  pictures_.erase(it);
}

void FlipbookCache::Clear() {
  pictures_.clear();
  order_.clear();
  bytes_ = 0;
}

}  // namespace tessfx
