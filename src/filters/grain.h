#pragma once
// Film grain noise: white noise from the counter-based generator, smoothed by a Gaussian so
// that grains have a size, and scaled so that every sample has unit standard deviation
// whatever that size. Like every random value of the effects it is a function of (stream,
// frame, position, channel) only, so a frame's grain is the same alone, in any order and
// on any number of threads.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "filters/counter_random.h"

namespace tessfx {

// An approximately normal value (mean 0, standard deviation 1, within about -3.45..3.45)
// from 32 random bits: the sum of the four bytes, centred and scaled (Irwin-Hall of four
// uniforms), which is cheap and plenty for grain.
inline float GaussianFromBits(uint32_t bits) {
  const int32_t sum = static_cast<int32_t>((bits & 0xffU) + ((bits >> 8) & 0xffU) + ((bits >> 16) & 0xffU) + (bits >> 24));
  // The standard deviation of four uniforms over 0..255: sqrt(4 (256^2 - 1) / 12).
  constexpr float kInvDeviation = 1.0f / 147.80054127f;
  return static_cast<float>(sum - 510) * kInvDeviation;
}

// Grains below this size (the Gaussian's standard deviation, px) are single pixels:
// the noise is left white.
inline constexpr double kWhiteGrain = 0.7;

// A width x height field of grain: unit standard deviation, grains of `size` px (the
// standard deviation of the Gaussian that smooths white noise). Large grains are made
// on a coarser grid and interpolated, so the cost does not grow with the size. One field
// is filled in turn with the grain of several channels or frames, keeping its storage.
class GrainField {
 public:
  GrainField(int32_t width, int32_t height, double size);
  // The grain of one channel of one frame of an effect's stream.
  void Fill(RandomStream stream, int32_t frame, uint32_t channel);

  const float* row(int32_t y) const { return field_.get() + static_cast<size_t>(y) * static_cast<size_t>(width_); }
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }

 private:
  int32_t width_, height_;
  int32_t step_ = 1;           // grid spacing, px
  int32_t grid_w_ = 0, grid_h_ = 0;
  std::vector<float> taps_;    // empty: white noise
  std::unique_ptr<float[]> field_, across_, grid_;
};

}  // namespace tessfx
