#include "filters/displace_field.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "core/convert.h"
#include "filters/color.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// A box of 2r + 1 whole samples plus two end samples of weight `end`, which lets the box
// take any variance; three of them in a row come close to a Gaussian.
struct BoxPass {
  int64_t r = 0;
  float end = 0.0f;
  float scale = 1.0f;  // 1 / total weight
};

BoxPass MakeBoxPass(double variance) {
  // The widest plain box within the variance, then the end weight that makes up the rest:
  // variance = (r(r+1)(2r+1)/3 + 2 end (r+1)^2) / (2r + 1 + 2 end).
  BoxPass p;
  p.r = std::max<int64_t>(0, static_cast<int64_t>(std::floor(0.5 * std::sqrt(12.0 * variance + 1.0) - 0.5)));
  const double r = static_cast<double>(p.r);
  const double end = (2 * r + 1) * (3 * variance - r * (r + 1)) / (6 * ((r + 1) * (r + 1) - variance));
  p.end = static_cast<float>(end);
  p.scale = static_cast<float>(1.0 / (2 * r + 1 + 2 * end));
  return p;
}

// Sample j of a line of n samples mirrored about both ends (... 1 0 | 0 1 ... n-1 | n-1 ...).
inline int64_t Reflect(int64_t j, int64_t n) {
  if (j >= 0 && j < n) return j;
  const int64_t period = 2 * n;
  int64_t m = j % period;
  if (m < 0) m += period;
  return m < n ? m : period - 1 - m;
}

// How steep a unit step becomes under the smoothing, as the slope below reads it: half the
// difference of the samples either side of its steepest pixel. The three boxes make a kernel
// k; a step smoothed by it changes by (k[0] + k[1]) / 2 there, a little less than a true
// Gaussian's 1 / (sigma sqrt(2 pi)).
double SteepestStepSlope(const BoxPass& p) {
  const std::vector<double> box = [&] {
    std::vector<double> b(static_cast<size_t>(2 * p.r + 3), p.scale);
    b.front() = b.back() = static_cast<double>(p.end) * p.scale;
    return b;
  }();
  std::vector<double> kernel = {1.0};
  for (int pass = 0; pass < 3; ++pass) {
    std::vector<double> next(kernel.size() + box.size() - 1, 0.0);
    for (size_t i = 0; i < kernel.size(); ++i)
      for (size_t j = 0; j < box.size(); ++j) next[i + j] += kernel[i] * box[j];
    kernel = std::move(next);
  }
  const size_t centre = kernel.size() / 2;
  return (kernel[centre] + kernel[centre + 1]) / 2;
}

constexpr int64_t kStrip = 64;  // columns filtered side by side

// One box pass down `count` (<= kStrip) columns of n rows, `stride` floats apart.
void BoxDown(const float* in, float* out, int64_t stride, int64_t n, int64_t count, const BoxPass& p) {
  float sum[kStrip] = {};
  for (int64_t k = -p.r; k <= p.r; ++k) {
    const float* row = in + Reflect(k, n) * stride;
    for (int64_t j = 0; j < count; ++j) sum[j] += row[j];
  }
  const float end = p.end, scale = p.scale;
  for (int64_t y = 0; y < n; ++y) {
    const float* __restrict behind = in + Reflect(y - p.r - 1, n) * stride;
    const float* __restrict ahead = in + Reflect(y + p.r + 1, n) * stride;
    const float* __restrict leaving = in + Reflect(y - p.r, n) * stride;
    float* __restrict o = out + y * stride;
    for (int64_t j = 0; j < count; ++j) {
      o[j] = (sum[j] + end * (behind[j] + ahead[j])) * scale;
      sum[j] += ahead[j] - leaving[j];
    }
  }
}

// Three passes down every column of a (rows x cols); the result ends in b.
void SmoothColumns(float* a, float* b, int64_t cols, int64_t rows, const BoxPass& p) {
  const int32_t strips = static_cast<int32_t>((cols + kStrip - 1) / kStrip);
  ForEachRowBand(0, strips, kStrip * rows, [&](int32_t s0, int32_t s1) {
    for (int32_t s = s0; s < s1; ++s) {
      const int64_t x0 = s * kStrip, count = std::min(kStrip, cols - x0);
      BoxDown(a + x0, b + x0, cols, rows, count, p);
      BoxDown(b + x0, a + x0, cols, rows, count, p);
      BoxDown(a + x0, b + x0, cols, rows, count, p);
    }
  });
}

