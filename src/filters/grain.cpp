#include "filters/grain.h"

#include <algorithm>
#include <cmath>

#include "filters/parallel.h"

namespace tessfx {
namespace {

// Taps of a Gaussian of standard deviation sigma out to 3 sigma, scaled so that the sum
// of their squares is 1: filtering white noise of unit variance keeps the variance.
std::vector<float> UnitEnergyGaussian(double sigma) {
  const int32_t reach = static_cast<int32_t>(std::ceil(3.0 * sigma));
  std::vector<double> taps(static_cast<size_t>(2 * reach + 1));
  double energy = 0.0;
  for (int32_t k = -reach; k <= reach; ++k) {
    const double t = std::exp(-0.5 * k * k / (sigma * sigma));
    taps[static_cast<size_t>(k + reach)] = t;
    energy += t * t;
  }
  std::vector<float> out(taps.size());
  const double scale = 1.0 / std::sqrt(energy);
  for (size_t i = 0; i < taps.size(); ++i) out[i] = static_cast<float>(taps[i] * scale);
  return out;
}

void WhiteRow(float* __restrict out, int32_t first_x, int32_t count, uint32_t row_key, uint32_t channel) {
  for (int32_t i = 0; i < count; ++i) out[i] = GaussianFromBits(SampleBits(row_key, first_x + i, channel));
}

// out[x] = sum over k of taps[k] in[x + k], for x < count (in holds count + taps - 1). The
// taps are symmetric: each pair of samples at the same distance takes one multiplication.
void FilterRow(float* __restrict out, const float* __restrict in, int32_t count, const std::vector<float>& taps) {
  const size_t reach = taps.size() / 2;
  const float centre = taps[reach];
  for (int32_t x = 0; x < count; ++x) out[x] = centre * in[x + reach];
  for (size_t k = 1; k <= reach; ++k) {
    const float t = taps[reach + k];
    const float* before = in + (reach - k);
    const float* after = in + (reach + k);
    for (int32_t x = 0; x < count; ++x) out[x] += t * (before[x] + after[x]);
  }
}

// The same down: out[x] = sum over k of taps[k] rows[k][x], rows `stride` apart.
void FilterDown(float* __restrict out, const float* __restrict first, size_t stride, int32_t count,
                const std::vector<float>& taps) {
  const size_t reach = taps.size() / 2;
  const float centre = taps[reach];
  const float* mid = first + reach * stride;
  for (int32_t x = 0; x < count; ++x) out[x] = centre * mid[x];
  for (size_t k = 1; k <= reach; ++k) {
    const float t = taps[reach + k];
    const float* above = mid - k * stride;
    const float* below = mid + k * stride;
    for (int32_t x = 0; x < count; ++x) out[x] += t * (above[x] + below[x]);
  }
}

}  // namespace

GrainField::GrainField(int32_t width, int32_t height, double size)
    : width_(std::max(0, width)), height_(std::max(0, height)) {
  field_ = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(width_) * static_cast<size_t>(height_));
  if (width_ == 0 || height_ == 0 || !(size >= kWhiteGrain)) return;
  // Grains of 3 px and more are made on a grid of `step` px, where they are 2 to 4 grid
  // units across, and interpolated bilinearly.
  step_ = size >= 3.0 ? static_cast<int32_t>(std::min(size / 2.0, 1.0e6)) : 1;
  taps_ = UnitEnergyGaussian(size / step_);
  const int32_t reach = static_cast<int32_t>(taps_.size() / 2);
  grid_w_ = step_ == 1 ? width_ : (width_ - 1) / step_ + 2;
  grid_h_ = step_ == 1 ? height_ : (height_ - 1) / step_ + 2;
  across_ = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(grid_h_ + 2 * reach) * size_t(grid_w_));
  if (step_ > 1) grid_ = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(grid_h_) * size_t(grid_w_));
}

void GrainField::Fill(RandomStream stream, int32_t frame, uint32_t channel) {
  if (width_ == 0 || height_ == 0) return;
  auto key = [stream, frame](int32_t y) { return RowKey(stream, frame, y); };
  if (taps_.empty()) {
    ForEachFrameRow(width_, height_, 1, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) WhiteRow(field_.get() + size_t(y) * size_t(width_), 0, width_, key(y), channel);
    });
    return;
  }
  const int32_t reach = static_cast<int32_t>(taps_.size() / 2);
  const int32_t gw = grid_w_, gh = grid_h_;
  const int64_t work_per_row = int64_t{gw} * static_cast<int64_t>(taps_.size());
  // Across: grid rows -reach .. gh + reach - 1 from white noise, which the hash gives for
  // any position, so the field has no border.
  ForEachRowBand(0, gh + 2 * reach, work_per_row, [&](int32_t r0, int32_t r1) {
    std::vector<float> white(static_cast<size_t>(gw + 2 * reach));
    for (int32_t r = r0; r < r1; ++r) {
      WhiteRow(white.data(), -reach, gw + 2 * reach, key(r - reach), channel);
      FilterRow(across_.get() + size_t(r) * size_t(gw), white.data(), gw, taps_);
    }
  });
  // Down: each grid row from 2 reach + 1 rows across.
  float* grid = step_ == 1 ? field_.get() : grid_.get();
  ForEachRowBand(0, gh, work_per_row, [&](int32_t g0, int32_t g1) {
    for (int32_t gy = g0; gy < g1; ++gy)
      FilterDown(grid + size_t(gy) * size_t(gw), across_.get() + size_t(gy) * size_t(gw), size_t(gw), gw, taps_);
  });
  if (step_ == 1) return;

  // Bilinear from the grid: grid point (i, j) lies at pixel (i step, j step).
  const int32_t step = step_;
  ForEachFrameRow(width_, height_, 2, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const float* top = grid + size_t(y / step) * size_t(gw);
      const float* bottom = top + gw;
      const float ty = static_cast<float>(y % step) / static_cast<float>(step);
      float* out = field_.get() + size_t(y) * size_t(width_);
      for (int32_t x = 0; x < width_; ++x) {
        const int32_t i = x / step;
        const float tx = static_cast<float>(x % step) / static_cast<float>(step);
        const float a = top[i] + tx * (top[i + 1] - top[i]);
        const float b = bottom[i] + tx * (bottom[i + 1] - bottom[i]);
        out[x] = a + ty * (b - a);
      }
    }
  });
}

}  // namespace tessfx
