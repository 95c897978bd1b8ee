#include "filters/sampler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Positions beyond this many pixels from the origin are outside every frame.
constexpr double kFarPixels = 1 << 22;

// The bilinear taps of one output row: the offsets of the four source samples around
// each position and the weights of its two columns and two rows (8-bit fractions; a tap
// beyond the frame weighs 0 under the black border).
struct Taps {
  explicit Taps(size_t n) : o00(n), o01(n), o10(n), o11(n), wx0(n), wx1(n), wy0(n), wy1(n) {}
  std::vector<int32_t> o00, o01, o10, o11;
  std::vector<int32_t> wx0, wx1, wy0, wy1;
};

// The frame a source plane set describes.
struct Source {
  std::array<const uint8_t*, 3> planes;
  int32_t w, h;
  int32_t stride;
};

Source SourceOf(ConstRgbView v) {
  return {{v.r.data, v.g.data, v.b.data}, v.r.width, v.r.height, static_cast<int32_t>(v.r.stride)};
}

// The taps of positions (px, py), already clamped to where they can still touch the frame.
void FillTaps(const int32_t* __restrict qx, const int32_t* __restrict qy, int32_t n, int32_t w, int32_t h,
              int32_t stride, int32_t* __restrict wx0, int32_t* __restrict wx1, int32_t* __restrict wy0,
              int32_t* __restrict wy1, int32_t* __restrict o00, int32_t* __restrict o01, int32_t* __restrict o10,
              int32_t* __restrict o11) {
  for (int32_t x = 0; x < n; ++x) {
    const int32_t px = qx[x], py = qy[x];
    const int32_t x0 = px >> kSubpixelBits, y0 = py >> kSubpixelBits;
    const int32_t fx = px & (kSubpixel - 1), fy = py & (kSubpixel - 1);
    const int32_t x1 = x0 + 1, y1 = y0 + 1;
    wx0[x] = (x0 >= 0 && x0 < w) ? kSubpixel - fx : 0;
    wx1[x] = x1 < w ? fx : 0;
    wy0[x] = (y0 >= 0 && y0 < h) ? kSubpixel - fy : 0;
    wy1[x] = y1 < h ? fy : 0;
    const int32_t cx0 = std::clamp(x0, 0, w - 1), cx1 = std::clamp(x1, 0, w - 1);
    const int32_t r0 = std::clamp(y0, 0, h - 1) * stride, r1 = std::clamp(y1, 0, h - 1) * stride;
    o00[x] = r0 + cx0;
    o01[x] = r0 + cx1;
    o10[x] = r1 + cx0;
    o11[x] = r1 + cx1;
  }
}

// Positions are clamped in place: to the edge for the clamped border, to one pixel beyond
// it (which is black already) for the black border.
void MakeTaps(int32_t* qx, int32_t* qy, int32_t n, const Source& s, SampleBorder border, Taps& t) {
  const bool clamp = border == SampleBorder::Clamp;
  const int32_t w = s.w, h = s.h;
  const int32_t lo_x = clamp ? 0 : -kSubpixel, hi_x = clamp ? (w - 1) << kSubpixelBits : w << kSubpixelBits;
  const int32_t lo_y = clamp ? 0 : -kSubpixel, hi_y = clamp ? (h - 1) << kSubpixelBits : h << kSubpixelBits;
  for (int32_t x = 0; x < n; ++x) {
    qx[x] = std::clamp(qx[x], lo_x, hi_x);
    qy[x] = std::clamp(qy[x], lo_y, hi_y);
  }
  FillTaps(qx, qy, n, w, h, s.stride, t.wx0.data(), t.wx1.data(), t.wy0.data(), t.wy1.data(), t.o00.data(),
           t.o01.data(), t.o10.data(), t.o11.data());
}

// The sum of one bilinear sample, 65536 times the interpolated value.
inline int32_t TapSum(const uint8_t* s, const Taps& t, int32_t x) {
  const int32_t top = s[t.o00[x]] * t.wx0[x] + s[t.o01[x]] * t.wx1[x];
  const int32_t bottom = s[t.o10[x]] * t.wx0[x] + s[t.o11[x]] * t.wx1[x];
  return top * t.wy0[x] + bottom * t.wy1[x];
}

void GatherRow(const uint8_t* s, const Taps& t, uint8_t* __restrict out, int32_t n) {
  for (int32_t x = 0; x < n; ++x) out[x] = static_cast<uint8_t>((TapSum(s, t, x) + 32768) >> 16);
}

