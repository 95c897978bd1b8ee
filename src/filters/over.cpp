#include "filters/over.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "filters/blend.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// out = AlphaMix(top, bottom, alpha) over one row.
void OverRow(uint8_t* __restrict out, const uint8_t* __restrict bottom, const uint8_t* __restrict top,
             const uint8_t* __restrict alpha, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = AlphaMix(top[x], bottom[x], alpha[x]);
}

// Row y of one step of growth: each sample becomes the largest of itself and its four
// neighbours inside the frame. Outside the frame a neighbour is the sample itself, which
// leaves the maximum alone.
void GrowRow(const uint8_t* __restrict up, const uint8_t* __restrict mid, const uint8_t* __restrict down,
             uint8_t* __restrict out, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = std::max(mid[x], std::max(up[x], down[x]));
  if (width < 2) return;
  const uint8_t first = std::max(out[0], mid[1]), last = std::max(out[width - 1], mid[width - 2]);
  for (int32_t x = 1; x + 1 < width; ++x) out[x] = std::max(out[x], std::max(mid[x - 1], mid[x + 1]));
  out[0] = first;
  out[width - 1] = last;
}

// One step of growth over `in` and `out`, width x height samples row after row.
void GrowOnce(const uint8_t* in, uint8_t* out, int32_t width, int32_t height) {
  ForEachFrameRow(width, height, 1, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t* mid = in + int64_t{y} * width;
      GrowRow(y > 0 ? mid - width : mid, mid, y + 1 < height ? mid + width : mid, out + int64_t{y} * width, width);
    }
  });
}

// out = top over (rim colour over bottom through rim) through alpha, over one row.
void OutlinedRow(uint8_t* __restrict out, const uint8_t* __restrict bottom, const uint8_t* __restrict top,
                 const uint8_t* __restrict rim, const uint8_t* __restrict alpha, uint8_t edge, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = AlphaMix(top[x], AlphaMix(edge, bottom[x], rim[x]), alpha[x]);
}

}  // namespace

void StraightOver(RgbView work, ConstRgbView bottom, ConstRgbView top, ConstPlaneView top_alpha) {
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      OverRow(work.r.row(y), bottom.r.row(y), top.r.row(y), top_alpha.row(y), width);
      OverRow(work.g.row(y), bottom.g.row(y), top.g.row(y), top_alpha.row(y), width);
      OverRow(work.b.row(y), bottom.b.row(y), top.b.row(y), top_alpha.row(y), width);
    }
  });
}

void OutlinedOver(RgbView work, ConstRgbView bottom, ConstRgbView top, ConstPlaneView top_alpha,
                  const std::array<uint8_t, 3>& colour, int32_t reach) {
  const int32_t width = work.r.width, height = work.r.height;
  if (width <= 0 || height <= 0) return;
  // The alpha grown step by step; two buffers for the frame's samples (no extra column).
  const size_t samples = static_cast<size_t>(width) * static_cast<size_t>(height);
  auto grown = std::make_unique_for_overwrite<uint8_t[]>(samples);
  auto spare = std::make_unique_for_overwrite<uint8_t[]>(samples);
  ForEachFrameRow(width, height, 1, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) std::copy_n(top_alpha.row(y), width, grown.get() + int64_t{y} * width);
  });
  for (int32_t step = 0; step < reach; ++step) {
    GrowOnce(grown.get(), spare.get(), width, height);
    std::swap(grown, spare);
  }
  const uint8_t* outside = grown.get();
  const PlaneView planes[3] = {work.r, work.g, work.b};
  const ConstPlaneView bottoms[3] = {bottom.r, bottom.g, bottom.b}, tops[3] = {top.r, top.g, top.b};
  ForEachFrameRow(width, height, 3, [&](int32_t y0, int32_t y1) {
    auto rim = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(width));  // per band
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t* a = top_alpha.row(y);
      const uint8_t* g = outside + int64_t{y} * width;
      for (int32_t x = 0; x < width; ++x) rim[x] = static_cast<uint8_t>(g[x] - a[x]);  // grown >= alpha
      for (int c = 0; c < 3; ++c)
        OutlinedRow(planes[c].row(y), bottoms[c].row(y), tops[c].row(y), rim.get(), a, colour[static_cast<size_t>(c)],
                    width);
    }
  });
}

std::array<uint8_t, 256> AlphaWipeWeights(int32_t level, int32_t softness) {
  level = std::clamp(level, 0, 255);
  softness = std::clamp(softness, 0, 255);
  // The turning point runs from 0 to 256 + softness, so that at level 255 even alpha 0 has
  // passed its whole soft band.
  const float turn = static_cast<float>(level) * static_cast<float>(256 + softness) / 255.0f;
  std::array<uint8_t, 256> weights{};
  for (int32_t a = 0; a < 256; ++a) {
    const float past = turn - static_cast<float>(255 - a);
    const float w =
        softness > 0 ? std::clamp(past / static_cast<float>(softness), 0.0f, 1.0f) : (past > 0.0f ? 1.0f : 0.0f);
    weights[static_cast<size_t>(a)] = RoundToByteF(255.0f * w);
  }
  return weights;
}

void AlphaWipe(RgbView work, ConstRgbView from, ConstRgbView to, ConstPlaneView alpha, int32_t level,
               int32_t softness) {
  const std::array<uint8_t, 256> weights = AlphaWipeWeights(level, softness);
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    auto w = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(width));  // per band
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t* a = alpha.row(y);
      for (int32_t x = 0; x < width; ++x) w[x] = weights[a[x]];
      OverRow(work.r.row(y), from.r.row(y), to.r.row(y), w.get(), width);
      OverRow(work.g.row(y), from.g.row(y), to.g.row(y), w.get(), width);
      OverRow(work.b.row(y), from.b.row(y), to.b.row(y), w.get(), width);
    }
  });
}

}  // namespace tessfx
