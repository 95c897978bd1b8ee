#include "effects/geometric.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/convert.h"
#include "effects/frame.h"
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

}  // namespace

void FxMirage(ImageState& s) {
  const int32_t w = s.width, h = s.height;
  if (w >= 2 && h >= 2) {
    ForEachRowBand(1, h, int64_t{w} * 3, [&](int32_t y0, int32_t y1) {
      MirageSteps steps;
      for (int32_t y = y0; y < y1; ++y) {
        BuildMirageSteps(steps, y, h);
        for (auto [host, work] : {std::pair{&s.host_r, &s.work_r}, std::pair{&s.host_g, &s.work_g},
                                  std::pair{&s.host_b, &s.work_b}})
          MirageRow((*host)[h - y], (*host)[y], (*work)[y], w, steps);
      }
    });
  }
  CompositeStep(s);
}

void FxMosaic(ImageState& s, float block_size) {
  const int32_t n = RoundHalfEven(block_size);
  if (n < 1) return;
  const int32_t w = s.width, h = s.height;
  if (w > 0 && h > 0) {
    const int64_t stride = int64_t{w} + 1;
    std::vector<int32_t> source_column(static_cast<size_t>(w));
    for (int32_t x = 0; x < w; ++x)
      source_column[static_cast<size_t>(x)] = std::clamp(TruncDiv(x, n) * n + n / 2, 0, w - 1);
    const int32_t* sx = source_column.data();
    const size_t row_bytes = static_cast<size_t>(w);
    // Rows of one block row are equal: the first row of each block row (or of the band)
    // is sampled, the others are copies of it.
    ForEachRowBand(0, h, int64_t{w} * 3, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) {
        const bool first = y == y0 || y % n == 0;
        const int32_t sy = std::clamp(TruncDiv(y, n) * n + n / 2, 0, h - 1);
        for (auto [host, work] : {std::pair{&s.host_r, &s.work_r}, std::pair{&s.host_g, &s.work_g},
                                  std::pair{&s.host_b, &s.work_b}}) {
          uint8_t* out = work->data() + y * stride;
          if (first)
            GatherRow(host->data() + sy * stride, sx, out, w);
          else
            std::memcpy(out, out - stride, row_bytes);
        }
      }
    });
  }
  CompositeStep(s);
}

namespace {

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
  int64_t reach;            // largest |offset|
  const int64_t* offset;    // offset of each swap sample value
  const int32_t* wrap_x;    // WrapTable of the width, or nullptr: wrap arithmetically
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

}  // namespace

void FxDisplace(ImageState& s, float amount) {
  const int32_t w = s.width, h = s.height;
  if (w < 128 && h < 128) return;
  s.FetchSwapPlanes();
  const int32_t k = FloorToInt(amount);
  if (k == 0) return;
  if (w < 1 || h < 1 || !SwapFitsFrame(s)) return;  // nothing to wrap around, or no swap image
  // The offset of every swap sample value; the same for columns (red) and rows (green).
  std::array<int64_t, 256> offset{};
  int64_t reach = 0;
  for (int32_t v = 0; v < 256; ++v) {
    offset[static_cast<size_t>(v)] = (int64_t{v - 128} * k) / 255;
    reach = std::max<int64_t>(reach, std::llabs(offset[static_cast<size_t>(v)]));
  }
  const int64_t stride = int64_t{w} + 1;
  // Positions wrap through tables for the amounts the slider gives; amounts far beyond
  // that wrap arithmetically instead of building tables larger than the frame many times.
  const bool tables = reach <= 4 * int64_t{std::max(w, h)} + 1024;
  std::vector<int32_t> wrap_x, wrap_y;
  if (tables) {
    wrap_x = WrapTable(w, reach);
    wrap_y = WrapTable(h, reach);
  }
  const DisplaceSource src{s.host_r.data(), s.host_g.data(), s.host_b.data(), stride, w, h, reach,
                           offset.data(), tables ? wrap_x.data() : nullptr, tables ? wrap_y.data() : nullptr};
  ForEachRowBand(0, h + 1, stride * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int64_t o = y * stride;
      DisplaceRow(src, y, s.swap_r.data() + o, s.swap_g.data() + o, s.work_r.data() + o, s.work_g.data() + o,
                  s.work_b.data() + o);
    }
  });
  CompositeStep(s);
}

}  // namespace tessfx