// The same sample with 8 more bits: 256 times the interpolated value.
void GatherRow16(const uint8_t* s, const Taps& t, uint16_t* __restrict out, int32_t n) {
  for (int32_t x = 0; x < n; ++x) out[x] = static_cast<uint16_t>((TapSum(s, t, x) + 128) >> 8);
}

// Positions of one row of an affine map, stepped in 2^-24 pixel so that rows do not
// accumulate error and every thread computes the same numbers.
void AffineRow(const AffineMap& m, int32_t y, int32_t x_begin, int32_t n, int32_t* qx, int32_t* qy) {
  constexpr double kUnit = 16777216.0;  // 2^24 per pixel
  constexpr double kFar = kFarPixels * kUnit;
  const auto fixed = [&](double v) { return static_cast<int64_t>(std::nearbyint(std::clamp(v * kUnit, -kFar, kFar))); };
  const int64_t sx = fixed(m.xx), sy = fixed(m.yx);
  const int64_t bx = fixed(m.xy * y + m.x0 + m.xx * x_begin), by = fixed(m.yy * y + m.y0 + m.yx * x_begin);
  constexpr int64_t kLimit = int64_t{1} << 30;
  for (int32_t i = 0; i < n; ++i) {
    qx[i] = static_cast<int32_t>(std::clamp((bx + sx * i) >> 16, -kLimit, kLimit));
    qy[i] = static_cast<int32_t>(std::clamp((by + sy * i) >> 16, -kLimit, kLimit));
  }
}

// Columns [first, last) of row y whose source position may lie within one pixel of a
// w x h frame; every other column of the row is black under the black border.
std::pair<int32_t, int32_t> AffineSpan(const AffineMap& m, int32_t y, int32_t w, int32_t h, int32_t out_w) {
  double lo = -1e300, hi = 1e300;
  const auto within = [&](double a, double b, double limit) {  // -1 < a x + b < limit
    if (a == 0) {
      if (!(b > -1 && b < limit)) {
        lo = 1;
        hi = 0;
      }
      return;
    }
    double x0 = (-1 - b) / a, x1 = (limit - b) / a;
    if (x0 > x1) std::swap(x0, x1);
    lo = std::max(lo, x0);
    hi = std::min(hi, x1);
  };
  within(m.xx, m.xy * y + m.x0, w);
  within(m.yx, m.yy * y + m.y0, h);
  if (!(lo <= hi)) return {0, 0};
  // Two pixels of margin against rounding.
  const int32_t first = static_cast<int32_t>(std::clamp(std::floor(lo) - 2, 0.0, double(out_w)));
  const int32_t last = static_cast<int32_t>(std::clamp(std::ceil(hi) + 3, 0.0, double(out_w)));
  return {first, std::max(first, last)};
}

// Whole-pixel maps: each of q's coordinates is +-x or +-y plus a whole number.
bool IsWholePixelMap(const AffineMap& m) {
  const auto unit = [](double v) { return v == 0 || v == 1 || v == -1; };
  const auto whole = [](double v) { return std::abs(v) < kFarPixels && v == std::floor(v); };
  return unit(m.xx) && unit(m.xy) && unit(m.yx) && unit(m.yy) && std::abs(m.xx) + std::abs(m.xy) == 1 &&
         std::abs(m.yx) + std::abs(m.yy) == 1 && std::abs(m.xx) != std::abs(m.yx) && whole(m.x0) && whole(m.y0);
}

// A whole-pixel shift: runs of each source row copied, the rest black or the edge repeated.
void ShiftWholePixels(RgbView out, ConstRgbView src, int64_t x0, int64_t y0, SampleBorder border) {
  const int32_t w = out.r.width, h = out.r.height, sw = src.r.width, sh = src.r.height;
  const bool clamp = border == SampleBorder::Clamp;
  const std::array<std::pair<const uint8_t*, PlaneView>, 3> planes = {
      {{src.r.data, out.r}, {src.g.data, out.g}, {src.b.data, out.b}}};
  const int64_t stride = src.r.stride;
  // Columns whose source x + x0 lies in the frame.
  const int64_t first = std::clamp<int64_t>(-x0, 0, w), last = std::clamp<int64_t>(sw - x0, first, w);
  ForEachFrameRow(w, h, 3, [&](int32_t r0, int32_t r1) {
    for (int32_t y = r0; y < r1; ++y) {
      const int64_t sy = y + y0;
      if (!clamp && (sy < 0 || sy >= sh)) {
        for (const auto& [s, o] : planes) std::memset(o.row(y), 0, static_cast<size_t>(w));
        continue;
      }
      const int64_t row = std::clamp<int64_t>(sy, 0, sh - 1) * stride;
      for (const auto& [s, o] : planes) {
        uint8_t* d = o.row(y);
        const uint8_t* from = s + row;
        const uint8_t left = clamp ? from[0] : 0, right = clamp ? from[sw - 1] : 0;
        std::memset(d, left, static_cast<size_t>(first));
        std::memcpy(d + first, from + first + x0, static_cast<size_t>(last - first));
        std::memset(d + last, right, static_cast<size_t>(w - last));
      }
    }
  });
}