// Three passes along every row of `in` (rows x cols) into `out`. A block of kBlockRows rows
// is laid side by side (sample x of each row next to each other), so that the passes run
// down the block as they run down columns, then laid back.
void SmoothRows(const float* in, float* out, int64_t cols, int64_t rows, const BoxPass& p) {
  constexpr int64_t kBlockRows = 16;
  const int32_t blocks = static_cast<int32_t>((rows + kBlockRows - 1) / kBlockRows);
  ForEachRowBand(0, blocks, kBlockRows * cols, [&](int32_t b0, int32_t b1) {
    std::vector<float> a(static_cast<size_t>(cols * kBlockRows)), b(a.size());  // per band
    for (int32_t block = b0; block < b1; ++block) {
      const int64_t y0 = block * kBlockRows, count = std::min(kBlockRows, rows - y0);
      for (int64_t j = 0; j < count; ++j)
        for (int64_t x = 0; x < cols; ++x) a[static_cast<size_t>(x * kBlockRows + j)] = in[(y0 + j) * cols + x];
      BoxDown(a.data(), b.data(), kBlockRows, cols, count, p);
      BoxDown(b.data(), a.data(), kBlockRows, cols, count, p);
      BoxDown(a.data(), b.data(), kBlockRows, cols, count, p);
      for (int64_t j = 0; j < count; ++j)
        for (int64_t x = 0; x < cols; ++x) out[(y0 + j) * cols + x] = b[static_cast<size_t>(x * kBlockRows + j)];
    }
  });
}

// The frame's luma as heights, width x height floats.
void LumaHeights(ConstRgbView image, float* heights) {
  const int32_t width = image.r.width;
  ForEachFrameRow(width, image.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t *r = image.r.row(y), *g = image.g.row(y), *b = image.b.row(y);
      float* __restrict out = heights + int64_t{y} * width;
      for (int32_t x = 0; x < width; ++x)
        out[x] = kLumaR * static_cast<float>(r[x]) + kLumaG * static_cast<float>(g[x]) +
                 kLumaB * static_cast<float>(b[x]);
    }
  });
}

// Half the difference of the right and left neighbours (one-sided at the ends).
void SlopeAlongRow(const float* row, float* slope, int32_t width) {
  if (width < 2) {
    if (width == 1) slope[0] = 0.0f;
    return;
  }
  slope[0] = (row[1] - row[0]) * 0.5f;
  for (int32_t x = 1; x + 1 < width; ++x) slope[x] = (row[x + 1] - row[x - 1]) * 0.5f;
  slope[width - 1] = (row[width - 1] - row[width - 2]) * 0.5f;
}

struct Turn {
  float cos = 1.0f, sin = 0.0f;
};

// Where each pixel of row y is taken from: the slope (along the row, and from the rows
// above and below) times gain, turned, shortened to max_shift, clamped to the frame.
struct ShiftRule {
  float gain, max_shift;
  Turn turn;
  float last_x, last_y;
};

void SourcePositions(const float* __restrict along, const float* __restrict up, const float* __restrict down,
                     float* __restrict at_x, float* __restrict at_y, int32_t width, int32_t y, const ShiftRule& rule) {
  const float limit2 = rule.max_shift * rule.max_shift, row = static_cast<float>(y);
  for (int32_t x = 0; x < width; ++x) {
    const float gx = along[x], gy = (down[x] - up[x]) * 0.5f;
    float dx = rule.gain * (rule.turn.cos * gx - rule.turn.sin * gy);
    float dy = rule.gain * (rule.turn.sin * gx + rule.turn.cos * gy);
    const float length2 = dx * dx + dy * dy;
    // sqrt of at least limit2 when the shift is shortened; 1 otherwise (no division by 0).
    const float shorten = length2 > limit2 ? rule.max_shift / std::sqrt(std::max(length2, limit2)) : 1.0f;
    dx *= shorten;
    dy *= shorten;
    at_x[x] = std::min(std::max(static_cast<float>(x) + dx, 0.0f), rule.last_x);
    at_y[x] = std::min(std::max(row + dy, 0.0f), rule.last_y);
  }
}

