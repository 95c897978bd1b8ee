#include "filters/breeze.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"
#include "filters/sampler.h"

namespace tessfx {
namespace {

// n / d rounded to nearest, halves to the even neighbour.
inline uint64_t DivideRounded(uint64_t n, uint64_t d) {
  const uint64_t q = n / d, r = n % d;
  return q + ((2 * r > d || (2 * r == d && (q & 1))) ? 1 : 0);
}

}  // namespace

double BreezeWave::Phase(double u) const {
  const auto cycles = [](double v) { return v - std::floor(v); };
  const double whole = cycles(cycles(speed * time) + cycles(offset));
  return 2.0 * std::numbers::pi * (frequency * u - whole);
}

void ShiftColumns(RgbView out, ConstRgbView src, const int32_t* lift, const int32_t* gain) {
  const int32_t w = out.r.width, h = out.r.height;
  if (w <= 0 || h <= 0) return;
  const int32_t stride = static_cast<int32_t>(src.r.stride);
  const std::array<const uint8_t*, 3> in = {src.r.data, src.g.data, src.b.data};
  const std::array<PlaneView, 3> dst = {out.r, out.g, out.b};
  // Each column's whole rows of shift (clamped to what can still reach the frame) and the
  // weight of the lower of its two source rows.
  std::vector<int32_t> rows(static_cast<size_t>(w)), lower(static_cast<size_t>(w));
  for (int32_t x = 0; x < w; ++x) {
    const int32_t l = std::clamp(lift[x], -(h + 1) * kSubpixel, (h + 1) * kSubpixel);
    rows[static_cast<size_t>(x)] = l >> kSubpixelBits;
    lower[static_cast<size_t>(x)] = l & (kSubpixel - 1);
  }
  ForEachFrameRow(w, h, 3 * 2, [&](int32_t r0, int32_t r1) {
    std::vector<int32_t> o0(static_cast<size_t>(w)), o1(static_cast<size_t>(w)), w0(static_cast<size_t>(w)),
        w1(static_cast<size_t>(w));
    for (int32_t y = r0; y < r1; ++y) {
      // The two source rows of every column and their weights (0 beyond the frame).
      for (int32_t x = 0; x < w; ++x) {
        const int32_t y0 = y + rows[static_cast<size_t>(x)], y1 = y0 + 1, f = lower[static_cast<size_t>(x)];
        w0[x] = (y0 >= 0 && y0 < h) ? kSubpixel - f : 0;
        w1[x] = (y1 >= 0 && y1 < h) ? f : 0;
        o0[x] = std::clamp(y0, 0, h - 1) * stride + x;
        o1[x] = std::clamp(y1, 0, h - 1) * stride + x;
      }
      for (size_t c = 0; c < 3; ++c) {
        const uint8_t* s = in[c];
        uint8_t* d = dst[c].row(y);
        for (int32_t x = 0; x < w; ++x) {
          const int32_t v = s[o0[x]] * w0[x] + s[o1[x]] * w1[x];  // 256 x the sample
          d[x] = static_cast<uint8_t>(std::min((v * gain[x] + 32768) >> 16, 255));
        }
      }
    }
  });
}

void StampSwayingBrush(RgbView work, const BrushPlanes& brush, const BrushPlacement& at) {
  const int32_t bw = brush.a.width, bh = brush.a.height;
  const int32_t w = work.r.width, h = work.r.height;
  if (bw <= 0 || bh <= 0 || w <= 0 || h <= 0) return;
  if (!std::isfinite(at.left) || !std::isfinite(at.top) || !std::isfinite(at.sway)) return;
  // The box the brush can sweep, clipped to the frame.
  const double reach = std::abs(at.sway) + 2;
  const double x_first = std::max(0.0, std::floor(at.left - reach)),
               x_last = std::min(w - 1.0, std::ceil(at.left + bw + reach));
  const double y_first = std::max(0.0, std::floor(at.top - 1)), y_last = std::min(h - 1.0, std::ceil(at.top + bh + 1));
  if (x_first > x_last || y_first > y_last) return;
  const int32_t x0 = static_cast<int32_t>(x_first), x1 = static_cast<int32_t>(x_last) + 1;
  const int32_t y0 = static_cast<int32_t>(y_first), y1 = static_cast<int32_t>(y_last) + 1;

  const std::array<ConstPlaneView, 3> colour = {brush.r, brush.g, brush.b};
  const std::array<PlaneView, 3> out = {work.r, work.g, work.b};
  constexpr uint64_t kFull = 255u * 65536u;  // alpha 255 with weights summing to 65536
  ForEachRowBand(y0, y1, int64_t{x1 - x0} * 3 * 4, [&](int32_t r0, int32_t r1) {
    for (int32_t y = r0; y < r1; ++y) {
      // This row's place in the brush, and its sway.
      const double v = y - at.top;
      const double share = bh > 1 ? std::clamp((bh - 1 - v) / (bh - 1), 0.0, 1.0) : 0.0;
      const double dx = at.sway * share * share * std::sin(at.wave.Phase(share));
      const int32_t sv = ToSubpixel(v);
      const int32_t j0 = sv >> kSubpixelBits, fy = sv & (kSubpixel - 1), j1 = j0 + 1;
      const uint32_t wy0 = (j0 >= 0 && j0 < bh) ? static_cast<uint32_t>(kSubpixel - fy) : 0;
      const uint32_t wy1 = (j1 >= 0 && j1 < bh) ? static_cast<uint32_t>(fy) : 0;
      if (wy0 + wy1 == 0) continue;
      const int32_t row0 = std::clamp(j0, 0, bh - 1), row1 = std::clamp(j1, 0, bh - 1);
      const uint8_t* a0 = brush.a.row(row0);
      const uint8_t* a1 = brush.a.row(row1);
      const int32_t u_base = ToSubpixel(-at.left - dx);
      for (int32_t x = x0; x < x1; ++x) {
        const int64_t su = (int64_t{x} << kSubpixelBits) + u_base;
        const int64_t i0 = su >> kSubpixelBits, i1 = i0 + 1;
        const uint32_t fx = static_cast<uint32_t>(su & (kSubpixel - 1));
        const uint32_t wx0 = (i0 >= 0 && i0 < bw) ? kSubpixel - fx : 0;
        const uint32_t wx1 = (i1 >= 0 && i1 < bw) ? fx : 0;
        if (wx0 + wx1 == 0) continue;
        const size_t c0 = static_cast<size_t>(std::clamp<int64_t>(i0, 0, bw - 1));
        const size_t c1 = static_cast<size_t>(std::clamp<int64_t>(i1, 0, bw - 1));
        // Bilinear sums (weights summing to 65536) of alpha and of colour times alpha.
        const uint64_t cover =
            uint64_t{a0[c0] * wx0 + a0[c1] * wx1} * wy0 + uint64_t{a1[c0] * wx0 + a1[c1] * wx1} * wy1;
        if (cover == 0) continue;
        for (size_t c = 0; c < 3; ++c) {
          const uint8_t* p0 = colour[c].row(row0);
          const uint8_t* p1 = colour[c].row(row1);
          const uint64_t paint = uint64_t{p0[c0] * a0[c0] * wx0 + p0[c1] * a0[c1] * wx1} * wy0 +
                                 uint64_t{p1[c0] * a1[c0] * wx0 + p1[c1] * a1[c1] * wx1} * wy1;
          uint8_t& d = out[c].row(y)[x];
          d = static_cast<uint8_t>(DivideRounded(paint + uint64_t{d} * (kFull - cover), kFull));
        }
      }
    }
  });
}

}  // namespace tessfx