// Whole-pixel maps that turn the picture read the source along columns: tiles of 32 x 32
// pixels keep those reads within a few cache lines.
void GatherTurned(RgbView out, ConstRgbView src, const AffineMap& m, SampleBorder border) {
  constexpr int32_t kTile = 32;
  const int32_t w = out.r.width, h = out.r.height, sw = src.r.width, sh = src.r.height;
  const int64_t xx = static_cast<int64_t>(m.xx), xy = static_cast<int64_t>(m.xy);
  const int64_t yx = static_cast<int64_t>(m.yx), yy = static_cast<int64_t>(m.yy);
  const int64_t x0 = static_cast<int64_t>(m.x0), y0 = static_cast<int64_t>(m.y0);
  const bool clamp = border == SampleBorder::Clamp;
  const std::array<std::pair<const uint8_t*, PlaneView>, 3> planes = {
      {{src.r.data, out.r}, {src.g.data, out.g}, {src.b.data, out.b}}};
  const int64_t stride = src.r.stride;
  ForEachRowBand(0, (h + kTile - 1) / kTile, int64_t{w} * kTile * 3, [&](int32_t t0, int32_t t1) {
    for (int32_t strip = t0; strip < t1; ++strip) {
      const int32_t ya = strip * kTile, yb = std::min(h, ya + kTile);
      // (A half turn reads rows backwards: no tiles needed.)
      const int32_t across = yx == 0 ? w : kTile;
      for (int32_t xa = 0; xa < w; xa += across) {
        const int32_t xb = std::min(w, xa + across);
        for (int32_t y = ya; y < yb; ++y) {
          // Along the row the source moves by a whole step: index = at + x * step. The
          // columns whose source lies in the frame form one run [lo, hi).
          const int64_t bx = xy * y + x0, by = yy * y + y0;  // source column and row at x = 0
          int64_t lo = xa, hi = xb;
          for (auto [coef, base, size] : {std::tuple{xx, bx, int64_t{sw}}, std::tuple{yx, by, int64_t{sh}}}) {
            if (coef == 0) {
              if (base < 0 || base >= size) hi = lo;
            } else if (coef > 0) {  // 0 <= base + x < size
              lo = std::max(lo, -base);
              hi = std::min(hi, size - base);
            } else {  // 0 <= base - x < size
              lo = std::max(lo, base - size + 1);
              hi = std::min(hi, base + 1);
            }
          }
          lo = std::min<int64_t>(lo, xb);
          hi = std::clamp<int64_t>(hi, lo, xb);
          const int64_t at = by * stride + bx, step = yx * stride + xx;
          for (const auto& [s, o] : planes) {
            uint8_t* d = o.row(y);
            if (step == -1 && hi > lo)  // a half turn: the row read backwards
              std::reverse_copy(s + at - (hi - 1), s + at - lo + 1, d + lo);
            else
              for (int64_t x = lo; x < hi; ++x) d[x] = s[at + x * step];
            for (auto [from, to] : {std::pair{int64_t{xa}, lo}, std::pair{hi, int64_t{xb}}})
              for (int64_t x = from; x < to; ++x) {
                const int64_t sx = std::clamp<int64_t>(xx * x + bx, 0, sw - 1),
                              sy = std::clamp<int64_t>(yx * x + by, 0, sh - 1);
                d[x] = clamp ? s[sy * stride + sx] : 0;
              }
          }
        }
      }
    }
  });
}

