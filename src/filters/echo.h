#pragma once
// A weighted mean of frames, for echoes of earlier frames: frames are added one plane at a
// time into 16-bit sums, then divided by the total weight. Only the frame's width x height
// samples are visited.
#include <cstdint>
#include <vector>

#include "core/plane.h"

namespace tessfx {

class WeightedFrameSum {
 public:
  // Sums large enough for weights adding up to at most kMaxTotalWeight (255 x 257 < 65536).
  static constexpr uint32_t kMaxTotalWeight = 257;

  WeightedFrameSum(int32_t width, int32_t height);

  // Starts the sums again with `plane` x weight.
  void Start(ConstPlaneView plane, uint32_t weight);
  // Adds `plane` x weight. The plane must have the frame's size.
  void Add(ConstPlaneView plane, uint32_t weight);
  // out = sum / total weight, rounded half to even.
  void MeanInto(PlaneView out) const;
  uint32_t total_weight() const { return total_; }

 private:
  template <bool kStart>
  void Accumulate(ConstPlaneView plane, uint32_t weight);

  int32_t width_, height_;
  uint32_t total_ = 0;
  std::vector<uint16_t> sums_;  // width x height, row after row
};

}  // namespace tessfx
