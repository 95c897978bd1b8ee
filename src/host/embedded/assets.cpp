#include "host/embedded/assets.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"

namespace tessfx {
namespace {

uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ seed * 0xcb1ab31fu;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  return h;
}

double Lattice(double x, double y, uint32_t seed) {
  const int xi = static_cast<int>(std::floor(x)), yi = static_cast<int>(std::floor(y));
  const double fx = x - xi, fy = y - yi;
  auto v = [&](int i, int j) { return (Hash(static_cast<uint32_t>(i) & 255u, static_cast<uint32_t>(j) & 255u, seed) & 0xFFFF) / 65535.0; };
  const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
  const double top = v(xi, yi) * (1 - sx) + v(xi + 1, yi) * sx;
  const double bot = v(xi, yi + 1) * (1 - sx) + v(xi + 1, yi + 1) * sx;
  return top * (1 - sy) + bot * sy;
}

}  // namespace

std::vector<uint8_t> GradientFromStops(const std::vector<ColourStop>& stops) {
  std::vector<uint8_t> t(3 * 256, 0);
  if (stops.empty()) return t;
  for (int e = 0; e < 256; ++e) {
    const double pos = e / 255.0;
    size_t k = 0;
    while (k + 1 < stops.size() && stops[k + 1].position < pos) ++k;
    const ColourStop& a = stops[k];
    const ColourStop& b = stops[std::min(k + 1, stops.size() - 1)];
    const double span = b.position - a.position;
    double w = span > 0 ? (pos - a.position) / span : 0.0;
    w = std::clamp(w, 0.0, 1.0);
    t[0 * 256 + e] = RoundToByte(a.r + (b.r - a.r) * w);
    t[1 * 256 + e] = RoundToByte(a.g + (b.g - a.g) * w);
    t[2 * 256 + e] = RoundToByte(a.b + (b.b - a.b) * w);
  }
  return t;
}

std::array<std::vector<uint8_t>, 8> DefaultGradients() {
  return {
      GradientFromStops({{0, 0, 0, 0}, {1, 255, 255, 255}}),
      GradientFromStops({{0, 20, 12, 6}, {0.5, 150, 110, 70}, {1, 255, 240, 215}}),
      GradientFromStops({{0, 0, 0, 0}, {0.35, 180, 20, 0}, {0.7, 255, 170, 0}, {1, 255, 255, 220}}),
      GradientFromStops({{0, 0, 0, 30}, {0.5, 40, 140, 220}, {1, 235, 250, 255}}),
      GradientFromStops({{0, 255, 0, 0}, {0.17, 255, 255, 0}, {0.33, 0, 255, 0}, {0.5, 0, 255, 255},
                         {0.67, 0, 0, 255}, {0.83, 255, 0, 255}, {1, 255, 0, 0}}),
      GradientFromStops({{0, 30, 20, 80}, {1, 255, 200, 120}}),
      GradientFromStops({{0, 0, 50, 40}, {1, 230, 255, 160}}),
      GradientFromStops({{0, 0, 0, 128}, {0.25, 0, 128, 255}, {0.5, 0, 220, 0}, {0.75, 255, 220, 0}, {1, 255, 0, 0}}),
  };
}

Plane DefaultPaper() {
  constexpr int32_t kSize = 256;
  Plane p(kSize, kSize);
  for (int32_t y = 0; y <= kSize; ++y) {
    for (int32_t x = 0; x <= kSize; ++x) {
      // Long soft fibres running mostly horizontally, medium blotches and fine speckle.
      const double fibre = Lattice(x / 24.0, y / 3.0, 7);
      const double blotch = Lattice(x / 16.0, y / 16.0, 11);
      const double speck = (Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), 3) & 0xFF) / 255.0;
      p[y][x] = RoundToByte(128 + 60 * (fibre - 0.5) + 40 * (blotch - 0.5) + 30 * (speck - 0.5));
    }
  }
  return p;
}