Turn MakeTurn(float degrees) {
  if (!std::isfinite(degrees)) return {};
  const double a = static_cast<double>(degrees) * M_PI / 180.0;
  // Whole quarter turns exactly: a shift meant to be purely vertical has no horizontal part.
  auto snap = [](double v) { return static_cast<float>(std::fabs(v) < 1e-9 ? 0.0 : v); };
  return {snap(std::cos(a)), snap(std::sin(a))};
}

BoxPass SmoothingPass(float sigma) { return MakeBoxPass(static_cast<double>(sigma) * sigma / 3.0); }

void Smooth(float* image, int32_t width, int32_t height, const BoxPass& pass) {
  const size_t samples = static_cast<size_t>(width) * static_cast<size_t>(height);
  auto scratch = std::make_unique_for_overwrite<float[]>(samples);
  SmoothColumns(image, scratch.get(), width, height, pass);  // vertical, result in scratch
  SmoothRows(scratch.get(), image, width, height, pass);
}

}  // namespace

void SmoothHeights(float* image, int32_t width, int32_t height, float sigma) {
  if (width <= 0 || height <= 0) return;
  Smooth(image, width, height, SmoothingPass(sigma));
}

void SlopeDisplace(RgbView work, ConstRgbView source, ConstRgbView heights, const SlopeDisplaceOptions& options) {
  const int32_t width = work.r.width, height = work.r.height;
  if (width <= 0 || height <= 0) return;
  const float max_shift = std::max(0.0f, options.max_shift);
  const float sigma = std::max(0.5f, options.smoothing);
  auto field = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(width) * static_cast<size_t>(height));
  LumaHeights(heights, field.get());
  const BoxPass pass = SmoothingPass(sigma);
  Smooth(field.get(), width, height, pass);

  // The slope of a full-contrast step at its steepest pixel gives max_shift.
  const float gain = static_cast<float>(max_shift / (255.0 * SteepestStepSlope(pass)));
  const ShiftRule rule{gain, max_shift, MakeTurn(options.turn_degrees), static_cast<float>(width - 1),
                       static_cast<float>(height - 1)};
  const float* heights_at = field.get();
  const ConstPlaneView in[3] = {source.r, source.g, source.b};
  const PlaneView out[3] = {work.r, work.g, work.b};

  ForEachFrameRow(width, height, 6, [&](int32_t y0, int32_t y1) {
    std::vector<float> along(static_cast<size_t>(width)), at_x(along.size()), at_y(along.size());  // per band
    for (int32_t y = y0; y < y1; ++y) {
      const float* mid = heights_at + int64_t{y} * width;
      const float* up = heights_at + int64_t{std::max(y - 1, 0)} * width;
      const float* down = heights_at + int64_t{std::min(y + 1, height - 1)} * width;
      SlopeAlongRow(mid, along.data(), width);
      SourcePositions(along.data(), up, down, at_x.data(), at_y.data(), width, y, rule);
      for (int32_t x = 0; x < width; ++x) {
        const float px = at_x[static_cast<size_t>(x)], py = at_y[static_cast<size_t>(x)];
        const int32_t ix = static_cast<int32_t>(px), iy = static_cast<int32_t>(py);  // px, py >= 0
        const int32_t ix1 = std::min(ix + 1, width - 1), iy1 = std::min(iy + 1, height - 1);
        const float fx = px - static_cast<float>(ix), fy = py - static_cast<float>(iy);
        for (int c = 0; c < 3; ++c) {
          const uint8_t *top = in[c].row(iy), *bottom = in[c].row(iy1);
          const float upper = static_cast<float>(top[ix]) * (1.0f - fx) + static_cast<float>(top[ix1]) * fx;
          const float lower = static_cast<float>(bottom[ix]) * (1.0f - fx) + static_cast<float>(bottom[ix1]) * fx;
          out[c].row(y)[x] = FiniteToByteF(upper * (1.0f - fy) + lower * fy);
        }
      }
    }
  });
}

}  // namespace tessfx
