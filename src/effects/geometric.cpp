// Geometric effects that rebuild the frame from samples of the untouched frame (host
// planes) into the working planes: "Mirage", "Mosaic" and "Displace".
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/convert.h"
#include "effects/families.h"
#include "filters/parallel.h"

namespace tessfx {

namespace {

// The mirage of row y: out = (mirror * y + own * (h - y)) / h, truncating. As own * h / h is
// whole, this is own + floor((mirror - own) * y / h), whose second term depends on the
// difference alone: a table of the 511 differences per row, built by stepping the remainder
// (no division), turns every sample into one look-up.
using MirageSteps = std::array<int32_t, 511>;

// steps[255 + d] = floor(d * y / h) for d = -255..255 (y < h, so the quotient grows by at
// most one per unit of d).
void BuildMirageSteps(MirageSteps& steps, int32_t y, int32_t h) {
  int32_t q = 0, r = 0;  // d * y = q * h + r, 0 <= r < h
  steps[255] = 0;
  for (int32_t d = 1; d <= 255; ++d) {
    r += y;
    if (r >= h) {
      r -= h;
      ++q;
    }
    steps[static_cast<size_t>(255 + d)] = q;
    steps[static_cast<size_t>(255 - d)] = r == 0 ? -q : -q - 1;
  }
}

// Columns 1..width-1 of one plane's row.
void MirageRow(const uint8_t* mirror, const uint8_t* own, uint8_t* out, int32_t width, const MirageSteps& steps) {
  const int32_t* step = steps.data() + 255;
  for (int32_t x = 1; x < width; ++x) out[x] = ClampByte(own[x] + step[mirror[x] - own[x]]);
}

void GatherRow(const uint8_t* src, const int32_t* columns, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = src[columns[x]];
}

// Mixes row y with row height - y in the proportion y : (height - y), integer division
// truncating, over rows 1..height-1 and columns 1..width-1.
void FxMirage(EffectFrame& f) {
  const int32_t w = f.width, h = f.height;
  if (w < 2 || h < 2) return;
  ForEachRowBand(1, h, int64_t{w} * 3, [&](int32_t y0, int32_t y1) {
    MirageSteps steps;
    for (int32_t y = y0; y < y1; ++y) {
      BuildMirageSteps(steps, y, h);
      for (auto [host, work] :
           {std::pair{f.host.r, f.work.r}, std::pair{f.host.g, f.work.g}, std::pair{f.host.b, f.work.b}})
        MirageRow(host.row(h - y), host.row(y), work.row(y), w, steps);
    }
  });
}

// Blocks of n x n pixels (n = block_size rounded half to even) take the sample at the
// block's upper-left corner plus n / 2, clamped to the frame; rows 0..height-1, columns
// 0..width-1. A block size below 1 leaves the frame unchanged.
void FxMosaic(EffectFrame& f, float block_size) {
  const int32_t n = RoundHalfEven(block_size);
  if (n < 1) return;
  const int32_t w = f.width, h = f.height;
  if (w <= 0 || h <= 0) return;
  std::vector<int32_t> source_column(static_cast<size_t>(w));
  for (int32_t x = 0; x < w; ++x)
    source_column[static_cast<size_t>(x)] = std::clamp(TruncDiv(x, n) * n + n / 2, 0, w - 1);
  const int32_t* sx = source_column.data();
  const size_t row_bytes = static_cast<size_t>(w);
  // Rows of one block row are equal: the first row of each block row (or of the band) is
  // sampled, the others are copies of it.
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const bool first = y == y0 || y % n == 0;
      const int32_t sy = std::clamp(TruncDiv(y, n) * n + n / 2, 0, h - 1);
      for (auto [host, work] :
           {std::pair{f.host.r, f.work.r}, std::pair{f.host.g, f.work.g}, std::pair{f.host.b, f.work.b}}) {
        uint8_t* out = work.row(y);
        if (first)
          GatherRow(host.row(sy), sx, out, w);
        else
          std::memcpy(out, work.row(y - 1), row_bytes);
      }
    }
  });
}

// |v| mod size for every v in -reach..size+reach, as a table indexed v + reach.
std::vector<int32_t> WrapTable(int32_t size, int64_t reach) {
  std::vector<int32_t> t(static_cast<size_t>(size + 2 * reach + 1));
  for (int64_t v = -reach; v <= size + reach; ++v)
    t[static_cast<size_t>(v + reach)] = static_cast<int32_t>(std::llabs(v) % size);
  return t;
}