// A half-size copy of a level: each pixel the mean of a 2 x 2 block (the last column or
// row repeated on odd sizes), rounded half up.
std::array<Plane, 3> HalfSize(const Source& s) {
  const int32_t w = (s.w + 1) / 2, h = (s.h + 1) / 2;
  std::array<Plane, 3> level{Plane(w, h), Plane(w, h), Plane(w, h)};
  ForEachFrameRow(w, h, 3 * 4, [&](int32_t r0, int32_t r1) {
    for (int32_t y = r0; y < r1; ++y) {
      const int64_t a = int64_t{2 * y} * s.stride, b = int64_t{std::min(2 * y + 1, s.h - 1)} * s.stride;
      for (size_t c = 0; c < 3; ++c) {
        const uint8_t* p = s.planes[c];
        uint8_t* d = level[c][y];
        for (int32_t x = 0; x < w; ++x) {
          const int32_t x0 = 2 * x, x1 = std::min(2 * x + 1, s.w - 1);
          d[x] = static_cast<uint8_t>((p[a + x0] + p[a + x1] + p[b + x0] + p[b + x1] + 2) >> 2);
        }
      }
    }
  });
  return level;
}

// The map onto level k of the pyramid, whose pixel (i, j) covers the 2^k x 2^k block at
// (2^k i, 2^k j) of the source: q_k = (q - (2^k - 1) / 2) / 2^k.
AffineMap OnLevel(const AffineMap& m, int k) {
  const double size = std::ldexp(1.0, k), shift = (size - 1) / 2;
  return {m.xx / size, m.xy / size, (m.x0 - shift) / size, m.yx / size, m.yy / size, (m.y0 - shift) / size};
}

struct Level {
  Source source;
  AffineMap map;
};

// Rows through one level (weight 256) or two levels blended by `weight` / 256 of the second.
void SampleLevels(RgbView out, const Level& a, const Level* b, int32_t weight, SampleBorder border) {
  const int32_t w = out.r.width, h = out.r.height;
  const std::array<PlaneView, 3> outs = {out.r, out.g, out.b};
  ForEachFrameRow(w, h, 3 * (b ? 16 : 8), [&](int32_t r0, int32_t r1) {
    std::vector<int32_t> qx(static_cast<size_t>(w)), qy(static_cast<size_t>(w));
    std::vector<uint16_t> va(static_cast<size_t>(w)), vb(static_cast<size_t>(w));
    Taps ta(static_cast<size_t>(w)), tb(static_cast<size_t>(w));
    for (int32_t y = r0; y < r1; ++y) {
      int32_t first = 0, last = w;
      if (border == SampleBorder::Black) {
        // The union of the levels' spans: each level's frame reaches a little differently.
        std::tie(first, last) = AffineSpan(a.map, y, a.source.w, a.source.h, w);
        if (b) {
          const auto [f2, l2] = AffineSpan(b->map, y, b->source.w, b->source.h, w);
          if (last <= first)
            std::tie(first, last) = std::pair{f2, l2};
          else if (l2 > f2)
            std::tie(first, last) = std::pair{std::min(first, f2), std::max(last, l2)};
        }
        for (const PlaneView& o : outs) {
          std::memset(o.row(y), 0, static_cast<size_t>(first));
          std::memset(o.row(y) + last, 0, static_cast<size_t>(w - last));
        }
      }
      const int32_t n = last - first;
      if (n <= 0) continue;
      AffineRow(a.map, y, first, n, qx.data(), qy.data());
      MakeTaps(qx.data(), qy.data(), n, a.source, border, ta);
      if (!b) {
        for (size_t c = 0; c < 3; ++c) GatherRow(a.source.planes[c], ta, outs[c].row(y) + first, n);
        continue;
      }
      AffineRow(b->map, y, first, n, qx.data(), qy.data());
      MakeTaps(qx.data(), qy.data(), n, b->source, border, tb);
      const int32_t keep = kSubpixel - weight;
      for (size_t c = 0; c < 3; ++c) {
        GatherRow16(a.source.planes[c], ta, va.data(), n);
        GatherRow16(b->source.planes[c], tb, vb.data(), n);
        uint8_t* d = outs[c].row(y) + first;
        for (int32_t x = 0; x < n; ++x) d[x] = static_cast<uint8_t>((va[x] * keep + vb[x] * weight + 32768) >> 16);
      }
    }
  });
}

}  // namespace

int32_t ToSubpixel(double pixels) {
  if (!(std::abs(pixels) < kFarPixels)) return pixels < 0 ? -(1 << 30) : (1 << 30);  // also NaN: far away
  return static_cast<int32_t>(std::nearbyint(pixels * kSubpixel));
}

