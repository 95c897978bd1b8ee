#include "filters/blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "core/convert.h"
#include "filters/blend.h"
#include "filters/parallel.h"

// This source is compiled once per instruction set (HWY_TARGET_INCLUDE): what lies outside
// the per-target namespace is guarded to be defined once.
#ifndef TESSFX_FILTERS_BLUR_ONCE
#define TESSFX_FILTERS_BLUR_ONCE
namespace tessfx {
namespace {

// The Gaussian: up to this radius a direct kernel, whose cost grows with the radius;
// beyond it a recursive filter, whose cost does not.
constexpr int32_t kMaxDirectRadius = 32;

// Motion blur sums up to this many samples in 16-bit lanes (257 x 255 < 65536).
constexpr int32_t kMaxSums16 = 257;

// Index of sample j of a line of n samples mirrored about both ends
// (... 1 0 | 0 1 ... n-1 | n-1 n-2 ...), for any j: the pattern repeats every 2n.
inline int64_t Mirror(int64_t j, int64_t n) {
  if (j >= 0 && j < n) return j;  // nearly every sample: no division
  const int64_t period = 2 * n;
  int64_t m = j % period;
  if (m < 0) m += period;
  return m < n ? m : period - 1 - m;
}

// The direct kernel's reach: a quarter beyond the radius (3.75 standard deviations), where
// the weights left out no longer move a hard edge by a tenth of a level.
constexpr int32_t DirectReach(int32_t radius) { return radius + radius / 4; }

// The direct kernel: the sampled Gaussian over -reach..reach, normalised, as weights of
// the sample pairs (x - k, x + k) in 0.16 fixed point; the centre counts as the pair
// (x, x) with half its weight. The weights add up to exactly one, so flat areas stay flat.
struct DirectKernel {
  int32_t reach = 0;
  std::array<uint16_t, DirectReach(kMaxDirectRadius) + 1> pair_weight{};
};

DirectKernel MakeDirectKernel(int32_t radius) {
  const double sigma = GaussianSigmaForRadius(radius);
  DirectKernel k;
  k.reach = DirectReach(radius);
  std::array<double, DirectReach(kMaxDirectRadius) + 1> g{};
  double total = 0;
  for (int32_t i = 0; i <= k.reach; ++i) {
    g[i] = std::exp(-i * i / (2 * sigma * sigma));
    total += i == 0 ? g[i] : 2 * g[i];
  }
  int32_t outer = 0;
  for (int32_t i = 1; i <= k.reach; ++i) {
    k.pair_weight[i] = static_cast<uint16_t>(RoundHalfEven(g[i] / total * 65536.0));
    outer += k.pair_weight[i];
  }
  k.pair_weight[0] = static_cast<uint16_t>(32768 - outer);
  return k;
}

// The recursive kernel: a fourth-order approximation of the Gaussian as a causal and an
// anticausal filter (the sum of two damped cosines of fitted constants on each side,
// within about 1e-4 of the Gaussian's peak), with the coefficients of its recursions.
struct RecursiveKernel {
  float causal_in[4] = {};  // weights of x[n] .. x[n - 3]
  float anti_in[4] = {};    // weights of x[n + 1] .. x[n + 4]
  float feedback[4] = {};   // weights of y[n -+ 1] .. y[n -+ 4], subtracted
  float causal_gain = 0;    // the causal filter's response to a flat line of ones
  float anti_gain = 0;
  int64_t pad = 0;  // mirrored samples run through before each end of a line
};

RecursiveKernel MakeRecursiveKernel(double sigma) {
  constexpr double a0 = 1.680, a1 = 3.735, b0 = 1.783, w0 = 0.6318;
  constexpr double c0 = -0.6803, c1 = -0.2598, b1 = 1.723, w1 = 1.997;
  auto response = [&](int n) {
    const double x = n / sigma;
    return (a0 * std::cos(w0 * x) + a1 * std::sin(w0 * x)) * std::exp(-b0 * x) +
           (c0 * std::cos(w1 * x) + c1 * std::sin(w1 * x)) * std::exp(-b1 * x);
  };
  // The denominator: the two pole pairs r e^(+-i theta), each 1 - 2 r cos(theta) z^-1 + r^2 z^-2.
  const double r0 = std::exp(-b0 / sigma), r1 = std::exp(-b1 / sigma);
  const double p[3] = {1, -2 * r0 * std::cos(w0 / sigma), r0 * r0};
  const double q[3] = {1, -2 * r1 * std::cos(w1 / sigma), r1 * r1};
  double a[5] = {};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) a[i + j] += p[i] * q[j];
  // The numerator follows from the first four samples of the response.
  double b[4] = {};
  for (int k = 0; k < 4; ++k)
    for (int m = 0; m <= k; ++m) b[k] += a[m] * response(k - m);
  // The anticausal side leaves out the centre sample: numerator B - b0 A.
  double bm[5] = {};
  for (int k = 1; k < 4; ++k) bm[k] = b[k] - b[0] * a[k];
  bm[4] = -b[0] * a[4];
  const double sum_a = a[0] + a[1] + a[2] + a[3] + a[4], sum_b = b[0] + b[1] + b[2] + b[3];
  const double total = (2 * sum_b - b[0] * sum_a) / sum_a;  // the whole response's sum
  RecursiveKernel k;
  for (int i = 0; i < 4; ++i) k.feedback[i] = static_cast<float>(a[i + 1]);
  // With poles near 1, the flat response B(1) / A(1) divides by a small A(1), which the
  // feedback weights' rounding to single precision moves by a fraction of a percent: the
  // numerators are scaled to the rounded weights, so that flat areas stay flat.
  const double sum_a_rounded = 1.0 + k.feedback[0] + k.feedback[1] + k.feedback[2] + k.feedback[3];
  const double scale = sum_a_rounded / sum_a / total;
  for (int i = 0; i < 4; ++i) {
    k.causal_in[i] = static_cast<float>(b[i] * scale);
    k.anti_in[i] = static_cast<float>(bm[i + 1] * scale);
  }
  // The gains of the weights as rounded, summed once they are stored: summed inside the loop
  // above, GCC 12's vectoriser added the unrounded products instead, and the optimised and
  // unoptimised builds gave other bytes.
  const double causal_sum = static_cast<double>(k.causal_in[0]) + k.causal_in[1] + k.causal_in[2] + k.causal_in[3];
  const double anti_sum = static_cast<double>(k.anti_in[0]) + k.anti_in[1] + k.anti_in[2] + k.anti_in[3];
  k.causal_gain = static_cast<float>(causal_sum / sum_a_rounded);
  k.anti_gain = static_cast<float>(anti_sum / sum_a_rounded);
  // The slowest pole decays as exp(-1.723 n / sigma): after 6 sigma, below 1e-4.
  k.pad = static_cast<int64_t>(std::ceil(6 * sigma)) + 4;
  return k;
}

}  // namespace
}  // namespace tessfx
#endif  // TESSFX_FILTERS_BLUR_ONCE

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/blur.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/aligned_allocator.h>
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

