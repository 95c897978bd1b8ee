#include "filters/lines.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

constexpr int32_t kBandRows = 32;

// Coordinates far off the frame are clamped before they become integers (NaN counts as far).
inline int32_t FloorClamped(float v) {
  return v == v ? static_cast<int32_t>(std::floor(std::clamp(v, -1e8f, 1e8f))) : -100000000;
}
inline float Fraction(float v) { return v - std::floor(v); }
void ColourBytes(const float* __restrict from, uint8_t* __restrict to, int32_t n) {
  for (int32_t x = 0; x < n; ++x) to[x] = FiniteToByteF(from[x]);
}

// The rows [y0, y1) of the frame as one band draws them.
struct Band {
  Band(int32_t first, int32_t last, int32_t width)
      : y0(first), y1(last), w(width), depth(static_cast<size_t>((last - first) * width), 0.0f) {
    for (std::vector<float>& c : colour) c.assign(depth.size(), 0.0f);
  }
  int32_t y0, y1, w;
  std::vector<float> depth;  // the nearest surface's inverse depth; 0: no surface
  std::array<std::vector<float>, 3> colour;
  size_t at(int32_t y, int32_t x) const {
    return static_cast<size_t>(y - y0) * static_cast<size_t>(w) + static_cast<size_t>(x);
  }
};

// The triangle's inverse depth into the band's depth buffer at every pixel centre it covers
// (with a hair's breadth to spare, so that neighbouring triangles leave no cracks). On each
// row the barycentric weights are linear in x: the covered span follows from where each
// crosses 0, and the depth along it is linear too.
void FillSurface(Band& band, const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c) {
  const float area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
  if (!(std::abs(area) > 1e-6f)) return;  // also NaN
  const int32_t xs = std::max(0, FloorClamped(std::min({a.x, b.x, c.x}))),
                xe = std::min(band.w - 1, FloorClamped(std::max({a.x, b.x, c.x})) + 1);
  const int32_t ys = std::max(band.y0, FloorClamped(std::min({a.y, b.y, c.y}))),
                ye = std::min(band.y1 - 1, FloorClamped(std::max({a.y, b.y, c.y})) + 1);
  if (xs > xe) return;
  const float inv = 1.0f / area;
  const float da = (b.y - c.y) * inv, db = (c.y - a.y) * inv, dc = -da - db;
  // Where a weight k + d x crosses 0: x = k * (-1 / d).
  const float ra = da != 0 ? -1.0f / da : 0.0f, rb = db != 0 ? -1.0f / db : 0.0f, rc = dc != 0 ? -1.0f / dc : 0.0f;
  constexpr float kSpare = 1e-4f;
  for (int32_t y = ys; y <= ye; ++y) {
    const float py = static_cast<float>(y);
    // The weights at x = 0 of this row.
    const float ka = (b.x * (c.y - py) - c.x * (b.y - py)) * inv + kSpare;
    const float kb = (c.x * (a.y - py) - a.x * (c.y - py)) * inv + kSpare;
    const float kc = 1.0f + 3 * kSpare - ka - kb;
    float lo = static_cast<float>(xs), hi = static_cast<float>(xe);
    bool empty = false;
    for (auto [k, d, r] : {std::tuple{ka, da, ra}, std::tuple{kb, db, rb}, std::tuple{kc, dc, rc}}) {
      if (d > 0) {
        lo = std::max(lo, k * r);
      } else if (d < 0) {
        hi = std::min(hi, k * r);
      } else if (k < 0) {
        empty = true;
      }
    }
    if (empty || !(lo <= hi)) continue;
    const int32_t x0 = static_cast<int32_t>(std::ceil(lo)), x1 = static_cast<int32_t>(std::floor(hi));
    const float z0 = ka * a.inv_depth + kb * b.inv_depth + kc * c.inv_depth;
    const float dz = da * a.inv_depth + db * b.inv_depth + dc * c.inv_depth;
    float* d = band.depth.data() + band.at(y, 0);
    for (int32_t x = x0; x <= x1; ++x) d[x] = std::max(d[x], z0 + dz * static_cast<float>(x));
  }
}