std::array<Plane, 4> DefaultBrush() {
  constexpr int32_t kSize = 32;
  std::array<Plane, 4> b{Plane(kSize, kSize, 255), Plane(kSize, kSize, 255), Plane(kSize, kSize, 255),
                         Plane(kSize, kSize, 0)};
  const double c = (kSize - 1) / 2.0;
  for (int32_t y = 0; y < kSize; ++y)
    for (int32_t x = 0; x < kSize; ++x) {
      const double d = std::hypot(x - c, y - c) / (kSize / 2.0);
      const double a = d >= 1 ? 0 : 0.5 * (1 + std::cos(d * M_PI));
      b[3][y][x] = RoundToByte(255 * a);
    }
  return b;
}

void DrawLensFlare(Plane& r, Plane& g, Plane& b, float scale, float x, float y, float angle,
                   const FlareSettings& s) {
  const int32_t w = r.width(), h = r.height();
  if (w <= 0 || h <= 0) return;
  const double size = std::max(1.0, static_cast<double>(std::min(w, h)) * 0.08 * std::max(0.05f, scale));
  const double cx = w / 2.0, cy = h / 2.0;
  const double vx = cx - x, vy = cy - y;  // from the flare through the frame centre
  struct Ghost {
    double t, radius, cr, cg, cb;
  };
  const Ghost ghosts[] = {{0.5, 0.35, 0.4, 1.0, 0.5},  {0.9, 0.2, 0.3, 0.5, 1.0}, {1.25, 0.55, 1.0, 0.6, 0.3},
                          {1.6, 0.25, 0.8, 0.3, 1.0}, {2.0, 0.8, 0.3, 0.9, 0.9}};
  const double rad = angle * M_PI / 180.0;
  for (int32_t py = 0; py < h; ++py) {
    for (int32_t px = 0; px < w; ++px) {
      const double dx = px - x, dy = py - y;
      const double d = std::hypot(dx, dy) / size;
      double add_r = 0, add_g = 0, add_b = 0;
      // Central glow: a bright core with a warm falloff.
      const double glow = s.glow * (std::exp(-d * d * 4.0) * 1.0 + std::exp(-d * 0.9) * 0.35);
      add_r += glow * 1.0;
      add_g += glow * 0.92;
      add_b += glow * 0.8;
      // Rays: thin spokes fading with distance.
      const double theta = std::atan2(dy, dx) + rad;
      const double spoke = std::pow(std::abs(std::cos(theta * s.ray_count / 2.0)), 60.0);
      const double ray = s.rays * spoke * std::exp(-d * 0.35) * 0.6;
      add_r += ray;
      add_g += ray;
      add_b += ray;
      // Halo ring around the source.
      const double ring = s.halo * std::exp(-std::pow((d - 3.0) / 0.25, 2.0)) * 0.25;
      add_r += ring * 0.6;
      add_g += ring * 0.8;
      add_b += ring * 1.0;
      // Ghosts along the line through the centre.
      for (const Ghost& gh : ghosts) {
        const double gx = x + vx * gh.t, gy = y + vy * gh.t;
        const double gd = std::hypot(px - gx, py - gy) / (size * gh.radius * 2.0);
        if (gd < 1.2) {
          const double k = s.ghosts * 0.22 * (gd < 1.0 ? 1.0 - 0.5 * gd * gd : std::max(0.0, (1.2 - gd) / 0.2 * 0.5));
          add_r += k * gh.cr;
          add_g += k * gh.cg;
          add_b += k * gh.cb;
        }
      }
      r[py][px] = RoundToByte(r[py][px] + 255.0 * add_r);
      g[py][px] = RoundToByte(g[py][px] + 255.0 * add_g);
      b[py][px] = RoundToByte(b[py][px] + 255.0 * add_b);
    }
  }
}

}  // namespace tessfx