// ---------------------------------------------------------------------------------------
// Direct Gaussian, in 16-bit lanes. Horizontal: h = sum of floor(((a + b) << 7) w / 2^16)
// over the pairs, the row's samples in 1/128 steps. Vertical: the same over pairs of h,
// then (sum + 64 + bias) >> 7, where the bias (one unit per pair) makes up for the floors.
// Rows are filtered in fixed bands: the horizontal results of the rows just outside each
// band come from the untouched plane before any band writes, so no band reads another's
// output and the result does not depend on the thread count.

// Rows per band: fixed for a radius, so results never depend on how bands meet threads;
// tall enough that the rows recomputed at band edges stay a small part of the work.
int64_t DirectBandRows(int64_t reach) { return std::max<int64_t>(128, 8 * reach); }

using D16 = hn::ScalableTag<uint16_t>;

// The horizontal pass of one row into `out` (a whole number of vectors), through `padded`
// (the row mirrored by `reach` samples on each side, plus a vector's slack).
void DirectRow(const uint8_t* row, int64_t w, const DirectKernel& k, uint8_t* padded, uint16_t* out) {
  const D16 d;
  const int64_t n = static_cast<int64_t>(hn::Lanes(d));
  const int64_t reach = k.reach;
  std::memcpy(padded + reach, row, static_cast<size_t>(w));
  for (int64_t i = 1; i <= reach; ++i) {
    padded[reach - i] = row[Mirror(-i, w)];
    padded[reach + w - 1 + i] = row[Mirror(w - 1 + i, w)];
  }
  std::memset(padded + w + 2 * reach, 0, static_cast<size_t>(n));
  const uint8_t* centre = padded + reach;
  for (int64_t x = 0; x < w; x += n) {
    auto acc = hn::Zero(d);
    for (int64_t i = 0; i <= reach; ++i) {
      const auto pair = hn::Add(LoadBytesAs16(d, centre + x - i), LoadBytesAs16(d, centre + x + i));
      acc = hn::Add(acc, hn::MulHigh(hn::ShiftLeft<7>(pair), hn::Set(d, k.pair_weight[i])));
    }
    hn::Store(acc, d, out + x);
  }
}

