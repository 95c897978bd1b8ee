#include "media/test_patterns.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"

namespace tessfx {
namespace {

// Coverage of a pixel by a shape whose signed distance (negative inside, in pixels) is d.
double Cover(double d) { return std::clamp(0.5 - d, 0.0, 1.0); }

// Paints colour (r, g, b) over the pixel with coverage a.
void Over(double& cr, double& cg, double& cb, double r, double g, double b, double a) {
  cr += (r - cr) * a;
  cg += (g - cg) * a;
  cb += (b - cb) * a;
}

// One pixel of the scene at (x, y) of a w x h frame, at time t (0..1).
void ScenePixel(double x, double y, double w, double h, double t, double& cr, double& cg, double& cb) {
  const double s = std::min(w, h);
  const double v = y / h, u = x / w;
  // Sky: deep blue at the top to a warm horizon.
  const double horizon = 0.58;
  const double k = std::clamp(v / horizon, 0.0, 1.0);
  cr = 40 + (250 - 40) * k * k;
  cg = 80 + (185 - 80) * k * k;
  cb = 170 + (130 - 170) * k;
  // Sun with a glow, setting slowly.
  const double sx = w * (0.78 - 0.08 * t), sy = h * (0.22 + 0.06 * t), sr = 0.07 * s;
  const double sd = std::hypot(x - sx, y - sy);
  const double glow = std::exp(-std::max(0.0, sd - sr) / (0.08 * s));
  Over(cr, cg, cb, 255, 230, 170, 0.6 * glow);
  Over(cr, cg, cb, 255, 246, 214, Cover(sd - sr));
  // Rolling hills with darker folds.
  const double ground = h * (horizon + 0.04 * std::sin(7 * u + 1) + 0.02 * std::sin(17 * u));
  if (y + 0.5 > ground) {
    const double depth = (y - ground) / (h - ground + 1);
    const double fold = 0.5 + 0.5 * std::sin(23 * u + 9 * depth);
    Over(cr, cg, cb, 50 + 40 * fold, 120 + 50 * fold - 40 * depth, 40 + 20 * fold, Cover(ground - y));
  }
  // A green backdrop on the left, as in a studio, with a figure standing before it.
  const double bx0 = 0.05 * w, bx1 = 0.37 * w, by0 = 0.18 * h, by1 = 0.9 * h;
  const double box = std::max({bx0 - x, x - bx1, by0 - y, y - by1});
  Over(cr, cg, cb, 24, 190 + 20 * v, 46, Cover(box));
  const double fx = w * (0.21 + 0.03 * std::sin(2 * M_PI * t)), head = 0.06 * s;
  const double hy = h * 0.36;
  Over(cr, cg, cb, 225, 175, 140, Cover(std::hypot(x - fx, y - hy) - head));  // face
  const double body = std::hypot((x - fx) / (0.09 * s), (y - h * 0.62) / (0.2 * s)) - 1;
  Over(cr, cg, cb, 200 - 60 * v, 40, 60, Cover(body * 0.09 * s));  // red coat
  // A striped ball rolling across the hills, lit from the upper right.
  const double bx = w * (0.5 + 0.35 * t), by = h * 0.8, br = 0.09 * s;
  const double dx = x - bx, dy = y - by, bd = std::hypot(dx, dy);
  const double light = std::clamp(0.55 + 0.45 * (dx * 0.6 - dy * 0.8) / br, 0.2, 1.0);
  const double angle = std::atan2(dy, dx) + 6 * t;
  const bool stripe = std::fmod(angle + 8 * M_PI, M_PI / 3) < M_PI / 6;
  Over(cr, cg, cb, (stripe ? 240 : 250) * light, (stripe ? 60 : 220) * light, (stripe ? 50 : 60) * light,
       Cover(bd - br));
  // A sign with fine lines, for sharpening and edge effects.
  const double gx0 = 0.56 * w, gx1 = 0.7 * w, gy0 = 0.35 * h, gy1 = 0.5 * h;
  const double sign = std::max({gx0 - x, x - gx1, gy0 - y, y - gy1});
  Over(cr, cg, cb, 235, 230, 215, Cover(sign));
  if (sign < -2 && static_cast<int>((y - gy0) / std::max(1.0, 0.012 * h)) % 2 == 0 && x < gx0 + (gx1 - gx0) * 0.8)
    Over(cr, cg, cb, 30, 30, 40, 1.0);
}

// 0 below e0, 1 above e1, smooth between.
double SmoothStep(double e0, double e1, double v) {
  const double k = std::clamp((v - e0) / (e1 - e0), 0.0, 1.0);
  return k * k * (3 - 2 * k);
}

uint32_t Mix(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  uint64_t h = (uint64_t{a} * 0x9E3779B97F4A7C15ull) ^ (uint64_t{b} * 0xC2B2AE3D27D4EB4Full) ^
               (uint64_t{c} * 0x165667B19E3779F9ull) ^ (uint64_t{d} * 0x27D4EB2F165667C5ull);
  h ^= h >> 31;
  h *= 0xD6E8FEB86659FD93ull;
  h ^= h >> 32;
  return static_cast<uint32_t>(h);
}

}  // namespace

PlateLayer GreenScreenSubject(double x, double y, double w, double h, double t) {
  const double s = std::min(w, h);
  const double cx = w * (0.5 + 0.1 * std::sin(2 * M_PI * t)), lean = 0.04 * s * std::sin(2 * M_PI * t + 0.6);
  PlateLayer out;
  auto paint = [&out](double r, double g, double b, double a) {
    // Straight colour under coverage: a layer over what is already there.
    const double total = a + out.a * (1 - a);
    if (total <= 0) return;
    out.r = (r * a + out.r * out.a * (1 - a)) / total;
    out.g = (g * a + out.g * out.a * (1 - a)) / total;
    out.b = (b * a + out.b * out.a * (1 - a)) / total;
    out.a = total;
  };
  // Shoulders and a dark red jacket, lit from the left, with a white collar; edges a little
  // soft, as a lens and motion leave them.
  const double body_y = 0.98 * h, body_rx = 0.3 * s, body_ry = 0.36 * h;
  const double bx = (x - cx - lean * 0.5) / body_rx, by = (y - body_y) / body_ry;
  const double body = (std::hypot(bx, by) - 1) * std::min(body_rx, body_ry);
  const double light = 0.75 + 0.25 * std::clamp(-bx, -1.0, 1.0);
  paint(150 * light, 38 * light, 48 * light, std::clamp(0.5 - body / 1.5, 0.0, 1.0));
  const double collar = std::max(std::fabs(x - cx - lean * 0.5) - 0.06 * s + 0.5 * (y - 0.66 * h), 0.64 * h - y);
  if (body < 0) paint(235, 232, 225, std::clamp(0.5 - collar, 0.0, 1.0) * std::clamp(0.5 - body, 0.0, 1.0));
  // Hair behind the face: a dark bob over the top and sides of the head whose rim thins out
  // into wisps, so that its coverage falls off over several pixels, fractional between them.
  const double hx = cx + lean, hy = 0.4 * h, hrx = 0.085 * s, hry = 0.115 * s;
  const double dx = (x - hx) / (1.28 * hrx), dy = (y - hy + 0.12 * hry) / (1.08 * hry);
  const double rim = (std::hypot(dx, dy) - 1) * hrx;  // pixels outside the bob's outline
  const double angle = std::atan2(dy, dx);
  // Strands curling across the rim rather than standing out of it.
  const double wisps = 0.5 + 0.5 * std::sin(angle * 55 + rim * 0.9 + 3 * std::sin(angle * 11));
  const double fringe = 0.028 * s;
  const double thinning = 1 - SmoothStep(-0.7 * fringe, fringe, rim);
  const double below = SmoothStep(hy + 0.1 * hry, hy + 0.5 * hry, y);  // the bob ends at the jaw
  const double sheen = 1 + 0.25 * std::clamp(1 - std::hypot(dx + 0.3, dy + 0.5), 0.0, 1.0);
  paint(66 * sheen, 44 * sheen, 32 * sheen,
        thinning * (1 - 0.4 * wisps * SmoothStep(-0.7 * fringe, 0, rim)) * (1 - below));
  // Neck and face, skin, rounder shading towards the edges.
  const double neck = std::max(std::fabs(x - hx + 0.3 * lean) - 0.04 * s, std::fabs(y - 0.58 * h) - 0.08 * h);
  const double face = (std::hypot((x - hx) / hrx, (y - hy) / hry) - 1) * hrx;
  const double shade = 0.8 + 0.2 * std::clamp(1 - std::hypot((x - hx) / hrx, (y - hy) / hry), 0.0, 1.0);
  paint(222 * shade, 168 * shade, 138 * shade, std::clamp(0.5 - std::min(neck, face), 0.0, 1.0));
  // A fringe over the forehead.
  const double bangs = (std::hypot((x - hx) / hrx, (y - hy + 0.55 * hry) / (0.5 * hry)) - 1) * hrx;
  paint(66, 44, 32, std::clamp(0.5 - bangs / 1.5, 0.0, 1.0));
  return out;
}

PlateLayer GreenScreenBackdrop(double x, double y, double w, double h, uint32_t grain) {
  // Brightest in the middle, falling off towards the corners, a little warmer below.
  const double u = x / std::max(1.0, w) - 0.5, v = y / std::max(1.0, h) - 0.45;
  const double falloff = std::clamp(1 - 1.4 * (u * u + v * v), 0.0, 1.0);
  const double noise = static_cast<double>(grain & 0xFF) / 255.0 - 0.5, noise2 = ((grain >> 8) & 0xFF) / 255.0 - 0.5;
  return {30 + 8 * v + 4 * noise2, 165 + 30 * falloff + 8 * noise, 55 + 6 * v + 4 * noise2, 1.0};
}

std::optional<Pattern> ParsePattern(const std::string& name) {
  if (name == "gradient") return Pattern::Gradient;
  if (name == "bars") return Pattern::Bars;
  if (name == "checker") return Pattern::Checker;
  if (name == "noise") return Pattern::Noise;
  if (name == "circles") return Pattern::Circles;
  if (name == "scene") return Pattern::Scene;
  if (name == "greenscreen") return Pattern::GreenScreen;
  return std::nullopt;
}

const char* PatternName(Pattern p) {
  switch (p) {
    case Pattern::Gradient: return "gradient";
    case Pattern::Bars: return "bars";
    case Pattern::Checker: return "checker";
    case Pattern::Noise: return "noise";
    case Pattern::Circles: return "circles";
    case Pattern::Scene: return "scene";
    case Pattern::GreenScreen: return "greenscreen";
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
        case Pattern::Scene:
          ScenePixel(x, y, w, h, t, cr, cg, cb);
          break;
        case Pattern::GreenScreen: {
          const PlateLayer subject = GreenScreenSubject(x, y, w, h, t);
          const PlateLayer screen = GreenScreenBackdrop(
              x, y, w, h, Mix(seed, static_cast<uint32_t>(frame), static_cast<uint32_t>(x), static_cast<uint32_t>(y)));
          cr = subject.r * subject.a + screen.r * (1 - subject.a);
          cg = subject.g * subject.a + screen.g * (1 - subject.a);
          cb = subject.b * subject.a + screen.b * (1 - subject.a);
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

void DrawCutout(Plane& r, Plane& g, Plane& b, Plane& a) {
  const int32_t w = r.width(), h = r.height();
  const double cx = 0.5 * w, cy = 0.52 * h, outer = 0.42 * std::min(w, h), inner = 0.45 * outer;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      // A five-pointed star: the radius of its outline at the pixel's angle, linear between
      // the points and the notches.
      const double dx = x - cx, dy = y - cy, d = std::hypot(dx, dy);
      const double angle = std::atan2(dx, -dy) + M_PI;  // 0 at the top
      const double sector = std::fmod(angle * 5 / (2 * M_PI), 1.0);
      const double edge = inner + (outer - inner) * std::abs(1 - 2 * sector);
      const double v = h > 1 ? static_cast<double>(y) / (h - 1) : 0;
      r[y][x] = RoundToByte(250 - 20 * v);
      g[y][x] = RoundToByte(210 - 170 * v);
      b[y][x] = RoundToByte(60 - 30 * v);
      a[y][x] = RoundToByte(255 * Cover(d - edge));
    }
  for (Plane* p : {&r, &g, &b, &a}) ReplicateEdges(*p);
}

}  // namespace tessfx