struct DisplaceSource {
  const uint8_t *r, *g, *b;  // host planes
  int64_t stride;
  int32_t width, height;
  int64_t reach;          // largest |offset|
  const int64_t* offset;  // offset of each swap sample value
  const int32_t* wrap_x;  // WrapTable of the width, or nullptr: wrap arithmetically
  const int32_t* wrap_y;
};

// Row y of the displaced frame, columns 0..width.
void DisplaceRow(const DisplaceSource& src, int32_t y, const uint8_t* swap_r, const uint8_t* swap_g, uint8_t* wr,
                 uint8_t* wg, uint8_t* wb) {
  const int32_t w = src.width, h = src.height;
  const int64_t reach = src.reach, stride = src.stride;
  const int64_t* offset = src.offset;
  const int32_t* wrap_x = src.wrap_x;
  const int32_t* wrap_y = src.wrap_y;
  for (int32_t x = 0; x <= w; ++x) {
    const int64_t vx = x + offset[swap_r[x]], vy = y + offset[swap_g[x]];
    const int64_t sx = wrap_x ? wrap_x[vx + reach] : std::llabs(vx) % w;
    const int64_t sy = wrap_y ? wrap_y[vy + reach] : std::llabs(vy) % h;
    const int64_t at = sy * stride + sx;
    wr[x] = src.r[at];
    wg[x] = src.g[at];
    wb[x] = src.b[at];
  }
}

// Moves every pixel by an offset read from the swap image: with k = floor(amount),
// dx = ((swap R - 128) k) / 255 and dy = ((swap G - 128) k) / 255 (truncating), the pixel
// (x, y) takes host (|x + dx| mod width, |y + dy| mod height), over rows 0..height and
// columns 0..width. Frames with both sides below 128 are left alone, and so is k = 0.
void FxDisplace(EffectFrame& f, float amount) {
  const int32_t w = f.width, h = f.height;
  if (w < 128 && h < 128) return;
  const int32_t k = FloorToInt(amount);
  if (k == 0) return;
  if (w < 1 || h < 1) return;  // nothing to wrap around
  // The offset of every swap sample value; the same for columns (red) and rows (green).
  std::array<int64_t, 256> offset{};
  int64_t reach = 0;
  for (int32_t v = 0; v < 256; ++v) {
    offset[static_cast<size_t>(v)] = (int64_t{v - 128} * k) / 255;
    reach = std::max<int64_t>(reach, std::llabs(offset[static_cast<size_t>(v)]));
  }
  const int64_t stride = f.host.r.stride;
  // Positions wrap through tables for the amounts the slider gives; amounts far beyond
  // that wrap arithmetically instead of building tables larger than the frame many times.
  const bool tables = reach <= 4 * int64_t{std::max(w, h)} + 1024;
  std::vector<int32_t> wrap_x, wrap_y;
  if (tables) {
    wrap_x = WrapTable(w, reach);
    wrap_y = WrapTable(h, reach);
  }
  const DisplaceSource src{f.host.r.data,
                           f.host.g.data,
                           f.host.b.data,
                           stride,
                           w,
                           h,
                           reach,
                           offset.data(),
                           tables ? wrap_x.data() : nullptr,
                           tables ? wrap_y.data() : nullptr};
  ForEachPlaneRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      DisplaceRow(src, y, f.swap.r.row(y), f.swap.g.row(y), f.work.r.row(y), f.work.g.row(y), f.work.b.row(y));
  });
}

}  // namespace

std::span<const EffectDef> GeometricEffects() {
  static const EffectDef effects[] = {
      {.name = "Mosaic",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Step size", 1, 100, 8)},
       .description = "Square blocks of the step size, each one colour",
       .run = [](EffectFrame& f, const EffectParams& p) { FxMosaic(f, p[0]); }},
      {.name = "Mirage",
       .category = "Transform",
       .description = "Mixes each row with its mirror image, more towards the bottom, like a reflection on water",
       .run = [](EffectFrame& f, const EffectParams&) { FxMirage(f); }},
      {.name = "Displace",
       .category = "Displace by swap",
       .sliders = {SliderMaxFirst("Max displace", 0, 255, 0)},
       .inputs = kSwapImage,
       .description = "Moves each pixel by the swap image's red (across) and green (down), up to half the slider",
       .run = [](EffectFrame& f, const EffectParams& p) { FxDisplace(f, p[0]); }},
  };
  return effects;
}

}  // namespace tessfx