// The vertical pass into one output row: rows[reach + j] is the horizontal result of row y + j.
void DirectColumn(const uint16_t* const* rows, int64_t w, const DirectKernel& k, uint8_t* out) {
  const D16 d;
  const int64_t n = static_cast<int64_t>(hn::Lanes(d));
  const int64_t reach = k.reach;
  const auto rounding = hn::Set(d, static_cast<uint16_t>(64 + reach + 1));
  HWY_ALIGN uint8_t last[HWY_MAX_BYTES];
  for (int64_t x = 0; x < w; x += n) {
    auto acc = hn::Zero(d);
    for (int64_t i = 0; i <= reach; ++i) {
      const auto pair = hn::Add(hn::Load(d, rows[reach - i] + x), hn::Load(d, rows[reach + i] + x));
      acc = hn::Add(acc, hn::MulHigh(pair, hn::Set(d, k.pair_weight[i])));
    }
    const auto v = hn::ShiftRight<7>(hn::Add(acc, rounding));
    if (x + n <= w) {
      Store16AsBytes(d, v, out + x);
    } else {  // the extra column and the next row are not ours
      Store16AsBytes(d, v, last);
      std::memcpy(out + x, last, static_cast<size_t>(w - x));
    }
  }
}

void DirectGaussianPlane(uint8_t* plane, int64_t w, int64_t h, int64_t stride, const DirectKernel& k) {
  const D16 d;
  const int64_t n = static_cast<int64_t>(hn::Lanes(d));
  const int64_t row_len = (w + n - 1) / n * n;  // 16-bit samples per horizontal result
  const int64_t reach = k.reach;
  const int64_t padded_len = w + 2 * reach + n;
  const int64_t band_rows = DirectBandRows(reach);
  const int32_t bands = static_cast<int32_t>((h + band_rows - 1) / band_rows);
  const int64_t edge_rows = 2 * reach;
  auto edges = hwy::AllocateAligned<uint16_t>(static_cast<size_t>(std::max<int64_t>(1, bands * edge_rows * row_len)));
  ForEachRowBand(0, bands, edge_rows * w, [&](int32_t b0, int32_t b1) {
    auto padded = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(padded_len));
    for (int32_t b = b0; b < b1; ++b) {
      const int64_t y0 = int64_t{b} * band_rows, y1 = std::min(h, y0 + band_rows);
      uint16_t* e = edges.get() + b * edge_rows * row_len;
      for (int64_t i = 0; i < reach; ++i) {
        DirectRow(plane + Mirror(y0 - reach + i, h) * stride, w, k, padded.get(), e + i * row_len);
        DirectRow(plane + Mirror(y1 + i, h) * stride, w, k, padded.get(), e + (reach + i) * row_len);
      }
    }
  });
  ForEachRowBand(0, bands, band_rows * w * (reach + 1), [&](int32_t b0, int32_t b1) {
    auto padded = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(padded_len));
    auto own = hwy::AllocateAligned<uint16_t>(static_cast<size_t>(band_rows * row_len));
    std::vector<const uint16_t*> rows(static_cast<size_t>(band_rows + edge_rows));
    for (int32_t b = b0; b < b1; ++b) {
      const int64_t y0 = int64_t{b} * band_rows, y1 = std::min(h, y0 + band_rows);
      const uint16_t* e = edges.get() + b * edge_rows * row_len;
      // Row y0 - reach + j of the band's window.
      for (int64_t i = 0; i < reach; ++i) {
        rows[i] = e + i * row_len;
        rows[reach + (y1 - y0) + i] = e + (reach + i) * row_len;
      }
      for (int64_t y = y0; y < y1; ++y) {
        uint16_t* r = own.get() + (y - y0) * row_len;
        DirectRow(plane + y * stride, w, k, padded.get(), r);
        rows[reach + (y - y0)] = r;
      }
      for (int64_t y = y0; y < y1; ++y) DirectColumn(rows.data() + (y - y0), w, k, plane + y * stride);
    }
  });
}

