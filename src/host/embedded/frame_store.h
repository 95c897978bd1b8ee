#pragma once
// Where the embedded host keeps the frames of its animation: R, G, B, A planes per frame,
// all of one size.
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/plane.h"

namespace tessfx {

class FrameStore {
 public:
  virtual ~FrameStore() = default;
  virtual int32_t width() const = 0;
  virtual int32_t height() const = 0;
  virtual int32_t frames() const = 0;
  // Reads a frame's channel into dest (resized when needed). Unwritten frames read as
  // black with a fully selected alpha (255).
  virtual void Read(int32_t frame, Channel c, Plane& dest) const = 0;
  virtual void Write(int32_t frame, Channel c, const Plane& src) = 0;
};

// All frames in memory.
class MemoryFrameStore final : public FrameStore {
 public:
  MemoryFrameStore(int32_t width, int32_t height, int32_t frames);
  int32_t width() const override { return width_; }
  int32_t height() const override { return height_; }
  int32_t frames() const override { return static_cast<int32_t>(planes_.size()); }
  void Read(int32_t frame, Channel c, Plane& dest) const override;
  void Write(int32_t frame, Channel c, const Plane& src) override;

 private:
  int32_t width_, height_;
  std::vector<std::array<Plane, 4>> planes_;  // empty planes stand for unwritten ones
};

}  // namespace tessfx
