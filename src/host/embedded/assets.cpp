#include "host/embedded/assets.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

#include "core/convert.h"
#include "core/error.h"
#include "media/file_util.h"
#include "media/image_io.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ seed * 0xcb1ab31fu;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  return h;
}

// Value noise on a lattice that repeats every `period` cells across and down.
double Lattice(double x, double y, uint32_t seed, int period_x = 256, int period_y = 256) {
  const int xi = static_cast<int>(std::floor(x)), yi = static_cast<int>(std::floor(y));
  const double fx = x - xi, fy = y - yi;
  auto v = [&](int i, int j) {
    const uint32_t wi = static_cast<uint32_t>(((i % period_x) + period_x) % period_x);
    const uint32_t wj = static_cast<uint32_t>(((j % period_y) + period_y) % period_y);
    return (Hash(wi, wj, seed) & 0xFFFF) / 65535.0;
  };
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
      // Long soft fibres running mostly horizontally, medium blotches and fine speckle, all
      // repeating every kSize pixels so that the paper tiles without a seam.
      const int32_t tx = x % kSize, ty = y % kSize;
      const double fibre = Lattice(tx / 32.0, ty / 4.0, 7, kSize / 32, kSize / 4);
      const double blotch = Lattice(tx / 16.0, ty / 16.0, 11, kSize / 16, kSize / 16);
      const double speck = (Hash(static_cast<uint32_t>(tx), static_cast<uint32_t>(ty), 3) & 0xFF) / 255.0;
      p[y][x] = RoundToByte(128 + 60 * (fibre - 0.5) + 40 * (blotch - 0.5) + 30 * (speck - 0.5));
    }
  }
  return p;
}

namespace {

std::array<Plane, 4> DrawFlowerBrush() {
  constexpr int32_t kW = 32, kH = 64, kSub = 4;
  struct Colour {
    double r, g, b;
  };
  // Inside an ellipse about (cx, cy) with half-axes a (along `angle`) and b: the position
  // along its long axis (-1..1) and across it, or nothing.
  struct Along {
    bool inside;
    double u, v;
  };
  const auto ellipse = [](double px, double py, double cx, double cy, double a, double b, double angle) {
    const double c = std::cos(angle), s = std::sin(angle), dx = px - cx, dy = py - cy;
    const double u = (dx * c + dy * s) / a, v = (-dx * s + dy * c) / b;
    return Along{u * u + v * v <= 1, u, v};
  };
  // The stem: a gentle curve from the root up to the flower's head.
  static constexpr double kStem[][2] = {{16.0, 64.0}, {15.1, 50.0}, {14.9, 38.0}, {15.5, 26.0}, {16.0, 15.0}};
  const auto near_stem = [](double px, double py) {
    double best = 1e9;
    for (size_t i = 0; i + 1 < std::size(kStem); ++i) {
      const double ax = kStem[i][0], ay = kStem[i][1], bx = kStem[i + 1][0], by = kStem[i + 1][1];
      const double t = std::clamp(((px - ax) * (bx - ax) + (py - ay) * (by - ay)) /
                                      ((bx - ax) * (bx - ax) + (by - ay) * (by - ay)),
                                  0.0, 1.0);
      best = std::min(best, std::hypot(px - ax - t * (bx - ax), py - ay - t * (by - ay)));
    }
    return best <= 1.1;
  };
  // The topmost shape at a point, painted stem, leaves, petals, heart.
  const auto paint = [&](double px, double py, Colour& out) {
    bool hit = false;
    if (near_stem(px, py)) {
      out = {58, 128, 42};
      hit = true;
    }
    for (const auto& [cx, cy, angle] : {std::array{10.0, 45.0, -2.4}, std::array{21.0, 35.0, -0.75}}) {
      const Along l = ellipse(px, py, cx, cy, 7.0, 2.6, angle);
      if (!l.inside) continue;
      const double vein = std::abs(l.v) < 0.18 ? 0.75 : 1.0, light = 0.85 + 0.15 * l.u;
      out = {72 * vein * light, 160 * vein * light, 52 * vein * light};
      hit = true;
    }
    for (int k = 0; k < 6; ++k) {
      const double angle = (k * 60.0 + 15.0) * M_PI / 180.0;
      const Along p = ellipse(px, py, 16 + 5.6 * std::cos(angle), 14 + 5.6 * std::sin(angle), 5.0, 3.1, angle);
      if (!p.inside) continue;
      const double t = (p.u + 1) / 2;  // 0 at the heart, 1 at the tip
      out = {200 + 50 * t, 40 + 80 * t, 90 + 70 * t};
      hit = true;
    }
    if (std::hypot(px - 16, py - 14) <= 3.3) {
      out = {250, 196, 40};
      hit = true;
    }
    return hit;
  };
  std::array<Plane, 4> b{Plane(kW, kH), Plane(kW, kH), Plane(kW, kH), Plane(kW, kH)};
  for (int32_t y = 0; y < kH; ++y)
    for (int32_t x = 0; x < kW; ++x) {
      Colour sum{0, 0, 0};
      int covered = 0;
      for (int sy = 0; sy < kSub; ++sy)
        for (int sx = 0; sx < kSub; ++sx) {
          Colour c{};
          if (!paint(x + (sx + 0.5) / kSub, y + (sy + 0.5) / kSub, c)) continue;
          sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
          ++covered;
        }
      if (covered == 0) continue;
      b[0][y][x] = RoundToByte(sum.r / covered);
      b[1][y][x] = RoundToByte(sum.g / covered);
      b[2][y][x] = RoundToByte(sum.b / covered);
      b[3][y][x] = RoundToByte(255.0 * covered / (kSub * kSub));
    }
  for (Plane& p : b) ReplicateEdges(p);
  return b;
}

}  // namespace