// ---------------------------------------------------------------------------------------
// Recursive Gaussian in float lanes, kGroup vectors of lines side by side (the lines'
// recursions are independent, so several in flight hide the latency of each). Columns
// first, straight from the plane into a float frame stored column by column; then the
// rows, which are that frame's columns, rounded back into the plane.

constexpr int kGroup = 2;
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// Filters kGroup x Lanes lines of n samples: load(t, v) gives the vectors of sample t (any
// t, mirrored by the caller), store(t, v) takes the results for t in 0..n-1. `causal`
// holds n x kGroup vectors.
template <class Load, class Store>
void RecursiveLines(const RecursiveKernel& k, int64_t n, float* causal, const Load& load, const Store& store) {
  const DF df;
  const size_t lanes = hn::Lanes(df);
  VF bi[4], ba[4], fb[4];
  for (int i = 0; i < 4; ++i) {
    bi[i] = hn::Set(df, k.causal_in[i]);
    ba[i] = hn::Set(df, k.anti_in[i]);
    fb[i] = hn::Set(df, k.feedback[i]);
  }
  VF x[kGroup], in[kGroup][4], out[kGroup][4];
  // Causal, from t = -pad; the history is the first sample's steady state.
  load(-k.pad, x);
  for (int g = 0; g < kGroup; ++g)
    for (int i = 0; i < 4; ++i) {
      in[g][i] = x[g];
      out[g][i] = hn::Mul(x[g], hn::Set(df, k.causal_gain));
    }
  for (int64_t t = -k.pad; t < n; ++t) {
    load(t, x);
    for (int g = 0; g < kGroup; ++g) {
      in[g][3] = in[g][2];
      in[g][2] = in[g][1];
      in[g][1] = in[g][0];
      in[g][0] = x[g];
      VF y = hn::Mul(bi[0], in[g][0]);
      y = hn::Add(y, hn::Mul(bi[1], in[g][1]));
      y = hn::Add(y, hn::Mul(bi[2], in[g][2]));
      y = hn::Add(y, hn::Mul(bi[3], in[g][3]));
      y = hn::Sub(y, hn::Mul(fb[0], out[g][0]));
      y = hn::Sub(y, hn::Mul(fb[1], out[g][1]));
      y = hn::Sub(y, hn::Mul(fb[2], out[g][2]));
      y = hn::Sub(y, hn::Mul(fb[3], out[g][3]));
      out[g][3] = out[g][2];
      out[g][2] = out[g][1];
      out[g][1] = out[g][0];
      out[g][0] = y;
      if (t >= 0) hn::Store(y, df, causal + (t * kGroup + g) * lanes);
    }
  }
  // Anticausal, from t = n - 1 + pad down; at t its inputs are x[t + 1] .. x[t + 4].
  load(n - 1 + k.pad, x);
  for (int g = 0; g < kGroup; ++g)
    for (int i = 0; i < 4; ++i) {
      in[g][i] = x[g];
      out[g][i] = hn::Mul(x[g], hn::Set(df, k.anti_gain));
    }
  VF result[kGroup];
  for (int64_t t = n - 1 + k.pad; t >= 0; --t) {
    for (int g = 0; g < kGroup; ++g) {
      VF y = hn::Mul(ba[0], in[g][0]);
      y = hn::Add(y, hn::Mul(ba[1], in[g][1]));
      y = hn::Add(y, hn::Mul(ba[2], in[g][2]));
      y = hn::Add(y, hn::Mul(ba[3], in[g][3]));
      y = hn::Sub(y, hn::Mul(fb[0], out[g][0]));
      y = hn::Sub(y, hn::Mul(fb[1], out[g][1]));
      y = hn::Sub(y, hn::Mul(fb[2], out[g][2]));
      y = hn::Sub(y, hn::Mul(fb[3], out[g][3]));
      out[g][3] = out[g][2];
      out[g][2] = out[g][1];
      out[g][1] = out[g][0];
      out[g][0] = y;
      if (t < n) result[g] = hn::Add(hn::Load(df, causal + (t * kGroup + g) * lanes), y);
    }
    if (t < n) store(t, result);
    load(t, x);
    for (int g = 0; g < kGroup; ++g) {
      in[g][3] = in[g][2];
      in[g][2] = in[g][1];
      in[g][1] = in[g][0];
      in[g][0] = x[g];
    }
  }
}

