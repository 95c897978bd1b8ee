#include "filters/blur.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "core/convert.h"
#include "filters/blend.h"
#include "filters/parallel.h"
#include "filters/vec8.h"

namespace tessfx {
namespace {

// ---------------------------------------------------------------------------------------
// Gaussian: three passes of an extended box filter (a box with fractional end weights, so
// that its variance can take any value) along each axis. Each pass is a running sum, so
// the cost does not grow with the radius. Lines are filtered kBlock at a time with their
// samples side by side, which vectorises across the block: columns as they lie, rows
// after a transposition into the block.

constexpr int32_t kBlock = 32;      // columns filtered together (a multiple of any vector width)
constexpr int kLanes = kBlock / 8;  // vectors of eight floats per block row
constexpr int kPasses = 3;

struct ExtendedBox {
  int32_t r = 0;       // whole samples on each side of the centre
  float alpha = 0.0f;  // weight of the two samples at distance r + 1
  float scale = 1.0f;  // 1 / total weight
};

ExtendedBox MakeExtendedBox(double variance) {
  // Largest r whose plain box does not exceed the variance, then the end weight that
  // makes up the rest: variance = (r(r+1)(2r+1)/3 + 2 alpha (r+1)^2) / (2r + 1 + 2 alpha).
  ExtendedBox b;
  b.r = std::max(0, FloorToInt(0.5 * std::sqrt(12.0 * variance + 1.0) - 0.5));
  const double r = b.r;
  const double alpha = (2 * r + 1) * (3 * variance - r * (r + 1)) / (6 * ((r + 1) * (r + 1) - variance));
  b.alpha = static_cast<float>(alpha);
  b.scale = static_cast<float>(1.0 / (2 * r + 1 + 2 * alpha));
  return b;
}

// Index of sample j of a line of n samples mirrored about both ends
// (... 1 0 | 0 1 ... n-1 | n-1 n-2 ...), for any j: the pattern repeats every 2n.
inline int64_t Mirror(int64_t j, int64_t n) {
  if (j >= 0 && j < n) return j;  // nearly every row: no division
  const int64_t period = 2 * n;
  int64_t m = j % period;
  if (m < 0) m += period;
  return m < n ? m : period - 1 - m;
}

// One extended-box pass down the n rows of a block (kBlock floats per row).
[[gnu::target_clones("avx2", "default")]] void BoxPass(const float* in, float* out, int64_t n, const ExtendedBox& box) {
  using vec8::F;
  F sum[kLanes] = {};
  for (int64_t k = -box.r; k <= box.r; ++k) {
    const float* row = in + Mirror(k, n) * kBlock;
    for (int j = 0; j < kLanes; ++j) sum[j] += vec8::LoadF(row + 8 * j);
  }
  const F alpha = vec8::Splat(box.alpha), scale = vec8::Splat(box.scale);
  for (int64_t y = 0; y < n; ++y) {
    const float* behind = in + Mirror(y - box.r - 1, n) * kBlock;
    const float* ahead = in + Mirror(y + box.r + 1, n) * kBlock;
    const float* leaving = in + Mirror(y - box.r, n) * kBlock;
    float* o = out + y * kBlock;
    for (int j = 0; j < kLanes; ++j) {
      const F a = vec8::LoadF(ahead + 8 * j);
      vec8::StoreF(o + 8 * j, (sum[j] + alpha * (vec8::LoadF(behind + 8 * j) + a)) * scale);
      sum[j] += a - vec8::LoadF(leaving + 8 * j);
    }
  }
}

// The passes over a block held in a; the result ends in b.
void BlurBlock(float* a, float* b, int64_t n, const ExtendedBox& box) {
  static_assert(kPasses % 2 == 1, "the result must end in the second buffer");
  for (int p = 0; p < kPasses; ++p) {
    if (p % 2 == 0)
      BoxPass(a, b, n, box);
    else
      BoxPass(b, a, n, box);
  }
}

// a[x * kBlock + j] = sample x of row j of `rows` (j < count; 0 beyond), x < w.
[[gnu::target_clones("avx2", "default")]] void LoadRowsTransposed(const uint8_t* rows, int64_t stride, int64_t count,
                                                                  int64_t w, float* a) {
  int64_t x = 0;
  for (; x + 8 <= w; x += 8) {
    for (int g = 0; g < kLanes; ++g) {
      vec8::F m[8];
      for (int j = 0; j < 8; ++j)
        m[j] = g * 8 + j < count ? vec8::Load(rows + (g * 8 + j) * stride + x) : vec8::Splat(0.0f);
      vec8::Transpose(m);
      for (int k = 0; k < 8; ++k) vec8::StoreF(a + (x + k) * kBlock + g * 8, m[k]);
    }
  }
  for (; x < w; ++x)
    for (int64_t j = 0; j < kBlock; ++j) a[x * kBlock + j] = j < count ? rows[j * stride + x] : 0.0f;
}

// The inverse: rows j < count of `out` (w floats each) from b[x * kBlock + j].
[[gnu::target_clones("avx2", "default")]] void StoreRowsTransposed(const float* b, int64_t count, int64_t w,
                                                                   float* out) {
  int64_t x = 0;
  for (; x + 8 <= w; x += 8) {
    for (int g = 0; g < kLanes; ++g) {
      vec8::F m[8];
      for (int k = 0; k < 8; ++k) m[k] = vec8::LoadF(b + (x + k) * kBlock + g * 8);
      vec8::Transpose(m);
      for (int j = 0; j < 8 && g * 8 + j < count; ++j) vec8::StoreF(out + (g * 8 + j) * w + x, m[j]);
    }
  }
  for (; x < w; ++x)
    for (int64_t j = 0; j < count; ++j) out[j * w + x] = b[x * kBlock + j];
}

// Rounds the block's h rows of `width` (<= kBlock) samples into the plane's columns.
[[gnu::target_clones("avx2", "default")]] void StoreBlockBytes(const float* b, int64_t h, int64_t width,
                                                               uint8_t* column, int64_t stride) {
  uint8_t row[kBlock];
  for (int64_t y = 0; y < h; ++y) {
    uint8_t* dst = column + y * stride;
    uint8_t* lanes = width == kBlock ? dst : row;
    for (int g = 0; g < kLanes; ++g) vec8::StoreByte(lanes + 8 * g, vec8::LoadF(b + y * kBlock + 8 * g));
    if (lanes == row) std::memcpy(dst, row, static_cast<size_t>(width));
  }
}

// Horizontal passes a band of kBlock rows at a time (transposed into the block layout and
// back) into the float `frame`, then vertical passes a block of columns at a time,
// rounding into the plane.
void GaussianPlane(uint8_t* plane, int64_t w, int64_t h, const ExtendedBox& box, float* frame) {
  const int64_t stride = w + 1;
  const int32_t row_blocks = static_cast<int32_t>((h + kBlock - 1) / kBlock);
  ForEachRowBand(0, row_blocks, kBlock * w, [&](int32_t b0, int32_t b1) {
    auto scratch = std::make_unique_for_overwrite<float[]>(2 * kBlock * w);
    float* a = scratch.get();
    float* b = a + kBlock * w;
    for (int32_t blk = b0; blk < b1; ++blk) {
      const int64_t y0 = int64_t{blk} * kBlock;
      const int64_t count = std::min<int64_t>(kBlock, h - y0);
      LoadRowsTransposed(plane + y0 * stride, stride, count, w, a);
      BlurBlock(a, b, w, box);
      StoreRowsTransposed(b, count, w, frame + y0 * w);
    }
  });
  const int32_t col_blocks = static_cast<int32_t>((w + kBlock - 1) / kBlock);
  ForEachRowBand(0, col_blocks, kBlock * h, [&](int32_t b0, int32_t b1) {
    auto scratch = std::make_unique_for_overwrite<float[]>(2 * kBlock * h);
    float* a = scratch.get();
    float* b = a + kBlock * h;
    for (int32_t blk = b0; blk < b1; ++blk) {
      const int64_t x0 = int64_t{blk} * kBlock;
      const int64_t width = std::min<int64_t>(kBlock, w - x0);
      for (int64_t y = 0; y < h; ++y) {
        float* dst = a + y * kBlock;
        std::memcpy(dst, frame + y * w + x0, static_cast<size_t>(width) * sizeof(float));
        std::fill(dst + width, dst + kBlock, 0.0f);
      }
      BlurBlock(a, b, h, box);
      StoreBlockBytes(b, h, width, plane + x0, stride);
    }
  });
}

// ---------------------------------------------------------------------------------------

// The mean of `count` samples (sums in acc) into bytes, half-way values to even; double
// division is exact enough that a half-way quotient is exactly half-way.
[[gnu::target_clones("avx2", "default")]] void MeanToBytes(const uint32_t* acc, int64_t n, double count, uint8_t* out) {
  for (int64_t x = 0; x < n; ++x) out[x] = RoundToByte(acc[x] / count);
}

// The composite of one row of results with the untouched samples through alpha.
void MixRow(uint8_t* out, const uint8_t* original, const uint8_t* alpha, int64_t n) {
  for (int64_t x = 0; x < n; ++x) out[x] = AlphaMix(out[x], original[x], alpha[x]);
}

// Zoom blur works on pixels as four float lanes (red, green, blue and an unused one) so
// that each sample position is worked out once for the three channels.
using Px = float __attribute__((vector_size(16)));
using PxBytes = uint8_t __attribute__((vector_size(4)));

// The generic conversion of four bytes goes lane by lane; this is two instructions.
inline Px LoadPx(const PxBytes* p) {
  int32_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return Px(_mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes))));
}