void SampleRows(RgbView out, ConstRgbView src, SampleBorder border, const RowPositions& positions) {
  const int32_t w = out.r.width, h = out.r.height;
  const Source s = SourceOf(src);
  ForEachFrameRow(w, h, 3 * 8, [&](int32_t r0, int32_t r1) {
    std::vector<int32_t> qx(static_cast<size_t>(w)), qy(static_cast<size_t>(w));
    Taps taps(static_cast<size_t>(w));
    for (int32_t y = r0; y < r1; ++y) {
      positions(y, qx.data(), qy.data());
      MakeTaps(qx.data(), qy.data(), w, s, border, taps);
      GatherRow(s.planes[0], taps, out.r.row(y), w);
      GatherRow(s.planes[1], taps, out.g.row(y), w);
      GatherRow(s.planes[2], taps, out.b.row(y), w);
    }
  });
}

void SampleDisplaced(RgbView out, ConstRgbView src, const DisplacementField& field, SampleBorder border) {
  constexpr int64_t kLimit = int64_t{1} << 30;
  SampleRows(out, src, border, [&](int32_t y, int32_t* qx, int32_t* qy) {
    const int32_t* dx = field.dx + y * field.stride;
    const int32_t* dy = field.dy + y * field.stride;
    const int64_t row = int64_t{y} << kSubpixelBits;
    for (int32_t x = 0; x < out.r.width; ++x) {
      qx[x] = static_cast<int32_t>(std::clamp((int64_t{x} << kSubpixelBits) + dx[x], -kLimit, kLimit));
      qy[x] = static_cast<int32_t>(std::clamp(row + dy[x], -kLimit, kLimit));
    }
  });
}

void SampleAffine(RgbView out, ConstRgbView src, const AffineMap& map, SampleBorder border) {
  if (out.r.width <= 0 || out.r.height <= 0 || src.r.width <= 0 || src.r.height <= 0) return;
  for (double v : {map.xx, map.xy, map.x0, map.yx, map.yy, map.y0})
    if (!std::isfinite(v)) {  // nothing of the source lands anywhere: black
      const int32_t w = out.r.width;
      ForEachFrameRow(w, out.r.height, 3, [&](int32_t y0, int32_t y1) {
        for (int32_t y = y0; y < y1; ++y) out.ForEach([&](const PlaneView& p) { std::memset(p.row(y), 0, size_t(w)); });
      });
      return;
    }
  if (IsWholePixelMap(map)) {
    if (map.xx == 1 && map.yy == 1)
      ShiftWholePixels(out, src, static_cast<int64_t>(map.x0), static_cast<int64_t>(map.y0), border);
    else
      GatherTurned(out, src, map, border);
    return;
  }
  // Source pixels per output pixel; beyond 2 the source is read from smaller copies, at
  // the level (fractional) where the step comes back to 2, blended between its neighbours.
  const double step = std::sqrt(std::abs(map.xx * map.yy - map.xy * map.yx));
  const double lod = step > 2 ? std::log2(step) - 1 : 0;
  const Source full = SourceOf(src);
  if (!(lod > 0)) {
    SampleLevels(out, {full, map}, nullptr, 0, border);
    return;
  }
  std::vector<std::array<Plane, 3>> pyramid;
  std::vector<Source> levels{full};
  const int wanted = static_cast<int>(std::min(std::floor(lod) + 1, 30.0));
  while (static_cast<int>(levels.size()) <= wanted && (levels.back().w > 1 || levels.back().h > 1)) {
    pyramid.push_back(HalfSize(levels.back()));
    const std::array<Plane, 3>& p = pyramid.back();
    levels.push_back({{p[0].data(), p[1].data(), p[2].data()}, p[0].width(), p[0].height(), p[0].stride()});
  }
  const int top = static_cast<int>(levels.size()) - 1;
  const int k = std::min(static_cast<int>(std::floor(lod)), top);
  const int32_t weight = k == top ? 0 : RoundHalfEven((lod - k) * kSubpixel);
  const Level a{levels[static_cast<size_t>(k)], OnLevel(map, k)};
  if (weight == 0) return SampleLevels(out, a, nullptr, 0, border);
  const Level b{levels[static_cast<size_t>(k + 1)], OnLevel(map, k + 1)};
  if (weight == kSubpixel) return SampleLevels(out, b, nullptr, 0, border);
  SampleLevels(out, a, &b, weight, border);
}

}  // namespace tessfx