// Results reach the other layout through a small tile of kTile samples of every line of the
// group, written out line by line: whole cache lines instead of one sample per line.
constexpr int64_t kTile = 16;

void RecursiveGaussianPlane(uint8_t* plane, int64_t w, int64_t h, int64_t stride, const RecursiveKernel& k) {
  const DF df;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(df));
  const int64_t group = kGroup * lanes;
  // The columns' results, column after column, with a group's slack for the last loads.
  auto columns_store = hwy::AllocateAligned<float>(static_cast<size_t>(w * h + group));
  float* const columns = columns_store.get();
  std::fill(columns + w * h, columns + w * h + group, 0.0f);

  const int32_t column_groups = static_cast<int32_t>((w + group - 1) / group);
  ForEachRowBand(0, column_groups, group * h, [&](int32_t g0, int32_t g1) {
    auto causal = hwy::AllocateAligned<float>(static_cast<size_t>(h * group));
    auto tile = hwy::AllocateAligned<float>(static_cast<size_t>(group * kTile));
    HWY_ALIGN uint8_t bytes[kGroup * HWY_MAX_BYTES] = {};
    const uint8_t* const src_plane = plane;
    for (int32_t cg = g0; cg < g1; ++cg) {
      const int64_t x0 = int64_t{cg} * group, count = std::min(group, w - x0);
      auto load = [&](int64_t t, VF* v) HWY_ATTR {
        const uint8_t* src = src_plane + Mirror(t, h) * stride + x0;
        if (count < group) {  // the last group reads only its own columns
          std::memcpy(bytes, src, static_cast<size_t>(count));
          src = bytes;
        }
        for (int g = 0; g < kGroup; ++g) v[g] = LoadBytesAsFloat(df, src + g * lanes);
      };
      // Samples t (descending) go to tile[line * kTile + t % kTile]; a tile is written out
      // when its lowest sample is in.
      auto store = [&](int64_t t, const VF* v) HWY_ATTR {
        float* lane_out = tile.get();
        HWY_ALIGN float values[HWY_MAX_BYTES / sizeof(float)] = {};
        for (int g = 0; g < kGroup; ++g) {
          hn::Store(v[g], df, values);
          for (int64_t j = 0; j < lanes; ++j) lane_out[(g * lanes + j) * kTile + t % kTile] = values[j];
        }
        if (t % kTile != 0) return;
        const int64_t len = std::min(kTile, h - t);
        for (int64_t j = 0; j < count; ++j)
          std::memcpy(columns + (x0 + j) * h + t, lane_out + j * kTile, static_cast<size_t>(len) * sizeof(float));
      };
      RecursiveLines(k, h, causal.get(), load, store);
    }
  });

  const int32_t row_groups = static_cast<int32_t>((h + group - 1) / group);
  ForEachRowBand(0, row_groups, group * w, [&](int32_t g0, int32_t g1) {
    auto causal = hwy::AllocateAligned<float>(static_cast<size_t>(w * group));
    auto tile = hwy::AllocateAligned<uint8_t>(static_cast<size_t>(group * kTile));
    uint8_t* const dst_plane = plane;
    const float* const src = columns;
    for (int32_t rg = g0; rg < g1; ++rg) {
      const int64_t y0 = int64_t{rg} * group, count = std::min(group, h - y0);
      auto load = [&](int64_t t, VF* v) HWY_ATTR {
        const float* line = src + Mirror(t, w) * h + y0;
        for (int g = 0; g < kGroup; ++g) v[g] = hn::LoadU(df, line + g * lanes);
      };
      auto store = [&](int64_t t, const VF* v) HWY_ATTR {
        uint8_t* lane_out = tile.get();
        HWY_ALIGN uint8_t values[HWY_MAX_BYTES] = {};
        for (int g = 0; g < kGroup; ++g) {
          StoreFloatAsBytes(df, v[g], values);
          for (int64_t j = 0; j < lanes; ++j) lane_out[(g * lanes + j) * kTile + t % kTile] = values[j];
        }
        if (t % kTile != 0) return;
        const int64_t len = std::min(kTile, w - t);
        for (int64_t j = 0; j < count; ++j)
          std::memcpy(dst_plane + (y0 + j) * stride + t, lane_out + j * kTile, static_cast<size_t>(len));
      };
      RecursiveLines(k, w, causal.get(), load, store);
    }
  });
}