// Accumulates the samples of one zoom step for one row: the row blended from rows a and b
// (interleaved pixels) by wy, read at the fixed-point columns (pos + x * step) / 65536,
// clamped to 0..max_pos, with linear weights.
void ZoomStepRow(const PxBytes* a, const PxBytes* b, float wy, int64_t columns, int64_t pos, int64_t step,
                 int64_t max_pos, Px* blended, Px* acc) {
  const Px wy4 = {wy, wy, wy, wy};
  for (int64_t x = 0; x < columns; ++x) {
    const Px top = LoadPx(a + x);
    blended[x] = top + (LoadPx(b + x) - top) * wy4;
  }
  blended[columns] = blended[columns - 1];  // the right neighbour of the last column is itself
  for (int64_t x = 0; x < columns; ++x) {
    const int64_t p = std::clamp<int64_t>(pos + x * step, 0, max_pos);
    const int64_t xa = p >> 16;
    const float wx = static_cast<float>(p & 0xFFFF) * (1.0f / 65536.0f);
    const Px wx4 = {wx, wx, wx, wx};
    acc[x] += blended[xa] + (blended[xa + 1] - blended[xa]) * wx4;
  }
}

}  // namespace

double GaussianSigmaForRadius(int32_t radius) { return radius > 0 ? radius / 3.0 : 0.0; }

