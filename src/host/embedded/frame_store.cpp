#include "host/embedded/frame_store.h"

#include "core/error.h"

namespace tessfx {

MemoryFrameStore::MemoryFrameStore(int32_t width, int32_t height, int32_t frames) : width_(width), height_(height) {
  PlaneBytes(width, height);
  planes_.resize(static_cast<size_t>(frames));
}

void MemoryFrameStore::Read(int32_t frame, Channel c, Plane& dest) const {
  if (frame < 0 || frame >= frames()) Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " does not exist");
  const Plane& p = planes_[static_cast<size_t>(frame)][static_cast<int>(c)];
  if (p.empty()) {
    dest.EnsureSize(width_, height_);
    dest.Fill(c == Channel::A ? 255 : 0);
  } else {
    dest.CopyFrom(p);
  }
}

void MemoryFrameStore::Write(int32_t frame, Channel c, const Plane& src) {
  if (frame < 0 || frame >= frames()) Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " does not exist");
  if (src.width() != width_ || src.height() != height_) Fail(ErrorKind::Usage, "plane size does not match the animation");
  planes_[static_cast<size_t>(frame)][static_cast<int>(c)].CopyFrom(src);
}

}  // namespace tessfx
