#include "media/test_patterns.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"

namespace tessfx {
namespace {

uint32_t Mix(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  uint64_t h = (uint64_t{a} * 0x9E3779B97F4A7C15ull) ^ (uint64_t{b} * 0xC2B2AE3D27D4EB4Full) ^
               (uint64_t{c} * 0x165667B19E3779F9ull) ^ (uint64_t{d} * 0x27D4EB2F165667C5ull);
  h ^= h >> 31;
  h *= 0xD6E8FEB86659FD93ull;
  h ^= h >> 32;
  return static_cast<uint32_t>(h);
}

}  // namespace

std::optional<Pattern> ParsePattern(const std::string& name) {
  if (name == "gradient") return Pattern::Gradient;
  if (name == "bars") return Pattern::Bars;
  if (name == "checker") return Pattern::Checker;
  if (name == "noise") return Pattern::Noise;
  if (name == "circles") return Pattern::Circles;
  return std::nullopt;
}

const char* PatternName(Pattern p) {
  switch (p) {
    case Pattern::Gradient: return "gradient";
    case Pattern::Bars: return "bars";
    case Pattern::Checker: return "checker";
    case Pattern::Noise: return "noise";
    case Pattern::Circles: return "circles";
  }
  return "?";
}

void ReplicateEdges(Plane& p) {
  const int32_t w = p.width(), h = p.height();
  if (w > 0)
    for (int32_t y = 0; y < h; ++y) p[y][w] = p[y][w - 1];
  if (h > 0)
    for (int32_t x = 0; x <= w; ++x) p[h][x] = p[h - 1][x];
}

void DrawPattern(Pattern p, uint32_t seed, int32_t frame, int32_t frames, Plane& r, Plane& g, Plane& b) {
  const int32_t w = r.width(), h = r.height();
  const double t = frames > 1 ? static_cast<double>(frame) / (frames - 1) : 0.0;
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      double cr = 0, cg = 0, cb = 0;
      const double u = w > 1 ? static_cast<double>(x) / (w - 1) : 0, v = h > 1 ? static_cast<double>(y) / (h - 1) : 0;
      switch (p) {
        case Pattern::Gradient:
          cr = 255 * u;
          cg = 255 * v;
          cb = 255 * t;
          break;
        case Pattern::Bars: {
          static const uint8_t bars[8][3] = {{192, 192, 192}, {192, 192, 0}, {0, 192, 192}, {0, 192, 0},
                                             {192, 0, 192},   {192, 0, 0},   {0, 0, 192},   {16, 16, 16}};
          const int shift = static_cast<int>(t * w);
          const int bar = static_cast<int>(((x + shift) % std::max(w, 1)) * 8 / std::max(w, 1));
          cr = bars[bar][0];
          cg = bars[bar][1];
          cb = bars[bar][2];
          break;
        }
        case Pattern::Checker: {
          const int cell = std::max(4, std::min(w, h) / 8);
          const int off = static_cast<int>(t * cell * 2);
          const bool on = (((x + off) / cell) + (y / cell)) % 2 == 0;
          cr = on ? 230 : 25;
          cg = on ? 230 : 25;
          cb = on ? 230 : 40;
          break;
        }
        case Pattern::Noise: {
          const uint32_t n = Mix(seed, static_cast<uint32_t>(frame), static_cast<uint32_t>(x), static_cast<uint32_t>(y));
          cr = n & 0xFF;
          cg = (n >> 8) & 0xFF;
          cb = (n >> 16) & 0xFF;
          break;
        }
        case Pattern::Circles: {
          cr = 20 + 30 * v;
          cg = 24 + 30 * v;
          cb = 48 + 60 * v;
          const double radius = 0.18 * std::min(w, h);
          for (int k = 0; k < 3; ++k) {
            const double phase = 2 * M_PI * (t + k / 3.0);
            const double cx = w * (0.5 + 0.3 * std::cos(phase)), cy = h * (0.5 + 0.3 * std::sin(phase));
            const double d = std::hypot(x - cx, y - cy);
            const double a = std::clamp(radius - d + 0.5, 0.0, 1.0);  // anti-aliased rim
            const double col[3][3] = {{240, 80, 60}, {80, 220, 90}, {70, 120, 250}};
            cr = cr * (1 - a) + col[k][0] * a;
            cg = cg * (1 - a) + col[k][1] * a;
            cb = cb * (1 - a) + col[k][2] * a;
          }
          break;
        }
      }
      r[y][x] = RoundToByte(cr);
      g[y][x] = RoundToByte(cg);
      b[y][x] = RoundToByte(cb);
    }
  }
  ReplicateEdges(r);
  ReplicateEdges(g);
  ReplicateEdges(b);
}

}  // namespace tessfx