void GaussianBlur(std::span<const PlaneView> planes, double sigma) {
  if (planes.empty()) return;
  const int32_t width = planes[0].width, height = planes[0].height;
  if (width <= 0 || height <= 0 || !(sigma > 0.0)) return;
  const ExtendedBox box = MakeExtendedBox(sigma * sigma / kPasses);
  // One float frame between the two directions serves every plane.
  auto frame = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(int64_t{width} * height));
  for (const PlaneView& plane : planes) GaussianPlane(plane.data, width, height, box, frame.get());
}

void FastZoom(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t flag, int32_t last_x, int32_t last_y,
              int32_t cx, int32_t cy, int16_t steps, float amount) {
  const uint8_t* host_a = alpha.data;
  if (last_x < 0 || last_y < 0) return;
  const int32_t n = std::max<int32_t>(steps, 2);
  const int64_t columns = int64_t{last_x} + 1;
  const int64_t stride = columns + 1;  // a frame of last_x + 1 columns, plus the extra one
  // Step i samples the point a fraction f_i = amount x i / (n - 1) of the way from the
  // pixel to the centre. Along a row that point moves linearly with the pixel's column,
  // x + (cx - x) f = cx f + x (1 - f), so each step's columns follow from a start and an
  // increment in 16.16 fixed point, clamped into the frame pixel by pixel; its row is the
  // same for the whole row.
  struct Step {
    float fraction;
    int64_t pos, step;
  };
  std::vector<Step> plan(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) {
    // Past the centre (a fraction above 1) the samples would leave the segment.
    const float f = std::clamp(amount * static_cast<float>(i) / static_cast<float>(n - 1), 0.0f, 1.0f);
    const double start = std::clamp(static_cast<double>(cx) * f, -32767.0, 32767.0);
    plan[static_cast<size_t>(i)] = {f, RoundHalfEven(start * 65536.0), RoundHalfEven((1.0 - f) * 65536.0)};
  }
  const int64_t max_pos = int64_t{last_x} << 16;
  const float inv_n = 1.0f / static_cast<float>(n);
  const float max_y = static_cast<float>(last_y), centre_y = static_cast<float>(cy);
  const uint8_t* src[3] = {host.r.data, host.g.data, host.b.data};
  uint8_t* dst[3] = {work.r.data, work.g.data, work.b.data};

  // The frame with its three samples side by side per pixel.
  const int64_t rows = int64_t{last_y} + 1;
  std::vector<PxBytes> frame(static_cast<size_t>(rows * columns));
  ForEachRowBand(0, last_y + 1, columns * 3, [&](int32_t y0, int32_t y1) {
    for (int64_t y = y0; y < y1; ++y) {
      PxBytes* row = frame.data() + y * columns;
      const int64_t o = y * stride;
      for (int64_t x = 0; x < columns; ++x) row[x] = PxBytes{src[0][o + x], src[1][o + x], src[2][o + x], 0};
    }
  });

  ForEachRowBand(0, last_y + 1, columns * n * 3, [&](int32_t y0, int32_t y1) {
    std::vector<Px> acc(static_cast<size_t>(columns)), blended(static_cast<size_t>(columns) + 1);
    for (int32_t y = y0; y < y1; ++y) {
      std::fill(acc.begin(), acc.end(), Px{});
      const float fy = static_cast<float>(y);
      for (const Step& st : plan) {
        const float sy = std::clamp(fy + (centre_y - fy) * st.fraction, 0.0f, max_y);
        const int32_t ya = FloorToInt(sy);
        const int32_t yb = std::min(ya + 1, last_y);
        ZoomStepRow(frame.data() + ya * columns, frame.data() + yb * columns, sy - static_cast<float>(ya), columns,
                    st.pos, st.step, max_pos, blended.data(), acc.data());
      }
      const int64_t o = int64_t{y} * stride;
      for (int c = 0; c < 3; ++c) {
        uint8_t* out = dst[c] + o;
        for (int64_t x = 0; x < columns; ++x) out[x] = RoundToByteF(acc[x][c] * inv_n);
        if (flag == 0) MixRow(out, src[c] + o, host_a + o, columns);
      }
    }
  });
}

