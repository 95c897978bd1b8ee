#pragma once
// A document whose frames are read from its file(s) only when they are first used, so that
// one frame of a ten-thousand-frame sequence costs one file, not ten thousand.
//
// Frames that are only read come from the files (the last one is kept in memory, as the
// dispatch reads its four planes one after the other); a frame that is written, or loaded
// explicitly, is copied whole into the backing store first and is served from there on.
// Memory use stays at one frame whatever the document's length.
#include <memory>
#include <vector>

#include "host/embedded/document_io.h"
#include "host/embedded/frame_store.h"

namespace tessfx {

class LazyFrameStore final : public FrameStore {
 public:
  LazyFrameStore(std::unique_ptr<DocumentReader> reader, std::unique_ptr<FrameStore> backing);

  int32_t width() const override { return backing_->width(); }
  int32_t height() const override { return backing_->height(); }
  int32_t frames() const override { return backing_->frames(); }
  void Read(int32_t frame, Channel c, Plane& dest) const override;
  void Write(int32_t frame, Channel c, const Plane& src) override;

  // Reads the frame into the backing store now, if it is not there yet.
  void Load(int32_t frame);
  bool loaded(int32_t frame) const { return loaded_.at(static_cast<size_t>(frame)); }
  // Every frame's alpha from now on, those already loaded included.
  void SetAlphaMask(const Plane& mask);

  FrameStore& backing() { return *backing_; }
  const DocumentInfo& info() const { return reader_->info(); }

 private:
  // The frame's planes from its file, through the one-frame cache.
  const RgbaPlanes& FromFile(int32_t frame) const;
  void CheckFrame(int32_t frame) const;

  std::unique_ptr<DocumentReader> reader_;
  std::unique_ptr<FrameStore> backing_;
  std::vector<bool> loaded_;
  Plane mask_;
  mutable RgbaPlanes cache_;
  mutable int32_t cached_frame_ = -1;
};

}  // namespace tessfx