std::array<Plane, 4> DefaultBrush() {
  // Drawn once: every host starts with a copy.
  static const std::array<Plane, 4> flower = DrawFlowerBrush();
  return {flower[0].Clone(), flower[1].Clone(), flower[2].Clone(), flower[3].Clone()};
}

std::vector<uint8_t> ReadGradientFile(const std::string& path) {
  InputFile file(path);
  const int64_t size = file.Size();
  if (size > kMaxGradientFileBytes)
    Fail(ErrorKind::BadData, path + ": too large for a gradient (" + std::to_string(size) + " bytes)");
  std::string text(static_cast<size_t>(size), '\0');
  file.ReadExactly(0, text.data(), text.size());

  std::vector<ColourStop> stops;
  std::istringstream lines(text);
  std::string line;
  for (int32_t number = 1; std::getline(lines, line); ++number) {
    if (const size_t hash = line.find('#'); hash != std::string::npos) line.erase(hash);
    std::istringstream fields(line);
    std::vector<std::string> words;
    for (std::string w; fields >> w;) words.push_back(w);
    if (words.empty()) continue;
    const std::string where = path + " line " + std::to_string(number) + ": ";
    if (words.size() != 4) Fail(ErrorKind::BadData, where + "expected \"position red green blue\"");
    double values[4];
    for (size_t i = 0; i < 4; ++i) {
      const char* first = words[i].data();
      const char* last = first + words[i].size();
      auto [end, ec] = std::from_chars(first, last, values[i]);
      if (ec != std::errc() || end != last || !std::isfinite(values[i]))
        Fail(ErrorKind::BadData, where + "\"" + words[i] + "\" is not a number");
    }
    if (values[0] < 0.0 || values[0] > 1.0) Fail(ErrorKind::BadData, where + "position must be within 0..1");
    if (!stops.empty() && values[0] < stops.back().position)
      Fail(ErrorKind::BadData, where + "positions must not decrease");
    uint8_t rgb[3];
    for (size_t i = 0; i < 3; ++i) {
      const double v = values[i + 1];
      if (v < 0.0 || v > 255.0 || v != std::floor(v))
        Fail(ErrorKind::BadData, where + "colour components are whole numbers 0..255");
      rgb[i] = static_cast<uint8_t>(RoundHalfEven(v));
    }
    stops.push_back({values[0], rgb[0], rgb[1], rgb[2]});
  }
  if (stops.empty()) Fail(ErrorKind::BadData, path + ": no colour stops (lines \"position red green blue\")");
  return GradientFromStops(stops);
}

std::array<Plane, 4> ReadBrushImage(const std::string& path, const InputLimits& limits) {
  RgbaPlanes planes;
  const ImageInfo info = ReadImage(path, planes, nullptr, limits);
  if (info.has_alpha) return planes;
  // Without alpha the picture is the brush's shape: white paint, as opaque as it is bright.
  std::array<Plane, 4> brush{Plane(info.width, info.height, 255), Plane(info.width, info.height, 255),
                             Plane(info.width, info.height, 255), Plane::Uninitialized(info.width, info.height)};
  for (int32_t y = 0; y <= info.height; ++y)
    for (int32_t x = 0; x <= info.width; ++x)
      brush[3][y][x] = RoundToByte(0.299 * planes[0][y][x] + 0.587 * planes[1][y][x] + 0.114 * planes[2][y][x]);
  return brush;
}

FlareSettings FlareSettings::Clamped() const {
  auto strength = [](float v) { return std::isfinite(v) ? std::clamp(v, 0.0f, kMaxFlareStrength) : 1.0f; };
  FlareSettings s;
  s.glow = strength(glow);
  s.rays = strength(rays);
  s.halo = strength(halo);
  s.ghosts = strength(ghosts);
  s.ray_count = std::clamp(ray_count, 0, kMaxFlareRays);
  return s;
}