void FastMotionBlur(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t flag, int32_t width, int32_t height,
                    int32_t x0, int32_t y0, int16_t dx, int16_t dy, int32_t spacing) {
  const uint8_t* host_a = alpha.data;
  if (width <= 0 || height <= 0) return;
  const int32_t length = std::max(std::abs(int32_t{dx}), std::abs(int32_t{dy}));
  const int32_t n = length / std::max(spacing, 1);
  // The whole-pixel offsets of the samples, k = 0..n.
  std::vector<int64_t> ox(static_cast<size_t>(n) + 1), oy(static_cast<size_t>(n) + 1);
  for (int32_t k = 0; k <= n; ++k) {
    ox[k] = int64_t{x0} + (n > 0 ? RoundHalfEven(static_cast<double>(k) * dx / n) : 0);
    oy[k] = int64_t{y0} + (n > 0 ? RoundHalfEven(static_cast<double>(k) * dy / n) : 0);
  }
  const double count = n + 1.0;
  const int64_t stride = int64_t{width} + 1;
  const uint8_t* src[3] = {host.r.data, host.g.data, host.b.data};
  uint8_t* dst[3] = {work.r.data, work.g.data, work.b.data};

  ForEachRowBand(0, height, int64_t{width} * (n + 1) * 3, [&](int32_t ya, int32_t yb) {
    const int64_t w = width, h = height;
    std::vector<uint32_t> acc(static_cast<size_t>(w));
    for (int64_t y = ya; y < yb; ++y) {
      const int64_t o = y * stride;
      for (int c = 0; c < 3; ++c) {
        std::fill(acc.begin(), acc.end(), 0u);
        uint32_t* a = acc.data();
        for (int32_t k = 0; k <= n; ++k) {
          const uint8_t* row = src[c] + std::clamp<int64_t>(y + oy[k], 0, h - 1) * stride;
          const int64_t off = ox[k];
          // Columns whose sample falls left of the frame, inside it, and right of it.
          const int64_t lo = std::clamp<int64_t>(-off, 0, w);
          const int64_t hi = std::clamp<int64_t>(w - off, 0, w);
          const uint32_t left = row[0], right = row[w - 1];
          for (int64_t x = 0; x < lo; ++x) a[x] += left;
          const uint8_t* shifted = row + off;
          for (int64_t x = lo; x < hi; ++x) a[x] += shifted[x];
          for (int64_t x = hi; x < w; ++x) a[x] += right;
        }
        MeanToBytes(a, w, count, dst[c] + o);
        if (flag == 0) MixRow(dst[c] + o, src[c] + o, host_a + o, w);
      }
    }
  });
}

}  // namespace tessfx
