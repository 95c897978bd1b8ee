#include "filters/echo.h"

#include "core/convert.h"
#include "core/error.h"
#include "filters/parallel.h"

namespace tessfx {

WeightedFrameSum::WeightedFrameSum(int32_t width, int32_t height)
    : width_(width), height_(height), sums_(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

template <bool kStart>
void WeightedFrameSum::Accumulate(ConstPlaneView plane, uint32_t weight) {
  if (plane.width != width_ || plane.height != height_)
    Fail(ErrorKind::BadData, "a frame of " + std::to_string(plane.width) + "x" + std::to_string(plane.height) +
                                 " among frames of " + std::to_string(width_) + "x" + std::to_string(height_));
  total_ = (kStart ? 0 : total_) + weight;
  if (total_ > kMaxTotalWeight) Fail(ErrorKind::Software, "frame weights exceed the sums' range");
  const uint16_t w = static_cast<uint16_t>(weight);
  const int32_t width = width_;
  ForEachFrameRow(width, height_, 1, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t* __restrict in = plane.row(y);
      uint16_t* __restrict sum = sums_.data() + int64_t{y} * width;
      for (int32_t x = 0; x < width; ++x) sum[x] = static_cast<uint16_t>((kStart ? 0 : sum[x]) + w * in[x]);
    }
  });
}

void WeightedFrameSum::Start(ConstPlaneView plane, uint32_t weight) { Accumulate<true>(plane, weight); }
void WeightedFrameSum::Add(ConstPlaneView plane, uint32_t weight) { Accumulate<false>(plane, weight); }

void WeightedFrameSum::MeanInto(PlaneView out) const {
  // A single-precision quotient of whole numbers below 2^16 is correctly rounded, so a
  // quotient that lies half-way is exactly half-way and rounds to even.
  ForEachFrameRow(width_, height_, 1, [&](int32_t y0, int32_t y1) {
    // Locals: the byte stores below could alias anything reached through a reference.
    const int32_t width = width_;
    const float total = static_cast<float>(total_);
    for (int32_t y = y0; y < y1; ++y) {
      const uint16_t* __restrict sum = sums_.data() + int64_t{y} * width;
      uint8_t* __restrict o = out.row(y);
      for (int32_t x = 0; x < width; ++x) o[x] = FiniteToByteF(static_cast<float>(sum[x]) / total);
    }
  });
}

}  // namespace tessfx
