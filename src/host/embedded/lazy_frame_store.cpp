#include "host/embedded/lazy_frame_store.h"

#include "core/error.h"

namespace tessfx {

LazyFrameStore::LazyFrameStore(std::unique_ptr<DocumentReader> reader, std::unique_ptr<FrameStore> backing)
    : reader_(std::move(reader)), backing_(std::move(backing)), loaded_(static_cast<size_t>(backing_->frames()), false) {}

void LazyFrameStore::CheckFrame(int32_t frame) const {
  if (frame < 0 || frame >= frames()) Fail(ErrorKind::Usage, "frame " + std::to_string(frame) + " does not exist");
}

const RgbaPlanes& LazyFrameStore::FromFile(int32_t frame) const {
  if (cached_frame_ != frame) {
    cached_frame_ = -1;  // stays invalid if the read fails
    if (!reader_->ReadFrame(frame, cache_)) {
      cache_[3].EnsureSize(width(), height());
      cache_[3].Fill(255);  // no alpha in the file: fully selected, as a store's unwritten frame
    }
    if (!mask_.empty()) cache_[3].CopyFrom(mask_);
    cached_frame_ = frame;
  }
  return cache_;
}

void LazyFrameStore::Read(int32_t frame, Channel c, Plane& dest) const {
  CheckFrame(frame);
  if (loaded_[static_cast<size_t>(frame)]) return backing_->Read(frame, c, dest);
  dest.CopyFrom(FromFile(frame)[static_cast<size_t>(c)]);
}

void LazyFrameStore::Load(int32_t frame) {
  CheckFrame(frame);
  if (loaded_[static_cast<size_t>(frame)]) return;
  const RgbaPlanes& planes = FromFile(frame);
  for (int c = 0; c < 4; ++c) backing_->Write(frame, static_cast<Channel>(c), planes[static_cast<size_t>(c)]);
  loaded_[static_cast<size_t>(frame)] = true;
}

void LazyFrameStore::Write(int32_t frame, Channel c, const Plane& src) {
  Load(frame);  // the channels not written keep the file's samples
  backing_->Write(frame, c, src);
}

void LazyFrameStore::SetAlphaMask(const Plane& mask) {
  mask_.CopyFrom(mask);
  cached_frame_ = -1;
  for (int32_t f = 0; f < frames(); ++f)
    if (loaded_[static_cast<size_t>(f)]) backing_->Write(f, Channel::A, mask_);
}

}  // namespace tessfx