namespace {

// Contributions below this many levels are skipped. Five components stay below half a
// level together, so skipping them cannot change a rounded sample.
constexpr float kNegligible = 0.1f / 255.0f;

// exp(-k d) < threshold / strength beyond this d.
float DecayRadius(float strength, float k) {
  return strength <= kNegligible ? 0.0f : std::log(strength / kNegligible) / k;
}

struct Ghost {
  float t;       // position along the line: 0 the source, 1 the frame centre, 2 the mirror point
  float radius;  // in flare size units
  float r, g, b;
  float strength;
};

// Soft disc with a brighter rim, in units of the radius.
inline float GhostProfile(float q) {
  if (q >= 1.12f) return 0.0f;
  const float edge = q <= 0.88f ? 1.0f : (1.12f - q) / 0.24f;
  const float q2 = q * q;
  return (0.55f + 0.45f * q2 * q2) * edge * edge * (3.0f - 2.0f * edge);
}

}  // namespace

void DrawLensFlare(Plane& r, Plane& g, Plane& b, float scale, float x, float y, float angle,
                   const FlareSettings& settings) {
  const int32_t w = r.width(), h = r.height();
  if (w <= 0 || h <= 0 || !(scale > 0.0f) || !std::isfinite(scale) || !std::isfinite(x) || !std::isfinite(y)) return;
  const FlareSettings s = settings.Clamped();
  // The scale is a percentage of the nominal size (editors pass their Level slider / 10).
  const float size = std::max(1.0f, static_cast<float>(std::min(w, h)) * 0.08f * std::min(scale, kMaxFlareScale) / 100.0f);
  const float inv_size = 1.0f / size;
  const float rot = std::isfinite(angle) ? angle * static_cast<float>(M_PI) / 180.0f : 0.0f;

  // Angular profile of the rays, one entry per step of angle: each ray's weight and its
  // radial decay (rays differ in length so the star does not look stamped).
  constexpr int kSteps = 4096;
  constexpr float kTwoPi = 2.0f * static_cast<float>(M_PI);
  std::vector<float> ray_weight(kSteps, 0.0f), ray_decay(kSteps, 1.0f);
  float longest = 0.0f;
  if (s.ray_count > 0 && s.rays > 0.0f) {
    const float spacing = kTwoPi / static_cast<float>(s.ray_count);
    for (int32_t i = 0; i < s.ray_count; ++i) {
      const float length = 0.65f + 0.6f * static_cast<float>(Hash(static_cast<uint32_t>(i), 17, 5) & 0xFF) / 255.0f;
      longest = std::max(longest, length);
      const float centre = static_cast<float>(i) * spacing + rot;
      for (int k = 0; k < kSteps; ++k) {
        float delta = std::remainder(static_cast<float>(k) * kTwoPi / kSteps - centre, kTwoPi);
        // Narrow core with a faint wider skirt; 0.012 rad is about a pixel at 80 px out.
        const float wgt = std::exp(-delta * delta / (2 * 0.012f * 0.012f)) + 0.15f * std::exp(-delta * delta / (2 * 0.05f * 0.05f));
        if (wgt > ray_weight[k]) {
          ray_weight[k] = wgt;
          ray_decay[k] = 0.55f / length;
        }
      }
    }
  }

  const float glow_core = s.glow * 1.0f, glow_outer = s.glow * 0.45f;
  const float ray_strength = s.rays * 0.55f;
  const float halo_strength = s.halo * 0.22f;
  const float glow_radius = std::max(DecayRadius(glow_outer, 0.75f), std::sqrt(std::max(0.0f, std::log(glow_core / kNegligible) / 4.0f)));
  const float ray_radius = longest > 0.0f ? DecayRadius(ray_strength * 1.15f, 0.55f / longest) : 0.0f;
  constexpr float kHaloRadius = 3.0f, kHaloWidth = 0.22f;
  const float halo_reach = halo_strength > kNegligible ? kHaloWidth * std::sqrt(std::log(halo_strength / kNegligible)) : 0.0f;
  const float halo_outer = halo_reach > 0 ? kHaloRadius + 0.1f + halo_reach : 0.0f;
  const float halo_inner = std::max(0.0f, kHaloRadius - 0.1f - halo_reach);
  const float reach = std::max({glow_radius, ray_radius, halo_outer}) * size;

  // Source: glow, rays and halo, only within the box where they are not negligible.
  const int32_t y0 = std::max(0, FloorToInt(y - reach)), y1 = std::min(h - 1, FloorToInt(y + reach) + 1);
  const int32_t x0 = std::max(0, FloorToInt(x - reach)), x1 = std::min(w - 1, FloorToInt(x + reach) + 1);
  for (int32_t py = y0; py <= y1; ++py) {
    uint8_t *rr = r[py], *gg = g[py], *bb = b[py];
    const float dy = (static_cast<float>(py) - y) * inv_size;
    for (int32_t px = x0; px <= x1; ++px) {
      const float dx = (static_cast<float>(px) - x) * inv_size;
      const float d = std::sqrt(dx * dx + dy * dy);
      float ar = 0, ag = 0, ab = 0;
      if (d < glow_radius) {
        const float glow = glow_core * std::exp(-4.0f * d * d) + glow_outer * std::exp(-0.75f * d);
        ar += glow;
        ag += glow * 0.9f;
        ab += glow * 0.75f;
      }
      if (d < ray_radius) {
        float a = std::atan2(dy, dx);
        if (a < 0) a += kTwoPi;
        const int k = std::min(kSteps - 1, static_cast<int>(a * (kSteps / kTwoPi)));
        const float wgt = ray_weight[static_cast<size_t>(k)];
        if (wgt > 1e-3f) {
          // Rays start thin at the core: a smooth ramp keeps the centre from becoming a spike.
          const float ramp = d < 0.5f ? d * 2.0f : 1.0f;
          const float ray = ray_strength * wgt * ramp * std::exp(-d * ray_decay[static_cast<size_t>(k)]);
          ar += ray;
          ag += ray * 0.95f;
          ab += ray * 0.9f;
        }
      }
      if (d > halo_inner && d < halo_outer) {
        // Slightly different radii per colour give the ring its rainbow edge.
        const float er = (d - kHaloRadius - 0.1f) / kHaloWidth, eg = (d - kHaloRadius) / kHaloWidth,
                    eb = (d - kHaloRadius + 0.1f) / kHaloWidth;
        ar += halo_strength * 0.7f * std::exp(-er * er);
        ag += halo_strength * 0.8f * std::exp(-eg * eg);
        ab += halo_strength * 1.0f * std::exp(-eb * eb);
      }
      rr[px] = RoundToByteF(static_cast<float>(rr[px]) + 255.0f * ar);
      gg[px] = RoundToByteF(static_cast<float>(gg[px]) + 255.0f * ag);
      bb[px] = RoundToByteF(static_cast<float>(bb[px]) + 255.0f * ab);
    }
  }

  // Ghosts: a row of tinted discs on the line from the source through the frame centre.
  static constexpr Ghost kGhosts[] = {
      {0.35f, 0.25f, 1.0f, 0.8f, 0.4f, 0.22f}, {0.6f, 0.5f, 0.4f, 1.0f, 0.5f, 0.16f},
      {0.85f, 0.15f, 0.5f, 0.6f, 1.0f, 0.32f}, {1.2f, 0.9f, 0.3f, 0.5f, 1.0f, 0.10f},
      {1.45f, 0.35f, 1.0f, 0.5f, 0.3f, 0.18f}, {1.7f, 0.2f, 0.8f, 0.4f, 1.0f, 0.26f},
      {2.0f, 1.3f, 0.3f, 0.9f, 0.8f, 0.08f},
  };
  if (s.ghosts > 0.0f) {
    const float vx = static_cast<float>(w) / 2.0f - x, vy = static_cast<float>(h) / 2.0f - y;
    for (const Ghost& gh : kGhosts) {
      const float gx = x + vx * gh.t, gy = y + vy * gh.t;
      const float radius = gh.radius * size;
      const float k = s.ghosts * gh.strength;
      const float inv_r = 1.0f / radius;
      const int32_t gy0 = std::max(0, FloorToInt(gy - radius * 1.12f)), gy1 = std::min(h - 1, FloorToInt(gy + radius * 1.12f) + 1);
      const int32_t gx0 = std::max(0, FloorToInt(gx - radius * 1.12f)), gx1 = std::min(w - 1, FloorToInt(gx + radius * 1.12f) + 1);
      for (int32_t py = gy0; py <= gy1; ++py) {
        uint8_t *rr = r[py], *gg = g[py], *bb = b[py];
        const float dy = (static_cast<float>(py) - gy) * inv_r;
        for (int32_t px = gx0; px <= gx1; ++px) {
          const float dx = (static_cast<float>(px) - gx) * inv_r;
          const float p = GhostProfile(std::sqrt(dx * dx + dy * dy)) * k * 255.0f;
          if (p <= 0.0f) continue;
          rr[px] = RoundToByteF(static_cast<float>(rr[px]) + p * gh.r);
          gg[px] = RoundToByteF(static_cast<float>(gg[px]) + p * gh.g);
          bb[px] = RoundToByteF(static_cast<float>(bb[px]) + p * gh.b);
        }
      }
    }
  }
  ReplicateEdges(r);
  ReplicateEdges(g);
  ReplicateEdges(b);
}

}  // namespace tessfx