void GaussianPlanes(const PlaneView* planes, size_t count, int32_t radius) {
  if (radius <= kMaxDirectRadius) {
    const DirectKernel k = MakeDirectKernel(radius);
    for (size_t i = 0; i < count; ++i)
      DirectGaussianPlane(planes[i].data, planes[i].width, planes[i].height, planes[i].stride, k);
  } else {
    const RecursiveKernel k = MakeRecursiveKernel(GaussianSigmaForRadius(radius));
    for (size_t i = 0; i < count; ++i)
      RecursiveGaussianPlane(planes[i].data, planes[i].width, planes[i].height, planes[i].stride, k);
  }
}

// ---------------------------------------------------------------------------------------
// Motion blur: the n + 1 shifted rows added in 16-bit lanes (at most 257 samples of 255),
// then each sum divided by the count in single precision, which is exact enough that a
// half-way quotient is exactly half-way and no other lands on one: the same bytes as a
// division in double.

// acc[x] += bytes[x] over n samples.
void AddBytesTo16(uint16_t* acc, const uint8_t* bytes, int64_t n) {
  const D16 d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  int64_t x = 0;
  for (; x + lanes <= n; x += lanes) hn::StoreU(hn::Add(hn::LoadU(d, acc + x), LoadBytesAs16(d, bytes + x)), d, acc + x);
  for (; x < n; ++x) acc[x] = static_cast<uint16_t>(acc[x] + bytes[x]);
}

// out[x] = RoundToByte(acc[x] / count) over n samples.
void MeanToBytes(const uint16_t* acc, int64_t n, float count, uint8_t* out) {
  const DF df;
  const hn::Rebind<uint16_t, DF> d16;
  const hn::Rebind<int32_t, DF> di;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(df));
  const auto divisor = hn::Set(df, count);
  int64_t x = 0;
  for (; x + lanes <= n; x += lanes) {
    const auto sum = hn::ConvertTo(df, hn::BitCast(di, hn::PromoteTo(hn::RebindToUnsigned<decltype(di)>(), hn::LoadU(d16, acc + x))));
    StoreFloatAsBytes(df, hn::Div(sum, divisor), out + x);
  }
  for (; x < n; ++x) out[x] = RoundToByteF(static_cast<float>(acc[x]) / count);
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(GaussianPlanes);
HWY_EXPORT(AddBytesTo16);
HWY_EXPORT(MeanToBytes);

// The composite of one row of results with the untouched samples through alpha.
void MixRow(uint8_t* out, const uint8_t* original, const uint8_t* alpha, int64_t n) {
  for (int64_t x = 0; x < n; ++x) out[x] = AlphaMix(out[x], original[x], alpha[x]);
}

// Zoom blur works on pixels as four floats (red, green, blue and an unused one) so that
// each sample position is worked out once for the three channels.
struct Px {
  float c[4];
};
using PxBytes = std::array<uint8_t, 4>;

inline Px LoadPx(const PxBytes& p) { return {{float(p[0]), float(p[1]), float(p[2]), float(p[3])}}; }