// One line in Xiaolin Wu's manner: along its longer axis, two pixels per step share the
// coverage by the line's distance to their centres; the ends are weighted by how much of
// their pixel the line covers.
void DrawLine(Band& band, const ScreenVertex& from, const ScreenVertex& to, float tolerance) {
  const bool steep = std::abs(to.y - from.y) > std::abs(to.x - from.x);
  const ScreenVertex* s = &from;
  const ScreenVertex* e = &to;
  float p0 = steep ? s->y : s->x, q0 = steep ? s->x : s->y;
  float p1 = steep ? e->y : e->x, q1 = steep ? e->x : e->y;
  if (p0 > p1) {
    std::swap(p0, p1);
    std::swap(q0, q1);
    std::swap(s, e);
  }
  const float length = p1 - p0;
  const float gradient = length > 0 ? (q1 - q0) / length : 0.0f, per_step = length > 0 ? 1.0f / length : 0.0f;

  const auto plot = [&](int32_t major, int32_t minor, float cover) {
    const int32_t x = steep ? minor : major, y = steep ? major : minor;
    if (!(cover > 0) || x < 0 || x >= band.w || y < band.y0 || y >= band.y1) return;
    const float t = std::clamp((static_cast<float>(major) - p0) * per_step, 0.0f, 1.0f);
    const float inv = s->inv_depth + (e->inv_depth - s->inv_depth) * t;
    const size_t i = band.at(y, x);
    // Hidden when farther than the surface by more than the tolerance: 1 / inv > 1 / surface
    // + tolerance, multiplied out.
    const float surface = band.depth[i];
    if (surface > 0 && !(inv > 0 && surface - inv <= tolerance * inv * surface)) return;
    const float colour[3] = {s->r + (e->r - s->r) * t, s->g + (e->g - s->g) * t, s->b + (e->b - s->b) * t};
    for (size_t c = 0; c < 3; ++c) band.colour[c][i] += (colour[c] - band.colour[c][i]) * cover;
  };
  const auto plot_pair = [&](int32_t major, float q, float weight) {
    const int32_t minor = FloorClamped(q);
    plot(major, minor, (1.0f - Fraction(q)) * weight);
    plot(major, minor + 1, Fraction(q) * weight);
  };

  // The ends, at the pixels nearest to them.
  const int32_t first = FloorClamped(p0 + 0.5f), last = FloorClamped(p1 + 0.5f);
  const float q_first = q0 + gradient * (static_cast<float>(first) - p0);
  plot_pair(first, q_first, 1.0f - Fraction(p0 + 0.5f));
  if (last != first) plot_pair(last, q1 + gradient * (static_cast<float>(last) - p1), Fraction(p1 + 0.5f));
  // The steps between them that can touch the band.
  int32_t m0 = first + 1, m1 = last - 1;
  if (steep) {
    m0 = std::max(m0, band.y0);
    m1 = std::min(m1, band.y1 - 1);
  } else {
    m0 = std::max(m0, 0);
    m1 = std::min(m1, band.w - 1);
  }
  for (int32_t m = m0; m <= m1; ++m) plot_pair(m, q_first + gradient * static_cast<float>(m - first), 1.0f);
}

}  // namespace

void DrawLineScene(RgbView out, const LineScene& scene) {
  const int32_t w = out.r.width, h = out.r.height;
  if (w <= 0 || h <= 0) return;
  const int32_t bands = (h + kBandRows - 1) / kBandRows;
  // What each band draws, in the scene's order.
  std::vector<std::vector<uint32_t>> surfaces(static_cast<size_t>(bands)), lines(static_cast<size_t>(bands));
  const auto band_of = [&](float y) { return std::clamp(FloorClamped(y) / kBandRows, 0, bands - 1); };
  const auto file = [&](std::vector<std::vector<uint32_t>>& into, uint32_t index, float top, float bottom) {
    if (!(bottom >= 0 && top < static_cast<float>(h))) return;  // off the frame (or NaN)
    for (int32_t b = band_of(top), last = band_of(bottom); b <= last; ++b)
      into[static_cast<size_t>(b)].push_back(index);
  };
  const auto& v = scene.vertices;
  for (uint32_t i = 0; i < scene.surfaces.size(); ++i) {
    const auto& t = scene.surfaces[i];
    file(surfaces, i, std::min({v[t[0]].y, v[t[1]].y, v[t[2]].y}) - 1, std::max({v[t[0]].y, v[t[1]].y, v[t[2]].y}) + 1);
  }
  for (uint32_t i = 0; i < scene.lines.size(); ++i) {
    const auto& l = scene.lines[i];
    file(lines, i, std::min(v[l[0]].y, v[l[1]].y) - 2, std::max(v[l[0]].y, v[l[1]].y) + 2);
  }

  const std::array<PlaneView, 3> planes = {out.r, out.g, out.b};
  ForEachRowBand(0, bands, int64_t{w} * kBandRows * 4, [&](int32_t b0, int32_t b1) {
    for (int32_t b = b0; b < b1; ++b) {
      Band band(b * kBandRows, std::min(h, (b + 1) * kBandRows), w);
      for (uint32_t i : surfaces[static_cast<size_t>(b)]) {
        const auto& t = scene.surfaces[i];
        FillSurface(band, v[t[0]], v[t[1]], v[t[2]]);
      }
      for (uint32_t i : lines[static_cast<size_t>(b)])
        DrawLine(band, v[scene.lines[i][0]], v[scene.lines[i][1]], scene.tolerance);
      for (int32_t y = band.y0; y < band.y1; ++y)
        for (size_t c = 0; c < 3; ++c) {
          ColourBytes(band.colour[c].data() + band.at(y, 0), planes[c].row(y), w);
        }
    }
  });
}

}  // namespace tessfx