// a + (b - a) * w, channel by channel.
inline Px Lerp(const Px& a, const Px& b, float w) {
  Px r;
  for (int i = 0; i < 4; ++i) r.c[i] = a.c[i] + (b.c[i] - a.c[i]) * w;
  return r;
}

// Accumulates the samples of one zoom step for one row: the row blended from rows a and b
// (interleaved pixels) by wy, read at the fixed-point columns (pos + x * step) / 65536,
// clamped to 0..max_pos, with linear weights.
void ZoomStepRow(const PxBytes* a, const PxBytes* b, float wy, int64_t columns, int64_t pos, int64_t step,
                 int64_t max_pos, Px* blended, Px* acc) {
  for (int64_t x = 0; x < columns; ++x) blended[x] = Lerp(LoadPx(a[x]), LoadPx(b[x]), wy);
  blended[columns] = blended[columns - 1];  // the right neighbour of the last column is itself
  for (int64_t x = 0; x < columns; ++x) {
    const int64_t p = std::clamp<int64_t>(pos + x * step, 0, max_pos);
    const int64_t xa = p >> 16;
    const float wx = static_cast<float>(p & 0xFFFF) * (1.0f / 65536.0f);
    const Px s = Lerp(blended[xa], blended[xa + 1], wx);
    for (int i = 0; i < 4; ++i) acc[x].c[i] += s.c[i];
  }
}

}  // namespace

double GaussianSigmaForRadius(int32_t radius) { return radius > 0 ? radius / 3.0 : 0.0; }

void GaussianBlur(std::span<const PlaneView> planes, int32_t radius) {
  if (planes.empty() || radius <= 0) return;
  if (planes[0].width <= 0 || planes[0].height <= 0) return;
  HWY_DYNAMIC_DISPATCH(GaussianPlanes)(planes.data(), planes.size(), radius);
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
        for (int64_t x = 0; x < columns; ++x) out[x] = RoundToByteF(acc[x].c[c] * inv_n);
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
    std::vector<uint16_t> acc16(static_cast<size_t>(w));
    std::vector<uint32_t> acc32(n + 1 > kMaxSums16 ? static_cast<size_t>(w) : 0);
    const auto add16 = HWY_DYNAMIC_DISPATCH(AddBytesTo16);
    const auto mean16 = HWY_DYNAMIC_DISPATCH(MeanToBytes);
    for (int64_t y = ya; y < yb; ++y) {
      const int64_t o = y * stride;
      for (int c = 0; c < 3; ++c) {
        // Columns whose sample falls left of the frame, inside it, and right of it.
        auto add_row = [&]<typename Sum>(Sum* a, int32_t k, auto add_inside) {
          const uint8_t* row = src[c] + std::clamp<int64_t>(y + oy[k], 0, h - 1) * stride;
          const int64_t off = ox[k];
          const int64_t lo = std::clamp<int64_t>(-off, 0, w);
          const int64_t hi = std::clamp<int64_t>(w - off, 0, w);
          const Sum left = row[0], right = row[w - 1];
          for (int64_t x = 0; x < lo; ++x) a[x] = static_cast<Sum>(a[x] + left);
          add_inside(a + lo, row + off + lo, hi - lo);
          for (int64_t x = hi; x < w; ++x) a[x] = static_cast<Sum>(a[x] + right);
        };
        if (n + 1 <= kMaxSums16) {
          std::fill(acc16.begin(), acc16.end(), uint16_t{0});
          for (int32_t k = 0; k <= n; ++k) add_row(acc16.data(), k, add16);
          mean16(acc16.data(), w, static_cast<float>(count), dst[c] + o);
        } else {
          std::fill(acc32.begin(), acc32.end(), 0u);
          for (int32_t k = 0; k <= n; ++k)
            add_row(acc32.data(), k, [](uint32_t* a, const uint8_t* s, int64_t m) {
              for (int64_t x = 0; x < m; ++x) a[x] += s[x];
            });
          for (int64_t x = 0; x < w; ++x) dst[c][o + x] = RoundToByte(acc32[x] / count);
        }
        if (flag == 0) MixRow(dst[c] + o, src[c] + o, host_a + o, w);
      }
    }
  });
}

}  // namespace tessfx
#endif  // HWY_ONCE
